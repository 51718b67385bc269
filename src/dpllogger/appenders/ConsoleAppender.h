#pragma once

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>

#include <string_view>

#include "appenders/Outcome.h"
#include "appenders/StandardError.h"

namespace DPL::dpllogger {

/// Brings lines to standard error.
///
/// Not thread-safe.
class ConsoleAppender {
public:
    Outcome write(std::string_view lines);

private:
    class Sink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
    public:
        Outcome outcome() const noexcept { return outcome_; }

    private:
        void sink_it_(const spdlog::details::log_msg& message) override;
        void flush_() override {}

        StandardError output_;
        Outcome outcome_{0, 0};
    };

    Sink sink_;
};

}  // namespace DPL::dpllogger
