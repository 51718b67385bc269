#include "support/LogStatements.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace recording {

namespace {

using Lines = std::vector<std::string>;

// By path relative to the source tree. Never destroyed: records come from static destructors too.
std::map<std::string, Lines>& files() {
    static auto& instance = *new std::map<std::string, Lines>;
    return instance;
}

Lines linesOf(const std::filesystem::path& path) {
    Lines lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(std::move(line));
    }
    return lines;
}

bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool hasLogger(const Lines& lines, const std::string& logger) {
    const std::string definition = "const log::Source logSource(\"" + logger + "\", __FILE__);";
    for (const std::string& line : lines) {
        if (holds(line, definition)) {
            return true;
        }
    }
    return false;
}

// The statement that begins on a line.
std::string statementAt(const Lines& lines, std::size_t index) {
    std::string statement = lines[index];
    while (!holds(statement, ";") && ++index < lines.size()) {
        statement += lines[index];
    }
    return statement;
}

std::string_view nameOf(DPLLogLevel level) {
    switch (level) {
        case DPL_ERROR:
            return "DPL_ERROR";
        case DPL_WARN:
            return "DPL_WARN";
        case DPL_INFO:
            return "DPL_INFO";
        case DPL_DEBUG:
            return "DPL_DEBUG";
        case DPL_TRACE:
            return "DPL_TRACE";
        default:
            return "none";
    }
}

// Whether the statement that begins on a line writes a record of this level and with this beginning, as far as it names
// them itself.
bool writes(const Lines& lines, std::size_t index, const Record& record) {
    if (!holds(lines[index], "VDI_LOG")) {
        return holds(lines[index], "__LINE__");  // hands its line on to whoever writes the record
    }
    const std::string statement = statementAt(lines, index);
    const std::string level = std::string(nameOf(record.level)) + ", ";
    const std::size_t found = statement.find(level);
    if (found == std::string::npos) {
        return false;
    }
    std::string_view text = std::string_view(statement).substr(found + level.size());
    if (!text.starts_with('"')) {
        return true;
    }
    text.remove_prefix(1);
    return record.message.starts_with(text.substr(0, text.find_first_of("\"\\")));
}

}  // namespace

void readLogStatements() {
    const std::filesystem::path tree(VDI_SOURCE_DIR);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree / "src/Common/src")) {
        if (entry.path().extension() == ".cpp") {
            files()[std::filesystem::relative(entry.path(), tree)] = linesOf(entry.path());
        }
    }
}

std::optional<std::string> wrongOrigin(const Record& record) {
    const auto file = files().find(record.path);
    if (file == files().end()) {
        return "no such source file";
    }
    const Lines& lines = file->second;
    if (!hasLogger(lines, record.logger)) {
        return "not the logger of that source file";
    }
    const auto index = static_cast<std::size_t>(record.line) - 1;
    if (record.line < 1 || index >= lines.size() || !writes(lines, index, record)) {
        return "no such record is written on that line";
    }
    return std::nullopt;
}

}  // namespace recording
