// The parts of the host's context that each tell one thing of the client's
// own state, kept in its records (client_records.h, HostStateRecord):
//
//   system         `SurveyorSystemContext`: who controls the action lock;
//   servers        `SurveyorServerContext`: the computer's id, the
//                  server's apparent time, the registration server's version
//                  and name, the relay's version, the root server's name and
//                  id and the download server's name (client_records.h,
//                  ServerRecordSet); the rest of the record, its buffers
//                  included, is left as the library prepared it;
//   analysis       `SurveyorAnalysisContext`: the analysis under evaluation,
//                  none unless its time is recorded;
//   restarts       `PendingRestartSurveyorContext`: whether a restart is
//                  pending, in all or for a reason of that name (matched as
//                  the bytes stand);
//   cryptography   `SurveyorFipsContext`: the FIPS mode and report
//                  encryption, each with the wanted state and a failure text;
//   wake-on-LAN    `WakeOnLanContext`: the subnet.
//
// Each is read from the records as they stand when asked. Without a client
// folder the slots are null and the virtual operations answer as for a
// client with no state set.
#pragma once

#include <deque>
#include <string>

#include "host/client/client_records.h"
#include "host/client/client_state.h"
#include "survey/frame/boundary.h"

namespace survey::client {

class HostStateContext : public SurveyorSystemContext,
                         public SurveyorAnalysisContext,
                         public SurveyorFipsContext,
                         public WakeOnLanContext,
                         public SurveyorServerContext,
                         public PendingRestartSurveyorContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit HostStateContext(ClientState& state);
  HostStateContext(HostStateContext const&) = delete;
  HostStateContext& operator=(HostStateContext const&) = delete;

  void GetServerRecord(SurveyorServerRecord& record) override;
  bool IsRestartPending() override;
  bool IsRestartPendingFor(char const* name, unsigned long length) override;

 private:
  // The state as the records hold it now; as if nothing were set without a
  // client folder.
  HostStateRecord Current();
  static HostStateContext& Part();
  // A text kept until the evaluation ends; null for none.
  char const* Kept(std::optional<std::string> const& text);

  static bool SystemData(SurveyorSystemData* data);
  static bool Analysis(SurveyorAnalysisData* analysis);
  static bool Fips();
  static bool DesiredFips();
  static char const* FipsFailure();
  static bool Encrypt();
  static bool DesiredEncrypt();
  static char const* EncryptFailure();
  static char const* Subnet();

  ClientState& state_;
  std::deque<std::string> kept_;
};

}  // namespace survey::client
