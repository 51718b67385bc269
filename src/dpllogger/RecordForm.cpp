#include "RecordForm.h"

#include <dpllogger/DPLLogger.h>
#include <fmt/compile.h>
#include <spdlog/details/fmt_helper.h>
#include <spdlog/details/os.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "Escaping.h"
#include "ProcessIdentity.h"
#include "ZoneOffset.h"

namespace DPL::dpllogger {

namespace {

namespace fmt_helper = spdlog::details::fmt_helper;

struct LevelName {
    std::string_view name;
    int level;
    spdlog::level::level_enum spdlogLevel;
};

constexpr LevelName levelNames[] = {
    {"FATAL", DPL_FATAL, spdlog::level::critical}, {"ERROR", DPL_ERROR, spdlog::level::err},
    {"WARN", DPL_WARN, spdlog::level::warn},       {"INFO", DPL_INFO, spdlog::level::info},
    {"DEBUG", DPL_DEBUG, spdlog::level::debug},    {"TRACE", DPL_TRACE, spdlog::level::trace},
};

void appendText(spdlog::memory_buf_t& out, std::string_view text) {
    out.append(text.data(), text.data() + text.size());
}

void appendLevel(spdlog::memory_buf_t& out, int level) {
    if (level >= DPL_FATAL && level <= DPL_TRACE) {
        appendText(out, levelNames[level - DPL_FATAL].name);
    } else {
        fmt_helper::append_int(level, out);
    }
}

}  // namespace

void RecordForm::readClock(std::time_t second) {
    const int offset = zoneOffset(second);
    const std::chrono::sys_seconds local{std::chrono::seconds(second) + std::chrono::minutes(offset)};
    const auto day = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(local - day);
    dateAndTimeLength_ = static_cast<std::size_t>(
        fmt::format_to(dateAndTime_, FMT_COMPILE("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}"), static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time.hours().count(),
                       time.minutes().count(), time.seconds().count()) -
        dateAndTime_);
    zoneLength_ = static_cast<std::size_t>(fmt::format_to(zone_, FMT_COMPILE("{}{:02}:{:02}"), offset < 0 ? '-' : '+',
                                                          std::abs(offset) / 60, std::abs(offset) % 60) -
                                           zone_);
    second_ = second;
}

void RecordForm::append(spdlog::memory_buf_t& out, const Record& record) {
    const auto now = spdlog::details::os::now().time_since_epoch();
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    if (second.count() != second_) {
        readClock(second.count());
    }
    appendText(out, {dateAndTime_, dateAndTimeLength_});
    out.push_back('.');
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now - second);
    fmt_helper::pad6(static_cast<std::size_t>(microseconds.count()), out);
    appendText(out, {zone_, zoneLength_});
    out.push_back(' ');
    fmt_helper::append_int(processId(), out);
    out.push_back(' ');
    fmt_helper::append_int(threadId(), out);
    out.push_back(' ');
    appendLevel(out, record.level);
    out.push_back(' ');
    appendEscapedWord(out, record.logger);
    out.push_back(' ');
    appendEscapedWord(out, record.path);
    out.push_back(':');
    fmt_helper::append_int(record.line, out);
    out.push_back(' ');
    appendEscapedWord(out, record.function);
    appendText(out, ": ");
    appendEscaped(out, record.message);
    out.push_back('\n');
}

LineTail tailOf(std::string_view line) noexcept {
    for (int word = 0; word < 3; ++word) {
        line.remove_prefix(std::min(line.size(), line.find(' ') + 1));
    }
    const std::string_view level = line.substr(0, line.find(' '));
    for (const LevelName& candidate : levelNames) {
        if (candidate.name == level) {
            return {candidate.spdlogLevel, line};
        }
    }
    const bool moreSevere = level == "0" || level.substr(0, 1) == "-";
    return {moreSevere ? spdlog::level::critical : spdlog::level::trace, line};
}

bool beginsLikeALine(std::string_view text) noexcept {
    constexpr std::string_view form = "0000-00-00T00:00:00.000000";
    for (std::size_t i = 0; i < std::min(text.size(), form.size()); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (form[i] == '0' ? !isDigit : text[i] != form[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace DPL::dpllogger
