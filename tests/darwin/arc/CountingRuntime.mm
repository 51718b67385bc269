// The calls that code with automatic reference counting makes, for a runtime that has none of them: each is the message
// that it stands for.

#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <objc/message.h>

namespace {

/// What the runtime is given of every file when it is loaded.
struct Module {
    unsigned long version;
    unsigned long size;
    const char* name;
    void* symbols;
};

constexpr unsigned long moduleVersion = 8;

/// The method that a message leads to, in the shape in which the compiler takes it here.
struct Slot {
    Class owner;
    Class cachedFor;
    const char* types;
    int version;
    IMP method;
};

}  // namespace

extern "C" {

id objc_retain(id object) {
    return [object retain];
}

void objc_release(id object) {
    [object release];
}

id objc_autorelease(id object) {
    return [object autorelease];
}

id objc_autoreleaseReturnValue(id object) {
    return [object autorelease];
}

id objc_retainAutoreleasedReturnValue(id object) {
    return [object retain];
}

void objc_storeStrong(id* place, id object) {
    id const old = *place;
    *place = [object retain];
    [old release];
}

void* objc_autoreleasePoolPush() {
    return [[NSAutoreleasePool alloc] init];
}

void objc_autoreleasePoolPop(void* pool) {
    [static_cast<NSAutoreleasePool*>(pool) drain];
}

Slot* objc_msg_lookup_sender(id* receiver, SEL selector, id /*sender*/) {
    static thread_local Slot slot;
    slot.method = objc_msg_lookup(*receiver, selector);
    return &slot;
}

// Files with automatic reference counting are of a later version, which only adds to the end.
void __objc_exec_class(Module* module) {
    using Function = void (*)(Module*);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "__objc_exec_class"));
    module->version = moduleVersion;
    module->size = sizeof(Module);
    next(module);
}
}
