#include <limits>
#include <type_traits>

#include "Digits.h"
#include "FloatFormat.h"
#include "VDIFrameworkCommon/StringConversion.h"

namespace VDIFrameworkCommon {

namespace {

constexpr int defaultPrecision = 6;
constexpr int floatPrecision = 9;

template <typename Text, typename Integer>
Text formatted(Integer value) {
    using Unsigned = std::make_unsigned_t<Integer>;
    typename Text::value_type text[digits::maxInteger];
    auto* const end = text + digits::maxInteger;
    const bool negative = value < 0;
    const auto magnitude = static_cast<Unsigned>(value);
    auto* begin = digits::writeBefore(end, negative ? Unsigned{0} - magnitude : magnitude);
    if (negative) {
        *--begin = '-';
    }
    return Text(begin, end);
}

// What every standard library keeps within the string itself.
constexpr std::size_t shortLength = 15;

// A short text, written where it is to stay: nothing is allocated or copied. `write` gets the room and gives the end of
// the text.
template <typename Write>
std::string shortText(Write write) noexcept {
    std::string text(shortLength, '\0');
    text.erase(static_cast<std::size_t>(write(text.data()) - text.data()));  // unlike resize, never grows
    return text;
}

// Of integers whose text is always short. The digits are written over minus signs, of which a negative number keeps
// one.
template <typename Integer>
std::string formattedShort(Integer value) {
    static_assert(std::numeric_limits<Integer>::digits10 + 2 <= shortLength);
    using Unsigned = std::make_unsigned_t<Integer>;
    const bool negative = value < 0;
    const auto unsignedValue = static_cast<Unsigned>(value);
    const Unsigned magnitude = negative ? Unsigned{0} - unsignedValue : unsignedValue;
    std::string text(shortLength, '-');
    const std::size_t size = digits::count(magnitude) + (negative ? 1 : 0);
    text.erase(size);
    digits::writeBefore(text.data() + size, magnitude);
    return text;
}

// A call of its own: the registers that it saves would cost the short ones time too.
[[gnu::noinline]] std::string formattedLong(long value) {
    return formatted<std::string>(value);
}

std::wstring formattedWideFloat(double value) {
    char text[formattedFloatRoom<defaultPrecision>];
    return {text, formatGeneral<defaultPrecision>(text, value)};
}

// Makes the library hold the inline function: hosts that take its address, or were not optimised, look for it here.
[[gnu::used]] std::string (*const heldForHosts)(const int&) = toString;

}  // namespace

std::string toString(const bool& value) {
    return value ? "true" : "false";
}

std::string toString(const double& value) {
    static_assert(formattedFloatRoom<defaultPrecision> <= shortLength);
    return shortText([value](char* out) { return formatGeneral<defaultPrecision>(out, value); });
}

std::string toString(const float& value) {
    char text[formattedFloatRoom<floatPrecision>];
    return {text, formatGeneral<floatPrecision>(text, static_cast<double>(value))};
}

std::string toString(const unsigned int& value) {
    return formattedShort(value);
}

std::string toString(const long& value) {
    const auto number = static_cast<int>(value);
    return number == value ? formattedShort(number) : formattedLong(value);
}

std::string toString(const unsigned long& value) {
    return formatted<std::string>(value);
}

std::string toString(const long long& value) {
    return formatted<std::string>(value);
}

std::wstring toWideString(const bool& value) {
    return value ? L"true" : L"false";
}

std::wstring toWideString(const double& value) {
    return formattedWideFloat(value);
}

std::wstring toWideString(const float& value) {
    return formattedWideFloat(static_cast<double>(value));
}

std::wstring toWideString(const int& value) {
    return formatted<std::wstring>(value);
}

std::wstring toWideString(const unsigned int& value) {
    return formatted<std::wstring>(value);
}

std::wstring toWideString(const long& value) {
    return formatted<std::wstring>(value);
}

std::wstring toWideString(const unsigned long& value) {
    return formatted<std::wstring>(value);
}

std::wstring toWideString(const long long& value) {
    return formatted<std::wstring>(value);
}

}  // namespace VDIFrameworkCommon
