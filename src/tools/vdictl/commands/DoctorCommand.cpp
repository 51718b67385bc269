#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "Report.h"
#include "SignalQueue.h"
#include "doctor/Finding.h"
#include "survey/SurveyJson.h"

namespace vdictl {

namespace {

using Json = nlohmann::ordered_json;
using Outcome = RepairResult::Outcome;

struct DoctorOptions {
    Owner owner;
    bool fix = false;
    bool yes = false;
    std::vector<std::string> ignored;
};

const char* const kinds[] = {"damaged-lock",    "dead-active-agent", "dead-lock-owner", "dead-runner",
                             "doubtful-pid",    "folder-full",       "folder-private",  "hidden-runner",
                             "leftover-waiter", "ownerless-lock",    "removed-in-use",  "reused-pid",
                             "waiter-count",    "wrong-mode",        "wrong-owner",     "wrong-size"};

/// A finding and what became of it.
struct Case {
    Finding finding;
    std::string outcome;  ///< empty: nothing was tried
    std::string reason;
};

const char* wordFor(Outcome outcome) {
    constexpr const char* words[] = {"repaired", "gone", "refused", "failed"};
    return words[static_cast<std::size_t>(outcome)];
}

std::vector<Case> findCases(const DoctorOptions& options) {
    Owner owner = options.owner;
    if (!owner.user && geteuid() != 0) {
        owner.user = geteuid();
    }
    if (geteuid() != 0 && owner.userOrSelf() != geteuid()) {
        throw Failure(fmt::format("objects of user {}", owner.userOrSelf()), "", "may not be looked into",
                      "run as this user or as root");
    }
    std::vector<Case> cases;
    for (Finding& finding : findLasting(owner)) {
        if (std::find(options.ignored.begin(), options.ignored.end(), finding.kind) == options.ignored.end()) {
            cases.push_back({std::move(finding), {}, {}});
        }
    }
    return cases;
}

std::string text(const Case& entry, const Terminal& terminal) {
    const Finding& finding = entry.finding;
    std::string result = terminal.paint(Style::Bad, finding.kind) + "  " + finding.object;
    result += finding.logicalName.empty() ? "" : "  " + finding.logicalName;
    result += "\n    " + finding.text + "\n";
    result += finding.advice.empty() ? "" : "    " + finding.advice + "\n";
    result += finding.plan.empty() ? "" : "    repair: " + finding.plan + "\n";
    return result;
}

std::string outcomeText(const Case& entry) {
    return entry.outcome + ": " + entry.finding.object + ", " + entry.finding.plan +
           (entry.reason.empty() ? "" : ": " + entry.reason) + "\n";
}

Json json(const Case& entry) {
    Json result;
    result["kind"] = entry.finding.kind;
    result["object"] = entry.finding.object;
    result["logicalName"] = textOrNull(entry.finding.logicalName);
    result["text"] = entry.finding.text;
    result["advice"] = textOrNull(entry.finding.advice);
    result["repair"] = textOrNull(entry.finding.plan);
    result["outcome"] = textOrNull(entry.outcome);
    result["reason"] = textOrNull(entry.reason);
    return result;
}

void repair(Case& entry) {
    try {
        const RepairResult result = entry.finding.repair();
        entry.outcome = wordFor(result.outcome);
        entry.reason = result.reason;
    } catch (const Failure& failure) {
        entry.outcome = wordFor(Outcome::Failed);
        entry.reason = failure.what();
    }
}

std::size_t repairable(const std::vector<Case>& cases) {
    return static_cast<std::size_t>(
        std::count_if(cases.begin(), cases.end(), [](const Case& entry) { return entry.finding.canRepair(); }));
}

// Asked on standard error, so that what is found can go anywhere; as JSON it is shown at the end only.
bool isConfirmed(const DoctorOptions& options, const Context& context, const std::vector<Case>& cases) {
    if (options.yes) {
        return true;
    }
    if (isatty(STDIN_FILENO) != 1) {
        complain("nothing is repaired without being asked for: add --yes");
        return false;
    }
    if (context.json) {
        for (const Case& entry : cases) {
            std::cerr << text(entry, Terminal());
        }
    }
    std::cerr << "Repair " << repairable(cases) << " of " << cases.size() << " findings? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

// What to end with when a signal asked to stop. A repair may hold a lock of the agents for a moment, with which it must
// not be ended.
std::optional<int> repairAll(const Context& context, std::vector<Case>& cases) {
    SignalQueue signals({SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE});
    for (Case& entry : cases) {
        if (!entry.finding.canRepair()) {
            continue;
        }
        repair(entry);
        if (!context.json) {
            print(outcomeText(entry));
        }
        if (const auto signal = signals.next(std::chrono::milliseconds(0)); signal && signal->ssi_signo != SIGPIPE) {
            return 128 + static_cast<int>(signal->ssi_signo);
        }
    }
    return std::nullopt;
}

bool anyTried(const std::vector<Case>& cases) {
    return std::any_of(cases.begin(), cases.end(), [](const Case& entry) { return !entry.outcome.empty(); });
}

void run(const DoctorOptions& options, Context& context) {
    std::vector<Case> cases = findCases(options);
    if (!context.json) {
        for (const Case& entry : cases) {
            print(text(entry, context.terminal));
        }
    }
    std::optional<int> stopped;
    if (options.fix && repairable(cases) != 0 && isConfirmed(options, context, cases)) {
        stopped = repairAll(context, cases);
    }
    const std::size_t left = anyTried(cases) ? findCases(options).size() : cases.size();
    const bool isHealthy = left == 0;
    if (context.json) {
        Json result;
        result["healthy"] = isHealthy;
        result["findings"] = Json::array();
        for (const Case& entry : cases) {
            result["findings"].push_back(json(entry));
        }
        printJson(result);
    } else if (isHealthy) {
        print(context.terminal.paint(Style::Good, "healthy") + "\n");
    } else if (anyTried(cases)) {
        print(fmt::format("{} {} left: look again without --fix\n", left, left == 1 ? "finding is" : "findings are"));
    }
    context.exitCode = stopped.value_or(isHealthy ? exitYes : exitNo);
}

}  // namespace

void addDoctor(CommandLine line, Context& context) {
    CommandLine command = line.add("doctor", "Find what dead agents left, and repair it");
    const auto options = std::make_shared<DoctorOptions>();
    addOwnerFilter(command, options->owner);
    addJsonOption(command, context);
    const Argument fix = command.flag("--fix", options->fix, "Repair what is proved dead, after asking");
    command.flag("--yes", options->yes, "Repair without asking").needs(fix);
    command.option("--ignore", options->ignored, "Leave findings of this kind out; may be repeated")
        .oneOf({std::begin(kinds), std::end(kinds)})
        .type("KIND");
    command.action([options, &context] { run(*options, context); });
}

}  // namespace vdictl
