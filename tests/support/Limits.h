#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <fstream>
#include <set>
#include <string>

/// Makes system calls of this process fail for real, for as long as an object of these classes lives.
namespace limits {

/// Lowers a soft limit and puts it back.
class SoftLimit {
public:
    SoftLimit(int resource, rlim_t value) : resource_(resource) {
        getrlimit(toResource(), &before_);
        const rlimit lowered{value, before_.rlim_max};
        setrlimit(toResource(), &lowered);
    }
    ~SoftLimit() { setrlimit(toResource(), &before_); }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;

private:
    decltype(RLIMIT_NOFILE) toResource() const { return static_cast<decltype(RLIMIT_NOFILE)>(resource_); }

    int resource_;
    rlimit before_{};
};

inline int lowestFreeDescriptor() {
    const int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
}

/// No further descriptor can be opened: EMFILE.
class NoDescriptors : public SoftLimit {
public:
    NoDescriptors() : SoftLimit(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFreeDescriptor())) {}
};

/// No file or shared-memory object can be given a size: EFBIG.
class NoFileSizes : public SoftLimit {
public:
    NoFileSizes() : SoftLimit(RLIMIT_FSIZE, 0), before_(std::signal(SIGXFSZ, SIG_IGN)) {}
    ~NoFileSizes() { std::signal(SIGXFSZ, before_); }
    NoFileSizes(const NoFileSizes&) = delete;
    NoFileSizes& operator=(const NoFileSizes&) = delete;

private:
    void (*before_)(int);
};

/// Nothing further can be mapped: ENOMEM.
class NoMappings : public SoftLimit {
public:
    NoMappings() : SoftLimit(RLIMIT_AS, 1) {}
};

/// The descriptors that are open now.
inline std::set<int> openDescriptors() {
    std::set<int> result;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) != -1) {
            result.insert(fd);
        }
    }
    return result;
}

/// How many mappings of shared-memory objects this process has, also of removed ones.
inline std::size_t sharedMappings() {
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(" /dev/shm/") != std::string::npos) {
            ++count;
        }
    }
    return count;
}

}  // namespace limits
