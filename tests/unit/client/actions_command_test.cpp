// The client's actions through the command: loaded with `survey client
// import`, shown with `survey client list actions`, and asked for by
// queries. The text form of each action is checked against a writer of
// its own in python3, made from the table of the form's fields, over
// generated actions.

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::ShellResult;

// Writes generated actions to FIXTURE (as the import file) and prints, one
// a line, each action's number and its text form as the client's logs
// carry it. The writer knows only the form: tags, flags as 1 and 0, times
// in whole seconds, the constraint split into ranges, the status.
constexpr char kActionWriter[] = R"PY(
import json, random, sys
seed, fixture = int(sys.argv[1]), sys.argv[2]
rng = random.Random(seed)
FLAGS = ["pending", "group leader", "offer", "pending restart", "pending login", "constrained",
         "offer accepted", "waiting for download", "active", "failed"]
NUMBERS = {"pending time": 2**64 - 1, "complete time": 2**64 - 1, "constraint": 255,
           "persistent constraint": 255, "first active count": 65535, "active count": 65535,
           "active line number": 65535, "active start time": 2**64 - 1,
           "last active line number": 65535, "last active time": 2**64 - 1,
           "last change time": 2**64 - 1, "action id": 2**32 - 1,
           "sub action ordinal": 2**32 - 1, "origin nudge id": 2**64 - 1}
CODES = [0, 1, 199, 200, 201, 212, 213, 214, 215, 216, 255]

def number(name, top):
    pick = rng.random()
    if pick < 0.3: return 0
    if pick < 0.4: return top
    if name == "constraint": return rng.choice(CODES)
    if top > 2**32: return rng.choice([rng.randrange(1, 10**6), rng.randrange(1, 2**63), 10**15 + rng.randrange(10**6)])
    return rng.randrange(0, top + 1)

actions = []
for k in range(60):
    a = {"id": rng.choice([k, rng.randrange(2**32), rng.randrange(2**64)]) if k else 0}
    for f in FLAGS: a[f] = rng.random() < 0.5
    for n, top in NUMBERS.items(): a[n] = number(n, top)
    if rng.random() < 0.3: del a["sub action ordinal"]   # the default: none
    actions.append(a)
ids = set()
actions = [a for a in actions if not (a["id"] in ids or ids.add(a["id"]))]
# Every field empty, every field at its largest.
actions.append({"id": 2**64 - 2})
full = {"id": 2**64 - 1}
for f in FLAGS: full[f] = True
for n, top in NUMBERS.items(): full[n] = top
full["constraint"] = 214
actions.append(full)
json.dump({"actions": actions}, open(fixture, "w"))

def flag(a, f): return "1" if a.get(f, False) else "0"
def status(a):
    if a.get("active"): return "Running"
    if a.get("pending"):
        if a.get("constrained"): return "Waiting"
        if a.get("first active count", 0) == 0: return "Not Executed"
        if a.get("group leader") and not a.get("failed"): return "Executed"
        return "Failed"
    if a.get("first active count", 0) == 0: return "Not Relevant"
    if not a.get("group leader"): return "Executed"
    if not a.get("failed"): return "Executed"
    return "Failed"

