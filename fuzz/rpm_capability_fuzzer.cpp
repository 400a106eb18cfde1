// Fuzz target for capabilities. The input's first byte says where the rest
// is cut in two. Each part is read as the text of a capability and, up to
// its first NUL and held in a heap block of exactly its size, as a version.
// For any two texts:
//
// - a text that reads as a capability gives the name, relation and version
//   that a second, plain reading of the text form gives, and one refused is
//   refused by that reading too;
// - a capability with a name prints, and its printed form reads back to the
//   same name, and to the same relation and version when it has a relation
//   and its name holds no white space;
// - CompareVersionSegment gives the sign of a second reading of its rules,
//   made on cut copies of the texts, and zero for a text against itself;
// - "contains" answers true or false, and true for a capability with no
//   relation against any of the same name.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "fuzz/two_texts.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/rpm/capability.h"

namespace {

using fuzz_texts::Mismatch;
using fuzz_texts::Shown;
using fuzz_texts::Sign;

bool Digit(char c) { return c >= '0' && c <= '9'; }
bool Letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

struct Reading {
  std::string name;
  int relation;
  std::string version;
};

int Flags(std::string const& token) {
  if (token == "<") return 1;
  if (token == "=") return 2;
  if (token == ">") return 4;
  if (token == "<=" || token == "=<") return 3;
  if (token == ">=" || token == "=>") return 6;
  return 0;
}

// The text form read again, by splitting the string.
std::optional<Reading> ReadCapability(std::string const& text) {
  if (text.empty()) return std::nullopt;
  if (text[0] == '/') return Reading{text, 0, ""};
  std::size_t const first = text.find_first_of(" \t");
  if (first == std::string::npos) return Reading{text, 0, ""};
  std::string const name = text.substr(0, first);
  std::string const rest = text.substr(first + 1);
  std::size_t const second = rest.find_first_of(" \t");
  std::string const token = second == std::string::npos ? rest : rest.substr(0, second);
  std::string const version = second == std::string::npos ? "" : rest.substr(second + 1);
  if (token.empty()) return Reading{name, 0, version};
  if (version.empty() || Flags(token) == 0) return std::nullopt;
  return Reading{name, Flags(token), version};
}

// The order read again, on copies that are cut run by run.
int ReferenceOrder(std::string a, std::string b) {
  if (a == b) return 0;
  if (a.empty()) return b.empty() ? 0 : -1;
  for (;;) {
    if (b.empty()) return a.empty() ? 0 : 1;
    while (!a.empty() && !Digit(a[0]) && !Letter(a[0])) a.erase(0, 1);
    while (!b.empty() && !Digit(b[0]) && !Letter(b[0])) b.erase(0, 1);
    bool (*const kind)(char) = !a.empty() && Digit(a[0]) ? &Digit : &Letter;
    std::size_t aLength = 0;
    while (aLength < a.size() && kind(a[aLength])) ++aLength;
    std::size_t bLength = 0;
    while (bLength < b.size() && kind(b[bLength])) ++bLength;
    if (aLength == 0 || bLength == 0) return -1;
    std::string aRun = a.substr(0, aLength);
    std::string bRun = b.substr(0, bLength);
    a.erase(0, aLength);
    b.erase(0, bLength);
    if (kind == &Digit) {
      aRun.erase(0, aRun.find_first_not_of('0') == std::string::npos ? aRun.size()
                                                                     : aRun.find_first_not_of('0'));
      bRun.erase(0, bRun.find_first_not_of('0') == std::string::npos ? bRun.size()
                                                                     : bRun.find_first_not_of('0'));
      if (aRun.size() != bRun.size()) return aRun.size() > bRun.size() ? 1 : -1;
    }
    int const order = Sign(std::strcmp(aRun.c_str(), bRun.c_str()));
    if (order != 0) return order;
    if (a.empty()) return b.empty() ? 0 : -1;
  }
}

std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

std::optional<capability> Parsed(std::string const& text) {
  try {
    return capability_of_world(reinterpret_cast<unsigned char const*>(text.data()), text.size());
  } catch (NoSuchObject const&) {
    return std::nullopt;
  }
}

void CheckCapability(std::string const& text, std::string const& other) {
  std::optional<capability> const parsed = Parsed(text);
  std::optional<Reading> const reading = ReadCapability(text);
  if (parsed.has_value() != reading.has_value()) Mismatch(text, other, "read or refused otherwise");
  if (!parsed) return;
  if (std::string(parsed->name.CString(), parsed->name.GetLength()) != reading->name ||
      parsed->relation != reading->relation ||
      std::string(parsed->version.CString(), parsed->version.GetLength()) != reading->version) {
    Mismatch(text, other, "the parts differ from a plain reading");
  }
  if (parsed->name.IsEmpty()) return;
  std::string const printed = Text(AsString(*parsed));
  std::optional<capability> const again = Parsed(printed);
  if (!again) Mismatch(text, other, "the printed form \"" + Shown(printed) + "\" is refused");
  bool const plainName = reading->name.find_first_of(" \t") == std::string::npos;
  if (plainName && parsed->relation != 0 &&
      (again->name.Compare(parsed->name) != 0 || again->relation != parsed->relation ||
       again->version.Compare(parsed->version) != 0)) {
    Mismatch(text, other, "the printed form reads back otherwise");
  }
  capability const bare(parsed->name.Text(), parsed->name.GetLength(), 0, nullptr, 0, nullptr, 0);
  if (CapabilityContains(bare, *parsed).value != 1 || CapabilityContains(*parsed, bare).value != 1) {
    Mismatch(text, other, "no relation does not meet every range");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  survey::host::Evaluation evaluation(survey::host::Registry::Default());
  survey::host::Evaluation::Scope scope(evaluation);

  fuzz_texts::TwoTexts const texts(data, size);

  CheckCapability(texts.wholeA, texts.wholeB);
  CheckCapability(texts.wholeB, texts.wholeA);

  int const order = Sign(CompareVersionSegment(texts.blockA.get(), texts.blockB.get()));
  int const expected = ReferenceOrder(texts.a, texts.b);
  if (order != expected) {
    Mismatch(texts.a, texts.b,
             "sign " + std::to_string(order) + ", the rules give " + std::to_string(expected));
  }
  if (CompareVersionSegment(texts.blockA.get(), texts.blockA.get()) != 0) {
    Mismatch(texts.a, texts.a, "not equal to itself");
  }
  (void)CompareVersionRelease(texts.blockA.get(), texts.blockB.get());

  std::optional<capability> const left = Parsed(texts.wholeA);
  std::optional<capability> const right = Parsed(texts.wholeB);
  if (left && right) {
    unsigned char const answer = CapabilityContains(*left, *right).value;
    if (answer > 1) Mismatch(texts.a, texts.b, "contains answered neither true nor false");
  }
  return 0;
}
