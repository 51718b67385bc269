#include "Owner.h"

#include <pwd.h>
#include <strings.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "Report.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

std::optional<uid_t> userCalled(const std::string& name) {
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
    return found == nullptr ? std::nullopt : std::optional(found->pw_uid);
}

// A number, or a name that the user database has.
std::optional<uid_t> parseUser(const std::string& text) {
    uid_t user = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, user);
    const bool isNumber = error == std::errc() && stop == end && user != static_cast<uid_t>(-1);
    return isNumber ? std::optional(user) : userCalled(text);
}

// In any case.
std::optional<VDIClientType::VDIClientTypeEnum> clientCalled(const std::string& name) {
    const std::pair<const char*, VDIClientType::VDIClientTypeEnum> clients[]{{"unknown", VDIClientType::Unknown},
                                                                             {"parlet", VDIClientType::Parlet},
                                                                             {"crews", VDIClientType::OrvexCrews},
                                                                             {"huddles", VDIClientType::OrvexHuddles}};
    for (const auto& [known, client] : clients) {
        if (strcasecmp(name.c_str(), known) == 0) {
            return client;
        }
    }
    return std::nullopt;
}

}  // namespace

uid_t Owner::userOrSelf() const {
    return user.value_or(geteuid());
}

std::string Owner::prefix() const {
    std::string result = std::to_string(userOrSelf());
    result += clientPrefix(client.value_or(VDIClientType::Unknown));
    return result;
}

std::string_view clientPrefix(VDIClientType::VDIClientTypeEnum client) {
    switch (client) {
        case VDIClientType::OrvexCrews:
            return "CRVDI_";
        case VDIClientType::OrvexHuddles:
            return "HDVDI_";
        default:
            return "DEFVDI_";
    }
}

void addOwnerOptions(CommandLine command, Owner& owner) {
    command
        .option(
            "-c,--client", [&owner](const std::string& text) { owner.client = clientCalled(text); },
            "Client product: parlet, crews, huddles or unknown")
        .check([](const std::string& text) {
            return clientCalled(text) ? std::string() : "'" + text + "' is none of parlet, crews, huddles and unknown";
        })
        .type("PRODUCT");
    command
        .option(
            "-u,--user", [&owner](const std::string& text) { owner.user = parseUser(text); },
            "User whose objects these are, by number or name; by default your own")
        .check([](const std::string& text) {
            return parseUser(text) ? std::string() : "'" + text + "' is no user's number or name";
        })
        .type("USER");
}

void addOwnerFilter(CommandLine command, Owner& owner) {
    addOwnerOptions(command, owner);
    command.describe("--client", "Only this product's: parlet, crews, huddles or unknown");
    command.describe("--user", "Only this user's, by number or name");
}

ActingFor::ActingFor(const Owner& owner) : before_(geteuid()) {
    VDIClientInfo::getInstance()->setClientType(owner.client.value_or(VDIClientType::Unknown));
    if (owner.userOrSelf() != before_ && seteuid(owner.userOrSelf()) != 0) {
        throw Failure("user " + std::to_string(owner.userOrSelf()), "seteuid", errno, "run as this user or as root");
    }
}

ActingFor::~ActingFor() {
    if (geteuid() != before_ && seteuid(before_) != 0) {
        std::abort();  // going on with another user's rights is worse
    }
}

}  // namespace vdictl
