#pragma once

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "CommandLine.h"

namespace vdictl {

/// Whose objects a command is about.
struct Owner {
    std::optional<VDIFrameworkCommon::VDIClientType::VDIClientTypeEnum> client;
    std::optional<uid_t> user;

    bool isGiven() const { return client || user; }

    /// The user asked for, or the one who asks.
    uid_t userOrSelf() const;

    /// What the names of this user's and product's objects begin with: "501CRVDI_".
    std::string prefix() const;
};

/// Declares `--client` and `--user`. The user may be a number or a name.
void addOwnerOptions(CommandLine command, Owner& owner);

/// Declares the same for a command that shows everybody's objects without them.
void addOwnerFilter(CommandLine command, Owner& owner);

/// What the names of a product's objects begin with after the user: "CRVDI_".
std::string_view clientPrefix(VDIFrameworkCommon::VDIClientType::VDIClientTypeEnum client);

/// While it lives, the process is the owner's effective user and has its product, so that what the library makes
/// belongs to them.
class ActingFor {
public:
    /// Throws `Failure` when this process may not.
    explicit ActingFor(const Owner& owner);
    ~ActingFor();
    ActingFor(const ActingFor&) = delete;
    ActingFor& operator=(const ActingFor&) = delete;

private:
    uid_t before_;
};

}  // namespace vdictl
