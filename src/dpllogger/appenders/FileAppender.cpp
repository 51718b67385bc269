#include "appenders/FileAppender.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <utility>

#include "LogLocation.h"
#include "appenders/FileLock.h"
#include "appenders/Rotation.h"
#include "appenders/TornTail.h"
#include "appenders/WriteSignals.h"

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

constexpr mode_t fileMode = 0600;

// How long the lock is waited for; and, after that was in vain, how long and how often it is tried again. Where many
// processes write, a try without patience would hardly ever meet a moment in which the lock is free.
constexpr auto lockLimit = 2000ms;
constexpr auto stuckLockLimit = 20ms;
constexpr auto stuckLockPause = 400ms;

// How often the file may turn out to be another one before an append is given up: each time, others put a file aside.
constexpr int mostReopenings = 1000;

// How often folders are made that others remove at the same time.
constexpr int mostFolderAttempts = 3;

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
        case ENOENT:  // others remove the folder
        case ESTALE:
            return true;
        default:
            return false;
    }
}

constexpr int openFlags = O_RDWR | O_APPEND | O_NONBLOCK;  // not blocking, for the case that the path is a pipe's

// The mode is the same whatever the process's mask takes away from new files.
int openOrMake(const char* path) {
    const int existing = ::open(path, openFlags | O_CLOEXEC | O_NOCTTY);
    if (existing >= 0 || errno != ENOENT) {
        return existing;
    }
    const int fd = ::open(path, openFlags | O_CREAT | O_CLOEXEC | O_NOCTTY, fileMode);
    struct stat status {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && (status.st_mode & fileMode) != fileMode) {
        ::fchmod(fd, fileMode);
    }
    return fd;
}

