// The change journal of an area of the platform store: one file, AREA/.journal,
// to which every process appends one line per change. A line is a list of
// fields separated by tabs; backslash escapes keep tabs, newlines and other
// control bytes out of the fields, so a field may hold any text. Watching
// processes follow the file with a JournalTail.
//
// A whole line goes out in one write(2) with O_APPEND under an exclusive
// flock(2) of the journal, so lines never interleave and the order of the
// lines is the order of the changes they describe (the change itself, e.g.
// the renamed value file, happens under the same lock).
#ifndef TESSIVO_PLATFORM_HOST_CHANGEJOURNAL_H
#define TESSIVO_PLATFORM_HOST_CHANGEJOURNAL_H

#include <functional>
#include <string>
#include <vector>

class ChangeJournal {
public:
    // The name of the journal inside its area (no key can start with a dot).
    static constexpr const char* kFileName = ".journal";

    // $ROOT/AREA/.journal for the current platform directory.
    // \context Thread-safe.
    static std::string PathOf(const std::string& area);

    // One journal line for these fields, newline included.
    // \context Thread-safe.
    static std::string EncodeLine(const std::vector<std::string>& fields);
    // The fields of one line (without its newline); false when the line is
    // not one that EncodeLine could have written.
    // \context Thread-safe.
    static bool DecodeLine(const std::string& line, std::vector<std::string>* fields);

    // Under the journal's lock: runs change (when given) and, when it returns
    // 0, appends the line. 0, change's own error, or -errno.
    // \context Thread-safe.
    static int Append(const std::string& area, const std::vector<std::string>& fields,
                      const std::function<int()>& change = nullptr);

    // Replaces the journal by an empty file (atomically, under its lock).
    // Processes following it go on with the new file from its start.
    // 0 or -errno.
    // \context Thread-safe.
    static int Reset(const std::string& area);
};

#endif
