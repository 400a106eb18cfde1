// The sites' nudges through the command: loaded with `survey client
// import`, shown with `survey client list nudges`, and walked by queries.

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

nlohmann::json Fixture() {
  return nlohmann::json::parse(R"({"sites": [
    {"name": "alpha", "url": "http://h/alpha", "nudges": [
      {"id": 5, "relevant": true, "headers": [["Subject", "Hello"], ["X-Tag", "one"], ["x-tag", "two"]]},
      {"id": 6, "relevant": false, "headers": [["X-Tag", "three"]]},
      {"id": 18446744073709551615, "relevant": true,
       "headers": [["Empty", ""], ["Ünï", "çà:=\tb"], ["sep: x", "a: b"]]}]},
    {"name": "empty", "url": "http://h/empty", "nudges": []}]})");
}

class NudgesCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ShellResult const run = client.Import(Fixture());
    ASSERT_EQ(0, run.status) << run.output;
  }

  static std::string Of(std::string const& site) {
    return " of sites whose (name of it = \"" + site + "\")";
  }

  ClientFixture client;
};

TEST_F(NudgesCommandTest, NudgesAreWalkedInTheSitesOrder) {
  EXPECT_EQ((Strings{"5", "6", "-1"}), client.Values("ids of nudges" + Of("alpha")));
  EXPECT_EQ((Strings{"5", "-1"}), client.Values("ids of relevant nudges" + Of("alpha")));
  EXPECT_EQ((Strings{"True", "False", "True"}), client.Values("relevances of nudges" + Of("alpha")));
}

TEST_F(NudgesCommandTest, AnEmptySiteHasNoNudges) {
  EXPECT_EQ(Strings{}, client.Values("nudges" + Of("empty")));
  EXPECT_EQ("0", client.Value("number of relevant nudges" + Of("empty")));
}

TEST_F(NudgesCommandTest, AWantedHeaderThatComesTwiceIsGivenTwiceInOrder) {
  // Names are matched without regard to case.
  EXPECT_EQ((Strings{"one", "two", "three"}),
            client.Values("values of headers \"x-tag\" of nudges" + Of("alpha")));
  EXPECT_EQ((Strings{"Subject", "X-Tag", "x-tag"}),
            client.Values("names of headers of nudges whose (id of it = 5)" + Of("alpha")));
  EXPECT_EQ((Strings{"Empty, ", "Ünï, çà:=\tb", "sep: x, a: b"}),
            client.Values("(name of it, value of it) of headers of nudges whose (id of it = -1)" +
                          Of("alpha")));
  EXPECT_EQ(Strings{"a: b"}, client.Values("values of headers \"SEP: X\" of nudges" + Of("alpha")));
  EXPECT_EQ(Strings{}, client.Values("values of headers \"none\" of nudges" + Of("alpha")));
}

TEST_F(NudgesCommandTest, ABlockedClientCannotAnswerNow) {
  nlohmann::json blocked = Fixture();
  blocked["nudge evaluation blocked"] = true;
  ASSERT_EQ(0, client.Import(blocked).status);
  survey::testing::QueryAnswer const answer = client.Ask("ids of nudges" + Of("alpha"));
  ASSERT_TRUE(answer.error.has_value());
  EXPECT_EQ("not available", *answer.error);
  EXPECT_TRUE(answer.texts.empty());
  EXPECT_NE(std::string::npos, client.Client("list nudges", false).output.find("blocked"));
  // Nothing else is blocked.
  EXPECT_EQ("2", client.Value("number of sites"));
}

TEST_F(NudgesCommandTest, ListShowsEachNudgeWithItsHeaders) {
  ShellResult const run = client.Client("list nudges", false);
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("alpha\t0\t5\trelevant\tSubject: Hello\tX-Tag: one\tx-tag: two\n"
            "alpha\t1\t6\t-\tX-Tag: three\n"
            "alpha\t2\t18446744073709551615\trelevant\tEmpty: \tÜnï: çà:=\tb\tsep: x: a: b\n",
            run.output);
}

TEST_F(NudgesCommandTest, ARemovedSiteTakesItsNudgesWithIt) {
  ASSERT_EQ(0, client.Client("site remove alpha").status);
  EXPECT_EQ("", client.Client("list nudges", false).output);
  std::string const left = Output(
      "python3 -c " +
      Quoted("import sqlite3,sys\nd=sqlite3.connect(sys.argv[1])\n"
             "print(d.execute('SELECT count(*) FROM nudges').fetchone()[0],"
             " d.execute('SELECT count(*) FROM nudge_headers').fetchone()[0])") +
      " " + Quoted(client.Database()));
  EXPECT_EQ("0 0\n", left);
}

TEST_F(NudgesCommandTest, ExportGivesBackWhatImportTook) {
  nlohmann::json const exported = client.Export();
  EXPECT_EQ(Fixture()["sites"][0]["nudges"], exported["sites"][0]["nudges"]);
  EXPECT_FALSE(exported["nudge evaluation blocked"].get<bool>());
  ASSERT_EQ(0, client.Import(exported).status);
  EXPECT_EQ(exported, client.Export());
}

TEST_F(NudgesCommandTest, RefusedNudgesLeaveTheRecordsAsTheyWere) {
  std::vector<std::pair<std::string, std::string>> const refused{
      {R"({"sites": [{"name": "a", "url": "u", "nudges": {}}]})", "must be a list"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"relevant": true}]}]})", "with an \"id\""},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": -5}]}]})", "whole number"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "relevant": 1}]}]})",
       "true or false"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "size": 1}]}]})",
       "unknown key \"size\""},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "headers": [["a"]]}]}]})",
       "a name and a value"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "headers": [["a", 1]]}]}]})",
       "must be a text"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "headers": [["", "v"]]}]}]})",
       "cannot be empty"},
      {R"({"sites": [{"name": "a", "url": "u", "nudges": [{"id": 1, "headers": [["a\u0001", "v"]]}]}]})",
       "control characters"},
      {R"({"nudge evaluation blocked": "yes"})", "true or false"},
  };
  for (auto const& [document, message] : refused) client.ExpectImportRefused(document, message);
}

}  // namespace
