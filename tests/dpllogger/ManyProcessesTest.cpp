#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

using DPL::dpllogger::LogController;
using multiprocess::Child;

constexpr int threads = 4;

// Every twentieth record is an error; the process tells the test about every one of those after it was logged.
constexpr int errorEach = 20;

// Arguments: the log, how many records each thread writes. A record is "<process> <thread> <number> <padding>".
CHILD_MAIN(writesNumberedRecords) {
    LogController controller;
    controller.init(arguments.at(0));
    const int count = std::stoi(arguments.at(1));
    multiprocess::step("ready");
    multiprocess::await("go");
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back([&, thread] {
            for (int number = 0; number < count; ++number) {
                const std::string name = std::to_string(thread) + ' ' + std::to_string(number);
                const bool isError = number % errorEach == 0;
                logreader::write(controller, isError ? DPL_ERROR : DPL_INFO,
                                 name + '\n' + std::string(name.size(), '#'));
                if (isError) {
                    multiprocess::step(name);
                }
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    controller.flush();
    multiprocess::step("done");
}

struct Writer {
    explicit Writer(const std::filesystem::path& log, int count)
        : child("writesNumberedRecords", {log, std::to_string(count)}), pid(child.pid()) {}

    // Takes the process's word for its errors until it ends, or until `killAfter` of them.
    void follow(int killAfter) {
        for (std::string word; !(word = child.next()).empty() && word != "done";) {
            const std::size_t space = word.find(' ');
            const auto thread = static_cast<std::size_t>(std::stoi(word.substr(0, space)));
            lastError.at(thread) = std::stoi(word.substr(space + 1));
            if (++errors == killAfter) {
                child.kill();
                killed = true;
                return;
            }
        }
        exitCode = child.join();
    }

    Child child;
    long pid;
    bool killed = false;
    int errors = 0;
    int exitCode = -1;
    std::array<int, threads> lastError{-1, -1, -1, -1};
};

// What the log tells of one process: each thread's records, whether in order and without gaps.
struct Found {
    std::array<int, threads> count{};
    std::array<int, threads> last{-1, -1, -1, -1};
    std::array<std::vector<int>, threads> errors;
};

std::map<long, Found> sortOut(const std::vector<logreader::Line>& lines) {
    std::map<long, Found> found;
    for (const logreader::Line& line : lines) {
        const std::size_t space = line.message.find(' ');
        const std::size_t end = line.message.find('\n');
        if (space == std::string::npos || end == std::string::npos ||
            line.message.substr(end + 1) != std::string(end, '#')) {
            ADD_FAILURE() << "not a record of this test: " << line.message;
            continue;
        }
        const auto thread = static_cast<std::size_t>(std::stoi(line.message));
        const int number = std::stoi(line.message.substr(space + 1));
        Found& process = found[line.pid];
        if (number <= process.last.at(thread)) {
            ADD_FAILURE() << "doubled or out of order: " << line.pid << ' ' << line.message.substr(0, end);
        }
        process.last.at(thread) = number;
        ++process.count.at(thread);
        if (line.level == DPL_ERROR) {
            process.errors.at(thread).push_back(number);
        }
    }
    return found;
}

void check(const Writer& writer, const Found& found, int count) {
    SCOPED_TRACE("process " + std::to_string(writer.pid));
    for (std::size_t thread = 0; thread < threads; ++thread) {
        if (!writer.killed) {
            EXPECT_EQ(found.count.at(thread), count);
            EXPECT_EQ(found.last.at(thread), count - 1);
            continue;
        }
        // Errors are consecutive, and none is missing that had been logged.
        const auto& errors = found.errors.at(thread);
        for (std::size_t i = 0; i < errors.size(); ++i) {
            ASSERT_EQ(errors[i], static_cast<int>(i) * errorEach);
        }
        EXPECT_GE(errors.empty() ? -1 : errors.back(), writer.lastError.at(thread));
        EXPECT_EQ(found.count.at(thread), found.last.at(thread) + 1) << "no gap before the last record";
    }
}

void run(int processes, int count, const std::string& fileSize, int killed) {
    setenv("DPL_LOG_FILE_SIZE", fileSize.c_str(), 1);
    setenv("DPL_LOG_FILE_COUNT", "1000", 1);
    const logreader::TemporaryFolder folder;
    const auto log = folder / "a.log";
    std::vector<std::unique_ptr<Writer>> writers;
    for (int i = 0; i < processes; ++i) {
        writers.push_back(std::make_unique<Writer>(log, count));
        writers.back()->child.waitFor("ready");
    }
    std::mt19937 random{std::random_device{}()};
    std::vector<std::thread> followers;
    for (int i = 0; i < processes; ++i) {
        const int errors = threads * count / errorEach;
        const int killAfter = i < killed ? 1 + static_cast<int>(random() % static_cast<unsigned>(errors - 1)) : 0;
        writers[static_cast<std::size_t>(i)]->child.tell("go");
        followers.emplace_back(
            [&writer = *writers[static_cast<std::size_t>(i)], killAfter] { writer.follow(killAfter); });
    }
    for (std::thread& follower : followers) {
        follower.join();
    }
    const auto found = sortOut(logreader::readLog(log));
    for (const auto& writer : writers) {
        EXPECT_TRUE(writer->killed || writer->exitCode == 0) << writer->child.errors();
        const auto process = found.find(writer->pid);
        ASSERT_NE(process, found.end());
        check(*writer, process->second, count);
    }
    EXPECT_GE(logreader::filesOf(log).size(), 20U) << "too few rotations to show anything";
}

TEST(LogManyProcesses, WriteEveryRecordOnceAndWholeAndInOrderThroughTwentyRotations) {
    run(8, 100000 / 8 / threads, "256K", 0);
}

TEST(LogManyProcesses, TheKilledOnesLoseNoErrorAndHarmNobody) {
    run(8, 100000 / 8 / threads, "256K", 3);
}

TEST(LogManyProcesses, RotateWithNearlyEveryRecord) {
    run(6, 200, "2000", 3);
}

}  // namespace
