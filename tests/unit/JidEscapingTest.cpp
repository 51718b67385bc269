#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

// Byte for element.
std::wstring widened(const std::string& text) {
    std::wstring wide;
    for (const char c : text) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    return wide;
}

void expectValid(const std::string& jid, bool valid) {
    EXPECT_EQ(isValidJid(jid), valid) << jid;
    EXPECT_EQ(isValidJid(widened(jid)), valid) << "wide " << jid;
}

void expectEscaped(const std::string& jid, const std::string& escaped) {
    EXPECT_EQ(escapeJid(jid), escaped);
    EXPECT_EQ(escapeJid(widened(jid)), widened(escaped));
}

void expectUnescaped(const std::string& jid, const std::string& unescaped) {
    EXPECT_EQ(unescapeJid(jid), unescaped);
    EXPECT_EQ(unescapeJid(widened(jid)), widened(unescaped));
}

TEST(IsValidJid, TakesAnAddress) {
    expectValid("a@b.c", true);
    expectValid("a@b.cd.ef", true);
    expectValid("a.b@c.d", true);
    expectValid("a@b@c.d", true);
    expectValid("@b@c.d", true);
    expectValid("a\0@b.c"s, true);
    expectValid("a@\xFF.\xFE", true);
}

TEST(IsValidJid, WantsFiveElements) {
    expectValid("", false);
    expectValid("a@b.", false);
    expectValid("@b.c", false);
    expectValid("a@.c", false);
}

TEST(IsValidJid, WantsSomethingBeforeTheAt) {
    expectValid("@bc.d", false);
    expectValid("abc.d", false);
    expectValid("abcdef", false);
}

TEST(IsValidJid, WantsSomethingOnEitherSideOfTheLastDotBehindTheAt) {
    expectValid("ab@.c", false);
    expectValid("ab@c.", false);
    expectValid("abcd@", false);
    expectValid("a.bc@", false);
    expectValid("a.b@cd", false);
    expectValid("ab@.c.d", true);
    expectValid("ab@c..", false);
    expectValid("ab@..c", true);
}

TEST(IsValidJid, TakesSpacesBeforeTheAtOnly) {
    expectValid("a b@c.d", true);
    expectValid(" @c.d", true);
    expectValid("a@ c.d", false);
    expectValid("ab@c d.e", false);
    expectValid("ab@c.d ", false);
    expectValid("ab@c\t.d", true);
}

TEST(IsValidJid, RefusesTwoAtsInARow) {
    expectValid("a@@b.c", false);
    expectValid("a@@x@b.c", true);
}

TEST(IsValidJid, LooksAtWholeWideElements) {
    EXPECT_FALSE(isValidJid(L"a\u0140b.c")) << "U+0140 ends like an at sign";
    EXPECT_TRUE(isValidJid(L"a@b.c\u0120")) << "U+0120 ends like a space";
}

TEST(EscapeJid, EscapesTenCharactersBeforeTheLastAt) {
    expectEscaped("o'b c@d.ef", R"(o\27b\20c@d.ef)");
    expectEscaped(R"(\ "&'/:<>@x@d.ef)", R"(\5c\20\22\26\27\2f\3a\3c\3e\40x@d.ef)");
    expectEscaped("a@b@c.de", R"(a\40b@c.de)");
}

TEST(EscapeJid, EscapesEveryBackslashAndSpace) {
    expectEscaped(R"(a\20b@c.d)", R"(a\5c20b@c.d)");
    expectEscaped(R"(a\\b@c.d)", R"(a\5c\5cb@c.d)");
    expectEscaped(" a @c.d", R"(\20a\20@c.d)");
}

TEST(EscapeJid, LeavesTheDomainAlone) {
    expectEscaped(R"(a@b'c.d/e\f)", R"(a@b'c.d/e\f)");
    expectEscaped(R"(a'@b'c.d/e\f)", R"(a\27@b'c.d/e\f)");
}

TEST(EscapeJid, ReturnsWhatIsNoJid) {
    expectEscaped("not a jid", "not a jid");
    expectEscaped("a b@c d.e", "a b@c d.e");
    expectEscaped("", "");
}

TEST(EscapeJid, KeepsEveryOtherElement) {
    std::string others;
    std::wstring wide;
    for (int c = 0; c != 256; ++c) {
        if (c == 0 || std::string(R"(\ "&'/:<>@)").find(static_cast<char>(c)) == std::string::npos) {
            others += static_cast<char>(c);
        }
    }
    expectEscaped(others + "@d.ef", others + "@d.ef");
    for (const int c : {0x120, 0x15C, 0x10FFFF, -1, -224, 0x7FFFFFFF}) {
        wide += static_cast<wchar_t>(c);
    }
    EXPECT_EQ(escapeJid(wide + L"@d.ef"), wide + L"@d.ef");
}

TEST(UnescapeJid, PutsTenCharactersBack) {
    expectUnescaped(R"(\5c\20\22\26\27\2f\3a\3c\3e\40)", R"(\ "&'/:<>@)");
    expectUnescaped(R"(o\27b\20c@d.ef)", "o'b c@d.ef");
    expectUnescaped(R"(x@y\20z)", "x@y z");
    expectUnescaped("", "");
}

TEST(UnescapeJid, PutsTheBackslashBackLast) {
    expectUnescaped(R"(a\5c20b)", R"(a\20b)");
    expectUnescaped(R"(\5c5c20)", R"(\5c20)");
    expectUnescaped(R"(\5c\5c)", R"(\\)");
    expectUnescaped(R"(\\205c)", R"(\ 5c)");
    expectUnescaped(R"(\205c)", " 5c");
    expectUnescaped(R"(\\5c)", R"(\\)");
}

TEST(UnescapeJid, TakesLowerCaseDigitsOnly) {
    expectUnescaped(R"(\2F\3A\3C\3E\5C)", R"(\2F\3A\3C\3E\5C)");
}

TEST(UnescapeJid, LeavesEveryOtherSequence) {
    const std::string hex = "0123456789abcdef";
    const std::string known = "20 22 26 27 2f 3a 3c 3e 40 5c";
    for (const char high : hex) {
        for (const char low : hex) {
            const std::string code = {high, low};
            if (known.find(code) == std::string::npos) {
                expectUnescaped("a\\" + code + "b", "a\\" + code + "b");
            }
        }
    }
    expectUnescaped("\\", "\\");
    expectUnescaped("\\2", "\\2");
    expectUnescaped("\\5", "\\5");
    expectUnescaped("\\\0\0"s, "\\\0\0"s);
    expectUnescaped(
        "\\2g\\g0\\2\xFF\\\xFF"
        "0",
        "\\2g\\g0\\2\xFF\\\xFF"
        "0");
    EXPECT_EQ(unescapeJid(L"\u015C20"s), L"\u015C20") << "U+015C ends like a backslash";
    EXPECT_EQ(unescapeJid(L"\\\u01320"s), L"\\\u01320") << "U+0132 ends like a 2";
}

TEST(UnescapeJid, UndoesEscapeJid) {
    const std::string jid = R"( it's\20 "x" </a&b:c> @d@e.fg)";
    EXPECT_EQ(unescapeJid(escapeJid(jid)), jid);
    EXPECT_EQ(unescapeJid(escapeJid(widened(jid))), widened(jid));
}

}  // namespace
