#include <dlfcn.h>
#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "dpllogger/BlankLines.h"
#include "dpllogger/LogReader.h"
#include "support/Background.h"

// A process that logs is killed, or stopped for a while, at each of the calls by which it appends, puts files aside and
// tidies up.
namespace {

using DPL::dpllogger::LogController;

// What happens to this process at its calls.
struct Plan {
    int signal = 0;          // which one it gets,
    int call = 0;            // at which call, counted down,
    bool isCut = false;      // and whether that call, if it is a write, has written a part by then
    int shortWrites = 0;     // how many writes are cut short anyway
    bool isCounted = false;  // calls are counted now
};
Plan plan;

// The real function behind the one that is called here.
template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isDue() {
    return plan.isCounted && --plan.call == 0;
}

void strikeIfDue() {
    if (isDue()) {
        raise(plan.signal);
    }
}

}  // namespace

extern "C" {

int flock(int descriptor, int operation) {
    strikeIfDue();
    return real<decltype(::flock)>("flock")(descriptor, operation);
}

int rename(const char* from, const char* to) {
    strikeIfDue();
    return real<decltype(::rename)>("rename")(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
    strikeIfDue();
    return real<decltype(::renameat2)>("renameat2")(fromFolder, from, toFolder, to, flags);
}

int unlink(const char* path) {
    strikeIfDue();
    return real<decltype(::unlink)>("unlink")(path);
}

int ftruncate(int descriptor, off_t size) {
    strikeIfDue();
    return real<decltype(::ftruncate)>("ftruncate")(descriptor, size);
}

int close(int descriptor) {
    strikeIfDue();
    return real<decltype(::close)>("close")(descriptor);
}

off_t lseek(int descriptor, off_t offset, int whence) {
    strikeIfDue();
    return real<decltype(::lseek)>("lseek")(descriptor, offset, whence);
}

ssize_t pread(int descriptor, void* data, size_t size, off_t offset) {
    strikeIfDue();
    return real<decltype(::pread)>("pread")(descriptor, data, size, offset);
}

ssize_t pwrite(int descriptor, const void* data, size_t size, off_t offset) {
    strikeIfDue();
    return real<decltype(::pwrite)>("pwrite")(descriptor, data, size, offset);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
ssize_t write(int descriptor, const void* data, size_t size) {
    const auto next = real<decltype(::write)>("write");
    if (isDue()) {
        if (plan.isCut) {
            next(descriptor, data, size / 2);
        }
        raise(plan.signal);
    }
    const bool isShort = plan.isCounted && plan.shortWrites > 0 && plan.shortWrites-- > 0;
    return next(descriptor, data, isShort ? size / 3 : size);
}

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    strikeIfDue();
    return real<decltype(::open)>("open")(path, flags, mode);
}

int fcntl(int descriptor, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    strikeIfDue();
    return real<decltype(::fcntl)>("fcntl")(descriptor, command, argument);
}

}  // extern "C"

namespace {

constexpr int records = 8;

// What a process tells the test in memory that both have.
struct Told {
    std::atomic<int> logged{0};       // records that are logged
    std::atomic<bool> goesOn{false};  // whoever was stopped runs again
};

/// A process of its own, ended with this object.
class Process {
public:
    Process(const std::function<void()>& body) : id_(fork()) {
        if (id_ == 0) {
            body();
            _exit(0);
        }
    }
    ~Process() {
        if (id_ > 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void goOn() const { kill(id_, SIGCONT); }

    // Waits until it ends or stops; what waitpid says.
    int status(int options = 0) {
        int status = -1;
        EXPECT_EQ(waitpid(id_, &status, options), id_);
        id_ = WIFSTOPPED(status) ? id_ : -1;
        return status;
    }

private:
    pid_t id_;
};

class LogAtEveryCall : public testing::Test {
protected:
    LogAtEveryCall() {
        setenv("DPL_LOG_FILE_SIZE", "600", 1);
        void* const memory =
            mmap(nullptr, sizeof(Told) * mostCalls, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        told_ = new (memory) Told[mostCalls];
    }
    ~LogAtEveryCall() override { munmap(told_, sizeof(Told) * mostCalls); }

    static constexpr int mostCalls = 1000;

    // Logs, and is struck as planned.
    void log(const std::filesystem::path& log, const Plan& planned, Told& told) const {
        LogController controller;
        controller.init(log);
        plan = planned;
        plan.isCounted = true;
        logreader::write(controller, DPL_ERROR, "may be cut short");
        for (int i = 0; i < records; ++i) {
            logreader::write(controller, DPL_ERROR, "one's " + std::to_string(i));
            told.logged = i + 1;
        }
        plan.isCounted = false;
    }

    // Strikes the process at its first call, its second and so on, as long as there are more.
    void killAtEachCall(const std::string& keptFiles, Plan planned,
                        const std::function<void(const std::filesystem::path&, int)>& check) const {
        setenv("DPL_LOG_FILE_COUNT", keptFiles.c_str(), 1);
        planned.signal = SIGKILL;
        for (int call = 1; call < mostCalls; ++call) {
            SCOPED_TRACE("killed at call " + std::to_string(call));
            const logreader::TemporaryFolder folder;
            const auto path = folder / "a.log";
            LogController controller;
            controller.init(path);
            logreader::write(controller, DPL_ERROR, "other's");
            planned.call = call;
            Told& told = *new (told_) Told;
            Process process([&] { log(path, planned, told); });
            const int status = process.status();
            logreader::write(controller, DPL_ERROR, "other's");
            check(path, told.logged);
            if (WIFEXITED(status)) {
                EXPECT_GT(call, 50) << "too few calls to show anything";
                return;
            }
        }
        FAIL() << "it never ends";
    }

    Told* told_ = nullptr;
};

// The numbers in the messages of `whose` records, in the order in which they are there.
std::vector<int> numbersOf(const std::vector<logreader::Line>& lines, const std::string& whose) {
    std::vector<int> numbers;
    for (const auto& line : lines) {
        if (line.message.rfind(whose + ' ', 0) == 0) {
            numbers.push_back(std::stoi(line.message.substr(whose.size() + 1)));
        }
    }
    return numbers;
}

void expectEachOnce(const std::vector<int>& numbers, int least) {
    EXPECT_GE(static_cast<int>(numbers.size()), least);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], static_cast<int>(i));
    }
}

// Every record that was logged is there once, and every line is a record.
void expectAllRecords(const std::filesystem::path& log, int logged) {
    const auto lines = logreader::readLog(log);
    expectEachOnce(numbersOf(lines, "one's"), logged);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.message == "other's"; }), 2);
}

