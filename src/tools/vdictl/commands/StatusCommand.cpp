#include <memory>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"

namespace vdictl {

void addStatus(CommandLine line, Context& context) {
    CommandLine command = line.add("status", "Show what agents share, and who they are");
    const auto owner = std::make_shared<Owner>();
    addOwnerFilter(command, *owner);
    addJsonOption(command, context);
    command.action([owner, &context] {
        const Survey survey = takeSurvey(Look::WithMappings, *owner);
        if (context.json) {
            printJson(surveyJson(survey, *owner));
        } else {
            print(surveyText(survey, *owner, context.terminal));
        }
    });
}

}  // namespace vdictl
