// The host's application table: readings of process tables laid out in a
// scratch folder as /proc lays them out, the generation of a reading, the
// entries kept as running and recent, and the table behind the context's
// process table interface on this machine, with processes the test starts
// and ends.

#include "host/client/application_table.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "host/client/context.h"
#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/frame/contexts.h"
#include "survey/system/processes.h"
#include "tests/support/shell.h"
#include "tests/unit/system/program_copy.h"

namespace {

using survey::client::ApplicationEntry;
using survey::client::ApplicationTable;
using survey::client::ClientContext;
using survey::client::ProcessSighting;
using survey::client::ProcessTableGeneration;
using survey::client::ReadProcessTable;
using survey::host::Evaluation;
using survey::host::Registry;
using survey::testing::Output;
using survey::testing::ProgramCopy;

class ScratchFolder : public survey::testing::ScratchFolder {
 public:
  ScratchFolder() : survey::testing::ScratchFolder("survey-apptable") {}

  // A process folder with a stat file of that name and start time, and an
  // "exe" link to `program` unless it is empty.
  void AddProcess(std::string const& id, std::string const& comm, std::string const& start,
                  std::string const& program) const {
    std::string const folder = Path() + "/" + id;
    ASSERT_EQ(0, mkdir(folder.c_str(), 0755));
    std::ofstream stat(folder + "/stat");
    // pid (comm) state ppid pgrp session tty tpgid flags minflt cminflt
    // majflt cmajflt utime stime cutime cstime priority nice threads
    // itrealvalue starttime vsize ...
    stat << id << " (" << comm << ") S 1 1 1 0 -1 4194560 10 0 0 0 0 0 0 0 20 0 1 0 " << start
         << " 1000 20 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0\n";
    if (!program.empty()) {
      ASSERT_EQ(0, symlink(program.c_str(), (folder + "/exe").c_str()));
    }
  }

  void Remove(std::string const& id) const {
    ASSERT_EQ(0, std::system(("rm -rf '" + Path() + "/" + id + "'").c_str()));
  }
};

std::vector<ProcessSighting> SortedReading(std::string const& root) {
  std::vector<ProcessSighting> reading = ReadProcessTable(root.c_str());
  std::sort(reading.begin(), reading.end(),
            [](ProcessSighting const& a, ProcessSighting const& b) { return a.pid < b.pid; });
  return reading;
}

// ---------------------------------------------------------------------------
// Readings.

TEST(ApplicationTableTest, ReadingTakesNumberStartTimeAndProgramOfEachProcessFolder) {
  ScratchFolder root;
  root.AddProcess("12", "bash", "4711", "/usr/bin/bash");
  // A name with spaces and parentheses of its own.
  root.AddProcess("13", "a) b (c", "99", "/opt/x/tool");
  root.AddProcess("14", "kworker/0:1", "5", "");
  // Not processes: a name with letters, a name with a number and more, a
  // plain file with a number for a name, and 0.
  ASSERT_EQ(0, mkdir((root.Path() + "/self").c_str(), 0755));
  ASSERT_EQ(0, mkdir((root.Path() + "/15x").c_str(), 0755));
  ASSERT_EQ(0, mkdir((root.Path() + "/0").c_str(), 0755));
  std::ofstream((root.Path() + "/16").c_str()) << "x";
  // A process folder without a stat file starts at 0.
  ASSERT_EQ(0, mkdir((root.Path() + "/17").c_str(), 0755));

  std::vector<ProcessSighting> const reading = SortedReading(root.Path());
  ASSERT_EQ(4u, reading.size());
  EXPECT_EQ(12u, reading[0].pid);
  EXPECT_EQ(4711u, reading[0].startTime);
  EXPECT_EQ("/usr/bin/bash", reading[0].program);
  EXPECT_EQ(13u, reading[1].pid);
  EXPECT_EQ(99u, reading[1].startTime);
  EXPECT_EQ("/opt/x/tool", reading[1].program);
  EXPECT_EQ(14u, reading[2].pid);
  EXPECT_EQ(5u, reading[2].startTime);
  EXPECT_EQ("", reading[2].program);
  EXPECT_EQ(17u, reading[3].pid);
  EXPECT_EQ(0u, reading[3].startTime);
}

TEST(ApplicationTableTest, MissingRootReadsAsNoProcesses) {
  EXPECT_TRUE(ReadProcessTable("/nonexistent/proc").empty());
}

TEST(ApplicationTableTest, StartTimesAgreeWithPs) {
  // ps gives the start in seconds since boot as etimes; the clock ticks of
  // our reading divided by the tick rate must agree, to within a second of
  // rounding.
  std::string const own = std::to_string(getpid());
  long const ticks = sysconf(_SC_CLK_TCK);
  ASSERT_GT(ticks, 0);
  std::vector<ProcessSighting> const reading = ReadProcessTable();
  auto const found = std::find_if(reading.begin(), reading.end(), [&](ProcessSighting const& p) {
    return p.pid == static_cast<unsigned long>(getpid());
  });
  ASSERT_NE(reading.end(), found);
  // Within its first second a process can be older than ps's rounding of
  // the uptime, and ps then prints the negative difference wrapped around:
  // such an answer is asked again a second later.
  double uptime = 0;
  long long elapsed = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    std::ifstream("/proc/uptime") >> uptime;
    elapsed = std::atoll(Output("ps -o etimes= -p " + own).c_str());
    if (static_cast<double>(elapsed) <= uptime + 1) break;
    sleep(1);
  }
  double const startedAt = static_cast<double>(found->startTime) / static_cast<double>(ticks);
  EXPECT_NEAR(uptime - static_cast<double>(elapsed), startedAt, 2.0);
  char target[4096] = {};
  ASSERT_GT(readlink("/proc/self/exe", target, sizeof target - 1), 0);
  EXPECT_EQ(target, found->program);
}

