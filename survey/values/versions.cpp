#include "survey/values/versions.h"

#include <cctype>
#include <cstring>

#include "survey/foundation/stringy.h"
#include "survey/frame/comparable.h"

namespace {

// What a default version points at.
char const kEmptyVersion[] = "";

bool IsDigit(unsigned char c) { return std::isdigit(c) != 0; }

// The bytes of a string, whole, in evaluator memory with a NUL behind them.
char const* TerminatedCopy(surveyor_string const& text) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.length + 1);
  if (text.length != 0) std::memcpy(bytes, text.data, text.length);
  bytes[text.length] = '\0';
  return reinterpret_cast<char const*>(bytes);
}

surveyor_string TextUpToNul(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), std::strlen(text)};
}

int StrverscmpOrder(char const* a, char const* b) { return strverscmp(a, b); }

boolean Truth(bool value) { return boolean{static_cast<unsigned char>(value ? 1 : 0)}; }

// The relations of a version type V, ordered by `Order`, with itself and
// with a string on either side. The string is copied to gain a NUL; an
// empty copy holds no buffer, and the constant empty text stands for it.
template <class V, int (*Order)(char const*, char const*)>
struct Relations {
  static int VersionAgainstText(V const& version, surveyor_string const& text) {
    Stringy const copy(text.data, text.length);
    return Order(version.text, copy.CString());
  }
  static int TextAgainstVersion(surveyor_string const& text, V const& version) {
    Stringy const copy(text.data, text.length);
    return Order(copy.CString(), version.text);
  }

  static boolean Equal(V const& left, V const& right) {
    return Truth(Order(left.text, right.text) == 0);
  }
  static boolean Less(V const& left, V const& right) {
    return Truth(Order(left.text, right.text) < 0);
  }
  static boolean LessOrEqual(V const& left, V const& right) {
    return Truth(Order(left.text, right.text) <= 0);
  }
  static boolean VersionEqual(V const& left, surveyor_string const& right) {
    return Truth(VersionAgainstText(left, right) == 0);
  }
  static boolean VersionLess(V const& left, surveyor_string const& right) {
    return Truth(VersionAgainstText(left, right) < 0);
  }
  static boolean VersionLessOrEqual(V const& left, surveyor_string const& right) {
    return Truth(VersionAgainstText(left, right) <= 0);
  }
  static boolean TextEqual(surveyor_string const& left, V const& right) {
    return Truth(TextAgainstVersion(left, right) == 0);
  }
  static boolean TextLess(surveyor_string const& left, V const& right) {
    return Truth(TextAgainstVersion(left, right) < 0);
  }
  static boolean TextLessOrEqual(surveyor_string const& left, V const& right) {
    return Truth(TextAgainstVersion(left, right) <= 0);
  }
};

using VersionRelations = Relations<surveyor_version, &CompareVersions>;
using StrverscmpRelations = Relations<surveyor_strverscmp_version, &StrverscmpOrder>;

}  // namespace

int CompareVersions(char const* a, char const* b) {
  if (a == b) return 0;
  unsigned char const* left = reinterpret_cast<unsigned char const*>(a);
  unsigned char const* right = reinterpret_cast<unsigned char const*>(b);
  for (;;) {
    // A segment: a number starts out holding nothing but zeros, and no
    // digit has been seen yet.
    bool onlyZeros = true;
    bool inNumber = false;
    unsigned char c1 = *left++;
    unsigned char c2 = *right++;
    while (c1 == c2) {
      if (c1 == '\0') return 0;
      if (!IsDigit(c1)) break;  // a non-digit closes the segment
      inNumber = true;
      if (c1 != '0') onlyZeros = false;
      c1 = *left++;
      c2 = *right++;
    }
    if (c1 == c2) continue;

    int const diff = static_cast<int>(c1) - static_cast<int>(c2);
    if (!inNumber && !(IsDigit(c1) && IsDigit(c2))) return diff;
    // Within a run of zeros, the side whose zeros go on is the lesser.
    if (onlyZeros) {
      if (c1 == '0') return -1;
      if (c2 == '0') return 1;
    }
    // The longer run of digits wins; of runs of equal length, the first
    // differing digit. Neither side reads past its NUL, which is no digit.
    --left;
    --right;
    while (IsDigit(*left)) {
      if (!IsDigit(*right)) return 1;
      ++left;
      ++right;
    }
    return IsDigit(*right) ? -1 : diff;
  }
}

surveyor_version::surveyor_version() : text(kEmptyVersion) {}

surveyor_strverscmp_version::surveyor_strverscmp_version() : text(kEmptyVersion) {}

bool operator==(surveyor_version const& left, surveyor_version const& right) {
  return CompareVersions(left.text, right.text) == 0;
}
bool operator<(surveyor_version const& left, surveyor_version const& right) {
  return CompareVersions(left.text, right.text) < 0;
}
bool operator<=(surveyor_version const& left, surveyor_version const& right) {
  return CompareVersions(left.text, right.text) <= 0;
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, surveyor_version const& value) {
  return fingerprinter << TextUpToNul(value.text);
}
Fingerprinter& operator<<(Fingerprinter& fingerprinter, surveyor_strverscmp_version const& value) {
  return fingerprinter << TextUpToNul(value.text);
}

surveyor_string AsString(surveyor_version const& version) { return TextUpToNul(version.text); }

surveyor_version version_of(surveyor_string const& text) {
  return surveyor_version(TerminatedCopy(text));
}
surveyor_version AsVersion(surveyor_string const& text) {
  return surveyor_version(TerminatedCopy(text));
}
surveyor_strverscmp_version strverscmp_version_of(surveyor_string const& text) {
  return surveyor_strverscmp_version(TerminatedCopy(text));
}
surveyor_strverscmp_version AsStrverscmpVersion(surveyor_string const& text) {
  return surveyor_strverscmp_version(TerminatedCopy(text));
}

