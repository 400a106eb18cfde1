// The operating system's identity: the display name from the marker files
// (on fixture trees), the kernel's fields, boot time and uptime from the
// utmp database (on fixture databases and on this machine), the world's
// names, the DNS name through the host, the two dependency nodes, and what
// the unit registers.

#include "survey/system/operating_system.h"

#include <gtest/gtest.h>
#include <paths.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/frame/contexts.h"
#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace {

using survey::host::Evaluation;
using survey::host::PropertyEntry;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::system::testing::MarkerFilesOpened;
using survey::system::testing::RedetectUnder;

// What a command prints, without the line ends at its end.
std::string Output(std::string const& command) {
  survey::testing::ShellResult const run = survey::testing::RunShell(command);
  EXPECT_EQ(0, run.status) << command;
  std::string text = run.output;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

std::string Text(Stringy const& text) { return std::string(text.CString(), text.GetLength()); }

// A folder of its own for each test, removed afterwards, that files can be
// written into.
class ScratchFolder : public survey::testing::ScratchFolder {
 public:
  ScratchFolder() : survey::testing::ScratchFolder("survey-os-test") {}

  // Writes a file at `relative` (starting with "/"), making its folders.
  void Write(std::string const& relative, std::string const& content) const {
    std::string const full = Path() + relative;
    std::string const command = "mkdir -p \"$(dirname '" + full + "')\"";
    ASSERT_EQ(0, std::system(command.c_str()));
    std::ofstream out(full, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    ASSERT_TRUE(out.good()) << full;
  }
};

// Marker files under a fixture root for the life of the object; the
// machine's own root afterwards.
class MarkerTree : public ScratchFolder {
 public:
  MarkerTree() = default;
  ~MarkerTree() { RedetectUnder(""); }

  // The name that detection gives for the tree as it now stands.
  std::string DetectedName() const {
    RedetectUnder(Path().c_str());
    return Text(Os_of_world().name);
  }
};

// ---------------------------------------------------------------------------
// The virtual machine's version file.

TEST(OperatingSystemNameTest, VirtualMachineLineWithoutBracketIsKeptWholeWithItsLineEnd) {
  MarkerTree tree;
  tree.Write("/proc/vmware/version", "VMware ESX Server 3.0.1 build-32039\nsecond line\n");
  EXPECT_EQ("VMware ESX Server 3.0.1 build-32039\n", tree.DetectedName());
}

TEST(OperatingSystemNameTest, VirtualMachineBracketRightBehindTheBlankLeavesTheWord) {
  MarkerTree tree;
  tree.Write("/proc/vmware/version", "VMware [x]\n");
  EXPECT_EQ("VMware", tree.DetectedName());
}

TEST(OperatingSystemNameTest, VirtualMachineLineIsCutAtTheBracketOnly) {
  MarkerTree tree;
  tree.Write("/proc/vmware/version", "VMware ESX[build 1]\n");
  EXPECT_EQ("VMware ESX", tree.DetectedName());
  tree.Write("/proc/vmware/version", "VMware ESX Server 2.5  [build 1]\n");
  EXPECT_EQ("VMware ESX Server 2.5 ", tree.DetectedName());
}

TEST(OperatingSystemNameTest, VirtualMachinePrefixIsCaseSensitive) {
  MarkerTree tree;
  tree.Write("/proc/vmware/version", "vmware ESX Server\n");
  tree.Write("/etc/redhat-release", "Red Hat Linux release 9 (Shrike)\n");
  EXPECT_EQ("Linux Red Hat 9", tree.DetectedName());
}

TEST(OperatingSystemNameTest, VirtualMachineFileComesBeforeTheReleaseFiles) {
  MarkerTree tree;
  tree.Write("/proc/vmware/version", "VMware GSX [1]");
  tree.Write("/etc/redhat-release", "Red Hat Linux release 9 (Shrike)\n");
  EXPECT_EQ("VMware GSX", tree.DetectedName());
}

// ---------------------------------------------------------------------------
// The release files.

TEST(OperatingSystemNameTest, EnterpriseReleaseGivesItsEditionAndVersion) {
  MarkerTree tree;
  tree.Write("/etc/redhat-release", "Red Hat Enterprise Linux ES release 3 (Taroon)\n");
  EXPECT_EQ("Linux Red Hat Enterprise ES 3", tree.DetectedName());
  tree.Write("/etc/redhat-release", "RED HAT ENTERPRISE LINUX es RELEASE 3 (Taroon)\n");
  EXPECT_EQ("Linux Red Hat Enterprise ES 3", tree.DetectedName());
}

TEST(OperatingSystemNameTest, EveryReleaseLineHasItsNamePrefix) {
  std::pair<char const*, char const*> const cases[] = {
      {"Red Hat Linux release 7.3 (Valhalla)", "Linux Red Hat 7.3"},
      {"Fedora Core release 4 (Stentz)", "Linux Fedora Core 4"},
      {"Red Hat Enterprise Linux WS release 4 (Nahant)", "Linux Red Hat Enterprise WS 4"},
      {"Red Hat Enterprise Linux ES release 4 (Nahant)", "Linux Red Hat Enterprise ES 4"},
      {"Red Hat Enterprise Linux AS release 4 (Nahant)", "Linux Red Hat Enterprise AS 4"},
      {"Red Hat Enterprise Linux Server release 5.1 (Tikanga)",
       "Linux Red Hat Enterprise Server 5.1"},
      {"Red Hat Enterprise Linux Client release 5 (Tikanga)", "Linux Red Hat Enterprise Client 5"},
  };
  MarkerTree tree;
  for (auto const& [line, name] : cases) {
    tree.Write("/etc/redhat-release", std::string(line) + "\n");
    EXPECT_EQ(name, tree.DetectedName()) << line;
  }
}

TEST(OperatingSystemNameTest, VersionTokenStopsAtABlankOnlySoALineEndStays) {
  MarkerTree tree;
  tree.Write("/etc/redhat-release", "Red Hat Linux release 9\nmore");
  EXPECT_EQ("Linux Red Hat 9\nmore", tree.DetectedName());
  tree.Write("/etc/redhat-release", "Fedora Core release ");
  EXPECT_EQ("Linux Fedora Core ", tree.DetectedName());
}

TEST(OperatingSystemNameTest, UnknownReleaseLineGoesOnToTheNextFiles) {
  MarkerTree tree;
  tree.Write("/etc/redhat-release", "CentOS release 4 (Final)\n");
  tree.Write("/etc/SuSE-release", "SuSE Linux 9.3 (i586)\nVERSION = 9.3\n");
  EXPECT_EQ("Linux SuSE 9.3", tree.DetectedName());

  MarkerTree other;
  other.Write("/etc/redhat-release", "CentOS release 4 (Final)\n");
  other.Write("/proc/version",
              "Linux version 2.6.9-5.EL (bhcompile@example) (gcc version 3.4.3 20041212 "
              "(Red Hat 3.4.3-9.EL4)) #1 Wed Jan 5 19:22:18 EST 2005\n");
  EXPECT_EQ("Linux Red Hat 3.4.3-9.EL4", other.DetectedName());
}

TEST(OperatingSystemNameTest, OtherReleaseFileWithoutParenthesisKeepsAllBehindThePrefix) {
  MarkerTree tree;
  tree.Write("/etc/SuSE-release", "SUSE LINUX 10.0\nVERSION = 10.0\n");
  EXPECT_EQ("Linux SuSE 10.0\nVERSION = 10.0\n", tree.DetectedName());
  tree.Write("/etc/SuSE-release", "suse linux (x)");
  EXPECT_EQ("Linux SuSE ", tree.DetectedName());
  tree.Write("/etc/SuSE-release", "openSUSE 10.2 (i586)\n");
  tree.Write("/proc/version", "Linux version 1 (a) (b)\n");
  struct utsname names;
  ASSERT_EQ(0, uname(&names));
  EXPECT_EQ(names.sysname, tree.DetectedName());
}

TEST(OperatingSystemNameTest, OtherReleaseFileIsReadUpTo1023Bytes) {
  MarkerTree tree;
  std::string const body(3000, 'v');
  tree.Write("/etc/SuSE-release", "SuSE Linux " + body);
  EXPECT_EQ("Linux SuSE " + body.substr(0, 1023 - 11), tree.DetectedName());
}

// ---------------------------------------------------------------------------
// The kernel's version line.

TEST(OperatingSystemNameTest, CompilerRemarkGivesTheName) {
  MarkerTree tree;
  tree.Write("/proc/version",
             "Linux version 2.4.21-4.EL (bhcompile@daffy.perf.redhat.com) (gcc version 3.2.3 "
             "20030502 (Red Hat Linux 3.2.3-20)) #1 Fri Sep 12 06:52:39 EDT 2003\n");
  EXPECT_EQ("Linux Red Hat 3.2.3-20", tree.DetectedName());
}

TEST(OperatingSystemNameTest, VersionLineWithTwoParenthesesGivesTheSystemName) {
  MarkerTree tree;
  tree.Write("/proc/version", "Linux version 6.1.0 (builder@host) (gcc 12.2.0) #1 SMP\n");
  EXPECT_EQ(Output("uname -s"), tree.DetectedName());
}

TEST(OperatingSystemNameTest, RemarkWithoutANumericWordIsKeptWhole) {
  MarkerTree tree;
  tree.Write("/proc/version", "a (b) (c (Acme Build Tools) d\n");
  EXPECT_EQ("Linux Acme Build Tools", tree.DetectedName());
}

TEST(OperatingSystemNameTest, RemarkIsCutBehindTheFirstNumericWordAfterTheFirstWord) {
  MarkerTree tree;
  tree.Write("/proc/version", "a (b) (c (4 Red\t\t5.1-2 extra 6)\n");
  EXPECT_EQ("Linux 4 Red\t\t5.1-2", tree.DetectedName());
}

TEST(OperatingSystemNameTest, RemarkWithoutClosingParenthesisRunsToTheEnd) {
  MarkerTree tree;
  tree.Write("/proc/version", "a (b) (c (Remark runs on");
  EXPECT_EQ("Linux Remark runs on", tree.DetectedName());
}

TEST(OperatingSystemNameTest, OnlyTheFirstLinuxWordIsTakenOut) {
  MarkerTree tree;
  tree.Write("/proc/version", "a (b) (c (A linux B Linux C)\n");
  EXPECT_EQ("Linux A B Linux C", tree.DetectedName());
}

TEST(OperatingSystemNameTest, LinuxWordStartingSixBeforeTheEndIsNotSeen) {
  MarkerTree tree;
  tree.Write("/proc/version", "a (b) (c (Foo Linux )\n");
  EXPECT_EQ("Linux Foo Linux ", tree.DetectedName());
  tree.Write("/proc/version", "a (b) (c (Foo Linux x)\n");
  EXPECT_EQ("Linux Foo x", tree.DetectedName());
}

TEST(OperatingSystemNameTest, NothingRecognisedGivesTheSystemName) {
  MarkerTree tree;
  EXPECT_EQ(Output("uname -s"), tree.DetectedName());
}

TEST(OperatingSystemNameTest, DetectionRunsOnceEvenWhenItFindsNothing) {
  MarkerTree tree;
  std::string const first = tree.DetectedName();
  EXPECT_EQ(Output("uname -s"), first);
  unsigned long const opened = MarkerFilesOpened();
  tree.Write("/etc/redhat-release", "Red Hat Linux release 9 (Shrike)\n");
  EXPECT_EQ(first, Text(Os_of_world().name));
  EXPECT_EQ(first, Text(Os_of_world().name));
  EXPECT_EQ(opened, MarkerFilesOpened());
}

TEST(OperatingSystemNameTest, DetectionTriesEachOfTheFourFilesOnce) {
  MarkerTree tree;
  unsigned long const before = MarkerFilesOpened();
  tree.DetectedName();
  EXPECT_EQ(before + 4, MarkerFilesOpened());
}

// ---------------------------------------------------------------------------
// Bad marker files: empty, huge or binary.

TEST(OperatingSystemNameTest, EmptyMarkerFilesAreNoAnswer) {
  MarkerTree tree;
  for (char const* path :
       {"/proc/vmware/version", "/etc/redhat-release", "/etc/SuSE-release", "/proc/version"}) {
    tree.Write(path, "");
  }
  EXPECT_EQ(Output("uname -s"), tree.DetectedName());
}

TEST(OperatingSystemNameTest, HugeMarkerFilesAreReadOnlyAsFarAsTheBuffer) {
  MarkerTree tree;
  std::string const huge(1 << 20, 'h');
  tree.Write("/proc/vmware/version", "VMware " + huge);
  std::string const name = tree.DetectedName();
  EXPECT_EQ(1023u, name.size());
  EXPECT_EQ("VMware " + huge.substr(0, 1016), name);

  MarkerTree release;
  release.Write("/etc/redhat-release", "Red Hat Linux release " + huge);
  EXPECT_EQ("Linux Red Hat " + huge.substr(0, 1023 - 22), release.DetectedName());

  // The third parenthesis lies beyond what is read.
  MarkerTree version;
  version.Write("/proc/version", "a (b) (c " + huge + " (Red Hat 1)\n");
  EXPECT_EQ(Output("uname -s"), version.DetectedName());
}

TEST(OperatingSystemNameTest, BinaryMarkerFilesAreReadAsTextUpToTheirFirstNul) {
  MarkerTree tree;
  tree.Write("/etc/redhat-release", std::string("Red Hat Linux release 9\0 tail", 30));
  EXPECT_EQ("Linux Red Hat 9", tree.DetectedName());
  tree.Write("/etc/redhat-release", std::string("\0Red Hat Linux release 9", 24));
  tree.Write("/proc/version", std::string("a (b) (c\0 (d 1)", 15));
  EXPECT_EQ(Output("uname -s"), tree.DetectedName());

  std::string noise;
  for (int i = 0; i < 4096; ++i) noise += static_cast<char>((i * 151 + 7) & 0xFF);
  MarkerTree binary;
  for (char const* path :
       {"/proc/vmware/version", "/etc/redhat-release", "/etc/SuSE-release", "/proc/version"}) {
    binary.Write(path, noise);
  }
  std::string const name = binary.DetectedName();
  EXPECT_FALSE(name.empty());
  EXPECT_LE(name.size(), 1023u + 6);
}

TEST(OperatingSystemNameTest, MarkerThatIsAFolderIsNoAnswer) {
  MarkerTree tree;
  ASSERT_EQ(0, mkdir((tree.Path() + "/etc").c_str(), 0755));
  ASSERT_EQ(0, mkdir((tree.Path() + "/etc/redhat-release").c_str(), 0755));
  EXPECT_EQ(Output("uname -s"), tree.DetectedName());
}

// ---------------------------------------------------------------------------
// The fields and their properties.

TEST(OperatingSystemTest, KernelFieldsAreThoseThatUnameReports) {
  operating_system const system = Os_of_world();
  EXPECT_EQ(Output("uname -r"), Text(system.release));
  EXPECT_EQ(Output("uname -v"), Text(system.build));
  EXPECT_EQ(Output("uname -m"), Text(system.architecture));
  EXPECT_EQ(Output("uname -r"), Text(Release_of(system)));
  EXPECT_EQ(Output("uname -v"), Text(Build_of(system)));
  EXPECT_EQ(Output("uname -m"), Text(Arch_of(system)));
}

// On this machine: the name comes from the marker files as they stand; with
// none of the first three, from the compiler remark of the kernel's version
// line when it has three parentheses, else it is the system's name.
TEST(OperatingSystemTest, NameOnThisMachineFollowsItsMarkerFiles) {
  RedetectUnder("");
  std::string const name = Text(Os_of_world().name);
  auto exists = [](char const* path) { return access(path, F_OK) == 0; };
  if (exists("/proc/vmware/version") || exists("/etc/redhat-release") ||
      exists("/etc/SuSE-release")) {
    EXPECT_FALSE(name.empty());
    return;
  }
  std::ifstream in("/proc/version");
  std::string line;
  std::getline(in, line);
  int parentheses = 0;
  for (char c : line) parentheses += c == '(';
  if (parentheses < 3) {
    EXPECT_EQ(Output("uname -s"), name);
  } else {
    // The first word of the remark behind the third parenthesis, as awk
    // splits the line, starts the name behind "Linux " (unless it is a
    // "Linux" that detection takes out).
    std::string const word =
        Output("awk -F'(' '{ split($4, w, /[ \\t)]+/); print w[1] }' /proc/version");
    EXPECT_EQ(0u, name.rfind("Linux ", 0)) << name;
    if (word != "Linux") {
      EXPECT_EQ(6u, name.find(word)) << name << " / " << word;
    }
  }
}

TEST(OperatingSystemTest, EmptyNameAndReleaseAreEmptyTexts) {
  operating_system const empty;
  EXPECT_EQ(0u, Name_of(empty).length);
  EXPECT_EQ(0u, Release_of(empty).length);
  EXPECT_THROW(Build_of(empty), NoSuchObject);
  EXPECT_THROW(Arch_of(empty), NoSuchObject);
  operating_system terminatorOnly;
  terminatorOnly.build = "";
  terminatorOnly.architecture = "";
  EXPECT_THROW(Build_of(terminatorOnly), NoSuchObject);
  EXPECT_THROW(Arch_of(terminatorOnly), NoSuchObject);
}

TEST(OperatingSystemTest, PropertiesViewTheValuesOwnText) {
  operating_system system;
  system.name = "N";
  system.release = "R1";
  system.build = "B12";
  system.architecture = "A123";
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(system.name.Text()), Name_of(system).data);
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(system.release.Text()),
            Release_of(system).data);
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(system.build.Text()), Build_of(system).data);
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(system.architecture.Text()),
            Arch_of(system).data);
  EXPECT_EQ(4u, Arch_of(system).length);
}

