#include "survey/system/processes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "survey/foundation/ascii.h"
#include "survey/foundation/file_errors.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

char const kUnnamedProcess[] = "unnamed";

namespace {

constexpr unsigned long kLinkBufferSize = 4096;
// The name buffers of the walk and of the lookup by number.
constexpr unsigned long kWalkNameSize = 1024;
constexpr unsigned long kNumberedNameSize = 4096;

// "/proc/PID/exe". The number is written as the C library's int, as the
// kernel's own names are.
void ExeLinkName(unsigned long pid, char (&name)[64]) {
  std::snprintf(name, sizeof name, "/proc/%d/exe", static_cast<int>(pid));
}

// A copy of a zero-terminated text in evaluation memory.
char const* EvaluationCopy(char const* text) {
  unsigned long const size = std::strlen(text) + 1;
  unsigned char* const copy = Allocate_Surveyor_Memory(size);
  std::memcpy(copy, text, size);
  return reinterpret_cast<char const*>(copy);
}

process MakeProcess(char const* name, char const* id) {
  return process{EvaluationCopy(name), EvaluationCopy(id)};
}

}  // namespace

bool ProcessIdToName(unsigned long pid, char* buffer, unsigned long capacity) {
  char linkName[64];
  ExeLinkName(pid, linkName);
  char target[kLinkBufferSize] = {};
  // A failed read leaves the text empty. A target that fills the buffer has
  // no terminator of its own; the last byte is kept for one.
  ssize_t const length = readlink(linkName, target, kLinkBufferSize - 1);
  if (length <= 0) return false;
  target[length] = '\0';
  // The name is what follows the last "/". A target whose only "/" leads it,
  // as "/init", keeps that "/": the name is then the whole target.
  char const* const slash = std::strrchr(target, '/');
  if (slash != nullptr && slash != target) {
    std::memmove(target, slash + 1, std::strlen(slash + 1) + 1);
  }
  unsigned long const nameLength = std::strlen(target);
  if (nameLength == 0 || nameLength >= capacity) return false;
  std::memcpy(buffer, target, nameLength + 1);
  return true;
}

bool ProcessIdToPath(unsigned long pid, char* buffer, unsigned long capacity) {
  char linkName[64];
  ExeLinkName(pid, linkName);
  char target[kLinkBufferSize];
  ssize_t const length = readlink(linkName, target, kLinkBufferSize - 1);
  if (length <= 0) return false;
  target[length] = '\0';
  if (static_cast<unsigned long>(length) >= capacity) return false;
  std::memcpy(buffer, target, static_cast<unsigned long>(length) + 1);
  return true;
}

// ---------------------------------------------------------------------------
// The walk of /proc.

process_walk::~process_walk() {
  if (directory_ == nullptr) return;
  closedir(directory_);
  directory_ = nullptr;
}

void process_walk::Restart() {
  if (directory_ != nullptr) {
    DIR* const directory = directory_;
    directory_ = nullptr;
    if (closedir(directory) != 0) throw FileIOError();
  }
  directory_ = opendir("/proc");
  if (directory_ == nullptr) throw FileIOError();
}

process process_walk::Step() {
  if (directory_ == nullptr) throw NoSuchObject();
  for (;;) {
    dirent entry;
    dirent* found = nullptr;
    // Each walk has a handle of its own; the reentrant call is kept so that
    // the entry lives in this frame and not in the handle.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    int const failure = readdir_r(directory_, &entry, &found);
#pragma GCC diagnostic pop
    if (failure != 0) throw FileIOError();
    if (found == nullptr) throw NoSuchObject();
    char const* const entryName = found->d_name;
    // Only process folders have numbers for names: "self", "sys" and the
    // like read as 0.
    if (std::strtol(entryName, nullptr, 10) == 0) continue;
    char path[sizeof found->d_name + 8];
    std::snprintf(path, sizeof path, "/proc/%s", entryName);
    // A process that ended since the directory was read is gone by now.
    struct stat status;
    if (stat(path, &status) != 0) continue;
    if ((status.st_mode & 0xf000) != 0x4000) continue;
    unsigned long const pid = std::strtoul(entryName, nullptr, 10);
    char name[kWalkNameSize];
    if (!ProcessIdToName(pid, name, sizeof name)) std::strcpy(name, kUnnamedProcess);
    return MakeProcess(name, entryName);
  }
}

