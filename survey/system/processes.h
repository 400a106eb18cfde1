// The machine's processes, read from /proc: the world property "process" by
// number, every process as a stream, the processes of a name, and the name
// and number of a process. The running and recent applications, which the
// host's application table lists. Also the small counting list that the
// reader of application usage keeps its runs in.
//
// A process is named after the file its "exe" link in /proc points to: the
// text after the link target's last "/". A process whose link cannot be read
// (a kernel thread, a zombie, another user's process when unprivileged) is
// "unnamed". Nothing about the process table is kept in the library: every
// walk reads /proc anew.
#pragma once

#include <dirent.h>

#include "survey/files/filesystem_object.h"
#include "survey/foundation/data.h"
#include "survey/foundation/time.h"
#include "survey/frame/adaptors.h"
#include "survey/system/process_counts.h"

// A process: its name and its number as decimal text, both zero-terminated
// and in evaluation memory. The number is parsed when asked for.
struct SURVEY_API process {
  static constexpr char const* TypeName() { return "process"; }

  char const* name;
  char const* id;
};

// The name a process with no readable "exe" link gets.
SURVEY_API extern char const kUnnamedProcess[];

// The file name of the program that process `pid` runs, from the target of
// /proc/PID/exe after its last "/"; a target whose only "/" is its first
// character is kept whole ("/init"). False when the link cannot be read or
// the name does not fit below `capacity` bytes with its terminator.
SURVEY_API bool ProcessIdToName(unsigned long pid, char* buffer, unsigned long capacity);
// The whole target of /proc/PID/exe, under the same conditions.
SURVEY_API bool ProcessIdToPath(unsigned long pid, char* buffer, unsigned long capacity);

// The walk of /proc that both process streams share: one directory handle,
// open from `First` until the stream is destroyed.
class SURVEY_API process_walk {
 public:
  process_walk() = default;
  // Closes an open handle. The host destroys the walk and cannot take an
  // exception from that, and the handle is released whether or not the
  // close reports an error, so a failing close is not reported.
  ~process_walk();
  process_walk(process_walk const&) = delete;
  process_walk& operator=(process_walk const&) = delete;

 protected:
  // Closes the handle of an earlier walk and opens /proc. FileIOError when
  // either fails.
  void Restart();
  // The next process of the walk; NoSuchObject at its end, FileIOError when
  // the directory cannot be read.
  process Step();

 private:
  DIR* directory_ = nullptr;
};

// Every process, in the order of /proc.
class SURVEY_API process_iterator : public process_walk {
 public:
  process First();
  process Next();
};

// The processes whose name is the wanted text, or starts with it when the
// text ends in "*". Case counts.
class SURVEY_API namedprocess_iterator : public process_walk {
 public:
  process First(surveyor_string const& wanted);
  process Next(surveyor_string const& wanted);
};

// The process of that number, whether or not it exists: only the low 32 bits
// count, and an absent process is merely "unnamed".
SURVEY_API process numberedprocess_of_world(integer const& number);
SURVEY_API surveyor_string name_of_process(process const& value);
SURVEY_API integer pid_of_process(process const& value);

// ---------------------------------------------------------------------------
// The host's table of applications. Each walk and lookup asks the context
// anew; an entry whose file cannot be had as an "application" is passed over
// by the walks and is "none" to the lookups.

// The running applications: the entries that the host says run now and
// whose state byte is not 0.
class SURVEY_API running_app_iterator {
 public:
  running_app_iterator() {}
  ~running_app_iterator() {}
  application First();
  application Next();

 private:
  unsigned long index_ = 0;
};

// The recent applications: the entries whose state byte is 1.
class SURVEY_API recent_app_iterator {
 public:
  recent_app_iterator() {}
  ~recent_app_iterator() {}
  application First();
  application Next();

 private:
  unsigned long index_ = 0;
};

// The running, or recent, application of that name, as the host finds it.
SURVEY_API application RunApp_of(unsigned char const* name, unsigned long length);
SURVEY_API application RecentApp_of(unsigned char const* name, unsigned long length);

// ---------------------------------------------------------------------------
// Counting runs of applications.

// `LogMeasureEventType`, `ProcessCountRecord` and `ProcessCounts` are in
// survey/system/process_counts.h, which the host may include too.