TEST_F(LogAtEveryCall, AKilledProcessLosesNoRecordAndHarmsNobody) {
    killAtEachCall("100", {}, expectAllRecords);
}

TEST_F(LogAtEveryCall, AProcessKilledWithinAWriteHarmsNobody) {
    Plan planned;
    planned.isCut = true;
    killAtEachCall("100", planned, expectAllRecords);
}

TEST_F(LogAtEveryCall, AProcessKilledWhileItTidiesUpHarmsNobody) {
    Plan planned;
    planned.shortWrites = 2;  // the record is lost then
    killAtEachCall("100", planned, expectAllRecords);
}

TEST_F(LogAtEveryCall, AKilledProcessLeavesTheNewestRecordsWithoutAGap) {
    killAtEachCall("2", {}, [](const std::filesystem::path& log, int logged) {
        const auto numbers = numbersOf(logreader::readLog(log), "one's");
        EXPECT_LE(logreader::filesOf(log).size(), 3U);
        EXPECT_GE(static_cast<int>(numbers.size()), std::min(logged, 5));
        EXPECT_GE(numbers.empty() ? -1 : numbers.back(), logged - 1);
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            ASSERT_EQ(numbers[i], numbers[i - 1] + 1);
        }
    });
}

// Its log is written by another process, which takes it for stopped and does without the lock; then it goes on.
struct Stopped {
    logreader::TemporaryFolder folder;
    std::unique_ptr<Process> one;
    std::unique_ptr<Process> other;
};

void logMeanwhile(const std::filesystem::path& log, Told& told) {
    LogController controller;
    controller.init(log);
    for (int i = 0; i < records; ++i) {
        logreader::write(controller, DPL_ERROR, "other's " + std::to_string(i));
    }
    told.logged = records;
    waitUntil([&] { return told.goesOn.load(); });
    controller.flush();
}

std::vector<logreader::Line> recordsIn(const std::filesystem::path& log) {
    std::string text;
    for (const auto& file : logreader::filesOf(log)) {
        text += logreader::withoutBlankLines(logreader::contents(file));
    }
    return logreader::parseAll(text);
}

TEST_F(LogAtEveryCall, AStoppedProcessCostsNoRecordWhenItGoesOn) {
    setenv("DPL_LOG_FILE_COUNT", "100", 1);
    std::deque<Stopped> all;
    for (int call = 1; call < mostCalls; ++call) {
        Stopped& each = all.emplace_back();
        const auto path = each.folder / "a.log";
        Plan planned;
        planned.signal = SIGSTOP;
        planned.call = call;
        planned.shortWrites = 2;
        each.one = std::make_unique<Process>([&] { log(path, planned, told_[0]); });
        if (!WIFSTOPPED(each.one->status(WUNTRACED))) {
            all.pop_back();
            break;
        }
        each.other = std::make_unique<Process>([&] { logMeanwhile(path, told_[call]); });
    }
    EXPECT_GT(all.size(), 50U) << "too few calls to show anything";
    for (int call = 1; call <= static_cast<int>(all.size()); ++call) {
        waitUntil([&] { return told_[call].logged == records; });
        all.at(static_cast<std::size_t>(call) - 1).one->goOn();
        EXPECT_EQ(all.at(static_cast<std::size_t>(call) - 1).one->status(), 0);
        told_[call].goesOn = true;
        EXPECT_EQ(all.at(static_cast<std::size_t>(call) - 1).other->status(), 0);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE("stopped at call " + std::to_string(i + 1));
        const auto lines = recordsIn(all[i].folder / "a.log");
        expectEachOnce(numbersOf(lines, "one's"), records);
        expectEachOnce(numbersOf(lines, "other's"), records);
    }
}

}  // namespace
