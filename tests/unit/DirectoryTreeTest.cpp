#include <VDIFrameworkCommon/FileUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ExpectedRecords.h"
#include "support/FileSystem.h"
#include "support/Limits.h"
#include "support/RecordingLogger.h"

namespace {

using filesystem::AsAnotherUser;
using filesystem::TemporaryDirectory;
using filesystem::WorkingDirectory;
using recording::Record;
using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

const recording::ExpectedRecord expected("VDIFrameworkCommon", "src/Common/src/FileUtils.cpp");

Record creating(const std::string& path) {
    return expected(DPL_INFO, "createDirectory", "Creating directory: " + path);
}

Record created(const std::string& path, const std::string& result) {
    return expected(DPL_DEBUG, "createDirectory", "Directory \"" + path + "\" created: " + result);
}

void makeDirectory(const std::string& path) {
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
}

TEST(CreateDirectory, CreatesEveryMissingLevel) {
    const TemporaryDirectory top;
    const mode_t before = umask(0);
    EXPECT_TRUE(FileUtils::createDirectory(top / "a/b/c"));
    umask(before);
    for (const char* const level : {"a", "a/b", "a/b/c"}) {
        EXPECT_EQ(filesystem::mode(top / level), 0744) << level;
    }
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "a/b/c"), created(top / "a/b/c", "1")));
}

TEST(CreateDirectory, ModeIsMasked) {
    const TemporaryDirectory top;
    const mode_t before = umask(0077);
    EXPECT_TRUE(FileUtils::createDirectory(top / "a"));
    umask(before);
    EXPECT_EQ(filesystem::mode(top / "a"), 0700);
}

TEST(CreateDirectory, IsFalseForOneThatExists) {
    const TemporaryDirectory top;
    EXPECT_FALSE(FileUtils::createDirectory(top.path()));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top.path()), created(top.path(), "0")));
    filesystem::write(top / "file", "text");
    EXPECT_FALSE(FileUtils::createDirectory(top / "file"));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "file"), created(top / "file", "0")));
}

TEST(CreateDirectory, IsFalseForAnEmptyPath) {
    EXPECT_FALSE(FileUtils::createDirectory(""));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(""), created("", "0")));
}

TEST(CreateDirectory, IsFalseBelowAFile) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "text");
    EXPECT_FALSE(FileUtils::createDirectory(top / "file/a/b"));
    EXPECT_EQ(filesystem::read(top / "file"), "text");
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "file/a/b"), created(top / "file/a/b", "0")));
}

TEST(CreateDirectory, IsFalseWithoutPermission) {
    const TemporaryDirectory top;
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    EXPECT_FALSE(FileUtils::createDirectory(top / "a/b"));
    EXPECT_FALSE(FileUtils::fileExists(top / "a"));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "a/b"), created(top / "a/b", "0")));
}

TEST(CreateDirectory, RefusesInvalidUtf8AfterItsFirstRecord) {
    const TemporaryDirectory top;
    const std::string path = top / "a/\xFF";
    try {
        FileUtils::createDirectory(path);
        ADD_FAILURE() << "no range error";
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "wstring_convert: from_bytes error");
    }
    EXPECT_FALSE(FileUtils::fileExists(top / "a"));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(path)));
}

TEST(CreateDirectory, TakesInvalidUtf8ThatExists) {
    const TemporaryDirectory top;
    makeDirectory(top / "\xFF");
    EXPECT_FALSE(FileUtils::createDirectory(top / "\xFF"));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "\xFF"), created(top / "\xFF", "0")));
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / "\xFF"));
}

