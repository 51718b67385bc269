#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/Users.h"

/// Surroundings for tests that work on real files.
namespace filesystem {

/// In memory: for trees that take long on a disk.
inline const std::string inMemory = "/dev/shm";

/// A directory of the test's own, removed at its end. Everyone may enter it.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string name = parent / "vdi-test-XXXXXX";
        if (mkdtemp(name.data()) != nullptr) {
            path_ = name;
        }
        std::filesystem::permissions(path_, std::filesystem::perms(0755));
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

private:
    std::string path_;
};

inline void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The permission bits of a file, or -1 if there is none.
inline int mode(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777U) : -1;
}

/// Works as a user who owns nothing until its end. Only the superuser can become one: test `isActive`.
class AsAnotherUser {
public:
    AsAnotherUser() : isActive_(users::canChange() && seteuid(users::nobody) == 0) {}
    ~AsAnotherUser() {
        if (isActive_ && seteuid(0) != 0) {
            std::abort();
        }
    }
    AsAnotherUser(const AsAnotherUser&) = delete;
    AsAnotherUser& operator=(const AsAnotherUser&) = delete;

    bool isActive() const { return isActive_; }

private:
    bool isActive_;
};

/// A file system of a few pages in a directory, seen by this test alone. Only the superuser can make one: test
/// `isMounted`.
class SmallDisk {
public:
    explicit SmallDisk(const std::string& directory)
        : directory_(directory),
          isMounted_(unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
                     mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=16k") == 0) {}
    ~SmallDisk() {
        if (isMounted_) {
            umount(directory_.c_str());
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return isMounted_; }
    std::string operator/(const std::string& name) const { return directory_ + '/' + name; }

    /// Takes all the room that is left.
    void fill() const {
        std::ofstream file(*this / "filler", std::ios::binary);
        file << std::string(64 * 1024, 'x');
    }

private:
    std::string directory_;
    bool isMounted_;
};

/// Works in a directory until its end.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& path) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(before_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path before_;
};

/// Makes `depth` directories with the name "d", each in the one before. Too deep for a path.
inline void makeChain(const std::string& directory, int depth) {
    const WorkingDirectory there(directory);
    for (int i = 0; i < depth; ++i) {
        if (mkdir("d", 0755) != 0 || chdir("d") != 0) {
            ADD_FAILURE() << "no directory at level " << i;
            break;
        }
    }
}

/// Removes such a chain from its deep end. Returns how many levels it had.
inline int removeChain(const std::string& directory) {
    const WorkingDirectory there(directory);
    int depth = 0;
    while (chdir("d") == 0) {
        ++depth;
    }
    for (int i = 0; i < depth; ++i) {
        if (chdir("..") != 0 || rmdir("d") != 0) {
            ADD_FAILURE() << "level " << i << " from the end stays";
            break;
        }
    }
    return depth;
}

}  // namespace filesystem
