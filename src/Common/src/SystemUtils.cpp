#include "VDIFrameworkCommon/SystemUtils.h"

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <mutex>
#include <string_view>

namespace VDIFrameworkCommon {

namespace {

// Fields that the user agent may read while they are set. Together they are guarded by `versionMutex`.
struct SharedVersion {
    std::atomic<std::uint64_t> major;
    std::atomic<std::uint64_t> minor;
    std::atomic<std::uint64_t> revision;
    std::atomic<std::uint64_t> build;
};

constinit SharedVersion version{};

std::mutex& versionMutex() {
    // Never destroyed: threads that outlive `main` still ask for the version.
    static auto& mutex = *new std::mutex;
    return mutex;
}

constexpr std::string_view agentName = "Parlet/";
constexpr std::string_view agentPlatform = " (Macintosh; OSX)";

char* append(char* out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

}  // namespace

ParletVersion SystemUtils::getDefaultParletVersion() {
    return {};
}

void SystemUtils::setParletVersion(const ParletVersion& value) {
    const std::lock_guard lock(versionMutex());
    version.major.store(value.major, std::memory_order_relaxed);
    version.minor.store(value.minor, std::memory_order_relaxed);
    version.revision.store(value.revision, std::memory_order_relaxed);
    version.build.store(value.build, std::memory_order_relaxed);
}

ParletVersion SystemUtils::getParletVersion() {
    const std::lock_guard lock(versionMutex());
    return {version.major.load(std::memory_order_relaxed), version.minor.load(std::memory_order_relaxed),
            version.revision.load(std::memory_order_relaxed), version.build.load(std::memory_order_relaxed)};
}

std::string SystemUtils::getHttpUserAgent() {
    constexpr std::size_t longestNumber = std::numeric_limits<std::uint64_t>::digits10 + 1;
    char text[agentName.size() + 4 * (longestNumber + 1) + agentPlatform.size()];
    char* const end = text + sizeof text;
    // Without the mutex: nothing but the four numbers depends on their order.
    char* out = append(text, agentName);
    out = std::to_chars(out, end, version.major.load(std::memory_order_relaxed)).ptr;
    for (const auto* const field : {&version.minor, &version.revision, &version.build}) {
        *out++ = '.';
        out = std::to_chars(out, end, field->load(std::memory_order_relaxed)).ptr;
    }
    out = append(out, agentPlatform);
    return {text, out};
}

std::string SystemUtils::getEnvVar(const std::string& name) {
    // No variable has a zero byte in its name.
    const char* const value = name.find('\0') == std::string::npos ? std::getenv(name.c_str()) : nullptr;
    return value == nullptr ? std::string() : std::string(value);
}

std::string SystemUtils::GetLibraryName(void* /*handle*/) {
    return {};
}

std::string SystemUtils::GetLibraryDirectoryPath(void* /*handle*/) {
    return {};
}

void SystemUtils::addLibrarySearchPath(const std::string& /*path*/) {
}

void SystemUtils::getMemoryUsage(std::wstring& /*physical*/, std::wstring& /*virtualMemory*/) {
}

}  // namespace VDIFrameworkCommon
