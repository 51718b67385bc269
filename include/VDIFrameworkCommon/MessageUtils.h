#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// Builds a message: fields joined by "|", without escaping.
///
/// No field is empty or holds a "|". One owner at a time; nothing throws, but a failed allocation.
///
/// A number that is not an `unsigned int` says so: `append(7)` does not compile, `append(7U)` does.
class VDIFRAMEWORKCOMMON_EXPORT MessageBuilder {
public:
    MessageBuilder() = default;

    /// Appends the field as it is. An empty one is left out, so the fields after it move one place to the left; one
    /// that holds a "|" is left out with an error record.
    void append(std::string const& field);

    /// Appends the zero-terminated text as the string it holds, or "0" for a null pointer.
    void append(const char* field);

    /// Appends the number in decimal.
    void append(unsigned int value);

    /// Appends "true" or "false".
    void append(bool value);

    /// Appends the address as a signed 64-bit number in decimal; "0" for a null pointer.
    void append(void* value);

    /// Appends "0", as for every null pointer.
    void append(std::nullptr_t);

    /// A copy of the message so far.
    std::string msg() const;

    /// Empties the message.
    void clear();

private:
    std::string message_;
};

/// Takes a message apart into its fields.
///
/// Immutable, and so thread-safe but for construction and destruction.
class VDIFRAMEWORKCOMMON_EXPORT MessageParser {
public:
    /// Keeps a copy of the message.
    MessageParser(std::string const& message);  // NOLINT(google-explicit-constructor)

    /// The fields in their order. Runs of "|", and those at either end, make no empty fields.
    std::vector<std::string> parseMsg() const;

private:
    std::string message_;
};

}  // namespace VDIFrameworkCommon
