#include "survey/rpm/rpm_database.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "survey/client/client_object.h"
#include "survey/client/settings.h"
#include "survey/client/sites.h"
#include "survey/foundation/file_errors.h"
#include "survey/foundation/file_location.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

// ---------------------------------------------------------------------------
// Records.

PackageDef::PackageDef(char const* name_, char const* version_, char const* architecture_)
    : name(name_), version(version_), architecture(architecture_) {}

CapabilityDef::CapabilityDef(CapabilityType type_, char const* name_, char const* relation_,
                             char const* version_, char const* fourth_)
    : type(type_), name(name_), relation(relation_), version(version_), fourth(fourth_) {}

char const* RelationOfFlags(std::uint32_t flags) {
  switch (flags & 14u) {
    case 2:
      return "<";
    case 4:
      return ">";
    case 6:
      return "<>";
    case 8:
      return "=";
    case 10:
      return "<=";
    case 12:
      return ">=";
    default:
      return "";
  }
}

// ---------------------------------------------------------------------------
// Counted references and iterators.

RPMDatabase::~RPMDatabase() = default;

RPMDatabasePtr::RPMDatabasePtr(RPMDatabase* database) : database_(database) {
  if (database_ != nullptr) ++database_->referenceCount;
}

RPMDatabasePtr::RPMDatabasePtr(RPMDatabasePtr const& other) : database_(other.database_) {
  if (database_ != nullptr) ++database_->referenceCount;
}

RPMDatabasePtr& RPMDatabasePtr::operator=(RPMDatabasePtr const& other) {
  // The new reference is taken first, so that assigning a pointer to itself
  // never drops the count to 0.
  RPMDatabase* const kept = other.database_;
  if (kept != nullptr) ++kept->referenceCount;
  RPMDatabase* const dropped = database_;
  database_ = kept;
  if (dropped != nullptr && --dropped->referenceCount == 0) delete dropped;
  return *this;
}

RPMDatabasePtr::~RPMDatabasePtr() {
  if (database_ != nullptr && --database_->referenceCount == 0) delete database_;
}

RPMIterator* RPMDatabasePtr::Iterator() const {
  std::unique_ptr<RPMIterator> iterator(database_->Iterator());
  delete iterator->database;
  iterator->database = nullptr;
  iterator->database = new RPMDatabasePtr(*this);
  return iterator.release();
}

RPMIterator* RPMDatabasePtr::NamedIterator(Stringy const& name) const {
  std::unique_ptr<RPMIterator> iterator(database_->NamedIterator(name));
  delete iterator->database;
  iterator->database = nullptr;
  iterator->database = new RPMDatabasePtr(*this);
  return iterator.release();
}

RPMIterator::~RPMIterator() { delete database; }

void RPMIterator::First(Stringy&, Stringy&, Stringy&) {}
void RPMIterator::Next(Stringy&, Stringy&, Stringy&) {}
void RPMIterator::First(Stringy&, Stringy&) {}
void RPMIterator::Next(Stringy&, Stringy&) {}

namespace {

// Header tags and data types read here.
constexpr std::int32_t kTagName = 1000;
constexpr std::int32_t kTagVersion = 1001;
constexpr std::int32_t kTagRelease = 1002;
constexpr std::int32_t kTagArch = 1022;
constexpr std::int32_t kTagProvideName = 1047;
constexpr std::int32_t kTagRequireName = 1049;
constexpr std::int32_t kTagConflictName = 1054;
constexpr std::int32_t kTagBaseNames = 1117;
constexpr std::int32_t kLabelIndex = 2;
constexpr std::int32_t kStringType = 6;
constexpr std::int32_t kStringArrayType = 8;
constexpr std::int32_t kI18nStringType = 9;

// The name, version and flags tags of the four dependency lists, in the
// order of reading and of the rows.
struct DependencyTags {
  CapabilityType type;
  std::int32_t names;
  std::int32_t versions;
  std::int32_t flags;
};
constexpr DependencyTags kDependencyTags[] = {
    {eCapabilityRequire, 1049, 1050, 1048},
    {eCapabilityProvide, 1047, 1113, 1112},
    {eCapabilityConflict, 1054, 1055, 1053},
    {eCapabilityObsolete, 1090, 1115, 1114},
};
constexpr std::int32_t kTagDirIndexes = 1116;
constexpr std::int32_t kTagDirNames = 1118;

bool IsStringList(std::int32_t type) {
  return type == kStringArrayType || type == kI18nStringType;
}

// One tag as a header hands it over. String lists are the caller's to free;
// everything else points into the header.
struct Entry {
  bool present = false;
  std::int32_t type = 0;
  void const* value = nullptr;
  std::int32_t count = 0;

