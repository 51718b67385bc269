#pragma once

#include <dirent.h>

#include <string>

namespace VDIFrameworkCommon {

enum class Links { Follow, Refuse };

/// The entries of a directory, in the order in which the system yields them. Belongs to one thread.
class DirectoryReader {
public:
    /// Opens the directory; one that cannot be opened has no entries. `links` says what to do if the path itself is a
    /// symbolic link.
    explicit DirectoryReader(const std::string& path, Links links = Links::Follow) noexcept;
    ~DirectoryReader();
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    bool isOpen() const noexcept { return stream_ != nullptr; }

    /// The descriptor of the directory, which must be open.
    int descriptor() const noexcept;

    /// The next entry that is neither "." nor ".."; null at the end. Valid until the next call.
    const dirent* next() noexcept;

private:
    DIR* stream_;
};

}  // namespace VDIFrameworkCommon
