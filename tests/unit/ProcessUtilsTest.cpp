#include <VDIFrameworkCommon/ProcessUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <type_traits>

#include "support/ExpectedRecords.h"
#include "support/RecordingLogger.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::ProcessUtils;

static_assert(std::is_same_v<decltype(ProcessUtils::getCurrentProcessId()), int>);
static_assert(std::is_same_v<decltype(ProcessUtils::getParentProcessId()), int>);
static_assert(std::is_same_v<decltype(ProcessUtils::killCurrentProcess()), int>);

// Above the largest id that the kernel gives out, whatever its settings.
constexpr unsigned int neverUsed = (1U << 22U) + 1;

const recording::ExpectedRecord record("VDIFrameworkCommon", "src/Common/src/Macosx/ProcessUtils.cpp");

TEST(ProcessUtils, KnowsItsOwnAndItsParentsId) {
    EXPECT_EQ(ProcessUtils::getCurrentProcessId(), getpid());
    EXPECT_EQ(ProcessUtils::getParentProcessId(), getppid());
}

TEST(ProcessUtils, ThisProcessIsRunning) {
    EXPECT_TRUE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(getpid())));
}

TEST(ProcessUtils, NoneIsNotRunning) {
    EXPECT_FALSE(ProcessUtils::isProcessRunning(0U));
}

TEST(ProcessUtils, IdsThatNoProcessHasAreNotRunning) {
    EXPECT_FALSE(ProcessUtils::isProcessRunning(neverUsed));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(INT_MAX)));
}

// As signed numbers these are process groups, or this process's own id with the top bit set.
TEST(ProcessUtils, IdsAboveTheLargestSignedNumberAreNotRunning) {
    EXPECT_FALSE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(INT_MAX) + 1));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(UINT_MAX));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(0U - static_cast<unsigned int>(getpgrp())));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(getpid()) | 0x80000000U));
}

TEST(ProcessUtils, AskingWritesNoRecord) {
    ProcessUtils::isProcessRunning(static_cast<unsigned int>(getpid()));
    ProcessUtils::isProcessRunning(0U);
    ProcessUtils::isProcessRunning("org.example.unknown");
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

TEST(ProcessUtils, UnknownApplicationsAreNotRunning) {
    EXPECT_FALSE(ProcessUtils::isProcessRunning(""));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.unknown"));
}

TEST(ProcessUtils, TerminatingAnUnknownApplicationOnlyWritesItsRecord) {
    ProcessUtils::terminateProcess("org.example.unknown");
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "terminateProcess", "terminateProcess: org.example.unknown")));
}

// Not an error record: a failed launch is reported at the level of a successful one.
TEST(ProcessUtils, LaunchingAnUnknownApplicationFails) {
    ProcessUtils::createProcess("org.example.unknown");
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "createProcess", "launchAppWithBundleIdentifier: org.example.unknown"),
                            record(DPL_INFO, "createProcess", "createProcess: failed")));
}

}  // namespace
