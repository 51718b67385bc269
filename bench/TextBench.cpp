#include <VDIFrameworkCommon/MessageUtils.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/StreamConversions.h"

#ifdef VDI_BENCH_ABSL
#include <absl/strings/ascii.h>
#include <absl/strings/match.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_join.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#endif
#ifdef VDI_BENCH_BOOST
#include <boost/algorithm/string.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/NumberFormatter.h>
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>
#endif
#ifdef VDI_BENCH_QT
#include <QString>
#include <QStringList>
#endif

/// Functions of text beside the least that they must do ("floor"), the mechanism that defines their results ("plain")
/// and what other libraries offer. A peer with a "~" does less than ours must.

namespace {

using namespace VDIFrameworkCommon;

const std::string list12 = "alpha,beta;gamma,delta;epsilon,zeta;eta,theta;iota,kappa;lambda,mu";
const std::wstring wideList12(list12.begin(), list12.end());
const std::string list1000 = [] {
    std::string list;
    for (int i = 0; i != 1000; ++i) {
        list += "item" + std::to_string(i) + ",";
    }
    return list;
}();
const std::string sentence =
    "The quick brown fox jumps over the lazy dog, and the dog then chases the fox over the hills to the sea.";
const std::string padded = "  \t  a text of ordinary length \r\n ";
const std::string mixed40 = "The Quick Brown Fox Jumps Over Lazy Dogs";
const std::string other40 = "tHE qUICK bROWN fOX jUMPS oVER lAZY dOGS";
const std::string blanks = "a text with a few blanks\tin it,\nand a line end\r\n";
const std::string message8 = "alice|7|true|4294967295|a longer field of text|false|0|end";

template <typename Operation>
void row(const std::string& name, Operation operation) {
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(operation());
        }
    });
}

template <typename Text>
void plainReplaceAll(Text& s, const Text& from, const Text& to) {
    for (std::size_t pos = 0; (pos = s.find(from, pos)) != Text::npos; pos += to.size()) {
        s.erase(pos, from.size());
        s.insert(pos, to);
    }
}

std::string plainLower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

template <typename Text>
std::vector<Text> plainSplit(const Text& s, const Text& delimiters) {
    std::vector<Text> tokens;
    for (std::size_t end = 0, start = 0; (start = s.find_first_not_of(delimiters, end)) != Text::npos;) {
        end = s.find_first_of(delimiters, start);
        tokens.push_back(s.substr(start, end - start));
    }
    return tokens;
}

// The tokens of a list with one or two delimiters, with nothing else done.
template <typename Text>
std::vector<Text> bareSplit(const Text& s, typename Text::value_type one, typename Text::value_type other) {
    std::vector<Text> tokens;
    const auto* start = s.data();
    const auto* const end = start + s.size();
    for (const auto* at = start; at != end; ++at) {
        if (*at == one || *at == other) {
            if (at != start) {
                tokens.emplace_back(start, at);
            }
            start = at + 1;
        }
    }
    if (start != end) {
        tokens.emplace_back(start, end);
    }
    return tokens;
}

template <typename Text>
std::vector<Text> ourSplit(const Text& s, const Text& delimiters) {
    std::vector<Text> tokens;
    split(s, tokens, delimiters);
    return tokens;
}

