#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <system_error>

#include "ReaderGone.h"

namespace vdictl {

namespace {

/// One character of a UTF-8 text, or one byte that is none.
struct Character {
    std::size_t size = 1;
    bool isValid = false;
    wchar_t code = 0;
};

// How many bytes a character has that begins so; 0 for a byte that begins none.
std::size_t lengthFrom(unsigned char first) {
    if (first < 0x80U) {
        return 1;
    }
    if (first >= 0xC2U && first < 0xE0U) {
        return 2;
    }
    if (first >= 0xE0U && first < 0xF0U) {
        return 3;
    }
    return first >= 0xF0U && first < 0xF5U ? 4 : 0;
}

Character firstOf(std::string_view text) {
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t size = lengthFrom(first);
    if (size == 0 || size > text.size()) {
        return {};
    }
    std::uint32_t code = size == 1 ? first : first & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80U) {
            return {};
        }
        code = code << 6U | (next & 0x3FU);
    }
    if (code < smallest[size] || code > 0x10FFFFU || (code >= 0xD800U && code < 0xE000U)) {
        return {};
    }
    return {size, true, static_cast<wchar_t>(code)};
}

// Negative for what does not print. The program's own locale stays "C", in which the library's answers are defined.
int columnsOf(wchar_t code) {
    if (code == 0) {
        return -1;
    }
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr) {
        return code < 0x20 || (code >= 0x7F && code < 0xA0) ? -1 : 1;
    }
    const locale_t before = uselocale(utf8);
    const int columns = wcwidth(code);
    uselocale(before);
    return columns;
}

std::size_t limitOf(int fd) {
    if (const char* const columns = std::getenv("COLUMNS")) {
        std::size_t width = 0;
        const char* const end = columns + std::strlen(columns);
        if (const auto [stop, error] = std::from_chars(columns, end, width); error == std::errc() && stop == end) {
            return width;
        }
    }
    winsize size{};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool wantsColour() {
    const char* const no = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return (no == nullptr || *no == '\0') && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

const char* colourOf(Style style) {
    switch (style) {
        case Style::Heading:
            return "\x1b[1m";
        case Style::Good:
            return "\x1b[32m";
        case Style::Warning:
            return "\x1b[33m";
        case Style::Bad:
            return "\x1b[31m";
        case Style::Faint:
            return "\x1b[2m";
        default:
            return "";
    }
}

std::string hexadecimal(unsigned char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    return {'\\', 'x', digits[byte >> 4U], digits[byte & 0xFU]};
}

}  // namespace

Terminal Terminal::ofStandardOutput() {
    return isatty(STDOUT_FILENO) == 1 ? Terminal(limitOf(STDOUT_FILENO), wantsColour()) : Terminal();
}

std::string Terminal::paint(Style style, std::string_view text) const {
    if (!colour_ || style == Style::Plain || text.empty()) {
        return std::string(text);
    }
    return colourOf(style) + std::string(text) + "\x1b[0m";
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const Character next = firstOf(text);
        const int width = next.isValid ? columnsOf(next.code) : 1;
        columns += width > 0 ? static_cast<std::size_t>(width) : 0;
        text.remove_prefix(next.size);
    }
    return columns;
}

std::string cutToColumns(std::string_view text, std::size_t columns) {
    if (columnsOf(text) <= columns) {
        return std::string(text);
    }
    std::string result;
    std::size_t used = 1;  // the mark at the end
    while (!text.empty()) {
        const std::string_view next = text.substr(0, firstOf(text).size);
        used += columnsOf(next);
        if (used > columns) {
            break;
        }
        result += next;
        text.remove_prefix(next.size());
    }
    return columns == 0 ? "" : result + "…";
}

std::string visible(std::string_view bytes) {
    std::string result;
    while (!bytes.empty()) {
        const Character next = firstOf(bytes);
        const std::string_view part = bytes.substr(0, next.size);
        if (next.isValid && next.code != 0 && columnsOf(next.code) >= 0) {
            result += part;
        } else {
            for (const char byte : part) {
                result += hexadecimal(static_cast<unsigned char>(byte));
            }
        }
        bytes.remove_prefix(next.size);
    }
    return result;
}

std::string printable(std::string_view bytes) {
    std::string result;
    for (std::size_t end = 0; (end = bytes.find('\\')) != std::string_view::npos; bytes.remove_prefix(end + 1)) {
        result += visible(bytes.substr(0, end)) + "\\\\";
    }
    return result + visible(bytes);
}

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        if (errno == EPIPE) {
            throw ReaderGone();
        }
        throw Failure("standard output", "write", errno);
    }
}

}  // namespace vdictl
