// The servers part of the host's context: the server the client has chosen,
// behind `HostSelectorSurveyorContext`.
//
// The client's records keep the server list with each entry in its
// flattened big-endian form (client_records.h, ServerRecordSet), and the
// place of the selected one. The entries are read by the surveyor library's
// own reader, which it exports with a writer and a describer for the host
// (survey/client/host_selector_description.h): the host finds them by name
// among the objects loaded into the process. An entry read for an
// evaluation stays until the evaluation ends, as the library expects.
//
// The rest of the server record (the registration, relay, root and download
// servers) is served with the client's state (host_state_context.h).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/client/client_state.h"
#include "survey/client/host_selector_description.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// The library's functions over flattened entries, found in the process;
// each null when no loaded object exports them.
struct HostSelectorCodec {
  SurveyFlattenHostSelectorFunction flatten = nullptr;
  SurveyReadHostSelectorFunction read = nullptr;
  SurveyDescribeHostSelectorFunction describe = nullptr;
  SurveyDeleteHostSelectorFunction free = nullptr;

  static HostSelectorCodec Find();
  bool Found() const { return flatten && read && describe && free; }
};

class ServerContext : public HostSelectorSurveyorContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit ServerContext(ClientState& state);
  ServerContext(ServerContext const&) = delete;
  ServerContext& operator=(ServerContext const&) = delete;
  ~ServerContext();

  // The selected server, read on first use; null without a client folder
  // or a selected server. Throws an evaluation error of kind kNotAvailable
  // when the library's reader cannot be found or the stored entry is
  // damaged.
  HostSelectorEntry const* GetSelectedServer() override;

 private:
  ClientState& state_;
  HostSelectorCodec codec_;
  HostSelectorEntry* selected_ = nullptr;
  bool read_ = false;
};

}  // namespace survey::client
