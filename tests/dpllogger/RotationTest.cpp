#include <dlfcn.h>
#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "dpllogger/LogReader.h"

namespace {

// Called once, before the next file gets a name that must be free.
std::function<void()>& beforeNextMove() {
    static std::function<void()> hook;
    return hook;
}

}  // namespace

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
    static const auto next = reinterpret_cast<decltype(&::renameat2)>(dlsym(RTLD_NEXT, "renameat2"));
    if (const auto hook = std::exchange(beforeNextMove(), nullptr)) {
        hook();
    }
    return next(fromFolder, from, toFolder, to, flags);
}

namespace {

using DPL::dpllogger::LogController;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uintmax_t fileSize = 1000;

class Rotation : public testing::Test {
protected:
    // A controller of a process with these limits.
    std::unique_ptr<LogController> controller(unsigned keptFiles, std::uintmax_t size = fileSize) const {
        setenv("DPL_LOG_FILE_SIZE", std::to_string(size).c_str(), 1);
        setenv("DPL_LOG_FILE_COUNT", std::to_string(keptFiles).c_str(), 1);
        auto made = std::make_unique<LogController>();
        made->init(log_);
        return made;
    }
    std::filesystem::path numbered(int number) const { return log_.string() + '.' + std::to_string(number); }

    // A record that leaves no room for another one in its file.
    static std::string filling(const std::string& name) { return name + std::string(fileSize - 250, ' '); }
    static void fill(LogController& controller, const std::string& name) {
        logreader::write(controller, DPL_ERROR, filling(name));
    }
    // The name in the only record of a file.
    static std::string nameIn(const std::filesystem::path& file) {
        const auto lines = logreader::parseAll(logreader::contents(file));
        return lines.size() == 1 ? lines[0].message.substr(0, lines[0].message.find(' ')) : std::string();
    }
    // The names in the log's files, the oldest first.
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& file : logreader::filesOf(log_)) {
            found.push_back(nameIn(file));
        }
        return found;
    }

    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "a.log";
};

TEST_F(Rotation, PutsAFullFileAsideAndKeepsTheNewestOnes) {
    const auto log = controller(3);
    fill(*log, "1");
    fill(*log, "2");
    EXPECT_EQ(nameIn(log_), "2");
    EXPECT_EQ(nameIn(numbered(1)), "1");
    for (int i = 3; i <= 6; ++i) {
        fill(*log, std::to_string(i));
    }
    EXPECT_THAT(names(), ElementsAre("3", "4", "5", "6"));
    EXPECT_EQ(nameIn(numbered(3)), "3");
}

TEST_F(Rotation, NoFileOutgrowsTheLimitAndNoRecordIsSplit) {
    const auto log = controller(100);
    for (int i = 0; i < 500; ++i) {
        logreader::write(*log, i % 50 == 0 ? DPL_ERROR : DPL_INFO, std::to_string(i));
    }
    log->flush();
    const auto files = logreader::filesOf(log_);
    EXPECT_GT(files.size(), 20U);
    for (const auto& file : files) {
        EXPECT_LE(std::filesystem::file_size(file), fileSize) << file;
        EXPECT_GT(std::filesystem::file_size(file), 0U) << file;
    }
    const auto messages = logreader::messagesOf(log_);
    ASSERT_EQ(messages.size(), 500U);
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(messages[static_cast<std::size_t>(i)], std::to_string(i));
    }
}

TEST_F(Rotation, AnExactlyFullFileStays) {
    auto log = controller(3, 0);
    logreader::write(*log, DPL_ERROR, "one");
    const auto size = std::filesystem::file_size(log_);
    log.reset();
    std::filesystem::remove(log_);
    // Process and thread are the same, so the records are of one length.
    log = controller(3, 2 * size);
    for (int i = 0; i < 3; ++i) {
        logreader::write(*log, DPL_ERROR, "one");
    }
    EXPECT_EQ(std::filesystem::file_size(numbered(1)), 2 * size);
    EXPECT_EQ(std::filesystem::file_size(log_), size);
}

TEST_F(Rotation, ARecordLargerThanAFileGetsOneForItself) {
    const auto log = controller(5);
    logreader::write(*log, DPL_ERROR, "before");
    logreader::write(*log, DPL_ERROR, std::string(5 * fileSize, 'x'));
    logreader::write(*log, DPL_ERROR, "after");
    EXPECT_THAT(logreader::messagesOf(numbered(2)), ElementsAre("before"));
    EXPECT_THAT(logreader::messagesOf(numbered(1)), ElementsAre(std::string(5 * fileSize, 'x')));
    EXPECT_THAT(logreader::parseAll(logreader::contents(log_)), SizeIs(1));
}

