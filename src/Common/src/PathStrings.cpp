#include "PathStrings.h"

#include <cstdint>
#include <cstring>

#include "VDIFrameworkCommon/FileUtils.h"
#include "VDIFrameworkCommon/StringConversion.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Character>
std::size_t lengthOfParent(std::basic_string_view<Character> path) noexcept {
    constexpr Character separator = '/';
    constexpr auto none = std::basic_string_view<Character>::npos;
    const std::size_t last = path.rfind(separator);
    if (last == none) {
        return 0;
    }
    if (last + 1 != path.size()) {
        return last;
    }
    // For "/" alone the search wraps around and finds that separator again: its parent is empty.
    const std::size_t previous = path.rfind(separator, path.size() - 2);
    return previous == none ? path.size() : previous;
}

template <typename Character>
std::size_t startOfName(std::basic_string_view<Character> path) noexcept {
    return path.rfind(Character{'/'}) + 1;
}

template <typename Character>
std::size_t startOfExtension(std::basic_string_view<Character> path) noexcept {
    const std::size_t dot = path.rfind(Character{'.'});
    return dot == std::basic_string_view<Character>::npos ? path.size() : dot + 1;
}

// Looks at eight bytes at a time.
bool isAscii(std::string_view text) noexcept {
    std::uint64_t seen = 0;
    for (; text.size() >= sizeof seen; text.remove_prefix(sizeof seen)) {
        std::uint64_t block = 0;
        std::memcpy(&block, text.data(), sizeof block);
        seen |= block;
    }
    for (const char byte : text) {
        seen |= static_cast<unsigned char>(byte);
    }
    return (seen & 0x8080808080808080U) == 0;
}

}  // namespace

namespace paths {

std::size_t parentLength(std::string_view path) noexcept {
    return lengthOfParent(path);
}

// A valid path is cut at the same place in either encoding, so that it need not be converted back.
void requireUtf8(const std::string& path) {
    if (!isAscii(path)) {
        static_cast<void>(toWideString(path));
    }
}

const char* systemPath(const std::string& path) noexcept {
    return path.find('\0') == std::string::npos ? path.c_str() : "";
}

}  // namespace paths

std::wstring FileUtils::getParentDirectory(const std::wstring& path) {
    return path.substr(0, lengthOfParent<wchar_t>(path));
}

std::string FileUtils::getParentDirectory(const std::string& path) {
    paths::requireUtf8(path);
    return path.substr(0, paths::parentLength(path));
}

std::wstring FileUtils::getFileName(const std::wstring& path) {
    return path.substr(startOfName<wchar_t>(path));
}

std::string FileUtils::getFileName(const std::string& path) {
    paths::requireUtf8(path);
    return path.substr(startOfName<char>(path));
}

std::wstring FileUtils::getFileExtension(const std::wstring& path) {
    return path.substr(startOfExtension<wchar_t>(path));
}

std::string FileUtils::getFileExtension(const std::string& path) {
    paths::requireUtf8(path);
    return path.substr(startOfExtension<char>(path));
}

std::string FileUtils::getAbsolutePath(const std::string& path) {
    if (path.empty()) {
        return getInstallationDirectory();
    }
    return path.front() == '/' ? path : getInstallationDirectory() + FileSeparator() + path;
}

}  // namespace VDIFrameworkCommon
