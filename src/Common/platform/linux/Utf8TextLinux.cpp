#include "Utf8.h"
#include "Utf8Text.h"

namespace VDIFrameworkCommon::platform {

bool isUtf8Text(const std::string& text) {
    std::wstring decoded;
    return text.find('\0') == std::string::npos && utf8::decodeInto(decoded, text);
}

}  // namespace VDIFrameworkCommon::platform
