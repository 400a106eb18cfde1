#include "host/client/process_table_context.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace survey::client {

namespace {

// Name buffers of the interface hold this many bytes.
constexpr std::size_t kTableNameSize = 4096;

// Copies a path into a name buffer; false when it does not fit.
bool CopyName(std::string const& path, char* buffer) {
  if (buffer == nullptr || path.size() >= kTableNameSize) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

ProcessTableContext::ProcessTableContext(ClientState& state) : state_(state) {
  GetTableEntry = &TableEntry;
  FindRecentApplication = &RecentApplication;
  IsTableEntryRunning = &TableEntryRunning;
  FindRunningApplication = &RunningApplication;
  GetTableSerial = &TableSerial;
}

ApplicationTable const& ProcessTableContext::Applications() {
  return CurrentPart<ProcessTableContext>().state_.Applications();
}

bool ProcessTableContext::TableEntry(unsigned long index, char* name, unsigned char* state) {
  std::vector<ApplicationEntry> const& entries = Applications().Entries();
  if (index >= entries.size()) return false;
  ApplicationEntry const& entry = entries[index];
  if (state != nullptr) *state = entry.state;
  // A path too long for the buffer cannot stand for a file anyway: it reads
  // as an empty name, which names nothing.
  if (!CopyName(entry.path, name) && name != nullptr) *name = '\0';
  return true;
}

bool ProcessTableContext::TableEntryRunning(unsigned long index) {
  std::vector<ApplicationEntry> const& entries = Applications().Entries();
  return index < entries.size() && entries[index].running;
}

bool ProcessTableContext::RecentApplication(char const* name, unsigned long length, char* found) {
  if (name == nullptr) return false;
  ApplicationEntry const* const entry = Applications().FindRecent(std::string_view(name, length));
  return entry != nullptr && CopyName(entry->path, found);
}

bool ProcessTableContext::RunningApplication(char const* name, unsigned long length, char* found) {
  if (name == nullptr) return false;
  ApplicationEntry const* const entry = Applications().FindRunning(std::string_view(name, length));
  return entry != nullptr && CopyName(entry->path, found);
}

unsigned long ProcessTableContext::TableSerial() { return Applications().Generation(); }

}  // namespace survey::client
