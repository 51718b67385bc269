#include "Complaint.h"

#include <string>

#include "appenders/StandardError.h"

namespace DPL::dpllogger {

void complain(std::string_view text) noexcept {
    try {
        StandardError().write("tavixhuddleslogger: " + std::string(text) + '\n');
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // Without memory there is nobody left to tell.
    }
}

}  // namespace DPL::dpllogger
