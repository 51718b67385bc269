#include "survey/SharedFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "Report.h"
#include "SharedRecords.h"
#include "survey/Descriptor.h"

namespace vdictl {

namespace {

constexpr std::size_t mostBytes = VDIFrameworkCommon::records::storageSize;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

// Does not wait for a repair that holds the object for a moment, and leaves the time of access as it was where the
// system allows that.
int openForReading(int folder, const char* name) {
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    constexpr int tries = 5;
    int fd = -1;
    for (int i = 0; i < tries && fd < 0; ++i) {
        fd = openat(folder, name, flags | O_NOATIME);
        if (fd < 0 && errno == EPERM) {
            fd = openat(folder, name, flags);
        }
        if (fd >= 0 || errno != EWOULDBLOCK) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return fd;
}

void readBytes(int folder, SharedFile& file) {
    const Descriptor fd(openForReading(folder, file.name.c_str()));
    struct stat status {};
    if (!fd.isOpen() || fstat(fd.get(), &status) != 0) {
        file.error = errno;
        return;
    }
    if (status.st_ino != file.inode) {
        file.error = ESTALE;
        return;
    }
    file.bytes.resize(mostBytes);
    const ssize_t got = pread(fd.get(), file.bytes.data(), file.bytes.size(), 0);
    file.error = got < 0 ? errno : 0;
    file.bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
}

std::optional<SharedFile> readFile(int folder, const char* name) {
    struct stat status {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;  // gone since it was listed
    }
    SharedFile file;
    file.name = name;
    file.isRegular = S_ISREG(status.st_mode);
    file.type = status.st_mode & static_cast<mode_t>(S_IFMT);
    file.size = static_cast<std::uint64_t>(status.st_size);
    file.owner = status.st_uid;
    file.mode = status.st_mode & 07777U;
    file.modified = status.st_mtim;
    file.inode = status.st_ino;
    if (file.isRegular) {
        readBytes(folder, file);
    }
    return file;
}

}  // namespace

std::vector<SharedFile> readSharedFolder(const std::string& path) {
    const Folder folder(opendir(path.c_str()));
    if (folder == nullptr) {
        throw Failure(path, "opendir", errno, "mount a tmpfs there");
    }
    std::vector<SharedFile> files;
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        if (auto file = readFile(dirfd(folder.get()), entry->d_name)) {
            files.push_back(std::move(*file));
        }
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return files;
}

FolderSpace spaceOf(const std::string& path) {
    struct statvfs space {};
    struct stat status {};
    if (statvfs(path.c_str(), &space) != 0 || stat(path.c_str(), &status) != 0) {
        throw Failure(path, "statvfs", errno, "mount a tmpfs there");
    }
    return {status.st_dev, space.f_blocks * space.f_frsize, space.f_bavail * space.f_frsize, space.f_files,
            space.f_favail};
}

}  // namespace vdictl
