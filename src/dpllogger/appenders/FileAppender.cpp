#include "appenders/FileAppender.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "LogLocation.h"
#include "appenders/FileLock.h"
#include "appenders/Rotation.h"
#include "appenders/TornTail.h"

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

constexpr mode_t fileMode = 0600;
constexpr auto lockLimit = 2000ms;

// How often the file may turn out to be another one before an append is given up: each time, others put a file aside.
constexpr int mostReopenings = 1000;

bool mayPass(int error) {
    switch (error) {
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOSPC:
        case EDQUOT:
        case EIO:
        case EINTR:
        case EAGAIN:
            return true;
        default:
            return false;
    }
}

// Above the standard descriptors, so that a stray print to one that the host closed never ends up in the log.
int openAboveStandard(const char* path) {
    // Not blocking, for the case that the path is a pipe's.
    const int fd = ::open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, fileMode);
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int above = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(fd);
    errno = error;
    return above;
}

/// The lines from the front that fit into `room` bytes; at least one line if `atLeastOne`.
std::string_view linesThatFit(std::string_view lines, std::uint64_t room, bool atLeastOne) {
    if (lines.size() <= room) {
        return lines;
    }
    const std::size_t last = room == 0 ? std::string_view::npos : lines.rfind('\n', static_cast<std::size_t>(room) - 1);
    if (last != std::string_view::npos) {
        return lines.substr(0, last + 1);
    }
    return atLeastOne ? lines.substr(0, lines.find('\n') + 1) : std::string_view();
}

struct Written {
    std::size_t bytes;
    int error;
};

/// One attempt to append: a line feed first, if wanted, in the same call.
Written writeOnce(int fd, bool lineFeedFirst, std::string_view lines) {
    char lineFeed = '\n';
    const iovec parts[] = {{&lineFeed, lineFeedFirst ? 1U : 0U}, {const_cast<char*>(lines.data()), lines.size()}};
    ssize_t written = 0;
    do {
        written = lineFeedFirst ? ::writev(fd, parts, 2) : ::write(fd, lines.data(), lines.size());
    } while (written < 0 && errno == EINTR);
    return written < 0 ? Written{0, errno} : Written{static_cast<std::size_t>(written), 0};
}

}  // namespace

/// Sole access to the current file, as far as the lock can be had.
class FileAppender::Access {
public:
    explicit Access(FileAppender& file) noexcept : file_(file) { error_ = attach(); }
    ~Access() { release(); }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

    int error() const noexcept { return error_; }
    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(size_); }
    bool isSole() const noexcept { return locked_; }

    /// Puts the file aside. The access is over if that succeeds.
    bool rotate() noexcept;

    /// Appends whole lines; what cannot be appended whole is taken back.
    Outcome append(std::string_view lines) noexcept;

private:
    int attach() noexcept;
    void release() noexcept;
    void settleTail() noexcept;
    bool cutTo(off_t size, off_t expectedSize) const noexcept;

    FileAppender& file_;
    int error_ = 0;
    off_t size_ = 0;
    bool locked_ = false;
    bool startsWithinALine_ = false;
};

int FileAppender::Access::attach() noexcept {
    for (int i = 0; i < mostReopenings; ++i) {
        if (!file_.stillOwnsDescriptor()) {
            if (const int error = file_.open()) {
                return error;
            }
        }
        locked_ = lockFile(file_.fd_, file_.lockIsStuck_ ? 0ms : lockLimit);
        file_.lockIsStuck_ = !locked_;
        if (file_.isCurrent(size_)) {
            settleTail();
            return 0;
        }
        release();
        file_.close();
    }
    return EAGAIN;
}

void FileAppender::Access::release() noexcept {
    if (locked_) {
        unlockFile(file_.fd_);
        locked_ = false;
    }
}

bool FileAppender::Access::cutTo(off_t size, off_t expectedSize) const noexcept {
    // Somebody who did without the lock may have appended meanwhile.
    struct stat now {};
    return locked_ && ::fstat(file_.fd_, &now) == 0 && now.st_size == expectedSize && ::ftruncate(file_.fd_, size) == 0;
}

