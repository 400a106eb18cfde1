// The product, conjunction and disjunction aggregates: the edge cases of
// their rules, and generated sets against what Python computes for them,
// overflow of a signed 64-bit product included.

#include "survey/values/aggregates.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/values/query_support.h"

namespace {

using survey::values::testing::Answer;
using survey::values::testing::AskAll;
using survey::values::testing::Lines;
using survey::values::testing::One;
using survey::values::testing::Python;

// The elements as a collection of the query language: "(a; b; c)", or a
// stream with nothing in it.
std::string Collection(std::vector<long long> const& numbers) {
  if (numbers.empty()) return "(1 whose (false))";
  std::string text = "(";
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    if (k != 0) text += "; ";
    // The lexer takes digits only; the sign is the unary minus, and the
    // least number is the least but one, less one.
    if (numbers[k] == LLONG_MIN) {
      text += "(-9223372036854775807 - 1)";
    } else if (numbers[k] < 0) {
      text += "(-" + std::to_string(-numbers[k]) + ")";
    } else {
      text += std::to_string(numbers[k]);
    }
  }
  return text + ")";
}

std::string Collection(std::vector<bool> const& truths) {
  if (truths.empty()) return "(true whose (false))";
  std::string text = "(";
  for (std::size_t k = 0; k < truths.size(); ++k) {
    text += std::string(k == 0 ? "" : "; ") + (truths[k] ? "true" : "false");
  }
  return text + ")";
}

TEST(AggregatesTest, OfNothing) {
  EXPECT_EQ("1, True, False",
            One("product of (1 whose (false)), conjunction of (true whose (false)), "
                "disjunction of (true whose (false))"));
}

TEST(AggregatesTest, AnOverflowMakesTheProductFail) {
  std::vector<Answer> const answers = AskAll({
      "product of (3037000500; 3037000500)",
      "product of (4294967296; 4294967296; 0)",
      "products of (3037000500; 3037000500)",
      "product of (3037000499; 3037000499)",
      "product of (-3; 5)",
  });
  EXPECT_EQ("no value", answers[0].error);
  // The overflow is not undone by a later 0.
  EXPECT_EQ("no value", answers[1].error);
  EXPECT_EQ("", answers[2].error);
  EXPECT_TRUE(answers[2].values.empty());
  EXPECT_EQ(std::vector<std::string>{"9223372030926249001"}, answers[3].values);
  EXPECT_EQ(std::vector<std::string>{"-15"}, answers[4].values);
}

TEST(AggregatesTest, TheFirstDecidingElementSticks) {
  EXPECT_EQ("False, True, True, False",
            One("conjunction of (true; false; true), disjunction of (false; true; false), "
                "conjunction of (true; true), disjunction of (false; false)"));
}

// Products over generated sets, near and past the bounds of 64 bits, against
// Python's integers: a product that leaves the range at any step, in order,
// has no value.
TEST(AggregatesTest, ProductsAgreeWithPython) {
  std::mt19937_64 random(31337);
  std::vector<std::vector<long long>> sets = {
      {},
      {0},
      {LLONG_MAX},
      {LLONG_MIN},
      {LLONG_MIN, 1},
      {LLONG_MIN, -1},
      {-1, LLONG_MIN},
      {LLONG_MAX, -1},
      {2, 4611686018427387904LL},
      {-2, 4611686018427387904LL},
      {4294967296LL, 4294967296LL, 0},
      {0, 4294967296LL, 4294967296LL},
  };
  for (int k = 0; k < 60; ++k) {
    std::vector<long long> set;
    int const count = static_cast<int>(random() % 7);
    for (int j = 0; j < count; ++j) {
      long long const magnitude = static_cast<long long>(random() % (1ULL << (random() % 40)));
      set.push_back(random() % 2 == 0 ? magnitude : -magnitude);
    }
    sets.push_back(set);
  }
  std::string program =
      "def product(xs):\n"
      "    p = 1\n"
      "    for x in xs:\n"
      "        p *= x\n"
      "        if p < -2**63 or p > 2**63 - 1:\n"
      "            return 'none'\n"
      "    return str(p)\n";
  std::vector<std::string> queries;
  for (auto const& set : sets) {
    std::string list;
    for (long long n : set) list += std::to_string(n) + ",";
    program += "print(product([" + list + "]))\n";
    queries.push_back("products of " + Collection(set));
  }
  std::vector<std::string> const expected = Lines(Python(program));
  ASSERT_EQ(sets.size(), expected.size());
  std::vector<Answer> const answers = AskAll(queries);
  int overflows = 0;
  for (std::size_t k = 0; k < sets.size(); ++k) {
    EXPECT_EQ("", answers[k].error) << queries[k] << ": " << answers[k].message;
    if (expected[k] == "none") {
      ++overflows;
      EXPECT_TRUE(answers[k].values.empty()) << queries[k];
    } else {
      EXPECT_EQ(std::vector<std::string>{expected[k]}, answers[k].values) << queries[k];
    }
  }
  EXPECT_GT(overflows, 5);
}

