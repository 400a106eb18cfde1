// Binding the machine's librpm at run time. The library is never linked:
// it is found with dlopen and its functions are taken with dlsym, in one of
// two generations behind the abstract `RPMLibrary`.
//
//  - `RPM4::Library`, the iterator-based interface, reached through a small
//    stub library beside the running program ("rpm4stub.so", or else
//    "rpm4stub2.so"). The stub's dependencies are three links that the
//    library makes in the storage folder ("libkxrpm.so", "libkxrpmio.so",
//    "libkxrpmdb.so"), pointing at the best librpm found on the machine.
//  - `RPM3::Library`, the record-number interface, opened directly from the
//    machine's library folders.
//
// `RPMLibrary::The` chooses once per process; a failure of both is final.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "survey/frame/boundary.h"

class RPMDatabase;

class SURVEY_API RPMLibrary {
 public:
  RPMLibrary() = default;
  RPMLibrary(RPMLibrary const&) = delete;
  RPMLibrary& operator=(RPMLibrary const&) = delete;
  virtual ~RPMLibrary();

  // A new database object of the bound generation, joined to the shared
  // database (the default one, or the one under that root path). Throws
  // what the database's constructor throws.
  virtual RPMDatabase* OpenDatabase() = 0;
  virtual RPMDatabase* OpenDatabase(unsigned char const* path, unsigned long length) = 0;

  // The one library, loaded at first use. `folder` is the full path of the
  // storage folder, where the links are made; it is used only by the
  // loading call. Throws NoSuchObject when no generation can be bound, and
  // at once on every later call.
  static RPMLibrary* The(char const* folder);

  static RPMLibrary* theLibrary;
  static bool failedToLoadLibrary;
};

// ---------------------------------------------------------------------------
// The newer generation.

namespace RPM4 {

struct rpmdb_s;
struct rpmdbMatchIterator_s;
struct headerToken_s;
struct rpmds_s;

using rpmdb = rpmdb_s*;
using rpmdbMatchIterator = rpmdbMatchIterator_s*;
using Header = headerToken_s*;
using rpmds = rpmds_s*;

// The functions, as the library calls them.
using ReadConfigFilesFunction = int (*)(char const* file, char const* target);
using DbOpenFunction = int (*)(char const* root, rpmdb* database, int mode, int permissions);
using DbCloseFunction = int (*)(rpmdb database);
using DbInitIteratorFunction = rpmdbMatchIterator (*)(rpmdb database, std::int32_t tag,
                                                      void const* key, std::size_t keyLength);
using DbNextIteratorFunction = Header (*)(rpmdbMatchIterator iterator);
using XDbNextIteratorFunction = Header (*)(rpmdbMatchIterator iterator, char const* file,
                                           unsigned int line);
using DbFreeIteratorFunction = rpmdbMatchIterator (*)(rpmdbMatchIterator iterator);
using HeaderGetRawEntryFunction = int (*)(Header header, std::int32_t tag, std::int32_t* type,
                                          void const** value, std::int32_t* count);
using CheckRpmlibProvidesFunction = int (*)(rpmds key);
using DsSingleFunction = rpmds (*)(std::int32_t tag, char const* name, char const* version,
                                   std::uint32_t flags);
using DsFreeFunction = rpmds (*)(rpmds set);

// Resolved on the stub's handle; valid while `RPMLibrary::theLibrary` is an
// `RPM4::Library`.
SURVEY_API extern ReadConfigFilesFunction rpmReadConfigFiles;
SURVEY_API extern DbOpenFunction rpmdbOpen;
SURVEY_API extern DbCloseFunction rpmdbClose;
SURVEY_API extern DbInitIteratorFunction rpmdbInitIterator;
SURVEY_API extern DbNextIteratorFunction rpmdbNextIterator;
SURVEY_API extern XDbNextIteratorFunction XrpmdbNextIterator;
SURVEY_API extern DbFreeIteratorFunction rpmdbFreeIterator;
SURVEY_API extern HeaderGetRawEntryFunction headerGetRawEntry;
SURVEY_API extern CheckRpmlibProvidesFunction rpmCheckRpmlibProvides;
SURVEY_API extern DsSingleFunction rpmdsSingle;
SURVEY_API extern DsFreeFunction rpmdsFree;

// The best librpm of the machine, as the library folders show it.
struct LibrpmChoice {
  std::string best;          // the version text; empty when none was found
  std::string folder;        // the folder it was found in, without a final "/"
  bool fromUsrLib = false;   // found in /usr/lib
  bool dotStyle = false;     // named "librpm.so.<version>"
  bool fromMultiarch = false;  // found in the build's multiarch folder
};

// The multiarch library folder of the build's architecture, as Debian and
// Ubuntu name it ("/usr/lib/x86_64-linux-gnu"); empty for an architecture
// without one.
SURVEY_API char const* MultiarchFolder();

// Runs the searches for librpm: "librpm-*.so" in /usr/lib then /lib,
// "librpm.so.*" in /usr/lib then /lib, then "librpm.so.*" in the multiarch
// folder, each only while nothing was found. Every folder is read under
// `root`, which is "" in the library and a fixture folder in tests.
SURVEY_API LibrpmChoice FindLibrpm(char const* root);

// The targets of the three links for that choice, in the order "libkxrpm.so",
// "libkxrpmio.so", "libkxrpmdb.so"; the third is the second's when no
// separate database library exists.
struct LinkTargets {
  std::string rpm;
  std::string rpmio;
  std::string rpmdb;
};
SURVEY_API LinkTargets TargetsOf(LibrpmChoice const& choice);

// Replaces the three links in `folder` by links to the targets. Throws
// NoSuchObject when one cannot be made.
SURVEY_API void MakeLinks(char const* folder, LinkTargets const& targets);

// The folder of the running program, with its final "/", from
// /proc/<pid>/exe. Throws NoSuchObject when it cannot be read.
SURVEY_API std::string ProgramFolder();

class SURVEY_API Library : public RPMLibrary {
 public:
  // Searches, links, opens the stub and resolves the functions, or throws
  // NoSuchObject.
  explicit Library(char const* folder);
  ~Library() override;

