#include "DecimalPowers.h"

namespace VDIFrameworkCommon::decimal {

namespace {

// A power of ten with twice as many bits as are kept, so that the losses of all steps stay below the last bit kept.
class LongPower {
public:
    constexpr void timesTen() noexcept {
        const UInt128 product = (mantissa_ >> 3U) * 5 + ((mantissa_ & 7U) * 5 >> 3U);
        const bool fits = product >= highestBit;
        mantissa_ = fits ? product : (mantissa_ >> 2U) * 5 + ((mantissa_ & 3U) * 5 >> 2U);
        log2_ += fits ? 4 : 3;
    }

    constexpr void overTen() noexcept {
        const UInt128 quotient = mantissa_ / 5;
        const UInt128 rest = mantissa_ % 5;
        const bool fits = quotient < highestBit >> 2U;
        mantissa_ = fits ? quotient * 8 + rest * 8 / 5 : quotient * 4 + rest * 4 / 5;
        log2_ -= fits ? 4 : 3;
    }

    constexpr std::uint64_t mantissa() const noexcept { return static_cast<std::uint64_t>(mantissa_ >> 64U); }
    constexpr int log2() const noexcept { return log2_; }

private:
    static constexpr UInt128 highestBit = UInt128{1} << 127U;

    UInt128 mantissa_ = highestBit;
    int log2_ = 0;
};

constexpr Mantissas makeMantissas() {
    Mantissas result{};
    const auto keep = [&result](int n, const LongPower& power) {
        if (power.log2() != floorLog2OfPower(n)) {
            throw "the logarithm is wrong";  // refused at compile time
        }
        result[static_cast<std::size_t>(n - smallestPower)] = power.mantissa();
    };
    LongPower power;
    keep(0, power);
    for (int n = 1; n <= largestPower; ++n) {
        power.timesTen();
        keep(n, power);
    }
    power = {};
    for (int n = -1; n >= smallestPower; --n) {
        power.overTen();
        keep(n, power);
    }
    return result;
}

}  // namespace

constexpr Mantissas mantissas = makeMantissas();

}  // namespace VDIFrameworkCommon::decimal
