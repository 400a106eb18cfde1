// The package database on real databases: packages built with rpmbuild and
// installed, database only, under a root of the test's own. Every expected
// value is what the machine's rpm command says of the same database.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/client/client_folder.h"
#include "host/client/client_records.h"
#include "host/client/context.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/rpm/rpm_database.h"
#include "tests/support/shell.h"
#include "tests/unit/rpm/rpm_support.h"

namespace {

using survey::client::ClientContext;
using survey::client::ClientFolder;
using survey::host::Evaluation;
using survey::host::Registry;
using survey::rpmtesting::Listing;
using survey::rpmtesting::MakeDatabase;
using survey::rpmtesting::PackageToBuild;
using survey::rpmtesting::Quoted;
using survey::rpmtesting::RpmLines;
using survey::rpmtesting::SortedLines;
using survey::testing::Output;
using survey::testing::RunShell;
using survey::testing::ScratchFolder;

constexpr int kPackages = 200;

std::string Number(int i) {
  std::string text = std::to_string(i);
  while (text.size() < 3) text.insert(text.begin(), '0');
  return text;
}

// Packages of every shape: epochs, tildes and carets, releases with dots,
// provides with and without versions, requires, conflicts, obsoletes, files
// in nested folders and with blanks in their names, and both architectures.
std::vector<PackageToBuild> ManyPackages() {
  std::vector<PackageToBuild> packages;
  for (int i = 0; i < kPackages; ++i) {
    PackageToBuild package;
    std::string const n = Number(i);
    package.name = "pkg" + n;
    if (i % 5 == 0) package.epoch = std::to_string(i % 3 + 1);
    switch (i % 4) {
      case 0: package.version = "1." + std::to_string(i); break;
      case 1: package.version = "2.0~rc" + std::to_string(i); break;
      case 2: package.version = "3.1^git" + std::to_string(i); break;
      default: package.version = "0.0" + std::to_string(i) + "a"; break;
    }
    package.release = i % 3 == 0 ? std::to_string(i) : std::to_string(i % 7) + ".el" + n;
    package.noarch = i % 2 == 1;
    package.provides = {"cap" + n + " = " + std::to_string(i) + ".0", "plaincap" + n,
                        "common-feature = 1." + std::to_string(i % 4)};
    package.requires_ = {"req" + std::to_string(i % 7) + " >= 1." + std::to_string(i % 3),
                         "pkg" + Number((i + 1) % kPackages)};
    if (i % 3 == 0) package.conflicts = {"enemy" + std::to_string(i % 5) + " < 2"};
    if (i % 4 == 0) package.obsoletes = {"old" + n + " <= 1.0", "older" + n};
    package.files = {"/opt/test/" + package.name + "/a",
                     "/opt/test/" + package.name + "/sub dir/b c"};
    packages.push_back(package);
  }
  return packages;
}

// Everything that goes into a package, as one text.
std::string Describe(std::vector<PackageToBuild> const& packages) {
  std::string text;
  for (PackageToBuild const& p : packages) {
    text += p.name + "|" + p.epoch + "|" + p.version + "|" + p.release + "|" +
            (p.noarch ? "n" : "a");
    for (auto const* list : {&p.provides, &p.requires_, &p.conflicts, &p.obsoletes, &p.files}) {
      text += "[";
      for (std::string const& item : *list) text += item + ";";
      text += "]";
    }
    text += "\n";
  }
  return text;
}

// The database shared by the listing tests. Building it takes a while, and
// ctest runs every test in a process of its own, so it is made once per
// content in the build tree, beside the test program, and reused: a new
// one is made in a folder of its own and renamed into place whole.
class Shared {
 public:
  static Shared& Get() {
    static Shared shared;
    return shared;
  }
  std::string const& Root() const { return root_; }
  std::string const& Problem() const { return problem_; }

