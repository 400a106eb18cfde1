// The vocabulary on hand: --list in text and JSON, --describe of a phrase
// with an example of each form that the command then answers, and the
// vocabulary page of the documents.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/unit/command/command_run.h"

namespace survey::command_test {
namespace {

using VocabularyTest = CommandTest;

TEST_F(VocabularyTest, TheListingHasEverySection) {
  Outcome const run = Survey("--list");
  EXPECT_EQ(0, run.status) << run.err;
  for (char const* line :
       {"Types:\n", "\nProperties:\n", "\nIterated properties:\n", "\nAggregate properties:\n",
        "\nCasts:\n", "\nOperators:\n", "  substring (base type: string)\n",
        "  integer with multiplicity (base type: integer)\n",
        "  line containing / lines containing [string] of file -> file line\n",
        "  sum / sums of integer -> integer\n", "  extrema / extremas of string -> ( string, string )\n",
        "  now / nows of world -> time\n", "  string as integer -> integer\n",
        "  time - time -> time interval\n", "  string & string -> string\n"}) {
    EXPECT_NE(std::string::npos, run.out.find(line)) << line;
  }
}

TEST_F(VocabularyTest, TheListingKeepsWhatHasTheWords) {
  Outcome const run = Survey("--list " + Quote("multiplicit"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(0u, run.out.find("Types:\n  integer with multiplicity (base type: integer)\n"))
      << run.out;
  EXPECT_NE(std::string::npos, run.out.find("multiplicity / multiplicities of string with "
                                            "multiplicity -> integer\n"));
  EXPECT_EQ(std::string::npos, run.out.find("Casts:"));
  EXPECT_EQ(std::string::npos, run.out.find("length"));
}

TEST_F(VocabularyTest, TheJsonListingReadsBackWithEveryKind) {
  Outcome const run = Survey("--list --json");
  EXPECT_EQ(0, run.status) << run.err;
  std::string const summary = Python(R"(
import json, sys
listing = json.load(sys.stdin)
print(sorted(listing))
types = {t["name"]: t["base"] for t in listing["types"]}
print(types["substring"], types["string"], types["file"])
print(all(p["kind"] == "property" for p in listing["properties"]),
      all(p["kind"] == "iterated" for p in listing["iterated"]),
      all(p["kind"] == "aggregate" for p in listing["aggregates"]))
print([p["result"] for p in listing["aggregates"] if p["singular"] == "sum"])
print(any(c["phrase"] == "lowercase" and c["source"] == "string" for c in listing["casts"]))
print(any(o["operator"] == "+" and o["left"] == "time" and o["right"] == "time interval"
          for o in listing["operators"]))
)",
                                     run.out);
  EXPECT_EQ(
      "['aggregates', 'casts', 'iterated', 'operators', 'properties', 'types']\n"
      "string None filesystem object\nTrue True True\n['integer', 'time interval']\nTrue\nTrue\n",
      summary);
}

TEST_F(VocabularyTest, DescribeShowsEveryFormOfAPhrase) {
  Outcome const run = Survey("--describe " + Quote("sum"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "sum / sums (aggregate)\n  of:      integer\n  result:  integer\n  example: sums of (1; 1)\n"
      "sum / sums (aggregate)\n  of:      time interval\n  result:  time interval\n"
      "  example: sums of (day; day)\n",
      run.out);
}

TEST_F(VocabularyTest, DescribeTakesThePluralAndCasts) {
  Outcome const run = Survey("--describe " + Quote("lines containing") + " --describe lowercase");
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_NE(std::string::npos,
            run.out.find("line containing / lines containing (iterated)\n  of:      file\n"
                         "  index:   string\n  result:  file line\n"))
      << run.out;
  EXPECT_NE(std::string::npos,
            run.out.find("as lowercase (cast)\n  of:      string\n  result:  string\n"
                         "  example: \"text\" as lowercase\n"))
      << run.out;
}

TEST_F(VocabularyTest, DescribeOfNoPhraseSaysSo) {
  Outcome const run = Survey("--describe " + Quote("no such words"));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ("survey: no phrase \"no such words\"; survey --list shows every phrase\n", run.err);
}

// Every example that --describe gives is a query of the language: it
// parses, and names phrases that exist for the types it gives them. What
// it answers depends on the machine (a file "text" is seldom there), so a
// missing value is no failure.
TEST_F(VocabularyTest, EveryExampleIsAQueryTheCommandUnderstands) {
  Outcome const listing = Survey("--list --json");
  ASSERT_EQ(0, listing.status) << listing.err;
  nlohmann::json const parsed = nlohmann::json::parse(listing.out);
  std::string arguments;
  std::size_t phrases = 0;
  for (char const* section : {"properties", "iterated", "aggregates"}) {
    for (nlohmann::json const& entry : parsed[section]) {
      arguments += " --describe " + Quote(entry["singular"].get<std::string>());
      ++phrases;
    }
  }
  ASSERT_GT(phrases, 50u);
  Outcome const described = Survey("--json" + arguments);
  ASSERT_EQ(0, described.status) << described.err;
  std::string queries;
  std::size_t examples = 0;
  std::size_t at = 0;
  while (at < described.out.size()) {
    std::size_t const end = described.out.find("\n}\n", at);
    if (end == std::string::npos) break;
    nlohmann::json const forms = nlohmann::json::parse(described.out.substr(at, end + 2 - at));
    for (nlohmann::json const& form : forms["forms"]) {
      std::string const example = form["example"].get<std::string>();
      if (example.find('<') != std::string::npos) continue;  // a type no phrase gives
      queries += example + "\n";
      ++examples;
    }
    at = end + 3;
  }
  ASSERT_GT(examples, 50u);
  std::string const file = scratch + "/examples";
  WriteFile(file, queries);
  Outcome const run = Survey("--json --timeout 20 -f " + Quote(file));
  std::size_t answered = 0;
  at = 0;
  while (at < run.out.size()) {
    std::size_t const end = run.out.find('\n', at);
    nlohmann::json const answer = nlohmann::json::parse(run.out.substr(at, end - at));
    at = end + 1;
    ++answered;
    if (answer["error"].is_null()) continue;
    std::string const kind = answer["error"]["kind"].get<std::string>();
    EXPECT_NE("syntax error", kind) << answer.dump();
    EXPECT_NE("unknown phrase", kind) << answer.dump();
    EXPECT_NE("no such property", kind) << answer.dump();
  }
  EXPECT_EQ(examples, answered);
}

TEST_F(VocabularyTest, TheMarkdownPageHasATableForEachSection) {
  Outcome const run = Survey("--list --markdown");
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(0u, run.out.find("# Vocabulary\n"));
  for (char const* line :
       {"\n## Types\n\n| Type | Base type |\n|---|---|\n| string | — |\n",
        "| substring | string |\n", "\n## Properties\n\n| Singular | Plural | Index | Of | Result |\n",
        "| line containing | lines containing | string | file | file line |\n",
        "| unique value | unique values | — | string | string with multiplicity |\n",
        "\n## Casts\n\n| Cast | Of | Result |\n", "| lowercase | string | string |\n",
        "\n## Operators\n\n| Operator | Left | Right | Result |\n",
        "| `<=` | integer | integer | boolean |\n"}) {
    EXPECT_NE(std::string::npos, run.out.find(line)) << line;
  }
}

TEST_F(VocabularyTest, TheHelpTellsTheNewOptions) {
  Outcome const run = Survey("--help");
  EXPECT_EQ(0, run.status);
  for (char const* option : {"--csv", "--json", "--list", "--markdown", "--describe PHRASE",
                             "Tab completes phrases and keywords", "help and quit"}) {
    EXPECT_NE(std::string::npos, run.out.find(option)) << option;
  }
}

}  // namespace
}  // namespace survey::command_test