  Entry() = default;
  Entry(Entry const&) = delete;
  Entry& operator=(Entry const&) = delete;
  ~Entry() { Release(); }

  void Release() {
    if (present && IsStringList(type)) std::free(const_cast<void*>(value));
    present = false;
    value = nullptr;
    count = 0;
  }
  // The text of a single string, or the first of a list; "" when absent.
  char const* Text() const {
    if (!present || value == nullptr || count < 1) return "";
    if (type == kStringType) return static_cast<char const*>(value);
    if (IsStringList(type)) {
      char const* const first = static_cast<char const* const*>(value)[0];
      return first != nullptr ? first : "";
    }
    return "";
  }
  // Item i of a string list; "" for anything else.
  char const* Item(std::int32_t index) const {
    if (!present || value == nullptr || index >= count) return "";
    if (type == kStringType) return index == 0 ? static_cast<char const*>(value) : "";
    if (!IsStringList(type)) return "";
    char const* const item = static_cast<char const* const*>(value)[index];
    return item != nullptr ? item : "";
  }
  // Item i of a 32-bit number list.
  std::uint32_t Number(std::int32_t index) const {
    if (!present || value == nullptr || index >= count || IsStringList(type) ||
        type == kStringType)
      return 0;
    return static_cast<std::uint32_t const*>(value)[index];
  }
};

// The version text: version, and "-" with the release when there is one.
Stringy VersionText(Entry const& version, Entry const& release) {
  Stringy text(version.Text());
  if (release.present) {
    text += "-";
    text += release.Text();
  }
  return text;
}

// Checks the counts of a header's lists and appends its rows. Throws
// NoSuchObject, before appending anything, for a malformed header.
struct CapabilityEntries {
  Entry names[4];
  Entry versions[4];
  Entry flags[4];
  Entry baseNames;
  Entry dirNames;
  Entry dirIndexes;

  void Check() const {
    for (int list = 0; list < 4; ++list) {
      if (names[list].count < versions[list].count || names[list].count < flags[list].count ||
          versions[list].count != flags[list].count)
        throw NoSuchObject();
    }
    if (baseNames.count != dirIndexes.count) throw NoSuchObject();
    for (std::int32_t i = 0; i < dirIndexes.count; ++i) {
      if (dirIndexes.Number(i) >= static_cast<std::uint32_t>(dirNames.count))
        throw NoSuchObject();
    }
  }

  void AppendList(int list, CapabilityList& out) const {
    CapabilityType const type = kDependencyTags[list].type;
    for (std::int32_t i = 0; i < names[list].count; ++i) {
      if (i >= versions[list].count) {
        out.Append(type, names[list].Item(i), "", "", "");
      } else {
        out.Append(type, names[list].Item(i), RelationOfFlags(flags[list].Number(i)),
                   versions[list].Item(i), "");
      }
    }
  }

