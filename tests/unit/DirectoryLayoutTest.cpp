#include <VDIFrameworkCommon/FileUtils.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <set>
#include <thread>
#include <vector>

#include "support/FileSystem.h"
#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"

// Each test is a process of its own: what is computed once is not computed yet when it begins.

namespace {

using multiprocess::Child;
using VDIFrameworkCommon::FileUtils;

TEST(DirectoryLayout, NamesArePlain) {
    EXPECT_EQ(FileUtils::FileSeparator(), "/");
    EXPECT_EQ(FileUtils::FileSeparatorW(), L"/");
    EXPECT_EQ(FileUtils::DPLDir(), "DPL");
    EXPECT_EQ(FileUtils::PVDIDir(), "PVDI");
    EXPECT_EQ(FileUtils::LogsDir(), "Logs");
}

TEST(DirectoryLayout, TreeWithTheDefaults) {
    ASSERT_EQ(setenv("HOME", "/home/user", 1), 0);
    const std::string data = "/home/user/Library/Application Support";
    const std::string base = data + "/Tavix/Unified Communications/Parlet/DPL";
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "/home/user");
    EXPECT_EQ(FileUtils::getUserLocalAppDir(), data);
    EXPECT_EQ(FileUtils::getUserRoamingDir(), data);
    EXPECT_EQ(FileUtils::UCDirPath(), "Tavix/Unified Communications");
    EXPECT_EQ(FileUtils::getLocalAppBaseDirectory(), base);
    EXPECT_EQ(FileUtils::getRoamingBaseDirectory(), base);
    EXPECT_EQ(FileUtils::getHistoryDirectory(), base + "/History");
    EXPECT_EQ(FileUtils::getHistoryFileName("a/b:c"), base + "/History/a%2Fb%3Ac.db");
    EXPECT_EQ(FileUtils::getTraceDir(), base + "/Logs");
    EXPECT_EQ(FileUtils::getMurmurkitCppTraceDir(), base + "/Logs/MurmurkitCpp");
    EXPECT_EQ(FileUtils::getConfigDirectory(), base + "/Config");
    EXPECT_EQ(FileUtils::getConfigDirectory("a|b"), base + "/Config/a%7Cb");
    EXPECT_EQ(FileUtils::getCredentialsDirectory(), base + "/Credentials");
    EXPECT_EQ(FileUtils::getSecurityDirectory(), base + "/Security");
    EXPECT_TRUE(recording::takeRecords().empty());
    EXPECT_FALSE(std::filesystem::exists("/home/user/Library")) << "nothing is created";
}

TEST(DirectoryLayout, TreeFollowsTheSettings) {
    ASSERT_EQ(setenv("HOME", "/h", 1), 0);
    FileUtils::setCompanyName("C");
    FileUtils::setAppIdentifier("A");
    EXPECT_EQ(FileUtils::UCDirPath(), "C/Unified Communications");
    EXPECT_EQ(FileUtils::getSecurityDirectory(),
              "/h/Library/Application Support/C/Unified Communications/A/DPL/Security");
    FileUtils::setCompanyName("D");
    FileUtils::setAppIdentifier("B");
    EXPECT_EQ(FileUtils::getTraceDir(), "/h/Library/Application Support/D/Unified Communications/B/DPL/Logs")
        << "also when they change";
}

TEST(DirectoryLayout, TemporaryDirectoryIsFixed) {
    ASSERT_EQ(setenv("TMPDIR", "/elsewhere", 1), 0);
    EXPECT_EQ(FileUtils::getUserTempDirectory(), L"/tmp");
}

struct Setting {
    std::string (*access)(const std::string&);
    std::string (*get)();
    void (*set)(const std::string&);
};

constexpr Setting settings[] = {
    {FileUtils::AppIdentifier, FileUtils::getAppIdentifier, FileUtils::setAppIdentifier},
    {FileUtils::CompanyName, FileUtils::getCompanyName, FileUtils::setCompanyName},
    {FileUtils::InstallationDirPath, FileUtils::getInstallationDirectory, FileUtils::setInstallationDirectory},
    {FileUtils::ResourcesDirPath, FileUtils::getResourcesDirectory, FileUtils::setResourcesDirectory},
    {FileUtils::FilePrefixForTests, FileUtils::getFilePrefixForTests, FileUtils::setFilePrefixForTests},
};

TEST(DirectoryLayout, SettingsHaveDefaults) {
    EXPECT_EQ(FileUtils::getAppIdentifier(), "Parlet");
    EXPECT_EQ(FileUtils::getCompanyName(), "Tavix");
    EXPECT_EQ(FileUtils::getFilePrefixForTests(), "");
    EXPECT_NE(FileUtils::getInstallationDirectory(), "");
    EXPECT_NE(FileUtils::getResourcesDirectory(), "");
}

