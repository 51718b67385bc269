#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace vdictl {

/// The process id that a text is; nothing if it is something else.
inline std::optional<unsigned int> processIdFrom(std::string_view text) {
    unsigned int pid = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, pid);
    return error == std::errc() && stop == end ? std::optional(pid) : std::nullopt;
}

}  // namespace vdictl
