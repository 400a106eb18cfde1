// The client folder: where the client keeps its state, and where the
// surveyor library finds the files it reads and keeps data of its own.
//
//   <client>/                  the client folder, private to its user
//     __QRVData/               the storage folder: the library's own data
//       UsageData/             statistics of watched applications
//     __Global/                one folder per site, named after the site
//       <site>/                the site's files, its masthead among them
//     client.db                the client's records: settings and sites
//                              (client_records.h)
//
// The folder and its sub-folders are made on first use.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace survey::client {

class ClientRecords;

// The folder cannot be made or used; the message says which and why.
class ClientFolderError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reserved names of the layout, shared with the surveyor library.
inline constexpr char kStorageFolderName[] = "__QRVData";
inline constexpr char kUsageFolderName[] = "UsageData";
inline constexpr char kSitesFolderName[] = "__Global";
inline constexpr char kSiteMastheadName[] = "Masthead";

class ClientFolder {
 public:
  // A client folder at that path, made absolute against the working folder.
  // Nothing is created yet.
  explicit ClientFolder(std::string const& root);
  ClientFolder(ClientFolder const&) = delete;
  ClientFolder& operator=(ClientFolder const&) = delete;
  ~ClientFolder();

  // The default client folder of the user: "survey/client" in
  // $XDG_STATE_HOME when that is an absolute path, else in
  // ~/.local/state. Empty when the user has no home folder.
  static std::string DefaultRoot();

  // Makes the folder with its layout if any of it is missing, and checks
  // that it can be written. Done once; later calls return at once. Throws
  // ClientFolderError, and tries again at the next call after a failure.
  void Prepare();
  bool Prepared() const { return prepared_; }

  std::string const& Root() const { return root_; }
  std::string StorageFolder() const;
  std::string UsageFolder() const;
  std::string SitesFolder() const;
  // The folder of the site of that name. The name is kept as it is, but for
  // '%', '/', a leading '.' and NUL, which are written as %XX so that every
  // name gives one folder right inside the sites folder. An empty name has
  // no folder: ClientFolderError.
  std::string SiteFolder(std::string_view siteName) const;
  // The folder of a site's own data, for the site folder at that path: the
  // site folder itself.
  static std::string SiteDataFolder(std::string_view siteFolder);
  // The path of the records' database.
  std::string DatabasePath() const;

  // The client's records, opened on first use in the prepared folder.
  // Throws ClientFolderError when the folder cannot be made, and
  // DatabaseError when the database cannot be opened.
  ClientRecords& Records();

 private:
  std::string root_;
  bool prepared_ = false;
  std::unique_ptr<ClientRecords> records_;
};

}  // namespace survey::client
