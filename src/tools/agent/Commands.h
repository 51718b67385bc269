#pragma once

#include <string>

namespace agent {

/// What a message asks the program to do besides being answered.
enum class Request { GoOn, Quit };

/// The answer to one message.
struct Answer {
    std::string message;
    Request request = Request::GoOn;
};

/// Carries out one line of input. Thread-safe; never throws but for memory.
Answer answer(const std::string& line);

}  // namespace agent
