// Events between processes beside a floor (the same shared-memory and pthread calls in a bare loop) and beside peers,
// which keep their condition and mostly offer less.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/NamedCondition.h>
#include <VDIFrameworkCommon/SharedMemory.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>

#include "Percentiles.h"

#ifdef VDI_BENCH_BOOST
#include <boost/interprocess/sync/named_semaphore.hpp>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/NamedEvent.h>
#endif

namespace {

using namespace VDIFrameworkCommon;

const std::string prefix = "vdi-bench-" + std::to_string(getpid()) + "-";

/// An event of the library, and its objects' end: a waiter that is killed stays registered, and would cost the next
/// round.
class Ours {
public:
    explicit Ours(const std::string& name)
        : name_(prefix + name), event_(CreateEventA(nullptr, false, false, name_.c_str())) {}
    ~Ours() {
        CloseHandle(event_);
        shm_unlink_mac(name_ + "_event");
        shm_unlink_mac(name_ + "_event0");
    }
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;
    void set() { SetEvent(event_); }
    void wait() { WaitForSingleObject(event_, INFINITE); }
    void poll() { WaitForSingleObject(event_, 0); }
    void reset() { ResetEvent(event_); }

private:
    std::string name_;
    t_HANDLE* event_;
};

/// The same through a condition, whose mutex the waiter holds between its waits.
class OurCondition {
public:
    explicit OurCondition(const std::string& name) : name_(prefix + name) {
        mutex_.create(name_.c_str());
        condition_.create(name_.c_str());
        mutex_.lock();
    }
    ~OurCondition() {
        const std::string logicalName = std::to_string(geteuid()) + "DEFVDI_" + name_;
        shm_unlink_mac(logicalName + "_mutex");
        shm_unlink_mac(logicalName + "_event");
        shm_unlink_mac(logicalName + "_event0");
    }
    OurCondition(const OurCondition&) = delete;
    OurCondition& operator=(const OurCondition&) = delete;
    void set() { condition_.notify(); }
    void wait() { condition_.timed_wait(mutex_, INT_MAX); }

private:
    std::string name_;
    NamedMutex mutex_;
    NamedCondition condition_;
};

// What no implementation of these events can leave out: each wait makes, sizes, maps, unmaps and removes an object with
// an initialised condition; each set opens, signals and removes those of the waiters. Errors are not looked at.
class Floor {
public:
    explicit Floor(const std::string& name) : object_("/" + prefix + name), waiter_(object_ + "-waiter") {
        event_ = static_cast<t_HANDLE*>(map(object_.c_str(), sizeof(t_HANDLE)));
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutex_init(&event_->mutex, &attributes);
    }
    ~Floor() {
        munmap(event_, sizeof *event_);
        shm_unlink(object_.c_str());
        shm_unlink(waiter_.c_str());
    }
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    void set() {
        pthread_mutex_lock(&event_->mutex);
        event_->signaled = 1;
        if (event_->waiterCount > 0) {
            auto* const waiter = static_cast<t_list_element*>(map(waiter_.c_str(), sizeof(t_list_element)));
            pthread_cond_signal(&waiter->cond);
            munmap(waiter, sizeof *waiter);
            shm_unlink(waiter_.c_str());
        }
        pthread_mutex_unlock(&event_->mutex);
    }

    void reset() {
        pthread_mutex_lock(&event_->mutex);
        event_->signaled = 0;
        pthread_mutex_unlock(&event_->mutex);
    }

    void wait() { wait(nullptr); }

    void poll() {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        wait(&now);
    }

private:
    static void* map(const char* name, std::size_t size) {
        const int fd = shm_open(name, O_RDWR | O_CREAT, 0600);
        struct stat status {};
        fstat(fd, &status);
        if (status.st_size == 0 && ftruncate(fd, static_cast<off_t>(size)) != 0) {
            std::abort();
        }
        void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        return mapping;
    }

    void wait(const timespec* deadline) {
        pthread_mutex_lock(&event_->mutex);
        ++event_->waiterCount;
        auto* const waiter = static_cast<t_list_element*>(map(waiter_.c_str(), sizeof(t_list_element)));
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_cond_init(&waiter->cond, &attributes);
        if (event_->signaled == 0) {
            if (deadline == nullptr) {
                pthread_cond_wait(&waiter->cond, &event_->mutex);
            } else {
                pthread_cond_timedwait(&waiter->cond, &event_->mutex, deadline);
            }
        }
        event_->signaled = 0;
        --event_->waiterCount;
        munmap(waiter, sizeof *waiter);
        shm_unlink(waiter_.c_str());
        pthread_mutex_unlock(&event_->mutex);
    }

