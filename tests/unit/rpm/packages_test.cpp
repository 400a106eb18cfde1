// Packages of a package database, on a database made by the tests: about
// two hundred packages built by rpmbuild from generated build recipes and
// installed as records only. Every listing is compared with what the
// package manager prints for the same root at test time.

#include "survey/rpm/packages.h"

#include <glob.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/rpm_packages.h"
#include "tests/support/shell.h"
#include "tests/unit/values/query_support.h"

namespace {

using survey::testing::AskWithHome;
using survey::testing::HavePackageTools;
using survey::testing::PackageRoot;
using survey::testing::QueryAnswer;
using survey::testing::RunShell;
using survey::testing::ShellResult;
using survey::testing::TestPackage;
using survey::values::testing::Lines;
using survey::values::testing::Literal;

// Whether a librpm of this build's own architecture is on the machine: the
// 32-bit build has none here.
bool HaveLibraryOfThisArchitecture() {
  char const* const pattern = sizeof(void*) == 4 ? "/usr/lib/i386-linux-gnu/librpm.so.*"
                                                 : "/usr/lib/x86_64-linux-gnu/librpm.so.*";
  glob_t found;
  bool const any = glob(pattern, 0, nullptr, &found) == 0 && found.gl_pathc > 0;
  globfree(&found);
  if (any) return true;
  return sizeof(void*) == 8 && RunShell("ls /usr/lib*/librpm.so.* >/dev/null 2>&1").status == 0;
}

// The packages of the database: named ones with the cases the phrases turn
// on, and generated ones for the listings.
std::vector<TestPackage> Packages() {
  std::vector<TestPackage> packages;
  TestPackage alpha;
  alpha.name = "alpha";
  alpha.version = "1.0~rc1";
  alpha.release = "2";
  alpha.epoch = "3";
  alpha.provides = {"alpha-feature = 2.0", "bare-feature", "shared-feature = 1.5"};
  alpha.requirements = {"beta >= 1.0", "libgamma", "feature-x = 1"};
  alpha.conflicts = {"gamma < 2", "delta"};
  alpha.obsoletes = {"old-alpha <= 0.9", "older-alpha"};
  alpha.files = {"/opt/alpha/bin/tool", "/opt/alpha/share/doc.txt", "/opt/with space/file"};
  packages.push_back(alpha);

  TestPackage beta;
  beta.name = "beta";
  beta.version = "1.5";
  beta.release = "1.el9";
  beta.noarch = false;
  beta.provides = {"feature-x = 1", "shared-feature = 2.5"};
  beta.requirements = {"alpha-feature >= 2.0", "bare-feature"};
  beta.conflicts = {"gamma"};
  beta.files = {"/opt/beta/lib/b.so"};
  packages.push_back(beta);

  TestPackage gamma;
  gamma.name = "gamma";
  gamma.version = "2.0^git5";
  gamma.release = "0.1";
  gamma.provides = {"foo = 1"};
  gamma.requirements = {"alpha-feature > 2.0"};
  packages.push_back(gamma);

  for (char const* version : {"1.0", "2.0^post1"}) {
    TestPackage twin;
    twin.name = "twin";
    twin.version = version;
    twin.release = "4";
    twin.files = {std::string("/opt/twin-") + version + "/file"};
    packages.push_back(twin);
  }

  std::mt19937 random(7);
  static char const* const kRuns[] = {"0", "1", "2", "10", "007", "rc1", "a", "beta"};
  static char const* const kSeparators[] = {".", ".", "~", "^", "_", "+"};
  auto pick = [&random](auto const& table) {
    std::uniform_int_distribution<std::size_t> index(0, std::size(table) - 1);
    return std::string(table[index(random)]);
  };
  for (int i = 0; i < 200; ++i) {
    TestPackage generated;
    char name[16];
    std::snprintf(name, sizeof name, "pkg%03d", i);
    generated.name = name;
    generated.version = std::to_string(i % 7);
    int const runs = static_cast<int>(random() % 3);
    for (int r = 0; r < runs; ++r) generated.version += pick(kSeparators) + pick(kRuns);
    generated.release = std::to_string(1 + random() % 20) + (random() % 4 == 0 ? ".fc1" : "");
    if (random() % 4 == 0) generated.epoch = std::to_string(random() % 5);
    generated.noarch = random() % 5 != 0;
    if (random() % 2 == 0) generated.provides.push_back("cap-" + std::to_string(i % 13) + " = 1");
    if (random() % 3 == 0) generated.provides.push_back("bare-" + std::to_string(i % 11));
    if (random() % 2 == 0) {
      generated.requirements.push_back("cap-" + std::to_string(random() % 13) + " >= 1");
    }
    if (random() % 5 == 0) generated.conflicts.push_back("pkg" + std::to_string(random() % 50));
    if (random() % 6 == 0) generated.obsoletes.push_back("gone-" + std::to_string(i));
    if (random() % 2 == 0) generated.files.push_back("/opt/" + generated.name + "/data");
    packages.push_back(generated);
  }
  return packages;
}

class PackagesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!HavePackageTools()) {
      skipReason_ = "rpm and rpmbuild are not installed";
      return;
    }
    if (!HaveLibraryOfThisArchitecture()) {
      skipReason_ = "no librpm of this build's architecture is installed on this machine";
      return;
    }
    root_ = std::make_unique<PackageRoot>(Packages());
  }
  static void TearDownTestSuite() { root_.reset(); }

  void SetUp() override {
    if (!skipReason_.empty()) GTEST_SKIP() << skipReason_;
    ASSERT_TRUE(root_->Built());
  }

  // "rpm ROOT" in the query language.
  static std::string Rpm() { return "rpm " + Literal(root_->Root()); }

  static std::vector<std::string> RpmLines(std::string const& arguments) {
    ShellResult const run = root_->Rpm(arguments);
    std::vector<std::string> lines;
    for (std::string const& line : Lines(run.output)) {
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }

  static std::vector<QueryAnswer> Ask(std::vector<std::string> const& queries) {
    return AskWithHome(*root_, queries);
  }

  static std::vector<std::string> Sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  static std::unique_ptr<PackageRoot> root_;
  static std::string skipReason_;
};