TEST(CreateDirectoryStructure, IsTrueForOneThatExists) {
    const TemporaryDirectory top;
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top.path()));
    EXPECT_TRUE(FileUtils::createDirectoryStructure(""));
    EXPECT_TRUE(FileUtils::createDirectoryStructure("/"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / "a/b"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / "a/b"));
    filesystem::write(top / "file", "text");
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / "file")) << "a file counts too";
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(CreateDirectoryStructure, EndsForEveryPath) {
    const TemporaryDirectory top;
    const WorkingDirectory there(top.path());
    EXPECT_TRUE(FileUtils::createDirectoryStructure("a/")) << "its own parent";
    EXPECT_TRUE(FileUtils::isDirectory("a"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure("b/c/"));
    EXPECT_TRUE(FileUtils::isDirectory("b/c"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure("d//e"));
    EXPECT_TRUE(FileUtils::isDirectory("d/e"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / "/f//g/"));
    EXPECT_TRUE(FileUtils::isDirectory("f/g"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure("h"));
    EXPECT_TRUE(FileUtils::isDirectory("h"));
    EXPECT_TRUE(FileUtils::createDirectoryStructure("\xC3\xA4/\xF0\x9F\x98\x80"));
    EXPECT_TRUE(FileUtils::isDirectory("\xC3\xA4/\xF0\x9F\x98\x80"));
    // Of two paths of one directory the second cannot be made any more.
    EXPECT_FALSE(FileUtils::createDirectoryStructure("i/../j"));
    EXPECT_TRUE(FileUtils::isDirectory("i"));
    EXPECT_FALSE(FileUtils::createDirectoryStructure("m//"));
    EXPECT_TRUE(FileUtils::isDirectory("m"));
    EXPECT_FALSE(FileUtils::createDirectoryStructure(std::string("k\0l", 3)));
    EXPECT_FALSE(FileUtils::fileExists("k"));
}

TEST(CreateDirectoryStructure, NamesMayHave255Bytes) {
    const TemporaryDirectory top;
    const std::string longest(255, 'n');
    EXPECT_TRUE(FileUtils::createDirectoryStructure(top / (longest + '/' + longest)));
    EXPECT_TRUE(FileUtils::isDirectory(top / (longest + '/' + longest)));
    EXPECT_FALSE(FileUtils::createDirectoryStructure(top / ("a/" + longest + 'n')));
    EXPECT_TRUE(FileUtils::isDirectory(top / "a"));
}

TEST(CreateDirectoryStructure, StopsWhereThePathIsTooLong) {
    const TemporaryDirectory top(filesystem::inMemory);
    std::string path = top.path();
    for (int level = 0; level < 200000; ++level) {
        path += "/d";
    }
    EXPECT_FALSE(FileUtils::createDirectoryStructure(path));
    EXPECT_TRUE(FileUtils::isDirectory(path.substr(0, top.path().size() + 2000))) << "the levels before are made";
    FileUtils::removeDirectory(top / "d");
    EXPECT_FALSE(FileUtils::fileExists(top / "d"));
}

TEST(CreateParentDirectory, CreatesTheDirectoryAbove) {
    const TemporaryDirectory top;
    FileUtils::createParentDirectory(top / "a/b/file");
    EXPECT_TRUE(FileUtils::isDirectory(top / "a/b"));
    EXPECT_FALSE(FileUtils::fileExists(top / "a/b/file"));
    EXPECT_THAT(takeRecords(), ElementsAre(creating(top / "a/b"), created(top / "a/b", "1")));
    FileUtils::createParentDirectory("file");
    EXPECT_THAT(takeRecords(), ElementsAre(creating(""), created("", "0")));
    EXPECT_THROW(FileUtils::createParentDirectory("a/\xFF"), std::range_error);
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(RemoveDirectory, RemovesTheWholeTree) {
    const TemporaryDirectory top;
    for (const char* const directory : {"a", "a/b", "a/b/c", "a/empty", "a/.hidden", "a/\xFF", "beside"}) {
        makeDirectory(top / directory);
    }
    for (const char* const file : {"a/1", "a/.2", "a/b/3", "a/b/c/4", "a/.hidden/5", "a/\xFF/6", "beside/file"}) {
        filesystem::write(top / file, "text");
    }
    ASSERT_EQ(mkfifo((top / "a/pipe").c_str(), 0600), 0);
    FileUtils::removeDirectory(top / "a");
    EXPECT_FALSE(FileUtils::fileExists(top / "a"));
    EXPECT_EQ(filesystem::read(top / "beside/file"), "text");
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(RemoveDirectory, RemovesLinksAndNotWhatTheyLeadTo) {
    const TemporaryDirectory top;
    makeDirectory(top / "kept");
    filesystem::write(top / "kept/file", "text");
    makeDirectory(top / "a");
    makeDirectory(top / "a/b");
    ASSERT_EQ(symlink("../kept", (top / "a/to directory").c_str()), 0);
    ASSERT_EQ(symlink("../../kept/file", (top / "a/b/to file").c_str()), 0);
    ASSERT_EQ(symlink("..", (top / "a/b/upwards").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (top / "a/dangling").c_str()), 0);
    FileUtils::removeDirectory(top / "a");
    EXPECT_FALSE(FileUtils::fileExists(top / "a"));
    EXPECT_EQ(filesystem::read(top / "kept/file"), "text");
}

TEST(RemoveDirectory, EmptiesTheDirectoryThatItsOwnPathLeadsTo) {
    const TemporaryDirectory top;
    makeDirectory(top / "a");
    makeDirectory(top / "a/b");
    filesystem::write(top / "a/b/file", "text");
    ASSERT_EQ(symlink("a", (top / "link").c_str()), 0);
    FileUtils::removeDirectory(top / "link");
    EXPECT_FALSE(FileUtils::fileExists(top / "a/b"));
    EXPECT_TRUE(FileUtils::isDirectory(top / "a")) << "a link is no directory to be removed, nor is what it leads to";
    EXPECT_TRUE(FileUtils::isDirectory(top / "link"));
}

TEST(RemoveDirectory, DoesNotFollowALinkThatItCannotRemove) {
    const TemporaryDirectory top;
    makeDirectory(top / "theirs");
    ASSERT_EQ(chmod((top / "theirs").c_str(), 0777), 0);
    filesystem::write(top / "theirs/file", "text");
    makeDirectory(top / "a");
    ASSERT_EQ(symlink("../theirs", (top / "a/link").c_str()), 0);
    {
        const AsAnotherUser other;
        if (!other.isActive()) {
            GTEST_SKIP() << "only the superuser can become another user";
        }
        // The link is in a directory of the superuser, its target in one that everyone may write to.
        FileUtils::removeDirectory(top / "a");
    }
    EXPECT_EQ(filesystem::read(top / "theirs/file"), "text");
}

TEST(RemoveDirectory, GoesOnWhereItCannotRemove) {
    const TemporaryDirectory top;
    makeDirectory(top / "a");
    ASSERT_EQ(chmod((top / "a").c_str(), 0777), 0);
    makeDirectory(top / "a/theirs");
    filesystem::write(top / "a/theirs/file", "text");
    {
        const AsAnotherUser other;
        if (!other.isActive()) {
            GTEST_SKIP() << "only the superuser can become another user";
        }
        makeDirectory(top / "a/mine");
        filesystem::write(top / "a/mine/file", "text");
        filesystem::write(top / "a/another", "text");
        FileUtils::removeDirectory(top / "a");
        EXPECT_FALSE(FileUtils::fileExists(top / "a/mine"));
        EXPECT_FALSE(FileUtils::fileExists(top / "a/another"));
    }
    EXPECT_EQ(filesystem::read(top / "a/theirs/file"), "text");
}

TEST(RemoveDirectory, LeavesAnEmptyDirectoryThatItCannotOpen) {
    const TemporaryDirectory top;
    ASSERT_EQ(chmod(top.path().c_str(), 0777), 0);
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    makeDirectory(top / "unreadable");
    ASSERT_EQ(chmod((top / "unreadable").c_str(), 0300), 0);
    FileUtils::removeDirectory(top / "unreadable");
    EXPECT_TRUE(FileUtils::isDirectory(top / "unreadable"));
    makeDirectory(top / "a");
    makeDirectory(top / "a/unreadable");
    ASSERT_EQ(chmod((top / "a/unreadable").c_str(), 0300), 0);
    FileUtils::removeDirectory(top / "a");
    EXPECT_FALSE(FileUtils::isDirectory(top / "a")) << "below another one it need not be opened";
}

TEST(RemoveDirectory, LeavesWhatIsNoDirectory) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "text");
    FileUtils::removeDirectory(top / "file");
    EXPECT_EQ(filesystem::read(top / "file"), "text");
    FileUtils::removeDirectory(top / "missing");
    FileUtils::removeDirectory("");
    FileUtils::removeDirectory(top.path() + '\0');
    EXPECT_TRUE(FileUtils::isDirectory(top.path()));
}

TEST(RemoveDirectory, RemovesManyEntries) {
    const TemporaryDirectory top;
    makeDirectory(top / "a");
    for (int i = 0; i < 3000; ++i) {
        filesystem::write(top / ("a/" + std::string(100, 'n') + std::to_string(i)), "");
    }
    FileUtils::removeDirectory(top / "a");
    EXPECT_FALSE(FileUtils::fileExists(top / "a"));
}

TEST(RemoveDirectory, RemovesDeepTreesWithOneDescriptor) {
    const TemporaryDirectory top(filesystem::inMemory);
    filesystem::makeChain(top.path(), 2000);
    const std::set<int> before = limits::openDescriptors();
    {
        const limits::SoftLimit oneMore(RLIMIT_NOFILE, static_cast<rlim_t>(limits::lowestFreeDescriptor()) + 1);
        FileUtils::removeDirectory(top / "d");
    }
    EXPECT_FALSE(FileUtils::fileExists(top / "d"));
    EXPECT_EQ(limits::openDescriptors(), before);
}

TEST(RemoveDirectory, LeavesWhatIsTooDeepForAPath) {
    const TemporaryDirectory top(filesystem::inMemory);
    filesystem::makeChain(top.path(), 10000);
    FileUtils::removeDirectory(top / "d");
    EXPECT_EQ(filesystem::removeChain(top.path()), 10000);
}

}  // namespace