TEST(AggregatesTest, ConjunctionsAndDisjunctionsAgreeWithPython) {
  std::mt19937 random(5);
  std::vector<std::vector<bool>> sets = {{}, {true}, {false}};
  for (int k = 0; k < 40; ++k) {
    std::vector<bool> set;
    int const count = static_cast<int>(random() % 6);
    for (int j = 0; j < count; ++j) set.push_back(random() % 4 != 0);
    sets.push_back(set);
  }
  std::string program;
  std::vector<std::string> queries;
  for (auto const& set : sets) {
    std::string list;
    for (bool truth : set) list += std::string(truth ? "True" : "False") + ",";
    program += "print(all([" + list + "]), any([" + list + "]), sep=', ')\n";
    queries.push_back("conjunction of " + Collection(set) + ", disjunction of " + Collection(set));
  }
  std::vector<std::string> const expected = Lines(Python(program));
  ASSERT_EQ(sets.size(), expected.size());
  std::vector<Answer> const answers = AskAll(queries);
  for (std::size_t k = 0; k < sets.size(); ++k) {
    EXPECT_EQ(std::vector<std::string>{expected[k]}, answers[k].values) << queries[k];
  }
}

// The aggregators as the host drives them, phase by phase.
TEST(AggregatesTest, TheBooleanAggregatorGivesNothingBeforeTheEnd) {
  boolean_aggregate conjunction;
  EXPECT_THROW(conjunction.FirstInitialForConjunction(), NoSuchObject);
  EXPECT_THROW(conjunction.NextInitial(), NoSuchObject);
  EXPECT_THROW(conjunction.First(0, boolean{0}), NoSuchObject);
  EXPECT_THROW(conjunction.First(0, boolean{1}), NoSuchObject);
  EXPECT_THROW(conjunction.Next(), NoSuchObject);
  EXPECT_EQ(0, conjunction.FirstFinal().value);
  EXPECT_THROW(conjunction.NextFinal(), NoSuchObject);
  boolean_aggregate disjunction;
  EXPECT_THROW(disjunction.FirstInitialForDisjunction(), NoSuchObject);
  EXPECT_EQ(0, disjunction.FirstFinal().value);
}

TEST(AggregatesTest, TheProductIsOneAfterInitialize) {
  integer_product product;
  product.Initialize();
  EXPECT_EQ(1, product.FirstFinal().value);
  product.Multiply(0, integer{LLONG_MAX});
  product.Multiply(0, integer{2});
  EXPECT_THROW(product.FirstFinal(), NoSuchObject);
  product.Initialize();
  product.Multiply(0, integer{-7});
  EXPECT_EQ(-7, product.FirstFinal().value);
  EXPECT_THROW(product.NextFinal(), NoSuchObject);
}

}  // namespace
