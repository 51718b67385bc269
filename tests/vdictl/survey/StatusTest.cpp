// What the tool shows of real agents and of raw bytes, and that it changes nothing.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "support/RawObject.h"
#include "vdictl/ToolProgram.h"
#include "vdictl/survey/AgentProcess.h"

namespace {

using namespace VDIFrameworkCommon;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string listName = raw::logicalName("HDVDI_", "TavixHuddleVDIRunnerCounter");
const std::string activeName = raw::logicalName("HDVDI_", "TavixHuddleActiveVirtualChannelAgentRecorder");

json productOf(const json& status, const std::string& name) {
    for (const json& product : status["products"]) {
        if (product["product"] == name) {
            return product;
        }
    }
    return {};
}

json objectIn(const json& objects, const std::string& logicalName) {
    for (const json& object : objects) {
        if (object["logicalName"] == logicalName) {
            return object;
        }
    }
    return {};
}

// Numbers, times and programs differ from run to run.
std::string normalised(std::string text) {
    text = std::regex_replace(text, std::regex("/[0-9]{15,20}"), "/N");
    text = std::regex_replace(text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}"), "TIME");
    text = std::regex_replace(text, std::regex("[0-9]+ s\\b"), "AGE");
    return std::regex_replace(text, std::regex(" +"), " ");
}

std::map<std::string, std::string> contentOfFolder() {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        if (entry.is_regular_file()) {
            struct stat status {};
            stat(entry.path().c_str(), &status);
            std::ifstream file(entry.path(), std::ios::binary);
            contents[entry.path()] = std::string(std::istreambuf_iterator<char>(file), {}) + '|' +
                                     std::to_string(status.st_mtim.tv_sec) + '.' +
                                     std::to_string(status.st_mtim.tv_nsec) + '|' + std::to_string(status.st_mode) +
                                     '|' + std::to_string(status.st_uid);
        }
    }
    return contents;
}

