// Timers: ours, a floor, and what people use instead.

#include <VDIFrameworkCommon/Timer.h>
#include <benchmark/benchmark.h>
#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Percentiles.h"

#ifdef VDI_BENCH_BOOST
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#endif
#ifdef VDI_BENCH_LIBUV
#include <uv.h>
#endif
#ifdef VDI_BENCH_POCO_UTIL
#include <Poco/Util/Timer.h>
#include <Poco/Util/TimerTaskAdapter.h>
#endif

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned armedMs = 3'600'000;
constexpr unsigned shortMs = 3;

std::atomic<bool> fired{false};
steady_clock::time_point firedAt;

void noteFiring() {
    firedAt = steady_clock::now();
    fired = true;
}

// Measures what is left of the time until `arm`'s timer calls noteFiring().
template <typename Arm>
void firingError(benchmark::State& state, Arm arm) {
    bench::Percentiles microseconds;
    for (auto _ : state) {
        fired = false;
        const auto due = steady_clock::now() + milliseconds(shortMs);
        arm();
        while (!fired) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        microseconds.add(firedAt - due);
    }
    microseconds.report(state);
}

struct OursTimer : VDIFrameworkCommon::Timer {
    void onTimer() override { noteFiring(); }
};

void oursArmCancel(benchmark::State& state) {
    std::vector<OursTimer> armed(static_cast<std::size_t>(state.range(0)));
    for (OursTimer& timer : armed) {
        timer.setOneShotTimer(armedMs);
    }
    OursTimer timer;
    for (auto _ : state) {
        timer.setOneShotTimer(armedMs);
        timer.killTimer();
    }
    for (OursTimer& other : armed) {
        other.killTimer();
    }
}

void oursFiring(benchmark::State& state) {
    std::unique_ptr<OursTimer> timer;
    firingError(state, [&] {
        if (timer) {
            timer->killTimer();
        }
        timer = std::make_unique<OursTimer>();
        timer->setOneShotTimer(shortMs);
    });
    timer->killTimer();
}

/// The calls that cannot be avoided: two locks and the loop's, a clock, the table of numbers, an ordered set.
void floorArmCancel(benchmark::State& state) {
    std::mutex tableMutex;
    std::mutex timerMutex;
    std::mutex loopMutex;
    std::map<int, void*> table;
    std::map<std::pair<steady_clock::time_point, int>, void*> loop;
    int id = 0;
    const auto arm = [&] {
        const std::lock_guard first(tableMutex);
        const std::lock_guard second(timerMutex);
        const auto due = steady_clock::now() + milliseconds(armedMs);
        table.emplace_hint(table.end(), ++id, nullptr);
        const std::lock_guard third(loopMutex);
        loop.emplace_hint(loop.end(), std::pair{due, id}, nullptr);
    };
    for (int64_t i = 0; i < state.range(0); ++i) {
        arm();
    }
    for (auto _ : state) {
        arm();
        const std::lock_guard first(tableMutex);
        const std::lock_guard second(timerMutex);
        table.erase(std::prev(table.end()));
        const std::lock_guard third(loopMutex);
        loop.erase(std::prev(loop.end()));
    }
}

