// The two encodings: ours, a floor, the standard converter that defines the result, and what people use instead.

#include <VDIFrameworkCommon/StringConversion.h>
#include <iconv.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Measure.h"
#include "support/StreamConversions.h"

#ifdef VDI_BENCH_BOOST
#include <boost/locale/encoding_utf.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/UnicodeConverter.h>
#endif
#ifdef VDI_BENCH_QT
#include <QString>
#endif

namespace {

using bench::add;

std::string repeated(const std::string& text, std::size_t size) {
    std::string result;
    while (result.size() + text.size() <= size) {
        result += text;
    }
    return result;
}

const std::string ascii = "The quick brown fox jumps over lazy dogs";
const std::string mixed = "Gr\u00FC\u00DFe aus K\u00F6ln: 5 \u20AC f\u00FCr \u65E5\u672C\u8A9E \U0001F600, mehr nicht";

// The wide text as the bytes that the converters of the C library take.
std::string viaIconv(iconv_t converter, const void* text, std::size_t size, std::size_t room) {
    std::string result(room, '\0');
    char* in = const_cast<char*>(static_cast<const char*>(text));
    char* out = result.data();
    std::size_t left = room;
    iconv(converter, &in, &size, &out, &left);
    result.resize(room - left);
    return result;
}

void addBoth(const std::string& name, const std::string& bytes) {
    const std::vector<std::string> narrow{bytes};
    const std::vector<std::wstring> wide{TXFStdWStringForStdString(bytes)};
    const auto to = [&name](const char* who) { return "UTF-8 to wide, " + name + "/" + who; };
    const auto from = [&name](const char* who) { return "wide to UTF-8, " + name + "/" + who; };

    add(to("ours").c_str(), narrow, [](const std::string& text) { return TXFStdWStringForStdString(text); });
    add(to("floor widen each byte").c_str(), narrow,
        [](const std::string& text) { return std::wstring(text.begin(), text.end()); });
    add(to("std::wstring_convert").c_str(), narrow,
        [](const std::string& text) { return streams::Utf8().from_bytes(text); });
    add(to("iconv").c_str(), narrow, [](const std::string& text) {
        static const iconv_t converter = iconv_open("WCHAR_T", "UTF-8");
        return viaIconv(converter, text.data(), text.size(), text.size() * sizeof(wchar_t));
    });
    add(from("ours").c_str(), wide, [](const std::wstring& text) { return TXFStdStringForStdWString(text); });
    add(from("floor narrow each element").c_str(), wide,
        [](const std::wstring& text) { return std::string(text.begin(), text.end()); });
    add(from("std::wstring_convert").c_str(), wide,
        [](const std::wstring& text) { return streams::Utf8().to_bytes(text); });
    add(from("iconv").c_str(), wide, [](const std::wstring& text) {
        static const iconv_t converter = iconv_open("UTF-8", "WCHAR_T");
        return viaIconv(converter, text.data(), text.size() * sizeof(wchar_t), text.size() * 4);
    });
#ifdef VDI_BENCH_BOOST
    add(to("boost::locale::utf_to_utf").c_str(), narrow, [](const std::string& text) {
        return boost::locale::conv::utf_to_utf<wchar_t>(text, boost::locale::conv::stop);
    });
    add(from("boost::locale::utf_to_utf").c_str(), wide, [](const std::wstring& text) {
        return boost::locale::conv::utf_to_utf<char>(text, boost::locale::conv::stop);
    });
#endif
#ifdef VDI_BENCH_POCO
    add(to("Poco::UnicodeConverter").c_str(), narrow, [](const std::string& text) {
        Poco::UTF32String result;
        Poco::UnicodeConverter::convert(text, result);
        return result;
    });
#endif
#ifdef VDI_BENCH_QT
    add(to("QString").c_str(), narrow,
        [](const std::string& text) { return QString::fromStdString(text).toStdWString(); });
    add(from("QString").c_str(), wide,
        [](const std::wstring& text) { return QString::fromStdWString(text).toStdString(); });
#endif
}

template <typename Convert>
auto refused(Convert convert) {
    return [convert](const std::string& text) {
        try {
            return convert(text).empty();
        } catch (const std::range_error&) {
            return true;
        }
    };
}

const bool registered = [] {
    addBoth("40 characters ASCII", ascii);
    addBoth("40 characters mixed", mixed);
    addBoth("4 KiB ASCII", repeated(ascii, 4096));
    addBoth("4 KiB mixed", repeated(mixed, 4096));
    const std::vector<std::string> malformed{"\xFF"};
    add("UTF-8 to wide, lone 0xFF/ours", malformed, refused(TXFStdWStringForStdString));
    add("UTF-8 to wide, lone 0xFF/std::wstring_convert", malformed,
        refused([](const std::string& text) { return streams::Utf8().from_bytes(text); }));
    return true;
}();

}  // namespace
