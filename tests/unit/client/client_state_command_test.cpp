// The client's administrators and the small surveyors of its state, loaded
// with `survey client import` and asked through the command.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::ShellResult;
using Strings = std::vector<std::string>;

class ClientStateCommandTest : public ::testing::Test {
 protected:
  void Load(std::string const& text) {
    ShellResult const run = client.Import(nlohmann::json::parse(text));
    ASSERT_EQ(0, run.status) << run.output;
  }

  ClientFixture client;
};

TEST_F(ClientStateCommandTest, AdministratorsAreTheSettingsOfTheirSection) {
  Load(R"({"settings": {
      "Administrators": {"root": "all", "b%2Ec": "dotted", "gone": {"value": "x", "deleted": true}},
      "Client": {"root": "not an administrator"}}})");
  EXPECT_EQ((Strings{"b.c", "root"}), client.Values("names of administrators of client"));
  EXPECT_EQ("all", client.Value("value of administrator \"root\" of client"));
  // The name is looked up as stored, not encoded: the query's text
  // "b%252Ec" is b%2Ec, and its "b%2Ec" is b.c.
  EXPECT_EQ("dotted", client.Value("value of administrator \"b%252Ec\" of client"));
  EXPECT_TRUE(client.HasNoValue("administrator \"b%2Ec\" of client"));
  EXPECT_TRUE(client.HasNoValue("administrator \"nobody\" of client"));
  ShellResult const list = client.Client("list administrators", false);
  EXPECT_EQ("b%2Ec=dotted\ngone=x  (deleted)\nroot=all\n", list.output);
}

TEST_F(ClientStateCommandTest, FixedAnswersOfThisPlatform) {
  Load(R"({"state": {"restart pending": true}})");
  EXPECT_EQ("True", client.Value("enabled of administrative rights of client"));
  EXPECT_EQ("False", client.Value("pending login"));
}

TEST_F(ClientStateCommandTest, TheAnalysisAndItsLastTime) {
  Load(R"({})");
  EXPECT_TRUE(client.HasNoValue("analysis"));
  Load(R"({"state": {"analysis time": 0}})");
  EXPECT_TRUE(client.HasNoValue("last time of analysis"));
  Load(R"({"state": {"analysis time": 1600000000250000}})");
  std::string seconds = Output("date -u -d @1600000000 '+%a, %d %b %Y %H:%M:%S +0000'");
  seconds.pop_back();
  EXPECT_EQ("00:00:00.250000",
            client.Value("last time of analysis - \"" + seconds + "\" as time"));
}

TEST_F(ClientStateCommandTest, TheAnalysesAreListed) {
  Load(R"({})");
  EXPECT_EQ("", client.Client("list analyses", false).output);
  Load(R"({"state": {"analysis time": 0}})");
  EXPECT_EQ("current\t0\tno last time\n", client.Client("list analyses", false).output);
  Load(R"({"state": {"analysis time": 1600000000250000}})");
  std::string const shown = Output("date -u -d @1600000000 '+%Y-%m-%d %H:%M:%S'");
  EXPECT_EQ("current\t1600000000250000\t" + shown.substr(0, shown.size() - 1) + ".250000 UTC\n",
            client.Client("list analyses", false).output);
}

TEST_F(ClientStateCommandTest, TheComputerIdIsUnsignedOnTheHostsSide) {
  Load(R"({"state": {"computer id": 123456789012}})");
  EXPECT_EQ("123456789012", client.Value("computer id"));
  Load(R"({"state": {"computer id": 18446744073709551615}})");
  EXPECT_EQ("-1", client.Value("computer id"));
  Load(R"({})");
  EXPECT_EQ("0", client.Value("computer id"));
}

