#pragma once

#include <spdlog/common.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "RecordForm.h"

namespace DPL::dpllogger {

/// How many lines a text of whole lines has.
std::uint64_t countLines(std::string_view text) noexcept;

/// Lines that wait to be written, the oldest first. Keeps its memory, so that a steady flow of records allocates
/// nothing.
///
/// Not thread-safe.
class LineBuffer {
public:
    /// Adds a record's line and returns it. Adds nothing if memory runs out, which throws.
    std::string_view add(RecordForm& form, const Record& record);

    /// Takes the newest `size` bytes out again.
    void removeLast(std::size_t size) noexcept;

    /// Takes the oldest `size` bytes, whole lines, out.
    void removeFirst(std::size_t size);

    /// Drops the oldest lines until at most `capacity` bytes are left. Returns how many lines it dropped.
    std::uint64_t dropOldest(std::size_t capacity);

    void clear();

    std::string_view text() const noexcept { return {text_.data() + start_, text_.size() - start_}; }
    std::size_t size() const noexcept { return text_.size() - start_; }
    bool empty() const noexcept { return size() == 0; }

private:
    spdlog::memory_buf_t text_;
    std::size_t start_ = 0;  // what is before it was dropped
};

}  // namespace DPL::dpllogger