TEST(DirectoryLayout, EmptyTextOnlyReadsASetting) {
    for (const auto& [access, get, set] : settings) {
        EXPECT_EQ(access("one"), "one");
        EXPECT_EQ(access(""), "one");
        EXPECT_EQ(get(), "one");
        set("two");
        EXPECT_EQ(get(), "two");
        set("");
        EXPECT_EQ(get(), "two") << "it cannot be set back to empty";
        EXPECT_EQ(access(get()), "two");
    }
}

TEST(DirectoryLayout, HomeIsKeptFromItsFirstValue) {
    ASSERT_EQ(setenv("HOME", "/first", 1), 0);
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "/first");
    ASSERT_EQ(setenv("HOME", "/second", 1), 0);
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "/first");
}

TEST(DirectoryLayout, EmptyHomeIsEmptyAndAskedForAgain) {
    ASSERT_EQ(setenv("HOME", "", 1), 0);
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "");
    EXPECT_EQ(FileUtils::getUserLocalAppDir(), "/Library/Application Support");
    ASSERT_EQ(setenv("HOME", "/later", 1), 0);
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "/later");
    EXPECT_EQ(FileUtils::getUserLocalAppDir(), "/Library/Application Support") << "computed once";
    EXPECT_EQ(FileUtils::getUserRoamingDir(), "/later/Library/Application Support") << "kept apart from the local one";
}

TEST(DirectoryLayout, EveryDirectoryIsBelowItsOwnBase) {
    // The two bases differ only when the home directory becomes known between their first uses.
    ASSERT_EQ(setenv("HOME", "", 1), 0);
    const std::string local = FileUtils::getLocalAppBaseDirectory();
    ASSERT_EQ(setenv("HOME", "/later", 1), 0);
    const std::string roaming = FileUtils::getRoamingBaseDirectory();
    ASSERT_NE(local, roaming);
    EXPECT_EQ(FileUtils::getHistoryDirectory(), local + "/History");
    EXPECT_EQ(FileUtils::getTraceDir(), local + "/Logs");
    EXPECT_EQ(FileUtils::getConfigDirectory(), roaming + "/Config");
    EXPECT_EQ(FileUtils::getCredentialsDirectory(), roaming + "/Credentials");
    EXPECT_EQ(FileUtils::getSecurityDirectory(), roaming + "/Security");
}

TEST(DirectoryLayout, HomeComesFromTheUserDatabaseWhenNotSet) {
    ASSERT_EQ(unsetenv("HOME"), 0);
    const passwd* const entry = getpwuid(getuid());
    ASSERT_NE(entry, nullptr);
    const std::string home = entry->pw_dir;
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), home);
    EXPECT_EQ(FileUtils::getUserLocalAppDir(), home + "/Library/Application Support");
}

TEST(DirectoryLayout, HomeIsEmptyForAUserThatTheDatabaseDoesNotKnow) {
    constexpr uid_t unknown = 3999999999;
    ASSERT_EQ(unsetenv("HOME"), 0);
    if (getpwuid(unknown) != nullptr || setresuid(unknown, unknown, 0) != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "");
    ASSERT_EQ(setresuid(0, 0, 0), 0);
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), getpwuid(0)->pw_dir) << "an empty one is not kept";
}

TEST(DirectoryLayout, HomeIsThatOfTheRealUser) {
    constexpr uid_t unknown = 3999999999;
    ASSERT_EQ(unsetenv("HOME"), 0);
    if (getuid() != 0 || getpwuid(unknown) != nullptr || seteuid(unknown) != 0) {
        GTEST_SKIP() << "only the superuser can act as another user";
    }
    const std::string home = FileUtils::getUserDocumentsDir();
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(home, getpwuid(0)->pw_dir);
}

TEST(DirectoryLayout, HomeMayBeInALongEntryOfTheUserDatabase) {
    const filesystem::TemporaryDirectory top;
    filesystem::write(top / "passwd", "root:x:0:0:" + std::string(5000, 'n') + ":/a/home:/bin/sh\n");
    ASSERT_EQ(unsetenv("HOME"), 0);
    if (getuid() != 0 || unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount((top / "passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "only the superuser can have another user database";
    }
    EXPECT_EQ(FileUtils::getUserDocumentsDir(), "/a/home");
    EXPECT_EQ(umount("/etc/passwd"), 0);
}

TEST(DirectoryLayout, InstallationDirectoryIsTheVariableUpToItsLastSeparator) {
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/a/b/c", 1), 0);
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/a/b");
    EXPECT_EQ(FileUtils::getBootstrapDirectory(), "/a/b");
    EXPECT_EQ(FileUtils::getBootstrapFilePath(), "/a/b/parlet-bootstrap.properties");
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/x/y", 1), 0);
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/a/b") << "computed once";
    FileUtils::setInstallationDirectory("/z");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), "/z");
    EXPECT_EQ(FileUtils::getBootstrapDirectory(), "/a/b") << "fixed at its first call";
}

