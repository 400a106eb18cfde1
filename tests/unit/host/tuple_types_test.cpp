// Tuple types as the evaluator uses them: the tuples a query makes, and the
// results that a property names as a tuple of registered types, have types
// registered in the host's registry with their element types.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/host.h"
#include "host/lang/evaluator.h"
#include "host/lang/parser.h"
#include "host/lang/words.h"

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::PropertyEntry;
using survey::host::Registry;
using survey::host::TypeEntry;
using survey::host::Value;

int Getter(void*, void const*, void const*, void*, void const*) { return 1; }

class TupleTypesTest : public ::testing::Test {
 protected:
  // The one value of a query.
  Value One(std::string const& query) {
    auto const tree = survey::lang::Parse(query, host.GetRegistry());
    auto values = evaluator.Open(*tree, Value());
    Value value;
    EXPECT_TRUE(values->Next(value)) << query;
    return value;
  }

  survey::host::Host host;
  survey::lang::HostWords words{host.GetRegistry()};
  survey::lang::Evaluator evaluator{host};
  std::unique_ptr<survey::host::Evaluation> evaluation = host.NewEvaluation();
  survey::host::Evaluation::Scope scope{*evaluation};
};

TEST_F(TupleTypesTest, TheTuplesOfAQueryHaveARegisteredTypeWithTheirElements) {
  Registry const& registry = host.GetRegistry();
  Value const tuple = One("(1, \"a\", (2, 3))");
  ASSERT_FALSE(tuple.Empty());
  EXPECT_EQ("( integer, string, ( integer, integer ) )", tuple.Type()->name);
  EXPECT_EQ(tuple.Type(), registry.FindType("( integer, string, ( integer, integer ) )"));
  TypeEntry const* const pair = registry.FindType("( integer, integer )");
  ASSERT_NE(nullptr, pair);
  ASSERT_NE(nullptr, registry.TupleElements(tuple.Type()));
  EXPECT_EQ((std::vector<TypeEntry const*>{host.IntegerType(), host.StringType(), pair}),
            *registry.TupleElements(tuple.Type()));
  EXPECT_EQ(*registry.TupleElements(tuple.Type()), evaluator.TupleElements(tuple.Type()));
  EXPECT_EQ("1, a, 2, 3", evaluator.Text(tuple));
  // A second tuple of the same element types has the same type.
  EXPECT_EQ(tuple.Type(), One("(4, \"b\", (5, 6))").Type());
  EXPECT_TRUE(evaluator.TupleElements(host.IntegerType()).empty());
}

TEST_F(TupleTypesTest, AResultNamedAsATupleOfRegisteredTypesIsRegisteredWhenBound) {
  Registry& registry = host.GetRegistry();
  alignas(16) unsigned char pairRecord[kRecordHostArea] = {};
  alignas(16) unsigned char strayRecord[kRecordHostArea] = {};
  {
    Registry::Scope registering(registry);
    Register_Property(pairRecord, kRecordHostArea, "pair", "pairs", "", "", "( integer, string )",
                      &Getter, pairRecord, nullptr);
    Register_Property(strayRecord, kRecordHostArea, "stray", "strays", "", "",
                      "( integer, nowhere )", &Getter, strayRecord, nullptr);
  }
  EXPECT_EQ(nullptr, registry.FindType("( integer, string )"));
  PropertyEntry const* const pair = registry.FindProperty("pair", nullptr, nullptr);
  ASSERT_NE(nullptr, pair);
  survey::host::BoundProperty const bound = evaluator.Bind(*pair);
  ASSERT_NE(nullptr, bound.result);
  EXPECT_EQ("( integer, string )", bound.result->name);
  EXPECT_EQ((std::vector<TypeEntry const*>{host.IntegerType(), host.StringType()}),
            evaluator.TupleElements(bound.result));
  // The same type as a query's tuple of an integer and a string.
  EXPECT_EQ(bound.result, evaluator.TupleType({host.IntegerType(), host.StringType()}));
  PropertyEntry const* const stray = registry.FindProperty("stray", nullptr, nullptr);
  ASSERT_NE(nullptr, stray);
  try {
    evaluator.Bind(*stray);
    ADD_FAILURE() << "a result of an unregistered type was bound";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
  }
  Unregister_Property(strayRecord);
  Unregister_Property(pairRecord);
}

}  // namespace
