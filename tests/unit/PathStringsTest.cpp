#include <VDIFrameworkCommon/FileUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

#include "support/RecordingLogger.h"

namespace {

using VDIFrameworkCommon::FileUtils;
using VDIFrameworkCommon::toString;
using VDIFrameworkCommon::toWideString;

struct Case {
    const char* path;
    const char* parent;
    const char* name;
    const char* extension;
};

TEST(PathStrings, AreCutAtTheLastSeparatorAndDot) {
    constexpr Case cases[] = {
        {"", "", "", ""},
        {"a", "", "a", ""},
        {"/", "", "", ""},
        {"//", "", "", ""},
        {"/a", "", "a", ""},
        {"a/", "a/", "", ""},
        {"a//", "a", "", ""},
        {"/a/", "", "", ""},
        {"/a/b", "/a", "b", ""},
        {"/a/b/", "/a", "", ""},
        {"/a//b", "/a/", "b", ""},
        {"/a/b.txt", "/a", "b.txt", "txt"},
        {"dir.x/file", "dir.x", "file", "x/file"},
        {".hidden", "", ".hidden", "hidden"},
        {"a.", "", "a.", ""},
        {"a.b.c", "", "a.b.c", "c"},
        {"/\xC3\xA4.\xE2\x82\xAC/\xF0\x9F\x98\x80.\xC3\xB6", "/\xC3\xA4.\xE2\x82\xAC", "\xF0\x9F\x98\x80.\xC3\xB6",
         "\xC3\xB6"},
    };
    for (const auto& [path, parent, name, extension] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(FileUtils::getParentDirectory(path), parent);
        EXPECT_EQ(FileUtils::getFileName(path), name);
        EXPECT_EQ(FileUtils::getFileExtension(path), extension);
        EXPECT_EQ(FileUtils::getParentDirectory(toWideString(path)), toWideString(parent));
        EXPECT_EQ(FileUtils::getFileName(toWideString(path)), toWideString(name));
        EXPECT_EQ(FileUtils::getFileExtension(toWideString(path)), toWideString(extension));
    }
    EXPECT_TRUE(recording::takeRecords().empty());
}

TEST(PathStrings, ZeroBytesAreOrdinaryCharacters) {
    using namespace std::string_literals;
    EXPECT_EQ(FileUtils::getParentDirectory("a\0b/c\0.d"s), "a\0b"s);
    EXPECT_EQ(FileUtils::getFileName("a\0b/c\0.d"s), "c\0.d"s);
    EXPECT_EQ(FileUtils::getFileExtension(L"a\0b/c.\0d"s), L"\0d"s);
}

TEST(PathStrings, WideFormsTakeAnyElement) {
    EXPECT_EQ(FileUtils::getParentDirectory(L"\xD800/\x7FFFFFFF"), L"\xD800");
    EXPECT_EQ(FileUtils::getFileName(L"\xD800/\x7FFFFFFF"), L"\x7FFFFFFF");
    EXPECT_EQ(FileUtils::getFileExtension(L"\xD800.\x7FFFFFFF"), L"\x7FFFFFFF");
}

template <typename Call>
std::string messageOfRangeError(Call call) {
    try {
        call();
    } catch (const std::range_error& error) {
        return error.what();
    }
    return "no range error";
}

TEST(PathStrings, NarrowFormsRefuseInvalidUtf8) {
    for (const char* const path : {"\xFF", "/a/\xC3", "\xC0\xAF/b", "\xED\xA0\x80/b", "/a/b\xF5\x80\x80\x80"}) {
        const std::string error = "wstring_convert: from_bytes error";
        EXPECT_EQ(messageOfRangeError([path] { FileUtils::getParentDirectory(path); }), error) << path;
        EXPECT_EQ(messageOfRangeError([path] { FileUtils::getFileName(path); }), error) << path;
        EXPECT_EQ(messageOfRangeError([path] { FileUtils::getFileExtension(path); }), error) << path;
    }
}

// The narrow forms go the short way where they can; this is the long one.
TEST(PathStrings, NarrowFormsGiveWhatTheWideOnesDo) {
    const std::string pieces[] = {
        "/", "/", ".", "a", "bc", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xFF", std::string(1, '\0')};
    std::mt19937 random(7);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    int valid = 0;
    for (int i = 0; i < 100000; ++i) {
        std::string path;
        // The piece that is not valid is rare, so that most paths are.
        for (std::size_t left = below(12); left > 0; --left) {
            const std::size_t chosen = below(std::size(pieces));
            path += pieces[chosen == 8 && below(8) != 0 ? 0 : chosen];
        }
        std::wstring wide;
        try {
            wide = toWideString(path);
        } catch (const std::range_error&) {
            EXPECT_THROW(FileUtils::getParentDirectory(path), std::range_error);
            continue;
        }
        ++valid;
        ASSERT_EQ(FileUtils::getParentDirectory(path), toString(FileUtils::getParentDirectory(wide)));
        ASSERT_EQ(FileUtils::getFileName(path), toString(FileUtils::getFileName(wide)));
        ASSERT_EQ(FileUtils::getFileExtension(path), toString(FileUtils::getFileExtension(wide)));
    }
    EXPECT_GT(valid, 50000);
}

TEST(PathStrings, AbsolutePathIsBelowTheInstallationDirectory) {
    FileUtils::setInstallationDirectory("/opt/app");
    EXPECT_EQ(FileUtils::getAbsolutePath("/a/b"), "/a/b");
    EXPECT_EQ(FileUtils::getAbsolutePath("/"), "/");
    EXPECT_EQ(FileUtils::getAbsolutePath(""), "/opt/app");
    EXPECT_EQ(FileUtils::getAbsolutePath("a/b"), "/opt/app/a/b");
    EXPECT_EQ(FileUtils::getAbsolutePath("\xFF"), "/opt/app/\xFF");
}

}  // namespace
