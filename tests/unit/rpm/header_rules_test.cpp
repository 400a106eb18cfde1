// The reading of headers by the newer generation, over a librpm of the
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
    CapabilityList rows;
    db.GetPackageCapabilities(name, version, rows);
    std::vector<std::string> texts;
    for (unsigned long i = 0; i < rows.Count(); ++i) {
      texts.push_back(std::to_string(rows[i].type) + "|" + rows[i].name.CString() + "|" +
                      rows[i].relation.CString() + "|" + rows[i].version.CString());
    }
    return texts;
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

}  // namespace
