// The process-table part of the host's context: the machine's applications,
// running and recent, behind `SurveyorProcessTableContext`, from the
// application table of the evaluation (application_table.h), read from /proc
// once per evaluation.
//
// The usage log of watched applications: the events come from the client's
// records, one per `ReadNextExecution`, the cursor's position counting the
// events of the application read so far (the cursor's other host words are
// not used); the summaries come from the statistics files "NAME.stat" in the
// storage folder's "UsageData" (usage_statistics.h). Without a client folder
// these two slots are null.
#pragma once

#include "host/client/client_state.h"
#include "survey/frame/boundary.h"

namespace survey::client {

class ProcessTableContext : public SurveyorProcessTableContext {
 public:
  // Serves the application table of that state, which must outlive it.
  explicit ProcessTableContext(ClientState& state);
  ProcessTableContext(ProcessTableContext const&) = delete;
  ProcessTableContext& operator=(ProcessTableContext const&) = delete;

 private:
  static bool TableEntry(unsigned long index, char* name, unsigned char* state);
  static bool TableEntryRunning(unsigned long index);
  static bool RecentApplication(char const* name, unsigned long length, char* found);
  static bool RunningApplication(char const* name, unsigned long length, char* found);
  static unsigned long TableSerial();
  static bool NextExecution(char const* name, unsigned long length,
                            SurveyorExecutionCursor* cursor);
  static bool UsageSummary(SurveyorConstData const* name, unsigned int* runCount,
                           long long* firstStart, long long* lastStart, long long* lastSeen,
                           long long* totalDuration, unsigned int* running,
                           SurveyorContext* context);

  // The application table of the evaluation under way.
  static ApplicationTable const& Applications();

  ClientState& state_;
};

}  // namespace survey::client