TEST(OperatingSystemTest, TextFormIsNameThenReleaseInParentheses) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  operating_system system;
  system.name = "Linux Red Hat 9";
  system.release = "2.4.20-8";
  EXPECT_EQ("Linux Red Hat 9 (2.4.20-8)", Text(AsString(system)));
  EXPECT_EQ(" ()", Text(AsString(operating_system())));
}

// ---------------------------------------------------------------------------
// Boot time and uptime, from fixture utmp databases and from this machine's.

// Points the process's utmp functions at a database of the test's own for
// the life of the object.
class UtmpDatabase : public ScratchFolder {
 public:
  UtmpDatabase() : file_(Path() + "/utmp") {
    Write("/utmp", "");
    utmpname(file_.c_str());
  }
  ~UtmpDatabase() { utmpname(_PATH_UTMP); }

  void Add(short type, char const* id, long seconds) const {
    struct utmp entry;
    std::memset(&entry, 0, sizeof entry);
    entry.ut_type = type;
    std::strncpy(entry.ut_id, id, sizeof entry.ut_id);
    std::strncpy(entry.ut_line, id, sizeof entry.ut_line);
    std::strncpy(entry.ut_user, "someone", sizeof entry.ut_user);
    entry.ut_pid = 100;
    entry.ut_tv.tv_sec = static_cast<decltype(entry.ut_tv.tv_sec)>(seconds);
    setutent();
    ASSERT_NE(nullptr, pututline(&entry));
    endutent();
  }

