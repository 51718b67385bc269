#pragma once

#include <VDIFrameworkCommon/FileUtils.h>

#include <string>
#include <vector>

#include "support/ExpectedRecords.h"
#include "support/RecordingLogger.h"

/// What the tests of reading and of writing files share.
namespace contents {

using Bytes = std::vector<unsigned char>;

inline Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

inline recording::Record error(const std::string& function, const std::string& message) {
    static const recording::ExpectedRecord expected("VDIFrameworkCommon", "src/Common/src/FileUtils.cpp");
    return expected(DPL_ERROR, function, message);
}

inline bool save(const std::string& path, const std::string& text) {
    return VDIFrameworkCommon::FileUtils::saveFile(path, text.data(), static_cast<int>(text.size()));
}

inline bool append(const std::string& path, const std::string& text, int mode = 0) {
    return VDIFrameworkCommon::FileUtils::saveFileAppand(path, text.data(), mode, static_cast<int>(text.size()));
}

/// Sizes on both sides of every border between two ways of reading or writing.
inline std::vector<std::string> textsOfAllSizes() {
    std::vector<std::string> texts;
    for (const int length : {1, 2, 1023, 1024, 1025, 4096, 131071, 131072, 131073, 262144, 262145, 3000000}) {
        const auto size = static_cast<std::size_t>(length);
        std::string text(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>(i * 7 % 251);
        }
        texts.push_back(text);
    }
    return texts;
}

}  // namespace contents
