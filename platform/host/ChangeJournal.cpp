#include "ChangeJournal.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "PlatformStore.h"

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

void EscapeInto(const std::string& field, std::string* out) {
    static const char kHex[] = "0123456789abcdef";
    for (unsigned char c : field) {
        switch (c) {
            case '\\':
                out->append("\\\\");
                break;
            case '\t':
                out->append("\\t");
                break;
            case '\n':
                out->append("\\n");
                break;
            case '\r':
                out->append("\\r");
                break;
            default:
                if (c < 0x20 || c == 0x7f) {
                    out->append("\\x");
                    out->push_back(kHex[c >> 4]);
                    out->push_back(kHex[c & 0xf]);
                } else {
                    out->push_back(static_cast<char>(c));
                }
        }
    }
}

int WriteAll(int fd, const std::string& data) {
    const char* p = data.data();
    size_t left = data.size();
    while (left > 0) {
        ssize_t n = write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return -errno;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    return 0;
}

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Opens the journal (creating it and its folder) and takes its exclusive
// lock. A journal replaced while we waited for the lock is given up for the
// new one: a line appended to the old file would be read by nobody.
int OpenLocked(const std::string& path, int* out) {
    int ret = PlatformStore::MakeDirs(path.substr(0, path.rfind('/')));
    if (ret != 0) {
        return ret;
    }
    for (int attempt = 0; attempt < 100; ++attempt) {
        int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) {
            return -errno;
        }
        int locked;
        do {
            locked = flock(fd, LOCK_EX);
        } while (locked != 0 && errno == EINTR);
        if (locked != 0) {
            int err = errno;
            close(fd);
            return -err;
        }
        struct stat held;
        struct stat current;
        if (fstat(fd, &held) == 0 && stat(path.c_str(), &current) == 0 && SameFile(held, current)) {
            *out = fd;
            return 0;
        }
        close(fd);
    }
    return -EAGAIN;
}

}  // namespace

std::string ChangeJournal::PathOf(const std::string& area) {
    return PlatformStore::RootDir() + "/" + area + "/" + kFileName;
}

std::string ChangeJournal::EncodeLine(const std::vector<std::string>& fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i > 0) {
            line.push_back('\t');
        }
        EscapeInto(fields[i], &line);
    }
    line.push_back('\n');
    return line;
}

bool ChangeJournal::DecodeLine(const std::string& line, std::vector<std::string>* fields) {
    fields->assign(1, std::string());
    for (size_t i = 0; i < line.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(line[i]);
        if (c == '\t') {
            fields->emplace_back();
            continue;
        }
        if (c < 0x20 || c == 0x7f) {
            return false;  // EncodeLine never writes a raw control byte
        }
        if (c != '\\') {
            fields->back().push_back(static_cast<char>(c));
            continue;
        }
        if (++i >= line.size()) {
            return false;
        }
        switch (line[i]) {
            case '\\':
                fields->back().push_back('\\');
                break;
            case 't':
                fields->back().push_back('\t');
                break;
            case 'n':
                fields->back().push_back('\n');
                break;
            case 'r':
                fields->back().push_back('\r');
                break;
            case 'x': {
                int high = i + 1 < line.size() ? HexValue(line[i + 1]) : -1;
                int low = i + 2 < line.size() ? HexValue(line[i + 2]) : -1;
                if (high < 0 || low < 0) {
                    return false;
                }
                fields->back().push_back(static_cast<char>(high * 16 + low));
                i += 2;
                break;
            }
            default:
                return false;
        }
    }
    return true;
}

int ChangeJournal::Append(const std::string& area, const std::vector<std::string>& fields,
                          const std::function<int()>& change) {
    std::string line = EncodeLine(fields);
    int fd = -1;
    int ret = OpenLocked(PathOf(area), &fd);
    if (ret != 0) {
        return ret;
    }
    if (change) {
        ret = change();
    }
    if (ret == 0) {
        ret = WriteAll(fd, line);
    }
    close(fd);  // releases the lock
    return ret;
}

int ChangeJournal::Reset(const std::string& area) {
    std::string path = PathOf(area);
    int fd = -1;
    int ret = OpenLocked(path, &fd);
    if (ret != 0) {
        return ret;
    }
    ret = PlatformStore::WriteFileAtomic(path, std::string());
    close(fd);
    return ret;
}
