#pragma once

#include <optional>
#include <string>

namespace VDIFrameworkCommon::platform {

/// The desktop entry of an application, as GIO finds and reads it.
///
/// One owner at a time.
class DesktopEntry {
public:
    /// The entry of an application; none for an identifier that names no valid entry.
    static std::optional<DesktopEntry> find(const std::string& bundleId);

    DesktopEntry(DesktopEntry&& other) noexcept;
    DesktopEntry& operator=(DesktopEntry&&) = delete;
    ~DesktopEntry();

    /// The path of the entry.
    std::string file() const;

    /// The path of the file that the entry's command executes; empty when it cannot be told.
    std::string program() const;

    /// Launches the application. Returns whether that could be done.
    bool launch() const;

private:
    explicit DesktopEntry(void* info) noexcept : info_(info) {}

    void* info_;  // of the type that GIO calls GDesktopAppInfo; null when moved from
};

}  // namespace VDIFrameworkCommon::platform
