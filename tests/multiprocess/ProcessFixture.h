#pragma once

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "support/Eventually.h"
#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"
#include "support/Users.h"

/// What the tests of launches have in common.
namespace processes {

using recording::Record;
using VDIFrameworkCommon::ProcessUtils;

inline std::string makeFolder() {
    if (const char* const made = ::getenv("PROCESS_TEST_FOLDER")) {
        return made;
    }
    const std::string path = "/dev/shm/" + std::to_string(::getpid());
    std::filesystem::create_directory(path);
    std::filesystem::permissions(path, std::filesystem::perms::all);
    ::setenv("PROCESS_TEST_FOLDER", path.c_str(), 1);
    return path;
}

/// Where a test keeps its files, shared with its children; gone with the test. Its name is no other test's, though each
/// has a /dev/shm of its own: an application is known by the path of its entry, and processes of all tests see each
/// other.
inline const std::string folder = makeFolder();

inline std::string contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& text, mode_t mode = 0644) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
    ::chmod(path.c_str(), mode);
}

/// A copy of a program: an executable file that nothing else on the machine runs.
inline std::string copyOf(const std::string& program, const std::string& name) {
    const std::string path = folder + '/' + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(program, path);
    return path;
}

inline std::string probe(const std::string& name = "probe") {
    return copyOf(PROCESS_PROBE, name);
}

/// The report of a probe, a line each.
class Report {
public:
    /// Has the probes that are started from now on write to a file of this name, and stay or not.
    explicit Report(const std::string& name = "report", bool stays = false) : path_(folder + '/' + name) {
        ::setenv("PROBE_REPORT", path_.c_str(), 1);
        if (stays) {
            ::setenv("PROBE_STAYS", "1", 1);
        } else {
            ::unsetenv("PROBE_STAYS");
        }
    }
    /// Ends the probe if it stayed.
    ~Report() {
        if (!lines_.empty()) {
            ::kill(pid(), SIGKILL);
        }
    }
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    /// Waits for the report.
    bool arrives() {
        if (!eventually([this] { return std::filesystem::exists(path_); })) {
            return false;
        }
        std::ifstream file(path_);
        for (std::string line; std::getline(file, line);) {
            lines_.push_back(line);
        }
        return !lines_.empty();
    }

    /// The rests of the lines that begin with a word.
    std::vector<std::string> all(const std::string& word) const {
        std::vector<std::string> rests;
        for (const std::string& line : lines_) {
            if (line.rfind(word, 0) == 0) {
                rests.push_back(line.substr(word.size() + 1));
            }
        }
        return rests;
    }
    pid_t pid() const { return std::stoi(all("pid").at(0)); }

private:
    std::string path_;
    std::vector<std::string> lines_;
};

inline bool isRunning(pid_t pid) {
    return ProcessUtils::isProcessRunning(static_cast<unsigned int>(pid));
}

inline const recording::ExpectedRecord record("VDIFrameworkCommon", "src/Common/src/Macosx/ProcessUtils.cpp");

/// The next records, as soon as there are as many.
inline std::vector<Record> takeRecords(std::size_t count) {
    std::vector<Record> records;
    eventually([&] {
        const auto more = recording::takeRecords();
        records.insert(records.end(), more.begin(), more.end());
        return records.size() >= count;
    });
    return records;
}

inline bool hasNoChildren() {
    return ::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD;
}

}  // namespace processes
