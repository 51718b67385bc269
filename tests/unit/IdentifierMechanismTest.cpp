#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <iterator>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/ConverterOutcome.h"
#include "support/GeneratedText.h"

/// Every function of identifiers against the mechanism that defines its result, written out step by step,
/// over generated texts. The functions of text that the steps use have a comparison of their own.

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr int inputs = 100000;

std::string widened(const std::string& text, std::string*) {
    return text;
}

// Byte for element; some become elements with the same low byte.
std::wstring widened(const std::string& text, std::wstring*) {
    std::wstring wide;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        wide += static_cast<wchar_t>(byte == 0xFE ? 0x15C : (byte == 0xFD ? 0x140 : byte));
    }
    return wide;
}

template <typename Text>
Text widened(const std::string& text) {
    return widened(text, static_cast<Text*>(nullptr));
}

template <typename Text>
class IdentifierMechanism : public testing::Test {
protected:
    generated::Source source{20261121};

    // Texts that are JIDs about as often as not.
    Text jid() {
        static constexpr std::string_view local = R"(ab.c'& "/:<>@\20)"
                                                  "\0\xFE\xFD"sv;
        static constexpr std::string_view domain = "abc.";
        const std::string text = source.text(local, 12) + "@" + source.text(domain, 12);
        return widened<Text>(source.disturbed(text, "@. a\\\0"sv));
    }

    Text escapes() {
        static constexpr std::string_view pieces[] = {"\\20", "\\22", "\\26", "\\27", "\\2f", "\\3a", "\\3c",
                                                      "\\3e", "\\40", "\\5c", "\\",   "5c",   "20",   "\\5",
                                                      "\\2",  "2f",   "\\2F", "a",    "c",    "\0"sv, "\xFE"};
        return widened<Text>(source.joined(pieces, 12));
    }
};

using Texts = testing::Types<std::string, std::wstring>;
TYPED_TEST_SUITE(IdentifierMechanism, Texts, );

template <typename Text>
long long positionOf(const Text& text, char c) {
    const std::size_t at = text.rfind(static_cast<typename Text::value_type>(c));
    return at == Text::npos ? -1 : static_cast<long long>(at);
}

template <typename Text>
bool mechanicalIsValidJid(const Text& jid) {
    const auto size = static_cast<long long>(jid.size());
    const long long at = positionOf(jid, '@');
    const long long dot = positionOf(jid, '.');
    const long long space = positionOf(jid, ' ');
    if (size < 5) {
        return false;
    }
    if (at < 1) {
        return false;
    }
    if (at == size - 1) {
        return false;
    }
    if (dot - at < 2) {
        return false;
    }
    if (jid[static_cast<std::size_t>(at) - 1] == '@') {
        return false;
    }
    return space < at && dot != size - 1;
}

const std::vector<std::pair<std::string, std::string>> replacements = {
    {"\\", "\\5c"}, {" ", "\\20"}, {"\"", "\\22"}, {"&", "\\26"}, {"'", "\\27"},
    {"/", "\\2f"},  {":", "\\3a"}, {"<", "\\3c"},  {">", "\\3e"}, {"@", "\\40"}};

template <typename Text>
Text mechanicalEscape(const Text& jid) {
    if (!mechanicalIsValidJid(jid)) {
        return jid;
    }
    const auto at = static_cast<std::size_t>(positionOf(jid, '@'));
    Text local = jid.substr(0, at);
    for (const auto& [from, to] : replacements) {
        replaceAll(local, widened<Text>(from), widened<Text>(to));
    }
    return local + jid.substr(at);
}

template <typename Text>
Text mechanicalUnescape(Text jid) {
    for (std::size_t i = 1; i != replacements.size(); ++i) {
        replaceAll(jid, widened<Text>(replacements[i].second), widened<Text>(replacements[i].first));
    }
    replaceAll(jid, widened<Text>("\\5c"), widened<Text>("\\"));
    return jid;
}

template <typename Text>
Text mechanicalTrimUrl(const Text& url) {
    const std::size_t separator = url.find(widened<Text>("://"));
    const std::size_t slash = url.find('/', separator == Text::npos ? 0 : separator + 3);
    return slash == Text::npos ? url : url.substr(0, slash);
}

TYPED_TEST(IdentifierMechanism, IsValidJid) {
    int valid = 0;
    for (int i = 0; i != inputs; ++i) {
        const TypeParam jid = this->jid();
        ASSERT_EQ(isValidJid(jid), mechanicalIsValidJid(jid)) << i;
        valid += isValidJid(jid) ? 1 : 0;
    }
    EXPECT_GT(valid, inputs / 10);
}

