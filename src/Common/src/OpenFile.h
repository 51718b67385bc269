#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace VDIFrameworkCommon {

/// An open file, closed at the end of the object's life. Belongs to one thread at a time.
class OpenFile {
public:
    /// Opens a file. Test for success with `isOpen`.
    ///
    /// \param flags  those of `open`; a file that is made may be read and written by everyone, less the file mode
    ///     creation mask, and no program that is started inherits it
    OpenFile(const std::string& path, int flags) noexcept;
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isOpen() const noexcept { return descriptor_ >= 0; }

    /// What `fstat` says. False if it fails.
    bool status(struct stat& status) const noexcept;

    /// Reads up to `size` bytes from the place `offset`, fewer only at the end of the file and on an error. Returns
    /// their number.
    std::size_t readAt(void* data, std::size_t size, std::int64_t offset) const noexcept;

    /// Writes the first `length` bytes to another file, as far as the system does that by itself. Returns their number.
    std::int64_t sendTo(const OpenFile& target, std::int64_t length) const noexcept;

    /// Writes `size` bytes. False if not all could be written.
    bool write(const void* data, std::size_t size) const noexcept;

    /// False if the system reports an error that it kept for the end.
    bool close() noexcept;

protected:
    int descriptor_;
};

/// A file to be read. Directories, which can be opened but not read, count as files that cannot be opened.
class InputFile : public OpenFile {
public:
    explicit InputFile(const std::string& path) noexcept;

    /// Whether `other` describes this very file, maybe by another name.
    bool isSameAs(const struct stat& other) const noexcept;

    /// In bytes; -1 if the file has no length, as a pipe.
    std::int64_t length() const noexcept;

private:
    struct stat status_ {};
};

}  // namespace VDIFrameworkCommon
