#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

TEST(TrimHttpHead, RemovesHttpsOnly) {
    EXPECT_EQ(trimHttpHead("https://h.x/a"), "h.x/a");
    EXPECT_EQ(trimHttpHead("https://"), "");
    EXPECT_EQ(trimHttpHead("https://https://h"), "https://h");
    for (const char* const url : {"HTTPS://x", "http://x", "https:/x", "https:", "", " https://x", "h.x/https://"}) {
        EXPECT_EQ(trimHttpHead(url), url);
    }
}

TEST(TrimUrl, KeepsSchemeAndHost) {
    EXPECT_EQ(trimUrl("https://h.x/a/b"s), "https://h.x");
    EXPECT_EQ(trimUrl("h.x/a"s), "h.x");
    EXPECT_EQ(trimUrl("https://h.x"s), "https://h.x");
    EXPECT_EQ(trimUrl("https://h.x?q=a/b"s), "https://h.x?q=a");
    EXPECT_EQ(trimUrl("https:///a"s), "https://");
    EXPECT_EQ(trimUrl("://a/b"s), "://a");
    EXPECT_EQ(trimUrl("/a"s), "");
    EXPECT_EQ(trimUrl(""s), "");
    EXPECT_EQ(trimUrl("h\0x/a"s), "h\0x"s);
    EXPECT_EQ(trimUrl("\xFF/a"s), "\xFF") << "bytes need not be valid";
}

TEST(TrimUrl, StartsBehindTheFirstSchemeSeparatorWhereverItIs) {
    EXPECT_EQ(trimUrl("h/a://b/c"s), "h/a://b");
    EXPECT_EQ(trimUrl("a://b://c/d"s), "a://b:");
    EXPECT_EQ(trimUrl("a:/b://c"s), "a:/b://c");
}

TEST(TrimUrl, TakesWideText) {
    EXPECT_EQ(trimUrl(L"https://h\u00F6.\U0001F600/\u20AC/b"s), L"https://h\u00F6.\U0001F600");
    EXPECT_EQ(trimUrl(L"h.x/a"s), L"h.x");
    EXPECT_EQ(trimUrl(L"https://h.x"s), L"https://h.x");
    EXPECT_EQ(trimUrl(L""s), L"");
}

TEST(TrimUrl, ThrowsOnWideTextThatHasNoEncodingEvenInThePath) {
    for (const int c : {0xD800, 0xDFFF, 0x110000, -1}) {
        const std::wstring url = L"h/" + std::wstring(1, static_cast<wchar_t>(c));
        EXPECT_THAT([&] { trimUrl(url); },
                    testing::ThrowsMessage<std::range_error>(testing::StrEq("wstring_convert: to_bytes error")));
    }
}

}  // namespace
