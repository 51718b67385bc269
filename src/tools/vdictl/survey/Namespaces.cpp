#include "survey/Namespaces.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>

namespace vdictl {

namespace {

std::string namespaceOf(const std::string& process) {
    std::array<char, 64> text{};
    const std::string path = "/proc/" + process + "/ns/pid";
    const ssize_t length = readlink(path.c_str(), text.data(), text.size());
    return {text.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

}  // namespace

bool countsOnItsOwn(pid_t pid) {
    const std::string theirs = namespaceOf(std::to_string(pid));
    return !theirs.empty() && theirs != namespaceOf("self");
}

}  // namespace vdictl
