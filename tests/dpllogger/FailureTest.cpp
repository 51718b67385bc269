#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "dpllogger/BlankLines.h"
#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
using namespace std::chrono_literals;

// A file system of this test's own, as large as wanted.
class SmallFileSystem {
public:
    SmallFileSystem(const std::filesystem::path& where, const char* options) : where_(where) {
        std::filesystem::create_directory(where);
        mounted_ = mount("tmpfs", where.c_str(), "tmpfs", 0, options) == 0;
    }
    ~SmallFileSystem() {
        if (mounted_) {
            umount2(where_.c_str(), MNT_DETACH);
        }
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool isThere() const { return mounted_; }

private:
    const std::filesystem::path where_;
    bool mounted_ = false;
};

// How many records the log says were lost, of which none waited too long.
int reportedLosses(const std::vector<logreader::Line>& lines) {
    static const std::regex form(R"((\d+) records lost: (\d+) not written \([A-Z].*\))");
    int lost = 0;
    for (const logreader::Line& line : lines) {
        std::smatch match;
        if (line.logger == "dpllogger" && std::regex_match(line.message, match, form)) {
            EXPECT_EQ(match[1], match[2]);
            EXPECT_EQ(line.level, DPL_WARN);
            lost += std::stoi(match[1]);
        }
    }
    return lost;
}

TEST(LogFailure, AFullDiskCostsRecordsThatAreCountedAndReported) {
    const logreader::TemporaryFolder folder;
    const SmallFileSystem disk(folder / "disk", "size=128k,mode=0700");
    if (!disk.isThere()) {
        GTEST_SKIP() << "no file system can be mounted here: " << std::strerror(errno);
    }
    const auto log = folder / "disk" / "a.log";
    LogController controller;
    controller.init(log);
    std::ofstream(folder / "disk" / "ballast") << std::string(60000, 'x');
    int logged = 0;
    for (; logged < 3000; ++logged) {
        logreader::write(controller, logged % 7 == 0 ? DPL_ERROR : DPL_INFO, std::to_string(logged));
    }
    controller.flush();
    EXPECT_EQ(reportedLosses(logreader::readLog(log)), 0) << "there is no room for the report either";
    std::filesystem::remove(folder / "disk" / "ballast");
    logreader::write(controller, DPL_ERROR, "room again");

    const auto lines = logreader::readLog(log);
    const int lost = reportedLosses(lines);
    EXPECT_GT(lost, 0);
    EXPECT_EQ(static_cast<int>(lines.size()) - 2 + lost, logged) << "each record is there or counted";
    EXPECT_EQ(lines.back().message, "room again");
    EXPECT_THAT(lines[lines.size() - 2].message, EndsWith("(No space left on device)"));
    for (std::size_t i = 0; i + 2 < lines.size(); ++i) {
        ASSERT_EQ(lines[i].message, std::to_string(i)) << "what was written before the disk was full is whole";
    }
}

CHILD_MAIN(writesUntilToldToStop) {
    LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "first");
    multiprocess::step("first");
    multiprocess::await("fail");
    logreader::write(controller, DPL_ERROR, "second");
    logreader::write(controller, DPL_INFO, "third");
    controller.flush();
    multiprocess::step("failed");
    multiprocess::await("work");
    logreader::write(controller, DPL_ERROR, "fourth");
}

TEST(LogFailure, LossesThatNoLogTellsAreToldOnStandardErrorAtExit) {
    const logreader::TemporaryFolder folder;
    const auto sub = folder / "sub";
    Child child("writesUntilToldToStop", {sub / "a.log"});
    child.waitFor("first");
    std::filesystem::remove_all(sub);
    std::ofstream(sub) << "in the way";
    child.tell("fail");
    child.waitFor("failed");
    child.tell("work");
    EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors(), "tavixhuddleslogger: 3 records lost: 3 not written (Not a directory)\n");
    EXPECT_EQ(logreader::contents(sub), "in the way");
}