std::unique_ptr<PackageRoot> PackagesTest::root_;
std::string PackagesTest::skipReason_;

// ---------------------------------------------------------------------------
// Listings.

TEST_F(PackagesTest, EveryPackageAsThePackageManagerListsIt) {
  std::vector<std::string> const names = RpmLines("-qa --qf '%{NAME}\\n'");
  ASSERT_GT(names.size(), 200u);
  std::vector<QueryAnswer> const answers = Ask({
      "names of packages of " + Rpm(),
      "versions of packages of " + Rpm(),
      "architectures of packages of " + Rpm(),
      "packages of " + Rpm(),
  });
  // The library's iterator gives the packages in the order the package
  // manager lists them.
  EXPECT_EQ(names, answers[0].values);
  EXPECT_EQ(RpmLines("-qa --qf '%{VERSION}-%{RELEASE}\\n'"), answers[1].values);
  EXPECT_EQ(RpmLines("-qa --qf '%{ARCH}\\n'"), answers[2].values);
  EXPECT_EQ(RpmLines("-qa --qf '%{NAME}-%{VERSION}-%{RELEASE}\\n'"), answers[3].values);
  std::set<std::string> const types(answers[3].types.begin(), answers[3].types.end());
  EXPECT_EQ(std::set<std::string>{"package"}, types);
  std::set<std::string> const arches(answers[2].values.begin(), answers[2].values.end());
  EXPECT_GE(arches.size(), 2u) << "both noarch and native packages";
}

TEST_F(PackagesTest, ThePackagesOfANameOnePerInstance) {
  std::vector<QueryAnswer> const answers = Ask({
      "versions of packages \"twin\" of " + Rpm(),
      "names of packages \"twin\" of " + Rpm(),
      "package \"alpha\" of " + Rpm(),
      "versions of packages \"absent\" of " + Rpm(),
      "architecture of package \"beta\" of " + Rpm(),
  });
  std::vector<std::string> const versions = RpmLines("-q twin --qf '%{VERSION}-%{RELEASE}\\n'");
  ASSERT_EQ(2u, versions.size());
  EXPECT_EQ(versions, answers[0].values);
  EXPECT_EQ((std::vector<std::string>{"twin", "twin"}), answers[1].values);
  // As a string: name, version and release, without the architecture.
  EXPECT_EQ(RpmLines("-q alpha --qf '%{NAME}-%{VERSION}-%{RELEASE}\\n'"), answers[2].values);
  EXPECT_TRUE(answers[3].values.empty());
  EXPECT_EQ(RpmLines("-q beta --qf '%{ARCH}\\n'"), answers[4].values);
}

