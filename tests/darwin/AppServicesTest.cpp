// What the back end asks of the desktop's application services, and what it makes of their answers.

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "RecordingDesktop.h"
#include "support/ExpectedRecords.h"
#include "support/RecordingLogger.h"

namespace {

using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using VDIFrameworkCommon::ProcessUtils;

const recording::ExpectedRecord record("VDIFrameworkCommon", "src/Common/src/Macosx/ProcessUtils.cpp");

const auto succeeded = record(DPL_INFO, "createProcessAtURL_block_invoke", "createProcess: succeed");
const auto failed = record(DPL_INFO, "createProcessAtURL_block_invoke", "createProcess: failed");

// None of these names anything on the desktop. The one with a null character would if it were cut short.
const std::vector<std::string> noTexts = {"bad\xFF",          "overlong\xC0\xAF",
                                          "cut\xE2\x82",      "surrogate\xED\xA0\x80",
                                          "\xF4\x90\x80\x80", std::string("org.example.App\0x", 17)};

TEST(DesktopAppServices, AskForTheApplicationWithAProcessId) {
    desktop::setRunning({7, INT_MAX});
    EXPECT_TRUE(ProcessUtils::isProcessRunning(7U));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(8U));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(0U));
    EXPECT_TRUE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(INT_MAX)));
    EXPECT_THAT(desktop::takeCalls(),
                ElementsAre("runningApplicationWithProcessIdentifier: 7", "runningApplicationWithProcessIdentifier: 8",
                            "runningApplicationWithProcessIdentifier: 0",
                            "runningApplicationWithProcessIdentifier: 2147483647"));
    EXPECT_THAT(takeRecords(), IsEmpty());
}

// The desktop shows some applications with the id -1.
TEST(DesktopAppServices, KnowNoIdAboveTheLargestSignedNumber) {
    desktop::setRunning({-1, INT_MIN});
    EXPECT_FALSE(ProcessUtils::isProcessRunning(UINT_MAX));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(static_cast<unsigned int>(INT_MAX) + 1));
}

TEST(DesktopAppServices, AskForTheApplicationsWithABundleIdentifier) {
    desktop::setRunning("org.example.One", {7});
    desktop::setRunning("org.example.\xC3\x84", {8, 9});
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.One"));
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.\xC3\x84"));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.None"));
    EXPECT_FALSE(ProcessUtils::isProcessRunning(""));
    EXPECT_THAT(desktop::takeCalls(), ElementsAre("runningApplicationsWithBundleIdentifier: \"org.example.One\"",
                                                  "runningApplicationsWithBundleIdentifier: \"org.example.\xC3\x84\"",
                                                  "runningApplicationsWithBundleIdentifier: \"org.example.None\"",
                                                  "runningApplicationsWithBundleIdentifier: \"\""));
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(DesktopAppServices, ForceTerminateAllInTheOrderOfTheList) {
    // Refused for the odd ones: the others are terminated all the same.
    desktop::setRunning("org.example.App", {9, 4, 7, 2});
    ProcessUtils::terminateProcess("org.example.App");
    EXPECT_THAT(desktop::takeCalls(),
                ElementsAre("runningApplicationsWithBundleIdentifier: \"org.example.App\"", "forceTerminate 9",
                            "forceTerminate 4", "forceTerminate 7", "forceTerminate 2"));
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_INFO, "terminateProcess", "terminateProcess: org.example.App")));
}

TEST(DesktopAppServices, TerminateNothingWhereNothingRuns) {
    ProcessUtils::terminateProcess("org.example.None");
    EXPECT_THAT(desktop::takeCalls(), ElementsAre("runningApplicationsWithBundleIdentifier: \"org.example.None\""));
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_INFO, "terminateProcess", "terminateProcess: org.example.None")));
}

