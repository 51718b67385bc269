#include "appenders/TornTail.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "RecordForm.h"

namespace DPL::dpllogger {

namespace {

/// While one exists, writes to a place go there: to a file opened for appending they would go to its end.
class InPlace {
public:
    explicit InPlace(int fd) noexcept : fd_(fd), flags_(::fcntl(fd, F_GETFL)) {
        ready_ = flags_ >= 0 && ::fcntl(fd, F_SETFL, flags_ & ~O_APPEND) == 0;
    }
    ~InPlace() {
        if (ready_) {
            ::fcntl(fd_, F_SETFL, flags_);
        }
    }
    InPlace(const InPlace&) = delete;
    InPlace& operator=(const InPlace&) = delete;

    bool fill(off_t start, off_t end, char character) const noexcept {
        char block[4096];
        std::memset(block, character, sizeof block);
        while (ready_ && start < end) {
            const off_t length = std::min<off_t>(end - start, sizeof block);
            const ssize_t written = ::pwrite(fd_, block, static_cast<std::size_t>(length), start);
            if (written <= 0) {
                return false;
            }
            start += written;
        }
        return ready_;
    }

private:
    const int fd_;
    const int flags_;
    bool ready_ = false;
};

}  // namespace

bool endsWithinALine(int fd, off_t size) noexcept {
    char last = '\n';
    return size > 0 && ::pread(fd, &last, 1, size - 1) == 1 && last != '\n';
}

std::optional<off_t> startOfTornRecord(int fd, off_t end) noexcept {
    char block[4096];
    off_t start = end;
    while (start > 0) {
        const off_t blockStart = std::max<off_t>(0, start - static_cast<off_t>(sizeof block));
        const auto length = static_cast<std::size_t>(start - blockStart);
        if (::pread(fd, block, length, blockStart) != static_cast<ssize_t>(length)) {
            return std::nullopt;
        }
        const std::size_t lineFeed = std::string_view(block, length).rfind('\n');
        if (lineFeed != std::string_view::npos) {
            start = blockStart + static_cast<off_t>(lineFeed) + 1;
            break;
        }
        start = blockStart;
    }
    const ssize_t length = ::pread(fd, block, sizeof block, start);
    if (length <= 0 || !beginsLikeALine({block, static_cast<std::size_t>(length)})) {
        return std::nullopt;
    }
    return start;
}

bool makeBlank(int fd, off_t start, off_t end) noexcept {
    // The end first: from then on what follows is a line of its own, whatever becomes of this process.
    const InPlace file(fd);
    return file.fill(end - 1, end, '\n') && file.fill(start, end - 1, ' ');
}

}  // namespace DPL::dpllogger
