#include <dpllogger/DPLLogger.h>
#include <pthread.h>

#include <map>
#include <mutex>
#include <string>

struct DPLLogger {
    std::string name;
};

namespace {

struct Registry {
    std::mutex mutex;
    std::map<std::string, DPLLogger, std::less<>> loggers;  // its nodes stay where they are
};

Registry& registry() {
    // Never destroyed: handles are used until the very end of the process.
    static auto& instance = *new Registry;
    return instance;
}

void lockRegistry() {
    registry().mutex.lock();
}

void unlockRegistry() {
    registry().mutex.unlock();
}

// A forked child finds the registry free, whatever the other threads were doing.
const int forkHooks = pthread_atfork(lockRegistry, unlockRegistry, unlockRegistry);

}  // namespace

DPLLogger* DPLLogger_getLogger(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    try {
        const std::lock_guard lock(registry().mutex);
        auto& loggers = registry().loggers;
        const auto found = loggers.find(name);
        return found != loggers.end() ? &found->second : &loggers.emplace(name, DPLLogger{name}).first->second;
    } catch (...) {
        return nullptr;
    }
}

const char* DPLLogger_getName(const DPLLogger* logger) {
    return logger == nullptr ? nullptr : logger->name.c_str();
}
