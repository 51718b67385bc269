#include <VDIFrameworkCommon/FileUtils.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <ios>
#include <set>
#include <stdexcept>
#include <string>

#include "support/FaultyCalls.h"
#include "support/FileSystem.h"
#include "support/Limits.h"
#include "support/RecordingLogger.h"

namespace {

using filesystem::AsAnotherUser;
using filesystem::SmallDisk;
using filesystem::TemporaryDirectory;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

// None of these operations logs.
class FileQueries : public testing::Test {
protected:
    ~FileQueries() override { EXPECT_THAT(recording::takeRecords(), IsEmpty()); }
    const TemporaryDirectory top;
};
class RemoveFile : public FileQueries {};
class RenameFile : public FileQueries {};
class CopyFile : public FileQueries {};
class MoveFile : public FileQueries {};

TEST_F(FileQueries, SeeFilesAndDirectories) {
    filesystem::write(top / "file", "0123456789");
    EXPECT_TRUE(FileUtils::fileExists(top / "file"));
    EXPECT_TRUE(FileUtils::fileExists(top.path()));
    EXPECT_FALSE(FileUtils::fileExists(top / "missing"));
    EXPECT_FALSE(FileUtils::fileExists(top / "file/below"));
    EXPECT_FALSE(FileUtils::fileExists(std::string()));
    EXPECT_FALSE(FileUtils::isDirectory(top / "file"));
    EXPECT_TRUE(FileUtils::isDirectory(top.path()));
    EXPECT_FALSE(FileUtils::isDirectory(top / "missing"));
    ASSERT_EQ(mkfifo((top / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(FileUtils::isDirectory(top / "pipe"));
    EXPECT_FALSE(FileUtils::isDirectory("/dev/null"));
    EXPECT_TRUE(FileUtils::fileExists(top / "pipe"));
    EXPECT_EQ(FileUtils::getFileSize(top / "file"), 10U);
    EXPECT_EQ(FileUtils::getFileSize(top / "missing"), 0U);
    struct stat status {};
    ASSERT_EQ(stat(top.path().c_str(), &status), 0);
    EXPECT_EQ(FileUtils::getFileSize(top.path()), static_cast<std::uint64_t>(status.st_size));
}

TEST_F(FileQueries, FollowLinks) {
    filesystem::write(top / "file", "0123456789");
    ASSERT_EQ(symlink("file", (top / "to file").c_str()), 0);
    ASSERT_EQ(symlink(".", (top / "to directory").c_str()), 0);
    ASSERT_EQ(symlink("missing", (top / "dangling").c_str()), 0);
    EXPECT_TRUE(FileUtils::fileExists(top / "to file"));
    EXPECT_EQ(FileUtils::getFileSize(top / "to file"), 10U);
    EXPECT_TRUE(FileUtils::isDirectory(top / "to directory"));
    EXPECT_FALSE(FileUtils::fileExists(top / "dangling"));
}

TEST_F(FileQueries, WidePathsAreConverted) {
    filesystem::write(top / "\xC3\xA4\xF0\x9F\x98\x80", "text");
    const std::wstring wide(top.path().begin(), top.path().end());
    EXPECT_TRUE(FileUtils::fileExists(wide + L"/\u00E4\U0001F600"));
    EXPECT_FALSE(FileUtils::fileExists(wide + L"/\u00E5"));
    EXPECT_THROW(FileUtils::fileExists(wide + L'\xD800'), std::range_error);
}

TEST_F(FileQueries, PathWithAZeroByteNamesNothing) {
    filesystem::write(top / "file", "text");
    const std::string path = (top / "file") + '\0';
    EXPECT_FALSE(FileUtils::fileExists(path));
    EXPECT_FALSE(FileUtils::isDirectory(top.path() + '\0'));
    EXPECT_EQ(FileUtils::getFileSize(path), 0U);
    EXPECT_EQ(FileUtils::removeFile(path), -1);
    EXPECT_EQ(FileUtils::renameFile(path, top / "other"), -1);
    EXPECT_EQ(FileUtils::renameFile(top / "file", path + "x"), -1);
    EXPECT_FALSE(FileUtils::copyFile(path, top / "other", false));
    EXPECT_FALSE(FileUtils::copyFile(top / "file", path + "x", false));
    EXPECT_EQ(filesystem::read(top / "file"), "text");
}

TEST_F(RemoveFile, RemovesFilesLinksAndEmptyDirectories) {
    filesystem::write(top / "file", "text");
    ASSERT_EQ(mkdir((top / "empty").c_str(), 0755), 0);
    ASSERT_EQ(mkdir((top / "full").c_str(), 0755), 0);
    filesystem::write(top / "full/file", "text");
    ASSERT_EQ(symlink("full", (top / "link").c_str()), 0);
    EXPECT_EQ(FileUtils::removeFile(top / "file"), 0);
    EXPECT_EQ(FileUtils::removeFile(top / "file"), -1);
    EXPECT_EQ(FileUtils::removeFile(top / "empty"), 0);
    EXPECT_EQ(FileUtils::removeFile(top / "full"), -1);
    EXPECT_EQ(FileUtils::removeFile(top / "link"), 0);
    EXPECT_EQ(filesystem::read(top / "full/file"), "text");
    EXPECT_EQ(FileUtils::removeFile(""), -1);
}

TEST_F(RenameFile, ReplacesTheTarget) {
    filesystem::write(top / "from", "one");
    filesystem::write(top / "to", "two");
    EXPECT_EQ(FileUtils::renameFile(top / "from", top / "to"), 0);
    EXPECT_EQ(filesystem::read(top / "to"), "one");
    EXPECT_FALSE(FileUtils::fileExists(top / "from"));
    EXPECT_EQ(FileUtils::renameFile(top / "from", top / "to"), -1);
    EXPECT_EQ(FileUtils::renameFile(top / "to", top / "missing/to"), -1);
    EXPECT_EQ(filesystem::read(top / "to"), "one");
}

// A text no part of which is like the next.
std::string textOf(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 7 % 251);
    }
    return text;
}

TEST_F(CopyFile, CopiesTheContents) {
    for (const int length : {0, 1, 4096, 262143, 262144, 262145, 3000000}) {
        const auto size = static_cast<std::size_t>(length);
        const std::string text = textOf(size);
        filesystem::write(top / "from", text);
        filesystem::write(top / "to", std::string(5000000, 'x'));
        EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
        EXPECT_TRUE(filesystem::read(top / "to") == text) << size;
        EXPECT_TRUE(filesystem::read(top / "from") == text) << size;
    }
}

TEST_F(CopyFile, CopiesTheContentsWhereTheSystemDoesNot) {
    const std::string text = textOf(600000);
    filesystem::write(top / "from", text);
    for (const faulty::Fault& fault :
         {faulty::Fault{1, -EINVAL}, faulty::Fault{3, -EINTR}, faulty::Fault{1, 0}, faulty::Fault{1, 300001}}) {
        faulty::sendfile = fault;
        EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
        EXPECT_EQ(faulty::sendfile.times, 0) << "it was asked";
        EXPECT_TRUE(filesystem::read(top / "to") == text) << fault.result;
    }
    faulty::sendfile = {1, -EINVAL};
    faulty::pread = {10, 1000};
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
    EXPECT_TRUE(filesystem::read(top / "to") == text) << "in parts";
}

TEST_F(CopyFile, CopiesAsManyBytesAsTheSourceHadAtFirst) {
    const std::string text = textOf(600000);
    static std::string from;
    from = top / "from";
    const faulty::Fault grows = {1, -EINVAL, [] { std::ofstream(from, std::ios::app) << std::string(600000, 'x'); }};
    for (const faulty::Fault& fault :
         {grows, faulty::Fault{1, 300001, grows.meanwhile}, faulty::Fault{1, -EINTR, grows.meanwhile}}) {
        filesystem::write(from, text);
        faulty::sendfile = fault;
        EXPECT_TRUE(FileUtils::copyFile(from, top / "to", false));
        EXPECT_TRUE(filesystem::read(top / "to") == text) << "what is added meanwhile is left out";
        EXPECT_EQ(FileUtils::getFileSize(from), 1200000U);
    }
    filesystem::write(from, text);
    faulty::sendfile = {1, -EINVAL, [] { EXPECT_EQ(truncate(from.c_str(), 300000), 0); }};
    EXPECT_TRUE(FileUtils::copyFile(from, top / "to", false));
    EXPECT_TRUE(filesystem::read(top / "to") == text.substr(0, 300000)) << "what is gone meanwhile is not made up";
}

TEST_F(CopyFile, CopiesHolesAsZeros) {
    filesystem::write(top / "from", "begin");
    ASSERT_EQ(truncate((top / "from").c_str(), 5000000), 0);
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
    EXPECT_TRUE(filesystem::read(top / "to") == "begin" + std::string(4999995, '\0'));
}

TEST_F(CopyFile, CopiesNothingOfAFileWithoutALength) {
    filesystem::write(top / "to", "before");
    EXPECT_TRUE(FileUtils::copyFile("/proc/self/status", top / "to", false)) << "its length is 0 until it is read";
    EXPECT_EQ(filesystem::read(top / "to"), "");
    EXPECT_TRUE(FileUtils::copyFile("/dev/null", top / "new", false));
    EXPECT_EQ(filesystem::read(top / "new"), "");
}

TEST_F(CopyFile, MakesTheTarget) {
    filesystem::write(top / "from", "text");
    ASSERT_EQ(chmod((top / "from").c_str(), 0755), 0);
    const mode_t before = umask(0027);
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", true));
    umask(before);
    EXPECT_EQ(filesystem::read(top / "to"), "text");
    EXPECT_EQ(filesystem::mode(top / "to"), 0640) << "the source's permissions are not copied";
    umask(0);
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "for all", true));
    umask(before);
    EXPECT_EQ(filesystem::mode(top / "for all"), 0666) << "the mask alone takes permissions away";
}