TEST(LogFailure, ARemovedFolderIsMadeAnew) {
    const logreader::TemporaryFolder folder;
    const auto log = folder / "one" / "two" / "a.log";
    LogController controller;
    controller.init(log);
    logreader::write(controller, DPL_ERROR, "first");
    std::filesystem::remove_all(folder / "one");
    logreader::write(controller, DPL_ERROR, "second");
    EXPECT_THAT(logreader::messagesOf(log), ElementsAre("second"));
}

TEST(LogFailure, AFolderThatCannotBeMadeAnewCostsRecordsThatAreCountedAndReported) {
    const logreader::TemporaryFolder folder;
    const auto sub = folder / "sub";
    LogController controller;
    controller.init(sub / "a.log");
    logreader::write(controller, DPL_ERROR, "first");
    std::filesystem::remove_all(sub);
    std::ofstream(sub) << "in the way";
    for (int i = 0; i < 10; ++i) {
        logreader::write(controller, i % 2 == 0 ? DPL_INFO : DPL_ERROR, "lost");
    }
    std::filesystem::remove(sub);
    logreader::write(controller, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(sub / "a.log"),
                ElementsAre("10 records lost: 10 not written (Not a directory)", "last"));
}

// Root writes what the mode forbids, so the log's file system becomes read-only instead.
TEST(LogFailure, AFileMadeReadOnlyCostsRecordsThatAreCountedAndReported) {
    const logreader::TemporaryFolder folder;
    const SmallFileSystem disk(folder / "disk", "size=1m,mode=0700");
    if (!disk.isThere()) {
        GTEST_SKIP() << "no file system can be mounted here: " << std::strerror(errno);
    }
    const auto log = folder / "disk" / "a.log";
    std::ofstream(log) << "";
    ASSERT_EQ(mount(log.c_str(), log.c_str(), "none", MS_BIND, nullptr), 0);
    LogController controller;
    controller.init(log);
    logreader::write(controller, DPL_ERROR, "first");
    ASSERT_EQ(mount(nullptr, log.c_str(), "none", MS_BIND | MS_REMOUNT, nullptr), 0);
    ASSERT_EQ(umount2(log.c_str(), MNT_DETACH), 0);
    // The same file through another, read-only mount.
    std::filesystem::rename(log, folder / "disk" / "moved");
    std::ofstream(log) << "";
    ASSERT_EQ(mount(log.c_str(), log.c_str(), "none", MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, log.c_str(), "none", MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    logreader::write(controller, DPL_INFO, "lost");
    logreader::write(controller, DPL_ERROR, "lost");
    ASSERT_EQ(mount(nullptr, log.c_str(), "none", MS_BIND | MS_REMOUNT, nullptr), 0);
    logreader::write(controller, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(log),
                ElementsAre("2 records lost: 2 not written (Read-only file system)", "last"));
    umount2(log.c_str(), MNT_DETACH);
}

// As an ordinary user: a mode that forbids writing.
CHILD_MAIN(writesAsAnOrdinaryUser) {
    constexpr uid_t user = 12345;
    if (geteuid() == 0 && (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)) {
        multiprocess::step("cannot");
        return;
    }
    multiprocess::step("ordinary");
    const std::filesystem::path log = arguments.at(0);
    LogController controller;
    controller.init(log);
    logreader::write(controller, DPL_ERROR, "first");
    std::filesystem::permissions(log, std::filesystem::perms::owner_read);
    logreader::write(controller, DPL_ERROR, "the open file is still writable");
    // Another process put the file aside and made the new one read-only.
    std::filesystem::rename(log, log.string() + ".1");
    std::ofstream(log) << "";
    std::filesystem::permissions(log, std::filesystem::perms::owner_read);
    logreader::write(controller, DPL_INFO, "lost");
    logreader::write(controller, DPL_ERROR, "lost");
    std::filesystem::permissions(log, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    logreader::write(controller, DPL_ERROR, "last");
}

TEST(LogFailure, AModeThatForbidsWritingCostsRecordsThatAreCountedAndReported) {
    const logreader::TemporaryFolder folder;
    std::filesystem::create_directory(folder / "sub");
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    std::filesystem::permissions(folder / "sub", std::filesystem::perms::all);
    Child child("writesAsAnOrdinaryUser", {folder / "sub" / "a.log"});
    if (child.next() != "ordinary") {
        GTEST_SKIP() << "the process cannot become an ordinary user's";
    }
    EXPECT_EQ(child.join(), 0) << child.errors();
    EXPECT_THAT(logreader::messagesOf(folder / "sub" / "a.log"),
                ElementsAre("first", "the open file is still writable",
                            "2 records lost: 2 not written (Permission denied)", "last"));
}

// Takes every descriptor until it is destroyed.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few{64, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        for (int fd = 0; (fd = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) {
            taken_.push_back(fd);
        }
        EXPECT_EQ(errno, EMFILE);
    }
    ~NoDescriptors() {
        for (const int fd : taken_) {
            close(fd);
        }
        setrlimit(RLIMIT_NOFILE, &before_);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
    std::vector<int> taken_;
};

TEST(LogFailure, ExhaustedDescriptorsCostRecordsThatAreCountedAndReported) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    {
        const NoDescriptors none;
        controller.init(folder / "a.log");
        logreader::write(controller, DPL_ERROR, "lost");
        logreader::write(controller, DPL_INFO, "lost");
        controller.flush();
    }
    logreader::write(controller, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"),
                ElementsAre("2 records lost: 2 not written (Too many open files)", "last"));
}

