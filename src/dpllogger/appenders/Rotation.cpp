#include "appenders/Rotation.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace DPL::dpllogger {

namespace {

std::string numbered(const std::string& path, unsigned number) {
    return path + '.' + std::to_string(number);
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

}  // namespace

bool putAside(const std::string& path, unsigned kept) {
    if (kept == 0) {
        return ::unlink(path.c_str()) == 0;
    }
    unsigned free = 1;
    while (free < kept && exists(numbered(path, free))) {
        ++free;
    }
    // From the oldest to the newest: each renaming is a whole step that loses nothing. The first one replaces the
    // oldest file if all places are taken.
    for (unsigned number = free; number > 1; --number) {
        if (std::rename(numbered(path, number - 1).c_str(), numbered(path, number).c_str()) != 0) {
            return false;
        }
    }
    if (std::rename(path.c_str(), numbered(path, 1).c_str()) != 0) {
        return false;
    }
    // Files of a time when more were kept.
    for (unsigned number = kept + 1; ::unlink(numbered(path, number).c_str()) == 0; ++number) {
    }
    return true;
}

}  // namespace DPL::dpllogger