TEST_F(CopyFile, FailsWhenTheTargetExistsAndMayNot) {
    filesystem::write(top / "from", "one");
    filesystem::write(top / "to", "two");
    EXPECT_FALSE(FileUtils::copyFile(top / "from", top / "to", true));
    EXPECT_EQ(filesystem::read(top / "to"), "two");
    EXPECT_FALSE(FileUtils::copyFile(top / "from", top / "from", true));
    EXPECT_EQ(filesystem::read(top / "from"), "one");
}

TEST_F(CopyFile, WithoutASourceNothingChanges) {
    filesystem::write(top / "to", "before");
    ASSERT_EQ(mkfifo((top / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(FileUtils::copyFile(top / "missing", top / "to", false));
    EXPECT_FALSE(FileUtils::copyFile(top / "missing", top / "new", false));
    EXPECT_FALSE(FileUtils::copyFile(top.path(), top / "to", false)) << "a directory";
    EXPECT_FALSE(FileUtils::copyFile(top.path(), top / "new", false));
    // The reader of a pipe waits for a writer.
    const int writer = open((top / "pipe").c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_FALSE(FileUtils::copyFile(top / "pipe", top / "to", false)) << "without a length";
    close(writer);
    EXPECT_EQ(filesystem::read(top / "to"), "before");
    EXPECT_FALSE(FileUtils::fileExists(top / "new"));
}

TEST_F(CopyFile, FailsWhenTheTargetCannotBeOpened) {
    filesystem::write(top / "from", "text");
    EXPECT_FALSE(FileUtils::copyFile(top / "from", top / "missing/to", false));
    EXPECT_FALSE(FileUtils::copyFile(top / "from", top.path(), false));
    EXPECT_FALSE(FileUtils::copyFile(top / "from", "", false));
    EXPECT_EQ(filesystem::read(top / "from"), "text");
}

TEST_F(CopyFile, OntoItselfLeavesTheFileWhole) {
    filesystem::write(top / "file", "text");
    ASSERT_EQ(link((top / "file").c_str(), (top / "link").c_str()), 0);
    ASSERT_EQ(symlink("file", (top / "symlink").c_str()), 0);
    for (const std::string& name : {top / "file", top / "link", top / "symlink", top / "./file"}) {
        EXPECT_TRUE(FileUtils::copyFile(top / "file", name, false)) << name;
        EXPECT_TRUE(FileUtils::copyFile(name, top / "file", false)) << name;
        EXPECT_EQ(filesystem::read(top / "file"), "text") << name;
    }
    EXPECT_FALSE(FileUtils::copyFile(top.path(), top.path(), false));
}

TEST_F(CopyFile, FilesOfTwoDisksMayHaveTheSameNumber) {
    ASSERT_EQ(mkdir((top / "one").c_str(), 0755), 0);
    ASSERT_EQ(mkdir((top / "other").c_str(), 0755), 0);
    const SmallDisk one(top / "one");
    const SmallDisk other(top / "other");
    if (!one.isMounted() || !other.isMounted()) {
        GTEST_SKIP() << "only the superuser can mount a disk";
    }
    filesystem::write(one / "from", "text");
    filesystem::write(other / "to", "");
    struct stat from {};
    struct stat to {};
    ASSERT_EQ(stat((one / "from").c_str(), &from), 0);
    ASSERT_EQ(stat((other / "to").c_str(), &to), 0);
    if (from.st_ino != to.st_ino) {
        GTEST_SKIP() << "the disks do not count their files alike";
    }
    EXPECT_TRUE(FileUtils::copyFile(one / "from", other / "to", false));
    EXPECT_EQ(filesystem::read(other / "to"), "text");
}

TEST_F(CopyFile, WritingFailuresDoNotChangeTheResult) {
    filesystem::write(top / "from", std::string(100000, 'x'));
    EXPECT_TRUE(FileUtils::copyFile(top / "from", "/dev/full", false));
    faulty::sendfile = {1, -EIO};
    faulty::pread = {1, -EIO};
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
    EXPECT_EQ(FileUtils::getFileSize(top / "to"), 0U);
    faulty::close = {2, -EIO};
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
    EXPECT_EQ(faulty::close.times, 0) << "both were closed";
    EXPECT_EQ(FileUtils::getFileSize(top / "to"), 100000U);
    ASSERT_EQ(mkdir((top / "disk").c_str(), 0755), 0);
    const SmallDisk disk(top / "disk");
    if (!disk.isMounted()) {
        GTEST_SKIP() << "only the superuser can mount a disk";
    }
    EXPECT_TRUE(FileUtils::copyFile(top / "from", disk / "to", false));
    EXPECT_GT(FileUtils::getFileSize(disk / "to"), 0U);
    EXPECT_LT(FileUtils::getFileSize(disk / "to"), 100000U);
}

TEST_F(CopyFile, AsAnotherUserFails) {
    filesystem::write(top / "secret", "text");
    ASSERT_EQ(chmod((top / "secret").c_str(), 0600), 0);
    filesystem::write(top / "open", "text");
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    EXPECT_FALSE(FileUtils::copyFile(top / "secret", "/dev/null", false));
    EXPECT_FALSE(FileUtils::copyFile(top / "open", top / "new", false));
    EXPECT_FALSE(FileUtils::copyFile(top / "open", top / "secret", false));
    EXPECT_EQ(FileUtils::moveFile(top / "open", top / "new", false), -1);
    EXPECT_EQ(FileUtils::moveFile(top / "open", top / "secret", false), -1) << "the target cannot be removed";
    EXPECT_EQ(FileUtils::removeFile(top / "open"), -1);
}

TEST_F(CopyFile, ReadsAndWritesNoMoreThanItMay) {
    filesystem::write(top / "from", "text");
    filesystem::write(top / "to", "before");
    ASSERT_EQ(chmod((top / "from").c_str(), 0444), 0);
    ASSERT_EQ(chmod((top / "to").c_str(), 0222), 0);
    {
        const AsAnotherUser other;
        if (!other.isActive()) {
            GTEST_SKIP() << "only the superuser can become another user";
        }
        EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "to", false));
        EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "from", false)) << "nothing is to be written";
    }
    EXPECT_EQ(filesystem::read(top / "to"), "text");
    EXPECT_EQ(filesystem::read(top / "from"), "text");
}

