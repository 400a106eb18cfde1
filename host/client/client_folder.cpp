#include "host/client/client_folder.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/client/client_records.h"

namespace survey::client {

namespace {

std::string Absolute(std::string const& path) {
  if (path.empty() || path.front() == '/') return path;
  std::vector<char> buffer(PATH_MAX);
  if (getcwd(buffer.data(), buffer.size()) == nullptr) return path;
  std::string absolute = buffer.data();
  if (absolute.back() != '/') absolute += '/';
  return absolute + path;
}

// Without the slashes at the end, but "/" stays.
std::string Trimmed(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// `name` inside the folder at `folder`.
std::string Join(std::string const& folder, std::string const& name) {
  return folder == "/" ? folder + name : folder + "/" + name;
}

std::string HomeFolder() {
  char const* const home = std::getenv("HOME");
  if (home != nullptr && *home == '/') return home;
  long const size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/') {
    return found->pw_dir;
  }
  return std::string();
}

std::string Failure(std::string const& root, std::string const& reason) {
  return "cannot use the client folder " + root + ": " + reason;
}

// Makes the folder at `path` and every missing folder above it, private to
// the user. Throws with the first folder that cannot be made.
void MakeFolders(std::string const& root, std::string const& path) {
  for (std::size_t at = 1; at <= path.size(); ++at) {
    if (at != path.size() && path[at] != '/') continue;
    std::string const folder = path.substr(0, at);
    if (mkdir(folder.c_str(), 0700) == 0) continue;
    int const error = errno;
    struct stat status {};
    if (error == EEXIST && stat(folder.c_str(), &status) == 0) {
      if (S_ISDIR(status.st_mode)) continue;
      throw ClientFolderError(Failure(root, folder + " is not a folder"));
    }
    throw ClientFolderError(Failure(root, "cannot create " + folder + ": " + std::strerror(error)));
  }
}

void RequireWritable(std::string const& root, std::string const& folder) {
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw ClientFolderError(Failure(root, folder + " cannot be written: " + std::strerror(errno)));
  }
}

}  // namespace

ClientFolder::ClientFolder(std::string const& root) : root_(Trimmed(Absolute(root))) {}

ClientFolder::~ClientFolder() = default;

std::string ClientFolder::DefaultRoot() {
  char const* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return Trimmed(state) + "/survey/client";
  std::string const home = HomeFolder();
  if (home.empty()) return std::string();
  return Trimmed(home) + "/.local/state/survey/client";
}

void ClientFolder::Prepare() {
  if (prepared_) return;
  if (root_.empty()) {
    throw ClientFolderError(
        "there is no client folder: no folder was given and the user has no home folder");
  }
  MakeFolders(root_, root_);
  MakeFolders(root_, UsageFolder());
  MakeFolders(root_, SitesFolder());
  RequireWritable(root_, root_);
  RequireWritable(root_, StorageFolder());
  RequireWritable(root_, UsageFolder());
  RequireWritable(root_, SitesFolder());
  prepared_ = true;
}

std::string ClientFolder::StorageFolder() const { return Join(root_, kStorageFolderName); }

std::string ClientFolder::UsageFolder() const { return StorageFolder() + "/" + kUsageFolderName; }

std::string ClientFolder::SitesFolder() const { return Join(root_, kSitesFolderName); }

std::string ClientFolder::SiteFolder(std::string_view siteName) const {
  if (siteName.empty()) throw ClientFolderError("a site without a name has no folder");
  static char const kHex[] = "0123456789ABCDEF";
  std::string name;
  for (std::size_t at = 0; at < siteName.size(); ++at) {
    unsigned char const byte = static_cast<unsigned char>(siteName[at]);
    if (byte == '%' || byte == '/' || byte == '\0' || (at == 0 && byte == '.')) {
      name += '%';
      name += kHex[byte >> 4];
      name += kHex[byte & 15];
    } else {
      name += static_cast<char>(byte);
    }
  }
  return SitesFolder() + "/" + name;
}

std::string ClientFolder::SiteDataFolder(std::string_view siteFolder) {
  return std::string(siteFolder);
}

std::string ClientFolder::DatabasePath() const { return Join(root_, ClientRecords::kFileName); }

ClientRecords& ClientFolder::Records() {
  if (records_ == nullptr) {
    Prepare();
    records_ = std::make_unique<ClientRecords>(DatabasePath());
  }
  return *records_;
}

}  // namespace survey::client
