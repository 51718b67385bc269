#include <CLI/CLI.hpp>

#include "Command.h"

namespace vdictl {

void addJsonOption(CLI::App& command, Context& context) {
    command.add_flag("--json", context.json, "Print facts as JSON");
}

}  // namespace vdictl
