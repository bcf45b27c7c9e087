// Follows the change journal of one area (ChangeJournal) in this process and
// hands every new line to a handler, in order, on the default GLib main
// context: inotify on the area's folder wakes it (a raw inotify descriptor,
// since GFileMonitor holds change events back for most of a second).
//
// It starts at the journal's end when asked to follow. A journal that is
// replaced (a reset) is followed on from the start of the new file, one that
// shrank in place from its start too; a folder that disappears is looked for
// again every half second. None of these stop or block the process.
#ifndef TESSIVO_PLATFORM_HOST_JOURNALTAIL_H
#define TESSIVO_PLATFORM_HOST_JOURNALTAIL_H

#include <glib.h>
#include <stdint.h>
#include <sys/types.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

class JournalTail {
public:
    // Where a reader stands: the file it reads (a number that grows with
    // every file the tail opens) and the offset of a line in it.
    struct Position {
        uint64_t file = 0;
        uint64_t offset = 0;
    };

    struct Record {
        Position at;  // where the line starts
        std::vector<std::string> fields;
    };

    // Called on the default main context without the tail's lock held, so
    // it may call Follow or Stop.
    using Handler = std::function<void(const Record&)>;

    JournalTail(std::string area, Handler handler);
    ~JournalTail();
    JournalTail(const JournalTail&) = delete;
    JournalTail& operator=(const JournalTail&) = delete;

    // Starts following the journal of the current platform directory (if
    // not already; a change of the platform directory starts over) and sets
    // *from to the journal's present end: records at or after it are
    // changes made from now on. 0 or -errno.
    // \context Thread-safe.
    int Follow(Position* from);

    // Stops following; records read but not yet handed on are still handed
    // on (the handler decides whether anyone wants them).
    // \context Thread-safe.
    void Stop();

    // Whether a record belongs to the changes made at or after `from`.
    // \context Thread-safe.
    static bool IsAtOrAfter(const Position& record, const Position& from);

private:
    static gboolean _OnWake(gint fd, GIOCondition condition, gpointer self);
    static gboolean _OnRetry(gpointer self);

    gboolean _Wake(GSource* source);
    int _Start();
    void _StopLocked();
    bool _Watch();
    void _DrainEvents();
    void _ReadNew(std::vector<Record>* records);
    void _FollowReplacement(std::vector<Record>* records);
    void _Rewind();

    const std::string m_area;
    const Handler m_handler;

    std::mutex m_mutex;
    bool m_running = false;
    std::string m_path;  // the journal followed
    std::string m_dir;   // its folder, watched
    int m_fd = -1;       // the journal file being read
    dev_t m_dev = 0;     // identity of that file
    ino_t m_ino = 0;
    uint64_t m_file = 0;        // Position::file of m_fd
    uint64_t m_offset = 0;      // read up to here in m_fd
    std::string m_partial;      // an unfinished line read from m_fd
    bool m_discarding = false;  // skipping the rest of an overlong line
    int m_inotify = -1;
    int m_watch = -1;
    GSource* m_source = nullptr;  // m_inotify on the default context
    GSource* m_retry = nullptr;   // set while the folder is missing
};

#endif
