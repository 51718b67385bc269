#include "EventOperations.h"

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/SharedMemory.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Command.h"
#include "LibraryRecords.h"
#include "Owner.h"
#include "Report.h"
#include "SharedObject.h"
#include "SignalQueue.h"
#include "survey/Descriptor.h"
#include "survey/SharedFolder.h"

namespace vdictl {

namespace {

using namespace VDIFrameworkCommon;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How long an operation that waits for nothing may take, and a wait that was asked to stop.
constexpr milliseconds patience{5000};

// A waiter that ends without deregistering leaves its traces in the event: each wait is short, so that a signal that
// asks to stop is noticed between two of them. It also may have its number in common with another waiter, and miss a
// signal.
constexpr milliseconds slice{200};

constexpr int signaled = 0;
constexpr int timedOut = 64;

/// Work on a thread of its own, which may be held up for good by what other processes left in an event.
class Work {
public:
    explicit Work(std::function<void(const std::atomic<bool>& stop)> body) : state_(std::make_shared<State>()) {
        std::thread([state = state_, body = std::move(body)] {
            try {
                body(state->stop);
            } catch (...) {
                state->exception = std::current_exception();
            }
            state->isDone = true;
            const std::uint64_t one = 1;
            static_cast<void>(write(state->done.get(), &one, sizeof one) == sizeof one);
        }).detach();
    }

    /// Readable once it is done.
    int descriptor() const { return state_->done.get(); }

    void stop() { state_->stop = true; }

    /// False when it is not done in time. Throws what the work threw.
    bool isDoneWithin(milliseconds limit) const {
        pollfd done{descriptor(), POLLIN, 0};
        while (poll(&done, 1, static_cast<int>(limit.count())) < 0 && errno == EINTR) {
        }
        if (!state_->isDone) {
            return false;
        }
        if (state_->exception) {
            // Its end, too, is this thread's.
            std::rethrow_exception(std::exchange(state_->exception, nullptr));
        }
        return true;
    }

private:
    struct State {
        Descriptor done{eventfd(0, EFD_CLOEXEC)};
        std::atomic<bool> stop{false};
        std::atomic<bool> isDone{false};  // what the work left is there to see; before `done` is readable
        std::exception_ptr exception;
    };
    std::shared_ptr<State> state_;
};

// The thread still is in the library, which other threads' ends must not wait for.
[[noreturn]] void giveUp(const EventName& name, const char* operation) {
    complain(Failure(name.description(), operation, "held up by what a process left there that died or is stopped",
                     "'vdictl doctor' tells more and can repair it")
                 .what());
    _exit(exitFailure);
}

[[noreturn]] void failFull(const EventName& name) {
    throw Failure(name.description(), "posix_fallocate", ENOSPC, adviceFor(ENOSPC, name.object().file));
}

// The system gives the memory of an object when it is written to, and kills who writes where there is none left.
void reserve(const EventName& name) {
    const SharedObject object = name.object();
    const bool isNew = !object.exists();
    const Descriptor fd(shm_open_mac(object.logicalName, O_RDWR | O_CREAT, 0600));
    if (fd.isOpen() && posix_fallocate(fd.get(), 0, sizeof(t_HANDLE)) == ENOSPC) {
        if (isNew) {
            shm_unlink_mac(object.logicalName);
        }
        failFull(name);
    }
}

// Waiters' objects come and go too fast to be reserved.
void requireSpaceForWaiter(const EventName& name) {
    const FolderSpace space = spaceOf();
    if (space.bytes != 0 && space.freeBytes < static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE))) {
        failFull(name);
    }
}

t_HANDLE* open(const EventName& name) {
    const ActingFor owner(name.owner);
    reserve(name);
    library::clear();
    t_HANDLE* const event = CreateEventA(nullptr, false, false, name.full().c_str());
    if (event == nullptr) {
        throw library::failure(name.description(), name.object().file);
    }
    return event;
}

// A signal that asks to stop comes too late: ended in the middle, the process would leave the event's lock held.
void operate(const EventName& name, const char* operation, int (*function)(t_HANDLE*)) {
    const SignalQueue held({SIGHUP, SIGINT, SIGQUIT, SIGTERM});
    const Work work([name, function](const std::atomic<bool>& /*stop*/) {
        t_HANDLE* const event = open(name);
        const ActingFor owner(name.owner);
        function(event);
        CloseHandle(event);
    });
    if (!work.isDoneWithin(patience)) {
        giveUp(name, operation);
    }
    // Waiters that could not be woken are in the records only.
    if (library::firstError()) {
        throw library::failure(name.description(), name.object().file);
    }
}

/// Waiting in short waits, until the signal comes.
class Waiter {
public:
    Waiter(EventName name, std::optional<unsigned int> timeout) : name_(std::move(name)), timeout_(timeout) {}

    /// True when the signal came, false when the time ran out or it was asked to stop.
    bool run(const std::atomic<bool>& stop) const {
        const auto start = steady_clock::now();
        t_HANDLE* const event = open(name_);
        const ActingFor owner(name_.owner);
        bool isSignaled = false;
        while (!isSignaled && !stop) {
            requireSpaceForWaiter(name_);
            const milliseconds left = leftSince(start);
            const int result = WaitForSingleObject(event, static_cast<int>(std::min(left, slice).count()));
            isSignaled = result == signaled;
            // Otherwise it was woken by a signal that another waiter got.
            if (result != signaled && result != timedOut && library::firstError()) {
                throw library::failure(name_.description(), name_.object().file);
            }
            if (left <= milliseconds(0)) {
                break;
            }
        }
        CloseHandle(event);
        return isSignaled;
    }

private:
    milliseconds leftSince(steady_clock::time_point start) const {
        const auto passed = std::chrono::floor<milliseconds>(steady_clock::now() - start);
        return timeout_ ? std::max(milliseconds(*timeout_) - passed, milliseconds(0)) : slice;
    }

    EventName name_;
    std::optional<unsigned int> timeout_;
};

// Zero when the work is done first.
int signalBefore(const Work& work, SignalQueue& signals) {
    pollfd sources[] = {{work.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    for (;;) {
        poll(sources, 2, -1);
        if (sources[0].revents != 0) {
            return 0;
        }
        if (const auto signal = signals.next(milliseconds(0))) {
            return static_cast<int>(signal->ssi_signo);
        }
    }
}

}  // namespace

void setEvent(const EventName& name) {
    operate(name, "SetEvent", SetEvent);
}

void resetEvent(const EventName& name) {
    operate(name, "ResetEvent", ResetEvent);
}

int waitForEvent(const EventName& name, std::optional<unsigned int> timeout) {
    SignalQueue signals({SIGHUP, SIGINT, SIGQUIT, SIGTERM});
    const auto isSignaled = std::make_shared<bool>(false);
    Work work([waiter = Waiter(name, timeout), isSignaled](const std::atomic<bool>& stop) {
        *isSignaled = waiter.run(stop);
    });
    const int signal = signalBefore(work, signals);
    work.stop();
    if (!work.isDoneWithin(patience)) {
        giveUp(name, "WaitForSingleObject");
    }
    if (*isSignaled) {
        return exitYes;
    }
    if (signal != 0) {
        return 128 + signal;
    }
    complain(Failure(name.description(), "", "not signaled within " + std::to_string(*timeout) + " ms").what());
    return exitNo;
}

}  // namespace vdictl
