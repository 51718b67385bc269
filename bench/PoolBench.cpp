// Thread pools of two threads: ours, a floor, and what people use instead.
//
// Ours names its thread after each task, which is one system call a task that no peer makes; the floor is given with
// and without it.

#include <VDIFrameworkCommon/ThreadName.h>
#include <VDIFrameworkCommon/ThreadPool.h>
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Percentiles.h"

#ifdef VDI_BENCH_BOOST
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#endif
#ifdef VDI_BENCH_TBB
#include <oneapi/tbb/task_arena.h>  // before Qt, which makes a macro of a word that it uses
#endif
#ifdef VDI_BENCH_QT
#include <QThreadPool>
#endif

namespace {

using std::chrono::steady_clock;

constexpr unsigned poolThreads = 2;

std::atomic<long> ran{0};
std::atomic<steady_clock::time_point> ranAt;

void count() {
    ran.fetch_add(1, std::memory_order_relaxed);
}

void note() {
    ranAt = steady_clock::now();
    ran.fetch_add(1);
}

/// What every pool here offers: `start` a function, at some time, on one of two threads.
class Ours {
public:
    static constexpr const char* name = "ours";
    void start(void (*function)()) { pool_.enqueue(task(function), false, false); }
    void run(void (*function)()) { pool_.enqueue(task(function), true, false); }

private:
    static std::shared_ptr<VDIFrameworkCommon::Task> task(void (*function)()) {
        return std::make_shared<VDIFrameworkCommon::FunctionTask>(function, "bench");
    }
    VDIFrameworkCommon::ThreadPool pool_{poolThreads, poolThreads, "bench", 3600};
};

/// A queue, a mutex, a condition, the counts changed under a second mutex; and a name for each task, or not.
template <bool Naming>
class Floor {
public:
    static constexpr const char* name = Naming ? "floor" : "floor without thread names";
    Floor() {
        for (std::thread& thread : threads_) {
            thread = std::thread([this] { work(); });
        }
    }
    ~Floor() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    void start(std::function<void()> function) {
        auto task = std::make_shared<std::function<void()>>(std::move(function));
        {
            const std::lock_guard lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        benchmark::DoNotOptimize(busy_.load());
        wake_.notify_one();
    }
    void run(void (*function)()) {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        start([&] {
            function();
            const std::lock_guard lock(mutex);
            done = true;
            changed.notify_one();
        });
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return done; });
    }

private:
    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return ended_ || !tasks_.empty(); });
            if (ended_) {
                return;
            }
            const auto task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            changeBusy(1);
            if constexpr (Naming) {
                VDIFrameworkCommon::SetThreadName("bench");
            }
            (*task)();
            changeBusy(-1);
            lock.lock();
        }
    }
    void changeBusy(int by) {
        const std::lock_guard lock(countMutex_);
        busy_ += by;
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::shared_ptr<std::function<void()>>> tasks_;
    bool ended_ = false;
    std::mutex countMutex_;
    std::atomic<int> busy_{0};
    std::thread threads_[poolThreads];
};

/// A peer that cannot wait for a task: the caller waits for a promise.
template <typename Pool>
void runWithPromise(Pool& pool, void (*function)()) {
    std::promise<void> promise;
    pool.start([&] {
        function();
        promise.set_value();
    });
    promise.get_future().wait();
}

#ifdef VDI_BENCH_BOOST
class Asio {
public:
    static constexpr const char* name = "Boost.Asio thread_pool";
    ~Asio() { pool_.join(); }
    template <typename Function>
    void start(Function function) {
        boost::asio::post(pool_, std::move(function));
    }
    void run(void (*function)()) { runWithPromise(*this, function); }

private:
    boost::asio::thread_pool pool_{poolThreads};
};
#endif

