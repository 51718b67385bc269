// What agents do most, each operation beside its floor: a bare loop of the calls, copies and texts that it cannot do
// without.
//
// Times differ from machine to machine and from run to run: read the ratio of an operation to its floor.

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/SHMStorageMacosx.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using namespace VDIFrameworkCommon;

// What a record costs at least: its text composed, and handed to somebody who looks at its level.
class BareRecord {
public:
    template <typename... Pieces>
    void write(int level, Pieces... pieces) {
        end_ = text_;
        (append(pieces), ...);
        benchmark::DoNotOptimize(text_);
        if (level <= threshold_.load(std::memory_order_relaxed)) {
            std::abort();
        }
    }

private:
    void append(std::string_view piece) {
        std::memcpy(end_, piece.data(), piece.size());
        end_ += piece.size();
    }
    void append(unsigned int number) { end_ = std::to_chars(end_, text_ + sizeof text_, number).ptr; }

    char text_[256];
    char* end_ = text_;
    std::atomic<int> threshold_{0};
};

void* mapNew(const char* name, std::size_t size) {
    shm_unlink(name);
    const int fd = shm_open(name, O_RDWR | O_CREAT, 0600);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) {
        std::abort();
    }
    void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    shm_unlink(name);
    return mapping;
}

// A storage without the library: the block, a recursive mutex around the copy, one record for each transfer.
class BareStorage {
public:
    BareStorage() : block_(mapNew("/vdi-bench-block", 512)) {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
    }
    ~BareStorage() { munmap(block_, 512); }
    BareStorage(const BareStorage&) = delete;
    BareStorage& operator=(const BareStorage&) = delete;

    void write(const void* data, std::size_t size) {
        record.write(6, "WriteData to SHMStorageBase: ", name_);
        pthread_mutex_lock(&mutex_);
        std::memcpy(block_, data, size);
        pthread_mutex_unlock(&mutex_);
    }
    void read(void* data, std::size_t size) {
        record.write(6, "ReadData from SHMStorageBase: ", name_);
        pthread_mutex_lock(&mutex_);
        std::memcpy(data, block_, size);
        pthread_mutex_unlock(&mutex_);
    }

    BareRecord record;

private:
    void* block_;
    pthread_mutex_t mutex_{};
    std::string_view name_ = "TavixUniversalVDIRunnerCounter";
};

struct List {
    std::uint32_t pids[50];
};

void bareAdd(BareStorage& storage, unsigned int pid) {
    List list{};
    storage.read(&list, sizeof list);
    for (std::uint32_t& slot : list.pids) {
        if (slot == 0) {
            storage.record.write(5, "Add pid: ", pid);
            slot = pid;
            break;
        }
    }
    storage.write(&list, sizeof list);
}

void bareRemove(BareStorage& storage, unsigned int pid) {
    List list{};
    storage.read(&list, sizeof list);
    storage.record.write(5, "Remove pid: ", pid);
    List remaining{};
    std::size_t count = 0;
    for (const std::uint32_t slot : list.pids) {
        if (slot != 0 && slot != pid) {
            remaining.pids[count++] = slot;
        }
    }
    storage.write(&remaining, sizeof remaining);
}

bool bareIsRunning(pid_t pid) {
    const auto fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) {
        return false;
    }
    pollfd ended{fd, POLLIN, 0};
    const bool running = poll(&ended, 1, 0) == 0;
    close(fd);
    return running;
}

void NamedMutexFloor(benchmark::State& state) {
    auto* const mutex = static_cast<pthread_mutex_t*>(mapNew("/vdi-bench-mutex", 64));
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    for (auto _ : state) {
        pthread_mutex_lock(mutex);
        pthread_mutex_unlock(mutex);
    }
    munmap(mutex, 64);
}
BENCHMARK(NamedMutexFloor);

void NamedMutexOurs(benchmark::State& state) {
    NamedMutex mutex;
    mutex.create("bench");
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}
BENCHMARK(NamedMutexOurs);

/// What is transferred. Half a page away from the block, at whose start a page begins: transfers between places that
/// agree in the last bits of their addresses wait for each other in the processor.
char* transferred() {
    alignas(4096) static char page[4096];
    return page + sizeof page / 2;
}

