#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "Owner.h"
#include "event/EventOperations.h"
#include "event/EventView.h"

namespace vdictl {

namespace {

struct EventOptions {
    EventName name;
    std::optional<unsigned int> timeout;  // milliseconds
};

CommandLine addOperation(CommandLine command, const char* name, const char* description,
                         const std::shared_ptr<EventOptions>& options) {
    CommandLine operation = command.add(name, description);
    addOwnerOptions(operation, options->name.owner);
    operation
        .option("NAME", options->name.name,
                "Name of the event; with --client or --user, of a condition of this product and user")
        .required()
        .note(" ");
    return operation;
}

}  // namespace

void addEvent(CommandLine line, Context& context) {
    auto options = std::make_shared<EventOptions>();
    CommandLine command = line.add("event", "Set, reset, wait for or show a named event");
    command.requireCommand();

    addOperation(command, "set", "Signal the event, which is made if there is none, and wake who waits for it", options)
        .action([options] { setEvent(options->name); });
    addOperation(command, "reset", "Take the signal back", options).action([options] { resetEvent(options->name); });

    CommandLine wait = addOperation(command, "wait",
                                    "Wait for the signal and consume it; the event is made if there is none", options);
    wait.option("-t,--timeout", options->timeout, "Give up after so many milliseconds").type("MS");
    wait.action([options, &context] { context.exitCode = waitForEvent(options->name, options->timeout); });

    CommandLine show = addOperation(command, "show", "Show the event's state without touching it", options);
    addJsonOption(show, context);
    show.action([options, &context] { showEvent(options->name, context); });
}

}  // namespace vdictl