 private:
  Shared() {
    std::vector<PackageToBuild> const packages = ManyPackages();
    std::vector<PackageToBuild> twins;
    for (int version = 1; version <= 2; ++version) {
      PackageToBuild twin;
      twin.name = "twin";
      twin.version = std::to_string(version) + ".0";
      twin.release = "1";
      twin.files = {"/opt/twin/" + std::to_string(version)};
      twins.push_back(twin);
    }
    std::string const key =
        std::to_string(std::hash<std::string>()(Describe(packages) + Describe(twins)));
    std::string const cache = RPM4::ProgramFolder() + "rpm-test-databases";
    std::string const done = cache + "/" + key;
    root_ = done + "/root";
    if (RunShell("test -d " + Quoted(root_)).status == 0) return;

    RunShell("mkdir -p " + Quoted(cache));
    std::string const fresh =
        Output("mktemp -d " + Quoted(cache + "/making-XXXXXX") + " | tr -d '\\n'");
    std::string const work = fresh + "/work";
    std::string const root = fresh + "/root";
    RunShell("mkdir -p " + Quoted(root) + " " + Quoted(work + "/main") + " " +
             Quoted(work + "/1") + " " + Quoted(work + "/2"));
    problem_ = MakeDatabase(work + "/main", root, packages);
    // Two versions of one name, installed side by side.
    for (int version = 1; version <= 2 && problem_.empty(); ++version) {
      problem_ = MakeDatabase(work + "/" + std::to_string(version), root, {twins[version - 1]});
    }
    if (!problem_.empty()) {
      RunShell("rm -rf " + Quoted(fresh));
      return;
    }
    // Another process may have put its copy in place first; either serves.
    RunShell("rm -rf " + Quoted(work) + " && mv -T " + Quoted(fresh) + " " + Quoted(done) +
             " 2>/dev/null || rm -rf " + Quoted(fresh));
  }
  std::string root_;
  std::string problem_;
};

class RpmDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string const missing = survey::rpmtesting::MissingForRpm();
    if (!missing.empty()) GTEST_SKIP() << missing;
    ASSERT_EQ("", Shared::Get().Problem());
    folder_ = std::make_unique<ClientFolder>(scratch_.Path() + "/client");
    context_ = std::make_unique<ClientContext>(folder_.get());
    evaluation_ = std::make_unique<Evaluation>(Registry::Default(), context_.get());
    scope_ = std::make_unique<Evaluation::Scope>(*evaluation_);
  }
  void TearDown() override {
    survey::rpmtesting::KeepLibrpmLoaded();
    scope_.reset();
    evaluation_.reset();
    context_.reset();
    folder_.reset();
  }

  static std::string const& Root() { return Shared::Get().Root(); }
  static rpmdatabase Open(std::string const& root) {
    return rpmdatabase(reinterpret_cast<unsigned char const*>(root.data()), root.size());
  }
  ClientFolder& Folder() { return *folder_; }
  std::string StorageFolder() const { return scratch_.Path() + "/client/__QRVData"; }

  // Every package of the database, as "name<TAB>version<TAB>arch".
  static std::vector<std::string> OurListing(rpmdatabase const& database) {
    std::vector<std::string> lines;
    std::unique_ptr<RPMIterator> packages = database.Iterator();
    Stringy name, version, arch;
    try {
      packages->First(name, version, arch);
      for (;;) {
        lines.push_back(std::string(name.CString()) + "\t" + version.CString() + "\t" +
                        arch.CString());
        packages->Next(name, version, arch);
      }
    } catch (NoSuchObject const&) {
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  static std::string CapabilityText(CapabilityDef const& row) {
    std::string text = row.name.CString();
    if (!row.relation.IsEmpty()) text += std::string(" ") + row.relation.CString() + " " +
                                         row.version.CString();
    return text;
  }

  ScratchFolder scratch_;
  std::unique_ptr<ClientFolder> folder_;
  std::unique_ptr<ClientContext> context_;
  std::unique_ptr<Evaluation> evaluation_;
  std::unique_ptr<Evaluation::Scope> scope_;
};

constexpr char kRecordFormat[] = "--qf '%{NAME}\\t%{VERSION}-%{RELEASE}\\t%{ARCH}\\n'";

TEST_F(RpmDatabaseTest, EveryPackageIsListedAsRpmListsIt) {
  rpmdatabase const database = Open(Root());
  std::vector<std::string> const expected = RpmLines(Root(), std::string("-qa ") + kRecordFormat);
  ASSERT_EQ(static_cast<std::size_t>(kPackages + 2), expected.size());
  EXPECT_EQ(expected, OurListing(database));
}

TEST_F(RpmDatabaseTest, TheNamedIteratorGivesEveryVersionOfTheName) {
  rpmdatabase const database = Open(Root());
  std::vector<std::string> const expected =
      RpmLines(Root(), "-q --qf '%{VERSION}-%{RELEASE}\\t%{ARCH}\\n' twin");
  ASSERT_EQ(2u, expected.size());
  std::vector<std::string> ours;
  std::unique_ptr<RPMIterator> twins = database.NamedIterator("twin");
  Stringy version, arch;
  try {
    twins->First(version, arch);
    for (;;) {
      ours.push_back(std::string(version.CString()) + "\t" + arch.CString());
      twins->Next(version, arch);
    }
  } catch (NoSuchObject const&) {
  }
  std::sort(ours.begin(), ours.end());
  EXPECT_EQ(expected, ours);

  std::unique_ptr<RPMIterator> none = database.NamedIterator("no-such-package");
  EXPECT_THROW(none->First(version, arch), NoSuchObject);
}

TEST_F(RpmDatabaseTest, ANameWithItsVersionIsFoundAsRpmFindsIt) {
  rpmdatabase const database = Open(Root());
  for (std::string const label : {"twin-2.0", "twin-1.0-1", "pkg004-1.4"}) {
    SCOPED_TRACE(label);
    std::vector<std::string> const expected =
        RpmLines(Root(), "-q --qf '%{VERSION}-%{RELEASE}\\t%{ARCH}\\n' " + label);
    ASSERT_EQ(1u, expected.size());
    std::unique_ptr<RPMIterator> found = database.NamedIterator(label.c_str());
    Stringy version, arch;
    found->First(version, arch);
    EXPECT_EQ(expected[0], std::string(version.CString()) + "\t" + arch.CString());
    EXPECT_THROW(found->Next(version, arch), NoSuchObject);
  }
}

TEST_F(RpmDatabaseTest, ARecordByNameIsTheOneRpmQueries) {
  rpmdatabase const database = Open(Root());
  for (int i : {0, 1, 2, 3, 5, 99, 199}) {
    std::string const name = "pkg" + Number(i);
    std::vector<std::string> const expected =
        RpmLines(Root(), std::string("-q ") + kRecordFormat + " " + name);
    Stringy outName, version, arch;
    database.GetRecord(Stringy(name.c_str()), outName, version, arch);
    ASSERT_EQ(1u, expected.size());
    EXPECT_EQ(expected[0],
              std::string(outName.CString()) + "\t" + version.CString() + "\t" + arch.CString());
  }
  Stringy outName, version, arch;
  EXPECT_THROW(database.GetRecord("no-such-package", outName, version, arch), NoSuchObject);
  ASSERT_NE(0, RunShell("rpm --root " + Quoted(Root()) + " -q no-such-package >/dev/null 2>&1")
                   .status);
}

TEST_F(RpmDatabaseTest, CapabilitiesAreThoseRpmListsInOrder) {
  rpmdatabase const database = Open(Root());
  for (int i : {0, 1, 2, 3, 4, 5, 12, 150}) {
    std::string const name = "pkg" + Number(i);
    SCOPED_TRACE(name);
    std::string const version =
        Output("rpm --root " + Quoted(Root()) + " -q --qf '%{VERSION}-%{RELEASE}' " + name);
    CapabilityList rows;
    ASSERT_NO_THROW(
        database.GetPackageCapabilities(Stringy(name.c_str()), Stringy(version.c_str()), rows))
        << version;
    std::vector<std::string> ours[5];
    for (unsigned long row = 0; row < rows.Count(); ++row) {
      CapabilityDef const& capability = rows[row];
      ASSERT_GE(capability.type, 0);
      ASSERT_LE(capability.type, 4);
      EXPECT_TRUE(capability.fourth.IsEmpty());
      ours[capability.type].push_back(CapabilityText(capability));
      if (row > 0) {
        EXPECT_LE(rows[row - 1].type, capability.type) << "kinds come in order";
      }
    }
    char const* const queries[5] = {"--requires", "--provides", "--conflicts", "--obsoletes",
                                    "-l"};
    for (int kind = 0; kind < 5; ++kind) {
      std::string const text = Output("rpm --root " + Quoted(Root()) + " -q " + queries[kind] +
                                      " " + name + " 2>/dev/null");
      std::vector<std::string> expected;
      std::istringstream in(text);
      for (std::string line; std::getline(in, line);) {
        if (line != "(contains no files)") expected.push_back(line);
      }
      EXPECT_EQ(expected, ours[kind]) << queries[kind];
    }
  }
}

TEST_F(RpmDatabaseTest, AnotherVersionTextHasNoCapabilities) {
  rpmdatabase const database = Open(Root());
  CapabilityList rows;
  EXPECT_THROW(database.GetPackageCapabilities("pkg001", "0-0", rows), NoSuchObject);
  EXPECT_THROW(database.GetPackageCapabilities("no-such-package", "1-1", rows), NoSuchObject);
  EXPECT_EQ(0u, rows.Count());
}

TEST_F(RpmDatabaseTest, MatchingPackagesAreThoseRpmFinds) {
  rpmdatabase const database = Open(Root());
  struct Case {
    CapabilityType type;
    std::string name;
    std::string query;
  };
  std::vector<Case> const cases = {
      {eCapabilityProvide, "common-feature", "--whatprovides common-feature"},
      {eCapabilityProvide, "plaincap017", "--whatprovides plaincap017"},
      {eCapabilityProvide, "twin", "--whatprovides twin"},
      {eCapabilityRequire, "req3", "--whatrequires req3"},
      {eCapabilityRequire, "pkg010", "--whatrequires pkg010"},
      {eCapabilityConflict, "enemy2", "--whatconflicts enemy2"},
      {eCapabilityFile, "/opt/test/pkg007/sub dir/b c", "-f '/opt/test/pkg007/sub dir/b c'"},
      {eCapabilityFile, "/opt/twin/2", "-f /opt/twin/2"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.query);
    std::vector<std::string> const expected =
        RpmLines(Root(), "-q " + std::string(kRecordFormat) + " " + c.query);
    ASSERT_FALSE(expected.empty());
    PackageList found;
    database.GetPackageMatchingCapabilities(CapabilityDef(c.type, c.name.c_str(), "", "", ""),
                                            found);
    std::vector<std::string> ours;
    for (unsigned long i = 0; i < found.Count(); ++i) {
      ours.push_back(std::string(found[i].name.CString()) + "\t" + found[i].version.CString() +
                     "\t" + found[i].architecture.CString());
    }
    std::sort(ours.begin(), ours.end());
    EXPECT_EQ(expected, ours);
  }
}

TEST_F(RpmDatabaseTest, MatchesAlreadyHeldAreNotAddedAgain) {
  rpmdatabase const database = Open(Root());
  PackageList found;
  CapabilityDef const wanted(eCapabilityProvide, "plaincap017", "", "", "");
  database.GetPackageMatchingCapabilities(wanted, found);
  database.GetPackageMatchingCapabilities(wanted, found);
  EXPECT_EQ(1u, found.Count());
}

TEST_F(RpmDatabaseTest, NothingMatchesAnObsoleteOrAnUnknownCapability) {
  rpmdatabase const database = Open(Root());
  PackageList found;
  EXPECT_THROW(database.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityObsolete, "old000", "", "", ""), found),
               NoSuchObject);
  EXPECT_THROW(database.GetPackageMatchingCapabilities(
                   CapabilityDef(eCapabilityProvide, "nothing-provides-this", "", "", ""), found),
               NoSuchObject);
  EXPECT_EQ(0u, found.Count());
}

