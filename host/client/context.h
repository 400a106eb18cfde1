// The evaluation context that the host gives the surveyor library: one object
// per evaluation, offering the interfaces this host serves.
//
//   storage   the client folder: the host application's file, the storage
//             folder, and the folders of sites;
//   network   the machine's DNS domain name;
//   yield     giving up the time slice, and pacing long walks;
//   process   the machine's applications, running and recent, from /proc
//   table     (see application_table.h), read once per evaluation.
//
// Every other interface is left out, so a property that needs one answers
// that it is not available here.
#pragma once

#include <memory>
#include <string>

#include "host/client/application_table.h"
#include "host/client/client_folder.h"
#include "survey/frame/boundary.h"

namespace survey::client {

class ClientContext : public SurveyorContext,
                      public SurveyorStorageContext,
                      public SurveyorNetworkContext,
                      public SurveyorYieldContext,
                      public SurveyorProcessTableContext {
 public:
  // A context over that client folder, which must outlive it. With no folder
  // the storage slots of folders are null: the host has the interface but
  // cannot answer.
  explicit ClientContext(ClientFolder* folder);
  ClientContext(ClientContext const&) = delete;
  ClientContext& operator=(ClientContext const&) = delete;
  ~ClientContext();

  ClientFolder* Folder() const { return folder_; }

  // The context of the evaluation under way, when it is one of these.
  static ClientContext* Current();

 private:
  // Storage.
  static char const* ClientFile();
  static FileLocation* StorageFolder(SurveyorLocationFactory factory);
  static FileLocation* ClientSiteFolder(SurveyorLocationFactory factory, char const* siteName);
  static FileLocation* SiteDataFolder(SurveyorLocationFactory factory, char const* siteFolder);
  // Network.
  static bool DnsName(char** result, SurveyorTextAllocator allocate);
  // Yield.
  static void GiveUpTimeSlice(SurveyorContext* context);
  static void Pace(SurveyorContext* context);
  // Process table.
  static bool TableEntry(unsigned long index, char* name, unsigned char* state);
  static bool TableEntryRunning(unsigned long index);
  static bool RecentApplication(char const* name, unsigned long length, char* found);
  static bool RunningApplication(char const* name, unsigned long length, char* found);
  static unsigned long TableSerial();

  // The client folder, made on first use. Throws an evaluation error that
  // tells why it cannot be.
  static ClientFolder& PreparedFolder();
  // The application table as this evaluation sees it: read from /proc on
  // first use, then the same for the rest of the evaluation.
  static ApplicationTable const& Applications();

  ClientFolder* folder_;
  std::string clientFile_;
  std::unique_ptr<ApplicationTable> applications_;
};

}  // namespace survey::client