TEST_F(Rotation, KeepsNothingIfToldSo) {
    const auto log = controller(0);
    fill(*log, "1");
    fill(*log, "2");
    EXPECT_THAT(names(), ElementsAre("2"));
}

TEST_F(Rotation, SizeZeroMeansForEver) {
    const auto log = controller(3, 0);
    for (int i = 0; i < 10; ++i) {
        fill(*log, std::to_string(i));
    }
    EXPECT_THAT(logreader::filesOf(log_), SizeIs(1));
    EXPECT_THAT(logreader::messagesOf(log_), SizeIs(10));
}

TEST_F(Rotation, TenMebibytesAndFiveFilesAreTheDefault) {
    unsetenv("DPL_LOG_FILE_SIZE");
    unsetenv("DPL_LOG_FILE_COUNT");
    LogController log;
    log.init(log_);
    for (int i = 0; i < 80; ++i) {
        logreader::write(log, DPL_INFO, std::string(1U << 20, 'x'));
    }
    log.flush();
    const auto files = logreader::filesOf(log_);
    EXPECT_THAT(files, SizeIs(6));
    EXPECT_GT(std::filesystem::file_size(files.front()), 9U << 20);
    EXPECT_LE(std::filesystem::file_size(files.front()), 10U << 20);
}

TEST_F(Rotation, FilesOfATimeWhenMoreWereKeptGo) {
    auto log = controller(5);
    for (int i = 1; i <= 6; ++i) {
        fill(*log, std::to_string(i));
    }
    EXPECT_THAT(logreader::filesOf(log_), SizeIs(6));
    log = controller(2);
    fill(*log, "7");
    EXPECT_THAT(names(), ElementsAre("5", "6", "7"));
}

TEST_F(Rotation, FilesOfATimeWhenMoreWereKeptGoThoughSomeAreMissing) {
    auto log = controller(9);
    for (int i = 1; i <= 10; ++i) {
        fill(*log, std::to_string(i));
    }
    std::filesystem::remove(numbered(4));
    std::filesystem::remove(numbered(6));
    log = controller(2);
    fill(*log, "11");
    EXPECT_THAT(names(), ElementsAre("9", "10", "11"));
    log = controller(0);
    fill(*log, "12");
    EXPECT_THAT(names(), ElementsAre("12"));
}

TEST_F(Rotation, TheLargestNumberOfFilesIsMeantAsItIs) {
    const auto log = controller(std::numeric_limits<unsigned>::max());
    std::ofstream(numbered(0)) << "somebody else's";
    for (int i = 1; i <= 4; ++i) {
        fill(*log, std::to_string(i));
    }
    EXPECT_THAT(names(), ElementsAre("1", "2", "3", "4"));
    EXPECT_EQ(logreader::contents(numbered(0)), "somebody else's");
}

TEST_F(Rotation, OthersFollowToTheNewFile) {
    const auto one = controller(5);
    const auto other = controller(5);
    fill(*other, "1");
    fill(*one, "2");
    fill(*one, "3");
    logreader::write(*other, DPL_ERROR, "4");
    EXPECT_EQ(nameIn(numbered(2)), "1");
    EXPECT_EQ(nameIn(numbered(1)), "2");
    EXPECT_THAT(logreader::parseAll(logreader::contents(log_)), SizeIs(2));
}

TEST_F(Rotation, OthersFollowWhenAnAdministratorMovesTheFile) {
    const auto log = controller(5);
    fill(*log, "1");
    std::filesystem::rename(log_, folder_ / "moved");
    fill(*log, "2");
    EXPECT_EQ(nameIn(log_), "2");
    EXPECT_EQ(nameIn(folder_ / "moved"), "1");
    std::filesystem::remove(log_);
    fill(*log, "3");
    EXPECT_THAT(names(), ElementsAre("3"));
}

