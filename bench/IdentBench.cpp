#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/StreamConversions.h"

#ifdef VDI_BENCH_ABSL
#include <absl/strings/str_replace.h>
#include <absl/strings/strip.h>
#endif
#ifdef VDI_BENCH_BOOST
#include <boost/algorithm/string.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/RegularExpression.h>
#include <Poco/String.h>
#include <Poco/URI.h>
#include <Poco/UUID.h>
#endif
#ifdef VDI_BENCH_QT
#include <QRegularExpression>
#include <QString>
#include <QUrl>
#include <QUuid>
#endif
#ifdef VDI_BENCH_GLIB
#include <glib.h>
#endif

/// Functions of identifiers beside the mechanism that defines their results ("plain") and what other libraries offer;
/// "~" before a peer that offers less.

namespace {

using namespace VDIFrameworkCommon;

const std::string uuid = "123e4567-e89b-12d3-a456-426614174000";
const std::string badUuid = "123e4567-e89b-12d3-a456-42661417400g";
const std::string meeting = "123456789";
const std::string sipUri = "alice.cooper@conference.example.org";
const std::string jid = "alice.cooper@conference.example.org";
const std::string escapedBy3 = "o'neil & sons@conference.example.org";
const std::wstring wideEscapedBy3(escapedBy3.begin(), escapedBy3.end());
const std::string escaped = escapeJid(escapedBy3);
const std::string phone = "+1 (555) TESTING";
const std::string url = "https://conference.example.org/rooms/4711?open";
const std::wstring wideUrl(url.begin(), url.end());

const std::string uuidPattern = "[a-f0-9]{8}-[a-f0-9]{4}-[12345][a-f0-9]{3}-[89aAbB][a-f0-9]{3}-[a-f0-9]{12}";

const std::vector<std::pair<std::string, std::string>> escapes = {
    {"\\", "\\5c"}, {" ", "\\20"}, {"\"", "\\22"}, {"&", "\\26"}, {"'", "\\27"},
    {"/", "\\2f"},  {":", "\\3a"}, {"<", "\\3c"},  {">", "\\3e"}, {"@", "\\40"}};

template <typename Operation>
void row(const std::string& name, Operation operation) {
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(operation());
        }
    });
}

// The text hidden from the optimiser, so that nothing is computed ahead.
const std::string& hidden(const std::string& text) {
    const std::string* pointer = &text;
    benchmark::DoNotOptimize(pointer);
    return *pointer;
}

// The steps that define the results, one by one.

bool plainIsValidSipUri(const std::string& uri) {
    if (uri.empty() || std::count(uri.begin(), uri.end(), '@') != 1) {
        return false;
    }
    std::vector<std::string> parts;
    split(uri, parts, "@");
    if (parts.size() != 2 || parts[0].size() > 47 || parts[1].size() < 2) {
        return false;
    }
    const auto isAlphanumeric = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    for (const char c : parts[0]) {
        if (!isAlphanumeric(c) && std::string_view("!$%&*_+~-=?\\',./").find(c) == std::string_view::npos) {
            return false;
        }
    }
    const std::string& host = parts[1];
    if (host.front() == '-' || host.back() == '-' || host.front() == '.') {
        return false;
    }
    for (std::size_t i = 0; i != host.size(); ++i) {
        const bool twoDots = host[i] == '.' && i + 1 != host.size() && host[i + 1] == '.';
        if (twoDots || (!isAlphanumeric(host[i]) && host[i] != '-' && host[i] != '.')) {
            return false;
        }
    }
    return true;
}

template <typename Text>
bool plainIsValidJid(const Text& text) {
    using Char = typename Text::value_type;
    const auto position = [&text](char c) {
        const std::size_t at = text.rfind(Char(c));
        return at == Text::npos ? -1 : static_cast<long>(at);
    };
    const auto size = static_cast<long>(text.size());
    const long at = position('@');
    const long dot = position('.');
    const long space = position(' ');
    return size >= 5 && at >= 1 && at != size - 1 && dot - at >= 2 &&
           text[static_cast<std::size_t>(at) - 1] != Char('@') && space < at && dot != size - 1;
}

template <typename Text>
void replaceOneByOne(Text& text, const Text& from, const Text& to) {
    for (std::size_t pos = 0; (pos = text.find(from, pos)) != Text::npos; pos += to.size()) {
        text.erase(pos, from.size());
        text.insert(pos, to);
    }
}

template <typename Text>
const std::vector<std::pair<Text, Text>>& escapesOf() {
    static const auto result = [] {
        std::vector<std::pair<Text, Text>> pairs;
        for (const auto& [from, to] : escapes) {
            pairs.emplace_back(Text(from.begin(), from.end()), Text(to.begin(), to.end()));
        }
        return pairs;
    }();
    return result;
}