  // What `who -b` reports of the database, as seconds since 1970 in UTC,
  // or -1 when it reports nothing.
  long WhoBoot() const {
    std::string const line = Output("TZ=UTC who -b '" + file_ + "'");
    if (line.empty()) return -1;
    struct tm when {};
    char const* const at = std::strstr(line.c_str(), "boot");
    if (at == nullptr || strptime(at + 4, " %Y-%m-%d %H:%M", &when) == nullptr) {
      ADD_FAILURE() << "cannot read: " << line;
      return -1;
    }
    return static_cast<long>(timegm(&when));
  }

 private:
  std::string file_;
};

long long SecondsOf(moment when) { return when.ticks / 1000000; }

TEST(BootTimeTest, BootRecordGivesTheBootTimeAsWhoReadsIt) {
  UtmpDatabase database;
  database.Add(USER_PROCESS, "ts/1", 900000000);
  database.Add(BOOT_TIME, "~~", 1000000020);
  long const who = database.WhoBoot();
  ASSERT_NE(-1, who);
  EXPECT_EQ(1000000020, BootSecondsSince1970());
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  long long const boot = SecondsOf(Boot_Time_of(operating_system()));
  EXPECT_EQ(1000000020, boot);
  // who shows minutes only.
  EXPECT_EQ(who, boot - boot % 60);
}

