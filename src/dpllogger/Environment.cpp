#include "Environment.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>

#include "Complaint.h"

namespace DPL::dpllogger {

namespace {

struct Choice {
    std::string_view name;
    int value;
};

constexpr Choice levels[] = {{"off", DPL_OFF},   {"fatal", DPL_FATAL}, {"error", DPL_ERROR}, {"warn", DPL_WARN},
                             {"info", DPL_INFO}, {"debug", DPL_DEBUG}, {"trace", DPL_TRACE}, {"all", DPL_ALL}};

constexpr Choice appenders[] = {{"none", static_cast<int>(LogAppenderType::None)},
                                {"console", static_cast<int>(LogAppenderType::Console)},
                                {"file", static_cast<int>(LogAppenderType::File)},
                                {"syslog", static_cast<int>(LogAppenderType::SystemLog)},
                                {"file+console", static_cast<int>(LogAppenderType::FileAndConsole)}};

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

template <std::size_t Count>
std::optional<int> choice(const Choice (&choices)[Count], std::string_view text) {
    const std::string name = lowerCase(text);
    for (const Choice& candidate : choices) {
        if (candidate.name == name) {
            return candidate.value;
        }
    }
    return std::nullopt;
}

std::optional<int> level(std::string_view text) {
    const auto named = choice(levels, text);
    return named ? named : number<int>(text);
}

std::optional<LogAppenderType> appender(std::string_view text) {
    const auto named = choice(appenders, text);
    return named ? std::optional(static_cast<LogAppenderType>(*named)) : std::nullopt;
}

// Bytes, or with K or M thousands of 1024 and 1024 times 1024 bytes.
std::optional<std::uint64_t> size(std::string_view text) {
    unsigned shift = 0;
    if (!text.empty()) {
        switch (text.back()) {
            case 'k':
            case 'K':
                shift = 10;
                break;
            case 'm':
            case 'M':
                shift = 20;
                break;
            default:
                break;
        }
    }
    text.remove_suffix(shift != 0 ? 1 : 0);
    const auto value = number<std::uint64_t>(text);
    return value && *value <= UINT64_MAX >> shift ? std::optional(*value << shift) : std::nullopt;
}

/// Reads one variable, or complains about it. An empty one counts as not set.
template <typename Parser>
auto read(const char* variable, Parser parse, const char* expected, bool mayComplain) -> decltype(parse("")) {
    const char* const text = std::getenv(variable);
    if (text == nullptr || *text == '\0') {
        return std::nullopt;
    }
    auto value = parse(text);
    if (!value && mayComplain) {
        complain(std::string(variable) + " is not " + expected);
    }
    return value;
}

}  // namespace

Environment readEnvironment() {
    static std::atomic<bool> readBefore{false};
    const bool mayComplain = !readBefore.exchange(true);
    Environment settings;
    settings.level =
        read("DPL_LOG_LEVEL", level, "off, fatal, error, warn, info, debug, trace, all or a number", mayComplain);
    settings.appender = read("DPL_LOG_APPENDER", appender, "none, console, file, syslog or file+console", mayComplain);
    settings.limits.fileSize = read("DPL_LOG_FILE_SIZE", size, "a number of bytes, or one with K or M", mayComplain)
                                   .value_or(settings.limits.fileSize);
    settings.limits.keptFiles = read("DPL_LOG_FILE_COUNT", number<unsigned>, "a number of files", mayComplain)
                                    .value_or(settings.limits.keptFiles);
    return settings;
}

}  // namespace DPL::dpllogger