void StorageWriteFloor(benchmark::State& state) {
    BareStorage storage;
    char* const data = transferred();
    for (auto _ : state) {
        storage.write(data, static_cast<std::size_t>(state.range(0)));
    }
}
BENCHMARK(StorageWriteFloor)->Arg(4)->Arg(200)->Arg(512);

void StorageWriteOurs(benchmark::State& state) {
    SHMStorageMacosx storage("VdiBenchStorageWithANameAsUsual");
    char* const data = transferred();
    for (auto _ : state) {
        storage.writeData(data, static_cast<unsigned int>(state.range(0)));
    }
}
BENCHMARK(StorageWriteOurs)->Arg(4)->Arg(200)->Arg(512);

void StorageReadFloor(benchmark::State& state) {
    BareStorage storage;
    char* const data = transferred();
    for (auto _ : state) {
        storage.read(data, static_cast<std::size_t>(state.range(0)));
        benchmark::DoNotOptimize(data);
    }
}
BENCHMARK(StorageReadFloor)->Arg(4)->Arg(200)->Arg(512);

void StorageReadOurs(benchmark::State& state) {
    SHMStorageMacosx storage("VdiBenchStorageWithANameAsUsual");
    char* const data = transferred();
    for (auto _ : state) {
        storage.readData(data, static_cast<unsigned int>(state.range(0)));
        benchmark::DoNotOptimize(data);
    }
}
BENCHMARK(StorageReadOurs)->Arg(4)->Arg(200)->Arg(512);

void AddAndRemoveRunnerFloor(benchmark::State& state) {
    BareStorage storage;
    bareAdd(storage, 1);
    for (auto _ : state) {
        bareAdd(storage, 4711);
        bareRemove(storage, 4711);
    }
}
BENCHMARK(AddAndRemoveRunnerFloor);

void AddAndRemoveRunnerOurs(benchmark::State& state) {
    VDIRunnerCounter counter;
    counter.addRunner(1);
    for (auto _ : state) {
        counter.addRunner(4711);
        counter.removeRunner(4711);
    }
    counter.removeRunner(1);
}
BENCHMARK(AddAndRemoveRunnerOurs);

void bareHasOther(benchmark::State& state, pid_t pid) {
    BareStorage storage;
    storage.write(&pid, sizeof pid);
    for (auto _ : state) {
        pid_t read = 0;
        storage.read(&read, sizeof read);
        bool other = bareIsRunning(read);
        other = other && read != getpid();
        benchmark::DoNotOptimize(other);
    }
}

void hasOther(benchmark::State& state, pid_t pid) {
    ActiveVirtualChannelAgentRecorder recorder;
    recorder.setActiveVirtualChannelAgentPid(static_cast<unsigned int>(pid));
    for (auto _ : state) {
        benchmark::DoNotOptimize(recorder.hasOtherActiveVirtualChannelAgent());
    }
    recorder.clearActiveVirtualChannelAgent();
}

void HasOtherActiveFloor(benchmark::State& state) {
    bareHasOther(state, getppid());
}
BENCHMARK(HasOtherActiveFloor);

void HasOtherActiveOurs(benchmark::State& state) {
    hasOther(state, getppid());
}
BENCHMARK(HasOtherActiveOurs);

void IsProcessRunningFloor(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(bareIsRunning(getppid()));
    }
}
BENCHMARK(IsProcessRunningFloor);

void IsProcessRunningOurs(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ProcessUtils::isProcessRunning(static_cast<unsigned int>(getppid())));
    }
}
BENCHMARK(IsProcessRunningOurs);

void runProgram(benchmark::State& state, const char* program) {
    std::string path = program;
    char* const arguments[] = {path.data(), nullptr};
    for (auto _ : state) {
        pid_t pid = 0;
        int status = -1;
        if (posix_spawn(&pid, program, nullptr, nullptr, arguments, environ) != 0 || waitpid(pid, &status, 0) != pid ||
            status != 0) {
            state.SkipWithError("the program did not run");
            return;
        }
    }
}

void WholeProcessFloor(benchmark::State& state) {
    runProgram(state, VDI_BENCH_BARE_AGENT);
}
BENCHMARK(WholeProcessFloor)->UseRealTime();

void WholeProcessOurs(benchmark::State& state) {
    runProgram(state, VDI_BENCH_SHORT_AGENT);
}
BENCHMARK(WholeProcessOurs)->UseRealTime();

}  // namespace
