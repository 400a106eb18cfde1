#include "survey/system/operating_system.h"

#include <strings.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <utmp.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "survey/foundation/time.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

// ---------------------------------------------------------------------------
// The distribution table, in place before anything can be evaluated.

DistributionPrefix DistributionTable[7] = {
    {"red hat linux release ", "Linux Red Hat "},
    {"fedora core release ", "Linux Fedora Core "},
    {"red hat enterprise linux ws release ", "Linux Red Hat Enterprise WS "},
    {"red hat enterprise linux es release ", "Linux Red Hat Enterprise ES "},
    {"red hat enterprise linux as release ", "Linux Red Hat Enterprise AS "},
    {"red hat enterprise linux server release ", "Linux Red Hat Enterprise Server "},
    {"red hat enterprise linux client release ", "Linux Red Hat Enterprise Client "},
};

namespace {

// The detected name: allocated once and kept as long as the library stays
// loaded, and let go at unload, after the table below has been undone, so
// that a host that unloads the library loses nothing. Null after detection
// when nothing was recognised.
std::unique_ptr<char[]> detectedName;
bool detectionPending = true;

// The folder under which the marker files are looked for: the machine's
// root, except in tests.
std::string markerRoot;
unsigned long markerFilesOpened = 0;

constexpr unsigned long kLineBufferSize = 1024;
constexpr unsigned long kReadLimit = 1023;

FILE* OpenMarker(char const* path) {
  ++markerFilesOpened;
  std::string const full = markerRoot + path;
  return std::fopen(full.c_str(), "r");
}

// Reads up to 1023 bytes of a marker file at once and terminates them.
// False when the file cannot be opened or gives nothing.
bool ReadMarker(char const* path, char (&text)[kLineBufferSize]) {
  FILE* const file = OpenMarker(path);
  if (file == nullptr) return false;
  std::size_t const count = std::fread(text, 1, kReadLimit, file);
  std::fclose(file);
  if (count == 0) return false;
  text[count] = '\0';
  return true;
}

// A copy that outlives detection.
char* Keep(std::string const& text) {
  char* const kept = new char[text.size() + 1];
  std::memcpy(kept, text.c_str(), text.size() + 1);
  return kept;
}

bool IsBlank(char character) { return character == ' ' || character == '\t'; }

// The first line of the virtual machine's version file, when it names one:
// up to its first '[', less one blank directly before it.
char* FromVirtualMachineVersion() {
  FILE* const file = OpenMarker("/proc/vmware/version");
  if (file == nullptr) return nullptr;
  char line[kLineBufferSize];
  char const* const read = std::fgets(line, sizeof line, file);
  std::fclose(file);
  if (read == nullptr) return nullptr;
  if (std::strncmp(line, "VMware ", 7) != 0) return nullptr;
  if (char* const bracket = std::strchr(line, '[')) {
    char* end = bracket;
    if (bracket != line && IsBlank(bracket[-1])) --end;
    *end = '\0';
  }
  return Keep(line);
}

// The release file of the distributions in the table: the row's name
// prefix, then the text behind the row's line prefix up to the first blank.
char* FromReleaseFile() {
  char text[kLineBufferSize];
  if (!ReadMarker("/etc/redhat-release", text)) return nullptr;
  for (DistributionPrefix const& row : DistributionTable) {
    std::size_t const length = std::strlen(row.linePrefix);
    if (strncasecmp(text, row.linePrefix, length) != 0) continue;
    // The text is terminated, so a match covers `length` bytes of it.
    char const* const token = text + length;
    std::size_t const tokenLength = std::strcspn(token, " ");
    return Keep(std::string(row.namePrefix) + std::string(token, tokenLength));
  }
  return nullptr;
}

// The other distribution's release file: what follows "SuSE Linux " up to
// the first '(', less one blank directly before it.
char* FromOtherReleaseFile() {
  char text[kLineBufferSize];
  if (!ReadMarker("/etc/SuSE-release", text)) return nullptr;
  static char const kPrefix[] = "suse linux ";
  std::size_t const prefixLength = sizeof kPrefix - 1;
  if (strncasecmp(text, kPrefix, prefixLength) != 0) return nullptr;
  char const* const token = text + prefixLength;
  std::size_t tokenLength = std::strcspn(token, "(");
  if (token[tokenLength] == '(' && tokenLength != 0 && IsBlank(token[tokenLength - 1])) {
    --tokenLength;
  }
  return Keep("Linux SuSE " + std::string(token, tokenLength));
}

// The remark in the compiler banner of the kernel's version line: the text
// behind the third '(', up to the next ')', cut behind the first word after
// the first that starts with a digit, with the first "Linux " taken out.
char* FromKernelVersion() {
  char text[kLineBufferSize];
  if (!ReadMarker("/proc/version", text)) return nullptr;
  char* open = std::strchr(text, '(');
  if (open == nullptr) return nullptr;
  open = std::strchr(open + 1, '(');
  if (open == nullptr) return nullptr;
  open = std::strchr(open + 1, '(');
  if (open == nullptr) return nullptr;
  char* const remark = open + 1;
  if (char* const close = std::strchr(remark, ')')) *close = '\0';

  // Word by word; the first is passed over whatever it is.
  char* cursor = remark;
  while (IsBlank(*cursor)) ++cursor;
  while (*cursor != '\0' && !IsBlank(*cursor)) ++cursor;
  while (*cursor != '\0') {
    while (IsBlank(*cursor)) ++cursor;
    if (*cursor == '\0') break;
    bool const numeric = *cursor >= '0' && *cursor <= '9';
    while (*cursor != '\0' && !IsBlank(*cursor)) ++cursor;
    if (numeric) {
      *cursor = '\0';
      break;
    }
  }

  std::string kept(remark);
  long const length = static_cast<long>(kept.size());
  for (long at = 0; at < length - 6; ++at) {
    if (strncasecmp(kept.c_str() + at, "Linux ", 6) == 0) {
      kept.erase(static_cast<std::size_t>(at), 6);
      break;
    }
  }
  return Keep("Linux " + kept);
}

char* DetectName() {
  if (char* const name = FromVirtualMachineVersion()) return name;
  if (char* const name = FromReleaseFile()) return name;
  if (char* const name = FromOtherReleaseFile()) return name;
  return FromKernelVersion();
}

surveyor_string ViewOf(Stringy const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.Text()), text.GetLength()};
}

