// The usage log through the command: events loaded with `survey client
// import`, statistics files written by the host, and what the queries and
// the surveyors make of them. The expected stretches and totals are worked
// out by a Python script of the test's own over the same generated events,
// and the statistics files are read back with Python's struct module.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/client/client_folder.h"
#include "host/client/context.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/client/application_usage.h"
#include "host/client/client_records.h"
#include "tests/unit/client/client_fixture.h"

namespace {

using survey::client::ClientContext;
using survey::client::ClientFolder;
using survey::host::Evaluation;
using survey::host::Registry;
using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::ShellResult;
using Json = nlohmann::json;
using Strings = std::vector<std::string>;

// Generates the events of a few applications from a seed, interleaved in one
// list, writes them as an import file, and works out what each application's
// stream gives: its stretches of a constant count of instances (the last
// time and the count start at 0; "Start Sampling" sets both; a start or an
// end at the last time changes the count; at another time it closes the
// stretch with its count, and so does "End Sampling", which then sets the
// count to 0; other types are passed over) and its totals.
constexpr char kGenerator[] = R"PY(
import json, random, sys
seed, folder = int(sys.argv[1]), sys.argv[2]
rng = random.Random(seed)
names = ["editor", "Viewer Ünï", "tool.v2", "idle"]
base = 1700000000000000
streams = {}
for name in names:
    events, t = [], base + rng.randrange(0, 10**9)
    for k in range(rng.randrange(8, 40)):
        step = rng.choice([0, 0, 1000000, 2500000, 7, -3000000, 60000000])
        t = max(0, t + step)
        kind = rng.choice([1, 1, 1, 2, 2, 2, 0, 3, 9])
        event = {"application": name, "type": kind, "time": t}
        if rng.random() < 0.3:
            event["path"] = "/opt/%s/bin/%d" % (name, k)
            event["version info"] = "%d.%d" % (rng.randrange(9), k)
            event["modification time"] = base - rng.randrange(10**6)
        events.append(event)
    streams[name] = events
names_left, merged = list(names), []
cursors = dict((name, 0) for name in names)
while names_left:
    name = rng.choice(names_left)
    merged.append(streams[name][cursors[name]])
    cursors[name] += 1
    if cursors[name] == len(streams[name]):
        names_left.remove(name)
for event in merged:
    if event["type"] < 4 and rng.random() < 0.5:
        event["type"] = ["Start Sampling", "Application Start", "Application End", "End Sampling"][event["type"]]
json.dump({"usage": merged}, open(folder + "/usage.json", "w"))

def kind(event):
    value = event["type"]
    if isinstance(value, str):
        return ["Start Sampling", "Application Start", "Application End", "End Sampling"].index(value)
    return value

expected = {}
for name in names:
    last, count, stretches = 0, 0, []
    for event in streams[name]:
        k, t = kind(event), event["time"]
        if k == 0:
            last, count = t, 0
            continue
        if k not in (1, 2, 3):
            continue
        change = {1: 1, 2: -1, 3: 0}[k]
        if t == last:
            if k != 3:
                count += change
            continue
        stretches.append([min(last, t), max(last, t), count])
        last = t
        count = count + change if k != 3 else 0
    starts = [e["time"] for e in streams[name] if kind(e) == 1]
    seen = [e["time"] for e in streams[name] if kind(e) in (0, 1, 2, 3)]
    expected[name] = {
        "stretches": stretches,
        "run count": len(starts),
        "first start": min(starts) if starts else 0,
        "last start": max(starts) if starts else 0,
        "last seen": max(seen) if seen else 0,
        "total duration": sum(c * (b - a) for a, b, c in stretches if c > 0),
        "running": 1 if count > 0 else 0,
        "types": [["Start Sampling", "Application Start", "Application End", "End Sampling"][kind(e)]
                  for e in streams[name] if kind(e) < 4],
        "events": len(streams[name]),
    }
json.dump(expected, open(folder + "/expected.json", "w"))
)PY";

