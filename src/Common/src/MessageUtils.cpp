#include "VDIFrameworkCommon/MessageUtils.h"

#include <algorithm>
#include <cstdint>

#include "Log.h"
#include "VDIFrameworkCommon/StringConversion.h"
#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("MessageUtils", __FILE__);

constexpr char delimiter = '|';

}  // namespace

void MessageBuilder::append(std::string const& field) {
    if (field.empty()) {
        // Not an empty field: the fields after it move one place to the left. Receivers count on fields being filled.
        return;
    }
    if (field.find(delimiter) != std::string::npos) {
        // The wording is relied on by log readers.
        VDI_LOG(DPL_ERROR, "The message to append contains the delims, it is invalid!");
        return;
    }
    const std::size_t needed = message_.size() + 1 + field.size();
    if (needed > message_.capacity()) {
        // A message that outgrows its place soon does so again.
        message_.reserve(std::max(needed, 4 * message_.capacity()));
    }
    if (!message_.empty()) {
        message_ += delimiter;
    }
    message_ += field;
}

void MessageBuilder::append(const char* field) {
    if (field == nullptr) {
        append(nullptr);
    } else {
        append(std::string(field));
    }
}

void MessageBuilder::append(unsigned int value) {
    append(toString(value));
}

void MessageBuilder::append(bool value) {
    append(toString(value));
}

void MessageBuilder::append(void* value) {
    append(toString(static_cast<long long>(reinterpret_cast<std::intptr_t>(value))));
}

void MessageBuilder::append(std::nullptr_t) {
    append(static_cast<void*>(nullptr));
}

std::string MessageBuilder::msg() const {
    return message_;
}

void MessageBuilder::clear() {
    message_.clear();
}

// NOLINTNEXTLINE(modernize-pass-by-value): the interface takes a reference
MessageParser::MessageParser(std::string const& message) : message_(message) {
}

std::vector<std::string> MessageParser::parseMsg() const {
    std::vector<std::string> fields;
    split(message_, fields, std::string(1, delimiter));
    return fields;
}

}  // namespace VDIFrameworkCommon
