#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "VDIFrameworkCommon/Event.h"
#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

class ThreadPool;

/// Anything that a thread can run. One owner at a time.
class VDIFRAMEWORKCOMMON_EXPORT Runnable {
public:
    Runnable() = default;
    virtual ~Runnable();
    Runnable(const Runnable&) = delete;
    Runnable& operator=(const Runnable&) = delete;

    /// The body of the thread, called once on it. An exception that leaves it ends the process.
    virtual void run() = 0;
};

/// A unit of work for a pool, shared by the pool and whoever else keeps a pointer. Each is run once for every time it
/// was enqueued, on a thread of the pool; when it was enqueued more than once, perhaps on two at the same time.
class VDIFRAMEWORKCOMMON_EXPORT Task {
public:
    Task() = default;

    /// Does the work. An exception that leaves it ends the process.
    virtual void run() = 0;

    virtual ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    /// What a thread list shows while the task runs; may be empty.
    virtual std::string getName() = 0;
};

/// A task that somebody waits for: runs another one and then says so.
class VDIFRAMEWORKCOMMON_EXPORT BlockingTask : public Task {
public:
    /// \param task  what is to be run, not null
    explicit BlockingTask(std::shared_ptr<Task> task);

    /// Runs the other task and lets `wait` return.
    void run() override;

    /// "BT-" and the name of the other task.
    std::string getName() override;

    /// Waits, without limit, until the task has run. For one waiter.
    void wait();

private:
    Event completed_;
    std::shared_ptr<Task> task_;
};

/// A task made of a function and a name.
class VDIFRAMEWORKCOMMON_EXPORT FunctionTask : public Task {
public:
    /// \param function  what `run` calls
    /// \param name  what `getName` returns
    FunctionTask(std::function<void()> function, std::string name);

    /// Calls the function; throws `std::bad_function_call` if it is empty.
    void run() override;

    /// The name that it was made with.
    std::string getName() override;

private:
    std::function<void()> function_;
    std::string name_;
};

/// What the threads of one pool run. It outlives the pool: the last thread to leave deletes it. Thread-safe, up to
/// `shutdown`.
///
/// Two locks, never held together and neither while a task runs: the queue mutex for both queues, the state mutex for
/// changes of the pool pointer and the two counts.
class VDIFRAMEWORKCOMMON_EXPORT PoolWorker : public Runnable {
public:
    /// Made with `new`, because the worker deletes itself.
    ///
    /// \param pool  whose counts hold; it must call `shutdown` before it goes
    /// \param normalQueue  tasks that are not urgent; shared with the pool
    /// \param urgentQueue  tasks that go before them; shared with the pool
    /// \param queueMutex  guards both queues; shared with the pool
    /// \param idleTimeoutMs  in milliseconds; below 1: threads never sleep
    /// \param name  what a thread list shows for a thread that runs no task; "PoolThread" if empty
    PoolWorker(ThreadPool* pool, std::shared_ptr<std::deque<std::shared_ptr<Task>>> normalQueue,
               std::shared_ptr<std::deque<std::shared_ptr<Task>>> urgentQueue, std::shared_ptr<std::mutex> queueMutex,
               long idleTimeoutMs, const std::string& name);
    /// Called by the last thread to go, or by `shutdown`.
    ~PoolWorker() override;

    /// The body of every thread: waits for tasks and runs them until the thread has to go. The last one to go after
    /// `shutdown` deletes this object.
    void run() override;

    /// Parts from the pool: drops the waiting tasks and lets every thread go after the task that it runs. Waits for
    /// none. Deletes this object if there is no thread; it must not be used again in any case.
    void shutdown();

    /// Wakes one waiting thread.
    void wakeUpThread();

    /// Tells whether fewer threads run a task than there are.
    bool hasCapacity();

    /// Starts one more thread, unless the pool is gone or has as many as it may.
    void addThread();

    /// Starts a detached thread that calls `runnable->run()`; the runnable must live until then. Returns the result of
    /// `pthread_create`.
    int createThread(Runnable* runnable);

