#include "Journal.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <system_error>
#include <thread>

#include "Complaint.h"
#include "LogLocation.h"

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

// Records that may be written are written when this much has gathered.
constexpr std::size_t batchSize = 64U << 10;

// Of records that may not be written yet, this much is kept.
constexpr std::size_t heldSize = 1U << 20;

// At the process's end, a thread that was caught in the middle of a record gets this long.
constexpr auto finishLimit = 3s;

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

Journal::~Journal() {
    removeProcessHooks(*this);
    std::unique_lock lock(mutex_);
    finish(lock);
}

void Journal::setLocation(const std::string& location) {
    const std::lock_guard lock(mutex_);
    writeOut();
    file_.emplace(logFilePath(location), environment_.limits);
    fileIsUnusable_ = false;
    settle();
}

void Journal::setLevel(int level) {
    const std::lock_guard lock(mutex_);
    level_ = environment_.level.value_or(level);
    settle();
}

void Journal::setAppenderType(LogAppenderType type) {
    const std::lock_guard lock(mutex_);
    if (type < LogAppenderType::None || type > LogAppenderType::FileAndConsole) {
        return;
    }
    writeOut();
    type_ = environment_.appender.value_or(type);
    settle();
}

void Journal::setFileWritingAllowed(bool allowed) {
    const std::lock_guard lock(mutex_);
    fileWritingAllowed_.store(allowed, std::memory_order_relaxed);
    if (allowed && hasDestination_ && !waiting_.empty() && !timer_.arm()) {
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

/// Makes changed settings hold. Records that waited for a destination get it.
void Journal::settle() {
    const bool hadDestination = hasDestination_;
    chooseDestinations();
    threshold_.store(type_ == LogAppenderType::None ? INT_MIN : level_, std::memory_order_relaxed);
    if (hasDestination_ && !hadDestination) {
        if (!toFile_) {
            reportLosses();
        }
        show(waiting_.text());
        if (!toFile_) {
            waiting_.clear();
        }
    }
    writeOut();
}

void Journal::write(const Record& record) {
    const std::lock_guard lock(mutex_);
    try {
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
        console_.write(lines);
    }
    if (toSystemLog_) {
        systemLog_->write(lines);
    }
}

void Journal::flush() {
    const std::lock_guard lock(mutex_);
    writeOut();
}

void Journal::flushWhenDue(void* journal) noexcept {
    try {
        static_cast<Journal*>(journal)->writeOut();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // Out of memory: the records wait for the next occasion.
    }
}

/// Writes what waits for the file, if that is possible now.
void Journal::writeOut() {
    if (waiting_.empty() || !file_ || !isFileWritingAllowed()) {
        return;
    }
    if (const int error = file_->unusable()) {
        showInsteadOfFile(error);
        return;
    }
    Outcome outcome{0, reportLosses()};
    if (outcome.error == 0) {
        outcome = file_->append(waiting_.text());
    }
    losses_.countFailed(countLines(waiting_.text().substr(outcome.written)), outcome.error);
    waiting_.clear();
}

/// The first record after a loss tells of it; the count is kept until that record is there. Returns an error number.
int Journal::reportLosses() {
    if (!losses_.any()) {
        return 0;
    }
    LineBuffer report;
    const std::string message = losses_.description();
    const std::string_view line = report.add(form_, {"dpllogger", DPL_WARN, __FILE__, __LINE__, __func__, message});
    if (!toFile_) {
        show(line);
    } else if (const int error = file_->append(line).error) {
        return error;
    }
    losses_ = {};
    return 0;
}

void Journal::showInsteadOfFile(int error) {
    complain("no log can be written to " + file_->path() + " (" + std::generic_category().message(error) +
             "); it goes to standard error");
    const bool shownBefore = toConsole_;
    fileIsUnusable_ = true;
    chooseDestinations();
    reportLosses();
    if (!shownBefore) {
        show(waiting_.text());
    }
    waiting_.clear();
}

void Journal::holdForFork() {
    mutex_.lock();
}

void Journal::goOnInParent() {
    mutex_.unlock();
}

void Journal::startAnewInChild() {
    // The parent writes its records itself. The descriptor would share the parent's lock.
    waiting_.clear();
    losses_ = {};
    timer_.forgetThread();
    if (file_) {
        file_->close();
    }
    mutex_.unlock();
}

void Journal::finish() {
    std::unique_lock lock(mutex_, std::try_to_lock);
    // Whoever holds the mutex is done soon, unless the process ends within its own record.
    for (const auto deadline = std::chrono::steady_clock::now() + finishLimit; !lock.owns_lock(); lock.try_lock()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return;
        }
        std::this_thread::sleep_for(1ms);
    }
    finish(lock);
}

void Journal::finish(std::unique_lock<std::mutex>& lock) {
    flushWhenDue(this);
    // From here on nobody flushes later, so every record is written at once.
    timer_.stop(lock);
    flushWhenDue(this);
    if (losses_.anyFailed()) {
        complain(losses_.description());
        losses_ = {};
    }
}

}  // namespace DPL::dpllogger
