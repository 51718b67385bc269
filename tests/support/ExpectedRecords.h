#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/RecordingLogger.h"

namespace recording {

/// Makes the records that a test expects of one source file: `ExpectedRecord("SHMStorage", "src/…")(DPL_INFO, "f",
/// "text")`.
class ExpectedRecord {
public:
    ExpectedRecord(std::string logger, std::string path) : logger_(std::move(logger)), path_(std::move(path)) {}

    Record operator()(DPLLogLevel level, const std::string& function, const std::string& message) const {
        return {logger_, level, path_, 0, function, message};
    }

private:
    std::string logger_;
    std::string path_;
};

/// The records of these levels only, in order.
inline std::vector<Record> withoutTrace(std::vector<Record> records) {
    std::erase_if(records, [](const Record& record) { return record.level == DPL_TRACE; });
    return records;
}

}  // namespace recording
