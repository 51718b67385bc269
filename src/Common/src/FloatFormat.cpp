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

constexpr std::array<std::uint32_t, maxPrecision + 1> powersOfTen{
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

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

// Rounds a number to `precision` significant digits, to nearest, ties to even.
Decimal round(const Binary& number, int precision) noexcept {
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
    const bool odd = (digits & 1U) != 0;

    bool up = fraction >= half;
    if (decimal::isExactPower(scale)) {
        up = up && (fraction != half || low != 0 || odd);
    } else if (fraction + 2 >= half && fraction <= half + 2) {
        // The product is too short to tell.
        const auto order = compareScaled(BigUnsigned(number.mantissa), scale, number.exponent + 1,
                                         BigUnsigned(2 * std::uint64_t{digits} + 1));
        up = order > 0 || (order == 0 && odd);  // NOLINT(modernize-use-nullptr)
    }
    digits += static_cast<std::uint32_t>(up);
    if (digits == powersOfTen[static_cast<std::size_t>(precision)]) {
        return {digits / 10, exponent + 1};
    }
    return {digits, exponent};
}

// Eight digits as text. All are made at once, in lanes of one word, and stay in a register for what is done with them.
class EightDigits {
public:
    explicit EightDigits(std::uint32_t value) noexcept {
        const std::uint64_t fours = value / 10'000 | std::uint64_t{value % 10'000} << 32U;
        const std::uint64_t hundreds = fours * 10'486 >> 20U & 0x0000007F0000007F;
        const std::uint64_t pairs = hundreds | (fours - 100 * hundreds) << 16U;
        const std::uint64_t tens = pairs * 103 >> 10U & 0x000F000F000F000F;
        digits_ = tens | (pairs - 10 * tens) << 8U;
    }

    /// Without the zeros at the end.
    std::size_t count() const noexcept { return 8 - static_cast<std::size_t>(std::countl_zero(digits_)) / 8; }

    /// Writes the digits from `skipped` on. Always writes eight characters.
    void write(char* out, std::size_t skipped = 0) const noexcept {
        const std::uint64_t text = (digits_ | 0x3030303030303030) >> 8 * skipped;
        std::memcpy(out, &text, sizeof text);
    }

private:
    std::uint64_t digits_;  // the first in the lowest byte
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
char* write(char* out, const Decimal& number, int precision) noexcept {
    const std::uint32_t all = number.digits * powersOfTen[static_cast<std::size_t>(maxPrecision - precision)];
    const std::uint32_t eightDigits = powersOfTen[8];
    const char first = static_cast<char>('0' + all / eightDigits);
    const EightDigits others(all % eightDigits);
    const std::size_t count = others.count();
    if (number.exponent < -4 || number.exponent >= precision) {
        *out++ = first;
        *out = '.';
        others.write(out + 1);
        return writeExponent(out + (count == 0 ? 0 : count + 1), number.exponent);
    }
    if (number.exponent < 0) {
        std::memcpy(out, "0.000", 5);  // NOLINT(bugprone-not-null-terminated-result)
        out += 1 - number.exponent;
        *out++ = first;
        others.write(out);
        return out + count;
    }
    const auto whole = static_cast<std::size_t>(number.exponent);  // digits before the point, less the first
    *out++ = first;
    others.write(out);
    out += whole;
    if (count > whole) {
        *out++ = '.';
        others.write(out, whole);
        out += count - whole;
    }
    return out;
}

}  // namespace

char* formatGeneral(char* out, double value, int precision) noexcept {
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
    return write(out, round(number, precision), precision);
}

}  // namespace VDIFrameworkCommon