TEST(DirectoryLayout, BootstrapDirectoryIsFixedAtItsFirstCall) {
    FileUtils::setInstallationDirectory("/set");
    EXPECT_EQ(FileUtils::getBootstrapFilePath(), "/set/parlet-bootstrap.properties");
    FileUtils::setInstallationDirectory("/later");
    EXPECT_EQ(FileUtils::getBootstrapDirectory(), "/set");
}

CHILD_MAIN(printInstallationDirectory) {
    std::cout << FileUtils::getInstallationDirectory() << '\n';
    setenv("PARLET_INSTALL_DIR", "/set/later/", 1);
    std::cout << FileUtils::getInstallationDirectory() << '\n';
    FileUtils::setInstallationDirectory("/z");
    std::cout << FileUtils::getInstallationDirectory() << std::endl;
}

TEST(DirectoryLayout, InstallationDirectoryOfEveryKindOfVariable) {
    const std::pair<std::string, std::string> cases[] = {{"/opt/app/bin", "/opt/app"},
                                                         {"/opt/app/bin/", "/opt/app/bin"},
                                                         {"noseparator", "noseparator"},
                                                         {"/app", ""},
                                                         {"/", ""},
                                                         {"", ""},
                                                         {"a//", "a/"}};
    for (const auto& [variable, directory] : cases) {
        Child child("printInstallationDirectory", {}, {{"PARLET_INSTALL_DIR", variable}});
        ASSERT_EQ(child.join(), 0);
        EXPECT_EQ(child.output(), directory + '\n' + directory + "\n/z\n") << variable;
    }
}

TEST(DirectoryLayout, InstallationDirectoryIsThatOfTheExecutableByDefault) {
    ASSERT_EQ(unsetenv("PARLET_INSTALL_DIR"), 0);
    const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(FileUtils::getInstallationDirectory(), executable.parent_path().string());
}

CHILD_MAIN(printDirectories) {
    // The path of the program may have to be found out after its file is gone.
    if (!arguments.empty()) {
        std::filesystem::remove(arguments.front());
    }
    std::cout << FileUtils::getInstallationDirectory() << '\n' << FileUtils::getResourcesDirectory() << std::endl;
}

// Runs a copy of this program as `path`. Returns its installation directory and resources directory, a line each.
std::string directoriesOf(const std::string& path, const std::string& argument = "") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file("/proc/self/exe", path, std::filesystem::copy_options::overwrite_existing);
    unsetenv("PARLET_INSTALL_DIR");
    const std::string command = "exec '" + path + "' --child=printDirectories " + argument;
    std::string output;
    if (FILE* const pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            output.append(buffer, got);
        }
        EXPECT_EQ(pclose(pipe), 0);
    }
    return output;
}

TEST(DirectoryLayout, ResourcesOfAProgramInsideContentsAreBesideItsFolder) {
    const filesystem::TemporaryDirectory top;
    EXPECT_EQ(directoriesOf(top / "Agent.app/Contents/MacOS/agent"),
              (top / "Agent.app/Contents/MacOS\n") + (top / "Agent.app/Contents/Resources\n"));
    EXPECT_EQ(directoriesOf(top / "Contents/bin/agent"), (top / "Contents/bin\n") + (top / "Contents/Resources\n"));
}

TEST(DirectoryLayout, ResourcesOfAProgramInBinAreInShare) {
    const filesystem::TemporaryDirectory top;
    EXPECT_EQ(directoriesOf(top / "usr/bin/agent"), (top / "usr/bin\n") + (top / "usr/share/agent\n"));
}

TEST(DirectoryLayout, ResourcesOfAnyOtherProgramAreInItsFolder) {
    const filesystem::TemporaryDirectory top;
    EXPECT_EQ(directoriesOf(top / "sbin/agent"), (top / "sbin\n") + (top / "sbin\n"));
    EXPECT_EQ(directoriesOf(top / "Contents/agent"), (top / "Contents\n") + (top / "Contents\n"));
}

