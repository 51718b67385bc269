#pragma once

#include <string>
#include <string_view>

namespace VDIFrameworkCommon {

/// Adds who is asking to a shared object's name: the effective user id in decimal and the client product's prefix, both
/// as they are at this moment. They keep the objects of users and of products apart.
std::string clientObjectName(std::string_view name);

/// The name under which the system knows the object with a logical name: "/" and the digest in decimal. At most 21
/// characters, within the 31 that some systems allow. Allocates nothing.
class SystemName {
public:
    explicit SystemName(std::string_view logicalName) noexcept;
    const char* c_str() const noexcept { return text_; }

private:
    char text_[1 + 20 + 1];
};

}  // namespace VDIFrameworkCommon
