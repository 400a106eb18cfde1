#include "survey/values/regular_expressions.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <langinfo.h>

#include <bitset>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "survey/foundation/ascii.h"
#include "survey/foundation/data.h"
#include "survey/frame/stream_end.h"
#include "survey/frame/table.h"

// Builds with the address checker search copies of their texts (see the
// range form of RegExec).
#if defined(__SANITIZE_ADDRESS__)
#define SEARCHES_TERMINATED_COPIES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SEARCHES_TERMINATED_COPIES 1
#endif
#endif
#ifndef SEARCHES_TERMINATED_COPIES
#define SEARCHES_TERMINATED_COPIES 0
#endif

namespace {

// The text of a string value as the C library takes it: never null, so that
// an empty value still names a place.
char const* BaseOf(surveyor_string const& text) {
  static char const kEmpty[] = "";
  return text.data == nullptr ? kEmpty : reinterpret_cast<char const*>(text.data);
}

// Offsets travel in regoff_t, an int: a longer text cannot be searched.
unsigned long SearchableLength(surveyor_string const& text) {
  if (text.length > static_cast<unsigned long>(INT_MAX)) throw RegExec_Failed(REG_ESIZE);
  return text.length;
}

bool SameBytes(Stringy const& stored, surveyor_string const& text) {
  return stored.GetLength() == text.length &&
         (text.length == 0 || std::memcmp(stored.Text(), text.data, text.length) == 0);
}

}  // namespace

// ---------------------------------------------------------------------------
// The C library's functions.

namespace {

// What is known of a compiled pattern beyond what the C library keeps.
struct ProgramFacts {
  // It has back-references, which the C library matches by backtracking,
  // and which may take longer than any query may wait.
  bool backtracking = false;
  // Bytes that every match holds, in this order; empty when none are known.
  std::string literal;
  // Bytes that every match starts with; empty when none are known. A
  // search need not look for a match before their first place in a text.
  std::string leading;
  // Where the character set is UTF-8: the same pattern with each bracket
  // expression written out as the ASCII characters it matches, which the C
  // library searches byte by byte, as it searches any pattern of ASCII
  // characters without bracket expressions of more. On a text of ASCII
  // characters other than NUL it finds what the pattern finds. Null when
  // no such form was made.
  std::shared_ptr<re_pattern_buffer> ascii;
};

// The facts of the compiled patterns that have any, by their compiled
// program, which stays where regcomp put it while the buffer that holds it
// is copied. The evaluator is single-threaded, and so is this table.
std::unordered_map<void const*, ProgramFacts>& KnownPrograms() {
  static std::unordered_map<void const*, ProgramFacts> programs;
  return programs;
}

// The last program looked up and its facts: a search over the lines of a
// file asks for the same pattern's facts once per line. Forgotten whenever
// the table changes.
struct LastLookUp {
  void const* program = nullptr;
  ProgramFacts const* facts = nullptr;
};
LastLookUp& LastFacts() {
  static LastLookUp last;
  return last;
}

ProgramFacts const* FactsOf(re_pattern_buffer const& pattern) {
  if (pattern.buffer == nullptr) return nullptr;
  LastLookUp& last = LastFacts();
  if (last.program == pattern.buffer) return last.facts;
  auto const& programs = KnownPrograms();
  if (programs.empty()) return nullptr;
  auto const found = programs.find(pattern.buffer);
  ProgramFacts const* const facts = found == programs.end() ? nullptr : &found->second;
  last = LastLookUp{pattern.buffer, facts};
  return facts;
}

// Whether the bytes hold the literal.
bool HoldsLiteral(char const* from, char const* to, std::string const& literal) {
  return FindBytes(ConstData(from, static_cast<unsigned long>(to - from)),
                   ConstData(literal.data(), literal.size())) != nullptr;
}

// A byte that stands for itself in an extended pattern, wherever it is
// outside brackets, and is the same byte in every character set the C
// library knows: ASCII letters, digits, space and plain punctuation.
bool PlainByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::strchr(" -_/:,;=@#%&<>!~'\"", c) != nullptr;
}

// The end of the bracket expression that starts at `open`: the "]" that
// closes it, past a "]" first in the list and past classes, equivalence
// classes and collating symbols. Null when nothing closes it.
char const* BracketEnd(char const* open) {
  char const* q = open + 1;
  if (*q == '^') ++q;
  if (*q == ']') ++q;
  while (*q != '\0' && *q != ']') {
    if (*q == '[' && (q[1] == ':' || q[1] == '.' || q[1] == '=')) {
      char const close = q[1];
      q += 2;
      while (*q != '\0' && !(*q == close && q[1] == ']')) ++q;
      if (*q == '\0') return nullptr;
      q += 2;
      continue;
    }
    ++q;
  }
  return *q == ']' ? q : nullptr;
}

