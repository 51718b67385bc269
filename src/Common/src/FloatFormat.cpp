#include "FloatFormat.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

#include "BigUnsigned.h"
#include "DecimalPowers.h"
#include "Digits.h"

namespace VDIFrameworkCommon {

namespace {

static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == sizeof(std::uint64_t));

constexpr int mantissaBits = 52;
constexpr int exponentBias = 1023 + mantissaBits;
constexpr std::uint64_t mantissaMask = (std::uint64_t{1} << mantissaBits) - 1;
constexpr std::uint64_t exponentMask = 0x7FF;

constexpr std::array<std::uint32_t, 10> powersOfTen{1,       10,        100,        1'000,       10'000,
                                                    100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

// A positive binary number: mantissa * 2^exponent, with the highest bit of the mantissa set.
struct Binary {
    std::uint64_t mantissa;
    int exponent;
};

// A decimal number of a given number of significant digits: the first stands for 10^exponent.
struct Decimal {
    std::uint32_t digits;
    int exponent;
};

// The largest n for which 10^n is not above the number. One too large for a number less than the precision of the table
// below 10^n; it is then rounded to 10^n anyway.
int decimalExponent(const Binary& number) noexcept {
    const int log2 = number.exponent + 63;
    const int below = (log2 * 78913) >> 18;
    const decimal::Power next = decimal::power(below + 1);
    return below + static_cast<int>(number.exponent > next.exponent ||
                                    (number.exponent == next.exponent && number.mantissa >= next.mantissa));
}

// Whether a number is nearer to `digits` + 1 than to `digits`, or as near and the latter is odd; both stand for
// multiples of 10^-scale. Kept out of the caller, which seldom needs it: it would cost every call a large frame.
[[gnu::noinline]] bool isNearerAbove(const Binary& number, int scale, std::uint32_t digits) noexcept {
    const auto order = compareScaled(BigUnsigned(number.mantissa), scale, number.exponent + 1,
                                     BigUnsigned(2 * std::uint64_t{digits} + 1));
    return order > 0 || (order == 0 && (digits & 1U) != 0);  // NOLINT(modernize-use-nullptr)
}

// Rounds a number to `precision` significant digits, to nearest, ties to even.
template <int precision>
Decimal round(const Binary& number) noexcept {
    const int exponent = decimalExponent(number);
    const int scale = precision - 1 - exponent;
    const decimal::Power power = decimal::power(scale);
    const decimal::UInt128 product = decimal::UInt128{number.mantissa} * power.mantissa;
    const auto high = static_cast<std::uint64_t>(product >> 64U);
    const auto low = static_cast<std::uint64_t>(product);
    const auto fractionBits = static_cast<unsigned>(-(number.exponent + power.exponent) - 64);
    const std::uint64_t half = std::uint64_t{1} << (fractionBits - 1);
    const std::uint64_t fraction = high & (2 * half - 1);
    auto digits = static_cast<std::uint32_t>(high >> fractionBits);

    bool up = fraction >= half;
    if (decimal::isExactPower(scale)) {
        up = up && (fraction != half || low != 0 || (digits & 1U) != 0);
    } else if (fraction + 2 >= half && fraction <= half + 2) {
        // The product is too short to tell.
        up = isNearerAbove(number, scale, digits);
    }
    digits += static_cast<std::uint32_t>(up);
    if (digits == powersOfTen[precision]) {
        return {digits / 10, exponent + 1};
    }
    return {digits, exponent};
}

// Eight digits, one a byte, the first in the lowest. All are made at once, in lanes of one word.
std::uint64_t eightDigits(std::uint32_t value) noexcept {
    const std::uint64_t fours = value / 10'000 | std::uint64_t{value % 10'000} << 32U;
    const std::uint64_t hundreds = fours * 10'486 >> 20U & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (fours - 100 * hundreds) << 16U;
    const std::uint64_t tens = pairs * 103 >> 10U & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8U;
}

// The digits of a rounded number. They stay in a register for what is done with them.
template <int precision>
class DigitText {
public:
    explicit DigitText(std::uint32_t digits) noexcept {
        if constexpr (precision <= 8) {
            const std::uint64_t all = eightDigits(digits * powersOfTen[8 - precision]);
            first_ = all & 0xFFU;
            others_ = all >> 8U;
        } else {
            first_ = digits / powersOfTen[8];
            others_ = eightDigits(digits % powersOfTen[8]);
        }
    }

    char first() const noexcept { return static_cast<char>('0' + first_); }

    /// Of those behind the first, without the zeros at the end.
    std::size_t count() const noexcept { return 8 - static_cast<std::size_t>(std::countl_zero(others_)) / 8; }

    /// Writes the digits behind the first, from `skipped` on. Always writes as many characters as there are at most.
    void write(char* out, std::size_t skipped = 0) const noexcept {
        const std::uint64_t text = (others_ | 0x3030303030303030) >> 8 * skipped;
        std::memcpy(out, &text, precision - 1);
    }

private:
    static_assert(precision > 1 && precision <= 9);

    std::uint64_t first_;
    std::uint64_t others_;  // one a byte, the second digit of the number in the lowest
};

static_assert(std::endian::native == std::endian::little, "the first digit of a word is its lowest byte");

char* writeExponent(char* out, int exponent) noexcept {
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    auto rest = static_cast<std::uint32_t>(exponent < 0 ? -exponent : exponent);
    if (rest >= 100) {
        *out++ = static_cast<char>('0' + rest / 100);
        rest %= 100;
    }
    digits::writePair(out, rest);
    return out + 2;
}

// Prints a rounded number without trailing zeros.
template <int precision>
char* write(char* out, const Decimal& number) noexcept {
    const DigitText<precision> digits(number.digits);
    const std::size_t count = digits.count();
    if (number.exponent < -4 || number.exponent >= precision) {
        *out++ = digits.first();
        *out = '.';
        digits.write(out + 1);
        return writeExponent(out + (count == 0 ? 0 : count + 1), number.exponent);
    }
    if (number.exponent < 0) {
        std::memcpy(out, "0.000", 5);  // NOLINT(bugprone-not-null-terminated-result)
        out += 1 - number.exponent;
        *out++ = digits.first();
        digits.write(out);
        return out + count;
    }
    const auto whole = static_cast<std::size_t>(number.exponent);  // digits before the point, less the first
    *out++ = digits.first();
    digits.write(out);
    out += whole;
    if (count > whole) {
        *out++ = '.';
        digits.write(out, whole);
        out += count - whole;
    }
    return out;
}

}  // namespace

template <int precision>
char* formatGeneral(char* out, double value) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    if (bits >> 63U != 0) {
        *out++ = '-';
    }
    const auto biased = static_cast<int>(bits >> mantissaBits & exponentMask);
    const std::uint64_t fraction = bits & mantissaMask;
    if (biased == static_cast<int>(exponentMask)) {
        std::memcpy(out, fraction == 0 ? "inf" : "nan", 3);  // NOLINT(bugprone-not-null-terminated-result)
        return out + 3;
    }
    if (biased == 0 && fraction == 0) {
        *out++ = '0';
        return out;
    }
    const std::uint64_t mantissa = biased == 0 ? fraction : fraction | (mantissaMask + 1);
    const int zeros = std::countl_zero(mantissa);
    const Binary number{mantissa << static_cast<unsigned>(zeros), std::max(biased, 1) - exponentBias - zeros};
    return write<precision>(out, round<precision>(number));
}

template char* formatGeneral<6>(char* out, double value) noexcept;
template char* formatGeneral<9>(char* out, double value) noexcept;

}  // namespace VDIFrameworkCommon
