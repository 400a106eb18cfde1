#include "survey/rpm/rpm_library.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "survey/foundation/file_item.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/file_loop.h"

namespace {

// RTLD_NOW | RTLD_GLOBAL: librpm's own plugins and its later dlopen calls
// must see the symbols of what is loaded here.
constexpr int kOpenFlags = RTLD_NOW | RTLD_GLOBAL;

}  // namespace

// ---------------------------------------------------------------------------
// RPMLibrary.

RPMLibrary* RPMLibrary::theLibrary = nullptr;
bool RPMLibrary::failedToLoadLibrary = false;

RPMLibrary::~RPMLibrary() = default;

RPMLibrary* RPMLibrary::The(char const* folder) {
  if (failedToLoadLibrary) throw NoSuchObject();
  if (theLibrary != nullptr) return theLibrary;
  // Running out of memory says nothing of the machine's librpm: it leaves
  // the load state as it was, so that a later call tries again.
  try {
    theLibrary = new RPM4::Library(folder);
    return theLibrary;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (...) {
  }
  try {
    theLibrary = new RPM3::Library();
    return theLibrary;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (...) {
    failedToLoadLibrary = true;
    theLibrary = nullptr;
    throw;
  }
}

namespace {

// Deletes the library when libSurvey is unloaded, which closes its handles.
struct LibraryRelease {
  ~LibraryRelease() {
    delete RPMLibrary::theLibrary;
    RPMLibrary::theLibrary = nullptr;
  }
} libraryRelease;

// The file of a dlsym lookup as a function pointer of the wanted type.
template <class Function>
Function Resolve(void* handle, char const* name) {
  return reinterpret_cast<Function>(dlsym(handle, name));
}

}  // namespace

// ---------------------------------------------------------------------------
// The newer generation.

namespace RPM4 {

ReadConfigFilesFunction rpmReadConfigFiles = nullptr;
DbOpenFunction rpmdbOpen = nullptr;
DbCloseFunction rpmdbClose = nullptr;
DbInitIteratorFunction rpmdbInitIterator = nullptr;
DbNextIteratorFunction rpmdbNextIterator = nullptr;
XDbNextIteratorFunction XrpmdbNextIterator = nullptr;
DbFreeIteratorFunction rpmdbFreeIterator = nullptr;
HeaderGetRawEntryFunction headerGetRawEntry = nullptr;
CheckRpmlibProvidesFunction rpmCheckRpmlibProvides = nullptr;
DsSingleFunction rpmdsSingle = nullptr;
DsFreeFunction rpmdsFree = nullptr;

char const* MultiarchFolder() {
#if defined(__x86_64__) && defined(__ILP32__)
  return "/usr/lib/x86_64-linux-gnux32";
#elif defined(__x86_64__)
  return "/usr/lib/x86_64-linux-gnu";
#elif defined(__i386__)
  return "/usr/lib/i386-linux-gnu";
#elif defined(__aarch64__)
  return "/usr/lib/aarch64-linux-gnu";
#elif defined(__arm__) && defined(__ARM_PCS_VFP)
  return "/usr/lib/arm-linux-gnueabihf";
#elif defined(__powerpc64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return "/usr/lib/powerpc64le-linux-gnu";
#elif defined(__s390x__)
  return "/usr/lib/s390x-linux-gnu";
#elif defined(__riscv) && __riscv_xlen == 64
  return "/usr/lib/riscv64-linux-gnu";
#else
  return "";
#endif
}

namespace {

// One search: the files of `folder` that match `pattern`, their version text
// being the name behind `skip` characters. Returns whether a file was taken.
bool SearchFolder(std::string const& folder, char const* pattern, std::size_t skip,
                  std::string& best) {
  bool taken = false;
  FileLocation const location(folder.c_str());
  for (TypedFileLoop loop(location, pattern); loop.Unfinished(); ++loop) {
    if (!loop.Item().IsFile()) continue;
    char const* const name = loop.Location().Name();
    if (std::strlen(name) < skip) continue;
    char const* const candidate = name + skip;
    if (best.empty() || strverscmp(best.c_str(), candidate) < 0) {
      best = candidate;
      taken = true;
    }
  }
  return taken;
}

}  // namespace

LibrpmChoice FindLibrpm(char const* root) {
  std::string const base = root != nullptr ? root : "";
  LibrpmChoice choice;
  // Searches 1 and 2: "librpm-<version>.so", /usr/lib before /lib.
  if (SearchFolder(base + "/usr/lib", "librpm-*.so", 7, choice.best)) choice.fromUsrLib = true;
  if (choice.best.empty()) SearchFolder(base + "/lib", "librpm-*.so", 7, choice.best);
  // Searches 3 and 4: "librpm.so.<version>".
  if (choice.best.empty()) {
    choice.dotStyle = true;
    if (SearchFolder(base + "/usr/lib", "librpm.so.*", 10, choice.best)) choice.fromUsrLib = true;
  }
  if (choice.best.empty()) SearchFolder(base + "/lib", "librpm.so.*", 10, choice.best);
  // Then the multiarch folder, in the dot style.
  char const* const multiarch = MultiarchFolder();
  if (choice.best.empty() && *multiarch != '\0') {
    if (SearchFolder(base + multiarch, "librpm.so.*", 10, choice.best)) choice.fromMultiarch = true;
  }
  if (!choice.best.empty()) {
    if (choice.fromMultiarch) {
      choice.folder = base + multiarch;
    } else {
      choice.folder = base + (choice.fromUsrLib ? "/usr/lib" : "/lib");
    }
  }
  return choice;
}

LinkTargets TargetsOf(LibrpmChoice const& choice) {
  std::string const prefix = choice.folder + "/";
  LinkTargets targets;
  if (choice.dotStyle) {
    targets.rpm = prefix + "librpm.so." + choice.best;
    targets.rpmio = prefix + "librpmio.so." + choice.best;
    targets.rpmdb = prefix + "librpmdb.so." + choice.best;
  } else {
    targets.rpm = prefix + "librpm-" + choice.best;
    targets.rpmio = prefix + "librpmio-" + choice.best;
    targets.rpmdb = prefix + "librpmdb-" + choice.best;
  }
  FileItem item;
  if (!item.TryToGet(FileLocation(targets.rpmdb.c_str()))) targets.rpmdb = targets.rpmio;
  return targets;
}

void MakeLinks(char const* folder, LinkTargets const& targets) {
  std::string const prefix = std::string(folder != nullptr ? folder : "") + "/";
  std::pair<char const*, std::string const*> const links[] = {
      {"libkxrpm.so", &targets.rpm},
      {"libkxrpmio.so", &targets.rpmio},
      {"libkxrpmdb.so", &targets.rpmdb},
  };
  for (auto const& [name, target] : links) {
    std::string const path = prefix + name;
    unlink(path.c_str());
    if (symlink(target->c_str(), path.c_str()) != 0) throw NoSuchObject();
  }
}

std::string ProgramFolder() {
  char link[64];
  std::snprintf(link, sizeof link, "/proc/%d/exe", static_cast<int>(getpid()));
  char buffer[4096] = {};
  if (readlink(link, buffer, sizeof buffer - 1) < 0) throw NoSuchObject();
  char* const slash = std::strrchr(buffer, '/');
  if (slash == nullptr) throw NoSuchObject();
  slash[1] = '\0';
  return buffer;
}

namespace {

// Opens a stub. Its dependencies are the three link names, and its search
// path is its working folder ("."), so it is opened with the storage folder
// as the working folder for the time of the call, which leads the dynamic
// loader to the links there. The program's working folder is restored
// before anything else runs.
void* OpenStub(std::string const& stub, char const* folder) {
  int const saved = open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (saved < 0) return nullptr;
  void* handle = nullptr;
  if (chdir(folder) == 0) {
    handle = dlopen(stub.c_str(), kOpenFlags);
    if (fchdir(saved) != 0 && handle != nullptr) {
      // A program that cannot return to its working folder must not go on
      // as if nothing had happened: the binding is given up.
      dlclose(handle);
      handle = nullptr;
    }
  }
  close(saved);
  return handle;
}

}  // namespace

Library::Library(char const* folder) : stubHandle(nullptr) {
  std::string const programFolder = ProgramFolder();
  std::string const firstStub = programFolder + "rpm4stub.so";
  std::string const secondStub = programFolder + "rpm4stub2.so";

  LibrpmChoice const choice = FindLibrpm("");
  if (choice.best.empty()) throw NoSuchObject();
  MakeLinks(folder, TargetsOf(choice));

  void* handle = OpenStub(firstStub, folder);
  if (handle == nullptr) handle = OpenStub(secondStub, folder);
  if (handle == nullptr) throw NoSuchObject();

  auto const readConfig = Resolve<ReadConfigFilesFunction>(handle, "rpmReadConfigFiles");
  auto const open = Resolve<DbOpenFunction>(handle, "rpmdbOpen");
  auto const close = Resolve<DbCloseFunction>(handle, "rpmdbClose");
  auto const init = Resolve<DbInitIteratorFunction>(handle, "rpmdbInitIterator");
  auto const next = Resolve<DbNextIteratorFunction>(handle, "rpmdbNextIterator");
  auto const release = Resolve<DbFreeIteratorFunction>(handle, "rpmdbFreeIterator");
  auto const getEntry = Resolve<HeaderGetRawEntryFunction>(handle, "headerGetRawEntry");
  auto const rpmlib = Resolve<CheckRpmlibProvidesFunction>(handle, "rpmCheckRpmlibProvides");
  auto const single = Resolve<DsSingleFunction>(handle, "rpmdsSingle");
  auto const freeSet = Resolve<DsFreeFunction>(handle, "rpmdsFree");
  XDbNextIteratorFunction xnext = nullptr;
  bool complete = readConfig != nullptr && open != nullptr && close != nullptr &&
                  init != nullptr && release != nullptr && getEntry != nullptr &&
                  rpmlib != nullptr && single != nullptr && freeSet != nullptr;
  if (complete && next == nullptr) {
    xnext = Resolve<XDbNextIteratorFunction>(handle, "XrpmdbNextIterator");
    complete = xnext != nullptr;
  }
  if (!complete) {
    dlclose(handle);
    throw NoSuchObject();
  }
  stubHandle = handle;
  rpmReadConfigFiles = readConfig;
  rpmdbOpen = open;
  rpmdbClose = close;
  rpmdbInitIterator = init;
  rpmdbNextIterator = next;
  XrpmdbNextIterator = xnext;
  rpmdbFreeIterator = release;
  headerGetRawEntry = getEntry;
  rpmCheckRpmlibProvides = rpmlib;
  rpmdsSingle = single;
  rpmdsFree = freeSet;
}

Library::~Library() {
  if (stubHandle != nullptr) dlclose(stubHandle);
}

}  // namespace RPM4

// ---------------------------------------------------------------------------
// The older generation.

namespace RPM3 {

ReadConfigFilesFunction rpmReadConfigFiles = nullptr;
DbOpenFunction rpmdbOpen = nullptr;
DbCloseFunction rpmdbClose = nullptr;
DbFindFunction rpmdbFindPackage = nullptr;
DbFindFunction rpmdbFindByProvides = nullptr;
DbFindFunction rpmdbFindByRequiredBy = nullptr;
DbFindFunction rpmdbFindByConflicts = nullptr;
DbFindFunction rpmdbFindByFile = nullptr;
DbGetRecordFunction rpmdbGetRecord = nullptr;
HeaderGetEntryFunction headerGetEntry = nullptr;
FreeIndexRecordFunction dbiFreeIndexRecord = nullptr;
HeaderFreeFunction headerFree = nullptr;
DbFirstRecNumFunction rpmdbFirstRecNum = nullptr;
DbNextRecNumFunction rpmdbNextRecNum = nullptr;
CheckRpmlibProvidesFunction rpmCheckRpmlibProvides = nullptr;

void* TryToLoadLibrpm(char const* file) {
  void* const handle = dlopen(file, kOpenFlags);
  if (handle == nullptr) return nullptr;
  auto const readConfig = Resolve<ReadConfigFilesFunction>(handle, "rpmReadConfigFiles");
  auto const open = Resolve<DbOpenFunction>(handle, "rpmdbOpen");
  auto const close = Resolve<DbCloseFunction>(handle, "rpmdbClose");
  auto const findPackage = Resolve<DbFindFunction>(handle, "rpmdbFindPackage");
  auto const findProvides = Resolve<DbFindFunction>(handle, "rpmdbFindByProvides");
  auto const findRequired = Resolve<DbFindFunction>(handle, "rpmdbFindByRequiredBy");
  auto const findConflicts = Resolve<DbFindFunction>(handle, "rpmdbFindByConflicts");
  auto const findFile = Resolve<DbFindFunction>(handle, "rpmdbFindByFile");
  auto const getRecord = Resolve<DbGetRecordFunction>(handle, "rpmdbGetRecord");
  auto const getEntry = Resolve<HeaderGetEntryFunction>(handle, "headerGetEntry");
  auto const freeRecord = Resolve<FreeIndexRecordFunction>(handle, "dbiFreeIndexRecord");
  auto const freeHeader = Resolve<HeaderFreeFunction>(handle, "headerFree");
  auto const first = Resolve<DbFirstRecNumFunction>(handle, "rpmdbFirstRecNum");
  auto const next = Resolve<DbNextRecNumFunction>(handle, "rpmdbNextRecNum");
  auto const rpmlib = Resolve<CheckRpmlibProvidesFunction>(handle, "rpmCheckRpmlibProvides");
  if (readConfig == nullptr || open == nullptr || close == nullptr || findPackage == nullptr ||
      findProvides == nullptr || findRequired == nullptr || findConflicts == nullptr ||
      findFile == nullptr || getRecord == nullptr || getEntry == nullptr ||
      freeRecord == nullptr || freeHeader == nullptr || first == nullptr || next == nullptr ||
      rpmlib == nullptr) {
    dlclose(handle);
    return nullptr;
  }
  rpmReadConfigFiles = readConfig;
  rpmdbOpen = open;
  rpmdbClose = close;
  rpmdbFindPackage = findPackage;
  rpmdbFindByProvides = findProvides;
  rpmdbFindByRequiredBy = findRequired;
  rpmdbFindByConflicts = findConflicts;
  rpmdbFindByFile = findFile;
  rpmdbGetRecord = getRecord;
  headerGetEntry = getEntry;
  dbiFreeIndexRecord = freeRecord;
  headerFree = freeHeader;
  rpmdbFirstRecNum = first;
  rpmdbNextRecNum = next;
  rpmCheckRpmlibProvides = rpmlib;
  return handle;
}

namespace {

// Opens the first regular file of `folder` matching `pattern` that `open`
// accepts, by full path, in the order of the loop; null when none does.
template <class Opener>
void* OpenFirstOf(char const* folder, char const* pattern, Opener open) {
  FileLocation const location(folder);
  for (TypedFileLoop loop(location, pattern); loop.Unfinished(); ++loop) {
    if (!loop.Item().IsFile()) continue;
    if (void* const handle = open(loop.Location().FullPathName())) return handle;
  }
  return nullptr;
}

}  // namespace

Library::Library() : poptHandle(nullptr), rpmioHandle(nullptr), rpmHandle(nullptr) {
  poptHandle = dlopen("libpopt.so", kOpenFlags);
  if (poptHandle == nullptr) throw NoSuchObject();
  auto const plainOpen = [](char const* file) { return dlopen(file, kOpenFlags); };
  rpmioHandle = dlopen("librpmio.so", kOpenFlags);
  if (rpmioHandle == nullptr) rpmioHandle = OpenFirstOf("/lib", "librpmio.so.*", plainOpen);
  if (rpmioHandle == nullptr) rpmioHandle = OpenFirstOf("/usr/lib", "librpmio.so.*", plainOpen);
  rpmHandle = TryToLoadLibrpm("librpm.so");
  if (rpmHandle == nullptr) rpmHandle = OpenFirstOf("/lib", "librpm.so.*", &TryToLoadLibrpm);
  if (rpmHandle == nullptr) rpmHandle = OpenFirstOf("/usr/lib", "librpm.so.*", &TryToLoadLibrpm);
  if (rpmHandle == nullptr) {
    if (rpmioHandle != nullptr) dlclose(rpmioHandle);
    dlclose(poptHandle);
    throw NoSuchObject();
  }
}

Library::~Library() {
  if (rpmHandle != nullptr) dlclose(rpmHandle);
  if (rpmioHandle != nullptr) dlclose(rpmioHandle);
  if (poptHandle != nullptr) dlclose(poptHandle);
}

}  // namespace RPM3
