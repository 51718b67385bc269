#include "DirectoryReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "NoCancellation.h"
#include "PathStrings.h"

namespace VDIFrameworkCommon {

namespace {

DIR* openDirectory(const char* path, Links links) noexcept {
    const NoCancellation noCancellation;
    const int noFollow = links == Links::Refuse ? O_NOFOLLOW : 0;
    const int descriptor = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | noFollow);
    if (descriptor < 0) {
        return nullptr;
    }
    DIR* const stream = ::fdopendir(descriptor);
    if (stream == nullptr) {
        ::close(descriptor);
    }
    return stream;
}

}  // namespace

DirectoryReader::DirectoryReader(const std::string& path, Links links) noexcept
    : stream_(openDirectory(paths::systemPath(path), links)) {
}

DirectoryReader::~DirectoryReader() {
    if (stream_ != nullptr) {
        const NoCancellation noCancellation;
        ::closedir(stream_);
    }
}

int DirectoryReader::descriptor() const noexcept {
    return ::dirfd(stream_);
}

const dirent* DirectoryReader::next() noexcept {
    const NoCancellation noCancellation;
    const dirent* entry = nullptr;
    while (stream_ != nullptr && (entry = ::readdir(stream_)) != nullptr) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") {
            break;
        }
    }
    return entry;
}

}  // namespace VDIFrameworkCommon
