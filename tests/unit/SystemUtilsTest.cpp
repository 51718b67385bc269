// Before everything else: its macros have the names of two fields.
#include <sys/sysmacros.h>

#include <VDIFrameworkCommon/SystemUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/RecordingLogger.h"

namespace {

using VDIFrameworkCommon::ParletVersion;
using VDIFrameworkCommon::SystemUtils;

static_assert(sizeof(ParletVersion) == 32 && std::is_trivially_copyable_v<ParletVersion>);
static_assert(std::is_same_v<decltype(SystemUtils::GetLibraryName(nullptr)), std::string>);
static_assert(std::is_same_v<decltype(SystemUtils::GetLibraryDirectoryPath(nullptr)), std::string>);

TEST(SystemUtils, VersionIsZeroUntilItIsSet) {
    for (const ParletVersion& version : {SystemUtils::getDefaultParletVersion(), SystemUtils::getParletVersion()}) {
        EXPECT_EQ(version.major, 0U);
        EXPECT_EQ(version.minor, 0U);
        EXPECT_EQ(version.revision, 0U);
        EXPECT_EQ(version.build, 0U);
    }
    EXPECT_EQ(SystemUtils::getHttpUserAgent(), "Parlet/0.0.0.0 (Macintosh; OSX)");
}

TEST(SystemUtils, KeepsTheVersionThatIsSet) {
    SystemUtils::setParletVersion({12, 9, 1, 3});
    const ParletVersion version = SystemUtils::getParletVersion();
    EXPECT_EQ(version.major, 12U);
    EXPECT_EQ(version.minor, 9U);
    EXPECT_EQ(version.revision, 1U);
    EXPECT_EQ(version.build, 3U);
    EXPECT_EQ(SystemUtils::getHttpUserAgent(), "Parlet/12.9.1.3 (Macintosh; OSX)");
    EXPECT_EQ(SystemUtils::getDefaultParletVersion().major, 0U) << "the default stays";
}

TEST(SystemUtils, UserAgentPrintsWideNumbersInFull) {
    SystemUtils::setParletVersion({4294967296, 0, 0, 0});
    EXPECT_EQ(SystemUtils::getHttpUserAgent(), "Parlet/4294967296.0.0.0 (Macintosh; OSX)");
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    SystemUtils::setParletVersion({largest, largest, largest, largest});
    EXPECT_EQ(SystemUtils::getHttpUserAgent(),
              "Parlet/18446744073709551615.18446744073709551615.18446744073709551615.18446744073709551615"
              " (Macintosh; OSX)");
}

TEST(SystemUtils, VersionIsNeverHalfSet) {
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (std::uint64_t i = 1; i <= 20000; ++i) {
            SystemUtils::setParletVersion({i, i, i, i});
        }
        isDone = true;
    });
    do {
        const ParletVersion version = SystemUtils::getParletVersion();
        ASSERT_EQ(version.major, version.build);
        ASSERT_THAT(SystemUtils::getHttpUserAgent(), testing::EndsWith(" (Macintosh; OSX)"));
    } while (!isDone);
    writer.join();
    EXPECT_EQ(SystemUtils::getHttpUserAgent(), "Parlet/20000.20000.20000.20000 (Macintosh; OSX)");
}

TEST(SystemUtils, ReadsTheEnvironment) {
    ASSERT_EQ(setenv("VDI_TEST_VARIABLE", "a value", 1), 0);
    EXPECT_EQ(SystemUtils::getEnvVar("VDI_TEST_VARIABLE"), "a value");
    ASSERT_EQ(setenv("VDI_TEST_VARIABLE", "", 1), 0);
    EXPECT_EQ(SystemUtils::getEnvVar("VDI_TEST_VARIABLE"), "");
    ASSERT_EQ(unsetenv("VDI_TEST_VARIABLE"), 0);
    EXPECT_EQ(SystemUtils::getEnvVar("VDI_TEST_VARIABLE"), "");
    EXPECT_EQ(SystemUtils::getEnvVar(""), "");
}

TEST(SystemUtils, NoVariableHasAZeroByteInItsName) {
    ASSERT_EQ(setenv("VDI_TEST_VARIABLE", "a value", 1), 0);
    EXPECT_EQ(SystemUtils::getEnvVar(std::string("VDI_TEST_VARIABLE\0x", 19)), "");
}

std::vector<std::string> environment() {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

TEST(SystemUtils, MembersWithoutAMeaningHereDoNothing) {
    const auto before = environment();
    int handle = 0;
    EXPECT_EQ(SystemUtils::GetLibraryName(&handle), "");
    EXPECT_EQ(SystemUtils::GetLibraryName(nullptr), "");
    EXPECT_EQ(SystemUtils::GetLibraryDirectoryPath(&handle), "");
    EXPECT_EQ(SystemUtils::GetLibraryDirectoryPath(nullptr), "");
    SystemUtils::addLibrarySearchPath("/tmp");
    std::wstring first = L"one";
    std::wstring second = L"two";
    SystemUtils::getMemoryUsage(first, second);
    EXPECT_EQ(first, L"one");
    EXPECT_EQ(second, L"two");
    EXPECT_EQ(environment(), before);
    EXPECT_TRUE(recording::takeRecords().empty());
}

}  // namespace
