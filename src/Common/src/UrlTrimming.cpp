#include <cstddef>
#include <string_view>

#include "VDIFrameworkCommon/IdentifierUtils.h"
#include "VDIFrameworkCommon/StringConversion.h"

namespace VDIFrameworkCommon {

std::string trimHttpHead(const std::string& url) {
    constexpr std::string_view scheme = "https://";
    std::string_view rest = url;
    if (rest.starts_with(scheme)) {
        rest.remove_prefix(scheme.size());
    }
    return std::string(rest);
}

std::string trimUrl(const std::string& url) {
    constexpr std::string_view separator = "://";
    const std::size_t scheme = url.find(separator);
    const std::size_t host = scheme == std::string::npos ? 0 : scheme + separator.size();
    return url.substr(0, url.find('/', host));
}

std::wstring trimUrl(const std::wstring& url) {
    return TXFStdWStringForStdString(trimUrl(TXFStdStringForStdWString(url)));
}

}  // namespace VDIFrameworkCommon
