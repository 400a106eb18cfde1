// The servers loaded with `survey client import`, shown with `list
// servers`, and asked through the command; the server list's entries as the
// client's database keeps them, read apart from the command with Python.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/client/client_records.h"
#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::RunShell;
using survey::testing::ShellResult;
using Strings = std::vector<std::string>;

constexpr char kServers[] = R"({
  "state": {"apparent server time": 1600000000250000},
  "servers": {
    "registration server": {"name": "bes.example", "version": "9.5.13.130"},
    "relay": {"version": "10.0.2.52"},
    "root server": {"name": "root.example", "id": 4294967295},
    "download server": {"name": "dl.example"},
    "list": [
      {"name": "first.example", "address": "10.0.0.1", "port": 52311},
      {"name": "relay.example", "time": 1700000000654321, "address": "10.1.2.3",
       "port": 52311, "priority": 4, "weight": 9, "distance": 5, "competition size": 12,
       "competition weight": 34, "gateways": ["10.1.2.254", "0.0.0.0", "192.168.7.1"],
       "selected": true}
    ]
  }
})";

class ServersCommandTest : public ::testing::Test {
 protected:
  void Load(std::string const& text) {
    ShellResult const run = client.Import(nlohmann::json::parse(text));
    ASSERT_EQ(0, run.status) << run.output;
  }

  // Runs a Python script over the client's database.
  ShellResult Python(std::string const& script) {
    return RunShell("python3 -c " + Quoted(script) + " " + Quoted(client.Database()) + " 2>&1");
  }

  ClientFixture client;
};

TEST_F(ServersCommandTest, TheSelectedServerAsImported) {
  Load(kServers);
  EXPECT_EQ("relay.example", client.Value("name of selected server"));
  EXPECT_EQ("10.1.2.3", client.Value("ip address of selected server"));
  EXPECT_EQ("52311", client.Value("port number of selected server"));
  EXPECT_EQ("4", client.Value("priority of selected server"));
  EXPECT_EQ("9", client.Value("weight of selected server"));
  EXPECT_EQ("3", client.Value("lower bound of distance of selected server"));
  EXPECT_EQ("5", client.Value("upper bound of distance of selected server"));
  EXPECT_EQ("12", client.Value("competition size of selected server"));
  EXPECT_EQ("34", client.Value("competition weight of selected server"));
  // Gateway 0 is the first; a hole has no value.
  EXPECT_EQ("10.1.2.254", client.Value("gateway address 0 of selected server"));
  EXPECT_TRUE(client.HasNoValue("gateway address 1 of selected server"));
  EXPECT_EQ("192.168.7.1", client.Value("gateway address 2 of selected server"));
  EXPECT_TRUE(client.HasNoValue("gateway address 3 of selected server"));
  EXPECT_EQ((Strings{"10.1.2.254", "192.168.7.1"}),
            client.Values("gateway addresses of selected server"));
  survey::testing::QueryAnswer const answer = client.Ask("selected server");
  ASSERT_EQ(1u, answer.types.size());
  EXPECT_EQ("selected server", answer.types[0]);
}

TEST_F(ServersCommandTest, NoSelectedServerOrOneWithoutANameIsNoValue) {
  Load(R"({})");
  EXPECT_TRUE(client.HasNoValue("selected server"));
  Load(R"({"servers": {"list": [{"name": "a.example"}]}})");
  EXPECT_TRUE(client.HasNoValue("selected server"));
  Load(R"({"servers": {"list": [{"address": "10.0.0.1", "selected": true}]}})");
  EXPECT_TRUE(client.HasNoValue("selected server"));
  EXPECT_TRUE(client.HasNoValue("ip address of selected server"));
}

TEST_F(ServersCommandTest, TheServersOfTheServerRecord) {
  Load(kServers);
  EXPECT_EQ("bes.example", client.Value("name of registration server"));
  EXPECT_EQ("9.5.13.130", client.Value("version of registration server"));
  EXPECT_EQ("True", client.Value("version of registration server > \"9.5.9\""));
  EXPECT_EQ("10.0.2.52", client.Value("version of current relay"));
  EXPECT_EQ("dl.example", client.Value("name of download server"));
  EXPECT_EQ("root.example", client.Value("host name of root server"));
  EXPECT_EQ("4294967295", client.Value("id of root server"));
  std::string seconds = Output("date -u -d @1600000000 '+%a, %d %b %Y %H:%M:%S +0000'");
  seconds.pop_back();
  EXPECT_EQ("00:00:00.250000",
            client.Value("apparent registration server time - \"" + seconds + "\" as time"));
  EXPECT_EQ(client.Value("apparent registration server time"),
            client.Value("now of registration server"));
}

