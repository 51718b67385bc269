#import <AppKit/AppKit.h>

#include <limits>

#include "DesktopText.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

// The running applications of a bundle identifier; nil for an identifier that is no text, which no application has.
NSArray<NSRunningApplication*>* runningApplications(const std::string& bundleId) {
    NSString* const identifier = desktopText(bundleId);
    return identifier == nil ? nil : [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier];
}

}  // namespace

bool isApplicationRunning(unsigned int pid) noexcept {
    // As a signed number it would be one that the desktop has a meaning of its own for.
    if (pid > static_cast<unsigned int>(std::numeric_limits<pid_t>::max())) {
        return false;
    }
    @autoreleasepool {
        return [NSRunningApplication runningApplicationWithProcessIdentifier:static_cast<pid_t>(pid)] != nil;
    }
}

bool isApplicationRunning(const std::string& bundleId) noexcept {
    @autoreleasepool {
        return [runningApplications(bundleId) count] != 0;
    }
}

void forceTerminateApplications(const std::string& bundleId) noexcept {
    @autoreleasepool {
        for (NSRunningApplication* application in runningApplications(bundleId)) {
            [application forceTerminate];
        }
    }
}

}  // namespace VDIFrameworkCommon::platform
