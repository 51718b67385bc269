#include "VDIFrameworkCommon/MessageUtils.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "Log.h"
#include "VDIFrameworkCommon/StringConversion.h"
#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("MessageUtils", __FILE__);

constexpr char delimiter = '|';

// Adds a field that is filled and holds no delimiter.
void join(std::string& message, std::string_view field) {
    const std::size_t needed = message.size() + 1 + field.size();
    if (needed > message.capacity()) {
        // A message that outgrows its place soon does so again.
        message.reserve(std::max(needed, 4 * message.capacity()));
    }
    if (!message.empty()) {
        message += delimiter;
    }
    message += field;
}

void joinIfValid(std::string& message, std::string_view field) {
    if (field.empty()) {
        // Not an empty field: the fields after it move one place to the left. Receivers count on fields being filled.
        return;
    }
    if (field.find(delimiter) != std::string_view::npos) {
        // The wording is relied on by log readers.
        VDI_LOG_AS("append", DPL_ERROR, "The message to append contains the delims, it is invalid!");
        return;
    }
    join(message, field);
}

}  // namespace

void MessageBuilder::append(std::string const& field) {
    joinIfValid(message_, field);
}

void MessageBuilder::append(const char* field) {
    if (field == nullptr) {
        append(nullptr);
    } else {
        joinIfValid(message_, field);
    }
}

void MessageBuilder::append(unsigned int value) {
    join(message_, toString(value));
}

void MessageBuilder::append(bool value) {
    join(message_, value ? "true" : "false");
}

void MessageBuilder::append(void* value) {
    join(message_, toString(static_cast<long long>(reinterpret_cast<std::intptr_t>(value))));
}

void MessageBuilder::append(std::nullptr_t) {
    join(message_, "0");
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
