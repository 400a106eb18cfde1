// Regular expressions and trimmed strings: matches and their parenthesized
// parts against grep -E -o and sed -E on generated texts, the four relations
// against grep -E, the cache of one compiled pattern, texts and patterns
// with NUL bytes, patterns that do not compile (in the words grep gives for
// the same code), catastrophic patterns stopped by the query's time limit,
// and the trimming casts.

#include "survey/values/regular_expressions.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/values/query_support.h"
#include "tests/unit/values/relation_calls.h"

namespace {

using survey::test::Text;
using survey::test::View;
using survey::values::testing::Answer;
using survey::values::testing::Ask;
using survey::values::testing::AskAll;
using survey::values::testing::Lines;
using survey::values::testing::Literal;
using survey::values::testing::One;
using survey::values::testing::Python;
using survey::values::testing::ShellQuoted;

// ---------------------------------------------------------------------------
// Generated texts against grep and sed.

// Texts over a small alphabet, so that the patterns below match often; no
// line ends, and none of the bytes the sed script uses as marks.
std::vector<std::string> GeneratedTexts(unsigned seed, int count) {
  static char const kAlphabet[] = "aabbcxyz01 ";
  std::mt19937 random(seed);
  std::vector<std::string> texts;
  for (int k = 0; k < count; ++k) {
    std::string text;
    int const length = static_cast<int>(random() % 40);
    for (int j = 0; j < length; ++j) text += kAlphabet[random() % (sizeof kAlphabet - 1)];
    texts.push_back(text);
  }
  return texts;
}

// Patterns without anchors or word boundaries, which a search that starts
// inside the text sees otherwise than grep on the rest of the text, and
// none matching the empty text, which grep -o does not print.
std::vector<std::string> const kMatchPatterns = {
    "a+",    "ab|b",        "(a|b)c", "[0-9]+",    "a(b*)c",          "(x|xy)(z|yz)?",
    "b[^a]", "(a)(b)?(c)?", "c{2,3}", "(a|b)+(c)", "[[:space:]][a-z]",
    // Patterns that open with plain bytes, some made optional or repeated,
    // so that a search may start where those bytes first stand.
    "ab+c",  "ab?c",        "xy*z",   "a b",       "01{1,2}",         "bc(x|y)?"};

// Patterns for the relations, some matching the empty text.
std::vector<std::string> const kRelationPatterns = {
    "a+", "ab|b", "b|ab", "x*", "(ab)*", "[0-9]", "a(b*)c", "(xy|x)(z)?", "c|cc", "y z",
    "ab?c", "xy+", "ab\\>", "b0{0}a"};

// A python3 program that asks grep and sed what they find: for each pattern
// and text, the overlapping matches (each search starting one byte after the
// start of the match before, with grep -E -o -b on the rest of the text),
// the parenthesized parts of the first match (sed -E, the groups between
// marks), and whether grep -E finds the pattern anywhere, at the start
// (^(P)), as the whole line (-x) and at the end ((P)$).
std::string const kOracle = R"(
import json, subprocess, sys
cases = json.load(open(sys.argv[1]))
# Each text is one line for grep, the empty text an empty line.
def grep(args, text):
    return subprocess.run(['grep'] + args, input=(text + '\n').encode(), capture_output=True)
out = []
for pattern, text, groups in cases:
    matches = []
    start = 0
    while start < len(text) or (start == 0 and len(text) == 0):
        r = grep(['-E', '-o', '-b', '-m1', '--', pattern], text[start:])
        lines = r.stdout.decode().splitlines()
        if not lines:
            break
        offset, found = lines[0].split(':', 1)
        offset = int(offset) + start
        matches.append([offset, found])
        start = offset + 1
    def sed_parts(subject):
        script = 's/' + pattern.replace('/', '\\/') + '/\x01' + '\x02'.join('\\%d' % (k + 1) for k in range(groups)) + '\x01/p'
        r = subprocess.run(['sed', '-E', '-n', script], input=(subject + '\n').encode(), capture_output=True)
        line = r.stdout.decode()
        if '\x01' in line:
            return line.split('\x01')[1].split('\x02')
        return None
    parts = None
    every = []
    if groups > 0:
        parts = sed_parts(text)
        # The parts of each match: the first match of the text from where
        # it starts is that match.
        for offset, found in matches:
            every += sed_parts(text[offset:]) or []
    out.append({
        'matches': matches,
        'parts': parts,
        'every': every,
        'contains': grep(['-E', '-q', '--', pattern], text).returncode == 0,
        'starts': grep(['-E', '-q', '--', '^(' + pattern + ')'], text).returncode == 0,
        'equals': grep(['-E', '-x', '-q', '--', pattern], text).returncode == 0,
        'ends': grep(['-E', '-q', '--', '(' + pattern + ')$'], text).returncode == 0,
    })
print(json.dumps(out))
)";