void splitting() {
    row("split 12/floor", [] { return bareSplit<std::string>(list12, ',', ';'); });
    row("split 12/ours", [d = std::string(",;")] { return ourSplit(list12, d); });
    row("split 12/plain", [d = std::string(",;")] { return plainSplit(list12, d); });
    row("split 12 wide/floor", [] { return bareSplit<std::wstring>(wideList12, L',', L';'); });
    row("split 12 wide/ours", [d = std::wstring(L",;")] { return ourSplit(wideList12, d); });
    row("split 12 wide/plain", [d = std::wstring(L",;")] { return plainSplit(wideList12, d); });
    row("split 1000/floor", [] { return bareSplit<std::string>(list1000, ',', ','); });
    row("split 1000/ours", [d = std::string(",")] { return ourSplit(list1000, d); });
    row("split 1000/plain", [d = std::string(",")] { return plainSplit(list1000, d); });
#ifdef VDI_BENCH_ABSL
    row("split 12/absl",
        [] { return std::vector<std::string>(absl::StrSplit(list12, absl::ByAnyChar(",;"), absl::SkipEmpty())); });
    row("split 1000/absl", [] { return std::vector<std::string>(absl::StrSplit(list1000, ',', absl::SkipEmpty())); });
#endif
#ifdef VDI_BENCH_BOOST
    row("split 12/boost", [] {
        std::vector<std::string> tokens;
        boost::split(tokens, list12, boost::is_any_of(",;"), boost::token_compress_on);
        return tokens;
    });
    row("split 12 wide/boost", [] {
        std::vector<std::wstring> tokens;
        boost::split(tokens, wideList12, boost::is_any_of(L",;"), boost::token_compress_on);
        return tokens;
    });
    row("split 1000/boost", [] {
        std::vector<std::string> tokens;
        boost::split(tokens, list1000, boost::is_any_of(","), boost::token_compress_on);
        return tokens;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("split 12/poco",
        [] { return Poco::StringTokenizer(list12, ",;", Poco::StringTokenizer::TOK_IGNORE_EMPTY).count(); });
    row("split 1000/poco",
        [] { return Poco::StringTokenizer(list1000, ",", Poco::StringTokenizer::TOK_IGNORE_EMPTY).count(); });
#endif
#ifdef VDI_BENCH_QT
    row("split 12/~qt (one separator)",
        [q = QString::fromStdString(list12).replace(';', ',')] { return q.split(',', Qt::SkipEmptyParts); });
    row("split 1000/qt", [q = QString::fromStdString(list1000)] { return q.split(',', Qt::SkipEmptyParts); });
#endif
}

void replacing() {
    row("replaceAll 6/ours", [] {
        std::string s = sentence;
        replaceAll(s, "the", "a");
        return s;
    });
    row("replaceAll 6/plain", [from = std::string("the"), to = std::string("a")] {
        std::string s = sentence;
        plainReplaceAll(s, from, to);
        return s;
    });
    row("replaceAll growing 1000/ours", [] {
        std::string s = list1000;
        replaceAll(s, ",", " and ");
        return s;
    });
    row("replaceAll growing 1000/plain", [from = std::string(","), to = std::string(" and ")] {
        std::string s = list1000;
        plainReplaceAll(s, from, to);
        return s;
    });
    row("replaceAll character/floor", [] {
        std::string s = sentence;
        std::replace(s.begin(), s.end(), ' ', '_');
        return s;
    });
    row("replaceAll character/ours", [] {
        std::string s = sentence;
        replaceAll(s, ' ', '_');
        return s;
    });
    row("replaceAll character/plain", [] {
        std::string s = sentence;
        for (std::size_t pos = s.find(' '); pos != std::string::npos; pos = s.find(' ')) {
            s[pos] = '_';
        }
        return s;
    });
#ifdef VDI_BENCH_ABSL
    row("replaceAll 6/absl", [] { return absl::StrReplaceAll(sentence, {{"the", "a"}}); });
    row("replaceAll growing 1000/absl", [] { return absl::StrReplaceAll(list1000, {{",", " and "}}); });
#endif
#ifdef VDI_BENCH_BOOST
    row("replaceAll 6/boost", [] {
        std::string s = sentence;
        boost::replace_all(s, "the", "a");
        return s;
    });
    row("replaceAll growing 1000/boost", [] {
        std::string s = list1000;
        boost::replace_all(s, ",", " and ");
        return s;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("replaceAll 6/poco", [] { return Poco::replace(sentence, "the", "a"); });
    row("replaceAll growing 1000/poco", [] { return Poco::replace(list1000, ",", " and "); });
    row("replaceAll character/poco", [] { return Poco::translate(sentence, " ", "_"); });
#endif
#ifdef VDI_BENCH_QT
    row("replaceAll 6/qt", [q = QString::fromStdString(sentence), from = QString("the"), to = QString("a")] {
        return QString(q).replace(from, to);
    });
    row("replaceAll growing 1000/qt", [q = QString::fromStdString(list1000), from = QString(","),
                                       to = QString(" and ")] { return QString(q).replace(from, to); });
    row("replaceAll character/qt", [q = QString::fromStdString(sentence)] { return QString(q).replace(' ', '_'); });
#endif
}

void trimming() {
    row("trim/floor", [] {
        const std::size_t first = padded.find_first_not_of(" \t\n\v\f\r");
        return padded.substr(first, padded.find_last_not_of(" \t\n\v\f\r") + 1 - first);
    });
    row("trim/ours", [] { return trim(padded); });
    row("trim/plain", [] { return trimleft(trimright(padded)); });
    row("trim_safe/ours", [] {
        std::string s = padded;
        trim_safe(s);
        return s;
    });
    row("trim_safe/plain", [] {
        std::string s = padded;
        s.erase(0, s.find_first_not_of(" \t\n\v\f\r"));
        s.erase(s.find_last_not_of(" \t\n\v\f\r") + 1, s.size() - 1);
        return s;
    });
    row("clearBlanks/floor", [] {
        std::string s = blanks;
        s.erase(std::remove_if(s.begin(), s.end(), [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }),
                s.end());
        return s;
    });
    row("clearBlanks/ours", [] {
        std::string s = blanks;
        clearBlanks(s);
        return s;
    });
    row("clearBlanks/plain", [] {
        std::string s = blanks;
        for (auto at = s.begin(); at != s.end();) {
            at = std::isspace(static_cast<unsigned char>(*at)) != 0 ? s.erase(at) : at + 1;
        }
        return s;
    });
#ifdef VDI_BENCH_ABSL
    row("trim/absl", [] { return std::string(absl::StripAsciiWhitespace(padded)); });
    row("trim_safe/absl", [] {
        std::string s = padded;
        absl::StripAsciiWhitespace(&s);
        return s;
    });
#endif
#ifdef VDI_BENCH_BOOST
    row("trim/boost", [] { return boost::trim_copy(padded); });
    row("trim_safe/boost", [] {
        std::string s = padded;
        boost::trim(s);
        return s;
    });
    row("clearBlanks/boost", [] {
        std::string s = blanks;
        for (const char* const blank : {" ", "\t", "\n", "\v", "\f", "\r"}) {
            boost::erase_all(s, blank);
        }
        return s;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("trim/poco", [] { return Poco::trim(padded); });
    row("trim_safe/poco", [] {
        std::string s = padded;
        Poco::trimInPlace(s);
        return s;
    });
    row("clearBlanks/poco", [] {
        std::string s = blanks;
        for (const char c : std::string_view(" \t\n\v\f\r")) {
            Poco::removeInPlace(s, c);
        }
        return s;
    });
#endif
}

// What a function does that takes its arguments by value, as ours do here.
template <typename Compare>
auto withCopies(std::string a, std::string b, Compare compare) {
    benchmark::DoNotOptimize(a.data());
    benchmark::DoNotOptimize(b.data());
    return compare(a, b);
}

void comparing() {
    row("caseInsensitiveStringCompare/ours", [] { return caseInsensitiveStringCompare(mixed40, other40); });
    row("caseInsensitiveStringCompare/plain", [] { return plainLower(mixed40).compare(plainLower(other40)); });
    row("caseInsensitiveStringEquals/floor (copies alone)",
        [] { return withCopies(mixed40, other40, [](auto& a, auto& b) { return a.size() == b.size(); }); });
    row("caseInsensitiveStringEquals/ours", [] { return caseInsensitiveStringEquals(mixed40, other40); });
    row("caseInsensitiveStringEquals/plain", [] { return plainLower(mixed40) == plainLower(other40); });
    row("caseInsensitiveFind/ours", [n = std::string("THE SEA")] { return caseInsensitiveFind(sentence, n); });
    row("caseInsensitiveRFind/ours", [n = std::string("THE QUICK")] { return caseInsensitiveRFind(sentence, n); });
    row("caseInsensitiveFind/plain", [n = std::string("THE SEA")] { return plainLower(sentence).find(plainLower(n)); });
    row("caseInsensitiveRFind/plain", [n = std::string("THE QUICK")] {
        const std::string haystack = plainLower(sentence);
        const std::string needle = plainLower(n);
        return std::find_end(haystack.begin(), haystack.end(), needle.begin(), needle.end()) - haystack.begin();
    });
    row("caseInsensitiveFind/strcasestr",
        [n = std::string("THE SEA")] { return strcasestr(sentence.c_str(), n.c_str()); });
    row("startsWith+endsWith/ours", [p = std::string("The quick"), e = std::string("the sea.")] {
        return startsWith(sentence, p) && endsWith(sentence, e);
    });
#ifdef VDI_BENCH_ABSL
    row("caseInsensitiveStringEquals/absl (copies)",
        [] { return withCopies(mixed40, other40, [](auto& a, auto& b) { return absl::EqualsIgnoreCase(a, b); }); });
    row("caseInsensitiveStringEquals/~absl (no copies)", [] { return absl::EqualsIgnoreCase(mixed40, other40); });
    row("startsWith+endsWith/absl", [p = std::string("The quick"), e = std::string("the sea.")] {
        return absl::StartsWith(sentence, p) && absl::EndsWith(sentence, e);
    });
#endif
#ifdef VDI_BENCH_BOOST
    row("caseInsensitiveStringEquals/~boost (no copies)", [] { return boost::iequals(mixed40, other40); });
    row("startsWith+endsWith/boost", [p = std::string("The quick"), e = std::string("the sea.")] {
        return boost::starts_with(sentence, p) && boost::ends_with(sentence, e);
    });
    row("caseInsensitiveRFind/boost",
        [n = std::string("THE QUICK")] { return boost::ifind_last(sentence, n).begin(); });
    row("caseInsensitiveFind/boost", [n = std::string("THE SEA")] { return boost::ifind_first(sentence, n).begin(); });
#endif
#ifdef VDI_BENCH_POCO
    row("caseInsensitiveStringEquals/~poco (no copies)", [] { return Poco::icompare(mixed40, other40); });
    row("caseInsensitiveStringCompare/poco (copies)",
        [] { return withCopies(mixed40, other40, [](auto& a, auto& b) { return Poco::icompare(a, b); }); });
    row("caseInsensitiveStringCompare/~poco (no copies)", [] { return Poco::icompare(mixed40, other40); });
    row("startsWith+endsWith/poco", [p = std::string("The quick"), e = std::string("the sea.")] {
        return Poco::startsWith(sentence, p) && Poco::endsWith(sentence, e);
    });
    row("caseInsensitiveFind/poco", [n = std::string("THE SEA")] { return Poco::isubstr(sentence, n); });
#endif
#ifdef VDI_BENCH_QT
    row("caseInsensitiveStringCompare/~qt (no copies)",
        [a = QString::fromStdString(mixed40), b = QString::fromStdString(other40)] {
            return a.compare(b, Qt::CaseInsensitive);
        });
    row("caseInsensitiveFind/qt", [text = QString::fromStdString(sentence), n = QString("THE SEA")] {
        return text.indexOf(n, 0, Qt::CaseInsensitive);
    });
    row("caseInsensitiveRFind/qt", [text = QString::fromStdString(sentence), n = QString("THE QUICK")] {
        return text.lastIndexOf(n, -1, Qt::CaseInsensitive);
    });
#endif
}

void messages() {
    row("message build 8/floor", [] {
        std::string message;
        for (const char* field : {"alice", "7", "true", "4294967295", "a longer field of text", "false", "0", "end"}) {
            if (!message.empty()) {
                message += '|';
            }
            message += std::string(field);
        }
        return message;
    });
    row("message build 8/ours", [] {
        MessageBuilder builder;
        builder.append("alice");
        builder.append(7U);
        builder.append(true);
        builder.append(4294967295U);
        builder.append("a longer field of text");
        builder.append(false);
        builder.append(nullptr);
        builder.append("end");
        return builder.msg();
    });
    row("message build 8/plain", [] {
        std::string message;
        const auto append = [&message](const std::string& field) {
            if (!field.empty() && field.find("|") == std::string::npos) {
                message = message.empty() ? field : message + "|" + field;
            }
        };
        append("alice");
        append(streams::print(7U));
        append(streams::print(true));
        append(streams::print(4294967295U));
        append("a longer field of text");
        append(streams::print(false));
        append(streams::print(0LL));
        append("end");
        return message;
    });
    row("message parse 8/floor", [] { return bareSplit<std::string>(message8, '|', '|'); });
    row("message parse 8/ours", [parser = MessageParser(message8)] { return parser.parseMsg(); });
    row("message parse 8/plain", [d = std::string("|")] { return plainSplit(message8, d); });
#ifdef VDI_BENCH_ABSL
    row("message build 8/absl (each field checked)", [] {
        std::string message;
        const auto append = [&message](const absl::AlphaNum& field) {
            if (field.size() != 0 && !absl::StrContains(field.Piece(), '|')) {
                absl::StrAppend(&message, message.empty() ? "" : "|", field);
            }
        };
        append("alice");
        append(7U);
        append("true");
        append(4294967295U);
        append("a longer field of text");
        append("false");
        append(0LL);
        append("end");
        return message;
    });
    row("message build 8/~absl (joins values, none checked)", [] {
        return absl::StrJoin(
            std::make_tuple("alice", 7U, "true", 4294967295U, "a longer field of text", "false", 0LL, "end"), "|");
    });
    row("message build 8/~absl (joins texts)", [] {
        return absl::StrJoin({"alice", "7", "true", "4294967295", "a longer field of text", "false", "0", "end"}, "|");
    });
    row("message parse 8/absl",
        [] { return std::vector<std::string>(absl::StrSplit(message8, '|', absl::SkipEmpty())); });
#endif
#ifdef VDI_BENCH_BOOST
    row("message parse 8/boost", [] {
        std::vector<std::string> fields;
        boost::split(fields, message8, boost::is_any_of("|"), boost::token_compress_on);
        return fields;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("message build 8/~poco (joins values, none checked)", [] {
        using Format = Poco::NumberFormatter;
        const std::string fields[] = {"alice",
                                      Format::format(7U),
                                      Format::format(true),
                                      Format::format(4294967295U),
                                      "a longer field of text",
                                      Format::format(false),
                                      Format::format(0),
                                      "end"};
        return Poco::cat(std::string("|"), std::begin(fields), std::end(fields));
    });
    row("message build 8/~poco (joins texts)", [] {
        static const std::vector<std::string> fields{"alice", "7", "true", "4294967295", "a longer field of text",
                                                     "false", "0", "end"};
        return Poco::cat(std::string("|"), fields.begin(), fields.end());
    });
    row("message parse 8/poco",
        [] { return Poco::StringTokenizer(message8, "|", Poco::StringTokenizer::TOK_IGNORE_EMPTY).count(); });
#endif
#ifdef VDI_BENCH_QT
    row("message build 8/~qt (joins values, none checked)", [] {
        return QStringList{
            "alice", QString::number(7U), "true", QString::number(4294967295U), "a longer field of text", "false", "0",
            "end"}
            .join('|');
    });
    row("message parse 8/qt", [q = QString::fromStdString(message8)] { return q.split('|', Qt::SkipEmptyParts); });
#endif
}

const bool registered = [] {
    splitting();
    replacing();
    trimming();
    comparing();
    messages();
    return true;
}();

}  // namespace
