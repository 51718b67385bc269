#include <VDIFrameworkCommon/FileUtils.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "Json.h"
#include "Table.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::FileUtils;

std::vector<std::pair<std::string, std::string>> knownPaths() {
    return {{"home", FileUtils::getUserDocumentsDir()},
            {"local", FileUtils::getLocalAppBaseDirectory()},
            {"roaming", FileUtils::getRoamingBaseDirectory()},
            {"history", FileUtils::getHistoryDirectory()},
            {"trace", FileUtils::getTraceDir()},
            {"sdkTrace", FileUtils::getMurmurkitCppTraceDir()},
            {"config", FileUtils::getConfigDirectory()},
            {"credentials", FileUtils::getCredentialsDirectory()},
            {"security", FileUtils::getSecurityDirectory()},
            {"installation", FileUtils::getInstallationDirectory()},
            {"resources", FileUtils::getResourcesDirectory()},
            {"bootstrap", FileUtils::getBootstrapFilePath()}};
}

void showPaths(const Context& context) {
    if (context.json) {
        nlohmann::ordered_json paths;
        for (const auto& [name, path] : knownPaths()) {
            paths[name] = path;
        }
        printJson(paths);
        return;
    }
    Table table({{"NAME"}, {"PATH", Table::Align::Left, true}});
    for (const auto& [name, path] : knownPaths()) {
        table.add({name, printable(path)});
    }
    print(table.text(context.terminal));
}

}  // namespace

void addPaths(CLI::App& app, Context& context) {
    CLI::App* const command = app.add_subcommand("paths", "Show the folders and files of a client");
    command->add_option_function<std::string>("--app", FileUtils::setAppIdentifier, "Application; by default Parlet")
        ->type_name("NAME");
    command->add_option_function<std::string>("--company", FileUtils::setCompanyName, "Company; by default Tavix")
        ->type_name("NAME");
    addJsonOption(*command, context);
    command->callback([&context] { showPaths(context); });
}

}  // namespace vdictl
