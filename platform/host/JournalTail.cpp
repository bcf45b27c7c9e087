#include "JournalTail.h"

#include <dlog.h>
#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "ChangeJournal.h"
#include "PlatformStore.h"

namespace {

const char kTag[] = "TESSIVO_PLATFORM";

// No line of ours comes near this; a longer one is somebody else's garbage
// and is skipped rather than buffered.
constexpr size_t kMaxLine = 4u << 20;

constexpr guint kRetryMs = 500;

constexpr uint32_t kWatchMask =
    IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

JournalTail::JournalTail(std::string area, Handler handler)
    : m_area(std::move(area)), m_handler(std::move(handler)) {}

JournalTail::~JournalTail() {
    Stop();
}

bool JournalTail::IsAtOrAfter(const Position& record, const Position& from) {
    return record.file > from.file || (record.file == from.file && record.offset >= from.offset);
}

int JournalTail::Follow(Position* from) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string path = ChangeJournal::PathOf(m_area);
    if (m_running && path != m_path) {
        _StopLocked();
    }
    if (!m_running) {
        m_path = path;
        int ret = _Start();
        if (ret != 0) {
            return ret;
        }
        *from = Position{m_file, m_offset};
        return 0;
    }
    // Lines between what was read and the end are older than the caller;
    // a file that is no longer the one read will be read as the next one.
    struct stat current;
    if (stat(m_path.c_str(), &current) != 0) {
        *from = Position{m_file + 1, 0};
        return 0;
    }
    if (current.st_dev == m_dev && current.st_ino == m_ino &&
        static_cast<uint64_t>(current.st_size) >= m_offset) {
        *from = Position{m_file, static_cast<uint64_t>(current.st_size)};
    } else {
        *from = Position{m_file + 1, static_cast<uint64_t>(current.st_size)};
    }
    return 0;
}

void JournalTail::Stop() {
    std::lock_guard<std::mutex> lock(m_mutex);
    _StopLocked();
}

int JournalTail::_Start() {
    m_dir = m_path.substr(0, m_path.rfind('/'));
    int ret = PlatformStore::MakeDirs(m_dir);
    if (ret != 0) {
        return ret;
    }
    int created = open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (created < 0) {
        return -errno;
    }
    close(created);

    // The watch comes first: whatever is appended after the end is taken
    // below wakes us.
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0) {
        return -errno;
    }
    if (!_Watch()) {
        int err = errno;
        _StopLocked();
        return -err;
    }
    int fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0) {
        int err = errno;
        if (fd >= 0) {
            close(fd);
        }
        _StopLocked();
        return -err;
    }
    m_fd = fd;
    m_dev = st.st_dev;
    m_ino = st.st_ino;
    m_file++;
    m_offset = static_cast<uint64_t>(st.st_size);
    m_partial.clear();
    m_discarding = false;

    m_source = g_unix_fd_source_new(m_inotify, G_IO_IN);
    g_source_set_callback(m_source, G_SOURCE_FUNC(_OnWake), this, nullptr);
    g_source_attach(m_source, nullptr);
    m_running = true;
    return 0;
}

void JournalTail::_StopLocked() {
    if (m_source != nullptr) {
        g_source_destroy(m_source);
        g_source_unref(m_source);
        m_source = nullptr;
    }
    if (m_retry != nullptr) {
        g_source_destroy(m_retry);
        g_source_unref(m_retry);
        m_retry = nullptr;
    }
    if (m_inotify >= 0) {
        close(m_inotify);
        m_inotify = -1;
    }
    m_watch = -1;
    if (m_fd >= 0) {
        close(m_fd);
        m_fd = -1;
    }
    m_partial.clear();
    m_discarding = false;
    m_running = false;
}

bool JournalTail::_Watch() {
    m_watch = inotify_add_watch(m_inotify, m_dir.c_str(), kWatchMask);
    return m_watch >= 0;
}

gboolean JournalTail::_OnWake(gint fd, GIOCondition condition, gpointer self) {
    return static_cast<JournalTail*>(self)->_Wake(g_main_current_source());
}

gboolean JournalTail::_OnRetry(gpointer self) {
    return static_cast<JournalTail*>(self)->_Wake(g_main_current_source());
}

