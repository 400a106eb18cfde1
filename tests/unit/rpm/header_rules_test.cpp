// The reading of headers by both generations, over a librpm of the
// test's own: the function pointers that the binding fills are pointed at
// functions below, which serve headers made here, including malformed ones
// that rpmbuild never makes. The expected rows follow from the headers as
// written and from the relation table of the flags.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "survey/foundation/file_errors.h"
#include "survey/rpm/rpm_database.h"

namespace {

constexpr std::int32_t kString = 6;
constexpr std::int32_t kStringArray = 8;
constexpr std::int32_t kInt32 = 4;

struct Tag {
  std::int32_t type = kString;
  std::vector<std::string> texts;
  std::vector<std::uint32_t> numbers;
};
struct FakeHeader {
  std::map<std::int32_t, Tag> tags;
};
struct FakeIterator {
  std::vector<FakeHeader*> headers;
  std::size_t next = 0;
};

std::vector<FakeHeader> database;
int opens = 0;
int closes = 0;
int liveIterators = 0;
int blocksHandedOut = 0;
std::string lastXFile = "unset";

Tag Text(std::string const& text) { return Tag{kString, {text}, {}}; }
Tag Texts(std::vector<std::string> texts) { return Tag{kStringArray, std::move(texts), {}}; }
Tag Numbers(std::vector<std::uint32_t> numbers) { return Tag{kInt32, {}, std::move(numbers)}; }

FakeHeader Package(std::string const& name, std::string const& version,
                   std::string const* release) {
  FakeHeader header;
  header.tags[1000] = Text(name);
  header.tags[1001] = Text(version);
  if (release != nullptr) header.tags[1002] = Text(*release);
  header.tags[1022] = Text("noarch");
  return header;
}

int ReadConfig(char const*, char const*) { return 0; }
int Open(char const*, RPM4::rpmdb* handle, int, int) {
  ++opens;
  *handle = reinterpret_cast<RPM4::rpmdb>(&database);
  return 0;
}
int Close(RPM4::rpmdb) {
  ++closes;
  return 0;
}
RPM4::rpmdbMatchIterator Init(RPM4::rpmdb, std::int32_t tag, void const* key, std::size_t) {
  auto* const iterator = new FakeIterator;
  for (FakeHeader& header : database) {
    if (tag == 0) {
      iterator->headers.push_back(&header);
      continue;
    }
    std::int32_t const wanted = tag == 2 ? 1000 : tag;
    auto const found = header.tags.find(wanted);
    if (found == header.tags.end()) continue;
    for (std::string const& text : found->second.texts) {
      if (text == static_cast<char const*>(key)) {
        iterator->headers.push_back(&header);
        break;
      }
    }
  }
  if (iterator->headers.empty()) {
    delete iterator;
    return nullptr;
  }
  ++liveIterators;
  return reinterpret_cast<RPM4::rpmdbMatchIterator>(iterator);
}
RPM4::Header Next(RPM4::rpmdbMatchIterator handle) {
  auto* const iterator = reinterpret_cast<FakeIterator*>(handle);
  if (iterator->next >= iterator->headers.size()) return nullptr;
  return reinterpret_cast<RPM4::Header>(iterator->headers[iterator->next++]);
}
RPM4::Header XNext(RPM4::rpmdbMatchIterator handle, char const* file, unsigned int line) {
  lastXFile = std::string(file) + ":" + std::to_string(line);
  return Next(handle);
}
RPM4::rpmdbMatchIterator Free(RPM4::rpmdbMatchIterator handle) {
  delete reinterpret_cast<FakeIterator*>(handle);
  --liveIterators;
  return nullptr;
}
int GetRaw(RPM4::Header handle, std::int32_t tag, std::int32_t* type, void const** value,
           std::int32_t* count) {
  auto* const header = reinterpret_cast<FakeHeader*>(handle);
  auto const found = header->tags.find(tag);
  if (found == header->tags.end()) return 0;
  Tag const& entry = found->second;
  *type = entry.type;
  if (entry.type == kString) {
    *value = entry.texts[0].c_str();
    *count = 1;
  } else if (entry.type == kInt32) {
    *value = entry.numbers.data();
    *count = static_cast<std::int32_t>(entry.numbers.size());
  } else {
    // One block, pointers then texts, as the caller frees it.
    std::size_t size = entry.texts.size() * sizeof(char*);
    for (std::string const& text : entry.texts) size += text.size() + 1;
    char** const block = static_cast<char**>(std::malloc(size + 1));
    char* at = reinterpret_cast<char*>(block + entry.texts.size());
    for (std::size_t i = 0; i < entry.texts.size(); ++i) {
      std::memcpy(at, entry.texts[i].c_str(), entry.texts[i].size() + 1);
      block[i] = at;
      at += entry.texts[i].size() + 1;
    }
    ++blocksHandedOut;
    *value = block;
    *count = static_cast<std::int32_t>(entry.texts.size());
  }
  return 1;
}

// The capability rows of a package as "type|name|relation|version".
std::vector<std::string> HeaderRulesTest_Rows(RPMDatabase const& db, char const* name,
                                              char const* version) {
  CapabilityList rows;
  db.GetPackageCapabilities(name, version, rows);
  std::vector<std::string> texts;
  for (unsigned long i = 0; i < rows.Count(); ++i) {
    texts.push_back(std::to_string(rows[i].type) + "|" + rows[i].name.CString() + "|" +
                    rows[i].relation.CString() + "|" + rows[i].version.CString());
  }
  return texts;
}

class HeaderRulesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = {RPM4::rpmReadConfigFiles, RPM4::rpmdbOpen,         RPM4::rpmdbClose,
              RPM4::rpmdbInitIterator,  RPM4::rpmdbNextIterator, RPM4::XrpmdbNextIterator,
              RPM4::rpmdbFreeIterator,  RPM4::headerGetRawEntry};
    RPM4::rpmReadConfigFiles = &ReadConfig;
    RPM4::rpmdbOpen = &Open;
    RPM4::rpmdbClose = &Close;
    RPM4::rpmdbInitIterator = &Init;
    RPM4::rpmdbNextIterator = &Next;
    RPM4::XrpmdbNextIterator = nullptr;
    RPM4::rpmdbFreeIterator = &Free;
    RPM4::headerGetRawEntry = &GetRaw;
    database.clear();
    opens = closes = liveIterators = blocksHandedOut = 0;
  }
  void TearDown() override {
    EXPECT_EQ(0, liveIterators) << "every librpm iterator is freed";
    RPM4::rpmReadConfigFiles = saved_.readConfig;
    RPM4::rpmdbOpen = saved_.open;
    RPM4::rpmdbClose = saved_.close;
    RPM4::rpmdbInitIterator = saved_.init;
    RPM4::rpmdbNextIterator = saved_.next;
    RPM4::XrpmdbNextIterator = saved_.xnext;
    RPM4::rpmdbFreeIterator = saved_.release;
    RPM4::headerGetRawEntry = saved_.getRaw;
  }

  static std::vector<std::string> Rows(RPMDatabase const& db, char const* name,
                                       char const* version) {
    return HeaderRulesTest_Rows(db, name, version);
  }

  struct Saved {
    RPM4::ReadConfigFilesFunction readConfig;
    RPM4::DbOpenFunction open;
    RPM4::DbCloseFunction close;
    RPM4::DbInitIteratorFunction init;
    RPM4::DbNextIteratorFunction next;
    RPM4::XDbNextIteratorFunction xnext;
    RPM4::DbFreeIteratorFunction release;
    RPM4::HeaderGetRawEntryFunction getRaw;
  } saved_{};
};

