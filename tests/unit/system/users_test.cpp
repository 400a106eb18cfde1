// Users, the console and the run level: utmp files written by utmpdump from
// text and named with the C library's utmpname, read by the library and by
// who on the same files; the console rules with a folder of X sockets and a
// password file of the test's own; this machine's database against who; and
// what the unit registers.

#include "survey/system/users.h"

#include <gtest/gtest.h>
#include <paths.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utmp.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "tests/unit/system/machine_answers.h"

namespace {

using survey::host::Evaluation;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::system::testing::LookForXServerIn;
using survey::system::testing::ReadAccountsFrom;
using survey::testing::AskCommand;
using survey::testing::Lines;
using survey::testing::OnlyValue;
using survey::testing::RegisteredRow;
using survey::testing::Trimmed;

std::string Output(std::string const& command) {
  return Trimmed(survey::testing::RunShell(command).output);
}

long long Number(std::string const& text) {
  EXPECT_FALSE(text.empty());
  return text.empty() ? -1 : std::stoll(text);
}

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// One record in utmpdump's text form.
struct Record {
  int type;
  int pid;
  std::string id;
  std::string user;
  std::string line;
  std::string host;
  std::string time = "2024-03-01T10:00:00,000000+00:00";
};

std::string DumpLine(Record const& record) {
  char pid[16];
  std::snprintf(pid, sizeof pid, "%05d", record.pid);
  // utmpdump reads the id field as four characters.
  std::string id = record.id.substr(0, 4);
  id.resize(4, ' ');
  return "[" + std::to_string(record.type) + "] [" + pid + "] [" + id + "] [" + record.user +
         "] [" + record.line + "] [" + record.host + "] [0.0.0.0] [" + record.time + "]\n";
}

// A run level record: the level in the low byte of the process number, the
// one before in the byte above.
Record RunLevel(char current, char previous, std::string const& time) {
  return Record{
      RUN_LVL, (static_cast<unsigned char>(previous) << 8) | static_cast<unsigned char>(current),
      "~~",    "runlevel",
      "~",     "6.1.0",
      time};
}

Record UserProcess(std::string const& user, std::string const& line, std::string const& host = "") {
  return Record{USER_PROCESS, 1000, line.size() > 4 ? line.substr(line.size() - 4) : line,
                user,         line, host};
}

// A utmp file of the test's own, which the process's utmp functions read
// for the life of the object; the machine's database afterwards. The file
// is written by utmpdump from text, in the C library's record layout.
class UtmpFileTest : public ::testing::Test {
 protected:
  UtmpFileTest() : file_(scratch_.Path() + "/utmp") { Write({}); }
  ~UtmpFileTest() override {
    utmpname(_PATH_UTMP);
    LookForXServerIn(nullptr);
    ReadAccountsFrom(nullptr);
  }

  void Write(std::vector<Record> const& records) {
    std::string const text = scratch_.Path() + "/utmp.txt";
    std::ofstream out(text, std::ios::binary | std::ios::trunc);
    for (Record const& record : records) out << DumpLine(record);
    out.close();
    ASSERT_EQ(
        0, survey::testing::RunShell("utmpdump -r < '" + text + "' > '" + file_ + "' 2>/dev/null")
               .status);
    ASSERT_EQ(0, utmpname(file_.c_str()));
  }

  // What `who` shows of the file: each user's name and line.
  std::vector<std::pair<std::string, std::string>> Who() const {
    std::vector<std::pair<std::string, std::string>> users;
    for (std::string const& line :
         Lines(Output("LC_ALL=C who '" + file_ + "' | awk '{ print $1 \" \" $2 }'"))) {
      std::size_t const blank = line.find(' ');
      users.emplace_back(line.substr(0, blank), line.substr(blank + 1));
    }
    return users;
  }

  std::vector<std::pair<std::string, std::string>> Users() const {
    std::vector<std::pair<std::string, std::string>> users;
    user_iterator walk;
    try {
      for (user found = walk.First();; found = walk.Next()) {
        users.emplace_back(Text(name_of_user(found)), Text(tty_of_user(found)));
      }
    } catch (NoSuchObject const&) {
    }
    return users;
  }

  std::vector<std::string> TtysOfName(std::string const& name) const {
    std::vector<std::string> ttys;
    surveyor_string const wanted{reinterpret_cast<unsigned char const*>(name.data()), name.size()};
    nameduser_iterator walk;
    try {
      for (user found = walk.First(wanted);; found = walk.Next(wanted)) {
        ttys.push_back(Text(tty_of_user(found)));
      }
    } catch (NoSuchObject const&) {
    }
    return ttys;
  }

