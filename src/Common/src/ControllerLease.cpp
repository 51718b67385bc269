#include "ControllerLease.h"

#include <atomic>

namespace VDIFrameworkCommon::log {

using DPL::dpllogger::LogController;

namespace {

std::atomic<LogController*> currentController{nullptr};

/// Makes the controller when the library is loaded and releases it at unload or process exit.
class ControllerOwner {
public:
    // The pointer is on the heap so that it can outlive this object, for a record that would not end.
    ControllerOwner() : instance_(new std::shared_ptr<LogController>(std::make_shared<LogController>())) {
        currentController.store(instance_->get());
    }
    ControllerOwner(const ControllerOwner&) = delete;
    ControllerOwner& operator=(const ControllerOwner&) = delete;
    ~ControllerOwner() {
        currentController.store(nullptr);
        if (unload::waitForUsers()) {
            delete instance_;
        }
    }

    const std::shared_ptr<LogController>& instance() const { return *instance_; }

private:
    std::shared_ptr<LogController>* const instance_;
};

const ControllerOwner controllerOwner;

}  // namespace

ControllerLease::ControllerLease() noexcept : controller_(currentController.load()) {
}

std::shared_ptr<LogController> ControllerLease::share() const noexcept {
    return controller_ == nullptr ? nullptr : controllerOwner.instance();
}

}  // namespace VDIFrameworkCommon::log
