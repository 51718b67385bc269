#include <CLI/CLI.hpp>
#include <memory>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"

namespace vdictl {

void addStatus(CLI::App& app, Context& context) {
    CLI::App* const command = app.add_subcommand("status", "Show what agents share, and who they are");
    const auto owner = std::make_shared<Owner>();
    addOwnerOptions(*command, *owner);
    command->get_option("--client")->description("Only this product's: parlet, crews, huddles or unknown");
    command->get_option("--user")->description("Only this user's, by number or name");
    addJsonOption(*command, context);
    command->callback([owner, &context] {
        const Survey survey = takeSurvey(Look::WithMappings, *owner);
        if (context.json) {
            printJson(surveyJson(survey, *owner));
        } else {
            print(surveyText(survey, *owner, context.terminal));
        }
    });
}

}  // namespace vdictl