// The features of librpm itself, as "rpm --showrc" lists them.
std::vector<std::pair<std::string, std::string>> RpmlibFeatures() {
  std::vector<std::pair<std::string, std::string>> features;
  std::istringstream in(Output("rpm --showrc 2>/dev/null"));
  bool inside = false;
  for (std::string line; std::getline(in, line);) {
    if (line.find("Features supported by rpmlib") != std::string::npos) {
      inside = true;
      continue;
    }
    if (!inside) continue;
    std::istringstream words(line);
    std::string name, relation, version;
    if (!(words >> name >> relation >> version) || name.rfind("rpmlib(", 0) != 0) break;
    features.emplace_back(name, version);
  }
  return features;
}

TEST_F(RpmDatabaseTest, LibraryFeaturesAreThoseRpmShows) {
  rpmdatabase const database = Open(Root());
  auto const features = RpmlibFeatures();
  ASSERT_FALSE(features.empty());
  for (auto const& [name, version] : features) {
    EXPECT_TRUE(database.CheckRpmlibProvides(
        CapabilityDef(eCapabilityRequire, name.c_str(), ">", version.c_str(), "")))
        << name << " " << version;
  }
  EXPECT_FALSE(database.CheckRpmlibProvides(
      CapabilityDef(eCapabilityRequire, "rpmlib(NoSuchFeatureAtAll)", "", "1.0", "")));
  EXPECT_FALSE(database.CheckRpmlibProvides(
      CapabilityDef(eCapabilityRequire, features[0].first.c_str(), "", "999999", "")));
}