TEST(VdictlStatus, OfNothingSaysSoAndCreatesNothing) {
    const auto result = tool::run({"status"});
    EXPECT_EQ(result.output, "nothing is shared\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

TEST(VdictlStatus, ShowsRealAgents) {
    AgentProcess first;
    ASSERT_TRUE(first.says(": active"));
    AgentProcess second;
    ASSERT_TRUE(second.says(": standing by"));
    const json huddles = productOf(tool::facts({"status", "--client", "huddles"}), "OrvexHuddles");
    EXPECT_EQ(huddles["user"], geteuid());
    EXPECT_EQ(huddles["active"]["pid"], first.pid());
    EXPECT_EQ(huddles["active"]["alive"], true);
    EXPECT_EQ(huddles["active"]["reused"], "no");
    EXPECT_THAT(huddles["active"]["program"].get<std::string>(), HasSubstr("vdi-agent"));
    EXPECT_TRUE(huddles["active"]["started"].is_string());
    ASSERT_EQ(huddles["runners"].size(), 2U);
    EXPECT_EQ(huddles["runners"][0]["pid"], first.pid());
    EXPECT_EQ(huddles["runners"][0]["slot"], 0);
    EXPECT_EQ(huddles["runners"][1]["pid"], second.pid());
    const json list = objectIn(huddles["objects"], listName);
    EXPECT_EQ(list["kind"], "runner list");
    EXPECT_EQ(list["name"], raw::systemName(listName));
    EXPECT_EQ(list["size"], 512);
    EXPECT_EQ(list["mode"], "0600");
    EXPECT_EQ(list["owner"], geteuid());
    EXPECT_EQ(list["pids"], json({first.pid(), second.pid()}));
    EXPECT_EQ(list["mappedBy"].size(), 2U);
    const json event = objectIn(huddles["objects"], std::to_string(geteuid()) + "_OrvexHuddles_VDIAgentRole_event");
    EXPECT_EQ(event["kind"], "event");
    EXPECT_EQ(event["sound"], true);
    EXPECT_EQ(event["mappedBy"].size(), 2U);
}

TEST(VdictlStatus, ShowsADeadAgentAsDead) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    const pid_t pid = agent.pid();
    agent.kill();
    const json huddles = productOf(tool::facts({"status"}), "OrvexHuddles");
    EXPECT_EQ(huddles["active"]["pid"], pid);
    EXPECT_EQ(huddles["active"]["alive"], false);
    EXPECT_EQ(huddles["active"]["reused"], nullptr);
    EXPECT_EQ(huddles["runners"][0]["alive"], false);
}

TEST(VdictlStatus, ProductsAndUsersAreToldApart) {
    AgentProcess huddles("huddles");
    AgentProcess crews("crews");
    ASSERT_TRUE(huddles.says(": active"));
    ASSERT_TRUE(crews.says(": active"));
    EXPECT_EQ(tool::facts({"status", "--client", "crews"})["products"].size(), 1U);
    EXPECT_EQ(tool::facts({"status"})["products"].size(), 2U);
    EXPECT_EQ(tool::facts({"status", "--user", "54321"})["products"].size(), 0U);
}

// The whole text, of a state made of raw bytes.
TEST(VdictlStatus, GoldenTextOfRawBytes) {
    const std::uint32_t pids[] = {4200001, 4200002};
    raw::write(listName, 0, pids, sizeof pids, 512);
    raw::write(activeName, 0, pids, 4, 512);
    raw::write("any", 0, "hello", 5, 5);
    const auto result = tool::run({"status"});
    const std::string user = std::to_string(geteuid());
    const std::string active = "active agent /N 512 " + user + " 0600 AGE 4200001 " + activeName + "\n";
    const std::string list = "runner list /N 512 " + user + " 0600 AGE 2 runners " + listName + "\n";
    const bool activeFirst = raw::systemName(activeName) < raw::systemName(listName);
    EXPECT_EQ(normalised(result.output), "OrvexHuddles, user " + user +
                                             "\n"
                                             "ROLE PID STATE RE-USED STARTED PROGRAM\n"
                                             "active 4200001 dead\n"
                                             "runner 0 4200001 dead\n"
                                             "runner 1 4200002 dead\n"
                                             "\n"
                                             "KIND NAME SIZE OWNER MODE AGE CONTENT LOGICAL NAME\n" +
                                             (activeFirst ? active + list : list + active) +
                                             "\nOf no known product\n"
                                             "KIND NAME SIZE OWNER MODE AGE CONTENT LOGICAL NAME\n"
                                             "unknown /N 5 " +
                                             user + " 0600 AGE text 'hello'\n");
}

// The whole form, of a state made of raw bytes.
TEST(VdictlStatus, GoldenJsonOfRawBytes) {
    const std::uint32_t pid = 4200001;
    raw::write(activeName, 0, &pid, sizeof pid, 512);
    json status = tool::facts({"status"});
    EXPECT_TRUE(status["time"].is_string());
    EXPECT_GT(status["folder"]["bytes"], 0);
    status.erase("time");
    status.erase("folder");
    for (const char* const changing : {"modified", "ageSeconds"}) {
        status["products"][0]["objects"][0].erase(changing);
    }
    const json agent = {{"pid", pid},        {"pidHere", nullptr}, {"alive", false},
                        {"reused", nullptr}, {"started", nullptr}, {"program", nullptr}};
    EXPECT_EQ(status, json({{"products",
                             {{{"product", "OrvexHuddles"},
                               {"user", geteuid()},
                               {"active", agent},
                               {"runners", json::array()},
                               {"objects",
                                {{{"name", raw::systemName(activeName)},
                                  {"kind", "active agent"},
                                  {"guards", nullptr},
                                  {"logicalName", activeName},
                                  {"size", 512},
                                  {"owner", geteuid()},
                                  {"mode", "0600"},
                                  {"error", nullptr},
                                  {"mappedBy", json::array()},
                                  {"pids", {pid}}}}}}}},
                            {"others", json::array()}}));
}

TEST(VdictlStatus, FitsTheTerminal) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    ::unsetenv("COLUMNS");
    const auto result = tool::run(tool::Start{{"status"}, {}, {{"NO_COLOR", "1"}}, true, {}});
    EXPECT_THAT(result.output, HasSubstr("OrvexHuddles"));
    EXPECT_THAT(result.output, HasSubstr(raw::systemName(listName))) << "names stay whole";
    EXPECT_THAT(result.output, HasSubstr("    1 runner\r\n"));
    EXPECT_EQ(result.output.find('\x1b'), std::string::npos);
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        const auto parts = std::count_if(line.begin(), line.end(),
                                         [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; });
        EXPECT_LE(line.size() - 1 - static_cast<std::size_t>(parts), 60U) << line;
    }
}