TEST_F(CopyFile, WritesToWhatALinkLeadsTo) {
    filesystem::write(top / "from", "text");
    filesystem::write(top / "file", "before");
    ASSERT_EQ(symlink("file", (top / "link").c_str()), 0);
    ASSERT_EQ(symlink("missing", (top / "dangling").c_str()), 0);
    EXPECT_FALSE(FileUtils::copyFile(top / "from", top / "link", true)) << "it leads to a file";
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "link", false));
    EXPECT_EQ(filesystem::read(top / "file"), "text");
    EXPECT_TRUE(FileUtils::copyFile(top / "from", top / "dangling", true)) << "it leads to none";
    EXPECT_EQ(filesystem::read(top / "missing"), "text");
}

TEST_F(CopyFile, ClosesItsFiles) {
    filesystem::write(top / "from", "text");
    const std::set<int> before = limits::openDescriptors();
    FileUtils::copyFile(top / "from", top / "to", false);
    FileUtils::copyFile(top / "from", top / "from", false);
    FileUtils::copyFile(top / "from", top.path(), false);
    FileUtils::copyFile(top / "from", "/dev/full", false);
    FileUtils::copyFile(top.path(), top / "to", false);
    EXPECT_EQ(limits::openDescriptors(), before);
}

TEST_F(MoveFile, RenamesWhenThereIsNoTarget) {
    filesystem::write(top / "from", "text");
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", true), 0);
    EXPECT_EQ(filesystem::read(top / "to"), "text");
    EXPECT_FALSE(FileUtils::fileExists(top / "from"));
    EXPECT_EQ(FileUtils::moveFile(top / "to", top / "again", false), 0);
    EXPECT_EQ(filesystem::read(top / "again"), "text");
    EXPECT_EQ(FileUtils::moveFile(top / "missing", top / "to", false), -1);
}

