#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "ReaderGone.h"
#include "survey/Groups.h"
#include "survey/Processes.h"
#include "survey/Products.h"
#include "survey/SharedFolder.h"
#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"
#include "survey/Words.h"
#include "watch/Changes.h"
#include "watch/Watcher.h"

namespace vdictl {

namespace {

using Json = nlohmann::ordered_json;

constexpr int refreshSeconds = 10;  // of the live view, for the ages in it
constexpr int longestWaitSeconds = 3600;

struct WatchOptions {
    Owner owner;
    bool log = false;
    bool waiters = false;
};

// Waiting threads come and go all the time.
bool isAboutWaiters(const Change& change) {
    return change.kind == "waiters" || change.detail == nameOf(Purpose::Waiter);
}

std::string timeText(const std::timespec& time) {
    return utcTime(time) + "  ";
}

Json json(const Change& change, const std::timespec& time) {
    Json result;
    result["time"] = utcTime(time);
    result["kind"] = change.kind;
    result["product"] = textOrNull(change.product);
    result["user"] = change.user;
    result["pid"] = change.pid != 0 ? Json(change.pid) : Json();
    result["program"] = textOrNull(change.program);
    result["object"] = change.object;
    result["logicalName"] = textOrNull(change.logicalName);
    result["detail"] = textOrNull(change.detail);
    return result;
}

void printChange(const Change& change, const std::timespec& time, const Context& context) {
    if (context.json) {
        printJsonLine(json(change, time));
    } else {
        print(timeText(time) + textOf(change) + "\n");
    }
}

std::string stateOf(const Group& group) {
    std::string text = std::string(group.product->name) + " user " + std::to_string(group.user) + ": active ";
    text += group.active ? processText(*group.active->process) : "none";
    text += "; runners";
    for (const Agent& runner : group.runners) {
        text += " " + processText(*runner.process) + (runner.process->isAlive ? "" : " dead");
    }
    return text + (group.runners.empty() ? " none" : "");
}

// The first lines: how it is before anything changes.
void printStart(const Survey& survey, const WatchOptions& options, const Context& context) {
    if (context.json) {
        Json start = surveyJson(survey, options.owner);
        Json line;
        line["time"] = start["time"];
        line["kind"] = "start";
        line["products"] = start["products"];
        printJsonLine(line);
        return;
    }
    std::string text = timeText(survey.time) + "watching " + sharedFolderPath + "\n";
    for (const Group& group : groupsOf(survey, options.owner)) {
        if (group.product != nullptr) {
            text += timeText(survey.time) + stateOf(group) + "\n";
        }
    }
    print(text);
}

void logChanges(const WatchOptions& options, const Context& context) {
    Watcher watcher;
    Survey before = takeSurvey(Look::WithoutMappings, options.owner);
    watcher.watch(before);
    printStart(before, options, context);
    while (watcher.wait(longestWaitSeconds) == Watcher::Reason::Changed) {
        Survey after = takeSurvey(Look::WithoutMappings, options.owner);
        watcher.watch(after);
        for (const Change& change : changesBetween(before, after, options.owner)) {
            if (options.waiters || !isAboutWaiters(change)) {
                printChange(change, after.time, context);
            }
        }
        before = std::move(after);
    }
}

// 0 without limit.
std::size_t linesOfTerminal() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

// What is more than the terminal shows would scroll the rest out of sight.
std::string firstLines(const std::string& text, std::size_t most) {
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    if (lines <= most) {
        return text;
    }
    std::size_t end = 0;
    for (std::size_t line = 1; line < most; ++line) {
        end = text.find('\n', end) + 1;
    }
    return text.substr(0, end) + fmt::format("… {} more lines: 'vdictl status' shows all\n", lines - most + 1);
}

void showLive(const WatchOptions& options) {
    Watcher watcher;
    do {
        const Survey survey = takeSurvey(Look::WithMappings, options.owner);
        watcher.watch(survey);
        const Terminal terminal = Terminal::ofStandardOutput();  // of another size now, maybe
        const std::string text = localTime(survey.time) + "\n\n" + surveyText(survey, options.owner, terminal);
        const std::size_t lines = linesOfTerminal();
        print("\x1b[H\x1b[2J" + (lines > 1 ? firstLines(text, lines - 1) : text));
    } while (watcher.wait(refreshSeconds) == Watcher::Reason::Changed);
}

void watch(const WatchOptions& options, const Context& context) {
    try {
        if (options.log || context.json || !context.terminal.isTerminal()) {
            logChanges(options, context);
        } else {
            showLive(options);
        }
    } catch (const ReaderGone&) {
        // There is nobody to tell: the end, as on a signal.
    }
}

}  // namespace

void addWatch(CommandLine line, Context& context) {
    CommandLine command = line.add("watch", "Show what agents share as it changes");
    const auto options = std::make_shared<WatchOptions>();
    addOwnerFilter(command, options->owner);
    addJsonOption(command, context);
    command.flag("--log", options->log, "A line for each change, as into a pipe, also on a terminal");
    command.flag("--waiters", options->waiters, "Tell also of threads that begin or cease to wait for an event");
    command.action([options, &context] { watch(*options, context); });
}

}  // namespace vdictl
