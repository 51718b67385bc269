#import <Foundation/Foundation.h>

#include "DesktopText.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

void writeSystemLog(const std::string& line) noexcept {
    @autoreleasepool {
        NSLog(@"%@", desktopText(line));
    }
}

}  // namespace VDIFrameworkCommon::platform