TEST(ApplicationTableTest, ReadingOfThisMachineHasThePsProcesses) {
  auto const psIds = [] {
    std::set<unsigned long> ids;
    std::string const text = Output("ps -e -o pid=");
    std::size_t position = 0;
    while (position < text.size()) {
      std::size_t const end = text.find('\n', position);
      unsigned long const id = std::strtoul(text.c_str() + position, nullptr, 10);
      if (id != 0) ids.insert(id);
      if (end == std::string::npos) break;
      position = end + 1;
    }
    return ids;
  };
  std::set<unsigned long> const before = psIds();
  std::vector<ProcessSighting> const reading = ReadProcessTable();
  std::set<unsigned long> const after = psIds();
  std::set<unsigned long> read;
  for (ProcessSighting const& process : reading) read.insert(process.pid);
  ASSERT_GT(before.size(), 1u);
  for (unsigned long id : before) {
    if (after.count(id) != 0) {
      EXPECT_EQ(1u, read.count(id)) << id;
    }
  }
}

// ---------------------------------------------------------------------------
// Generations.

TEST(ApplicationTableTest, SameProcessesGiveTheSameGenerationInAnyOrder) {
  std::vector<ProcessSighting> const one = {
      {1, 10, "/sbin/init"}, {20, 300, "/usr/bin/bash"}, {21, 301, ""}};
  std::vector<ProcessSighting> const shuffled = {one[2], one[0], one[1]};
  EXPECT_EQ(ProcessTableGeneration(one), ProcessTableGeneration(shuffled));
  EXPECT_EQ(ProcessTableGeneration(one), ProcessTableGeneration(one));
  EXPECT_LE(ProcessTableGeneration(one), 0xffffffffUL);
}

