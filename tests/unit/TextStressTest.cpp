#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/MessageUtils.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/WithinLimit.h"

/// Texts of ten megabytes that make the plain way take hours, through every function of text, identifiers and messages.
/// Each call has a limit that nothing but such a way exceeds.

namespace {

using namespace VDIFrameworkCommon;

constexpr std::size_t size = 10'000'000;
constexpr std::size_t half = size / 2;

template <typename Char>
class HugeText : public testing::Test {
protected:
    using Text = std::basic_string<Char>;

    static Text text(std::string_view narrow) { return Text(narrow.begin(), narrow.end()); }

    static Text repeated(std::string_view narrow, std::size_t times) {
        const Text part = text(narrow);
        Text result;
        result.reserve(part.size() * times);
        for (; times != 0; --times) {
            result += part;
        }
        return result;
    }
};

using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(HugeText, Characters, );

// Needles of half the size that nearly occur everywhere, and where they occur at last.
template <typename Fixture>
struct Nearly : Fixture {
    using typename Fixture::Text;
    const Text plain = Fixture::repeated("A", size);
    const Text endsDifferently = Fixture::repeated("a", half) + Fixture::text("b");
    const Text beginsDifferently = Fixture::text("b") + Fixture::repeated("a", half);
    const Text middleDifferent =
        Fixture::repeated("a", half / 2) + Fixture::text("b") + Fixture::repeated("a", half / 2);
    const Text periodic = Fixture::repeated("ab", half / 2) + Fixture::text("b");
};

template <typename Char>
class HugeSearch : public Nearly<HugeText<Char>> {};
TYPED_TEST_SUITE(HugeSearch, Characters, );

TYPED_TEST(HugeSearch, FindsNothing) {
    for (const auto* needle : {&this->endsDifferently, &this->beginsDifferently, &this->middleDifferent}) {
        EXPECT_EQ(withinLimit([&] { return caseInsensitiveFind(this->plain, *needle); }), std::string::npos);
        EXPECT_EQ(withinLimit([&] { return caseInsensitiveRFind(this->plain, *needle); }), std::string::npos);
    }
    const auto waves = this->repeated("aB", half);
    EXPECT_EQ(withinLimit([&] { return caseInsensitiveFind(waves, this->periodic); }), std::string::npos);
    EXPECT_EQ(withinLimit([&] { return caseInsensitiveRFind(waves, this->periodic); }), std::string::npos);
}

TYPED_TEST(HugeSearch, FindsTheOnlyOne) {
    for (const auto* needle : {&this->endsDifferently, &this->beginsDifferently, &this->middleDifferent}) {
        EXPECT_EQ(withinLimit([&] { return caseInsensitiveFind(this->plain + *needle, *needle); }),
                  needle == &this->endsDifferently ? half * 2 : size);
        EXPECT_EQ(withinLimit([&] { return caseInsensitiveRFind(*needle + this->plain, *needle); }), 0U);
    }
}

TYPED_TEST(HugeSearch, ReplacesNearOccurrences) {
    for (const auto* from : {&this->endsDifferently, &this->middleDifferent, &this->periodic}) {
        auto s = this->repeated("a", half - 1) + this->text("x") + *from + this->text("y") + *from;
        withinLimit([&] { replaceAll(s, *from, this->text("-")); });
        EXPECT_EQ(s.size(), half - 1 + 4);
        EXPECT_EQ(s.substr(half - 1), this->text("x-y-"));
    }
}

TYPED_TEST(HugeText, ReplacesEveryElement) {
    auto s = this->repeated("a", size);
    withinLimit([&] { replaceAll(s, this->text("a"), this->text("aa")); });
    EXPECT_EQ(s.size(), 2 * size);
    withinLimit([&] { replaceAll(s, this->text("aa"), this->text("b")); });
    EXPECT_EQ(s, this->repeated("b", size));
    withinLimit([&] { replaceAll(s, this->text("b"), this->text("")); });
    EXPECT_TRUE(s.empty());
    s = this->repeated("ab", half);
    withinLimit([&] { replaceAll(s, TypeParam{'a'}, TypeParam{'a'}); });
    withinLimit([&] { replaceAll(s, TypeParam{'a'}, TypeParam{'b'}); });
    EXPECT_EQ(s, this->repeated("b", size));
}

TYPED_TEST(HugeText, ClearsAndTrims) {
    auto s = this->repeated(" a", half);
    withinLimit([&] { clearBlanks(s); });
    EXPECT_EQ(s, this->repeated("a", half));
    s = this->repeated(" ", half) + this->text("x") + this->repeated("\t", half);
    EXPECT_EQ(withinLimit([&] { return trim(s); }), this->text("x"));
    withinLimit([&] { trim_safe(s); });
    EXPECT_EQ(s, this->text("x"));
}

TYPED_TEST(HugeText, TrimsEitherEnd) {
    const auto x = this->text("x");
    const auto blanks = this->repeated(" ", half);
    EXPECT_EQ(withinLimit([&] { return trimleft(blanks + x); }), x);
    EXPECT_EQ(withinLimit([&] { return trimright(x + blanks); }), x);
    EXPECT_TRUE(withinLimit([&] { return trimleft(blanks); }).empty());
    EXPECT_TRUE(withinLimit([&] { return trimright(blanks); }).empty());
    auto s = blanks + x + blanks;
    withinLimit([&] { trimleft_safe(s); });
    EXPECT_EQ(s.size(), 1 + half);
    withinLimit([&] { trimright_safe(s); });
    EXPECT_EQ(s, x);
    s = blanks;
    withinLimit([&] { trimright_safe(s); });
    EXPECT_EQ(s.size(), 1U);
}

TYPED_TEST(HugeText, Splits) {
    std::vector<typename TestFixture::Text> tokens;
    withinLimit([&] { split(this->repeated("a,", half), tokens, this->text(",")); });
    EXPECT_EQ(tokens.size(), half);
    tokens.clear();
    withinLimit([&] { split(this->repeated(",", size), tokens, this->text(",")); });
    EXPECT_TRUE(tokens.empty());
    typename TestFixture::Text many;
    for (int i = 0; i != 1'000'000; ++i) {
        const auto delimiter = static_cast<TypeParam>(0x1000 + i % 100'000);
        if (delimiter != 'a') {
            many += delimiter;
        }
    }
    withinLimit([&] { split(this->repeated("a", size), tokens, many); });
    EXPECT_EQ(tokens.size(), 1U);
}

TYPED_TEST(HugeText, Compares) {
    const auto a = this->repeated("aB", half);
    const auto b = this->repeated("Ab", half);
    EXPECT_EQ(withinLimit([&] { return caseInsensitiveStringCompare(a, b); }), 0);
    EXPECT_TRUE(withinLimit([&] { return caseInsensitiveStringEquals(a, b); }));
    EXPECT_EQ(withinLimit([&] { return caseInsensitiveStringCompare(a, b + this->text("c")); }), -1);
    EXPECT_TRUE(withinLimit([&] { return endsWith(a, a); }));
}

TYPED_TEST(HugeText, EscapesAndUnescapes) {
    const auto local = this->repeated(R"(\20 '@)", size / 6);
    const auto jid = local + this->text("x@d.ef");
    const auto escaped = withinLimit([&] { return escapeJid(jid); });
    EXPECT_EQ(escaped, this->repeated(R"(\5c20\20\27\40)", size / 6) + this->text("x@d.ef"));
    EXPECT_EQ(withinLimit([&] { return unescapeJid(escaped); }), jid);
    EXPECT_FALSE(withinLimit([&] { return isValidJid(local); }));
    EXPECT_FALSE(withinLimit([&] { return isValidJid(this->repeated(".", size)); }));
}

TYPED_TEST(HugeText, TrimsUrls) {
    EXPECT_EQ(withinLimit([&] { return trimUrl(this->repeated(":/", half)); }), this->text(":"));
    EXPECT_EQ(withinLimit([&] { return trimUrl(this->repeated(":", size)); }), this->repeated(":", size));
}

TEST(HugeIdentifier, IsChecked) {
    const std::string huge(size, 'a');
    EXPECT_FALSE(withinLimit([&] { return isValidSipUri(huge + "@ex"); }));
    EXPECT_TRUE(withinLimit([&] { return isValidSipUri("alice@" + huge); }));
    EXPECT_FALSE(withinLimit([&] { return isValidSipUri(std::string(size, '@')); }));
    EXPECT_FALSE(withinLimit([&] { return isValidUUid(huge); }));
    EXPECT_FALSE(withinLimit([&] { return isValidGlintMeetingNumber(std::string(size, '1')); }));
    EXPECT_EQ(withinLimit([&] { return extractUsernameFromUri(huge + "@"); }), huge);
    std::string number;
    for (std::size_t i = 0; i != size; ++i) {
        number += static_cast<char>(i);
    }
    withinLimit([&] { sanitizePhoneNumber(number); });
    EXPECT_EQ(number.size(), (size / 256 + 1) * (26 + 26 + 10 + 3)) << "all of them are in the first half of the bytes";
}

TEST(HugeIdentifier, IsCutAtItsFront) {
    const std::string huge(size, 'a');
    EXPECT_TRUE(withinLimit([&] { return startsWith(huge, huge); }));
    EXPECT_FALSE(withinLimit([&] { return startsWith(huge, huge + "b"); }));
    EXPECT_TRUE(withinLimit([&] { return trimHttpHead("https://" + huge); }) == huge);
    EXPECT_TRUE(withinLimit([&] { return trimHttpHead(huge); }) == huge);
}

TEST(HugeMessage, HasHugeFields) {
    const std::string huge(size, 'a');
    VDIFrameworkCommon::MessageBuilder builder;
    withinLimit([&] { builder.append(huge); });
    withinLimit([&] { builder.append(huge.c_str()); });
    withinLimit([&] { builder.append(huge + "|"); });
    EXPECT_TRUE(withinLimit([&] { return builder.msg(); }) == huge + "|" + huge);
    builder.clear();
    EXPECT_EQ(builder.msg(), "");
}

TEST(HugeMessage, IsBuiltAndParsed) {
    VDIFrameworkCommon::MessageBuilder builder;
    withinLimit([&] {
        for (unsigned int i = 0; i != 1'000'000; ++i) {
            builder.append(i);
        }
    });
    const auto fields = withinLimit([&] { return MessageParser(builder.msg()).parseMsg(); });
    ASSERT_EQ(fields.size(), 1'000'000U);
    EXPECT_EQ(fields.back(), "999999");
    EXPECT_TRUE(withinLimit([] { return MessageParser(std::string(size, '|')).parseMsg(); }).empty());
}

}  // namespace
