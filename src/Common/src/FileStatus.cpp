#include <sys/stat.h>

#include "PathStrings.h"
#include "VDIFrameworkCommon/FileUtils.h"
#include "VDIFrameworkCommon/StringConversion.h"

namespace VDIFrameworkCommon {

namespace {

bool statusOf(const std::string& path, struct stat& status) noexcept {
    return ::stat(paths::systemPath(path), &status) == 0;
}

}  // namespace

bool FileUtils::fileExists(const std::string& path) {
    struct stat status;
    return statusOf(path, status);
}

bool FileUtils::fileExists(const std::wstring& path) {
    return fileExists(toString(path));
}

std::uint64_t FileUtils::getFileSize(const std::string& path) {
    struct stat status;
    return statusOf(path, status) ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool FileUtils::isDirectory(const std::string& path) {
    struct stat status;
    return statusOf(path, status) && S_ISDIR(status.st_mode);
}

}  // namespace VDIFrameworkCommon
