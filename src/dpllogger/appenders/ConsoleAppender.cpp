#include "appenders/ConsoleAppender.h"

namespace DPL::dpllogger {

void ConsoleAppender::Sink::sink_it_(const spdlog::details::log_msg& message) {
    // The lines are complete already.
    outcome_ = output_.write({message.payload.data(), message.payload.size()});
}

Outcome ConsoleAppender::write(std::string_view lines) {
    sink_.log({{}, spdlog::level::info, {lines.data(), lines.size()}});
    return sink_.outcome();
}

}  // namespace DPL::dpllogger