TEST(ApplicationTableTest, AnyChangeOfAProcessChangesTheGeneration) {
  std::vector<ProcessSighting> const base = {
      {1, 10, "/sbin/init"}, {20, 300, "/usr/bin/bash"}, {21, 301, ""}};
  unsigned long const generation = ProcessTableGeneration(base);
  std::vector<std::vector<ProcessSighting>> changed;
  changed.push_back({base[0], base[1]});                                    // 21 ended
  changed.push_back({base[0], base[1], base[2], {22, 302, "/bin/sleep"}});  // 22 started
  changed.push_back({base[0], {20, 305, "/usr/bin/bash"}, base[2]});        // 20 reused
  changed.push_back({base[0], {20, 300, "/usr/bin/vim"}, base[2]});         // 20 ran vim
  changed.push_back({base[0], base[1], {21, 301, "/bin/x"}});               // 21 got a program
  changed.push_back({});
  std::set<unsigned long> generations = {generation};
  for (std::vector<ProcessSighting> const& reading : changed) {
    EXPECT_TRUE(generations.insert(ProcessTableGeneration(reading)).second);
  }
}

TEST(ApplicationTableTest, GenerationsOfMadeTablesFollowTheirProcesses) {
  ScratchFolder root;
  root.AddProcess("100", "a", "1000", "/usr/bin/a");
  root.AddProcess("101", "b", "1001", "/usr/bin/b");
  unsigned long const first = ProcessTableGeneration(ReadProcessTable(root.Path().c_str()));
  EXPECT_EQ(first, ProcessTableGeneration(ReadProcessTable(root.Path().c_str())));
  root.AddProcess("102", "c", "1002", "/usr/bin/c");
  unsigned long const second = ProcessTableGeneration(ReadProcessTable(root.Path().c_str()));
  EXPECT_NE(first, second);
  root.Remove("102");
  EXPECT_EQ(first, ProcessTableGeneration(ReadProcessTable(root.Path().c_str())));
  // The same number and program, started later: another process.
  root.Remove("101");
  root.AddProcess("101", "b", "2001", "/usr/bin/b");
  unsigned long const third = ProcessTableGeneration(ReadProcessTable(root.Path().c_str()));
  EXPECT_NE(first, third);
  EXPECT_NE(second, third);
}

// ---------------------------------------------------------------------------
// Entries.

std::vector<std::string> Paths(ApplicationTable const& table) {
  std::vector<std::string> paths;
  for (ApplicationEntry const& entry : table.Entries()) {
    paths.push_back(entry.path + (entry.running ? " running" : "") + " " +
                    std::to_string(entry.state));
  }
  return paths;
}

TEST(ApplicationTableTest, EntriesAreProgramsOnceEachAndEndedOnesStayRecent) {
  ApplicationTable table;
  table.Observe({{1, 1, "/sbin/init"},
                 {2, 2, ""},
                 {3, 3, "/usr/bin/bash"},
                 {4, 4, "/usr/bin/bash"},
                 {5, 5, "/opt/tool (deleted)"}});
  EXPECT_EQ((std::vector<std::string>{"/sbin/init running 1", "/usr/bin/bash running 1",
                                      "/opt/tool (deleted) running 2"}),
            Paths(table));
  unsigned long const generation = table.Generation();
  table.Observe({{1, 1, "/sbin/init"}, {4, 4, "/usr/bin/bash"}, {6, 6, "/usr/bin/vim"}});
  EXPECT_EQ((std::vector<std::string>{"/sbin/init running 1", "/usr/bin/bash running 1",
                                      "/opt/tool (deleted) 2", "/usr/bin/vim running 1"}),
            Paths(table));
  EXPECT_NE(generation, table.Generation());
  table.Observe({{1, 1, "/sbin/init"}});
  EXPECT_EQ((std::vector<std::string>{"/sbin/init running 1", "/usr/bin/bash 1",
                                      "/opt/tool (deleted) 2", "/usr/bin/vim 1"}),
            Paths(table));

  // Running and recent applications, by name or by whole path.
  ASSERT_NE(nullptr, table.FindRunning("init"));
  EXPECT_EQ("/sbin/init", table.FindRunning("init")->path);
  EXPECT_EQ("/sbin/init", table.FindRunning("/sbin/init")->path);
  EXPECT_EQ(nullptr, table.FindRunning("/usr/sbin/init"));
  EXPECT_EQ(nullptr, table.FindRunning("Init"));
  EXPECT_EQ(nullptr, table.FindRunning("ini"));
  EXPECT_EQ(nullptr, table.FindRunning("bash"));
  ASSERT_NE(nullptr, table.FindRecent("bash"));
  EXPECT_EQ("/usr/bin/bash", table.FindRecent("bash")->path);
  EXPECT_EQ(nullptr, table.FindRecent("tool (deleted)"));
  EXPECT_EQ(nullptr, table.FindRecent(""));

  // Of several programs of one name, the running one, else the one seen last.
  table.Observe({{7, 7, "/a/tool"}});
  table.Observe({{8, 8, "/b/tool"}});
  table.Observe({{9, 9, "/c/tool"}});
  table.Observe({{8, 8, "/b/tool"}});
  EXPECT_EQ("/b/tool", table.FindRecent("tool")->path);
  EXPECT_EQ("/b/tool", table.FindRunning("tool")->path);
  table.Observe({});
  EXPECT_EQ("/c/tool", table.FindRecent("tool")->path);
  EXPECT_EQ(nullptr, table.FindRunning("tool"));
}

