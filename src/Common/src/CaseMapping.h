#pragma once

#include <cstddef>

#include "platform/CaseTables.h"

namespace VDIFrameworkCommon {

/// The C library's case mapping of single characters, in the locale that the calling thread has at construction.
///
/// Made for one call: it must not outlive a change of the locale.
class CaseMapping {
public:
    static CaseMapping toLower() noexcept { return {platform::lowerCaseTable(), 'A'}; }
    static CaseMapping toUpper() noexcept { return {platform::upperCaseTable(), 'a'}; }

    /// Whether nothing but the ASCII letters changes. May be false although that is so.
    bool isAsciiOnly() const noexcept { return table_.asciiOnly; }

    char operator()(char character) const noexcept {
        return static_cast<char>(table_.of[static_cast<unsigned char>(character)]);
    }

    /// Elements above 0xFF have no other case.
    wchar_t operator()(wchar_t character) const noexcept {
        return static_cast<unsigned>(character) <= 0xFF ? static_cast<wchar_t>(table_.of[character]) : character;
    }

    /// Maps a text into another place that does not overlap it.
    void apply(const char* from, char* to, std::size_t size) const noexcept;
    void apply(const wchar_t* from, wchar_t* to, std::size_t size) const noexcept;

private:
    CaseMapping(platform::CaseTable table, char firstMapped) noexcept : table_(table), firstMapped_(firstMapped) {}

    template <typename Character>
    void map(const Character* from, Character* to, std::size_t size) const noexcept;

    platform::CaseTable table_;
    char firstMapped_;  // of the 26 ASCII letters that change
};

}  // namespace VDIFrameworkCommon
