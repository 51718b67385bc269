#pragma once

#include <cstddef>

namespace DPL::dpllogger {

/// How much of a text of whole lines was written: always whole lines.
struct Outcome {
    std::size_t written;  ///< bytes
    int error;            ///< error number; 0 if all were written
};

}  // namespace DPL::dpllogger