TYPED_TEST(IdentifierMechanism, EscapeJid) {
    for (int i = 0; i != inputs; ++i) {
        const TypeParam jid = this->jid();
        ASSERT_EQ(escapeJid(jid), mechanicalEscape(jid)) << i;
    }
}

TYPED_TEST(IdentifierMechanism, UnescapeJid) {
    for (int i = 0; i != inputs; ++i) {
        const TypeParam jid = this->source.below(4) == 0 ? this->jid() : this->escapes();
        ASSERT_EQ(unescapeJid(jid), mechanicalUnescape(jid)) << i;
    }
}

TYPED_TEST(IdentifierMechanism, TrimUrl) {
    static constexpr std::string_view pieces[] = {"https", ":", "/", "://", "//", "h.x", "a", "\0"sv};
    for (int i = 0; i != inputs; ++i) {
        const auto url = widened<TypeParam>(this->source.joined(pieces, 8));
        ASSERT_EQ(trimUrl(url), mechanicalTrimUrl(url)) << i;
    }
}

TEST(NarrowIdentifierMechanism, TrimUrlOfAnyBytes) {
    static constexpr std::string_view pieces[] = {"://",  "/",    "h",        "\xC3\xB6",
                                                  "\xFF", "\x80", "\xC0\xAF", "\xED\xA0\x80"};
    generated::Source source(10);
    for (int i = 0; i != inputs; ++i) {
        const std::string url = source.joined(pieces, 8);
        ASSERT_EQ(trimUrl(url), mechanicalTrimUrl(url)) << i;
    }
}

