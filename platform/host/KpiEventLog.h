// The simulated TV's KPI log: every event is one JSON line appended to
// "kpi/events.jsonl" of the platform directory:
//   {"category":"...","description":"...","event":"...","module":"...","time":1709641449}
// "time" is when the platform stored the event, in whole seconds since the
// epoch (UTC; readers render it in their own time zone).
//
// A line goes out in one write(2) on a descriptor opened with O_APPEND, under
// an exclusive flock(2) of the file, so writers in any number of threads and
// processes never interleave; readers take a shared lock and so never see
// half a line. A write that comes out short is cut off again.
#ifndef TESSIVO_PLATFORM_HOST_KPIEVENTLOG_H
#define TESSIVO_PLATFORM_HOST_KPIEVENTLOG_H

#include <stdint.h>

#include <string>
#include <vector>

class KpiEventLog {
public:
    static constexpr const char* kArea = "kpi";
    static constexpr const char* kFileName = "events.jsonl";

    struct Event {
        std::string category;
        std::string module;
        std::string event;
        std::string description;
        int64_t time = 0;  // seconds since the epoch
    };

    // One line of the file as read back: the text without its newline and,
    // when it holds an event, the event.
    struct Line {
        std::string text;
        bool valid = false;
        Event event;
        std::string problem;  // why it is not an event, when it is not
    };

    // $TESSIVO_PLATFORM_DIR/kpi/events.jsonl (see PlatformStore::RootDir).
    // \context Thread-safe.
    static std::string PathOf();

    // Appends the event, stamped with the current time (the event's own time
    // is ignored). 0, or -errno when the folder or the line cannot be
    // written. \context Thread-safe.
    static int Append(const Event& event);

    // The JSON line of an event, without the newline. \context Thread-safe.
    static std::string FormatLine(const Event& event);
    // Parses one line: a JSON object with the four strings and an integer
    // "time". False with a reason otherwise. \context Thread-safe.
    static bool ParseLine(const std::string& text, Event* event, std::string* problem);

    // Every line of the file in order (empty lines skipped). 0 (also when
    // there is no file yet), or -errno. \context Thread-safe.
    static int ReadAll(std::vector<Line>* lines);
};

#endif