std::string const kOne = "1";

TEST_F(HeaderRulesTest, ANameWithoutReleaseHasAVersionTextWithoutHyphen) {
  database.push_back(Package("bare", "2.5", nullptr));
  RPM4::Database const db;
  Stringy name, version, arch;
  db.GetRecord("bare", name, version, arch);
  EXPECT_STREQ("2.5", version.CString());
  std::unique_ptr<RPMIterator> all(db.Iterator());
  all->First(name, version, arch);
  EXPECT_STREQ("bare", name.CString());
  EXPECT_STREQ("2.5", version.CString());
  EXPECT_STREQ("noarch", arch.CString());
  EXPECT_THROW(all->Next(name, version, arch), NoSuchObject);
}

TEST_F(HeaderRulesTest, RequiresPastTheVersionsHaveNoRelationOrVersion) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1049] = Texts({"a", "b", "c"});
  header.tags[1050] = Texts({"1.0", "2.0"});
  header.tags[1048] = Numbers({8, 12});
  database.push_back(header);
  RPM4::Database const db;
  EXPECT_EQ((std::vector<std::string>{"0|a|=|1.0", "0|b|>=|2.0", "0|c||"}),
            Rows(db, "p", "1-1"));
}

TEST_F(HeaderRulesTest, MoreFlagsThanVersionsMakeTheWholeHeaderUnreadable) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1047] = Texts({"a", "b", "c"});
  header.tags[1113] = Texts({"1", "2"});
  header.tags[1112] = Numbers({8, 8, 8});
  header.tags[1049] = Texts({"fine"});
  database.push_back(header);
  RPM4::Database const db;
  CapabilityList rows;
  EXPECT_THROW(db.GetPackageCapabilities("p", "1-1", rows), NoSuchObject);
  EXPECT_EQ(0u, rows.Count());
}

