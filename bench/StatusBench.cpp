// What it costs the inspection tool to look at 50 agents and 1,000 objects, and to print them. Makes these objects, so
// it runs only in an empty /dev/shm: private-shm StatusBench.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"

namespace {

using namespace VDIFrameworkCommon;
using vdictl::Look;
using vdictl::Owner;

constexpr int agents = 50;
constexpr int events = 250;
constexpr int waitersPerEvent = 3;

pid_t startAgent() {
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        VDIRunnerCounter::getInstance()->addRunner(static_cast<unsigned int>(getpid()));
        raise(SIGSTOP);
        _exit(0);
    }
    waitpid(pid, nullptr, WUNTRACED);
    return pid;
}

void makeObjects() {
    for (int i = 0; i < events; ++i) {
        const std::string name = "0HDVDI_event" + std::to_string(i);
        CloseHandle(CreateEventA(nullptr, false, false, name.c_str()));
        for (int waiter = 0; waiter < waitersPerEvent; ++waiter) {
            const std::string file = "/" + vdictl::fileNameOf(name + "_event" + std::to_string(waiter));
            const int fd = shm_open(file.c_str(), O_RDWR | O_CREAT, 0600);
            if (ftruncate(fd, sizeof(t_list_element)) != 0) {
                std::perror("ftruncate");
            }
            close(fd);
        }
    }
}

void survey(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(takeSurvey(Look::WithMappings, Owner{}));
    }
}

void statusAsText(benchmark::State& state) {
    for (auto _ : state) {
        const auto survey = takeSurvey(Look::WithMappings, Owner{});
        benchmark::DoNotOptimize(surveyText(survey, Owner{}, vdictl::Terminal()));
    }
}

void statusAsJson(benchmark::State& state) {
    for (auto _ : state) {
        const auto survey = takeSurvey(Look::WithMappings, Owner{});
        benchmark::DoNotOptimize(surveyJson(survey, Owner{}).dump(2));
    }
}

BENCHMARK(survey)->Unit(benchmark::kMillisecond);
BENCHMARK(statusAsText)->Unit(benchmark::kMillisecond);
BENCHMARK(statusAsJson)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (!std::filesystem::is_empty("/dev/shm")) {
        std::fputs("StatusBench: needs an empty /dev/shm: private-shm StatusBench\n", stderr);
        return 2;
    }
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    std::vector<pid_t> pids;
    for (int i = 0; i < agents; ++i) {
        pids.push_back(startAgent());
    }
    makeObjects();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    for (const pid_t pid : pids) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    return 0;
}
