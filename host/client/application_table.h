// The host's table of applications: the programs that the machine's processes
// run, read from /proc, with those seen earlier in the life of this host kept
// as recent ones after their last process has ended.
//
// An entry is the full path of a program file, as the process's "exe" link
// gives it. Its state byte tells the library what kind of entry it is:
//
//   1  a program known by its file (kApplicationKnown);
//   2  a program whose file has been removed or replaced since it started:
//      the kernel marks the link target with " (deleted)", and no file of
//      that name stands for the running program (kApplicationImageGone).
//
// Recent applications are the entries of state 1, running or not; running
// applications are the entries whose program some process runs now.
//
// The table's generation is a digest of the process table it was read from:
// every process's number, start time and program. The same processes give
// the same generation; a process that starts, ends or runs another program
// changes it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace survey::client {

// One process as /proc shows it.
struct ProcessSighting {
  unsigned long pid = 0;
  unsigned long long startTime = 0;  // in clock ticks since boot
  std::string program;               // the "exe" link's target; empty when unreadable
};

// The start time of a process, in clock ticks since boot, from the text of
// its "stat" file: the 22nd field, counted from the last ")" since the name
// in parentheses before it may hold anything, spaces and ")" included. 0
// when the text has no ")" or is cut short there.
unsigned long long StartTimeOfStat(char const* text, std::size_t length);

// The processes under `root` (a /proc file system), in the order of its
// directory. A process that ends during the reading is left out or has no
// program; nothing here throws for a process or entry that cannot be read.
std::vector<ProcessSighting> ReadProcessTable(char const* root = "/proc");

// The digest of a reading, folded to 32 bits; it does not depend on the
// order in which the processes were read.
unsigned long ProcessTableGeneration(std::vector<ProcessSighting> const& processes);

enum ApplicationState : unsigned char {
  kApplicationKnown = 1,
  kApplicationImageGone = 2,
};

struct ApplicationEntry {
  std::string path;
  unsigned char state = kApplicationKnown;
  bool running = false;
};

class ApplicationTable {
 public:
  // Takes in a reading: the programs of its processes are running, entered
  // in the order first seen; every other entry is no longer running.
  void Observe(std::vector<ProcessSighting> const& processes);

  std::vector<ApplicationEntry> const& Entries() const { return entries_; }
  unsigned long Generation() const { return generation_; }

  // The running entry, or the recent one (state 1), named by `name`: a name
  // with a "/" is a full path and must equal the entry's path; any other
  // name must equal the part of the path after its last "/". Case counts.
  // Of several, a running entry, else the one first seen last. Null when
  // there is none.
  ApplicationEntry const* FindRunning(std::string_view name) const;
  ApplicationEntry const* FindRecent(std::string_view name) const;

 private:
  template <class Wanted>
  ApplicationEntry const* Find(std::string_view name, Wanted wanted) const;

  std::vector<ApplicationEntry> entries_;
  std::unordered_map<std::string, std::size_t> positions_;
  unsigned long generation_ = 0;
};

// The table of this host, over its whole life. `Refreshed` reads /proc into
// it and gives it; a context calls it at most once per evaluation.
ApplicationTable const& RefreshedApplicationTable();

}  // namespace survey::client
