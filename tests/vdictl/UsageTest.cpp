// What vdictl says about itself, and what it prints where.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "vdictl/ToolProgram.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using tool::run;

const std::string sources = VDICTL_SOURCES;

std::string contents(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The commands that the help lists, with those below them: "event set".
std::set<std::string> commandsOf(const tool::Words& path) {
    tool::Words words = path;
    words.emplace_back("--help");
    std::istringstream help(run(words).output);
    std::set<std::string> commands;
    std::string line;
    while (std::getline(help, line) && line != "Subcommands:") {
    }
    static const std::regex entry("  ([a-z-]+) .*");
    for (std::smatch match; std::getline(help, line) && !line.empty();) {
        if (std::regex_match(line, match, entry)) {
            commands.insert(match[1]);
        }
    }
    return commands;
}

std::set<std::string> options(const tool::Words& path) {
    tool::Words words = path;
    words.emplace_back("--help");
    const std::string help = run(words).output;
    static const std::regex option("--[a-z-]+");
    return {std::sregex_token_iterator(help.begin(), help.end(), option), std::sregex_token_iterator()};
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

int shell(const std::string& command) {
    // NOLINTNEXTLINE(cert-env33-c): the command is the test's own
    return std::system(command.c_str());
}

bool isInstalled(const std::string& program) {
    return shell("command -v " + program + " >/dev/null 2>&1") == 0;
}

TEST(VdictlUsage, TellsItsCommandsAndItsVersion) {
    const auto help = run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* const command :
         {"event", "lock", "name", "running", "launch", "terminate", "wait-exit", "message", "check", "jid", "paths"}) {
        EXPECT_THAT(commandsOf({}), testing::Contains(command));
    }
    EXPECT_THAT(run({"--version"}).output, StartsWith("vdictl "));
    EXPECT_THAT(run({"event", "--help"}).output, HasSubstr("Signal the event"));
}

TEST(VdictlUsage, RefusesWhatItDoesNotUnderstand) {
    for (const tool::Words& words : {tool::Words{}, {"dance"}, {"--no-such-option"}, {"paths", "extra"}, {"jid"}}) {
        const auto result = run(words);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors, "");
    }
}

TEST(VdictlUsage, KnowsClientsInAnyCaseAndUsersByNumberOrName) {
    EXPECT_EQ(run({"name", "--client", "Crews", "x"}).output, run({"name", "--client", "crews", "x"}).output);
    EXPECT_EQ(run({"name", "--user", "root", "x"}).output, run({"name", "--user", "0", "x"}).output);
    const tool::Result client = run({"name", "--client", "nobody's", "x"});
    EXPECT_EQ(client.exitCode, 2);
    EXPECT_THAT(client.errors, HasSubstr("--client: 'nobody's' is none of parlet, crews, huddles and unknown"));
    const tool::Result user = run({"name", "--user", "nobody's", "x"});
    EXPECT_EQ(user.exitCode, 2);
    EXPECT_THAT(user.errors, HasSubstr("--user: 'nobody's' is no user's number or name"));
}

TEST(VdictlUsage, SaysThatItsOutputCannotBeWritten) {
    EXPECT_EQ(shell(std::string(VDICTL) + " paths >/dev/full 2>/dev/shm/errors") >> 8, 3);
    EXPECT_EQ(contents("/dev/shm/errors"), "vdictl: standard output: write: No space left on device (ENOSPC)\n");
    EXPECT_EQ(shell(std::string(VDICTL) + " paths --json >&- 2>/dev/shm/errors") >> 8, 0) << "nowhere is a place too";
}

TEST(VdictlUsage, ColoursATerminalUnlessItMayNot) {
    const auto output = [](const tool::Variables& environment) {
        return run({{"paths"}, {}, environment, true}).output;
    };
    ::unsetenv("NO_COLOR");
    ::unsetenv("COLUMNS");
    EXPECT_THAT(output({{"TERM", "xterm"}}), StartsWith("\x1b[1mNAME\x1b[0m"));
    EXPECT_THAT(output({{"TERM", "xterm"}, {"NO_COLOR", "1"}}), StartsWith("NAME"));
    EXPECT_THAT(output({{"TERM", "dumb"}}), StartsWith("NAME"));
    EXPECT_THAT(run({{"paths"}, {}, {{"TERM", "xterm"}}}).output, StartsWith("NAME")) << "a pipe";
}