// Processes may know one log by different names.
TEST_F(Rotation, ALinkStaysAndTheFileThatItNamesIsPutAside) {
    std::filesystem::create_directory(folder_ / "real");
    const auto real = folder_ / "real" / "b.log";
    std::filesystem::create_symlink("real/b.log", log_);
    const auto byLink = controller(9);
    LogController byName;
    byName.init(real);
    for (int i = 0; i < 6; ++i) {
        fill(i % 2 == 0 ? *byLink : byName, std::to_string(i));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(log_));
    EXPECT_THAT(logreader::filesOf(log_), ElementsAre(log_));
    EXPECT_THAT(logreader::filesOf(real), SizeIs(6));
    EXPECT_THAT(logreader::messagesOf(real),
                ElementsAre(filling("0"), filling("1"), filling("2"), filling("3"), filling("4"), filling("5")));
}

TEST_F(Rotation, IsRestartedWhereAKilledOneStopped) {
    // A rotation with four kept files renames from the oldest to the newest, so at each step there is one gap.
    for (int gap = 0; gap <= 4; ++gap) {
        for (const auto& file : logreader::filesOf(log_)) {
            std::filesystem::remove(file);
        }
        std::vector<std::string> expected;
        {
            const auto log = controller(4, 0);
            for (int number = 4; number >= 0; --number) {
                fill(*log, std::to_string(number));
                const auto target = number == 0 ? log_ : numbered(number);
                if (number == gap) {
                    std::filesystem::remove(log_);
                    continue;
                }
                if (number != 0) {
                    std::filesystem::rename(log_, target);
                }
                expected.push_back(std::to_string(number));
            }
        }
        const auto log = controller(4);
        fill(*log, "new");
        expected.emplace_back("new");
        EXPECT_EQ(names(), expected) << "with a gap at " << gap << " nothing had to go";
    }
}

TEST_F(Rotation, WhatAKilledProcessLeftUnfinishedIsRemoved) {
    std::string whole;
    {
        const auto log = controller(4);
        logreader::write(*log, DPL_ERROR, "whole");
        whole = logreader::contents(log_);
    }
    for (const std::size_t length : {std::size_t{1}, std::size_t{10}, std::size_t{27}, whole.size() - 1}) {
        std::filesystem::remove(log_);
        std::ofstream(log_) << whole << whole.substr(0, length);
        const auto log = controller(4, 0);
        logreader::write(*log, DPL_ERROR, "next");
        EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("whole", "next")) << length;
    }
    // Nothing but an unfinished one, longer than any block that is read at once.
    for (const std::size_t length : {std::size_t{100000}, std::size_t{3} << 20}) {
        std::ofstream(log_) << whole.substr(0, whole.size() - 1) << std::string(length, 'x');
        const auto log = controller(4, 0);
        logreader::write(*log, DPL_ERROR, "next");
        EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("next")) << length;
    }
}

TEST_F(Rotation, AnotherProgramsUnfinishedLineStaysAndTheRecordStartsALine) {
    std::ofstream(log_) << "notes of the user\nwithout an end";
    const auto log = controller(4, 0);
    logreader::write(*log, DPL_ERROR, "record");
    const std::string text = logreader::contents(log_);
    const std::string notes = "notes of the user\nwithout an end\n";
    ASSERT_EQ(text.substr(0, notes.size()), notes);
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(text.substr(notes.size()))), ElementsAre("record"));
}

// Of two processes that put files aside at once one has been stopped, and its file was moved away meanwhile.
TEST_F(Rotation, NoFileThatOthersPutAsideMeanwhileIsReplaced) {
    const auto log = controller(5);
    fill(*log, "1");
    beforeNextMove() = [this] {
        std::filesystem::copy_file(log_, numbered(1));  // stands for the other's
    };
    fill(*log, "2");
    EXPECT_EQ(beforeNextMove(), nullptr);
    EXPECT_EQ(nameIn(numbered(1)), "1");
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(logreader::contents(log_))),
                ElementsAre(filling("1"), filling("2")));
    fill(*log, "3");
    EXPECT_EQ(nameIn(numbered(2)), "1");
    EXPECT_EQ(nameIn(log_), "3");
}

TEST_F(Rotation, AFileThatCannotBePutAsideGrows) {
    // What cannot be replaced by a renamed file: a folder.
    std::filesystem::create_directories(numbered(1) / "not empty");
    const auto log = controller(1);
    for (int i = 0; i < 5; ++i) {
        fill(*log, std::to_string(i));
    }
    EXPECT_THAT(logreader::parseAll(logreader::contents(log_)), SizeIs(5));
}

}  // namespace
