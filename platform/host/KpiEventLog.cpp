#include "KpiEventLog.h"

#include <errno.h>
#include <fcntl.h>
#include <glib.h>
#include <json/json.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "PlatformStore.h"

namespace {

// flock that resumes after signals. 0 or -errno.
int LockFile(int fd, int operation) {
    while (flock(fd, operation) != 0) {
        if (errno != EINTR) {
            return -errno;
        }
    }
    return 0;
}

// The whole line in one write: O_APPEND places it at the end atomically
// with respect to other appenders, and the lock keeps readers out meanwhile.
int WriteLine(int fd, const std::string& line) {
    struct stat before;
    if (fstat(fd, &before) != 0) {
        return -errno;
    }
    ssize_t written;
    do {
        written = write(fd, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(line.size())) {
        return 0;
    }
    int ret = written < 0 ? -errno : -EIO;
    if (written > 0 && ftruncate(fd, before.st_size) != 0) {
        // The torn line stays; readers report it as not an event.
        return ret;
    }
    return ret;
}

}  // namespace

std::string KpiEventLog::PathOf() {
    return PlatformStore::RootDir() + "/" + kArea + "/" + kFileName;
}

std::string KpiEventLog::FormatLine(const Event& event) {
    Json::Value root(Json::objectValue);
    root["category"] = event.category;
    root["module"] = event.module;
    root["event"] = event.event;
    root["description"] = event.description;
    root["time"] = static_cast<Json::Int64>(event.time);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, root);
}

bool KpiEventLog::ParseLine(const std::string& text, Event* event, std::string* problem) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        *problem = "not JSON";
        return false;
    }
    if (!root.isObject()) {
        *problem = "not a JSON object";
        return false;
    }
    for (const char* key : {"category", "module", "event", "description"}) {
        if (!root[key].isString()) {
            *problem = std::string("no text \"") + key + "\"";
            return false;
        }
    }
    if (!root["time"].isInt64()) {
        *problem = "no integer \"time\"";
        return false;
    }
    event->category = root["category"].asString();
    event->module = root["module"].asString();
    event->event = root["event"].asString();
    event->description = root["description"].asString();
    event->time = root["time"].asInt64();
    return true;
}

int KpiEventLog::Append(const Event& event) {
    std::string path = PathOf();
    int ret = PlatformStore::MakeDirs(path.substr(0, path.rfind('/')));
    if (ret != 0) {
        return ret;
    }
    Event stamped = event;
    stamped.time = g_get_real_time() / G_USEC_PER_SEC;
    std::string line = FormatLine(stamped) + "\n";

    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -errno;
    }
    ret = LockFile(fd, LOCK_EX);
    if (ret == 0) {
        ret = WriteLine(fd, line);
        LockFile(fd, LOCK_UN);
    }
    if (close(fd) != 0 && ret == 0) {
        ret = -errno;
    }
    return ret;
}

int KpiEventLog::ReadAll(std::vector<Line>* lines) {
    lines->clear();
    int fd = open(PathOf().c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno == ENOENT ? 0 : -errno;
    }
    int ret = LockFile(fd, LOCK_SH);
    std::string content;
    if (ret == 0) {
        char buffer[65536];
        for (;;) {
            ssize_t n = read(fd, buffer, sizeof(buffer));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0) {
                ret = -errno;
                break;
            }
            if (n == 0) {
                break;
            }
            content.append(buffer, static_cast<size_t>(n));
        }
        LockFile(fd, LOCK_UN);
    }
    close(fd);
    if (ret != 0) {
        return ret;
    }
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        if (end > start) {
            Line line;
            line.text = content.substr(start, end - start);
            line.valid = ParseLine(line.text, &line.event, &line.problem);
            lines->push_back(std::move(line));
        }
        start = end + 1;
    }
    return 0;
}
