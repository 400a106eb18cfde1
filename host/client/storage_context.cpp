#include "host/client/storage_context.h"

namespace survey::client {

StorageContext::StorageContext(ClientState& state) : state_(state) {
  GetClientFile = &ClientFile;
  if (state_.Folder() != nullptr) {
    GetStorageFolder = &StorageFolder;
    GetClientSiteFolder = &ClientSiteFolder;
    GetSiteDataFolder = &SiteDataFolder;
  }
}

ClientState& StorageContext::State() { return CurrentPart<StorageContext>().state_; }

char const* StorageContext::ClientFile() { return State().ClientFile().c_str(); }

FileLocation* StorageContext::StorageFolder(SurveyorLocationFactory factory) {
  ClientFolder& folder = State().PreparedFolder();
  if (factory == nullptr) throw NoSuchObject();
  return factory(folder.StorageFolder().c_str());
}

FileLocation* StorageContext::ClientSiteFolder(SurveyorLocationFactory factory,
                                               char const* siteName) {
  ClientFolder& folder = State().PreparedFolder();
  if (factory == nullptr || siteName == nullptr || *siteName == '\0') throw NoSuchObject();
  return factory(folder.SiteFolder(siteName).c_str());
}

FileLocation* StorageContext::SiteDataFolder(SurveyorLocationFactory factory,
                                             char const* siteFolder) {
  // The site's folder is given whole; the client folder is made all the
  // same, so that the sites folder exists whichever slot comes first.
  State().PreparedFolder();
  if (factory == nullptr || siteFolder == nullptr || *siteFolder == '\0') throw NoSuchObject();
  return factory(ClientFolder::SiteDataFolder(siteFolder).c_str());
}

}  // namespace survey::client