TEST_F(RpmDatabaseTest, AnIteratorOutlivesTheValueThatMadeIt) {
  std::unique_ptr<RPMIterator> packages;
  {
    rpmdatabase const database = Open(Root());
    packages = database.Iterator();
  }
  Stringy name, version, arch;
  int count = 0;
  try {
    packages->First(name, version, arch);
    for (;;) {
      ++count;
      packages->Next(name, version, arch);
    }
  } catch (NoSuchObject const&) {
  }
  EXPECT_EQ(kPackages + 2, count);
}

TEST_F(RpmDatabaseTest, TwoHeldObjectsShareTheDatabaseAndASecondRootIsRefused) {
  ScratchFolder other("survey-rpm-other");
  std::string const otherRoot = other.Path() + "/root";
  RunShell("mkdir -p " + Quoted(otherRoot) + " && rpm --root " + Quoted(otherRoot) +
           " --initdb 2>/dev/null");
  {
    rpmdatabase const first = Open(Root());
    rpmdatabase const second = Open(Root());
    EXPECT_EQ(OurListing(first), OurListing(second));
    try {
      Open(otherRoot);
      ADD_FAILURE() << "a second root path was accepted";
    } catch (RPM4::MismatchedPath const& refusal) {
      surveyor_string const message = refusal.Message();
      EXPECT_EQ("Cannot open two different rpm databases at the same time.",
                std::string(reinterpret_cast<char const*>(message.data), message.length));
    }
  }
  // Released, the other root opens, and holds no packages.
  rpmdatabase const again = Open(otherRoot);
  EXPECT_TRUE(OurListing(again).empty());
  EXPECT_TRUE(RpmLines(otherRoot, "-qa").empty());
}

