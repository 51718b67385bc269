#include <VDIFrameworkCommon/FileUtils.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "support/ExpectedRecords.h"
#include "support/FaultyCalls.h"
#include "support/FileSystem.h"
#include "support/Limits.h"
#include "support/RecordingLogger.h"
#include "support/Sanitizers.h"

namespace {

using filesystem::AsAnotherUser;
using filesystem::SmallDisk;
using filesystem::TemporaryDirectory;
using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::FileUtils;

using Bytes = std::vector<unsigned char>;

constexpr int largestInt = std::numeric_limits<int>::max();

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

recording::Record error(const std::string& function, const std::string& message) {
    static const recording::ExpectedRecord expected("VDIFrameworkCommon", "src/Common/src/FileUtils.cpp");
    return expected(DPL_ERROR, function, message);
}

// A file with holes that has the length, and the text at a place.
std::string sparseFile(const std::string& path, std::int64_t length, std::int64_t offset, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file.seekp(offset);
    file << text;
    file.close();
    EXPECT_EQ(truncate(path.c_str(), length), 0);
    return path;
}

bool save(const std::string& path, const std::string& text) {
    return FileUtils::saveFile(path, text.data(), static_cast<int>(text.size()));
}

bool append(const std::string& path, const std::string& text, int mode = 0) {
    return FileUtils::saveFileAppand(path, text.data(), mode, static_cast<int>(text.size()));
}

// Sizes on both sides of every border between two ways of reading or writing.
std::vector<std::string> textsOfAllSizes() {
    std::vector<std::string> texts;
    for (const int length : {1, 2, 1023, 1024, 1025, 4096, 131071, 131072, 131073, 262144, 262145, 3000000}) {
        const auto size = static_cast<std::size_t>(length);
        std::string text(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>(i * 7 % 251);
        }
        texts.push_back(text);
    }
    return texts;
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

TEST(ReadFile, GoesOnAfterASignal) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "text");
    faulty::pread = {3, -EINTR};
    Bytes data;
    EXPECT_TRUE(FileUtils::getAllBytesFromFile(top / "file", data));
    EXPECT_EQ(data, bytes("text"));
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

TEST(ReadBytes, NegativePlacesAndSizesReadNothing) {
    const TemporaryDirectory top;
    filesystem::write(top / "file", "0123456789");
    for (const auto& [offset, size] :
         {std::pair(-1, 3), std::pair(-1, 0), std::pair(0, -1), std::pair(5, -5), std::pair(-3, -3),
          std::pair(-largestInt - 1, -largestInt - 1), std::pair(-largestInt - 1, largestInt)}) {
        Bytes data = bytes("before");
        EXPECT_FALSE(FileUtils::getBytesFromFile(top / "file", data, offset, size));
        EXPECT_EQ(data, bytes("before"));
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
    umask(before);
    EXPECT_EQ(filesystem::read(top / "new"), "text");
    EXPECT_EQ(filesystem::mode(top / "new"), 0640);
    EXPECT_EQ(filesystem::read(top / "appended"), "text");
    EXPECT_EQ(filesystem::mode(top / "appended"), 0640);
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

// The state that the library's records print for an output stream after the write and the close.
[[maybe_unused]] unsigned stateOfStream(const std::string& path, std::ios::openmode mode, int size) {
    std::ofstream stream(path, mode | std::ios::binary);
    const std::string text(static_cast<std::size_t>(size), 'x');
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
