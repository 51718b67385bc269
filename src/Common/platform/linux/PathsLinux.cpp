#include <unistd.h>

#include <cstddef>
#include <string_view>

#include "platform/Paths.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr char separator = '/';

// The kernel adds this to the path of an executable that was removed or replaced since it was started.
constexpr std::string_view removedMark = " (deleted)";

// What comes before the last separator, and after it.
std::string_view directoryOf(std::string_view path) {
    return path.substr(0, path.rfind(separator));
}
std::string_view nameOf(std::string_view path) {
    return path.substr(path.rfind(separator) + 1);
}

}  // namespace

std::string executablePath() {
    std::string path(256, '\0');
    for (;;) {
        const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
        if (length < 0) {
            return {};
        }
        if (static_cast<std::size_t>(length) < path.size()) {
            path.resize(static_cast<std::size_t>(length));
            break;
        }
        path.resize(2 * path.size());
    }
    if (path.ends_with(removedMark) && ::access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - removedMark.size());
    }
    return path;
}

std::string resourcesDirectory() {
    const std::string executable = executablePath();
    if (executable.empty()) {
        return {};
    }
    const std::string_view directory = directoryOf(executable);
    const std::string above(directoryOf(directory));
    if (nameOf(above) == "Contents") {
        return above + "/Resources";
    }
    if (nameOf(directory) == "bin") {
        return above + "/share/" + std::string(nameOf(executable));
    }
    return directory.empty() ? std::string(1, separator) : std::string(directory);
}

}  // namespace VDIFrameworkCommon::platform
