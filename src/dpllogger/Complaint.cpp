#include "Complaint.h"

#include <unistd.h>

#include <string>

namespace DPL::dpllogger {

void complain(std::string_view text) noexcept {
    try {
        const std::string line = "tavixhuddleslogger: " + std::string(text) + '\n';
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // Without memory there is nobody left to tell.
    }
}

}  // namespace DPL::dpllogger
