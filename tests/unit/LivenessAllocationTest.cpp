#include <VDIFrameworkCommon/ProcessUtils.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/AllocationCounter.h"

namespace {

using VDIFrameworkCommon::ProcessUtils;

TEST(ProcessUtils, AsksForAProcessWithoutAllocating) {
    const auto own = static_cast<unsigned int>(getpid());
    ASSERT_TRUE(ProcessUtils::isProcessRunning(own));
    const long before = allocations();
    EXPECT_TRUE(ProcessUtils::isProcessRunning(own));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(0U));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(0x7FFFFFFFU));
    EXPECT_EQ(allocations(), before);
}

}  // namespace
