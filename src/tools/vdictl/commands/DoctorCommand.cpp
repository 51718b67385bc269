#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "Report.h"
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
                             "leftover-waiter", "removed-in-use",    "reused-pid",      "waiter-count",
                             "wrong-mode",      "wrong-owner",       "wrong-size"};

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

// Asked on standard error, so that what is found can go anywhere.
bool isConfirmed(const DoctorOptions& options, std::size_t count, std::size_t all) {
    if (options.yes) {
        return true;
    }
    if (isatty(STDIN_FILENO) != 1) {
        complain("nothing is repaired without being asked for: add --yes");
        return false;
    }
    std::cerr << "Repair " << count << " of " << all << " findings? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void repairAll(const DoctorOptions& options, const Context& context, std::vector<Case>& cases) {
    const std::size_t count = repairable(cases);
    if (count == 0 || !isConfirmed(options, count, cases.size())) {
        return;
    }
    for (Case& entry : cases) {
        if (entry.finding.canRepair()) {
            repair(entry);
            if (!context.json) {
                print(outcomeText(entry));
            }
        }
    }
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
    if (options.fix) {
        repairAll(options, context, cases);
    }
    const bool isHealthy = cases.empty() || (anyTried(cases) && findCases(options).empty());
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
    }
    context.exitCode = isHealthy ? exitYes : exitNo;
}

}  // namespace

void addDoctor(CommandLine line, Context& context) {
    CommandLine command = line.add("doctor", "Find what dead agents left, and repair it");
    const auto options = std::make_shared<DoctorOptions>();
    addOwnerOptions(command, options->owner);
    command.describe("--client", "Only this product's: parlet, crews, huddles or unknown");
    command.describe("--user", "Only this user's, by number or name");
    addJsonOption(command, context);
    const Argument fix = command.flag("--fix", options->fix, "Repair what is proved dead, after asking");
    command.flag("--yes", options->yes, "Repair without asking").needs(fix);
    command.option("--ignore", options->ignored, "Leave findings of this kind out; may be repeated")
        .oneOf({std::begin(kinds), std::end(kinds)})
        .type("KIND");
    command.action([options, &context] { run(*options, context); });
}

}  // namespace vdictl
