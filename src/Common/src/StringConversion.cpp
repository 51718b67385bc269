#include "VDIFrameworkCommon/StringConversion.h"

#include "CaseMapping.h"
#include "Utf8.h"

std::string TXFStdStringForStdWString(const std::wstring& text) {
    return VDIFrameworkCommon::utf8::encode(text);
}

std::wstring TXFStdWStringForStdString(const std::string& text) {
    return VDIFrameworkCommon::utf8::decode(text);
}

namespace VDIFrameworkCommon {

namespace {

template <typename Text>
Text mapped(const Text& text, CaseMapping mapping) {
    Text result(text.size(), {});
    mapping.apply(text.data(), result.data(), text.size());
    return result;
}

}  // namespace

std::string toString(const std::wstring& text) {
    return utf8::encode(text);
}

std::string toString(const wchar_t* text) {
    return text == nullptr ? std::string() : utf8::encode(text);
}

std::wstring toWideString(const std::string& text) {
    return utf8::decode(text);
}

std::wstring toWideString(const char* text) {
    return text == nullptr ? std::wstring() : utf8::decode(text);
}

std::string toLowercase(const std::string& text) {
    return mapped(text, CaseMapping::toLower());
}

std::string toUppercase(const std::string& text) {
    return mapped(text, CaseMapping::toUpper());
}

std::wstring toLowercase(const std::wstring& text) {
    return mapped(text, CaseMapping::toLower());
}

}  // namespace VDIFrameworkCommon