  void AppendFiles(CapabilityList& out) const {
    for (std::int32_t i = 0; i < baseNames.count; ++i) {
      Stringy path(dirNames.Item(static_cast<std::int32_t>(dirIndexes.Number(i))));
      path += baseNames.Item(i);
      out.Append(eCapabilityFile, path.CString(), "", "", "");
    }
  }
};

// Appends a package unless `out` holds an equal one.
void AppendPackage(PackageList& out, char const* name, char const* version, char const* arch) {
  for (unsigned long i = 0; i < out.Count(); ++i) {
    PackageDef const& held = out[i];
    if (std::strcmp(held.name.CString(), name) == 0 &&
        std::strcmp(held.version.CString(), version) == 0 &&
        std::strcmp(held.architecture.CString(), arch) == 0)
      return;
  }
  out.Append(name, version, arch);
}

// The one database of a generation that every share joins: opened by the
// first share (the configuration files read before the first opening),
// closed after the last, and refused to a share under another root path
// while it is open.
template <class Handle>
class SharedDatabase {
 public:
  // The handle of the database under `root` (the default one when there is
  // no root). Throws NoSuchObject when it cannot be opened, Mismatch for
  // another root path than the open one's.
  template <class Mismatch, class ReadConfig, class OpenDatabase>
  Handle Join(bool hasRoot, Stringy const& root, ReadConfig readConfig, OpenDatabase open) {
    if (configurationPending_) {
      readConfig(nullptr, nullptr);
      configurationPending_ = false;
    }
    if (count_ == 0) {
      Handle handle = nullptr;
      if (open(hasRoot ? root.CString() : nullptr, &handle, 0, 0444) != 0) throw NoSuchObject();
      path_ = hasRoot ? root : Stringy("");
      handle_ = handle;
      count_ = 1;
      return handle;
    }
    bool const same =
        hasRoot ? std::strcmp(root.CString(), path_.CString()) == 0 : path_.IsEmpty();
    if (!same) throw Mismatch();
    ++count_;
    return handle_;
  }

  // Leaves the database, closing it when this was the last share.
  template <class CloseDatabase>
  void Leave(CloseDatabase close) {
    if (count_ > 0 && --count_ == 0) {
      close(handle_);
      handle_ = nullptr;
      path_ = "";
    }
  }

 private:
  bool configurationPending_ = true;
  unsigned long count_ = 0;
  Stringy path_;
  Handle handle_ = nullptr;
};

}  // namespace

// ---------------------------------------------------------------------------
// The newer generation.

namespace RPM4 {

namespace {

SharedDatabase<rpmdb> shared;

void ReadEntry(Header header, std::int32_t tag, Entry& entry) {
  entry.Release();
  std::int32_t type = 0;
  void const* value = nullptr;
  std::int32_t count = 0;
  if (headerGetRawEntry(header, tag, &type, &value, &count) == 0) return;
  entry.present = true;
  entry.type = type;
  entry.value = value;
  entry.count = count < 0 ? 0 : count;
}

Header NextHeader(rpmdbMatchIterator iterator) {
  if (rpmdbNextIterator != nullptr) return rpmdbNextIterator(iterator);
  return XrpmdbNextIterator(iterator, "", 0);
}

// A librpm iterator, freed on every way out.
struct MatchIterator {
  rpmdbMatchIterator iterator;
  explicit MatchIterator(rpmdbMatchIterator started) : iterator(started) {}
  MatchIterator(MatchIterator const&) = delete;
  MatchIterator& operator=(MatchIterator const&) = delete;
  ~MatchIterator() {
    if (iterator != nullptr) iterator = rpmdbFreeIterator(iterator);
  }
};

void ReadRecord(Header header, Stringy& name, Stringy& version, Stringy& arch) {
  Entry entryName, entryVersion, entryRelease, entryArch;
  ReadEntry(header, kTagName, entryName);
  ReadEntry(header, kTagVersion, entryVersion);
  ReadEntry(header, kTagRelease, entryRelease);
  ReadEntry(header, kTagArch, entryArch);
  name = entryName.Text();
  version = VersionText(entryVersion, entryRelease);
  arch = entryArch.Text();
}

}  // namespace

void Database::Open() {
  if (joined_) return;
  handle_ = shared.Join<MismatchedPath>(hasRoot_, root_, rpmReadConfigFiles, rpmdbOpen);
  joined_ = true;
}

void Database::Close() {
  if (joined_) shared.Leave(rpmdbClose);
  joined_ = false;
  handle_ = nullptr;
}

class Iterator : public RPMIterator {
 public:
  explicit Iterator(rpmdb handle) : handle_(handle) {}
  ~Iterator() override {
    if (iterator_ != nullptr) rpmdbFreeIterator(iterator_);
  }

  void First(Stringy& name, Stringy& version, Stringy& arch) override {
    if (iterator_ != nullptr) iterator_ = rpmdbFreeIterator(iterator_);
    if (handle_ == nullptr) throw NoSuchObject();
    iterator_ = rpmdbInitIterator(handle_, 0, nullptr, 0);
    Next(name, version, arch);
  }
  void Next(Stringy& name, Stringy& version, Stringy& arch) override {
    if (iterator_ == nullptr) throw NoSuchObject();
    Trickle();
    Header const header = NextHeader(iterator_);
    if (header == nullptr) {
      iterator_ = rpmdbFreeIterator(iterator_);
      throw NoSuchObject();
    }
    ReadRecord(header, name, version, arch);
  }
  using RPMIterator::First;
  using RPMIterator::Next;

