// What the back end asks of the desktop about the running program.

#include <VDIFrameworkCommon/FileUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "RecordingDesktop.h"

namespace {

using desktop::takeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

constexpr std::size_t longestPath = 1023;

TEST(DesktopPaths, TheInstallationDirectoryIsThatOfTheExecutable) {
    ::unsetenv("PARLET_INSTALL_DIR");
    desktop::setExecutablePath("/Applications/App.app/Contents/MacOS/agent");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/Applications/App.app/Contents/MacOS");
    FileUtils::getInstallationDirectory();
    EXPECT_THAT(takeCalls(), ElementsAre("_NSGetExecutablePath 1024")) << "once";
}

TEST(DesktopPaths, TheExecutableIsNotAskedForWhereTheVariableIsSet) {
    ::setenv("PARLET_INSTALL_DIR", "/set/file", 1);
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/set");
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST(DesktopPaths, TheExecutableMayHaveTheLongestPath) {
    ::unsetenv("PARLET_INSTALL_DIR");
    const std::string directory = '/' + std::string(longestPath - 3, 'd');
    desktop::setExecutablePath(directory + "/a");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), directory);
}

TEST(DesktopPaths, AnExecutableThatTheSystemDoesNotTellLeavesTheInstallationDirectoryEmpty) {
    ::unsetenv("PARLET_INSTALL_DIR");
    desktop::setExecutablePath('/' + std::string(longestPath, 'd'));
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "");
    EXPECT_THAT(takeCalls(), ElementsAre("_NSGetExecutablePath 1024"));
}

TEST(DesktopPaths, TheResourcesAreThoseOfTheMainBundle) {
    desktop::setBundle({.resources = "/Applications/App.app/Contents/Resources"});
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/Applications/App.app/Contents/Resources");
    FileUtils::getResourcesDirectory();
    EXPECT_THAT(takeCalls(),
                ElementsAre("CFBundleGetMainBundle", "CFBundleCopyResourcesDirectoryURL main",
                            "CFURLGetFileSystemRepresentation URL resolved 1024", "CFRelease URL", "URL destroyed"))
        << "once; the bundle is not the caller's to release";
    EXPECT_EQ(desktop::heldObjects(), 0);
}

TEST(DesktopPaths, ResourcesMayHaveTheLongestPath) {
    const std::string longest = '/' + std::string(longestPath - 1, 'd');
    desktop::setBundle({.resources = longest});
    EXPECT_EQ(FileUtils::getResourcesDirectory(), longest);
}

TEST(DesktopPaths, ResourcesWithoutAPathAreNone) {
    desktop::setBundle({.resources = std::nullopt});
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "");
    EXPECT_THAT(takeCalls(),
                ElementsAre("CFBundleGetMainBundle", "CFBundleCopyResourcesDirectoryURL main",
                            "CFURLGetFileSystemRepresentation URL resolved 1024", "CFRelease URL", "URL destroyed"));
}

TEST(DesktopPaths, ABundleMayHaveNoResources) {
    desktop::setBundle({.hasResources = false, .resources = "/unused"});
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "");
    EXPECT_THAT(takeCalls(), ElementsAre("CFBundleGetMainBundle", "CFBundleCopyResourcesDirectoryURL main"));
}

TEST(DesktopPaths, AProgramMayBeInNoBundle) {
    desktop::setBundle({.exists = false, .resources = "/unused"});
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "");
    EXPECT_THAT(takeCalls(), ElementsAre("CFBundleGetMainBundle"));
}

}  // namespace