surveyor_string CopiedToEvaluation(char const* text) {
  unsigned long const length = std::strlen(text);
  unsigned char* const copy = Allocate_Surveyor_Memory(length == 0 ? 1 : length);
  if (copy == nullptr) throw NoSuchObject();
  std::memcpy(copy, text, length);
  return surveyor_string{copy, length};
}

void* AllocateForHost(unsigned long size) { return Allocate_Surveyor_Memory(size); }

moment BootMoment() {
  integer const seconds{BootSecondsSince1970()};
  return january_1_1970() + seconds * second_of();
}

}  // namespace

// ---------------------------------------------------------------------------
// The operating system.

operating_system Os_of_world() {
  struct utsname names;
  if (uname(&names) != 0) throw NoSuchObject();
  if (detectionPending) {
    // Cleared first: detection runs once, also when it finds nothing.
    detectionPending = false;
    detectedName.reset(DetectName());
  }
  operating_system system;
  system.name = detectedName != nullptr ? detectedName.get() : names.sysname;
  system.release = names.release;
  system.build = names.version;
  system.architecture = names.machine;
  return system;
}

surveyor_string AsString(operating_system const& system) {
  unsigned long const nameLength = system.name.GetLength();
  unsigned long const releaseLength = system.release.GetLength();
  unsigned long const length = nameLength + 2 + releaseLength + 1;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  if (text == nullptr) throw NoSuchObject();
  unsigned char* out = text;
  if (nameLength != 0) std::memcpy(out, system.name.Text(), nameLength);
  out += nameLength;
  *out++ = ' ';
  *out++ = '(';
  if (releaseLength != 0) std::memcpy(out, system.release.Text(), releaseLength);
  out += releaseLength;
  *out = ')';
  return surveyor_string{text, length};
}

surveyor_string Name_of(operating_system const& system) { return ViewOf(system.name); }

surveyor_string Release_of(operating_system const& system) { return ViewOf(system.release); }

surveyor_string Build_of(operating_system const& system) {
  if (system.build.IsEmpty()) throw NoSuchObject();
  return ViewOf(system.build);
}

surveyor_string Arch_of(operating_system const& system) {
  if (system.architecture.IsEmpty()) throw NoSuchObject();
  return ViewOf(system.architecture);
}

// A failure of the library's own on the way means there is no boot time;
// what the host throws (an interruption, its time arithmetic, no memory) is
// the host's and goes back to it unchanged.
moment Boot_Time_of(operating_system const&) {
  try {
    return BootMoment();
  } catch (DebuggableException const&) {
    throw NoSuchObject();
  }
}