struct Case {
  std::string pattern;
  std::string text;
  int groups;
};

nlohmann::json AskTheTools(std::vector<Case> const& cases) {
  survey::testing::ScratchFolder folder("survey-regex-oracle");
  nlohmann::json input = nlohmann::json::array();
  for (Case const& c : cases) input.push_back({c.pattern, c.text, c.groups});
  std::ofstream(folder.Path() + "/cases.json") << input.dump();
  std::ofstream(folder.Path() + "/oracle.py") << kOracle;
  survey::testing::ShellResult const run =
      survey::testing::RunShell("python3 " + ShellQuoted(folder.Path() + "/oracle.py") + " " +
                                ShellQuoted(folder.Path() + "/cases.json"));
  EXPECT_EQ(0, run.status);
  return nlohmann::json::parse(run.output, nullptr, false);
}

int GroupCount(std::string const& pattern) {
  int count = 0;
  for (char c : pattern) count += c == '(' ? 1 : 0;
  return count;
}

TEST(RegularExpressionsTest, MatchesAndPartsAgreeWithGrepAndSed) {
  std::vector<Case> cases;
  for (std::string const& text : GeneratedTexts(20261123, 14)) {
    for (std::string const& pattern : kMatchPatterns) {
      cases.push_back({pattern, text, GroupCount(pattern)});
    }
  }
  nlohmann::json const expected = AskTheTools(cases);
  ASSERT_TRUE(expected.is_array());
  ASSERT_EQ(cases.size(), expected.size());
  std::vector<std::string> queries;
  for (Case const& c : cases) {
    std::string const subject = Literal(c.text);
    std::string const regex = "(regex " + Literal(c.pattern) + ")";
    queries.push_back("(position of it, it) of matches " + regex + " of " + subject);
    queries.push_back("parenthesized parts of first matches " + regex + " of " + subject);
    queries.push_back("parenthesized parts of matches " + regex + " of " + subject);
  }
  std::vector<Answer> const answers = AskAll(queries);
  int matchCount = 0;
  int partCount = 0;
  for (std::size_t k = 0; k < cases.size(); ++k) {
    Case const& c = cases[k];
    std::string const where = "pattern " + c.pattern + " on \"" + c.text + "\"";
    Answer const& matches = answers[3 * k];
    EXPECT_EQ("", matches.error) << where << ": " << matches.message;
    std::vector<std::string> wanted;
    for (auto const& match : expected[k]["matches"]) {
      wanted.push_back(std::to_string(match[0].get<int>()) + ", " + match[1].get<std::string>());
    }
    EXPECT_EQ(wanted, matches.values) << where;
    matchCount += static_cast<int>(wanted.size());
    Answer const& parts = answers[3 * k + 1];
    EXPECT_EQ("", parts.error) << where << ": " << parts.message;
    if (expected[k]["parts"].is_null()) {
      // No match, or a pattern without groups: no parts either way.
      EXPECT_TRUE(parts.values.empty()) << where;
    } else {
      EXPECT_EQ(expected[k]["parts"].get<std::vector<std::string>>(), parts.values) << where;
    }
    Answer const& every = answers[3 * k + 2];
    EXPECT_EQ("", every.error) << where << ": " << every.message;
    EXPECT_EQ(expected[k]["every"].get<std::vector<std::string>>(), every.values) << where;
    partCount += static_cast<int>(every.values.size());
  }
  // Parts of matches after the first, too.
  EXPECT_GT(partCount, 200);
  // The generated texts must have exercised the iteration.
  EXPECT_GT(matchCount, 200);
}