TEST(BootTimeTest, WithoutBootRecordTheEarliestEntryStandsIn) {
  UtmpDatabase database;
  database.Add(USER_PROCESS, "ts/1", 1200000000);
  database.Add(USER_PROCESS, "ts/2", 1100000000);
  database.Add(LOGIN_PROCESS, "ts/3", 0);
  database.Add(USER_PROCESS, "ts/4", 1300000000);
  EXPECT_EQ(-1, database.WhoBoot());
  EXPECT_EQ(1100000000, BootSecondsSince1970());
}

TEST(BootTimeTest, EntriesFromTheFutureDoNotCount) {
  UtmpDatabase database;
  database.Add(USER_PROCESS, "ts/1", static_cast<long>(std::time(nullptr)) + 100000);
  EXPECT_EQ(0, BootSecondsSince1970());
}

TEST(BootTimeTest, EmptyDatabaseGivesTheEpochAndUptimeSinceThen) {
  UtmpDatabase database;
  EXPECT_EQ(-1, database.WhoBoot());
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  EXPECT_EQ(0, Boot_Time_of(operating_system()).ticks);
  long long const before = static_cast<long long>(std::time(nullptr));
  long long const uptime = Up_Time_of(operating_system()).ticks / 1000000;
  long long const after = static_cast<long long>(std::time(nullptr));
  EXPECT_GE(uptime, before - 1);
  EXPECT_LE(uptime, after + 1);
}

