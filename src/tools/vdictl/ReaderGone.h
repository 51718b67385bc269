#pragma once

#include <cerrno>

#include "Report.h"

namespace vdictl {

/// Standard output is a pipe that nobody reads any more: `print` throws it where that does not end the program.
class ReaderGone : public Failure {
public:
    ReaderGone() : Failure("standard output", "write", EPIPE) {}
};

}  // namespace vdictl
