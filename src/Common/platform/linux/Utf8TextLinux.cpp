#include <stdexcept>

#include "Utf8.h"
#include "Utf8Text.h"

namespace VDIFrameworkCommon::platform {

bool isUtf8Text(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        return false;
    }
    try {
        utf8::decode(text);
    } catch (const std::range_error&) {
        return false;
    }
    return true;
}

}  // namespace VDIFrameworkCommon::platform
