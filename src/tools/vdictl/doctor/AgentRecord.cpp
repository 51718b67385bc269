#include "doctor/AgentRecord.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <thread>

#include "SharedRecords.h"

namespace vdictl {

namespace {

constexpr std::size_t capacity = VDIFrameworkCommon::records::RunnerList::capacity;
constexpr int mostTries = 50;

// Others copy the list word by word. Between two steps every copy that was begun comes to its end, so that none sees
// an entry neither at its old place nor at its new one.
void letCopiesEnd() {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
}

std::uint32_t load(const std::uint32_t& word) {
    return __atomic_load_n(&word, __ATOMIC_SEQ_CST);
}

std::uint32_t slotAt(const std::uint32_t* slots, std::size_t index) {
    return index < capacity ? load(slots[index]) : 0;
}

std::size_t lengthOf(const std::uint32_t* slots) {
    std::size_t length = 0;
    while (slotAt(slots, length) != 0) {
        ++length;
    }
    return length;
}

std::optional<std::size_t> find(const std::uint32_t* slots, std::uint32_t pid, std::size_t from = 0) {
    for (std::size_t i = from; i < capacity; ++i) {
        if (load(slots[i]) == pid) {
            return i;
        }
    }
    return std::nullopt;
}

// An entry that is listed again further on, as it is in the middle of closing a gap.
std::optional<std::size_t> findDouble(const std::uint32_t* slots) {
    const std::size_t length = lengthOf(slots);
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint32_t pid = load(slots[i]);
        const auto again = pid == 0 ? std::nullopt : find(slots, pid, i + 1);
        if (again && *again < length) {
            return again;
        }
    }
    return std::nullopt;
}

// Ends the list here, unless somebody appends at this moment. Returns what must come here then, or 0.
std::optional<std::uint32_t> endList(std::uint32_t* slots, std::size_t index, std::uint32_t pid) {
    if (!exchange(slots[index], pid, 0)) {
        return std::nullopt;
    }
    const std::uint32_t appended = slotAt(slots, index + 1);
    if (appended != 0) {
        exchange(slots[index], 0, appended);
    }
    return appended;
}

// Moves the entries behind `index` one place forward, each one step: for that time it is listed twice. Stops where
// somebody else has written: an agent that writes an older list back takes an entry from its new place, and it must not
// be taken from its old one then. `kept` is the other place of the entry at `index`; null for a dead one.
void closeGap(std::uint32_t* slots, std::size_t index, std::uint32_t pid, const std::uint32_t* kept) {
    for (; index < capacity; ++index) {
        const auto isKept = [&] { return kept == nullptr || load(*kept) == pid; };
        const std::uint32_t next = slotAt(slots, index + 1);
        if (!isKept()) {
            return;
        }
        const auto appended = next == 0 ? endList(slots, index, pid) : std::nullopt;
        const bool isDone = next == 0 ? appended.has_value() : exchange(slots[index], pid, next);
        const std::uint32_t here = next == 0 ? appended.value_or(0) : next;
        if (!isDone) {
            return;
        }
        if (!isKept()) {
            exchange(slots[index], here, pid);
            return;
        }
        if (here == 0) {
            return;
        }
        letCopiesEnd();
        kept = &slots[index];
        pid = here;
    }
}

}  // namespace

bool exchange(std::uint32_t& word, std::uint32_t expected, std::uint32_t value) {
    return __atomic_compare_exchange_n(&word, &expected, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

bool isListed(const std::uint32_t* slots, std::uint32_t pid) {
    return find(slots, pid).has_value();
}

bool addRunner(std::uint32_t* slots, std::uint32_t pid) {
    for (int tries = 0; tries < mostTries && !isListed(slots, pid); ++tries) {
        const std::size_t end = lengthOf(slots);
        if (end == capacity) {
            return false;
        }
        exchange(slots[end], 0, pid);
    }
    return isListed(slots, pid);
}

bool removeRunner(std::uint32_t* slots, std::uint32_t pid) {
    for (int tries = 0; tries < mostTries; ++tries) {
        if (const auto found = find(slots, pid)) {
            if (*found >= lengthOf(slots)) {
                exchange(slots[*found], pid, 0);  // behind the end of the list nothing follows
            } else {
                closeGap(slots, *found, pid, nullptr);
            }
        } else if (const auto twice = findDouble(slots)) {
            const std::uint32_t listedTwice = load(slots[*twice]);
            if (const auto first = find(slots, listedTwice); listedTwice != 0 && first && *first < *twice) {
                closeGap(slots, *twice, listedTwice, &slots[*first]);
            }
        } else {
            return true;
        }
    }
    return !isListed(slots, pid);
}

}  // namespace vdictl
