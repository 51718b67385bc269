#pragma once

#include <cstdint>
#include <vector>

namespace vdictl {

// Changes to records of agents that living agents read and write at the same moment. They take no lock, as agents take
// none, and never put back what another process has changed: each step exchanges one word, if it still is what it was.

/// Takes every entry of `pid` out of a runner list of 50 slots and closes the gaps, in order. At every moment all other
/// entries are in the list. False when others kept bringing it back.
///
/// Agents change the list by reading and writing it as a whole, also when they remove an entry: with that, an agent
/// that registers in between would be lost.
bool removeRunner(std::uint32_t* slots, std::uint32_t pid);

/// Appends `pid` unless it is listed. False when the list is full.
bool addRunner(std::uint32_t* slots, std::uint32_t pid);

/// Whether `pid` is in any slot.
bool isListed(const std::uint32_t* slots, std::uint32_t pid);

/// Exchanges the word if it is `expected`.
bool exchange(std::uint32_t& word, std::uint32_t expected, std::uint32_t value);

}  // namespace vdictl
