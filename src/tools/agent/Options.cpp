#include "Options.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace agent {

namespace {

using VDIFrameworkCommon::ParletVersion;
using VDIFrameworkCommon::VDIClientType;

constexpr int exitUsage = 2;

const char* const purpose =
    "An agent of a virtual-desktop client: registers with the other agents of the same user and client\n"
    "product, takes the active role when no other living agent has it, and stands by otherwise.";

const char* const messages =
    "Messages: lines on standard input, fields separated by '|'; each is answered by one line on standard\n"
    "output, 'ok|…' or 'error|…', in order.\n"
    "  ping                    ok|ping|PID\n"
    "  who                     ok|who|PRODUCT|ACTIVE PID or 0|RUNNER PID…\n"
    "  validate|KIND|TEXT      ok|validate|KIND|true or false; KIND is jid, sip, uuid or meeting\n"
    "  escape|JID              ok|escape|JID with its local part escaped\n"
    "  unescape|JID            ok|unescape|JID as it was before it was escaped\n"
    "  paths                   ok|paths|NAME|PATH…\n"
    "  quit                    ok|quit, and the agent leaves\n"
    "\n"
    "The agent leaves on SIGTERM, SIGINT, SIGHUP (unless ignored) and 'quit'; the end of its input does not end it.\n"
    "Exit codes: 0 left, 1 failure, 2 usage.";

// "12.9.1.3", one to four numbers.
std::optional<ParletVersion> parseVersion(std::string_view text) {
    std::array<std::uint64_t, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, numbers[i]);
        if (error != std::errc()) {
            return std::nullopt;
        }
        text = std::string_view(stop, static_cast<std::size_t>(end - stop));
        if (text.empty()) {
            return ParletVersion{numbers[0], numbers[1], numbers[2], numbers[3]};
        }
        if (text.front() != '.') {
            return std::nullopt;
        }
        text.remove_prefix(1);
    }
    return std::nullopt;
}

// Puts a value's number in the place of its name, whatever its case.
template <typename Value>
CLI::Validator oneOf(const std::vector<std::pair<std::string, Value>>& values) {
    const auto toNumber = [values](std::string& text) {
        std::string names;
        for (const auto& [name, value] : values) {
            if (name == CLI::detail::to_lower(text)) {
                text = std::to_string(value);
                return std::string();
            }
            names += (names.empty() ? "" : ", ") + name;
        }
        return "'" + text + "' is none of " + names;
    };
    return {toNumber, ""};
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitCode) {
    Options options;
    CLI::App app(purpose, "vdi-agent");
    app.footer(messages);
    app.add_option("-c,--client", options.client, "Client product: parlet, crews, huddles or unknown")
        ->transform(oneOf<VDIClientType::VDIClientTypeEnum>({{"parlet", VDIClientType::Parlet},
                                                             {"crews", VDIClientType::OrvexCrews},
                                                             {"huddles", VDIClientType::OrvexHuddles},
                                                             {"unknown", VDIClientType::Unknown}}))
        ->type_name("PRODUCT");
    app.add_option("--client-version", options.versionText, "Version of the client: one to four numbers, as 12.9.1.3")
        ->check([](const std::string& text) {
            return parseVersion(text) ? std::string() : "'" + text + "' is not a version such as 12.9.1.3";
        })
        ->type_name("VERSION");
    app.add_option("-t,--trace-dir", options.traceDirectory, "Folder of the log file; by default the user's own")
        ->check([](const std::string& text) { return text.empty() ? "the folder's name is empty" : std::string(); })
        ->type_name("FOLDER");
    app.add_option("-l,--log-level", options.logLevel, "What is logged: error, warn, info, debug or trace")
        ->transform(oneOf<DPLLogLevel>(
            {{"error", DPL_ERROR}, {"warn", DPL_WARN}, {"info", DPL_INFO}, {"debug", DPL_DEBUG}, {"trace", DPL_TRACE}}))
        ->type_name("LEVEL");
    app.add_flag("--show", options.show, "Show the product's active agent and its runners, and leave at once");
    app.set_version_flag("--version", std::string("vdi-agent " VDI_AGENT_VERSION));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exitCode = app.exit(error, std::cout, std::cerr) == 0 ? 0 : exitUsage;
        return std::nullopt;
    }
    options.version = *parseVersion(options.versionText);
    return options;
}

}  // namespace agent