TEST(RegularExpressionsTest, RelationsAgreeWithGrep) {
  std::vector<Case> cases;
  std::vector<std::string> texts = GeneratedTexts(7, 12);
  texts.push_back("");
  texts.push_back("abab");
  texts.push_back("xab");
  for (std::string const& text : texts) {
    for (std::string const& pattern : kRelationPatterns) cases.push_back({pattern, text, 0});
  }
  nlohmann::json const expected = AskTheTools(cases);
  ASSERT_EQ(cases.size(), expected.size());
  std::vector<std::string> queries;
  for (Case const& c : cases) {
    std::string const subject = Literal(c.text);
    std::string const regex = "(regex " + Literal(c.pattern) + ")";
    queries.push_back(subject + " contains " + regex + ", " + subject + " starts with " + regex +
                      ", " + subject + " = " + regex + ", " + regex + " = " + subject + ", " +
                      subject + " ends with " + regex);
  }
  std::vector<Answer> const answers = AskAll(queries);
  auto word = [](bool truth) { return std::string(truth ? "True" : "False"); };
  for (std::size_t k = 0; k < cases.size(); ++k) {
    nlohmann::json const& e = expected[k];
    std::string const equals = word(e["equals"]);
    std::string const wanted = word(e["contains"]) + ", " + word(e["starts"]) + ", " + equals +
                               ", " + equals + ", " + word(e["ends"]);
    ASSERT_EQ(1u, answers[k].values.size()) << queries[k] << ": " << answers[k].message;
    EXPECT_EQ(wanted, answers[k].values[0]) << queries[k];
  }
}

TEST(RegularExpressionsTest, MatchesOfLinesAgreeWithGrepCount) {
  survey::testing::ScratchFolder folder("survey-regex-lines");
  std::string const file = folder.Path() + "/text";
  {
    std::ofstream out(file);
    for (std::string const& text : GeneratedTexts(99, 300)) out << text << "\n";
  }
  for (std::string const pattern : {"a+b", "(x|y)z", "[0-9] [a-c]", "^a", "b$"}) {
    std::string const count =
        survey::testing::Output("grep -E -c -- " + ShellQuoted(pattern) + " " + ShellQuoted(file));
    EXPECT_EQ(Lines(count).front(), One("number of lines whose (it contains regex " +
                                        Literal(pattern) + ") of file " + Literal(file)))
        << pattern;
  }
}

