#include "Utf8.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace VDIFrameworkCommon::utf8 {

namespace {

using Byte = unsigned char;
using CodePoint = std::uint32_t;

static_assert(sizeof(wchar_t) == sizeof(CodePoint), "wide text has one code point an element");
static_assert(std::endian::native == std::endian::little, "the first byte of a block is its lowest");

constexpr CodePoint lastAscii = 0x7F;
constexpr CodePoint lastOfTwoBytes = 0x7FF;
constexpr CodePoint lastOfThreeBytes = 0xFFFF;
constexpr CodePoint lastCodePoint = 0x10FFFF;

// Text is converted this many elements at a time, by way of the stack: that costs less than filling the result before
// it is written, and encoding needs no look at the text for the length of the result.
constexpr std::size_t partLength = 128;

// ASCII is copied in blocks. Where there is room, a whole block is written and only its ASCII beginning is kept.
constexpr std::size_t block = 8;

// Answers for what cannot be converted.
constexpr CodePoint malformed = 0xFFFFFFFF;
constexpr std::size_t refused = std::numeric_limits<std::size_t>::max();

constexpr bool isSurrogate(CodePoint point) noexcept {
    return (point & ~CodePoint{0x7FF}) == 0xD800;
}

constexpr bool isContinuation(Byte byte) noexcept {
    return (byte & 0xC0U) == 0x80;
}

const Byte* begin(std::string_view bytes) noexcept {
    return reinterpret_cast<const Byte*>(bytes.data());
}

// The number of ASCII bytes that a block begins with.
std::size_t asciiBytes(const Byte* at) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, at, sizeof word);
    return static_cast<std::size_t>(std::countr_zero(word & 0x8080808080808080U)) / 8;
}

// Whether all of the text is ASCII. A block has no early end, so that the compiler looks at many elements at a time.
template <typename Element>
bool isAscii(const Element* text, std::size_t size) noexcept {
    using Unsigned = std::make_unsigned_t<Element>;
    constexpr std::size_t stride = 32 / sizeof(Element);
    const auto seen = [text](std::size_t from, std::size_t count) {
        Unsigned bits = 0;
        for (std::size_t i = 0; i < count; ++i) {
            bits = static_cast<Unsigned>(bits | static_cast<Unsigned>(text[from + i]));
        }
        return bits;
    };
    std::size_t i = 0;
    for (; i + stride <= size; i += stride) {
        if (seen(i, stride) > lastAscii) {
            return false;
        }
    }
    return seen(i, size - i) <= lastAscii;
}

// Decodes one sequence of two to four bytes and moves `at` past it.
CodePoint decodeSequence(const Byte*& at, const Byte* end) noexcept {
    const CodePoint lead = *at;
    const auto left = static_cast<std::size_t>(end - at);
    if (lead >= 0xC2 && lead < 0xE0) {
        if (left < 2 || !isContinuation(at[1])) {
            return malformed;
        }
        const CodePoint point = (lead & 0x1FU) << 6U | (at[1] & 0x3FU);
        at += 2;
        return point;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        if (left < 3 || !isContinuation(at[1]) || !isContinuation(at[2])) {
            return malformed;
        }
        const CodePoint point = (lead & 0xFU) << 12U | (at[1] & 0x3FU) << 6U | (at[2] & 0x3FU);
        at += 3;
        return point <= lastOfTwoBytes || isSurrogate(point) ? malformed : point;
    }
    if (lead < 0xF0 || lead > 0xF4 || left < 4 || !isContinuation(at[1]) || !isContinuation(at[2]) ||
        !isContinuation(at[3])) {
        return malformed;
    }
    const CodePoint point = (lead & 7U) << 18U | (at[1] & 0x3FU) << 12U | (at[2] & 0x3FU) << 6U | (at[3] & 0x3FU);
    at += 4;
    return point <= lastOfThreeBytes || point > lastCodePoint ? malformed : point;
}

