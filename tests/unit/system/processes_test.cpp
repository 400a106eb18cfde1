// Processes: the walk of /proc and the lookups by name and number, against a
// /proc of the test's own making (a file system mounted over /proc in a mount
// namespace of a child process) and against this machine's, compared with
// what ps and the readlink command report; processes started, replaced,
// ended and left as zombies by the test; walks while processes come and go;
// the command as a user runs it; and the counting list of application runs.

#include "survey/system/processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/foundation/file_errors.h"
#include "survey/frame/contexts.h"
#include "tests/support/command_answers.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/shell.h"
#include "tests/unit/system/program_copy.h"

namespace {

using survey::host::Evaluation;
using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::testing::ProgramCopy;
using survey::testing::RunShell;
using survey::testing::ShellResult;

std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

surveyor_string View(std::string const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

// A process as the walk gives it.
struct Seen {
  std::string id;
  std::string name;
  bool operator<(Seen const& other) const {
    return id != other.id ? id < other.id : name < other.name;
  }
  bool operator==(Seen const& other) const { return id == other.id && name == other.name; }
};

std::ostream& operator<<(std::ostream& out, Seen const& seen) {
  return out << seen.id << " " << seen.name;
}

Seen SeenOf(process const& value) { return Seen{value.id, value.name}; }

// Every process of a stream, First then Next until "none". Runs inside an
// evaluation, whose memory holds the texts.
template <class Start, class Step>
std::vector<Seen> Drain(Start start, Step step) {
  std::vector<Seen> seen;
  try {
    seen.push_back(SeenOf(start()));
    for (int guard = 0; guard < 1000000; ++guard) seen.push_back(SeenOf(step()));
    ADD_FAILURE() << "the stream did not end";
  } catch (NoSuchObject const&) {
  }
  return seen;
}

std::vector<Seen> AllProcesses() {
  process_iterator iterator;
  return Drain([&] { return iterator.First(); }, [&] { return iterator.Next(); });
}

std::vector<Seen> ProcessesNamed(std::string const& wanted) {
  namedprocess_iterator iterator;
  surveyor_string const index = View(wanted);
  return Drain([&] { return iterator.First(index); }, [&] { return iterator.Next(index); });
}

Seen Numbered(long long number) { return SeenOf(numberedprocess_of_world(integer{number})); }

// Runs `body` inside an evaluation of the default registry, with no context.
class ProcessesTest : public ::testing::Test {
 protected:
  ProcessesTest() : evaluation_(Registry::Default()), scope_(evaluation_) {}

 private:
  Evaluation evaluation_;
  Evaluation::Scope scope_;
};

// The name the rules give for a link target: the text after its last "/",
// unless that "/" is the first character; "unnamed" for an empty result.
std::string NameOfTarget(std::string const& target) {
  std::string name = target;
  std::size_t const slash = target.rfind('/');
  if (slash != std::string::npos && slash != 0) name = target.substr(slash + 1);
  return name.empty() ? "unnamed" : name;
}

// ---------------------------------------------------------------------------
// A /proc of the test's making. The walk runs in a child process that has a
// mount namespace of its own with a memory file system over /proc, which the
// child fills; the child prints what it saw, one line a value, and the
// parent compares. Needs root and mount namespaces; skips otherwise.

// Runs `body` in such a child and gives its output; `skip` tells why it
// could not run.
template <class Body>
std::string InOwnProc(Body body, std::string& skip) {
  int channel[2];
  if (pipe(channel) != 0) {
    skip = "no pipe";
    return std::string();
  }
  pid_t const child = fork();
  if (child == 0) {
    close(channel[0]);
    std::string report;
    if (unshare(CLONE_NEWNS) != 0) {
      report = "SKIP cannot make a mount namespace: " + std::string(std::strerror(errno));
    } else if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
               mount("none", "/proc", "tmpfs", 0, "mode=0755") != 0) {
      report = "SKIP cannot mount over /proc: " + std::string(std::strerror(errno));
    } else {
      try {
        Evaluation evaluation(Registry::Default());
        Evaluation::Scope scope(evaluation);
        report = body();
      } catch (std::exception const& error) {
        report += std::string("EXCEPTION ") + error.what() + "\n";
      }
    }
    std::size_t written = 0;
    while (written < report.size()) {
      ssize_t const count = write(channel[1], report.data() + written, report.size() - written);
      if (count <= 0) break;
      written += static_cast<std::size_t>(count);
    }
    _exit(0);
  }
  close(channel[1]);
  std::string output;
  char buffer[4096];
  ssize_t count;
  while ((count = read(channel[0], buffer, sizeof buffer)) > 0) {
    output.append(buffer, static_cast<std::size_t>(count));
  }
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (output.rfind("SKIP ", 0) == 0) {
    skip = output.substr(5);
    return std::string();
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child failed: " << status;
  return output;
}

void MakeFolder(std::string const& path) {
  if (mkdir(path.c_str(), 0755) != 0) throw std::runtime_error("mkdir " + path);
}
void MakeLink(std::string const& target, std::string const& path) {
  if (symlink(target.c_str(), path.c_str()) != 0) throw std::runtime_error("symlink " + path);
}
void MakeFile(std::string const& path) {
  std::ofstream out(path);
  if (!out) throw std::runtime_error("file " + path);
}

std::string Lines(std::vector<Seen> const& seen) {
  std::vector<Seen> sorted = seen;
  std::sort(sorted.begin(), sorted.end());
  std::string text;
  for (Seen const& one : sorted) text += one.id + "|" + one.name + "\n";
  return text;
}

std::string const kLongName(1500, 'n');

// The made /proc:
//   42      a process whose program is "/init": its only "/" leads;
//   43      a program whose file was replaced: " (deleted)" stays in the name;
//   44      a process folder without an "exe" link: "unnamed";
//   45      a plain file with a number for a name: no process;
//   46      a dangling link with a number for a name: cannot be examined;
//   self    a link to 42: its name reads as 0;
//   0, abc  folders whose names read as 0;
//   47x     a folder whose name starts with a number: its number is 47;
//   -5      a folder whose name reads as -5, with its own "exe";
//   49      a program whose name is too long for the walk's buffer;
//   50      a link target without any "/";
//   51      a link target that ends in "/": an empty name;
//   52      a link target in a folder with spaces.
void MakeProc() {
  MakeFolder("/proc/42");
  MakeLink("/init", "/proc/42/exe");
  MakeFolder("/proc/43");
  MakeLink("/usr/bin/bash (deleted)", "/proc/43/exe");
  MakeFolder("/proc/44");
  MakeFile("/proc/45");
  MakeLink("/nonexistent/thing", "/proc/46");
  MakeLink("42", "/proc/self");
  MakeFolder("/proc/0");
  MakeLink("/usr/bin/zero", "/proc/0/exe");
  MakeFolder("/proc/abc");
  MakeFolder("/proc/47x");
  MakeFolder("/proc/-5");
  MakeLink("/usr/bin/negative", "/proc/-5/exe");
  MakeFolder("/proc/49");
  MakeLink("/opt/" + kLongName, "/proc/49/exe");
  MakeFolder("/proc/50");
  MakeLink("relative-program", "/proc/50/exe");
  MakeFolder("/proc/51");
  MakeLink("/usr/lib/", "/proc/51/exe");
  MakeFolder("/proc/52");
  MakeLink("/opt/my tools/basher", "/proc/52/exe");
}

TEST_F(ProcessesTest, WalkOfAMadeProcFollowsTheRulesEntryByEntry) {
  std::string skip;
  std::string const output = InOwnProc(
      [] {
        MakeProc();
        return Lines(AllProcesses());
      },
      skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  // 45, 46, self, 0 and abc are passed over; 47x reads /proc/47/exe, which
  // does not exist; -5 reads /proc/-5/exe; 49's name does not fit 1024
  // bytes; 51's name is empty.
  std::vector<Seen> expected = {
      {"42", "/init"},    {"43", "bash (deleted)"}, {"44", "unnamed"},          {"47x", "unnamed"},
      {"-5", "negative"}, {"49", "unnamed"},        {"50", "relative-program"}, {"51", "unnamed"},
      {"52", "basher"},
  };
  EXPECT_EQ(Lines(expected), output);
}

TEST_F(ProcessesTest, NamedLookupsOnAMadeProc) {
  std::string skip;
  std::string const output = InOwnProc(
      [] {
        MakeProc();
        std::string report;
        for (char const* wanted : {"bas*", "bash", "bash (deleted)", "/init", "unnamed", "*",
                                   "basher", "Basher", "relative-program*", "negative", "n*"}) {
          report += std::string("[") + wanted + "]\n" + Lines(ProcessesNamed(wanted));
        }
        return report;
      },
      skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  std::string const expected =
      "[bas*]\n43|bash (deleted)\n52|basher\n"
      // The replaced program keeps the kernel's mark: the exact name misses.
      "[bash]\n"
      "[bash (deleted)]\n43|bash (deleted)\n"
      "[/init]\n42|/init\n"
      "[unnamed]\n44|unnamed\n47x|unnamed\n49|unnamed\n51|unnamed\n"
      "[*]\n-5|negative\n42|/init\n43|bash (deleted)\n44|unnamed\n47x|unnamed\n49|unnamed\n"
      "50|relative-program\n51|unnamed\n52|basher\n"
      "[basher]\n52|basher\n"
      "[Basher]\n"
      "[relative-program*]\n50|relative-program\n"
      "[negative]\n-5|negative\n"
      "[n*]\n-5|negative\n";
  EXPECT_EQ(expected, output);
}

TEST_F(ProcessesTest, NumberedLookupsOnAMadeProc) {
  std::string skip;
  std::string const output = InOwnProc(
      [] {
        MakeProc();
        std::string report;
        for (long long number : {42LL, 43LL, 44LL, 45LL, 47LL, 49LL, 0LL, -5LL, 4294967291LL,
                                 99999999LL, 4294967296LL + 42}) {
          process const found = numberedprocess_of_world(integer{number});
          report += std::to_string(number) + ": " + found.id + "|" +
                    std::string(found.name).substr(0, 20) + "|" +
                    std::to_string(pid_of_process(found).value) + "\n";
        }
        // Paths whole, and the capacity test.
        char buffer[4096];
        report += ProcessIdToPath(43, buffer, sizeof buffer) ? buffer : "false";
        report += "\n";
        report += ProcessIdToPath(42, buffer, 5) ? buffer : "false";
        report += "\n";
        report += ProcessIdToPath(42, buffer, 6) ? buffer : "false";
        report += "\n";
        report += ProcessIdToName(50, buffer, 16) ? buffer : "false";
        report += "\n";
        report += ProcessIdToName(50, buffer, 17) ? buffer : "false";
        report += "\n";
        report += ProcessIdToPath(44, buffer, sizeof buffer) ? buffer : "false";
        report += "\n";
        return report;
      },
      skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  std::string const longName = kLongName.substr(0, 20);
  long long const wide = sizeof(long) == 8 ? 4294967291LL : LONG_MAX;
  std::string const expected =
      "42: 42|/init|42\n"
      "43: 43|bash (deleted)|43\n"
      "44: 44|unnamed|44\n"
      "45: 45|unnamed|45\n"
      "47: 47|unnamed|47\n"
      // The lookup by number has room for the long name that the walk has not.
      "49: 49|" +
      longName +
      "|49\n"
      "0: 0|zero|0\n"
      // -5 keeps its low 32 bits: 4294967291, which names /proc/-5 as an int.
      "-5: 4294967291|negative|" +
      std::to_string(wide) +
      "\n"
      "4294967291: 4294967291|negative|" +
      std::to_string(wide) +
      "\n"
      "99999999: 99999999|unnamed|99999999\n"
      "4294967338: 42|/init|42\n"
      "/usr/bin/bash (deleted)\n"
      "false\n"
      "/init\n"
      "false\n"
      "relative-program\n"
      "false\n";
  EXPECT_EQ(expected, output);
}

// A /proc that cannot be opened: the walks fail with FileIOError, and the
// lookup by number still gives a value.
TEST_F(ProcessesTest, UnreadableProcMakesTheWalksFail) {
  std::string skip;
  std::string const output = InOwnProc(
      [] {
        MakeProc();
        if (chmod("/proc", 0700) != 0) return std::string("chmod failed\n");
        // Give up root, so that the mode counts.
        if (setgid(65534) != 0 || setuid(65534) != 0) return std::string("setuid failed\n");
        std::string report;
        try {
          process_iterator iterator;
          iterator.First();
          report += "walk gave a value\n";
        } catch (FileIOError const&) {
          report += "walk: FileIOError\n";
        }
        try {
          namedprocess_iterator iterator;
          std::string const wanted = "*";
          iterator.First(View(wanted));
          report += "named walk gave a value\n";
        } catch (FileIOError const&) {
          report += "named walk: FileIOError\n";
        }
        report += std::string(numberedprocess_of_world(integer{42}).name) + "\n";
        return report;
      },
      skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  EXPECT_EQ("walk: FileIOError\nnamed walk: FileIOError\nunnamed\n", output);
}

// ---------------------------------------------------------------------------
// This machine, beside ps and readlink.

std::set<std::string> PsIds() {
  ShellResult const ps = RunShell("ps -e -o pid=");
  EXPECT_EQ(0, ps.status);
  std::set<std::string> ids;
  for (std::string line : Lines(ps.output)) {
    line.erase(0, line.find_first_not_of(' '));
    if (!line.empty()) ids.insert(line);
  }
  return ids;
}

// The targets of the "exe" links, as the readlink command reads them, for
// the processes of /proc; empty for those it cannot read.
std::map<std::string, std::string> ReadlinkTargets() {
  ShellResult const links = RunShell(
      "cd /proc && for p in [0-9]*; do printf '%s %s\\n' \"$p\" \"$(readlink \"$p/exe\" "
      "2>/dev/null)\"; done");
  EXPECT_EQ(0, links.status);
  std::map<std::string, std::string> targets;
  for (std::string const& line : Lines(links.output)) {
    std::size_t const space = line.find(' ');
    if (space == std::string::npos) continue;
    targets[line.substr(0, space)] = line.substr(space + 1);
  }
  return targets;
}

bool Exists(std::string const& id) { return kill(static_cast<pid_t>(std::stol(id)), 0) == 0; }

// The same processes as ps, by number: every process present at two ps runs
// around the walk is in the walk, and every process of the walk was seen by
// ps or ended before the second run (started and gone between the two).
TEST_F(ProcessesTest, WalkHasTheProcessesOfPs) {
  std::set<std::string> const before = PsIds();
  std::vector<Seen> const walk = AllProcesses();
  std::set<std::string> const after = PsIds();
  ASSERT_GT(before.size(), 1u);
  std::set<std::string> walked;
  for (Seen const& seen : walk) {
    EXPECT_TRUE(walked.insert(seen.id).second) << "twice: " << seen.id;
  }
  for (std::string const& id : before) {
    if (after.count(id) != 0) {
      EXPECT_EQ(1u, walked.count(id)) << "missing: " << id;
    }
  }
  for (std::string const& id : walked) {
    if (before.count(id) == 0 && after.count(id) == 0) {
      EXPECT_FALSE(Exists(id)) << "neither ps run saw " << id;
    }
  }
  // "self" and the other named entries of /proc are not processes.
  for (std::string const& id : walked) {
    EXPECT_EQ(id.find_first_not_of("0123456789"), std::string::npos) << id;
  }
}

// Names: the file name of the link target that the readlink command reads,
// or "unnamed". Kernel threads (flag PF_KTHREAD in their stat file, read
// here) have no program and are "unnamed"; the names of other processes
// start with what ps calls their command, when that is the program's name.
TEST_F(ProcessesTest, NamesAreThoseOfTheLinkTargetsReadlinkReads) {
  std::map<std::string, std::string> const before = ReadlinkTargets();
  std::vector<Seen> const walk = AllProcesses();
  std::map<std::string, std::string> const after = ReadlinkTargets();
  int compared = 0;
  int kernelThreads = 0;
  for (Seen const& seen : walk) {
    auto const first = before.find(seen.id);
    auto const second = after.find(seen.id);
    // Only processes that stood still across the three readings.
    if (first == before.end() || second == after.end() || first->second != second->second) {
      continue;
    }
    EXPECT_EQ(NameOfTarget(first->second), seen.name) << seen.id;
    ++compared;
    std::ifstream stat("/proc/" + seen.id + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::size_t const close = text.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    unsigned long flags = 0;
    for (int number = 3; number <= 9 && fields >> field; ++number) {
      if (number == 9) flags = std::stoul(field);
    }
    if ((flags & 0x00200000) != 0) {
      EXPECT_EQ("unnamed", seen.name) << seen.id;
      ++kernelThreads;
    }
  }
  EXPECT_GT(compared, 0);
}

// "*" gives the whole walk, "unnamed" ones included, and a prefix gives the
// part of it whose names start so.
TEST_F(ProcessesTest, WildcardsSelectFromTheWalk) {
  std::vector<Seen> const all = AllProcesses();
  std::vector<Seen> const star = ProcessesNamed("*");
  std::set<std::string> ids;
  for (Seen const& seen : all) ids.insert(seen.id);
  std::size_t common = 0;
  for (Seen const& seen : star) common += ids.count(seen.id);
  // Allow for processes that came and went between the two walks.
  EXPECT_GT(common, star.size() * 9 / 10);
  std::map<std::string, std::string> const targets = ReadlinkTargets();
  std::string const prefix = NameOfTarget(targets.at(std::to_string(getpid()))).substr(0, 5);
  for (Seen const& seen : ProcessesNamed(prefix + "*")) {
    EXPECT_EQ(0u, seen.name.rfind(prefix, 0)) << seen;
  }
  std::vector<Seen> const mine = ProcessesNamed(prefix + "*");
  EXPECT_NE(mine.end(), std::find_if(mine.begin(), mine.end(), [](Seen const& seen) {
              return seen.id == std::to_string(getpid());
            }));
}

TEST_F(ProcessesTest, NoSuchNumberIsUnnamedAndKeepsItsNumber) {
  std::ifstream limit("/proc/sys/kernel/pid_max");
  long long pidMax = 0;
  limit >> pidMax;
  ASSERT_GT(pidMax, 0);
  ASSERT_LT(pidMax, 99999999);
  Seen const absent = Numbered(99999999);
  EXPECT_EQ("unnamed", absent.name);
  EXPECT_EQ("99999999", absent.id);
  EXPECT_EQ(99999999, pid_of_process(numberedprocess_of_world(integer{99999999})).value);
}

TEST_F(ProcessesTest, OwnProcessByNumberHasTheNameOfItsProgram) {
  std::map<std::string, std::string> const targets = ReadlinkTargets();
  std::string const own = std::to_string(getpid());
  Seen const seen = Numbered(getpid());
  EXPECT_EQ(own, seen.id);
  EXPECT_EQ(NameOfTarget(targets.at(own)), seen.name);
  char path[4096];
  ASSERT_TRUE(ProcessIdToPath(static_cast<unsigned long>(getpid()), path, sizeof path));
  EXPECT_EQ(targets.at(own), path);
}

// ---------------------------------------------------------------------------
// Processes of the test's own.

std::vector<std::string> IdsOf(std::vector<Seen> const& seen) {
  std::vector<std::string> ids;
  for (Seen const& one : seen) ids.push_back(one.id);
  std::sort(ids.begin(), ids.end());
  return ids;
}

TEST_F(ProcessesTest, StartedProcessIsFoundByNameAndNumberAndGoneAfterItEnds) {
  ProgramCopy program("started");
  EXPECT_TRUE(ProcessesNamed(program.Name()).empty());
  pid_t const first = program.Start();
  pid_t const second = program.Start();
  std::vector<std::string> expected = {std::to_string(first), std::to_string(second)};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(expected, IdsOf(ProcessesNamed(program.Name())));
  EXPECT_EQ(expected,
            IdsOf(ProcessesNamed(program.Name().substr(0, program.Name().size() - 1) + "*")));
  // A name one byte short, or one byte long, is another name.
  EXPECT_TRUE(ProcessesNamed(program.Name().substr(0, program.Name().size() - 1)).empty());
  EXPECT_TRUE(ProcessesNamed(program.Name() + "x").empty());
  Seen const byNumber = Numbered(first);
  EXPECT_EQ(program.Name(), byNumber.name);
  EXPECT_EQ(std::to_string(first), byNumber.id);
  std::vector<Seen> const all = AllProcesses();
  EXPECT_NE(all.end(),
            std::find(all.begin(), all.end(), Seen{std::to_string(first), program.Name()}));

  program.Stop(first);
  EXPECT_EQ(std::vector<std::string>{std::to_string(second)},
            IdsOf(ProcessesNamed(program.Name())));
  EXPECT_EQ("unnamed", Numbered(first).name);
  program.Stop(second);
  EXPECT_TRUE(ProcessesNamed(program.Name()).empty());
}

TEST_F(ProcessesTest, ReplacedProgramKeepsTheKernelsMarkAndMissesTheExactName) {
  ProgramCopy program("replaced");
  pid_t const child = program.Start();
  ASSERT_EQ(0, unlink(program.Path().c_str()));
  // What the readlink command reads now.
  std::string const target = RunShell("readlink /proc/" + std::to_string(child) + "/exe").output;
  ASSERT_EQ(program.Path() + " (deleted)\n", target);
  EXPECT_TRUE(ProcessesNamed(program.Name()).empty());
  std::vector<Seen> const prefixed = ProcessesNamed(program.Name() + "*");
  ASSERT_EQ(1u, prefixed.size());
  EXPECT_EQ(program.Name() + " (deleted)", prefixed[0].name);
  EXPECT_EQ(std::to_string(child), prefixed[0].id);
  EXPECT_EQ(1u, ProcessesNamed(program.Name() + " (deleted)").size());
  EXPECT_EQ(program.Name() + " (deleted)", Numbered(child).name);
  program.Stop(child);
}

// A zombie has no program: it is in the walk, "unnamed".
TEST_F(ProcessesTest, ZombieIsWalkedUnnamed) {
  pid_t const child = fork();
  if (child == 0) _exit(0);
  ASSERT_GT(child, 0);
  std::string const id = std::to_string(child);
  // Wait until it is a zombie, as its stat file says.
  bool zombie = false;
  for (int tries = 0; tries < 5000 && !zombie; ++tries) {
    std::ifstream stat("/proc/" + id + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::size_t const close = text.rfind(')');
    zombie = close != std::string::npos && text.compare(close, 3, ") Z") == 0;
    if (!zombie) usleep(1000);
  }
  ASSERT_TRUE(zombie);
  std::vector<Seen> const all = AllProcesses();
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), Seen{id, "unnamed"}));
  EXPECT_EQ("unnamed", Numbered(child).name);
  std::vector<std::string> const unnamed = IdsOf(ProcessesNamed("unnamed"));
  EXPECT_TRUE(std::binary_search(unnamed.begin(), unnamed.end(), id));
  int status = 0;
  waitpid(child, &status, 0);
}

// Processes that end while the walk reads /proc are passed over or come out
// "unnamed"; the walk itself always ends with "none".
TEST_F(ProcessesTest, WalksWhileProcessesComeAndGoEndCleanly) {
  std::atomic<bool> stop{false};
  std::atomic<int> made{0};
  std::thread churn([&] {
    while (!stop) {
      pid_t const child = fork();
      if (child == 0) {
        usleep(200);
        _exit(0);
      }
      if (child > 0) {
        ++made;
        waitpid(child, nullptr, 0);
      }
    }
  });
  int walks = 0;
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (std::chrono::steady_clock::now() < deadline || walks < 20) {
    std::vector<Seen> const all = AllProcesses();
    EXPECT_GT(all.size(), 1u);
    for (Seen const& seen : all) {
      EXPECT_FALSE(seen.name.empty());
      EXPECT_GT(std::stol(seen.id), 0);
    }
    ++walks;
  }
  stop = true;
  churn.join();
  EXPECT_GT(made.load(), 10);
}

// ---------------------------------------------------------------------------
// Walk states.

TEST_F(ProcessesTest, NextAfterTheEndThrowsNoSuchObjectAgainAndFirstStartsOver) {
  process_iterator iterator;
  EXPECT_THROW(iterator.Next(), NoSuchObject);  // nothing open yet
  std::string const first = iterator.First().id;
  try {
    for (;;) iterator.Next();
  } catch (NoSuchObject const&) {
  }
  EXPECT_THROW(iterator.Next(), NoSuchObject);
  EXPECT_EQ(first, iterator.First().id);
}

TEST_F(ProcessesTest, StatesThatNeverGotThroughFirstCanBeDestroyed) {
  alignas(process_iterator) unsigned char state[sizeof(process_iterator)];
  IteratorBasics<process_iterator>::Construct(state);
  IteratorBasics<process_iterator>::Destroy(state);
  alignas(namedprocess_iterator) unsigned char named[sizeof(namedprocess_iterator)];
  IteratorBasics<namedprocess_iterator>::Construct(named);
  IteratorBasics<namedprocess_iterator>::Destroy(named);
  // One destroyed in the middle of a walk closes its handle.
  IteratorBasics<process_iterator>::Construct(state);
  std::launder(reinterpret_cast<process_iterator*>(state))->First();
  IteratorBasics<process_iterator>::Destroy(state);
}

// The open descriptors of this process, as its /proc folder lists them,
// without the one of the listing itself.
int OpenDescriptors() {
  DIR* const folder = opendir("/proc/self/fd");
  if (folder == nullptr) return -1;
  int count = 0;
  while (dirent const* const entry = readdir(folder)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(folder);
  return count - 1;
}

TEST_F(ProcessesTest, WalksHoldOneHandleEach) {
  int const before = OpenDescriptors();
  ASSERT_GT(before, 0);
  {
    process_iterator one;
    process_iterator two;
    one.First();
    two.First();
    one.First();  // the earlier handle is closed
    EXPECT_EQ(before + 2, OpenDescriptors());
  }
  EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(ProcessesTest, ValueIsTwoTextsAndNameIsNotCopied) {
  EXPECT_EQ(2 * sizeof(char const*), sizeof(process));
  EXPECT_EQ(sizeof(void*), sizeof(process_iterator));
  EXPECT_EQ(sizeof(void*), sizeof(namedprocess_iterator));
  process const value = numberedprocess_of_world(integer{1});
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(value.name), name_of_process(value).data);
  process const text{"x", "-12"};
  EXPECT_EQ(-12, pid_of_process(text).value);
  process const garbage{"x", "12abc"};
  EXPECT_EQ(12, pid_of_process(garbage).value);
}

// ---------------------------------------------------------------------------
// The command, as a user runs it.

#ifdef SURVEY_COMMAND
// The command's answer in JSON; it exits with 1 when the query ends in an
// error.
nlohmann::json Ask(std::string const& query, int status = 0) {
  std::string const settings = survey::testing::SanitizerSettings();
  char pattern[] = "/tmp/survey-processes-home-XXXXXX";
  std::string const home = mkdtemp(pattern);
  ShellResult const result = RunShell("env -i TZ=UTC HOME='" + home + "' " + settings +
                                      "'" SURVEY_COMMAND "' --json -e '" + query + "'");
  std::system(("rm -rf '" + home + "'").c_str());
  EXPECT_EQ(status, result.status) << query;
  nlohmann::json answer = nlohmann::json::parse(result.output, nullptr, false);
  EXPECT_FALSE(answer.is_discarded()) << result.output;
  return answer;
}

std::vector<std::string> Texts(nlohmann::json const& answer) {
  EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
  std::vector<std::string> texts;
  for (nlohmann::json const& value : answer["values"]) texts.push_back(value["text"]);
  return texts;
}

TEST(ProcessesCommandTest, CommandListsThePsProcessesWithTheirProgramNames) {
  std::set<std::string> const before = PsIds();
  std::map<std::string, std::string> const targets = ReadlinkTargets();
  std::vector<std::string> const pairs = Texts(Ask("(pid of it, name of it) of processes"));
  std::map<std::string, std::string> const laterTargets = ReadlinkTargets();
  std::set<std::string> const after = PsIds();
  std::set<std::string> listed;
  for (std::string const& pair : pairs) {
    std::size_t const comma = pair.find(", ");
    ASSERT_NE(std::string::npos, comma) << pair;
    std::string const id = pair.substr(0, comma);
    listed.insert(id);
    // Only processes that stood still: the same program before and after.
    auto const first = targets.find(id);
    auto const second = laterTargets.find(id);
    if (first != targets.end() && second != laterTargets.end() && first->second == second->second) {
      EXPECT_EQ(NameOfTarget(first->second), pair.substr(comma + 2)) << id;
    }
  }
  for (std::string const& id : before) {
    if (after.count(id) != 0) {
      EXPECT_EQ(1u, listed.count(id)) << "missing: " << id;
    }
  }
  // The command saw itself: a process of its program's name that neither ps
  // run saw.
  std::string const own = NameOfTarget(SURVEY_COMMAND);
  bool itself = false;
  for (std::string const& pair : pairs) {
    std::size_t const comma = pair.find(", ");
    std::string const id = pair.substr(0, comma);
    itself =
        itself || (pair.substr(comma + 2) == own && before.count(id) == 0 && after.count(id) == 0);
  }
  EXPECT_TRUE(itself);
}

TEST(ProcessesCommandTest, CommandFindsAStartedProcessByNameAndNumber) {
  ProgramCopy program("command");
  pid_t const child = program.Start();
  std::string const id = std::to_string(child);
  EXPECT_EQ(std::vector<std::string>{id},
            Texts(Ask("pids of processes \"" + program.Name() + "\"")));
  EXPECT_EQ(std::vector<std::string>{program.Name()}, Texts(Ask("name of process " + id)));
  EXPECT_EQ(std::vector<std::string>{id}, Texts(Ask("process ids of processes whose (name of it "
                                                    "= \"" +
                                                    program.Name() + "\")")));
  program.Stop(child);
  EXPECT_EQ(std::vector<std::string>{"0"},
            Texts(Ask("number of processes \"" + program.Name() + "\"")));
  EXPECT_EQ(std::vector<std::string>{"unnamed"}, Texts(Ask("name of process " + id)));
}

TEST(ProcessesCommandTest, CommandListsAStartedProgramAsARunningApplication) {
  ProgramCopy program("application");
  pid_t const child = program.Start();
  EXPECT_EQ(std::vector<std::string>{program.Path()},
            Texts(Ask("pathname of running application \"" + program.Name() + "\"")));
  EXPECT_EQ(std::vector<std::string>{program.Path()},
            Texts(Ask("pathname of recent application \"" + program.Path() + "\"")));
  EXPECT_EQ(std::vector<std::string>{"1"},
            Texts(Ask("number of running applications whose (pathname of it = \"" + program.Path() +
                      "\")")));
  program.Stop(child);
  EXPECT_EQ(std::vector<std::string>{"False"},
            Texts(Ask("exists running applications whose (pathname of it = \"" + program.Path() +
                      "\")")));
  nlohmann::json const none = Ask("running application \"" + program.Name() + "\"", 1);
  EXPECT_EQ("no value", none["error"]["kind"]) << none.dump();
}
#endif

// ---------------------------------------------------------------------------
// Running and recent applications, from a host table that the test sets up.

struct TableEntry {
  std::string name;
  unsigned char state;
  bool running;
};

std::vector<TableEntry> table;
int entryCalls = 0;

// The index of the entry after whose reading the next allocation fails;
// none when past any table.
unsigned long failAllocationAfterEntry = static_cast<unsigned long>(-1);

bool GetEntry(unsigned long index, char* name, unsigned char* state) {
  ++entryCalls;
  if (index == failAllocationAfterEntry) survey::testing::FailNextAllocation();
  if (index >= table.size()) return false;
  std::strcpy(name, table[index].name.c_str());
  *state = table[index].state;
  return true;
}

bool EntryRunning(unsigned long index) { return index < table.size() && table[index].running; }

// Finds by whole name among the entries that `wanted` accepts.
// Whether the next allocation fails after a lookup has found its entry.
bool failAllocationAfterFind = false;

template <bool Running>
bool FindEntry(char const* name, unsigned long length, char* found) {
  if (failAllocationAfterFind) survey::testing::FailNextAllocation();
  for (TableEntry const& entry : table) {
    if (Running ? !entry.running : entry.state != 1) continue;
    if (entry.name == std::string(name, length)) {
      std::strcpy(found, entry.name.c_str());
      return true;
    }
  }
  return false;
}

struct TableContext : SurveyorContext, SurveyorProcessTableContext {
  TableContext() {
    GetTableEntry = &GetEntry;
    IsTableEntryRunning = &EntryRunning;
    FindRunningApplication = &FindEntry<true>;
    FindRecentApplication = &FindEntry<false>;
  }
};

struct BareContext : SurveyorContext {};

// The paths of the applications of a table walk.
template <class Iterator>
std::vector<std::string> WalkApplications() {
  std::vector<std::string> paths;
  Iterator iterator;
  try {
    application found = iterator.First();
    for (int guard = 0; guard < 1000; ++guard) {
      paths.push_back(Text(Path(Of(0), found)));
      found = iterator.Next();
    }
    ADD_FAILURE() << "the walk did not end";
  } catch (NoSuchObject const&) {
  }
  return paths;
}

class ApplicationsTest : public ::testing::Test {
 protected:
  ApplicationsTest() {
    // Programs that are there, one that is not, and a folder.
    sh_ = RunShell("command -v sh").output;
    sh_ = sh_.substr(0, sh_.find('\n'));
    env_ = RunShell("command -v env").output;
    env_ = env_.substr(0, env_.find('\n'));
    table = {
        {sh_, 1, true},                     // 0 running, recent
        {"/nonexistent/program", 1, true},  // 1 no such file: passed over
        {"/tmp", 1, true},                  // 2 a folder: passed over
        {env_, 1, false},                   // 3 recent only
        {sh_ + "x (deleted)", 2, true},     // 4 running, image gone
        {env_, 0, true},                    // 5 state 0: neither
        {env_, 2, true},                    // 6 running only
    };
    entryCalls = 0;
  }
  ~ApplicationsTest() override {
    table.clear();
    failAllocationAfterEntry = static_cast<unsigned long>(-1);
    failAllocationAfterFind = false;
  }

  template <class Body>
  void Within(SurveyorContext* context, Body body) {
    Evaluation evaluation(Registry::Default(), context);
    Evaluation::Scope scope(evaluation);
    body();
  }

  std::string sh_;
  std::string env_;
};

TEST_F(ApplicationsTest, RunningWalkPassesOverEntriesThatAreNoApplications) {
  ASSERT_EQ('/', sh_[0]);
  ASSERT_EQ('/', env_[0]);
  TableContext context;
  Within(&context, [&] {
    EXPECT_EQ((std::vector<std::string>{sh_, env_}), WalkApplications<running_app_iterator>());
    // Every entry was looked at once, and the end once more.
    EXPECT_EQ(8, entryCalls);
  });
}

TEST_F(ApplicationsTest, RecentWalkTakesStateOneOnly) {
  TableContext context;
  Within(&context, [&] {
    EXPECT_EQ((std::vector<std::string>{sh_, env_}), WalkApplications<recent_app_iterator>());
  });
}

TEST_F(ApplicationsTest, WalksEndAndStartOver) {
  TableContext context;
  Within(&context, [&] {
    running_app_iterator iterator;
    EXPECT_EQ(sh_, Text(Path(Of(0), iterator.First())));
    EXPECT_EQ(env_, Text(Path(Of(0), iterator.Next())));
    EXPECT_THROW(iterator.Next(), NoSuchObject);
    EXPECT_THROW(iterator.Next(), NoSuchObject);
    EXPECT_EQ(sh_, Text(Path(Of(0), iterator.First())));
    table.clear();
    EXPECT_THROW(iterator.First(), NoSuchObject);
  });
}

TEST_F(ApplicationsTest, NullRunningSlotFailsTheRunningWalkOnly) {
  TableContext context;
  context.IsTableEntryRunning = nullptr;
  Within(&context, [&] {
    running_app_iterator running;
    EXPECT_THROW(running.First(), SurveyorProcessTableContextError);
    EXPECT_EQ((std::vector<std::string>{sh_, env_}), WalkApplications<recent_app_iterator>());
  });
  context.GetTableEntry = nullptr;
  Within(&context, [&] {
    recent_app_iterator recent;
    EXPECT_THROW(recent.First(), SurveyorProcessTableContextError);
  });
}

TEST_F(ApplicationsTest, WithoutTheInterfaceThereIsNoContext) {
  Within(nullptr, [&] {
    running_app_iterator running;
    EXPECT_THROW(running.First(), NoSurveyorContext);
    recent_app_iterator recent;
    EXPECT_THROW(recent.First(), NoSurveyorContext);
    EXPECT_THROW(RunApp_of(reinterpret_cast<unsigned char const*>("sh"), 2), NoSurveyorContext);
  });
  BareContext bare;
  Within(&bare, [&] {
    recent_app_iterator recent;
    EXPECT_THROW(recent.First(), NoSurveyorContext);
    EXPECT_THROW(RecentApp_of(reinterpret_cast<unsigned char const*>("sh"), 2), NoSurveyorContext);
    Fingerprinter fingerprinter;
    EXPECT_THROW(DependsOnProcessTable(fingerprinter), NoSurveyorContext);
  });
}

// An entry that is no application is passed over, and a name that is none
// is no value; a failed allocation on the way is neither, and goes on.
TEST_F(ApplicationsTest, AFailedAllocationIsNotTakenForAnEntryThatIsNoApplication) {
  TableContext context;
  Within(&context, [&] {
    failAllocationAfterEntry = 0;
    recent_app_iterator recent;
    EXPECT_THROW(recent.First(), std::bad_alloc);
    EXPECT_FALSE(survey::testing::AllocationFailurePending());
    failAllocationAfterEntry = static_cast<unsigned long>(-1);
    failAllocationAfterFind = true;
    EXPECT_THROW(RecentApp_of(reinterpret_cast<unsigned char const*>(env_.data()), env_.size()),
                 std::bad_alloc);
    EXPECT_THROW(RunApp_of(reinterpret_cast<unsigned char const*>(sh_.data()), sh_.size()),
                 std::bad_alloc);
    failAllocationAfterFind = false;
    EXPECT_EQ(sh_, Text(Path(Of(0), recent.First())));
  });
}

TEST_F(ApplicationsTest, LookupsByNameGiveTheFoundApplicationOrNone) {
  TableContext context;
  auto const ask = [](auto lookup, std::string const& name) {
    return Text(
        Path(Of(0), lookup(reinterpret_cast<unsigned char const*>(name.data()), name.size())));
  };
  Within(&context, [&] {
    EXPECT_EQ(sh_, ask(&RunApp_of, sh_));
    EXPECT_EQ(env_, ask(&RunApp_of, env_));
    EXPECT_EQ(env_, ask(&RecentApp_of, env_));
    // Found by the host, but no application: none.
    EXPECT_THROW(ask(&RunApp_of, "/nonexistent/program"), NoSuchObject);
    EXPECT_THROW(ask(&RunApp_of, "/tmp"), NoSuchObject);
    EXPECT_THROW(ask(&RunApp_of, sh_ + "x (deleted)"), NoSuchObject);
    // Not found by the host.
    EXPECT_THROW(ask(&RunApp_of, "/bin/no-such-thing"), NoSuchObject);
    EXPECT_THROW(ask(&RecentApp_of, sh_ + "x (deleted)"), NoSuchObject);
  });
  context.FindRunningApplication = nullptr;
  Within(&context, [&] {
    EXPECT_THROW(ask(&RunApp_of, sh_), SurveyorProcessTableContextError);
    EXPECT_EQ(sh_, ask(&RecentApp_of, sh_));
  });
}

// ---------------------------------------------------------------------------
// What the unit registers.

std::vector<RegistryEvent> ProcessUnitEvents(Registry const& registry) {
  std::vector<RegistryEvent> unit;
  int recent = 0;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() && !(event.kind == RecordKind::kType && event.name == "process")) continue;
    unit.push_back(event);
    if (event.kind == RecordKind::kProperty && event.name == "recent application" &&
        ++recent == 2) {
      break;
    }
  }
  return unit;
}

TEST(ProcessesRegistrationTest, RegistersInTableOrder) {
  Registry const& registry = Registry::Default();
  std::vector<RegistryEvent> const unit = ProcessUnitEvents(registry);
  std::vector<std::string> names;
  for (RegistryEvent const& event : unit) names.emplace_back(event.name);
  EXPECT_EQ(
      (std::vector<std::string>{"process", "process", "process", "process", "name", "pid", "id",
                                "process id", "running application", "running application",
                                "recent application", "recent application"}),
      names);
  std::vector<PropertyEntry const*> properties;
  for (PropertyEntry const* entry : registry.Properties()) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) properties.push_back(entry);
    }
  }
  ASSERT_EQ(11u, properties.size());
  enum Dependency { kNone, kParameters, kProcessTable };
  struct Expected {
    char const* singular;
    char const* plural;
    char const* index;
    char const* object;
    char const* result;
    PropertyKind kind;
    Dependency dependency;
  };
  Expected const expected[] = {
      {"process", "processes", "integer", "", "process", PropertyKind::kSimple, kNone},
      {"process", "processes", "", "", "process", PropertyKind::kIterated, kNone},
      {"process", "processes", "string", "", "process", PropertyKind::kIterated, kNone},
      {"name", "names", "", "process", "string", PropertyKind::kSimple, kParameters},
      {"pid", "pids", "", "process", "integer", PropertyKind::kSimple, kParameters},
      {"id", "ids", "", "process", "integer", PropertyKind::kSimple, kParameters},
      {"process id", "process ids", "", "process", "integer", PropertyKind::kSimple, kParameters},
      {"running application", "running applications", "", "", "application",
       PropertyKind::kIterated, kProcessTable},
      {"running application", "running applications", "string", "", "application",
       PropertyKind::kSimple, kProcessTable},
      {"recent application", "recent applications", "", "", "application", PropertyKind::kIterated,
       kProcessTable},
      {"recent application", "recent applications", "string", "", "application",
       PropertyKind::kSimple, kProcessTable},
  };
  SurveyorDependency const dependencies[] = {nullptr, &DependsOnlyOnParameters,
                                             &DependsOnProcessTable};
  for (std::size_t i = 0; i < properties.size(); ++i) {
    SCOPED_TRACE(expected[i].singular);
    EXPECT_EQ(expected[i].singular, properties[i]->singular);
    EXPECT_EQ(expected[i].plural, properties[i]->plural);
    EXPECT_EQ(expected[i].index, properties[i]->index);
    EXPECT_EQ(expected[i].object, properties[i]->object);
    EXPECT_EQ(expected[i].result, properties[i]->result);
    EXPECT_EQ(expected[i].kind, properties[i]->kind);
    EXPECT_EQ(dependencies[expected[i].dependency], properties[i]->dependency);
  }
  EXPECT_EQ(sizeof(process_iterator), properties[1]->stateSize);
  EXPECT_EQ(sizeof(namedprocess_iterator), properties[2]->stateSize);
  EXPECT_EQ(sizeof(unsigned long), properties[7]->stateSize);
  EXPECT_EQ(sizeof(unsigned long), properties[9]->stateSize);
}

// ---------------------------------------------------------------------------
// The counting list.

int allocations = 0;
int releases = 0;
void* CountedAllocate(unsigned int size) {
  ++allocations;
  return std::malloc(size);
}
void CountedRelease(void* block) {
  ++releases;
  std::free(block);
}

ConstData Data(char const* text) { return ConstData(text); }

class ProcessCountsTest : public ::testing::Test {
 protected:
  ProcessCountsTest() : counts(&CountedAllocate, &CountedRelease) { allocations = releases = 0; }
  ~ProcessCountsTest() override {
    counts.Reset();
    EXPECT_EQ(allocations, releases);
  }

