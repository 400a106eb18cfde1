// Capabilities: the text form read and written, the package order of
// versions against the comparison of the machine's own package manager on
// generated pairs (every difference named with the rule that decides it),
// and "contains".

#include "survey/rpm/capability.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/shell.h"
#include "tests/unit/values/query_support.h"

namespace {

using survey::testing::RunShell;
using survey::testing::ScratchFolder;
using survey::testing::ShellResult;
using survey::values::testing::Answer;
using survey::values::testing::AskAll;
using survey::values::testing::Lines;
using survey::values::testing::Literal;
using survey::values::testing::One;
using survey::values::testing::ShellQuoted;

int Sign(int value) { return value < 0 ? -1 : (value > 0 ? 1 : 0); }

// ---------------------------------------------------------------------------
// The package manager's own comparison, asked once for many pairs: its Lua
// interpreter reads the pairs from a file and prints one sign per line, or
// "error" for a text it refuses.

std::vector<std::string> PackageManagerSigns(
    std::vector<std::pair<std::string, std::string>> const& pairs) {
  ScratchFolder folder("survey-rpm-vercmp");
  std::string const file = folder.Path() + "/pairs";
  {
    std::ofstream out(file);
    for (auto const& pair : pairs) out << pair.first << "\n" << pair.second << "\n";
  }
  std::string const script =
      "%{lua: local f = io.open('" + file +
      "') "
      "while true do local a = f:read('l') if a == nil then break end local b = f:read('l') "
      "local ok, r = pcall(rpm.vercmp, a, b) "
      "if ok then print(tostring(r) .. '\\n') else print('error\\n') end end f:close()}";
  ShellResult const run = RunShell("rpm --eval " + ShellQuoted(script) + " 2>/dev/null");
  EXPECT_EQ(0, run.status) << "rpm --eval";
  std::vector<std::string> signs;
  for (std::string const& line : Lines(run.output)) {
    if (!line.empty()) signs.push_back(line);
  }
  EXPECT_EQ(pairs.size(), signs.size()) << run.output;
  signs.resize(pairs.size(), "error");
  return signs;
}

bool HasRpm() { return RunShell("command -v rpm >/dev/null 2>&1").status == 0; }

// ---------------------------------------------------------------------------
// The rules by which this order departs from the package manager's, each a
// test on the pair itself.

bool Has(std::string const& text, char c) { return text.find(c) != std::string::npos; }

// Whether a part of "version-release" ends in a character that is neither
// letter nor digit, or the text ends in "-".
bool EndsInSeparator(std::string const& text) {
  std::string::size_type const hyphen = text.rfind('-');
  std::string const version = hyphen == std::string::npos ? text : text.substr(0, hyphen);
  std::string const release = hyphen == std::string::npos ? "" : text.substr(hyphen + 1);
  auto endsBadly = [](std::string const& part) {
    if (part.empty()) return false;
    char const last = part.back();
    return !((last >= '0' && last <= '9') || (last >= 'a' && last <= 'z') ||
             (last >= 'A' && last <= 'Z'));
  };
  return endsBadly(version) || endsBadly(release) || (!text.empty() && text.back() == '-');
}

struct Rule {
  char const* name;
  bool (*applies)(std::string const& a, std::string const& b);
};

Rule const kRules[] = {
    {"a tilde is a separator like any other, not a mark that sorts before the end",
     [](std::string const& a, std::string const& b) { return Has(a, '~') || Has(b, '~'); }},
    {"a caret is a separator like any other, not a mark that sorts after the end",
     [](std::string const& a, std::string const& b) { return Has(a, '^') || Has(b, '^'); }},
    {"no epoch is read: a colon is a separator and the epoch a first run of digits",
     [](std::string const& a, std::string const& b) { return Has(a, ':') || Has(b, ':'); }},
    {"where a run of digits meets a run of letters, or a text has run out after its "
     "separators, the first text is the lesser both ways round",
     [](std::string const& a, std::string const& b) {
       return Sign(CompareVersionRelease(a.c_str(), b.c_str())) == -1 &&
              Sign(CompareVersionRelease(b.c_str(), a.c_str())) == -1;
     }},
    {"trailing separators count as text that goes on, and a release left empty by a "
     "final hyphen is no release",
     [](std::string const& a, std::string const& b) {
       return EndsInSeparator(a) || EndsInSeparator(b);
     }},
};

// Generated version texts: an optional epoch, one to three runs joined by
// separators (tildes and carets among them), and an optional release.
std::vector<std::string> GeneratedVersions(unsigned count, unsigned seed) {
  std::mt19937 random(seed);
  static char const* const kEpochs[] = {"", "", "", "", "0:", "1:", "2:"};
  static char const* const kRuns[] = {"0",  "1",  "2",   "9",  "10", "007", "12345678901",
                                      "a",  "b",  "B",   "rc", "rc1", "1a", "alpha",
                                      "beta", "z9", "00", "3"};
  static char const* const kSeparators[] = {".", ".", ".", "~", "^", "_", "+", "..", ""};
  static char const* const kReleases[] = {"", "", "-1", "-2", "-10", "-1.el9", "-0.1", "-a",
                                          "-1~b", "-1^1", "-"};
  auto pick = [&random](auto const& table) {
    std::uniform_int_distribution<std::size_t> index(0, std::size(table) - 1);
    return std::string(table[index(random)]);
  };
  std::vector<std::string> texts;
  std::uniform_int_distribution<int> runs(1, 3);
  for (unsigned i = 0; i < count; ++i) {
    std::string text = pick(kEpochs);
    int const n = runs(random);
    for (int r = 0; r < n; ++r) {
      if (r > 0) text += pick(kSeparators);
      text += pick(kRuns);
    }
    text += pick(kReleases);
    texts.push_back(text);
  }
  return texts;
}

TEST(CapabilityOrder, AgreesWithThePackageManagerSaveForItsOwnRules) {
  if (!HasRpm()) GTEST_SKIP() << "the rpm command is not installed";
  std::vector<std::string> const texts = GeneratedVersions(1200, 17);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::size_t i = 0; i + 1 < texts.size(); i += 2) pairs.emplace_back(texts[i], texts[i + 1]);
  // Near neighbours as well: each text against itself, and with one change.
  for (std::size_t i = 0; i < 200; ++i) {
    pairs.emplace_back(texts[i], texts[i] + ".1");
    pairs.emplace_back(texts[i] + "a", texts[i]);
    pairs.emplace_back(texts[i], texts[i]);
    pairs.emplace_back(texts[i] + ".", texts[i]);
  }
  std::vector<std::string> const theirs = PackageManagerSigns(pairs);
  std::map<std::string, unsigned> differencesByRule;
  unsigned agreed = 0;
  unsigned compared = 0;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (theirs[i] == "error") continue;
    ++compared;
    std::string const& a = pairs[i].first;
    std::string const& b = pairs[i].second;
    int const ours = Sign(CompareVersionRelease(a.c_str(), b.c_str()));
    if (std::to_string(ours) == theirs[i]) {
      ++agreed;
      continue;
    }
    char const* rule = nullptr;
    for (Rule const& candidate : kRules) {
      if (candidate.applies(a, b)) {
        rule = candidate.name;
        break;
      }
    }
    if (rule == nullptr) {
      ADD_FAILURE() << "\"" << a << "\" against \"" << b << "\": here " << ours
                    << ", the package manager " << theirs[i] << ", and no rule says why";
    } else {
      ++differencesByRule[rule];
    }
  }
  EXPECT_GT(compared, 700u);
  EXPECT_GT(agreed, compared / 3);
  // Every rule listed accounts for differences on this set, so that the list
  // holds no rule that is never needed.
  for (Rule const& rule : kRules) {
    EXPECT_GT(differencesByRule[rule.name], 0u) << "no difference by: " << rule.name;
  }
}

