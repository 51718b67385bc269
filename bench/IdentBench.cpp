#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <benchmark/benchmark.h>

#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#ifdef VDI_BENCH_ABSL
#include <absl/strings/str_replace.h>
#endif
#ifdef VDI_BENCH_BOOST
#include <boost/algorithm/string.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/RegularExpression.h>
#include <Poco/URI.h>
#endif
#ifdef VDI_BENCH_GLIB
#include <glib.h>
#endif

/// Functions of identifiers beside the mechanism that defines their results ("plain") and what other libraries offer.

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

void validation() {
    row("isValidUUid/ours", [] { return isValidUUid(hidden(uuid)); });
    row("isValidUUid/plain (std::regex)",
        [pattern = std::regex(uuidPattern)] { return std::regex_match(uuid, pattern); });
    row("isValidUUid invalid/ours", [] { return isValidUUid(hidden(badUuid)); });
    row("isValidUUid invalid/plain (std::regex)",
        [pattern = std::regex(uuidPattern)] { return std::regex_match(badUuid, pattern); });
    row("isValidGlintMeetingNumber/ours", [] { return isValidGlintMeetingNumber(hidden(meeting)); });
    row("isValidGlintMeetingNumber/plain (std::regex)",
        [pattern = std::regex("[0-9]{9}")] { return std::regex_match(meeting, pattern); });
    row("isValidSipUri/ours", [] { return isValidSipUri(hidden(sipUri)); });
    row("isValidJid/ours", [] { return isValidJid(hidden(jid)); });
#ifdef VDI_BENCH_POCO
    static const Poco::RegularExpression pattern(uuidPattern);
    row("isValidUUid/poco", [] { return pattern.match(uuid); });
    static const Poco::RegularExpression digits("[0-9]{9}");
    row("isValidGlintMeetingNumber/poco", [] { return digits.match(meeting); });
    row("isValidSipUri/poco", [] { return Poco::URI("sip:" + sipUri).getScheme(); });
#endif
#ifdef VDI_BENCH_GLIB
    row("isValidUUid/glib", [] { return g_uuid_string_is_valid(uuid.c_str()); });
#endif
}

void escaping() {
    row("escapeJid 3/ours", [] { return escapeJid(hidden(escapedBy3)); });
    row("escapeJid 3 wide/ours", [] { return escapeJid(wideEscapedBy3); });
    row("escapeJid none/ours", [] { return escapeJid(hidden(jid)); });
    row("unescapeJid/ours", [] { return unescapeJid(hidden(escaped)); });
    row("escapeJid 3/plain", [] {
        const std::size_t at = escapedBy3.rfind('@');
        std::string local = escapedBy3.substr(0, at);
        for (const auto& [from, to] : escapes) {
            replaceAll(local, from, to);
        }
        return local + escapedBy3.substr(at);
    });
    row("unescapeJid/plain", [] {
        std::string text = escaped;
        for (const auto& [to, from] : escapes) {
            replaceAll(text, from, to);
        }
        return text;
    });
#ifdef VDI_BENCH_ABSL
    row("escapeJid 3/absl", [] {
        const std::size_t at = escapedBy3.rfind('@');
        return absl::StrReplaceAll(escapedBy3.substr(0, at), escapes) + escapedBy3.substr(at);
    });
    row("unescapeJid/absl", [] {
        static const auto reversed = [] {
            std::vector<std::pair<std::string, std::string>> pairs;
            for (const auto& [to, from] : escapes) {
                pairs.emplace_back(from, to);
            }
            return pairs;
        }();
        return absl::StrReplaceAll(escaped, reversed);
    });
#endif
#ifdef VDI_BENCH_BOOST
    row("unescapeJid/boost", [] {
        std::string text = escaped;
        for (const auto& [to, from] : escapes) {
            boost::replace_all(text, from, to);
        }
        return text;
    });
#endif
}

void cleaning() {
    row("sanitizePhoneNumber/ours", [] {
        std::string number = hidden(phone);
        sanitizePhoneNumber(number);
        return number;
    });
    row("trimUrl/ours", [] { return trimUrl(hidden(url)); });
#ifdef VDI_BENCH_BOOST
    row("sanitizePhoneNumber/boost (erases only)", [] {
        std::string number = phone;
        for (const char* const part : {" ", "(", ")", "-"}) {
            boost::erase_all(number, part);
        }
        return number;
    });
#endif
#ifdef VDI_BENCH_POCO
    row("trimUrl/poco", [] { return Poco::URI(url).getAuthority(); });
#endif
}

const bool registered = [] {
    validation();
    escaping();
    cleaning();
    return true;
}();

}  // namespace