// Runs of plain bytes that every match of an extended pattern holds.
struct Literals {
  // The longest of them.
  std::string longest;
  // The one that opens the pattern, with which every match starts.
  std::string leading;
};

// The runs of plain bytes that every match of an extended pattern holds:
// plain bytes in a row at the top level of the pattern, outside groups and
// bracket expressions, less a byte that a "*", "?" or interval makes
// optional or repeats. None for a pattern with an alternative at any level,
// which may match without any given run, and none when the pattern is
// matched without regard to case. What this cannot read for certain ends
// the reading: the runs before it still hold.
Literals RequiredLiterals(char const* pattern, int flags) {
  Literals found;
  if ((flags & REG_ICASE) != 0 || std::strchr(pattern, '|') != nullptr) return found;
  std::string& best = found.longest;
  std::string run;
  // Whether the run read so far opens the pattern.
  bool opening = true;
  auto end = [&] {
    if (opening) found.leading = run;
    opening = false;
    if (run.size() > best.size()) best = run;
    run.clear();
  };
  int depth = 0;
  for (char const* p = pattern; *p != '\0'; ++p) {
    char const c = *p;
    if (c == '\\') {
      // An escaped byte is taken as unknown; the byte after it is skipped.
      end();
      if (p[1] == '\0') break;
      ++p;
      continue;
    }
    if (c == '[') {
      // A bracket expression, "]" first taken as a member, classes whole.
      end();
      char const* const close = BracketEnd(p);
      if (close == nullptr) break;
      p = close;
      continue;
    }
    if (c == '(') {
      end();
      ++depth;
      continue;
    }
    if (c == ')') {
      end();
      if (depth == 0) break;
      --depth;
      continue;
    }
    if (depth > 0) continue;
    if (c == '*' || c == '?' || c == '{') {
      // The byte before is optional or counted: it leaves the run.
      if (!run.empty()) run.pop_back();
      end();
      if (c == '{') break;
      continue;
    }
    if (c == '+') {
      // The byte before stands at least once, and may repeat; unless a
      // quantifier after this one makes it optional after all.
      if (p[1] == '*' || p[1] == '?' || p[1] == '{') {
        if (!run.empty()) run.pop_back();
      }
      end();
      continue;
    }
    if (!PlainByte(c)) {
      end();
      continue;
    }
    run += c;
  }
  end();
  return found;
}

// Whether every byte of a range is an ASCII character other than NUL: for
// each eight bytes, a byte of 128 or more sets its own top bit, and a NUL
// byte sets the top bit of its difference with 1.
bool AllAscii(char const* from, char const* to) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kTops = 0x8080808080808080ULL;
  while (to - from >= 8) {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    if (((word | (word - kOnes)) & kTops) != 0) return false;
    from += 8;
  }
  for (; from < to; ++from) {
    unsigned char const byte = static_cast<unsigned char>(*from);
    if (byte == 0 || byte >= 0x80) return false;
  }
  return true;
}

void FreeCompiled(re_pattern_buffer* pattern) {
  regfree(pattern);
  delete pattern;
}

std::shared_ptr<re_pattern_buffer> CompiledOrNull(char const* pattern, int flags) {
  auto* buffer = new re_pattern_buffer();
  if (regcomp(buffer, pattern, flags) != 0) {
    delete buffer;
    return nullptr;
  }
  return std::shared_ptr<re_pattern_buffer>(buffer, &FreeCompiled);
}

// The ASCII characters other than NUL that a bracket expression matches,
// as the C library says, one character at a time; a bit per character.
using AsciiSet = std::bitset<128>;
std::optional<AsciiSet> AsciiMembers(std::string const& bracket, int flags) {
  std::shared_ptr<re_pattern_buffer> const compiled = CompiledOrNull(bracket.c_str(), flags);
  if (compiled == nullptr) return std::nullopt;
  AsciiSet members;
  for (int c = 1; c < 128; ++c) {
    char const text[2] = {static_cast<char>(c), '\0'};
    regmatch_t range{0, 1};
    int const result = regexec(compiled.get(), text, 1, &range, REG_STARTEND);
    if (result == 0) {
      members.set(static_cast<std::size_t>(c));
    } else if (result != REG_NOMATCH) {
      return std::nullopt;
    }
  }
  return members;
}

