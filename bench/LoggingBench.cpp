// Records that are filtered and records that are written, by threads and by processes: ours, the bare calls that
// writing takes, and spdlog's rotating file, which one process must have for itself.

#include <benchmark/benchmark.h>
#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using DPL::dpllogger::LogController;

constexpr std::size_t fileSize = 10U << 20;
constexpr std::size_t keptFiles = 3;

const std::string loggerName = "SharedMemory";
const std::string path = "src/Common/src/Macosx/NamedMutexMacosx.cpp";
const std::string function = "create";
const std::string message = "create shared memory succeeded! name: /15872630398475628311";

/// A folder that is removed at the end of the benchmark.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "logging-bench-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string log() const { return path_ / "a.log"; }

private:
    std::filesystem::path path_;
};

void useOurs(LogController& controller, DPLLogLevel level) {
    controller.log(loggerName, level, path, 64, function, message);
}

std::unique_ptr<LogController> makeOurs(const std::string& log) {
    setenv("DPL_LOG_FILE_SIZE", std::to_string(fileSize).c_str(), 1);
    setenv("DPL_LOG_FILE_COUNT", std::to_string(keptFiles).c_str(), 1);
    auto controller = std::make_unique<LogController>();
    controller->init(log);
    return controller;
}

std::unique_ptr<spdlog::logger> makeSpdlog(const std::string& log) {
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(log, fileSize, keptFiles);
    auto logger = std::make_unique<spdlog::logger>(loggerName, std::move(sink));
    // The same parts in the same order.
    logger->set_pattern("%Y-%m-%dT%H:%M:%S.%f%z %P %t %l %n %g:%# %!: %v");
    return logger;
}

void useSpdlog(spdlog::logger& logger, spdlog::level::level_enum level) {
    logger.log({path.c_str(), 64, function.c_str()}, level, message);
}

void filteredOurs(benchmark::State& state) {
    LogController controller;
    for (auto _ : state) {
        useOurs(controller, DPL_DEBUG);
    }
}
BENCHMARK(filteredOurs)->Name("log/filtered/ours");

void filteredSpdlog(benchmark::State& state) {
    spdlog::logger logger("filtered");
    for (auto _ : state) {
        useSpdlog(logger, spdlog::level::debug);
    }
}
BENCHMARK(filteredSpdlog)->Name("log/filtered/spdlog");

/// What it takes at least: read the clock, copy the parts, write a full buffer out.
void writtenFloor(benchmark::State& state) {
    const Folder folder;
    const int fd = open(folder.log().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    std::vector<char> buffer(64U << 10);
    std::size_t used = 0;
    std::size_t written = 0;
    const std::string line = "2026-11-21T09:48:30.123456+00:00 12345 12345 INFO " + loggerName + ' ' + path + ":64 " +
                             function + ": " + message + '\n';
    for (auto _ : state) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        benchmark::DoNotOptimize(now);
        if (buffer.size() - used < line.size()) {
            written += static_cast<std::size_t>(write(fd, buffer.data(), used));
            used = 0;
            if (written > fileSize) {
                benchmark::DoNotOptimize(ftruncate(fd, 0));
                written = 0;
            }
        }
        std::memcpy(buffer.data() + used, line.data(), line.size());
        used += line.size();
    }
    close(fd);
}
BENCHMARK(writtenFloor)->Name("log/written/floor");

std::unique_ptr<Folder> sharedFolder;
std::unique_ptr<LogController> sharedOurs;
std::unique_ptr<spdlog::logger> sharedSpdlog;

void setUpOurs(const benchmark::State& /*state*/) {
    sharedFolder = std::make_unique<Folder>();
    sharedOurs = makeOurs(sharedFolder->log());
}
void setUpSpdlog(const benchmark::State& /*state*/) {
    sharedFolder = std::make_unique<Folder>();
    sharedSpdlog = makeSpdlog(sharedFolder->log());
}
void tearDown(const benchmark::State& /*state*/) {
    sharedOurs.reset();
    sharedSpdlog.reset();
    sharedFolder.reset();
}

void writtenOurs(benchmark::State& state) {
    for (auto _ : state) {
        useOurs(*sharedOurs, DPL_INFO);
    }
}
BENCHMARK(writtenOurs)
    ->Name("log/written/ours")
    ->Setup(setUpOurs)
    ->Teardown(tearDown)
    ->ThreadRange(1, 4)
    ->UseRealTime();

void writtenSpdlog(benchmark::State& state) {
    for (auto _ : state) {
        useSpdlog(*sharedSpdlog, spdlog::level::info);
    }
}
BENCHMARK(writtenSpdlog)
    ->Name("log/written/spdlog")
    ->Setup(setUpSpdlog)
    ->Teardown(tearDown)
    ->ThreadRange(1, 4)
    ->UseRealTime();

void errorOurs(benchmark::State& state) {
    for (auto _ : state) {
        useOurs(*sharedOurs, DPL_ERROR);
    }
}
BENCHMARK(errorOurs)->Name("log/error, out of the process/ours")->Setup(setUpOurs)->Teardown(tearDown)->UseRealTime();

void errorSpdlog(benchmark::State& state) {
    sharedSpdlog->flush_on(spdlog::level::err);
    for (auto _ : state) {
        useSpdlog(*sharedSpdlog, spdlog::level::err);
    }
}
BENCHMARK(errorSpdlog)
    ->Name("log/error, out of the process/spdlog")
    ->Setup(setUpSpdlog)
    ->Teardown(tearDown)
    ->UseRealTime();

/// Waits for a child's end. Returns the processor time that it took, in seconds.
double processorTimeOf(pid_t child) {
    rusage usage{};
    wait4(child, nullptr, 0, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Processes that write one log together; the time is that of one record, all processes taken together. The counter is
/// the processor time of a record, which a busy machine does not lengthen.
void processesOurs(benchmark::State& state) {
    constexpr int perProcess = 50000;
    const auto processes = static_cast<int>(state.range(0));
    const bool errors = state.range(1) != 0;
    double processorTime = 0;
    for (auto _ : state) {
        const Folder folder;
        std::array<int, 2> gate{};
        if (pipe(gate.data()) != 0) {
            state.SkipWithError("no pipe");
            return;
        }
        std::vector<pid_t> children;
        for (int i = 0; i < processes; ++i) {
            children.push_back(fork());
            if (children.back() == 0) {
                close(gate[1]);
                const auto controller = makeOurs(folder.log());
                char end = 0;
                benchmark::DoNotOptimize(read(gate[0], &end, 1));
                for (int record = 0; record < perProcess; ++record) {
                    useOurs(*controller, errors ? DPL_ERROR : DPL_INFO);
                }
                controller->flush();
                _exit(0);
            }
        }
        close(gate[0]);
        const auto start = std::chrono::steady_clock::now();
        close(gate[1]);
        for (const pid_t child : children) {
            processorTime += processorTimeOf(child);
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count() / perProcess / processes);
    }
    state.counters["cpu_per_record"] =
        benchmark::Counter(processorTime / perProcess / processes, benchmark::Counter::kAvgIterations);
}
BENCHMARK(processesOurs)
    ->Name("log/written by processes/ours")
    ->ArgNames({"processes", "errors"})
    ->ArgsProduct({{1, 2, 4, 8}, {0, 1}})
    ->UseManualTime()
    ->Iterations(3);

}  // namespace