TEST(LogFailure, ExhaustedDescriptorsDoNotStopAnOpenLogNorItsRotation) {
    const logreader::TemporaryFolder folder;
    setenv("DPL_LOG_FILE_SIZE", "1000", 1);
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "opens it");
    const NoDescriptors none;
    for (int i = 0; i < 100; ++i) {
        logreader::write(controller, DPL_ERROR, "goes on");
    }
    const auto newest = folder / "a.log";
    EXPECT_GT(std::filesystem::file_size(newest), 0U);
    EXPECT_TRUE(std::filesystem::exists(newest.string() + ".3"));
}

TEST(LogFailure, ADescriptorThatTheHostClosedAndUsesForAnotherFileIsLeftAlone) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "first");
    for (int fd = STDERR_FILENO + 1; fd < 64; ++fd) {
        std::error_code error;
        if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error) == folder / "a.log") {
            const int other = open((folder / "host's").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            ASSERT_EQ(dup3(other, fd, O_CLOEXEC), fd);
            close(other);
        }
    }
    logreader::write(controller, DPL_ERROR, "second");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("first", "second"));
    EXPECT_EQ(logreader::contents(folder / "host's"), "");
}

// The log itself, opened by the host in another way.
TEST(LogFailure, ADescriptorThatTheHostClosedAndOpenedTheLogWithIsLeftAlone) {
    const logreader::TemporaryFolder folder;
    const auto log = folder / "a.log";
    LogController controller;
    controller.init(log);
    std::vector<std::string> expected;
    for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
        logreader::write(controller, DPL_ERROR, "before");
        for (int fd = STDERR_FILENO + 1; fd < 64; ++fd) {
            std::error_code error;
            if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error) == log) {
                const int hosts = open(log.c_str(), flags | O_CLOEXEC);
                ASSERT_EQ(dup3(hosts, fd, O_CLOEXEC), fd);
                close(hosts);
            }
        }
        logreader::write(controller, DPL_ERROR, "after");
        expected.insert(expected.end(), {"before", "after"});
        EXPECT_EQ(logreader::messagesOf(log), expected) << flags;
    }
}

CHILD_MAIN(logsWithoutStandardDescriptors) {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(fd);
    }
    LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "record");
    static_cast<void>(std::puts("a stray line"));
    static_cast<void>(std::fflush(stdout));
    logreader::write(controller, DPL_ERROR, "record");
}

TEST(LogFailure, StrayOutputOfAHostWithoutStandardDescriptorsStaysOutOfTheLog) {
    const logreader::TemporaryFolder folder;
    Child child("logsWithoutStandardDescriptors", {folder / "a.log"});
    EXPECT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("record", "record"));
}

