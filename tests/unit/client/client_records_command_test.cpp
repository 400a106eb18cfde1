// The client's records under bad input, damage, old schemas, two commands at
// once and a command killed in the middle. The database is read back with
// python3's sqlite3 module, independently of the command.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>
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

// Every row of every table, in a stable order, as python3's sqlite3 module
// reads them; and the integrity check's verdict first.
std::string DatabaseDump(std::string const& database) {
  return Output("python3 - " + Quoted(database) + R"PY( <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
print(db.execute("PRAGMA integrity_check").fetchone()[0])
print("version", db.execute("PRAGMA user_version").fetchone()[0])
for (table,) in db.execute("SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"):
    for row in sorted(repr(row) for row in db.execute("SELECT * FROM %s" % table)):
        print(table, row)
EOF)PY");
}

nlohmann::json SmallFixture() {
  return nlohmann::json::parse(R"({
    "settings": {"Client": {"keep": "1", "other": {"value": "2", "date": 5}}},
    "sites": [{"name": "alpha", "url": "http://h/alpha", "settings": {"k": "v"}}]
  })");
}

class ClientRecordsCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ShellResult const run = client.Import(SmallFixture());
    ASSERT_EQ(0, run.status) << run.output;
    before = DatabaseDump(client.Database());
    ASSERT_EQ(0u, before.rfind("ok\nversion " +
                                   std::to_string(survey::client::ClientRecords::kSchemaVersion) +
                                   "\n",
                               0))
        << before;
    ASSERT_NE(std::string::npos, before.find("settings (0, b'Client', b'keep', b'1', ")) << before;
  }

  // The command refuses: status 2, a message, and the records as they were.
  void ExpectRefused(std::string const& arguments, std::string const& message) {
    ShellResult const run = client.Client(arguments);
    EXPECT_EQ(2, run.status) << arguments << ": " << run.output;
    EXPECT_NE(std::string::npos, run.output.find(message)) << arguments << ": " << run.output;
    EXPECT_EQ(before, DatabaseDump(client.Database())) << arguments;
  }

  void ExpectImportRefused(std::string const& json, std::string const& message) {
    std::string const file = client.Scratch() + "/bad.json";
    std::ofstream(file, std::ios::binary) << json;
    ExpectRefused("import " + Quoted(file), message);
  }

  ClientFixture client;
  std::string before;
};

TEST_F(ClientRecordsCommandTest, OverLongNamesAndValuesAreRefused) {
  ExpectRefused("setting set " + std::string(1025, 'n') + " v", "longer than 1024 bytes");
  ExpectRefused("setting set --site alpha " + std::string(1025, 'n') + " v",
                "longer than 1024 bytes");
  ExpectRefused("setting set n " + std::string(65537, 'v'), "longer than 65536 bytes");
  ExpectRefused("site add " + std::string(256, 's') + " --url http://h/s", "longer than 255 bytes");
}

TEST_F(ClientRecordsCommandTest, BinaryNamesAndValuesAreRefused) {
  ExpectRefused("setting set --site alpha \"$(printf 'a\\377b')\" v", "not UTF-8");
  ExpectRefused("setting set n \"$(printf 'a\\001b')\"", "control characters");
  ExpectRefused("setting set n \"$(printf 'a\\376')\"", "not UTF-8");
  ExpectRefused("setting set --site alpha \"$(printf 'a\\nb')\" v", "control characters");
  ExpectImportRefused(R"({"settings": {"Client": {"a\u0000b": "v"}}})", "control characters");
  ExpectImportRefused(R"({"settings": {"Client": {"a": "v\u0000"}}})", "control characters");
  ExpectImportRefused("{\"settings\": {\"Client\": {\"a\": \"\xff\"}}}", "as JSON");
}

