// The part of AppKit's interface that the back end uses, as far as it is public.
#pragma once

#import <Foundation/Foundation.h>
#include <sys/types.h>

@class NSAppleEventDescriptor;

typedef NSUInteger NSWorkspaceLaunchOptions;
enum : NSUInteger { NSWorkspaceLaunchAsync = 0x00010000, NSWorkspaceLaunchNewInstance = 0x00080000 };

@interface NSRunningApplication : NSObject {
    pid_t processIdentifier_;
    NSString* bundleIdentifier_;
}
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)processIdentifier;
+ (NSArray*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier;
- (BOOL)terminate;
- (BOOL)forceTerminate;
- (pid_t)processIdentifier;
- (NSString*)bundleIdentifier;
@end

@interface NSWorkspaceOpenConfiguration : NSObject {
    NSDictionary* environment_;
    NSArray* arguments_;
    BOOL promptsUserIfNeeded_;
    BOOL createsNewApplicationInstance_;
}
+ (instancetype)configuration;
- (NSDictionary*)environment;
- (void)setEnvironment:(NSDictionary*)environment;
- (NSArray*)arguments;
- (void)setArguments:(NSArray*)arguments;
- (BOOL)promptsUserIfNeeded;
- (void)setPromptsUserIfNeeded:(BOOL)prompts;
- (BOOL)createsNewApplicationInstance;
- (void)setCreatesNewApplicationInstance:(BOOL)creates;
@end

typedef void (^NSWorkspaceOpenCompletion)(NSRunningApplication* application, NSError* error);

@interface NSWorkspace : NSObject
+ (NSWorkspace*)sharedWorkspace;
- (BOOL)launchAppWithBundleIdentifier:(NSString*)bundleIdentifier
                              options:(NSWorkspaceLaunchOptions)options
       additionalEventParamDescriptor:(NSAppleEventDescriptor*)descriptor
                     launchIdentifier:(NSNumber**)identifier __attribute__((deprecated));
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(NSWorkspaceOpenCompletion)completionHandler;
@end