TEST_F(RpmDatabaseTest, DatabasesThatCannotBeOpenedAreNotThereAndNothingIsWritten) {
  ScratchFolder bad("survey-rpm-bad");
  std::string const base = bad.Path();
  std::string dbpath = Output("rpm --eval '%{_dbpath}'");
  while (!dbpath.empty() && dbpath.back() == '\n') dbpath.pop_back();
  ASSERT_FALSE(dbpath.empty());
  // An empty root, a root whose database folder is empty, a damaged
  // database, a file in place of a root, a root that does not exist, and a
  // relative root.
  RunShell("mkdir -p " + Quoted(base + "/empty") + " " + Quoted(base + "/emptydb" + dbpath) + " " +
           Quoted(base + "/damaged" + dbpath));
  RunShell("head -c 65536 /dev/urandom > " + Quoted(base + "/damaged" + dbpath + "/rpmdb.sqlite"));
  RunShell("echo not a folder > " + Quoted(base + "/file"));
  std::string const before = Listing(base) + Output("cd " + Quoted(base) + " && find . -type f -exec sha1sum {} + | sort");
  for (std::string const& root : {base + "/empty", base + "/emptydb", base + "/file",
                                 base + "/missing", std::string("relative/root")}) {
    SCOPED_TRACE(root);
    EXPECT_THROW(Open(root), NoSuchObject);
  }
  // The damaged one is not a crash: it cannot be opened, or it holds nothing
  // that can be read.
  try {
    rpmdatabase const damaged = Open(base + "/damaged");
    std::vector<std::string> const listed = OurListing(damaged);
    EXPECT_TRUE(listed.empty());
  } catch (NoSuchObject const&) {
  }
  EXPECT_EQ(before, Listing(base) + Output("cd " + Quoted(base) + " && find . -type f -exec sha1sum {} + | sort"));
}

TEST_F(RpmDatabaseTest, ReadingADatabaseWritesNothingInIt) {
  std::string const before = Listing(Root());
  {
    rpmdatabase const database = Open(Root());
    OurListing(database);
    PackageList found;
    database.GetPackageMatchingCapabilities(
        CapabilityDef(eCapabilityProvide, "common-feature", "", "", ""), found);
  }
  EXPECT_EQ(before, Listing(Root()));
}

TEST_F(RpmDatabaseTest, TheSettingSwitchesTheSubsystemOff) {
  using survey::client::SettingRecord;
  using survey::client::SettingScope;
  Folder().Records().SetSetting(SettingRecord{SettingScope::kClient, "Client",
                                              "_QRVClient_Surveyor_DisableRPM", "1", {}, false});
  EXPECT_TRUE(RPMSurveyorsDisabled());
  EXPECT_THROW(Open(Root()), NoSuchObject);
  Folder().Records().SetSetting(SettingRecord{SettingScope::kClient, "Client",
                                              "_QRVClient_Surveyor_DisableRPM", "0", {}, false});
  EXPECT_FALSE(RPMSurveyorsDisabled());
  EXPECT_NO_THROW(Open(Root()));
}

}  // namespace