TEST_F(HeaderRulesTest, BaseNamesWithoutTheirIndexesMakeTheHeaderUnreadable) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1117] = Texts({"a", "b"});
  header.tags[1118] = Texts({"/x/"});
  header.tags[1116] = Numbers({0});
  database.push_back(header);
  RPM4::Database const db;
  CapabilityList rows;
  EXPECT_THROW(db.GetPackageCapabilities("p", "1-1", rows), NoSuchObject);
}

TEST_F(HeaderRulesTest, AFileJoinsItsFolderAndBaseNameAsTheyStand) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1117] = Texts({"a", "b", "c"});
  header.tags[1118] = Texts({"/usr/bin/", "/etc"});
  header.tags[1116] = Numbers({0, 1, 0});
  database.push_back(header);
  RPM4::Database const db;
  EXPECT_EQ((std::vector<std::string>{"4|/usr/bin/a||", "4|/etcb||", "4|/usr/bin/c||"}),
            Rows(db, "p", "1-1"));
}

TEST_F(HeaderRulesTest, TheFlagsGiveTheRelationTexts) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1054] = Texts({"a", "b", "c", "d", "e", "f", "g", "h", "i"});
  header.tags[1055] = Texts({"1", "2", "3", "4", "5", "6", "7", "8", "9"});
  // 0x1000000 and the other bits beside the relation are not looked at.
  header.tags[1053] = Numbers({2, 4, 6, 8, 10, 12, 0, 14, 0x1000000 | 0x40 | 8});
  database.push_back(header);
  RPM4::Database const db;
  EXPECT_EQ((std::vector<std::string>{"2|a|<|1", "2|b|>|2", "2|c|<>|3", "2|d|=|4", "2|e|<=|5",
                                      "2|f|>=|6", "2|g||7", "2|h||8", "2|i|=|9"}),
            Rows(db, "p", "1-1"));
}

TEST_F(HeaderRulesTest, TheListsComeInTheirOrderWithoutASelfProvide) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1090] = Texts({"old"});
  header.tags[1047] = Texts({"prov"});
  header.tags[1049] = Texts({"req"});
  header.tags[1054] = Texts({"conf"});
  header.tags[1117] = Texts({"f"});
  header.tags[1118] = Texts({"/"});
  header.tags[1116] = Numbers({0});
  database.push_back(header);
  RPM4::Database const db;
  EXPECT_EQ((std::vector<std::string>{"0|req||", "1|prov||", "2|conf||", "3|old||", "4|/f||"}),
            Rows(db, "p", "1-1"));
}

TEST_F(HeaderRulesTest, TheFirstHeaderOfTheVersionIsUsed) {
  std::string const two = "2";
  FakeHeader first = Package("p", "1", &kOne);
  first.tags[1047] = Texts({"from-1-1"});
  FakeHeader second = Package("p", "1", &two);
  second.tags[1047] = Texts({"from-1-2"});
  FakeHeader third = Package("p", "1", &two);
  third.tags[1047] = Texts({"from-the-copy"});
  database = {first, second, third};
  RPM4::Database const db;
  EXPECT_EQ((std::vector<std::string>{"1|from-1-2||"}), Rows(db, "p", "1-2"));
}