def line(a):
    g = lambda n: a.get(n, 0)
    out = ":pending=" + flag(a, "pending") + ":id=%d" % a["id"]
    if g("pending time"): out += ":pt=%d" % (g("pending time") // 10**6)
    if g("complete time"): out += ":ct=%d" % (g("complete time") // 10**6)
    out += ":constrained=" + flag(a, "constrained")
    if a.get("constrained"):
        code = g("constraint")
        out += ":constraint=%d" % (0 if code > 200 else code)
        if code > 200: out += ":sysconstraint=%d" % (code - 200)
        if 213 <= code <= 215: out += ":df=%d" % (code - 213)
    out += ":fac=%d:ac=%d:al=%d" % (g("first active count"), g("active count"), g("active line number"))
    if g("active start time"): out += ":ast=%d" % (g("active start time") // 10**6)
    out += ":lal=%d" % g("last active line number")
    if g("last active time"): out += ":lat=%d" % (g("last active time") // 10**6)
    if g("last change time"): out += ":lct=%d" % (g("last change time") // 10**6)
    out += ":wfd=" + flag(a, "waiting for download") + ":act=" + flag(a, "active")
    out += ":s=" + status(a) + ":pr=" + flag(a, "pending restart") + ":pl=" + flag(a, "pending login")
    if a.get("group leader"):
        out += ":aid=%d" % g("action id")
        sao = a.get("sub action ordinal", 2**32 - 1)
        if sao != 2**32 - 1: out += ":sao=%d" % sao
    return out + ":"

for a in actions:
    if a["id"] < 2**32: print(a["id"], line(a))
)PY";

std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class ActionsCommandTest : public ::testing::Test {
 protected:
  // Imports the document, which must be taken.
  void Load(nlohmann::json const& document) {
    ShellResult const run = client.Import(document);
    ASSERT_EQ(0, run.status) << run.output;
  }

  ClientFixture client;
};

TEST_F(ActionsCommandTest, TheTextFormOfGeneratedActionsIsTheIndependentWritersLine) {
  unsigned const seed = std::random_device()();
  std::string const fixture = client.Scratch() + "/actions.json";
  std::string const script = client.Scratch() + "/writer.py";
  std::ofstream(script) << kActionWriter;
  std::vector<std::string> const expected = Lines(
      Output("python3 " + Quoted(script) + " " + std::to_string(seed) + " " + Quoted(fixture)));
  ASSERT_GT(expected.size(), 20u) << "seed " << seed;
  ASSERT_EQ(0, client.Client("import " + Quoted(fixture)).status) << "seed " << seed;
  for (std::string const& line : expected) {
    std::size_t const space = line.find(' ');
    std::string const id = line.substr(0, space);
    EXPECT_EQ(line.substr(space + 1), client.Value("action " + id + " as string"))
        << "action " << id << ", seed " << seed;
  }
}

TEST_F(ActionsCommandTest, TheSpecimenLineOfAFinishedAction) {
  Load(nlohmann::json::parse(R"({"actions": [{"id": 12, "current": true,
      "complete time": 1187000000999999, "first active count": 1, "active count": 1,
      "active line number": 3, "last active line number": 3}]})"));
  EXPECT_EQ(":pending=0:id=12:ct=1187000000:constrained=0:fac=1:ac=1:al=3:lal=3:wfd=0:act=0:"
            "s=Executed:pr=0:pl=0:",
            client.Value("action as string"));
}

TEST_F(ActionsCommandTest, ConstraintCodesSplitIntoTheirRanges) {
  Load(nlohmann::json::parse(R"({"actions": [
      {"id": 1, "constrained": true, "constraint": 214},
      {"id": 2, "constrained": true, "constraint": 200},
      {"id": 3, "constrained": true, "constraint": 201},
      {"id": 4, "constrained": true, "constraint": 216},
      {"id": 5, "constrained": false, "constraint": 214}]})"));
  std::string const first = client.Value("action 1 as string");
  EXPECT_NE(std::string::npos, first.find(":constraint=0:sysconstraint=14:df=1:")) << first;
  EXPECT_EQ("0", client.Value("constraint of action 1"));
  EXPECT_EQ("14", client.Value("system constraint of action 1"));
  EXPECT_EQ("1", client.Value("download failure of action 1"));

  std::string const second = client.Value("action 2 as string");
  EXPECT_NE(std::string::npos, second.find(":constraint=200:fac=")) << second;
  EXPECT_EQ("200", client.Value("constraint of action 2"));
  EXPECT_TRUE(client.HasNoValue("system constraint of action 2"));
  EXPECT_TRUE(client.HasNoValue("download failure of action 2"));

  std::string const third = client.Value("action 3 as string");
  EXPECT_NE(std::string::npos, third.find(":constraint=0:sysconstraint=1:fac=")) << third;

  std::string const fourth = client.Value("action 4 as string");
  EXPECT_NE(std::string::npos, fourth.find(":constraint=0:sysconstraint=16:fac=")) << fourth;
  EXPECT_EQ("16", client.Value("system constraint of action 4"));
  EXPECT_TRUE(client.HasNoValue("download failure of action 4"));

  // Without the flag the code tells nothing.
  EXPECT_TRUE(client.HasNoValue("constraint of action 5"));
  EXPECT_TRUE(client.HasNoValue("system constraint of action 5"));
  EXPECT_TRUE(client.HasNoValue("download failure of action 5"));
  EXPECT_EQ(std::string::npos, client.Value("action 5 as string").find(":constraint="));
}

TEST_F(ActionsCommandTest, AnActiveActionIsRunningWhateverElseItSays) {
  Load(nlohmann::json::parse(R"({"actions": [
      {"id": 1, "active": true, "pending": true, "constrained": true, "failed": true},
      {"id": 2, "active": true, "first active count": 0},
      {"id": 3, "pending": true, "constrained": true},
      {"id": 4, "pending": true},
      {"id": 5, "pending": true, "first active count": 1, "group leader": true},
      {"id": 6, "pending": true, "first active count": 1},
      {"id": 7, "first active count": 0},
      {"id": 8, "first active count": 1},
      {"id": 9, "first active count": 1, "group leader": true, "failed": true},
      {"id": 10, "first active count": 1, "failed": true}]})"));
  std::vector<std::string> const statuses{"Running", "Running",  "Waiting",  "Not Executed",
                                          "Executed", "Failed", "Not Relevant", "Executed",
                                          "Failed",  "Executed"};
  for (std::size_t k = 0; k < statuses.size(); ++k) {
    EXPECT_EQ(statuses[k], client.Value("status of action " + std::to_string(k + 1))) << k + 1;
  }
  // The active action is the first one, by number, whose script runs.
  EXPECT_EQ("1", client.Value("id of active action"));
}