// ---------------------------------------------------------------------------
// The context's interface, on this machine.

class ContextTableTest : public ::testing::Test {
 protected:
  template <class Body>
  void InEvaluation(Body body) {
    ClientContext context(nullptr);
    Evaluation evaluation(Registry::Default(), &context);
    Evaluation::Scope scope(evaluation);
    body();
  }

  // The entries as the library reads them through the interface.
  struct Entry {
    std::string name;
    unsigned char state;
    bool running;
  };
  static std::vector<Entry> Entries() {
    std::vector<Entry> entries;
    auto const get = ContextSlot<&SurveyorProcessTableContext::GetTableEntry>();
    auto const running = ContextSlot<&SurveyorProcessTableContext::IsTableEntryRunning>();
    char name[4096];
    for (unsigned long index = 0;; ++index) {
      unsigned char state = 0;
      if (!get(index, name, &state)) {
        EXPECT_FALSE(running(index));
        break;
      }
      entries.push_back(Entry{name, state, running(index)});
    }
    return entries;
  }

  static unsigned long Serial() {
    return CallContext<&SurveyorProcessTableContext::GetTableSerial>();
  }
};

TEST_F(ContextTableTest, AStartedProgramRunsThenStaysRecentAndTheSerialFollows) {
  ProgramCopy program("table");
  unsigned long before = 0;
  InEvaluation([&] {
    before = Serial();
    for (Entry const& entry : Entries()) EXPECT_NE(program.Path(), entry.name);
    char found[4096];
    EXPECT_FALSE(CallContext<&SurveyorProcessTableContext::FindRunningApplication>(
        program.Name().c_str(), program.Name().size(), found));
  });

  program.Start();
  InEvaluation([&] {
    unsigned long const during = Serial();
    EXPECT_NE(before, during);
    std::vector<Entry> const entries = Entries();
    auto const found = std::find_if(entries.begin(), entries.end(), [&](Entry const& entry) {
      return entry.name == program.Path();
    });
    ASSERT_NE(entries.end(), found);
    EXPECT_TRUE(found->running);
    EXPECT_EQ(1, found->state);
    char path[4096];
    ASSERT_TRUE(CallContext<&SurveyorProcessTableContext::FindRunningApplication>(
        program.Name().c_str(), program.Name().size(), path));
    EXPECT_EQ(program.Path(), path);
    ASSERT_TRUE(CallContext<&SurveyorProcessTableContext::FindRecentApplication>(
        program.Path().c_str(), program.Path().size(), path));
    EXPECT_EQ(program.Path(), path);
    // One reading serves the whole evaluation.
    EXPECT_EQ(during, Serial());
    Fingerprinter one;
    DependsOnProcessTable(one);
    Fingerprinter two;
    DependsOnProcessTable(two);
    EXPECT_EQ(one.Digest(), two.Digest());
  });

  program.Stop();
  InEvaluation([&] {
    std::vector<Entry> const entries = Entries();
    auto const found = std::find_if(entries.begin(), entries.end(), [&](Entry const& entry) {
      return entry.name == program.Path();
    });
    ASSERT_NE(entries.end(), found);
    EXPECT_FALSE(found->running);
    char path[4096];
    EXPECT_FALSE(CallContext<&SurveyorProcessTableContext::FindRunningApplication>(
        program.Name().c_str(), program.Name().size(), path));
    EXPECT_TRUE(CallContext<&SurveyorProcessTableContext::FindRecentApplication>(
        program.Name().c_str(), program.Name().size(), path));
  });
}

