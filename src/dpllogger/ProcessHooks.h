#pragma once

namespace DPL::dpllogger {

/// What a fork and the process's end mean to somebody who holds records.
class ProcessHooks {
public:
    virtual ~ProcessHooks() = default;

    /// Before a fork: nothing may change until one of the next two, which come on the same thread.
    virtual void holdForFork() = 0;
    virtual void goOnInParent() = 0;
    virtual void startAnewInChild() = 0;

    /// The process ends normally, or the library is unloaded.
    virtual void finish() = 0;

protected:
    ProcessHooks() = default;
    ProcessHooks(const ProcessHooks&) = default;
    ProcessHooks& operator=(const ProcessHooks&) = default;
};

/// From when to when the hooks are called. Thread-safe; must not be called from a hook.
void addProcessHooks(ProcessHooks& hooks);
void removeProcessHooks(ProcessHooks& hooks) noexcept;

}  // namespace DPL::dpllogger