// Patterns whose matches all hold some run of bytes, with runs made optional
// or repeated by quantifiers, runs inside groups, alternatives and bracket
// expressions, each counted against grep on lines where the runs stand
// often, with and without what completes a match.
TEST(RegularExpressionsTest, PatternsWithRunsOfPlainBytesAgreeWithGrepCount) {
  survey::testing::ScratchFolder folder("survey-regex-runs");
  std::string const file = folder.Path() + "/text";
  {
    static char const* const kPieces[] = {
        "warn", "warning", "ing", "ab",  "abc", "ac", "abbc", "b",  "c",  "1",    "42", "x",
        "-",    " ",       "a.b", "a b", "]",   "{",  "ab]c", "[x", "xy", "abcd", "cd"};
    std::mt19937 random(5);
    std::ofstream out(file);
    for (int k = 0; k < 2000; ++k) {
      int const pieces = static_cast<int>(random() % 6);
      for (int j = 0; j < pieces; ++j)
        out << kPieces[random() % (sizeof kPieces / sizeof *kPieces)];
      out << "\n";
    }
  }
  for (std::string const pattern :
       {"warn(ing)?[0-9]+", "warning",  "ab+c",    "abb*c",  "ab?c", "ab{2}c", "ab+?c",
        "(ab)+c",           "x(ab)*cd", "a.b",     "a b",    "ab]c", "[]x]y",  "[[:digit:]]x",
        "[^a]bc",           "ab|cd",    "(ab|x)c", "a\\.b",  "^ab",  "cd$",    "w?arn",
        "a{1,2}bc",         "42",       "-1",      "x[ab]*y"}) {
    std::string const count =
        survey::testing::Output("grep -E -c -- " + ShellQuoted(pattern) + " " + ShellQuoted(file));
    EXPECT_EQ(Lines(count).front(), One("number of lines whose (it contains regex " +
                                        Literal(pattern) + ") of file " + Literal(file)))
        << pattern;
    std::string const matches = survey::testing::Output("grep -E -o -- " + ShellQuoted(pattern) +
                                                        " " + ShellQuoted(file) + " | wc -l");
    // grep -o starts each search after the end of the match before, the
    // phrase one byte after its start: the counts agree where matches
    // cannot overlap, and the phrase never finds fewer.
    long const ours = std::stol(One("number of matches (regex " + Literal(pattern) +
                                    ") of lines of file " + Literal(file)));
    EXPECT_GE(ours, std::stol(Lines(matches).front())) << pattern;
  }
}