 private:
  rpmdb handle_;
  rpmdbMatchIterator iterator_ = nullptr;
};

class NamedIterator : public RPMIterator {
 public:
  NamedIterator(rpmdb handle, Stringy const& name) : handle_(handle), name_(name) {}
  ~NamedIterator() override {
    if (iterator_ != nullptr) rpmdbFreeIterator(iterator_);
  }

  void First(Stringy& version, Stringy& arch) override {
    if (iterator_ != nullptr) iterator_ = rpmdbFreeIterator(iterator_);
    if (handle_ == nullptr) throw NoSuchObject();
    iterator_ = rpmdbInitIterator(handle_, kLabelIndex, name_.CString(), 0);
    Next(version, arch);
  }
  void Next(Stringy& version, Stringy& arch) override {
    if (iterator_ == nullptr) throw NoSuchObject();
    Trickle();
    Header const header = NextHeader(iterator_);
    if (header == nullptr) {
      iterator_ = rpmdbFreeIterator(iterator_);
      throw NoSuchObject();
    }
    Entry entryVersion, entryRelease, entryArch;
    ReadEntry(header, kTagVersion, entryVersion);
    ReadEntry(header, kTagRelease, entryRelease);
    ReadEntry(header, kTagArch, entryArch);
    version = VersionText(entryVersion, entryRelease);
    arch = entryArch.Text();
  }
  using RPMIterator::First;
  using RPMIterator::Next;

 private:
  rpmdb handle_;
  Stringy name_;
  rpmdbMatchIterator iterator_ = nullptr;
};

RPMIterator* Database::Iterator() const { return new RPM4::Iterator(joined_ ? handle_ : nullptr); }

RPMIterator* Database::NamedIterator(Stringy const& name) const {
  return new RPM4::NamedIterator(joined_ ? handle_ : nullptr, name);
}

void Database::GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                         Stringy& outArch) const {
  if (!joined_) throw NoSuchObject();
  MatchIterator matches(rpmdbInitIterator(handle_, kLabelIndex, name.CString(), 0));
  if (matches.iterator == nullptr) throw NoSuchObject();
  Header const header = NextHeader(matches.iterator);
  if (header == nullptr) throw NoSuchObject();
  ReadRecord(header, outName, outVersion, outArch);
}

void Database::GetPackageCapabilities(Stringy const& name, Stringy const& version,
                                      CapabilityList& out) const {
  if (!joined_) throw NoSuchObject();
  MatchIterator matches(rpmdbInitIterator(handle_, kLabelIndex, name.CString(), 0));
  if (matches.iterator == nullptr) throw NoSuchObject();
  Header found = nullptr;
  for (;;) {
    Trickle();
    Header const header = NextHeader(matches.iterator);
    if (header == nullptr) break;
    Entry entryVersion, entryRelease;
    ReadEntry(header, kTagVersion, entryVersion);
    if (!entryVersion.present) throw NoSuchObject();
    ReadEntry(header, kTagRelease, entryRelease);
    if (entryVersion.count != 1 || (entryRelease.present && entryRelease.count != 1)) continue;
    if (VersionText(entryVersion, entryRelease).Compare(version) != 0) continue;
    found = header;
    break;
  }
  if (found == nullptr) throw NoSuchObject();

  CapabilityEntries entries;
  for (int list = 0; list < 4; ++list) {
    ReadEntry(found, kDependencyTags[list].names, entries.names[list]);
    ReadEntry(found, kDependencyTags[list].versions, entries.versions[list]);
    ReadEntry(found, kDependencyTags[list].flags, entries.flags[list]);
  }
  ReadEntry(found, kTagBaseNames, entries.baseNames);
  ReadEntry(found, kTagDirNames, entries.dirNames);
  ReadEntry(found, kTagDirIndexes, entries.dirIndexes);
  entries.Check();
  for (int list = 0; list < 4; ++list) entries.AppendList(list, out);
  entries.AppendFiles(out);
}

