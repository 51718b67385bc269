#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/ThreadPool.h"

namespace VDIFrameworkCommon {

/// Runs functions on two pools of up to five threads each: one for ordinary work, one for callbacks, so that neither
/// waits behind the other. Threads are started on demand and retire after 60 idle seconds.
///
/// One for the process, shared by all who hold a pointer; released at process exit, without waiting for functions that
/// run. Thread-safe. Functions of one pool are started in the order in which they came. An exception that leaves a
/// function ends the process.
class VDIFRAMEWORKCOMMON_EXPORT TaskDispatcher {
public:
    /// Makes one of its own, with pools of its own; most hosts want `getInstance`.
    TaskDispatcher();

    /// Drops the functions that wait; those that run are completed.
    virtual ~TaskDispatcher();
    TaskDispatcher(const TaskDispatcher&) = delete;
    TaskDispatcher& operator=(const TaskDispatcher&) = delete;

    /// The dispatcher of the process, made by the first call. Never null.
    static std::shared_ptr<TaskDispatcher> getInstance();

    /// Runs `task` on the pool for ordinary work and returns before it has run. Dropped while stopped.
    ///
    /// \param task  not empty; kept until it has run or is dropped
    /// \param name  what log records call it and what a thread list shows while it runs; may be empty
    void enqueue(std::function<void()> task, const std::string& name);

    /// As `enqueue`, on the pool for callbacks.
    ///
    /// \param task  as for `enqueue`
    /// \param name  as for `enqueue`
    void enqueueCallbackTask(std::function<void()> task, const std::string& name);

    /// Drops the functions that wait, of both pools.
    void clearQueue();

    /// Takes functions again after `Stop`. A new dispatcher is started.
    void Start();

    /// Drops the functions that wait and those that come from now on. Functions that run are not interrupted; one that
    /// is being enqueued at the same time may get through.
    void Stop();

private:
    std::unique_ptr<ThreadPool> taskPool_;
    std::unique_ptr<ThreadPool> callbackPool_;
    std::atomic<bool> running_{true};

    struct Release;
    // Never destroyed, only released: functions that still run at exit may ask for the dispatcher.
    static std::shared_ptr<TaskDispatcher>& instance_;
    static std::mutex& instanceMutex_;
};

}  // namespace VDIFrameworkCommon
