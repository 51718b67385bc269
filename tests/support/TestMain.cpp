#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Multiprocess.h"

// A storage unlocks its guard right after creating it, though it never locked it: the guard must be free whatever
// happened before, and other processes rely on that.
extern "C" const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions() {
    return "mutex:SHMStorageBase::createNamedMutex";
}

int main(int argc, char** argv) {
    const int childResult = multiprocess::runAsChild(argc, argv);
    if (childResult >= 0) {
        return childResult;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
