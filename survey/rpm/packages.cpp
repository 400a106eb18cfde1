#include "survey/rpm/packages.h"

#include <cstring>

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

// A NUL-terminated copy in evaluator memory; null reads as "".
char const* CopiedText(char const* text) {
  if (text == nullptr) text = "";
  unsigned long const length = std::strlen(text);
  unsigned char* const bytes = Allocate_Surveyor_Memory(length + 1);
  std::memcpy(bytes, text, length + 1);
  return reinterpret_cast<char const*>(bytes);
}

surveyor_string View(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), std::strlen(text)};
}

package PackageOf(rpmdatabase const& database, Stringy const& name, Stringy const& version,
                  Stringy const& arch) {
  return package(database, name.CString(), version.CString(), arch.CString());
}

bool StartsWithRpmlib(Stringy const& name) {
  static char const kPrefix[] = "rpmlib(";
  return name.GetLength() >= sizeof kPrefix - 1 &&
         std::memcmp(name.Text(), kPrefix, sizeof kPrefix - 1) == 0;
}

}  // namespace

package::package(rpmdatabase const& from, char const* nameText, char const* versionText,
                 char const* archText)
    : database(&from),
      name(CopiedText(nameText)),
      version(CopiedText(versionText)),
      arch(CopiedText(archText)) {}

capability CapabilityOfDef(CapabilityDef const& def) {
  unsigned char const flags =
      RelationFlagsOfText(def.relation.CString(), def.relation.GetLength());
  return capability(def.name.Text(), def.name.GetLength(), flags, def.version.Text(),
                    def.version.GetLength(), def.fourth.Text(), def.fourth.GetLength());
}

// ---------------------------------------------------------------------------
// Packages of a database.

package packages_of_rpm_iterator::First(rpmdatabase const& database) {
  iterator_.reset();
  iterator_ = database.Iterator();
  Stringy name, version, arch;
  iterator_->First(name, version, arch);
  return PackageOf(database, name, version, arch);
}

package packages_of_rpm_iterator::Next(rpmdatabase const& database) {
  if (!iterator_) throw NoSuchObject();
  Stringy name, version, arch;
  iterator_->Next(name, version, arch);
  return PackageOf(database, name, version, arch);
}

package named_packages_of_rpm_iterator::First(unsigned char const* text, unsigned long length,
                                              rpmdatabase const& database) {
  iterator_.reset();
  Stringy const name(text, length);
  iterator_ = database.NamedIterator(name);
  Stringy version, arch;
  iterator_->First(version, arch);
  return PackageOf(database, name, version, arch);
}

package named_packages_of_rpm_iterator::Next(unsigned char const* text, unsigned long length,
                                             rpmdatabase const& database) {
  if (!iterator_) throw NoSuchObject();
  Stringy const name(text, length);
  Stringy version, arch;
  iterator_->Next(version, arch);
  return PackageOf(database, name, version, arch);
}

surveyor_version version_of_package(package const& value) { return value.version; }

surveyor_string name_of_package(package const& value) { return View(value.name); }

surveyor_string arch_of_package(package const& value) { return View(value.arch); }

surveyor_string AsString(package const& value) {
  unsigned long const nameLength = std::strlen(value.name);
  char const* const version = value.version.text != nullptr ? value.version.text : "";
  unsigned long const versionLength = std::strlen(version);
  unsigned long const length = nameLength + 1 + versionLength;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  std::memcpy(text, value.name, nameLength);
  text[nameLength] = '-';
  std::memcpy(text + nameLength + 1, version, versionLength);
  return surveyor_string{text, length};
}

// ---------------------------------------------------------------------------
// Capability lists of a package.

template <CapabilityType kType>
capability capability_of_package_iterator<kType>::First(Of, package const& value) {
  rows_.Clear();
  position_ = 0;
  Stringy const name(value.name);
  Stringy const version(value.version.text);
  value.database->GetPackageCapabilities(name, version, rows_);
  return Next(Of(0), value);
}

template <CapabilityType kType>
capability capability_of_package_iterator<kType>::Next(Of, package const&) {
  while (position_ < rows_.Count()) {
    CapabilityDef const& row = rows_[position_];
    ++position_;
    if (row.type == kType) return CapabilityOfDef(row);
  }
  throw NoSuchObject();
}

template class capability_of_package_iterator<eCapabilityRequire>;
template class capability_of_package_iterator<eCapabilityProvide>;
template class capability_of_package_iterator<eCapabilityConflict>;
template class capability_of_package_iterator<eCapabilityObsolete>;
template class capability_of_package_iterator<eCapabilityFile>;

// ---------------------------------------------------------------------------
// Reverse queries.

