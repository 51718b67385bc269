// The sets of overloads are uneven on purpose: each that is listed has the exact signature, each that is left out stays
// out. The compiler checks it.

#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "support/Overloads.h"

namespace {

using namespace VDIFrameworkCommon;
using overloads::has;

using Narrow = const std::string&;
using Wide = const std::wstring&;

template <typename Value>
concept Prints = requires(const Value& value) {
    toString(value);
};
template <typename Value>
concept PrintsWide = requires(const Value& value) {
    toWideString(value);
};

static_assert(!Prints<std::string> && !Prints<unsigned long long> && !Prints<long double>);
static_assert(!PrintsWide<std::wstring> && !PrintsWide<unsigned long long> && !PrintsWide<long double>);

template <typename Text>
concept UpperCases = requires(const Text& text) {
    toUppercase(text);
};
static_assert(UpperCases<std::string> && !UpperCases<std::wstring>);

template <typename Text>
concept ParsesFloat = requires(const Text& text) {
    toFloat(text);
};
static_assert(ParsesFloat<std::string> && !ParsesFloat<std::wstring>);

template <typename Text>
concept ParsesDouble = requires(const Text& text) {
    toDouble(text);
};
static_assert(!ParsesDouble<std::string> && ParsesDouble<std::wstring>);

template <typename Text>
concept ParsesInt = requires(const Text& text) {
    toInt(text);
};
static_assert(ParsesInt<std::string> && !ParsesInt<std::wstring>);

template <typename Text>
concept ParsesUnsignedInt = requires(const Text& text) {
    toUnsignedInt(text);
};
static_assert(ParsesUnsignedInt<std::string> && !ParsesUnsignedInt<std::wstring>);

template <typename Text>
concept ParsesLong = requires(const Text& text) {
    toLong(text);
};
static_assert(ParsesLong<std::string> && !ParsesLong<std::wstring>);

template <typename Text>
concept ParsesLongLong = requires(const Text& text) {
    toLongLong(text);
};
static_assert(ParsesLongLong<std::string> && !ParsesLongLong<std::wstring>);

template <typename Text>
concept ParsesUnsignedLong = requires(const Text& text) {
    toUnsignedLong(text);
};
static_assert(!ParsesUnsignedLong<std::string> && ParsesUnsignedLong<std::wstring>);

template <typename Text>
concept ParsesUnsignedShort = requires(const Text& text) {
    toUnsignedShort(text);
};
static_assert(!ParsesUnsignedShort<std::string> && ParsesUnsignedShort<std::wstring>);

template <typename Text>
concept HasOtherDefaults = requires(const Text& text) {
    toBool(text, false);
}
|| requires(const Text& text) {
    toFloat(text, 0.0F);
}
|| requires(const Text& text) {
    toLong(text, 0L);
}
|| requires(const Text& text) {
    toLongLong(text, 0LL);
}
|| requires(const Text& text) {
    toDouble(text, 0.0);
}
|| requires(const Text& text) {
    toUnsignedLong(text, 0UL);
}
|| requires(const Text& text) {
    toUnsignedShort(text, static_cast<unsigned short>(0));
};
static_assert(!HasOtherDefaults<std::string> && !HasOtherDefaults<std::wstring>);

TEST(StringConversionOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<std::string, Wide>(&TXFStdStringForStdWString)));
    EXPECT_TRUE((has<std::wstring, Narrow>(&TXFStdWStringForStdString)));

    EXPECT_TRUE((has<std::string, Wide>(&toString)));
    EXPECT_TRUE((has<std::string, const wchar_t*>(&toString)));
    EXPECT_TRUE((has<std::string, const bool&>(&toString)));
    EXPECT_TRUE((has<std::string, const double&>(&toString)));
    EXPECT_TRUE((has<std::string, const float&>(&toString)));
    EXPECT_TRUE((has<std::string, const int&>(&toString)));
    EXPECT_TRUE((has<std::string, const unsigned int&>(&toString)));
    EXPECT_TRUE((has<std::string, const long&>(&toString)));
    EXPECT_TRUE((has<std::string, const unsigned long&>(&toString)));
    EXPECT_TRUE((has<std::string, const long long&>(&toString)));

    EXPECT_TRUE((has<std::wstring, Narrow>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const char*>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const bool&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const double&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const float&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const int&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const unsigned int&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const long&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const unsigned long&>(&toWideString)));
    EXPECT_TRUE((has<std::wstring, const long long&>(&toWideString)));

    EXPECT_TRUE((has<bool, Narrow>(&toBool)));
    EXPECT_TRUE((has<bool, Wide>(&toBool)));
    EXPECT_TRUE((has<std::string, Narrow>(&toLowercase)));
    EXPECT_TRUE((has<std::wstring, Wide>(&toLowercase)));
    EXPECT_TRUE((has<std::string, Narrow>(&toUppercase)));
    EXPECT_TRUE((has<float, Narrow>(&toFloat)));
    EXPECT_TRUE((has<int, Narrow>(&toInt)));
    EXPECT_TRUE((has<int, Narrow, int>(&toInt)));
    EXPECT_TRUE((has<int, Wide, int>(&toInt)));
    EXPECT_TRUE((has<unsigned int, Narrow>(&toUnsignedInt)));
    EXPECT_TRUE((has<unsigned int, Narrow, unsigned int>(&toUnsignedInt)));
    EXPECT_TRUE((has<unsigned int, Wide, unsigned int>(&toUnsignedInt)));
    EXPECT_TRUE((has<long, Narrow>(&toLong)));
    EXPECT_TRUE((has<long long, Narrow>(&toLongLong)));
    EXPECT_TRUE((has<double, Wide>(&toDouble)));
    EXPECT_TRUE((has<unsigned long, Wide>(&toUnsignedLong)));
    EXPECT_TRUE((has<unsigned short, Wide>(&toUnsignedShort)));
}

}  // namespace
