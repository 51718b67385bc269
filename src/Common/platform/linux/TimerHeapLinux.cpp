#include <algorithm>

#include "platform/linux/TimerHeap.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr std::size_t children = 4;  // flatter than a binary heap, and the children share two cache lines

}  // namespace

bool TimerHeap::before(const Entry& a, const Entry& b) noexcept {
    return a.due != b.due ? a.due < b.due : a.sequence < b.sequence;
}

void TimerHeap::insert(HeapNode* node) {
    const Entry entry{node->due, node->sequence, node};
    entries_.push_back(entry);
    siftUp(entries_.size() - 1, entry);
}

void TimerHeap::remove(HeapNode* node) noexcept {
    const std::size_t hole = node->place;
    node->place = HeapNode::notInHeap;
    const Entry last = entries_.back();
    entries_.pop_back();
    if (hole == entries_.size()) {
        return;
    }
    if (hole > 0 && before(last, entries_[(hole - 1) / children])) {
        siftUp(hole, last);
    } else {
        siftDown(hole, last);
    }
}

void TimerHeap::moveBack(HeapNode* node) noexcept {
    siftDown(node->place, Entry{node->due, node->sequence, node});
}

void TimerHeap::place(std::size_t index, const Entry& entry) noexcept {
    entries_[index] = entry;
    entry.node->place = index;
}

void TimerHeap::siftUp(std::size_t hole, const Entry& entry) noexcept {
    while (hole > 0) {
        const std::size_t parent = (hole - 1) / children;
        if (!before(entry, entries_[parent])) {
            break;
        }
        place(hole, entries_[parent]);
        hole = parent;
    }
    place(hole, entry);
}

void TimerHeap::siftDown(std::size_t hole, const Entry& entry) noexcept {
    const std::size_t size = entries_.size();
    for (;;) {
        const std::size_t begin = hole * children + 1;
        if (begin >= size) {
            break;
        }
        std::size_t least = begin;
        for (std::size_t child = begin + 1; child < std::min(begin + children, size); ++child) {
            if (before(entries_[child], entries_[least])) {
                least = child;
            }
        }
        if (!before(entries_[least], entry)) {
            break;
        }
        place(hole, entries_[least]);
        hole = least;
    }
    place(hole, entry);
}

}  // namespace VDIFrameworkCommon::platform
