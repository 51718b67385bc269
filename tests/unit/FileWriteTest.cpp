#include <VDIFrameworkCommon/FileUtils.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <limits>
#include <set>
#include <string>

#include "support/FaultyCalls.h"
#include "support/FileContents.h"
#include "support/FileSystem.h"
#include "support/Limits.h"
#include "support/RecordingLogger.h"

namespace {

using contents::append;
using contents::Bytes;
using contents::error;
using contents::save;
using contents::textsOfAllSizes;
using filesystem::AsAnotherUser;
using filesystem::SmallDisk;
using filesystem::TemporaryDirectory;
using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

constexpr int largestInt = std::numeric_limits<int>::max();

// The state that the library's records print for an output stream after the write and the close.
[[maybe_unused]] unsigned stateOfStream(const std::string& path, std::ios::openmode mode, int size) {
    std::ofstream stream(path, mode | std::ios::binary);
    const std::string text(size < 0 ? 0 : static_cast<std::size_t>(size), 'x');
    stream.write(text.data(), size);
    stream.close();
    unsigned state = 0;
    if ((stream.rdstate() & std::ios::badbit) != 0) {
        state |= 1U;
    }
    if ((stream.rdstate() & std::ios::failbit) != 0) {
        state |= 4U;
    }
    return state;
}

TEST(WriteFile, ReplacesTheContents) {
    const TemporaryDirectory top;
    for (const std::string& text : textsOfAllSizes()) {
        filesystem::write(top / "file", std::string(5000000, 'x'));
        EXPECT_TRUE(save(top / "file", text));
        EXPECT_TRUE(filesystem::read(top / "file") == text) << text.size();
    }
    EXPECT_TRUE(FileUtils::saveFile(top / "file", nullptr, 0));
    EXPECT_EQ(filesystem::read(top / "file"), "");
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(WriteFile, MakesTheFile) {
    const TemporaryDirectory top;
    const mode_t before = umask(0027);
    EXPECT_TRUE(save(top / "new", "text"));
    EXPECT_TRUE(append(top / "appended", "text"));
    umask(0);
    EXPECT_TRUE(save(top / "for all", "text"));
    umask(before);
    EXPECT_EQ(filesystem::mode(top / "for all"), 0666) << "the mask alone takes permissions away";
    EXPECT_EQ(filesystem::read(top / "new"), "text");
    EXPECT_EQ(filesystem::mode(top / "new"), 0640);
    EXPECT_EQ(filesystem::read(top / "appended"), "text");
    EXPECT_EQ(filesystem::mode(top / "appended"), 0640);
}

TEST(WriteFile, WritesToAFileThatItMayNotRead) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "before");
    ASSERT_EQ(chmod((top / "file").c_str(), 0222), 0);
    {
        const AsAnotherUser other;
        if (!other.isActive()) {
            GTEST_SKIP() << "only the superuser can become another user";
        }
        EXPECT_TRUE(save(top / "file", "one"));
        EXPECT_TRUE(append(top / "file", "two"));
    }
    EXPECT_EQ(filesystem::read(top / "file"), "onetwo");
}

TEST(WriteFile, KeepsTheFileItself) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "before");
    ASSERT_EQ(chmod((top / "file").c_str(), 0600), 0);
    ASSERT_EQ(link((top / "file").c_str(), (top / "link").c_str()), 0);
    ASSERT_EQ(symlink("file", (top / "symlink").c_str()), 0);
    EXPECT_TRUE(save(top / "symlink", "after"));
    EXPECT_EQ(filesystem::read(top / "link"), "after");
    EXPECT_EQ(filesystem::mode(top / "file"), 0600);
}

TEST(WriteFile, OpeningFailureIsLogged) {
    const TemporaryDirectory top;
    for (const std::string& path : {top / "missing/file", top.path(), std::string()}) {
        EXPECT_FALSE(save(path, "text"));
        EXPECT_FALSE(save(path, ""));
        EXPECT_FALSE(append(path, std::string(2000, 'x')));
        EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", "Write " + path + " error: 4"),
                                               error("saveFile", "Write " + path + " error: 4"),
                                               error("saveFileAppand", "Write " + path + " error: 4")));
    }
}

