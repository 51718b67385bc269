#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "Json.h"
#include "Owner.h"
#include "SharedObject.h"

namespace vdictl {

namespace {

struct NameOptions {
    Owner owner;
    std::string kind;
    std::string name;
};

// What the library puts before the name of a storage for the lock beside it.
constexpr const char* guardPrefix = "B3AA2F75-88F6-41D3-A399-B58B79308164_";

std::string logicalName(const NameOptions& options) {
    const bool isGuard = options.kind == "guard";
    std::string name = options.owner.isGiven() ? options.owner.prefix() : std::string();
    name += (isGuard ? guardPrefix : "") + options.name;
    if (isGuard || options.kind == "mutex") {
        name += "_mutex";
    } else if (options.kind == "event") {
        name += "_event";
    }
    return name;
}

void showName(const NameOptions& options, const Context& context) {
    const SharedObject object(logicalName(options));
    if (context.json) {
        printJson({{"logicalName", object.logicalName},
                   {"name", object.systemName},
                   {"file", object.file},
                   {"exists", object.exists()}});
    } else {
        print(object.systemName + '\n');
    }
}

}  // namespace

void addName(CommandLine line, Context& context) {
    auto options = std::make_shared<NameOptions>();
    CommandLine command = line.add("name", "Show the operating-system name of the shared object with a logical name");
    addOwnerOptions(command, options->owner);
    command
        .option("-k,--kind", options->kind,
                "Add what the library adds to the name of a storage, mutex, event, or guard of a storage")
        .oneOf({"storage", "mutex", "event", "guard"})
        .type("KIND");
    addJsonOption(command, context);
    command.option("LOGICAL", options->name, "Name; with --client or --user, what stands before it is added")
        .required()
        .note(" ");
    command.action([options, &context] { showName(*options, context); });
}

}  // namespace vdictl