TEST_F(PackagesTest, VersionsOfPackagesAreVersionValues) {
  std::vector<QueryAnswer> const answers = Ask({"version of package \"gamma\" of " + Rpm()});
  ASSERT_EQ(1u, answers[0].types.size());
  EXPECT_EQ("version", answers[0].types[0]);
  EXPECT_EQ(RpmLines("-q gamma --qf '%{VERSION}-%{RELEASE}\\n'"), answers[0].values);
}

// ---------------------------------------------------------------------------
// Capability lists.

TEST_F(PackagesTest, CapabilityListsAsThePackageManagerPrintsThem) {
  std::vector<std::string> names = {"alpha", "beta", "gamma"};
  for (int i = 0; i < 200; i += 17) {
    char name[16];
    std::snprintf(name, sizeof name, "pkg%03d", i);
    names.push_back(name);
  }
  struct Kind {
    char const* phrase;
    char const* option;
  };
  Kind const kinds[] = {{"provides", "--provides"},
                        {"requires", "--requires"},
                        {"conflicts", "--conflicts"},
                        {"obsoletes", "--obsoletes"}};
  std::vector<std::string> queries;
  for (std::string const& name : names) {
    for (Kind const& kind : kinds) {
      queries.push_back(std::string(kind.phrase) + " of package " + Literal(name) + " of " + Rpm());
    }
    queries.push_back("installed files of package " + Literal(name) + " of " + Rpm());
  }
  std::vector<QueryAnswer> const answers = Ask(queries);
  std::size_t at = 0;
  unsigned nonEmpty = 0;
  for (std::string const& name : names) {
    for (Kind const& kind : kinds) {
      std::vector<std::string> const expected =
          RpmLines(std::string("-q ") + kind.option + " " + name);
      EXPECT_EQ(expected, answers[at].values) << queries[at];
      if (!expected.empty()) ++nonEmpty;
      ++at;
    }
    std::vector<std::string> files = RpmLines("-ql " + name);
    if (files.size() == 1 && files[0] == "(contains no files)") files.clear();
    EXPECT_EQ(files, answers[at].values) << queries[at];
    ++at;
  }
  EXPECT_GT(nonEmpty, names.size());
}

TEST_F(PackagesTest, RequiresWithoutRelationAreBareCapabilities) {
  std::vector<QueryAnswer> const answers = Ask({
      "versions of requires of package \"alpha\" of " + Rpm(),
      "names of requires of package \"alpha\" of " + Rpm(),
      "relations of conflicts of package \"alpha\" of " + Rpm(),
  });
  // Of the requires beta >= 1.0, libgamma and feature-x = 1 (and the
  // library's own), libgamma alone has no version.
  std::vector<std::string> versions;
  for (std::string const& line : RpmLines("-q --requires alpha")) {
    std::string::size_type const blank = line.find(' ');
    if (blank != std::string::npos) versions.push_back(line.substr(line.find(' ', blank + 1) + 1));
  }
  EXPECT_EQ(versions, answers[0].values);
  std::vector<std::string> names;
  for (std::string const& line : RpmLines("-q --requires alpha")) {
    names.push_back(line.substr(0, line.find(' ')));
  }
  EXPECT_EQ(names, answers[1].values);
  EXPECT_NE(std::find(names.begin(), names.end(), "libgamma"), names.end());
  EXPECT_EQ(std::vector<std::string>{"<"}, answers[2].values);
}

// ---------------------------------------------------------------------------
// Reverse queries.

std::string CapabilityOf(std::string const& text) { return "(capability " + Literal(text) + ")"; }

