#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>

/// Substring search in linear time and constant space, over texts that need not lie in memory as they are compared.
///
/// A text is a `std::basic_string_view` or anything else with `size()` and `operator[]`.

namespace VDIFrameworkCommon {

inline constexpr std::size_t notFound = static_cast<std::size_t>(-1);

namespace search {

// The start of the last suffix of the pattern in the order of `Less`, and the period of that suffix.
struct Suffix {
    std::size_t start;
    std::size_t period;
};

template <typename Less, typename Pattern>
Suffix maximalSuffix(const Pattern& pattern) {
    const Less less;
    Suffix best{.start = 0, .period = 1};
    std::size_t candidate = 1;
    std::size_t matched = 0;
    while (candidate + matched < pattern.size()) {
        const auto ours = pattern[best.start + matched];
        const auto theirs = pattern[candidate + matched];
        if (ours == theirs) {
            ++matched;
            if (matched == best.period) {
                candidate += matched;
                matched = 0;
            }
        } else if (less(theirs, ours)) {
            candidate += matched + 1;
            matched = 0;
            best.period = candidate - best.start;
        } else {
            best = {.start = candidate, .period = 1};
            ++candidate;
            matched = 0;
        }
    }
    return best;
}

/// Two-way search (Crochemore and Perrin): the pattern is cut at a critical position; its right part is compared
/// forwards, then its left part backwards, so that every mismatch allows a shift as long as what was compared.
template <typename Text, typename Pattern>
std::size_t twoWay(const Text& text, const Pattern& pattern, std::size_t from) {
    const std::size_t size = pattern.size();
    const Suffix ascending = maximalSuffix<std::less<>>(pattern);
    const Suffix descending = maximalSuffix<std::greater<>>(pattern);
    const Suffix cut = ascending.start > descending.start ? ascending : descending;
    std::size_t known = 0;
    while (known < cut.start && pattern[known] == pattern[known + cut.period]) {
        ++known;
    }
    const bool periodic = known == cut.start;
    const std::size_t shift = periodic ? cut.period : std::max(cut.start, size - cut.start) + 1;
    std::size_t remembered = 0;  // how much of the pattern's front is known to match, after a shift by its period
    while (from + size <= text.size()) {
        std::size_t at = std::max(cut.start, remembered);
        while (at < size && pattern[at] == text[from + at]) {
            ++at;
        }
        if (at < size) {
            from += at - cut.start + 1;
            remembered = 0;
            continue;
        }
        at = cut.start;
        while (at > remembered && pattern[at - 1] == text[from + at - 1]) {
            --at;
        }
        if (at <= remembered) {
            return from;
        }
        from += shift;
        remembered = periodic ? size - shift : 0;
    }
    return notFound;
}

// The first element equal to `wanted` at or after `from` and before `end`; `end` without one.
template <typename Text, typename Element>
std::size_t findElement(const Text& text, Element wanted, std::size_t from, std::size_t end) {
    while (from < end && text[from] != wanted) {
        ++from;
    }
    return from;
}

template <typename Char>
std::size_t findElement(std::basic_string_view<Char> text, Char wanted, std::size_t from, std::size_t end) {
    const std::size_t at = text.substr(0, end).find(wanted, from);
    return at == notFound ? end : at;
}

}  // namespace search

/// Where the pattern first occurs in the text at or after `from`; `from` for an empty pattern (if the text is so long).
template <typename Text, typename Pattern>
std::size_t findFirst(const Text& text, const Pattern& pattern, std::size_t from) {
    const std::size_t size = pattern.size();
    if (from > text.size() || size > text.size() - from) {
        return notFound;
    }
    if (size == 0) {
        return from;
    }
    // Few texts make the plain way slow; those that do are left to the two-way search before the time grows.
    constexpr std::size_t patience = 256;
    const auto first = pattern[0];
    const std::size_t end = text.size() - size + 1;
    std::size_t compared = 0;
    for (std::size_t at = from; (at = search::findElement(text, first, at, end)) != end; ++at) {
        std::size_t matched = 1;
        while (matched < size && pattern[matched] == text[at + matched]) {
            ++matched;
        }
        if (matched == size) {
            return at;
        }
        compared += matched;
        if (compared > patience + 4 * (at - from)) {
            return search::twoWay(text, pattern, at + 1);
        }
    }
    return notFound;
}

}  // namespace VDIFrameworkCommon
