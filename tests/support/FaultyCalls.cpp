#include "support/FaultyCalls.h"

#include <dlfcn.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace faulty {

Fault pread;
Fault write;
Fault sendfile;
Fault close;

}  // namespace faulty

namespace {

// Whether the fault is to happen now.
bool isDue(faulty::Fault& fault) {
    if (fault.times == 0) {
        return false;
    }
    --fault.times;
    if (fault.meanwhile != nullptr) {
        fault.meanwhile();
    }
    return true;
}

ssize_t resultOf(const faulty::Fault& fault) {
    if (fault.result < 0) {
        errno = static_cast<int>(-fault.result);
        return -1;
    }
    return fault.result;
}

}  // namespace

extern "C" {

ssize_t pread(int descriptor, void* data, size_t size, off_t offset) {
    static const auto next = reinterpret_cast<decltype(&::pread)>(dlsym(RTLD_NEXT, "pread"));
    if (!isDue(faulty::pread)) {
        return next(descriptor, data, size, offset);
    }
    return faulty::pread.result > 0
               ? next(descriptor, data, std::min(size, static_cast<size_t>(faulty::pread.result)), offset)
               : resultOf(faulty::pread);
}

ssize_t write(int descriptor, const void* data, size_t size) {
    static const auto next = reinterpret_cast<decltype(&::write)>(dlsym(RTLD_NEXT, "write"));
    if (!isDue(faulty::write)) {
        return next(descriptor, data, size);
    }
    return faulty::write.result > 0 ? next(descriptor, data, std::min(size, static_cast<size_t>(faulty::write.result)))
                                    : resultOf(faulty::write);
}

ssize_t sendfile(int to, int from, off_t* offset, size_t size) {
    static const auto next = reinterpret_cast<decltype(&::sendfile)>(dlsym(RTLD_NEXT, "sendfile"));
    if (!isDue(faulty::sendfile)) {
        return next(to, from, offset, size);
    }
    if (faulty::sendfile.result <= 0) {
        return resultOf(faulty::sendfile);
    }
    const auto most = static_cast<size_t>(faulty::sendfile.result);
    faulty::sendfile = {1, 0};
    return next(to, from, offset, std::min(size, most));
}

int close(int descriptor) {
    static const auto next = reinterpret_cast<decltype(&::close)>(dlsym(RTLD_NEXT, "close"));
    const int result = next(descriptor);
    return isDue(faulty::close) ? static_cast<int>(resultOf(faulty::close)) : result;
}

}  // extern "C"
