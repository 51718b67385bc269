#pragma once

#include <cstdint>
#include <string>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// The version of the hosting client, each number of any size. A plain value: one owner at a time.
struct ParletVersion {
    std::uint64_t major = 0;     ///< the first number of four
    std::uint64_t minor = 0;     ///< the second
    std::uint64_t revision = 0;  ///< the third
    std::uint64_t build = 0;     ///< the last
};

/// The host's version, the user agent made from it, and the environment.
///
/// Thread-safe, `getEnvVar` as far as the C library's `getenv` is. Nothing blocks but for the copy of a version.
class VDIFRAMEWORKCOMMON_EXPORT SystemUtils {
public:
    SystemUtils() = delete;

    /// Version 0.0.0.0.
    static ParletVersion getDefaultParletVersion();

    /// Stores the version. Meant to be set once, at start-up.
    static void setParletVersion(const ParletVersion& value);

    /// The version as it was set; the default until then.
    static ParletVersion getParletVersion();

    /// "Parlet/12.9.1.3 (Macintosh; OSX)" for version 12.9.1.3. While the version is being set the text may mix the old
    /// one and the new.
    static std::string getHttpUserAgent();

    /// The value of an environment variable; empty if it is not set.
    static std::string getEnvVar(const std::string& name);

    // Without a meaning on this platform.

    /// Always empty.
    static std::string GetLibraryName(void* handle);

    /// Always empty.
    static std::string GetLibraryDirectoryPath(void* handle);

    /// Does nothing.
    static void addLibrarySearchPath(const std::string& path);

    /// Leaves both texts as they are.
    static void getMemoryUsage(std::wstring& physical, std::wstring& virtualMemory);
};

}  // namespace VDIFrameworkCommon
