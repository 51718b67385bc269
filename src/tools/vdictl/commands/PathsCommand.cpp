#include <VDIFrameworkCommon/FileUtils.h>

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
    Table table({{"NAME"}, {"PATH", Table::Align::Left, Table::Shrink::Name}});
    for (const auto& [name, path] : knownPaths()) {
        table.add({name, printable(path)});
    }
    print(table.text(context.terminal));
}

}  // namespace

void addPaths(CommandLine line, Context& context) {
    CommandLine command = line.add("paths", "Show the folders and files of a client");
    command
        .option(
            "--app", [](const std::string& name) { FileUtils::setAppIdentifier(name); },
            "Application; by default Parlet")
        .type("NAME");
    command
        .option(
            "--company", [](const std::string& name) { FileUtils::setCompanyName(name); }, "Company; by default Tavix")
        .type("NAME");
    addJsonOption(command, context);
    command.action([&context] { showPaths(context); });
}

}  // namespace vdictl