void Database::GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                              PackageList& out) const {
  if (!joined_) throw NoSuchObject();
  std::int32_t tag;
  switch (capability.type) {
    case eCapabilityProvide:
      tag = kTagProvideName;
      break;
    case eCapabilityRequire:
      tag = kTagRequireName;
      break;
    case eCapabilityConflict:
      tag = kTagConflictName;
      break;
    case eCapabilityFile:
      tag = kTagBaseNames;
      break;
    default:
      throw NoSuchObject();
  }
  MatchIterator matches(rpmdbInitIterator(handle_, tag, capability.name.CString(), 0));
  if (matches.iterator == nullptr) throw NoSuchObject();
  for (;;) {
    Trickle();
    Header const header = NextHeader(matches.iterator);
    if (header == nullptr) break;
    Entry entryName, entryVersion, entryRelease, entryArch;
    ReadEntry(header, kTagName, entryName);
    if (!entryName.present || entryName.count != 1) throw NoSuchObject();
    ReadEntry(header, kTagVersion, entryVersion);
    ReadEntry(header, kTagArch, entryArch);
    if (!entryVersion.present || !entryArch.present) throw NoSuchObject();
    ReadEntry(header, kTagRelease, entryRelease);
    if (entryVersion.count != 1 || entryArch.count != 1 ||
        (entryRelease.present && entryRelease.count != 1))
      continue;
    AppendPackage(out, entryName.Text(), VersionText(entryVersion, entryRelease).CString(),
                  entryArch.Text());
  }
}

bool Database::CheckRpmlibProvides(CapabilityDef const& capability) const {
  rpmds const key =
      rpmdsSingle(kTagProvideName, capability.name.CString(), capability.version.CString(),
                  0x1000048u);
  int const answer = rpmCheckRpmlibProvides(key);
  if (key != nullptr) rpmdsFree(key);
  return answer != 0;
}

RPMDatabase* Library::OpenDatabase() { return new Database(); }

RPMDatabase* Library::OpenDatabase(unsigned char const* path, unsigned long length) {
  return new Database(path, length);
}

surveyor_string MismatchedPath::Message() const {
  static char const kText[] = "Cannot open two different rpm databases at the same time.";
  return surveyor_string{reinterpret_cast<unsigned char const*>(kText), sizeof kText - 1};
}

}  // namespace RPM4

// ---------------------------------------------------------------------------
// The older generation.

namespace RPM3 {

namespace {

SharedDatabase<rpmdb> shared;

void ReadEntry(Header header, std::int32_t tag, Entry& entry) {
  entry.Release();
  std::int32_t type = 0;
  void const* value = nullptr;
  std::int32_t count = 0;
  if (headerGetEntry(header, tag, &type, &value, &count) == 0) return;
  entry.present = true;
  entry.type = type;
  entry.value = value;
  entry.count = count < 0 ? 0 : count;
}

// A header fetched by record number, freed on every way out.
struct OwnedHeader {
  Header header;
  explicit OwnedHeader(Header fetched) : header(fetched) {}
  OwnedHeader(OwnedHeader const&) = delete;
  OwnedHeader& operator=(OwnedHeader const&) = delete;
  ~OwnedHeader() {
    if (header != nullptr) headerFree(header);
  }
};

// A match record, freed on every way out.
struct Matches {
  dbiIndexSet set{nullptr, 0};
  bool filled = false;
  Matches() = default;
  Matches(Matches const&) = delete;
  Matches& operator=(Matches const&) = delete;
  ~Matches() {
    if (filled) dbiFreeIndexRecord(set);
  }
};

void ReadRecord(Header header, Stringy& name, Stringy& version, Stringy& arch) {
  Entry entryName, entryVersion, entryRelease, entryArch;
  ReadEntry(header, kTagName, entryName);
  ReadEntry(header, kTagVersion, entryVersion);
  ReadEntry(header, kTagRelease, entryRelease);
  ReadEntry(header, kTagArch, entryArch);
  name = entryName.Text();
  version = VersionText(entryVersion, entryRelease);
  arch = entryArch.Text();
}

}  // namespace

void Database::Open() {
  if (joined_) return;
  handle_ = shared.Join<MismatchedPath>(hasRoot_, root_, rpmReadConfigFiles, rpmdbOpen);
  joined_ = true;
}

void Database::Close() {
  if (joined_) shared.Leave(rpmdbClose);
  joined_ = false;
  handle_ = nullptr;
}

class Iterator : public RPMIterator {
 public:
  explicit Iterator(Database const* database) : database_(database) {}