TEST_F(MoveFile, OnlyRemovesATargetThatExists) {
    filesystem::write(top / "from", "one");
    filesystem::write(top / "to", "two");
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", false), 0);
    EXPECT_FALSE(FileUtils::fileExists(top / "to"));
    EXPECT_EQ(filesystem::read(top / "from"), "one") << "not moved yet";
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", false), 0);
    EXPECT_EQ(filesystem::read(top / "to"), "one") << "the second call moves it";
}

TEST_F(MoveFile, TakesALinkThatLeadsNowhereForNoFile) {
    filesystem::write(top / "from", "text");
    ASSERT_EQ(symlink("missing", (top / "to").c_str()), 0);
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", true), 0);
    EXPECT_EQ(filesystem::read(top / "to"), "text");
    EXPECT_FALSE(FileUtils::fileExists(top / "missing"));
    EXPECT_FALSE(FileUtils::fileExists(top / "from"));
}

TEST_F(MoveFile, FailsWhenTheTargetExistsAndMayNot) {
    filesystem::write(top / "from", "one");
    filesystem::write(top / "to", "two");
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", true), -1);
    EXPECT_EQ(filesystem::read(top / "from"), "one");
    EXPECT_EQ(filesystem::read(top / "to"), "two");
}

TEST_F(MoveFile, FailsWhenTheTargetCannotBeRemoved) {
    filesystem::write(top / "from", "one");
    ASSERT_EQ(mkdir((top / "to").c_str(), 0755), 0);
    filesystem::write(top / "to/file", "two");
    EXPECT_EQ(FileUtils::moveFile(top / "from", top / "to", false), -1);
    EXPECT_EQ(filesystem::read(top / "from"), "one");
    EXPECT_EQ(filesystem::read(top / "to/file"), "two");
}

}  // namespace
