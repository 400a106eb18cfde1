#include "host/client/host_state_context.h"

#include <algorithm>
#include <cstring>

namespace survey::client {

HostStateContext::HostStateContext(ClientState& state) : state_(state) {
  if (state.Folder() != nullptr) {
    GetSystemData = &SystemData;
    GetCurrentAnalysis = &Analysis;
    FipsMode = &Fips;
    DesiredFipsMode = &DesiredFips;
    FipsModeFailureMessage = &FipsFailure;
    EncryptReport = &Encrypt;
    DesiredEncryptReport = &DesiredEncrypt;
    EncryptReportFailureMessage = &EncryptFailure;
    SubnetCidrString = &Subnet;
  }
}

HostStateRecord HostStateContext::Current() {
  if (state_.Folder() == nullptr) return HostStateRecord{};
  return state_.Records().HostState();
}

HostStateContext& HostStateContext::Part() { return CurrentPart<HostStateContext>(); }

char const* HostStateContext::Kept(std::optional<std::string> const& text) {
  if (!text) return nullptr;
  return kept_.emplace_back(*text).c_str();
}

namespace {

// A text into a field of the record, cut to leave room for its terminator.
template <std::size_t N>
void CopyField(char (&field)[N], std::string const& text) {
  std::size_t const length = std::min(text.size(), N - 1);
  std::memcpy(field, text.data(), length);
  field[length] = '\0';
}

}  // namespace

void HostStateContext::GetServerRecord(SurveyorServerRecord& record) {
  HostStateRecord const state = Current();
  record.computerId = state.computerId.value_or(0);
  record.apparentServerTime = state.apparentServerTime.value_or(0);
  if (state_.Folder() == nullptr) return;
  ServerRecordSet const servers = state_.Records().Servers();
  record.rootServerId = servers.rootServerId;
  CopyField(record.registrationServerVersion, servers.registrationServerVersion);
  CopyField(record.registrationServerName, servers.registrationServerName);
  CopyField(record.relayVersion, servers.relayVersion);
  CopyField(record.rootServerName, servers.rootServerName);
  CopyField(record.downloadServerName, servers.downloadServerName);
}

bool HostStateContext::IsRestartPending() { return Current().restartPending; }

bool HostStateContext::IsRestartPendingFor(char const* name, unsigned long length) {
  if (name == nullptr && length != 0) return false;
  std::string const wanted(name == nullptr ? "" : name, length);
  std::vector<std::string> const names = Current().pendingRestarts;
  return std::find(names.begin(), names.end(), wanted) != names.end();
}

bool HostStateContext::SystemData(SurveyorSystemData* data) {
  if (data == nullptr) return false;
  data->controller = Part().Current().actionLockController;
  return true;
}

bool HostStateContext::Analysis(SurveyorAnalysisData* analysis) {
  std::optional<std::int64_t> const time = Part().Current().analysisTime;
  if (!time || analysis == nullptr) return false;
  analysis->time = *time;
  return true;
}

bool HostStateContext::Fips() { return Part().Current().fipsMode; }
bool HostStateContext::DesiredFips() { return Part().Current().desiredFipsMode; }
char const* HostStateContext::FipsFailure() {
  HostStateContext& part = Part();
  return part.Kept(part.Current().fipsModeFailureMessage);
}
bool HostStateContext::Encrypt() { return Part().Current().encryptReport; }
bool HostStateContext::DesiredEncrypt() { return Part().Current().desiredEncryptReport; }
char const* HostStateContext::EncryptFailure() {
  HostStateContext& part = Part();
  return part.Kept(part.Current().encryptReportFailureMessage);
}
char const* HostStateContext::Subnet() {
  HostStateContext& part = Part();
  return part.Kept(part.Current().wakeOnLanSubnet);
}

}  // namespace survey::client
