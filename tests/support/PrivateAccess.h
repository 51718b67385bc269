#pragma once

/// Lets a test reach a private member that has no other way to be set or seen, by naming it in an explicit
/// instantiation, which is exempt from access checks:
///
///     PRIVATE_MEMBER(idSequence, Timer::s_idSequence);     // a static one: *idSequence()
///     PRIVATE_MEMBER(running, ProcessMonitor::running_);   // another: monitor.*running()
#define PRIVATE_MEMBER(name, member)           \
    auto name();                               \
    template <auto Pointer>                    \
    struct name##Opener {                      \
        friend auto name() { return Pointer; } \
    };                                         \
    template struct name##Opener<&VDIFrameworkCommon::member>
