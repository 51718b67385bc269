// Functions of files and of the system: each that is listed has the exact signature, each that is left out on purpose
// stays out. The compiler checks it.

#include <VDIFrameworkCommon/FileUtils.h>
#include <VDIFrameworkCommon/SystemUtils.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "support/Overloads.h"

namespace {

using namespace VDIFrameworkCommon;
using overloads::has;

using Narrow = const std::string&;
using Wide = const std::wstring&;
using Bytes = std::vector<unsigned char>;

// A few functions take wide paths; the others are not to get one unnoticed.
template <typename Path>
concept TakesPathsEverywhere = requires(Path path) {
    FileUtils::fileExists(path);
    FileUtils::getParentDirectory(path);
    FileUtils::getFileName(path);
    FileUtils::getFileExtension(path);
};
static_assert(TakesPathsEverywhere<std::string> && TakesPathsEverywhere<std::wstring>);

template <typename Path>
concept HasSize = requires(Path path) {
    FileUtils::getFileSize(path);
};
template <typename Path>
concept TellsDirectories = requires(Path path) {
    FileUtils::isDirectory(path);
};
template <typename Path>
concept CreatesDirectories = requires(Path path) {
    FileUtils::createDirectory(path);
}
|| requires(Path path) {
    FileUtils::createDirectoryStructure(path);
}
|| requires(Path path) {
    FileUtils::createParentDirectory(path);
};
template <typename Path>
concept RemovesOrMoves = requires(Path path) {
    FileUtils::removeDirectory(path);
}
|| requires(Path path) {
    FileUtils::removeFile(path);
}
|| requires(Path path) {
    FileUtils::renameFile(path, path);
}
|| requires(Path path) {
    FileUtils::copyFile(path, path, true);
}
|| requires(Path path) {
    FileUtils::moveFile(path, path, true);
};
template <typename Path>
concept ReadsOrWrites = requires(Path path, Bytes& data) {
    FileUtils::getAllBytesFromFile(path, data);
}
|| requires(Path path, Bytes& data) {
    FileUtils::getBytesFromFile(path, data, 0, 0);
}
|| requires(Path path) {
    FileUtils::saveFile(path, "", 0);
}
|| requires(Path path) {
    FileUtils::saveFileAppand(path, "", 0, 0);
};
template <typename Path>
concept ListsDirectories = requires(Path path, std::vector<Path>& paths) {
    FileUtils::getFilesFromDirectory(path, paths, paths, true);
}
|| requires(Path path, std::vector<Path>& paths) {
    FileUtils::getSubDirectories(path, true, paths);
};
template <typename Path>
concept NamesPlaces = requires(Path path) {
    FileUtils::getAbsolutePath(path);
}
|| requires(Path path) {
    FileUtils::escapeFileName(path);
}
|| requires(Path path) {
    FileUtils::getHistoryFileName(path);
}
|| requires(Path path) {
    FileUtils::getConfigDirectory(path);
}
|| requires(Path path) {
    FileUtils::setInstallationDirectory(path);
};
template <typename Path>
inline constexpr bool takesPathsAnywhereElse =
    HasSize<Path> || TellsDirectories<Path> || CreatesDirectories<Path> || RemovesOrMoves<Path> ||
    ReadsOrWrites<Path> || ListsDirectories<Path> || NamesPlaces<Path>;
static_assert(takesPathsAnywhereElse<std::string> && !takesPathsAnywhereElse<std::wstring>);

template <typename Class>
concept SpellsAppendCorrectly = requires {
    Class::saveFileAppend("", "", 0, 0);
};
static_assert(!SpellsAppendCorrectly<FileUtils>, "hosts know it by its misspelt name alone");

static_assert(!std::is_default_constructible_v<FileUtils> && !std::is_default_constructible_v<SystemUtils>,
              "nothing but static members");

TEST(FileOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<bool, Narrow, Bytes&>(&FileUtils::getAllBytesFromFile)));
    EXPECT_TRUE((has<bool, Narrow, Bytes&, int, int>(&FileUtils::getBytesFromFile)));
    EXPECT_TRUE((has<bool, Narrow, const char*, int>(&FileUtils::saveFile)));
    EXPECT_TRUE((has<bool, Narrow, const char*, int, int>(&FileUtils::saveFileAppand)));
    EXPECT_TRUE((has<bool, Narrow>(&FileUtils::fileExists)));
    EXPECT_TRUE((has<bool, Wide>(&FileUtils::fileExists)));
    EXPECT_TRUE((has<std::uint64_t, Narrow>(&FileUtils::getFileSize)));
    EXPECT_TRUE((has<bool, Narrow>(&FileUtils::isDirectory)));
    EXPECT_TRUE((has<bool, Narrow>(&FileUtils::createDirectory)));
    EXPECT_TRUE((has<bool, Narrow>(&FileUtils::createDirectoryStructure)));
    EXPECT_TRUE((has<void, Narrow>(&FileUtils::createParentDirectory)));
    EXPECT_TRUE((has<void, Narrow>(&FileUtils::removeDirectory)));
    EXPECT_TRUE((has<void, std::string, const std::vector<std::string>&, std::vector<std::string>&, bool>(
        &FileUtils::getFilesFromDirectory)));
    EXPECT_TRUE((has<void, Narrow, bool, std::vector<std::string>&>(&FileUtils::getSubDirectories)));
    EXPECT_TRUE((has<int, Narrow>(&FileUtils::removeFile)));
    EXPECT_TRUE((has<int, Narrow, Narrow>(&FileUtils::renameFile)));
    EXPECT_TRUE((has<bool, Narrow, Narrow, bool>(&FileUtils::copyFile)));
    EXPECT_TRUE((has<int, Narrow, Narrow, bool>(&FileUtils::moveFile)));
    EXPECT_TRUE((has<std::wstring, Wide>(&FileUtils::getParentDirectory)));
    EXPECT_TRUE((has<std::string, Narrow>(&FileUtils::getParentDirectory)));
    EXPECT_TRUE((has<std::wstring, Wide>(&FileUtils::getFileName)));
    EXPECT_TRUE((has<std::string, Narrow>(&FileUtils::getFileName)));
    EXPECT_TRUE((has<std::wstring, Wide>(&FileUtils::getFileExtension)));
    EXPECT_TRUE((has<std::string, Narrow>(&FileUtils::getFileExtension)));
    EXPECT_TRUE((has<std::string, Narrow>(&FileUtils::getAbsolutePath)));
}

