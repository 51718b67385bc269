#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "Owner.h"
#include "Terminal.h"
#include "doctor/Finding.h"
#include "survey/Objects.h"
#include "survey/SharedFolder.h"

namespace vdictl {

namespace {

bool isSame(const Finding& a, const Finding& b) {
    return a.kind == b.kind && a.object == b.object && a.text == b.text;
}

bool contains(const std::vector<Finding>& findings, const Finding& finding) {
    return std::any_of(findings.begin(), findings.end(), [&](const Finding& other) { return isSame(finding, other); });
}

std::vector<Finding> look(const Owner& owner) {
    return diagnose(takeSurvey(Look::WithMappings, owner), owner);
}

}  // namespace

Finding findingAbout(const Object& object, const std::string& kind, const std::string& text,
                     const std::string& advice) {
    Finding finding;
    finding.kind = kind;
    finding.object = "/" + printable(object.file.name);
    finding.logicalName = printable(object.logicalName);
    finding.text = text;
    finding.advice = advice;
    return finding;
}

std::vector<Finding> diagnose(const Survey& survey, const Owner& owner) {
    std::vector<Finding> findings;
    findFolder(survey, findings);
    findRemoved(survey, owner, findings);
    const auto forEach = [&](const auto& check) {
        for (const Object& object : survey.objects) {
            if (object.file.isRegular && belongsTo(object, owner)) {
                check(object);
            }
        }
    };
    forEach([&](const Object& object) { findForms(object, findings); });
    forEach([&](const Object& object) { findAgents(survey, object, findings); });
    // Before the waiters, whose repair takes the event's lock.
    forEach([&](const Object& object) { findLocks(survey, object, findings); });
    forEach([&](const Object& object) { findWaiters(survey, object, findings); });
    return findings;
}

// An agent that is busy while the survey looks at one thing after another can look as one that died: it does not look
// so every time.
std::vector<Finding> findLasting(const Owner& owner) {
    constexpr int surveys = 3;
    constexpr std::chrono::milliseconds between{20};
    std::vector<Finding> findings = look(owner);
    for (int i = 1; i < surveys && !findings.empty(); ++i) {
        std::this_thread::sleep_for(between);
        std::vector<Finding> again = look(owner);
        again.erase(std::remove_if(again.begin(), again.end(),
                                   [&](const Finding& finding) { return !contains(findings, finding); }),
                    again.end());
        findings = std::move(again);
    }
    return findings;
}

}  // namespace vdictl