  // `who -r` on the file, in UTC: "run-level C  2024-03-01 10:00  last=S".
  // (In the C locale who writes "Mar  1 10:17" for the time.)
  std::string WhoRunLevel() const { return Output("TZ=UTC LC_ALL=C who -r '" + file_ + "'"); }

  // A folder with an "X0" socket's name in it, where the console lookup
  // looks for the X server.
  void XServerRuns() {
    xFolder_ = scratch_.Path() + "/X11-unix";
    ASSERT_EQ(0, mkdir(xFolder_.c_str(), 0700));
    std::ofstream(xFolder_ + "/X0").put('\n');
    LookForXServerIn(xFolder_.c_str());
  }

  void NoXServer() {
    xFolder_ = scratch_.Path() + "/X11-unix-empty";
    ASSERT_EQ(0, mkdir(xFolder_.c_str(), 0700));
    std::ofstream(xFolder_ + "/X1").put('\n');
    LookForXServerIn(xFolder_.c_str());
  }

  // A password file with `user`'s home folder in the scratch folder, and an
  // ".Xauthority" there of `size` bytes (none for -1).
  void Account(std::string const& user, long size, bool slashAtTheEnd = false) {
    std::string const home = scratch_.Path() + "/home-" + user;
    ASSERT_EQ(0, mkdir(home.c_str(), 0700));
    if (size >= 0) std::ofstream(home + "/.Xauthority") << std::string(size, 'a');
    std::ofstream(scratch_.Path() + "/passwd", std::ios::app)
        << user << ":x:1000:1000::" << home << (slashAtTheEnd ? "/" : "") << ":/bin/sh\n";
    accounts_ = scratch_.Path() + "/passwd";
    ReadAccountsFrom(accounts_.c_str());
  }

  std::string ConsoleUser() {
    try {
      user const found = currentUser_of_world();
      return Text(name_of_user(found)) + " on " + Text(tty_of_user(found));
    } catch (NoSuchObject const&) {
      return "none";
    }
  }