// In a UTF-8 locale, over lines of ASCII characters only and lines with
// others (letters, a digit of another script, a ligature), patterns with
// bracket expressions of every kind, alternatives, optional parts, groups
// and anchors: the lines that hold a match against grep -E -c, and the first
// match of each line with its parenthesized parts against sed -E, both in
// the same locale.
TEST(RegularExpressionsTest, BracketExpressionsInAUtf8LocaleAgreeWithGrepAndSed) {
  if (survey::testing::RunShell("locale -a | grep -qix 'c.utf-\\?8'").status != 0) {
    GTEST_SKIP() << "no C.UTF-8 locale";
  }
  // Files shorter than the line buffer, so that their lines are the lines
  // the tools read.
  survey::testing::ScratchFolder folder("survey-regex-utf8");
  std::vector<std::string> files;
  std::mt19937 random(11);
  for (int f = 0; f < 8; ++f) {
    static char const* const kPieces[] = {
        "a", "b", "c", "x", "y", "1", "42", " ", "-", "]", "^", "[", "ab", "A", "Q", "_", ".",
        "\xC3\xA9",      // e with an acute accent
        "\xC3\x84",      // capital A with a diaeresis
        "\xD9\xA3",      // an Arabic-Indic digit three
        "\xEF\xAC\x81",  // the ligature fi
        "\xC3\x9F",      // sharp s
    };
    std::string text;
    for (int k = 0; k < 200; ++k) {
      // Every third line of ASCII characters only.
      int const kinds = k % 3 == 0 ? 17 : static_cast<int>(sizeof kPieces / sizeof *kPieces);
      int const pieces = static_cast<int>(random() % 8);
      for (int j = 0; j < pieces; ++j) text += kPieces[random() % static_cast<unsigned>(kinds)];
      text += "\n";
    }
    ASSERT_LT(text.size(), 2048u);
    files.push_back(folder.Path() + "/text" + std::to_string(f));
    std::ofstream(files.back()) << text;
  }
  std::vector<std::string> const patterns = {
      "([0-9]+)",         "([[:alpha:]]+)(1)?",  "([^ab ]+)",        "([]^-])",
      "([a-c])(x|y)",     "([[:digit:]])( |-)",  "(a|[^a])b",        "([[:upper:]]+)",
      "([^[:alnum:]])",   "([[.-.]])a",          "([[=a=]])b",       ".([0-9])",
      "([c-y]+)",         "([ab])([^ab])?",      "([^]a])",          "^([ab])",
      "([xy])$",          "\\[([^]]*)\\]",       "(a|b)[[:space:]]", "x[^x]*(y)",
      "([[:punct:]]+)",   "([^[:print:]])",      "([A-Z]+|c)",       "([^^])\\^"};
  std::string const locale = "LC_ALL=C.UTF-8";
  std::vector<std::string> queries;
  for (std::string const& pattern : patterns) {
    std::string const regex = "(regex " + Literal(pattern) + ")";
    for (std::string const& file : files) {
      queries.push_back("number of lines whose (it contains " + regex + ") of file " +
                        Literal(file));
      queries.push_back("first matches " + regex + " of lines of file " + Literal(file));
      queries.push_back("parenthesized parts of first matches " + regex + " of lines of file " +
                        Literal(file));
    }
  }
  std::vector<Answer> const answers = AskAll(queries, "300", locale);
  int asciiLines = 0;
  std::size_t asked = 0;
  for (std::string const& pattern : patterns) {
    int groups = 0;
    for (std::size_t j = 0; j < pattern.size(); ++j) {
      if (pattern[j] == '(' && (j == 0 || pattern[j - 1] != '\\')) ++groups;
    }
    for (std::string const& file : files) {
      std::string const where = pattern + " in " + file;
      std::string const count = survey::testing::Output(
          locale + " grep -E -c -- " + ShellQuoted(pattern) + " " + ShellQuoted(file));
      Answer const& lines = answers[asked++];
      ASSERT_EQ(1u, lines.values.size()) << where << ": " << lines.message;
      EXPECT_EQ(Lines(count).front(), lines.values[0]) << where;
      // sed writes the first match and its groups between marks.
      std::string script = "s/" + pattern + "/\x01&";
      for (int g = 1; g <= groups; ++g) script += "\x02\\" + std::to_string(g);
      script += "\x01/p";
      std::string const sed = survey::testing::Output(locale + " sed -E -n " +
                                                      ShellQuoted(script) + " " +
                                                      ShellQuoted(file));
      std::vector<std::string> matches;
      std::vector<std::string> parts;
      for (std::string const& line : Lines(sed)) {
        std::size_t const open = line.find('\x01');
        std::size_t const close = line.find('\x01', open + 1);
        ASSERT_NE(std::string::npos, close) << where;
        std::string const marked = line.substr(open + 1, close - open - 1);
        std::size_t at = marked.find('\x02');
        matches.push_back(marked.substr(0, at));
        while (at != std::string::npos) {
          std::size_t const next = marked.find('\x02', at + 1);
          parts.push_back(
              marked.substr(at + 1, next == std::string::npos ? next : next - at - 1));
          at = next;
        }
      }
      EXPECT_EQ(matches, answers[asked++].values) << where;
      EXPECT_EQ(parts, answers[asked++].values) << where;
      for (std::string const& match : matches) {
        bool ascii = true;
        for (char c : match) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
        asciiLines += ascii ? 1 : 0;
      }
    }
  }
  // Both kinds of line must have been matched often.
  EXPECT_GT(asciiLines, 1000);
}

// ---------------------------------------------------------------------------
// The Part's edge cases.

TEST(RegularExpressionsTest, OverlappingMatchesStartOneByteAfterTheLast) {
  EXPECT_EQ((std::vector<std::string>{"0", "1"}),
            Ask("positions of matches (regex \"aa\") of \"aaa\"").values);
  // A long match is followed by matches that begin inside it.
  EXPECT_EQ((std::vector<std::string>{"abc", "bc", "c"}),
            Ask("matches (regex \"[a-c]+\") of \"abc\"").values);
}

TEST(RegularExpressionsTest, AnEmptyMatchOfAnEmptyStringIsOne) {
  Answer const answer = Ask("positions of matches (regex \"x*\") of \"\"");
  EXPECT_EQ("", answer.error);
  EXPECT_EQ(std::vector<std::string>{"0"}, answer.values);
}

TEST(RegularExpressionsTest, AnEmptyPatternMatchesEverywhere) {
  EXPECT_EQ((std::vector<std::string>{"0", "1", "2", "3"}),
            Ask("positions of matches (regex \"\") of \"abc\"").values);
  EXPECT_EQ("True, True, True", One("\"abc\" contains regex \"\", \"\" = regex \"\", "
                                    "\"abc\" ends with regex \"\""));
}

