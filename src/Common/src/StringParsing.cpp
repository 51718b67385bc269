#include <langinfo.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <limits>
#include <string_view>
#include <type_traits>

#include "CaseMapping.h"
#include "FloatParse.h"
#include "Utf8.h"
#include "VDIFrameworkCommon/StringConversion.h"

namespace VDIFrameworkCommon {

namespace {

// White space of the classic locale, which streams skip; the same for narrow and wide text.
template <typename Character>
constexpr bool isBlank(Character character) noexcept {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

template <typename Character>
const Character* skipBlanks(const Character* at, const Character* end) noexcept {
    while (at != end && isBlank(*at)) {
        ++at;
    }
    return at;
}

// Above 9 for anything but a digit.
template <typename Character>
constexpr unsigned digitOf(Character character) noexcept {
    return static_cast<unsigned>(character) - '0';
}

// What a stream's extraction of an integer leaves behind.
template <typename Integer, typename Character>
struct Extraction {
    Integer value = 0;
    const Character* rest = nullptr;  // null: the stream has failed
};

template <typename Integer, typename Character>
Extraction<Integer, Character> extract(const Character* at, const Character* end) noexcept {
    using Unsigned = std::make_unsigned_t<Integer>;
    using Limits = std::numeric_limits<Integer>;

    at = skipBlanks(at, end);
    const bool negative = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+')) {
        ++at;
    }
    if (at == end || digitOf(*at) > 9) {
        return {};
    }
    const bool below = negative && std::is_signed_v<Integer>;
    const auto limit = static_cast<Unsigned>(static_cast<Unsigned>(Limits::max()) + (below ? 1U : 0U));
    Unsigned magnitude = 0;
    // So many digits are in range whatever they are.
    const Character* const safeEnd = end - at > Limits::digits10 ? at + Limits::digits10 : end;
    for (; at != safeEnd && digitOf(*at) <= 9; ++at) {
        magnitude = magnitude * 10 + digitOf(*at);
    }
    for (; at != end; ++at) {
        const unsigned digit = digitOf(*at);
        if (digit > 9) {
            break;
        }
        if (magnitude >= limit / 10 && (magnitude > limit / 10 || digit > limit % 10)) {
            return {below ? Limits::min() : Limits::max(), nullptr};
        }
        magnitude = magnitude * 10 + digit;
    }
    return {static_cast<Integer>(negative ? Unsigned{0} - magnitude : magnitude), at};
}

template <typename Integer>
Integer lenient(const std::string& text) noexcept {
    return extract<Integer>(text.data(), text.data() + text.size()).value;
}

// A stream cannot tell this element, which is no code point, from the end of its text.
constexpr bool endsStream(wchar_t element) noexcept {
    return static_cast<std::wint_t>(element) == WEOF;
}

constexpr bool endsStream(char) noexcept {
    return false;
}

template <typename Integer, typename Text>
Integer strict(const Text& text, Integer defaultValue) noexcept {
    const auto* const end = text.data() + text.size();
    const auto extraction = extract<Integer>(text.data(), end);
    const bool all = extraction.rest != nullptr && (extraction.rest == end || endsStream(*extraction.rest));
    return all ? extraction.value : defaultValue;
}

// Looks no further than the word: lower-casing the whole text first would give the same.
template <typename Text>
bool startsWithTrue(const Text& text) noexcept {
    const CaseMapping lower = CaseMapping::toLower();
    const auto* at = text.data();
    const auto* const end = at + text.size();
    while (at != end && isBlank(lower(*at))) {
        ++at;
    }
    for (const char expected : std::string_view("true")) {
        if (at == end || lower(*at) != static_cast<typename Text::value_type>(expected)) {
            return false;
        }
        ++at;
    }
    return true;
}

// Wide text in UTF-8, ended by a zero byte: on the stack if it is short and ASCII, as nearly all numbers are.
class Narrowed {
public:
    explicit Narrowed(const std::wstring& text) {
        if (text.size() < std::size(short_)) {
            std::uint32_t seen = 0;
            char* out = short_;
            for (const wchar_t element : text) {
                seen |= static_cast<std::uint32_t>(element);
                *out++ = static_cast<char>(element);
            }
            *out = '\0';
            if (seen <= 0x7F) {
                text_ = {short_, text.size()};
                return;
            }
        }
        long_ = utf8::encode(text);
        text_ = long_;
    }
    Narrowed(const Narrowed&) = delete;
    Narrowed& operator=(const Narrowed&) = delete;