// Ten replacements in a row in what comes before the last "@", made by a function of the peer.
template <typename Text, typename Replace>
Text escapedBy(const Text& text, Replace replace) {
    if (!plainIsValidJid(text)) {
        return text;
    }
    const std::size_t at = text.rfind(typename Text::value_type('@'));
    Text local = text.substr(0, at);
    for (const auto& [from, to] : escapesOf<Text>()) {
        replace(local, from, to);
    }
    return local + text.substr(at);
}

template <typename Replace>
std::string unescapedBy(const std::string& text, Replace replace) {
    std::string result = text;
    for (std::size_t i = 1; i != escapes.size(); ++i) {
        replace(result, escapes[i].second, escapes[i].first);
    }
    replace(result, escapes[0].second, escapes[0].first);
    return result;
}

void plainSanitize(std::string& number) {
    for (std::size_t at = 0; at < number.size(); ++at) {
        const char c = number[at];
        if (std::isdigit(static_cast<unsigned char>(c)) == 0 && c != '#' && c != '*' && c != '+') {
            const char digit = convertToNumericValue(c);
            for (std::size_t pos = 0; (pos = number.find(c, pos)) != std::string::npos;) {
                number[pos] = digit == 0 ? ' ' : digit;
                pos += digit == 0 && c == ' ' ? 1 : 0;
            }
        }
    }
    for (auto at = number.begin(); at != number.end();) {
        at = std::isspace(static_cast<unsigned char>(*at)) != 0 ? number.erase(at) : at + 1;
    }
}

void uuids() {
    for (const auto& [name, text] : {std::pair("isValidUUid", &uuid), std::pair("isValidUUid invalid", &badUuid)}) {
        const std::string prefix = std::string(name) + "/";
        row(prefix + "ours", [text = text] { return isValidUUid(hidden(*text)); });
        row(prefix + "plain (std::regex)",
            [text = text, pattern = std::regex(uuidPattern)] { return std::regex_match(hidden(*text), pattern); });
#ifdef VDI_BENCH_POCO
        static const Poco::RegularExpression pattern(uuidPattern);
        row(prefix + "poco", [text = text] { return pattern.match(hidden(*text)); });
        row(prefix + "~poco UUID (any version)", [text = text] { return Poco::UUID().tryParse(hidden(*text)); });
#endif
#ifdef VDI_BENCH_QT
        static const QRegularExpression expression(
            QRegularExpression::anchoredPattern(QString::fromStdString(uuidPattern)));
        row(prefix + "qt", [qText = QString::fromStdString(*text)] { return expression.match(qText).hasMatch(); });
        row(prefix + "~qt QUuid (any version)",
            [qText = QString::fromStdString(*text)] { return !QUuid::fromString(qText).isNull(); });
#endif
#ifdef VDI_BENCH_GLIB
        row(prefix + "glib", [text = text] { return g_uuid_string_is_valid(hidden(*text).c_str()); });
#endif
    }
#ifdef VDI_BENCH_BOOST
    row("isValidUUid/~boost (any version)", [] { return boost::uuids::string_generator()(hidden(uuid)); });
#endif
}

void validation() {
    row("isValidGlintMeetingNumber/ours", [] { return isValidGlintMeetingNumber(hidden(meeting)); });
    row("isValidGlintMeetingNumber/plain (std::regex)",
        [pattern = std::regex("[0-9]{9}")] { return std::regex_match(hidden(meeting), pattern); });
    row("isValidSipUri/ours", [] { return isValidSipUri(hidden(sipUri)); });
    row("isValidSipUri/plain", [] { return plainIsValidSipUri(hidden(sipUri)); });
    row("isValidJid/ours", [] { return isValidJid(hidden(jid)); });
    row("isValidJid/plain", [] { return plainIsValidJid(hidden(jid)); });
    row("isValidJid/std::regex",
        [pattern = std::regex("(.*[^@])@[^@ ]+\\.[^@ .]+")] { return std::regex_match(hidden(jid), pattern); });
#ifdef VDI_BENCH_POCO
    static const Poco::RegularExpression digits("[0-9]{9}");
    row("isValidGlintMeetingNumber/poco", [] { return digits.match(hidden(meeting)); });
    row("isValidSipUri/poco", [] { return Poco::URI("sip:" + hidden(sipUri)).getScheme(); });
#endif
#ifdef VDI_BENCH_QT
    static const QRegularExpression nineDigits(QRegularExpression::anchoredPattern("[0-9]{9}"));
    row("isValidGlintMeetingNumber/qt",
        [text = QString::fromStdString(meeting)] { return nineDigits.match(text).hasMatch(); });
    row("isValidSipUri/qt",
        [text = QString::fromStdString("sip:" + sipUri)] { return QUrl(text, QUrl::StrictMode).isValid(); });
#endif
}

template <typename Replace>
void escapingBy(const std::string& who, Replace replace) {
    row("escapeJid 3/" + who, [replace] { return escapedBy(hidden(escapedBy3), replace); });
    row("escapeJid none/" + who, [replace] { return escapedBy(hidden(jid), replace); });
    row("unescapeJid/" + who, [replace] { return unescapedBy(hidden(escaped), replace); });
}