// A bracket expression of exactly these characters: "]" first, "[" and
// "^" after the others, "-" last, so that none is read as anything but
// itself; a lone "^" escaped outside brackets. Empty for an empty set.
std::string WrittenOut(AsciiSet const& members) {
  std::string others;
  for (int c = 1; c < 128; ++c) {
    if (members.test(static_cast<std::size_t>(c)) && std::strchr("]-^[", c) == nullptr) {
      others += static_cast<char>(c);
    }
  }
  bool const close = members.test(']');
  bool const open = members.test('[');
  bool const hat = members.test('^');
  bool const dash = members.test('-');
  if (!close && !open && others.empty()) {
    if (hat && !dash) return "\\^";
    if (hat && dash) return "[-^]";
    if (dash) return "[-]";
    return std::string();
  }
  std::string written = "[";
  if (close) written += ']';
  written += others;
  if (open) written += '[';
  if (hat) written += '^';
  if (dash) written += '-';
  return written + "]";
}

bool IsUtf8CharacterSet() {
  if (MB_CUR_MAX <= 1) return false;
  char const* const codeset = nl_langinfo(CODESET);
  return codeset != nullptr && std::strcmp(codeset, "UTF-8") == 0;
}

// The ASCII form of a pattern (see ProgramFacts), made only where it is
// certain: a UTF-8 character set whose collation has no rules, so that a
// bracket expression matches single characters and nothing else; a
// pattern of ASCII characters, not matched without regard to case, whose
// only escapes are of the characters that the syntax gives a meaning;
// with at least one bracket expression, without which the C library
// searches byte by byte already, and no more than a few, each of which
// costs a search per ASCII character here. Each bracket expression written
// out is checked to match the same characters as the one it stands for.
std::shared_ptr<re_pattern_buffer> AsciiForm(char const* pattern, int flags,
                                             re_pattern_buffer const& compiled) {
  constexpr int kMostBrackets = 16;
  if ((flags & REG_ICASE) != 0 || !IsUtf8CharacterSet()) return nullptr;
  if (reinterpret_cast<std::uintptr_t>(nl_langinfo(_NL_COLLATE_NRULES)) != 0) return nullptr;
  std::string written;
  int brackets = 0;
  for (char const* p = pattern; *p != '\0'; ++p) {
    unsigned char const byte = static_cast<unsigned char>(*p);
    if (byte >= 0x80) return nullptr;
    if (*p == '\\') {
      if (p[1] == '\0' || std::strchr("^.[]$()|*+?{}\\", p[1]) == nullptr) return nullptr;
      written += p[0];
      written += p[1];
      ++p;
      continue;
    }
    if (*p != '[') {
      written += *p;
      continue;
    }
    char const* const end = BracketEnd(p);
    if (end == nullptr || ++brackets > kMostBrackets) return nullptr;
    std::optional<AsciiSet> const members = AsciiMembers(std::string(p, end + 1), flags);
    if (!members) return nullptr;
    std::string const out = WrittenOut(*members);
    if (out.empty()) return nullptr;
    std::optional<AsciiSet> const check = AsciiMembers(out, flags);
    if (!check || *check != *members) return nullptr;
    written += out;
    p = end;
  }
  if (brackets == 0) return nullptr;
  std::shared_ptr<re_pattern_buffer> form = CompiledOrNull(written.c_str(), flags);
  if (form == nullptr || form->re_nsub != compiled.re_nsub) return nullptr;
  return form;
}

// The compiled form to search a text with: the ASCII form where there is
// one and every byte of the text, before the range too, is an ASCII
// character other than NUL.
re_pattern_buffer const& FormFor(re_pattern_buffer const& pattern, ProgramFacts const* facts,
                                 char const* base, char const* to) {
  if (facts == nullptr || facts->ascii == nullptr || !AllAscii(base, to)) return pattern;
  return *facts->ascii;
}

// Where a search of a range for a pattern with these facts may find its
// first match: the range's start, or the first place of the bytes that
// every match starts with. Null when the range cannot hold a match: the
// run of bytes that every match holds, or starts with, is not there. The
// C library then searches less, and a search from there finds what a
// search of the whole range finds, since it judges the context of its
// start (a line's start, a word's edge) by the byte before it. Only a
// search that would run in this process is decided here: one that runs in
// a child process may be stopped by the query's time limit, and is left to
// it.
char const* SearchStart(ProgramFacts const* facts, char const* from, char const* to) {
  if (facts == nullptr || facts->backtracking) return from;
  if (static_cast<unsigned long>(to - from) > kLongestSearchInProcess) return from;
  if (!facts->leading.empty()) {
    unsigned long const length = static_cast<unsigned long>(to - from);
    auto const* const found = reinterpret_cast<char const*>(
        FindBytes(ConstData(from, length), ConstData(facts->leading.data(), facts->leading.size())));
    if (found == nullptr) return nullptr;
    from = found;
  }
  if (facts->literal.empty() || facts->literal == facts->leading) return from;
  return HoldsLiteral(from, to, facts->literal) ? from : nullptr;
}

