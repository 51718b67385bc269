#pragma once

#include <string>

namespace VDIFrameworkCommon::platform {

/// Tells whether a text is well-formed UTF-8 without null characters, as a name of something on the desktop must be.
bool isUtf8Text(const std::string& text);

}  // namespace VDIFrameworkCommon::platform
