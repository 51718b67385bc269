#include "support/Threads.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <thread>

#include "support/Background.h"

namespace threads {

namespace {

const std::string root = "/proc/self/task/";

// Empty for a thread that has ended meanwhile.
std::string nameOf(const std::string& thread) {
    std::ifstream file(root + thread + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

std::map<pid_t, std::string> listNow() {
    std::map<pid_t, std::string> result;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(root.c_str()), &closedir);
    for (const dirent* entry = nullptr; (entry = readdir(directory.get())) != nullptr;) {
        const std::string id = entry->d_name;
        if (id.front() != '.') {
            result.emplace(std::stoi(id), nameOf(id));
        }
    }
    return result;
}

// A sanitizer starts a thread of its own together with the first one of the program.
void letTheSanitizerStartItsThread() {
    pid_t thread = 0;
    std::thread([&] { thread = gettid(); }).join();
    waitUntil([&] { return listNow().count(thread) == 0; });
}

}  // namespace

std::map<pid_t, std::string> list() {
    static const bool started = (letTheSanitizerStartItsThread(), true);
    static_cast<void>(started);
    return listNow();
}

std::size_t count() {
    return list().size();
}

std::size_t countNamed(const std::string& name) {
    const auto all = list();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [&](const auto& thread) { return thread.second == name; }));
}

std::string ownName() {
    return nameOf(std::to_string(gettid()));
}

pid_t idOf(const std::string& name) {
    const auto all = list();
    EXPECT_EQ(countNamed(name), 1U);
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& thread) { return thread.second == name; });
    return found == all.end() ? 0 : found->first;
}

bool isAsleep(pid_t thread) {
    std::ifstream file(root + std::to_string(thread) + "/stat");
    std::string stat;
    std::getline(file, stat);
    // The state letter follows the thread's name, which is in brackets.
    const std::size_t bracket = stat.rfind(") ");
    return bracket != std::string::npos && stat.at(bracket + 2) == 'S';
}

unsigned long long processorTime(pid_t thread) {
    std::ifstream file(root + std::to_string(thread) + "/schedstat");
    unsigned long long time = 0;
    file >> time;
    return time;
}

void waitForNamed(const std::string& name, std::size_t count) {
    waitUntil([&] { return countNamed(name) == count; });
}

}  // namespace threads
