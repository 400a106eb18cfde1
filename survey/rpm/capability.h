// Capabilities of packages: what a package provides, requires, conflicts
// with or obsoletes, as a name with an optional relation and version; their
// text form; the package subsystem's own order of versions; and when one
// capability's range of versions meets another's ("contains").
//
// The order here is the package subsystem's own and not that of "version":
// separators are skipped, runs of digits compare as numbers and runs of
// letters by their bytes, and the text that goes on wins when all runs agree.
// No epoch is understood: a ":" is one more separator.
#pragma once

#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// The flags of a relation. None of them set means no relation: the
// capability does not restrict the version.
enum CapabilityRelationFlag : unsigned char {
  eRelation_Less = 1,
  eRelation_Equal = 2,
  eRelation_Greater = 4,
};

// The flags of a relation's text: the first row of the relation table whose
// text has exactly these bytes, or 0 when no row has ("<>" among them).
SURVEY_API unsigned char RelationFlagsOfText(char const* text, unsigned long length);
// The text of a relation's flags: the first row with exactly these flags,
// so 3 reads "<=" and 6 ">="; null when no row has them (0 among them).
SURVEY_API char const* RelationTextOfFlags(unsigned char flags);

// "capability": a name, a relation, a version, and a fourth text that no
// path fills. The texts are owned.
struct SURVEY_API capability {
  static constexpr char const* TypeName() { return "capability"; }

  capability(char const* name, unsigned long nameLength, unsigned char relation,
             char const* version, unsigned long versionLength, char const* fourth,
             unsigned long fourthLength);

  // The relation's text, or "" when it has none.
  char const* RelationString() const;

  Stringy name;
  unsigned char relation;
  Stringy version;
  Stringy fourth;
};

// The order of two version texts, run by run: below, at or above zero.
// Only the sign means anything. Any text is accepted; nothing is allocated.
// Where the kinds of two runs differ, or one text has run out after its
// separators, the first is below the second, whichever it is: the order is
// not symmetric there.
SURVEY_API int CompareVersionSegment(char const* a, char const* b);

// Splits "version-release" at its last "-": the version before it and the
// release after it; without a "-" the whole text is the version and the
// release is empty.
SURVEY_API void CrackVersionRelease(char const* text, Stringy& version, Stringy& release);

// The order of two "version-release" texts as "contains" uses it: the
// versions by CompareVersionSegment, and when they are equal the releases,
// an empty release being below any other.
SURVEY_API int CompareVersionRelease(char const* a, char const* b);

// "capability" of the world: the text form read. A text that starts with
// "/" is a file path, all name. Otherwise the name runs to the first blank
// or tab, one white-space character is skipped, the relation token runs to
// the next, one more is skipped, and the rest is the version, blanks and
// all. An empty text, a relation without a version and an unknown relation
// token give NoSuchObject; two separators in a row give a version without a
// relation.
SURVEY_API capability capability_of_world(unsigned char const* text, unsigned long length);

// The parts of a capability, copied into evaluator memory. The name is
// refused when empty, the version when there is no relation or it is empty,
// the relation when it has no text.
SURVEY_API surveyor_string name_of_capability(capability const& value);
SURVEY_API surveyor_string version_of_capability(capability const& value);
SURVEY_API surveyor_string relation_of_capability(capability const& value);

// The text form: the name alone when the relation has no text, else name,
// blank, relation, blank, version. An empty name gives NoSuchObject.
SURVEY_API surveyor_string AsString(capability const& value);

// Whether the ranges of versions of the two capabilities meet: the names
// must be equal byte for byte, and a capability without a relation meets
// every range of its name.
SURVEY_API boolean CapabilityContains(capability const& a, capability const& b);
