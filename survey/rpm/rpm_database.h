// The package database, whichever generation of librpm was bound: one
// interface for the rest of the RPM surveyors.
//
// librpm holds only one open database at a time, so every database object
// of a generation joins one shared database, opened by the first and closed
// by the last. A second root path while one is open is refused.
//
// Header data are read as strings: the package name, the version text
// (version, "-", release; the version alone when there is no release) and the
// architecture; capability lists as `CapabilityDef` rows.
//
//   rpmdatabase database;                        // the machine's database
//   std::unique_ptr<RPMIterator> packages = database.Iterator();
//   Stringy name, version, arch;
//   packages->First(name, version, arch);        // NoSuchObject at the end
#pragma once

#include <cstdint>
#include <memory>

#include "survey/foundation/extensible_array.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"
#include "survey/rpm/rpm_library.h"

// The kind of a capability row.
enum CapabilityType : int {
  eCapabilityRequire = 0,
  eCapabilityProvide = 1,
  eCapabilityConflict = 2,
  eCapabilityObsolete = 3,
  eCapabilityFile = 4,
};

// A package as a record: name, version text, architecture.
struct SURVEY_API PackageDef {
  PackageDef(char const* name, char const* version, char const* architecture);

  Stringy name;
  Stringy version;
  Stringy architecture;
};

// A capability as the database gives it: its kind, name, relation text
// ("<", ">", "<>", "=", "<=", ">=" or ""), version text and a fourth text
// that stays empty.
struct SURVEY_API CapabilityDef {
  CapabilityDef(CapabilityType type, char const* name, char const* relation, char const* version,
                char const* fourth);

  CapabilityType type;
  Stringy name;
  Stringy relation;
  Stringy version;
  Stringy fourth;
};

using CapabilityList = ExtensibleArray<CapabilityDef, 3ul>;
using PackageList = ExtensibleArray<PackageDef, 1ul>;

// The relation text of a dependency's flags word.
SURVEY_API char const* RelationOfFlags(std::uint32_t flags);

class RPMIterator;
class RPMDatabasePtr;

// One object's share in the open database. The first field is the
// reference count that `RPMDatabasePtr` keeps.
class SURVEY_API RPMDatabase {
 public:
  RPMDatabase() = default;
  RPMDatabase(RPMDatabase const&) = delete;
  RPMDatabase& operator=(RPMDatabase const&) = delete;
  virtual ~RPMDatabase();

  // A new iterator over every package (three-string forms), or over the
  // packages of one name (two-string forms); the caller owns it.
  virtual RPMIterator* Iterator() const = 0;
  virtual RPMIterator* NamedIterator(Stringy const& name) const = 0;
  // The first package of that name. NoSuchObject when there is none.
  virtual void GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                         Stringy& outArch) const = 0;
  // Appends the requires, provides, conflicts, obsoletes and files of the
  // first package of that name and version text. NoSuchObject when there is
  // none or its header is malformed; nothing is appended then.
  virtual void GetPackageCapabilities(Stringy const& name, Stringy const& version,
                                      CapabilityList& out) const = 0;
  // Appends each package that provides, requires, conflicts with or holds
  // (a file) the capability's name, unless `out` holds it already.
  virtual void GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                              PackageList& out) const = 0;
  // Whether librpm itself provides the "rpmlib(...)" capability of that
  // name and version.
  virtual bool CheckRpmlibProvides(CapabilityDef const& capability) const = 0;

  std::uint32_t referenceCount = 0;
};

// A counted reference on a database; the last one destroys it.
class SURVEY_API RPMDatabasePtr {
 public:
  explicit RPMDatabasePtr(RPMDatabase* database);
  RPMDatabasePtr(RPMDatabasePtr const& other);
  RPMDatabasePtr& operator=(RPMDatabasePtr const& other);
  ~RPMDatabasePtr();

  RPMDatabase* operator->() const { return database_; }
  RPMDatabase& operator*() const { return *database_; }
  RPMDatabase* Get() const { return database_; }

  // The database's iterators, each holding a reference of its own.
  RPMIterator* Iterator() const;
  RPMIterator* NamedIterator(Stringy const& name) const;

 private:
  RPMDatabase* database_;
};

// A walk over packages. Each form gives the next package's strings or
// throws NoSuchObject at the end. The first field keeps the database alive.
class SURVEY_API RPMIterator {
 public:
  RPMIterator() = default;
  RPMIterator(RPMIterator const&) = delete;
  RPMIterator& operator=(RPMIterator const&) = delete;
  virtual ~RPMIterator();