// Reads every "*.stat" file of the folder with struct: little-endian, an
// unsigned 32-bit run count, four signed 64-bit numbers and an unsigned
// 32-bit running word; a file of another size reads as its size.
constexpr char kStatisticsReader[] = R"PY(
import json, os, struct, sys
folder = sys.argv[1]
found = {}
for entry in sorted(os.listdir(folder)):
    if not entry.endswith(".stat"):
        continue
    data = open(os.path.join(folder, entry), "rb").read()
    if len(data) != struct.calcsize("<IqqqqI"):
        found[entry[:-5]] = len(data)
        continue
    runs, first, last, seen, duration, running = struct.unpack("<IqqqqI", data)
    found[entry[:-5]] = {"run count": runs, "first start": first, "last start": last,
                         "last seen": seen, "total duration": duration, "running": running}
print(json.dumps(found))
)PY";

class ApplicationUsageCommandTest : public ::testing::Test {
 protected:
  // Generates the events of the seed and imports them.
  void Load(int seed) {
    std::ofstream(client.Scratch() + "/generate.py") << kGenerator;
    ShellResult const made = survey::testing::RunShell(
        "python3 " + Quoted(client.Scratch() + "/generate.py") + " " + std::to_string(seed) + " " +
        Quoted(client.Scratch()) + " 2>&1");
    ASSERT_EQ(0, made.status) << made.output;
    ShellResult const run = client.Client("import " + Quoted(client.Scratch() + "/usage.json"));
    ASSERT_EQ(0, run.status) << run.output;
    std::ifstream in(client.Scratch() + "/expected.json");
    expected = Json::parse(in);
    ASSERT_TRUE(expected.is_object());
  }

  std::string UsageFolder() const { return client.Root() + "/__QRVData/UsageData"; }

  Json StatisticsFiles() const {
    std::ofstream(client.Scratch() + "/read.py") << kStatisticsReader;
    return Json::parse(
        Output("python3 " + Quoted(client.Scratch() + "/read.py") + " " + Quoted(UsageFolder())));
  }

  template <class Body>
  void WithinClient(Body body) {
    ClientFolder folder(client.Root());
    ClientContext context(&folder);
    Evaluation evaluation(Registry::Default(), &context);
    Evaluation::Scope scope(evaluation);
    body();
  }

  static surveyor_string Name(std::string const& text) {
    return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
  }

  // The stretches of one application as the library walks them.
  Json Stretches(std::string const& name) {
    Json found = Json::array();
    WithinClient([&] {
      application_usage walk;
      try {
        for (TimedValue<integer> value = walk.First(Name(name));;
             value = walk.Next(Name(name))) {
          found.push_back(
              Json::array({value.First()->start.ticks, value.First()->end.ticks, value.Second()->value}));
        }
      } catch (NoSuchObject const&) {
      }
    });
    return found;
  }

  // The "string" form of a query given the name as an index.
  static std::string Of(std::string const& phrase, std::string const& name) {
    return phrase + " \"" + name + "\"";
  }

  ClientFixture client;
  Json expected;
};

TEST_F(ApplicationUsageCommandTest, TheStatisticsFilesHoldTheTotalsOfTheEvents) {
  for (int seed : {1, 2, 3}) {
    Load(seed);
    Json const files = StatisticsFiles();
    ASSERT_EQ(expected.size(), files.size()) << files.dump();
    for (auto const& [name, totals] : expected.items()) {
      ASSERT_TRUE(files.contains(name)) << name;
      for (char const* field :
           {"run count", "first start", "last start", "last seen", "total duration", "running"}) {
        EXPECT_EQ(totals[field], files[name][field]) << seed << " " << name << " " << field;
      }
    }
  }
}

TEST_F(ApplicationUsageCommandTest, TheStretchesAreThoseOfTheStream) {
  for (int seed : {4, 5, 6}) {
    Load(seed);
    for (auto const& [name, totals] : expected.items()) {
      EXPECT_EQ(totals["stretches"], Stretches(name)) << seed << " " << name;
      EXPECT_EQ(std::to_string(totals["stretches"].size()),
                client.Value("number of " + Of("application usages", name)));
    }
  }
}

