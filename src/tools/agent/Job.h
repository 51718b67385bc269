#pragma once

#include <VDIFrameworkCommon/Event.h>

#include <atomic>
#include <functional>

namespace agent {

/// Something that the task dispatcher is asked to do, and that must not get lost there.
///
/// A pool may leave a task lying: its last thread may retire at the moment in which the task comes, or the system may
/// refuse a thread. So whoever waits for a job does it himself when nobody has begun in time, and whoever cannot wait
/// takes it back. Held by `std::shared_ptr`: what lies in a queue may outlive the wait. Thread-safe.
class Job {
public:
    explicit Job(std::function<void()> work);
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Does the work, unless somebody has begun with it or it was taken back.
    void run();

    /// Waits until the work is done.
    void finish();

    /// Afterwards the work is done, or never will be.
    void takeBack();

    bool isOver() const { return over_; }

private:
    bool begin() { return !begun_.exchange(true); }
    void end();

    const std::function<void()> work_;
    std::atomic<bool> begun_{false};
    std::atomic<bool> over_{false};
    VDIFrameworkCommon::Event ended_{false};
};

}  // namespace agent
