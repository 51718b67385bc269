#include "Commands.h"

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/FileUtils.h>
#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/MessageUtils.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace agent {

namespace {

using namespace VDIFrameworkCommon;

using Fields = std::vector<std::string>;

std::string failure(const std::string& reason, const std::string& detail) {
    MessageBuilder message;
    message.append("error");
    message.append(reason);
    message.append(detail);
    return message.msg();
}

// An answer begins with "ok" and the command it answers.
MessageBuilder success(const Fields& fields) {
    MessageBuilder message;
    message.append("ok");
    message.append(fields.front());
    return message;
}

std::string ping(const Fields& fields) {
    MessageBuilder message = success(fields);
    message.append(static_cast<unsigned int>(ProcessUtils::getCurrentProcessId()));
    return message.msg();
}

// Kept for good: each one that is made takes a descriptor that is never given back.
ActiveVirtualChannelAgentRecorder& recorder() {
    static auto& kept = *new ActiveVirtualChannelAgentRecorder;
    return kept;
}

std::string who(const Fields& fields) {
    MessageBuilder message = success(fields);
    message.append(VDIClientInfo::getInstance()->getClientName());
    message.append(recorder().getActiveVirtualChannelAgentPid());
    for (const unsigned int pid : VDIRunnerCounter::getInstance()->getAllRunners()) {
        message.append(pid);
    }
    return message.msg();
}

std::string validate(const Fields& fields) {
    static const std::map<std::string, bool (*)(const std::string&), std::less<>> kinds{
        {"jid", [](const std::string& text) { return isValidJid(text); }},
        {"sip", [](const std::string& text) { return isValidSipUri(text); }},
        {"uuid", [](const std::string& text) { return isValidUUid(text); }},
        {"meeting", [](const std::string& text) { return isValidGlintMeetingNumber(text); }}};
    const auto kind = kinds.find(fields[1]);
    if (kind == kinds.end()) {
        return failure("unknown kind", fields[1]);
    }
    MessageBuilder message = success(fields);
    message.append(kind->first);
    message.append(kind->second(fields[2]));
    return message.msg();
}

std::string escape(const Fields& fields) {
    MessageBuilder message = success(fields);
    message.append(escapeJid(fields[1]));
    return message.msg();
}

std::string unescape(const Fields& fields) {
    MessageBuilder message = success(fields);
    message.append(unescapeJid(fields[1]));
    return message.msg();
}

std::string paths(const Fields& fields) {
    const std::pair<const char*, std::string> known[] = {{"trace", FileUtils::getTraceDir()},
                                                         {"history", FileUtils::getHistoryDirectory()},
                                                         {"config", FileUtils::getConfigDirectory()},
                                                         {"credentials", FileUtils::getCredentialsDirectory()},
                                                         {"security", FileUtils::getSecurityDirectory()},
                                                         {"installation", FileUtils::getInstallationDirectory()},
                                                         {"resources", FileUtils::getResourcesDirectory()},
                                                         {"bootstrap", FileUtils::getBootstrapFilePath()}};
    MessageBuilder message = success(fields);
    for (const auto& [name, path] : known) {
        if (path.find_first_of("|\n") != std::string::npos) {
            return failure("a path that no message can hold", name);
        }
        if (!path.empty()) {
            message.append(name);
            message.append(path);
        }
    }
    return message.msg();
}

std::string quit(const Fields& fields) {
    return success(fields).msg();
}

struct Command {
    std::string_view name;
    std::size_t fields;  // the command's own included
    std::string (*run)(const Fields& fields);
    Request request = Request::GoOn;
};

constexpr Command commands[] = {
    {"ping", 1, ping},         {"who", 1, who},     {"validate", 3, validate},       {"escape", 2, escape},
    {"unescape", 2, unescape}, {"paths", 1, paths}, {"quit", 1, quit, Request::Quit}};

}  // namespace

Answer answer(const std::string& line) {
    const Fields fields = MessageParser(line).parseMsg();
    if (fields.empty()) {
        return {failure("malformed", "no field"), Request::GoOn};
    }
    const auto* const command = std::find_if(std::begin(commands), std::end(commands),
                                             [&](const Command& known) { return known.name == fields.front(); });
    if (command == std::end(commands)) {
        return {failure("unknown message", fields.front()), Request::GoOn};
    }
    if (fields.size() != command->fields) {
        return {failure("wrong number of fields", fields.front()), Request::GoOn};
    }
    return {command->run(fields), command->request};
}

}  // namespace agent
