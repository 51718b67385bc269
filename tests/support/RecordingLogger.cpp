#include "support/RecordingLogger.h"

#include <atomic>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <mutex>
#include <string_view>
#include <utility>

#include "support/LogStatements.h"

struct DPLLogger {
    std::string name;
};

namespace {

// Never destroyed: records come from static destructors too.
struct State {
    std::mutex mutex;
    std::vector<recording::Record> records;
    std::vector<std::string> calls;
    std::vector<std::string> requested;
    std::deque<DPLLogger> loggers;
    std::atomic<void (*)(const recording::Record&)> observer{nullptr};
    std::atomic<void (*)(const std::string&)> callObserver{nullptr};
    std::atomic<bool> keep{true};
    std::atomic<bool> fileWritingAllowed{true};
    std::atomic<int> liveControllers{0};
};

State& state() {
    static auto& instance = *new State;
    return instance;
}

// Before any record: the runtime library needs this one, which is therefore initialised first.
const bool logStatementsAreRead = (recording::readLogStatements(), true);

// Ends the process, so that also a record of a child, or one that no test looks at, is not passed over.
void checkOrigin(const recording::Record& record) {
    if (const auto wrong = recording::wrongOrigin(record)) {
        std::cerr << record << ": " << *wrong << std::endl;
        std::abort();
    }
}

struct Unload {
    void (*function)() = nullptr;

    Unload() = default;
    Unload(const Unload&) = delete;
    Unload& operator=(const Unload&) = delete;
    ~Unload() {
        if (function != nullptr) {
            function();
        }
    }
};
Unload unload;

void noteCall(std::string call) {
    if (!state().keep) {
        return;
    }
    if (const auto observer = state().callObserver.load()) {
        observer(call);
    }
    const std::lock_guard lock(state().mutex);
    state().calls.push_back(std::move(call));
}

bool hasNullHandle(std::string_view name) {
    const char* const list = std::getenv("RECORDING_NULL_LOGGERS");
    if (list == nullptr) {
        return false;
    }
    std::string_view rest(list);
    while (!rest.empty()) {
        const std::string_view entry = rest.substr(0, rest.find(','));
        if (entry == name) {
            return true;
        }
        rest.remove_prefix(std::min(rest.size(), entry.size() + 1));
    }
    return false;
}

}  // namespace

DPLLogger* DPLLogger_getLogger(const char* name) {
    const std::lock_guard lock(state().mutex);
    state().requested.emplace_back(name);
    return hasNullHandle(name) ? nullptr : &state().loggers.emplace_back(DPLLogger{name});
}

const char* DPLLogger_getName(const DPLLogger* logger) {
    return logger->name.c_str();
}

namespace DPL::dpllogger {

struct LogController::Impl {};

LogController::LogController() {
    ++state().liveControllers;
}
LogController::~LogController() {
    --state().liveControllers;
}
void LogController::init(std::string location) {
    noteCall("init " + location);
}
void LogController::setLogLevel(DPLLogLevel level) {
    noteCall("setLogLevel " + std::to_string(level));
}
void LogController::setAppenderType(LogAppenderType type) {
    noteCall("setAppenderType " + std::to_string(static_cast<int>(type)));
}
bool LogController::isFileWritingAllowed() {
    noteCall("isFileWritingAllowed");
    return state().fileWritingAllowed;
}
void LogController::setFileWritingAllowed(bool allowed) {
    noteCall(std::string("setFileWritingAllowed ") + (allowed ? "true" : "false"));
}
void LogController::reserved() {
    noteCall("reserved");
}
void LogController::log(const std::string& loggerName, DPLLogLevel level, const std::string& sourceFile, int line,
                        const std::string& function, const std::string& message) {
    if (!state().keep) {
        return;
    }
    recording::Record record{loggerName, level, sourceFile, line, function, message};
    checkOrigin(record);
    if (const auto observer = state().observer.load()) {
        observer(record);
    }
    const std::lock_guard lock(state().mutex);
    state().records.push_back(std::move(record));
}
void LogController::flush() {
    noteCall("flush");
}

}  // namespace DPL::dpllogger

namespace recording {

bool operator==(const Record& a, const Record& b) {
    return a.logger == b.logger && a.level == b.level && a.path == b.path && a.function == b.function &&
           a.message == b.message;
}

std::ostream& operator<<(std::ostream& stream, const Record& record) {
    return stream << '{' << record.logger << ", " << record.level << ", " << record.path << ':' << record.line << ", "
                  << record.function << ", \"" << record.message << "\"}";
}

std::vector<Record> takeRecords() {
    const std::lock_guard lock(state().mutex);
    return std::exchange(state().records, {});
}

std::vector<std::string> takeCalls() {
    const std::lock_guard lock(state().mutex);
    return std::exchange(state().calls, {});
}

std::vector<std::string> requestedLoggers() {
    const std::lock_guard lock(state().mutex);
    return state().requested;
}

void setFileWritingAllowedAnswer(bool allowed) {
    state().fileWritingAllowed = allowed;
}
void setObserver(void (*observer)(const Record&)) {
    state().observer = observer;
}
void setCallObserver(void (*observer)(const std::string&)) {
    state().callObserver = observer;
}
int liveControllers() {
    return state().liveControllers;
}
void atUnload(void (*function)()) {
    unload.function = function;
}
void setKeeping(bool keep) {
    state().keep = keep;
}

}  // namespace recording
