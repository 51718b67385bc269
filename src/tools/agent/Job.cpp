#include "Job.h"

#include <utility>

namespace agent {

namespace {

constexpr long patienceMs = 1000;

}  // namespace

Job::Job(std::function<void()> work) : work_(std::move(work)) {
}

void Job::run() {
    if (begin()) {
        work_();
        end();
    }
}

void Job::finish() {
    if (!ended_.timedWait(patienceMs)) {
        run();
        ended_.wait();
    }
}

void Job::takeBack() {
    if (begin()) {
        end();
    }
    ended_.wait();
}

void Job::end() {
    over_ = true;
    ended_.set();
}

}  // namespace agent
