// The host's platform log: line format, level filter and the service's
// prefix and colours. Each case logs from a child process, because the level
// is read once per process.
#include <dlog.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <string>

#include "ContextLog.h"

namespace {

// Runs body in a child with TESSIVO_LOG_LEVEL set to level (null: unset)
// and returns what it wrote to standard error.
std::string LogOfChild(const char* level, const std::function<void()>& body) {
    int fds[2];
    if (pipe(fds) != 0) {
        return "pipe failed";
    }
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        dup2(fds[1], STDERR_FILENO);
        if (level != nullptr) {
            setenv("TESSIVO_LOG_LEVEL", level, 1);
        } else {
            unsetenv("TESSIVO_LOG_LEVEL");
        }
        body();
        _exit(0);
    }
    close(fds[1]);
    std::string out;
    char buffer[512];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof(buffer))) > 0) {
        out.append(buffer, static_cast<size_t>(n));
    }
    close(fds[0]);
    waitpid(pid, nullptr, 0);
    return out;
}

void LogEveryPriority() {
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, "TAG", "debug %d", 1);
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "info %s", "two");
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "TAG", "warn");
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "TAG", "error");
}

}  // namespace

TEST(HostDlog, LinesCarryTimePriorityTagAndPid) {
    std::string log = LogOfChild(
        nullptr, [] { __dlog_print(LOG_ID_MAIN, DLOG_INFO, "KAE_SERVICE", "hello %d", 42); });
    EXPECT_TRUE(std::regex_match(
        log, std::regex("\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} I/KAE_SERVICE\\(\\d+\\): "
                        "hello 42\\n")))
        << log;
}

TEST(HostDlog, LevelFilterDropsLowerPrioritiesAndABadLevelIsReportedOnce) {
    std::string all = LogOfChild(nullptr, LogEveryPriority);
    EXPECT_NE(all.find("D/TAG"), std::string::npos) << all;
    EXPECT_NE(all.find("I/TAG"), std::string::npos);

    std::string warn = LogOfChild("warn", LogEveryPriority);
    EXPECT_EQ(warn.find("debug 1"), std::string::npos) << warn;
    EXPECT_EQ(warn.find("info two"), std::string::npos);
    EXPECT_NE(warn.find("W/TAG"), std::string::npos);
    EXPECT_NE(warn.find("E/TAG"), std::string::npos);
    EXPECT_EQ(LogOfChild("E", LogEveryPriority).find("W/TAG"), std::string::npos);
    EXPECT_EQ(LogOfChild("silent", LogEveryPriority), "");

    std::string bad = LogOfChild("loud", [] {
        LogEveryPriority();
        LogEveryPriority();
    });
    const std::string report = "TESSIVO_LOG_LEVEL=\"loud\" is not a level";
    size_t first = bad.find(report);
    ASSERT_NE(first, std::string::npos) << bad;
    EXPECT_EQ(bad.find(report, first + 1), std::string::npos);
    EXPECT_NE(bad.find("debug 1"), std::string::npos);
}

TEST(HostDlog, BadCallsAreRefusedNotPrinted) {
    std::string log = LogOfChild(nullptr, [] {
        EXPECT_LT(__dlog_print(LOG_ID_MAIN, DLOG_PRIO_MAX, "TAG", "x"), 0);
        EXPECT_LT(__dlog_print(LOG_ID_MAX, DLOG_INFO, "TAG", "x"), 0);
        EXPECT_LT(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", nullptr), 0);
        std::string longText(5000, 'y');
        __dlog_print(LOG_ID_MAIN, DLOG_INFO, nullptr, "%s", longText.c_str());
    });
    EXPECT_NE(log.find(std::string(5000, 'y') + "\n"), std::string::npos);
    EXPECT_EQ(log.find("TAG"), std::string::npos);
}

TEST(ServiceLog, PrefixAndColoursOfEachLevel) {
    std::string log = LogOfChild(nullptr, [] {
        KAE_LOGE("broken %d", 7);
        KAE_LOGI("fine");
        KAE_LOGD("plain");
    });
    EXPECT_NE(log.find("E/KAE_SERVICE("), std::string::npos) << log;
    EXPECT_NE(log.find("\033[0;31;40mDlogTest.cpp: operator()(" + std::to_string(__LINE__ - 5) +
                       ") > broken 7\033[0m\n"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("I/KAE_SERVICE("), std::string::npos);
    EXPECT_NE(log.find("\033[1;33;40mDlogTest.cpp: operator()("), std::string::npos);
    EXPECT_NE(log.find(") > fine\033[0m\n"), std::string::npos);
    EXPECT_NE(log.find("D/KAE_SERVICE("), std::string::npos);
    EXPECT_TRUE(std::regex_search(log, std::regex("D/KAE_SERVICE\\(\\d+\\): DlogTest\\.cpp: "
                                                  "operator\\(\\)\\(\\d+\\) > plain\\n")))
        << log;
}

TEST(HostDlog, ControlCharactersFromOutsideCannotForgeLinesButColoursStay) {
    // A subject a client might send: a line break, a forged log line, screen
    // controls; between the service's own colour sequences and a tab.
    const std::string log = LogOfChild(nullptr, [] {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "KAE_SERVICE", "\x1b[0;31m\tsubject: %s\x1b[0m",
                     "KAE/\r\n01-01 00:00:00.000 E/KAE_SERVICE(1): BYE\x1b[2J\x1b[1A\x07\x7f");
    });
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_NE(log.find("\x1b[0;31m\tsubject: KAE/\\r\\n01-01 00:00:00.000 E/KAE_SERVICE(1): BYE"
                       "\\x1b[2J\\x1b[1A\\x07\\x7f\x1b[0m\n"),
              std::string::npos)
        << log;
}