// Whether a pattern text holds a back-reference, a backslash and a digit
// from 1 to 9 (inside a bracket expression too, which only costs a search
// in a child process).
bool HasBackReference(char const* pattern) {
  for (char const* p = pattern; *p != '\0'; ++p) {
    if (*p != '\\') continue;
    if (p[1] >= '1' && p[1] <= '9') return true;
    if (p[1] == '\0') break;
    ++p;
  }
  return false;
}

bool MayRunLong(ProgramFacts const* facts, unsigned long length) {
  if (length > kLongestSearchInProcess) return true;
  return facts != nullptr && facts->backtracking;
}

// Reads exactly `size` bytes; false at an early end.
bool ReadAll(int descriptor, void* into, std::size_t size) {
  auto* bytes = static_cast<unsigned char*>(into);
  while (size > 0) {
    ssize_t const got = read(descriptor, bytes, size);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

void WriteAll(int descriptor, void const* from, std::size_t size) {
  auto const* bytes = static_cast<unsigned char const*>(from);
  while (size > 0) {
    ssize_t const put = write(descriptor, bytes, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return;
    bytes += put;
    size -= static_cast<std::size_t>(put);
  }
}

// Runs regexec in a child process, which has the pattern and the text as
// this process has them, and waits for its answer in short slices, asking
// the host between them whether to give up; when the host interrupts, the
// child is killed and the interruption goes on.
int SearchInChild(re_pattern_buffer const& pattern, char const* text, int eflags, unsigned nmatch,
                  regmatch_t* pmatch) {
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) throw RegExec_Failed(REG_ESPACE);
  pid_t const child = fork();
  if (child < 0) {
    close(channel[0]);
    close(channel[1]);
    throw RegExec_Failed(REG_ESPACE);
  }
  if (child == 0) {
    close(channel[0]);
    int const result = regexec(&pattern, text, nmatch, pmatch, eflags);
    WriteAll(channel[1], &result, sizeof result);
    if (result == 0 && nmatch != 0) WriteAll(channel[1], pmatch, nmatch * sizeof(regmatch_t));
    _exit(0);
  }
  close(channel[1]);
  auto finish = [&](bool kill) {
    if (kill) ::kill(child, SIGKILL);
    close(channel[0]);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  };
  try {
    while (true) {
      pollfd ready{channel[0], POLLIN, 0};
      int const polled = poll(&ready, 1, kSearchSliceMilliseconds);
      if (polled > 0) break;
      if (polled < 0 && errno != EINTR) throw RegExec_Failed(REG_ESPACE);
      Check_For_Surveyor_Interruption();
    }
  } catch (...) {
    finish(true);
    throw;
  }
  int result = REG_ESPACE;
  // A child that ended without an answer ran out of something.
  if (!ReadAll(channel[0], &result, sizeof result)) result = REG_ESPACE;
  if (result == 0 && nmatch != 0 && !ReadAll(channel[0], pmatch, nmatch * sizeof(regmatch_t))) {
    result = REG_ESPACE;
  }
  finish(false);
  return result;
}

}  // namespace

void RegFree(re_pattern_buffer& pattern) {
  if (pattern.buffer != nullptr) {
    KnownPrograms().erase(pattern.buffer);
    LastFacts() = LastLookUp{};
  }
  regfree(&pattern);
}

CompiledRegularExpression RegComp(char const* pattern, int flags) {
  CompiledRegularExpression compiled{};
  int const result = regcomp(&compiled.buffer, pattern, flags);
  if (result != 0) throw RegComp_Failed(result);
  compiled.owned = true;
  ProgramFacts facts;
  facts.backtracking = HasBackReference(pattern);
  Literals literals = RequiredLiterals(pattern, flags);
  facts.literal = std::move(literals.longest);
  facts.leading = std::move(literals.leading);
  if (!facts.backtracking) facts.ascii = AsciiForm(pattern, flags, compiled.buffer);
  if (facts.backtracking || !facts.literal.empty() || !facts.leading.empty() ||
      facts.ascii != nullptr) {
    try {
      LastFacts() = LastLookUp{};
      KnownPrograms()[compiled.buffer.buffer] = std::move(facts);
    } catch (...) {
      regfree(&compiled.buffer);
      throw;
    }
  }
  return compiled;
}

CompiledRegularExpression RegComp(char const* first, char const* last, int flags) {
  Stringy const pattern(first, static_cast<unsigned long>(last - first));
  return RegComp(pattern.CString(), flags);
}

namespace {
// A search with the given compiled form, the facts being those of the
// pattern it stands for.
bool Execute(re_pattern_buffer const& form, ProgramFacts const* facts, char const* text,
             int eflags, unsigned nmatch, regmatch_t* pmatch) {
  unsigned long const length = (eflags & REG_STARTEND) != 0
                                   ? static_cast<unsigned long>(pmatch[0].rm_eo - pmatch[0].rm_so)
                                   : std::strlen(text);
  int const result = MayRunLong(facts, length)
                         ? SearchInChild(form, text, eflags, nmatch, pmatch)
                         : regexec(&form, text, nmatch, pmatch, eflags);
  if (result == 0) return true;
  if (result == REG_NOMATCH) return false;
  throw RegExec_Failed(result);
}
}  // namespace

bool RegExec(re_pattern_buffer const& pattern, char const* text, int eflags, unsigned nmatch,
             regmatch_t* pmatch) {
  return Execute(pattern, FactsOf(pattern), text, eflags, nmatch, pmatch);
}

bool RegExec(re_pattern_buffer const& pattern, char const* base, char const* from, char const* to,
             int eflags, unsigned nmatch, regmatch_t* pmatch) {
  ProgramFacts const* const facts = FactsOf(pattern);
  re_pattern_buffer const& form = FormFor(pattern, facts, base, to);
  regmatch_t local;
  regmatch_t* const range = nmatch == 0 ? &local : pmatch;
  range[0].rm_so = static_cast<regoff_t>(from - base);
  range[0].rm_eo = static_cast<regoff_t>(to - base);
#if SEARCHES_TERMINATED_COPIES
  // regexec reads no further than the range's end, but the address
  // checker's wrapper of it measures the text up to a NUL first; so the
  // search runs on a terminated copy, whose offsets are those of the text.
  static std::vector<char> terminated;
  terminated.assign(base, to);
  terminated.push_back('\0');
  return Execute(form, facts, terminated.data(), eflags | REG_STARTEND, nmatch, range);
#else
  // regexec reads the range and nothing around it.
  return Execute(form, facts, base, eflags | REG_STARTEND, nmatch, range);
#endif
}

namespace {
void SizeForGroups(re_pattern_buffer const& pattern, std::vector<regmatch_t>& matches) {
  matches.resize(pattern.re_nsub + 1, regmatch_t{});
}
}  // namespace

bool RegExec(re_pattern_buffer const& pattern, char const* text, int eflags,
             std::vector<regmatch_t>& matches) {
  SizeForGroups(pattern, matches);
  return RegExec(pattern, text, eflags, static_cast<unsigned>(matches.size()), matches.data());
}

bool RegExec(re_pattern_buffer const& pattern, char const* base, char const* from, char const* to,
             int eflags, std::vector<regmatch_t>& matches) {
  SizeForGroups(pattern, matches);
  return RegExec(pattern, base, from, to, eflags, static_cast<unsigned>(matches.size()),
                 matches.data());
}

namespace {
// regerror reports the size the whole message needs, terminator included;
// the buffer grows until it holds it.
Stringy ErrorWords(int code, re_pattern_buffer const* pattern) {
  std::vector<char> buffer(200);
  std::size_t needed = regerror(code, pattern, buffer.data(), buffer.size());
  while (needed > buffer.size()) {
    buffer.resize(needed);
    needed = regerror(code, pattern, buffer.data(), buffer.size());
  }
  return Stringy(buffer.data(), needed == 0 ? 0 : static_cast<unsigned long>(needed - 1));
}
}  // namespace

Stringy RegError(int code) { return ErrorWords(code, nullptr); }

Stringy RegError(int code, re_pattern_buffer const& pattern) { return ErrorWords(code, &pattern); }

// ---------------------------------------------------------------------------
// Making a regular expression.

regular_expression_iterator::regular_expression_iterator()
    : buffer_(), owned_(false), text_(), flags_(0) {}

regular_expression_iterator::~regular_expression_iterator() {
  if (owned_) RegFree(buffer_);
}

regular_expression regular_expression_iterator::Compiled(surveyor_string const& pattern,
                                                         int flags) {
  // The state keeps the last pattern compiled; an empty one is never taken
  // from it.
  if (!text_.IsEmpty() && flags_ == flags && SameBytes(text_, pattern)) {
    return regular_expression{&buffer_};
  }
  // The copy is terminated, and regcomp reads it up to its first NUL.
  Stringy text(pattern.data, pattern.length);
  CompiledRegularExpression compiled = RegComp(text.CString(), flags);
  // Only a successful compile replaces what the state holds.
  if (owned_) RegFree(buffer_);
  buffer_ = compiled.buffer;
  owned_ = true;
  text_ = std::move(text);
  flags_ = flags;
  return regular_expression{&buffer_};
}

regular_expression regular_expression_iterator::First(surveyor_string const& pattern) {
  return Compiled(pattern, kRegularExpressionFlags);
}

regular_expression regular_expression_iterator::FirstCaseInsensitive(
    surveyor_string const& pattern) {
  return Compiled(pattern, kCaseInsensitiveRegularExpressionFlags);
}

regular_expression regular_expression_iterator::Next(surveyor_string const&) {
  throw NoSuchObject();
}

// ---------------------------------------------------------------------------
// Relations. Each searches the whole string by its length.

boolean Contains(surveyor_string const& text, regular_expression const& pattern) {
  char const* const base = BaseOf(text);
  unsigned long const length = SearchableLength(text);
  // A text without the bytes that every match holds has no match: the C
  // library is not asked.
  char const* const start = SearchStart(FactsOf(*pattern.pattern), base, base + length);
  if (start == nullptr) return boolean{0};
  bool const found = RegExec(*pattern.pattern, base, start, base + length, 0, 0, nullptr);
  return boolean{static_cast<unsigned char>(found ? 1 : 0)};
}

boolean StartsWith(surveyor_string const& text, regular_expression const& pattern) {
  char const* const base = BaseOf(text);
  unsigned long const length = SearchableLength(text);
  regmatch_t match;
  // regexec gives the leftmost match: one further right means no.
  bool const found = RegExec(*pattern.pattern, base, base, base + length, 0, 1, &match);
  return boolean{static_cast<unsigned char>(found && match.rm_so == 0 ? 1 : 0)};
}

boolean operator==(surveyor_string const& text, regular_expression const& pattern) {
  char const* const base = BaseOf(text);
  unsigned long const length = SearchableLength(text);
  regmatch_t match;
  bool const found = RegExec(*pattern.pattern, base, base, base + length, 0, 1, &match);
  bool const whole = found && match.rm_so == 0 && static_cast<unsigned long>(match.rm_eo) == length;
  return boolean{static_cast<unsigned char>(whole ? 1 : 0)};
}

boolean operator==(regular_expression const& pattern, surveyor_string const& text) {
  return text == pattern;
}

boolean EndsWith(surveyor_string const& text, regular_expression const& pattern) {
  char const* const base = BaseOf(text);
  unsigned long const length = SearchableLength(text);
  // A match found first may run past a shorter one that ends the string, so
  // the search starts again one byte further on until a match ends the
  // string; the end of the string itself is tried once, for an empty match.
  unsigned long start = 0;
  int eflags = 0;
  while (true) {
    regmatch_t match;
    if (!RegExec(*pattern.pattern, base, base + start, base + length, eflags, 1, &match)) {
      return boolean{0};
    }
    if (static_cast<unsigned long>(match.rm_eo) == length) return boolean{1};
    if (start == length) return boolean{0};
    ++start;
    eflags = REG_NOTBOL;
    Check_For_Surveyor_Interruption();
  }
}

// The bytes that every text a pattern matches holds, where the search
// itself looks for them first (survey/frame/holding.h): none for a pattern
// whose searches do without that look, such as one matched without regard
// to case or one with back-references. A text that a line of a file can
// be is never longer than a search in this process takes.
namespace {
int RequiredBytes(re_pattern_buffer const& pattern, unsigned char const** bytes,
                  unsigned long* length) {
  ProgramFacts const* const facts = FactsOf(pattern);
  if (facts == nullptr || facts->literal.empty() || facts->backtracking) return 0;
  *bytes = reinterpret_cast<unsigned char const*>(facts->literal.data());
  *length = facts->literal.size();
  return 1;
}

// The operand is the pattern: the right operand of "contains", and the
// index of the matches of a string (a string with a match holds the bytes).
int BytesOfPattern(void const* pattern, void const*, unsigned char const** bytes,
                   unsigned long* length) {
  return RequiredBytes(*static_cast<regular_expression const*>(pattern)->pattern, bytes, length);
}
}  // namespace

// ---------------------------------------------------------------------------
// Matches and their parts.

void regular_expression_match_parts::Searched(re_pattern_buffer const* pattern, char const* base,
                                              unsigned long from, unsigned long length,
                                              int eflags) {
  pattern_ = pattern;
  base_ = base;
  from_ = from;
  length_ = length;
  eflags_ = eflags;
  placed_ = false;
}

std::vector<regmatch_t> const& regular_expression_match_parts::Groups() const {
  if (!placed_ && pattern_->re_nsub == 0) {
    // No groups: nothing to place, and group 0 is never read as a part.
    groups_.assign(1, regmatch_t{});
    placed_ = true;
  }
  if (!placed_) {
    // The search that found the match, made again with room for every
    // group: it finds the same match, and places the groups in it.
    if (!RegExec(*pattern_, base_, base_ + from_, base_ + length_, eflags_, groups_)) {
      throw RegExec_Failed(REG_NOMATCH);
    }
    placed_ = true;
  }
  return groups_;
}

std::optional<regular_expression_match> regular_expression_match_iterator::Search(
    regular_expression const& pattern, surveyor_string const& text, unsigned long from,
    int eflags) {
  found_ = false;
  char const* const base = BaseOf(text);
  unsigned long const length = SearchableLength(text);
  // A range without the bytes that every match holds has no match: the C
  // library is not asked.
  char const* const start = SearchStart(FactsOf(*pattern.pattern), base + from, base + length);
  if (start == nullptr) return std::nullopt;
  // Room for the whole match only: with more, the C library works out where
  // every group stands, which the parts do only when asked.
  if (!RegExec(*pattern.pattern, base, start, base + length, eflags, 1, &whole_)) {
    return std::nullopt;
  }
  found_ = true;
  parts_.Searched(pattern.pattern, base, from, length, eflags);
  unsigned char const* const bytes = reinterpret_cast<unsigned char const*>(base);
  return regular_expression_match{
      substring{surveyor_string{bytes + whole_.rm_so,
                                static_cast<unsigned long>(whole_.rm_eo - whole_.rm_so)},
                text},
      &parts_};
}

std::optional<regular_expression_match> regular_expression_match_iterator::FirstFound(
    regular_expression const& pattern, Of, surveyor_string const& text) {
  return Search(pattern, text, 0, 0);
}

std::optional<regular_expression_match> regular_expression_match_iterator::NextFound(
    regular_expression const& pattern, Of, surveyor_string const& text) {
  if (!found_) return std::nullopt;
  unsigned long const length = SearchableLength(text);
  unsigned long const last = static_cast<unsigned long>(whole_.rm_so);
  if (length <= last) {
    found_ = false;
    return std::nullopt;
  }
  Check_For_Surveyor_Interruption();
  // From one byte after the start of the last match, not its end: matches
  // may overlap.
  return Search(pattern, text, last + 1, REG_NOTBOL);
}

std::optional<regular_expression_match> regular_expression_match_iterator::NoneAfterFirst(
    regular_expression const&, Of, surveyor_string const&) {
  return std::nullopt;
}

regular_expression_match regular_expression_match_iterator::First(regular_expression const& pattern,
                                                                  Of, surveyor_string const& text) {
  std::optional<regular_expression_match> found = FirstFound(pattern, 0, text);
  if (!found) throw NoSuchObject();
  return *found;
}

regular_expression_match regular_expression_match_iterator::Next(regular_expression const& pattern,
                                                                 Of, surveyor_string const& text) {
  std::optional<regular_expression_match> found = NextFound(pattern, 0, text);
  if (!found) throw NoSuchObject();
  return *found;
}

regular_expression_match regular_expression_match_iterator::NoNext(regular_expression const&, Of,
                                                                   surveyor_string const&) {
  throw NoSuchObject();
}

substring MatchedPart(regmatch_t const& part, substring const& match) {
  surveyor_string const& whole = match.whole;
  if (part.rm_so < 0 || part.rm_eo < part.rm_so) {
    // A group that took no part in the match.
    return substring{surveyor_string{whole.data, 0}, whole};
  }
  return substring{
      surveyor_string{whole.data + part.rm_so, static_cast<unsigned long>(part.rm_eo - part.rm_so)},
      whole};
}

substring MatchPart(unsigned long long number, regular_expression_match const& match) {
  std::vector<regmatch_t> const& groups = match.parts->Groups();
  unsigned long long const count = groups.size() - 1;
  if (number < 1 || number > count) throw NoSuchObject();
  return MatchedPart(groups[static_cast<std::size_t>(number)], match.match);
}

substring regular_expression_match_part_iterator::First(Of, regular_expression_match const& match) {
  std::vector<regmatch_t> const& groups = match.parts->Groups();
  current_ = groups.data();
  end_ = groups.data() + groups.size();
  return Next(0, match);
}

substring regular_expression_match_part_iterator::Next(Of, regular_expression_match const& match) {
  if (current_ == nullptr) throw NoSuchObject();
  ++current_;
  if (current_ >= end_) {
    current_ = nullptr;
    throw NoSuchObject();
  }
  return MatchedPart(*current_, match.match);
}

// ---------------------------------------------------------------------------
// Trimming.

surveyor_string LeftTrimmedString(surveyor_string const& text) {
  ByteSet const& white = Ascii::WhiteSpace();
  unsigned long start = 0;
  while (start < text.length && white.Contains(text.data[start])) ++start;
  return surveyor_string{text.data + start, text.length - start};
}

surveyor_string RightTrimmedString(surveyor_string const& text) {
  ByteSet const& white = Ascii::WhiteSpace();
  // The first byte is never looked at: an all-white text keeps it.
  unsigned long end = text.length;
  while (end > 1 && white.Contains(text.data[end - 1])) --end;
  return surveyor_string{text.data, end};
}

surveyor_string TrimmedString(surveyor_string const& text) {
  return RightTrimmedString(LeftTrimmedString(text));
}

// ---------------------------------------------------------------------------
// Registration, in table order: the types, the phrases that make a regular
// expression, matches and their parts, the relations, the trimming casts.
// Every result follows from its operands alone.

namespace {

using Maker = regular_expression_iterator;
using Matches = regular_expression_match_iterator;
using Parts = regular_expression_match_part_iterator;

// The adaptor of the match phrases, whose members say "no further match"
// with an empty optional. For a host that takes a return of 0 as the end of
// the iteration it then returns 0 and constructs nothing, without the cost
// of an exception: "matches ... of lines of file" ends an iteration in every
// line (survey/frame/stream_end.h). For any other host it throws
// NoSuchObject, as the calling protocol has it.
struct MatchSteps {
  using Member = std::optional<regular_expression_match> (Matches::*)(regular_expression const&, Of,
                                                                      surveyor_string const&);
  static int First(void* result, void const* index, void const* object, void* state,
                   void const* context) {
    return Call(&PropRecord::firstIntermediate, result, index, object, state, context);
  }
  static int Next(void* result, void const* index, void const* object, void* state,
                  void const* context) {
    return Call(&PropRecord::nextIntermediate, result, index, object, state, context);
  }

 private:
  static int Call(MemberSlot PropRecord::*slot, void* result, void const* index, void const* object,
                  void* state, void const* context) {
    if (result == nullptr) return 1;
    Member const member = MemberOf<Member>(context, slot);
    std::optional<regular_expression_match> const found = (static_cast<Matches*>(state)->*member)(
        *static_cast<regular_expression const*>(index), Of(0),
        *static_cast<surveyor_string const*>(object));
    if (!found) {
      if (survey::frame::HostEndsStreamsOnZero()) return 0;
      throw NoSuchObject();
    }
    ::new (result) regular_expression_match(*found);
    return 1;
  }
};

survey::frame::IteratedRowOf<MatchSteps, Matches, regular_expression, surveyor_string,
                             regular_expression_match, MatchSteps::Member>
MatchRow(char const* singular, char const* plural, MatchSteps::Member first,
         MatchSteps::Member next) {
  return {singular, plural, first, next, &DependsOnlyOnParameters, &BytesOfPattern};
}

RegistrationTable table{
    TypeRow<regular_expression>(),
    TypeRow<regular_expression_match, substring>(),
    IteratedRow("regex", "regexes", &Maker::First, &Maker::Next, &DependsOnlyOnParameters),
    IteratedRow("regular expression", "regular expressions", &Maker::First, &Maker::Next,
                &DependsOnlyOnParameters),
    IteratedRow("case insensitive regex", "case insensitive regexes", &Maker::FirstCaseInsensitive,
                &Maker::Next, &DependsOnlyOnParameters),
    IteratedRow("case insensitive regular expression", "case insensitive regular expressions",
                &Maker::FirstCaseInsensitive, &Maker::Next, &DependsOnlyOnParameters),
    MatchRow("match", "matches", &Matches::FirstFound, &Matches::NextFound),
    MatchRow("first match", "first matches", &Matches::FirstFound, &Matches::NoneAfterFirst),
    IteratedRow("parenthesized part", "parenthesized parts", &Parts::First, &Parts::Next,
                &DependsOnlyOnParameters),
    IndexedRow("parenthesized part", "parenthesized parts", &MatchPart, &DependsOnlyOnParameters),
    OperatorRow<surveyor_string, regular_expression, boolean>(
        kOperatorContains, &Contains, &DependsOnlyOnParameters, &BytesOfPattern),
    OperatorRow<surveyor_string, regular_expression, boolean>(kOperatorEqual, &operator==,
                                                              &DependsOnlyOnParameters),
    OperatorRow<regular_expression, surveyor_string, boolean>(kOperatorEqual, &operator==,
                                                              &DependsOnlyOnParameters),
    OperatorRow<surveyor_string, regular_expression, boolean>(kOperatorStartsWith, &StartsWith,
                                                              &DependsOnlyOnParameters),
    OperatorRow<surveyor_string, regular_expression, boolean>(kOperatorEndsWith, &EndsWith,
                                                              &DependsOnlyOnParameters),
    CastRow("left trimmed string", &LeftTrimmedString, &DependsOnlyOnParameters),
    CastRow("right trimmed string", &RightTrimmedString, &DependsOnlyOnParameters),
    CastRow("trimmed string", &TrimmedString, &DependsOnlyOnParameters),
};

}  // namespace
