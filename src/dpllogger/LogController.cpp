#include <dpllogger/DPLLogger.h>

#include "Journal.h"
#include "NoCancellation.h"

namespace DPL::dpllogger {

namespace {

/// Callers rely on logging never to fail: an operation for which there is no memory is not done. Nor is it cut short
/// when its thread is cancelled.
template <typename Operation>
void undisturbed(Operation operation) noexcept {
    const NoCancellation noCancellation;
    try {
        operation();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace

struct LogController::Impl {
    Journal journal;
};

LogController::LogController() {
    const NoCancellation noCancellation;
    impl_ = std::make_unique<Impl>();
}

LogController::~LogController() {
    const NoCancellation noCancellation;
    bool finished = false;
    undisturbed([&] { finished = impl_->journal.finishForGood(); });
    if (finished) {
        impl_.reset();
    } else {
        static_cast<void>(impl_.release());
    }
}

void LogController::init(std::string location) {
    if (!location.empty()) {
        undisturbed([&] { impl_->journal.setLocation(location); });
    }
}

void LogController::setLogLevel(DPLLogLevel level) {
    undisturbed([&] { impl_->journal.setLevel(level); });
}

void LogController::setAppenderType(LogAppenderType type) {
    undisturbed([&] { impl_->journal.setAppenderType(type); });
}

bool LogController::isFileWritingAllowed() {
    return impl_->journal.isFileWritingAllowed();
}

void LogController::setFileWritingAllowed(bool allowed) {
    undisturbed([&] { impl_->journal.setFileWritingAllowed(allowed); });
}

void LogController::reserved() {
}

void LogController::log(const std::string& loggerName, DPLLogLevel level, const std::string& sourceFile, int line,
                        const std::string& function, const std::string& message) {
    if (impl_->journal.passes(level)) {
        undisturbed([&] { impl_->journal.write({loggerName, level, sourceFile, line, function, message}); });
    }
}

void LogController::flush() {
    undisturbed([&] { impl_->journal.flush(); });
}

}  // namespace DPL::dpllogger
