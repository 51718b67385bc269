#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace desktop {

/// The bytes of a text.
inline std::string bytes(NSString* text) {
    const char* const utf8 = [text UTF8String];
    return utf8 == nullptr ? "" : utf8;
}

/// A text in double quotes; "nil" for none.
inline std::string shown(NSString* text) {
    return text == nil ? "nil" : '"' + bytes(text) + '"';
}

}  // namespace desktop