// ---------------------------------------------------------------------------
// Registration, in table order: "version" with its lookup and casts, then
// "strverscmp version" on top of it, then the comparable group of "version"
// (its relations with itself and its aggregates), then the remaining
// relations. Every result follows from its operands alone.

namespace {

TypeRecord versionType;
ShortRecord versionOfText;
ShortRecord versionToString;
ShortRecord stringToVersion;
TypeRecord strverscmpType;
ShortRecord strverscmpOfText;
ShortRecord stringToStrverscmp;

void RegisterVersions() {
  RegisterType<&versionType, SurveyorTypeInfo<surveyor_version, kFingerprinted>, surveyor_version>(
      "version", nullptr);
  RegisterProperty<&versionOfText, PropertyByIndexOfWorld<surveyor_version, surveyor_string>>(
      "version", "versions", "string", "", "version", &version_of, &DependsOnlyOnParameters);
  RegisterCast<&versionToString, Cast<surveyor_version, surveyor_string>>(
      "string", "version", "string", &AsString, &DependsOnlyOnParameters);
  RegisterCast<&stringToVersion, Cast<surveyor_string, surveyor_version>>(
      "version", "string", "version", &AsVersion, &DependsOnlyOnParameters);
  RegisterType<&strverscmpType, SurveyorTypeInfo<surveyor_strverscmp_version, kFingerprinted>,
               surveyor_strverscmp_version>("strverscmp version", "version");
  RegisterProperty<&strverscmpOfText,
                   PropertyByIndexOfWorld<surveyor_strverscmp_version, surveyor_string>>(
      "strverscmp version", "strverscmp versions", "string", "", "strverscmp version",
      &strverscmp_version_of, &DependsOnlyOnParameters);
  RegisterCast<&stringToStrverscmp, Cast<surveyor_string, surveyor_strverscmp_version>>(
      "strverscmp version", "string", "strverscmp version", &AsStrverscmpVersion,
      &DependsOnlyOnParameters);
}

[[maybe_unused]] int const registeredVersions = (RegisterVersions(), 0);

ComparableSurveyorRegistration<surveyor_version> const comparable(&DependsOnlyOnParameters);

// The three relations =, < and <= of one pair of operand types, in that
// order, each with its own record.
template <class Left, class Right, ShortRecord* EqualRecord, ShortRecord* LessRecord,
          ShortRecord* LessOrEqualRecord>
void RegisterRelationsOf(char const* left, char const* right,
                         typename Operator2<Left, Right, boolean>::Function equal,
                         typename Operator2<Left, Right, boolean>::Function less,
                         typename Operator2<Left, Right, boolean>::Function lessOrEqual) {
  using Adaptor = Operator2<Left, Right, boolean>;
  RegisterOperator<EqualRecord, Adaptor>(kOperatorEqual, left, right, "boolean", equal,
                                         &DependsOnlyOnParameters);
  RegisterOperator<LessRecord, Adaptor>(kOperatorLessThan, left, right, "boolean", less,
                                        &DependsOnlyOnParameters);
  RegisterOperator<LessOrEqualRecord, Adaptor>(kOperatorLessOrEqual, left, right, "boolean",
                                               lessOrEqual, &DependsOnlyOnParameters);
}

ShortRecord versionEqualsText;
ShortRecord versionLessThanText;
ShortRecord versionLessOrEqualText;
ShortRecord textEqualsVersion;
ShortRecord textLessThanVersion;
ShortRecord textLessOrEqualVersion;
ShortRecord strverscmpEqual;
ShortRecord strverscmpLessThan;
ShortRecord strverscmpLessOrEqual;
ShortRecord strverscmpEqualsText;
ShortRecord strverscmpLessThanText;
ShortRecord strverscmpLessOrEqualText;
ShortRecord textEqualsStrverscmp;
ShortRecord textLessThanStrverscmp;
ShortRecord textLessOrEqualStrverscmp;

void RegisterRelations() {
  using V = surveyor_version;
  using S = surveyor_strverscmp_version;
  using T = surveyor_string;
  using VersionText = VersionRelations;
  using StrverscmpText = StrverscmpRelations;
  RegisterRelationsOf<V, T, &versionEqualsText, &versionLessThanText, &versionLessOrEqualText>(
      "version", "string", &VersionText::VersionEqual, &VersionText::VersionLess,
      &VersionText::VersionLessOrEqual);
  RegisterRelationsOf<T, V, &textEqualsVersion, &textLessThanVersion, &textLessOrEqualVersion>(
      "string", "version", &VersionText::TextEqual, &VersionText::TextLess,
      &VersionText::TextLessOrEqual);
  RegisterRelationsOf<S, S, &strverscmpEqual, &strverscmpLessThan, &strverscmpLessOrEqual>(
      "strverscmp version", "strverscmp version", &StrverscmpText::Equal, &StrverscmpText::Less,
      &StrverscmpText::LessOrEqual);
  RegisterRelationsOf<S, T, &strverscmpEqualsText, &strverscmpLessThanText,
                      &strverscmpLessOrEqualText>(
      "strverscmp version", "string", &StrverscmpText::VersionEqual, &StrverscmpText::VersionLess,
      &StrverscmpText::VersionLessOrEqual);
  RegisterRelationsOf<T, S, &textEqualsStrverscmp, &textLessThanStrverscmp,
                      &textLessOrEqualStrverscmp>(
      "string", "strverscmp version", &StrverscmpText::TextEqual, &StrverscmpText::TextLess,
      &StrverscmpText::TextLessOrEqual);
}

[[maybe_unused]] int const registeredRelations = (RegisterRelations(), 0);

}  // namespace
