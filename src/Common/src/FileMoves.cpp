#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "OpenFile.h"
#include "PathStrings.h"
#include "VDIFrameworkCommon/FileUtils.h"

namespace VDIFrameworkCommon {

namespace {

constexpr std::int64_t copyBlock = std::int64_t{256} * 1024;

// Copies as many bytes as the file has now; what cannot be read or written is left out. One buffer for all of them
// would give the same file, but none at all for one that is larger than the memory.
void copyContents(const OpenFile& from, OpenFile& to, std::int64_t length) {
    std::int64_t copied = from.sendTo(to, length);
    if (copied == length) {
        return;
    }
    const auto blockSize = static_cast<std::size_t>(std::min(length - copied, copyBlock));
    const std::unique_ptr<char[]> block(new char[blockSize]);
    while (copied < length) {
        const auto wanted = std::min(blockSize, static_cast<std::size_t>(length - copied));
        const std::size_t got = from.readAt(block.get(), wanted, copied);
        if (!to.write(block.get(), got) || got < wanted) {
            break;
        }
        copied += static_cast<std::int64_t>(got);
    }
}

}  // namespace

int FileUtils::removeFile(const std::string& path) {
    return std::remove(paths::systemPath(path));
}

int FileUtils::renameFile(const std::string& from, const std::string& to) {
    return std::rename(paths::systemPath(from), paths::systemPath(to));
}

bool FileUtils::copyFile(const std::string& from, const std::string& to, bool failIfExists) {
    struct stat existing;
    const bool exists = ::stat(paths::systemPath(to), &existing) == 0;
    if (exists && failIfExists) {
        return false;
    }
    const InputFile source(from);
    const std::int64_t length = source.isOpen() ? source.length() : -1;
    if (length < 0) {
        return false;
    }
    if (exists && source.isSameAs(existing)) {
        // Opening it for writing would empty it.
        return true;
    }
    OpenFile target(to, O_WRONLY | O_CREAT | O_TRUNC);
    if (!target.isOpen()) {
        return false;
    }
    copyContents(source, target, length);
    // True once both files could be opened: a failure to read or write the contents is not reported on purpose.
    return true;
}

int FileUtils::moveFile(const std::string& from, const std::string& to, bool failIfExists) {
    if (!fileExists(to)) {
        return renameFile(from, to);
    }
    // Looks like a forgotten rename; callers repeat the call, which then finds no target and moves the file.
    return failIfExists ? -1 : removeFile(to);
}

}  // namespace VDIFrameworkCommon
