// Numbers, booleans and case: ours, a floor, the streams that define the results, and what people use instead.

#include <VDIFrameworkCommon/StringConversion.h>

#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <string>
#include <vector>

#include "Measure.h"
#include "support/StreamConversions.h"

#ifdef VDI_BENCH_ABSL
#include <absl/strings/ascii.h>
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_format.h>
#endif
#ifdef VDI_BENCH_BOOST
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#endif
#ifdef VDI_BENCH_FMT
#include <fmt/format.h>
#include <fmt/xchar.h>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/NumberFormatter.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>
#endif
#ifdef VDI_BENCH_QT
#include <QByteArray>
#include <QString>
#endif

namespace {

using namespace VDIFrameworkCommon;
using bench::add;

const std::vector<int> ints{-1'234'567, 42'000, 2'147'483'647, 1'024, -99, 314'159};
const std::vector<int> oneDigit{0, 7, 3, 9};
const std::vector<long long> pointers{140'737'488'355'328, 139'842'113'405'952, 140'244'882'767'872};
const std::vector<double> doubles{0.1, 1.5, 1234567.0, 3.14159265358979, 2.5e-7, 99.75, 1e100};
const std::vector<float> floats{0.1F, 1.5F, 3.14159274F, 1234.5678F, 2.5e-7F};
const std::vector<bool> bools{true, false, false, true, true};
const std::vector<std::string> intTexts{"-1234567", "42000", "2147483647", "1024", "-99", "314159"};
const std::vector<std::string> noNumbers{"not a number", "x", "abc123"};
const std::vector<std::string> floatTexts{"0.1", "1.5", "3.14159274", "1234.5678", "2.5e-7"};
const std::vector<std::string> boolTexts{"true", "False", "TRUE", "no"};
const std::vector<std::string> sentences{"The Quick Brown Fox Jumps Over Lazy Dogs"};

std::vector<std::wstring> widen(const std::vector<std::string>& texts) {
    std::vector<std::wstring> result;
    for (const std::string& text : texts) {
        result.emplace_back(text.begin(), text.end());
    }
    return result;
}

template <typename Value>
std::string toChars(Value value) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

template <typename Value>
Value fromChars(const std::string& text) {
    Value value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

void addIntegerFormatting() {
    add("int to string/ours", ints, [](int value) { return toString(value); });
    add("int to string/floor to_chars", ints, [](int value) { return toChars(value); });
    add("int to string/std::to_string", ints, [](int value) { return std::to_string(value); });
    add("int to string/stream", ints, [](int value) { return streams::print(value); });
    add("int to string, 1 digit/ours", oneDigit, [](int value) { return toString(value); });
    add("int to string, 1 digit/std::to_string", oneDigit, [](int value) { return std::to_string(value); });
    add("int to string, 1 digit/stream", oneDigit, [](int value) { return streams::print(value); });
    add("long long to string/ours", pointers, [](long long value) { return toString(value); });
    add("long long to string/floor to_chars", pointers, [](long long value) { return toChars(value); });
    add("long long to string/std::to_string", pointers, [](long long value) { return std::to_string(value); });
    add("long long to string/stream", pointers, [](long long value) { return streams::print(value); });
    add("int to wide string/ours", ints, [](int value) { return toWideString(value); });
    add("int to wide string/std::to_wstring", ints, [](int value) { return std::to_wstring(value); });
    add("int to wide string/stream", ints, [](int value) { return streams::printWide(value); });
#ifdef VDI_BENCH_ABSL
    add("int to string/absl::StrCat", ints, [](int value) { return absl::StrCat(value); });
    add("int to string, 1 digit/absl::StrCat", oneDigit, [](int value) { return absl::StrCat(value); });
    add("long long to string/absl::StrCat", pointers, [](long long value) { return absl::StrCat(value); });
#endif
#ifdef VDI_BENCH_BOOST
    add("int to string/boost::lexical_cast", ints, [](int value) { return boost::lexical_cast<std::string>(value); });
#endif
#ifdef VDI_BENCH_FMT
    add("int to string/fmt::format_int", ints, [](int value) { return fmt::format_int(value).str(); });
    add("int to string, 1 digit/fmt::format_int", oneDigit, [](int value) { return fmt::format_int(value).str(); });
    add("long long to string/fmt::format_int", pointers, [](long long value) { return fmt::format_int(value).str(); });
    add("int to wide string/fmt::format", ints, [](int value) { return fmt::format(L"{}", value); });
#endif
#ifdef VDI_BENCH_POCO
    add("int to string/Poco::NumberFormatter", ints, [](int value) { return Poco::NumberFormatter::format(value); });
#endif
#ifdef VDI_BENCH_QT
    add("int to string/QString::number", ints, [](int value) { return QString::number(value); });
    add("int to wide string/QString::number", ints, [](int value) { return QString::number(value).toStdWString(); });
#endif
}

template <typename Value>
std::string toCharsGeneral(Value value, int precision) {
    char text[40];
    return std::string(
        text,
        std::to_chars(text, text + sizeof text, static_cast<double>(value), std::chars_format::general, precision).ptr);
}

void addFloatFormatting() {
    add("double to string/ours", doubles, [](double value) { return toString(value); });
    add("double to string/floor to_chars", doubles, [](double value) { return toCharsGeneral(value, 6); });
    add("double to string/stream", doubles, [](double value) { return streams::print(value); });
    add("float to string/ours", floats, [](float value) { return toString(value); });
    add("float to string/floor to_chars", floats, [](float value) { return toCharsGeneral(value, 9); });
    add("float to string/stream", floats, [](float value) { return streams::print(value, 9); });
    add("double to wide string/ours", doubles, [](double value) { return toWideString(value); });
    add("double to wide string/stream", doubles, [](double value) { return streams::printWide(value); });
    add("float to wide string/ours", floats, [](float value) { return toWideString(value); });
    add("float to wide string/stream", floats, [](float value) { return streams::printWide(value); });
    add("bool to string/ours", bools, [](bool value) { return toString(value); });
    add("bool to string/stream", bools, [](bool value) { return streams::print(value); });
#ifdef VDI_BENCH_ABSL
    add("double to string/absl::StrCat", doubles, [](double value) { return absl::StrCat(value); });
    add("float to string/absl::StrFormat", floats, [](float value) { return absl::StrFormat("%.9g", value); });
#endif
#ifdef VDI_BENCH_FMT
    add("double to string/fmt::format", doubles, [](double value) { return fmt::format("{:g}", value); });
    add("float to string/fmt::format", floats, [](float value) { return fmt::format("{:.9g}", value); });
    add("double to wide string/fmt::format", doubles, [](double value) { return fmt::format(L"{:g}", value); });
    add("bool to string/fmt::format", bools, [](bool value) { return fmt::format("{}", value); });
#endif
#ifdef VDI_BENCH_BOOST
    add("double to string/~boost::lexical_cast (17 digits)", doubles,
        [](double value) { return boost::lexical_cast<std::string>(value); });
#endif
#ifdef VDI_BENCH_POCO
    add("double to string/~Poco::NumberFormatter (15 digits)", doubles,
        [](double value) { return Poco::NumberFormatter::format(value); });
#endif
#ifdef VDI_BENCH_QT
    add("double to string/QString::number", doubles, [](double value) { return QString::number(value); });
#endif
}

void addIntegerParsing() {
    const auto wideInts = widen(intTexts);
    add("string to int, lenient/ours", intTexts, [](const std::string& text) { return toInt(text); });
    add("string to int, lenient/floor from_chars", intTexts, fromChars<int>);
    add("string to int, lenient/stream", intTexts, streams::extract<int>);
    add("string to int, lenient/std::stoi", intTexts, [](const std::string& text) { return std::stoi(text); });
    add("string to int, strict/ours", intTexts, [](const std::string& text) { return toInt(text, -1); });
    add("string to int, strict/stream", intTexts,
        [](const std::string& text) { return streams::extractAll(text, -1); });
    add("no number to int, strict/ours", noNumbers, [](const std::string& text) { return toInt(text, -1); });
    add("no number to int, strict/stream", noNumbers,
        [](const std::string& text) { return streams::extractAll(text, -1); });
    add("wide string to int, strict/ours", wideInts, [](const std::wstring& text) { return toInt(text, -1); });
    add("wide string to int, strict/wcstol", wideInts,
        [](const std::wstring& text) { return std::wcstol(text.c_str(), nullptr, 10); });
    add("wide string to int, strict/stream", wideInts,
        [](const std::wstring& text) { return streams::extractAll(text, -1); });
    add("wide string to unsigned long/ours", wideInts, [](const std::wstring& text) { return toUnsignedLong(text); });
    add("wide string to unsigned long/wcstoul", wideInts,
        [](const std::wstring& text) { return std::wcstoul(text.c_str(), nullptr, 0); });
    add("wide string to unsigned long/converter and strtoul", wideInts,
        [](const std::wstring& text) { return std::strtoul(streams::Utf8().to_bytes(text).c_str(), nullptr, 0); });
#ifdef VDI_BENCH_ABSL
    const auto simpleAtoi = [](const std::string& text) {
        int value = -1;
        return absl::SimpleAtoi(text, &value) ? value : -1;
    };
    add("string to int, strict/absl::SimpleAtoi", intTexts, simpleAtoi);
    add("no number to int, strict/absl::SimpleAtoi", noNumbers, simpleAtoi);
#endif
#ifdef VDI_BENCH_BOOST
    add("string to int, strict/boost::try_lexical_convert", intTexts, [](const std::string& text) {
        int value = -1;
        return boost::conversion::try_lexical_convert(text, value) ? value : -1;
    });
#endif
#ifdef VDI_BENCH_QT
    const std::vector<QString> qtInts = [] {
        std::vector<QString> result;
        for (const std::string& text : intTexts) {
            result.push_back(QString::fromStdString(text));
        }
        return result;
    }();
    add("string to int, strict/QString::toInt", qtInts, [](const QString& text) { return text.toInt(); });
#endif
#ifdef VDI_BENCH_POCO
    add("string to int, strict/Poco::NumberParser", intTexts, [](const std::string& text) {
        int value = -1;
        return Poco::NumberParser::tryParse(text, value) ? value : -1;
    });
#endif
}

void addOtherParsing() {
    const auto wideFloats = widen(floatTexts);
    add("string to float/ours", floatTexts, [](const std::string& text) { return toFloat(text); });
    add("string to float/floor from_chars", floatTexts, fromChars<float>);
    add("string to float/strtof", floatTexts,
        [](const std::string& text) { return std::strtof(text.c_str(), nullptr); });
    add("string to float/stream", floatTexts, streams::extract<float>);
    add("wide string to double/ours", wideFloats, [](const std::wstring& text) { return toDouble(text); });
    add("wide string to double/wcstod", wideFloats,
        [](const std::wstring& text) { return std::wcstod(text.c_str(), nullptr); });
    add("wide string to double/std::stod", wideFloats, [](const std::wstring& text) { return std::stod(text); });
    add("wide string to double/converter and strtod", wideFloats,
        [](const std::wstring& text) { return std::strtod(streams::Utf8().to_bytes(text).c_str(), nullptr); });
    add("string to bool/ours", boolTexts, [](const std::string& text) { return toBool(text); });
    add("string to bool/stream", boolTexts,
        [](const std::string& text) { return streams::extract<bool>(toLowercase(text)); });
#ifdef VDI_BENCH_ABSL
    add("string to float/absl::SimpleAtof", floatTexts, [](const std::string& text) {
        float value = 0;
        return absl::SimpleAtof(text, &value) ? value : 0.0F;
    });
    add("string to bool/absl::SimpleAtob", boolTexts, [](const std::string& text) {
        bool value = false;
        return absl::SimpleAtob(text, &value) && value;
    });
#endif
#ifdef VDI_BENCH_POCO
    add("string to bool/Poco::NumberParser", boolTexts, [](const std::string& text) {
        bool value = false;
        return Poco::NumberParser::tryParseBool(text, value) && value;
    });
#endif
}

void addCaseMapping() {
    const auto wideSentences = widen(sentences);
    add("lower case, 40 characters/ours", sentences, [](const std::string& text) { return toLowercase(text); });
    add("lower case, 40 characters/floor copy", sentences, [](const std::string& text) { return std::string(text); });
    add("lower case, 40 characters/tolower", sentences, [](std::string text) {
        for (char& character : text) {
            character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
        return text;
    });
    add("lower case wide, 40 characters/ours", wideSentences,
        [](const std::wstring& text) { return toLowercase(text); });
    add("lower case wide, 40 characters/floor copy", wideSentences,
        [](const std::wstring& text) { return std::wstring(text); });
#ifdef VDI_BENCH_ABSL
    add("lower case, 40 characters/absl::AsciiStrToLower", sentences,
        [](const std::string& text) { return absl::AsciiStrToLower(text); });
#endif
#ifdef VDI_BENCH_BOOST
    add("lower case, 40 characters/boost::to_lower_copy", sentences,
        [](const std::string& text) { return boost::to_lower_copy(text); });
    add("lower case wide, 40 characters/boost::to_lower_copy", wideSentences,
        [](const std::wstring& text) { return boost::to_lower_copy(text); });
#endif
#ifdef VDI_BENCH_POCO
    add("lower case, 40 characters/Poco::toLower", sentences,
        [](const std::string& text) { return Poco::toLower(text); });
#endif
#ifdef VDI_BENCH_QT
    const std::vector<QByteArray> arrays{QByteArray::fromStdString(sentences.front())};
    add("lower case, 40 characters/QByteArray::toLower", arrays, [](const QByteArray& text) { return text.toLower(); });
    const std::vector<QString> strings{QString::fromStdString(sentences.front())};
    add("lower case wide, 40 characters/QString::toLower", strings, [](const QString& text) { return text.toLower(); });
#endif
}

const bool registered = [] {
    addIntegerFormatting();
    addFloatFormatting();
    addIntegerParsing();
    addOtherParsing();
    addCaseMapping();
    return true;
}();

}  // namespace
