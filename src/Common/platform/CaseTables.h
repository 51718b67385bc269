#pragma once

#include <cstdint>

namespace VDIFrameworkCommon::platform {

/// What the C library's `tolower` or `toupper` answers for 0 to 255.
struct CaseTable {
    const std::int32_t* of;  ///< indexed by the character
    bool asciiOnly;          ///< nothing but the ASCII letters changes; may be false although that is so
};

/// The tables of the calling thread's current locale, as `setlocale` and `uselocale` left it. Valid until either
/// changes it.
CaseTable lowerCaseTable() noexcept;
CaseTable upperCaseTable() noexcept;

}  // namespace VDIFrameworkCommon::platform
