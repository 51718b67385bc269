#include "EventName.h"

#include <cstddef>

#include "Terminal.h"

namespace vdictl {

std::string EventName::full() const {
    constexpr std::size_t longestCondition = 1024;
    return owner.isGiven() ? (owner.prefix() + name).substr(0, longestCondition) : name;
}

SharedObject EventName::object() const {
    return SharedObject(full() + "_event");
}

std::string EventName::description() const {
    return "event '" + visible(full()) + "' (" + object().file + ")";
}

}  // namespace vdictl