    std::string_view text() const noexcept { return text_; }
    const char* zeroTerminated() const noexcept { return text_.data(); }

private:
    char short_[32];
    std::string long_;
    std::string_view text_;
};

// The number that `strtod` would find, if it is one that arithmetic on doubles gives exactly; the locale's decimal
// point must be the ".". Far cheaper than `strtod`, and enough for nearly all numbers that people write.
bool exactDouble(std::string_view text, double& value) noexcept {
    constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                      1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr std::int64_t largestExponent = std::size(powersOfTen) - 1;
    constexpr std::uint64_t largestInteger = std::uint64_t{1} << 53U;
    const char* const end = text.data() + text.size();
    const DecimalPrefix number = scanDecimal(text.data(), end);
    const bool maybeHexadecimal =
        number.end != end && number.end != nullptr && (*number.end == 'x' || *number.end == 'X');
    if (number.end == nullptr || maybeHexadecimal || number.cut || number.digits > largestInteger ||
        number.exponent > largestExponent || number.exponent < -largestExponent) {
        return false;
    }
    const auto digits = static_cast<double>(number.digits);
    const double with = number.negative ? -digits : digits;
    value = number.exponent < 0 ? with / powersOfTen[-number.exponent] : with * powersOfTen[number.exponent];
    return true;
}

// `strtoul` with base 0, of a zero-terminated text that is ASCII if it is wide. The C library's own takes binary
// numbers too where it follows a newer standard of the language, and a text must mean the same to every process.
template <typename Character>
unsigned long parseUnsignedLong(const Character* at) noexcept {
    while (digitOf(*at) > 9 && std::isspace(static_cast<unsigned char>(*at)) != 0) {
        ++at;
    }
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') {
        ++at;
    }
    unsigned base = 10;
    if (*at == '0') {
        const bool hexadecimal = at[1] == 'x' || at[1] == 'X';
        base = hexadecimal ? 16 : 8;
        at += hexadecimal ? 2 : 1;
    }
    constexpr unsigned long largest = std::numeric_limits<unsigned long>::max();
    // Divided once, by numbers that the compiler knows.
    const unsigned long mostBeforeADigit = base == 10 ? largest / 10 : largest >> (base == 16 ? 4U : 3U);
    unsigned long magnitude = 0;
    for (;; ++at) {
        unsigned digit = digitOf(*at);
        if (digit > 9) {
            const unsigned letter = (static_cast<unsigned>(*at) | 0x20U) - 'a';
            digit = letter < 6 ? letter + 10 : base;
        }
        if (digit >= base) {
            return negative ? 0 - magnitude : magnitude;
        }
        if (magnitude > mostBeforeADigit || magnitude * base > largest - digit) {
            return largest;
        }
        magnitude = magnitude * base + digit;
    }
}

}  // namespace

bool toBool(const std::string& text) {
    return startsWithTrue(text);
}

bool toBool(const std::wstring& text) {
    return startsWithTrue(text);
}

float toFloat(const std::string& text) {
    const char* const end = text.data() + text.size();
    const DecimalPrefix number = scanDecimal(skipBlanks(text.data(), end), end);
    return number.end != nullptr ? toNearestFloat(number) : 0.0F;
}

int toInt(const std::string& text) {
    return lenient<int>(text);
}

unsigned int toUnsignedInt(const std::string& text) {
    return lenient<unsigned int>(text);
}

long toLong(const std::string& text) {
    return lenient<long>(text);
}

long long toLongLong(const std::string& text) {
    return lenient<long long>(text);
}

int toInt(const std::string& text, int defaultValue) {
    return strict(text, defaultValue);
}

int toInt(const std::wstring& text, int defaultValue) {
    return strict(text, defaultValue);
}

unsigned int toUnsignedInt(const std::string& text, unsigned int defaultValue) {
    return strict(text, defaultValue);
}

unsigned int toUnsignedInt(const std::wstring& text, unsigned int defaultValue) {
    return strict(text, defaultValue);
}

double toDouble(const std::wstring& text) {
    const Narrowed narrowed(text);
    double value = 0;
    const std::string_view decimalPoint = nl_langinfo(RADIXCHAR);
    if (decimalPoint == "." && exactDouble(narrowed.text(), value)) {
        return value;
    }
    return std::strtod(narrowed.zeroTerminated(), nullptr);
}

unsigned long toUnsignedLong(const std::wstring& text) {
    return utf8::isAscii(text) ? parseUnsignedLong(text.c_str()) : parseUnsignedLong(utf8::encode(text).c_str());
}

unsigned short toUnsignedShort(const std::wstring& text) {
    return static_cast<unsigned short>(toUnsignedLong(text));
}

}  // namespace VDIFrameworkCommon