TEST_F(ActionsCommandTest, NumbersFromTwoToThe32OnAreNoActions) {
  Load(nlohmann::json::parse(R"({"actions": [{"id": 4294967295}, {"id": 4294967296}]})"));
  EXPECT_EQ("4294967295", client.Value("id of action 4294967295"));
  EXPECT_TRUE(client.HasNoValue("action 4294967296"));
  EXPECT_TRUE(client.HasNoValue("action 7"));
}

TEST_F(ActionsCommandTest, ConditionalPropertiesHaveNoValueWhenTheirConditionFails) {
  Load(nlohmann::json::parse(R"({"actions": [
      {"id": 1, "group leader": true, "active line number": 4, "last active line number": 2},
      {"id": 2, "active line number": 4, "origin nudge id": 18446744073709551615,
       "pending time": 1000000, "complete time": 1, "active start time": 2000000,
       "last active time": 3000000, "last change time": 4500000, "persistent constraint": 9,
       "offer": true, "offer accepted": true, "pending restart": true, "pending login": true,
       "waiting for download": true, "first active count": 65535, "active count": 2}]})"));
  EXPECT_TRUE(client.HasNoValue("active line number of action 1"));
  EXPECT_EQ("2", client.Value("last active line number of action 1"));
  EXPECT_TRUE(client.HasNoValue("origin nudge id of action 1"));
  for (char const* time : {"pending time", "complete time", "active start time",
                           "last active time", "last change time"}) {
    EXPECT_TRUE(client.HasNoValue(std::string(time) + " of action 1")) << time;
  }
  EXPECT_EQ("4", client.Value("active line number of action 2"));
  // The number is unsigned; the query language's integers are signed.
  EXPECT_EQ("-1", client.Value("origin nudge id of action 2"));
  EXPECT_EQ("9", client.Value("persistent constraint of action 2"));
  EXPECT_EQ("65535", client.Value("first active count of action 2"));
  EXPECT_EQ("2", client.Value("active count of action 2"));
  for (char const* flag : {"offer", "offer accepted", "pending restart", "pending login",
                           "waiting for download"}) {
    EXPECT_EQ("True", client.Value(std::string(flag) + " of action 2")) << flag;
    EXPECT_EQ("False", client.Value(std::string(flag) + " of action 1")) << flag;
  }
  // Each time is 1970 plus the field in microseconds, as the host writes it.
  auto const when = [](long long seconds) {
    std::string text = Output("date -u -d @" + std::to_string(seconds) +
                              " '+%a, %d %b %Y %H:%M:%S +0000'");
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  };
  EXPECT_EQ(when(1), client.Value("pending time of action 2"));
  EXPECT_EQ(when(2), client.Value("active start time of action 2"));
  EXPECT_EQ(when(3), client.Value("last active time of action 2"));
  // The fractions of a second stay in the time.
  EXPECT_EQ("00:00:00.500000",
            client.Value("last change time of action 2 - \"" + when(4) + "\" as time"));
  EXPECT_EQ("00:00:00.000001",
            client.Value("complete time of action 2 - \"" + when(0) + "\" as time"));
}