TEST_F(ApplicationUsageCommandTest, TheSummariesAreTheHostsTotals) {
  Load(7);
  std::set<std::string> names;
  for (auto const& [name, totals] : expected.items()) names.insert(name);
  Strings const listed = client.Values("names of application usage summaries");
  EXPECT_EQ(names, std::set<std::string>(listed.begin(), listed.end()));
  WithinClient([&] {
    for (auto const& [name, totals] : expected.items()) {
      ApplicationUsageSummary const summary = ApplicationUsageSummary_maker(
          reinterpret_cast<unsigned char const*>(name.data()), name.size());
      EXPECT_EQ(totals["run count"].get<long long>(), GetTotalRunCount(summary).value) << name;
      EXPECT_EQ(totals["first start"].get<long long>(), GetFirstStartTime(summary).ticks) << name;
      EXPECT_EQ(totals["last start"].get<long long>(), GetLastStartTime(summary).ticks) << name;
      EXPECT_EQ(totals["last seen"].get<long long>(), GetLastTimeSeen(summary).ticks) << name;
      EXPECT_EQ(totals["total duration"].get<long long>(), GetTotalDuration(summary).ticks) << name;
      EXPECT_EQ(totals["running"].get<int>(), GetRunning(summary).value) << name;
    }
  });
  for (auto const& [name, totals] : expected.items()) {
    EXPECT_EQ(std::to_string(totals["run count"].get<long long>()),
              client.Value("total run count of " + Of("application usage summary", name)));
    EXPECT_EQ(totals["running"].get<int>() != 0 ? "True" : "False",
              client.Value("running of " + Of("application usage summary", name)));
    EXPECT_EQ(name, client.Value("name of " + Of("application usage summary", name)));
  }
}

TEST_F(ApplicationUsageCommandTest, TheExecutionsAreTheEventsInStreamOrder) {
  Load(8);
  for (auto const& [name, totals] : expected.items()) {
    EXPECT_EQ(std::to_string(totals["events"].get<int>()),
              client.Value("number of " + Of("executions", name)));
    // An event of type 9 has no type: the plural leaves it out.
    EXPECT_EQ(totals["types"].get<Strings>(), client.Values("types of " + Of("executions", name)));
    Strings const identities = client.Values("identites of " + Of("executions", name));
    EXPECT_EQ(Strings(totals["events"].get<std::size_t>(), name), identities);
  }
}

TEST_F(ApplicationUsageCommandTest, AnUnknownApplicationHasNothing) {
  Load(9);
  EXPECT_EQ("0", client.Value("number of executions \"nothing\""));
  EXPECT_EQ("0", client.Value("number of application usages \"nothing\""));
  EXPECT_TRUE(client.HasNoValue("application usage summary \"nothing\""));
  // The name is matched exactly.
  EXPECT_EQ("0", client.Value("number of executions \"EDITOR\""));
  EXPECT_TRUE(client.HasNoValue("application usage summary \"../usage\""));
}

TEST_F(ApplicationUsageCommandTest, AStatisticsFileOfTheWrongSizeIsNotKnown) {
  Load(10);
  ASSERT_EQ(0, std::system(("truncate -s 39 " + Quoted(UsageFolder() + "/editor.stat") +
                            " && truncate -s 41 " + Quoted(UsageFolder() + "/idle.stat") +
                            " && : > " + Quoted(UsageFolder() + "/tool.v2.stat"))
                               .c_str()));
  Json const files = StatisticsFiles();
  ASSERT_EQ(39, files["editor"]);
  ASSERT_EQ(41, files["idle"]);
  ASSERT_EQ(0, files["tool.v2"]);
  EXPECT_TRUE(client.HasNoValue("application usage summary \"editor\""));
  EXPECT_TRUE(client.HasNoValue("application usage summary \"idle\""));
  EXPECT_TRUE(client.HasNoValue("application usage summary \"tool.v2\""));
  EXPECT_EQ(Strings{"Viewer Ünï"}, client.Values("names of application usage summaries"));
  ShellResult const listed = client.Client("list usage", false);
  EXPECT_EQ(0, listed.status);
  EXPECT_NE(std::string::npos, listed.output.find("editor.stat\tnot known\n")) << listed.output;
  // The events are still there.
  EXPECT_EQ(expected["editor"]["stretches"], Stretches("editor"));
}