void FileAppender::Access::settleTail() noexcept {
    startsWithinALine_ = size_ != file_.knownEnd_ && endsWithinALine(file_.fd_, size_);
    if (startsWithinALine_) {
        const auto start = startOfTornRecord(file_.fd_, size_);
        if (start && cutTo(*start, size_)) {
            size_ = *start;
            startsWithinALine_ = false;
        }
    }
}

bool FileAppender::Access::rotate() noexcept {
    try {
        if (!locked_ || !putAside(file_.path_, file_.limits_.keptFiles)) {
            return false;
        }
    } catch (...) {
        return false;
    }
    release();
    file_.close();
    return true;
}

Outcome FileAppender::Access::append(std::string_view lines) noexcept {
    const std::size_t lead = startsWithinALine_ ? 1 : 0;
    const std::size_t wanted = lead + lines.size();
    Written written = writeOnce(file_.fd_, startsWithinALine_, lines);
    if (written.bytes < wanted) {
        const bool lineFeedIsDue = written.bytes < lead;
        const std::size_t done = written.bytes - (lineFeedIsDue ? 0 : lead);
        const Written rest = writeOnce(file_.fd_, lineFeedIsDue, lines.substr(done));
        written = {written.bytes + rest.bytes, rest.error};
    }
    const off_t end = size_ + static_cast<off_t>(written.bytes);
    file_.knownEnd_ = locked_ ? end : -1;
    if (written.bytes == wanted) {
        return {lines.size(), 0};
    }
    const std::string_view done = lines.substr(0, written.bytes - std::min(lead, written.bytes));
    const std::size_t whole = done.rfind('\n') + 1;  // none: 0
    if (whole < done.size()) {
        const off_t wholeEnd = end - static_cast<off_t>(done.size() - whole);
        file_.knownEnd_ = cutTo(wholeEnd, end) ? wholeEnd : -1;
    }
    return {whole, written.error != 0 ? written.error : ENOSPC};
}

FileAppender::FileAppender(std::string path, RotationLimits limits) : path_(std::move(path)), limits_(limits) {
}

FileAppender::~FileAppender() {
    close();
}

int FileAppender::open() noexcept {
    fd_ = openAboveStandard(path_.c_str());
    if (fd_ < 0 && errno == ENOENT) {
        if (const int error = makeFoldersAbove(path_)) {
            return error;
        }
        fd_ = openAboveStandard(path_.c_str());
    }
    if (fd_ < 0) {
        return errno;
    }
    struct stat status {};
    if (::fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) {
        close();
        return EINVAL;
    }
    device_ = status.st_dev;
    inode_ = status.st_ino;
    knownEnd_ = -1;
    openedOnce_ = true;
    return 0;
}

// Hosts that close every descriptor may have made this number another file's.
bool FileAppender::stillOwnsDescriptor() const noexcept {
    struct stat status {};
    return fd_ >= 0 && ::fstat(fd_, &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
}

bool FileAppender::isCurrent(off_t& size) const noexcept {
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0 || status.st_dev != device_ || status.st_ino != inode_) {
        return false;
    }
    size = status.st_size;
    return true;
}

void FileAppender::close() noexcept {
    if (stillOwnsDescriptor()) {
        ::close(fd_);
    }
    fd_ = -1;
}

int FileAppender::unusable() noexcept {
    if (openedOnce_) {
        return 0;
    }
    const int error = open();
    return mayPass(error) ? 0 : error;
}

Outcome FileAppender::append(std::string_view lines) noexcept {
    Outcome total{0, 0};
    bool mayRotate = limits_.fileSize != 0;
    while (total.written < lines.size() && total.error == 0) {
        const std::string_view rest = lines.substr(total.written);
        Access access(*this);
        if (access.error() != 0) {
            return {total.written, access.error()};
        }
        std::string_view part = rest;
        if (mayRotate && access.isSole()) {
            const std::uint64_t room = limits_.fileSize - std::min(access.size(), limits_.fileSize);
            part = linesThatFit(rest, room, access.size() == 0);
            if (part.empty()) {
                // A file that cannot be put aside grows instead: nothing is lost.
                mayRotate = access.rotate();
                continue;
            }
        }
        const Outcome outcome = access.append(part);
        total = {total.written + outcome.written, outcome.error};
    }
    return total;
}

}  // namespace DPL::dpllogger
