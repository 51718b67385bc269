// The reader-writer locks beside a floor (one atomic step to take the lock and one to give it back, without sleeping)
// and beside what people use: one thread, two and four, mostly reading and half writing.

#include <VDIFrameworkCommon/RWLock.h>
#include <VDIFrameworkCommon/ReentrantRWLock.h>
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <shared_mutex>
#include <string>
#include <thread>

#ifdef VDI_BENCH_POCO
#include <Poco/RWLock.h>
#endif
#ifdef VDI_BENCH_QT
#include <QReadWriteLock>
#endif

namespace {

// Every lock with the same four operations.
struct Ours {
    void readLock() { lock.readLock(); }
    void readUnlock() { lock.unlock(); }
    void writeLock() { lock.writeLock(); }
    void writeUnlock() { lock.unlock(); }
    VDIFrameworkCommon::RWLock lock;
};

using OursReentrant = VDIFrameworkCommon::ReentrantRWLock;

struct Floor {
    void readLock() {
        exchange([](std::int64_t now) { return now >= 0; }, 1);
    }
    void readUnlock() { state.fetch_sub(1); }
    void writeLock() {
        exchange([](std::int64_t now) { return now == 0; }, -1);
    }
    void writeUnlock() { state.store(0, std::memory_order_release); }

    template <typename IsFree>
    void exchange(IsFree isFree, std::int64_t change) {
        std::int64_t now = state.load(std::memory_order_relaxed);
        while (!isFree(now) || !state.compare_exchange_weak(now, now + change)) {
            if (!isFree(now)) {
                std::this_thread::yield();
                now = state.load(std::memory_order_relaxed);
            }
        }
    }
    std::atomic<std::int64_t> state{0};
};

struct Standard {
    void readLock() { lock.lock_shared(); }
    void readUnlock() { lock.unlock_shared(); }
    void writeLock() { lock.lock(); }
    void writeUnlock() { lock.unlock(); }
    std::shared_mutex lock;
};

#ifdef VDI_BENCH_POCO
struct Poco_ {
    void readLock() { lock.readLock(); }
    void readUnlock() { lock.unlock(); }
    void writeLock() { lock.writeLock(); }
    void writeUnlock() { lock.unlock(); }
    Poco::RWLock lock;
};
#endif

#ifdef VDI_BENCH_QT
template <QReadWriteLock::RecursionMode mode>
struct Qt_ {
    void readLock() { lock.lockForRead(); }
    void readUnlock() { lock.unlock(); }
    void writeLock() { lock.lockForWrite(); }
    void writeUnlock() { lock.unlock(); }
    QReadWriteLock lock{mode};
};
#endif

// One in `every` holds is a write; 0: none is.
template <typename Lock, unsigned every>
void mixed(benchmark::State& state) {
    static Lock lock;
    static long value = 0;
    unsigned count = static_cast<unsigned>(state.thread_index());
    for (auto _ : state) {
        if (every != 0 && ++count % (every == 0 ? 1 : every) == 0) {
            lock.writeLock();
            benchmark::DoNotOptimize(++value);
            lock.writeUnlock();
        } else {
            lock.readLock();
            benchmark::DoNotOptimize(value);
            lock.readUnlock();
        }
    }
}

void nested(benchmark::State& state) {
    VDIFrameworkCommon::ReentrantRWLock lock;
    for (auto _ : state) {
        lock.readLock();
        lock.readLock();
        lock.writeLock();
        lock.writeUnlock();
        lock.readUnlock();
        lock.readUnlock();
    }
}

template <typename Lock>
void addLock(const std::string& name) {
    benchmark::RegisterBenchmark(("read/" + name).c_str(), mixed<Lock, 0>);
    benchmark::RegisterBenchmark(("write/" + name).c_str(), mixed<Lock, 1>);
    for (const int threads : {1, 2, 4}) {
        benchmark::RegisterBenchmark(("95% reads/" + name).c_str(), mixed<Lock, 20>)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark(("50% writes/" + name).c_str(), mixed<Lock, 2>)->Threads(threads)->UseRealTime();
    }
}

const bool added = [] {
    addLock<Ours>("ours");
    addLock<Floor>("floor");
    addLock<Standard>("std::shared_mutex");
#ifdef VDI_BENCH_POCO
    addLock<Poco_>("POCO RWLock");
#endif
#ifdef VDI_BENCH_QT
    addLock<Qt_<QReadWriteLock::NonRecursive>>("QReadWriteLock");
    addLock<Qt_<QReadWriteLock::Recursive>>("QReadWriteLock(Recursive)");
#endif
    addLock<OursReentrant>("ours, re-entrant");
    benchmark::RegisterBenchmark("read,read,write nested/ours, re-entrant", nested);
    return true;
}();

}  // namespace
