#include <utility>

#include "VDIFrameworkCommon/ThreadPool.h"

namespace VDIFrameworkCommon {

Task::~Task() = default;

BlockingTask::BlockingTask(std::shared_ptr<Task> task) : completed_(true), task_(std::move(task)) {
}

void BlockingTask::run() {
    task_->run();
    completed_.set();
}

std::string BlockingTask::getName() {
    return "BT-" + task_->getName();
}

void BlockingTask::wait() {
    completed_.wait();
}

FunctionTask::FunctionTask(std::function<void()> function, std::string name)
    : function_(std::move(function)), name_(std::move(name)) {
}

void FunctionTask::run() {
    function_();
}

std::string FunctionTask::getName() {
    return name_;
}

}  // namespace VDIFrameworkCommon