  int Length() const {
    int length = 0;
    for (ProcessCountRecord const* record = counts.head; record != nullptr; record = record->next) {
      ++length;
    }
    return length;
  }

  ProcessCounts counts;
};

TEST_F(ProcessCountsTest, EndOfAnUnknownKeyCreatesNothing) {
  EXPECT_EQ(nullptr, counts.UpdateCounts(kApplicationEnd, Data("/bin/a"), Data("1.0"), Instant(5)));
  EXPECT_EQ(nullptr, counts.head);
  EXPECT_EQ(0, allocations);
}

TEST_F(ProcessCountsTest, StartOfAnUnknownKeyCreatesARecordOfCountOne) {
  ProcessCountRecord* const record =
      counts.UpdateCounts(kApplicationStart, Data("/bin/a"), Data("1.0"), Instant(5));
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(record, counts.head);
  EXPECT_EQ(1u, record->count);
  EXPECT_EQ(5, record->time.microseconds);
  EXPECT_EQ(Text(surveyor_string{record->first.begin, record->first.Length()}), "/bin/a");
  EXPECT_EQ(Text(surveyor_string{record->second.begin, record->second.Length()}), "1.0");
  // The texts are copies of the record's own.
  char source[] = "/bin/b";
  ProcessCountRecord* const other =
      counts.UpdateCounts(kStartSampling, Data(source), ConstData(), Instant(5));
  ASSERT_NE(nullptr, other);
  EXPECT_NE(reinterpret_cast<unsigned char const*>(source), other->first.begin);
  EXPECT_EQ(other, counts.head);
  EXPECT_EQ(record, other->next);
  EXPECT_EQ(1u, other->count);
  EXPECT_EQ(nullptr, other->second.begin);
}

TEST_F(ProcessCountsTest, DecrementingAtZeroLeavesZeroAndGivesNull) {
  ProcessCountRecord* const record =
      counts.UpdateCounts(kApplicationStart, Data("/bin/a"), Data("v"), Instant(1));
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(record, counts.UpdateCounts(kApplicationEnd, Data("/bin/a"), Data("v"), Instant(1)));
  EXPECT_EQ(0u, record->count);
  EXPECT_EQ(nullptr, counts.UpdateCounts(kApplicationEnd, Data("/bin/a"), Data("v"), Instant(1)));
  EXPECT_EQ(0u, record->count);
  EXPECT_EQ(1, Length());
}

TEST_F(ProcessCountsTest, KeysMatchTextsWithoutCaseAndTimesExactly) {
  ProcessCountRecord* const record =
      counts.UpdateCounts(kApplicationStart, Data("/BIN/App"), Data("Ver"), Instant(7));
  EXPECT_EQ(record,
            counts.UpdateCounts(kApplicationStart, Data("/bin/app"), Data("VER"), Instant(7)));
  EXPECT_EQ(2u, record->count);
  // Events other than a start or an end count down, like an end.
  EXPECT_EQ(record, counts.UpdateCounts(kEndSampling, Data("/bin/APP"), Data("ver"), Instant(7)));
  EXPECT_EQ(1u, record->count);
  // Another time, or other texts, are other keys.
  EXPECT_NE(record,
            counts.UpdateCounts(kApplicationStart, Data("/bin/app"), Data("ver"), Instant(8)));
  EXPECT_NE(record,
            counts.UpdateCounts(kApplicationStart, Data("/bin/app2"), Data("ver"), Instant(7)));
  EXPECT_NE(record,
            counts.UpdateCounts(kApplicationStart, Data("/bin/app"), Data("ve"), Instant(7)));
  EXPECT_EQ(4, Length());
}

TEST_F(ProcessCountsTest, AddIdentifyAddsOnlyUnknownKeys) {
  counts.AddIdentify(Data("/bin/a"), Data("1"), Instant(3), 9);
  ASSERT_NE(nullptr, counts.head);
  EXPECT_EQ(9u, counts.head->count);
  counts.AddIdentify(Data("/BIN/A"), Data("1"), Instant(3), 4);
  EXPECT_EQ(9u, counts.head->count);
  EXPECT_EQ(1, Length());
  counts.AddIdentify(Data("/bin/a"), Data("1"), Instant(4), 0);
  EXPECT_EQ(0u, counts.head->count);
  EXPECT_EQ(2, Length());
}

TEST_F(ProcessCountsTest, ResetFreesEverythingAndKeepsTheFunctions) {
  counts.UpdateCounts(kApplicationStart, Data("/bin/a"), Data("1"), Instant(1));
  counts.UpdateCounts(kApplicationStart, Data("/bin/b"), ConstData(), Instant(1));
  counts.UpdateCounts(kApplicationStart, ConstData(), ConstData(), Instant(1));
  // Three records and three non-empty texts.
  EXPECT_EQ(6, allocations);
  counts.Reset();
  EXPECT_EQ(nullptr, counts.head);
  EXPECT_EQ(6, releases);
  EXPECT_EQ(&CountedAllocate, counts.allocate);
  EXPECT_EQ(&CountedRelease, counts.release);
  counts.UpdateCounts(kApplicationStart, Data("/bin/a"), Data("1"), Instant(1));
  EXPECT_EQ(1, Length());
}

TEST(ProcessCountsWithoutMemoryTest, NoAllocatorAddsNothing) {
  ProcessCounts counts;
  EXPECT_EQ(nullptr, counts.UpdateCounts(kApplicationStart, Data("a"), Data("b"), Instant(1)));
  counts.AddIdentify(Data("a"), Data("b"), Instant(1), 1);
  EXPECT_EQ(nullptr, counts.head);
  counts.Reset();
}

}  // namespace
