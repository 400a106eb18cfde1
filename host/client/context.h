// The evaluation context that the host gives the surveyor library: one object
// per evaluation, joining one part per interface this host serves over the
// state that the parts share (client_state.h).
//
//   storage        storage_context.h        the client folder;
//   network        network_context.h        the machine's DNS domain name;
//   yield          yield_context.h          the time slice, and long walks;
//   process table  process_table_context.h  the machine's applications;
//   crypto         crypto_context.h         the SHA-1 digests of files;
//   settings       settings_context.h       the client's and sites' settings;
//   sites          site_context.h           the client's sites;
//   actions        action_context.h         the client's actions;
//   nudges         nudge_context.h          the sites' advice items;
//   client state   host_state_context.h     the action lock's controller,
//                                           the computer's id and server
//                                           time, the analysis, pending
//                                           restarts, cryptography and the
//                                           wake-on-LAN subnet, and the
//                                           server record;
//   servers        server_context.h         the selected server;
//   certificates   certificate_context.h    the certificates the client
//                                           keeps.
//
// The library finds each interface with a cast from `SurveyorContext`, so
// the context must derive from every part it offers. Every other interface
// is left out, so a property that needs one answers that it is not
// available here. A new interface is served by a part of its own, in a file
// of its own, added to the bases below.
#pragma once

#include "host/client/action_context.h"
#include "host/client/certificate_context.h"
#include "host/client/client_folder.h"
#include "host/client/client_state.h"
#include "host/client/crypto_context.h"
#include "host/client/host_state_context.h"
#include "host/client/network_context.h"
#include "host/client/nudge_context.h"
#include "host/client/process_table_context.h"
#include "host/client/server_context.h"
#include "host/client/settings_context.h"
#include "host/client/site_context.h"
#include "host/client/storage_context.h"
#include "host/client/yield_context.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// The state of a context, as a base that comes before the parts: bases are
// built in order, so the state is whole before any part is given it, and it
// is gone only after them.
struct ClientStateHolder {
  explicit ClientStateHolder(ClientFolder* folder) : state(folder) {}
  ClientState state;
};

class ClientContext : private ClientStateHolder,
                      public SurveyorContext,
                      public StorageContext,
                      public NetworkContext,
                      public YieldContext,
                      public ProcessTableContext,
                      public CryptoContext,
                      public SettingsContext,
                      public SiteContext,
                      public ActionContext,
                      public NudgeContext,
                      public HostStateContext,
                      public CertificateContext,
                      public ServerContext {
 public:
  // A context over that client folder, which must outlive it. With no folder
  // the storage slots of folders are null: the host has the interface but
  // cannot answer.
  explicit ClientContext(ClientFolder* folder);
  ClientContext(ClientContext const&) = delete;
  ClientContext& operator=(ClientContext const&) = delete;
  ~ClientContext() override;

  ClientFolder* Folder() const { return state.Folder(); }

  // The context of the evaluation under way, when it is one of these.
  static ClientContext* Current();
};

}  // namespace survey::client
