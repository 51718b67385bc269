#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vdictl {

/// An option or a positional argument that was declared; says more of it. The parser owns what it stands for.
class Argument {
public:
    explicit Argument(CLI::Option& option) : option_(&option) {}

    Argument& required();

    /// What --help shows of its value: a type, as in "--timeout MS".
    Argument& type(const char* name);

    /// What --help shows after its name in the place of type and conditions.
    Argument& note(const char* text);

    Argument& oneOf(const std::vector<std::string>& values);

    /// Usable with this one only.
    Argument& needs(const Argument& other);

    /// \param fault  what is wrong with a value; empty when nothing is
    Argument& check(const std::function<std::string(const std::string& value)>& fault);

private:
    CLI::Option* option_;
};

/// A command of the command line as it is declared. All that includes the option library is behind it: it takes seconds
/// to compile. Values are written where the references lead, when the command line is parsed; these must live until
/// then.
class CommandLine {
public:
    explicit CommandLine(CLI::App& app) : app_(&app) {}

    CommandLine add(const char* name, const char* description);

    /// One of the commands below this one must follow.
    void requireCommand();

    /// Names as in "-t,--timeout"; a name without a dash is that of a positional argument.
    Argument flag(const char* names, bool& value, const char* description);
    Argument option(const char* names, std::string& value, const char* description);
    Argument option(const char* names, unsigned int& value, const char* description);
    Argument option(const char* names, std::optional<unsigned int>& value, const char* description);
    Argument option(const char* names, std::vector<std::string>& value, const char* description);
    Argument option(const char* names, std::vector<unsigned int>& value, const char* description);
    Argument option(const char* names, const std::function<void(const std::string& value)>& take,
                    const char* description);

    /// Describes an option of this command in other words.
    void describe(const char* name, const char* description);

    /// What the command does.
    void action(const std::function<void()>& action);

private:
    CLI::App* app_;
};

/// Ends parsing as a wrong command line: the argument, and what is wrong with it.
[[noreturn]] void refuse(const char* argument, const char* reason);

}  // namespace vdictl
