#include "Journal.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <new>
#include <system_error>

#include "Complaint.h"
#include "LogLocation.h"
#include "appenders/Outcome.h"

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

// Records that may be written are written when this much has gathered.
constexpr std::size_t batchSize = 64U << 10;

// Of records that may not be written yet, this much is kept.
constexpr std::size_t heldSize = 1U << 20;

// At the process's end, a thread that was caught in the middle of a record gets this long.
constexpr auto finishLimit = 3s;

// So often the timer tries to write again what could not be written, if no further record comes. Not for ever: its
// thread must not keep a process alive.
constexpr int mostRetries = 60;

Record lossRecord(const std::string& message) {
    return {"dpllogger", DPL_WARN, __FILE__, __LINE__, "reportLosses", message};
}

bool isWithFile(LogAppenderType type) {
    return type == LogAppenderType::File || type == LogAppenderType::FileAndConsole;
}

}  // namespace

Journal::Journal()
    : environment_(readEnvironment()),
      threshold_(environment_.level.value_or(DPL_INFO)),
      level_(threshold_),
      type_(environment_.appender.value_or(LogAppenderType::File)),
      timer_(mutex_, flushWhenDue, this) {
    settle();
    addProcessHooks(*this);
}

bool Journal::finishForGood() {
    removeProcessHooks(*this);
    Hold hold(mutex_, finishLimit);
    if (hold) {
        finish(hold.lock());
    }
    return static_cast<bool>(hold);
}

void Journal::setLocation(const std::string& location) {
    const Hold hold(mutex_);
    if (!hold) {
        return;
    }
    writeOut();
    file_.emplace(logFilePath(location), environment_.limits);
    fileIsUnusable_ = false;
    settle();
}

void Journal::setLevel(int level) {
    const Hold hold(mutex_);
    if (!hold) {
        return;
    }
    level_ = environment_.level.value_or(level);
    settle();
}

void Journal::setAppenderType(LogAppenderType type) {
    const Hold hold(mutex_);
    if (!hold) {
        return;
    }
    if (type < LogAppenderType::None || type > LogAppenderType::FileAndConsole) {
        return;
    }
    writeOut();
    type_ = environment_.appender.value_or(type);
    settle();
}

void Journal::setFileWritingAllowed(bool allowed) {
    const Hold hold(mutex_);
    if (!hold) {
        return;
    }
    fileWritingAllowed_.store(allowed, std::memory_order_relaxed);
    if (allowed && hasDestination_ && isBehind() && !timer_.arm()) {
        writeOut();
    }
}

void Journal::chooseDestinations() {
    hasDestination_ = file_.has_value() || !isWithFile(type_);
    toFile_ = isWithFile(type_) && !fileIsUnusable_;
    toConsole_ = type_ == LogAppenderType::Console || type_ == LogAppenderType::FileAndConsole ||
                 (type_ == LogAppenderType::File && fileIsUnusable_);
    toSystemLog_ = type_ == LogAppenderType::SystemLog;
    if (toSystemLog_ && !systemLog_) {
        systemLog_.emplace();
    }
}

/// Makes changed settings hold. Records that waited for a destination get it, after the count of those that were lost.
void Journal::settle() {
    const bool hadDestination = hasDestination_;
    chooseDestinations();
    threshold_.store(type_ == LogAppenderType::None ? INT_MIN : level_, std::memory_order_relaxed);
    if (hasDestination_ && !hadDestination) {
        if (!toFile_ && losses_.any()) {
            LineBuffer report;
            show(report.add(form_, lossRecord(losses_.description())));
            losses_ = {};
        }
        show(waiting_.text());
        waitingWereShown_ = toConsole_;
        if (!toFile_) {
            waiting_.clear();
        }
    }
    writeOut();
}

