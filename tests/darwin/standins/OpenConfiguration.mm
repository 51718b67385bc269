#import <AppKit/AppKit.h>

#include "Journal.h"
#include "Texts.h"

@implementation NSWorkspaceOpenConfiguration

+ (instancetype)configuration {
    desktop::note("NSWorkspaceOpenConfiguration configuration");
    return [[[self alloc] init] autorelease];
}

- (void)dealloc {
    [environment_ release];
    [arguments_ release];
    [super dealloc];
}

- (NSDictionary*)environment {
    return environment_;
}

- (void)setEnvironment:(NSDictionary*)environment {
    desktop::note("setEnvironment: " +
                  (environment == nil ? "nil" : std::to_string([environment count]) + " variables"));
    [environment_ autorelease];
    environment_ = [environment copy];
}

- (NSArray*)arguments {
    return arguments_;
}

- (void)setArguments:(NSArray*)arguments {
    std::string texts;
    for (NSString* argument in arguments) {
        texts += ' ' + desktop::shown(argument);
    }
    desktop::note("setArguments:" + (arguments == nil ? " nil" : texts));
    [arguments_ autorelease];
    arguments_ = [arguments copy];
}

- (BOOL)promptsUserIfNeeded {
    return promptsUserIfNeeded_;
}

- (void)setPromptsUserIfNeeded:(BOOL)prompts {
    desktop::note(std::string("setPromptsUserIfNeeded: ") + (prompts ? "YES" : "NO"));
    promptsUserIfNeeded_ = prompts;
}

- (BOOL)createsNewApplicationInstance {
    return createsNewApplicationInstance_;
}

- (void)setCreatesNewApplicationInstance:(BOOL)creates {
    desktop::note(std::string("setCreatesNewApplicationInstance: ") + (creates ? "YES" : "NO"));
    createsNewApplicationInstance_ = creates;
}

@end
