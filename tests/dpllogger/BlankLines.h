#pragma once

#include <string>
#include <string_view>

#include "dpllogger/LogReader.h"

namespace logreader {

/// A log's text without the lines of spaces that stand where somebody's write was cut short and could not be cut off.
inline std::string withoutBlankLines(std::string_view text) {
    std::string others;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n') + 1);
        const std::size_t length = line.empty() ? text.size() : line.size();
        if (text.substr(0, length).find_first_not_of(" \n") != std::string_view::npos) {
            others += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return others;
}

}  // namespace logreader