TEST_F(HeaderRulesTest, MatchingSkipsHeadersWithListsWhereOneTextIsWanted) {
  FakeHeader good = Package("good", "1", &kOne);
  good.tags[1047] = Texts({"thing"});
  FakeHeader odd = Package("odd", "1", &kOne);
  odd.tags[1001] = Texts({"1", "2"});
  odd.tags[1047] = Texts({"thing"});
  database = {good, odd, good};
  RPM4::Database const db;
  PackageList found;
  db.GetPackageMatchingCapabilities(CapabilityDef(eCapabilityProvide, "thing", "", "", ""),
                                    found);
  ASSERT_EQ(1u, found.Count()) << "the odd one is skipped, the copy not added twice";
  EXPECT_STREQ("good", found[0].name.CString());
  EXPECT_STREQ("1-1", found[0].version.CString());
}

TEST_F(HeaderRulesTest, AMatchWithoutANameEndsTheSearch) {
  FakeHeader nameless = Package("x", "1", &kOne);
  nameless.tags.erase(1000);
  nameless.tags[1049] = Texts({"thing"});
  database = {nameless};
  RPM4::Database const db;
  PackageList found;
  EXPECT_THROW(db.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityRequire, "thing", "", "", ""), found),
               NoSuchObject);
}

TEST_F(HeaderRulesTest, ObsoletesAreNeverMatched) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1090] = Texts({"old"});
  database.push_back(header);
  RPM4::Database const db;
  PackageList found;
  EXPECT_THROW(db.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityObsolete, "old", "", "", ""), found),
               NoSuchObject);
}

TEST_F(HeaderRulesTest, ALibrpmWithOnlyTheOtherNextFunctionIsServed) {
  RPM4::rpmdbNextIterator = nullptr;
  RPM4::XrpmdbNextIterator = &XNext;
  database.push_back(Package("p", "1", &kOne));
  RPM4::Database const db;
  std::unique_ptr<RPMIterator> all(db.Iterator());
  Stringy name, version, arch;
  all->First(name, version, arch);
  EXPECT_STREQ("p", name.CString());
  EXPECT_EQ(":0", lastXFile) << "called with an empty file name and line 0";
  EXPECT_THROW(all->Next(name, version, arch), NoSuchObject);
}

TEST_F(HeaderRulesTest, HeldObjectsShareOneOpeningAndTheLastClosesIt) {
  database.push_back(Package("p", "1", &kOne));
  {
    RPM4::Database const first;
    {
      RPM4::Database const second;
      EXPECT_EQ(1, opens);
    }
    EXPECT_EQ(0, closes);
  }
  EXPECT_EQ(1, closes);
  RPM4::Database const again;
  EXPECT_EQ(2, opens) << "a later object opens the database again";
}

TEST_F(HeaderRulesTest, AnIteratorKeepsItsDatabaseOpen) {
  database.push_back(Package("p", "1", &kOne));
  std::unique_ptr<RPMIterator> all;
  {
    RPMDatabasePtr const held(new RPM4::Database());
    all.reset(held.Iterator());
  }
  EXPECT_EQ(0, closes);
  Stringy name, version, arch;
  all->First(name, version, arch);
  EXPECT_STREQ("p", name.CString());
  all.reset();
  EXPECT_EQ(1, closes);
}

// ---------------------------------------------------------------------------
// The older generation, over record numbers 1, 2, ... of the same headers.

int headersGot = 0;
int headersFreed = 0;
int matchListsFreed = 0;
int failingFinds = 0;  // a find answers -1 while this is set
std::string rpmlibArguments;

