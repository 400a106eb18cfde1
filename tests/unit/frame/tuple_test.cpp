// Tuple values and the names of composed types.

#include "survey/frame/tuple.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Gadget {
  int serial;
  static char const* TypeName() { return "gadget"; }
};

TEST(SurveyorTypeNameBuilderTest, StartsEmptyAtDepthZero) {
  SurveyorTypeNameBuilder builder;
  EXPECT_EQ("", builder.Text());
  EXPECT_EQ(0u, builder.Depth());
}

TEST(SurveyorTypeNameBuilderTest, AddTypePutsACommaAndABlankBetweenNames) {
  SurveyorTypeNameBuilder builder;
  builder.AddType("string");
  EXPECT_EQ("string", builder.Text());
  builder.AddType("integer");
  EXPECT_EQ("string, integer", builder.Text());
}

TEST(SurveyorTypeNameBuilderTest, AddTypeAfterABlankAddsNoComma) {
  SurveyorTypeNameBuilder builder;
  builder.AddType("list ");
  builder.AddType("item");
  EXPECT_EQ("list item", builder.Text());
}

TEST(SurveyorTypeNameBuilderTest, StructuredTypesOpenAndCloseWithBlanksInside) {
  SurveyorTypeNameBuilder builder;
  builder.StartStructuredType("");
  EXPECT_EQ("( ", builder.Text());
  EXPECT_EQ(1u, builder.Depth());
  builder.AddType("a");
  builder.StartStructuredType("");
  EXPECT_EQ(2u, builder.Depth());
  builder.AddType("b");
  builder.AddType("c");
  builder.EndStructuredType();
  EXPECT_EQ(1u, builder.Depth());
  builder.AddType("d");
  builder.EndStructuredType();
  EXPECT_EQ(0u, builder.Depth());
  EXPECT_EQ("( a, ( b, c ), d )", builder.Text());
}

TEST(SurveyorTypeNameBuilderTest, ANamedStructureHasItsNameBeforeTheParenthesis) {
  SurveyorTypeNameBuilder builder;
  builder.StartStructuredType("pair");
  builder.AddType("a");
  builder.EndStructuredType();
  EXPECT_EQ("pair( a )", builder.Text());
}

TEST(SurveyorTypeNameBuilderTest, ClearEmptiesTheTextAndZeroesTheDepth) {
  SurveyorTypeNameBuilder builder;
  builder.StartStructuredType("");
  builder.AddType("a");
  builder.Clear();
  EXPECT_EQ("", builder.Text());
  EXPECT_EQ(0u, builder.Depth());
  builder.AddType("b");
  EXPECT_EQ("b", builder.Text());
}

TEST(MakeTupleTypeNameTest, NamesTwoThreeAndFourElements) {
  EXPECT_EQ("( a, b )", MakeTupleTypeName("a", "b"));
  EXPECT_EQ("( ipv4 address, string, integer )",
            MakeTupleTypeName("ipv4 address", "string", "integer"));
  EXPECT_EQ("( w, x, y, z )", MakeTupleTypeName("w", "x", "y", "z"));
}

TEST(SurveyorTupleTest, TypeNamesComeFromTheElementTypes) {
  EXPECT_STREQ("( gadget, string )", (SurveyorTuple2<Gadget, surveyor_string>::TypeName()));
  EXPECT_STREQ("( integer, boolean, gadget )",
               (SurveyorTuple3<integer, boolean, Gadget>::TypeName()));
  EXPECT_STREQ("( time, time interval )", (SurveyorTuple2<moment, time_interval>::TypeName()));
}

TEST(SurveyorTupleTest, TheNameIsBuiltOnceAndKept) {
  char const* const first = SurveyorTuple2<Gadget, Gadget>::TypeName();
  EXPECT_EQ(first, (SurveyorTuple2<Gadget, Gadget>::TypeName()));
}

TEST(SurveyorTupleTest, NodesPointAtTheElementsAndEndInNull) {
  Gadget const a{1};
  integer const b{2};
  SurveyorTuple2<Gadget, integer> const pair(&a, &b);
  TupleNode const* const nodes = pair.Nodes();
  EXPECT_EQ(&a, nodes[0].element);
  EXPECT_EQ(&nodes[1], nodes[0].next);
  EXPECT_EQ(&b, nodes[1].element);
  EXPECT_EQ(nullptr, nodes[1].next);
  // The nodes lie inside the value, and the value is nothing else.
  EXPECT_EQ(static_cast<void const*>(&pair), static_cast<void const*>(nodes));
  EXPECT_EQ(2 * sizeof(TupleNode), sizeof pair);
}

TEST(SurveyorTupleTest, ACopyLinksItsOwnNodes) {
  Gadget const a{1}, b{2}, c{3};
  SurveyorTuple3<Gadget, Gadget, Gadget> const original(&a, &b, &c);
  SurveyorTuple3<Gadget, Gadget, Gadget> const copy(original);
  TupleNode const* const nodes = copy.Nodes();
  EXPECT_EQ(&nodes[1], nodes[0].next);
  EXPECT_EQ(&nodes[2], nodes[1].next);
  EXPECT_EQ(nullptr, nodes[2].next);
  EXPECT_EQ(&a, nodes[0].element);
  EXPECT_EQ(&b, nodes[1].element);
  EXPECT_EQ(&c, nodes[2].element);
  EXPECT_EQ(3 * sizeof(TupleNode), sizeof copy);

  SurveyorTuple2<Gadget, Gadget> assigned(&c, &c);
  SurveyorTuple2<Gadget, Gadget> const source(&a, &b);
  assigned = source;
  EXPECT_EQ(&assigned.Nodes()[1], assigned.Nodes()[0].next);
  EXPECT_EQ(&a, assigned.First());
  EXPECT_EQ(&b, assigned.Second());
}

TEST(TupleItemTest, WalksThatManyLinks) {
  Gadget const a{1}, b{2}, c{3};
  SurveyorTuple3<Gadget, Gadget, Gadget> const triple(&a, &b, &c);
  EXPECT_EQ(&a, TupleItem(0, triple.Nodes()));
  EXPECT_EQ(&b, TupleItem(1, triple.Nodes()));
  EXPECT_EQ(&c, TupleItem(2, triple.Nodes()));
}

TEST(TupleItemTest, AnIndexPastTheLastNodeHasNoElement) {
  Gadget const a{1}, b{2};
  SurveyorTuple2<Gadget, Gadget> const pair(&a, &b);
  EXPECT_THROW(TupleItem(2, pair.Nodes()), NoSuchObject);
  EXPECT_THROW(TupleItem(1000, pair.Nodes()), NoSuchObject);
  EXPECT_THROW(TupleItem(0, nullptr), NoSuchObject);
}

}  // namespace
