#include "dpllogger/LogReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

namespace logreader {

std::vector<Line> parseAll(std::string_view text) {
    std::vector<Line> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view raw = text.substr(0, end);
        auto line = end == std::string_view::npos ? std::nullopt : parse(raw);
        if (line) {
            lines.push_back(*std::move(line));
        } else {
            ADD_FAILURE() << "not a record: " << raw.substr(0, 400)
                          << (end == std::string_view::npos ? " (no end)" : "");
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& log) {
    std::vector<std::filesystem::path> files;
    for (int number = 1000; number > 0; --number) {
        std::filesystem::path file = log;
        file += "." + std::to_string(number);
        if (std::filesystem::exists(file)) {
            files.push_back(file);
        }
    }
    if (std::filesystem::exists(log)) {
        files.push_back(log);
    }
    return files;
}

std::vector<Line> readLog(const std::filesystem::path& log) {
    std::vector<Line> lines;
    for (const auto& file : filesOf(log)) {
        SCOPED_TRACE(file.string());
        auto some = parseAll(contents(file));
        lines.insert(lines.end(), std::make_move_iterator(some.begin()), std::make_move_iterator(some.end()));
    }
    return lines;
}

std::vector<std::string> messagesOf(const std::vector<Line>& lines) {
    std::vector<std::string> messages;
    for (const Line& line : lines) {
        messages.push_back(line.message);
    }
    return messages;
}

std::vector<std::string> messagesOf(const std::filesystem::path& log) {
    return messagesOf(readLog(log));
}

TemporaryFolder::TemporaryFolder() {
    std::string name = testing::TempDir() + "dpllogger-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        ADD_FAILURE() << "no temporary folder " << name;
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

void write(DPL::dpllogger::LogController& controller, DPLLogLevel level, const std::string& message) {
    controller.log("Test", level, "tests/Some.cpp", 7, "function", message);
}

}  // namespace logreader
