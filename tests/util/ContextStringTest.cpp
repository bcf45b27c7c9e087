#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <string>

#include "ContextClock.h"
#include "ContextManualClock.h"
#include "ContextString.h"

namespace {

// Sets the process time zone for one test and restores the previous one.
class TimeZoneScope {
public:
    explicit TimeZoneScope(const char* zone) {
        const char* old = getenv("TZ");
        m_hadZone = old != nullptr;
        if (m_hadZone) {
            m_oldZone = old;
        }
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZoneScope() {
        if (m_hadZone) {
            setenv("TZ", m_oldZone.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    bool m_hadZone = false;
    std::string m_oldZone;
};

class ManualClockScope {
public:
    explicit ManualClockScope(ContextManualClock* clock) { ContextClock::SetSource(clock); }
    ~ManualClockScope() { ContextClock::SetSource(nullptr); }
};

}  // namespace

TEST(ContextStringTime, FormatsLocalTimeWithNumericOffset) {
    struct Case {
        const char* zone;
        long utc;
        const char* text;
    };
    const Case cases[] = {
        {"UTC0", 86400, "1970-01-02T00:00:00+0000"},
        {"UTC0", 1709640847, "2024-03-05T12:14:07+0000"},
        {"UTC0", -1, "1969-12-31T23:59:59+0000"},
        {"KST-9", 86400, "1970-01-02T09:00:00+0900"},
        {"KST-9", 1709640847, "2024-03-05T21:14:07+0900"},
        {"EST5", 86400, "1970-01-01T19:00:00-0500"},
        {"IST-5:30", 86400, "1970-01-02T05:30:00+0530"},
        {"UTC0", 253402300799L, "9999-12-31T23:59:59+0000"},
        // Year 10000 needs 25 characters, and past what the broken-down
        // time can hold there is nothing to write: both give empty text.
        {"UTC0", 253402300800L, ""},
        {"UTC0", 0x7fffffffffffffffL, ""},
    };
    for (const Case& c : cases) {
        TimeZoneScope zone(c.zone);
        EXPECT_EQ(ContextString::ConvertUTCToLocaltime(c.utc), c.text) << c.zone << " " << c.utc;
    }
}

TEST(ContextStringTime, ZeroMeansNowFromTheServiceClock) {
    TimeZoneScope zone("UTC0");
    ContextManualClock clock(1700000000);
    ManualClockScope scope(&clock);
    EXPECT_EQ(ContextString::ConvertUTCToLocaltime(0), "2023-11-14T22:13:20+0000");
    clock.JumpWall(3600);
    EXPECT_EQ(ContextString::ConvertUTCToLocaltime(0), "2023-11-14T23:13:20+0000");
}

TEST(ContextStringUrl, EscapesOnlyAmpersandAndCaret) {
    EXPECT_EQ(ContextString::UrlEncode("a&b^c"), "a%26b%5Ec");
    EXPECT_EQ(ContextString::UrlEncode("&&^^"), "%26%26%5E%5E");
    EXPECT_EQ(ContextString::UrlEncode("50% off"), "50% off");
    EXPECT_EQ(ContextString::UrlEncode(""), "");
    const std::string passThrough = "{presence=[1,2];segment=3} a/b:c+d \xC3\xA9\x7F\xFF";
    EXPECT_EQ(ContextString::UrlEncode(passThrough), passThrough);
    EXPECT_EQ(ContextString::UrlEncode(std::string("x\0&", 3)), std::string("x\0%26", 5));
}

TEST(ContextStringLog, ControlCharactersOfClientTextAreEscaped) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"KAE/GET/PRESENCE/", "KAE/GET/PRESENCE/"},
        {"a\nb\rc\td", "a\\nb\\rc\\td"},
        {"\x1b[2J\x1b[31mred\x07\x7f", "\\x1b[2J\\x1b[31mred\\x07\\x7f"},
        {std::string("nul\0end", 7), "nul\\x00end"},
        {"caf\xC3\xA9 \\ %s", "caf\xC3\xA9 \\ %s"},
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ContextString::ForLog(c.in), c.out);
    }
}
