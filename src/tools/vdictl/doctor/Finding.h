#pragma once

#include <functional>
#include <string>
#include <vector>

#include "survey/Survey.h"

namespace vdictl {

/// What became of a repair.
struct RepairResult {
    enum class Outcome {
        Repaired,
        Gone,     ///< what was found is no longer so
        Refused,  ///< it could not be shown again that nobody uses it
        Failed
    };
    Outcome outcome = Outcome::Repaired;
    std::string reason;  ///< of a refusal or a failure
};

/// Something that is not as living agents leave it.
struct Finding {
    std::string kind;         ///< a fixed word, as "dead-runner"
    std::string object;       ///< "/123", or the folder
    std::string logicalName;  ///< empty: not known
    std::string text;         ///< what is found, and how that is known
    std::string advice;       ///< what people can do
    std::string plan;         ///< what a repair does; empty: there is none

    /// Looks again whether the finding is so and may be repaired, and repairs it. Throws `Failure`.
    std::function<RepairResult()> repair;

    bool canRepair() const { return !plan.empty(); }
};

/// All findings among the owner's objects: what could not be repaired without the others comes behind them. What a
/// survey saw in the middle of a change is among them.
std::vector<Finding> diagnose(const Survey& survey, const Owner& owner);

/// The findings that several surveys in a row agree on.
std::vector<Finding> findLasting(const Owner& owner);

// The parts of a diagnosis.
void findAgents(const Survey& survey, const Object& object, std::vector<Finding>& findings);
void findLocks(const Survey& survey, const Object& object, std::vector<Finding>& findings);
void findWaiters(const Survey& survey, const Object& object, std::vector<Finding>& findings);
void findForms(const Object& object, std::vector<Finding>& findings);
void findFolder(const Survey& survey, std::vector<Finding>& findings);
void findRemoved(const Survey& survey, const Owner& owner, std::vector<Finding>& findings);

/// A finding about an object.
Finding findingAbout(const Object& object, const std::string& kind, const std::string& text,
                     const std::string& advice = {});

}  // namespace vdictl