template <CapabilityType kType>
package indexed_capability_iterator<kType>::First(capability const& wanted, Of,
                                                  rpmdatabase const& database) {
  candidates_.Clear();
  position_ = 0;
  CapabilityDef const def(kType, wanted.name.CString(), wanted.RelationString(),
                          wanted.version.CString(), wanted.fourth.CString());
  database.GetPackageMatchingCapabilities(def, candidates_);
  return Next(wanted, Of(0), database);
}

template <CapabilityType kType>
package indexed_capability_iterator<kType>::Next(capability const& wanted, Of,
                                                 rpmdatabase const& database) {
  while (position_ < candidates_.Count()) {
    PackageDef const& candidate = candidates_[position_];
    ++position_;
    package const found = PackageOf(database, candidate.name, candidate.version,
                                     candidate.architecture);
    capability_of_package_iterator<kType> rows;
    Trickle();
    try {
      capability row = rows.First(Of(0), found);
      for (;;) {
        if (CapabilityContains(row, wanted).value != 0) return found;
        Trickle();
        row = rows.Next(Of(0), found);
      }
    } catch (NoSuchObject const&) {
      // This candidate's rows are used up, or it has none: the next one.
    }
  }
  throw NoSuchObject();
}

template class indexed_capability_iterator<eCapabilityProvide>;
template class indexed_capability_iterator<eCapabilityRequire>;
template class indexed_capability_iterator<eCapabilityConflict>;
template class indexed_capability_iterator<eCapabilityFile>;

// ---------------------------------------------------------------------------
// The installed test.

namespace {

bool IsInstalled(capability const& wanted, rpmdatabase const& database) {
  if (StartsWithRpmlib(wanted.name)) {
    CapabilityDef const def(eCapabilityProvide, wanted.name.CString(), wanted.RelationString(),
                            wanted.version.CString(), wanted.fourth.CString());
    return database.CheckRpmlibProvides(def);
  }
  try {
    indexed_provide_iterator providers;
    providers.First(wanted, Of(0), database);
    return true;
  } catch (NoSuchObject const&) {
    // Not provided by name: perhaps a file of some package.
  }
  try {
    indexed_file_iterator installers;
    installers.First(wanted, Of(0), database);
    return true;
  } catch (NoSuchObject const&) {
    return false;
  }
}

}  // namespace

boolean is_installed_of(unsigned char const* text, unsigned long length,
                        rpmdatabase const& database) {
  capability const wanted = capability_of_world(text, length);
  return boolean{static_cast<unsigned char>(IsInstalled(wanted, database) ? 1 : 0)};
}

capability installed_capability_of(unsigned char const* text, unsigned long length,
                                   rpmdatabase const& database) {
  capability wanted = capability_of_world(text, length);
  if (!IsInstalled(wanted, database)) throw NoSuchObject();
  return wanted;
}

package package_of_rpm(unsigned char const* text, unsigned long length,
                       rpmdatabase const& database) {
  Stringy const name(text, length);
  Stringy foundName, version, arch;
  database.GetRecord(name, foundName, version, arch);
  return PackageOf(database, foundName, version, arch);
}

// ---------------------------------------------------------------------------
// Registration, in table order. No answer is reusable: the database can
// change between evaluations.

namespace {

RegistrationTable table{
    TypeRow<package>(),
    IteratedRow<named_packages_of_rpm_iterator>("package", "packages"),
    IteratedRow<packages_of_rpm_iterator>("package", "packages"),
    PropertyRow("version", "versions", &version_of_package),
    PropertyRow("name", "names", &name_of_package),
    PropertyRow("architecture", "architectures", &arch_of_package),
    CastRow<package, surveyor_string>("string", &AsString),
    IteratedRow("provide", "provides", &provide_of_package_iterator::First,
                &provide_of_package_iterator::Next),
    IteratedRow("require", "requires", &require_of_package_iterator::First,
                &require_of_package_iterator::Next),
    IteratedRow("conflict", "conflicts", &conflict_of_package_iterator::First,
                &conflict_of_package_iterator::Next),
    IteratedRow("obsolete", "obsoletes", &obsolete_of_package_iterator::First,
                &obsolete_of_package_iterator::Next),
    IteratedRow("installed file", "installed files", &file_of_package_iterator::First,
                &file_of_package_iterator::Next),
    IteratedRow("package providing", "packages providing", &indexed_provide_iterator::First,
                &indexed_provide_iterator::Next),
    IteratedRow("package requiring", "packages requiring", &indexed_require_iterator::First,
                &indexed_require_iterator::Next),
    IteratedRow("package conflicting with", "packages conflicting with",
                &indexed_conflict_iterator::First, &indexed_conflict_iterator::Next),
    IteratedRow("package installing", "packages installing", &indexed_file_iterator::First,
                &indexed_file_iterator::Next),
    IndexedRow("installed", "installeds", &is_installed_of),
    IndexedRow("capability", "capabilities", &installed_capability_of),
};

}  // namespace
