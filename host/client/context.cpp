#include "host/client/context.h"

#include <sched.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <vector>

#include "host/client/dns_domain.h"
#include "host/engine/errors.h"

namespace survey::client {

using host::ErrorKind;
using host::EvaluationError;

ClientContext::ClientContext(ClientFolder* folder) : folder_(folder) {
  GetClientFile = &ClientFile;
  if (folder_ != nullptr) {
    GetStorageFolder = &StorageFolder;
    GetClientSiteFolder = &ClientSiteFolder;
    GetSiteDataFolder = &SiteDataFolder;
  }
  GetDnsName = &DnsName;
  YieldTimeSlice = &GiveUpTimeSlice;
  Trickle = &Pace;
  GetTableEntry = &TableEntry;
  FindRecentApplication = &RecentApplication;
  IsTableEntryRunning = &TableEntryRunning;
  FindRunningApplication = &RunningApplication;
  GetTableSerial = &TableSerial;
}

ClientContext::~ClientContext() = default;

ClientContext* ClientContext::Current() {
  return dynamic_cast<ClientContext*>(Get_Generic_Surveyor_Context());
}

ClientFolder& ClientContext::PreparedFolder() {
  ClientContext* const context = Current();
  if (context == nullptr || context->folder_ == nullptr) {
    // Only reachable when a slot is called outside the evaluation that owns
    // it; the library never does that.
    throw EvaluationError(ErrorKind::kNotAvailable, "there is no client folder here");
  }
  try {
    context->folder_->Prepare();
  } catch (ClientFolderError const& error) {
    throw EvaluationError(ErrorKind::kNotAvailable, error.what());
  }
  return *context->folder_;
}

// ---------------------------------------------------------------------------
// Storage.

char const* ClientContext::ClientFile() {
  ClientContext* const context = Current();
  if (context == nullptr) throw NoSuchObject();
  if (context->clientFile_.empty()) {
    std::vector<char> path(PATH_MAX + 1);
    ssize_t const length = readlink("/proc/self/exe", path.data(), PATH_MAX);
    if (length <= 0) throw NoSuchObject();
    context->clientFile_.assign(path.data(), static_cast<std::size_t>(length));
  }
  return context->clientFile_.c_str();
}

FileLocation* ClientContext::StorageFolder(SurveyorLocationFactory factory) {
  ClientFolder& folder = PreparedFolder();
  if (factory == nullptr) throw NoSuchObject();
  return factory(folder.StorageFolder().c_str());
}

FileLocation* ClientContext::ClientSiteFolder(SurveyorLocationFactory factory,
                                              char const* siteName) {
  ClientFolder& folder = PreparedFolder();
  if (factory == nullptr || siteName == nullptr || *siteName == '\0') throw NoSuchObject();
  return factory(folder.SiteFolder(siteName).c_str());
}

FileLocation* ClientContext::SiteDataFolder(SurveyorLocationFactory factory,
                                            char const* siteFolder) {
  PreparedFolder();
  if (factory == nullptr || siteFolder == nullptr || *siteFolder == '\0') throw NoSuchObject();
  return factory(ClientFolder::SiteDataFolder(siteFolder).c_str());
}

// ---------------------------------------------------------------------------
// Network.

bool ClientContext::DnsName(char** result, SurveyorTextAllocator allocate) {
  if (result == nullptr || allocate == nullptr) return false;
  std::string const domain = MachineDnsDomain();
  if (domain.empty()) return false;
  auto* const text = static_cast<char*>(allocate(domain.size() + 1));
  if (text == nullptr) return false;
  std::memcpy(text, domain.c_str(), domain.size() + 1);
  *result = text;
  return true;
}

// ---------------------------------------------------------------------------
// Yield.

void ClientContext::GiveUpTimeSlice(SurveyorContext*) { sched_yield(); }

// The library calls this once per step of its long walks over the package
// database, at points where it may hold resources of that database. Giving
// the evaluation up is the business of `Check_For_Surveyor_Interruption`,
// which the library calls where it is ready to be abandoned; pacing here
// would only slow the walk, since nothing else runs on this thread. So it
// does nothing.
void ClientContext::Pace(SurveyorContext*) {}

// ---------------------------------------------------------------------------
// Process table. Name buffers hold this many bytes.

namespace {

constexpr std::size_t kTableNameSize = 4096;

// Copies a path into a name buffer; false when it does not fit.
bool CopyName(std::string const& path, char* buffer) {
  if (buffer == nullptr || path.size() >= kTableNameSize) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

ApplicationTable const& ClientContext::Applications() {
  ClientContext* const context = Current();
  // Only reachable when a slot is called outside the evaluation that owns
  // it; the library never does that.
  if (context == nullptr) throw NoSuchObject();
  if (context->applications_ == nullptr) {
    context->applications_ = std::make_unique<ApplicationTable>(RefreshedApplicationTable());
  }
  return *context->applications_;
}

bool ClientContext::TableEntry(unsigned long index, char* name, unsigned char* state) {
  std::vector<ApplicationEntry> const& entries = Applications().Entries();
  if (index >= entries.size()) return false;
  ApplicationEntry const& entry = entries[index];
  if (state != nullptr) *state = entry.state;
  // A path too long for the buffer cannot stand for a file anyway: it reads
  // as an empty name, which names nothing.
  if (!CopyName(entry.path, name) && name != nullptr) *name = '\0';
  return true;
}

bool ClientContext::TableEntryRunning(unsigned long index) {
  std::vector<ApplicationEntry> const& entries = Applications().Entries();
  return index < entries.size() && entries[index].running;
}

bool ClientContext::RecentApplication(char const* name, unsigned long length, char* found) {
  if (name == nullptr) return false;
  ApplicationEntry const* const entry = Applications().FindRecent(std::string_view(name, length));
  return entry != nullptr && CopyName(entry->path, found);
}

bool ClientContext::RunningApplication(char const* name, unsigned long length, char* found) {
  if (name == nullptr) return false;
  ApplicationEntry const* const entry = Applications().FindRunning(std::string_view(name, length));
  return entry != nullptr && CopyName(entry->path, found);
}

unsigned long ClientContext::TableSerial() { return Applications().Generation(); }

}  // namespace survey::client
