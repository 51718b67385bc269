#pragma once

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The C library's character classes in the current C locale, for elements of narrow and wide text.
///
/// Bytes count as unsigned numbers. Wide elements outside 0 to 0xFF are in no class.

namespace VDIFrameworkCommon {

// In every locale.
inline constexpr std::string_view asciiAlphanumeric = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

inline bool isByte(wchar_t c) noexcept {
    return static_cast<std::uint32_t>(c) <= 0xFF;  // signed on some processors, unsigned on others
}

inline bool isBlank(wchar_t c) noexcept {
    if (!isByte(c)) {
        return false;
    }
    // What the locale has no say in is looked up, without a branch that depends on the text.
    enum : std::uint8_t { No, Yes, AskTheLocale };
    static constexpr auto answers = [] {
        std::array<std::uint8_t, 256> table{};
        table.fill(AskTheLocale);
        for (const char standard : std::string_view("\t\n\v\f\r ")) {
            table[static_cast<unsigned char>(standard)] = Yes;
        }
        for (const char alphanumeric : asciiAlphanumeric) {
            table[static_cast<unsigned char>(alphanumeric)] = No;
        }
        return table;
    }();
    const std::uint8_t answer = answers[static_cast<unsigned char>(c)];
    return answer == AskTheLocale ? std::isspace(static_cast<int>(c)) != 0 : answer == Yes;
}

inline bool isBlank(char c) noexcept {
    return isBlank(static_cast<wchar_t>(static_cast<unsigned char>(c)));
}

inline bool isAlphanumeric(char c) noexcept {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

}  // namespace VDIFrameworkCommon
