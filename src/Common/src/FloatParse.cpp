#include "FloatParse.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "BigUnsigned.h"
#include "DecimalPowers.h"

namespace VDIFrameworkCommon {

namespace {

static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == sizeof(std::uint32_t));

// Digits that any 64-bit number can hold.
constexpr int heldDigits = 19;

// The exponents of a power of ten beyond which 1 to 19 digits are larger than every float, and smaller than half the
// least.
constexpr std::int64_t largestExponent = 38;
constexpr std::int64_t smallestExponent = -65;

constexpr int mantissaBits = 23;
constexpr int smallestNormal = -126;  // binary exponents
constexpr int largestNormal = 127;

constexpr bool isDigit(char character) noexcept {
    return static_cast<unsigned char>(character - '0') < 10;
}

constexpr unsigned digitOf(char character) noexcept {
    return static_cast<unsigned char>(character - '0');
}

// Reads the significant digits again, one by one, when there are too many to take them all.
void holdFirstDigits(DecimalPrefix& number, const char* end) noexcept {
    int held = 0;
    bool afterPoint = false;
    number.digits = 0;
    number.exponent = 0;
    for (const char* at = number.first; at != end; ++at) {
        if (*at == '.') {
            afterPoint = true;
            continue;
        }
        if (held < heldDigits) {
            number.digits = number.digits * 10 + digitOf(*at);
            held += number.digits != 0 ? 1 : 0;
            number.exponent -= afterPoint ? 1 : 0;
        } else {
            number.cut = number.cut || *at != '0';
            number.exponent += afterPoint ? 0 : 1;
        }
    }
}

// Reads an exponent behind an "e" and adds it. Returns where it ends, or `at` if there is none.
const char* addExponent(DecimalPrefix& number, const char* at, const char* end) noexcept {
    const char* digit = at + 1;
    const bool negative = digit != end && *digit == '-';
    if (digit != end && (*digit == '-' || *digit == '+')) {
        ++digit;
    }
    if (digit == end || !isDigit(*digit)) {
        return at;
    }
    // Larger than the number of digits that any memory holds, so that no such text can bring it back into range.
    constexpr std::int64_t beyondAnyLength = std::int64_t{1} << 52;
    std::int64_t exponent = 0;
    for (; digit != end && isDigit(*digit); ++digit) {
        exponent = std::min(exponent * 10 + static_cast<std::int64_t>(digitOf(*digit)), beyondAnyLength);
    }
    number.exponent += negative ? -exponent : exponent;
    return digit;
}

// Compares the number, whatever its length, with mantissa * 2^exponent.
std::strong_ordering compare(const DecimalPrefix& number, std::uint32_t mantissa, int exponent) noexcept {
    if (!number.cut) {
        return compareScaled(BigUnsigned(number.digits), static_cast<int>(number.exponent), -exponent,
                             BigUnsigned(mantissa));
    }
    // A number halfway between two floats has at most 113 significant digits. Of what follows so many, it matters only
    // whether it is more than nothing.
    constexpr int decidingDigits = 120;
    BigUnsigned digits;
    int held = 0;
    bool more = false;
    auto decimalExponent = number.exponent;
    for (const char* at = number.first; at != number.end && (isDigit(*at) || *at == '.') && !more; ++at) {
        if (*at == '.') {
            continue;
        }
        if (held < decidingDigits) {
            digits.multiplyAndAdd(10, digitOf(*at));
            held += held != 0 || *at != '0' ? 1 : 0;
            decimalExponent -= held > heldDigits ? 1 : 0;
        } else {
            more = *at != '0';
        }
    }
    if (more) {
        digits.multiplyAndAdd(10, 1);
        --decimalExponent;
    }
    return compareScaled(digits, static_cast<int>(decimalExponent), -exponent, BigUnsigned(mantissa));
}

float withSign(const DecimalPrefix& number, float magnitude) noexcept {
    return number.negative ? -magnitude : magnitude;
}

}  // namespace

