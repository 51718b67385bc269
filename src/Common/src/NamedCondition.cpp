#include "VDIFrameworkCommon/NamedCondition.h"

#include <cstddef>

#include "ObjectNames.h"

namespace VDIFrameworkCommon {

NamedCondition::NamedCondition() = default;

NamedCondition::~NamedCondition() {
    release();
}

bool NamedCondition::create(const char* name) {
    constexpr std::size_t longest = 1024;
    event_ = nullptr;
    if (name != nullptr) {
        name_ = clientObjectName(name);
        if (name_.size() > longest) {
            name_.resize(longest);
        }
        event_ = CreateEventA(nullptr, false, false, name_.c_str());
    }
    return event_ != nullptr;
}

bool NamedCondition::wait(NamedMutex& mutex) {
    mutex.unlock();
    WaitForSingleObject(event_, INFINITE);
    return mutex.lock();
}

bool NamedCondition::timed_wait(NamedMutex& mutex, unsigned int milliseconds) {
    mutex.unlock();
    const bool notified = WaitForSingleObject(event_, static_cast<int>(milliseconds)) == 0;
    mutex.lock();
    return notified;
}

void NamedCondition::notify() {
    SetEvent(event_);
}

void NamedCondition::release() {
    if (event_ != nullptr) {
        CloseHandle(event_);
        event_ = nullptr;
    }
}

}  // namespace VDIFrameworkCommon
