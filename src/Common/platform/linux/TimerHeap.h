#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VDIFrameworkCommon::platform {

/// What a heap needs to know of a timer. The heap keeps each timer's place up to date, so that one can be taken out
/// without a search.
struct HeapNode {
    static constexpr std::size_t notInHeap = SIZE_MAX;

    std::int64_t due = 0;        ///< nanoseconds
    std::uint64_t sequence = 0;  ///< decides between timers that are due at the same time
    std::size_t place = notInHeap;
};

/// Timers in the order in which they are due. Not thread-safe. Does not own them.
///
/// Putting in, taking out and moving take logarithmic time and allocate nothing but for growth.
class TimerHeap {
public:
    bool empty() const noexcept { return entries_.empty(); }
    HeapNode* first() const noexcept { return entries_.front().node; }
    std::int64_t firstDue() const noexcept { return entries_.front().due; }

    void insert(HeapNode* node);
    void remove(HeapNode* node) noexcept;

    /// Puts a timer that is in the heap, and whose due time was made later, where it belongs.
    void moveBack(HeapNode* node) noexcept;

private:
    // The key is kept beside the pointer: comparing must not fetch 100,000 scattered timers into the cache.
    struct Entry {
        std::int64_t due;
        std::uint64_t sequence;
        HeapNode* node;
    };

    static bool before(const Entry& a, const Entry& b) noexcept;
    void place(std::size_t index, const Entry& entry) noexcept;
    void siftUp(std::size_t hole, const Entry& entry) noexcept;
    void siftDown(std::size_t hole, const Entry& entry) noexcept;

    std::vector<Entry> entries_;
};

}  // namespace VDIFrameworkCommon::platform