TEST(DesktopAppServices, LaunchByBundleIdentifierAsynchronously) {
    for (const bool succeeds : {true, false}) {
        desktop::setLaunchSucceeds(succeeds);
        ProcessUtils::createProcess("org.example.App");
        EXPECT_THAT(desktop::takeCalls(),
                    ElementsAre("NSWorkspace sharedWorkspace",
                                "launchAppWithBundleIdentifier: \"org.example.App\" options: 0x10000 "
                                "additionalEventParamDescriptor: nil launchIdentifier: null"));
        EXPECT_THAT(takeRecords(),
                    ElementsAre(record(DPL_INFO, "createProcess", "launchAppWithBundleIdentifier: org.example.App"),
                                record(DPL_INFO, "createProcess",
                                       succeeds ? "createProcess: succeed" : "createProcess: failed")));
    }
}

TEST(DesktopAppServices, TakeWhatIsNoTextForAnUnknownIdentifier) {
    desktop::setRunning("org.example.App", {7});
    desktop::setRunning("", {8});
    for (const std::string& bundleId : noTexts) {
        EXPECT_FALSE(ProcessUtils::isProcessRunning(bundleId)) << bundleId;
        ProcessUtils::terminateProcess(bundleId);
        EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_INFO, "terminateProcess", "terminateProcess: " + bundleId)));
        ProcessUtils::createProcess(bundleId);
        EXPECT_THAT(takeRecords(),
                    ElementsAre(record(DPL_INFO, "createProcess", "launchAppWithBundleIdentifier: " + bundleId),
                                record(DPL_INFO, "createProcess", "createProcess: failed")));
    }
    EXPECT_THAT(desktop::takeCalls(), IsEmpty());
}

TEST(DesktopAppServices, LaunchAtAPathWithItsArgumentsInOrder) {
    ProcessUtils::createProcessAtURL("/Applications/An App.app", {"first", "", "\xC3\xA4 third"});
    EXPECT_THAT(desktop::takeCalls(),
                ElementsAre("NSWorkspaceOpenConfiguration configuration", "setEnvironment: 0 variables",
                            "setPromptsUserIfNeeded: YES", "setArguments: \"first\" \"\" \"\xC3\xA4 third\"",
                            "setCreatesNewApplicationInstance: YES", "NSWorkspace sharedWorkspace",
                            "openApplicationAtURL: file \"/Applications/An App.app\" configuration: "
                            "\"first\" \"\" \"\xC3\xA4 third\" completionHandler: block"));
    EXPECT_THAT(takeRecords(),
                ElementsAre(record(DPL_INFO, "createProcessAtURL", "createProcessAtURL: /Applications/An App.app"),
                            record(DPL_INFO, "createProcessAtURL", "add argument: first"),
                            record(DPL_INFO, "createProcessAtURL", "add argument: "),
                            record(DPL_INFO, "createProcessAtURL", "add argument: \xC3\xA4 third")))
        << "and nothing of the outcome yet";
    desktop::completeLaunch();
}

TEST(DesktopAppServices, LaunchWithoutArguments) {
    ProcessUtils::createProcessAtURL("/App.app", {});
    EXPECT_THAT(desktop::takeCalls(),
                ElementsAre("NSWorkspaceOpenConfiguration configuration", "setEnvironment: 0 variables",
                            "setPromptsUserIfNeeded: YES", "setArguments:", "setCreatesNewApplicationInstance: YES",
                            "NSWorkspace sharedWorkspace",
                            "openApplicationAtURL: file \"/App.app\" configuration: completionHandler: block"));
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_INFO, "createProcessAtURL", "createProcessAtURL: /App.app")));
    desktop::completeLaunch();
}

TEST(DesktopAppServices, TellOfASuccessfulLaunchWhenItIsComplete) {
    ProcessUtils::createProcessAtURL("/App.app", {});
    takeRecords();
    desktop::takeCalls();
    std::thread(desktop::completeLaunch).join();
    EXPECT_THAT(takeRecords(), ElementsAre(succeeded));
    EXPECT_THAT(desktop::takeCalls(), ElementsAre("NSLog \"launch app succeed\""));
}