  Evaluation evaluation_{Registry::Default()};
  Evaluation::Scope scope_{evaluation_};
  survey::testing::ScratchFolder scratch_{"survey-users-test"};
  std::string file_;
  std::string accounts_;
  std::string xFolder_;
};

// ---------------------------------------------------------------------------
// Logged-in users.

TEST_F(UtmpFileTest, UsersAreTheUserProcessesWhoShows) {
  Write({Record{BOOT_TIME, 0, "~~", "reboot", "~", "6.1.0"},
         RunLevel('5', 'N', "2024-03-01T10:00:05,000000+00:00"),
         Record{INIT_PROCESS, 600, "1", "", "tty1", ""},
         Record{LOGIN_PROCESS, 601, "2", "LOGIN", "tty2", ""},
         UserProcess("alice", "pts/1", "10.0.0.1"), UserProcess("root", "tty1"),
         Record{DEAD_PROCESS, 700, "ts/3", "", "pts/3", ""}, UserProcess("bob", "pts/2", ":0"),
         UserProcess("alice", "pts/4")});
  std::vector<std::pair<std::string, std::string>> const who = Who();
  ASSERT_EQ(4u, who.size());
  EXPECT_EQ(who, Users());
}

TEST_F(UtmpFileTest, UserOfANameIsFoundWithoutRegardToCase) {
  Write({UserProcess("root", "tty1"), UserProcess("alice", "pts/1"), UserProcess("Root", "pts/2"),
         Record{DEAD_PROCESS, 9, "ts/5", "root", "pts/5", ""}});
  EXPECT_EQ((std::vector<std::string>{"tty1", "pts/2"}), TtysOfName("ROOT"));
  EXPECT_EQ((std::vector<std::string>{"pts/1"}), TtysOfName("ALICE"));
  EXPECT_TRUE(TtysOfName("roo").empty());
  EXPECT_TRUE(TtysOfName("").empty());
  EXPECT_TRUE(TtysOfName(std::string("root\0", 5)).empty());
}

TEST_F(UtmpFileTest, NamesAndLinesOfThirtyTwoBytesAreWhole) {
  std::string const name(32, 'n');
  std::string const line = "pts/" + std::string(28, '9');
  Write({UserProcess(name, line)});
  std::vector<std::pair<std::string, std::string>> const users = Users();
  ASSERT_EQ(1u, users.size());
  EXPECT_EQ(name, users[0].first);
  EXPECT_EQ(line, users[0].second);
  EXPECT_EQ(Who(), users);
}

TEST_F(UtmpFileTest, FileCutInTheMiddleOfARecordGivesTheWholeRecordsBeforeIt) {
  Write(
      {UserProcess("alice", "pts/1"), UserProcess("bob", "pts/2"), UserProcess("carol", "pts/3")});
  ASSERT_EQ(0, truncate(file_.c_str(), 2 * sizeof(struct utmp) + 100));
  EXPECT_EQ(Who(), Users());
  EXPECT_EQ(2u, Users().size());
  ASSERT_EQ(0, truncate(file_.c_str(), 100));
  EXPECT_TRUE(Users().empty());
  EXPECT_TRUE(Who().empty());
}

TEST_F(UtmpFileTest, EmptyOrMissingDatabaseHasNoUsers) {
  EXPECT_TRUE(Users().empty());
  EXPECT_THROW(Runlevel_of_world(), NoSuchObject);
  ASSERT_EQ(0, utmpname((scratch_.Path() + "/missing").c_str()));
  EXPECT_TRUE(Users().empty());
  EXPECT_TRUE(TtysOfName("root").empty());
  EXPECT_THROW(Runlevel_of_world(), NoSuchObject);
}

TEST_F(UtmpFileTest, CopyIsTakenAtTheFirstUser) {
  Write({UserProcess("alice", "pts/1"), UserProcess("bob", "pts/2")});
  user_iterator walk;
  EXPECT_EQ("alice", Text(name_of_user(walk.First())));
  // The file changes under the walk: the walk goes on over its copy.
  Write({UserProcess("carol", "pts/3")});
  EXPECT_EQ("bob", Text(name_of_user(walk.Next())));
  EXPECT_THROW(walk.Next(), NoSuchObject);
  // A new start copies the file anew.
  EXPECT_EQ("carol", Text(name_of_user(walk.First())));
}

TEST_F(UtmpFileTest, EntriesOutOfRangeHaveNoName) {
  Write({UserProcess("alice", "pts/1"), Record{LOGIN_PROCESS, 1, "2", "LOGIN", "tty2", ""}});
  UserEntries entries;
  entries.Load();
  ASSERT_EQ(2u, entries.Count());
  EXPECT_TRUE(entries.IsUserType(0));
  EXPECT_FALSE(entries.IsUserType(1));
  EXPECT_STREQ("LOGIN", entries.GetName(1));
  EXPECT_STREQ("tty2", entries.GetTty(1));
  EXPECT_THROW(entries.GetName(2), NoSuchObject);
  EXPECT_THROW(entries.GetTty(2), NoSuchObject);
  EXPECT_THROW(entries.IsUserType(2), NoSuchObject);
  // A second load replaces the first.
  Write({});
  entries.Load();
  EXPECT_EQ(0u, entries.Count());
  EXPECT_THROW(entries.GetName(0), NoSuchObject);
}

// ---------------------------------------------------------------------------
// The run level.

TEST_F(UtmpFileTest, RunLevelIsWhatWhoShows) {
  Write({UserProcess("alice", "pts/1"), RunLevel('3', '1', "2024-03-01T10:17:42,000000+00:00")});
  std::string const who = WhoRunLevel();
  ASSERT_NE(std::string::npos, who.find("run-level 3")) << who;
  ASSERT_NE(std::string::npos, who.find("last=1")) << who;
  ASSERT_NE(std::string::npos, who.find("Mar  1 10:17")) << who;
  runlevel_impl const level = Runlevel_of_world();
  EXPECT_EQ("3", Text(Value_of_runlevel(level)));
  EXPECT_EQ("1", Text(PreviousValue_of_runlevel(level)));
  EXPECT_EQ("3", Text(RunlevelAsString(level)));
  // who shows the minute; the record has the second.
  long long const seconds = Number(Output("date -u -d '2024-03-01 10:17:42' +%s"));
  EXPECT_EQ(seconds * 1000000, EffectiveTime_of_runlevel(level).ticks);
}

TEST_F(UtmpFileTest, PreviousLevelNCountsAsNone) {
  Write({RunLevel('5', 'N', "2024-03-01T10:00:00,000000+00:00")});
  // who writes "last=S" for 'N'.
  std::string const who = WhoRunLevel();
  ASSERT_NE(std::string::npos, who.find("run-level 5")) << who;
  ASSERT_NE(std::string::npos, who.find("last=S")) << who;
  runlevel_impl const level = Runlevel_of_world();
  EXPECT_EQ("5", Text(Value_of_runlevel(level)));
  EXPECT_EQ("", Text(PreviousValue_of_runlevel(level)));
  EXPECT_EQ(0, level.previous);
}

TEST_F(UtmpFileTest, FirstRunLevelRecordCountsAndNoneIsNoValue) {
  Write({UserProcess("alice", "pts/1")});
  EXPECT_EQ("", WhoRunLevel());
  EXPECT_THROW(Runlevel_of_world(), NoSuchObject);
  Write({RunLevel('2', 'S', "2024-03-01T10:00:00,000000+00:00"),
         RunLevel('4', '2', "2024-03-01T11:00:00,000000+00:00")});
  runlevel_impl const level = Runlevel_of_world();
  EXPECT_EQ("2", Text(Value_of_runlevel(level)));
  EXPECT_EQ("S", Text(PreviousValue_of_runlevel(level)));
}

TEST_F(UtmpFileTest, LevelZeroIsACharacterAndPreviousZeroIsNone) {
  Write({RunLevel('\0', '\0', "2024-03-01T10:00:00,000000+00:00")});
  runlevel_impl const level = Runlevel_of_world();
  EXPECT_EQ(std::string(1, '\0'), Text(Value_of_runlevel(level)));
  EXPECT_EQ("", Text(PreviousValue_of_runlevel(level)));
}

// ---------------------------------------------------------------------------
// The console.

TEST_F(UtmpFileTest, NoXServerNoConsoleUserEvenOnTty1) {
  Write({UserProcess("alice", "tty1"), UserProcess("bob", ":0")});
  Account("alice", 10);
  NoXServer();
  EXPECT_FALSE(GetXServerActive());
  EXPECT_EQ("none", ConsoleUser());
  xFolder_ = scratch_.Path() + "/missing";
  LookForXServerIn(xFolder_.c_str());
  EXPECT_FALSE(GetXServerActive());
  EXPECT_EQ("none", ConsoleUser());
}

TEST_F(UtmpFileTest, UserProcessOnDisplayZeroWithoutHostSitsAtTheConsole) {
  Write({UserProcess("alice", "pts/1", "10.0.0.1"), UserProcess("bob", ":0")});
  XServerRuns();
  EXPECT_TRUE(GetXServerActive());
  EXPECT_EQ("bob on :0", ConsoleUser());
  // A host on the record of display :0 is not the console.
  Write({UserProcess("carol", ":0", "far.example")});
  EXPECT_EQ("none", ConsoleUser());
  // Nor is a record of another kind without host.
  Write({Record{DEAD_PROCESS, 5, ":0", "dave", ":0", ""}});
  EXPECT_EQ("none", ConsoleUser());
}

TEST_F(UtmpFileTest, ConsoleHostOrDisplayHostSitsAtTheConsoleWhateverTheKind) {
  XServerRuns();
  Write({Record{LOGIN_PROCESS, 5, ":0", "erin", ":0.0", "console"}});
  EXPECT_EQ("erin on :0.0", ConsoleUser());
  Write({Record{LOGIN_PROCESS, 5, "s/2", "frank", "pts/2", ":0.0"}});
  EXPECT_EQ("frank on pts/2", ConsoleUser());
  // "console" as host needs display :0 as line.
  Write({UserProcess("gina", "pts/3", "console")});
  EXPECT_EQ("none", ConsoleUser());
  // The first record that qualifies, in the order of the file.
  Write({UserProcess("alice", "pts/1", ":0"), UserProcess("bob", ":0")});
  EXPECT_EQ("alice on pts/1", ConsoleUser());
}

TEST_F(UtmpFileTest, Tty1UserWithXCredentialsSitsAtTheConsole) {
  XServerRuns();
  Write({UserProcess("alice", "tty2"), UserProcess("bob", "tty1"), UserProcess("carol", "tty1")});
  Account("alice", 10);
  Account("bob", 0);
  EXPECT_EQ("none", ConsoleUser());
  Account("carol", 57);
  EXPECT_EQ("carol on tty1", ConsoleUser());
}

TEST_F(UtmpFileTest, Tty1UserWithoutAccountOrCredentialsIsNotAtTheConsole) {
  XServerRuns();
  Write({UserProcess("nobody-here", "tty1")});
  Account("someone", 10);
  EXPECT_EQ("none", ConsoleUser());
  Write({UserProcess("someone", "tty1", "remote")});
  EXPECT_EQ("none", ConsoleUser());
  Write({UserProcess("henry", "tty1")});
  Account("henry", -1);
  EXPECT_EQ("none", ConsoleUser());
}

TEST_F(UtmpFileTest, HomeEndingInASlashTakesTheFileNameDirectly) {
  XServerRuns();
  Write({UserProcess("ivan", "tty1")});
  Account("ivan", 3, true);
  EXPECT_EQ("ivan on tty1", ConsoleUser());
}

TEST_F(UtmpFileTest, LookupNeedsRoomForThirtyTwoBytesAndATerminator) {
  XServerRuns();
  Write({UserProcess("bob", ":0")});
  char name[kConsoleNameSize];
  char tty[kConsoleNameSize];
  EXPECT_TRUE(GetLocalUserOnConsole(name, sizeof name, tty, sizeof tty));
  EXPECT_STREQ("bob", name);
  EXPECT_STREQ(":0", tty);
  EXPECT_TRUE(GetLocalUserOnConsole(name, sizeof name, nullptr, 0));
  EXPECT_FALSE(GetLocalUserOnConsole(name, 32, tty, sizeof tty));
  EXPECT_FALSE(GetLocalUserOnConsole(name, sizeof name, tty, 32));
  EXPECT_FALSE(GetLocalUserOnConsole(nullptr, sizeof name, tty, sizeof tty));
}

TEST_F(UtmpFileTest, EmptyNameAtTheConsoleIsNoUser) {
  XServerRuns();
  Write({Record{LOGIN_PROCESS, 5, ":0", "", ":0", "console"}});
  char name[kConsoleNameSize];
  EXPECT_TRUE(GetLocalUserOnConsole(name, sizeof name, nullptr, 0));
  EXPECT_STREQ("", name);
  EXPECT_EQ("none", ConsoleUser());
}

// ---------------------------------------------------------------------------
// This machine's database, as who and runlevel read it.

TEST(UsersMachineTest, UsersAreWhatWhoShows) {
  // An empty answer is a valid one: a machine where nobody is logged in.
  survey::testing::CommandAnswer const names = AskCommand("names of users");
  EXPECT_EQ("", names.error);
  EXPECT_EQ(Lines(Output("LC_ALL=C who | awk '{ print $1 }'")), names.values);
  survey::testing::CommandAnswer const ttys = AskCommand("ttys of users");
  EXPECT_EQ(Lines(Output("LC_ALL=C who | awk '{ print $2 }'")), ttys.values);
}

TEST(UsersMachineTest, RunLevelIsWhatWhoShows) {
  std::string const who = Output("LC_ALL=C who -r");
  survey::testing::CommandAnswer const value = AskCommand("value of runlevel");
  if (who.empty()) {
    // No run level record: `runlevel` then has nothing from the database
    // either (it says "unknown" or asks the service manager).
    EXPECT_EQ("no value", value.error);
    return;
  }
  std::size_t const at = who.find("run-level ");
  ASSERT_NE(std::string::npos, at) << who;
  EXPECT_EQ(who.substr(at + 10, 1), OnlyValue(value));
}

TEST(UsersMachineTest, NoXServerMeansNoConsoleUser) {
  if (!Output("ls /tmp/.X11-unix 2>/dev/null | grep '^X0'").empty()) {
    GTEST_SKIP() << "an X server runs on this machine; the console rules are tested on files";
  }
  EXPECT_EQ("no value", AskCommand("current user").error);
  EXPECT_EQ("False", OnlyValue(AskCommand("exists current user")));
}

// ---------------------------------------------------------------------------
// Registration.

TEST(UsersRegistrationTest, RegistersTypesAndPhrasesInTableOrder) {
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  std::vector<RegisteredRow> const expected = {
      {RecordKind::kType, "user", "", "", "", "", nullptr},
      {RecordKind::kType, "runlevel", "", "", "", "", nullptr},
      {RecordKind::kProperty, "current user", "current users", "", "", "user", nullptr},
      {RecordKind::kProperty, "user", "users", "", "", "user", nullptr},
      {RecordKind::kProperty, "user", "users", "string", "", "user", nullptr},
      {RecordKind::kProperty, "name", "names", "", "user", "string", parameters},
      {RecordKind::kProperty, "tty", "ttys", "", "user", "string", parameters},
      {RecordKind::kProperty, "runlevel", "runlevels", "", "", "runlevel", nullptr},
      {RecordKind::kProperty, "value", "values", "", "runlevel", "string", nullptr},
      {RecordKind::kProperty, "previous value", "previous values", "", "runlevel", "string",
       nullptr},
      {RecordKind::kProperty, "effective time", "effective times", "", "runlevel", "time", nullptr},
      {RecordKind::kCast, "string", "", "", "runlevel", "string", parameters},
  };
  survey::testing::ExpectRows(expected, survey::testing::RegisteredFrom("user", expected.size()));
}

}  // namespace
