#pragma once

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

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
void addOwnerOptions(CLI::App& command, Owner& owner);

/// What the names of a product's objects begin with after the user: "CRVDI_".
std::string_view clientPrefix(VDIFrameworkCommon::VDIClientType::VDIClientTypeEnum client);

/// Becomes the effective user of the owner and takes on the product, so that what the library makes from now on belongs
/// to them. Throws `Failure` when this process may not.
void actFor(const Owner& owner);

}  // namespace vdictl
