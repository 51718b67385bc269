#pragma once

#include <codecvt>
#include <locale>
#include <sstream>
#include <string>

/// The conversions as standard streams and converters make them: what ours must equal, at a fraction of the cost.
namespace streams {

template <typename Value>
std::string print(const Value& value, int precision = 6) {
    std::ostringstream stream;
    stream.precision(precision);
    stream << std::boolalpha << value;
    return stream.str();
}

template <typename Value>
std::wstring printWide(const Value& value) {
    std::wostringstream stream;
    stream << value;
    return stream.str();
}

/// One extraction, whatever becomes of it.
template <typename Value>
Value extract(const std::string& text) {
    std::istringstream stream(text);
    Value value{};
    stream >> std::boolalpha >> value;
    return value;
}

inline bool extractBool(const std::wstring& text) {
    std::wistringstream stream(text);
    bool value = false;
    stream >> std::boolalpha >> value;
    return value;
}

/// One extraction that must succeed, with nothing after it.
template <typename Value, typename Character>
Value extractAll(const std::basic_string<Character>& text, Value defaultValue) {
    std::basic_stringstream<Character> stream(text);
    Value value{};
    stream >> value;
    if (stream.fail()) {
        return defaultValue;
    }
    Character next{};
    return stream.get(next) ? defaultValue : value;
}

using Utf8 = std::wstring_convert<std::codecvt_utf8<wchar_t, 0x10FFFF>>;

}  // namespace streams