// The whole text, of real agents. Their waiters come and go, and are counted otherwise in between.
TEST(VdictlStatus, GoldenTextOfRealAgents) {
    AgentProcess first;
    ASSERT_TRUE(first.says(": active"));
    AgentProcess second;
    ASSERT_TRUE(second.says(": standing by"));
    const std::string user = std::to_string(geteuid());
    std::string text = normalised(tool::run({"status"}).output);
    for (const auto& [agent, letter] : {std::pair(&first, "A"), std::pair(&second, "B")}) {
        const std::regex number("(active|runner [01]|AGE) " + std::to_string(agent->pid()) + " ");
        text = std::regex_replace(text, number, std::string("$1 ") + letter + " ");
    }
    const std::string agents = "OrvexHuddles, user " + user +
                               "\n"
                               "ROLE PID STATE RE-USED STARTED PROGRAM\n"
                               "active A running no TIME vdi-agent\n"
                               "runner 0 A running no TIME vdi-agent\n"
                               "runner 1 B running no TIME vdi-agent\n"
                               "\n"
                               "KIND NAME SIZE OWNER MODE AGE CONTENT LOGICAL NAME\n";
    EXPECT_EQ(text.substr(0, agents.size()), agents);
    const std::string facts = " /N 512 " + user + " 0600 AGE ";
    EXPECT_THAT(text, HasSubstr("\nactive agent" + facts + "A " + activeName + "\n"));
    EXPECT_THAT(text, HasSubstr("\nrunner list" + facts + "2 runners " + listName + "\n"));
    EXPECT_THAT(text, HasSubstr("\nguard /N 64 " + user + " 0600 AGE free " + user + "HDVDI_B3AA2F75-88F6-41D3-A399-"));
    const std::regex event("\nevent /N 176 " + user + " 0600 AGE (not )?signalled, [0-2] counted, [0-2] waiting.* " +
                           user + "_OrvexHuddles_VDIAgentRole_event\n");
    EXPECT_TRUE(std::regex_search(text, event)) << text;
}

std::set<std::string> membersOf(const json& object) {
    std::set<std::string> members;
    for (const auto& [name, value] : object.items()) {
        members.insert(name);
    }
    return members;
}

