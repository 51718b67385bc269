#include "appenders/Rotation.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>

namespace DPL::dpllogger {

namespace {

std::string numbered(const std::string& path, unsigned number) {
    return path + '.' + std::to_string(number);
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

// A number that nobody uses ends the search for files of a time when more were kept, but a few that are missing, which
// an administrator removed, do not.
constexpr unsigned mostMissing = 16;

void removeAbove(const std::string& path, unsigned kept) {
    unsigned missing = 0;
    for (unsigned number = kept; number != std::numeric_limits<unsigned>::max() && missing < mostMissing;) {
        missing = ::unlink(numbered(path, ++number).c_str()) == 0 ? 0 : missing + 1;
    }
}

// A file that was removed meanwhile is no obstacle.
bool renamed(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

bool putAside(const std::string& path, unsigned kept) {
    if (kept == 0) {
        if (::unlink(path.c_str()) != 0) {
            return false;
        }
    } else {
        unsigned free = 1;
        while (free < kept && exists(numbered(path, free))) {
            ++free;
        }
        // From the oldest to the newest: each renaming is a whole step that loses nothing. The first one replaces the
        // oldest file if all places are taken.
        for (unsigned number = free; number > 1; --number) {
            if (!renamed(numbered(path, number - 1), numbered(path, number))) {
                return false;
            }
        }
        if (!renamed(path, numbered(path, 1))) {
            return false;
        }
    }
    removeAbove(path, kept);
    return true;
}

}  // namespace DPL::dpllogger