TEST(BootTimeTest, MissingDatabaseGivesTheEpoch) {
  utmpname("/nonexistent/survey/utmp");
  EXPECT_EQ(0, BootSecondsSince1970());
  utmpname(_PATH_UTMP);
}

TEST(BootTimeTest, ThisMachinesBootTimeIsWhatWhoReports) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  long long const boot = SecondsOf(Boot_Time_of(operating_system()));
  std::string const line = Output("TZ=UTC who -b");
  if (!line.empty()) {
    struct tm when {};
    char const* const at = std::strstr(line.c_str(), "boot");
    ASSERT_NE(nullptr, at) << line;
    ASSERT_NE(nullptr, strptime(at + 4, " %Y-%m-%d %H:%M", &when)) << line;
    EXPECT_EQ(static_cast<long long>(timegm(&when)), boot - boot % 60);
  } else if (Output("who -a").empty()) {
    // No boot record and no entries at all: the epoch itself.
    EXPECT_EQ(0, boot);
  } else {
    EXPECT_GT(boot, 0);
    EXPECT_LE(boot, static_cast<long long>(std::time(nullptr)));
  }
}

// ---------------------------------------------------------------------------
// The world's names.

TEST(WorldNamesTest, HostNameIsWhatHostnameReports) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  std::size_t const before = evaluation.GetArena().BytesInUse();
  surveyor_string const name = HostName_of_world();
  EXPECT_EQ(Output("hostname"), Text(name));
  EXPECT_GE(evaluation.GetArena().BytesInUse(), before + name.length);
}