time_interval Up_Time_of(operating_system const&) {
  try {
    return moment_now() - BootMoment();
  } catch (DebuggableException const&) {
    throw NoSuchObject();
  }
}

long long BootSecondsSince1970() {
  long long result = 0;
  setutent();
  struct utmp wanted;
  std::memset(&wanted, 0, sizeof wanted);
  wanted.ut_type = BOOT_TIME;
  if (struct utmp const* const boot = getutid(&wanted)) {
    result = boot->ut_tv.tv_sec;
  } else {
    // No boot record: the earliest time of any entry stands in for it.
    long long limit = ClockSeconds();
    setutent();
    while (struct utmp const* const entry = getutent()) {
      long long const when = entry->ut_tv.tv_sec;
      if (when != 0 && when < limit) {
        limit = when;
        result = when;
      }
    }
  }
  endutent();
  return result;
}

// ---------------------------------------------------------------------------
// The world's names.

surveyor_string HostName_of_world() {
  char name[kLineBufferSize];
  if (gethostname(name, kReadLimit) == -1) throw NoSuchObject();
  name[kReadLimit] = '\0';
  return CopiedToEvaluation(name);
}

surveyor_string DomainName_of_world() {
  char name[kLineBufferSize];
  if (getdomainname(name, kReadLimit) == -1) throw NoSuchObject();
  name[kReadLimit] = '\0';
  return CopiedToEvaluation(name);
}

surveyor_string DnsDomainName_of_world() {
  char* text = nullptr;
  if (!CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &AllocateForHost)) {
    throw NoSuchObject();
  }
  if (text == nullptr) throw NoSuchObject();
  return surveyor_string{reinterpret_cast<unsigned char const*>(text),
                         static_cast<unsigned long>(std::strlen(text))};
}

// ---------------------------------------------------------------------------
// The two dependency nodes of this identity.

operating_system const& StableOperatingSystem() {
  static operating_system const first = Os_of_world();
  return first;
}

void OSNodeState(Fingerprinter& fingerprinter) {
  // The value's own bytes: its four string records, not their texts. They
  // never change, so neither does the node: these properties are stable.
  operating_system const& system = StableOperatingSystem();
  Fingerprint_Byte_Range(fingerprinter, &system, &system + 1);
}

void ComputerNameNodeState(Fingerprinter& fingerprinter) {
  char name[kLineBufferSize];
  if (gethostname(name, kReadLimit) != 0) return;
  name[kReadLimit] = '\0';
  Fingerprint_Byte_Range(fingerprinter, name, name + std::strlen(name));
}

// ---------------------------------------------------------------------------
// Tests only.

namespace survey::system::testing {

void RedetectUnder(char const* root) {
  markerRoot = root != nullptr ? root : "";
  detectedName.reset();
  detectionPending = true;
}

unsigned long MarkerFilesOpened() { return markerFilesOpened; }

}  // namespace survey::system::testing

// ---------------------------------------------------------------------------
// Registration, in table order: the two nodes, then the vocabulary.

namespace {

RegistrationTable table{
    DependencyRow(&OSDependencyNode, "StableOSProperties", &OSNodeState),
    DependencyRow(&ComputerNameDependencyNode, "StableComputerNameProperties",
                  &ComputerNameNodeState),
    TypeRow<operating_system>(),
    PropertyRow("operating system", "operating systems", &Os_of_world, &OSDependencyNodeFunction),
    CastRow("string", &AsString, &DependsOnlyOnParameters),
    PropertyRow("name", "names", &Name_of, &DependsOnlyOnParameters),
    PropertyRow("release", "releases", &Release_of, &DependsOnlyOnParameters),
    PropertyRow("build", "builds", &Build_of, &DependsOnlyOnParameters),
    PropertyRow("architecture", "architectures", &Arch_of, &DependsOnlyOnParameters),
    PropertyRow("boot time", "boot times", &Boot_Time_of),
    PropertyRow("uptime", "uptimes", &Up_Time_of),
    PropertyRow("hostname", "hostnames", &HostName_of_world, &DependsOnlyOnParameters),
    PropertyRow("computer name", "computer names", &HostName_of_world,
                &ComputerNameDependencyNodeFunction),
    PropertyRow("domainname", "domainnames", &DomainName_of_world, &DependsOnlyOnParameters),
    PropertyRow("host name", "host names", &HostName_of_world, &DependsOnlyOnParameters),
    PropertyRow("domain name", "domain names", &DomainName_of_world, &DependsOnlyOnParameters),
    PropertyRow("dns name", "dns names", &DnsDomainName_of_world, &DependsOnlyOnParameters),
};

}  // namespace
