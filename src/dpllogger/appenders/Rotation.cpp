#include "appenders/Rotation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <system_error>

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

// Fails where `to` exists, if the file system can tell.
int renameToFreeName(const std::string& from, const std::string& to) {
#ifdef RENAME_NOREPLACE
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
#endif
    return std::rename(from.c_str(), to.c_str());
}

// A file that was removed meanwhile is no obstacle.
bool replaced(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT;
}
bool moved(const std::string& from, const std::string& to) {
    return renameToFreeName(from, to) == 0 || errno == ENOENT;
}

/// Moves the files before the first free number up by one, so that number 1 is free.
bool makeRoom(const std::string& path, unsigned kept) {
    unsigned free = 1;
    while (free < kept && exists(numbered(path, free))) {
        ++free;
    }
    // From the oldest to the newest: each renaming is a whole step that loses nothing. The first one replaces the
    // oldest file if all places are taken. The other places are free; if one is not, others put files aside too,
    // because this process was stopped and the file that it has locked was moved away meanwhile.
    for (unsigned number = free; number > 1; --number) {
        const auto rename = number == kept ? replaced : moved;
        if (!rename(numbered(path, number - 1), numbered(path, number))) {
            return false;
        }
    }
    return true;
}

/// Where a link leads: it stays, and the files lie beside the one that it names.
std::string target(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error)) {
        return path;
    }
    const auto file = std::filesystem::canonical(path, error);
    return error ? path : file.string();
}

bool putFileAside(const std::string& path, unsigned kept) {
    if (kept == 0) {
        return ::unlink(path.c_str()) == 0;
    }
    const auto rename = kept == 1 ? replaced : moved;
    return makeRoom(path, kept) && rename(path, numbered(path, 1));
}

}  // namespace

bool putAside(const std::string& path, unsigned kept) {
    const std::string file = target(path);
    if (!putFileAside(file, kept)) {
        return false;
    }
    removeAbove(file, kept);
    return true;
}

}  // namespace DPL::dpllogger
