#include <cctype>
#include <clocale>

#include "platform/CaseTables.h"

namespace VDIFrameworkCommon::platform {

namespace {

// The "C" locale's own tables belong to the C library and are never freed, so their addresses stand for their contents.
const __locale_struct& classic() noexcept {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return *locale;
}

}  // namespace

CaseTable lowerCaseTable() noexcept {
    const std::int32_t* const table = *__ctype_tolower_loc();
    return {table, table == classic().__ctype_tolower};
}

CaseTable upperCaseTable() noexcept {
    const std::int32_t* const table = *__ctype_toupper_loc();
    return {table, table == classic().__ctype_toupper};
}

}  // namespace VDIFrameworkCommon::platform
