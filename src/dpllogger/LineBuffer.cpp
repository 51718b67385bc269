#include "LineBuffer.h"

#include <algorithm>
#include <cstring>

namespace DPL::dpllogger {

namespace {

// A buffer that an unusually long record made larger than this is given back.
constexpr std::size_t largestKept = 4UL << 20;

}  // namespace

std::uint64_t countLines(std::string_view text) noexcept {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string_view LineBuffer::add(RecordForm& form, const Record& record) {
    const std::size_t before = text_.size();
    try {
        form.append(text_, record);
    } catch (...) {
        text_.resize(before);
        throw;
    }
    return {text_.data() + before, text_.size() - before};
}

void LineBuffer::removeLast(std::size_t size) noexcept {
    text_.resize(text_.size() - size);
    if (empty()) {
        clear();
    }
}

void LineBuffer::removeFirst(std::size_t size) {
    start_ += size;
    if (empty()) {
        clear();
    }
}

std::uint64_t LineBuffer::dropOldest(std::size_t capacity) {
    if (size() <= capacity) {
        return 0;
    }
    const std::string_view lines = text();
    const std::size_t cut = lines.find('\n', lines.size() - capacity - 1) + 1;
    const std::uint64_t dropped = countLines(lines.substr(0, cut));
    start_ += cut;
    // Moving the rest only now and then keeps the price of a record constant.
    if (start_ > capacity) {
        const std::size_t left = size();
        std::memmove(text_.data(), text_.data() + start_, left);
        text_.resize(left);
        start_ = 0;
    }
    return dropped;
}

void LineBuffer::clear() {
    text_.clear();
    start_ = 0;
    if (text_.capacity() > largestKept) {
        text_ = spdlog::memory_buf_t();
    }
}

}  // namespace DPL::dpllogger
