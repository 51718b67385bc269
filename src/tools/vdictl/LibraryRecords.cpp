#include "LibraryRecords.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <set>
#include <utility>

namespace {

constexpr std::size_t mostRecords = 64;

struct Record {
    DPLLogLevel level;
    std::string message;
};

/// The records of this process.
class Kept {
public:
    void add(DPLLogLevel level, const std::string& message) {
        const std::lock_guard lock(mutex_);
        records_.push_back({level, message});
        if (records_.size() > mostRecords) {
            records_.pop_front();
        }
        added_.notify_all();
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        records_.clear();
    }

    template <typename Wanted>
    std::optional<std::string> find(Wanted wanted, std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        std::unique_lock lock(mutex_);
        for (;;) {
            for (const Record& record : records_) {
                if (wanted(record)) {
                    return record.message;
                }
            }
            if (added_.wait_until(lock, deadline) == std::cv_status::timeout) {
                return std::nullopt;
            }
        }
    }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::deque<Record> records_;
};

// Never destroyed: the library's records may come to the very end of the process.
Kept& kept() {
    static auto& object = *new Kept;
    return object;
}

}  // namespace

// The library finds these in the program before it looks into the logging library.

struct DPLLogger {
    std::string name;
};

extern "C" DPLLogger* DPLLogger_getLogger(const char* name) {
    static auto& mutex = *new std::mutex;
    static auto& loggers = *new std::deque<DPLLogger>;
    const std::lock_guard lock(mutex);
    return &loggers.emplace_back(DPLLogger{name});
}

extern "C" const char* DPLLogger_getName(const DPLLogger* logger) {
    return logger == nullptr ? nullptr : logger->name.c_str();
}

// The logging library is loaded all the same, and has what is defined below too; the address sanitizer is not to mind.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() {
    return "detect_odr_violation=0";
}

namespace DPL::dpllogger {

struct LogController::Impl {};

LogController::LogController() = default;
LogController::~LogController() = default;
void LogController::init(std::string /*location*/) {
}
void LogController::setLogLevel(DPLLogLevel /*level*/) {
}
void LogController::setAppenderType(LogAppenderType /*type*/) {
}
bool LogController::isFileWritingAllowed() {
    return false;
}
void LogController::setFileWritingAllowed(bool /*allowed*/) {
}
void LogController::reserved() {
}
void LogController::log(const std::string& /*loggerName*/, DPLLogLevel level, const std::string& /*sourceFile*/,
                        int /*line*/, const std::string& /*function*/, const std::string& message) {
    kept().add(level, message);
}
void LogController::flush() {
}

}  // namespace DPL::dpllogger

namespace vdictl {

namespace {

// "… error code:13" ends with the number; not every record has one.
int errorNumberIn(const std::string& message) {
    constexpr std::string_view mark = "error code:";
    const std::size_t at = message.rfind(mark);
    int number = 0;
    if (at != std::string::npos) {
        std::from_chars(message.data() + at + mark.size(), message.data() + message.size(), number);
    }
    return number;
}

const char* callIn(const std::string& message) {
    for (const char* const call : {"shm_open", "ftruncate", "mmap"}) {
        if (message.find(call) != std::string::npos) {
            return call;
        }
    }
    return "";
}

}  // namespace

namespace library {

void clear() {
    kept().clear();
}

std::optional<std::string> firstError() {
    return kept().find([](const Record& record) { return record.level <= DPL_ERROR; }, std::chrono::milliseconds(0));
}

std::optional<std::string> waitFor(std::string_view beginning, std::chrono::milliseconds limit) {
    return kept().find([&](const Record& record) { return record.message.starts_with(beginning); }, limit);
}

Failure failure(const std::string& object, const std::string& file) {
    const std::string message = firstError().value_or("the library refused it");
    const int error = errorNumberIn(message);
    if (error == 0 || *callIn(message) == '\0') {
        return Failure{object, "", message};
    }
    return Failure{object, callIn(message), error, adviceFor(error, file)};
}

}  // namespace library

std::string adviceFor(int error, const std::string& file) {
    struct stat status {};
    switch (error) {
        case EACCES:
        case EPERM:
            if (stat(file.c_str(), &status) == 0) {
                return "run as its owner, user " + std::to_string(status.st_uid) + ", or as root";
            }
            return "run as root";
        case ENOSPC:
            return "/dev/shm is full: 'vdictl status' shows what lies there";
        case EMFILE:
        case ENFILE:
            return "too many files are open";
        default:
            return {};
    }
}

}  // namespace vdictl
