// Fuzz target for versions. The input's first byte says where the rest is
// cut in two; each part, NULs and all, becomes a "version" and a
// "strverscmp version". Each text up to its first NUL is also held in a
// heap block of exactly its size with the NUL, so that a read past a NUL
// is caught. For any two texts:
//
// - CompareVersions is zero exactly when the texts are the same, and
//   reversing the operands reverses the sign;
// - its sign is the one that a second, independent reading of the rules
//   below gives;
// - the registered relations of versions, with a version or a string on
//   either side, give that sign, and those of strverscmp versions give the
//   sign of the C library's strverscmp;
// - a version prints as its text up to the first NUL.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/two_texts.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/registration.h"
#include "survey/values/versions.h"

namespace {

using survey::host::OperatorEntry;
using survey::host::Registry;

using fuzz_texts::Mismatch;
using fuzz_texts::Shown;
using fuzz_texts::Sign;

bool Digit(std::string const& text, std::size_t at) {
  return at < text.size() && text[at] >= '0' && text[at] <= '9';
}

// The order read again from its rules, over whole strings and positions
// rather than pointers: find the first difference, and judge it by what
// the segment before it held.
int Reference(std::string const& a, std::string const& b) {
  std::size_t at = 0;
  bool onlyZeros = true;
  bool inNumber = false;
  while (at < a.size() && at < b.size() && a[at] == b[at]) {
    if (Digit(a, at)) {
      inNumber = true;
      if (a[at] != '0') onlyZeros = false;
    } else {
      onlyZeros = true;
      inNumber = false;
    }
    ++at;
  }
  if (at == a.size() && at == b.size()) return 0;
  int const c1 = at < a.size() ? static_cast<unsigned char>(a[at]) : 0;
  int const c2 = at < b.size() ? static_cast<unsigned char>(b[at]) : 0;
  bool const bothDigits = Digit(a, at) && Digit(b, at);
  if (!inNumber && !bothDigits) return Sign(c1 - c2);
  if (onlyZeros && c1 == '0') return -1;
  if (onlyZeros && c2 == '0') return 1;
  std::size_t runA = 0;
  while (Digit(a, at + runA)) ++runA;
  std::size_t runB = 0;
  while (Digit(b, at + runB)) ++runB;
  if (runA != runB) return runA < runB ? -1 : 1;
  return Sign(c1 - c2);
}

// The registered operators, found once.
struct Operators {
  OperatorEntry const* entries[6][3];
};

char const* const kPairs[6][2] = {{"version", "version"},
                                  {"version", "string"},
                                  {"string", "version"},
                                  {"strverscmp version", "strverscmp version"},
                                  {"strverscmp version", "string"},
                                  {"string", "strverscmp version"}};

Operators const& Found() {
  static RegisteredType const stringType{
      "string", sizeof(surveyor_string),
      &SurveyorTypeInfo<surveyor_string, kNotFingerprinted>::Destroy, nullptr, nullptr};
  static Operators const operators = [] {
    Registry const& registry = Registry::Default();
    Operators found{};
    int const codes[3] = {kOperatorEqual, kOperatorLessThan, kOperatorLessOrEqual};
    for (int pair = 0; pair < 6; ++pair) {
      for (int code = 0; code < 3; ++code) {
        OperatorEntry const* const entry = registry.FindOperator(
            codes[code], registry.FindType(kPairs[pair][0]), registry.FindType(kPairs[pair][1]));
        if (entry == nullptr || entry->left != kPairs[pair][0] || entry->right != kPairs[pair][1]) {
          std::fprintf(stderr, "no operator %d for %s and %s\n", codes[code], kPairs[pair][0],
                       kPairs[pair][1]);
          std::abort();
        }
        found.entries[pair][code] = entry;
      }
    }
    return found;
  }();
  return operators;
}

// The sign that the three relations of one operand pair give together.
int RelationSign(int pair, void const* left, void const* right, std::string const& a,
                 std::string const& b) {
  bool answers[3];
  for (int code = 0; code < 3; ++code) {
    OperatorEntry const* const entry = Found().entries[pair][code];
    boolean result{7};
    entry->thunk(&result, left, right, entry->context);
    if (result.value > 1) Mismatch(a, b, "a relation answered neither true nor false");
    answers[code] = result.value == 1;
  }
  bool const equal = answers[0];
  bool const less = answers[1];
  if (answers[2] != (less || equal) || (less && equal)) {
    Mismatch(a, b,
             std::string("relations of ") + kPairs[pair][0] + " and " + kPairs[pair][1] +
                 " disagree with each other");
  }
  return less ? -1 : equal ? 0 : 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  Operators const& operators = Found();
  (void)operators;
  survey::host::Evaluation evaluation(Registry::Default());
  survey::host::Evaluation::Scope scope(evaluation);

  // What counts: the texts up to their first NULs, in exact heap blocks.
  fuzz_texts::TwoTexts const texts(data, size);

  int const forward = Sign(CompareVersions(texts.blockA.get(), texts.blockB.get()));
  int const backward = Sign(CompareVersions(texts.blockB.get(), texts.blockA.get()));
  if (forward != -backward)
    Mismatch(texts.a, texts.b, "reversing the operands does not reverse the sign");
  if ((forward == 0) != (texts.a == texts.b)) Mismatch(texts.a, texts.b, "zero is not sameness");
  if (CompareVersions(texts.blockA.get(), texts.blockA.get()) != 0)
    Mismatch(texts.a, texts.a, "not equal to itself");
  int const expected = Reference(texts.a, texts.b);
  if (forward != expected) {
    Mismatch(texts.a, texts.b,
             "sign " + std::to_string(forward) + ", the rules give " + std::to_string(expected));
  }

  // Through the registered relations, the strings whole, NULs and all.
  surveyor_string const textA{reinterpret_cast<unsigned char const*>(texts.wholeA.data()),
                              static_cast<unsigned long>(texts.wholeA.size())};
  surveyor_string const textB{reinterpret_cast<unsigned char const*>(texts.wholeB.data()),
                              static_cast<unsigned long>(texts.wholeB.size())};
  surveyor_version const versionA = version_of(textA);
  surveyor_version const versionB = AsVersion(textB);
  if (RelationSign(0, &versionA, &versionB, texts.a, texts.b) != forward)
    Mismatch(texts.a, texts.b, "version, version");
  if (RelationSign(1, &versionA, &textB, texts.a, texts.b) != forward)
    Mismatch(texts.a, texts.b, "version, string");
  if (RelationSign(2, &textA, &versionB, texts.a, texts.b) != forward)
    Mismatch(texts.a, texts.b, "string, version");

  int const strverscmpSign = Sign(strverscmp(texts.blockA.get(), texts.blockB.get()));
  surveyor_strverscmp_version const strverscmpA = strverscmp_version_of(textA);
  surveyor_strverscmp_version const strverscmpB = AsStrverscmpVersion(textB);
  if (RelationSign(3, &strverscmpA, &strverscmpB, texts.a, texts.b) != strverscmpSign) {
    Mismatch(texts.a, texts.b, "strverscmp version, strverscmp version");
  }
  if (RelationSign(4, &strverscmpA, &textB, texts.a, texts.b) != strverscmpSign) {
    Mismatch(texts.a, texts.b, "strverscmp version, string");
  }
  if (RelationSign(5, &textA, &strverscmpB, texts.a, texts.b) != strverscmpSign) {
    Mismatch(texts.a, texts.b, "string, strverscmp version");
  }

  // Stored whole, printed to the first NUL.
  if (std::memcmp(versionA.text, texts.wholeA.data(), texts.wholeA.size()) != 0 ||
      versionA.text[texts.wholeA.size()] != '\0') {
    Mismatch(texts.a, texts.b, "the stored text is not the whole string");
  }
  surveyor_string const printed = AsString(versionA);
  if (std::string(reinterpret_cast<char const*>(printed.data), printed.length) != texts.a) {
    Mismatch(texts.a, texts.b, "prints otherwise");
  }
  return 0;
}
