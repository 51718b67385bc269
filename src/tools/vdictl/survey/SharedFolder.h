#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace vdictl {

inline constexpr const char* sharedFolderPath = "/dev/shm";

/// One entry of the folder in which shared objects lie, and the start of its content.
struct SharedFile {
    std::string name;  ///< any bytes
    bool isRegular = false;
    mode_t type = 0;  ///< the type's bits, as S_IFDIR
    std::uint64_t size = 0;
    uid_t owner = 0;
    mode_t mode = 0;  ///< the permission bits
    std::timespec modified{};
    ino_t inode = 0;
    std::string bytes;  ///< the first bytes, at most as many as the largest record has
    int error = 0;      ///< why there are none
};

/// The folder's file system.
struct FolderSpace {
    dev_t device = 0;
    std::uint64_t bytes = 0;
    std::uint64_t freeBytes = 0;
    std::uint64_t files = 0;
    std::uint64_t freeFiles = 0;
};

/// Reads all entries, by name. Changes nothing, waits for nothing and follows no links. Throws `Failure` when there is
/// no such folder.
std::vector<SharedFile> readSharedFolder(const std::string& path = sharedFolderPath);

/// Throws `Failure` when there is no such folder.
FolderSpace spaceOf(const std::string& path = sharedFolderPath);

}  // namespace vdictl