  void First(Stringy& name, Stringy& version, Stringy& arch) override {
    if (!database_->Joined()) throw NoSuchObject();
    record_ = rpmdbFirstRecNum(database_->Handle());
    Read(name, version, arch);
  }
  void Next(Stringy& name, Stringy& version, Stringy& arch) override {
    if (!database_->Joined() || record_ == 0) throw NoSuchObject();
    record_ = rpmdbNextRecNum(database_->Handle(), record_);
    Read(name, version, arch);
  }
  using RPMIterator::First;
  using RPMIterator::Next;

 private:
  void Read(Stringy& name, Stringy& version, Stringy& arch) {
    Trickle();
    if (record_ == 0) throw NoSuchObject();
    OwnedHeader const header(database_->GetRecordByOffset(record_));
    if (header.header == nullptr) throw NoSuchObject();
    ReadRecord(header.header, name, version, arch);
  }

  Database const* database_;
  unsigned int record_ = 0;
};

class NamedIterator : public RPMIterator {
 public:
  NamedIterator(Database const* database, Stringy const& name)
      : database_(database), name_(name) {}

  void First(Stringy& version, Stringy& arch) override {
    if (!database_->Joined()) throw NoSuchObject();
    record_ = rpmdbFirstRecNum(database_->Handle());
    if (!ReadIfNamed(version, arch)) Next(version, arch);
  }
  void Next(Stringy& version, Stringy& arch) override {
    for (;;) {
      if (!database_->Joined() || record_ == 0) throw NoSuchObject();
      record_ = rpmdbNextRecNum(database_->Handle(), record_);
      if (ReadIfNamed(version, arch)) return;
    }
  }
  using RPMIterator::First;
  using RPMIterator::Next;

 private:
  bool ReadIfNamed(Stringy& version, Stringy& arch) {
    Trickle();
    if (record_ == 0) throw NoSuchObject();
    OwnedHeader const header(database_->GetRecordByOffset(record_));
    if (header.header == nullptr) throw NoSuchObject();
    Stringy name;
    ReadRecord(header.header, name, version, arch);
    return name == name_;
  }

  Database const* database_;
  Stringy name_;
  unsigned int record_ = 0;
};

RPMIterator* Database::Iterator() const { return new RPM3::Iterator(this); }

RPMIterator* Database::NamedIterator(Stringy const& name) const {
  return new RPM3::NamedIterator(this, name);
}

void Database::GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                         Stringy& outArch) const {
  if (!joined_) throw NoSuchObject();
  Matches matches;
  int const result = rpmdbFindPackage(handle_, name.CString(), &matches.set);
  if (result < 0) throw FileIOError();
  if (result > 0) throw NoSuchObject();
  matches.filled = true;
  if (matches.set.count <= 0 || matches.set.recs == nullptr) throw NoSuchObject();
  OwnedHeader const header(GetRecordByOffset(matches.set.recs[0].recOffset));
  if (header.header == nullptr) throw NoSuchObject();
  ReadRecord(header.header, outName, outVersion, outArch);
}

