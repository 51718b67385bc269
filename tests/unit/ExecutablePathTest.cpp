#include <VDIFrameworkCommon/FileUtils.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

// Programs in places that no test can put one into. Each test is a process of its own.

namespace {

using VDIFrameworkCommon::FileUtils;

struct Executable {
    bool isKnown = false;
    std::string path;
};

// What the system says instead of the truth.
std::optional<Executable> pretended;

void pretend(const std::string& path) {
    unsetenv("PARLET_INSTALL_DIR");
    pretended = {true, path};
}

}  // namespace

extern "C" ssize_t readlink(const char* path, char* text, size_t size) {
    static const auto next = reinterpret_cast<decltype(&::readlink)>(dlsym(RTLD_NEXT, "readlink"));
    if (!pretended || std::string_view(path) != "/proc/self/exe") {
        return next(path, text, size);
    }
    if (!pretended->isKnown) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<ssize_t>(pretended->path.copy(text, size));
}

namespace {

TEST(ExecutablePath, OfAProgramInTheRoot) {
    pretend("/agent");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/");
}

TEST(ExecutablePath, OfAProgramInBinOfTheRoot) {
    pretend("/bin/agent");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/bin");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/share/agent");
}

TEST(ExecutablePath, OfAProgramInContentsOfTheRoot) {
    pretend("/Contents/bin/agent");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/Contents/Resources");
}

TEST(ExecutablePath, GivesTheResourcesWhereverTheInstallationIs) {
    pretend("/opt/bin/agent");
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/elsewhere/bin/program", 1), 0);
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/elsewhere/bin");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/opt/share/agent");
}

TEST(ExecutablePath, ThatCannotBeFoundOutGivesNoDirectories) {
    unsetenv("PARLET_INSTALL_DIR");
    pretended = Executable{};
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "");
    pretend("/later/agent");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "") << "asked for once";
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "");
    FileUtils::setResourcesDirectory("/set");
    EXPECT_EQ(FileUtils::getResourcesDirectory(), "/set");
}

class LongExecutablePath : public testing::TestWithParam<std::size_t> {};

TEST_P(LongExecutablePath, IsTakenWhole) {
    const std::string directory = '/' + std::string(GetParam() - 3, 'd');
    pretend(directory + "/a");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), directory);
    EXPECT_EQ(FileUtils::getResourcesDirectory(), directory);
}

INSTANTIATE_TEST_SUITE_P(OfManyLengths, LongExecutablePath,
                         testing::Values(255, 256, 257, 511, 512, 513, 1023, 1024, 1025, 4095));

}  // namespace