DecimalPrefix scanDecimal(const char* begin, const char* end) noexcept {
    DecimalPrefix number;
    const char* at = begin;
    if (at != end && (*at == '-' || *at == '+')) {
        number.negative = *at == '-';
        ++at;
    }
    number.first = at;
    std::uint64_t digits = 0;  // wraps when there are too many; they are then read again
    for (; at != end && isDigit(*at); ++at) {
        digits = digits * 10 + digitOf(*at);
    }
    auto count = at - number.first;
    if (at != end && *at == '.') {
        const char* const fraction = ++at;
        for (; at != end && isDigit(*at); ++at) {
            digits = digits * 10 + digitOf(*at);
        }
        number.exponent = fraction - at;
        count += at - fraction;
    }
    number.digits = digits;
    if (count == 0) {
        return number;
    }
    if (count > heldDigits) {
        holdFirstDigits(number, at);
    }
    number.end = at != end && (*at == 'e' || *at == 'E') ? addExponent(number, at, end) : at;
    return number;
}

float toNearestFloat(const DecimalPrefix& number) noexcept {
    if (number.digits == 0 || number.exponent < smallestExponent) {
        return withSign(number, 0);
    }
    constexpr float largest = std::numeric_limits<float>::max();
    if (number.exponent > largestExponent) {
        return withSign(number, largest);
    }
    const auto power = decimal::power(static_cast<int>(number.exponent));
    const int zeros = std::countl_zero(number.digits);
    const decimal::UInt128 product = decimal::UInt128{number.digits << static_cast<unsigned>(zeros)} * power.mantissa;
    const auto high = static_cast<std::uint64_t>(product >> 64U);
    const auto low = static_cast<std::uint64_t>(product);

    // The number is (high + low / 2^64) * 2^scale, or a little more. The float keeps the bits from `unit` on.
    const int scale = power.exponent - zeros + 64;
    const int log2 = scale + 63 - std::countl_zero(high);
    if (log2 > largestNormal) {
        return withSign(number, largest);
    }
    constexpr int leastUnit = smallestNormal - mantissaBits;
    if (log2 < leastUnit - 1) {
        const bool up = compare(number, 1, leastUnit - 1) > 0;  // NOLINT(modernize-use-nullptr)
        return withSign(number, up ? std::numeric_limits<float>::denorm_min() : 0);
    }
    const int unit = std::max(log2, smallestNormal) - mantissaBits;
    const auto dropped = static_cast<unsigned>(unit - scale);
    const std::uint64_t half = std::uint64_t{1} << (dropped - 1);
    const std::uint64_t fraction = high & (2 * half - 1);
    auto mantissa = dropped < 64 ? static_cast<std::uint32_t>(high >> dropped) : 0U;
    const bool odd = (mantissa & 1U) != 0;

    bool up = fraction >= half;
    if (decimal::isExactPower(static_cast<int>(number.exponent)) && !number.cut) {
        up = up && (fraction != half || low != 0 || odd);
    } else {
        // 19 digits that stand for more lose up to 2^64 / 10^18 units of `high`, the table another two.
        constexpr std::uint64_t lost = 32;
        if (fraction + lost >= half && fraction <= half + lost) {
            const auto order = compare(number, 2 * mantissa + 1, unit - 1);
            up = order > 0 || (order == 0 && odd);  // NOLINT(modernize-use-nullptr)
        }
    }
    mantissa += static_cast<std::uint32_t>(up);

    // A mantissa that has grown by one bit moves on to the next exponent by itself.
    const auto exponentBits = static_cast<std::uint32_t>(unit - leastUnit) << mantissaBits;
    const auto magnitude = std::bit_cast<float>(exponentBits + mantissa);
    return withSign(number, std::min(magnitude, largest));
}

}  // namespace VDIFrameworkCommon
