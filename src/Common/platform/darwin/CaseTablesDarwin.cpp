#include <xlocale.h>

#include <cctype>
#include <clocale>
#include <cstring>

#include "platform/CaseTables.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr int characters = 256;

struct Table {
    std::int32_t of[characters];
    bool asciiOnly;
};

constexpr Table asciiTable(char first, char last, int distance) {
    Table table{.of = {}, .asciiOnly = true};
    for (int i = 0; i < characters; ++i) {
        table.of[i] = i >= first && i <= last ? i + distance : i;
    }
    return table;
}

constexpr Table classicLower = asciiTable('A', 'Z', 'a' - 'A');
constexpr Table classicUpper = asciiTable('a', 'z', 'A' - 'a');

bool isClassicLocale() noexcept {
    return uselocale(nullptr) == LC_GLOBAL_LOCALE && std::strcmp(std::setlocale(LC_CTYPE, nullptr), "C") == 0;
}

// The system shows its tables to nobody, so the mapping is asked for each character, at each call: nothing tells when
// a locale changes.
const Table& ask(Table& table, const Table& classic, int (*map)(int)) noexcept {
    if (isClassicLocale()) {
        return classic;
    }
    for (int i = 0; i < characters; ++i) {
        table.of[i] = map(i);
    }
    table.asciiOnly = std::memcmp(table.of, classic.of, sizeof table.of) == 0;
    return table;
}

}  // namespace

CaseTable lowerCaseTable() noexcept {
    static thread_local Table table;
    const Table& lower = ask(table, classicLower, std::tolower);
    return {lower.of, lower.asciiOnly};
}

CaseTable upperCaseTable() noexcept {
    static thread_local Table table;
    const Table& upper = ask(table, classicUpper, std::toupper);
    return {upper.of, upper.asciiOnly};
}

}  // namespace VDIFrameworkCommon::platform
