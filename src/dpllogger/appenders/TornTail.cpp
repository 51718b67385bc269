#include "appenders/TornTail.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "RecordForm.h"

namespace DPL::dpllogger {

bool endsWithinALine(int fd, off_t size) noexcept {
    char last = '\n';
    return size > 0 && ::pread(fd, &last, 1, size - 1) == 1 && last != '\n';
}

std::optional<off_t> startOfTornRecord(int fd, off_t size) noexcept {
    char block[4096];
    off_t start = size;
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

}  // namespace DPL::dpllogger
