#include <sys/sendfile.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>

#include "platform/FileCopy.h"

namespace VDIFrameworkCommon::platform {

std::int64_t copyInSystem(int from, int to, std::int64_t length) noexcept {
    off_t copied = 0;
    while (copied < length) {
        const ssize_t sent = ::sendfile(to, from, &copied, static_cast<std::size_t>(length - copied));
        if (sent <= 0 && !(sent < 0 && errno == EINTR)) {
            break;
        }
    }
    return copied;
}

}  // namespace VDIFrameworkCommon::platform