// The records whose tag holds the key, as a match list from malloc; 1 when
// there is none.
int FindBy(std::int32_t tag, char const* key, RPM3::dbiIndexSet* matches) {
  if (failingFinds != 0) return -1;
  std::vector<unsigned int> found;
  for (std::size_t i = 0; i < database.size(); ++i) {
    auto const entry = database[i].tags.find(tag);
    if (entry == database[i].tags.end()) continue;
    for (std::string const& text : entry->second.texts) {
      if (text == key) {
        found.push_back(static_cast<unsigned int>(i + 1));
        break;
      }
    }
  }
  if (found.empty()) return 1;
  matches->recs =
      static_cast<RPM3::dbiIndexRecord*>(std::malloc(found.size() * sizeof(RPM3::dbiIndexRecord)));
  for (std::size_t i = 0; i < found.size(); ++i) matches->recs[i] = {found[i], 0};
  matches->count = static_cast<int>(found.size());
  return 0;
}
int FindPackage(RPM3::rpmdb, char const* key, RPM3::dbiIndexSet* m) { return FindBy(1000, key, m); }
int FindProvides(RPM3::rpmdb, char const* key, RPM3::dbiIndexSet* m) { return FindBy(1047, key, m); }
int FindRequired(RPM3::rpmdb, char const* key, RPM3::dbiIndexSet* m) { return FindBy(1049, key, m); }
int FindConflicts(RPM3::rpmdb, char const* key, RPM3::dbiIndexSet* m) { return FindBy(1054, key, m); }
int FindFile(RPM3::rpmdb, char const* key, RPM3::dbiIndexSet* m) { return FindBy(1117, key, m); }
RPM3::Header GetRecord(RPM3::rpmdb, unsigned int offset) {
  if (offset == 0 || offset > database.size()) return nullptr;
  ++headersGot;
  return reinterpret_cast<RPM3::Header>(&database[offset - 1]);
}
void FreeMatches(RPM3::dbiIndexSet set) {
  ++matchListsFreed;
  std::free(set.recs);
}
void FreeHeader(RPM3::Header) { ++headersFreed; }
unsigned int FirstRecord(RPM3::rpmdb) { return database.empty() ? 0 : 1; }
unsigned int NextRecord(RPM3::rpmdb, unsigned int last) {
  return last < database.size() ? last + 1 : 0;
}
int OldRpmlib(char const* name, char const* version, int flags) {
  rpmlibArguments = std::string(name) + "|" + version + "|" + std::to_string(flags);
  return 1;
}
int OldOpen(char const*, RPM3::rpmdb* handle, int, int) {
  ++opens;
  *handle = reinterpret_cast<RPM3::rpmdb>(&database);
  return 0;
}
int OldClose(RPM3::rpmdb) {
  ++closes;
  return 0;
}
int OldGetEntry(RPM3::Header header, std::int32_t tag, std::int32_t* type, void const** value,
                std::int32_t* count) {
  return GetRaw(reinterpret_cast<RPM4::Header>(header), tag, type, value, count);
}

class OlderHeaderRulesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    RPM3::rpmReadConfigFiles = &ReadConfig;
    RPM3::rpmdbOpen = &OldOpen;
    RPM3::rpmdbClose = &OldClose;
    RPM3::rpmdbFindPackage = &FindPackage;
    RPM3::rpmdbFindByProvides = &FindProvides;
    RPM3::rpmdbFindByRequiredBy = &FindRequired;
    RPM3::rpmdbFindByConflicts = &FindConflicts;
    RPM3::rpmdbFindByFile = &FindFile;
    RPM3::rpmdbGetRecord = &GetRecord;
    RPM3::headerGetEntry = &OldGetEntry;
    RPM3::dbiFreeIndexRecord = &FreeMatches;
    RPM3::headerFree = &FreeHeader;
    RPM3::rpmdbFirstRecNum = &FirstRecord;
    RPM3::rpmdbNextRecNum = &NextRecord;
    RPM3::rpmCheckRpmlibProvides = &OldRpmlib;
    database.clear();
    opens = closes = headersGot = headersFreed = matchListsFreed = failingFinds = 0;
  }
  void TearDown() override {
    EXPECT_EQ(headersGot, headersFreed) << "every header fetched is freed";
    // The older generation is never bound on a machine whose librpm lacks
    // its names; the pointers are left null as they were.
    RPM3::rpmReadConfigFiles = nullptr;
    RPM3::rpmdbOpen = nullptr;
    RPM3::rpmdbClose = nullptr;
    RPM3::rpmdbFindPackage = RPM3::rpmdbFindByProvides = RPM3::rpmdbFindByRequiredBy = nullptr;
    RPM3::rpmdbFindByConflicts = RPM3::rpmdbFindByFile = nullptr;
    RPM3::rpmdbGetRecord = nullptr;
    RPM3::headerGetEntry = nullptr;
    RPM3::dbiFreeIndexRecord = nullptr;
    RPM3::headerFree = nullptr;
    RPM3::rpmdbFirstRecNum = nullptr;
    RPM3::rpmdbNextRecNum = nullptr;
    RPM3::rpmCheckRpmlibProvides = nullptr;
  }
};

