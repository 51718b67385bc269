#include "Escaping.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace DPL::dpllogger {

namespace {

using Byte = unsigned char;

constexpr std::uint64_t everyByte(Byte value) {
    return value * 0x0101010101010101ULL;
}

// The top bit of every byte of `word` that is zero; may also mark bytes above one that is.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - everyByte(0x01)) & ~word & everyByte(0x80);
}

constexpr bool isPlain(Byte byte, bool spaceIsPlain) {
    return byte >= 0x20 && byte < 0x7F && byte != '\\' && (spaceIsPlain || byte != ' ');
}

// Eight bytes at a time: almost every text is plain from end to end.
bool allPlain(std::uint64_t word, bool spaceIsPlain) {
    const std::uint64_t below = spaceIsPlain ? everyByte(0x20) : everyByte(0x21);
    const std::uint64_t special = ((word - below) & everyByte(0x80)) | word | zeroBytes(word ^ everyByte(0x7F)) |
                                  zeroBytes(word ^ everyByte('\\'));
    return (special & everyByte(0x80)) == 0;
}

std::size_t plainLength(std::string_view text, bool spaceIsPlain) {
    std::size_t length = 0;
    for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if (!allPlain(word, spaceIsPlain)) {
            break;
        }
    }
    while (length < text.size() && isPlain(static_cast<Byte>(text[length]), spaceIsPlain)) {
        ++length;
    }
    return length;
}

// The bounds of the byte after the first of a well-formed sequence, and the sequence's length.
struct SequenceForm {
    std::size_t length;
    Byte secondLowest;
    Byte secondHighest;
};

constexpr SequenceForm formOf(Byte first) {
    if (first >= 0xC2 && first <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (first >= 0xE0 && first <= 0xEF) {
        // No longer forms of shorter sequences, no surrogates.
        return {3, first == 0xE0 ? Byte{0xA0} : Byte{0x80}, first == 0xED ? Byte{0x9F} : Byte{0xBF}};
    }
    if (first >= 0xF0 && first <= 0xF4) {
        // No longer forms, nothing above U+10FFFF.
        return {4, first == 0xF0 ? Byte{0x90} : Byte{0x80}, first == 0xF4 ? Byte{0x8F} : Byte{0xBF}};
    }
    return {0, 0, 0};
}

// The length of the well-formed multi-byte sequence at the start of `text`, or 0.
std::size_t sequenceLength(std::string_view text) {
    const SequenceForm form = formOf(static_cast<Byte>(text[0]));
    if (form.length == 0 || text.size() < form.length) {
        return 0;
    }
    const auto second = static_cast<Byte>(text[1]);
    if (second < form.secondLowest || second > form.secondHighest) {
        return 0;
    }
    for (std::size_t i = 2; i < form.length; ++i) {
        if ((static_cast<Byte>(text[i]) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    return form.length;
}

bool isControlSequence(std::string_view sequence) {
    const auto second = static_cast<Byte>(sequence[1]);
    if (sequence.size() == 2) {
        return static_cast<Byte>(sequence[0]) == 0xC2 && second < 0xA0;
    }
    if (sequence.size() != 3 || static_cast<Byte>(sequence[0]) != 0xE2) {
        return false;
    }
    const auto third = static_cast<Byte>(sequence[2]);
    return (second == 0x80 && third >= 0xA8 && third <= 0xAE) || (second == 0x81 && third >= 0xA6 && third <= 0xA9);
}

void append(spdlog::memory_buf_t& out, std::string_view text) {
    out.append(text.data(), text.data() + text.size());
}

void appendByteEscape(spdlog::memory_buf_t& out, char character) {
    switch (character) {
        case '\\':
            return append(out, "\\\\");
        case '\n':
            return append(out, "\\n");
        case '\r':
            return append(out, "\\r");
        case '\t':
            return append(out, "\\t");
        default: {
            constexpr const char* digits = "0123456789ABCDEF";
            const auto byte = static_cast<Byte>(character);
            const char escape[] = {'\\', 'x', digits[byte / 16], digits[byte % 16]};
            return append(out, {escape, sizeof escape});
        }
    }
}

void appendEscaped(spdlog::memory_buf_t& out, std::string_view text, bool spaceIsPlain) {
    while (true) {
        const std::size_t plain = plainLength(text, spaceIsPlain);
        append(out, text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            return;
        }
        const std::size_t sequence = sequenceLength(text);
        if (sequence != 0 && !isControlSequence(text.substr(0, sequence))) {
            append(out, text.substr(0, sequence));
            text.remove_prefix(sequence);
            continue;
        }
        const std::size_t escaped = sequence != 0 ? sequence : 1;
        for (const char character : text.substr(0, escaped)) {
            appendByteEscape(out, character);
        }
        text.remove_prefix(escaped);
    }
}

}  // namespace

void appendEscaped(spdlog::memory_buf_t& out, std::string_view text) {
    appendEscaped(out, text, true);
}

void appendEscapedWord(spdlog::memory_buf_t& out, std::string_view word) {
    appendEscaped(out, word, false);
}

}  // namespace DPL::dpllogger
