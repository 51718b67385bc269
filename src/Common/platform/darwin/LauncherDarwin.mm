#import <AppKit/AppKit.h>

#include "DesktopText.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr const char* notText = "The path or an argument is no text.";

// The arguments as the desktop takes them; nil when one of them is no text.
NSArray<NSString*>* desktopArguments(const std::vector<std::string>& arguments) {
    NSMutableArray<NSString*>* const list = [NSMutableArray array];
    for (const std::string& argument : arguments) {
        NSString* const text = desktopText(argument);
        if (text == nil) {
            return nil;
        }
        [list addObject:text];
    }
    return list;
}

NSWorkspaceOpenConfiguration* configurationOf(NSArray<NSString*>* arguments) {
    NSWorkspaceOpenConfiguration* const configuration = [NSWorkspaceOpenConfiguration configuration];
    // Nothing is added to the environment that the desktop gives every application.
    [configuration setEnvironment:[NSDictionary dictionary]];
    [configuration setPromptsUserIfNeeded:YES];
    [configuration setArguments:arguments];
    [configuration setCreatesNewApplicationInstance:YES];
    return configuration;
}

// What the system log shows for an error without a description is what it shows for any missing text.
const char* descriptionOf(NSError* error) {
    const char* const description = [[error localizedDescription] UTF8String];
    return description != nullptr ? description : "(null)";
}

}  // namespace

bool launchApplication(const std::string& bundleId) noexcept {
    @autoreleasepool {
        NSString* const identifier = desktopText(bundleId);
        if (identifier == nil) {
            return false;
        }
// The calls that replace these do not tell their caller whether the application could be launched.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
        return [[NSWorkspace sharedWorkspace] launchAppWithBundleIdentifier:identifier
                                                                    options:NSWorkspaceLaunchAsync
                                             additionalEventParamDescriptor:nil
                                                           launchIdentifier:nullptr] == YES;
#pragma clang diagnostic pop
    }
}

void launchApplicationAt(const std::string& path, const std::vector<std::string>& arguments,
                         LaunchCompletion completion) noexcept {
    @autoreleasepool {
        NSArray<NSString*>* const list = desktopArguments(arguments);
        NSString* const location = desktopText(path);
        if (list == nil || location == nil) {
            completion(notText);
            return;
        }
        NSWorkspaceOpenConfiguration* const configuration = configurationOf(list);
        [[NSWorkspace sharedWorkspace] openApplicationAtURL:[NSURL fileURLWithPath:location]
                                              configuration:configuration
                                          completionHandler:^(NSRunningApplication* /*application*/, NSError* error) {
                                            @autoreleasepool {
                                                completion(error == nil ? nullptr : descriptionOf(error));
                                            }
                                          }];
    }
}

}  // namespace VDIFrameworkCommon::platform
