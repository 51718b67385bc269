#include "VDIFrameworkCommon/ThreadName.h"

#include <cstddef>
#include <cstdio>

#include "platform/ThreadNaming.h"

namespace VDIFrameworkCommon {

void SetThreadName(const std::string& name) {
    // A system holds 15 bytes, and a name of 15 is used whole; a longer one becomes 14, not 15: thread lists of all
    // products show the same cut names. Test: SetThreadName.CutsSixteenToFourteen.
    constexpr std::size_t tooLong = 16;
    constexpr std::size_t cut = 14;
    const int result = name.size() < tooLong ? platform::setCurrentThreadName(name.c_str())
                                             : platform::setCurrentThreadName(name.substr(0, cut).c_str());
    if (result != 0) {
        std::fprintf(stderr, "SetThreadName failed with error code %i\n", result);
    }
}

void ThreadNameSetter::SetCurrentThreadName(const std::string& name) {
    if (!name.empty()) {
        SetThreadName(name);
    }
}

void setWorkerThreadName(const std::string& name) {
    ThreadNameSetter::SetCurrentThreadName(name.empty() ? "PoolThread" : name);
}

}  // namespace VDIFrameworkCommon
