#include <CoreFoundation/CoreFoundation.h>
#include <mach-o/dyld.h>

#include <cstdint>

#include "platform/Paths.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr std::uint32_t longestPath = 1024;  // with the null character at its end, which is the longest of the system

}  // namespace

std::string executablePath() {
    char path[longestPath] = {};
    std::uint32_t size = sizeof path;
    // On failure it leaves the path as it is: empty.
    static_cast<void>(_NSGetExecutablePath(path, &size));
    return path;
}

std::string resourcesDirectory() {
    auto* const bundle = CFBundleGetMainBundle();
    CFURLRef const location = bundle == nullptr ? nullptr : CFBundleCopyResourcesDirectoryURL(bundle);
    if (location == nullptr) {
        return {};
    }
    constexpr Boolean againstItsBase = 1;
    UInt8 path[longestPath] = {};
    const bool converted = CFURLGetFileSystemRepresentation(location, againstItsBase, path, sizeof path) != 0;
    CFRelease(location);
    return converted ? reinterpret_cast<const char*>(path) : "";
}

}  // namespace VDIFrameworkCommon::platform