TEST(WorldNamesTest, DomainNameIsTheSystemsDomainAsDomainnameReports) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  EXPECT_EQ(Output("domainname"), Text(DomainName_of_world()));
}

int dnsCalls = 0;
bool dnsAnswers = true;

bool DnsName(char** result, SurveyorTextAllocator allocate) {
  ++dnsCalls;
  if (!dnsAnswers) return false;
  auto* const text = static_cast<char*>(allocate(12));
  std::memcpy(text, "example.org", 12);
  *result = text;
  return true;
}

struct NetworkContext : SurveyorContext, SurveyorNetworkContext {};
struct OtherContext : SurveyorContext {};

TEST(WorldNamesTest, DnsNameComesFromTheHost) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  NetworkContext context;
  evaluation.SetContext(&context);
  EXPECT_THROW(DnsDomainName_of_world(), SurveyorNetworkContextError);
  context.GetDnsName = &DnsName;
  dnsAnswers = true;
  dnsCalls = 0;
  surveyor_string const name = DnsDomainName_of_world();
  EXPECT_EQ("example.org", Text(name));
  EXPECT_EQ(1, dnsCalls);
  dnsAnswers = false;
  EXPECT_THROW(DnsDomainName_of_world(), NoSuchObject);
  OtherContext other;
  evaluation.SetContext(&other);
  EXPECT_THROW(DnsDomainName_of_world(), NoSurveyorContext);
  evaluation.SetContext(nullptr);
  EXPECT_THROW(DnsDomainName_of_world(), NoSurveyorContext);
}