TEST_F(ClientStateCommandTest, PendingRestartsInAllAndByName) {
  Load(R"({"state": {"restart pending": false, "pending restarts": ["kernel", "Ünï", "a b"]}})");
  EXPECT_EQ("False", client.Value("pending restart"));
  EXPECT_EQ("True", client.Value("pending restart \"kernel\""));
  EXPECT_EQ("True", client.Value("pending restart \"Ünï\""));
  EXPECT_EQ("True", client.Value("pending restart \"a b\""));
  EXPECT_EQ("False", client.Value("pending restart \"Kernel\""));
  EXPECT_EQ("False", client.Value("pending restart \"\""));
  Load(R"({"state": {"restart pending": true}})");
  EXPECT_EQ("True", client.Value("pending restart"));
  EXPECT_EQ("False", client.Value("pending restart \"kernel\""));
}

TEST_F(ClientStateCommandTest, CryptographyStatesAndTheirFailures) {
  Load(R"({"state": {"fips mode": true, "desired fips mode": false,
      "fips mode failure message": "self test failed: ü", "encrypt report": false,
      "desired encrypt report": true}})");
  EXPECT_EQ("True", client.Value("fips mode of cryptography"));
  EXPECT_EQ("False", client.Value("desired fips mode of cryptography"));
  EXPECT_EQ("self test failed: ü", client.Value("fips mode failure message of cryptography"));
  EXPECT_EQ("False", client.Value("encrypt report of client cryptography"));
  EXPECT_EQ("True", client.Value("desired encrypt report of client cryptography"));
  EXPECT_TRUE(client.HasNoValue("encrypt report failure message of client cryptography"));
  Load(R"({"state": {"encrypt report failure message": ""}})");
  EXPECT_EQ("", client.Value("encrypt report failure message of client cryptography"));
  EXPECT_TRUE(client.HasNoValue("fips mode failure message of cryptography"));
}

TEST_F(ClientStateCommandTest, TheWakeOnLanSubnet) {
  Load(R"({})");
  EXPECT_TRUE(client.HasNoValue("wake on lan subnet cidr string"));
  Load(R"({"state": {"wake on lan subnet": "10.1.0.0/16"}})");
  EXPECT_EQ("10.1.0.0/16", client.Value("wake on lan subnet cidr string"));
}

TEST_F(ClientStateCommandTest, ExportGivesBackWhatImportTook) {
  Load(R"({"state": {"computer id": 7, "apparent server time": 5, "action lock controller": 2,
      "analysis time": -3, "fips mode": true, "wake on lan subnet": "s",
      "pending restarts": ["b", "a"]}})");
  nlohmann::json const exported = client.Export();
  nlohmann::json const& state = exported["state"];
  EXPECT_EQ(7u, state["computer id"].get<std::uint64_t>());
  EXPECT_EQ("nobody", state["action lock controller"].get<std::string>());
  EXPECT_EQ(-3, state["analysis time"].get<long long>());
  EXPECT_TRUE(state["encrypt report failure message"].is_null());
  EXPECT_EQ((Strings{"a", "b"}), state["pending restarts"].get<Strings>());
  ASSERT_EQ(0, client.Import(exported).status);
  EXPECT_EQ(exported, client.Export());
}

TEST_F(ClientStateCommandTest, RefusedStatesLeaveTheRecordsAsTheyWere) {
  Load(R"({"settings": {"Client": {"k": "v"}}, "state": {"computer id": 9}})");
  std::vector<std::pair<std::string, std::string>> const refused{
      {R"({"state": []})", "must be an object"},
      {R"({"state": {"computer id": -1}})", "whole number"},
      {R"({"state": {"action lock controller": "me"}})", "client, console or nobody"},
      {R"({"state": {"action lock controller": 3}})", "0 to 2"},
      {R"({"state": {"fips mode": "yes"}})", "true or false"},
      {R"({"state": {"wake on lan subnet": 10}})", "must be a text"},
      {R"({"state": {"wake on lan subnet": "a\nb"}})", "control characters"},
      {R"({"state": {"pending restarts": ["a", "a"]}})", "comes twice"},
      {R"({"state": {"pending restarts": [""]}})", "cannot be empty"},
      {R"({"state": {"colour": 1}})", "unknown key \"colour\""},
  };
  for (auto const& [document, message] : refused) client.ExpectImportRefused(document, message);
}

}  // namespace
