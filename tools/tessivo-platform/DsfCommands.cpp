#include "DsfCommands.h"

#include <DSF.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "DsfStore.h"

const char kDsfUsage[] =
    "  dsf get SUBJECT [ARGUMENT]  print the data service's answer to a read (an answer\n"
    "                              stored for ARGUMENT, else the subject's own)\n"
    "  dsf set SUBJECT JSON [ARGUMENT]\n"
    "                              store the answer to reads of SUBJECT (with ARGUMENT only)\n"
    "  dsf unset SUBJECT [ARGUMENT]\n"
    "                              remove an answer: reads get no data\n"
    "  dsf publish SUBJECT JSON    send an event to every process subscribed to SUBJECT;\n"
    "                              events of the default TV's kind:\n"
    "      P/App/Change                {\"EventType\":\"Launch\"|\"Partial\",\"AppId\":\"...\"}\n"
    "      P/Broadcast/Program/Change, P/Broadcast/Status/Changed, P/Broadcast/Source/Changed\n"
    "                                  {\"TVSStatus\":\"Activate\"|\"Deactivate\", ...}\n"
    "      P/Time/Valid                {\"valid\":1}\n"
    "      P/Policy/ViewingPolicy      {\"state\":1}\n"
    "                              the input source itself is the setting source-type:\n"
    "                              set it before publishing a source or broadcast change\n";

namespace {

bool CheckSubject(const std::string& subject) {
    if (DsfStore::IsValidSubject(subject.c_str())) {
        return true;
    }
    fprintf(stderr, "tessivo-platform: \"%s\" is not a valid subject\n", subject.c_str());
    return false;
}

bool CheckJson(const std::string& json) {
    std::string problem;
    if (DsfStore::IsJsonObject(json, &problem)) {
        return true;
    }
    fprintf(stderr, "tessivo-platform: bad JSON, %s: %s\n", problem.c_str(), json.c_str());
    return false;
}

const char* ArgumentOf(const std::vector<std::string>& args, size_t index) {
    return args.size() > index ? args[index].c_str() : nullptr;
}

int Failed(const char* what, const std::string& subject, int ret) {
    fprintf(stderr, "tessivo-platform: cannot %s \"%s\": %s\n", what, subject.c_str(),
            ret == -EINVAL ? "invalid subject or argument" : strerror(-ret));
    return 1;
}

int Get(const std::string& subject, const char* argument) {
    if (!CheckSubject(subject)) {
        return 1;
    }
    char* answer = nullptr;
    int ret = DSF_Read_Sync(subject.c_str(), argument, &answer);
    if (ret == DSF_ERROR_NO_DATA) {
        fprintf(stderr, "tessivo-platform: dsf \"%s\" has no data\n", subject.c_str());
        return 1;
    }
    if (ret != DSF_OK) {
        fprintf(stderr, "tessivo-platform: dsf \"%s\": the stored answer cannot be read\n",
                subject.c_str());
        return 1;
    }
    printf("%s\n", answer);
    free(answer);
    return 0;
}

int Set(const std::string& subject, const std::string& json, const char* argument) {
    if (!CheckSubject(subject) || !CheckJson(json)) {
        return 1;
    }
    int ret = DsfStore::SetAnswer(subject, argument, json);
    return ret == 0 ? 0 : Failed("store the answer of", subject, ret);
}

int Unset(const std::string& subject, const char* argument) {
    if (!CheckSubject(subject)) {
        return 1;
    }
    int ret = DsfStore::RemoveAnswer(subject, argument);
    if (ret == -ENOENT) {
        fprintf(stderr, "tessivo-platform: dsf \"%s\" has no such answer\n", subject.c_str());
        return 1;
    }
    return ret == 0 ? 0 : Failed("remove the answer of", subject, ret);
}

int Publish(const std::string& subject, const std::string& json) {
    if (!CheckSubject(subject) || !CheckJson(json)) {
        return 1;
    }
    int ret = DsfStore::Publish(subject, json);
    return ret == 0 ? 0 : Failed("publish", subject, ret);
}

}  // namespace

int DsfCommand(const std::vector<std::string>& args, int (*usage)(const char* problem)) {
    const std::string verb = args.empty() ? std::string() : args[0];
    if (verb == "get" && (args.size() == 2 || args.size() == 3)) {
        return Get(args[1], ArgumentOf(args, 2));
    }
    if (verb == "set" && (args.size() == 3 || args.size() == 4)) {
        return Set(args[1], args[2], ArgumentOf(args, 3));
    }
    if (verb == "unset" && (args.size() == 2 || args.size() == 3)) {
        return Unset(args[1], ArgumentOf(args, 2));
    }
    if (verb == "publish" && args.size() == 3) {
        return Publish(args[1], args[2]);
    }
    return usage("bad arguments for \"dsf\"");
}
