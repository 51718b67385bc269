#include <VDIFrameworkCommon/FileUtils.h>
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "support/FileSystem.h"
#include "support/Limits.h"
#include "support/RecordingLogger.h"

namespace {

using filesystem::AsAnotherUser;
using filesystem::TemporaryDirectory;
using filesystem::WorkingDirectory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using VDIFrameworkCommon::FileUtils;

using Strings = std::vector<std::string>;

// Neither operation logs.
class Listing : public testing::Test {
protected:
    ~Listing() override { EXPECT_THAT(recording::takeRecords(), IsEmpty()); }

    void makeDirectory(const std::string& name) const { ASSERT_EQ(mkdir((top / name).c_str(), 0755), 0) << name; }
    void makeFile(const std::string& name) const { filesystem::write(top / name, "text"); }
    void makeLink(const std::string& name, const std::string& target) const {
        ASSERT_EQ(symlink(target.c_str(), (top / name).c_str()), 0) << name;
    }

    Strings files(const Strings& patterns, bool descend) const {
        Strings found;
        FileUtils::getFilesFromDirectory(top.path(), patterns, found, descend);
        return withoutTop(std::move(found));
    }
    Strings directories(bool recursive) const {
        Strings found;
        FileUtils::getSubDirectories(top.path(), recursive, found);
        return withoutTop(std::move(found));
    }
    // As the directory yields them.
    Strings namesInOrder() const {
        Strings names;
        DIR* const stream = opendir(top.path().c_str());
        while (const dirent* const entry = readdir(stream)) {
            if (entry->d_name[0] != '.') {
                names.emplace_back(entry->d_name);
            }
        }
        closedir(stream);
        return names;
    }
    Strings withoutTop(Strings paths) const {
        for (std::string& path : paths) {
            EXPECT_EQ(path.compare(0, top.path().size() + 1, top.path() + '/'), 0) << path;
            path.erase(0, top.path().size() + 1);
        }
        return paths;
    }