TEST_F(PackagesTest, PackagesProvidingRequiringConflictingAndInstalling) {
  struct Case {
    char const* phrase;
    std::string text;
    std::string rpmArguments;
  };
  std::vector<Case> cases = {
      {"packages providing", "feature-x", "-q --whatprovides feature-x"},
      {"packages providing", "shared-feature", "-q --whatprovides shared-feature"},
      {"packages providing", "alpha", "-q --whatprovides alpha"},
      {"packages providing", "cap-3", "-q --whatprovides cap-3"},
      {"packages providing", "bare-4", "-q --whatprovides bare-4"},
      {"packages requiring", "alpha-feature", "-q --whatrequires alpha-feature"},
      {"packages requiring", "cap-5", "-q --whatrequires cap-5"},
      {"packages requiring", "bare-feature", "-q --whatrequires bare-feature"},
      {"packages conflicting with", "gamma", "-q --whatconflicts gamma"},
      {"packages conflicting with", "pkg7", "-q --whatconflicts pkg7"},
      {"packages installing", "/opt/alpha/bin/tool", "-qf /opt/alpha/bin/tool"},
      {"packages installing", "/opt/with space/file", "-qf '/opt/with space/file'"},
      {"packages installing", "/opt/twin-1.0/file", "-qf /opt/twin-1.0/file"},
  };
  std::vector<std::string> queries;
  for (Case const& c : cases) {
    queries.push_back("(" + std::string(c.phrase) + " " + CapabilityOf(c.text) + " of " + Rpm() +
                      ") as string");
  }
  std::vector<QueryAnswer> const answers = Ask(queries);
  for (std::size_t i = 0; i < cases.size(); ++i) {
    std::vector<std::string> expected =
        RpmLines(cases[i].rpmArguments + " --qf '%{NAME}-%{VERSION}-%{RELEASE}\\n'");
    ASSERT_FALSE(expected.empty()) << cases[i].rpmArguments;
    EXPECT_EQ(Sorted(expected), Sorted(answers[i].values)) << queries[i];
  }
}

TEST_F(PackagesTest, ReverseQueriesTestTheRelationOnEachRow) {
  // The index gives every package with a row of the name; the rows' own
  // versions then decide. alpha provides alpha-feature = 2.0 and
  // shared-feature = 1.5, beta shared-feature = 2.5, gamma foo = 1.
  std::vector<QueryAnswer> const answers = Ask({
      "names of packages providing " + CapabilityOf("shared-feature >= 2") + " of " + Rpm(),
      "names of packages providing " + CapabilityOf("shared-feature < 2") + " of " + Rpm(),
      "names of packages providing " + CapabilityOf("shared-feature > 9") + " of " + Rpm(),
      "names of packages requiring " + CapabilityOf("alpha-feature = 2.0") + " of " + Rpm(),
      "names of packages requiring " + CapabilityOf("alpha-feature = 3") + " of " + Rpm(),
  });
  // The package manager names the candidates; the expected answers pick
  // among them by the rows that it prints.
  EXPECT_EQ(Sorted(RpmLines("-q --whatprovides shared-feature --qf '%{NAME}\\n'")),
            (std::vector<std::string>{"alpha", "beta"}));
  EXPECT_EQ((std::vector<std::string>{"beta"}), answers[0].values);
  EXPECT_EQ((std::vector<std::string>{"alpha"}), answers[1].values);
  EXPECT_TRUE(answers[2].values.empty());
  // beta requires alpha-feature >= 2.0 and gamma alpha-feature > 2.0.
  EXPECT_EQ((std::vector<std::string>{"beta"}), answers[3].values);
  EXPECT_EQ(Sorted(RpmLines("-q --whatrequires alpha-feature --qf '%{NAME}\\n'")),
            Sorted(answers[4].values));
}

// ---------------------------------------------------------------------------
// The installed test.

TEST_F(PackagesTest, InstalledAsThePackageManagerAnswersForNames) {
  std::vector<std::string> names = {"alpha", "beta", "gamma", "twin", "absent", "pkg",
                                    "alpha-feature", "old-alpha", "pkg200", "Alpha"};
  for (int i = 0; i < 200; i += 3) {
    char name[16];
    std::snprintf(name, sizeof name, "pkg%03d", i);
    names.push_back(name);
  }
  std::vector<std::string> queries;
  for (std::string const& name : names) {
    queries.push_back("installed " + Literal(name) + " of " + Rpm());
  }
  std::vector<QueryAnswer> const answers = Ask(queries);
  for (std::size_t i = 0; i < names.size(); ++i) {
    // A name counts as installed when a package provides it, as its own
    // name always is.
    bool const byName = root_->Rpm("-q " + names[i]).status == 0;
    bool const provided = root_->Rpm("-q --whatprovides " + names[i]).status == 0;
    EXPECT_EQ(byName || provided ? "True" : "False",
              answers[i].values.empty() ? "(none)" : answers[i].values[0])
        << queries[i];
  }
}

