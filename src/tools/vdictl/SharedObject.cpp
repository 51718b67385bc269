#include "SharedObject.h"

#include <VDIFrameworkCommon/SharedMemory.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <utility>

#include "CityHash64.h"
#include "LibraryRecords.h"
#include "Report.h"
#include "Terminal.h"
#include "survey/Descriptor.h"
#include "survey/Mappings.h"
#include "survey/Namespaces.h"
#include "survey/Processes.h"

namespace vdictl {

namespace {

std::string lineOf(const std::string& file, const std::string& beginning) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(beginning)) {
            return line.substr(line.find_first_not_of(" \t", beginning.size()));
        }
    }
    return {};
}

}  // namespace

SharedObject::SharedObject(std::string logical)
    : logicalName(std::move(logical)),
      systemName("/" + std::to_string(VDIFrameworkCommon::cityHash64(logicalName))),
      file("/dev/shm" + systemName) {
}

bool SharedObject::exists() const {
    struct stat status {};
    return stat(file.c_str(), &status) == 0;
}

std::optional<ObjectContent> lookAt(const SharedObject& object, std::size_t limit) {
    struct stat status {};
    const bool isThere = lstat(object.file.c_str(), &status) == 0;
    const std::string about = "object '" + printable(object.logicalName) + "' (" + object.file + ")";
    if (isThere && !S_ISREG(status.st_mode)) {
        throw Failure(about, "", "is no shared object but something else of its name",
                      "remove it");  // opening may wait
    }
    const Descriptor descriptor(shm_open_mac(object.logicalName, O_RDONLY, 0));
    const int openError = errno;
    if (!descriptor.isOpen() && openError == ENOENT) {
        return std::nullopt;
    }
    if (!descriptor.isOpen()) {
        throw Failure(about, "shm_open", openError, adviceFor(openError, object.file));
    }
    ObjectContent content;
    if (fstat(descriptor.get(), &content.status) != 0) {
        throw Failure(about, "fstat", errno);
    }
    content.bytes.resize(limit);
    const ssize_t got = pread(descriptor.get(), content.bytes.data(), limit, 0);
    if (got < 0) {
        throw Failure(about, "read", errno);
    }
    content.bytes.resize(static_cast<std::size_t>(got));
    return content;
}

bool isThreadAlive(pid_t thread) {
    if (thread <= 0 || (kill(thread, 0) != 0 && errno == ESRCH)) {
        return false;
    }
    const std::string state = lineOf("/proc/" + std::to_string(thread) + "/status", "State:");
    return !state.starts_with('Z') && !state.starts_with('X');
}

bool mayCountOnItsOwn(pid_t thread, const struct stat& object) {
    const auto users = readMappings(object.st_dev).usersOf(object.st_ino);
    const auto process = processOfThread(thread);
    return (!process || !users.contains(*process)) && std::any_of(users.begin(), users.end(), countsOnItsOwn);
}

std::string describeThreadApart(pid_t thread) {
    return "thread " + std::to_string(thread) + " of those that count on their own";
}

std::string describeThread(pid_t thread) {
    const std::string id = std::to_string(thread);
    if (!isThreadAlive(thread)) {
        return "thread " + id + ", which is dead";
    }
    const std::string status = "/proc/" + id + "/status";
    const std::string process = lineOf(status, "Tgid:");
    const std::string program = " (" + printable(lineOf("/proc/" + process + "/status", "Name:")) + ")";
    return process == id ? "process " + id + program : "thread " + id + " of process " + process + program;
}

}  // namespace vdictl
