// Regular expressions and trimmed strings: the value "regular expression"
// compiled by the C library's POSIX functions (extended syntax), the
// relations of a string with one, the iteration over matches and their
// parenthesized parts, and the three white-space trimming casts of "string".
//
// The C library does all the matching. Every search names its range with
// REG_STARTEND, so a text may hold NUL bytes and need not be terminated.
#pragma once

#include <regex.h>

#include <optional>
#include <vector>

#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// A compile of the given flags: REG_EXTENDED, with REG_ICASE for the
// case-insensitive phrases.
constexpr int kRegularExpressionFlags = REG_EXTENDED;
constexpr int kCaseInsensitiveRegularExpressionFlags = REG_EXTENDED | REG_ICASE;

// A compiled pattern with the knowledge of whether it must be freed.
struct SURVEY_API CompiledRegularExpression {
  re_pattern_buffer buffer;
  bool owned;
};

// Searches that may run long are made in a child process that the query's
// time limit can stop, the host being asked between slices of this length
// whether to give up: a pattern with back-references, which the C library
// matches by backtracking, and any text longer than a line of a file.
constexpr unsigned long kLongestSearchInProcess = 4096;
constexpr int kSearchSliceMilliseconds = 20;

// Compiles a NUL-terminated pattern; a non-zero result of regcomp throws
// RegComp_Failed with it. The range form first makes a string of the range,
// so that the pattern ends at its first NUL.
SURVEY_API CompiledRegularExpression RegComp(char const* pattern, int flags);
SURVEY_API CompiledRegularExpression RegComp(char const* first, char const* last, int flags);

// Frees a compiled pattern.
SURVEY_API void RegFree(re_pattern_buffer& pattern);

// Searches a NUL-terminated text: true on a match, false on none, and
// RegExec_Failed for any other result of regexec.
SURVEY_API bool RegExec(re_pattern_buffer const& pattern, char const* text, int eflags,
                        unsigned nmatch, regmatch_t* pmatch);
// Searches the bytes from `from` to `to`, with offsets counted from `base`
// both ways (REG_STARTEND). With nmatch 0 the range travels in a local
// element.
SURVEY_API bool RegExec(re_pattern_buffer const& pattern, char const* base, char const* from,
                        char const* to, int eflags, unsigned nmatch, regmatch_t* pmatch);
// The same, into a vector made exactly one element longer than the number of
// groups (new elements zeroed), all of which regexec fills.
SURVEY_API bool RegExec(re_pattern_buffer const& pattern, char const* text, int eflags,
                        std::vector<regmatch_t>& matches);
SURVEY_API bool RegExec(re_pattern_buffer const& pattern, char const* base, char const* from,
                        char const* to, int eflags, std::vector<regmatch_t>& matches);

// The words of regerror for a code, without the terminator.
SURVEY_API Stringy RegError(int code);
SURVEY_API Stringy RegError(int code, re_pattern_buffer const& pattern);

// "regular expression": the compiled pattern, which belongs to the iterator
// state of the phrase that made it; the value owns nothing.
struct SURVEY_API regular_expression {
  re_pattern_buffer const* pattern;

  static constexpr char const* TypeName() { return "regular expression"; }
};

// The state of "regex" and its three sister phrases: a cache of one compiled
// pattern, kept while its text and flags are asked for again.
class SURVEY_API regular_expression_iterator {
 public:
  regular_expression_iterator();
  ~regular_expression_iterator();
  regular_expression_iterator(regular_expression_iterator const&) = delete;
  regular_expression_iterator& operator=(regular_expression_iterator const&) = delete;

  // The pattern of the index, compiled with REG_EXTENDED, or with REG_ICASE
  // too.
  regular_expression First(surveyor_string const& pattern);
  regular_expression FirstCaseInsensitive(surveyor_string const& pattern);
  // One value per phrase: always NoSuchObject.
  regular_expression Next(surveyor_string const& pattern);

  regular_expression Compiled(surveyor_string const& pattern, int flags);

 private:
  re_pattern_buffer buffer_;
  bool owned_;
  Stringy text_;
  int flags_;
};