TEST_F(ActionsCommandTest, ParametersAreTheCurrentActionsAlone) {
  Load(nlohmann::json::parse(R"({"actions": [
      {"id": 1, "current": true,
       "parameters": {"plain": "v", "empty": "", "sep:=": ":a=b:", "ünï": "ça\tva"}},
      {"id": 2}]})"));
  EXPECT_EQ("v", client.Value("parameter \"plain\""));
  EXPECT_EQ("", client.Value("parameter \"empty\""));
  EXPECT_EQ(":a=b:", client.Value("parameter \"sep:=\""));
  EXPECT_EQ("ça\tva", client.Value("parameter \"ünï\""));
  EXPECT_EQ("v", client.Value("parameter \"plain\" of action 1"));
  EXPECT_TRUE(client.HasNoValue("parameter \"PLAIN\""));
  EXPECT_TRUE(client.HasNoValue("parameter \"\""));
  EXPECT_TRUE(client.HasNoValue("parameter \"plain\" of action 2"));
}

TEST_F(ActionsCommandTest, WithoutACurrentActionTheWorldFormsHaveNoValue) {
  Load(nlohmann::json::parse(R"({"actions": [{"id": 1}]})"));
  EXPECT_TRUE(client.HasNoValue("action"));
  EXPECT_TRUE(client.HasNoValue("active action"));
  EXPECT_TRUE(client.HasNoValue("parameter \"x\""));
}

TEST_F(ActionsCommandTest, ListShowsEachActionWithItsFieldsThatAreNotZero) {
  Load(nlohmann::json::parse(R"({"actions": [
      {"id": 7, "pending": true, "constraint": 3, "sub action ordinal": 4294967295},
      {"id": 5, "current": true, "sub action ordinal": 0, "parameters": {"b": "2", "a": "1"}}]})"));
  ShellResult const run = client.Client("list actions", false);
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("5\tcurrent\tsub action ordinal=0\tparameter a=1\tparameter b=2\n"
            "7\t-\tpending\tconstraint=3\n",
            run.output);
}

// The state of the database as python3's sqlite3 module reads it.
std::string Dump(std::string const& database) {
  return Output("python3 -c " +
                Quoted("import sqlite3,sys\n"
                       "d=sqlite3.connect(sys.argv[1])\n"
                       "for t in ('actions','action_parameters','settings'):\n"
                       "  print(t, sorted(d.execute('SELECT * FROM '+t).fetchall()))\n") +
                " " + Quoted(database));
}

