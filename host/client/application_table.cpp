#include "host/client/application_table.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace survey::client {

namespace {

constexpr char kImageGoneMark[] = " (deleted)";

// Reads the whole of a small file under a folder; false when it cannot.
bool ReadSmallFile(int folder, char const* name, char* buffer, std::size_t capacity,
                   std::size_t& length) {
  int const descriptor = openat(folder, name, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  length = 0;
  while (length < capacity) {
    ssize_t const count = read(descriptor, buffer + length, capacity - length);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    length += static_cast<std::size_t>(count);
  }
  close(descriptor);
  return length != 0;
}

// A 64-bit mix of one word into a well-spread value.
std::uint64_t Mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15ULL;
  value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ULL;
  value = (value ^ (value >> 27)) * 0x94d049bb133111ebULL;
  return value ^ (value >> 31);
}

std::uint64_t DigestOfText(std::string const& text) {
  std::uint64_t digest = 0xcbf29ce484222325ULL;
  for (unsigned char const byte : text) {
    digest ^= byte;
    digest *= 0x100000001b3ULL;
  }
  return digest;
}

bool IsImageGone(std::string const& path) {
  std::size_t const markLength = sizeof kImageGoneMark - 1;
  return path.size() > markLength &&
         path.compare(path.size() - markLength, markLength, kImageGoneMark) == 0;
}

std::string_view NameOfPath(std::string_view path) {
  std::size_t const slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace

unsigned long long StartTimeOfStat(char const* text, std::size_t length) {
  char const* const end = text + length;
  char const* cursor = end;
  while (cursor != text && cursor[-1] != ')') --cursor;
  if (cursor == text) return 0;
  // Fields are separated by single spaces; runs are passed over all the same.
  for (int field = 3; field < 22; ++field) {
    while (cursor != end && *cursor == ' ') ++cursor;
    while (cursor != end && *cursor != ' ') ++cursor;
  }
  while (cursor != end && *cursor == ' ') ++cursor;
  unsigned long long value = 0;
  while (cursor != end && *cursor >= '0' && *cursor <= '9') {
    value = value * 10 + static_cast<unsigned long long>(*cursor - '0');
    ++cursor;
  }
  return value;
}

std::vector<ProcessSighting> ReadProcessTable(char const* root) {
  std::vector<ProcessSighting> processes;
  DIR* const directory = opendir(root);
  if (directory == nullptr) return processes;
  int const rootDescriptor = dirfd(directory);
  while (dirent const* const entry = readdir(directory)) {
    char const* const name = entry->d_name;
    if (*name < '1' || *name > '9') continue;
    char* numberEnd = nullptr;
    unsigned long const pid = std::strtoul(name, &numberEnd, 10);
    if (*numberEnd != '\0') continue;
    int const folder = openat(rootDescriptor, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Gone since the directory was read, or not a process folder.
    if (folder < 0) continue;
    ProcessSighting sighting;
    sighting.pid = pid;
    char text[1024];
    std::size_t length = 0;
    if (ReadSmallFile(folder, "stat", text, sizeof text, length)) {
      sighting.startTime = StartTimeOfStat(text, length);
    }
    char target[4096];
    ssize_t const targetLength = readlinkat(folder, "exe", target, sizeof target);
    if (targetLength > 0 && static_cast<std::size_t>(targetLength) < sizeof target) {
      sighting.program.assign(target, static_cast<std::size_t>(targetLength));
    }
    close(folder);
    processes.push_back(std::move(sighting));
  }
  closedir(directory);
  return processes;
}

unsigned long ProcessTableGeneration(std::vector<ProcessSighting> const& processes) {
  // A sum of one digest per process: the order of reading does not count,
  // and no two processes of one reading share a number.
  std::uint64_t sum = Mix(processes.size());
  for (ProcessSighting const& process : processes) {
    std::uint64_t digest = Mix(process.pid);
    digest = Mix(digest ^ process.startTime);
    digest = Mix(digest ^ DigestOfText(process.program));
    sum += digest;
  }
  return static_cast<unsigned long>(static_cast<std::uint32_t>(sum ^ (sum >> 32)));
}

void ApplicationTable::Observe(std::vector<ProcessSighting> const& processes) {
  for (ApplicationEntry& entry : entries_) entry.running = false;
  for (ProcessSighting const& process : processes) {
    if (process.program.empty()) continue;
    auto const [position, added] = positions_.try_emplace(process.program, entries_.size());
    if (added) {
      ApplicationEntry entry;
      entry.path = process.program;
      entry.state = IsImageGone(process.program) ? kApplicationImageGone : kApplicationKnown;
      entries_.push_back(std::move(entry));
    }
    entries_[position->second].running = true;
  }
  generation_ = ProcessTableGeneration(processes);
}

template <class Wanted>
ApplicationEntry const* ApplicationTable::Find(std::string_view name, Wanted wanted) const {
  bool const byPath = name.find('/') != std::string_view::npos;
  // A running entry first; else the one seen last, since entries are kept
  // in the order first seen and a later program of the name is likelier to
  // be there still.
  ApplicationEntry const* latest = nullptr;
  for (ApplicationEntry const& entry : entries_) {
    if (!wanted(entry)) continue;
    std::string_view const key = byPath ? std::string_view(entry.path) : NameOfPath(entry.path);
    if (key != name) continue;
    if (entry.running) return &entry;
    latest = &entry;
  }
  return latest;
}

ApplicationEntry const* ApplicationTable::FindRunning(std::string_view name) const {
  return Find(name, [](ApplicationEntry const& entry) { return entry.running; });
}

ApplicationEntry const* ApplicationTable::FindRecent(std::string_view name) const {
  return Find(name, [](ApplicationEntry const& entry) { return entry.state == kApplicationKnown; });
}

ApplicationTable const& RefreshedApplicationTable() {
  static ApplicationTable table;
  table.Observe(ReadProcessTable());
  return table;
}

}  // namespace survey::client
