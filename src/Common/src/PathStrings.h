#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VDIFrameworkCommon::paths {

/// The length of the parent directory's path, which `path` begins with. The path's own length when it is its own
/// parent: "a/".
std::size_t parentLength(std::string_view path) noexcept;

/// \throw std::range_error "wstring_convert: from_bytes error" unless the path is valid UTF-8
void requireUtf8(const std::string& path);

/// The path as system calls take it. No file has a zero byte in its name: such a path becomes the empty one, which
/// names nothing.
const char* systemPath(const std::string& path) noexcept;

}  // namespace VDIFrameworkCommon::paths
