#pragma once

#include <spdlog/common.h>

#include <string_view>

namespace DPL::dpllogger {

/// Appends `text` such that it holds no line break, no other control character and nothing but valid UTF-8, and can be
/// turned back into exactly the bytes it was:
///
/// - a backslash becomes `\\`, a line feed `\n`, a carriage return `\r`, a tab `\t`;
/// - every other control character, and every byte that is not part of valid UTF-8, becomes `\xHH`, two upper-case
///   hexadecimal digits a byte. The line and paragraph separators U+2028 and U+2029 and the marks that reorder a line
///   on display (U+202A to U+202E, U+2066 to U+2069) count as control characters.
void appendEscaped(spdlog::memory_buf_t& out, std::string_view text);

/// The same for one word of a line: a space becomes `\x20`.
void appendEscapedWord(spdlog::memory_buf_t& out, std::string_view word);

}  // namespace DPL::dpllogger
