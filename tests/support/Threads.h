#pragma once

#include <sys/types.h>

#include <map>
#include <string>

/// The threads of this process as the system lists them.
namespace threads {

/// Thread ids and names.
std::map<pid_t, std::string> list();

/// How many threads there are, and how many of this name.
std::size_t count();
std::size_t countNamed(const std::string& name);

/// The name that the system shows for the calling thread.
std::string ownName();

/// The one thread of this name; fails the test and returns 0 unless there is exactly one.
pid_t idOf(const std::string& name);

/// Whether a thread sleeps in the system now.
bool isAsleep(pid_t thread);

/// The processor time that a thread has used, in nanoseconds; 0 for one that is gone.
unsigned long long processorTime(pid_t thread);

/// Waits until there are exactly `count` threads of this name.
void waitForNamed(const std::string& name, std::size_t count);

}  // namespace threads