// The members that the documentation lists, of each kind of object.
TEST(VdictlStatus, EachKindOfObjectHasItsMembers) {
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "door");
    event->waiterCount = 1;
    raw::write("door_event0", 0, "", 0, 48);
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("door"));
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    raw::write("any", 0, "hello", 5, 5);
    const json status = tool::facts({"status"});
    std::map<std::string, json> byKind;
    for (const json& product : status["products"]) {
        for (const json& object : product["objects"]) {
            byKind[object["kind"]] = object;
        }
    }
    for (const json& object : status["others"]) {
        byKind[object["kind"]] = object;
    }
    const std::map<std::string, std::set<std::string>> own{
        {"active agent", {"pids"}},
        {"runner list", {"pids"}},
        {"guard", {"lock"}},
        {"mutex", {"lock"}},
        {"event", {"signalled", "waitersCounted", "waitersLive", "sound", "lock"}},
        {"waiter", {"event", "number"}},
        {"unknown", {"looksLike"}}};
    for (const auto& [kind, members] : own) {
        std::set<std::string> expected{"name", "kind",     "guards",     "logicalName", "size",    "owner",
                                       "mode", "modified", "ageSeconds", "error",       "mappedBy"};
        expected.insert(members.begin(), members.end());
        ASSERT_EQ(byKind.count(kind), 1U) << kind;
        EXPECT_EQ(membersOf(byKind[kind]), expected) << kind;
    }
    EXPECT_EQ(byKind["guard"]["lock"],
              (json{{"state", "free"}, {"ownerThread", nullptr}, {"ownerProcess", nullptr}, {"ownerDead", nullptr}}));
    EXPECT_EQ(membersOf(status), (std::set<std::string>{"time", "folder", "products", "others"}));
    EXPECT_EQ(membersOf(status["folder"]), (std::set<std::string>{"path", "bytes", "freeBytes", "files", "freeFiles"}));
    const json huddles = productOf(status, "OrvexHuddles");
    EXPECT_EQ(membersOf(huddles["runners"].at(0)),
              (std::set<std::string>{"slot", "pid", "pidHere", "alive", "reused", "started", "program"}));
}

// A process that has the number of a recorded one and no part in the record.
TEST(VdictlStatus, AProcessThatDoesNotUseTheRecordIsDoubtful) {
    const std::uint32_t self = static_cast<std::uint32_t>(getpid());
    raw::write(activeName, 0, &self, sizeof self, 512);
    const json huddles = productOf(tool::facts({"status"}), "OrvexHuddles");
    EXPECT_EQ(huddles["active"]["alive"], true);
    EXPECT_EQ(huddles["active"]["reused"], "unknown") << "nothing tells when the record was opened last";
}

TEST(VdictlStatus, ListsWhatIsNoFile) {
    ASSERT_EQ(mkdir("/dev/shm/folder", 0700), 0);
    ASSERT_EQ(mkfifo("/dev/shm/fifo", 0600), 0);
    ASSERT_EQ(symlink("/etc/passwd", "/dev/shm/link"), 0);
    const json others = tool::facts({"status"})["others"];
    ASSERT_EQ(others.size(), 3U);
    EXPECT_EQ(others[0]["looksLike"], "other");
    EXPECT_EQ(others[1]["looksLike"], "directory");
    EXPECT_EQ(others[2]["looksLike"], "link");
}

// Real files of any bytes under names that mean something.
TEST(VdictlStatus, AnyBytesEndInAListingAndStayAsTheyWere) {
    std::mt19937 random(7);
    const std::size_t sizes[] = {0, 1, 48, 63, 64, 65, 175, 176, 177, 200, 511, 512, 513, 5000};
    const std::string names[] = {listName, activeName, listName + "x", "0HDVDI_e_event", "0HDVDI_e_event0"};
    for (int round = 0; round < 10; ++round) {
        for (std::size_t i = 0; i < 60; ++i) {
            const std::string path =
                "/dev/shm" + (i < 5 ? raw::systemName(names[i]) : "/" + std::to_string(random()) + "\n\x1b[2J");
            std::string bytes(sizes[random() % 14], '\0');
            for (char& byte : bytes) {
                byte = static_cast<char>(random());
            }
            std::ofstream(path, std::ios::binary) << bytes;
        }
        const auto before = contentOfFolder();
        const auto listed = tool::facts({"status"});
        std::size_t count = listed["others"].size();
        for (const json& product : listed["products"]) {
            count += product["objects"].size();
        }
        EXPECT_EQ(count, before.size());
        EXPECT_EQ(contentOfFolder(), before);
        std::filesystem::remove_all("/dev/shm/logs");
        for (const auto& [path, content] : before) {
            std::filesystem::remove(path);
        }
    }
}

}  // namespace
