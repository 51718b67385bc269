#include <VDIFrameworkCommon/FileUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <utility>

#include "support/FaultyCalls.h"
#include "support/FileContents.h"
#include "support/FileSystem.h"
#include "support/RecordingLogger.h"
#include "support/Sanitizers.h"

namespace {

using contents::Bytes;
using contents::bytes;
using contents::error;
using contents::save;
using contents::textsOfAllSizes;
using filesystem::AsAnotherUser;
using filesystem::TemporaryDirectory;
using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

constexpr int largestInt = std::numeric_limits<int>::max();

// A file with holes that has the length, and the text at a place.
std::string sparseFile(const std::string& path, std::int64_t length, std::int64_t offset, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file.seekp(offset);
    file << text;
    file.close();
    EXPECT_EQ(truncate(path.c_str(), length), 0);
    return path;
}

TEST(ReadFile, ReadsAllBytes) {
    const TemporaryDirectory top;
    for (const std::string& text : textsOfAllSizes()) {
        filesystem::write(top / "file", text);
        for (const std::size_t before : {std::size_t{0}, std::size_t{3}, text.size(), text.size() + 200000}) {
            Bytes data(before, 'x');
            EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / "file", data));
            EXPECT_TRUE(data == bytes(text)) << text.size() << " into " << before;
        }
    }
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(ReadFile, EmptyFileLeavesTheVectorAsItWas) {
    const TemporaryDirectory top;
    filesystem::write(top / "empty", "");
    Bytes data = bytes("before");
    EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / "empty", data));
    EXPECT_EQ(data, bytes("before"));
    EXPECT_TRUE(FileUtils::getAllBytesFromFile("/proc/self/status", data)) << "its length is 0 until it is read";
    EXPECT_EQ(data, bytes("before"));
    EXPECT_TRUE(FileUtils::getAllBytesFromFile("/dev/null", data));
    EXPECT_EQ(data, bytes("before"));
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(ReadFile, MissingFileIsLogged) {
    const TemporaryDirectory top;
    for (const std::string& path : {top / "missing", std::string(), std::string(5000, 'p')}) {
        Bytes data = bytes("before");
        EXPECT_FALSE(FileUtils::getAllBytesFromFile(path, data));
        EXPECT_FALSE(FileUtils::getBytesFromFile(path, data, 0, 1));
        EXPECT_EQ(data, bytes("before"));
        EXPECT_THAT(takeRecords(), ElementsAre(error("getAllBytesFromFile", "path: " + path),
                                               error("getBytesFromFile", "path: " + path)));
    }
}

TEST(ReadFile, PathWithAZeroByteNamesNothing) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "text");
    const std::string path = (top / "file") + '\0' + 'x';
    Bytes data;
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(path, data));
    EXPECT_FALSE(save(path, "other"));
    EXPECT_EQ(filesystem::read(top / "file"), "text");
}

TEST(ReadFile, DirectoryCannotBeRead) {
    const TemporaryDirectory top;
    Bytes data = bytes("before");
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(top.path(), data));
    EXPECT_FALSE(FileUtils::getBytesFromFile(top.path(), data, 0, 0));
    EXPECT_EQ(data, bytes("before"));
    EXPECT_THAT(takeRecords(), ElementsAre(error("getAllBytesFromFile", "path: " + top.path()),
                                           error("getBytesFromFile", "path: " + top.path())));
}

TEST(ReadFile, FileOfAnotherUserIsLogged) {
    const TemporaryDirectory top;
    filesystem::write(top / "secret", "text");
    ASSERT_EQ(chmod((top / "secret").c_str(), 0600), 0);
    const AsAnotherUser other;
    if (!other.isActive()) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    Bytes data;
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(top / "secret", data));
    EXPECT_THAT(takeRecords(), ElementsAre(error("getAllBytesFromFile", "path: " + (top / "secret"))));
}

TEST(ReadFile, PathsMayBeAnything) {
    const TemporaryDirectory top;
    for (const std::string& name : {std::string(255, 'n'), std::string("\xFF\xC0"), std::string(" "), std::string("\n"),
                                    std::string("\xC3\xA4")}) {
        EXPECT_TRUE(save(top / name, name));
        Bytes data;
        EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / name, data));
        EXPECT_EQ(data, bytes(name));
    }
    EXPECT_FALSE(save(top / std::string(256, 'n'), "x")) << "no system has names of 256 bytes";
}

TEST(ReadFile, FileThatShrinksIsLogged) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    // As if the file had ended in between.
    faulty::pread = {1, 0};
    Bytes data = bytes("before");
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(top / "file", data));
    EXPECT_EQ(data, bytes(std::string("before\0\0\0\0", 10)));
    faulty::pread = {1, -EIO};
    EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, 2, 3));
    EXPECT_EQ(data.size(), 3U);
    EXPECT_THAT(
        takeRecords(),
        ElementsAre(error("getAllBytesFromFile", "Only read 0 bytes from " + (top / "file") + ", the total size is 10"),
                    error("getBytesFromFile", "Only read 0 bytes from " + (top / "file") + ", need size is 3")));
}

TEST(ReadFile, FileThatIsShorterThanItSaysIsLogged) {
    // These files say that they have a page of bytes.
    const std::string path = "/sys/devices/system/cpu/online";
    const std::string text = filesystem::read(path);
    if (text.empty() || FileUtils::getFileSize(path) <= text.size()) {
        GTEST_SKIP() << "no such file here";
    }
    Bytes data;
    EXPECT_FALSE(FileUtils::getAllBytesFromFile(path, data));
    const std::string size = std::to_string(FileUtils::getFileSize(path));
    EXPECT_EQ(std::to_string(data.size()), size);
    EXPECT_EQ(std::string(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(text.size())), text);
    EXPECT_THAT(takeRecords(),
                ElementsAre(error("getAllBytesFromFile", "Only read " + std::to_string(text.size()) + " bytes from " +
                                                             path + ", the total size is " + size)));
}

