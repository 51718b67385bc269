#include "LogLocation.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace DPL::dpllogger {

namespace {

constexpr const char* fileNameInFolder = "parlet.log";
constexpr mode_t folderMode = 0700;

bool isFolder(const std::filesystem::path& location) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(location, error);
    if (std::filesystem::exists(status)) {
        return std::filesystem::is_directory(status);
    }
    return !location.has_extension();
}

bool isThere(const std::string& folder) {
    struct stat status {};
    return ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Its mode is the same whatever the process's mask takes away from new files.
bool make(const std::string& folder) {
    if (::mkdir(folder.c_str(), folderMode) != 0) {
        return false;
    }
    struct stat status {};
    if (::lstat(folder.c_str(), &status) == 0 && (status.st_mode & folderMode) != folderMode) {
        ::chmod(folder.c_str(), (status.st_mode & 07777U) | folderMode);
    }
    return true;
}

}  // namespace

std::string logFilePath(const std::string& location) {
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(location, error);
    if (error) {
        path = location;
    }
    return (isFolder(path) ? path / fileNameInFolder : path).string();
}

int makeFoldersAbove(const std::string& path) noexcept {
    try {
        for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
            const std::string folder = path.substr(0, end);
            if (!make(folder) && errno != EEXIST) {
                const int error = errno;
                // Folders that are there may refuse for other reasons: a read-only file system, an automounter.
                if (!isThere(folder)) {
                    return error;
                }
            }
        }
        return 0;
    } catch (...) {
        return ENOMEM;
    }
}

}  // namespace DPL::dpllogger