TEST_F(ServersCommandTest, UnknownServersAreNoValue) {
  Load(R"({})");
  EXPECT_TRUE(client.HasNoValue("name of registration server"));
  EXPECT_TRUE(client.HasNoValue("version of registration server"));
  EXPECT_TRUE(client.HasNoValue("version of current relay"));
  EXPECT_TRUE(client.HasNoValue("name of download server"));
  EXPECT_TRUE(client.HasNoValue("host name of root server"));
  EXPECT_EQ("0", client.Value("id of root server"));
  EXPECT_TRUE(client.HasNoValue("apparent registration server time"));
  EXPECT_TRUE(client.HasNoValue("now of registration server"));
}

TEST_F(ServersCommandTest, TheRelayServiceNeedsItsPackage) {
  Load(kServers);
  // No package of the relay is installed in a test's package database, and
  // the main gather service is never there on this platform.
  ShellResult const installed = RunShell("rpm -q QRVRelay >/dev/null 2>&1");
  if (installed.status == 0) GTEST_SKIP() << "a package QRVRelay is installed on this machine";
  EXPECT_EQ("False", client.Value("exists relay service"));
  EXPECT_EQ("False", client.Value("exists service \"QRVRelay\""));
  EXPECT_EQ("False", client.Value("exists service \"other\""));
  EXPECT_EQ("False", client.Value("exists main gather service"));
}

TEST_F(ServersCommandTest, TheDatabaseKeepsTheFlattenedBigEndianForm) {
  Load(kServers);
  // Read apart from the command: the selected entry's bytes, unpacked with
  // Python's struct.
  ShellResult const run = Python(R"(import sqlite3, struct, sys
db = sqlite3.connect(sys.argv[1])
(selected,) = db.execute('SELECT selected FROM server_record').fetchone()
(data,) = db.execute('SELECT entry FROM server_list WHERE position = ?', (selected,)).fetchone()
(n,) = struct.unpack_from('>I', data, 0)
name = data[4:4 + n].decode()
t, a, port, pri, w = struct.unpack_from('>IIHHH', data, 4 + n)
count, dist, size, cw, k = struct.unpack_from('>BBIII', data, 18 + n)
gw = struct.unpack_from('>%dI' % k, data, 32 + n)
print(selected, name, t, '%08x' % a, port, pri, w, count, dist, size, cw, ['%08x' % g for g in gw], len(data) - 32 - n - 4 * k)
)");
  ASSERT_EQ(0, run.status) << run.output;
  EXPECT_EQ("1 relay.example 1700000000 0a010203 52311 4 9 3 5 12 34 ['0a0102fe', '00000000', "
            "'c0a80701'] 0\n",
            run.output);
}

TEST_F(ServersCommandTest, ListShowsTheServersReadably) {
  Load(kServers);
  ShellResult const list = client.Client("list servers", false);
  ASSERT_EQ(0, list.status) << list.output;
  EXPECT_EQ(
      "registration server\tbes.example\tversion 9.5.13.130\n"
      "relay\tversion 10.0.2.52\n"
      "root server\troot.example\tid 4294967295\n"
      "download server\tdl.example\n"
      "0\t-\tfirst.example\t10.0.0.1:52311\tpriority 0\tweight 0\tgateways 0 (-)\tdistance "
      "255\tcompetition 0/0\ttime 0s\n"
      "1\tselected\trelay.example\t10.1.2.3:52311\tpriority 4\tweight 9\tgateways 3 "
      "(10.1.2.254,0.0.0.0,192.168.7.1)\tdistance 5\tcompetition 12/34\ttime 1700000000s\n",
      list.output);
}

TEST_F(ServersCommandTest, ExportGivesBackWhatImportTookButTheMicroseconds) {
  Load(kServers);
  nlohmann::json const exported = client.Export();
  nlohmann::json const& list = exported["servers"]["list"];
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ(1700000000000000LL, list[1]["time"].get<long long>());
  EXPECT_TRUE(list[1]["selected"].get<bool>());
  EXPECT_FALSE(list[0]["selected"].get<bool>());
  EXPECT_EQ("root.example", exported["servers"]["root server"]["name"].get<std::string>());
  ASSERT_EQ(0, client.Import(exported).status);
  EXPECT_EQ(exported, client.Export());
}