TEST(DirectoryOverloads, AreThoseThatHostsCall) {
    for (const auto access : {&FileUtils::AppIdentifier, &FileUtils::CompanyName, &FileUtils::InstallationDirPath,
                              &FileUtils::ResourcesDirPath, &FileUtils::FilePrefixForTests,
                              &FileUtils::getHistoryFileName, &FileUtils::escapeFileName}) {
        EXPECT_TRUE((has<std::string, Narrow>(access)));
    }
    for (const auto set :
         {&FileUtils::setAppIdentifier, &FileUtils::setCompanyName, &FileUtils::setInstallationDirectory,
          &FileUtils::setResourcesDirectory, &FileUtils::setFilePrefixForTests}) {
        EXPECT_TRUE((has<void, Narrow>(set)));
    }
    for (const auto get : {&FileUtils::getAppIdentifier,
                           &FileUtils::getCompanyName,
                           &FileUtils::getInstallationDirectory,
                           &FileUtils::getResourcesDirectory,
                           &FileUtils::getFilePrefixForTests,
                           &FileUtils::FileSeparator,
                           &FileUtils::DPLDir,
                           &FileUtils::PVDIDir,
                           &FileUtils::LogsDir,
                           &FileUtils::getUserDocumentsDir,
                           &FileUtils::getUserLocalAppDir,
                           &FileUtils::getUserRoamingDir,
                           &FileUtils::UCDirPath,
                           &FileUtils::getLocalAppBaseDirectory,
                           &FileUtils::getRoamingBaseDirectory,
                           &FileUtils::getHistoryDirectory,
                           &FileUtils::getTraceDir,
                           &FileUtils::getMurmurkitCppTraceDir,
                           &FileUtils::getCredentialsDirectory,
                           &FileUtils::getSecurityDirectory,
                           &FileUtils::getBootstrapDirectory,
                           &FileUtils::getBootstrapFilePath}) {
        EXPECT_TRUE((has<std::string>(get)));
    }
    EXPECT_TRUE((has<std::string>(&FileUtils::getConfigDirectory)));
    EXPECT_TRUE((has<std::string, Narrow>(&FileUtils::getConfigDirectory)));
    EXPECT_TRUE((has<std::wstring>(&FileUtils::FileSeparatorW)));
    EXPECT_TRUE((has<std::wstring>(&FileUtils::getUserTempDirectory)));
}

TEST(SystemOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<ParletVersion>(&SystemUtils::getDefaultParletVersion)));
    EXPECT_TRUE((has<void, const ParletVersion&>(&SystemUtils::setParletVersion)));
    EXPECT_TRUE((has<ParletVersion>(&SystemUtils::getParletVersion)));
    EXPECT_TRUE((has<std::string>(&SystemUtils::getHttpUserAgent)));
    EXPECT_TRUE((has<std::string, Narrow>(&SystemUtils::getEnvVar)));
    EXPECT_TRUE((has<std::string, void*>(&SystemUtils::GetLibraryName)));
    EXPECT_TRUE((has<std::string, void*>(&SystemUtils::GetLibraryDirectoryPath)));
    EXPECT_TRUE((has<void, Narrow>(&SystemUtils::addLibrarySearchPath)));
    EXPECT_TRUE((has<void, std::wstring&, std::wstring&>(&SystemUtils::getMemoryUsage)));
    EXPECT_TRUE((std::is_same_v<decltype(ParletVersion::major), std::uint64_t>));
    const ParletVersion version{1, 2, 3, 4};
    EXPECT_EQ(version.major, 1U);
    EXPECT_EQ(version.minor, 2U);
    EXPECT_EQ(version.revision, 3U);
    EXPECT_EQ(version.build, 4U);
}

}  // namespace
