// The settings of the client and of its sites, through the command, on a
// client folder filled with `survey client import`. The expected answers
// follow the rules of the settings: the client's keys are looked up
// percent-encoded and deleted ones are still found by name; a site's keys
// are looked up as they stand and deleted ones are not found.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using Strings = std::vector<std::string>;

// The host's text of a time given in seconds since 1970, written first by
// `date` and then read back by the host as a time.
std::string TimeText(ClientFixture const& client, long long seconds) {
  std::string text = Output("date -u -d @" + std::to_string(seconds) +
                            " '+%a, %d %b %Y %H:%M:%S +0000'");
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return client.Value("\"" + text + "\" as time");
}

nlohmann::json Fixture() {
  return nlohmann::json::parse(R"({
    "settings": {
      "Client": {
        "a%2Eb": "dotted",
        "a b": "spaced",
        "x": {"value": "1 2", "date": 1700000000000000},
        "gone": {"value": "old", "date": 1600000000000000, "deleted": true},
        "eq": "p=q",
        "flag": "ENABLED",
        "nodate": {"value": "v"}
      },
      "CustomSites": {
        "http://custom/": {"value": "", "date": 1690000000000000},
        "undated": {"value": "v"}
      }
    },
    "sites": [
      {"name": "alpha", "url": "http://h/alpha",
       "settings": {"a.b": "literal", "gone": {"value": "x", "deleted": true}, "k": "v"}},
      {"name": "empty", "url": "http://h/empty"}
    ]
  })");
}

class SettingsCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    survey::testing::ShellResult const run = client.Import(Fixture());
    ASSERT_EQ(0, run.status) << run.output;
  }
  ClientFixture client;
};

TEST_F(SettingsCommandTest, AClientSettingIsLookedUpUnderItsEncodedKey) {
  EXPECT_EQ("dotted", client.Value("value of setting \"a.b\" of client"));
  EXPECT_EQ("a.b", client.Value("name of setting \"a.b\" of client"));
  EXPECT_EQ("a%2Eb=dotted", client.Value("setting \"a.b\" of client as string"));
}

TEST_F(SettingsCommandTest, ASpaceIsKeptInAClientKey) {
  EXPECT_EQ("spaced", client.Value("value of setting \"a b\" of client"));
}

TEST_F(SettingsCommandTest, TheClientsSettingsLeaveOutDeletedOnesInKeyOrder) {
  EXPECT_EQ((Strings{"a b", "a.b", "eq", "flag", "nodate", "x"}),
            client.Values("names of settings of client"));
}

TEST_F(SettingsCommandTest, ADeletedClientSettingIsFoundByNameButHasNoValue) {
  EXPECT_EQ("gone", client.Value("name of setting \"gone\" of client"));
  EXPECT_TRUE(client.HasNoValue("value of setting \"gone\" of client"));
  EXPECT_TRUE(client.HasNoValue("setting \"gone\" of client as string"));
  EXPECT_EQ(TimeText(client, 1600000000), client.Value("effective date of setting \"gone\" of client"));
  EXPECT_EQ(client.Value("false"), client.Value("enabled of setting \"gone\" of client"));
}

TEST_F(SettingsCommandTest, TheTextOfASettingEncodesItsValue) {
  EXPECT_EQ("x=1 2", client.Value("setting \"x\" of client as string"));
  EXPECT_EQ("eq=p%3Dq", client.Value("setting \"eq\" of client as string"));
}

TEST_F(SettingsCommandTest, EnabledIsTheValueEnabledInAnyCase) {
  EXPECT_EQ(client.Value("true"), client.Value("enabled of setting \"flag\" of client"));
  EXPECT_EQ(client.Value("false"), client.Value("enabled of setting \"x\" of client"));
}

TEST_F(SettingsCommandTest, ASettingWithoutADateHasNoEffectiveDate) {
  EXPECT_EQ(TimeText(client, 1700000000), client.Value("effective date of setting \"x\" of client"));
  EXPECT_TRUE(client.HasNoValue("effective date of setting \"nodate\" of client"));
}

