#include "survey/SurveyText.h"

#include <fmt/format.h>

#include "Objects.h"
#include "Processes.h"
#include "Products.h"
#include "SharedFolder.h"
#include "Table.h"
#include "survey/Groups.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

Table::Cell stateCell(const Agent& agent) {
    if (agent.isUnknown()) {
        return {"unknown", Style::Warning};
    }
    if (!agent.process->isAlive) {
        return {"dead", Style::Bad};
    }
    return agent.reuse == Reuse::Yes ? Table::Cell("another's", Style::Bad) : Table::Cell("running", Style::Good);
}

std::string numberText(const Agent& agent) {
    const bool isOtherHere = agent.process->isAlive && agent.process->pid != agent.pid;
    return isOtherHere ? fmt::format("{}, {} here", agent.pid, agent.process->pid) : std::to_string(agent.pid);
}

void addAgent(Table& table, const std::string& role, const Agent& agent) {
    const ProcessFacts& process = *agent.process;
    table.add({role, numberText(agent), stateCell(agent), std::string(nameOf(agent.reuse)),
               process.started ? localTime(*process.started) : "", printable(shortName(process.program))});
}

std::string agentsText(const Group& group, const Terminal& terminal) {
    Table table({{"ROLE"},
                 {"PID", Table::Align::Right},
                 {"STATE"},
                 {"RE-USED"},
                 {"STARTED"},
                 {"PROGRAM", Table::Align::Left, Table::Shrink::Name}});
    if (group.active) {
        addAgent(table, "active", *group.active);
    }
    for (const Agent& runner : group.runners) {
        const bool isHidden = runner.slot >= listLength(runner.storage->slots);
        addAgent(table, fmt::format("runner {}{}", runner.slot, isHidden ? ", not in the list" : ""), runner);
    }
    return table.isEmpty() ? "no agents are recorded\n" : table.text(terminal);
}

std::string objectsText(const Survey& survey, const Group& group, const Terminal& terminal) {
    Table table({{"KIND"},
                 {"NAME"},
                 {"SIZE", Table::Align::Right},
                 {"OWNER", Table::Align::Right},
                 {"MODE"},
                 {"AGE", Table::Align::Right},
                 {"CONTENT", Table::Align::Left, Table::Shrink::Text},
                 {"LOGICAL NAME", Table::Align::Left, Table::Shrink::Text}});
    for (const Object* const object : group.objects) {
        table.add({std::string(nameOf(object->purpose)), "/" + printable(object->file.name),
                   std::to_string(object->file.size), std::to_string(object->file.owner), modeText(object->file.mode),
                   ageText(object->file.modified, survey.time), contentText(survey, *object),
                   printable(object->logicalName)});
    }
    return table.text(terminal);
}

}  // namespace

std::string surveyText(const Survey& survey, const Owner& owner, const Terminal& terminal) {
    std::string text;
    for (const Group& group : groupsOf(survey, owner)) {
        text += text.empty() ? "" : "\n";
        if (group.product != nullptr) {
            text += terminal.paint(Style::Heading, fmt::format("{}, user {}", group.product->name, group.user));
            text += "\n" + agentsText(group, terminal) + "\n";
        } else {
            text += terminal.paint(Style::Heading, "Of no known product") + "\n";
        }
        text += objectsText(survey, group, terminal);
    }
    return text.empty() ? "nothing is shared\n" : text;
}

}  // namespace vdictl
