// The client's sites through the command, on a client folder filled with
// `survey client import`.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using Strings = std::vector<std::string>;

std::string TimeText(ClientFixture const& client, long long seconds) {
  std::string text = Output("date -u -d @" + std::to_string(seconds) +
                            " '+%a, %d %b %Y %H:%M:%S +0000'");
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return client.Value("\"" + text + "\" as time");
}

std::string Trimmed(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

nlohmann::json Fixture() {
  return nlohmann::json::parse(R"({
    "sites": [
      {"name": "s-plain", "url": "http://h/Plain/x", "subscribe time": 1600000000000000,
       "last gather time": 1650000000000000, "gather": "publisher", "publisher interval": 3600,
       "custom interval": 60, "version": 42, "versions": [1, 2, 3], "masthead": "M\n",
       "groups": [{"id": 5, "member": true}, {"id": 6, "member": false}]},
      {"name": "s-custom", "url": "http://h/Custom", "type": ">Custom Site:ct",
       "display name": "Shown Custom", "gather": "custom", "publisher interval": 3600,
       "custom interval": 60},
      {"name": "s-manual", "url": "http://h/Manual", "gather": "manual", "publisher interval": 5},
      {"name": "s-disabled", "url": "http://h/Disabled", "gather": "disabled"},
      {"name": "s-master", "url": "http://h/Master", "type": ">Master Action Site"},
      {"name": "s-operator", "url": "http://h/Op%20Site", "type": ">Operator Action Site:12:bob"},
      {"name": "z-nopath", "url": "http://nopath"}
    ]
  })");
}

class SitesCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    survey::testing::ShellResult const run = client.Import(Fixture());
    ASSERT_EQ(0, run.status) << run.output;
  }
  ClientFixture client;
};

TEST_F(SitesCommandTest, TheSitesComeInTheOrderOfTheirNames) {
  EXPECT_EQ((Strings{"Shown Custom", "s-disabled", "s-manual", "s-master", "s-operator",
                     "s-plain", "z-nopath"}),
            client.Values("names of sites"));
  EXPECT_EQ((Strings{"Custom Site", "Nudge Site", "Nudge Site", "Master Action Site",
                     "Operator Site", "Nudge Site", "Nudge Site"}),
            client.Values("types of sites"));
}

TEST_F(SitesCommandTest, ACustomSitesNameComesFromTheHostAndAnyOtherFromTheRecord) {
  EXPECT_EQ("Shown Custom", client.Value("name of site \"custom\""));
  EXPECT_EQ("s-master", client.Value("name of site \"master\""));
}

TEST_F(SitesCommandTest, ASiteIsFoundByItsUrlOrItsTagInAnyCase) {
  EXPECT_EQ("s-plain", client.Value("name of site \"PLAIN\""));
  EXPECT_EQ("s-plain", client.Value("name of site \"plain\""));
  EXPECT_EQ("s-plain", client.Value("name of site \"HTTP://H/plain/X\""));
  // The URL is compared decoded.
  EXPECT_EQ("s-operator", client.Value("name of site \"http://h/op site\""));
  // Never by its name.
  EXPECT_TRUE(client.HasNoValue("site \"s-plain\""));
  EXPECT_TRUE(client.HasNoValue("site \"nothing\""));
}

TEST_F(SitesCommandTest, TheUrlAndTagOfASite) {
  EXPECT_EQ("http://h/Plain/x", client.Value("url of site \"plain\""));
  EXPECT_EQ("Plain", client.Value("site tag of site \"plain\""));
  // A tag is the path's first component as written, not decoded. (In a
  // query, "%25" is a percent sign.)
  EXPECT_EQ("Op%20Site", client.Value("site tag of site \"op%2520site\""));
  EXPECT_TRUE(client.HasNoValue("site tag of site \"http://nopath\""));
}

TEST_F(SitesCommandTest, TheGatherScheduleOfEachKind) {
  EXPECT_EQ("Publisher", client.Value("gather schedule authority of site \"plain\""));
  EXPECT_EQ(client.Value("3600 * second"),
            client.Value("gather schedule time interval of site \"plain\""));
  EXPECT_EQ("Custom", client.Value("gather schedule authority of site \"custom\""));
  EXPECT_EQ(client.Value("60 * second"),
            client.Value("gather schedule time interval of site \"custom\""));
  EXPECT_EQ("Manual", client.Value("gather schedule authority of site \"manual\""));
  EXPECT_TRUE(client.HasNoValue("gather schedule time interval of site \"manual\""));
  EXPECT_EQ("Disable", client.Value("gather schedule authority of site \"disabled\""));
  EXPECT_TRUE(client.HasNoValue("gather schedule time interval of site \"disabled\""));
}