TEST(ReadFile, FileBeyondTheMemoryIsLogged) {
    if (sanitizers::address || sanitizers::thread) {
        GTEST_SKIP() << "the sanitizer ends a process that asks for too much";
    }
    const TemporaryDirectory top;
    const std::string size = "1000000000000000";
    if (truncate(sparseFile("/dev/shm/huge", 0, 0, "").c_str(), std::stol(size)) != 0) {
        GTEST_SKIP() << "no file of that length can be made here";
    }
    Bytes data = bytes("before");
    EXPECT_FALSE(FileUtils::getAllBytesFromFile("/dev/shm/huge", data));
    EXPECT_EQ(data, bytes("before"));
    EXPECT_THAT(takeRecords(), ElementsAre(error("getAllBytesFromFile",
                                                 "Only read 0 bytes from /dev/shm/huge, the total size is " + size)));
    EXPECT_EQ(remove("/dev/shm/huge"), 0);
}

TEST(ReadFile, GoesOnAfterASignalAndAPartialRead) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    faulty::pread = {3, -EINTR};
    Bytes data;
    EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / "file", data));
    EXPECT_EQ(data, bytes("0123456789"));
    faulty::pread = {4, 2};
    EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / "file", data));
    EXPECT_EQ(data, bytes("0123456789"));
    faulty::pread = {2, 1};
    EXPECT_TRUE(FileUtils::getBytesFromFile(top / "file", data, 2, 5));
    EXPECT_EQ(data, bytes("23456"));
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(ReadBytes, ReadsAPart) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    Bytes data = bytes("a longer text than any part");
    EXPECT_TRUE(FileUtils::getBytesFromFile(top / "file", data, 2, 3));
    EXPECT_EQ(data, bytes("234"));
    EXPECT_TRUE(FileUtils::getBytesFromFile(top / "file", data, 0, 10));
    EXPECT_EQ(data, bytes("0123456789"));
    EXPECT_TRUE(FileUtils::getBytesFromFile(top / "file", data, 9, 1));
    EXPECT_EQ(data, bytes("9"));
    EXPECT_TRUE(FileUtils::getBytesFromFile(top / "file", data, 10, 0));
    EXPECT_EQ(data, bytes("")) << "nothing at the very end";
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(ReadBytes, MoreThanTheFileHasIsLogged) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789AB");
    Bytes data = bytes("before");
    for (const auto& [offset, size] : {std::pair(10, 5), std::pair(12, 1), std::pair(13, 0), std::pair(-1, 100)}) {
        EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, offset, size));
        EXPECT_EQ(data, bytes("before"));
        EXPECT_THAT(takeRecords(), ElementsAre(error("getBytesFromFile", "read size over file length")));
    }
}

TEST(ReadBytes, NegativeSizesReadNothing) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    for (const auto& [offset, size] : {std::pair(0, -1), std::pair(5, -5), std::pair(-3, -3), std::pair(10, -1),
                                       std::pair(-largestInt - 1, -largestInt - 1)}) {
        Bytes data = bytes("before");
        EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, offset, size));
        EXPECT_EQ(data, bytes("before"));
        EXPECT_THAT(takeRecords(),
                    ElementsAre(error("getBytesFromFile", "Only read 0 bytes from " + (top / "file") +
                                                              ", need size is " + std::to_string(size))));
    }
}

TEST(ReadBytes, NegativePlacesReadNothingIntoTheSizeThatWasAskedFor) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    for (const auto& [offset, size] :
         {std::pair(-1, 3), std::pair(-1, 0), std::pair(-1, 11), std::pair(-5, 6), std::pair(-largestInt - 1, 8)}) {
        Bytes data = bytes("before");
        Bytes expected = data;
        expected.resize(static_cast<std::size_t>(size));
        EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, offset, size));
        EXPECT_EQ(data, expected) << "as it is when the file ends too early";
        EXPECT_THAT(takeRecords(),
                    ElementsAre(error("getBytesFromFile", "Only read 0 bytes from " + (top / "file") +
                                                              ", need size is " + std::to_string(size))));
    }
}

TEST(ReadBytes, SumOfPlaceAndSizeWrapsAround) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    Bytes data = bytes("before");
    EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, largestInt, 1));
    EXPECT_THAT(takeRecords(),
                ElementsAre(error("getBytesFromFile", "Only read 0 bytes from " + (top / "file") + ", need size is 1")))
        << "taken for a sum that the file is long enough for";
    EXPECT_EQ(data.size(), 1U);
    EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, largestInt, 0));
    EXPECT_THAT(takeRecords(), ElementsAre(error("getBytesFromFile", "read size over file length")));
}

TEST(ReadBytes, FileMayBeLongerThanFourGigabytes) {
    const TemporaryDirectory top;
    constexpr std::int64_t length = (std::int64_t{1} << 32) + 3;
    const std::string path = sparseFile(top / "long", length, largestInt - 10, "0123456789");
    Bytes data;
    EXPECT_TRUE(FileUtils::getBytesFromFile(path, data, largestInt - 10, 10));
    EXPECT_EQ(data, bytes("0123456789"));
    EXPECT_TRUE(FileUtils::getBytesFromFile(path, data, largestInt - 5, 10)) << "the sum wraps around";
    EXPECT_EQ(data, bytes(std::string("56789\0\0\0\0\0", 10)));
    EXPECT_EQ(FileUtils::getFileSize(path), 4294967299U);
    EXPECT_THAT(takeRecords(), IsEmpty());
}

}  // namespace