std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// The application phrases of the library over this host's table.
std::vector<std::string> RunningPaths() {
  std::vector<std::string> paths;
  running_app_iterator iterator;
  try {
    application found = iterator.First();
    for (;;) {
      paths.push_back(Text(Path(Of(0), found)));
      found = iterator.Next();
    }
  } catch (NoSuchObject const&) {
  }
  return paths;
}

TEST_F(ContextTableTest, ApplicationsOfTheLibraryFollowTheTable) {
  ProgramCopy kept("kept");
  ProgramCopy removed("removed");
  kept.Start();
  removed.Start();
  // A process whose program file is gone: its entry is no application.
  ASSERT_EQ(0, unlink(removed.Path().c_str()));
  std::string const name = kept.Name();
  auto const bytes = reinterpret_cast<unsigned char const*>(name.data());
  InEvaluation([&] {
    std::vector<std::string> const running = RunningPaths();
    EXPECT_EQ(1, std::count(running.begin(), running.end(), kept.Path()));
    for (std::string const& path : running) {
      EXPECT_EQ(std::string::npos, path.find(removed.Name())) << path;
    }
    // The walk went on past the entry that is no application: the one of
    // this test's own program is there too.
    char own[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", own, sizeof own - 1), 0);
    EXPECT_EQ(1, std::count(running.begin(), running.end(), std::string(own)));
    EXPECT_EQ(kept.Path(), Text(Path(Of(0), RunApp_of(bytes, name.size()))));
    EXPECT_EQ(kept.Path(), Text(Path(Of(0), RecentApp_of(bytes, name.size()))));
    std::string const gone = removed.Name() + " (deleted)";
    EXPECT_THROW(RunApp_of(reinterpret_cast<unsigned char const*>(gone.data()), gone.size()),
                 NoSuchObject);
  });
  kept.Stop();
  InEvaluation([&] {
    EXPECT_THROW(RunApp_of(bytes, name.size()), NoSuchObject);
    // Still recent: it ran in the life of this host.
    EXPECT_EQ(kept.Path(), Text(Path(Of(0), RecentApp_of(bytes, name.size()))));
    std::vector<std::string> const running = RunningPaths();
    EXPECT_EQ(0, std::count(running.begin(), running.end(), kept.Path()));
  });
}

// The program of every process that stood still while the table was read,
// as the readlink command reads it, is a running entry under its whole path.
std::set<std::string> ProcessPrograms() {
  std::string const text = Output(
      "cd /proc && for p in [0-9]*; do t=$(readlink \"$p/exe\" 2>/dev/null) && "
      "printf '%s %s\\n' \"$p\" \"$t\"; done");
  std::set<std::string> lines;
  std::size_t position = 0;
  while (position < text.size()) {
    std::size_t const end = text.find('\n', position);
    lines.insert(text.substr(position, end - position));
    position = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

TEST_F(ContextTableTest, RunningEntriesAreTheProgramsReadlinkReads) {
  std::set<std::string> const before = ProcessPrograms();
  std::set<std::string> running;
  InEvaluation([&] {
    for (Entry const& entry : Entries()) {
      if (entry.running) running.insert(entry.name);
    }
  });
  std::set<std::string> const after = ProcessPrograms();
  int compared = 0;
  for (std::string const& line : before) {
    if (after.count(line) == 0) continue;
    std::string const path = line.substr(line.find(' ') + 1);
    EXPECT_EQ(1u, running.count(path)) << line;
    ++compared;
  }
  EXPECT_GT(compared, 0);
}

}  // namespace