// The differences one by one: this order's answer, which each rule gives,
// and the package manager's, which must differ.
struct Difference {
  char const* a;
  char const* b;
  int ours;
  char const* rule;
};

Difference const kDifferences[] = {
    {"1.0~rc1", "1.0", 1, "a tilde is a separator: 1.0~rc1 goes on past 1.0 and so is above it"},
    {"1.0~rc1", "1.0.rc1", 0, "a tilde is a separator: the same runs in the same order"},
    {"1.0^1", "1.0.1", 0, "a caret is a separator: the same runs in the same order"},
    {"2:1.0", "3.0", -1, "no epoch: 2, 1, 0 against 3, 0, and 2 is below 3"},
    {"1:1", "1.5", -1, "no epoch: the runs 1, 1 against 1, 5, and 1 is below 5"},
    {"1.1", "1.a", -1, "digits against letters: the first text is the lesser"},
    {"1.0.1", "1.0a", -1, "digits against letters: the first text is the lesser"},
    {"1.0.", "1.0", 1, "a trailing separator is text that goes on"},
    {"1", "1.", -1, "a trailing separator is text that goes on"},
    {"1.0-", "1.0", 0, "a final hyphen leaves an empty release, the same as none"},
};

TEST(CapabilityOrder, EachDifferenceFromThePackageManagerHasItsRule) {
  if (!HasRpm()) GTEST_SKIP() << "the rpm command is not installed";
  std::vector<std::pair<std::string, std::string>> pairs;
  for (Difference const& difference : kDifferences) pairs.emplace_back(difference.a, difference.b);
  std::vector<std::string> const theirs = PackageManagerSigns(pairs);
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    Difference const& difference = kDifferences[i];
    int const ours = Sign(CompareVersionRelease(difference.a, difference.b));
    EXPECT_EQ(difference.ours, ours) << difference.a << " against " << difference.b << ": "
                                     << difference.rule;
    EXPECT_NE(std::to_string(ours), theirs[i])
        << difference.a << " against " << difference.b << " is no difference";
  }
}