TEST_F(OlderHeaderRulesTest, ThePackageIsAmongItsOwnProvides) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1049] = Texts({"req"});
  header.tags[1047] = Texts({"prov"});
  header.tags[1054] = Texts({"conf"});
  database.push_back(header);
  RPM3::Database const db;
  EXPECT_EQ((std::vector<std::string>{"0|req||", "1|prov||", "1|p|=|1-1", "2|conf||"}),
            HeaderRulesTest_Rows(db, "p", "1-1"));
  EXPECT_EQ(1, matchListsFreed);
}

TEST_F(OlderHeaderRulesTest, EveryRecordIsListedInNumberOrder) {
  std::string const two = "2";
  database = {Package("a", "1", &kOne), Package("b", "2", nullptr), Package("c", "3", &two)};
  RPM3::Database const db;
  std::unique_ptr<RPMIterator> all(db.Iterator());
  Stringy name, version, arch;
  std::vector<std::string> listed;
  all->First(name, version, arch);
  listed.push_back(std::string(name.CString()) + " " + version.CString());
  for (;;) {
    try {
      all->Next(name, version, arch);
    } catch (NoSuchObject const&) {
      break;
    }
    listed.push_back(std::string(name.CString()) + " " + version.CString());
  }
  EXPECT_EQ((std::vector<std::string>{"a 1-1", "b 2", "c 3-2"}), listed);
}

TEST_F(OlderHeaderRulesTest, TheNamedWalkSkipsOtherNames) {
  std::string const two = "2";
  database = {Package("x", "9", &kOne), Package("p", "1", &kOne), Package("y", "9", &kOne),
              Package("p", "2", &two)};
  RPM3::Database const db;
  std::unique_ptr<RPMIterator> named(db.NamedIterator("p"));
  Stringy version, arch;
  named->First(version, arch);
  EXPECT_STREQ("1-1", version.CString());
  named->Next(version, arch);
  EXPECT_STREQ("2-2", version.CString());
  EXPECT_THROW(named->Next(version, arch), NoSuchObject);
}

TEST_F(OlderHeaderRulesTest, AFailingLookupIsAFileError) {
  database = {Package("p", "1", &kOne)};
  RPM3::Database const db;
  Stringy name, version, arch;
  EXPECT_THROW(db.GetRecord("nobody", name, version, arch), NoSuchObject);
  failingFinds = 1;
  EXPECT_THROW(db.GetRecord("p", name, version, arch), FileIOError);
  PackageList found;
  EXPECT_THROW(db.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityProvide, "thing", "", "", ""), found),
               FileIOError);
}

TEST_F(OlderHeaderRulesTest, APackageMatchesItsOwnNameWhateverTheKind) {
  FakeHeader header = Package("p", "1", &kOne);
  header.tags[1047] = Texts({"thing"});
  database = {header, Package("q", "2", &kOne)};
  RPM3::Database const db;
  PackageList found;
  db.GetPackageMatchingCapabilities(CapabilityDef(eCapabilityObsolete, "q", "", "", ""), found);
  ASSERT_EQ(1u, found.Count());
  EXPECT_STREQ("q", found[0].name.CString());
  db.GetPackageMatchingCapabilities(CapabilityDef(eCapabilityProvide, "thing", "", "", ""),
                                    found);
  ASSERT_EQ(2u, found.Count());
  EXPECT_STREQ("p", found[1].name.CString());
  PackageList none;
  EXPECT_THROW(db.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityObsolete, "old", "", "", ""), none),
               NoSuchObject);
  EXPECT_THROW(db.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityRequire, "nothing", "", "", ""), none),
               NoSuchObject);
}

TEST_F(OlderHeaderRulesTest, TheLibraryFeatureIsAskedWithNameVersionAndEqual) {
  RPM3::Database const db;
  EXPECT_TRUE(db.CheckRpmlibProvides(
      CapabilityDef(eCapabilityRequire, "rpmlib(Thing)", "<=", "4.0", "")));
  EXPECT_EQ("rpmlib(Thing)|4.0|8", rpmlibArguments);
}

}  // namespace