  // Name, version text, architecture: every package.
  virtual void First(Stringy& name, Stringy& version, Stringy& arch);
  virtual void Next(Stringy& name, Stringy& version, Stringy& arch);
  // Version text, architecture: the packages of one name.
  virtual void First(Stringy& version, Stringy& arch);
  virtual void Next(Stringy& version, Stringy& arch);

  RPMDatabasePtr* database = nullptr;
};

// "rpmdatabase": what a query holds. It owns one reference on the shared
// database, on the heap.
class SURVEY_API rpmdatabase {
 public:
  static constexpr char const* TypeName() { return "rpmdatabase"; }

  // The machine's database, or the one under that root path. Throw
  // NoSuchObject when the subsystem is disabled, librpm cannot be bound or
  // the database cannot be opened; NoSurveyorContext or
  // SurveyorStorageContextError without a storage folder; MismatchedPath
  // for a second root path while another is open.
  rpmdatabase();
  rpmdatabase(unsigned char const* path, unsigned long length);
  rpmdatabase(rpmdatabase const& other);
  rpmdatabase& operator=(rpmdatabase const& other);
  ~rpmdatabase();

  void GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                 Stringy& outArch) const;
  std::unique_ptr<RPMIterator> Iterator() const;
  std::unique_ptr<RPMIterator> NamedIterator(Stringy const& name) const;
  void GetPackageCapabilities(Stringy const& name, Stringy const& version,
                              CapabilityList& out) const;
  void GetPackageMatchingCapabilities(CapabilityDef const& capability, PackageList& out) const;
  bool CheckRpmlibProvides(CapabilityDef const& capability) const;

  RPMDatabasePtr* database;
};

// Whether the client setting "_QRVClient_Surveyor_DisableRPM" is "1". Any
// failure to read it counts as enabled.
SURVEY_API bool RPMSurveyorsDisabled();

SURVEY_API rpmdatabase rpm_of_world();
SURVEY_API rpmdatabase named_rpm_of_world(unsigned char const* path, unsigned long length);

namespace RPM4 {
// A share of the newer generation's database: the default one, or the one
// under a root path. Constructing joins the shared database, opening it
// first when nobody holds it; destroying leaves it, closing it after the
// last. Throws NoSuchObject when it cannot be opened, MismatchedPath for a
// second root path while another is open.
class SURVEY_API Database : public RPMDatabase {
 public:
  Database() { Open(); }
  Database(unsigned char const* path, unsigned long length) : hasRoot_(true), root_(path, length) {
    Open();
  }
  ~Database() override { Close(); }

  RPMIterator* Iterator() const override;
  RPMIterator* NamedIterator(Stringy const& name) const override;
  void GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                 Stringy& outArch) const override;
  void GetPackageCapabilities(Stringy const& name, Stringy const& version,
                              CapabilityList& out) const override;
  void GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                      PackageList& out) const override;
  bool CheckRpmlibProvides(CapabilityDef const& capability) const override;

 private:
  void Open();
  void Close();

  rpmdb handle_ = nullptr;
  bool hasRoot_ = false;
  Stringy root_;
  bool joined_ = false;
};

// The refusal of a second database while one is open, per generation.
class SURVEY_API MismatchedPath : public SurveyorDefinedError {
 public:
  surveyor_string Message() const override;
};
}  // namespace RPM4
namespace RPM3 {
// A share of the older generation's database, joined and left as in the
// newer generation; its reads go by record numbers.
class SURVEY_API Database : public RPMDatabase {
 public:
  Database() { Open(); }
  Database(unsigned char const* path, unsigned long length) : hasRoot_(true), root_(path, length) {
    Open();
  }
  ~Database() override { Close(); }

  RPMIterator* Iterator() const override;
  RPMIterator* NamedIterator(Stringy const& name) const override;
  void GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                 Stringy& outArch) const override;
  void GetPackageCapabilities(Stringy const& name, Stringy const& version,
                              CapabilityList& out) const override;
  void GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                      PackageList& out) const override;
  bool CheckRpmlibProvides(CapabilityDef const& capability) const override;

  bool Joined() const { return joined_; }
  rpmdb Handle() const { return handle_; }
  // The header of that record number; null when there is none.
  Header GetRecordByOffset(unsigned int offset) const { return rpmdbGetRecord(handle_, offset); }

 private:
  void Open();
  void Close();

  rpmdb handle_ = nullptr;
  bool hasRoot_ = false;
  Stringy root_;
  bool joined_ = false;
};

// The refusal of a second database while one is open.
class SURVEY_API MismatchedPath : public SurveyorDefinedError {
 public:
  surveyor_string Message() const override;
};
}  // namespace RPM3
