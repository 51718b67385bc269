#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "DesktopEntry.h"
#include "SharedPrograms.h"
#include "UniqueFd.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

// Calls the function with each text of a sequence in which a null character ends every one.
template <typename Function>
void forEachText(std::string_view texts, Function function) {
    while (!texts.empty()) {
        const std::string_view text = texts.substr(0, texts.find('\0'));
        function(text);
        texts.remove_prefix(std::min(texts.size(), text.size() + 1));
    }
}

std::string contentsOf(const std::string& path) {
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string contents;
    char buffer[4096];
    ssize_t got = 0;
    while ((got = ::read(file.get(), buffer, sizeof buffer)) > 0) {
        contents.append(buffer, static_cast<std::size_t>(got));
    }
    return contents;
}

std::string folderOf(pid_t pid) {
    return "/proc/" + std::to_string(pid);
}

bool hasProgram(const std::string& folder) {
    char byte = 0;
    return ::readlink((folder + "/exe").c_str(), &byte, 1) >= 0 || errno != ENOENT;
}

// A thread that has ended has no program any more; the others of its process, which lives on, still do.
std::string liveFolderOf(pid_t pid) {
    std::string own = folderOf(pid);
    if (!hasProgram(own)) {
        const std::unique_ptr<DIR, int (*)(DIR*)> threads(::opendir((own + "/task").c_str()), ::closedir);
        while (const dirent* const thread = threads ? ::readdir(threads.get()) : nullptr) {
            std::string folder = own + "/task/" + thread->d_name;
            if (thread->d_name[0] != '.' && hasProgram(folder)) {
                return folder;
            }
        }
    }
    return own;
}

/// Tells the processes of an application from others.
class Application {
public:
    explicit Application(const DesktopEntry& entry) : entryMark_("GIO_LAUNCHED_DESKTOP_FILE=" + entry.file()) {
        const std::string program = entry.program();
        struct stat file {};
        if (!program.empty() && !isSharedProgram(program) && ::stat(program.c_str(), &file) == 0) {
            hasOwnProgram_ = true;
            device_ = file.st_dev;
            inode_ = file.st_ino;
        }
    }

    /// Whether the process is one of this user and of the application. A zombie is neither: it has no program and no
    /// environment any more.
    bool owns(pid_t pid) const {
        struct stat folder {};
        if (::stat(folderOf(pid).c_str(), &folder) != 0 || folder.st_uid != ::geteuid()) {
            return false;
        }
        const std::string live = liveFolderOf(pid);
        return executesItsProgram(live) || wasLaunchedFromIt(live, pid);
    }

private:
    bool executesItsProgram(const std::string& processFolder) const {
        struct stat file {};
        return hasOwnProgram_ && ::stat((processFolder + "/exe").c_str(), &file) == 0 && file.st_dev == device_ &&
               file.st_ino == inode_;
    }

    // Children of a launched process inherit its environment; the second mark tells which one was launched.
    bool wasLaunchedFromIt(const std::string& processFolder, pid_t pid) const {
        const std::string processMark = "GIO_LAUNCHED_DESKTOP_FILE_PID=" + std::to_string(pid);
        bool hasEntryMark = false;
        bool hasProcessMark = false;
        forEachText(contentsOf(processFolder + "/environ"), [&](std::string_view variable) {
            hasEntryMark |= variable == entryMark_;
            hasProcessMark |= variable == processMark;
        });
        return hasEntryMark && hasProcessMark;
    }

    std::string entryMark_;
    bool hasOwnProgram_ = false;  // the two below are meant only then
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

/// Calls the function with the id of every process, in ascending order, until it returns false.
template <typename Function>
void forEachProcess(Function function) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc"), ::closedir);
    if (!folder) {
        return;
    }
    while (const dirent* const entry = ::readdir(folder.get())) {
        const char* const end = entry->d_name + std::strlen(entry->d_name);
        pid_t pid = 0;
        const auto parsed = std::from_chars(entry->d_name, end, pid);
        if (parsed.ec == std::errc() && parsed.ptr == end && !function(pid)) {
            return;
        }
    }
}

// The id may belong to another process by now. The descriptor stays with the process that it was made for, so what is
// checked after it was made is true of the process that gets the signal.
void forceTerminate(pid_t pid, const Application& application) {
    const UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!application.owns(pid)) {
        return;
    }
    if (process) {
        ::syscall(SYS_pidfd_send_signal, process.get(), SIGKILL, nullptr, 0);
    } else {
        ::kill(pid, SIGKILL);
    }
}

}  // namespace

bool isApplicationRunning(const std::string& bundleId) noexcept {
    const auto entry = DesktopEntry::find(bundleId);
    bool isRunning = false;
    if (entry) {
        forEachProcess([&, application = Application(*entry)](pid_t pid) {
            isRunning = application.owns(pid);
            return !isRunning;
        });
    }
    return isRunning;
}

void forceTerminateApplications(const std::string& bundleId) noexcept {
    const auto entry = DesktopEntry::find(bundleId);
    if (!entry) {
        return;
    }
    const Application application(*entry);
    std::vector<pid_t> running;
    forEachProcess([&](pid_t pid) {
        if (application.owns(pid)) {
            running.push_back(pid);
        }
        return true;
    });
    // This process comes last: it could not end the others any more.
    std::stable_partition(running.begin(), running.end(), [self = ::getpid()](pid_t pid) { return pid != self; });
    for (const pid_t pid : running) {
        forceTerminate(pid, application);
    }
}

}  // namespace VDIFrameworkCommon::platform