// ---------------------------------------------------------------------------
// The two nodes.

std::uint64_t DigestOf(SurveyorDependency fold) {
  Fingerprinter fingerprinter;
  fold(fingerprinter);
  return fingerprinter.Digest();
}

TEST(OperatingSystemNodeTest, NodeFoldsTheFirstValuesOwnBytesAndStaysFixed) {
  operating_system const& stable = StableOperatingSystem();
  EXPECT_EQ(&stable, &StableOperatingSystem());
  EXPECT_EQ(Output("uname -r"), Text(stable.release));
  EXPECT_EQ(Output("uname -m"), Text(stable.architecture));
  Fingerprinter expected;
  expected.Add(&stable, sizeof stable);
  std::uint64_t const first = DigestOf(&OSNodeState);
  EXPECT_EQ(expected.Digest(), first);
  // A new detection changes the values made later, not the node.
  MarkerTree tree;
  tree.Write("/etc/redhat-release", "Fedora Core release 4 (Stentz)\n");
  EXPECT_EQ("Linux Fedora Core 4", tree.DetectedName());
  EXPECT_EQ(first, DigestOf(&OSNodeState));
}

TEST(OperatingSystemNodeTest, ComputerNameNodeFoldsTheHostName) {
  std::string const name = Output("hostname");
  Fingerprinter expected;
  expected.Add(name.data(), name.size());
  EXPECT_EQ(expected.Digest(), DigestOf(&ComputerNameNodeState));
}

// ---------------------------------------------------------------------------
// Registration.

std::vector<RegistryEvent> UnitEvents(Registry const& registry) {
  std::vector<RegistryEvent> unit;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() &&
        !(event.kind == RecordKind::kDependency && event.name == "StableOSProperties")) {
      continue;
    }
    unit.push_back(event);
    if (event.kind == RecordKind::kProperty && event.name == "dns name") break;
  }
  return unit;
}

TEST(OperatingSystemRegistrationTest, RegistersNodesTypeAndPropertiesInTableOrder) {
  Registry const& registry = Registry::Default();
  std::vector<std::pair<RecordKind, std::string>> registered;
  for (RegistryEvent const& event : UnitEvents(registry)) {
    ASSERT_EQ(RegistryEvent::kRegistered, event.action);
    registered.emplace_back(event.kind, event.name);
  }
  EXPECT_EQ((std::vector<std::pair<RecordKind, std::string>>{
                {RecordKind::kDependency, "StableOSProperties"},
                {RecordKind::kDependency, "StableComputerNameProperties"},
                {RecordKind::kType, "operating system"},
                {RecordKind::kProperty, "operating system"},
                {RecordKind::kCast, "string"},
                {RecordKind::kProperty, "name"},
                {RecordKind::kProperty, "release"},
                {RecordKind::kProperty, "build"},
                {RecordKind::kProperty, "architecture"},
                {RecordKind::kProperty, "boot time"},
                {RecordKind::kProperty, "uptime"},
                {RecordKind::kProperty, "hostname"},
                {RecordKind::kProperty, "computer name"},
                {RecordKind::kProperty, "domainname"},
                {RecordKind::kProperty, "host name"},
                {RecordKind::kProperty, "domain name"},
                {RecordKind::kProperty, "dns name"}}),
            registered);
}