TEST_F(ActionsCommandTest, RefusedActionsLeaveTheRecordsAsTheyWere) {
  Load(nlohmann::json::parse(R"({"settings": {"Client": {"k": "v"}},
      "actions": [{"id": 3, "current": true, "parameters": {"p": "q"}}]})"));
  std::string const before = Dump(client.Database());
  ASSERT_NE(std::string::npos, before.find("(3, 1, ")) << before;
  std::vector<std::pair<std::string, std::string>> const refused{
      {R"({"actions": {}})", "\"actions\" must be a list"},
      {R"({"actions": [7]})", "each action must be an object"},
      {R"({"actions": [{"pending": true}]})", "has no \"id\""},
      {R"({"actions": [{"id": -1}]})", "\"id\" must be a whole number"},
      {R"({"actions": [{"id": 1.5}]})", "\"id\" must be a whole number"},
      {R"({"actions": [{"id": 6e665536}]})", "as JSON"},
      {R"({"actions": [{"id": 1, "constraint": 256}]})", "from 0 to 255"},
      {R"({"actions": [{"id": 1, "active count": 65536}]})", "from 0 to 65535"},
      {R"({"actions": [{"id": 1, "action id": 4294967296}]})", "from 0 to 4294967295"},
      {R"({"actions": [{"id": 1, "pending": 1}]})", "must be true or false"},
      {R"({"actions": [{"id": 1, "pending time": "now"}]})", "must be a whole number"},
      {R"({"actions": [{"id": 1, "colour": 1}]})", "unknown key \"colour\""},
      {R"({"actions": [{"id": 1}, {"id": 1}]})", "the action 1 comes twice"},
      {R"({"actions": [{"id": 1, "current": true}, {"id": 2, "current": true}]})",
       "at most one action"},
      {R"({"actions": [{"id": 1, "parameters": {"a": "b"}}]})", "only the current action"},
      {R"({"actions": [{"id": 1, "current": true, "parameters": {"a": 1}}]})", "must be a text"},
      {R"({"actions": [{"id": 1, "current": true, "parameters": {"": "b"}}]})", "cannot be empty"},
      {R"({"actions": [{"id": 1, "current": true, "parameters": {"a\nb": "b"}}]})",
       "control characters"},
      {R"({"actions": [{"id": 1, "current": true, "parameters": {"a": "\u0000"}}]})",
       "control characters"},
      {"{\"actions\": [{\"id\": 1, \"current\": true, \"parameters\": {\"a\": \"" +
           std::string(65537, 'x') + "\"}}]}",
       "longer than 65536 bytes"},
  };
  std::string const file = client.Scratch() + "/bad.json";
  for (auto const& [document, message] : refused) {
    std::ofstream(file, std::ios::trunc) << document;
    ShellResult const run = client.Client("import " + Quoted(file));
    EXPECT_EQ(2, run.status) << document.substr(0, 200) << ": " << run.output;
    EXPECT_NE(std::string::npos, run.output.find(message))
        << document.substr(0, 200) << ": " << run.output;
    EXPECT_EQ(before, Dump(client.Database())) << document.substr(0, 200);
  }
  // Bytes that are not UTF-8 in a parameter.
  std::ofstream(file, std::ios::trunc | std::ios::binary)
      << "{\"actions\": [{\"id\": 1, \"current\": true, \"parameters\": {\"a\": \"\xff\"}}]}";
  ShellResult const binary = client.Client("import " + Quoted(file));
  EXPECT_EQ(2, binary.status) << binary.output;
  EXPECT_EQ(before, Dump(client.Database()));
  EXPECT_EQ("q", client.Value("parameter \"p\""));
}

TEST_F(ActionsCommandTest, ExportGivesBackWhatImportTook) {
  nlohmann::json const document = nlohmann::json::parse(R"({"actions": [
      {"id": 18446744073709551615, "current": true, "pending": true, "pending time": 5,
       "constraint": 214, "constrained": true, "parameters": {"x": "y"}},
      {"id": 9223372036854775808}, {"id": 0}]})");
  Load(document);
  nlohmann::json const exported = client.Export();
  ASSERT_EQ(3u, exported["actions"].size());
  EXPECT_EQ(0u, exported["actions"][0]["id"].get<std::uint64_t>());
  EXPECT_EQ(9223372036854775808ull, exported["actions"][1]["id"].get<std::uint64_t>());
  nlohmann::json const& last = exported["actions"][2];
  EXPECT_EQ(18446744073709551615ull, last["id"].get<std::uint64_t>());
  EXPECT_TRUE(last["current"].get<bool>());
  EXPECT_EQ(214u, last["constraint"].get<unsigned>());
  EXPECT_EQ(5u, last["pending time"].get<unsigned>());
  EXPECT_EQ(4294967295u, last["sub action ordinal"].get<unsigned>());
  EXPECT_EQ("y", last["parameters"]["x"].get<std::string>());
  // What export gave, imported again, gives the same.
  Load(exported);
  EXPECT_EQ(exported, client.Export());
}

TEST_F(ActionsCommandTest, ListOfAnUnknownKindIsRefused) {
  ShellResult const run = client.Client("list nudgez");
  EXPECT_EQ(2, run.status);
  EXPECT_NE(std::string::npos, run.output.find("settings, sites, actions")) << run.output;
}

}  // namespace
