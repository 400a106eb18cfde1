// Packages of a package database as values: their names, versions and
// architectures, their capability lists, the reverse questions (which
// packages provide, require, conflict with or install this), and the test
// whether a capability is installed.
//
// Nothing is cached across evaluations: every list lives in the iterator
// state of the one query that made it, read afresh from the database.
#pragma once

#include <memory>

#include "survey/frame/adaptors.h"
#include "survey/rpm/capability.h"
#include "survey/rpm/rpm_database.h"
#include "survey/values/versions.h"

// "package": one installed package. The database is the value it was read
// from, which the evaluator keeps for as long as the package; the texts are
// in evaluator memory, so there is nothing to destroy.
struct SURVEY_API package {
  static constexpr char const* TypeName() { return "package"; }

  // Null texts read as "".
  package(rpmdatabase const& database, char const* name, char const* version, char const* arch);

  rpmdatabase const* database;
  char const* name;
  surveyor_version version;
  char const* arch;
};

// A capability made from a database row: the name, the relation's flags
// looked up by its text ("<>" and "" give none), the version and the fourth
// text.
SURVEY_API capability CapabilityOfDef(CapabilityDef const& def);

// "packages" of a database: every package, in the library's order.
class SURVEY_API packages_of_rpm_iterator {
 public:
  package First(rpmdatabase const& database);
  package Next(rpmdatabase const& database);

 private:
  std::unique_ptr<RPMIterator> iterator_;
};

// "package NAME" of a database: each installed instance of that name. The
// package's name is the text asked for.
class SURVEY_API named_packages_of_rpm_iterator {
 public:
  package First(unsigned char const* name, unsigned long length, rpmdatabase const& database);
  package Next(unsigned char const* name, unsigned long length, rpmdatabase const& database);

 private:
  std::unique_ptr<RPMIterator> iterator_;
};

SURVEY_API surveyor_version version_of_package(package const& value);
SURVEY_API surveyor_string name_of_package(package const& value);
SURVEY_API surveyor_string arch_of_package(package const& value);
// Name, "-", version text; the architecture is left out.
SURVEY_API surveyor_string AsString(package const& value);

// The rows of one kind of a package's capability set, in the order of the
// set. Each First reads the whole set of the package anew.
template <CapabilityType kType>
class SURVEY_API capability_of_package_iterator {
 public:
  capability First(Of, package const& value);
  capability Next(Of, package const& value);

 private:
  CapabilityList rows_;
  unsigned int position_ = 0;
};

using require_of_package_iterator = capability_of_package_iterator<eCapabilityRequire>;
using provide_of_package_iterator = capability_of_package_iterator<eCapabilityProvide>;
using conflict_of_package_iterator = capability_of_package_iterator<eCapabilityConflict>;
using obsolete_of_package_iterator = capability_of_package_iterator<eCapabilityObsolete>;
using file_of_package_iterator = capability_of_package_iterator<eCapabilityFile>;

// The packages whose rows of one kind contain the wanted capability: the
// library's index by name gives the candidates, and each candidate's own
// rows of that kind are then tested with "contains". A package comes once.
template <CapabilityType kType>
class SURVEY_API indexed_capability_iterator {
 public:
  package First(capability const& wanted, Of, rpmdatabase const& database);
  package Next(capability const& wanted, Of, rpmdatabase const& database);

 private:
  PackageList candidates_;
  unsigned int position_ = 0;
};

using indexed_provide_iterator = indexed_capability_iterator<eCapabilityProvide>;
using indexed_require_iterator = indexed_capability_iterator<eCapabilityRequire>;
using indexed_conflict_iterator = indexed_capability_iterator<eCapabilityConflict>;
using indexed_file_iterator = indexed_capability_iterator<eCapabilityFile>;

// "installed": whether the capability of the text is installed. A name that
// starts with "rpmlib(" is asked of the library's own table; any other is
// looked for among the provides, then among the files. An empty or
// malformed text gives NoSuchObject.
SURVEY_API boolean is_installed_of(unsigned char const* text, unsigned long length,
                                   rpmdatabase const& database);
// "capability" of a database: the capability of the text when it is
// installed, NoSuchObject when it is not.
SURVEY_API capability installed_capability_of(unsigned char const* text, unsigned long length,
                                              rpmdatabase const& database);

// The first package of that name, as a package value.
SURVEY_API package package_of_rpm(unsigned char const* text, unsigned long length,
                                  rpmdatabase const& database);
