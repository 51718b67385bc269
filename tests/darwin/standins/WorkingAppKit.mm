#import <AppKit/AppKit.h>
#include <Block.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <string>
#include <vector>

#include "LaunchSlots.h"
#include "Texts.h"
#include "WorkingDesktop.h"
#include "platform/AppServices.h"

namespace platform = VDIFrameworkCommon::platform;

namespace {

std::map<std::string, std::string>& programs() {
    static auto& instance = *new std::map<std::string, std::string>;
    return instance;
}

// The processes that were launched, by bundle identifier, in the order of their launches.
std::map<std::string, std::vector<pid_t>> launched;

pid_t start(const std::string& program) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execl(program.c_str(), program.c_str(), nullptr);
        ::_exit(127);
    }
    return pid;
}

bool isRunning(pid_t pid) {
    return platform::isApplicationRunning(static_cast<unsigned int>(pid));
}

NSError* errorOf(const char* description) {
    NSDictionary* const info = [NSDictionary dictionaryWithObject:[NSString stringWithUTF8String:description]
                                                           forKey:NSLocalizedDescriptionKey];
    return [NSError errorWithDomain:@"Launch" code:1 userInfo:info];
}

}  // namespace

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
    if (!isRunning(processIdentifier)) {
        return nil;
    }
    return [[[self alloc] initWithIdentifier:nil processIdentifier:processIdentifier] autorelease];
}

+ (NSArray*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier {
    NSMutableArray* const applications = [NSMutableArray array];
    for (const pid_t pid : launched[desktop::bytes(bundleIdentifier)]) {
        if (isRunning(pid)) {
            [applications addObject:[[[self alloc] initWithIdentifier:bundleIdentifier
                                                    processIdentifier:pid] autorelease]];
        }
    }
    return applications;
}

- (BOOL)terminate {
    return ::kill(processIdentifier_, SIGTERM) == 0;
}

- (BOOL)forceTerminate {
    return ::kill(processIdentifier_, SIGKILL) == 0;
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
    static NSWorkspace* const shared = [[self alloc] init];
    return shared;
}

// How it was asked to launch makes no difference here.
- (BOOL)launchAppWithBundleIdentifier:(NSString*)bundleIdentifier
                              options:(NSWorkspaceLaunchOptions)options
       additionalEventParamDescriptor:(NSAppleEventDescriptor*)descriptor
                     launchIdentifier:(NSNumber**)identifier {
    const auto program = programs().find(desktop::bytes(bundleIdentifier));
    if (program == programs().end()) {
        return NO;
    }
    launched[program->first].push_back(start(program->second));
    return YES;
}

- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(NSWorkspaceOpenCompletion)completionHandler {
    std::vector<std::string> arguments;
    for (NSString* argument in [configuration arguments]) {
        arguments.push_back(desktop::bytes(argument));
    }
    NSWorkspaceOpenCompletion const completion = Block_copy(completionHandler);
    platform::launchApplicationAt(desktop::bytes([applicationURL path]), arguments,
                                  desktop::completionFor([completion](const char* error) {
                                      @autoreleasepool {
                                          completion(nil, error == nullptr ? nil : errorOf(error));
                                      }
                                      Block_release(completion);
                                  }));
}

@end

namespace desktop {

void install(const std::string& bundleId, const std::string& program) {
    programs()[bundleId] = program;
}

}  // namespace desktop

// In the place of the desktop's own: into the log of this system.
void NSLog(NSString* format, ...) {
    @autoreleasepool {
        va_list arguments;
        va_start(arguments, format);
        NSString* const line = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
        va_end(arguments);
        ::syslog(LOG_NOTICE, "%s", desktop::bytes(line).c_str());
    }
}
