#include "doctor/OpenObject.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "Report.h"
#include "survey/SharedFolder.h"

namespace vdictl {

OpenObject::OpenObject(const Object& object)
    : path_(std::string(sharedFolderPath) + "/" + object.file.name),
      fd_(::open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
    if (!fd_.isOpen() && errno != ENOENT) {
        throw Failure(object.title() + " (" + path_ + ")", "open", errno,
                      "run as its owner, user " + std::to_string(object.file.owner) + ", or as root");
    }
    if (fd_.isOpen() && status().st_ino != object.file.inode) {
        fd_ = Descriptor();
    }
}

OpenObject::~OpenObject() {
    if (mapping_ != nullptr) {
        munmap(mapping_, size_);
    }
}

struct stat OpenObject::status() const {
    struct stat result {};
    if (fstat(fd_.get(), &result) != 0) {
        throw Failure(path_, "fstat", errno);
    }
    return result;
}

void* OpenObject::map(std::size_t size) {
    if (status().st_size < static_cast<off_t>(size)) {
        throw Failure(path_, "mmap", "the object is smaller than its record", "repair its size first");
    }
    void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd_.get(), 0);
    if (mapping == MAP_FAILED) {
        throw Failure(path_, "mmap", errno);
    }
    mapping_ = mapping;
    size_ = size;
    return mapping;
}

Exclusion::Exclusion(int fd) : fd_(fd) {
    // Others that only look have it open for a moment.
    constexpr int tries = 5;
    constexpr std::chrono::milliseconds between{4};
    // The system tells by this signal that somebody waits, and would end the process with it.
    std::signal(SIGIO, SIG_IGN);
    for (int i = 0; i < tries; ++i) {
        if (fcntl(fd_, F_SETLEASE, F_WRLCK) == 0) {
            state_ = State::Held;
            return;
        }
        if (errno != EAGAIN) {
            return;
        }
        state_ = State::InUse;
        std::this_thread::sleep_for(between);
    }
}

Exclusion::~Exclusion() {
    if (state_ == State::Held) {
        fcntl(fd_, F_SETLEASE, F_UNLCK);
    }
}

bool Exclusion::isWanted() const {
    return state_ == State::Held && fcntl(fd_, F_GETLEASE) != F_WRLCK;
}

}  // namespace vdictl
