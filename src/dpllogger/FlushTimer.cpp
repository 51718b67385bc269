#include "FlushTimer.h"

#include <chrono>
#include <csignal>
#include <new>

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

constexpr auto longestWait = 1s;

}  // namespace

FlushTimer::FlushTimer(std::mutex& mutex, void (*due)(void*) noexcept, void* context) noexcept
    : mutex_(mutex), due_(due), context_(context), stopped_() {
}

FlushTimer::~FlushTimer() {
    stopped_.~condition_variable();
}

bool FlushTimer::arm() noexcept {
    if (stopping_) {
        return false;
    }
    armed_ = true;
    return running_ || start();
}

bool FlushTimer::start() noexcept {
    if (started_) {
        pthread_join(thread_, nullptr);  // it has left run() and takes the mutex no more
        started_ = false;
    }
    // The host's signal handlers run on the host's threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    started_ = pthread_create(&thread_, nullptr, threadMain, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    running_ = started_;
    return started_;
}

void* FlushTimer::threadMain(void* timer) {
    static_cast<FlushTimer*>(timer)->run();
    return nullptr;
}

void FlushTimer::run() {
    std::unique_lock lock(mutex_);
    while (armed_ && !stopping_) {
        armed_ = false;
        if (!stopped_.wait_for(lock, longestWait, [this] { return stopping_; })) {
            due_(context_);
        }
    }
    running_ = false;
}

void FlushTimer::stop(std::unique_lock<std::mutex>& lock) noexcept {
    stopping_ = true;
    if (started_) {
        started_ = false;
        stopped_.notify_one();
        lock.unlock();
        pthread_join(thread_, nullptr);
        lock.lock();
    }
}

void FlushTimer::forgetThread() noexcept {
    // The condition still counts the parent's thread as waiting; destroying it would wait for that thread.
    new (&stopped_) std::condition_variable;
    started_ = false;
    running_ = false;
    armed_ = false;
}

}  // namespace DPL::dpllogger
