// Without it Foundation's headers hide what counts objects.
#undef NDEBUG

#import <AppKit/AppKit.h>
#include <Block.h>

#include <algorithm>
#include <map>

#include "RecordingDesktop.h"
#include "Texts.h"

namespace {

/// A launch that was asked for: what the desktop keeps of it until it is over.
struct Launch {
    NSURL* url;
    NSWorkspaceOpenConfiguration* configuration;
    NSWorkspaceOpenCompletion completion;
};

std::vector<pid_t> runningIds;
std::map<std::string, std::vector<pid_t>> runningWithIdentifier;
bool launchSucceeds = true;
std::vector<Launch> launches;

void finish(NSRunningApplication* application, NSError* error) {
    const Launch launch = launches.front();
    launches.erase(launches.begin());
    launch.completion(application, error);
    Block_release(launch.completion);
    [launch.configuration release];
    [launch.url release];
}

}  // namespace

/// An error that may be without a description.
@interface LaunchError : NSError {
    NSString* description_;
}
- (instancetype)initWithText:(NSString*)text;
@end

@implementation LaunchError
- (instancetype)initWithText:(NSString*)text {
    self = [super initWithDomain:@"Launch" code:1 userInfo:nil];
    description_ = [text retain];
    return self;
}
- (void)dealloc {
    [description_ release];
    [super dealloc];
}
- (NSString*)localizedDescription {
    return description_;
}
@end

@interface NSRunningApplication (Making)
- (instancetype)initWithIdentifier:(NSString*)bundleIdentifier processIdentifier:(pid_t)processIdentifier;
@end

@implementation NSRunningApplication

- (instancetype)initWithIdentifier:(NSString*)bundleIdentifier processIdentifier:(pid_t)processIdentifier {
    self = [super init];
    bundleIdentifier_ = [bundleIdentifier copy];
    processIdentifier_ = processIdentifier;
    return self;
}

- (void)dealloc {
    [bundleIdentifier_ release];
    [super dealloc];
}

+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)processIdentifier {
    desktop::note("runningApplicationWithProcessIdentifier: " + std::to_string(processIdentifier));
    const bool isRunning = std::count(runningIds.begin(), runningIds.end(), processIdentifier) != 0;
    return isRunning ? [[[self alloc] initWithIdentifier:nil processIdentifier:processIdentifier] autorelease] : nil;
}

+ (NSArray*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier {
    desktop::note("runningApplicationsWithBundleIdentifier: " + desktop::shown(bundleIdentifier));
    NSMutableArray* const applications = [NSMutableArray array];
    for (const pid_t pid : runningWithIdentifier[desktop::bytes(bundleIdentifier)]) {
        [applications addObject:[[[self alloc] initWithIdentifier:bundleIdentifier processIdentifier:pid] autorelease]];
    }
    return applications;
}

- (BOOL)terminate {
    desktop::note("terminate " + std::to_string(processIdentifier_));
    return YES;
}

// Refused now and then, as the desktop may: nobody is to care.
- (BOOL)forceTerminate {
    desktop::note("forceTerminate " + std::to_string(processIdentifier_));
    return processIdentifier_ % 2 == 0;
}

- (pid_t)processIdentifier {
    return processIdentifier_;
}

- (NSString*)bundleIdentifier {
    return bundleIdentifier_;
}

@end

@implementation NSWorkspace

+ (NSWorkspace*)sharedWorkspace {
    desktop::note("NSWorkspace sharedWorkspace");
    static NSWorkspace* const shared = [[self alloc] init];
    return shared;
}

- (BOOL)launchAppWithBundleIdentifier:(NSString*)bundleIdentifier
                              options:(NSWorkspaceLaunchOptions)options
       additionalEventParamDescriptor:(NSAppleEventDescriptor*)descriptor
                     launchIdentifier:(NSNumber**)identifier {
    char hexadecimal[20];
    std::snprintf(hexadecimal, sizeof hexadecimal, "0x%lx", static_cast<unsigned long>(options));
    desktop::note("launchAppWithBundleIdentifier: " + desktop::shown(bundleIdentifier) + " options: " + hexadecimal +
                  " additionalEventParamDescriptor: " + (descriptor == nil ? "nil" : "something") +
                  " launchIdentifier: " + (identifier == nullptr ? "null" : "something"));
    return launchSucceeds;
}

- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(NSWorkspaceOpenCompletion)completionHandler {
    std::string arguments;
    for (NSString* argument in [configuration arguments]) {
        arguments += ' ' + desktop::shown(argument);
    }
    desktop::note(std::string("openApplicationAtURL: ") + ([applicationURL isFileURL] ? "file " : "other ") +
                  desktop::shown([applicationURL path]) + " configuration:" + arguments +
                  " completionHandler: " + (completionHandler == nil ? "nil" : "block"));
    launches.push_back({[applicationURL retain], [configuration retain], Block_copy(completionHandler)});
}

@end

namespace desktop {

void setRunning(const std::vector<pid_t>& ids) {
    runningIds = ids;
}

void setRunning(const std::string& bundleId, const std::vector<pid_t>& ids) {
    runningWithIdentifier[bundleId] = ids;
}

void setLaunchSucceeds(bool succeeds) {
    launchSucceeds = succeeds;
}

void failLaunch(const std::optional<std::string>& description) {
    @autoreleasepool {
        NSString* const text = description ? [NSString stringWithUTF8String:description->c_str()] : nil;
        LaunchError* const error = [[[LaunchError alloc] initWithText:text] autorelease];
        finish(nil, error);
    }
}

void completeLaunch() {
    @autoreleasepool {
        finish([[[NSRunningApplication alloc] initWithIdentifier:nil processIdentifier:1] autorelease], nil);
    }
}

std::string liveObjects() {
    @autoreleasepool {
        GSDebugAllocationActive(YES);
        return GSDebugAllocationList(NO);
    }
}

}  // namespace desktop

// In the place of the desktop's own.
void NSLog(NSString* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    NSString* const line = [[NSString alloc] initWithFormat:format arguments:arguments];
    va_end(arguments);
    desktop::note("NSLog " + desktop::shown(line));
    [line release];
}
