#include "CityHash64.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace VDIFrameworkCommon {

namespace {

using Word = std::uint64_t;

static_assert(std::endian::native == std::endian::little, "digests are defined over little-endian words");

// Odd constants that spread the bits; the first three are primes.
constexpr Word k0 = 0xc3a5c85c97cb3127;
constexpr Word k1 = 0xb492b66fbe98f273;
constexpr Word k2 = 0x9ae16a3b2f90404f;
constexpr Word k3 = 0xc949d7c7509e6557;
constexpr Word pairMultiplier = 0x9ddfea08eb382d69;

struct Pair {
    Word first;
    Word second;
};

template <typename Unsigned>
Unsigned load(const char* at) noexcept {
    Unsigned value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

Word word(const char* at) noexcept {
    return load<Word>(at);
}

// To the right, by 1 to 63 bits.
constexpr Word rotate(Word value, unsigned bits) noexcept {
    return (value >> bits) | (value << (64 - bits));
}

constexpr Word foldTop(Word value) noexcept {
    return value ^ (value >> 47);
}

// Two words into one.
constexpr Word mix(Word low, Word high) noexcept {
    const Word once = foldTop((low ^ high) * pairMultiplier);
    return foldTop((high ^ once) * pairMultiplier) * pairMultiplier;
}

Word upTo16(const char* text, std::size_t size) noexcept {
    if (size > 8) {
        const Word head = word(text);
        const Word tail = word(text + size - 8);
        return mix(head, rotate(tail + size, static_cast<unsigned>(size))) ^ tail;
    }
    if (size >= 4) {
        // The shift is done in 32 bits and loses the top three.
        const std::uint32_t head = load<std::uint32_t>(text) << 3U;
        return mix(size + head, load<std::uint32_t>(text + size - 4));
    }
    if (size > 0) {
        const auto byte = [text](std::size_t at) {
            return static_cast<std::uint32_t>(static_cast<unsigned char>(text[at]));
        };
        const std::uint32_t ends = byte(0) + (byte(size >> 1U) << 8U);
        const std::uint32_t rest = static_cast<std::uint32_t>(size) + (byte(size - 1) << 2U);
        return foldTop((ends * k2) ^ (rest * k3)) * k2;
    }
    return k2;
}

Word upTo32(const char* text, std::size_t size) noexcept {
    const Word a = word(text) * k1;
    const Word b = word(text + 8);
    const Word c = word(text + size - 8) * k2;
    const Word d = word(text + size - 16) * k0;
    return mix(rotate(a - b, 43) + rotate(c, 30) + d, a + rotate(b ^ k3, 20) - c + size);
}

// One half of a text of 33 to 64 bytes: its four words, and a start value that differs between the halves.
Pair half(Word start, const char* middle, Word last) noexcept {
    const Word second = start + word(middle);
    const Word third = second + word(middle + 8);
    return {third + last, rotate(start + last, 52) + rotate(third, 31) + rotate(start, 37) + rotate(second, 7)};
}

Word upTo64(const char* text, std::size_t size) noexcept {
    const char* const end = text + size;
    const Word fourth = word(text + 24);
    const Pair front = half(word(text) + (size + word(end - 16)) * k0, text + 8, fourth);
    const Pair back = half(word(text + 16) + word(end - 32), end - 24, fourth + word(end - 8));
    const Word joined = foldTop((front.first + back.second) * k2 + (back.first + front.second) * k0);
    return foldTop(joined * k0 + front.second) * k2;
}

// Absorbs 32 bytes into a pair of seeds.
Pair absorb(const char* text, Word seed, Word other) noexcept {
    const Word last = word(text + 24);
    const Word start = seed + word(text);
    const Word sum = start + word(text + 8) + word(text + 16);
    return {sum + last, rotate(other + start + last, 21) + rotate(sum, 44) + start};
}

Word anyLength(const char* text, std::size_t size) noexcept {
    // The end first; then every whole block of 64 bytes, the last of which may overlap what was read before.
    const char* const end = text + size;
    Word x = word(end - 40);
    Word y = word(end - 16) + word(end - 56);
    Word z = mix(word(end - 48) + size, word(end - 24));
    Pair v = absorb(end - 64, size, z);
    Pair w = absorb(end - 32, y + k1, x);
    x = x * k1 + word(text);
    for (std::size_t blocks = (size - 1) / 64; blocks != 0; --blocks, text += 64) {
        x = rotate(x + y + v.first + word(text + 8), 37) * k1;
        y = rotate(y + v.second + word(text + 48), 42) * k1;
        x ^= w.second;
        y += v.first + word(text + 40);
        z = rotate(z + w.first, 33) * k1;
        v = absorb(text, v.second * k1, x + w.first);
        w = absorb(text + 32, z + w.second, y + word(text + 16));
        const Word swapped = z;
        z = x;
        x = swapped;
    }
    return mix(mix(v.first, w.first) + foldTop(y) * k1 + z, mix(v.second, w.second) + x);
}

}  // namespace

std::uint64_t cityHash64(std::string_view text) noexcept {
    const std::size_t size = text.size();
    if (size <= 16) {
        return upTo16(text.data(), size);
    }
    if (size <= 32) {
        return upTo32(text.data(), size);
    }
    return size <= 64 ? upTo64(text.data(), size) : anyLength(text.data(), size);
}

}  // namespace VDIFrameworkCommon
