// The storage part of the host's context: the client folder behind
// `SurveyorStorageContext`.
//
//   client file          the running program;
//   storage folder       the client folder's storage folder;
//   client site folder   the folder of a site of that name;
//   site data folder     the folder of a site's own data.
//
// Without a client folder the three folder slots are null: the host has the
// interface but cannot answer, and the library says so.
#pragma once

#include "host/client/client_state.h"
#include "survey/frame/boundary.h"

namespace survey::client {

class StorageContext : public SurveyorStorageContext {
 public:
  // Serves the client folder of that state, which must outlive it.
  explicit StorageContext(ClientState& state);
  StorageContext(StorageContext const&) = delete;
  StorageContext& operator=(StorageContext const&) = delete;

 private:
  static char const* ClientFile();
  static FileLocation* StorageFolder(SurveyorLocationFactory factory);
  static FileLocation* ClientSiteFolder(SurveyorLocationFactory factory, char const* siteName);
  static FileLocation* SiteDataFolder(SurveyorLocationFactory factory, char const* siteFolder);

  // The state of the evaluation under way.
  static ClientState& State();

  ClientState& state_;
};

}  // namespace survey::client
