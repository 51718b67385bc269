// What the back end asks of the desktop's threads.

#include <VDIFrameworkCommon/Condition.h>
#include <VDIFrameworkCommon/ThreadName.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>

#include "MutexHandle.h"
#include "RecordingDesktop.h"
#include "support/PrivateAccess.h"

namespace {

using desktop::takeCalls;
using testing::ElementsAre;
using VDIFrameworkCommon::Condition;
using VDIFrameworkCommon::Mutex;
using VDIFrameworkCommon::SetThreadName;

PRIVATE_MEMBER(conditionHandle, Condition::handle_);
PRIVATE_MEMBER(mutexHandle, Mutex::handle_);

TEST(DesktopThreads, NameThemselves) {
    testing::internal::CaptureStderr();
    SetThreadName("123456789012345");
    SetThreadName("1234567890123456");
    SetThreadName("");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(takeCalls(), ElementsAre("pthread_setname_np \"123456789012345\"",
                                         "pthread_setname_np \"12345678901234\"", "pthread_setname_np \"\""));
}

TEST(DesktopThreads, ReportANameThatIsRefused) {
    desktop::setNamingResult(ENAMETOOLONG);
    testing::internal::CaptureStderr();
    SetThreadName("refused");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "SetThreadName failed with error code 36\n");
}

TEST(DesktopThreads, WaitForATimeThatIsCountedFromNow) {
    Mutex mutex;
    Condition condition;
    desktop::setWaitResult(ETIMEDOUT);
    EXPECT_EQ(condition.timedWait(mutex, 1500), ETIMEDOUT);
    EXPECT_EQ(desktop::lastWait().condition, condition.*conditionHandle());
    EXPECT_EQ(desktop::lastWait().mutex, &(mutex.*mutexHandle())->mutex);
    condition.timedWait(mutex, 0);
    condition.timedWait(mutex, 999);
    condition.timedWait(mutex, LONG_MAX);
    EXPECT_THAT(takeCalls(), ElementsAre("pthread_cond_timedwait_relative_np 1 s 500000000 ns",
                                         "pthread_cond_timedwait_relative_np 0 s 0 ns",
                                         "pthread_cond_timedwait_relative_np 0 s 999000000 ns",
                                         "pthread_cond_timedwait_relative_np 9223372036854775 s 807000000 ns"));
}

TEST(DesktopThreads, PassTheResultOfAWaitOn) {
    Mutex mutex;
    Condition condition;
    testing::internal::CaptureStdout();
    for (const int result : {0, ETIMEDOUT, EPERM}) {
        desktop::setWaitResult(result);
        EXPECT_EQ(condition.timedWait(mutex, 1), result);
    }
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(DesktopThreads, ReportATimeThatIsRefused) {
    Mutex mutex;
    Condition condition;
    desktop::setWaitResult(EINVAL);
    testing::internal::CaptureStdout();
    EXPECT_EQ(condition.timedWait(mutex, -1), EINVAL);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Condition::timedWait: pthread_cond_timedwait_relative_np: EINVAL\n");
    EXPECT_THAT(takeCalls(), ElementsAre("pthread_cond_timedwait_relative_np 0 s -1000000 ns"));
}

}  // namespace
