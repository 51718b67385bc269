#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "CharacterClass.h"
#include "VDIFrameworkCommon/IdentifierUtils.h"

namespace VDIFrameworkCommon {

namespace {

constexpr bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

// Every position of a UUID takes the characters of one class; each class is a bit, so that a character that belongs to
// several has several.
enum CharacterClass : std::uint8_t { Hexadecimal = 1, Hyphen = 2, Version = 4, Variant = 8 };

constexpr std::array<std::uint8_t, 256> uuidClasses = [] {
    std::array<std::uint8_t, 256> classes{};
    const auto add = [&classes](std::string_view characters, CharacterClass characterClass) {
        for (const char c : characters) {
            classes[static_cast<unsigned char>(c)] |= characterClass;
        }
    };
    add("0123456789abcdef", Hexadecimal);
    add("-", Hyphen);
    add("12345", Version);
    add("89aAbB", Variant);
    return classes;
}();

constexpr std::size_t uuidSize = 36;

constexpr std::array<std::uint8_t, uuidSize> uuidPattern = [] {
    std::array<std::uint8_t, uuidSize> pattern{};
    pattern.fill(Hexadecimal);
    for (const std::size_t position : {8U, 13U, 18U, 23U}) {
        pattern[position] = Hyphen;
    }
    pattern[14] = Version;
    pattern[19] = Variant;
    return pattern;
}();

constexpr std::size_t meetingNumberSize = 9;
constexpr std::size_t longestSipUser = 47;
constexpr std::size_t shortestSipHost = 2;

// What may be in the user and in the host of a SIP URI, whatever the locale; letters of its own it may add.
enum SipPart : std::uint8_t { User = 1, Host = 2 };

constexpr std::array<std::uint8_t, 256> sipParts = [] {
    std::array<std::uint8_t, 256> parts{};
    const auto add = [&parts](std::string_view characters, unsigned part) {
        for (const char c : characters) {
            parts[static_cast<unsigned char>(c)] |= static_cast<std::uint8_t>(part);
        }
    };
    add(asciiAlphanumeric, User | Host);
    add(R"(!$%&*_+~-=?\',./)", User);
    add("-.", Host);
    return parts;
}();

template <SipPart Part>
bool isIn(char c) {
    return (sipParts[static_cast<unsigned char>(c)] & Part) != 0 || isAlphanumeric(c);
}

bool isSipHost(std::string_view host) {
    return host.size() >= shortestSipHost && host.front() != '-' && host.back() != '-' && host.front() != '.' &&
           std::all_of(host.begin(), host.end(), isIn<Host>) && host.find("..") == std::string_view::npos;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes it by value
bool isValidSipUri(std::string uri) {
    const std::string_view text = uri;
    const std::size_t at = text.find('@');
    if (at == std::string_view::npos || at == 0 || at > longestSipUser) {
        return false;
    }
    const std::string_view user = text.substr(0, at);
    // A second "@" is no character of a host.
    return std::all_of(user.begin(), user.end(), isIn<User>) && isSipHost(text.substr(at + 1));
}

bool isValidUUid(const std::string& text) {
    if (text.size() != uuidSize) {
        return false;
    }
    bool matches = true;
    for (std::size_t i = 0; i != uuidSize; ++i) {
        matches &= (uuidClasses[static_cast<unsigned char>(text[i])] & uuidPattern[i]) != 0;
    }
    return matches;
}

bool isValidGlintMeetingNumber(const std::string& text) {
    return text.size() == meetingNumberSize && std::all_of(text.begin(), text.end(), isAsciiDigit);
}

std::string extractUsernameFromUri(const std::string& uri) {
    return uri.substr(0, uri.rfind('@'));
}

}  // namespace VDIFrameworkCommon