// Decodes bytes from `at` on, which it moves, until all are decoded or `partLength` elements are. `out` has room for
// a block more.
std::size_t decodePart(wchar_t* out, const Byte*& at, const Byte* end) noexcept {
    const wchar_t* const start = out;
    const wchar_t* const full = out + partLength;
    while (at != end && out < full) {
        if (*at > lastAscii) {
            const CodePoint point = decodeSequence(at, end);
            if (point == malformed) {
                return refused;
            }
            *out++ = static_cast<wchar_t>(point);
        } else if (static_cast<std::size_t>(end - at) >= block) {
            for (std::size_t i = 0; i < block; ++i) {
                out[i] = at[i];
            }
            const std::size_t ascii = asciiBytes(at);
            at += ascii;
            out += ascii;
        } else {
            *out++ = *at++;
        }
    }
    return static_cast<std::size_t>(out - start);
}

std::size_t codePoints(std::string_view bytes) noexcept {
    std::size_t count = 0;
    for (const char byte : bytes) {
        count += isContinuation(static_cast<Byte>(byte)) ? 0U : 1U;
    }
    return count;
}

// Encodes a valid code point above ASCII and returns the end of its bytes.
char* encodePoint(char* out, CodePoint point) noexcept {
    const auto put = [&out](CodePoint byte) { *out++ = static_cast<char>(byte); };
    if (point <= lastOfTwoBytes) {
        put(0xC0U | point >> 6U);
    } else {
        if (point <= lastOfThreeBytes) {
            put(0xE0U | point >> 12U);
        } else {
            put(0xF0U | point >> 18U);
            put(0x80U | (point >> 12U & 0x3FU));
        }
        put(0x80U | (point >> 6U & 0x3FU));
    }
    put(0x80U | (point & 0x3FU));
    return out;
}

// Encodes all of the text; `out` has room for its bytes.
std::size_t encodePart(char* out, std::wstring_view text) noexcept {
    const char* const start = out;
    for (const wchar_t element : text) {
        const auto point = std::bit_cast<CodePoint>(element);
        if (point <= lastAscii) {
            *out++ = static_cast<char>(point);
        } else if (point > lastCodePoint || isSurrogate(point)) {
            return refused;
        } else {
            out = encodePoint(out, point);
        }
    }
    return static_cast<std::size_t>(out - start);
}

// Encodes all of the text; false when it cannot be.
bool encodeParts(std::string& bytes, std::wstring_view text) {
    if (text.size() > partLength) {
        bytes.reserve(text.size());
    }
    while (!text.empty()) {
        char encoded[4 * partLength];
        const std::wstring_view part = text.substr(0, partLength);
        const std::size_t size = encodePart(encoded, part);
        if (size == refused) {
            return false;
        }
        bytes.append(encoded, size);
        text.remove_prefix(part.size());
    }
    return true;
}

// Decodes all of the bytes; false when they cannot be.
bool decodeParts(std::wstring& text, std::string_view bytes) {
    if (bytes.size() > partLength) {
        text.reserve(codePoints(bytes));
    }
    const Byte* at = begin(bytes);
    const Byte* const end = at + bytes.size();
    while (at != end) {
        wchar_t decoded[partLength + block];
        const std::size_t size = decodePart(decoded, at, end);
        if (size == refused) {
            return false;
        }
        text.append(decoded, size);
    }
    return true;
}

}  // namespace

bool isAscii(std::wstring_view text) noexcept {
    return isAscii(text.data(), text.size());
}

bool encodeInto(std::string& bytes, std::wstring_view text) {
    if (!isAscii(text)) {
        return encodeParts(bytes, text);
    }
    bytes = std::string(text.begin(), text.end());
    return true;
}

bool decodeInto(std::wstring& text, std::string_view bytes) {
    if (!isAscii(bytes.data(), bytes.size())) {
        return decodeParts(text, bytes);
    }
    text = std::wstring(begin(bytes), begin(bytes) + bytes.size());
    return true;
}

}  // namespace VDIFrameworkCommon::utf8
