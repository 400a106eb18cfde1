#include "host/client/client_state.h"

#include <unistd.h>

#include <climits>
#include <vector>

#include "host/client/site_context.h"
#include "host/engine/errors.h"

namespace survey::client {

using host::ErrorKind;
using host::EvaluationError;

ClientState::ClientState(ClientFolder* folder) : folder_(folder) {}

ClientState::~ClientState() = default;

ClientFolder& ClientState::PreparedFolder() {
  if (folder_ == nullptr) {
    // The storage part leaves its folder slots null without a folder, so
    // only a caller of its own reaches this.
    throw EvaluationError(ErrorKind::kNotAvailable, "there is no client folder here");
  }
  try {
    folder_->Prepare();
  } catch (ClientFolderError const& error) {
    throw EvaluationError(ErrorKind::kNotAvailable, error.what());
  }
  return *folder_;
}

ClientRecords& ClientState::Records() {
  ClientFolder& folder = PreparedFolder();
  try {
    return folder.Records();
  } catch (DatabaseError const& error) {
    throw EvaluationError(ErrorKind::kNotAvailable, error.what());
  }
}

SiteList const& ClientState::Sites() {
  if (sites_ == nullptr) {
    ClientRecords& records = Records();
    try {
      sites_ = std::make_unique<SiteList>(PreparedFolder(), records);
    } catch (DatabaseError const& error) {
      throw EvaluationError(ErrorKind::kNotAvailable, error.what());
    } catch (ClientFolderError const& error) {
      throw EvaluationError(ErrorKind::kNotAvailable, error.what());
    }
  }
  return *sites_;
}

std::string const& ClientState::ClientFile() {
  if (clientFile_.empty()) {
    std::vector<char> path(PATH_MAX + 1);
    ssize_t const length = readlink("/proc/self/exe", path.data(), PATH_MAX);
    if (length <= 0) throw NoSuchObject();
    clientFile_.assign(path.data(), static_cast<std::size_t>(length));
  }
  return clientFile_;
}

ApplicationTable const& ClientState::Applications() {
  if (applications_ == nullptr) {
    applications_ = std::make_unique<ApplicationTable>(RefreshedApplicationTable());
  }
  return *applications_;
}

}  // namespace survey::client