TEST_F(SitesCommandTest, TheTimesAndVersionsOfASite) {
  EXPECT_EQ(TimeText(client, 1600000000), client.Value("subscribe time of site \"plain\""));
  EXPECT_EQ(TimeText(client, 1650000000), client.Value("last gather time of site \"plain\""));
  EXPECT_EQ("42", client.Value("version of site \"plain\""));
  survey::testing::QueryAnswer const list = client.Ask("site version list of site \"plain\"");
  EXPECT_FALSE(list.error.has_value());
  EXPECT_EQ(Strings{"site version list"}, list.types);
}

TEST_F(SitesCommandTest, TheFoldersAndMastheadOfASite) {
  std::string const folder =
      Trimmed(Output("find " + survey::testing::Quoted(client.Root()) + " -type d -name s-plain"));
  std::string const masthead =
      Trimmed(Output("find " + survey::testing::Quoted(client.Root()) + " -type f -name Masthead"));
  EXPECT_EQ(folder, client.Value("pathname of client folder of site \"plain\""));
  EXPECT_EQ(masthead, client.Value("pathname of masthead of site \"plain\""));
  EXPECT_EQ(Trimmed(Output("stat -c %s " + survey::testing::Quoted(masthead))),
            client.Value("size of masthead of site \"plain\""));
  EXPECT_TRUE(client.HasNoValue("masthead of site \"manual\"")) << "no masthead file";
  EXPECT_TRUE(client.HasNoValue("folder of site \"plain\"")) << "never answers";
}

TEST_F(SitesCommandTest, TheComputerGroupsOfASite) {
  EXPECT_EQ(client.Value("true"), client.Value("member of group 5 of site \"plain\""));
  EXPECT_EQ(client.Value("false"), client.Value("member of group 6 of site \"plain\""));
  EXPECT_EQ("6", client.Value("id of group 6 of site \"plain\""));
  EXPECT_TRUE(client.HasNoValue("group 7 of site \"plain\""));
  EXPECT_TRUE(client.HasNoValue("group 5 of site \"custom\""));
}

TEST_F(SitesCommandTest, NoSiteIsUnderEvaluationHere) {
  EXPECT_TRUE(client.HasNoValue("current site"));
}

TEST(SitesSearchTest, ASiteWithoutAPathEndsTheSearchUnlessAnEarlierOneMatched) {
  ClientFixture client;
  ASSERT_EQ(0, client.Import(nlohmann::json::parse(R"({"sites": [
      {"name": "a-nopath", "url": "http://nopath"},
      {"name": "b-plain", "url": "http://h/Plain"}]})"))
                   .status);
  EXPECT_TRUE(client.HasNoValue("site \"plain\""));
  EXPECT_EQ("a-nopath", client.Value("name of site \"HTTP://NOPATH\""));
  EXPECT_EQ((Strings{"a-nopath", "b-plain"}), client.Values("names of sites"));
}

TEST(SitesCommandsTest, AddingAndRemovingASiteChangesTheList) {
  ClientFixture client;
  std::string const masthead = client.Scratch() + "/masthead";
  ASSERT_EQ(0, std::system(("printf 'head' > " + survey::testing::Quoted(masthead)).c_str()));
  survey::testing::ShellResult const add = client.Client(
      "site add one --url http://h/one --masthead " + survey::testing::Quoted(masthead) +
      " --gather custom --custom-interval 90 --versions 4,5");
  ASSERT_EQ(0, add.status) << add.output;
  EXPECT_EQ("one", client.Value("name of site \"one\""));
  EXPECT_EQ(Trimmed(Output("sha1sum < " + survey::testing::Quoted(masthead))),
            Trimmed(Output("sha1sum < " + survey::testing::Quoted(client.Root()) +
                           "/__Global/one/Masthead")));
  EXPECT_EQ(client.Value("90 * second"), client.Value("gather schedule time interval of site \"one\""));
  EXPECT_EQ("one\thttp://h/one\t>Nudge Remote Site\n", client.Client("site list", false).output);
  ASSERT_EQ(0, client.Client("site remove one").status);
  EXPECT_EQ(Strings{}, client.Values("sites"));
  EXPECT_NE(0, std::system(("test -e " + survey::testing::Quoted(client.Root()) + "/__Global/one")
                               .c_str()));
  EXPECT_EQ(2, client.Client("site remove one").status);
}

}  // namespace
