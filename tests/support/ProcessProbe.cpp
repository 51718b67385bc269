// process-probe [ARGUMENT …]
//
// Writes what it was started with into the file that PROBE_REPORT names, a line each, and ends. If PROBE_STAYS is set
// it stays until it is killed.

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

void addDescriptors(std::ostream& report) {
    DIR* const folder = opendir("/proc/self/fd");
    if (folder == nullptr) {
        return;
    }
    while (const dirent* const entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name.front() != '.' && name != std::to_string(dirfd(folder))) {
            report << "fd " << name << '\n';
        }
    }
    closedir(folder);
}

void addSignals(std::ostream& report) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigBlk:", 0) == 0 || line.rfind("SigIgn:", 0) == 0) {
            report << line << '\n';
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const char* const file = std::getenv("PROBE_REPORT");
    if (file == nullptr) {
        return 2;
    }
    std::ostringstream report;
    addDescriptors(report);
    addSignals(report);
    report << "pid " << getpid() << "\nparent " << getppid() << '\n';
    for (int i = 0; i < argc; ++i) {
        report << "arg " << argv[i] << '\n';
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        report << "env " << *variable << '\n';
    }
    const std::string unfinished = std::string(file) + '.' + std::to_string(getpid());
    std::ofstream(unfinished) << report.str();
    // Nobody sees half a report.
    if (std::rename(unfinished.c_str(), file) != 0) {
        return 1;
    }
    while (std::getenv("PROBE_STAYS") != nullptr) {
        pause();
    }
    return 0;
}