TEST_F(ApplicationUsageCommandTest, AFileWithoutEventsIsPassedOverAndAnEmptyFolderGivesNothing) {
  Load(11);
  std::ofstream(UsageFolder() + "/stray.stat") << std::string(40, '\0');
  std::ofstream(UsageFolder() + "/notes.txt") << "kept";
  // A well-formed file is the host's word, events or not.
  EXPECT_EQ("0", client.Value("total run count of application usage summary \"stray\""));
  ASSERT_EQ(0, client.Import(Json::parse(R"({"usage": []})")).status);
  EXPECT_EQ("0", client.Value("number of application usage summaries"));
  EXPECT_EQ("", Output("ls " + Quoted(UsageFolder()) + " | grep stat"));
  EXPECT_EQ("notes.txt\n", Output("ls " + Quoted(UsageFolder())));
}

TEST_F(ApplicationUsageCommandTest, ABlockedClientCannotAnswerNow) {
  Load(12);
  Json document = Json::parse(std::ifstream(client.Scratch() + "/usage.json"));
  document["nudge evaluation blocked"] = true;
  ASSERT_EQ(0, client.Import(document).status);
  for (char const* query : {"executions \"editor\"", "application usages \"editor\""}) {
    survey::testing::QueryAnswer const answer = client.Ask(query);
    ASSERT_TRUE(answer.error.has_value()) << query;
    EXPECT_EQ("not available", *answer.error) << query;
  }
  // The summaries do not read the stream.
  EXPECT_EQ(expected.size(), client.Values("names of application usage summaries").size());
}

TEST_F(ApplicationUsageCommandTest, ExportGivesBackWhatImportTook) {
  Load(13);
  Json const exported = client.Export();
  ASSERT_TRUE(exported["usage"].is_array());
  std::size_t events = 0;
  for (auto const& [name, totals] : expected.items()) events += totals["events"].get<std::size_t>();
  EXPECT_EQ(events, exported["usage"].size());
  std::string const before = Output("cd " + Quoted(UsageFolder()) + " && sha1sum *.stat");
  ASSERT_EQ(0, client.Import(exported).status);
  EXPECT_EQ(exported, client.Export());
  EXPECT_EQ(before, Output("cd " + Quoted(UsageFolder()) + " && sha1sum *.stat"));
}

TEST_F(ApplicationUsageCommandTest, ListShowsEachEventAndEachFile) {
  ASSERT_EQ(0, client.Import(Json::parse(R"({"usage": [
      {"application": "b", "type": "Application Start", "time": 1000000, "path": "/opt/b",
       "version info": "2.0", "modification time": 500},
      {"application": "a", "type": 9, "time": 0},
      {"application": "b", "type": 2, "time": 3500000}]})"))
                   .status);
  ShellResult const run = client.Client("list usage", false);
  EXPECT_EQ(0, run.status);
  EXPECT_EQ(
      "a\t0\ttype 9\t1970-01-01 00:00:00 UTC\t1970-01-01 00:00:00 UTC\t\t\n"
      "b\t0\tApplication Start\t1970-01-01 00:00:01 UTC\t1970-01-01 00:00:00.000500 UTC\t2.0\t/opt/b\n"
      "b\t1\tApplication End\t1970-01-01 00:00:03.500000 UTC\t1970-01-01 00:00:00 UTC\t\t\n"
      "a.stat\truns=0\tfirst start=1970-01-01 00:00:00 UTC\tlast start=1970-01-01 00:00:00 UTC\t"
      "last seen=1970-01-01 00:00:00 UTC\tduration=0\t-\n"
      "b.stat\truns=1\tfirst start=1970-01-01 00:00:01 UTC\tlast start=1970-01-01 00:00:01 UTC\t"
      "last seen=1970-01-01 00:00:03.500000 UTC\tduration=2500000\t-\n",
      run.output);
  Strings const paths = client.Values("paths of executions \"b\"");
  EXPECT_EQ((Strings{"/opt/b", ""}), paths);
  EXPECT_EQ((Strings{"Application Start, 2.0", "Application End, "}),
            client.Values("(type of it, version info of it) of executions \"b\""));
}

