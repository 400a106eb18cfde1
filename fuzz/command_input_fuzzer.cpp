// What the command reads from its user besides queries, each against an
// oracle of its own. The first input byte chooses what the rest is:
//
//   0  a size of --max-memory: a run of digits and a unit, read again here
//      in 128-bit arithmetic; any other text must be refused;
//   1  a CSV field: read back by the rules of RFC 4180, it must give the
//      text again;
//   2  lines typed at the prompt: whether a parenthesis or a quote is left
//      open, against a second reading that first removes quoted texts and
//      comments; and the completions of the text, each of which must finish
//      a phrase of the list from the start of the last word typed.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/survey/memory.h"
#include "tools/survey/output.h"
#include "tools/survey/prompt.h"

namespace {

[[noreturn]] void Differ(char const* what, std::string_view input) {
  std::fprintf(stderr, "%s differs for \"", what);
  for (unsigned char const c : input) std::fprintf(stderr, "\\x%02x", c);
  std::fprintf(stderr, "\"\n");
  std::abort();
}

void CheckSize(std::string const& text) {
  std::string problem;
  std::optional<std::size_t> const size = survey::command::ParseSize(text, problem);
  std::size_t digits = 0;
  unsigned __int128 number = 0;
  bool huge = false;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    number = number * 10 + static_cast<unsigned>(text[digits] - '0');
    if (number > (static_cast<unsigned __int128>(1) << 100)) huge = true;
    ++digits;
  }
  std::string unit;
  for (char const c : text.substr(digits)) unit += (c >= 'a' && c <= 'z') ? c - 32 : c;
  int shift = -1;
  if (unit.empty() || unit == "B") shift = 0;
  if (unit == "K" || unit == "KB" || unit == "KIB") shift = 10;
  if (unit == "M" || unit == "MB" || unit == "MIB") shift = 20;
  if (unit == "G" || unit == "GB" || unit == "GIB") shift = 30;
  if (digits == 0 || shift < 0) {
    if (size) Differ("a size that is none", text);
    return;
  }
  unsigned __int128 const bytes = number << shift;
  bool const fits = !huge && bytes < static_cast<unsigned __int128>(static_cast<std::size_t>(-1));
  if (fits != size.has_value()) Differ("whether a size fits", text);
  if (size && *size != static_cast<std::size_t>(bytes)) Differ("a size", text);
}

void CheckCsvField(std::string const& text) {
  std::string const field = survey::command::CsvField(text);
  std::string read;
  if (!field.empty() && field.front() == '"') {
    if (field.size() < 2 || field.back() != '"') Differ("a quoted field's ends", text);
    for (std::size_t at = 1; at + 1 < field.size(); ++at) {
      if (field[at] == '"') {
        if (at + 2 >= field.size() || field[at + 1] != '"') Differ("a lone quote", text);
        ++at;
      }
      read += field[at];
    }
  } else {
    if (field.find_first_of(",\"\r\n") != std::string::npos) Differ("an unquoted field", text);
    read = field;
  }
  if (read != text) Differ("a field read back", text);
}

// Whether the text leaves something open, read in another way: quoted
// texts and comments are taken out first, and the parentheses of what is
// left counted.
bool OpenByAnotherReading(std::string_view text) {
  std::string left;
  bool quoted = false;
  std::size_t at = 0;
  while (at < text.size()) {
    if (quoted) {
      std::size_t const end = text.find('"', at);
      if (end == std::string_view::npos) return true;
      quoted = false;
      at = end + 1;
    } else if (text[at] == '"') {
      quoted = true;
      ++at;
    } else if (text.substr(at, 2) == "//") {
      std::size_t const end = text.find('\n', at);
      at = end == std::string_view::npos ? text.size() : end;
    } else {
      left += text[at++];
    }
  }
  if (quoted) return true;
  long depth = 0;
  for (char const c : left) depth += c == '(' ? 1 : c == ')' ? -1 : 0;
  return depth > 0;
}

void CheckTyped(std::string const& text) {
  if (survey::command::LeavesOpen(text) != OpenByAnotherReading(text)) Differ("open", text);
  static std::vector<std::string> const phrases = {
      "line",        "lines",           "line containing", "lines containing", "contains",
      "of",          "concatenation",   "file",            "files",            "name",
      "names",       "unique value",    "unique values",   "as",               "a b c d"};
  for (std::string const& completion : survey::command::Completions(phrases, text)) {
    bool finishes = false;
    for (std::string const& phrase : phrases) {
      if (phrase.size() >= completion.size() &&
          phrase.compare(phrase.size() - completion.size(), completion.size(), completion) == 0) {
        finishes = true;
      }
    }
    if (!finishes) Differ("a completion", text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::string const text(reinterpret_cast<char const*>(data) + 1, size - 1);
  switch (data[0] % 3) {
    case 0: CheckSize(text); break;
    case 1: CheckCsvField(text); break;
    default: CheckTyped(text); break;
  }
  return 0;
}
