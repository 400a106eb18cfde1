#include "tests/unit/rpm/rpm_support.h"

#include <dlfcn.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "survey/rpm/rpm_library.h"

namespace survey::rpmtesting {

using survey::testing::RunShell;

std::string MissingForRpm() {
  if (RPM4::FindLibrpm("").best.empty()) {
    return std::string("this machine has no librpm for this build's architecture (none in ") +
           "/usr/lib, /lib or " +
           (*RPM4::MultiarchFolder() != '\0' ? RPM4::MultiarchFolder() : "a multiarch folder") +
           "): the RPM tests need one";
  }
  if (RunShell("command -v rpmbuild >/dev/null && command -v rpm >/dev/null").status != 0)
    return "rpm and rpmbuild are not installed";
  return "";
}

namespace {

void Tags(std::ostream& out, char const* tag, std::vector<std::string> const& values) {
  for (std::string const& value : values) out << tag << ": " << value << "\n";
}

}  // namespace

std::string MakeDatabase(std::string const& work, std::string const& root,
                         std::vector<PackageToBuild> const& packages) {
  if (packages.empty()) return "no packages";
  std::string const recipe = work + "/packages.recipe";
  {
    std::ofstream out(recipe);
    out << "%define debug_package %{nil}\n"
        << "%define __os_install_post %{nil}\n"
        << "%define _build_id_links none\n";
    for (std::size_t i = 0; i < packages.size(); ++i) {
      PackageToBuild const& package = packages[i];
      if (i == 0) {
        out << "Name: " << package.name << "\n";
      } else {
        out << "\n%package -n " << package.name << "\n";
      }
      if (!package.epoch.empty()) out << "Epoch: " << package.epoch << "\n";
      out << "Version: " << package.version << "\n"
          << "Release: " << package.release << "\n"
          << "Summary: a test package\n"
          << "License: none\n";
      if (package.noarch) out << "BuildArch: noarch\n";
      Tags(out, "Provides", package.provides);
      Tags(out, "Requires", package.requires_);
      Tags(out, "Conflicts", package.conflicts);
      Tags(out, "Obsoletes", package.obsoletes);
      if (i == 0) {
        out << "%description\nA test package.\n";
      } else {
        out << "%description -n " << package.name << "\nA test package.\n";
      }
    }
    out << "\n%install\n";
    for (PackageToBuild const& package : packages) {
      for (std::string const& file : package.files) {
        std::string const folder = file.substr(0, file.rfind('/'));
        out << "mkdir -p \"%{buildroot}" << folder << "\"\n"
            << "echo " << package.name << " > \"%{buildroot}" << file << "\"\n";
      }
    }
    for (std::size_t i = 0; i < packages.size(); ++i) {
      out << (i == 0 ? std::string("\n%files\n") : "\n%files -n " + packages[i].name + "\n");
      for (std::string const& file : packages[i].files) out << '"' << file << "\"\n";
    }
  }
  auto const build = RunShell("rpmbuild -bb --quiet --define " + Quoted("_topdir " + work + "/top") +
                              " " + Quoted(recipe) + " 2>&1");
  if (build.status != 0) return "rpmbuild failed: " + build.output;
  auto const install = RunShell("rpm --root " + Quoted(root) +
                                " -i --nodeps --justdb --noscripts --ignorearch " +
                                Quoted(work + "/top/RPMS") + "/*/*.rpm 2>&1");
  if (install.status != 0) return "rpm -i failed: " + install.output;
  return "";
}

std::vector<std::string> SortedLines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> RpmLines(std::string const& root, std::string const& arguments) {
  return SortedLines(survey::testing::Output("rpm --root " + Quoted(root) + " " + arguments +
                                             " 2>/dev/null"));
}

std::string Listing(std::string const& folder) {
  return survey::testing::Output("find " + Quoted(folder) +
                                 " -printf '%p %y %s\\n' 2>/dev/null | sort");
}

}  // namespace survey::rpmtesting

namespace survey::rpmtesting {

void KeepLibrpmLoaded() {
  std::string const stub = RPM4::ProgramFolder() + "rpm4stub.so";
  // RTLD_NOLOAD: only a stub already loaded is marked, nothing is opened.
  dlopen(stub.c_str(), RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace survey::rpmtesting

#if defined(__SANITIZE_ADDRESS__)
// librpm keeps what it reads once per process (its configuration, macros,
// the database backend's state) until the process ends, and leaks a little
// more when it fails to open a damaged database. Those blocks are librpm's:
// the leak checker is told to pass over blocks allocated under librpm,
// known by its own name or by the name of its link.
// What the stub and the library allocate per opening, per iterator and per
// header is freed; the leaks reported do not grow with the number of
// databases opened and packages read.
extern "C" char const* __lsan_default_suppressions() {
  return "leak:librpm.so\nleak:librpmio.so\nleak:libkxrpm.so\nleak:libkxrpmio.so\n";
}
// The database backend's library is built without frame pointers, so the
// stacks of its blocks are taken the slow way, through to librpm's frames.
extern "C" char const* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
#endif
