#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "HeldCommand.h"
#include "NamedLock.h"
#include "Owner.h"
#include "Report.h"
#include "SignalQueue.h"

namespace vdictl {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How soon a signal ends the wait for the lock, and how soon a dead holder is noticed.
constexpr milliseconds slice{100};

struct LockOptions {
    Owner owner;
    std::string name;
    std::vector<std::string> command;
    std::optional<unsigned int> timeout;  // milliseconds
};

/// Taking the lock, unless the time runs out or a signal asks to stop.
class Waiting {
public:
    Waiting(const LockOptions& options, SignalQueue& signals)
        : limit_(options.timeout), start_(steady_clock::now()), signals_(signals) {}

    /// Nothing when the lock is taken, and otherwise the exit code.
    std::optional<int> takes(NamedLock& lock) const {
        while (!lock.takeWithin(left())) {
            if (const auto signal = signals_.next(milliseconds(0)); signal && signal->ssi_signo != SIGPIPE) {
                return 128 + static_cast<int>(signal->ssi_signo);
            }
            if (left() <= milliseconds(0)) {
                complain(Failure(lock.description(), "",
                                 "not free within " + std::to_string(*limit_) + " ms, held by " + lock.describeHolder())
                             .what());
                return exitNo;
            }
        }
        return std::nullopt;
    }

private:
    milliseconds left() const {
        if (!limit_) {
            return slice;
        }
        const auto passed = std::chrono::floor<milliseconds>(steady_clock::now() - start_);
        return std::clamp(milliseconds(*limit_) - passed, milliseconds(0), slice);
    }

    const std::optional<unsigned int> limit_;
    const steady_clock::time_point start_;
    SignalQueue& signals_;
};

int runUnderLock(const LockOptions& options) {
    SignalQueue signals({SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPIPE});
    std::optional<ActingFor> acting(std::in_place, options.owner);
    NamedLock lock(options.owner, options.name);
    acting.reset();
    if (const auto exitCode = Waiting(options, signals).takes(lock)) {
        return *exitCode;
    }
    const int exitCode = runCommand(options.command, signals);
    if (!lock.release()) {
        complain(Failure(lock.description(), "",
                         "another process made it anew while the command ran, which may not have been alone")
                     .what());
    }
    return exitCode;
}

}  // namespace

void addLock(CommandLine line, Context& context) {
    auto options = std::make_shared<LockOptions>();
    CommandLine command = line.add("lock", "Run a command while holding a named mutex");
    addOwnerOptions(command, options->owner);
    command.option("-t,--timeout", options->timeout, "Give up when the mutex is not free within so many milliseconds")
        .type("MS");
    command.option("NAME", options->name, "Name of the mutex").required().note(" ");
    command.option("COMMAND", options->command, "Command and its arguments, after --").required().note(" ");
    command.action([options, &context] { context.exitCode = runUnderLock(*options); });
}

}  // namespace vdictl
