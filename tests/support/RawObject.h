#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "CityHash64.h"

/// Looks at shared-memory objects as a foreign process would: by their system name and their bytes, without the
/// library.
namespace raw {

inline std::string systemName(const std::string& logicalName) {
    return "/" + std::to_string(VDIFrameworkCommon::cityHash64(logicalName));
}

/// This user's name for a product's object: the prefix is "DEFVDI_", "CRVDI_" or "HDVDI_".
inline std::string logicalName(const std::string& prefix, const std::string& name) {
    return std::to_string(geteuid()) + prefix + name;
}

inline bool exists(const std::string& logicalName) {
    const int fd = shm_open(systemName(logicalName).c_str(), O_RDONLY, 0);
    if (fd >= 0) {
        close(fd);
    }
    return fd >= 0;
}

/// Size, owner and mode; all zero when there is no such object.
inline struct stat status(const std::string& logicalName) {
    struct stat result {};
    const int fd = shm_open(systemName(logicalName).c_str(), O_RDONLY, 0);
    if (fd >= 0) {
        fstat(fd, &result);
        close(fd);
    }
    return result;
}

inline std::vector<unsigned char> read(const std::string& logicalName) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(status(logicalName).st_size));
    const int fd = shm_open(systemName(logicalName).c_str(), O_RDONLY, 0);
    const bool complete = pread(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    close(fd);
    return complete ? bytes : std::vector<unsigned char>{};
}

/// Writes bytes at an offset, making the object if need be.
inline void write(const std::string& logicalName, std::size_t offset, const void* data, std::size_t size,
                  std::size_t objectSize) {
    const int fd = shm_open(systemName(logicalName).c_str(), O_RDWR | O_CREAT, 0600);
    struct stat now {};
    if (fstat(fd, &now) == 0 && now.st_size == 0 && ftruncate(fd, static_cast<off_t>(objectSize)) != 0) {
        std::abort();
    }
    if (pwrite(fd, data, size, static_cast<off_t>(offset)) != static_cast<ssize_t>(size)) {
        std::abort();
    }
    close(fd);
}

/// The system names of all objects that exist.
inline std::set<std::string> systemNames() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        names.insert("/" + entry.path().filename().string());
    }
    return names;
}

/// An existing object's content, mapped as one `T`.
template <typename T>
class Mapping {
public:
    explicit Mapping(const std::string& logicalName) {
        const int fd = shm_open(systemName(logicalName).c_str(), O_RDWR, 0);
        void* const mapping = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (mapping == MAP_FAILED) {
            std::abort();
        }
        close(fd);
        content_ = static_cast<T*>(mapping);
    }
    ~Mapping() { munmap(content_, sizeof(T)); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    T* operator->() const { return content_; }
    T& operator*() const { return *content_; }

private:
    T* content_;
};

}  // namespace raw