// Above the standard descriptors, so that a stray print to one that the host closed never ends up in the log.
int openAboveStandard(const char* path) {
    const int fd = openOrMake(path);
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

bool fileSizeIsLimited() {
    rlimit limit{};
    return ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

struct Written {
    std::size_t bytes;
    int error;
    off_t end;  // behind them

    off_t begin() const { return end - static_cast<off_t>(bytes); }
};

/// One attempt to append: a line feed first, if wanted, in the same call.
Written writeOnce(int fd, bool lineFeedFirst, std::string_view lines) {
    std::optional<WriteSignals> signals;
    if (fileSizeIsLimited()) {
        signals.emplace();
    }
    char lineFeed = '\n';
    const iovec parts[] = {{&lineFeed, 1}, {const_cast<char*>(lines.data()), lines.size()}};
    ssize_t written = 0;
    do {
        written = lineFeedFirst ? ::writev(fd, parts, 2) : ::write(fd, lines.data(), lines.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return {0, errno, 0};
    }
    // Others may have appended since the last look at the file's size; the offset tells where these bytes are.
    return {static_cast<std::size_t>(written), 0, ::lseek(fd, 0, SEEK_CUR)};
}

}  // namespace

/// Access to the current file: the only one as far as the lock can be had, else one of many that only append.
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
    bool lock() noexcept;
    void release() noexcept;
    void settleTail() noexcept;
    bool cutTornTail() noexcept;
    bool cut(off_t start, off_t end) noexcept;
    void takeBack(off_t start, off_t end) noexcept;
    bool startsALine(off_t begin) const noexcept;
    Outcome settle(std::string_view lines, const Written& written) noexcept;
    bool isRemoved() const noexcept;

    FileAppender& file_;
    TailLock tail_;
    int error_ = 0;
    off_t size_ = 0;
    bool locked_ = false;
    bool tailIsWhole_ = false;    // `size_` is the end of a line
    bool lineFeedIsDue_ = false;  // behind another program's unfinished line
};

int FileAppender::Access::attach() noexcept {
    for (int i = 0; i < mostReopenings; ++i) {
        if (!file_.stillOwnsDescriptor()) {
            if (const int error = file_.open()) {
                return error;
            }
        }
        if (!lock()) {
            return EAGAIN;
        }
        if (file_.isCurrent(size_)) {
            settleTail();
            return 0;
        }
        release();
        file_.close();
    }
    return EAGAIN;
}

/// Takes the lock or, without it, makes sure that nobody cuts the file. False if a process was stopped in the middle
/// of doing that.
bool FileAppender::Access::lock() noexcept {
    locked_ = file_.takeLock();
    return locked_ || tail_.take(file_.fd_, TailLock::Use::Append) != TailLock::State::Busy;
}

void FileAppender::Access::release() noexcept {
    tail_.release();
    if (locked_) {
        unlockFile(file_.fd_);
        locked_ = false;
    }
}

void FileAppender::Access::settleTail() noexcept {
    tailIsWhole_ = size_ == file_.knownEnd_ || !endsWithinALine(file_.fd_, size_);
    if (!tailIsWhole_ && !(locked_ && cutTornTail())) {
        // A record there is about to be whole, or never will be. That shows once something stands behind it.
        lineFeedIsDue_ = !startOfTornRecord(file_.fd_, size_);
    }
}

/// Removes an unfinished record, once it is sure that it stays unfinished: whoever appends holds either the lock, which
/// is ours, or the tail. Returns whether the file ends with a line now.
bool FileAppender::Access::cutTornTail() noexcept {
    if (tail_.take(file_.fd_, TailLock::Use::Cut) != TailLock::State::Taken) {
        return false;
    }
    struct stat status {};
    if (::fstat(file_.fd_, &status) == 0) {
        size_ = status.st_size;
        tailIsWhole_ = !endsWithinALine(file_.fd_, size_);
        const auto start = tailIsWhole_ ? std::nullopt : startOfTornRecord(file_.fd_, size_);
        if (start && ::ftruncate(file_.fd_, *start) == 0) {
            size_ = *start;
            tailIsWhole_ = true;
        }
    }
    tail_.release();
    return tailIsWhole_;
}

/// Cuts off what stands from `start` to `end`, unless somebody may have appended since.
bool FileAppender::Access::cut(off_t start, off_t end) noexcept {
    if (!locked_ || tail_.take(file_.fd_, TailLock::Use::Cut) != TailLock::State::Taken) {
        return false;
    }
    struct stat now {};
    const bool isCut = ::fstat(file_.fd_, &now) == 0 && now.st_size == end && ::ftruncate(file_.fd_, start) == 0;
    tail_.release();
    return isCut;
}

/// Takes back what this access has just written from `start` to `end`, and sees to it that the file's end is known.
void FileAppender::Access::takeBack(off_t start, off_t end) noexcept {
    if (cut(start, end)) {
        file_.knownEnd_ = start;
    } else {
        // These bytes are nobody else's: nobody cuts a file while others hold its lock or its tail.
        file_.knownEnd_ = makeBlank(file_.fd_, start, end) ? end : -1;
    }
}

/// Tells whether what was written at `begin` starts a line. It does not if somebody else's write was cut short right
/// before. Whatever can be the beginning of a record there never becomes a whole one, so it makes room for a line feed.
bool FileAppender::Access::startsALine(off_t begin) const noexcept {
    if ((tailIsWhole_ && begin == size_) || !endsWithinALine(file_.fd_, begin)) {
        return true;
    }
    const auto start = startOfTornRecord(file_.fd_, begin);
    return start && makeBlank(file_.fd_, *start, begin);
}

bool FileAppender::Access::isRemoved() const noexcept {
    struct stat status {};
    off_t size = 0;
    // There are file systems that count no links at all, so the name is asked too.
    return ::fstat(file_.fd_, &status) == 0 && status.st_nlink == 0 && !file_.isCurrent(size);
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
    const std::size_t size = lines.size() + (lineFeedIsDue_ ? 1 : 0);
    Written written = writeOnce(file_.fd_, lineFeedIsDue_, lines);
    if (written.bytes == 0) {
        written = writeOnce(file_.fd_, lineFeedIsDue_, lines);
    } else if (written.bytes < size) {
        const Written rest = writeOnce(file_.fd_, false, lines.substr(lines.size() - (size - written.bytes)));
        if (rest.bytes == 0 || rest.begin() == written.end) {
            written = {written.bytes + rest.bytes, rest.error, written.end + static_cast<off_t>(rest.bytes)};
        } else {
            // Others appended in between: without the lock, because this process was stopped for too long or lacks it
            // too.
            takeBack(rest.begin(), rest.end);
            written.error = ESTALE;
        }
    }
    if (!locked_ && isRemoved()) {
        // Others put the file aside so often meanwhile that it is gone, and what was written with it.
        return {0, ESTALE};
    }
    return written.bytes != 0 ? settle(lines, written) : Outcome{0, written.error != 0 ? written.error : ENOSPC};
}

/// Makes whole lines of what was written.
Outcome FileAppender::Access::settle(std::string_view lines, const Written& written) noexcept {
    const std::size_t lead = lineFeedIsDue_ ? 1 : 0;
    if (lead == 0 && !startsALine(written.begin())) {
        takeBack(written.begin(), written.end);
        return {0, ESTALE};
    }
    const std::size_t done = written.bytes - lead;
    const std::size_t whole = lines.substr(0, done).rfind('\n') + 1;  // none: 0
    file_.knownEnd_ = written.end;
    if (whole < done) {
        takeBack(written.end - static_cast<off_t>(done - whole), written.end);
    }
    if (whole == lines.size()) {
        return {whole, 0};
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
    for (int i = 0; i < mostFolderAttempts && fd_ < 0 && errno == ENOENT; ++i) {
        const int error = makeFoldersAbove(path_);
        if (error != 0 && error != ENOENT) {
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

// Hosts that close every descriptor may have made this number another file's, or opened the log themselves.
bool FileAppender::stillOwnsDescriptor() const noexcept {
    struct stat status {};
    return fd_ >= 0 && ::fstat(fd_, &status) == 0 && status.st_dev == device_ && status.st_ino == inode_ &&
           (::fcntl(fd_, F_GETFL) & (O_ACCMODE | openFlags)) == openFlags;
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

bool FileAppender::takeLock() noexcept {
    auto limit = lockLimit;
    if (lockIsStuck_) {
        limit = std::chrono::steady_clock::now() - lastVainWait_ < stuckLockPause ? std::chrono::milliseconds(0)
                                                                                  : stuckLockLimit;
    }
    lockIsStuck_ = !lockFile(fd_, limit);
    if (lockIsStuck_ && limit != std::chrono::milliseconds(0)) {
        lastVainWait_ = std::chrono::steady_clock::now();
    }
    return !lockIsStuck_;
}

Outcome FileAppender::append(std::string_view lines) noexcept {
    std::size_t written = 0;
    bool mayRotate = limits_.fileSize != 0;
    bool mayStartAnew = true;
    while (written < lines.size()) {
        Access access(*this);
        if (access.error() != 0) {
            return {written, access.error()};
        }
        std::string_view part = lines.substr(written);
        if (mayRotate && access.isSole()) {
            const std::uint64_t room = limits_.fileSize - std::min(access.size(), limits_.fileSize);
            part = linesThatFit(part, room, access.size() == 0);
            if (part.empty()) {
                // A file that cannot be put aside grows instead: nothing is lost.
                mayRotate = access.rotate();
                continue;
            }
        }
        const Outcome outcome = access.append(part);
        written += outcome.written;
        if (outcome.error != 0) {
            if (outcome.error != ESTALE || !std::exchange(mayStartAnew, false)) {
                return {written, outcome.error};
            }
        }
    }
    return {written, 0};
}

}  // namespace DPL::dpllogger