process process_iterator::First() {
  Restart();
  return Next();
}

process process_iterator::Next() { return Step(); }

namespace {

// Whether a process's name is the wanted text: the same bytes, or, for a
// text that ends in "*", starting with what comes before it.
bool NameMatches(char const* name, surveyor_string const& wanted) {
  char const* const text = reinterpret_cast<char const*>(wanted.data);
  if (wanted.length != 0 && text[wanted.length - 1] == '*') {
    return std::strncmp(name, text, wanted.length - 1) == 0;
  }
  return std::strlen(name) == wanted.length && std::strncmp(name, text, wanted.length) == 0;
}

}  // namespace

process namedprocess_iterator::First(surveyor_string const& wanted) {
  Restart();
  return Next(wanted);
}

process namedprocess_iterator::Next(surveyor_string const& wanted) {
  for (;;) {
    process const candidate = Step();
    if (NameMatches(candidate.name, wanted)) return candidate;
  }
}

process numberedprocess_of_world(integer const& number) {
  unsigned long const pid = static_cast<unsigned long>(static_cast<unsigned int>(number.value));
  Stringy const id(pid);
  char name[kNumberedNameSize];
  if (!ProcessIdToName(pid, name, sizeof name)) std::strcpy(name, kUnnamedProcess);
  return MakeProcess(name, id.CString());
}

surveyor_string name_of_process(process const& value) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(value.name),
                         std::strlen(value.name)};
}

integer pid_of_process(process const& value) {
  return integer{static_cast<long long>(std::strtol(value.id, nullptr, 10))};
}

// ---------------------------------------------------------------------------
// The host's application table.

namespace {

constexpr unsigned long kTableNameSize = 4096;

// Which entries a walk of the table counts, given the entry's index and its
// state byte.
enum class TableWalk { kRunning, kRecent };

// The next application of the table from `index` on. The context is asked
// anew on every call; the index moves past every entry looked at, counted or
// not. An entry whose file is not an application is passed over.
application NextTableApplication(unsigned long& index, TableWalk walk) {
  SurveyorProcessTableContext* const table = FindContextInterface<SurveyorProcessTableContext>();
  if (table == nullptr) throw NoSurveyorContext();
  for (;;) {
    if (table->GetTableEntry == nullptr) throw SurveyorProcessTableContextError();
    char name[kTableNameSize];
    name[0] = '\0';
    unsigned char state = 0;
    unsigned long const current = index;
    if (!table->GetTableEntry(current, name, &state)) throw NoSuchObject();
    name[kTableNameSize - 1] = '\0';
    bool counts;
    if (walk == TableWalk::kRunning) {
      if (table->IsTableEntryRunning == nullptr) throw SurveyorProcessTableContextError();
      counts = table->IsTableEntryRunning(current) && state != 0;
    } else {
      counts = state == 1;
    }
    ++index;
    if (!counts) continue;
    surveyor_string const path{reinterpret_cast<unsigned char const*>(name), std::strlen(name)};
    try {
      return ApplicationOfWorld(path);
    } catch (NoSuchObject const&) {
      // Not a file (any more): the walk goes on with the next entry.
    }
  }
}

using FindApplication = bool (*)(char const* name, unsigned long length, char* found);

// The application that the slot finds by name, or NoSuchObject.
application FoundApplication(FindApplication find, unsigned char const* name,
                             unsigned long length) {
  char found[kTableNameSize];
  found[0] = '\0';
  if (!find(reinterpret_cast<char const*>(name), length, found)) throw NoSuchObject();
  found[kTableNameSize - 1] = '\0';
  surveyor_string const path{reinterpret_cast<unsigned char const*>(found), std::strlen(found)};
  // A name that is no file gives NoSuchObject on its own.
  return ApplicationOfWorld(path);
}

}  // namespace

application running_app_iterator::First() {
  index_ = 0;
  return Next();
}

application running_app_iterator::Next() {
  return NextTableApplication(index_, TableWalk::kRunning);
}

application recent_app_iterator::First() {
  index_ = 0;
  return Next();
}

application recent_app_iterator::Next() { return NextTableApplication(index_, TableWalk::kRecent); }