// The relations of a string with a regular expression.
SURVEY_API boolean Contains(surveyor_string const& text, regular_expression const& pattern);
SURVEY_API boolean operator==(surveyor_string const& text, regular_expression const& pattern);
SURVEY_API boolean operator==(regular_expression const& pattern, surveyor_string const& text);
SURVEY_API boolean StartsWith(surveyor_string const& text, regular_expression const& pattern);
SURVEY_API boolean EndsWith(surveyor_string const& text, regular_expression const& pattern);

// The parenthesized parts of the last match an iterator found. A match is
// searched for with room for the whole match only, which spares the C
// library the work of placing every group; the groups are placed when first
// asked for, by the same search made again with room for all of them.
class SURVEY_API regular_expression_match_parts {
 public:
  // Forgets the groups of the match before: the next search is the one
  // made from `from` with `eflags` over the text at `base`, `length` bytes.
  void Searched(re_pattern_buffer const* pattern, char const* base, unsigned long from,
                unsigned long length, int eflags);
  // Group 0 (the whole match) onward: one more element than the pattern
  // has groups.
  std::vector<regmatch_t> const& Groups() const;

 private:
  re_pattern_buffer const* pattern_ = nullptr;
  char const* base_ = nullptr;
  unsigned long from_ = 0;
  unsigned long length_ = 0;
  int eflags_ = 0;
  mutable bool placed_ = false;
  mutable std::vector<regmatch_t> groups_;
};

// "regular expression match": the whole match as a substring of the text it
// was found in, and the parts of the iterator that found it.
struct SURVEY_API regular_expression_match {
  substring match;
  regular_expression_match_parts const* parts;

  static constexpr char const* TypeName() { return "regular expression match"; }
};

// The matches of a pattern in a string, each search starting one byte after
// the start of the match before.
//
// The phrases are registered with the members that say "no further match"
// with an empty optional: "matches ... of lines" ends one iteration per
// line, and an exception each time would cost far more than the search. The
// members that throw NoSuchObject instead make the same searches.
class SURVEY_API regular_expression_match_iterator {
 public:
  regular_expression_match First(regular_expression const& pattern, Of,
                                 surveyor_string const& text);
  regular_expression_match Next(regular_expression const& pattern, Of, surveyor_string const& text);
  // For "first match": there is never a second.
  regular_expression_match NoNext(regular_expression const& pattern, Of,
                                  surveyor_string const& text);

  std::optional<regular_expression_match> FirstFound(regular_expression const& pattern, Of,
                                                     surveyor_string const& text);
  std::optional<regular_expression_match> NextFound(regular_expression const& pattern, Of,
                                                    surveyor_string const& text);
  std::optional<regular_expression_match> NoneAfterFirst(regular_expression const& pattern, Of,
                                                         surveyor_string const& text);

 private:
  std::optional<regular_expression_match> Search(regular_expression const& pattern,
                                                 surveyor_string const& text, unsigned long from,
                                                 int eflags);

  // The whole match last found; found_ says whether there is one.
  regmatch_t whole_{};
  bool found_ = false;
  regular_expression_match_parts parts_;
};

// The parenthesized parts of a match, group 1 onward.
class SURVEY_API regular_expression_match_part_iterator {
 public:
  substring First(Of, regular_expression_match const& match);
  substring Next(Of, regular_expression_match const& match);

 private:
  regmatch_t const* current_ = nullptr;
  regmatch_t const* end_ = nullptr;
};

// A group of a match as a substring of the whole text: empty for a group
// that took no part in the match.
SURVEY_API substring MatchedPart(regmatch_t const& part, substring const& match);
// Group `number`, from 1 to the number of groups.
SURVEY_API substring MatchPart(unsigned long long number, regular_expression_match const& match);

// The trimming casts. White space is tab, line feed, carriage return and
// space; each result is a view of the string.
SURVEY_API surveyor_string LeftTrimmedString(surveyor_string const& text);
SURVEY_API surveyor_string RightTrimmedString(surveyor_string const& text);
SURVEY_API surveyor_string TrimmedString(surveyor_string const& text);
