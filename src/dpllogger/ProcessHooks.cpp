#include "ProcessHooks.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "NoCancellation.h"
#include "ProcessIdentity.h"
#include "ZoneOffset.h"

namespace DPL::dpllogger {

namespace {

struct Members {
    std::mutex mutex;
    std::vector<ProcessHooks*> hooks;
};

Members& members() {
    // Never destroyed: controllers may outlive every static object.
    static auto& instance = *new Members;
    return instance;
}

void beforeFork() {
    members().mutex.lock();
    prepareZoneOffsetForFork();
    for (ProcessHooks* const hooks : members().hooks) {
        hooks->holdForFork();
    }
}

void afterForkInParent() {
    for (ProcessHooks* const hooks : members().hooks) {
        hooks->goOnInParent();
    }
    members().mutex.unlock();
}

void afterForkInChild() {
    const NoCancellation noCancellation;
    renewProcessIdentity();
    settleZoneOffsetInChild();
    for (ProcessHooks* const hooks : members().hooks) {
        hooks->startAnewInChild();
    }
    members().mutex.unlock();
}

/// Destroyed when the process ends or the library is unloaded, after everything that was built on this library.
struct AtExit {
    AtExit() = default;
    AtExit(const AtExit&) = delete;
    AtExit& operator=(const AtExit&) = delete;
    ~AtExit() {
        const NoCancellation noCancellation;
        const std::lock_guard lock(members().mutex);
        for (ProcessHooks* const hooks : members().hooks) {
            hooks->finish();
        }
    }
};

const AtExit atExit;

}  // namespace

void addProcessHooks(ProcessHooks& hooks) {
    static const int registered = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    static_cast<void>(registered);
    const std::lock_guard lock(members().mutex);
    members().hooks.push_back(&hooks);
}

void removeProcessHooks(ProcessHooks& hooks) noexcept {
    const std::lock_guard lock(members().mutex);
    auto& all = members().hooks;
    all.erase(std::remove(all.begin(), all.end(), &hooks), all.end());
}

}  // namespace DPL::dpllogger