gboolean JournalTail::_Wake(GSource* source) {
    std::vector<Record> records;
    gboolean keep = G_SOURCE_CONTINUE;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_running || source == nullptr || (source != m_source && source != m_retry)) {
            return G_SOURCE_REMOVE;  // a source of a tail stopped meanwhile
        }
        if (source == m_source) {
            _DrainEvents();
        } else {
            if (!_Watch()) {
                return G_SOURCE_CONTINUE;  // the folder is still missing
            }
            g_source_unref(m_retry);
            m_retry = nullptr;
            keep = G_SOURCE_REMOVE;
        }
        _ReadNew(&records);
        _FollowReplacement(&records);
    }
    for (const Record& record : records) {
        m_handler(record);
    }
    return keep;
}

void JournalTail::_DrainEvents() {
    alignas(struct inotify_event) char buffer[4096];
    bool lost = false;
    for (;;) {
        ssize_t n = read(m_inotify, buffer, sizeof(buffer));
        if (n <= 0) {
            if (n < 0 && errno == EINTR) {
                continue;
            }
            break;
        }
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(struct inotify_event)) <= n;) {
            const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + at);
            if (event->wd == m_watch && m_watch >= 0) {
                if (event->mask & IN_MOVE_SELF) {
                    // The folder moved away: what appears under its old name
                    // later is what we follow.
                    inotify_rm_watch(m_inotify, m_watch);
                    lost = true;
                } else if (event->mask & (IN_IGNORED | IN_DELETE_SELF)) {
                    lost = true;
                }
            }
            at += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
        }
    }
    if (lost && m_retry == nullptr) {
        m_watch = -1;
        __dlog_print(LOG_ID_MAIN, DLOG_WARN, kTag, "%s is gone; looking for it again",
                     m_dir.c_str());
        m_retry = g_timeout_source_new(kRetryMs);
        g_source_set_callback(m_retry, _OnRetry, this, nullptr);
        g_source_attach(m_retry, nullptr);
    }
}

void JournalTail::_ReadNew(std::vector<Record>* records) {
    char buffer[65536];
    for (;;) {
        ssize_t n = pread(m_fd, buffer, sizeof(buffer), static_cast<off_t>(m_offset));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        size_t begin = 0;
        size_t length = static_cast<size_t>(n);
        uint64_t chunkStart = m_offset;
        m_offset += length;
        while (begin < length) {
            const char* newline =
                static_cast<const char*>(memchr(buffer + begin, '\n', length - begin));
            if (newline == nullptr) {
                if (!m_discarding) {
                    m_partial.append(buffer + begin, length - begin);
                    if (m_partial.size() > kMaxLine) {
                        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kTag,
                                     "%s: skipping a line of more than %zu bytes", m_path.c_str(),
                                     kMaxLine);
                        m_partial.clear();
                        m_discarding = true;
                    }
                }
                break;
            }
            size_t end = static_cast<size_t>(newline - buffer);
            if (m_discarding) {
                m_discarding = false;
            } else {
                m_partial.append(buffer + begin, end - begin);
                Record record;
                record.at = Position{m_file, chunkStart + end - m_partial.size()};
                if (ChangeJournal::DecodeLine(m_partial, &record.fields)) {
                    records->push_back(std::move(record));
                } else {
                    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kTag,
                                 "%s: skipping a malformed line at offset %llu", m_path.c_str(),
                                 static_cast<unsigned long long>(record.at.offset));
                }
            }
            m_partial.clear();
            begin = end + 1;
        }
    }
}

void JournalTail::_FollowReplacement(std::vector<Record>* records) {
    struct stat held;
    if (fstat(m_fd, &held) == 0 && static_cast<uint64_t>(held.st_size) < m_offset) {
        // Cut short in place: what it holds now was written after the cut.
        _Rewind();
        _ReadNew(records);
    }
    struct stat current;
    if (stat(m_path.c_str(), &current) != 0 ||
        (current.st_dev == m_dev && current.st_ino == m_ino)) {
        return;  // still the file we read, or none yet: its creation wakes us
    }
    int fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat opened;
    if (fd < 0) {
        return;
    }
    if (fstat(fd, &opened) != 0) {
        close(fd);
        return;
    }
    // Everything the old file held has been read above; the new one starts
    // with the changes made after the replacement.
    close(m_fd);
    m_fd = fd;
    m_dev = opened.st_dev;
    m_ino = opened.st_ino;
    _Rewind();
    _ReadNew(records);
}

void JournalTail::_Rewind() {
    m_file++;
    m_offset = 0;
    m_partial.clear();
    m_discarding = false;
}