TEST(WriteFile, WithoutDataNothingIsLost) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "before");
    EXPECT_FALSE(FileUtils::saveFile(top / "file", "text", -1));
    EXPECT_FALSE(FileUtils::saveFile(top / "file", nullptr, 4));
    EXPECT_FALSE(FileUtils::saveFileAppand(top / "file", "text", 0, -largestInt - 1));
    EXPECT_FALSE(FileUtils::saveFileAppand(top / "file", nullptr, 0, 4));
    EXPECT_EQ(filesystem::read(top / "file"), "before");
    const std::string message = "Write " + (top / "file") + " error: 1";
    EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", message), error("saveFile", message),
                                           error("saveFileAppand", message), error("saveFileAppand", message)));
}

TEST(WriteFile, WithoutDataAFileThatCannotBeOpenedIsReportedAsSuch) {
    const TemporaryDirectory top;
    const std::string path = top / "missing/file";
    EXPECT_FALSE(FileUtils::saveFile(path, "text", -1));
    EXPECT_FALSE(FileUtils::saveFile(path, nullptr, 4));
    EXPECT_FALSE(FileUtils::saveFileAppand(path, "text", 0, -1));
    EXPECT_FALSE(FileUtils::saveFileAppand(top.path(), nullptr, 0, 4));
    const std::string message = "Write " + path + " error: 4";
    EXPECT_THAT(takeRecords(),
                ElementsAre(error("saveFile", message), error("saveFile", message), error("saveFileAppand", message),
                            error("saveFileAppand", "Write " + top.path() + " error: 4")));
}

#ifdef __GLIBCXX__
TEST(WriteFile, WithoutDataTheRecordHasTheStateOfAStream) {
    const TemporaryDirectory top;
    for (const std::string& path : {top / "new", top / "missing/file"}) {
        const unsigned state = stateOfStream(path, std::ios::app, -1);
        EXPECT_FALSE(FileUtils::saveFileAppand(path, "text", 0, -1));
        EXPECT_THAT(takeRecords(),
                    ElementsAre(error("saveFileAppand", "Write " + path + " error: " + std::to_string(state))));
    }
}
#endif

TEST(WriteFile, FileOfAnotherUserIsLogged) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "before");
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    EXPECT_FALSE(save(top / "file", "after"));
    EXPECT_FALSE(append(top / "new", "after"));
    EXPECT_EQ(filesystem::read(top / "file"), "before");
    EXPECT_FALSE(FileUtils::fileExists(top / "new"));
    EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", "Write " + (top / "file") + " error: 4"),
                                           error("saveFileAppand", "Write " + (top / "new") + " error: 4")));
}

struct FullCase {
    int size;
    unsigned state;
};
constexpr FullCase fullCases[] = {{1, 4}, {1023, 4}, {1024, 1}, {1025, 1}, {100000, 1}};

void expectFullDiskIsReported(const std::string& path) {
    for (const auto& [size, state] : fullCases) {
        SCOPED_TRACE(size);
        const std::string message = "Write " + path + " error: " + std::to_string(state);
        const std::string text(static_cast<std::size_t>(size), 'x');
        EXPECT_FALSE(save(path, text));
        EXPECT_FALSE(append(path, text));
        EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", message), error("saveFileAppand", message)));
#ifdef __GLIBCXX__
        EXPECT_EQ(stateOfStream(path, std::ios::trunc, size), state);
        EXPECT_EQ(stateOfStream(path, std::ios::app, size), state);
#endif
    }
}

TEST(WriteFile, FullDeviceIsReported) {
    expectFullDiskIsReported("/dev/full");
}

TEST(WriteFile, FullDiskIsReported) {
    const TemporaryDirectory top;
    const SmallDisk disk(top.path());
    if (!disk.isMounted()) {
        GTEST_SKIP() << "only the superuser can mount a disk";
    }
    filesystem::write(disk / "file", "");
    disk.fill();
    expectFullDiskIsReported(disk / "file");
    EXPECT_EQ(FileUtils::getFileSize(disk / "file"), 0U);
}