application RunApp_of(unsigned char const* name, unsigned long length) {
  return FoundApplication(ContextSlot<&SurveyorProcessTableContext::FindRunningApplication>(), name,
                          length);
}

application RecentApp_of(unsigned char const* name, unsigned long length) {
  return FoundApplication(ContextSlot<&SurveyorProcessTableContext::FindRecentApplication>(), name,
                          length);
}

// ---------------------------------------------------------------------------
// Counting runs.

ProcessCountRecord* ProcessCounts::Find(ConstData const& first, ConstData const& second,
                                        Instant const& time) const {
  for (ProcessCountRecord* record = head; record != nullptr; record = record->next) {
    if (Ascii::EqualIgnoringCase(record->first, first) &&
        Ascii::EqualIgnoringCase(record->second, second) &&
        record->time.microseconds == time.microseconds) {
      return record;
    }
  }
  return nullptr;
}

ProcessCountRecord* ProcessCounts::Add(ConstData const& first, ConstData const& second,
                                       Instant const& time, unsigned int count) {
  if (allocate == nullptr) return nullptr;
  void* const block = allocate(sizeof(ProcessCountRecord));
  if (block == nullptr) return nullptr;
  auto* const record = static_cast<ProcessCountRecord*>(block);
  record->time = time;
  record->second = ConstData();
  record->first = ConstData();
  record->count = count;
  record->next = head;
  try {
    record->first = AllocateConstData(first, allocate);
    record->second = AllocateConstData(second, allocate);
  } catch (...) {
    if (release != nullptr) {
      if (record->first.begin != nullptr) release(const_cast<unsigned char*>(record->first.begin));
      release(record);
    }
    throw;
  }
  head = record;
  return record;
}

void ProcessCounts::Reset() {
  ProcessCountRecord* record = head;
  head = nullptr;
  while (record != nullptr) {
    ProcessCountRecord* const next = record->next;
    if (release != nullptr) {
      if (record->first.begin != nullptr) release(const_cast<unsigned char*>(record->first.begin));
      if (record->second.begin != nullptr) {
        release(const_cast<unsigned char*>(record->second.begin));
      }
      release(record);
    }
    record = next;
  }
}

void ProcessCounts::AddIdentify(ConstData first, ConstData second, Instant time,
                                unsigned long count) {
  if (Find(first, second, time) != nullptr) return;
  Add(first, second, time, static_cast<unsigned int>(count));
}

ProcessCountRecord* ProcessCounts::UpdateCounts(LogMeasureEventType event, ConstData const& first,
                                                ConstData const& second, Instant const& time) {
  ProcessCountRecord* const record = Find(first, second, time);
  if (record != nullptr) {
    if (event == kApplicationStart) {
      ++record->count;
      return record;
    }
    if (record->count == 0) return nullptr;
    --record->count;
    return record;
  }
  if (event == kApplicationEnd) return nullptr;
  return Add(first, second, time, 1);
}

// ---------------------------------------------------------------------------
// Registration, in table order. The walks of /proc state no dependency: the
// process table changes under the evaluator. The host's table states its
// generation.

namespace {

RegistrationTable table{
    TypeRow<process>(),
    IndexedRow("process", "processes", &numberedprocess_of_world),
    IteratedRow<process_iterator>("process", "processes"),
    IteratedRow("process", "processes", &namedprocess_iterator::First,
                &namedprocess_iterator::Next),
    PropertyRow("name", "names", &name_of_process, &DependsOnlyOnParameters),
    PropertyRow("pid", "pids", &pid_of_process, &DependsOnlyOnParameters),
    PropertyRow("id", "ids", &pid_of_process, &DependsOnlyOnParameters),
    PropertyRow("process id", "process ids", &pid_of_process, &DependsOnlyOnParameters),
    IteratedRow<running_app_iterator>("running application", "running applications",
                                      &DependsOnProcessTable),
    IndexedRow("running application", "running applications", &RunApp_of, &DependsOnProcessTable),
    IteratedRow<recent_app_iterator>("recent application", "recent applications",
                                     &DependsOnProcessTable),
    IndexedRow("recent application", "recent applications", &RecentApp_of, &DependsOnProcessTable),
};

}  // namespace