TEST(DirectoryLayout, ProgramMayBeGone) {
    const filesystem::TemporaryDirectory top;
    EXPECT_EQ(directoriesOf(top / "bin/agent", '\'' + (top / "bin/agent") + '\''),
              (top / "bin\n") + (top / "share/agent\n"));
    EXPECT_EQ(directoriesOf(top / "bin/agent (deleted)"), (top / "bin\n") + (top / "share/agent (deleted)\n"))
        << "a name that only looks like it";
}

TEST(DirectoryLayout, ExecutablePathMayBeLong) {
    const filesystem::TemporaryDirectory top;
    std::string directory = top.path();
    while (directory.size() < 2500) {
        directory += '/' + std::string(200, 'd');
    }
    EXPECT_EQ(directoriesOf(directory + "/agent"), directory + '\n' + directory + '\n');
}

TEST(DirectoryLayout, EscapesWhatAFileNameMayNotHave) {
    EXPECT_EQ(FileUtils::escapeFileName("\\:*<>|?\"/"), "%5C%3A%2A%3C%3E%7C%3F%22%2F");
    EXPECT_EQ(FileUtils::escapeFileName("50%"), "50%");
    EXPECT_EQ(FileUtils::escapeFileName("%2F/"), "%2F%2F") << "not to be told apart";
    EXPECT_EQ(FileUtils::escapeFileName("user@example.com //"), "user@example.com %2F%2F");
    EXPECT_EQ(FileUtils::escapeFileName(""), "");
    EXPECT_EQ(FileUtils::escapeFileName("\xFF:\xC3\xA4"), "\xFF%3A\xC3\xA4");
    EXPECT_EQ(FileUtils::escapeFileName(std::string("a\0/", 3)), std::string("a\0%2F", 5));
}

// What the threads find on their first calls, all begun at the same time.
std::set<std::string> firstResults(std::string (*function)()) {
    std::vector<std::string> results(8);
    std::atomic<bool> mayStart{false};
    std::vector<std::thread> threads;
    for (std::string& result : results) {
        threads.emplace_back([&result, &mayStart, function] {
            while (!mayStart) {
                std::this_thread::yield();
            }
            result = function();
        });
    }
    mayStart = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return {results.begin(), results.end()};
}

TEST(DirectoryLayout, ThreadsAgreeAtFirstUse) {
    ASSERT_EQ(setenv("HOME", "/h", 1), 0);
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/i/", 1), 0);
    EXPECT_THAT(firstResults(FileUtils::getUserDocumentsDir), testing::ElementsAre("/h"));
    EXPECT_THAT(firstResults(FileUtils::getUserLocalAppDir), testing::ElementsAre("/h/Library/Application Support"));
    EXPECT_THAT(firstResults(FileUtils::getUserRoamingDir), testing::ElementsAre("/h/Library/Application Support"));
    EXPECT_THAT(firstResults(FileUtils::getAppIdentifier), testing::ElementsAre("Parlet"));
    EXPECT_THAT(firstResults(FileUtils::getCompanyName), testing::ElementsAre("Tavix"));
    EXPECT_THAT(firstResults(FileUtils::getBootstrapDirectory), testing::ElementsAre("/i"));
    EXPECT_THAT(firstResults(FileUtils::getResourcesDirectory), testing::SizeIs(1));
    EXPECT_THAT(firstResults(FileUtils::getFilePrefixForTests), testing::ElementsAre(""));
}

TEST(DirectoryLayout, SettingsMayBeSetAndReadAtOnce) {
    const std::string values[] = {std::string(40, 'a'), std::string(50, 'b')};
    FileUtils::setCompanyName(values[0]);
    std::atomic<bool> isDone{false};
    std::thread setter([&] {
        for (int i = 0; i < 5000; ++i) {
            FileUtils::setCompanyName(values[i % 2]);
        }
        isDone = true;
    });
    do {
        ASSERT_THAT(FileUtils::getCompanyName(), testing::AnyOf(values[0], values[1]));
    } while (!isDone);
    setter.join();
}

CHILD_MAIN(asksAtExit) {
    // Runs after the destructors of everything that is made later than this.
    std::atexit([] {
        if (FileUtils::getLocalAppBaseDirectory().find("A company with quite a long name/") == std::string::npos) {
            _exit(3);
        }
    });
    FileUtils::setCompanyName("A company with quite a long name");
    FileUtils::getUserLocalAppDir();
}

TEST(DirectoryLayout, IsThereUntilTheVeryEnd) {
    Child child("asksAtExit", {}, {{"HOME", "/h"}});
    EXPECT_EQ(child.join(), 0) << child.errors();
}

}  // namespace