    const TemporaryDirectory top;
};
class FilesFromDirectory : public Listing {};
class SubDirectories : public Listing {};

TEST_F(FilesFromDirectory, SearchesOneLevelOfSubdirectories) {
    for (const char* const directory : {"sub", "sub/deeper", "x.log"}) {
        makeDirectory(directory);
    }
    for (const char* const file : {"a.log", "b.txt", "sub/b.log", "sub/deeper/c.log", "x.log/d.log", "x.log/e.txt"}) {
        makeFile(file);
    }
    EXPECT_THAT(files({".log"}, true), UnorderedElementsAre("a.log", "sub/b.log", "x.log/d.log"));
    EXPECT_THAT(files({".log"}, false), UnorderedElementsAre("a.log", "x.log")) << "a directory counts as a file";
    makeDirectory("sub/y.log");
    EXPECT_THAT(files({".log"}, true), UnorderedElementsAre("a.log", "sub/b.log", "sub/y.log", "x.log/d.log"))
        << "as does one in a subdirectory";
}

TEST_F(FilesFromDirectory, PatternsAreParts) {
    for (const char* const file : {"alpha", "beta", "gamma", ".hidden"}) {
        makeFile(file);
    }
    EXPECT_THAT(files({"a"}, false), UnorderedElementsAre("alpha", "beta", "gamma"));
    EXPECT_THAT(files({"a", "amm", "alpha"}, false), UnorderedElementsAre("alpha", "beta", "gamma")) << "once each";
    EXPECT_THAT(files({"eta", "pha"}, false), UnorderedElementsAre("alpha", "beta"));
    EXPECT_THAT(files({""}, false), UnorderedElementsAre("alpha", "beta", "gamma", ".hidden"));
    EXPECT_THAT(files({"*"}, false), IsEmpty()) << "no wildcards";
    EXPECT_THAT(files({}, false), IsEmpty());
    EXPECT_THAT(files({"vdi-test"}, false), IsEmpty()) << "the name counts, not the path";
}

TEST_F(FilesFromDirectory, LinksAreWhatTheyLeadTo) {
    makeDirectory("sub");
    makeFile("sub/a.log");
    makeFile("b.log");
    makeLink("link.log", "b.log");
    makeLink("directory.log", "sub");
    makeLink("dangling.log", "missing");
    makeLink("loop.log", "loop.log");
    EXPECT_THAT(files({".log"}, false), UnorderedElementsAre("b.log", "link.log", "directory.log"));
    EXPECT_THAT(files({".log"}, true), UnorderedElementsAre("b.log", "link.log", "directory.log/a.log", "sub/a.log"));
}

TEST_F(FilesFromDirectory, EveryKindOfFileCounts) {
    ASSERT_EQ(mkfifo((top / "pipe").c_str(), 0600), 0);
    makeFile("\xFF\n");
    EXPECT_THAT(files({""}, true), UnorderedElementsAre("pipe", "\xFF\n"));
}

TEST_F(FilesFromDirectory, AppendsInTheOrderOfTheDirectory) {
    Strings expected{"before"};
    for (int i = 0; i < 200; ++i) {
        makeFile("file" + std::to_string(i * 7919 % 1000));
    }
    for (const std::string& name : namesInOrder()) {
        expected.push_back(top / name);
    }
    Strings found{"before"};
    FileUtils::getFilesFromDirectory(top.path(), {"file"}, found, true);
    EXPECT_EQ(found, expected);
}

TEST_F(FilesFromDirectory, AnswersNothingWhereThereIsNoDirectory) {
    makeFile("file");
    Strings found{"before"};
    for (const std::string& path : {std::string(), top / "missing", top / "file", top.path() + '\0'}) {
        FileUtils::getFilesFromDirectory(path, {""}, found, true);
        FileUtils::getSubDirectories(path, true, found);
    }
    EXPECT_THAT(found, ElementsAre("before"));
}

TEST_F(FilesFromDirectory, SeparatorsAreNotMadeOne) {
    makeFile("file");
    Strings found;
    FileUtils::getFilesFromDirectory(top.path() + '/', {"file"}, found, false);
    EXPECT_THAT(found, ElementsAre(top.path() + "//file"));
}

TEST_F(FilesFromDirectory, WhatHasNoStatusIsLeftOut) {
    makeDirectory("listed");
    for (const char* const file : {"listed/a", "listed/b", "listed/c"}) {
        makeFile(file);
    }
    makeDirectory("listed/directory");
    // May be listed, but not searched.
    ASSERT_EQ(chmod((top / "listed").c_str(), 0744), 0);
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    Strings found;
    FileUtils::getFilesFromDirectory(top / "listed", {""}, found, true);
    FileUtils::getSubDirectories(top / "listed", true, found);
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(FilesFromDirectory, PathsThatAreTooLongAreLeftOut) {
    // 4,095 bytes are the longest path.
    std::string directory = top.path();
    while (directory.size() < 4095 - 220) {
        directory += '/' + std::string(100, 'd');
    }
    directory += '/' + std::string(4095 - 10 - directory.size() - 1, 'd');
    ASSERT_TRUE(FileUtils::createDirectoryStructure(directory));
    recording::takeRecords();
    const WorkingDirectory inside(directory);
    // In turn, so that in every order some of those that do not fit come after one that does.
    Strings fitting;
    for (int i = 10; i < 40; ++i) {
        const std::string name = "1234567" + std::to_string(i);
        filesystem::write(name + '0', "does not fit");
        filesystem::write(name, "fits");
        fitting.push_back(directory + '/' + name);
    }
    Strings found;
    FileUtils::getFilesFromDirectory(directory, {"1"}, found, false);
    EXPECT_THAT(found, UnorderedElementsAreArray(fitting));
}

TEST_F(FilesFromDirectory, ClosesItsDirectories) {
    makeDirectory("sub");
    makeFile("sub/file");
    const std::set<int> before = limits::openDescriptors();
    EXPECT_THAT(files({""}, true), SizeIs(1));
    EXPECT_THAT(directories(true), SizeIs(1));
    EXPECT_EQ(limits::openDescriptors(), before);
}

TEST_F(SubDirectories, OfOneLevel) {
    for (const char* const directory : {"a", "a/b", ".hidden"}) {
        makeDirectory(directory);
    }
    makeFile("file");
    makeLink("link", "a");
    makeLink("to file", "file");
    makeLink("dangling", "missing");
    EXPECT_THAT(directories(false), UnorderedElementsAre("a", ".hidden", "link"));
}

TEST_F(SubDirectories, OfAllLevelsDepthFirst) {
    for (const char* const directory : {"a", "a/b", "a/b/c", "a/d", "e", "e/f"}) {
        makeDirectory(directory);
    }
    makeFile("a/file");
    const Strings found = directories(true);
    EXPECT_THAT(found, UnorderedElementsAre("a", "a/b", "a/b/c", "a/d", "e", "e/f"));
    // Every directory is followed by all that is below it.
    for (std::size_t i = 0; i < found.size(); ++i) {
        const auto isBelow = [&](const std::string& path) {
            return path.compare(0, found[i].size() + 1, found[i] + '/') == 0;
        };
        const auto next = found.begin() + static_cast<std::ptrdiff_t>(i) + 1;
        const auto end = std::find_if_not(next, found.end(), isBelow);
        EXPECT_EQ(end - next, std::count_if(found.begin(), found.end(), isBelow)) << found[i];
    }
    // On each level they come as they do in a listing of that level alone.
    Strings firstLevel;
    std::copy_if(found.begin(), found.end(), std::back_inserter(firstLevel),
                 [](const std::string& path) { return path.find('/') == std::string::npos; });
    EXPECT_EQ(firstLevel, directories(false));
}

TEST_F(SubDirectories, ComeInTheOrderOfTheDirectory) {
    for (int i = 0; i < 50; ++i) {
        makeDirectory("directory" + std::to_string(i * 7919 % 1000));
    }
    EXPECT_EQ(directories(false), namesInOrder());
    EXPECT_EQ(directories(true), namesInOrder());
}

TEST_F(SubDirectories, AreAppended) {
    makeDirectory("a");
    Strings found{top.path()};
    // The directory may be an element of the result.
    FileUtils::getSubDirectories(found.front(), true, found);
    EXPECT_THAT(found, ElementsAre(top.path(), top / "a"));
}

TEST_F(SubDirectories, LinkUpwardsIsFollowedUntilTheSystemRefusesIt) {
    makeDirectory("a");
    makeLink("a/up", "..");
    const auto followed = [&] {
        Strings paths;
        for (std::string path = "a"; FileUtils::isDirectory(top / path); path += "/a") {
            paths.push_back(path);
            path += "/up";
            if (FileUtils::isDirectory(top / path)) {
                paths.push_back(path);
            }
        }
        return paths;
    };
    // A look-up that the system begins anew, because something is mounted meanwhile, may be refused some links earlier.
    Strings found;
    Strings expected;
    for (int attempt = 0; attempt < 1000 && (attempt == 0 || found != expected); ++attempt) {
        found = directories(true);
        expected = followed();
    }
    EXPECT_GT(expected.size(), 10U);
    EXPECT_EQ(found, expected);
}

TEST_F(SubDirectories, ManyLinksUpwardsEnd) {
    makeDirectory("a");
    for (int i = 0; i < 5; ++i) {
        makeLink("a/up" + std::to_string(i), "..");
        makeLink("self" + std::to_string(i), ".");
    }
    makeDirectory("z");
    const Strings found = directories(true);
    EXPECT_LT(found.size(), 10000U);
    for (const char* const directory : {"a", "a/up0", "a/up4", "self0", "self4", "z"}) {
        EXPECT_THAT(found, testing::Contains(directory));
    }
}

TEST_F(SubDirectories, OfDeepTreesWithOneDescriptor) {
    const TemporaryDirectory deep(filesystem::inMemory);
    filesystem::makeChain(deep.path(), 2000);
    Strings found;
    {
        const limits::SoftLimit oneMore(RLIMIT_NOFILE, static_cast<rlim_t>(limits::lowestFreeDescriptor()) + 1);
        FileUtils::getSubDirectories(deep.path(), true, found);
    }
    EXPECT_THAT(found, SizeIs(2000));
    filesystem::removeChain(deep.path());
}

TEST_F(SubDirectories, EndWhereThePathIsTooLong) {
    const TemporaryDirectory deep(filesystem::inMemory);
    filesystem::makeChain(deep.path(), 5000);
    Strings found;
    FileUtils::getSubDirectories(deep.path(), true, found);
    EXPECT_EQ(found.size(), (4095 - deep.path().size()) / 2);
    filesystem::removeChain(deep.path());
}

}  // namespace
