// The running system's identity: the value "operating system" with its name,
// kernel release, kernel version line and architecture, its boot time and
// uptime, and the world's names: host name, NIS domain name and DNS domain.
//
// The display name is detected once per process from a short list of
// distribution marker files, and kept; everything else is taken anew from
// `uname`, `gethostname`, `getdomainname`, the utmp database and the host.
#pragma once

#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

class SURVEY_API operating_system {
 public:
  static constexpr char const* TypeName() { return "operating system"; }

  Stringy name;          // the detected display name, or the system's name
  Stringy release;       // the kernel release
  Stringy build;         // the kernel version line
  Stringy architecture;  // the machine name
};

// One row of the distribution table: a line prefix, matched ignoring case
// against the start of the release file, and the name prefix it gives.
struct SURVEY_API DistributionPrefix {
  char const* linePrefix;
  char const* namePrefix;
};

// The seven rows, in the order in which they are tried.
SURVEY_API extern DistributionPrefix DistributionTable[7];

SURVEY_API operating_system Os_of_world();
SURVEY_API surveyor_string AsString(operating_system const& system);
SURVEY_API surveyor_string Name_of(operating_system const& system);
SURVEY_API surveyor_string Release_of(operating_system const& system);
SURVEY_API surveyor_string Build_of(operating_system const& system);
SURVEY_API surveyor_string Arch_of(operating_system const& system);
SURVEY_API moment Boot_Time_of(operating_system const& system);
SURVEY_API time_interval Up_Time_of(operating_system const& system);
SURVEY_API surveyor_string HostName_of_world();
SURVEY_API surveyor_string DomainName_of_world();
SURVEY_API surveyor_string DnsDomainName_of_world();

// Seconds since 1970 of the boot record of the utmp database; without one,
// the earliest non-zero time of any entry; 0 when there is none.
SURVEY_API long long BootSecondsSince1970();

// The value that "StableOSProperties" folds in: made by `Os_of_world` at
// the first call and kept until the library is unloaded.
SURVEY_API operating_system const& StableOperatingSystem();

namespace survey::system::testing {

// Puts the marker files under `root` (a folder path without a trailing
// slash; "" is the machine's own root, the only one used outside tests) and
// makes the next `Os_of_world` detect the name again. Tests only: no
// query reaches it.
SURVEY_API void RedetectUnder(char const* root);

// How many marker files detection has tried to open since the process
// started.
SURVEY_API unsigned long MarkerFilesOpened();

}  // namespace survey::system::testing