// Holds the lock as a process does that was stopped while it wrote.
CHILD_MAIN(holdsTheLock) {
    const int fd = open(arguments.at(0).c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(flock(fd, LOCK_EX), 0);
    multiprocess::step("held");
    multiprocess::await("never");
}

TEST(LogFailure, AStoppedHolderOfTheLockDelaysARecordOnceAndLosesNone) {
    const logreader::TemporaryFolder folder;
    setenv("DPL_LOG_FILE_SIZE", "1000", 1);
    const auto log = folder / "a.log";
    LogController controller;
    controller.init(log);
    logreader::write(controller, DPL_ERROR, "before");
    Child holder("holdsTheLock", {log});
    holder.waitFor("held");
    kill(holder.pid(), SIGSTOP);
    for (int i = 0; i < 50; ++i) {
        logreader::write(controller, DPL_ERROR, std::to_string(i));
    }
    EXPECT_THAT(logreader::filesOf(log), SizeIs(1)) << "without the lock nobody puts the file aside";
    EXPECT_THAT(logreader::messagesOf(log), SizeIs(51));
    holder.kill();
    logreader::write(controller, DPL_ERROR, "after");
    EXPECT_THAT(logreader::filesOf(log), SizeIs(2));
    EXPECT_THAT(logreader::messagesOf(log), SizeIs(52));
}

constexpr int recordsOnAFullDisk = 300;

CHILD_MAIN(fillsTheDisk) {
    LogController controller;
    controller.init(arguments.at(0));
    multiprocess::step("ready");
    multiprocess::await("go");
    for (int i = 0; i < recordsOnAFullDisk; ++i) {
        logreader::write(controller, i % 3 == 0 ? DPL_ERROR : DPL_INFO, std::to_string(i) + std::string(150, ' '));
    }
    controller.flush();
    multiprocess::step("full");
    multiprocess::await("room");
    logreader::write(controller, DPL_ERROR, "last");
}

// Where the disk is full writes are cut short, and without the lock others append behind what was written.
TEST(LogFailure, AFullDiskWithoutTheLockSplitsNoRecordAndEveryLossIsCounted) {
    const logreader::TemporaryFolder folder;
    const SmallFileSystem disk(folder / "disk", "size=128k,mode=0700");
    if (!disk.isThere()) {
        GTEST_SKIP() << "no file system can be mounted here: " << std::strerror(errno);
    }
    const auto log = folder / "disk" / "a.log";
    std::ofstream(folder / "disk" / "ballast") << std::string(50000, 'x');
    std::ofstream(log) << "";
    Child holder("holdsTheLock", {log});
    holder.waitFor("held");
    std::vector<std::unique_ptr<Child>> writers;
    std::vector<pid_t> ids;
    for (int i = 0; i < 4; ++i) {
        writers.push_back(std::make_unique<Child>("fillsTheDisk", std::vector<std::string>{log}));
        writers.back()->waitFor("ready");
        ids.push_back(writers.back()->pid());
    }
    for (const auto& writer : writers) {
        writer->tell("go");
    }
    for (const auto& writer : writers) {
        writer->waitFor("full");
    }
    std::filesystem::remove(folder / "disk" / "ballast");
    for (const auto& writer : writers) {
        writer->tell("room");
        EXPECT_EQ(writer->join(), 0);
        EXPECT_EQ(writer->errors(), "");
    }
    const auto lines = logreader::parseAll(logreader::withoutBlankLines(logreader::contents(log)));
    EXPECT_GT(reportedLosses(lines), 0);
    for (const pid_t id : ids) {
        std::vector<logreader::Line> own;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(own),
                     [id](const auto& line) { return line.pid == id && line.logger == "Test"; });
        std::vector<logreader::Line> all;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(all),
                     [id](const auto& line) { return line.pid == id; });
        ASSERT_FALSE(own.empty());
        EXPECT_EQ(own.back().message, "last");
        EXPECT_EQ(static_cast<int>(own.size()) - 1 + reportedLosses(all), recordsOnAFullDisk)
            << "each is there or counted";
    }
}

}  // namespace
