#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace VDIFrameworkCommon::platform {

/// The text as the desktop holds texts; nil when it is not well-formed UTF-8 or has a null character, which cut short
/// could be the name of something else. Callers have an autorelease pool.
inline NSString* desktopText(const std::string& text) {
    return text.find('\0') == std::string::npos ? [NSString stringWithUTF8String:text.c_str()] : nil;
}

}  // namespace VDIFrameworkCommon::platform