TEST_F(PackagesTest, InstalledPathsVersionsAndTheLibrarysOwnFeatures) {
  // The features that librpm itself provides, as the package manager lists
  // them.
  ShellResult const showrc = RunShell("rpm --showrc 2>/dev/null");
  std::vector<std::string> features;
  bool inFeatures = false;
  for (std::string const& line : Lines(showrc.output)) {
    if (line.find("Features supported by rpmlib") != std::string::npos) {
      inFeatures = true;
      continue;
    }
    if (inFeatures) {
      std::string::size_type const start = line.find("rpmlib(");
      if (start == std::string::npos) break;
      features.push_back(line.substr(start, line.find(')', start) - start + 1));
    }
  }
  ASSERT_GT(features.size(), 3u);
  std::vector<std::string> queries = {
      "installed " + Literal("/opt/alpha/bin/tool") + " of " + Rpm(),
      "installed " + Literal("/opt/with space/file") + " of " + Rpm(),
      "installed " + Literal("/opt/alpha/bin/none") + " of " + Rpm(),
      "installed " + Literal("foo = 1") + " of " + Rpm(),
      "installed " + Literal("foo >= 2") + " of " + Rpm(),
      "installed " + Literal("alpha-feature >= 2") + " of " + Rpm(),
      "installed " + Literal("") + " of " + Rpm(),
      "installed " + Literal("rpmlib(NoSuchFeatureHere)") + " of " + Rpm(),
      "capability " + Literal("foo = 1") + " of " + Rpm() + " as string",
      "capability " + Literal("foo >= 2") + " of " + Rpm(),
  };
  for (std::string const& feature : features) {
    queries.push_back("installed " + Literal(feature) + " of " + Rpm());
  }
  std::vector<QueryAnswer> const answers = Ask(queries);
  auto answer = [&answers](std::size_t i) {
    return answers[i].values.empty() ? std::string("(none)") : answers[i].values[0];
  };
  EXPECT_EQ(root_->Rpm("-qf /opt/alpha/bin/tool").status == 0 ? "True" : "False", answer(0));
  EXPECT_EQ(root_->Rpm("-qf '/opt/with space/file'").status == 0 ? "True" : "False", answer(1));
  EXPECT_EQ(root_->Rpm("-qf /opt/alpha/bin/none").status == 0 ? "True" : "False", answer(2));
  // gamma provides foo = 1 and nothing else of that name.
  ASSERT_EQ(std::vector<std::string>{"foo = 1"}, RpmLines("-q --provides gamma | grep '^foo'"));
  EXPECT_EQ("True", answer(3));
  EXPECT_EQ("False", answer(4));
  EXPECT_EQ("True", answer(5));
  // An empty text is no capability: no answer at all, not false.
  EXPECT_TRUE(answers[6].values.empty());
  EXPECT_EQ("False", answer(7));
  EXPECT_EQ("foo = 1", answer(8));
  EXPECT_TRUE(answers[9].values.empty());
  for (std::size_t i = 0; i < features.size(); ++i) {
    EXPECT_EQ("True", answer(10 + i)) << features[i];
  }
}

}  // namespace

namespace {

// ---------------------------------------------------------------------------
// Bad input: no crash, no answer, and nothing written.

TEST_F(PackagesTest, NamesWithBlanksAndRootsThatAreNoDatabase) {
  survey::testing::ScratchFolder scratch("survey-rpm-bad");
  std::string const file = scratch.Path() + "/plain-file";
  std::ofstream(file) << "not a folder\n";
  std::string const missing = scratch.Path() + "/missing";
  std::string const empty = scratch.Path() + "/empty";
  RunShell("mkdir " + survey::testing::Quoted(empty));
  std::vector<QueryAnswer> const answers = Ask({
      "packages " + Literal("alpha beta") + " of " + Rpm(),
      "installed " + Literal("alpha beta") + " of " + Rpm(),
      "names of packages of rpm " + Literal(missing),
      "names of packages of rpm " + Literal(file),
      "names of packages of rpm " + Literal(empty),
      "installed " + Literal("alpha") + " of rpm " + Literal(missing),
  });
  // "alpha beta" reads as the name alpha and the relation "beta", which is
  // no relation: the text is refused.
  EXPECT_TRUE(answers[0].values.empty());
  EXPECT_TRUE(answers[1].values.empty());
  for (std::size_t i = 2; i < answers.size(); ++i) EXPECT_TRUE(answers[i].values.empty()) << i;
  // Nothing was made under the roots that hold no database.
  EXPECT_EQ("", survey::testing::Output("ls -A " + survey::testing::Quoted(empty)));
  EXPECT_NE(0, RunShell("test -e " + survey::testing::Quoted(missing)).status);
}

}  // namespace
