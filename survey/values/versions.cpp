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

using VersionText = VersionRelations;
using StrverscmpText = StrverscmpRelations;

RegistrationTable versions{
    FingerprintedTypeRow<surveyor_version>(),
    IndexedRow("version", "versions", &version_of, &DependsOnlyOnParameters),
    CastRow<surveyor_version>("string", &AsString, &DependsOnlyOnParameters),
    CastRow("version", &AsVersion, &DependsOnlyOnParameters),
    FingerprintedTypeRow<surveyor_strverscmp_version, surveyor_version>(),
    IndexedRow("strverscmp version", "strverscmp versions", &strverscmp_version_of,
               &DependsOnlyOnParameters),
    CastRow("strverscmp version", &AsStrverscmpVersion, &DependsOnlyOnParameters),
};

ComparableSurveyorRegistration<surveyor_version> comparable(&DependsOnlyOnParameters);

// The remaining relations, three to each pair of operand types: =, < and <=.
RegistrationTable relations{
    OperatorRow(kOperatorEqual, &VersionText::VersionEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &VersionText::VersionLess, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &VersionText::VersionLessOrEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorEqual, &VersionText::TextEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &VersionText::TextLess, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &VersionText::TextLessOrEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorEqual, &StrverscmpText::Equal, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &StrverscmpText::Less, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &StrverscmpText::LessOrEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorEqual, &StrverscmpText::VersionEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &StrverscmpText::VersionLess, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &StrverscmpText::VersionLessOrEqual,
                &DependsOnlyOnParameters),
    OperatorRow(kOperatorEqual, &StrverscmpText::TextEqual, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &StrverscmpText::TextLess, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &StrverscmpText::TextLessOrEqual, &DependsOnlyOnParameters),
};

}  // namespace
