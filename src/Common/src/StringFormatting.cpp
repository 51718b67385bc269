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

std::string formattedFloat(double value, int precision) {
    char text[formattedFloatRoom];
    return {text, formatGeneral(text, value, precision)};
}

std::wstring formattedWideFloat(double value) {
    char text[formattedFloatRoom];
    return {text, formatGeneral(text, value, defaultPrecision)};
}

}  // namespace

std::string toString(const bool& value) {
    return value ? "true" : "false";
}

std::string toString(const double& value) {
    return formattedFloat(value, defaultPrecision);
}

std::string toString(const float& value) {
    return formattedFloat(static_cast<double>(value), floatPrecision);
}

// Of few digits, the standard library's own are cheaper, and they are plain decimal in every locale.
std::string toString(const int& value) {
    return std::to_string(value);
}

std::string toString(const unsigned int& value) {
    return std::to_string(value);
}

std::string toString(const long& value) {
    return formatted<std::string>(value);
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
