#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "VDIFrameworkCommon/ThreadName.h"
#include "VDIFrameworkCommon/ThreadPool.h"

namespace VDIFrameworkCommon {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Longer waits are put together from waits of this length, which every clock can count to.
constexpr milliseconds longestWait = std::chrono::hours(24 * 365 * 100);

}  // namespace

Runnable::~Runnable() = default;

PoolWorker::PoolWorker(ThreadPool* pool, std::shared_ptr<std::deque<std::shared_ptr<Task>>> normalQueue,
                       std::shared_ptr<std::deque<std::shared_ptr<Task>>> urgentQueue,
                       std::shared_ptr<std::mutex> queueMutex, long idleTimeoutMs, const std::string& name)
    : pool_(pool),
      name_(name),
      normalQueue_(std::move(normalQueue)),
      urgentQueue_(std::move(urgentQueue)),
      queueMutex_(std::move(queueMutex)),
      idleTimeoutMs_(idleTimeoutMs) {
}

PoolWorker::~PoolWorker() = default;

void PoolWorker::run() {
    bool timedOut = false;
    bool lastThread = false;
    setWorkerThreadName(name_);
    while (stayAlive(timedOut, lastThread)) {
        std::unique_lock queueLock(*queueMutex_);
        if (pool_ != nullptr) {
            timedOut = !waitForTask(queueLock);
        }
        while (pool_ != nullptr && !timedOut) {
            std::shared_ptr<Task> task = takeTask();
            if (task == nullptr) {
                break;
            }
            queueLock.unlock();
            runTask(std::move(task));
            queueLock.lock();
        }
        queueLock.unlock();
        setWorkerThreadName(name_);
    }
    if (lastThread) {
        delete this;
    }
}

// Returns false when the idle time has passed. A task that came in the same instant is then left to the next thread
// that looks.
bool PoolWorker::waitForTask(std::unique_lock<std::mutex>& queueLock) {
    const milliseconds idleTimeout(idleTimeoutMs_);
    while (urgentQueue_->empty() && normalQueue_->empty()) {
        if (idleTimeout < milliseconds(1)) {
            return false;
        }
        const auto start = steady_clock::now();
        wake_.wait_for(queueLock, std::min(idleTimeout, longestWait));
        const bool timedOut = std::chrono::floor<milliseconds>(steady_clock::now() - start) >= idleTimeout;
        if (pool_ == nullptr || timedOut) {
            return !timedOut;
        }
    }
    return true;
}

std::shared_ptr<Task> PoolWorker::takeTask() {
    auto& queue = urgentQueue_->empty() ? *normalQueue_ : *urgentQueue_;
    if (queue.empty()) {
        return nullptr;
    }
    std::shared_ptr<Task> task = std::move(queue.front());
    queue.pop_front();
    return task;
}

void PoolWorker::runTask(std::shared_ptr<Task> task) {
    {
        const std::lock_guard lock(stateMutex_);
        ++busyCount_;
    }
    setWorkerThreadName(task->getName());
    task->run();
    task.reset();
    const std::lock_guard lock(stateMutex_);
    --busyCount_;
}

void PoolWorker::shutdown() {
    if (pool_ == nullptr) {
        return;
    }
    {
        // Destroyed without the lock: the destructor of a task may use the pool.
        std::deque<std::shared_ptr<Task>> normal;
        std::deque<std::shared_ptr<Task>> urgent;
        const std::lock_guard lock(*queueMutex_);
        normal.swap(*normalQueue_);
        urgent.swap(*urgentQueue_);
    }
    {
        const std::lock_guard lock(stateMutex_);
        pool_ = nullptr;
        ++threadCount_;  // this call counts as a thread until its end, so that the last thread leaves the worker to it
    }
    // A thread that still saw the pool has its lock until it waits. Taking that lock once means that no thread is
    // between the look and the wait, where it would miss the call and sleep for its whole idle time.
    std::unique_lock(*queueMutex_).unlock();
    wake_.notify_all();
    bool timedOut = false;
    bool lastThread = false;
    stayAlive(timedOut, lastThread);
    if (lastThread) {
        delete this;
    }
}

void PoolWorker::wakeUpThread() {
    wake_.notify_one();
}

bool PoolWorker::hasCapacity() {
    // Without the lock: the answer may be out of date as soon as it is given back anyway, and every enqueue asks.
    return busyCount_ < threadCount_;
}

void PoolWorker::addThread() {
    const std::lock_guard lock(stateMutex_);
    const ThreadPool* const pool = pool_;
    if (pool != nullptr && threadCount_ < pool->maxThreads_) {
        createThread(this);
        // Counted even if the system refused the thread: hosts size their pools by what was asked for, and a pool that
        // counted otherwise would try again on every task. Test: ThreadPool.CountsAThreadThatCouldNotBeCreated.
        ++threadCount_;
    }
}

int PoolWorker::createThread(Runnable* runnable) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const int result = pthread_create(&thread, &attributes, poolThreadMain, runnable);
    pthread_attr_destroy(&attributes);
    return result;
}

bool PoolWorker::stayAlive(bool& timedOut, bool& lastThread) {
    const std::lock_guard lock(stateMutex_);
    const ThreadPool* const pool = pool_;
    if (pool == nullptr) {
        lastThread = threadCount_-- == 1;
        return false;
    }
    if (timedOut && threadCount_ > pool->minThreads_) {
        --threadCount_;
        return false;
    }
    timedOut = false;
    return true;
}

void* poolThreadMain(void* runnable) {
    static_cast<Runnable*>(runnable)->run();
    return nullptr;
}

}  // namespace VDIFrameworkCommon
