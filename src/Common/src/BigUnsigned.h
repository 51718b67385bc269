#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>

namespace VDIFrameworkCommon {

/// An unsigned integer of up to 1,024 bits, for the exact comparisons of decimal with binary numbers. The caller sees
/// to it that no result is larger; every double and float, compared with the few digits that decide about it, stays
/// below 900 bits.
class BigUnsigned {
public:
    explicit BigUnsigned(std::uint64_t value = 0) noexcept {
        while (value != 0) {
            limbs_[size_++] = static_cast<std::uint32_t>(value);
            value >>= 32U;
        }
    }

    void multiplyAndAdd(std::uint32_t factor, std::uint32_t carry) noexcept {
        std::uint64_t rest = carry;
        for (std::size_t i = 0; i < size_; ++i) {
            rest += std::uint64_t{limbs_[i]} * factor;
            limbs_[i] = static_cast<std::uint32_t>(rest);
            rest >>= 32U;
        }
        if (rest != 0) {
            limbs_[size_++] = static_cast<std::uint32_t>(rest);
        }
    }

    void multiplyByPowerOf5(int exponent) noexcept {
        constexpr int step = 13;
        constexpr std::uint32_t powerOfStep = 1'220'703'125;
        for (; exponent >= step; exponent -= step) {
            multiplyAndAdd(powerOfStep, 0);
        }
        for (; exponent > 0; --exponent) {
            multiplyAndAdd(5, 0);
        }
    }

    void shiftLeft(int bits) noexcept {
        constexpr int limbBits = 32;
        multiplyAndAdd(1U << static_cast<unsigned>(bits % limbBits), 0);
        const auto limbs = static_cast<std::size_t>(bits / limbBits);
        if (size_ == 0 || limbs == 0) {
            return;
        }
        for (std::size_t i = size_; i-- > 0;) {
            limbs_[i + limbs] = limbs_[i];
        }
        for (std::size_t i = 0; i < limbs; ++i) {
            limbs_[i] = 0;
        }
        size_ += limbs;
    }

    std::strong_ordering operator<=>(const BigUnsigned& other) const noexcept {
        if (size_ != other.size_) {
            return size_ <=> other.size_;
        }
        for (std::size_t i = size_; i-- > 0;) {
            if (limbs_[i] != other.limbs_[i]) {
                return limbs_[i] <=> other.limbs_[i];
            }
        }
        return std::strong_ordering::equal;
    }

private:
    std::array<std::uint32_t, 32> limbs_{};
    std::size_t size_ = 0;  // limbs in use; the highest is not 0
};

/// Compares left * 10^decimalExponent * 2^binaryExponent with right, exactly.
inline std::strong_ordering compareScaled(BigUnsigned left, int decimalExponent, int binaryExponent,
                                          BigUnsigned right) noexcept {
    const int twos = decimalExponent + binaryExponent;
    (decimalExponent >= 0 ? left : right).multiplyByPowerOf5(decimalExponent >= 0 ? decimalExponent : -decimalExponent);
    (twos >= 0 ? left : right).shiftLeft(twos >= 0 ? twos : -twos);
    return left <=> right;
}

}  // namespace VDIFrameworkCommon
