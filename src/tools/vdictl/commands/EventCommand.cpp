#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "event/EventOperations.h"
#include "event/EventView.h"

namespace vdictl {

namespace {

struct Options {
    EventName name;
    std::optional<unsigned int> timeout;  // milliseconds
};

CLI::App* addOperation(CLI::App& command, const char* name, const char* description,
                       const std::shared_ptr<Options>& options) {
    CLI::App* const operation = command.add_subcommand(name, description);
    addOwnerOptions(*operation, options->name.owner);
    operation
        ->add_option("NAME", options->name.name,
                     "Name of the event; with --client or --user, of a condition of this product and user")
        ->required()
        ->option_text(" ");
    return operation;
}

}  // namespace

void addEvent(CLI::App& app, Context& context) {
    auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("event", "Set, reset, wait for or show a named event");
    command->require_subcommand(1);

    addOperation(*command, "set", "Signal the event, which is made if there is none, and wake who waits for it",
                 options)
        ->callback([options] { setEvent(options->name); });
    addOperation(*command, "reset", "Take the signal back", options)->callback([options] {
        resetEvent(options->name);
    });

    CLI::App* const wait = addOperation(
        *command, "wait", "Wait for the signal and consume it; the event is made if there is none", options);
    wait->add_option("-t,--timeout", options->timeout, "Give up after so many milliseconds")->type_name("MS");
    wait->callback([options, &context] { context.exitCode = waitForEvent(options->name, options->timeout); });

    CLI::App* const show = addOperation(*command, "show", "Show the event's state without touching it", options);
    addJsonOption(*show, context);
    show->callback([options, &context] { showEvent(options->name, context); });
}

}  // namespace vdictl