TEST(RegularExpressionsTest, AnEmptyPatternIsNeverTakenFromTheState) {
  survey::test::StringTypeHost host;
  regular_expression_iterator state;
  std::string const empty;
  std::string const a = "a";
  // The empty text compiles each time, and replaces what the state held.
  state.First(View(a));
  regular_expression const first = state.First(View(empty));
  EXPECT_TRUE(RegExec(*first.pattern, "b", 0, 0, nullptr));
  regular_expression const second = state.First(View(empty));
  EXPECT_TRUE(RegExec(*second.pattern, "b", 0, 0, nullptr));
  // And the state holds no text then: "a" is compiled again, not taken
  // for the empty pattern.
  EXPECT_FALSE(RegExec(*state.First(View(a)).pattern, "b", 0, 0, nullptr));
}

TEST(RegularExpressionsTest, TheStateKeepsOneCompiledPattern) {
  survey::test::StringTypeHost host;
  regular_expression_iterator state;
  std::string const text = "a+b";
  regular_expression const first = state.First(View(text));
  void const* const program = first.pattern->buffer;
  // The same text and flags: the same compiled program, not a new compile.
  EXPECT_EQ(program, state.First(View(text)).pattern->buffer);
  // Other flags: compiled anew, and the new compile ignores case.
  regular_expression const folded = state.FirstCaseInsensitive(View(text));
  EXPECT_TRUE(RegExec(*folded.pattern, "xAB", 0, 0, nullptr));
  // A pattern that does not compile leaves the state as it was.
  std::string const bad = "(";
  void const* const kept = folded.pattern->buffer;
  try {
    state.First(View(bad));
    ADD_FAILURE() << "\"(\" compiled";
  } catch (RegComp_Failed const& failure) {
    EXPECT_EQ(REG_EPAREN, failure.Code());
  }
  EXPECT_EQ(kept, state.FirstCaseInsensitive(View(text)).pattern->buffer);
  EXPECT_THROW(state.Next(View(text)), NoSuchObject);
}

TEST(RegularExpressionsTest, ParenthesizedPartsByNumber) {
  std::vector<Answer> const answers = AskAll({
      "parenthesized part 0 of first match (regex \"(a)(b)\") of \"ab\"",
      "parenthesized part 3 of first match (regex \"(a)(b)\") of \"ab\"",
      "parenthesized part (-1) of first match (regex \"(a)(b)\") of \"ab\"",
      "parenthesized part 2 of first match (regex \"(a)(b)\") of \"ab\"",
      "parenthesized parts of first match (regex \"ab\") of \"ab\"",
      "(position of it, it) of parenthesized parts of first match (regex \"(a)(x)?(b)\") of "
      "\"zab\"",
      "number of first matches (regex \"a\") of \"aaa\"",
  });
  EXPECT_EQ("no value", answers[0].error);
  EXPECT_EQ("no value", answers[1].error);
  EXPECT_EQ("no value", answers[2].error);
  EXPECT_EQ(std::vector<std::string>{"b"}, answers[3].values);
  EXPECT_EQ("", answers[4].error);
  EXPECT_TRUE(answers[4].values.empty());
  // A group that took no part is an empty substring.
  EXPECT_EQ((std::vector<std::string>{"1, a", "0, ", "2, b"}), answers[5].values);
  EXPECT_EQ(std::vector<std::string>{"1"}, answers[6].values);
}

TEST(RegularExpressionsTest, StartsWithLooksAtTheLeftmostMatchOnly) {
  EXPECT_EQ("True", One("\"ab\" starts with regex \"b|ab\""));
  EXPECT_EQ("False", One("\"xab\" starts with regex \"b|ab\""));
}

TEST(RegularExpressionsTest, EndsWithFindsAMatchHiddenByAnEarlierOne) {
  // The first match "ab" ends before the end; the search goes on one byte
  // further at a time until a match ends the string.
  EXPECT_EQ("True", One("\"abab\" ends with regex \"ab\""));
  // The end itself is tried once, where an empty match ends the string.
  EXPECT_EQ("True", One("\"abc\" ends with regex \"x*\""));
  EXPECT_EQ("False", One("\"abc\" ends with regex \"b\""));
}

