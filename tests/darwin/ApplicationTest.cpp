// Applications that the back end launches, finds and ends as real processes.

#include <gtest/gtest.h>

#include "WorkingDesktop.h"
#include "multiprocess/ProcessFixture.h"

namespace {

using processes::isRunning;
using processes::probe;
using processes::ProcessUtils;
using processes::record;
using processes::Report;
using testing::ElementsAre;

constexpr const char* bundleId = "org.example.\xC3\x84";

void launch() {
    ProcessUtils::createProcess(bundleId);
    EXPECT_THAT(recording::takeRecords(), ElementsAre(record(DPL_INFO, "createProcess",
                                                             std::string("launchAppWithBundleIdentifier: ") + bundleId),
                                                      record(DPL_INFO, "createProcess", "createProcess: succeed")));
}

TEST(DesktopApplication, IsLaunchedFoundAndTerminated) {
    const std::string program = probe();
    desktop::install(bundleId, program);
    EXPECT_FALSE(ProcessUtils::isProcessRunning(bundleId));
    Report first("first", true);
    launch();
    ASSERT_TRUE(first.arrives());
    Report second("second", true);
    launch();
    ASSERT_TRUE(second.arrives());
    EXPECT_THAT(second.all("arg"), ElementsAre(program));
    EXPECT_TRUE(ProcessUtils::isProcessRunning(bundleId));
    EXPECT_TRUE(isRunning(first.pid()));
    EXPECT_TRUE(isRunning(second.pid()));
    ProcessUtils::terminateProcess("org.example.other");
    EXPECT_TRUE(isRunning(first.pid()));
    ProcessUtils::terminateProcess(bundleId);
    EXPECT_TRUE(eventually([&] { return !isRunning(first.pid()) && !isRunning(second.pid()); }));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(bundleId));
}

}  // namespace
