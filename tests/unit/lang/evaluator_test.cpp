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

TEST_F(LanguageTest, AnAggregateOfMixedTypesIsATypeError) {
  EXPECT_EQ(ErrorKind::kTypeError, ErrorOf("maximum of (1; \"a\")").Kind());
}

}  // namespace
}  // namespace survey::lang::testing
