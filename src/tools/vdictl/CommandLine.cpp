#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

namespace vdictl {

Argument& Argument::required() {
    option_->required();
    return *this;
}

Argument& Argument::type(const char* name) {
    option_->type_name(name);
    return *this;
}

Argument& Argument::note(const char* text) {
    option_->option_text(text);
    return *this;
}

Argument& Argument::oneOf(const std::vector<std::string>& values) {
    option_->check(CLI::IsMember(values).description(""));
    return *this;
}

Argument& Argument::needs(const Argument& other) {
    option_->needs(other.option_);
    return *this;
}

Argument& Argument::check(const std::function<std::string(const std::string& value)>& fault) {
    option_->check(fault);
    return *this;
}

CommandLine CommandLine::add(const char* name, const char* description) {
    return CommandLine(*app_->add_subcommand(name, description));
}

void CommandLine::requireCommand() {
    app_->require_subcommand(1);
}

Argument CommandLine::flag(const char* names, bool& value, const char* description) {
    return Argument(*app_->add_flag(names, value, description));
}

Argument CommandLine::option(const char* names, std::string& value, const char* description) {
    return Argument(*app_->add_option(names, value, description));
}

Argument CommandLine::option(const char* names, unsigned int& value, const char* description) {
    return Argument(*app_->add_option(names, value, description));
}

Argument CommandLine::option(const char* names, std::optional<unsigned int>& value, const char* description) {
    return Argument(*app_->add_option(names, value, description));
}

Argument CommandLine::option(const char* names, std::vector<std::string>& value, const char* description) {
    return Argument(*app_->add_option(names, value, description));
}

Argument CommandLine::option(const char* names, std::vector<unsigned int>& value, const char* description) {
    return Argument(*app_->add_option(names, value, description));
}

Argument CommandLine::option(const char* names, const std::function<void(const std::string& value)>& take,
                             const char* description) {
    return Argument(*app_->add_option_function<std::string>(names, take, description));
}

void CommandLine::describe(const char* name, const char* description) {
    app_->get_option(name)->description(description);
}

void CommandLine::action(const std::function<void()>& action) {
    app_->callback(action);
}

void refuse(const char* argument, const char* reason) {
    throw CLI::ValidationError(argument, reason);
}

}  // namespace vdictl
