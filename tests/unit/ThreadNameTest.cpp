#include <VDIFrameworkCommon/ThreadName.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/prctl.h>

#include <cerrno>
#include <string>
#include <thread>

#include "support/Threads.h"

namespace {

using VDIFrameworkCommon::SetThreadName;
using VDIFrameworkCommon::setWorkerThreadName;
using VDIFrameworkCommon::ThreadNameSetter;

int nextResult = 0;

// The name that the system shows after `name` was called on a thread of its own.
template <typename Naming>
std::string shownAfter(Naming naming) {
    std::string shown;
    std::thread([&] {
        SetThreadName("before");
        naming();
        shown = threads::ownName();
    }).join();
    return shown;
}

TEST(SetThreadName, ShowsFifteenBytesWhole) {
    EXPECT_EQ(shownAfter([] { SetThreadName("123456789012345"); }), "123456789012345");
}

TEST(SetThreadName, CutsSixteenToFourteen) {
    EXPECT_EQ(shownAfter([] { SetThreadName("1234567890123456"); }), "12345678901234");
    EXPECT_EQ(shownAfter([] { SetThreadName(std::string(1000, 'x')); }), std::string(14, 'x'));
}

TEST(SetThreadName, TakesAnEmptyName) {
    EXPECT_EQ(shownAfter([] { SetThreadName(""); }), "");
}

TEST(SetThreadName, ReportsAFailureOnStandardError) {
    nextResult = ERANGE;
    testing::internal::CaptureStderr();
    SetThreadName("refused");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "SetThreadName failed with error code 34\n");
}

TEST(SetThreadName, SaysNothingWhenItSucceeds) {
    testing::internal::CaptureStderr();
    shownAfter([] { SetThreadName("accepted"); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ThreadNameSetter, LeavesTheNameForAnEmptyOne) {
    EXPECT_EQ(shownAfter([] { ThreadNameSetter::SetCurrentThreadName(""); }), "before");
    EXPECT_EQ(shownAfter([] { ThreadNameSetter::SetCurrentThreadName("after"); }), "after");
}

TEST(SetWorkerThreadName, StandsInForAnEmptyName) {
    EXPECT_EQ(shownAfter([] { setWorkerThreadName(""); }), "PoolThread");
    EXPECT_EQ(shownAfter([] { setWorkerThreadName("worker"); }), "worker");
}

}  // namespace

// Takes the place of the system's function, for the library too.
int pthread_setname_np(pthread_t thread, const char* name) noexcept {
    if (nextResult != 0) {
        return nextResult;
    }
    EXPECT_TRUE(pthread_equal(thread, pthread_self())) << "a thread names itself only";
    return prctl(PR_SET_NAME, name);
}
