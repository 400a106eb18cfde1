// Real package databases for the RPM tests: small packages built with
// rpmbuild from a generated build recipe and installed, database only, under a
// root folder of the test's own. What is in them is then read back with the
// machine's rpm command, which is the oracle of every listing test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/shell.h"

namespace survey::rpmtesting {

// One package to build. An empty epoch has none; `noarch` packages have the
// architecture "noarch", the others the build machine's.
struct PackageToBuild {
  std::string name;
  std::string epoch;
  std::string version;
  std::string release;
  bool noarch = true;
  std::vector<std::string> provides;
  std::vector<std::string> requires_;
  std::vector<std::string> conflicts;
  std::vector<std::string> obsoletes;
  std::vector<std::string> files;  // absolute paths
};

// Quotes a text for /bin/sh.
inline std::string Quoted(std::string const& text) {
  std::string quoted = "'";
  for (char const c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// Why the machine cannot make or read a package database for this build, or
// "" when it can.
std::string MissingForRpm();

// Builds the packages (the first as the main package, the others as its
// subpackages) in `work` and installs them all into the database under
// `root`. Returns "" or what went wrong.
std::string MakeDatabase(std::string const& work, std::string const& root,
                         std::vector<PackageToBuild> const& packages);

// The lines that rpm prints for `arguments` on the database under `root`,
// sorted; standard error is dropped.
std::vector<std::string> RpmLines(std::string const& root, std::string const& arguments);

// The lines of a text, sorted.
std::vector<std::string> SortedLines(std::string const& text);

// Every path under `folder` with its kind, for tests that nothing was
// written: "find" prints them, sorted.
std::string Listing(std::string const& folder);

// Keeps the stub, once loaded, and librpm behind it in the process until it
// ends, so that the leak checker of the sanitizer builds still knows them by
// name when it runs at exit.
void KeepLibrpmLoaded();

}  // namespace survey::rpmtesting

// Skips the test, with the reason, when the machine cannot serve it.
#define SKIP_WITHOUT_RPM()                                                  \
  do {                                                                      \
    std::string const missing = ::survey::rpmtesting::MissingForRpm();      \
    if (!missing.empty()) GTEST_SKIP() << missing;                          \
  } while (false)