TEST(VdictlUsage, FitsTheTerminal) {
    const auto widest = [](const tool::Variables& environment) {
        std::istringstream lines(run({{"paths"}, {}, environment, true}).output);
        std::size_t columns = 0;
        for (std::string line; std::getline(lines, line);) {
            line.erase(line.find('\r'));
            const auto isPart = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
            const auto parts = std::count_if(line.begin(), line.end(), isPart);
            columns = std::max(columns, line.size() - static_cast<std::size_t>(parts));
        }
        return columns;
    };
    ::unsetenv("COLUMNS");
    const tool::Variables plain{{"NO_COLOR", "1"}, {"HOME", "/a/home/that/makes/every/path/longer/than/the/terminal"}};
    EXPECT_EQ(widest(plain), 60U);
    tool::Variables narrow = plain;
    narrow.emplace_back("COLUMNS", "30");
    EXPECT_EQ(widest(narrow), 30U);
}

TEST(VdictlManual, HasNoWarningAndNamesEveryCommandAndOption) {
    const std::string page = sources + "/man/vdictl.1";
    const std::string text = contents(page);
    for (const std::string& command : commandsOf({})) {
        EXPECT_TRUE(holds(text, "\n.SS " + command + '\n')) << command;
        for (const std::string& below : commandsOf({command})) {
            EXPECT_TRUE(holds(text, "\\fB" + command + " " + below)) << command << ' ' << below;
            for (const std::string& option : options({command, below})) {
                EXPECT_TRUE(holds(text, std::regex_replace(option, std::regex("-"), "\\-"))) << option;
            }
        }
        for (const std::string& option : options({command})) {
            EXPECT_THAT(text, HasSubstr(std::regex_replace(option, std::regex("-"), "\\-")))
                << command << ' ' << option;
        }
    }
    if (!isInstalled("groff")) {
        GTEST_SKIP() << "groff is missing";
    }
    EXPECT_EQ(shell("groff -man -Tutf8 -ww -z '" + page + "' 2>/dev/shm/warnings"), 0);
    EXPECT_EQ(contents("/dev/shm/warnings"), "");
}

// What a completion offers for a command line whose last word is being typed.
class VdictlCompletion : public testing::Test {
protected:
    static std::set<std::string> bash(const std::string& words) {
        std::ofstream("/dev/shm/complete")
            << "source '" << sources << "/completion/vdictl.bash'\n"
            << "COMP_WORDS=(vdictl " << words << ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
            << "COMP_LINE=\"${COMP_WORDS[*]}\"\nCOMP_POINT=${#COMP_LINE}\n"
            << "_vdictl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
        EXPECT_EQ(shell("bash --norc --noprofile -u /dev/shm/complete >/dev/shm/offered"), 0);
        std::istringstream lines(contents("/dev/shm/offered"));
        std::set<std::string> offered;
        for (std::string line; std::getline(lines, line);) {
            offered.insert(line.substr(0, line.find(' ')));
        }
        offered.erase("");
        return offered;
    }
};

TEST_F(VdictlCompletion, OffersEveryCommandAndOptionInBash) {
    EXPECT_EQ(bash("''"), commandsOf({}));
    for (const std::string& command : commandsOf({})) {
        const auto below = commandsOf({command});
        if (!below.empty()) {
            EXPECT_EQ(bash(command + " ''"), below);
        }
        for (const std::string& last : below) {
            EXPECT_EQ(bash(command + ' ' + last + " --"), options({command, last})) << command << ' ' << last;
        }
        if (below.empty()) {
            EXPECT_EQ(bash(command + " --"), options({command})) << command;
        }
    }
    EXPECT_EQ(bash("event s"), (std::set<std::string>{"set", "show"}));
    EXPECT_EQ(bash("name --client c"), (std::set<std::string>{"crews"}));
    EXPECT_EQ(bash("name --kind ''"), (std::set<std::string>{"storage", "mutex", "event", "guard"}));
    EXPECT_EQ(bash("check ''"), (std::set<std::string>{"jid", "sip", "uuid", "meeting"}));
}

TEST_F(VdictlCompletion, NamesEveryCommandAndOptionForZsh) {
    const std::string file = sources + "/completion/_vdictl";
    const std::string text = contents(file);
    for (const std::string& command : commandsOf({})) {
        EXPECT_TRUE(holds(text, "'" + command + ":")) << command;
        tool::Words path{command};
        auto all = options(path);
        for (const std::string& below : commandsOf({command})) {
            EXPECT_TRUE(holds(text, "'" + below + ":")) << command << ' ' << below;
            all.merge(options({command, below}));
        }
        for (const std::string& option : all) {
            EXPECT_TRUE(holds(text, option)) << command << ' ' << option;
        }
    }
    if (!isInstalled("zsh")) {
        GTEST_SKIP() << "zsh is missing";
    }
    EXPECT_EQ(shell("zsh -n '" + file + "'"), 0);
}

}  // namespace
