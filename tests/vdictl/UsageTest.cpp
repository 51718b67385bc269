// What vdictl says about itself, and what it prints where.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

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

// The lines of the manual that show how a command is called, without what shapes their letters.
std::string synopsisOf(const std::string& manual, const std::string& command) {
    const std::size_t section = manual.find("\n.SS " + command.substr(0, command.find(' ')) + '\n');
    std::istringstream lines(section == std::string::npos ? "" : manual.substr(section + 1));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line.substr(0, 3) != ".SS" && line.substr(0, 3) != ".SH") {
        line = std::regex_replace(line, std::regex(R"(\\f[A-Z])"), "");
        line = std::regex_replace(line, std::regex(R"(\\-)"), "-");
        const std::string called = line.substr(0, 7) == "vdictl " ? line.substr(7) : line;
        if (called.substr(0, command.size() + 1) == command + ' ') {
            return called;
        }
    }
    return {};
}

std::set<std::string> optionsIn(const std::string& text) {
    static const std::regex option("--[a-z][a-z-]*");
    return {std::sregex_token_iterator(text.begin(), text.end(), option), std::sregex_token_iterator()};
}

// Short forms stand for long ones that are described at the top.
std::set<std::string> withLongForms(std::set<std::string> options, const std::string& synopsis) {
    for (const auto& [brief, name] : {std::pair("-c ", "--client"), std::pair("-u ", "--user")}) {
        if (synopsis.find(std::string("[") + brief) != std::string::npos) {
            options.insert(name);
        }
    }
    return options;
}

TEST(VdictlManual, ShowsTheOptionsOfEveryCommandThatItsHelpHas) {
    const std::string manual = contents(sources + "/man/vdictl.1");
    for (const std::string& command : commandsOf({})) {
        auto all = commandsOf({command});
        std::vector<tool::Words> paths;
        for (const std::string& below : all) {
            paths.push_back({command, below});
        }
        if (all.empty()) {
            paths.push_back({command});
        }
        for (const tool::Words& path : paths) {
            const std::string called = path.size() == 1 ? command : command + ' ' + path.back();
            const std::string synopsis = synopsisOf(manual, called);
            auto expected = options(path);
            expected.erase("--help");
            EXPECT_NE(synopsis, "") << called;
            EXPECT_EQ(withLongForms(optionsIn(synopsis), synopsis), expected) << synopsis;
        }
    }
}

TEST(VdictlManual, HasNoWarning) {
    const std::string page = sources + "/man/vdictl.1";
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
    EXPECT_THAT(bash("lock x -- ech"), testing::Contains("echo"));
    EXPECT_EQ(bash("check ''"), (std::set<std::string>{"jid", "sip", "uuid", "meeting"}));
}

// What zsh offers for each command line.
std::map<std::string, std::set<std::string>> zsh(const std::vector<std::string>& lines) {
    std::ofstream file("/dev/shm/lines");
    for (const std::string& line : lines) {
        file << line << '\n';
    }
    file.close();
    EXPECT_EQ(shell("zsh -f '" OFFERED_ZSH "' '" + sources + "/completion' /dev/shm/lines /dev/shm/offered </dev/null"),
              0);
    std::ifstream answers("/dev/shm/offered");
    std::map<std::string, std::set<std::string>> offered;
    for (const std::string& line : lines) {
        std::string answer;
        EXPECT_TRUE(std::getline(answers, answer)) << line;
        std::istringstream words(answer);
        offered[line] = {std::istream_iterator<std::string>(words), {}};
    }
    return offered;
}

TEST_F(VdictlCompletion, OffersEveryCommandAndOptionInZsh) {
    if (!isInstalled("zsh")) {
        GTEST_SKIP() << "zsh is missing";
    }
    using Words = std::set<std::string>;
    std::map<std::string, Words> expected{
        {"vdictl ", commandsOf({})},
        {"vdictl --", {"--help", "--version"}},
        {"vdictl event s", {"set", "show"}},
        {"vdictl name --client c", {"crews"}},
        {"vdictl name --kind ", {"storage", "mutex", "event", "guard"}},
        {"vdictl check ", {"jid", "sip", "uuid", "meeting"}},
        {"vdictl doctor --ignore folder-", {"folder-full", "folder-private"}},
        {"vdictl lock x -- vdictl_comm", {"vdictl_command"}},
        {"vdictl lock x vdictl_comm", {"vdictl_command"}},
    };
    for (const std::string& command : commandsOf({})) {
        const auto below = commandsOf({command});
        const std::string line = "vdictl " + command + ' ';
        if (below.empty()) {
            expected[line + "--"] = options({command});
        } else {
            expected[line] = below;
        }
        for (const std::string& last : below) {
            expected[line + last + " --"] = options({command, last});
        }
    }
    // A command that only this test's shell has.
    std::ofstream("/dev/shm/vdictl_command") << "#!/bin/sh\n";
    ASSERT_EQ(shell("chmod +x /dev/shm/vdictl_command"), 0);
    ::setenv("PATH", (std::string(::getenv("PATH")) + ":/dev/shm").c_str(), 1);
    std::vector<std::string> lines;
    for (const auto& [line, words] : expected) {
        lines.push_back(line);
    }
    const auto offered = zsh(lines);
    for (const auto& [line, words] : expected) {
        EXPECT_EQ(offered.at(line), words) << line;
    }
}

// The kinds of findings, which the completions name too.
TEST_F(VdictlCompletion, OffersEveryKindOfFindingThatDoctorKnows) {
    const std::string refusal = run({"doctor", "--ignore", "nothing"}).errors;
    std::set<std::string> kinds;
    static const std::regex kind("[a-z]+-[a-z]+(-[a-z]+)*");
    for (std::sregex_iterator match(refusal.begin(), refusal.end(), kind), end; match != end; ++match) {
        if (match->position() == 0 || refusal[static_cast<std::size_t>(match->position()) - 1] != '-') {
            kinds.insert(match->str());
        }
    }
    EXPECT_GT(kinds.size(), 10U) << refusal;
    EXPECT_EQ(bash("doctor --ignore ''"), kinds);
    if (!isInstalled("zsh")) {
        GTEST_SKIP() << "zsh is missing";
    }
    EXPECT_EQ(zsh({"vdictl doctor --ignore "})["vdictl doctor --ignore "], kinds);
}

}  // namespace