// There, cut and back: what the converter refuses is refused, wherever in the text it is. libstdc++'s converter accepts
// surrogates and has other texts, so that the comparison with it is made for the valid ones only.
TEST(WideIdentifierMechanism, TrimUrlOfAnyElements) {
    static const std::wstring pieces[] = {L"://", L"://",    L"/",      L"/",          L"https",
                                          L"h.x", L"\u00F6", L"\u20AC", L"\U0001F600", L"\U0010FFFF"};
    static constexpr std::uint32_t faults[] = {0xD800,   0xDBFF,     0xDC00,     0xDFFF,
                                               0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    generated::Source source(11);
    int refused = 0;
    for (int i = 0; i != inputs; ++i) {
        std::wstring url;
        for (std::size_t left = source.below(source.below(50) == 0 ? 200 : 10); left != 0; --left) {
            url += pieces[source.below(std::size(pieces))];
        }
        for (std::size_t left = source.below(6) == 0 ? 1 + source.below(2) : 0; left != 0; --left) {
            url.insert(source.below(url.size() + 1), 1, static_cast<wchar_t>(faults[source.below(std::size(faults))]));
        }
        const auto actual = streams::outcome([&] { return trimUrl(url); });
        refused += actual.second.empty() ? 0 : 1;
        if (streams::onLibcxx || actual.second.empty()) {
            ASSERT_EQ(actual, streams::outcome([&] {
                          return streams::Utf8().from_bytes(mechanicalTrimUrl(streams::Utf8().to_bytes(url)));
                      }))
                << testing::PrintToString(url);
        }
    }
    EXPECT_GT(refused, inputs / 10);
}

TEST(NarrowIdentifierMechanism, IsValidUUid) {
    const std::regex pattern("[a-f0-9]{8}-[a-f0-9]{4}-[12345][a-f0-9]{3}-[89aAbB][a-f0-9]{3}-[a-f0-9]{12}");
    static constexpr std::string_view hexadecimal = "0123456789abcdef";
    static constexpr std::string_view wrong = "gAB-F \n\0\x80\xFF/:`@9a"sv;
    generated::Source source(2);
    int valid = 0;
    for (int i = 0; i != inputs; ++i) {
        std::string text = "xxxxxxxx-xxxx-Nxxx-Rxxx-xxxxxxxxxxxx";
        for (char& c : text) {
            if (c == 'x') {
                c = hexadecimal[source.below(16)];
            }
        }
        text[14] = "0123456aA"[source.below(9)];
        text[19] = "789aAbBcC"[source.below(9)];
        if (source.below(2) == 0) {
            text = source.disturbed(text, wrong);
        }
        ASSERT_EQ(isValidUUid(text), std::regex_match(text, pattern)) << text;
        valid += isValidUUid(text) ? 1 : 0;
    }
    EXPECT_GT(valid, inputs / 10);
}

TEST(NarrowIdentifierMechanism, IsValidGlintMeetingNumber) {
    const std::regex pattern("[0-9]{9}");
    generated::Source source(3);
    for (int i = 0; i != inputs; ++i) {
        std::string text;
        for (int digit = 0; digit != 9; ++digit) {
            text += static_cast<char>('0' + source.below(10));
        }
        text = source.disturbed(text, "0 \n\0/:a\xB2\xFF"sv);
        ASSERT_EQ(isValidGlintMeetingNumber(text), std::regex_match(text, pattern)) << text;
    }
}

bool isMechanicalAlphanumeric(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool mechanicalIsValidSipUri(const std::string& uri) {
    if (uri.empty()) {
        return false;
    }
    const std::size_t at = uri.find('@');
    if (at == std::string::npos || uri.find('@', at + 1) != std::string::npos) {
        return false;
    }
    std::vector<std::string> parts;
    split(uri, parts, "@");
    if (parts.size() != 2) {
        return false;
    }
    const std::string& user = parts[0];
    const std::string& host = parts[1];
    if (user.size() > 47) {
        return false;
    }
    for (const char c : user) {
        if (!isMechanicalAlphanumeric(c) && "!$%&*_+~-=?\\',./"s.find(c) == std::string::npos) {
            return false;
        }
    }
    if (host.size() < 2) {
        return false;
    }
    if (host.front() == '-' || host.back() == '-' || host.front() == '.') {
        return false;
    }
    for (std::size_t i = 0; i != host.size(); ++i) {
        if (!isMechanicalAlphanumeric(host[i]) && host[i] != '-' && host[i] != '.') {
            return false;
        }
        if (host[i] == '.' && i + 1 != host.size() && host[i + 1] == '.') {
            return false;
        }
    }
    return true;
}

TEST(NarrowIdentifierMechanism, IsValidSipUri) {
    static constexpr std::string_view user = "abc019!$%&*_+~-=?\\',./";
    static constexpr std::string_view host = "abc0-..";
    generated::Source source(4);
    int valid = 0;
    for (int i = 0; i != inputs; ++i) {
        std::string uri = source.text(user, 60) + "@" + source.text(host, 12);
        if (source.below(2) == 0) {
            uri = source.disturbed(uri, "@ #\"\0\xC4.-"sv);
        }
        ASSERT_EQ(isValidSipUri(uri), mechanicalIsValidSipUri(uri)) << uri;
        valid += isValidSipUri(uri) ? 1 : 0;
    }
    EXPECT_GT(valid, inputs / 10);
}

TEST(NarrowIdentifierMechanism, SanitizePhoneNumber) {
    static constexpr std::string_view letters = "0189#*+ ()-.\t\n\0\x80\xFF@[`{azAZswSW"sv;
    generated::Source source(5);
    for (int i = 0; i != inputs; ++i) {
        std::string number = source.text(letters, 30);
        std::string expected = number;
        for (std::size_t at = 0; at < expected.size(); ++at) {
            const char c = expected[at];
            if (std::isdigit(static_cast<unsigned char>(c)) == 0 && c != '#' && c != '*' && c != '+') {
                const char digit = convertToNumericValue(c);
                replaceAll(expected, c, digit == 0 ? ' ' : digit);
            }
        }
        clearBlanks(expected);
        sanitizePhoneNumber(number);
        ASSERT_EQ(number, expected) << i;
    }
}

TEST(NarrowIdentifierMechanism, ExtractUsernameFromUri) {
    generated::Source source(6);
    for (int i = 0; i != inputs; ++i) {
        const std::string uri = source.text("ab@\0."sv, 8);
        const std::size_t at = uri.find_last_of('@');
        ASSERT_EQ(extractUsernameFromUri(uri), at == std::string::npos ? uri : uri.substr(0, at)) << i;
    }
}

TEST(NarrowIdentifierMechanism, TrimHttpHead) {
    static constexpr std::string_view pieces[] = {"https://", "http://", "https:/", "HTTPS://", "x", "\0"sv};
    generated::Source source(7);
    for (int i = 0; i != inputs; ++i) {
        const std::string url = source.joined(pieces, 3);
        ASSERT_EQ(trimHttpHead(url), url.compare(0, 8, "https://") == 0 ? url.substr(8) : url) << i;
    }
}

}  // namespace
