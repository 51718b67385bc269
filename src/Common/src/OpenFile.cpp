#include "OpenFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "NoCancellation.h"
#include "PathStrings.h"
#include "platform/FileCopy.h"

namespace VDIFrameworkCommon {

namespace {

constexpr mode_t readAndWriteForAll = 0666;

// Repeats a system call that a signal has interrupted.
template <typename Call>
auto uninterrupted(Call call) noexcept {
    const NoCancellation noCancellation;
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace

OpenFile::OpenFile(const std::string& path, int flags) noexcept
    : descriptor_(uninterrupted(
          [name = paths::systemPath(path), flags] { return ::open(name, flags | O_CLOEXEC, readAndWriteForAll); })) {
}

OpenFile::~OpenFile() {
    close();
}

bool OpenFile::status(struct stat& status) const noexcept {
    return ::fstat(descriptor_, &status) == 0;
}

std::size_t OpenFile::readAt(void* data, std::size_t size, std::int64_t offset) const noexcept {
    std::size_t count = 0;
    while (count < size) {
        const ssize_t got = uninterrupted([&] {
            return ::pread(descriptor_, static_cast<char*>(data) + count, size - count,
                           static_cast<off_t>(offset) + static_cast<off_t>(count));
        });
        if (got <= 0) {
            break;
        }
        count += static_cast<std::size_t>(got);
    }
    return count;
}

std::int64_t OpenFile::sendTo(const OpenFile& target, std::int64_t length) const noexcept {
    const NoCancellation noCancellation;
    return platform::copyInSystem(descriptor_, target.descriptor_, length);
}

bool OpenFile::write(const void* data, std::size_t size) const noexcept {
    std::size_t count = 0;
    while (count < size) {
        const ssize_t written =
            uninterrupted([&] { return ::write(descriptor_, static_cast<const char*>(data) + count, size - count); });
        if (written <= 0) {
            return false;
        }
        count += static_cast<std::size_t>(written);
    }
    return true;
}

bool OpenFile::close() noexcept {
    const NoCancellation noCancellation;
    const int descriptor = std::exchange(descriptor_, -1);
    // Not repeated when interrupted: the descriptor is gone all the same, and may be another file's by now.
    return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

InputFile::InputFile(const std::string& path) noexcept : OpenFile(path, O_RDONLY) {
    if (isOpen() && (!status(status_) || S_ISDIR(status_.st_mode))) {
        close();
    }
}

bool InputFile::isSameAs(const struct stat& other) const noexcept {
    return status_.st_dev == other.st_dev && status_.st_ino == other.st_ino;
}

std::int64_t InputFile::length() const noexcept {
    // Only a device tells its length by the place of its end alone.
    return S_ISREG(status_.st_mode) ? status_.st_size : ::lseek(descriptor_, 0, SEEK_END);
}

}  // namespace VDIFrameworkCommon