void Journal::write(const Record& record) {
    const Hold hold(mutex_);
    if (!hold) {
        interrupting_.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    retries_ = 0;
    try {
        waitingWereShown_ = toConsole_ && (waitingWereShown_ || waiting_.empty());
        route(record, waiting_.add(form_, record));
    } catch (const std::bad_alloc&) {
        losses_.countFailed(1, ENOMEM);
    }
}

void Journal::route(const Record& record, std::string_view line) {
    if (!hasDestination_) {
        losses_.countOverflowed(waiting_.dropOldest(heldSize));
        return;
    }
    show(line);
    if (!toFile_) {
        waiting_.removeLast(line.size());
    } else if (!isFileWritingAllowed()) {
        losses_.countOverflowed(waiting_.dropOldest(heldSize));
    } else if (record.level <= DPL_ERROR || waiting_.size() >= batchSize || !timer_.arm()) {
        writeOut();
    }
}

/// Brings lines to the destinations that get theirs at once.
void Journal::show(std::string_view lines) {
    if (toConsole_) {
        showOnConsole(lines);
    }
    if (toSystemLog_) {
        systemLog_->write(lines);
    }
}

void Journal::showOnConsole(std::string_view lines) {
    reportLossesOnConsole();
    const Outcome outcome = console_.write(lines);
    consoleLosses_.countFailed(countLines(lines.substr(outcome.written)), outcome.error);
}

void Journal::reportLossesOnConsole() {
    if (consoleLosses_.any()) {
        LineBuffer report;
        if (console_.write(report.add(form_, lossRecord(consoleLosses_.description()))).error == 0) {
            consoleLosses_ = {};
        }
    }
}

void Journal::flush() {
    const Hold hold(mutex_);
    if (!hold) {
        return;
    }
    writeOut();
}

void Journal::flushWhenDue(void* journal) noexcept {
    auto& self = *static_cast<Journal*>(journal);
    try {
        ++self.retries_;
        self.writeOut();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // Out of memory: the records wait for the next occasion.
    }
}

/// Writes what waits for the file, if that is possible now, and before it the count of what was lost.
void Journal::writeOut() {
    losses_.countFailed(interrupting_.exchange(0, std::memory_order_relaxed), EDEADLK);
    if (!isBehind() || !file_ || fileIsUnusable_ || !isFileWritingAllowed()) {
        return;
    }
    if (const int error = file_->unusable()) {
        showInsteadOfFile(error);
        return;
    }
    Outcome outcome{0, reportLossesInFile()};
    if (outcome.error == 0) {
        outcome = file_->append(waiting_.text());
    }
    if (outcome.error == EAGAIN) {
        waiting_.removeFirst(outcome.written);
        losses_.countOverflowed(waiting_.dropOldest(heldSize));
    } else {
        losses_.countFailed(countLines(waiting_.text().substr(outcome.written)), outcome.error);
        waiting_.clear();
    }
    if (isBehind() && retries_ < mostRetries) {
        timer_.arm();
    }
}

/// The first record after a loss tells of it; the count is kept until that record is there. Returns an error number.
int Journal::reportLossesInFile() {
    if (!losses_.any()) {
        return 0;
    }
    LineBuffer report;
    const int error = file_->append(report.add(form_, lossRecord(losses_.description()))).error;
    if (error == 0) {
        losses_ = {};
    }
    return error;
}

/// What waits was taken for the file, so it goes to the console whatever the appender is by now.
void Journal::showInsteadOfFile(int error) {
    complain("no log can be written to " + file_->path() + " (" + std::generic_category().message(error) +
             "); it goes to standard error");
    fileIsUnusable_ = true;
    chooseDestinations();
    if (losses_.any()) {
        LineBuffer report;
        showOnConsole(report.add(form_, lossRecord(losses_.description())));
        losses_ = {};
    }
    if (!waitingWereShown_) {
        showOnConsole(waiting_.text());
    }
    waiting_.clear();
}

void Journal::holdForFork() {
    forking_.emplace(mutex_);
}

void Journal::goOnInParent() {
    forking_.reset();
}

void Journal::startAnewInChild() {
    if (!*forking_) {
        // A signal's handler forks in the middle of an operation, which goes on once the handler returns.
        forking_.reset();
        return;
    }
    // The parent writes its records itself. The descriptor would share the parent's lock.
    waiting_.clear();
    losses_ = {};
    consoleLosses_ = {};
    interrupting_.store(0, std::memory_order_relaxed);
    timer_.forgetThread();
    if (file_) {
        file_->close();
    }
    forking_.reset();
}

/// Whoever holds the mutex is done soon, unless the process ends within its own operation.
void Journal::finish() {
    Hold hold(mutex_, finishLimit);
    if (hold) {
        finish(hold.lock());
    }
}

void Journal::finish(std::unique_lock<std::mutex>& lock) {
    flushWhenDue(this);
    // From here on nobody flushes later, so every record is written at once.
    timer_.stop(lock);
    flushWhenDue(this);
    if (hasDestination_ && isFileWritingAllowed()) {
        losses_.countFailed(countLines(waiting_.text()), EAGAIN);
        waiting_.clear();
    }
    if (losses_.anyFailed()) {
        complain(losses_.description());
        losses_ = {};
    }
    reportLossesOnConsole();
}

}  // namespace DPL::dpllogger
