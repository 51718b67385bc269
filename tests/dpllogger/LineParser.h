#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace logreader {

struct Line {
    std::string time;
    long pid;
    long tid;
    int level;
    std::string logger;
    std::string path;
    int line;
    std::string function;
    std::string message;
};

/// Splits a line, without its line feed, into the record it was made from; nothing if it is not one.
std::optional<Line> parse(std::string_view line);

}  // namespace logreader