TEST_F(ServersCommandTest, RefusedServersChangeNothing) {
  Load(kServers);
  nlohmann::json const before = client.Export();
  char const* const refused[] = {
      R"({"servers": {"list": [{"name": "a", "port": 65536}]}})",
      R"({"servers": {"list": [{"name": "a", "address": "300.1.1.1"}]}})",
      R"({"servers": {"list": [{"name": "a", "address": 167772161}]}})",
      R"({"servers": {"list": [{"name": "a", "selected": true}, {"name": "b", "selected": true}]}})",
      R"({"servers": {"list": [{"name": "a", "gateways": ["1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1",
          "1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1",
          "1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1","1.1.1.1",
          "1.1.1.1"]}]}})",
      R"({"servers": {"list": [{"name": "a", "time": -1}]}})",
      R"({"servers": {"list": [{"name": "a", "time": 4294967296000000}]}})",
      R"({"servers": {"list": [{"name": "a", "distance": 256}]}})",
      R"({"servers": {"list": [{"name": "a", "colour": "red"}]}})",
      R"({"servers": {"registration server": {"version": "1234567890123456789012345678901.2"}}})",
      R"({"servers": {"registration server": {"name": "line\nbreak"}}})",
      R"({"servers": {"root server": {"id": -1}}})",
      R"({"servers": {"relay": "10.0"}})",
      R"({"servers": []})",
  };
  for (char const* text : refused) {
    ShellResult const run = client.Import(nlohmann::json::parse(text));
    EXPECT_EQ(2, run.status) << text << "\n" << run.output;
    EXPECT_NE(std::string::npos, run.output.find("survey client: ")) << run.output;
    EXPECT_EQ(before, client.Export()) << text;
  }
}

TEST_F(ServersCommandTest, ADamagedEntryInTheDatabaseIsReportedNotRead) {
  Load(kServers);
  // The selected entry cut short, and then given an address count far past
  // its end, behind the command's back.
  for (char const* change :
       {"UPDATE server_list SET entry = substr(entry, 1, 40) WHERE position = 1",
        "UPDATE server_list SET entry = substr(entry, 1, length(entry) - 16) || "
        "x'ffffffff' WHERE position = 1"}) {
    ShellResult const run = Python(std::string("import sqlite3, sys\n"
                                               "db = sqlite3.connect(sys.argv[1])\n"
                                               "db.execute(\"") +
                                   change + "\")\ndb.commit()\n");
    ASSERT_EQ(0, run.status) << run.output;
    survey::testing::QueryAnswer const answer = client.Ask("name of selected server");
    ASSERT_TRUE(answer.error.has_value());
    EXPECT_EQ("not available", *answer.error);
    ShellResult const list = client.Client("list servers");
    EXPECT_EQ(2, list.status) << list.output;
    EXPECT_NE(std::string::npos, list.output.find("damaged")) << list.output;
    // The rest of the record still answers.
    EXPECT_EQ("bes.example", client.Value("name of registration server"));
  }
}

TEST_F(ServersCommandTest, AnOlderDatabaseIsBroughtForward) {
  Load(R"({"state": {"computer id": 42}})");
  // Back to the schema before the servers: their tables and those of the
  // later steps gone, version 6.
  ShellResult const back = Python(R"(import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
db.executescript('DROP TABLE server_record; DROP TABLE server_list; DROP TABLE usage_events;'
                 ' PRAGMA user_version = 6;')
db.commit()
)");
  ASSERT_EQ(0, back.status) << back.output;
  EXPECT_EQ("42", client.Value("computer id"));
  EXPECT_TRUE(client.HasNoValue("selected server"));
  ShellResult const version = Python(R"(import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
print(db.execute('PRAGMA user_version').fetchone()[0],
      [r[0] for r in db.execute("SELECT name FROM sqlite_master WHERE name LIKE 'server%' ORDER BY name")])
)");
  EXPECT_EQ(std::to_string(survey::client::ClientRecords::kSchemaVersion) + " ['server_list', 'server_record']\n",
            version.output);
  Load(kServers);
  EXPECT_EQ("relay.example", client.Value("name of selected server"));
}

}  // namespace
