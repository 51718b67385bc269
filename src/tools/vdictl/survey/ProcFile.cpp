#include "survey/ProcFile.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <system_error>

#include "survey/Descriptor.h"

namespace vdictl {

std::string procPath(pid_t pid, const char* file) {
    return "/proc/" + std::to_string(pid) + "/" + file;
}

std::string readProcFile(pid_t pid, const char* file) {
    constexpr std::size_t step = 32768;
    const Descriptor fd(open(procPath(pid, file).c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.isOpen()) {
        return {};
    }
    std::string text;
    std::size_t size = 0;
    ssize_t got = 0;
    do {
        text.resize(size + step);
        got = read(fd.get(), text.data() + size, step);
        size += got > 0 ? static_cast<std::size_t>(got) : 0;
    } while (got > 0 || (got < 0 && errno == EINTR));
    text.resize(size);
    if (got == 0) {
        errno = 0;
    }
    return text;
}

std::vector<pid_t> allProcesses() {
    struct Closer {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    const std::unique_ptr<DIR, Closer> folder(opendir("/proc"));
    std::vector<pid_t> pids;
    while (folder != nullptr) {
        const dirent* const entry = readdir(folder.get());
        if (entry == nullptr) {
            break;
        }
        pid_t pid = 0;
        const char* const end = entry->d_name + std::strlen(entry->d_name);
        const auto [stop, error] = std::from_chars(entry->d_name, end, pid);
        if (error == std::errc() && stop == end && pid > 0) {
            pids.push_back(pid);
        }
    }
    return pids;
}

}  // namespace vdictl