TEST_F(SettingsCommandTest, AMissingClientSettingHasNoValue) {
  EXPECT_TRUE(client.HasNoValue("setting \"missing\" of client"));
  // The stored key itself is not a name: lookups encode its "%" again.
  // (In a query, "%25" is a percent sign.)
  EXPECT_TRUE(client.HasNoValue("setting \"a%252Eb\" of client"));
}

TEST_F(SettingsCommandTest, ACustomSiteSubscriptionIsDatedByItsClientSetting) {
  EXPECT_EQ(TimeText(client, 1690000000),
            client.Value("custom site subscription effective date \"http://custom/\""));
  EXPECT_TRUE(client.HasNoValue("custom site subscription effective date \"undated\""));
  EXPECT_TRUE(client.HasNoValue("custom site subscription effective date \"missing\""));
}

TEST_F(SettingsCommandTest, ASiteSettingIsLookedUpAsItStands) {
  EXPECT_EQ("literal", client.Value("value of setting \"a.b\" of site \"alpha\""));
  EXPECT_EQ("a.b=literal", client.Value("setting \"a.b\" of site \"alpha\" as string"));
}

TEST_F(SettingsCommandTest, ADeletedSiteSettingIsNotFound) {
  EXPECT_TRUE(client.HasNoValue("setting \"gone\" of site \"alpha\""));
  EXPECT_EQ((Strings{"a.b", "k"}), client.Values("names of settings of site \"alpha\""));
}

TEST_F(SettingsCommandTest, ASiteWithoutSettingsHasAnEmptyStream) {
  EXPECT_EQ(Strings{}, client.Values("settings of site \"empty\""));
  EXPECT_TRUE(client.HasNoValue("setting \"k\" of site \"empty\""));
}

TEST_F(SettingsCommandTest, ASettingChangedByTheCommandIsSeenByTheNextQuery) {
  EXPECT_EQ("1 2", client.Value("value of setting \"x\" of client"));
  ASSERT_EQ(0, client.Client("setting set x changed").status);
  EXPECT_EQ("changed", client.Value("value of setting \"x\" of client"));
  ASSERT_EQ(0, client.Client("setting unset x").status);
  EXPECT_TRUE(client.HasNoValue("value of setting \"x\" of client"));
  EXPECT_EQ("x", client.Value("name of setting \"x\" of client"));
  ASSERT_EQ(0, client.Client("setting set --site alpha k other").status);
  EXPECT_EQ("other", client.Value("value of setting \"k\" of site \"alpha\""));
}

TEST_F(SettingsCommandTest, TheCommandStoresAClientNameEncodedAndASiteNameAsItIs) {
  ASSERT_EQ(0, client.Client("setting set 'new.name' 'v 1'").status);
  EXPECT_EQ("v 1", client.Value("value of setting \"new.name\" of client"));
  EXPECT_EQ("v 1\n", client.Client("setting get new.name", false).output);
  nlohmann::json const state = client.Export();
  EXPECT_TRUE(state["settings"]["Client"].contains("new%2Ename")) << state.dump();
  ASSERT_EQ(0, client.Client("setting set --site alpha 'new.name' w").status);
  EXPECT_TRUE(client.Export()["sites"][0]["settings"].contains("new.name"));
}

TEST_F(SettingsCommandTest, TheCommandListsAndGetsSettings) {
  survey::testing::ShellResult const list = client.Client("setting list --site alpha", false);
  EXPECT_EQ(0, list.status);
  EXPECT_EQ("a.b=literal\ngone=x  (deleted)\nk=v\n", list.output);
  EXPECT_EQ(1, client.Client("setting get gone").status) << "a deleted setting has no value";
  EXPECT_EQ(1, client.Client("setting get missing").status);
}

}  // namespace
