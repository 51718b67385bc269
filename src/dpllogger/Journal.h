#pragma once

#include <dpllogger/DPLLogger.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Environment.h"
#include "FlushTimer.h"
#include "Hold.h"
#include "LineBuffer.h"
#include "Losses.h"
#include "ProcessHooks.h"
#include "RecordForm.h"
#include "appenders/ConsoleAppender.h"
#include "appenders/FileAppender.h"
#include "appenders/SystemLogAppender.h"

namespace DPL::dpllogger {

/// The state behind a controller: which records pass, where they go and those that wait.
///
/// Thread-safe. The operations throw only when memory runs out. Within an operation of the same thread, where a
/// signal's handler may be, none is done; records are counted.
class Journal final : private ProcessHooks {
public:
    Journal();
    /// `finishForGood` must have succeeded.
    ~Journal() override = default;
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    bool passes(int level) const noexcept { return level <= threshold_.load(std::memory_order_relaxed); }
    bool isFileWritingAllowed() const noexcept { return fileWritingAllowed_.load(std::memory_order_relaxed); }

    void setLocation(const std::string& location);
    void setLevel(int level);
    void setAppenderType(LogAppenderType type);
    void setFileWritingAllowed(bool allowed);
    void write(const Record& record);
    void flush();

    /// Writes everything and lets go of the process's hooks. False if a record is caught in the middle, because the
    /// process ends within it: then the journal must stay as it is.
    bool finishForGood();

private:
    void holdForFork() override;
    void goOnInParent() override;
    void startAnewInChild() override;
    void finish() override;

    // All of these are called with the mutex held.
    static void flushWhenDue(void* journal) noexcept;
    void chooseDestinations();
    void settle();
    void route(const Record& record, std::string_view line);
    void show(std::string_view lines);
    void showOnConsole(std::string_view lines);
    void writeOut();
    bool isBehind() const noexcept { return losses_.any() || !waiting_.empty(); }
    int reportLossesInFile();
    void reportLossesOnConsole();
    void showInsteadOfFile(int error);
    void finish(std::unique_lock<std::mutex>& lock);

    const Environment environment_;

    std::atomic<int> threshold_;  // what `passes` compares with
    std::atomic<bool> fileWritingAllowed_{true};

    std::mutex mutex_;
    int level_;
    LogAppenderType type_;
    // Follow from the type, the location and whether the location can be used; see chooseDestinations().
    bool hasDestination_ = false;  // otherwise records wait for it
    bool toFile_ = false;
    bool toConsole_ = false;
    bool toSystemLog_ = false;
    bool fileIsUnusable_ = false;

    RecordForm form_;
    LineBuffer waiting_;             // for a destination, or for the file
    bool waitingWereShown_ = false;  // on the console too
    Losses losses_;                  // of records for the file, or for a destination
    Losses consoleLosses_;
    std::atomic<std::uint64_t> interrupting_{0};  // records that came within another operation of their thread
    std::optional<Hold> forking_;
    int retries_ = 0;  // by the timer, since the last record
    FlushTimer timer_;
    ConsoleAppender console_;
    std::optional<SystemLogAppender> systemLog_;
    std::optional<FileAppender> file_;
};

}  // namespace DPL::dpllogger
