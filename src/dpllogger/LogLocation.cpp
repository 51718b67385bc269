#include "LogLocation.h"

#include <sys/stat.h>

#include <cerrno>
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
            if (::mkdir(path.substr(0, end).c_str(), folderMode) != 0 && errno != EEXIST) {
                const int error = errno;
                struct stat existing {};
                // Folders that are there may refuse for other reasons: a read-only file system, an automounter.
                if (::stat(path.substr(0, end).c_str(), &existing) != 0 || !S_ISDIR(existing.st_mode)) {
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