#ifdef VDI_BENCH_POCO
class Poco_ {
public:
    static constexpr const char* name = "POCO NotificationQueue";
    Poco_() {
        for (std::thread& thread : threads_) {
            thread = std::thread([this] {
                while (Poco::AutoPtr<Poco::Notification> work = queue_.waitDequeueNotification()) {
                    static_cast<Work*>(work.get())->function();
                }
            });
        }
    }
    ~Poco_() {
        while (!queue_.empty()) {
            std::this_thread::yield();
        }
        // Wakes only those that wait already.
        std::atomic<unsigned> joined{0};
        std::thread waker([&] {
            while (joined < poolThreads) {
                queue_.wakeUpAll();
                std::this_thread::yield();
            }
        });
        for (std::thread& thread : threads_) {
            thread.join();
            ++joined;
        }
        waker.join();
    }
    Poco_(const Poco_&) = delete;
    Poco_& operator=(const Poco_&) = delete;
    void start(std::function<void()> function) { queue_.enqueueNotification(new Work(std::move(function))); }
    void run(void (*function)()) { runWithPromise(*this, function); }

private:
    struct Work : Poco::Notification {
        explicit Work(std::function<void()> body) : function(std::move(body)) {}
        std::function<void()> function;
    };
    Poco::NotificationQueue queue_;
    std::thread threads_[poolThreads];
};
#endif

#ifdef VDI_BENCH_QT
class Qt_ {
public:
    static constexpr const char* name = "Qt QThreadPool";
    Qt_() { pool_.setMaxThreadCount(poolThreads); }
    void start(std::function<void()> function) { pool_.start(std::move(function)); }
    void run(void (*function)()) { runWithPromise(*this, function); }

private:
    QThreadPool pool_;
};
#endif

#ifdef VDI_BENCH_TBB
class Tbb {
public:
    static constexpr const char* name = "oneTBB task_arena";
    template <typename Function>
    void start(Function function) {
        arena_.enqueue(std::move(function));
    }
    void run(void (*function)()) { runWithPromise(*this, function); }

private:
    oneapi::tbb::task_arena arena_{poolThreads, 0};
};
#endif

void waitFor(long tasks) {
    while (ran.load() < tasks) {
        std::this_thread::yield();
    }
}

template <typename Pool>
void burst(benchmark::State& state, long tasks) {
    Pool pool;
    for (auto _ : state) {
        ran = 0;
        for (long i = 0; i < tasks; ++i) {
            pool.start(&count);
        }
        waitFor(tasks);
    }
    state.SetItemsProcessed(state.iterations() * tasks);
}

template <typename Pool>
void latency(benchmark::State& state) {
    Pool pool;
    bench::Percentiles microseconds;
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::microseconds(300));  // the threads are asleep
        ran = 0;
        const auto start = steady_clock::now();
        pool.start(&note);
        waitFor(1);
        microseconds.add(ranAt.load() - start);
    }
    microseconds.report(state);
}

template <typename Pool>
void blocking(benchmark::State& state) {
    Pool pool;
    for (auto _ : state) {
        pool.run(&count);
    }
}

template <typename Pool>
void addPool() {
    const auto named = [](const std::string& operation) { return operation + "/" + Pool::name; };
    benchmark::RegisterBenchmark(named("10k empty tasks").c_str(), [](benchmark::State& state) {
        burst<Pool>(state, 10'000);
    })->UseRealTime();
    benchmark::RegisterBenchmark(named("burst of 100k").c_str(), [](benchmark::State& state) {
        burst<Pool>(state, 100'000);
    })->UseRealTime();
    benchmark::RegisterBenchmark(named("enqueue to run, idle threads").c_str(), &latency<Pool>)
        ->UseRealTime()
        ->Iterations(1000);
    benchmark::RegisterBenchmark(named("blocking enqueue").c_str(), &blocking<Pool>)->UseRealTime();
}

const bool registered = [] {
    addPool<Ours>();
    addPool<Floor<true>>();
    addPool<Floor<false>>();
#ifdef VDI_BENCH_BOOST
    addPool<Asio>();
#endif
#ifdef VDI_BENCH_POCO
    addPool<Poco_>();
#endif
#ifdef VDI_BENCH_QT
    addPool<Qt_>();
#endif
#ifdef VDI_BENCH_TBB
    addPool<Tbb>();
#endif
    return true;
}();

}  // namespace
