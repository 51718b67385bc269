#include "dpllogger/LineParser.h"

#include <array>
#include <charconv>
#include <regex>

namespace logreader {

namespace {

int hexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    return character >= 'A' && character <= 'F' ? character - 'A' + 10 : -1;
}

std::optional<std::string> unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) {
            return std::nullopt;
        }
        if (text[i] != '\\') {
            plain += text[i];
            continue;
        }
        if (++i == text.size()) {
            return std::nullopt;
        }
        switch (text[i]) {
            case '\\':
                plain += '\\';
                break;
            case 'n':
                plain += '\n';
                break;
            case 'r':
                plain += '\r';
                break;
            case 't':
                plain += '\t';
                break;
            case 'x': {
                const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
                const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
                if (high < 0 || low < 0) {
                    return std::nullopt;
                }
                plain += static_cast<char>(high * 16 + low);
                i += 2;
                break;
            }
            default:
                return std::nullopt;
        }
    }
    return plain;
}

template <typename Number>
bool parseNumber(std::string_view text, Number& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool parseLevel(std::string_view text, int& level) {
    constexpr std::array<std::string_view, 6> names{"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "TRACE"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names.at(i) == text) {
            level = static_cast<int>(i) + 1;
            return true;
        }
    }
    return parseNumber(text, level);
}

bool isTime(const std::string& text) {
    static const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}[+-]\d\d:\d\d)");
    return std::regex_match(text, form);
}

}  // namespace

std::optional<Line> parse(std::string_view text) {
    // time, pid, tid, level, logger, path and line, function
    std::array<std::string_view, 7> words;
    for (std::string_view& word : words) {
        const std::size_t space = text.find(' ');
        if (space == std::string_view::npos) {
            return std::nullopt;
        }
        word = text.substr(0, space);
        text.remove_prefix(space + 1);
    }
    Line line{};
    line.time = words[0];
    const std::size_t colon = words[5].rfind(':');
    if (colon == std::string_view::npos || words[6].empty() || words[6].back() != ':') {
        return std::nullopt;
    }
    words[6].remove_suffix(1);
    const auto logger = unescape(words[4]);
    const auto path = unescape(words[5].substr(0, colon));
    const auto function = unescape(words[6]);
    const auto message = unescape(text);
    if (!isTime(line.time) || !parseNumber(words[1], line.pid) || !parseNumber(words[2], line.tid) ||
        !parseLevel(words[3], line.level) || !parseNumber(words[5].substr(colon + 1), line.line) || !logger || !path ||
        !function || !message) {
        return std::nullopt;
    }
    line.logger = *logger;
    line.path = *path;
    line.function = *function;
    line.message = *message;
    return line;
}

}  // namespace logreader
