#include "RoleEvent.h"

#include <VDIFrameworkCommon/Event.h>
#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace agent {

namespace {

using namespace VDIFrameworkCommon;

// The event numbers its waiters, and uses a number again while another still waits under it: of several waiters one can
// miss every signal that comes. None waits for ever under one number, therefore, and the heartbeat looks as well.
constexpr int longestWaitMs = 1000;

constexpr int waitTimeout = 64;
constexpr int waitFailed = 96;
constexpr std::chrono::milliseconds pauseAfterFailure{100};
constexpr long sendingMs = 200;

// The products that share the record of the active agent share its event.
std::string productName() {
    auto* const client = VDIClientInfo::getInstance();
    const auto type = client->getClientType();
    const bool hasItsOwn = type == VDIClientType::OrvexCrews || type == VDIClientType::OrvexHuddles;
    return hasItsOwn ? client->getClientName() : "Unknown";
}

// Event names are taken as they are, so the user and the product, which keep agents apart, are part of it.
std::string eventName() {
    const unsigned int user = geteuid();
    return toString(user) + "_" + productName() + "_VDIAgentRole";
}

t_HANDLE* openEvent() {
    return CreateEventA(nullptr, false, false, eventName().c_str());
}

}  // namespace

/// What the threads share with the object, and outlive it with. The handle is never closed.
struct RoleEvent::Bridge {
    t_HANDLE* const handle = openEvent();
    Event changed{true};
    Event toSend{true};
    Event sent{true};

    void receive() {
        for (;;) {
            const int result = WaitForSingleObject(handle, longestWaitMs);
            if (result == waitTimeout) {
                continue;  // under a number of its own again
            }
            if (result == waitFailed) {
                // Another agent has the signal, or no wait could take place: that would come back at once, over and
                // over.
                std::this_thread::sleep_for(pauseAfterFailure);
            }
            changed.set();
        }
    }
    void send() {
        for (;;) {
            toSend.wait();
            SetEvent(handle);
            sent.set();
        }
    }
};

RoleEvent::RoleEvent() : bridge_(std::make_shared<Bridge>()) {
    if (isOpen()) {
        std::thread([bridge = bridge_] { bridge->receive(); }).detach();
        std::thread([bridge = bridge_] { bridge->send(); }).detach();
    }
}

RoleEvent::~RoleEvent() = default;

bool RoleEvent::isOpen() const {
    return bridge_->handle != nullptr;
}

void RoleEvent::heal() {
    if (t_HANDLE* const again = openEvent()) {
        CloseHandle(again);
    }
}

void RoleEvent::set() {
    bridge_->changed.set();
    bridge_->toSend.set();
}

void RoleEvent::setAndSend() {
    bridge_->sent.timedWait(0);
    set();
    bridge_->sent.timedWait(sendingMs);
}

void RoleEvent::wait() {
    bridge_->changed.wait();
}

}  // namespace agent
