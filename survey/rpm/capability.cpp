#include "survey/rpm/capability.h"

#include <cstring>

#include "survey/frame/table.h"

namespace {

// The relation table. The flags are filled in by the static initialiser
// from the three flag constants, so that the table follows them.
struct RelationRow {
  char const* text;
  unsigned long length;
  unsigned char flags;
};

RelationRow rf[] = {
    {"<", 1, 0}, {"=", 1, 0}, {">", 1, 0}, {"<=", 2, 0}, {">=", 2, 0}, {"=<", 2, 0}, {"=>", 2, 0},
};

struct RelationTableFiller {
  RelationTableFiller() {
    rf[0].flags = eRelation_Less;
    rf[1].flags = eRelation_Equal;
    rf[2].flags = eRelation_Greater;
    rf[3].flags = eRelation_Less | eRelation_Equal;
    rf[4].flags = eRelation_Greater | eRelation_Equal;
    rf[5].flags = eRelation_Less | eRelation_Equal;
    rf[6].flags = eRelation_Greater | eRelation_Equal;
  }
} relationTableFiller;

bool IsWhiteSpace(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsLetterOrDigit(char c) { return IsDigit(c) || IsLetter(c); }

// A copy of the bytes in evaluator memory.
surveyor_string Copied(char const* text, unsigned long length) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(bytes, text, length);
  return surveyor_string{bytes, length};
}

// Two runs compared as strcmp compares the same runs cut out as texts.
int CompareRuns(char const* a, unsigned long aLength, char const* b, unsigned long bLength) {
  unsigned long const common = aLength < bLength ? aLength : bLength;
  for (unsigned long i = 0; i < common; ++i) {
    unsigned char const left = static_cast<unsigned char>(a[i]);
    unsigned char const right = static_cast<unsigned char>(b[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  if (aLength == bLength) return 0;
  return aLength < bLength ? -1 : 1;
}

}  // namespace

unsigned char RelationFlagsOfText(char const* text, unsigned long length) {
  for (RelationRow const& row : rf) {
    if (row.length == length && std::memcmp(row.text, text, length) == 0) return row.flags;
  }
  return 0;
}

char const* RelationTextOfFlags(unsigned char flags) {
  for (RelationRow const& row : rf) {
    if (row.flags == flags) return row.text;
  }
  return nullptr;
}

capability::capability(char const* nameText, unsigned long nameLength, unsigned char relationFlags,
                       char const* versionText, unsigned long versionLength,
                       char const* fourthText, unsigned long fourthLength)
    : name(nameText, nameLength),
      relation(relationFlags),
      version(versionText, versionLength),
      fourth(fourthText, fourthLength) {}

char const* capability::RelationString() const {
  char const* const text = RelationTextOfFlags(relation);
  return text != nullptr ? text : "";
}

// ---------------------------------------------------------------------------
// The order of versions.

int CompareVersionSegment(char const* a, char const* b) {
  if (std::strcmp(a, b) == 0) return 0;
  if (*a == '\0') return *b != '\0' ? -1 : 0;
  // The runs are compared where they stand, by position and length, so no
  // copy of either text is needed.
  for (;;) {
    if (*b == '\0') return *a != '\0' ? 1 : 0;
    while (*a != '\0' && !IsLetterOrDigit(*a)) ++a;
    while (*b != '\0' && !IsLetterOrDigit(*b)) ++b;
    bool const numeric = IsDigit(*a);
    bool (*const inRun)(char) = numeric ? &IsDigit : &IsLetter;
    char const* aEnd = a;
    while (*aEnd != '\0' && inRun(*aEnd)) ++aEnd;
    char const* bEnd = b;
    while (*bEnd != '\0' && inRun(*bEnd)) ++bEnd;
    // A run of the other kind, or none because the text has run out, makes
    // the first text the lesser on either side.
    if (aEnd == a || bEnd == b) return -1;
    char const* aRun = a;
    char const* bRun = b;
    if (numeric) {
      while (aRun < aEnd && *aRun == '0') ++aRun;
      while (bRun < bEnd && *bRun == '0') ++bRun;
      if (aEnd - aRun > bEnd - bRun) return 1;
      if (bEnd - bRun > aEnd - aRun) return -1;
    }
    int const order = CompareRuns(aRun, static_cast<unsigned long>(aEnd - aRun), bRun,
                                  static_cast<unsigned long>(bEnd - bRun));
    if (order != 0) return order;
    a = aEnd;
    b = bEnd;
    if (*a == '\0') return *b != '\0' ? -1 : 0;
  }
}

void CrackVersionRelease(char const* text, Stringy& version, Stringy& release) {
  char const* const hyphen = std::strrchr(text, '-');
  if (hyphen == nullptr) {
    version = Stringy(text);
    release = Stringy();
    return;
  }
  version = Stringy(text, static_cast<unsigned long>(hyphen - text));
  release = Stringy(hyphen + 1);
}

int CompareVersionRelease(char const* a, char const* b) {
  Stringy aVersion, aRelease, bVersion, bRelease;
  CrackVersionRelease(a, aVersion, aRelease);
  CrackVersionRelease(b, bVersion, bRelease);
  int const order = CompareVersionSegment(aVersion.CString(), bVersion.CString());
  if (order != 0) return order;
  return CompareVersionSegment(aRelease.CString(), bRelease.CString());
}

// ---------------------------------------------------------------------------
// The text form.

capability capability_of_world(unsigned char const* bytes, unsigned long length) {
  if (bytes == nullptr || length == 0) throw NoSuchObject();
  char const* const text = reinterpret_cast<char const*>(bytes);
  if (text[0] == '/') return capability(text, length, 0, nullptr, 0, nullptr, 0);
  unsigned long position = 0;
  while (position < length && !IsWhiteSpace(text[position])) ++position;
  unsigned long const nameLength = position;
  if (position < length) ++position;
  unsigned long const relationStart = position;
  while (position < length && !IsWhiteSpace(text[position])) ++position;
  unsigned long const relationLength = position - relationStart;
  if (position < length) ++position;
  char const* const version = text + position;
  unsigned long const versionLength = length - position;
  if (relationLength == 0) {
    return capability(text, nameLength, 0, version, versionLength, nullptr, 0);
  }
  unsigned char const flags = RelationFlagsOfText(text + relationStart, relationLength);
  if (versionLength == 0 || flags == 0) throw NoSuchObject();
  return capability(text, nameLength, flags, version, versionLength, nullptr, 0);
}

surveyor_string name_of_capability(capability const& value) {
  if (value.name.IsEmpty()) throw NoSuchObject();
  return Copied(value.name.Text(), value.name.GetLength());
}

surveyor_string version_of_capability(capability const& value) {
  if (value.relation == 0 || value.version.IsEmpty()) throw NoSuchObject();
  return Copied(value.version.Text(), value.version.GetLength());
}

surveyor_string relation_of_capability(capability const& value) {
  char const* const text = RelationTextOfFlags(value.relation);
  if (text == nullptr) throw NoSuchObject();
  return Copied(text, std::strlen(text));
}

surveyor_string AsString(capability const& value) {
  if (value.name.IsEmpty()) throw NoSuchObject();
  char const* const relation = RelationTextOfFlags(value.relation);
  unsigned long const nameLength = value.name.GetLength();
  if (relation == nullptr) return Copied(value.name.Text(), nameLength);
  unsigned long const relationLength = std::strlen(relation);
  unsigned long const versionLength = value.version.GetLength();
  unsigned long const length = nameLength + 1 + relationLength + 1 + versionLength;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  unsigned char* out = text;
  std::memcpy(out, value.name.Text(), nameLength);
  out += nameLength;
  *out++ = ' ';
  std::memcpy(out, relation, relationLength);
  out += relationLength;
  *out++ = ' ';
  if (versionLength != 0) std::memcpy(out, value.version.Text(), versionLength);
  return surveyor_string{text, length};
}

// ---------------------------------------------------------------------------
// "contains".

boolean CapabilityContains(capability const& a, capability const& b) {
  boolean const yes{1};
  boolean const no{0};
  unsigned long const length = a.name.GetLength();
  if (length != b.name.GetLength()) return no;
  if (length != 0 && std::memcmp(a.name.Text(), b.name.Text(), length) != 0) return no;
  if (a.relation == 0 || b.relation == 0) return yes;
  int const order = CompareVersionRelease(a.version.CString(), b.version.CString());
  if (order < 0) {
    return (a.relation & eRelation_Greater) != 0 || (b.relation & eRelation_Less) != 0 ? yes : no;
  }
  if (order > 0) {
    return (a.relation & eRelation_Less) != 0 || (b.relation & eRelation_Greater) != 0 ? yes : no;
  }
  bool const bothEqual = (a.relation & eRelation_Equal) != 0 && (b.relation & eRelation_Equal) != 0;
  bool const bothLess = (a.relation & eRelation_Less) != 0 && (b.relation & eRelation_Less) != 0;
  bool const bothGreater =
      (a.relation & eRelation_Greater) != 0 && (b.relation & eRelation_Greater) != 0;
  return bothEqual || bothLess || bothGreater ? yes : no;
}

// ---------------------------------------------------------------------------
// Registration, in table order. A capability is made from its text alone,
// so every answer here depends on nothing but its operands.

namespace {

RegistrationTable table{
    TypeRow<capability>(),
    IndexedRow("capability", "capabilities", &capability_of_world, &DependsOnlyOnParameters),
    PropertyRow("name", "names", &name_of_capability, &DependsOnlyOnParameters),
    PropertyRow("version", "versions", &version_of_capability, &DependsOnlyOnParameters),
    PropertyRow("relation", "relations", &relation_of_capability, &DependsOnlyOnParameters),
    CastRow<capability, surveyor_string>("string", &AsString, &DependsOnlyOnParameters),
    OperatorRow(kOperatorContains, &CapabilityContains, &DependsOnlyOnParameters),
};

}  // namespace
