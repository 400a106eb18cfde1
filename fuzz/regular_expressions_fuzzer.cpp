// Fuzz target for regular-expression text handed to the C library: a
// hostile pattern and a hostile subject, each in a heap block of exactly its
// size so that a read past either is caught. The first byte says where the
// rest is cut in two, whether the pattern ignores case, and whether the
// character set is UTF-8 (the C.UTF-8 locale) or single bytes (C).
//
// A pattern that does not compile must fail with a code that regerror puts
// into words, and leave the state able to compile another. One that compiles
// must give relations that agree with each other (a whole match starts the
// text, a start or an end is contained, containing is having a first match),
// matches inside the text, each starting after the one before, with
// parenthesized parts inside the text, the same by number as in turn; and the
// trims of the subject must be views of it that follow their rules. A search
// that runs long is stopped by the evaluation's time limit, as in a query.
// The first match must be the one the C library finds with the pattern as
// compiled, whatever other form the search chose.

#include <chrono>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "host/engine/errors.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/foundation/ascii.h"
#include "survey/values/regular_expressions.h"

namespace {

[[noreturn]] void Fail(std::string const& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

bool Inside(surveyor_string const& part, surveyor_string const& whole) {
  if (part.length == 0) return part.data >= whole.data && part.data <= whole.data + whole.length;
  return part.data >= whole.data && part.length <= whole.length &&
         part.data + part.length <= whole.data + whole.length;
}

void CheckTrims(surveyor_string const& text) {
  ByteSet const& white = Ascii::WhiteSpace();
  surveyor_string const left = LeftTrimmedString(text);
  if (!Inside(left, text) || left.data + left.length != text.data + text.length) {
    Fail("left trim is no tail of the text");
  }
  if (left.length != 0 && white.Contains(left.data[0])) Fail("left trim starts with white");
  surveyor_string const right = RightTrimmedString(text);
  if (right.data != text.data || right.length > text.length) Fail("right trim is no head");
  if (text.length != 0 && right.length == 0) Fail("right trim lost the first byte");
  if (right.length > 1 && white.Contains(right.data[right.length - 1])) {
    Fail("right trim ends with white");
  }
  surveyor_string const both = TrimmedString(text);
  surveyor_string const again = RightTrimmedString(left);
  if (both.data != again.data || both.length != again.length) Fail("trim is not right of left");
}

void CheckMatches(regular_expression const& pattern, surveyor_string const& text) {
  bool const contains = Contains(text, pattern).value == 1;
  bool const starts = StartsWith(text, pattern).value == 1;
  bool const equals = (text == pattern).value == 1;
  if ((pattern == text).value != (text == pattern).value) Fail("= is not symmetric");
  bool const ends = EndsWith(text, pattern).value == 1;
  if (equals && !starts) Fail("a whole match does not start the text");
  if ((starts || ends) && !contains) Fail("a start or an end that is not contained");

  regular_expression_match_iterator matches;
  bool found = false;
  long previous = -1;
  try {
    regular_expression_match match = matches.First(pattern, 0, text);
    found = true;
    for (int count = 0; count < 64; ++count) {
      if (!Inside(match.match.part, text)) Fail("a match outside the text");
      long const start = match.match.part.data - text.data;
      if (start <= previous) Fail("a match that does not start after the one before");
      previous = start;
      std::vector<regmatch_t> const& placed = match.parts->Groups();
      unsigned long const groups = placed.size() - 1;
      if (groups > 0 && (placed[0].rm_so != start ||
                         static_cast<unsigned long>(placed[0].rm_eo - placed[0].rm_so) !=
                             match.match.part.length)) {
        Fail("the groups are placed in another match");
      }
      regular_expression_match_part_iterator parts;
      unsigned long number = 0;
      try {
        substring part = parts.First(0, match);
        while (true) {
          ++number;
          if (!Inside(part.part, text)) Fail("a part outside the text");
          substring const byNumber = MatchPart(number, match);
          if (byNumber.part.data != part.part.data || byNumber.part.length != part.part.length) {
            Fail("a part differs by number");
          }
          part = parts.Next(0, match);
        }
      } catch (NoSuchObject const&) {
      }
      if (number != groups) Fail("parts in turn are not the groups");
      try {
        MatchPart(0, match);
        Fail("part 0 has a value");
      } catch (NoSuchObject const&) {
      }
      match = matches.Next(pattern, 0, text);
    }
  } catch (NoSuchObject const&) {
  }
  if (found != contains) Fail("a first match and containing disagree");

  // The same search made on a terminated copy with the compiled pattern
  // itself.
  std::string const copy(reinterpret_cast<char const*>(text.data), text.length);
  regmatch_t whole{0, static_cast<regoff_t>(text.length)};
  bool const direct = RegExec(*pattern.pattern, copy.c_str(), REG_STARTEND, 1, &whole);
  regular_expression_match_iterator first;
  std::optional<regular_expression_match> const match = first.FirstFound(pattern, 0, text);
  if (direct != match.has_value()) Fail("a first match where the compiled pattern finds none");
  if (match && (match->match.part.data - text.data != whole.rm_so ||
                static_cast<long>(match->match.part.length) != whole.rm_eo - whole.rm_so)) {
    Fail("a first match other than the compiled pattern's");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  survey::host::Registry& registry = survey::host::Registry::Default();
  survey::host::Evaluation evaluation(registry);
  evaluation.SetTimeLimit(std::chrono::milliseconds(100));
  survey::host::Evaluation::Scope scope(evaluation);

  std::size_t const rest = size - 1;
  std::size_t const cut = rest == 0 ? 0 : (data[0] >> 2) % (rest + 1);
  bool const folded = (data[0] & 1) != 0;
  bool const utf8 = (data[0] & 2) != 0;
  if (std::setlocale(LC_CTYPE, utf8 ? "C.UTF-8" : "C") == nullptr) std::setlocale(LC_CTYPE, "C");
  std::unique_ptr<unsigned char[]> const patternBlock(new unsigned char[cut == 0 ? 1 : cut]);
  std::unique_ptr<unsigned char[]> const textBlock(new unsigned char[rest - cut == 0 ? 1 : rest - cut]);
  if (cut != 0) std::memcpy(patternBlock.get(), data + 1, cut);
  if (rest - cut != 0) std::memcpy(textBlock.get(), data + 1 + cut, rest - cut);
  surveyor_string const patternText{patternBlock.get(), static_cast<unsigned long>(cut)};
  surveyor_string const text{textBlock.get(), static_cast<unsigned long>(rest - cut)};

  CheckTrims(text);

  regular_expression_iterator state;
  try {
    regular_expression const pattern =
        folded ? state.FirstCaseInsensitive(patternText) : state.First(patternText);
    regular_expression const again =
        folded ? state.FirstCaseInsensitive(patternText) : state.First(patternText);
    if (again.pattern != pattern.pattern) Fail("the state did not keep its pattern");
    CheckMatches(pattern, text);
  } catch (RegComp_Failed const& failure) {
    if (failure.Code() == 0) Fail("a failed compile with code 0");
    if (RegError(failure.Code()).IsEmpty()) Fail("a code without words");
    // The state is as it was: it still compiles a plain pattern.
    static unsigned char const kPlain[] = "a";
    regular_expression const plain = state.First(surveyor_string{kPlain, 1});
    if (!RegExec(*plain.pattern, "xa", 0, 0, nullptr)) Fail("the state broke");
  } catch (RegExec_Failed const&) {
    // The C library ran out of room for this pattern: an answer, not a fault.
  } catch (survey::host::InterruptedEvaluation const&) {
    // The time limit stopped a long search.
  }
  return 0;
}
