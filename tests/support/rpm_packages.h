// Package databases of a test's own: packages described here are built by
// rpmbuild from generated build recipes and installed, as database records
// only, into a root folder of the test's, where the package manager itself
// and the command are both asked about them.
//
// The database's place under the root follows the package manager's
// configuration, which on some machines depends on the home folder; so the
// package manager and the command are always run with the same home folder,
// the one the root keeps.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::testing {

// One package to build. rpmbuild requires a release; the epoch is left out
// when empty. Capability texts are "name", or "name REL
// version". Files are absolute paths, each made with one line of text.
struct TestPackage {
  std::string name;
  std::string version;
  std::string release = "1";
  std::string epoch;
  bool noarch = true;
  std::vector<std::string> provides;
  std::vector<std::string> requirements;
  std::vector<std::string> conflicts;
  std::vector<std::string> obsoletes;
  std::vector<std::string> files;
};

inline std::string Quoted(std::string const& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

inline bool HavePackageTools() {
  return RunShell("command -v rpm >/dev/null 2>&1 && command -v rpmbuild >/dev/null 2>&1")
             .status == 0;
}

// A root folder with a package database, and a home folder for the tools.
class PackageRoot {
 public:
  explicit PackageRoot(std::vector<TestPackage> const& packages)
      : folder_("survey-rpm-root"),
        root_(folder_.Path() + "/root"),
        home_(folder_.Path() + "/home"),
        build_(folder_.Path() + "/build") {
    RunShell("mkdir -p " + Quoted(root_) + " " + Quoted(home_) + " " + Quoted(build_));
    built_ = Build(packages);
  }

  // Whether every package was built and installed.
  bool Built() const { return built_; }
  std::string const& Root() const { return root_; }
  std::string const& Home() const { return home_; }

  // A shell command run in a clean environment with this root's home folder.
  std::string WithHome(std::string const& command) const {
    return "cd / && env -i PATH=/usr/bin:/bin TZ=UTC HOME=" + Quoted(home_) + " sh -c " +
           Quoted(command);
  }

  // What the package manager prints for these arguments, after "--root ROOT".
  ShellResult Rpm(std::string const& arguments) const {
    return RunShell(WithHome("rpm --root " + Quoted(root_) + " " + arguments + " 2>/dev/null"));
  }

 private:
  static std::string RecipeSection(TestPackage const& package, bool main) {
    std::string text;
    if (main) {
      text += "Name: " + package.name + "\n";
    } else {
      text += "%package -n " + package.name + "\n";
    }
    text += "Version: " + package.version + "\n";
    text += "Release: " + package.release + "\n";
    if (!package.epoch.empty()) text += "Epoch: " + package.epoch + "\n";
    text += "Summary: generated package\n";
    if (main) {
      text += "License: none\n";
      if (package.noarch) text += "BuildArch: noarch\n";
    }
    for (auto const& item : package.provides) text += "Provides: " + item + "\n";
    for (auto const& item : package.requirements) text += "Requires: " + item + "\n";
    for (auto const& item : package.conflicts) text += "Conflicts: " + item + "\n";
    for (auto const& item : package.obsoletes) text += "Obsoletes: " + item + "\n";
    text += main ? "%description\n" : "%description -n " + package.name + "\n";
    text += "generated package\n";
    return text;
  }

  // One build recipe for packages of distinct names and of one architecture:
  // the first is the main package and the others are its sub-packages, each
  // with its own version, release and epoch.
  static std::string RecipeText(std::vector<TestPackage const*> const& group) {
    std::string text = "%define debug_package %{nil}\n";
    text += RecipeSection(*group[0], true);
    for (std::size_t i = 1; i < group.size(); ++i) text += RecipeSection(*group[i], false);
    text += "%install\n";
    for (TestPackage const* package : group) {
      for (auto const& file : package->files) {
        std::string::size_type const slash = file.rfind('/');
        text += "mkdir -p \"%{buildroot}" + file.substr(0, slash) + "\"\n";
        text += "echo " + package->name + " > \"%{buildroot}" + file + "\"\n";
      }
    }
    for (std::size_t i = 0; i < group.size(); ++i) {
      text += i == 0 ? std::string("%files\n") : "%files -n " + group[i]->name + "\n";
      for (auto const& file : group[i]->files) text += "\"" + file + "\"\n";
    }
    return text;
  }

  bool Build(std::vector<TestPackage> const& packages) {
    // Packages go into groups of distinct names per architecture kind: a
    // second package of a name goes into a later group.
    std::vector<std::vector<TestPackage const*>> groups;
    std::vector<std::set<std::string>> names;
    std::vector<bool> noarch;
    for (TestPackage const& package : packages) {
      std::size_t g = 0;
      while (g < groups.size() &&
             (noarch[g] != package.noarch || names[g].count(package.name) != 0)) {
        ++g;
      }
      if (g == groups.size()) {
        groups.emplace_back();
        names.emplace_back();
        noarch.push_back(package.noarch);
      }
      groups[g].push_back(&package);
      names[g].insert(package.name);
    }
    std::string const top = build_ + "/top";
    for (std::size_t g = 0; g < groups.size(); ++g) {
      std::string const recipe = build_ + "/group" + std::to_string(g) + ".recipe";
      std::ofstream(recipe) << RecipeText(groups[g]);
      ShellResult const run = RunShell(WithHome(
          "rpmbuild -bb --quiet --define " + Quoted("_topdir " + top) + " --define " +
          Quoted("_build_id_links none") + " --define " + Quoted("_binary_payload w0.gzdio") +
          " " + Quoted(recipe) + " >" + Quoted(build_ + "/rpmbuild.log") + " 2>&1"));
      if (run.status != 0) {
        ADD_FAILURE() << "rpmbuild failed on " << recipe << ": " << Output("cat " + Quoted(build_ + "/rpmbuild.log"));
        return false;
      }
    }
    ShellResult const install = RunShell(WithHome(
        "rpm --root " + Quoted(root_) + " --initdb && find " + Quoted(top + "/RPMS") +
        " -name '*.rpm' -print0 | xargs -0 rpm --root " + Quoted(root_) +
        " -i --nodeps --justdb --noscripts --ignorearch --ignoreos --replacefiles "
        "--replacepkgs --excludedocs >" +
        Quoted(build_ + "/install.log") + " 2>&1"));
    if (install.status != 0) {
      ADD_FAILURE() << "rpm -i failed: " << Output("cat " + Quoted(build_ + "/install.log"));
      return false;
    }
    return true;
  }

  ScratchFolder folder_;
  std::string root_;
  std::string home_;
  std::string build_;
  bool built_ = false;
};

// What one query of the command gave.
using QueryAnswer = CommandAnswer;

// Runs the command once on all the queries, with the root's home folder,
// and reads one JSON answer per query.
inline std::vector<QueryAnswer> AskWithHome(PackageRoot const& root,
                                            std::vector<std::string> const& queries) {
  std::string const settings = SanitizerSettings();
  std::string command = settings + Quoted(SURVEY_COMMAND) + " --json --timeout 300";
  for (std::string const& query : queries) command += " -e " + Quoted(query);
  ShellResult const run = RunShell(root.WithHome(command) + " 2>/dev/null");
  std::vector<QueryAnswer> answers = ReadAnswers(run.output);
  if (answers.size() != queries.size()) {
    ADD_FAILURE() << queries.size() << " queries, " << answers.size() << " answers";
    answers.resize(queries.size());
  }
  return answers;
}

}  // namespace survey::testing
