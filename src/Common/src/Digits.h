#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Decimal digits of integers, as characters of any width.
///
/// Thread-safe: stateless.
namespace VDIFrameworkCommon::digits {

/// "00" to "99".
inline constexpr auto pairs = [] {
    std::array<char, 200> result{};
    for (std::size_t i = 0; i < 100; ++i) {
        result[2 * i] = static_cast<char>('0' + i / 10);
        result[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return result;
}();

/// Writes two digits. `value` is below 100.
template <typename Character>
void writePair(Character* out, std::uint32_t value) noexcept {
    out[0] = static_cast<Character>(pairs[2 * std::size_t{value}]);
    out[1] = static_cast<Character>(pairs[2 * std::size_t{value} + 1]);
}

/// Writes eight digits, with leading zeros. `value` is below 10^8.
template <typename Character>
void writeEight(Character* out, std::uint32_t value) noexcept {
    const std::uint32_t high = value / 10'000;
    const std::uint32_t low = value % 10'000;
    writePair(out, high / 100);
    writePair(out + 2, high % 100);
    writePair(out + 4, low / 100);
    writePair(out + 6, low % 100);
}

/// The longest text of a 64-bit integer, its sign included.
inline constexpr std::size_t maxInteger = 20;

/// How many digits an unsigned number has.
template <typename Number>
constexpr std::size_t count(Number value) noexcept {
    std::size_t digits = 1;
    for (; value >= 10'000; value /= 10'000) {
        digits += 4;
    }
    return digits + (value >= 10 ? 1 : 0) + (value >= 100 ? 1 : 0) + (value >= 1'000 ? 1 : 0);
}

/// Writes an unsigned number so that it ends before `end`, and returns its first character.
template <typename Character, typename Number>
Character* writeBefore(Character* end, Number value) noexcept {
    if constexpr (sizeof(Number) > sizeof(std::uint32_t)) {
        constexpr std::uint32_t eightDigits = 100'000'000;
        for (; value >= eightDigits; value /= eightDigits) {
            end -= 8;
            writeEight(end, static_cast<std::uint32_t>(value % eightDigits));
        }
    }
    auto rest = static_cast<std::uint32_t>(value);
    for (; rest >= 100; rest /= 100) {
        end -= 2;
        writePair(end, rest % 100);
    }
    if (rest >= 10) {
        end -= 2;
        writePair(end, rest);
    } else {
        *--end = static_cast<Character>('0' + rest);
    }
    return end;
}

}  // namespace VDIFrameworkCommon::digits