void Database::GetPackageCapabilities(Stringy const& name, Stringy const& version,
                                      CapabilityList& out) const {
  if (!joined_) throw NoSuchObject();
  Matches matches;
  int const result = rpmdbFindPackage(handle_, name.CString(), &matches.set);
  if (result < 0) throw FileIOError();
  if (result > 0) throw NoSuchObject();
  matches.filled = true;
  std::unique_ptr<OwnedHeader> found;
  for (int i = 0; i < matches.set.count && matches.set.recs != nullptr; ++i) {
    Trickle();
    auto header = std::make_unique<OwnedHeader>(GetRecordByOffset(matches.set.recs[i].recOffset));
    if (header->header == nullptr) continue;
    Entry entryVersion, entryRelease;
    ReadEntry(header->header, kTagVersion, entryVersion);
    if (!entryVersion.present) throw NoSuchObject();
    ReadEntry(header->header, kTagRelease, entryRelease);
    if (entryVersion.count != 1 || (entryRelease.present && entryRelease.count != 1)) continue;
    if (VersionText(entryVersion, entryRelease).Compare(version) != 0) continue;
    found = std::move(header);
    break;
  }
  if (found == nullptr) throw NoSuchObject();

  Header const header = found->header;
  CapabilityEntries entries;
  for (int list = 0; list < 4; ++list) {
    ReadEntry(header, kDependencyTags[list].names, entries.names[list]);
    ReadEntry(header, kDependencyTags[list].versions, entries.versions[list]);
    ReadEntry(header, kDependencyTags[list].flags, entries.flags[list]);
  }
  ReadEntry(header, kTagBaseNames, entries.baseNames);
  ReadEntry(header, kTagDirNames, entries.dirNames);
  ReadEntry(header, kTagDirIndexes, entries.dirIndexes);
  entries.Check();
  Entry entryName, entryVersion, entryRelease;
  ReadEntry(header, kTagName, entryName);
  ReadEntry(header, kTagVersion, entryVersion);
  ReadEntry(header, kTagRelease, entryRelease);
  entries.AppendList(0, out);
  entries.AppendList(1, out);
  // The older generation lists the package itself among its provides.
  out.Append(eCapabilityProvide, entryName.Text(), "=",
             VersionText(entryVersion, entryRelease).CString(), "");
  entries.AppendList(2, out);
  entries.AppendList(3, out);
  entries.AppendFiles(out);
}

void Database::GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                              PackageList& out) const {
  if (!joined_) throw NoSuchObject();
  // A package always matches its own name, whatever the kind asked.
  try {
    Stringy name, version, arch;
    GetRecord(capability.name, name, version, arch);
    AppendPackage(out, name.CString(), version.CString(), arch.CString());
  } catch (NoSuchObject const&) {
  }
  DbFindFunction find = nullptr;
  switch (capability.type) {
    case eCapabilityProvide:
      find = rpmdbFindByProvides;
      break;
    case eCapabilityRequire:
      find = rpmdbFindByRequiredBy;
      break;
    case eCapabilityConflict:
      find = rpmdbFindByConflicts;
      break;
    case eCapabilityFile:
      find = rpmdbFindByFile;
      break;
    default:
      if (out.Count() == 0) throw NoSuchObject();
      return;
  }
  Matches matches;
  int const result = find(handle_, capability.name.CString(), &matches.set);
  if (result < 0) throw FileIOError();
  if (result == 0) {
    matches.filled = true;
    for (int i = 0; i < matches.set.count && matches.set.recs != nullptr; ++i) {
      Trickle();
      OwnedHeader const header(GetRecordByOffset(matches.set.recs[i].recOffset));
      if (header.header == nullptr) continue;
      Entry entryName, entryVersion, entryRelease, entryArch;
      ReadEntry(header.header, kTagName, entryName);
      if (!entryName.present || entryName.count != 1) throw NoSuchObject();
      ReadEntry(header.header, kTagVersion, entryVersion);
      ReadEntry(header.header, kTagArch, entryArch);
      if (!entryVersion.present || !entryArch.present) throw NoSuchObject();
      ReadEntry(header.header, kTagRelease, entryRelease);
      if (entryVersion.count != 1 || entryArch.count != 1 ||
          (entryRelease.present && entryRelease.count != 1))
        continue;
      AppendPackage(out, entryName.Text(), VersionText(entryVersion, entryRelease).CString(),
                    entryArch.Text());
    }
  }
  if (out.Count() == 0) throw NoSuchObject();
}

bool Database::CheckRpmlibProvides(CapabilityDef const& capability) const {
  return rpmCheckRpmlibProvides(capability.name.CString(), capability.version.CString(), 8) != 0;
}

RPMDatabase* Library::OpenDatabase() { return new Database(); }

RPMDatabase* Library::OpenDatabase(unsigned char const* path, unsigned long length) {
  return new Database(path, length);
}

surveyor_string MismatchedPath::Message() const {
  static char const kText[] = "Cannot open two different rpm databases at the same time.";
  return surveyor_string{reinterpret_cast<unsigned char const*>(kText), sizeof kText - 1};
}

}  // namespace RPM3

// ---------------------------------------------------------------------------
// The value that a query holds.

