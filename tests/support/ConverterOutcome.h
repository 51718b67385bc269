#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "support/StreamConversions.h"

namespace streams {

#ifdef _LIBCPP_VERSION
inline constexpr bool onLibcxx = true;
#else
inline constexpr bool onLibcxx = false;
#endif

/// The result of a conversion, or the text of its range error.
template <typename Convert>
auto outcome(Convert convert) {
    using Text = decltype(convert());
    try {
        return std::pair(convert(), std::string());
    } catch (const std::range_error& error) {
        return std::pair(Text(), std::string(error.what()));
    }
}

}  // namespace streams