TEST_F(ApplicationUsageCommandTest, RefusedEventsLeaveTheRecordsAndFilesAsTheyWere) {
  Load(14);
  std::string const before = client.Client("export", false).output;
  std::string const files = Output("cd " + Quoted(UsageFolder()) + " && sha1sum *.stat");
  std::vector<std::pair<std::string, std::string>> const refused{
      {R"({"usage": {}})", "must be a list"},
      {R"({"usage": [5]})", "must be an object"},
      {R"({"usage": [{"type": 1, "time": 5}]})", "has no \"application\""},
      {R"({"usage": [{"application": "a", "time": 5}]})", "has no \"type\""},
      {R"({"usage": [{"application": "a", "type": 1}]})", "has no \"time\""},
      {R"({"usage": [{"application": "a", "type": "Start", "time": 5}]})", "not Start"},
      {R"({"usage": [{"application": "a", "type": -1, "time": 5}]})", "whole number"},
      {R"({"usage": [{"application": "a", "type": 1, "time": -5}]})", "a time is 0 to"},
      {R"({"usage": [{"application": "a", "type": 1, "time": 1.5}]})", "microseconds"},
      {R"({"usage": [{"application": "a", "type": 1, "time": 253402300800000000}]})", "a time is 0 to"},
      {R"({"usage": [{"application": "a/b", "type": 1, "time": 5}]})", "names a file"},
      {R"({"usage": [{"application": "..", "type": 1, "time": 5}]})", "names a file"},
      {R"({"usage": [{"application": "", "type": 1, "time": 5}]})", "cannot be empty"},
      {R"({"usage": [{"application": "a", "type": 1, "time": 5, "path": 7}]})", "must be a text"},
      {R"({"usage": [{"application": "a", "type": 1, "time": 5, "path": "x\ny"}]})", "control"},
      {R"({"usage": [{"application": "a", "type": 1, "time": 5, "size": 1}]})", "unknown key \"size\""},
      {R"({"usage": [{"application": "a", "type": 1, "time": 5}], "sites": 3})", "must be a list"},
  };
  for (auto const& [text, message] : refused) {
    std::string const file = client.Scratch() + "/refused.json";
    std::ofstream(file) << text;
    ShellResult const run = client.Client("import " + Quoted(file));
    EXPECT_EQ(2, run.status) << text << ": " << run.output;
    EXPECT_NE(std::string::npos, run.output.find(message)) << text << ": " << run.output;
    EXPECT_EQ(before, client.Client("export", false).output) << text;
    EXPECT_EQ(files, Output("cd " + Quoted(UsageFolder()) + " && sha1sum *.stat")) << text;
    EXPECT_EQ("", Output("ls -a " + Quoted(UsageFolder()) + " | grep '\\.new\\.'")) << text;
  }
  // An application name that is long but fits, and one byte more.
  std::string const longest(250, 'n');
  EXPECT_EQ(0, client.Import(Json::parse(R"({"usage": [{"application": ")" + longest +
                                         R"(", "type": 1, "time": 5}]})"))
                   .status);
  EXPECT_EQ("1", client.Value("total run count of application usage summary \"" + longest + "\""));
  EXPECT_EQ(2, client.Import(Json::parse(R"({"usage": [{"application": ")" + longest +
                                         R"(n", "type": 1, "time": 5}]})"))
                   .status);
}

TEST_F(ApplicationUsageCommandTest, AnOlderDatabaseGainsTheUsageTable) {
  // A database of the previous schema version, with a setting in it.
  ASSERT_EQ(0, client.Client("setting set kept yes").status);
  ASSERT_EQ("", Output("python3 -c " +
                       Quoted("import sqlite3,sys\nd=sqlite3.connect(sys.argv[1])\n"
                              "d.execute('DROP TABLE usage_events')\n"
                              "d.execute('PRAGMA user_version = 7')\nd.commit()") +
                       " " + Quoted(client.Database())));
  EXPECT_EQ("yes\n", client.Client("setting get kept", false).output);
  EXPECT_EQ(std::to_string(survey::client::ClientRecords::kSchemaVersion) + "\n0\n", Output("python3 -c " +
                             Quoted("import sqlite3,sys\nd=sqlite3.connect(sys.argv[1])\n"
                                    "print(d.execute('PRAGMA user_version').fetchone()[0])\n"
                                    "print(d.execute('SELECT count(*) FROM usage_events').fetchone()[0])") +
                             " " + Quoted(client.Database())));
}

}  // namespace