    /// Decides, for the calling thread, whether it goes on.
    ///
    /// \param timedOut  whether the thread has waited for its idle time without getting a task; cleared when it stays
    /// \param lastThread  set when the thread leaves a pool that is gone and is the last one
    /// \return false if the thread has to go: it is no longer counted
    bool stayAlive(bool& timedOut, bool& lastThread);

private:
    bool waitForTask(std::unique_lock<std::mutex>& queueLock);
    std::shared_ptr<Task> takeTask();
    void runTask(std::shared_ptr<Task> task);

    std::atomic<ThreadPool*> pool_;  // null once shut down; changed under stateMutex_, looked at under either lock
    std::string name_;
    std::shared_ptr<std::deque<std::shared_ptr<Task>>> normalQueue_;
    std::shared_ptr<std::deque<std::shared_ptr<Task>>> urgentQueue_;
    std::shared_ptr<std::mutex> queueMutex_;
    std::condition_variable wake_;  // with the queue mutex
    std::int64_t idleTimeoutMs_;
    std::mutex stateMutex_;
    // Changed under stateMutex_, read without it by hasCapacity().
    std::atomic<std::uint32_t> threadCount_{0};  // started and not yet retired
    std::atomic<std::uint32_t> busyCount_{0};    // running a task now
};

/// A pool of threads for tasks, with an urgent and a normal queue, each first in, first out.
///
/// It starts with the minimum of threads, adds one whenever a task comes while all are busy, up to the maximum, and
/// lets threads above the minimum go when they were idle for the given time. Destruction drops the tasks that wait and
/// returns at once; tasks that run are completed. Thread-safe, except for construction and destruction.
///
/// The time-out is not exact to the last instant: a task that comes just when the only thread times out may wait for
/// the next `enqueue`.
class VDIFRAMEWORKCOMMON_EXPORT ThreadPool {
public:
    /// Makes a pool without a name and starts its minimum of threads.
    ///
    /// \param minThreads  how many threads stay; may be 0
    /// \param maxThreads  how many threads there are at most; 0: no task is ever run
    /// \param idleTimeoutSeconds  how long a thread above the minimum waits for a task; 0: not at all, and the threads
    ///     of the minimum then look for tasks without ever sleeping
    ThreadPool(unsigned int minThreads, unsigned int maxThreads, unsigned int idleTimeoutSeconds);

    /// As the other one, with a name.
    ///
    /// \param minThreads  how many threads stay; may be 0
    /// \param maxThreads  how many threads there are at most; 0: no task is ever run
    /// \param name  what a thread list shows for a thread that runs no task; "PoolThread" if empty
    /// \param idleTimeoutSeconds  as for the other one
    ThreadPool(unsigned int minThreads, unsigned int maxThreads, const std::string& name,
               unsigned int idleTimeoutSeconds);

    /// Drops the waiting tasks and returns at once; tasks that run are completed on their threads.
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Makes the worker and starts the minimum of threads; called once, by the constructors.
    void init(unsigned int idleTimeoutSeconds, const std::string& name);

    /// Queues a task. The pool must not be destroyed before the call returns, unless it is waiting for the task.
    ///
    /// \param task  no task: nothing is done
    /// \param blocking  return only when the task has run. From a thread of the same pool this waits for ever when all
    /// other threads are busy and there may be no more; so it does when the task is removed by `clearQueue`.
    /// \param urgent  run it before every task that is not
    void enqueue(std::shared_ptr<Task> task, bool blocking, bool urgent);

    /// Drops every waiting task. Tasks that run are not affected.
    void clearQueue();

    /// How many tasks wait in both queues at this moment.
    unsigned int queueSize() const;

private:
    friend class PoolWorker;

    PoolWorker* worker_ = nullptr;  // deletes itself
    std::shared_ptr<std::deque<std::shared_ptr<Task>>> normalQueue_;
    std::shared_ptr<std::deque<std::shared_ptr<Task>>> urgentQueue_;
    std::shared_ptr<std::mutex> queueMutex_;
    std::uint32_t minThreads_;
    std::uint32_t maxThreads_;
};

/// The entry of a thread: calls `run` of the `Runnable*` it is given, which it does not own, and returns null.
VDIFRAMEWORKCOMMON_EXPORT void* poolThreadMain(void* runnable);

}  // namespace VDIFrameworkCommon
