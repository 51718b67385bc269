#include <cstddef>
#include <string_view>

#include "VDIFrameworkCommon/IdentifierUtils.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Char>
constexpr bool canBeDialled(Char c) {
    return (c >= '0' && c <= '9') || c == '#' || c == '*' || c == '+';
}

// From "A" to "z"; the six characters between the cases have no digit.
constexpr std::string_view keypad(
    "22233344455566677778889999"
    "\0\0\0\0\0\0"
    "22233344455566677778889999",
    58);

constexpr char keypadDigit(char c) {
    const std::size_t position = static_cast<unsigned char>(c) - std::size_t{'A'};
    return position < keypad.size() ? keypad[position] : '\0';
}

}  // namespace

bool isValidDigit(wchar_t c) {
    return canBeDialled(c);
}

char convertToNumericValue(char c) {
    return keypadDigit(c);
}

void sanitizePhoneNumber(std::string& number) {
    char* out = number.data();
    for (const char c : number) {
        const char dialled = canBeDialled(c) ? c : keypadDigit(c);
        // Written always, so that no branch depends on the text.
        *out = dialled;
        out += dialled != '\0' ? 1 : 0;
    }
    number.resize(static_cast<std::size_t>(out - number.data()));
}

}  // namespace VDIFrameworkCommon