TEST(RegularExpressionsTest, CaseInsensitivePhrases) {
  EXPECT_EQ("True, True, False", One("\"ABC\" contains case insensitive regex \"b\", "
                                     "\"ABC\" = case insensitive regular expression \"abc\", "
                                     "\"ABC\" contains regular expression \"b\""));
}

// ---------------------------------------------------------------------------
// NUL bytes.

TEST(RegularExpressionsTest, ATextIsSearchedPastANul) {
  EXPECT_EQ("True", One("\"a%00b\" contains regex \"b\""));
  EXPECT_EQ("2", One("position of first match (regex \"b\") of \"a%00b\""));
  EXPECT_EQ("True", One("\"a%00b\" ends with regex \"b\""));
}

TEST(RegularExpressionsTest, APatternIsCutAtANul) {
  // "a%00zzz" is the pattern "a".
  EXPECT_EQ("True, True", One("\"xa\" contains regex \"a%00zzz\", \"a\" = regex \"a%00zzz\""));
}

TEST(RegularExpressionsTest, SearchesOfRangesReportOffsetsFromTheBase) {
  survey::test::StringTypeHost host;
  CompiledRegularExpression compiled = RegComp("b", REG_EXTENDED);
  char const text[] = {'b', '\0', 'a', 'b', 'c'};
  std::vector<regmatch_t> matches;
  ASSERT_TRUE(RegExec(compiled.buffer, text, text + 1, text + 5, 0, matches));
  ASSERT_EQ(1u, matches.size());
  EXPECT_EQ(3, matches[0].rm_so);
  EXPECT_EQ(4, matches[0].rm_eo);
  EXPECT_FALSE(RegExec(compiled.buffer, text, text + 4, text + 5, 0, 0, nullptr));
  RegFree(compiled.buffer);
}

TEST(RegularExpressionsTest, TheRangeFormOfRegCompStopsAtTheRange) {
  survey::test::StringTypeHost host;
  char const pattern[] = "abc(";
  CompiledRegularExpression compiled = RegComp(pattern, pattern + 3, REG_EXTENDED);
  EXPECT_TRUE(RegExec(compiled.buffer, "xabc", 0, 0, nullptr));
  EXPECT_EQ(0u, compiled.buffer.re_nsub);
  RegFree(compiled.buffer);
}

// ---------------------------------------------------------------------------
// Bad patterns: grep reports the C library's words for the same code.

std::string GrepsWords(std::string const& pattern) {
  std::string const said =
      survey::testing::Output("grep -E -- " + ShellQuoted(pattern) + " </dev/null 2>&1 >/dev/null");
  std::string::size_type const colon = said.find(": ");
  EXPECT_NE(std::string::npos, colon) << said;
  return Lines(said.substr(colon + 2)).front();
}

TEST(RegularExpressionsTest, APatternThatDoesNotCompileGivesRegerrorsWords) {
  for (std::string const pattern : {"(", "[b", "a**{1,0}", "x\\", "[[:foo:]]", "[z-a]"}) {
    std::string const words = GrepsWords(pattern);
    Answer const answer = Ask(Literal("abc") + " contains regex " + Literal(pattern));
    EXPECT_EQ("message", answer.error) << pattern;
    EXPECT_NE(std::string::npos,
              answer.message.find("the regular expression does not compile: " + words))
        << pattern << ": " << answer.message;
  }
}

TEST(RegularExpressionsTest, RegErrorGivesTheWholeMessage) {
  survey::test::StringTypeHost host;
  EXPECT_EQ(GrepsWords("("), std::string(RegError(REG_EPAREN).CString()));
  CompiledRegularExpression compiled = RegComp("a", REG_EXTENDED);
  EXPECT_EQ(GrepsWords("[b"), std::string(RegError(REG_EBRACK, compiled.buffer).CString()));
  RegFree(compiled.buffer);
  try {
    RegComp("a{2", REG_EXTENDED);
    ADD_FAILURE() << "compiled";
  } catch (RegComp_Failed const& failure) {
    EXPECT_EQ(REG_EBRACE, failure.Code());
  }
}

