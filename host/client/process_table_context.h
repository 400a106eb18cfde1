// The process-table part of the host's context: the machine's applications,
// running and recent, behind `SurveyorProcessTableContext`, from the
// application table of the evaluation (application_table.h), read from /proc
// once per evaluation.
//
// The usage log (the executions and the usage summary) is not kept by this
// host: those slots are null.
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

  // The application table of the evaluation under way.
  static ApplicationTable const& Applications();

  ClientState& state_;
};

}  // namespace survey::client
