#include "appenders/ConsoleAppender.h"

#include <spdlog/formatter.h>

#include <memory>

namespace DPL::dpllogger {

namespace {

/// The lines are complete already.
class Unchanged final : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& out) override {
        out.append(message.payload.begin(), message.payload.end());
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<Unchanged>(); }
};

}  // namespace

ConsoleAppender::ConsoleAppender() {
    sink_.set_formatter(std::make_unique<Unchanged>());
}

void ConsoleAppender::write(std::string_view lines) {
    sink_.log({{}, spdlog::level::info, {lines.data(), lines.size()}});
}

}  // namespace DPL::dpllogger
