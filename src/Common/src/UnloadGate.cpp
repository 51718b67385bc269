#include "UnloadGate.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/ProcessBarrier.h"

namespace VDIFrameworkCommon::unload {

/// What a thread shows of its uses. Slots are never freed: one whose thread has ended serves the next.
struct alignas(64) ThreadSlot {
    std::atomic<unsigned> depth{0};  ///< uses that the owning thread is in; written by that thread alone
    std::atomic<bool> taken{true};
    ThreadSlot* next = nullptr;
    std::string buffer;
};

namespace {

using namespace std::chrono_literals;

constexpr auto waitLimit = 2s;

std::atomic<ThreadSlot*> slots{nullptr};
ThreadSlot* slotsOfLostThreads = nullptr;

// Constant-initialised and trivially destructible, so they hold in the first constructor and the last destructor alike.
// In the thread's static block, which loaded libraries get some of too: reaching them costs no call for each record.
[[gnu::tls_model("initial-exec")]] thread_local ThreadSlot* threadSlot = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local bool threadIsEnding = false;

// Whether a user may do without a barrier of its own because waitForUsers() makes every thread execute one.
const bool waitHasBarrier = platform::hasProcessBarrier();

ThreadSlot* takeSlot() {
    for (ThreadSlot* slot = slots.load(); slot != nullptr; slot = slot->next) {
        if (!slot->taken.load(std::memory_order_relaxed) && !slot->taken.exchange(true)) {
            return slot;
        }
    }
    auto* const slot = new ThreadSlot;
    slot->next = slots.load();
    while (!slots.compare_exchange_weak(slot->next, slot)) {
    }
    return slot;
}

void giveBack(ThreadSlot* slot) {
    slot->taken.store(false);
}

struct SlotReturner {
    SlotReturner() = default;
    SlotReturner(const SlotReturner&) = delete;
    SlotReturner& operator=(const SlotReturner&) = delete;
    ~SlotReturner() {
        // Later destructors of this thread borrow a slot for each use.
        threadIsEnding = true;
        giveBack(std::exchange(threadSlot, nullptr));
    }
};

ThreadSlot* slotOfThisThread() {
    if (threadSlot != nullptr) {
        return threadSlot;
    }
    ThreadSlot* const slot = takeSlot();
    if (!threadIsEnding) {
        threadSlot = slot;
        static thread_local const SlotReturner returner;
        static_cast<void>(&returner);
    }
    return slot;
}

// In a forked child only the forking thread is left; slots that others were using would look busy for ever, and their
// buffers may be half changed. The rest serve the child's threads.
void takeOverSlots() {
    ThreadSlot* kept = nullptr;
    ThreadSlot* slot = slots.load();
    while (slot != nullptr) {
        ThreadSlot* const next = slot->next;
        const bool own = slot == threadSlot;
        const bool unused = !own && slot->depth.load() == 0;
        if (unused) {
            giveBack(slot);
        }
        ThreadSlot*& list = own || unused ? kept : slotsOfLostThreads;
        slot->next = list;
        list = slot;
        slot = next;
    }
    slots.store(kept);
}

const int forkHandler = pthread_atfork(nullptr, nullptr, takeOverSlots);

}  // namespace

Use::Use() noexcept : slot_(slotOfThisThread()) {
    const unsigned depth = slot_->depth.load(std::memory_order_relaxed) + 1;
    if (waitHasBarrier) {
        // The barrier in waitForUsers() orders this store before the user's loads, for the thread that needs it.
        slot_->depth.store(depth, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
        slot_->depth.exchange(depth);
    }
}

Use::~Use() {
    // Pairs with the load in waitForUsers(): what was done with the object happens before its end.
    slot_->depth.store(slot_->depth.load(std::memory_order_relaxed) - 1, std::memory_order_release);
    if (slot_ != threadSlot) {
        giveBack(slot_);
    }
}

std::string* Use::buffer() const noexcept {
    return slot_->depth.load(std::memory_order_relaxed) == 1 ? &slot_->buffer : nullptr;
}

bool waitForUsers() {
    if (waitHasBarrier && !platform::processBarrier()) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + waitLimit;
    for (ThreadSlot* slot = slots.load(); slot != nullptr; slot = slot->next) {
        while (slot != threadSlot && slot->depth.load() != 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(100us);
        }
    }
    return threadSlot == nullptr || threadSlot->depth.load() == 0;
}

}  // namespace VDIFrameworkCommon::unload