// ---------------------------------------------------------------------------
// The order's own rules.

TEST(CapabilityOrder, RunsCompareAsNumbersOrByTheirBytes) {
  // 007 and 7 differ as texts, and their runs are equal as numbers.
  EXPECT_EQ(0, CompareVersionSegment("007", "7"));
  EXPECT_EQ(1, Sign(CompareVersionSegment("10", "9")));
  EXPECT_EQ(-1, Sign(CompareVersionSegment("a", "b")));
  EXPECT_EQ(-1, Sign(CompareVersionSegment("B", "a")));
  EXPECT_EQ(0, CompareVersionSegment("", ""));
  EXPECT_EQ(-1, CompareVersionSegment("", "1"));
  EXPECT_EQ(1, CompareVersionSegment("1", ""));
  EXPECT_EQ(0, CompareVersionSegment("1..0", "1.0"));
}

TEST(CapabilityOrder, ATextRunOutAfterItsSeparatorIsTheLesserEitherWay) {
  EXPECT_EQ(-1, CompareVersionSegment("1.2", "1."));
  EXPECT_EQ(1, CompareVersionSegment("1.", "1"));
  EXPECT_EQ(-1, CompareVersionSegment("1.a", "1.1"));
  EXPECT_EQ(-1, CompareVersionSegment("1.1", "1.a"));
}

TEST(CapabilityOrder, TrailingTextDecides) {
  EXPECT_EQ(-1, CompareVersionSegment("1.0", "1.0.1"));
  EXPECT_EQ(-1, CompareVersionSegment("1.0", "1.0a"));
  EXPECT_EQ(1, Sign(CompareVersionSegment("1.0.1", "1.0")));
}

TEST(CapabilityOrder, AnEpochIsRunsLikeAnyOther) {
  EXPECT_EQ(1, Sign(CompareVersionSegment("2:1.0", "2.1")));
  EXPECT_EQ(0, CompareVersionSegment("2:1.0", "2.1.0"));
  EXPECT_EQ(-1, Sign(CompareVersionSegment("2:1.0", "3")));
}

TEST(CapabilityOrder, VersionAndReleaseSplitAtTheLastHyphen) {
  Stringy version, release;
  CrackVersionRelease("1.0-2-3", version, release);
  EXPECT_STREQ("1.0-2", version.CString());
  EXPECT_STREQ("3", release.CString());
  CrackVersionRelease("1.0", version, release);
  EXPECT_STREQ("1.0", version.CString());
  EXPECT_TRUE(release.IsEmpty());
  // No release is below any release.
  EXPECT_EQ(-1, Sign(CompareVersionRelease("1.0", "1.0-1")));
  EXPECT_EQ(1, Sign(CompareVersionRelease("1.0-1", "1.0")));
  EXPECT_EQ(-1, Sign(CompareVersionRelease("1.0-9", "1.1-1")));
}