TEST(DesktopAppServices, TellOfAFailedLaunchWithTheErrorsDescription) {
    ProcessUtils::createProcessAtURL("/App.app", {});
    takeRecords();
    desktop::takeCalls();
    std::thread([] { desktop::failLaunch("No %@ here: \xC3\xA4%s%n"); }).join();
    EXPECT_THAT(takeRecords(), ElementsAre(failed));
    EXPECT_THAT(desktop::takeCalls(), ElementsAre("NSLog \"Failed to run the app: No %@ here: \xC3\xA4%s%n\""));
}

TEST(DesktopAppServices, TellOfAFailedLaunchWithoutADescription) {
    ProcessUtils::createProcessAtURL("/App.app", {});
    takeRecords();
    desktop::takeCalls();
    desktop::failLaunch(std::nullopt);
    EXPECT_THAT(takeRecords(), ElementsAre(failed));
    EXPECT_THAT(desktop::takeCalls(), ElementsAre("NSLog \"Failed to run the app: (null)\""));
}

TEST(DesktopAppServices, KeepLaunchesThatAreUnderWayApart) {
    ProcessUtils::createProcessAtURL("/First.app", {"1"});
    ProcessUtils::createProcessAtURL("/Second.app", {"2"});
    takeRecords();
    desktop::completeLaunch();
    desktop::failLaunch("refused");
    EXPECT_THAT(takeRecords(), ElementsAre(succeeded, failed));
}

TEST(DesktopAppServices, FailALaunchAtWhatIsNoTextOnce) {
    for (const std::string& path : noTexts) {
        ProcessUtils::createProcessAtURL(path, {});
        EXPECT_THAT(takeRecords(),
                    ElementsAre(record(DPL_INFO, "createProcessAtURL", "createProcessAtURL: " + path), failed));
        EXPECT_THAT(desktop::takeCalls(), ElementsAre(StartsWith("NSLog \"Failed to run the app: ")));
    }
}

TEST(DesktopAppServices, FailALaunchWithAnArgumentThatIsNoTextOnce) {
    for (const std::string& argument : noTexts) {
        ProcessUtils::createProcessAtURL("/App.app", {"first", argument, "last"});
        EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_INFO, "createProcessAtURL", "createProcessAtURL: /App.app"),
                                               record(DPL_INFO, "createProcessAtURL", "add argument: first"),
                                               record(DPL_INFO, "createProcessAtURL", "add argument: " + argument),
                                               record(DPL_INFO, "createProcessAtURL", "add argument: last"), failed));
        EXPECT_THAT(desktop::takeCalls(), ElementsAre(StartsWith("NSLog \"Failed to run the app: ")));
    }
}

// On a thread without an autorelease pool, as every thread of a host may be.
TEST(DesktopAppServices, GiveUpAllThatTheyHold) {
    desktop::setRunning({7});
    desktop::setRunning("org.example.App", {7, 8});
    const auto useAll = [] {
        ProcessUtils::isProcessRunning(7U);
        ProcessUtils::isProcessRunning("org.example.App");
        ProcessUtils::isProcessRunning(noTexts.front());
        ProcessUtils::terminateProcess("org.example.App");
        ProcessUtils::createProcess("org.example.App");
        ProcessUtils::createProcessAtURL("/App.app", {"one", "two"});
        desktop::completeLaunch();
        ProcessUtils::createProcessAtURL("/App.app", {"one", "two"});
        desktop::failLaunch("a description that is quite long");
        ProcessUtils::createProcessAtURL(noTexts.front(), {"one"});
        ProcessUtils::createProcessAtURL("/App.app", noTexts);
    };
    std::string before;
    std::string after;
    std::thread([&] {
        desktop::liveObjects();
        // What the desktop makes once and keeps, also for being asked this.
        for (int i = 0; i < 3; ++i) {
            useAll();
            before = desktop::liveObjects();
        }
        for (int i = 0; i < 50; ++i) {
            useAll();
        }
        after = desktop::liveObjects();
    }).join();
    EXPECT_THAT(before, testing::HasSubstr("NSWorkspace"));
    EXPECT_EQ(before, after);
}

}  // namespace
