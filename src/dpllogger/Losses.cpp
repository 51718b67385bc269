#include "Losses.h"

#include <system_error>

namespace DPL::dpllogger {

void Losses::countFailed(std::uint64_t records, int error) noexcept {
    if (records != 0) {
        failed_ += records;
        error_ = error;
    }
}

std::string Losses::description() const {
    std::string text = std::to_string(overflowed_ + failed_) + " records lost:";
    if (overflowed_ != 0) {
        text += ' ' + std::to_string(overflowed_) + " waited too long";
    }
    if (failed_ != 0) {
        text += (overflowed_ != 0 ? ", " : " ") + std::to_string(failed_) + " not written (" +
                std::generic_category().message(error_) + ')';
    }
    return text;
}

}  // namespace DPL::dpllogger
