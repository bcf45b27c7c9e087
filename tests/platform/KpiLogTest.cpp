// The simulated TV's KPI log: what AddEventLogSync stores, writers that run
// at once, failures, and `tessivo-platform kpi list` and `init`.
#include <KPILogFramework.h>
#include <glib.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "KpiEventLog.h"
#include "MainContextSupport.h"

using maincontext::PlatformDirTest;
using maincontext::RunTool;
using maincontext::ToolResult;

namespace {

class KpiLogTest : public PlatformDirTest {
protected:
    std::vector<KpiEventLog::Line> Lines() {
        std::vector<KpiEventLog::Line> lines;
        EXPECT_EQ(KpiEventLog::ReadAll(&lines), 0);
        return lines;
    }
};

int Send(const std::string& description, const std::string& id = "EV001") {
    return KPILogFramework::CLogger::GetInstance()->AddEventLogSync(
        "22_useractivity", "SEGMENTATION", id, description);
}

}  // namespace

TEST_F(KpiLogTest, EachEventIsOneJsonLineStampedWithTheTime) {
    EXPECT_TRUE(Lines().empty()) << "no file yet is no event";
    int64_t before = g_get_real_time() / G_USEC_PER_SEC;
    ASSERT_EQ(Send("{a=1;b=\"q\"\nx}"), 1);
    ASSERT_EQ(Send("second", "EV002"), 1);
    int64_t after = g_get_real_time() / G_USEC_PER_SEC;

    std::ifstream file(m_dir + "/kpi/events.jsonl");
    std::string first;
    ASSERT_TRUE(std::getline(file, first));
    EXPECT_EQ(first.rfind(
                  "{\"category\":\"22_useractivity\",\"description\":\"{a=1;b=\\\"q\\\"\\nx}\"", 0),
              0u)
        << first;

    std::vector<KpiEventLog::Line> lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    ASSERT_TRUE(lines[0].valid);
    EXPECT_EQ(lines[0].event.module, "SEGMENTATION");
    EXPECT_EQ(lines[0].event.event, "EV001");
    EXPECT_EQ(lines[0].event.description, "{a=1;b=\"q\"\nx}");
    EXPECT_GE(lines[0].event.time, before);
    EXPECT_LE(lines[0].event.time, after);
    EXPECT_EQ(lines[1].event.event, "EV002");
}

TEST_F(KpiLogTest, WritersInThreadsAndProcessesNeverInterleave) {
    // Lines far longer than a pipe buffer, so a torn write would show.
    const int kEach = 100;
    auto write = [&](char who) {
        for (int i = 0; i < kEach; ++i) {
            ASSERT_EQ(Send(std::string(20000, who) + std::to_string(i)), 1);
        }
    };
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (int i = 0; i < kEach; ++i) {
            if (Send(std::string(20000, 'p') + std::to_string(i)) != 1) {
                _exit(1);
            }
        }
        _exit(0);
    }
    std::vector<std::thread> threads;
    for (char who : {'a', 'b', 'c'}) {
        threads.emplace_back(write, who);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    std::map<char, int> counts;
    for (const KpiEventLog::Line& line : Lines()) {
        ASSERT_TRUE(line.valid) << line.problem;
        const std::string& text = line.event.description;
        ASSERT_EQ(text.find_first_not_of(text[0]), 20000u);
        ++counts[text[0]];
    }
    EXPECT_EQ(counts,
              (std::map<char, int>{{'a', kEach}, {'b', kEach}, {'c', kEach}, {'p', kEach}}));
}

TEST_F(KpiLogTest, AnUnwritableLogFailsWithoutWriting) {
    ASSERT_EQ(system(("touch '" + m_dir + "/kpi'").c_str()), 0);
    int ret = Send("lost");
    EXPECT_NE(ret, 1);
    EXPECT_LT(ret, 0);
}

TEST_F(KpiLogTest, ToolListsTheEventsAndInitClearsThem) {
    ToolResult none = RunTool({"kpi", "list"});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out + none.err, "");

    ASSERT_EQ(Send("{presence=[0,1];appsrc_name=a%26b}"), 1);
    ASSERT_EQ(Send("two", "EV002"), 1);
    std::vector<KpiEventLog::Line> lines = Lines();
    ASSERT_EQ(lines.size(), 2u);

    setenv("TZ", "Asia/Seoul", 1);
    ToolResult list = RunTool({"kpi", "list"});
    unsetenv("TZ");
    EXPECT_EQ(list.exitCode, 0) << list.err;
    std::string expected;
    for (const KpiEventLog::Line& line : lines) {
        // Asia/Seoul is 9 hours ahead of UTC all year.
        time_t shifted = static_cast<time_t>(line.event.time) + 9 * 3600;
        struct tm utc;
        char stamp[32];
        ASSERT_NE(gmtime_r(&shifted, &utc), nullptr);
        strftime(stamp, sizeof(stamp), "%Y-%m-%dT%H:%M:%S+0900", &utc);
        expected +=
            std::string(stamp) + " " + line.event.event + " " + line.event.description + "\n";
    }
    EXPECT_EQ(list.out, expected);

    ToolResult json = RunTool({"kpi", "list", "--json"});
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.out, lines[0].text + "\n" + lines[1].text + "\n");

    // A broken entry is named; the others are still listed.
    std::ofstream(m_dir + "/kpi/events.jsonl", std::ios::app) << "{\"event\":1}\n";
    ToolResult broken = RunTool({"kpi", "list"});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_NE(broken.err.find("entry 3 is not a KPI event"), std::string::npos) << broken.err;
    EXPECT_EQ(std::count(broken.out.begin(), broken.out.end(), '\n'), 2);

    EXPECT_EQ(RunTool({"kpi", "list", "--yaml"}).exitCode, 2);
    EXPECT_EQ(RunTool({"kpi"}).exitCode, 2);

    ASSERT_EQ(RunTool({"init"}).exitCode, 0);
    ToolResult cleared = RunTool({"kpi", "list"});
    EXPECT_EQ(cleared.exitCode, 0);
    EXPECT_EQ(cleared.out, "");
}