bool RPMSurveyorsDisabled() {
  static char const kName[] = "_QRVClient_Surveyor_DisableRPM";
  try {
    return ClientSettingIsOne(reinterpret_cast<unsigned char const*>(kName), sizeof kName - 1);
  } catch (DebuggableException const&) {
    return false;
  } catch (std::bad_alloc const&) {
    // Running out of memory, like the host's interruption, is no answer.
    throw;
  } catch (std::exception const&) {
    return false;
  }
}

namespace {

// The full path of the storage folder, as the context gives it.
std::string StorageFolderPath() {
  auto const slot = ContextSlot<&SurveyorStorageContext::GetStorageFolder>();
  std::unique_ptr<FileLocation> const folder(slot(&SurveyorFileLocation));
  if (folder == nullptr) throw NoSuchObject();
  return folder->FullPathName();
}

}  // namespace

rpmdatabase::rpmdatabase() : database(nullptr) {
  if (RPMSurveyorsDisabled()) throw NoSuchObject();
  std::string const folder = StorageFolderPath();
  RPMLibrary* const library = RPMLibrary::The(folder.c_str());
  std::unique_ptr<RPMDatabase> opened(library->OpenDatabase());
  database = new RPMDatabasePtr(opened.release());
}

rpmdatabase::rpmdatabase(unsigned char const* path, unsigned long length) : database(nullptr) {
  if (RPMSurveyorsDisabled()) throw NoSuchObject();
  std::string const folder = StorageFolderPath();
  RPMLibrary* const library = RPMLibrary::The(folder.c_str());
  std::unique_ptr<RPMDatabase> opened(library->OpenDatabase(path, length));
  database = new RPMDatabasePtr(opened.release());
}

rpmdatabase::rpmdatabase(rpmdatabase const& other)
    : database(other.database != nullptr ? new RPMDatabasePtr(*other.database) : nullptr) {}

rpmdatabase& rpmdatabase::operator=(rpmdatabase const& other) {
  if (this == &other) return *this;
  RPMDatabasePtr* const copy =
      other.database != nullptr ? new RPMDatabasePtr(*other.database) : nullptr;
  delete database;
  database = copy;
  return *this;
}

rpmdatabase::~rpmdatabase() { delete database; }

void rpmdatabase::GetRecord(Stringy const& name, Stringy& outName, Stringy& outVersion,
                            Stringy& outArch) const {
  if (database == nullptr) throw NoSuchObject();
  (*database)->GetRecord(name, outName, outVersion, outArch);
}

std::unique_ptr<RPMIterator> rpmdatabase::Iterator() const {
  if (database == nullptr) throw NoSuchObject();
  return std::unique_ptr<RPMIterator>(database->Iterator());
}

std::unique_ptr<RPMIterator> rpmdatabase::NamedIterator(Stringy const& name) const {
  if (database == nullptr) throw NoSuchObject();
  return std::unique_ptr<RPMIterator>(database->NamedIterator(name));
}

void rpmdatabase::GetPackageCapabilities(Stringy const& name, Stringy const& version,
                                         CapabilityList& out) const {
  if (database == nullptr) throw NoSuchObject();
  (*database)->GetPackageCapabilities(name, version, out);
}

void rpmdatabase::GetPackageMatchingCapabilities(CapabilityDef const& capability,
                                                 PackageList& out) const {
  if (database == nullptr) throw NoSuchObject();
  (*database)->GetPackageMatchingCapabilities(capability, out);
}

bool rpmdatabase::CheckRpmlibProvides(CapabilityDef const& capability) const {
  if (database == nullptr) throw NoSuchObject();
  return (*database)->CheckRpmlibProvides(capability);
}

rpmdatabase rpm_of_world() { return rpmdatabase(); }

rpmdatabase named_rpm_of_world(unsigned char const* path, unsigned long length) {
  return rpmdatabase(path, length);
}

// ---------------------------------------------------------------------------
// Registration, in table order. Nothing is reusable: the database can change
// between evaluations.

namespace {

RegistrationTable table{
    TypeRow<rpmdatabase>(),
    PropertyRow("rpm", "rpms", &rpm_of_world),
    IndexedRow("rpm", "rpms", &named_rpm_of_world),
};

}  // namespace
