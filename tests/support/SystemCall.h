#pragma once

#include <dlfcn.h>

#include <atomic>

/// The C library's own function, for a test program whose function of that name stands in front of it.
///
///     constinit SystemCall<int(pthread_mutex_t*)> lockMutex("pthread_mutex_lock");   // lockMutex.get()(mutex)
///
/// Of some the C library has several; those of one version work together. Found at the first call, without a guard of
/// the compiler's, which takes a lock itself. Thread-safe.
template <typename Function>
class SystemCall {
public:
    constexpr explicit SystemCall(const char* name) : name_(name) {}

    Function* get() {
        Function* function = function_;
        if (function == nullptr) {
            void* const versioned = dlvsym(RTLD_NEXT, name_, "GLIBC_2.3.2");
            function = reinterpret_cast<Function*>(versioned != nullptr ? versioned : dlsym(RTLD_NEXT, name_));
            function_ = function;
        }
        return function;
    }

private:
    const char* const name_;
    std::atomic<Function*> function_{nullptr};
};