  RPMDatabase* OpenDatabase() override;
  RPMDatabase* OpenDatabase(unsigned char const* path, unsigned long length) override;

  void* stubHandle;
};

}  // namespace RPM4

// ---------------------------------------------------------------------------
// The older generation.

namespace RPM3 {

struct rpmdb_s;
struct headerToken_s;
using rpmdb = rpmdb_s*;
using Header = headerToken_s*;

// A list of matching records, as the older interface hands it over.
struct dbiIndexRecord {
  unsigned int recOffset;
  unsigned int fileNumber;
};
struct dbiIndexSet {
  dbiIndexRecord* recs;
  int count;
};

using ReadConfigFilesFunction = int (*)(char const* file, char const* target);
using DbOpenFunction = int (*)(char const* root, rpmdb* database, int mode, int permissions);
using DbCloseFunction = int (*)(rpmdb database);
using DbFindFunction = int (*)(rpmdb database, char const* key, dbiIndexSet* matches);
using DbGetRecordFunction = Header (*)(rpmdb database, unsigned int offset);
using HeaderGetEntryFunction = int (*)(Header header, std::int32_t tag, std::int32_t* type,
                                       void const** value, std::int32_t* count);
using FreeIndexRecordFunction = void (*)(dbiIndexSet set);
using HeaderFreeFunction = void (*)(Header header);
using DbFirstRecNumFunction = unsigned int (*)(rpmdb database);
using DbNextRecNumFunction = unsigned int (*)(rpmdb database, unsigned int last);
using CheckRpmlibProvidesFunction = int (*)(char const* name, char const* version, int flags);

SURVEY_API extern ReadConfigFilesFunction rpmReadConfigFiles;
SURVEY_API extern DbOpenFunction rpmdbOpen;
SURVEY_API extern DbCloseFunction rpmdbClose;
SURVEY_API extern DbFindFunction rpmdbFindPackage;
SURVEY_API extern DbFindFunction rpmdbFindByProvides;
SURVEY_API extern DbFindFunction rpmdbFindByRequiredBy;
SURVEY_API extern DbFindFunction rpmdbFindByConflicts;
SURVEY_API extern DbFindFunction rpmdbFindByFile;
SURVEY_API extern DbGetRecordFunction rpmdbGetRecord;
SURVEY_API extern HeaderGetEntryFunction headerGetEntry;
SURVEY_API extern FreeIndexRecordFunction dbiFreeIndexRecord;
SURVEY_API extern HeaderFreeFunction headerFree;
SURVEY_API extern DbFirstRecNumFunction rpmdbFirstRecNum;
SURVEY_API extern DbNextRecNumFunction rpmdbNextRecNum;
SURVEY_API extern CheckRpmlibProvidesFunction rpmCheckRpmlibProvides;

// Opens `file` and resolves the 15 functions; the handle, or null after
// closing it again.
SURVEY_API void* TryToLoadLibrpm(char const* file);

class SURVEY_API Library : public RPMLibrary {
 public:
  // Opens libpopt, librpmio if it can, and librpm, or throws NoSuchObject.
  Library();
  ~Library() override;

  RPMDatabase* OpenDatabase() override;
  RPMDatabase* OpenDatabase(unsigned char const* path, unsigned long length) override;

  void* poptHandle;
  void* rpmioHandle;
  void* rpmHandle;
};

}  // namespace RPM3