void floorFiring(benchmark::State& state) {
    prctl(PR_SET_TIMERSLACK, 1UL);
    firingError(state, [] {
        timespec due{};
        clock_gettime(CLOCK_MONOTONIC, &due);
        due.tv_nsec += shortMs * 1'000'000L;
        if (due.tv_nsec >= 1'000'000'000) {
            due.tv_nsec -= 1'000'000'000;
            ++due.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
        noteFiring();
    });
    prctl(PR_SET_TIMERSLACK, 0UL);
}

#ifdef VDI_BENCH_BOOST
struct AsioLoop {
    AsioLoop() : thread([this] { context.run(); }) {}
    ~AsioLoop() {
        context.stop();
        thread.join();
    }
    AsioLoop(const AsioLoop&) = delete;
    AsioLoop& operator=(const AsioLoop&) = delete;
    boost::asio::io_context context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{context.get_executor()};
    std::thread thread;
};

void asioArmCancel(benchmark::State& state) {
    AsioLoop loop;
    std::vector<std::unique_ptr<boost::asio::steady_timer>> armed;
    const auto arm = [&] {
        auto timer = std::make_unique<boost::asio::steady_timer>(loop.context, milliseconds(armedMs));
        timer->async_wait([](const boost::system::error_code& /*error*/) {});
        return timer;
    };
    for (int64_t i = 0; i < state.range(0); ++i) {
        armed.push_back(arm());
    }
    boost::asio::steady_timer timer(loop.context);
    for (auto _ : state) {
        timer.expires_after(milliseconds(armedMs));
        timer.async_wait([](const boost::system::error_code& /*error*/) {});
        timer.cancel();
    }
}

void asioFiring(benchmark::State& state) {
    AsioLoop loop;
    boost::asio::steady_timer timer(loop.context);
    firingError(state, [&] {
        timer.expires_after(milliseconds(shortMs));
        timer.async_wait([](const boost::system::error_code& /*error*/) { noteFiring(); });
    });
}
#endif

#ifdef VDI_BENCH_LIBUV
// Not thread-safe: armed on the loop's own thread.
void uvArmCancel(benchmark::State& state) {
    uv_loop_t loop;
    uv_loop_init(&loop);
    std::vector<uv_timer_t> armed(static_cast<std::size_t>(state.range(0)));
    const auto nothing = [](uv_timer_t* /*timer*/) {};
    for (uv_timer_t& timer : armed) {
        uv_timer_init(&loop, &timer);
        uv_timer_start(&timer, nothing, armedMs, 0);
    }
    uv_timer_t timer;
    uv_timer_init(&loop, &timer);
    for (auto _ : state) {
        uv_timer_start(&timer, nothing, armedMs, 0);
        uv_timer_stop(&timer);
    }
    uv_walk(
        &loop, [](uv_handle_t* handle, void* /*context*/) { uv_close(handle, nullptr); }, nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
}

void uvFiring(benchmark::State& state) {
    uv_loop_t loop;
    uv_loop_init(&loop);
    uv_timer_t timer;
    uv_timer_init(&loop, &timer);
    firingError(state, [&] {
        uv_update_time(&loop);
        uv_timer_start(
            &timer, [](uv_timer_t* /*timer*/) { noteFiring(); }, shortMs, 0);
        uv_run(&loop, UV_RUN_DEFAULT);
    });
    uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
}
#endif

#ifdef VDI_BENCH_POCO_UTIL
struct PocoTask : Poco::Util::TimerTask {
    void run() override { noteFiring(); }
};

void pocoArmCancel(benchmark::State& state) {
    Poco::Util::Timer timer;
    const Poco::Clock far = Poco::Clock() + Poco::Clock::ClockDiff(armedMs) * 1000;
    for (int64_t i = 0; i < state.range(0); ++i) {
        timer.schedule(Poco::Util::TimerTask::Ptr(new PocoTask), far);
    }
    for (auto _ : state) {
        Poco::Util::TimerTask::Ptr task(new PocoTask);
        timer.schedule(task, far);
        task->cancel();  // stays in the queue until it is due
    }
    timer.cancel(true);
}

void pocoFiring(benchmark::State& state) {
    Poco::Util::Timer timer;
    firingError(state,
                [&] { timer.schedule(Poco::Util::TimerTask::Ptr(new PocoTask), Poco::Clock() + shortMs * 1000); });
}
#endif

void addTimers(const std::string& name, void (*armCancel)(benchmark::State&), void (*firing)(benchmark::State&)) {
    benchmark::RegisterBenchmark(("arm and cancel/" + name).c_str(), armCancel)->Arg(1)->Arg(1000)->Arg(100'000);
    benchmark::RegisterBenchmark(("firing error/" + name).c_str(), firing)->UseRealTime()->Iterations(500);
}

const bool registered = [] {
    addTimers("ours", &oursArmCancel, &oursFiring);
    addTimers("floor", &floorArmCancel, &floorFiring);
#ifdef VDI_BENCH_BOOST
    addTimers("Boost.Asio steady_timer", &asioArmCancel, &asioFiring);
#endif
#ifdef VDI_BENCH_LIBUV
    addTimers("libuv (one thread)", &uvArmCancel, &uvFiring);
#endif
#ifdef VDI_BENCH_POCO_UTIL
    addTimers("POCO Util::Timer", &pocoArmCancel, &pocoFiring);
#endif
    return true;
}();

}  // namespace
