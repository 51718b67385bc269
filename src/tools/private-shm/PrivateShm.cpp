// private-shm PROGRAM [ARGUMENT …]
//
// Runs a program with a /dev/shm of its own: an empty one that nobody else sees and that is gone when the last process
// using it ends. Where the system allows no such thing it says so and exits with 77, without running the program.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int exitSkipped = 77;
constexpr int exitNotRun = 127;

bool writeFile(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
}

// An ordinary user gets a mount namespace inside a user namespace, in which the user keeps its own id: ids are part of
// the names of shared objects.
bool enterNamespaces() {
    if (unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    return errno == EPERM && unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
           writeFile("/proc/self/uid_map", user + " " + user + " 1") && writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/gid_map", group + " " + group + " 1");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: private-shm PROGRAM [ARGUMENT …]\n", stderr);
        return 2;
    }
    if (!enterNamespaces() || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
        if (argc > 2 && std::strcmp(argv[2], "--gtest_list_tests") == 0) {
            execvp(argv[1], argv + 1);  // listing tests touches no shared object
        }
        std::fprintf(stderr, "SKIPPED: no private /dev/shm can be made here: %s\n", std::strerror(errno));
        return exitSkipped;
    }
    execvp(argv[1], argv + 1);
    std::fprintf(stderr, "private-shm: %s: %s\n", argv[1], std::strerror(errno));
    return exitNotRun;
}
