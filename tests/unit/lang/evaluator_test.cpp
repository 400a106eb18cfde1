// The evaluator against the tests' vocabulary: records resolved by operand
// types, aggregates, and the surveyor memory of streamed values.

#include "host/lang/evaluator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/lang/language.h"

namespace survey::lang::testing {
namespace {

using host::ErrorKind;
using Texts = std::vector<std::string>;

// Lines of a kilobyte each, numbered in their first bytes.
std::vector<std::string> LongLines(int count, char fill) {
  std::vector<std::string> lines;
  for (int i = 0; i < count; ++i) {
    std::string line = std::to_string(i) + " ";
    line.resize(1024, fill);
    lines.push_back(line);
  }
  return lines;
}

// ---------------------------------------------------------------------------
// Resolution.

TEST_F(LanguageTest, PropertiesAreFoundByTheTypesOfTheirOperands) {
  TextFiles()["a"] = {"one", "two"};
  EXPECT_EQ((Texts{"one", "two"}), Answers("lines of text file \"a\""));
  EXPECT_EQ("2", One("number of lines of text file \"a\""));
  EXPECT_EQ((Texts{"3", "3"}), Answers("(length of it) of lines of text file \"a\""));
}

TEST_F(LanguageTest, APropertyOfAnotherTypeIsNoSuchPropertyNamingTheTypesThatHaveIt) {
  host::EvaluationError const error = ErrorOf("lines of 5");
  EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
  EXPECT_NE(std::string::npos, std::string(error.what()).find("\"text file\"")) << error.what();
  EXPECT_NE(std::string::npos, std::string(error.what()).find("\"integer\"")) << error.what();
}

TEST_F(LanguageTest, TheSingularFormWantsExactlyOneValue) {
  TextFiles()["a"] = {"one", "two"};
  TextFiles()["b"] = {"alone"};
  EXPECT_EQ("alone", One("line of text file \"b\""));
  EXPECT_EQ(ErrorKind::kMoreThanOneValue, ErrorOf("line of text file \"a\"").Kind());
  EXPECT_EQ(ErrorKind::kNoValue, ErrorOf("line of text file \"none\"").Kind());
  EXPECT_EQ("False", One("exists line of text file \"none\""));
  EXPECT_TRUE(Answers("lines of text file \"none\"").empty());
}

TEST_F(LanguageTest, CastsAreFoundByTheSourceType) {
  EXPECT_EQ("12", One("(\"12\" as revision) as string"));
  EXPECT_EQ(ErrorKind::kNoSuchProperty, ErrorOf("5 as revision").Kind());
}

TEST_F(LanguageTest, RecordsAreResolvedAgainForEachNewOperandType) {
  // One node sees a string, then a revision, then a string again.
  EXPECT_EQ((Texts{"10", "9", "8"}),
            Answers("(maximum of it) of (\"10\"; (\"9\" as revision); \"8\")"));
}

// ---------------------------------------------------------------------------
// Aggregates.

TEST_F(LanguageTest, AnAggregateTakesTheWholeStream) {
  EXPECT_EQ("5", One("maximum of (1; 5; 3)"));
  EXPECT_EQ("5", One("biggest of (1; 5; 3)"));
  EXPECT_EQ((Texts{"5"}), Answers("maxima of (1; 5; 3)"));
  EXPECT_EQ("7", One("maximum of 7"));
  EXPECT_EQ("10", One("maximum of ((\"9\"; \"10\"; \"2\") as revision)"));
  EXPECT_EQ(ErrorKind::kNoValue, ErrorOf("maximum of lines of text file \"none\"").Kind());
  EXPECT_TRUE(Answers("maxima of lines of text file \"none\"").empty());
}

TEST_F(LanguageTest, AnAggregateIsDecidedByTheRecordOfItsElementsType) {
  // A "maximum" of booleans that is no aggregate stands beside the
  // aggregates of other types; it changes none of their answers.
  BooleanMaximum const booleans;
  EXPECT_EQ("5", One("maximum of (1; 5; 3)"));
  EXPECT_EQ((Texts{"5"}), Answers("maxima of (1; 5; 3)"));
  EXPECT_EQ("7", One("maximum of 7"));
  EXPECT_EQ("10", One("maximum of ((\"9\"; \"10\"; \"2\") as revision)"));
  EXPECT_EQ(ErrorKind::kNoValue, ErrorOf("maximum of lines of text file \"none\"").Kind());
  // For booleans the simple property answers, value by value.
  EXPECT_EQ("True", One("maximum of true"));
  EXPECT_EQ((Texts{"True", "False"}), Answers("maxima of (true; false)"));
  EXPECT_EQ(ErrorKind::kMoreThanOneValue, ErrorOf("maximum of (true; false)").Kind());
}

TEST_F(LanguageTest, AnAggregateOfMixedTypesIsATypeError) {
  EXPECT_EQ(ErrorKind::kTypeError, ErrorOf("maximum of (1; \"a\")").Kind());
}

// ---------------------------------------------------------------------------
// Surveyor memory of streamed values.

TEST_F(LanguageTest, AnAggregateOverLinesKeepsWhatItsElementsUsed) {
  TextFiles()["f"] = {"x", "zzz", "aaa"};
  EXPECT_EQ("zzz", One("maximum of lines of text file \"f\""));
  EXPECT_EQ((Texts{"zzz"}), Answers("maxima of lines of text file \"f\""));
  TextFiles()["long"] = LongLines(300, 'q');
  EXPECT_EQ(std::string("99 ") + std::string(1021, 'q'),
            One("maximum of lines of text file \"long\""));
}

TEST_F(LanguageTest, AnAggregateOverRevisionsOfLinesKeepsWhatItsElementsUsed) {
  TextFiles()["r"] = {"9", "10", "2"};
  EXPECT_EQ("10", One("maximum of revisions of text file \"r\""));
  EXPECT_EQ("10", One("maximum of (it as revision) of lines of text file \"r\""));
  EXPECT_EQ("10", One("maximum of (revisions of it) of text file \"r\""));
}

TEST_F(LanguageTest, CountingLinesGivesTheirMemoryBack) {
  TextFiles()["big"] = LongLines(4000, 'a');
  std::size_t const before = ArenaBytes();
  EXPECT_EQ("4000", One("number of lines of text file \"big\""));
  // Four megabytes of lines went through; a few lines' worth stay.
  EXPECT_LT(ArenaBytes() - before, 64u * 1024);
}

TEST_F(LanguageTest, FilteringLinesGivesTheMemoryOfThoseDroppedBack) {
  TextFiles()["big"] = LongLines(4000, 'a');
  std::size_t const before = ArenaBytes();
  EXPECT_EQ("1", One("number of lines whose (it starts with \"3999 \") of text file \"big\""));
  EXPECT_EQ("True", One("exists lines whose (it starts with \"3999 \") of text file \"big\""));
  EXPECT_LT(ArenaBytes() - before, 64u * 1024);
}

TEST_F(LanguageTest, CountingAPropertyOfEachLineGivesTheLinesMemoryBack) {
  TextFiles()["big"] = LongLines(4000, 'a');
  std::size_t const before = ArenaBytes();
  EXPECT_EQ("4096000", One("number of characters of lines of text file \"big\""));
  EXPECT_LT(ArenaBytes() - before, 64u * 1024);
}

TEST_F(LanguageTest, APropertyOfEachLineWhoseValuesAreKeptKeepsTheLines) {
  TextFiles()["f"] = {"ab", "cd"};
  // Each character is a view into its line: the lines stay while the
  // characters are read.
  EXPECT_EQ((Texts{"a", "b", "c", "d"}), Answers("characters of lines of text file \"f\""));
  EXPECT_EQ("d", One("maximum of characters of lines of text file \"f\""));
  EXPECT_EQ("4", One("number of characters of lines of text file \"f\""));
}

TEST_F(LanguageTest, AnswersDroppedOneByOneGiveTheirMemoryBack) {
  TextFiles()["big"] = LongLines(4000, 'a');
  std::size_t const before = ArenaBytes();
  std::vector<std::string> const lines = Answers("lines of text file \"big\"");
  ASSERT_EQ(4000u, lines.size());
  EXPECT_EQ(TextFiles()["big"], lines);
  EXPECT_LT(ArenaBytes() - before, 64u * 1024);
}

TEST_F(LanguageTest, AnAggregateInsideACountKeepsItsElements) {
  TextFiles()["f"] = {"x", "zzz", "aaa"};
  TextFiles()["g"] = {"mmm", "b"};
  EXPECT_EQ((Texts{"zzz", "mmm"}), Answers("(maximum of lines of text file it) of (\"f\"; \"g\")"));
  EXPECT_EQ("2", One("number of (maximum of lines of text file it) of (\"f\"; \"g\")"));
}

// ---------------------------------------------------------------------------
// Parts that do not read `it`.

class FoldingTest : public LanguageTest {
 protected:
  FoldingTest() { TextFiles()["a"] = {"a", "b", "c", "b"}; }
  CountedWords const words;
};

TEST_F(FoldingTest, AStepOfStatedSteadinessIsCalledOncePerQuery) {
  EXPECT_EQ("2", One("number of lines whose (it = steady word \"b\") of text file \"a\""));
  EXPECT_EQ(1, CountedWords::SteadyCalls());
  EXPECT_EQ((Texts{"b", "b"}), Answers("lines whose (steady word \"b\" = it) of text file \"a\""));
  EXPECT_EQ(2, CountedWords::SteadyCalls());
}

TEST_F(FoldingTest, AStepThatMayVaryIsCalledForEveryValue) {
  EXPECT_EQ("2", One("number of lines whose (it = varying word \"b\") of text file \"a\""));
  EXPECT_EQ(4, CountedWords::VaryingCalls());
  EXPECT_EQ("2", One("number of lines whose (it = clocked word \"b\") of text file \"a\""));
  EXPECT_EQ(4, CountedWords::ClockedCalls());
  // A steady word over a varying one varies with it.
  EXPECT_EQ(
      "2", One("number of lines whose (it = steady word (varying word \"b\")) of text file \"a\""));
  EXPECT_EQ(8, CountedWords::VaryingCalls());
  EXPECT_EQ(4, CountedWords::SteadyCalls());
}

TEST_F(FoldingTest, AStepThatReadsItIsCalledForEveryValue) {
  EXPECT_EQ("2", One("number of lines whose (steady word it = \"b\") of text file \"a\""));
  EXPECT_EQ(4, CountedWords::SteadyCalls());
}

TEST_F(FoldingTest, AnItBoundInsideTheStepIsNotTheOuterOne) {
  EXPECT_EQ("4", One("number of lines whose (exists steady words \"b\" whose (it = \"b\")) of "
                     "text file \"a\""));
  EXPECT_EQ(1, CountedWords::SteadyCalls());
  EXPECT_EQ((Texts{"ax", "bx", "cx", "bx"}),
            Answers("(it & steady word \"x\") of lines of text file \"a\""));
  EXPECT_EQ(2, CountedWords::SteadyCalls());
}

TEST_F(FoldingTest, AStepNotReachedIsNotCalled) {
  EXPECT_EQ("0", One("number of lines whose (it = steady word \"b\") of text file \"none\""));
  EXPECT_EQ("0", One("number of lines whose (it = \"x\" and it = steady word \"b\") of text "
                     "file \"a\""));
  EXPECT_EQ(0, CountedWords::SteadyCalls());
}

TEST_F(FoldingTest, AnErrorIsRaisedAgainAtEveryEvaluation) {
  host::EvaluationError const error =
      ErrorOf("number of lines whose (it = failing word \"none\") of text file \"a\"");
  EXPECT_EQ(ErrorKind::kNoValue, error.Kind());
  EXPECT_EQ(1, CountedWords::FailingCalls());
  // "No value" inside a tuple that reads `it` is the tuple's, for each line.
  EXPECT_EQ("0", One("number of lines whose (exists (it, failing word \"none\")) of text file "
                     "\"a\""));
  EXPECT_EQ(5, CountedWords::FailingCalls());
  // An existence test that reads no `it` has the same answer for each line.
  EXPECT_EQ("0", One("number of lines whose (exists failing word \"none\") of text file \"a\""));
  EXPECT_EQ(6, CountedWords::FailingCalls());
}

}  // namespace
}  // namespace survey::lang::testing