// ---------------------------------------------------------------------------
// Catastrophic patterns: the query's time limit stops them.

TEST(RegularExpressionsTest, TheTimeLimitStopsABacktrackingSearch) {
  std::string const text(3000, 'a');
  auto const started = std::chrono::steady_clock::now();
  std::vector<Answer> const answers =
      AskAll({Literal(text) + " contains regex " + Literal("((a*)*)*\\1b"),
              "\"abb\" contains regex " + Literal("a(b)\\1")},
             "1");
  double const seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_EQ("interrupted", answers[0].error) << answers[0].message;
  // The command goes on with the next query, where the same kind of
  // pattern answers.
  EXPECT_EQ(std::vector<std::string>{"True"}, answers[1].values);
  EXPECT_LT(seconds, 30.0);
}

TEST(RegularExpressionsTest, TheTimeLimitStopsSlowSearchesOfLongLines) {
  survey::testing::ScratchFolder folder("survey-regex-slow");
  std::string const file = folder.Path() + "/long";
  {
    std::ofstream out(file);
    for (int k = 0; k < 400; ++k) out << std::string(2000, 'a') << "\n";
  }
  auto const started = std::chrono::steady_clock::now();
  Answer const answer =
      Ask("number of lines whose (it contains regex \"(.*a){12}c\") of file " + Literal(file), "1");
  double const seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_EQ("interrupted", answer.error) << answer.message;
  EXPECT_LT(seconds, 30.0);
}

TEST(RegularExpressionsTest, ALongTextIsSearchedWhole) {
  // Longer than a search in the process takes: the child process answers.
  std::string const text = std::string(10000, 'x') + "needle" + std::string(10000, 'y');
  EXPECT_EQ("True, 10000, True", One(Literal(text) +
                                     " contains regex \"ne+dle\", position of "
                                     "first match (regex \"ne+dle\") of " +
                                     Literal(text) + ", " + Literal(text) +
                                     " ends with regex "
                                     "\"y+\""));
}

// ---------------------------------------------------------------------------
// Trimming.

TEST(RegularExpressionsTest, TrimmingCasts) {
  std::vector<Answer> const answers = AskAll({
      "\" \" as right trimmed string",
      "\"  a  \" as right trimmed string",
      "\"\" as right trimmed string",
      "\" \" as left trimmed string",
      "\"   \" as trimmed string",
      "\"   \" as right trimmed string",
      "\"%09%0A%0D a b %09%0A%0D \" as trimmed string",
      "\"%0B a %0C\" as trimmed string",
      "\"%0Ca\" as left trimmed string",
  });
  std::vector<std::string> const wanted = {" ",
                                           "  a",
                                           "",
                                           "",
                                           "",
                                           " ",
                                           "a b",
                                           "\x0b a \x0c",
                                           "\x0c"
                                           "a"};
  for (std::size_t k = 0; k < wanted.size(); ++k) {
    EXPECT_EQ("", answers[k].error) << k;
    ASSERT_EQ(1u, answers[k].values.size()) << k;
    EXPECT_EQ(wanted[k], answers[k].values[0]) << k;
  }
}

TEST(RegularExpressionsTest, TrimmingGivesViewsOfTheString) {
  std::string const text = " \t x \r\n";
  surveyor_string const view = View(text);
  surveyor_string const left = LeftTrimmedString(view);
  EXPECT_EQ(view.data + 3, left.data);
  EXPECT_EQ("x \r\n", Text(left));
  surveyor_string const right = RightTrimmedString(view);
  EXPECT_EQ(view.data, right.data);
  EXPECT_EQ(" \t x", Text(right));
  EXPECT_EQ("x", Text(TrimmedString(view)));
}

}  // namespace