TEST(OperatingSystemRegistrationTest, PropertiesHaveTheirPhrasesTypesAndDependencies) {
  Registry const& registry = Registry::Default();
  std::vector<RegistryEvent> const unit = UnitEvents(registry);
  std::vector<PropertyEntry const*> properties;
  for (PropertyEntry const* entry : registry.Properties()) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) properties.push_back(entry);
    }
  }
  struct Expected {
    char const* singular;
    char const* plural;
    char const* object;
    char const* result;
    SurveyorDependency dependency;
  };
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  Expected const expected[] = {
      {"operating system", "operating systems", "", "operating system", &OSDependencyNodeFunction},
      {"name", "names", "operating system", "string", parameters},
      {"release", "releases", "operating system", "string", parameters},
      {"build", "builds", "operating system", "string", parameters},
      {"architecture", "architectures", "operating system", "string", parameters},
      {"boot time", "boot times", "operating system", "time", nullptr},
      {"uptime", "uptimes", "operating system", "time interval", nullptr},
      {"hostname", "hostnames", "", "string", parameters},
      {"computer name", "computer names", "", "string", &ComputerNameDependencyNodeFunction},
      {"domainname", "domainnames", "", "string", parameters},
      {"host name", "host names", "", "string", parameters},
      {"domain name", "domain names", "", "string", parameters},
      {"dns name", "dns names", "", "string", parameters},
  };
  ASSERT_EQ(std::size(expected), properties.size());
  for (std::size_t i = 0; i < properties.size(); ++i) {
    SCOPED_TRACE(expected[i].singular);
    EXPECT_EQ(expected[i].singular, properties[i]->singular);
    EXPECT_EQ(expected[i].plural, properties[i]->plural);
    EXPECT_EQ("", properties[i]->index);
    EXPECT_EQ(expected[i].object, properties[i]->object);
    EXPECT_EQ(expected[i].result, properties[i]->result);
    EXPECT_EQ(expected[i].dependency, properties[i]->dependency);
  }
  std::vector<survey::host::CastEntry const*> casts;
  for (survey::host::CastEntry const* entry : registry.Casts()) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) casts.push_back(entry);
    }
  }
  ASSERT_EQ(1u, casts.size());
  EXPECT_EQ("operating system", casts[0]->source);
  EXPECT_EQ("string", casts[0]->target);
  EXPECT_EQ(parameters, casts[0]->dependency);
}

// ---------------------------------------------------------------------------
// Through the command, as a user asks.

nlohmann::json Ask(std::string const& query) {
  std::string const settings = survey::testing::SanitizerSettings();
  ScratchFolder home;
  std::string const output = Output("env -i TZ=UTC HOME='" + home.Path() + "' " + settings +
                                    "'" SURVEY_COMMAND "' --json -e '" + query + "'");
  nlohmann::json answer = nlohmann::json::parse(output, nullptr, false);
  EXPECT_FALSE(answer.is_discarded()) << output;
  return answer;
}

std::string OnlyText(nlohmann::json const& answer) {
  EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
  if (!answer["values"].is_array() || answer["values"].size() != 1) {
    ADD_FAILURE() << answer.dump();
    return std::string();
  }
  return answer["values"][0]["text"].get<std::string>();
}

TEST(OperatingSystemCommandTest, AnswersAreTheMachinesAsItsToolsReportThem) {
  EXPECT_EQ(Output("uname -r"), OnlyText(Ask("release of operating system")));
  EXPECT_EQ(Output("uname -v"), OnlyText(Ask("build of operating system")));
  EXPECT_EQ(Output("uname -m"), OnlyText(Ask("architecture of operating system")));
  EXPECT_EQ(Output("hostname"), OnlyText(Ask("hostname")));
  EXPECT_EQ(Output("hostname"), OnlyText(Ask("computer name")));
  EXPECT_EQ(Output("hostname"), OnlyText(Ask("host name")));
  EXPECT_EQ(Output("domainname"), OnlyText(Ask("domain name")));
  EXPECT_EQ(Output("domainname"), OnlyText(Ask("domainname")));
  std::string const text = OnlyText(Ask("operating system as string"));
  std::string const release = Output("uname -r");
  ASSERT_GT(text.size(), release.size() + 3);
  EXPECT_EQ(" (" + release + ")", text.substr(text.size() - release.size() - 3));
}

TEST(OperatingSystemCommandTest, BootTimeIsTheEpochWhereThereIsNoRecordAtAll) {
  if (!Output("who -b").empty() || !Output("who -a").empty()) {
    GTEST_SKIP() << "this machine's utmp database has entries; the epoch rule is tested on "
                    "fixture databases";
  }
  EXPECT_EQ("Thu, 01 Jan 1970 00:00:00 +0000", OnlyText(Ask("boot time of operating system")));
}

}  // namespace
