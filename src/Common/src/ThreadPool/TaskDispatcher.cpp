#include "VDIFrameworkCommon/TaskDispatcher.h"

#include <utility>

#include "Log.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("VDIFrameworkCommon", __FILE__);

constexpr unsigned minThreads = 0;
constexpr unsigned maxThreads = 5;
constexpr unsigned idleTimeoutSeconds = 60;

}  // namespace

std::shared_ptr<TaskDispatcher>& TaskDispatcher::instance_ = *new std::shared_ptr<TaskDispatcher>;
std::mutex& TaskDispatcher::instanceMutex_ = *new std::mutex;

/// Gives the process's hold on the dispatcher up when the library is unloaded or the process exits.
struct TaskDispatcher::Release {
    Release() = default;
    Release(const Release&) = delete;
    Release& operator=(const Release&) = delete;
    ~Release() {
        // Destroyed without the lock: waiting functions are destroyed with it, and they may hold anything.
        std::shared_ptr<TaskDispatcher> last;
        const std::lock_guard lock(instanceMutex_);
        last.swap(instance_);
    }
    static const Release atExit;
};

const TaskDispatcher::Release TaskDispatcher::Release::atExit;

TaskDispatcher::TaskDispatcher()
    : taskPool_(new ThreadPool(minThreads, maxThreads, "TaskDispatcher", idleTimeoutSeconds)),
      callbackPool_(new ThreadPool(minThreads, maxThreads, "TaskDispatcherForCallbackTask", idleTimeoutSeconds)) {
}

TaskDispatcher::~TaskDispatcher() {
    taskPool_.reset();
    callbackPool_.reset();
}

std::shared_ptr<TaskDispatcher> TaskDispatcher::getInstance() {
    const std::lock_guard lock(instanceMutex_);
    if (instance_ == nullptr) {
        instance_.reset(new TaskDispatcher);
    }
    return instance_;
}

void TaskDispatcher::enqueue(std::function<void()> task, const std::string& name) {
    if (!running_) {
        return;
    }
    auto functionTask = std::make_shared<FunctionTask>(std::move(task), name);
    if (logSource.present()) {
        VDI_LOG(DPL_DEBUG, "Enqueue ", name, " - Queue Size: ", taskPool_->queueSize());
    }
    taskPool_->enqueue(std::move(functionTask), false, false);
}

void TaskDispatcher::enqueueCallbackTask(std::function<void()> task, const std::string& name) {
    if (!running_) {
        return;
    }
    auto functionTask = std::make_shared<FunctionTask>(std::move(task), name);
    if (logSource.present()) {
        VDI_LOG(DPL_DEBUG, "Enqueue ", name, " - Queue Size: ", callbackPool_->queueSize());
    }
    callbackPool_->enqueue(std::move(functionTask), false, false);
}

void TaskDispatcher::clearQueue() {
    taskPool_->clearQueue();
    callbackPool_->clearQueue();
}

void TaskDispatcher::Start() {
    running_.exchange(true);
}

void TaskDispatcher::Stop() {
    clearQueue();
    running_.exchange(false);
}

}  // namespace VDIFrameworkCommon