    std::string object_;
    std::string waiter_;
    t_HANDLE* event_;
};

#ifdef VDI_BENCH_BOOST
class BoostSemaphore {
public:
    explicit BoostSemaphore(const std::string& name)
        : name_(prefix + name), semaphore_(boost::interprocess::open_or_create, name_.c_str(), 0) {}
    void set() { semaphore_.post(); }
    void wait() { semaphore_.wait(); }
    void poll() { semaphore_.try_wait(); }
    ~BoostSemaphore() { boost::interprocess::named_semaphore::remove(name_.c_str()); }
    BoostSemaphore(const BoostSemaphore&) = delete;
    BoostSemaphore& operator=(const BoostSemaphore&) = delete;

private:
    std::string name_;
    boost::interprocess::named_semaphore semaphore_;
};
#endif

#ifdef VDI_BENCH_POCO
class PocoEvent {
public:
    explicit PocoEvent(const std::string& name) : event_(prefix + name) {}
    void set() { event_.set(); }
    void wait() { event_.wait(); }

private:
    Poco::NamedEvent event_;
};
#endif

template <typename Event>
void setAndWait(benchmark::State& state) {
    Event event("set-and-wait");
    for (auto _ : state) {
        event.set();
        event.wait();
    }
}

template <typename Event>
void poll(benchmark::State& state) {
    Event event("poll");
    for (auto _ : state) {
        event.poll();
    }
}

template <typename Event>
void setAndReset(benchmark::State& state) {
    Event event("reset");
    for (auto _ : state) {
        event.set();
        event.reset();
    }
}

void createAndClose(benchmark::State& state) {
    const std::string name = prefix + "create";
    for (auto _ : state) {
        CloseHandle(CreateEventA(nullptr, false, false, name.c_str()));
    }
    shm_unlink_mac(name + "_event");
}

// A round trip between two processes. Both open the events before either uses them: opening one frees its mutex.
template <typename Event>
void pingPong(benchmark::State& state) {
    Event ping("ping");
    Event pong("pong");
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            ping.wait();
            pong.set();
        }
    }
    bench::Percentiles times;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        ping.set();
        pong.wait();
        times.add(std::chrono::steady_clock::now() - start);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    times.report(state);
}

template <typename Event>
void addPingPong(const char* name) {
    // A fixed number, so that each process pair runs once.
    benchmark::RegisterBenchmark(name, pingPong<Event>)->Iterations(20000)->UseRealTime();
}

const bool added = [] {
    using benchmark::RegisterBenchmark;
    RegisterBenchmark("set+wait/ours", setAndWait<Ours>);
    RegisterBenchmark("set+wait/floor", setAndWait<Floor>);
    RegisterBenchmark("poll, not signalled/ours", poll<Ours>);
    RegisterBenchmark("poll, not signalled/floor", poll<Floor>);
    RegisterBenchmark("set+reset/ours", setAndReset<Ours>);
    RegisterBenchmark("set+reset/floor", setAndReset<Floor>);
    RegisterBenchmark("create+close/ours", createAndClose);
    RegisterBenchmark("notify+timed_wait/ours", setAndWait<OurCondition>);
    addPingPong<OurCondition>("condition ping-pong/ours");
    addPingPong<Ours>("ping-pong/ours");
    addPingPong<Floor>("ping-pong/floor");
#ifdef VDI_BENCH_BOOST
    RegisterBenchmark("set+wait/Boost named_semaphore", setAndWait<BoostSemaphore>);
    RegisterBenchmark("poll, not signalled/Boost named_semaphore", poll<BoostSemaphore>);
    addPingPong<BoostSemaphore>("ping-pong/Boost named_semaphore");
#endif
#ifdef VDI_BENCH_POCO
    RegisterBenchmark("set+wait/POCO NamedEvent", setAndWait<PocoEvent>);
    addPingPong<PocoEvent>("ping-pong/POCO NamedEvent");
#endif
    return true;
}();

}  // namespace
