#include "VDIFrameworkCommon/ThreadPool.h"

#include <utility>

namespace VDIFrameworkCommon {

ThreadPool::ThreadPool(unsigned int minThreads, unsigned int maxThreads, unsigned int idleTimeoutSeconds)
    : ThreadPool(minThreads, maxThreads, "", idleTimeoutSeconds) {
}

ThreadPool::ThreadPool(unsigned int minThreads, unsigned int maxThreads, const std::string& name,
                       unsigned int idleTimeoutSeconds)
    : normalQueue_(std::make_shared<std::deque<std::shared_ptr<Task>>>()),
      urgentQueue_(std::make_shared<std::deque<std::shared_ptr<Task>>>()),
      queueMutex_(std::make_shared<std::mutex>()),
      minThreads_(minThreads),
      maxThreads_(maxThreads) {
    init(idleTimeoutSeconds, name);
}

ThreadPool::~ThreadPool() {
    worker_->shutdown();
}

void ThreadPool::init(unsigned int idleTimeoutSeconds, const std::string& name) {
    constexpr long millisecondsPerSecond = 1000;
    worker_ =
        new PoolWorker(this, normalQueue_, urgentQueue_, queueMutex_, idleTimeoutSeconds * millisecondsPerSecond, name);
    for (std::uint32_t i = 0; i < minThreads_; ++i) {
        worker_->addThread();
    }
}

void ThreadPool::enqueue(std::shared_ptr<Task> task, bool blocking, bool urgent) {
    if (task == nullptr) {
        return;
    }
    std::shared_ptr<BlockingTask> awaited;
    if (blocking) {
        awaited = std::make_shared<BlockingTask>(std::move(task));
        task = awaited;
    }
    {
        const std::lock_guard lock(*queueMutex_);
        (urgent ? *urgentQueue_ : *normalQueue_).push_back(std::move(task));
    }
    // Decided on counts that may be out of date by now: a thread too many, or none for a moment, is put up with.
    if (worker_->hasCapacity()) {
        worker_->wakeUpThread();
    } else {
        worker_->addThread();
    }
    if (awaited != nullptr) {
        awaited->wait();
    }
}

void ThreadPool::clearQueue() {
    // Destroyed without the lock: the destructor of a task may use the pool.
    std::deque<std::shared_ptr<Task>> normal;
    std::deque<std::shared_ptr<Task>> urgent;
    const std::lock_guard lock(*queueMutex_);
    normal.swap(*normalQueue_);
    urgent.swap(*urgentQueue_);
}

unsigned int ThreadPool::queueSize() const {
    const std::lock_guard lock(*queueMutex_);
    return static_cast<unsigned int>(normalQueue_->size() + urgentQueue_->size());
}

}  // namespace VDIFrameworkCommon
