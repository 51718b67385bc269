#include <dpllogger/DPLLogger.h>

#include "Journal.h"

namespace DPL::dpllogger {

namespace {

/// Callers rely on logging never to fail: an operation for which there is no memory is not done.
template <typename Operation>
void withoutExceptions(Operation operation) noexcept {
    try {
        operation();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace

struct LogController::Impl {
    Journal journal;
};

LogController::LogController() : impl_(std::make_unique<Impl>()) {
}

LogController::~LogController() = default;

void LogController::init(std::string location) {
    if (!location.empty()) {
        withoutExceptions([&] { impl_->journal.setLocation(location); });
    }
}

void LogController::setLogLevel(DPLLogLevel level) {
    withoutExceptions([&] { impl_->journal.setLevel(level); });
}

void LogController::setAppenderType(LogAppenderType type) {
    withoutExceptions([&] { impl_->journal.setAppenderType(type); });
}

bool LogController::isFileWritingAllowed() {
    return impl_->journal.isFileWritingAllowed();
}

void LogController::setFileWritingAllowed(bool allowed) {
    withoutExceptions([&] { impl_->journal.setFileWritingAllowed(allowed); });
}

void LogController::reserved() {
}

void LogController::log(const std::string& loggerName, DPLLogLevel level, const std::string& sourceFile, int line,
                        const std::string& function, const std::string& message) {
    if (impl_->journal.passes(level)) {
        withoutExceptions([&] { impl_->journal.write({loggerName, level, sourceFile, line, function, message}); });
    }
}

void LogController::flush() {
    withoutExceptions([&] { impl_->journal.flush(); });
}

}  // namespace DPL::dpllogger