void escaping() {
    row("escapeJid 3/ours", [] { return escapeJid(hidden(escapedBy3)); });
    row("escapeJid 3 wide/ours", [] { return escapeJid(wideEscapedBy3); });
    row("escapeJid none/ours", [] { return escapeJid(hidden(jid)); });
    row("unescapeJid/ours", [] { return unescapeJid(hidden(escaped)); });
    escapingBy("plain", replaceOneByOne<std::string>);
    row("escapeJid 3 wide/plain", [] { return escapedBy(wideEscapedBy3, replaceOneByOne<std::wstring>); });
#ifdef VDI_BENCH_ABSL
    const auto byAbsl = [](const std::string& text) {
        const std::size_t at = text.rfind('@');
        return absl::StrReplaceAll(text.substr(0, at), escapes) + text.substr(at);
    };
    row("escapeJid 3/absl", [byAbsl] { return byAbsl(hidden(escapedBy3)); });
    row("escapeJid none/absl", [byAbsl] { return byAbsl(hidden(jid)); });
    row("unescapeJid/absl", [] {
        static const auto reversed = [] {
            std::vector<std::pair<std::string, std::string>> pairs;
            for (const auto& [to, from] : escapes) {
                pairs.emplace_back(from, to);
            }
            return pairs;
        }();
        return absl::StrReplaceAll(hidden(escaped), reversed);
    });
#endif
#ifdef VDI_BENCH_BOOST
    const auto byBoost = [](auto& text, const auto& from, const auto& to) { boost::replace_all(text, from, to); };
    escapingBy("boost", byBoost);
    row("escapeJid 3 wide/boost", [byBoost] { return escapedBy(wideEscapedBy3, byBoost); });
#endif
#ifdef VDI_BENCH_POCO
    escapingBy("poco", [](std::string& text, const std::string& from, const std::string& to) {
        Poco::replaceInPlace(text, from, to);
    });
#endif
#ifdef VDI_BENCH_QT
    const auto byQt = [](QString text, bool escape) {
        static const auto pairs = [] {
            std::vector<std::pair<QString, QString>> result;
            for (const auto& [from, to] : escapes) {
                result.emplace_back(QString::fromStdString(from), QString::fromStdString(to));
            }
            return result;
        }();
        const auto at = escape ? text.lastIndexOf('@') : text.size();
        QString local = text.left(at);
        for (const auto& [from, to] : pairs) {
            local.replace(escape ? from : to, escape ? to : from);
        }
        return QString(local + text.mid(at));
    };
    row("escapeJid 3/qt", [byQt, text = QString::fromStdString(escapedBy3)] { return byQt(text, true); });
    row("escapeJid none/qt", [byQt, text = QString::fromStdString(jid)] { return byQt(text, true); });
    row("unescapeJid/qt", [byQt, text = QString::fromStdString(escaped)] { return byQt(text, false); });
#endif
}

void cleaning() {
    row("sanitizePhoneNumber/ours", [] {
        std::string number = hidden(phone);
        sanitizePhoneNumber(number);
        return number;
    });
    row("sanitizePhoneNumber/plain", [] {
        std::string number = hidden(phone);
        plainSanitize(number);
        return number;
    });
    row("trimUrl/ours", [] { return trimUrl(hidden(url)); });
    row("trimUrl wide/ours", [] { return trimUrl(wideUrl); });
    row("trimUrl wide/plain", [] { return streams::Utf8().from_bytes(trimUrl(streams::Utf8().to_bytes(wideUrl))); });
    row("trimHttpHead/ours", [] { return trimHttpHead(hidden(url)); });
    row("extractUsernameFromUri/ours", [] { return extractUsernameFromUri(hidden(sipUri)); });
#ifdef VDI_BENCH_ABSL
    row("trimHttpHead/absl", [] { return std::string(absl::StripPrefix(hidden(url), "https://")); });
#endif
#ifdef VDI_BENCH_BOOST
    row("sanitizePhoneNumber/~boost (erases only)", [] {
        std::string number = hidden(phone);
        for (const char* const part : {" ", "(", ")", "-"}) {
            boost::erase_all(number, part);
        }
        return number;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("sanitizePhoneNumber/poco", [] {
        static const std::string from = "ABCDEFGHIJKLMNOPQRSTUVWXYZ()-";
        static const std::string to = "22233344455566677778889999   ";
        std::string number = Poco::translate(hidden(phone), from, to);
        Poco::removeInPlace(number, ' ');
        return number;
    });
    row("trimUrl/poco", [] { return Poco::URI(hidden(url)).getAuthority(); });
#endif
#ifdef VDI_BENCH_QT
    row("trimUrl/qt", [text = QString::fromStdString(url)] { return QUrl(text).authority(); });
#endif
}

const bool registered = [] {
    uuids();
    validation();
    escaping();
    cleaning();
    return true;
}();

}  // namespace
