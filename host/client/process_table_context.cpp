#include "host/client/process_table_context.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "host/client/usage_statistics.h"
#include "survey/client/execution_cursor.h"

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
  if (state.Folder() != nullptr) {
    ReadNextExecution = &NextExecution;
    GetApplicationUsageSummary = &UsageSummary;
  }
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

namespace {

// Puts a copy of the text in the cursor's field, in memory from the
// cursor's allocator, after freeing the text the field held.
void PutText(SurveyorExecutionCursor& cursor, ConstData& field, std::string const& text) {
  if (field.begin != nullptr && cursor.release != nullptr) {
    cursor.release(const_cast<unsigned char*>(field.begin));
  }
  field = ConstData();
  if (text.empty() || cursor.allocate == nullptr) return;
  auto* const copy = static_cast<unsigned char*>(cursor.allocate(static_cast<unsigned int>(text.size())));
  if (copy == nullptr) return;
  std::memcpy(copy, text.data(), text.size());
  field = ConstData(copy, copy + text.size());
}

}  // namespace

bool ProcessTableContext::NextExecution(char const* name, unsigned long length,
                                        SurveyorExecutionCursor* cursor) {
  if (name == nullptr || cursor == nullptr) return false;
  ProcessTableContext& part = CurrentPart<ProcessTableContext>();
  std::optional<UsageEventRecord> const event =
      part.state_.Records().FindUsageEvent(std::string_view(name, length), cursor->position);
  if (!event) return false;
  cursor->position += 1;
  cursor->type = event->type;
  cursor->time = Instant(event->time);
  cursor->modificationTime = Instant(event->modificationTime);
  PutText(*cursor, cursor->versionInfo, event->versionInfo);
  PutText(*cursor, cursor->path, event->path);
  return true;
}

bool ProcessTableContext::UsageSummary(SurveyorConstData const* name, unsigned int* runCount,
                                       long long* firstStart, long long* lastStart,
                                       long long* lastSeen, long long* totalDuration,
                                       unsigned int* running, SurveyorContext*) {
  if (name == nullptr || name->begin == nullptr || name->end < name->begin) return false;
  ProcessTableContext& part = CurrentPart<ProcessTableContext>();
  std::string const folder = part.state_.PreparedFolder().UsageFolder();
  std::string_view const wanted(reinterpret_cast<char const*>(name->begin),
                                static_cast<std::size_t>(name->end - name->begin));
  std::optional<UsageStatistics> const statistics = ReadUsageStatisticsFile(folder, wanted);
  if (!statistics) return false;
  if (runCount != nullptr) *runCount = statistics->runCount;
  if (firstStart != nullptr) *firstStart = statistics->firstStart;
  if (lastStart != nullptr) *lastStart = statistics->lastStart;
  if (lastSeen != nullptr) *lastSeen = statistics->lastSeen;
  if (totalDuration != nullptr) *totalDuration = statistics->totalDuration;
  if (running != nullptr) *running = statistics->running;
  return true;
}

}  // namespace survey::client
