// vdictl name and paths: where shared objects and files are.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/RawObject.h"
#include "vdictl/ToolProgram.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using tool::facts;
using tool::run;

const std::string self = std::to_string(geteuid());

TEST(VdictlName, ShowsTheDigestOfALogicalName) {
    const auto result = run({"name", "501HDVDI_TavixHuddleVDIRunnerCounter"});
    EXPECT_EQ(result.output, raw::systemName("501HDVDI_TavixHuddleVDIRunnerCounter") + '\n');
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(run({"name", ""}).output, raw::systemName("") + '\n');
    EXPECT_EQ(run({"name", "-weird", "--kind", "event"}).exitCode, 2) << "a name that begins so comes after --";
    EXPECT_EQ(run({"name", "--", "-weird"}).output, raw::systemName("-weird") + '\n');
}

TEST(VdictlName, AddsTheUserAndTheProduct) {
    EXPECT_EQ(facts({"name", "--client", "huddles", "--user", "501", "x"})["logicalName"], "501HDVDI_x");
    EXPECT_EQ(facts({"name", "--client", "crews", "x"})["logicalName"], self + "CRVDI_x");
    EXPECT_EQ(facts({"name", "--client", "parlet", "x"})["logicalName"], self + "DEFVDI_x");
    EXPECT_EQ(facts({"name", "--user", "root", "x"})["logicalName"], "0DEFVDI_x");
}

TEST(VdictlName, AddsWhatTheKindOfObjectAdds) {
    const auto logicalName = [](const std::string& kind) {
        return facts({"name", "-c", "crews", "-u", "7", "--kind", kind, "x"})["logicalName"];
    };
    EXPECT_EQ(logicalName("storage"), "7CRVDI_x");
    EXPECT_EQ(logicalName("mutex"), "7CRVDI_x_mutex");
    EXPECT_EQ(logicalName("event"), "7CRVDI_x_event");
    EXPECT_EQ(logicalName("guard"), "7CRVDI_B3AA2F75-88F6-41D3-A399-B58B79308164_x_mutex");
}

TEST(VdictlName, TellsWhetherThereIsSuchAnObjectAndMakesNone) {
    const nlohmann::json before = facts({"name", "there"});
    EXPECT_EQ(before["exists"], false);
    EXPECT_EQ(before["name"], raw::systemName("there"));
    EXPECT_EQ(before["file"], "/dev/shm" + raw::systemName("there"));
    EXPECT_THAT(raw::systemNames(), IsEmpty());
    raw::write("there", 0, "x", 1, 1);
    EXPECT_EQ(facts({"name", "there"})["exists"], true);
}

TEST(VdictlName, RefusesUnknownUsersAndProducts) {
    for (const tool::Words& words : {tool::Words{"name", "--client", "nobody", "x"},
                                     {"name", "--user", "-1", "x"},
                                     {"name", "--user", "no-such-user", "x"},
                                     {"name", "--kind", "odd", "x"},
                                     {"name"}}) {
        const auto result = run(words);
        EXPECT_EQ(result.exitCode, 2) << words.back();
        EXPECT_NE(result.errors, "");
        EXPECT_EQ(result.output, "");
    }
    EXPECT_THAT(run({"name", "--user", "no-such-user", "x"}).errors, HasSubstr("'no-such-user'"));
}

TEST(VdictlPaths, ShowsTheFoldersOfTheClient) {
    const tool::Variables environment{{"HOME", "/home/x"}, {"PARLET_INSTALL_DIR", "/opt/app/bin"}};
    const std::string base = "/home/x/Library/Application Support/Tavix/Unified Communications/Parlet/DPL";
    const auto paths = tool::parsed(run({{"paths", "--json"}, {}, environment}).output);
    EXPECT_EQ(paths["home"], "/home/x");
    EXPECT_EQ(paths["local"], base);
    EXPECT_EQ(paths["roaming"], base);
    EXPECT_EQ(paths["history"], base + "/History");
    EXPECT_EQ(paths["trace"], base + "/Logs");
    EXPECT_EQ(paths["sdkTrace"], base + "/Logs/MurmurkitCpp");
    EXPECT_EQ(paths["config"], base + "/Config");
    EXPECT_EQ(paths["credentials"], base + "/Credentials");
    EXPECT_EQ(paths["security"], base + "/Security");
    EXPECT_EQ(paths["installation"], "/opt/app");
    EXPECT_EQ(paths["bootstrap"], "/opt/app/parlet-bootstrap.properties");
    const auto table = run({{"paths"}, {}, environment});
    EXPECT_THAT(table.output, StartsWith("NAME          PATH\nhome          /home/x\n"));
    EXPECT_EQ(table.exitCode, 0);
}

TEST(VdictlPaths, ShowsThoseOfAnotherApplicationAndCompany) {
    const auto paths = facts({"paths", "--app", "Crews", "--company", "Acme"});
    EXPECT_THAT(std::string(paths["local"]), EndsWith("/Acme/Unified Communications/Crews/DPL"));
}

}  // namespace