TEST_F(ClientRecordsCommandTest, SiteNamesWithSlashesDotsNulsAndNewlinesAreRefused) {
  ExpectRefused("site add a/b --url http://h/x", "cannot hold \"/\"");
  ExpectRefused("site add .hidden --url http://h/x", "cannot start with \".\"");
  ExpectRefused("site add .. --url http://h/x", "cannot start with \".\"");
  ExpectRefused("site add \"$(printf 'a\\nb')\" --url http://h/x", "control characters");
  ExpectRefused("site add '' --url http://h/x", "cannot be empty");
  ExpectImportRefused(R"({"sites": [{"name": "a\u0000b", "url": "http://h/x"}]})",
                      "control characters");
  ExpectImportRefused(R"({"sites": [{"name": "../up", "url": "http://h/x"}]})", "cannot hold");
  ExpectRefused("setting set --site a/b k v", "there is no site");
  // A dot inside a name is a name like any other.
  EXPECT_EQ(0, client.Client("site add a.b --url http://h/x").status);
  EXPECT_EQ("a.b", client.Value("name of site \"x\""));
}

TEST_F(ClientRecordsCommandTest, MalformedOrInconsistentFixturesAreRefusedWhole) {
  ExpectImportRefused("{\"settings\": ", "as JSON");
  ExpectImportRefused("[1, 2]", "one JSON object");
  ExpectImportRefused(R"({"setings": {}})", "unknown key \"setings\"");
  ExpectImportRefused(R"({"sites": [{"name": "s", "url": "http://h/s", "gather": "often"}]})",
                      "publisher, custom, manual or disabled");
  ExpectImportRefused(R"({"sites": [{"name": "s", "url": "u"}, {"name": "s", "url": "v"}]})",
                      "comes twice");
  ExpectImportRefused(R"({"sites": [{"name": "s", "url": "u", "versions": [-1]}]})",
                      "whole number");
  ExpectImportRefused(R"({"settings": {"Client": {"a": 5}}})", "a text or an object");
  ExpectRefused("import " + Quoted(client.Scratch() + "/missing.json"), "cannot read");
  ExpectRefused("import " + Quoted(client.Scratch()), "a folder");
}

TEST_F(ClientRecordsCommandTest, UnknownSitesAndSettingsAreRefused) {
  ExpectRefused("setting set --site nope k v", "there is no site named nope");
  ExpectRefused("setting unset missing", "there is no setting missing");
  ExpectRefused("site remove nope", "there is no site named nope");
  ExpectRefused("site add alpha --url http://h/again", "already");
  ExpectRefused("site add beta --url http://h/b --gather sometimes", "publisher, custom");
  ExpectRefused("setting", "A subcommand is required");
}

TEST_F(ClientRecordsCommandTest, ExportThenImportGivesTheSameRecords) {
  std::string const file = client.Scratch() + "/exported.json";
  ASSERT_EQ(0, RunShell("'" SURVEY_COMMAND "' client --client " + Quoted(client.Root()) +
                        " export > " + Quoted(file))
                   .status);
  ASSERT_EQ(0, client.Client("import " + Quoted(file)).status);
  // The same rows; only the generation has moved on.
  std::string after = DatabaseDump(client.Database());
  EXPECT_EQ(before.substr(before.find("\nsettings")), after.substr(after.find("\nsettings")));
  EXPECT_NE(before, after);
}

TEST_F(ClientRecordsCommandTest, ShowTellsTheFolderItsDatabaseAndCounts) {
  ShellResult const run = client.Client("show", false);
  EXPECT_EQ(0, run.status);
  std::string const counts = Output("python3 - " + Quoted(client.Database()) + R"PY( <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
one = lambda sql: db.execute(sql).fetchone()[0]
print("client settings: %d" % one("SELECT count(*) FROM settings WHERE scope = 0"))
print("sites: %d" % one("SELECT count(*) FROM sites"))
print("site settings: %d" % one("SELECT count(*) FROM settings WHERE scope = 1"))
print("deleted settings: %d" % one("SELECT count(*) FROM settings WHERE deleted = 1"))
print("actions: %d" % one("SELECT count(*) FROM actions"))
print("nudges: %d" % one("SELECT count(*) FROM nudges"))
print("certificates: %d" % one("SELECT count(*) FROM certificates"))
print("usage events: %d" % one("SELECT count(*) FROM usage_events"))
EOF)PY");
  EXPECT_EQ("client folder: " + client.Root() + "\ndatabase: " + client.Database() +
                " (schema version " + std::to_string(survey::client::ClientRecords::kSchemaVersion) + ")\n" + counts,
            run.output);
}

TEST(ClientDatabaseTest, AFileThatIsNotADatabaseIsReportedAndLeftAlone) {
  ClientFixture client;
  ASSERT_EQ(0, std::system(("mkdir -p " + Quoted(client.Root()) + " && yes 'not a database' | head -c 8192 > " +
                            Quoted(client.Database()))
                               .c_str()));
  std::string const sum = Output("sha1sum " + Quoted(client.Database()));
  ShellResult const run = client.Client("show");
  EXPECT_EQ(2, run.status) << run.output;
  EXPECT_NE(std::string::npos, run.output.find("not a database")) << run.output;
  EXPECT_NE(std::string::npos, run.output.find(client.Database())) << run.output;
  survey::testing::QueryAnswer const answer = client.Ask("settings of client");
  EXPECT_TRUE(answer.error.has_value());
  // A lookup by name turns every failure of the store into no value.
  EXPECT_TRUE(client.HasNoValue("setting \"k\" of client"));
  EXPECT_EQ(2, client.Client("setting set k v").status);
  EXPECT_EQ(sum, Output("sha1sum " + Quoted(client.Database())));
}

TEST(ClientDatabaseTest, AnOlderSchemaIsBroughtForwardWithItsRecords) {
  ClientFixture client;
  ASSERT_EQ(0, std::system(("mkdir -p " + Quoted(client.Root())).c_str()));
  // The first version of the schema, as an older build wrote it.
  std::string const made = Output("python3 - " + Quoted(client.Database()) + R"PY( <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
db.executescript("""
CREATE TABLE settings(scope INTEGER NOT NULL, section BLOB NOT NULL, name BLOB NOT NULL,
  value BLOB NOT NULL, date INTEGER, deleted INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (scope, section, name)) WITHOUT ROWID;
CREATE TABLE sites(name BLOB PRIMARY KEY, url BLOB NOT NULL, type BLOB NOT NULL,
  display_name BLOB NOT NULL DEFAULT x'', identity INTEGER NOT NULL DEFAULT 0,
  subscribe_time INTEGER NOT NULL DEFAULT 0, last_gather_time INTEGER NOT NULL DEFAULT 0,
  gather_option INTEGER NOT NULL DEFAULT 0, version INTEGER NOT NULL DEFAULT 0,
  versions BLOB NOT NULL DEFAULT x'', publisher_interval INTEGER NOT NULL DEFAULT 0,
  custom_interval INTEGER NOT NULL DEFAULT 0) WITHOUT ROWID;
PRAGMA user_version = 1;
""")
db.execute("INSERT INTO settings VALUES (0, ?, ?, ?, NULL, 0)", (b"Client", b"old", b"kept"))
db.execute("INSERT INTO sites (name, url, type) VALUES (?, ?, ?)", (b"s", b"http://h/s", b">Nudge Remote Site"))
db.commit()
print("made")
EOF)PY");
  ASSERT_EQ("made\n", made);
  EXPECT_EQ("kept\n", client.Client("setting get old", false).output);
  EXPECT_EQ("s", client.Value("name of site \"s\""));
  std::string const after = Output("python3 - " + Quoted(client.Database()) + R"PY( <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
print(db.execute("PRAGMA user_version").fetchone()[0])
print(sorted(r[0] for r in db.execute("SELECT name FROM sqlite_master WHERE type='table'")))
print(db.execute("PRAGMA journal_mode").fetchone()[0])
EOF)PY");
  EXPECT_EQ(
      std::to_string(survey::client::ClientRecords::kSchemaVersion) +
          "\n['action_parameters', 'actions', 'certificates', 'generation', 'host_flags', "
          "'nudge_headers', 'nudges', 'pending_restarts', 'server_list', 'server_record', "
          "'settings', 'site_groups', 'sites', 'usage_events']\nwal\n",
      after);
}

TEST(ClientDatabaseTest, ANewerSchemaIsRefused) {
  ClientFixture client;
  ASSERT_EQ(0, std::system(("mkdir -p " + Quoted(client.Root()) +
                            " && python3 -c \"import sqlite3,sys; d=sqlite3.connect(sys.argv[1]); "
                            "d.execute('PRAGMA user_version = 99'); d.commit()\" " +
                            Quoted(client.Database()))
                               .c_str()));
  ShellResult const run = client.Client("setting set k v");
  EXPECT_EQ(2, run.status);
  EXPECT_NE(std::string::npos, run.output.find("schema version 99")) << run.output;
}

// A tmpfs of its own, for a full or read-only client folder; only root
// can mount one.
class MountedFolder {
 public:
  MountedFolder(std::string const& path, std::string const& options) : path_(path) {
    mounted_ = std::system(("mkdir -p " + Quoted(path) + " && mount -t tmpfs -o " + options +
                            " tmpfs " + Quoted(path) + " 2>/dev/null")
                               .c_str()) == 0;
  }
  ~MountedFolder() {
    if (mounted_ && std::system(("umount " + Quoted(path_)).c_str()) != 0) {
      ADD_FAILURE() << "cannot unmount " << path_;
    }
  }
  bool Mounted() const { return mounted_; }

 private:
  std::string path_;
  bool mounted_ = false;
};

TEST(ClientDatabaseTest, AFullClientFolderRefusesTheChangeAndKeepsTheOldRecords) {
  ClientFixture client;
  MountedFolder const folder(client.Root(), "size=320k");
  if (!folder.Mounted()) GTEST_SKIP() << "mounting a small file system needs root";
  ASSERT_EQ(0, client.Import(SmallFixture()).status);
  std::string const before = DatabaseDump(client.Database());
  nlohmann::json big = SmallFixture();
  for (int k = 0; k < 200; ++k) big["settings"]["Client"]["big" + std::to_string(k)] = std::string(4000, 'x');
  ShellResult const run = client.Import(big);
  EXPECT_EQ(2, run.status) << run.output;
  EXPECT_NE(std::string::npos, run.output.find("full")) << run.output;
  EXPECT_EQ(before, DatabaseDump(client.Database()));
  EXPECT_EQ("1\n", client.Client("setting get keep", false).output);
}

TEST(ClientDatabaseTest, AReadOnlyClientFolderRefusesChangesClearly) {
  ClientFixture client;
  MountedFolder const folder(client.Root(), "size=4m");
  if (!folder.Mounted()) GTEST_SKIP() << "mounting a file system needs root";
  ASSERT_EQ(0, client.Import(SmallFixture()).status);
  std::string const before = DatabaseDump(client.Database());
  ASSERT_EQ(0, std::system(("mount -o remount,ro " + Quoted(client.Root())).c_str()));
  ShellResult const run = client.Client("setting set keep 2");
  EXPECT_EQ(2, run.status) << run.output;
  EXPECT_NE(std::string::npos, run.output.find(client.Root())) << run.output;
  ASSERT_EQ(0, std::system(("mount -o remount,rw " + Quoted(client.Root())).c_str()));
  EXPECT_EQ(before, DatabaseDump(client.Database()));
}

TEST(ClientConcurrencyTest, TwoCommandsAtOnceBothSucceed) {
  ClientFixture client;
  ASSERT_EQ(0, client.Import(SmallFixture()).status);
  std::string const command = "'" SURVEY_COMMAND "' client --client " + Quoted(client.Root());
  std::string const loops =
      "fail=0; "
      "(for i in $(seq 1 25); do " + command + " setting set a$i v$i || exit 1; done) & a=$!; "
      "(for i in $(seq 1 25); do " + command + " setting set --site alpha b$i w$i || exit 1; done) & b=$!; "
      "wait $a || fail=1; wait $b || fail=1; echo $fail";
  EXPECT_EQ("0\n", RunShell(loops).output);
  std::string const counts = Output("python3 - " + Quoted(client.Database()) + R"PY( <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
print(db.execute("PRAGMA integrity_check").fetchone()[0])
rows = list(db.execute("SELECT scope, section, name, value FROM settings"))
print(sorted(int(n[1:]) for s, c, n, v in rows if s == 0 and n.startswith(b"a") and v == b"v" + n[1:]) == list(range(1, 26)))
print(sorted(int(n[1:]) for s, c, n, v in rows if s == 1 and c == b"alpha" and n.startswith(b"b") and v == b"w" + n[1:]) == list(range(1, 26)))
EOF)PY");
  EXPECT_EQ("ok\nTrue\nTrue\n", counts);
}

// The rows that a fixture file stands for, and those of the database, each
// as a sorted list, compared by python3: "old", "new", or what is wrong.
std::string StateOf(std::string const& database, std::string const& oldFixture,
                    std::string const& newFixture) {
  return Output("python3 - " + Quoted(database) + " " + Quoted(oldFixture) + " " +
                Quoted(newFixture) + R"PY( <<'EOF'
import json, sqlite3, sys
def expected(path):
    doc = json.load(open(path))
    settings, sites = [], []
    def add(scope, section, name, value):
        if isinstance(value, str):
            value = {"value": value}
        settings.append((scope, section, name, value.get("value", ""), value.get("date"),
                         1 if value.get("deleted") else 0))
    for section, entries in doc.get("settings", {}).items():
        for name, value in entries.items():
            add(0, section, name, value)
    for site in doc.get("sites", []):
        sites.append((site["name"], site.get("url", "")))
        for name, value in site.get("settings", {}).items():
            add(1, site["name"], name, value)
    return sorted(settings), sorted(sites)
db = sqlite3.connect(sys.argv[1])
check = db.execute("PRAGMA integrity_check").fetchone()[0]
if check != "ok":
    print("corrupt: " + check)
    sys.exit()
text = lambda b: b.decode() if isinstance(b, bytes) else b
settings = sorted((s, text(c), text(n), text(v), d, x) for s, c, n, v, d, x in
                  db.execute("SELECT scope, section, name, value, date, deleted FROM settings"))
sites = sorted((text(n), text(u)) for n, u in db.execute("SELECT name, url FROM sites"))
state = (settings, sites)
if state == expected(sys.argv[2]):
    print("old")
elif state == expected(sys.argv[3]):
    print("new")
else:
    print("mixed: %d settings, %d sites" % (len(settings), len(sites)))
EOF)PY");
}

TEST(ClientCrashTest, AnImportKilledAnywhereLeavesTheOldOrTheNewRecords) {
  ClientFixture client;
  std::string const oldFixture = client.Scratch() + "/old.json";
  std::string const newFixture = client.Scratch() + "/new.json";
  std::ofstream(oldFixture) << SmallFixture().dump();
  nlohmann::json big;
  for (int k = 0; k < 6000; ++k) {
    big["settings"]["Client"]["key" + std::to_string(k)] =
        nlohmann::json{{"value", std::string(100, 'a' + k % 26)}, {"date", k}};
  }
  big["sites"] = nlohmann::json::array();
  for (int s = 0; s < 300; ++s) {
    nlohmann::json site{{"name", "site" + std::to_string(s)},
                        {"url", "http://h/site" + std::to_string(s)}};
    for (int k = 0; k < 5; ++k) site["settings"]["k" + std::to_string(k)] = "v";
    big["sites"].push_back(site);
  }
  std::ofstream(newFixture) << big.dump();
  std::string const command = "'" SURVEY_COMMAND "' client --client " + Quoted(client.Root());

  // How long a whole import takes here, to spread the kills over it.
  ASSERT_EQ(0, client.Client("import " + Quoted(oldFixture)).status);
  auto const started = std::chrono::steady_clock::now();
  ASSERT_EQ(0, client.Client("import " + Quoted(newFixture)).status);
  long long const took = std::chrono::duration_cast<std::chrono::microseconds>(
                             std::chrono::steady_clock::now() - started)
                             .count();
  ASSERT_EQ("new\n", StateOf(client.Database(), oldFixture, newFixture));

  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<long long> delay(0, took);
  int olds = 0;
  int news = 0;
  for (int run = 0; run < 20; ++run) {
    // Back to the old state, then the new one, killed on the way.
    ASSERT_EQ(0, client.Client("import " + Quoted(oldFixture)).status);
    long long const wait = delay(random);
    RunShell(command + " import " + Quoted(newFixture) + " >/dev/null 2>&1 & pid=$!; " +
             "sleep " + std::to_string(static_cast<double>(wait) / 1e6) +
             "; kill -KILL $pid 2>/dev/null; wait $pid 2>/dev/null");
    std::string const state = StateOf(client.Database(), oldFixture, newFixture);
    ASSERT_TRUE(state == "old\n" || state == "new\n") << "run " << run << " killed after " << wait
                                                      << " us: " << state;
    (state == "old\n" ? olds : news) += 1;
  }
  // Where the kills fell is told, not required: a loaded machine moves them.
  std::printf("killed imports: %d left the old records, %d the new\n", olds, news);
}

}  // namespace
