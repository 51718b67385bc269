#pragma once

#include <unistd.h>

#include <utility>

namespace vdictl {

/// Owns a descriptor, or none.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (isOpen()) {
            ::close(fd_);
        }
    }

    int get() const noexcept { return fd_; }
    bool isOpen() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace vdictl