TEST(WriteFile, DiskThatBecomesFullIsReported) {
    const TemporaryDirectory top;
    const SmallDisk disk(top.path());
    if (!disk.isMounted()) {
        GTEST_SKIP() << "only the superuser can mount a disk";
    }
    EXPECT_FALSE(save(disk / "file", std::string(100000, 'x')));
    EXPECT_GT(FileUtils::getFileSize(disk / "file"), 0U) << "what found room stays";
    EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", "Write " + (disk / "file") + " error: 1")));
}

TEST(WriteFile, ClosingFailureIsReported) {
    const TemporaryDirectory top;
    faulty::close = {1, -EIO};
    EXPECT_FALSE(save(top / "file", std::string(2000, 'x')));
    faulty::close = {1, -EIO};
    faulty::write = {1, -ENOSPC};
    EXPECT_FALSE(save(top / "file", std::string(2000, 'x')));
    EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", "Write " + (top / "file") + " error: 4"),
                                           error("saveFile", "Write " + (top / "file") + " error: 5")));
}

TEST(WriteFile, GoesOnAfterASignalAndAPartialWrite) {
    const TemporaryDirectory top;
    faulty::write = {3, -EINTR};
    EXPECT_TRUE(save(top / "file", "0123456789"));
    EXPECT_EQ(filesystem::read(top / "file"), "0123456789");
    faulty::write = {4, 2};
    EXPECT_TRUE(append(top / "file", "abcdefghij"));
    EXPECT_EQ(filesystem::read(top / "file"), "0123456789abcdefghij");
    faulty::close = {1, -EINTR};
    EXPECT_TRUE(save(top / "file", "text")) << "an interrupted close is done all the same";
    EXPECT_EQ(filesystem::read(top / "file"), "text");
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(AppendFile, AppendsUnlessTheModeIsOne) {
    const TemporaryDirectory top;
    for (const int mode : {0, 2, -1, largestInt}) {
        EXPECT_TRUE(save(top / "file", "one"));
        EXPECT_TRUE(append(top / "file", "two", mode));
        EXPECT_TRUE(FileUtils::saveFileAppand(top / "file", nullptr, mode, 0));
        EXPECT_EQ(filesystem::read(top / "file"), "onetwo");
    }
    EXPECT_TRUE(append(top / "file", "three", 1));
    EXPECT_EQ(filesystem::read(top / "file"), "three");
}

TEST(AppendFile, WithTheModeOneItIsSaveFile) {
    EXPECT_FALSE(append("/dev/full", "text", 1));
    EXPECT_THAT(takeRecords(), ElementsAre(error("saveFile", "Write /dev/full error: 4")));
}

TEST(FileDescriptors, AreClosedOnEveryPath) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    const std::set<int> before = limits::openDescriptors();
    Bytes data;
    FileUtils::getAllBytesFromFile(top / "file", data);
    FileUtils::getAllBytesFromFile(top.path(), data);
    FileUtils::getAllBytesFromFile("/dev/null", data);
    FileUtils::getBytesFromFile(top / "file", data, 2, 3);
    FileUtils::getBytesFromFile(top / "file", data, 2, 30);
    FileUtils::getBytesFromFile(top / "file", data, -1, 1);
    faulty::pread = {1, -EIO};
    FileUtils::getAllBytesFromFile(top / "file", data);
    save(top / "file", "text");
    append(top / "file", "text");
    save("/dev/full", "text");
    append("/dev/full", std::string(2000, 'x'));
    EXPECT_EQ(limits::openDescriptors(), before);
}

TEST(FileDescriptors, AreNotInherited) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "x");
    // The operation gets the lowest free descriptor, and has it still while it writes its record.
    static int flags = -1;
    static const int descriptor = open("/dev/null", O_RDONLY);
    close(descriptor);
    recording::setObserver([](const recording::Record&) { flags = fcntl(descriptor, F_GETFD); });
    faulty::pread = {1, 0};
    Bytes data;
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(top / "file", data));
    recording::setObserver(nullptr);
    EXPECT_EQ(flags, FD_CLOEXEC);
}

}  // namespace