TEST(CapabilityRelations, TheTableBothWays) {
  EXPECT_EQ(eRelation_Less, RelationFlagsOfText("<", 1));
  EXPECT_EQ(eRelation_Equal, RelationFlagsOfText("=", 1));
  EXPECT_EQ(eRelation_Greater, RelationFlagsOfText(">", 1));
  EXPECT_EQ(eRelation_Less | eRelation_Equal, RelationFlagsOfText("<=", 2));
  EXPECT_EQ(eRelation_Less | eRelation_Equal, RelationFlagsOfText("=<", 2));
  EXPECT_EQ(eRelation_Greater | eRelation_Equal, RelationFlagsOfText(">=", 2));
  EXPECT_EQ(eRelation_Greater | eRelation_Equal, RelationFlagsOfText("=>", 2));
  EXPECT_EQ(0, RelationFlagsOfText("<>", 2));
  EXPECT_EQ(0, RelationFlagsOfText("==", 2));
  EXPECT_EQ(0, RelationFlagsOfText("<", 0));
  EXPECT_STREQ("<=", RelationTextOfFlags(3));
  EXPECT_STREQ(">=", RelationTextOfFlags(6));
  EXPECT_EQ(nullptr, RelationTextOfFlags(0));
  EXPECT_EQ(nullptr, RelationTextOfFlags(5));
}

// ---------------------------------------------------------------------------
// The phrases, through the command.

std::string Capability(std::string const& text) { return "capability " + Literal(text); }

TEST(CapabilityPhrases, TheTextFormReadAndWritten) {
  std::vector<std::string> const queries = {
      Capability("/usr/bin/my tool") + " as string",
      "relation of " + Capability("/usr/bin/my tool"),
      "name of " + Capability("foo"),
      "version of " + Capability("foo"),
      "version of " + Capability("foo = 1.0 extra"),
      "relation of " + Capability("foo = 1.0 extra"),
      Capability("foo  1.0") + " as string",
      "version of " + Capability("foo  1.0"),
      "relation of " + Capability("foo  1.0"),
      "relation of " + Capability("foo =< 2"),
      Capability("foo => 2") + " as string",
      Capability("foo >= 1.0") + " as string",
      Capability(""),
      Capability("foo >="),
      Capability("foo <> 1"),
      "name of " + Capability(" = 1"),
      Capability(" = 1") + " as string",
      Capability("foo\t<\t3") + " as string",
  };
  std::vector<Answer> const answers = AskAll(queries);
  auto value = [&answers, &queries](std::size_t i) {
    EXPECT_EQ("", answers[i].error) << queries[i] << ": " << answers[i].message;
    return answers[i].values.size() == 1 ? answers[i].values[0] : std::string("(none)");
  };
  auto none = [&answers, &queries](std::size_t i) {
    EXPECT_TRUE(answers[i].values.empty()) << queries[i];
  };
  EXPECT_EQ("/usr/bin/my tool", value(0));
  none(1);
  EXPECT_EQ("foo", value(2));
  none(3);
  EXPECT_EQ("1.0 extra", value(4));
  EXPECT_EQ("=", value(5));
  EXPECT_EQ("foo", value(6));
  none(7);
  none(8);
  EXPECT_EQ("<=", value(9));
  EXPECT_EQ("foo >= 2", value(10));
  EXPECT_EQ("foo >= 1.0", value(11));
  none(12);
  none(13);
  none(14);
  none(15);
  none(16);
  EXPECT_EQ("foo < 3", value(17));
}

TEST(CapabilityPhrases, ContainsWhenTheRangesMeet) {
  struct Case {
    char const* a;
    char const* b;
    char const* answer;
  };
  Case const cases[] = {
      {"foo >= 1.0", "foo = 1.0", "True"},
      {"foo >= 1.0", "foo < 1.0", "False"},
      {"foo", "foo >= 99", "True"},
      {"foo >= 99", "foo", "True"},
      {"foo < 2", "foo > 1", "True"},
      {"foo = 1.0-1", "foo = 1.0", "False"},
      {"foo = 1.0", "foo = 1.0-1", "False"},
      {"foo = 1.0", "bar = 1.0", "False"},
      {"foo", "foobar", "False"},
      {"foo > 2", "foo < 2", "False"},
      {"foo <= 2", "foo >= 2", "True"},
      {"foo > 2", "foo = 2", "False"},
      {"foo = 007", "foo = 7", "True"},
      {"foo = 2:1.0", "foo = 2.1.0", "True"},
  };
  std::vector<std::string> queries;
  for (Case const& c : cases) queries.push_back(Capability(c.a) + " contains " + Capability(c.b));
  std::vector<Answer> const answers = AskAll(queries);
  for (std::size_t i = 0; i < queries.size(); ++i) {
    EXPECT_EQ("", answers[i].error) << queries[i] << ": " << answers[i].message;
    ASSERT_EQ(1u, answers[i].values.size()) << queries[i];
    EXPECT_EQ(cases[i].answer, answers[i].values[0]) << queries[i];
    EXPECT_EQ("boolean", answers[i].types[0]) << queries[i];
  }
}

}  // namespace
