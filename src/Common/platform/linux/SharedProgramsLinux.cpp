#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "SharedPrograms.h"

namespace VDIFrameworkCommon::platform {

namespace {

// Without the versions that distributions append; sorted.
constexpr std::array sharedPrograms = std::to_array<std::string_view>({
    // clang-format off
    "ash", "awk", "bash", "busybox", "bwrap", "chroot", "chrt", "coreutils", "csh", "dash", "dbus-launch",
    "dbus-run-session", "deno", "doas", "dotnet", "electron", "env", "firejail", "fish", "flatpak", "gapplication",
    "gawk", "gio", "gjs", "gtk-launch", "guile", "ionice", "java", "ksh", "lua", "luajit", "mawk", "mksh", "mono",
    "nice", "node", "nodejs", "nohup", "nsenter", "perl", "php", "pkexec", "pypy", "python", "ruby", "runuser",
    "setarch", "setpriv", "setsid", "sh", "snap", "snap-confine", "stdbuf", "su", "sudo", "systemd-run", "taskset",
    "tclsh", "tcsh", "time", "timeout", "toybox", "unshare", "wine", "wine-preloader", "wish", "xdg-open", "zsh",
    // clang-format on
});
static_assert(std::is_sorted(sharedPrograms.begin(), sharedPrograms.end()));

// "python3.11" and "guile-3.0" are "python" and "guile".
std::string_view withoutVersion(std::string_view name) {
    return name.substr(0, name.find_last_not_of("0123456789.-") + 1);
}

bool isListed(std::string_view path) {
    const std::string_view name = withoutVersion(path.substr(path.rfind('/') + 1));
    return std::binary_search(sharedPrograms.begin(), sharedPrograms.end(), name);
}

}  // namespace

bool isSharedProgram(const std::string& path) {
    // A name that says nothing may be a link to one that does, and a well-known name one to a program of many names.
    const std::unique_ptr<char, void (*)(void*)> target(::realpath(path.c_str(), nullptr), std::free);
    return isListed(path) || (target != nullptr && isListed(target.get()));
}

}  // namespace VDIFrameworkCommon::platform
