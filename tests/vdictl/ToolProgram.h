#pragma once

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace tool {

using Words = std::vector<std::string>;
using Variables = std::vector<std::pair<std::string, std::string>>;

/// What a program of this test is started with.
struct Start {
    Words arguments;
    std::string input;        ///< what it reads on standard input
    Variables environment;    ///< added to this process's
    bool onTerminal = false;  ///< its output is a terminal of 24 lines of 60 columns
    std::string typed = {};   ///< when there is any, its input is a terminal on which this was typed
};

/// A running vdictl, as its users start it. Belongs to one thread; killed at its end if it still runs.
class Program {
public:
    explicit Program(const Words& arguments) : Program(Start{arguments, {}, {}, false, {}}) {}
    explicit Program(const Start& start);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return pid_; }

    /// The next line of its output, without its end; waits for it. Fails the test when there is none.
    std::string line();

    /// Waits until its errors hold a text.
    void waitForError(const std::string& text) const;

    void signal(int number) const;

    /// Gives its terminal another size.
    void resize(unsigned short lines, unsigned short columns) const;

    /// Waits for its end: the exit code, or 128 and the number of the signal that ended it.
    int end();

    /// What it wrote to standard output and was not read as a line. After its end.
    std::string rest();

    /// What it wrote to standard error so far.
    std::string errors() const;

private:
    bool read();

    pid_t pid_ = -1;
    int typed_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string pending_;
};

/// What a vdictl that has ended left.
struct Result {
    int exitCode;
    std::string output;
    std::string errors;
};

/// Runs vdictl to its end.
Result run(const Words& arguments);
Result run(const Start& start);

/// Runs it with `--json` behind the arguments, expects no complaint, and returns what it printed.
nlohmann::json facts(Words arguments, int expectedExitCode = 0);

/// The same for one whose arguments cannot be followed by options.
nlohmann::json parsed(const std::string& output);

}  // namespace tool
