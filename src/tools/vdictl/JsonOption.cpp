#include "Command.h"

namespace vdictl {

void addJsonOption(CommandLine command, Context& context) {
    command.flag("--json", context.json, "Print facts as JSON");
}

}  // namespace vdictl
