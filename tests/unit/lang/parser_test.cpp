// The parser against the tests' vocabulary: phrases matched in the live
// registry, the shape of the tree, and the errors with their places.

#include "host/lang/parser.h"

#include <gtest/gtest.h>

#include "tests/unit/lang/language.h"

namespace survey::lang::testing {
namespace {

using host::ErrorKind;
using host::EvaluationError;

class ParserTest : public LanguageTest {
 protected:
  std::unique_ptr<Node> Tree(std::string const& query) { return Parse(query, host.GetRegistry()); }

  EvaluationError ParseError(std::string const& query) {
    try {
      Tree(query);
    } catch (EvaluationError const& error) {
      return error;
    }
    ADD_FAILURE() << "no error from parsing " << query;
    return EvaluationError(ErrorKind::kMessage, "none");
  }
};

TEST_F(ParserTest, PhrasesOfSeveralWordsAreMatchedInTheRegistry) {
  std::unique_ptr<Node> const tree = Tree("lines of text file \"a\"");
  ASSERT_EQ(NodeKind::kProperty, tree->kind);
  EXPECT_EQ("lines", tree->text);
  EXPECT_TRUE(tree->plural);
  ASSERT_NE(nullptr, tree->object);
  Node const& file = *tree->object;
  EXPECT_EQ(NodeKind::kProperty, file.kind);
  EXPECT_EQ("text file", file.text);
  EXPECT_FALSE(file.plural);
  ASSERT_NE(nullptr, file.index);
  EXPECT_EQ(NodeKind::kString, file.index->kind);
  EXPECT_EQ("a", file.index->text);
  EXPECT_EQ(nullptr, file.object);
}

TEST_F(ParserTest, OfGroupsToTheRight) {
  std::unique_ptr<Node> const tree = Tree("maximum of revisions of text file \"a\"");
  ASSERT_EQ(NodeKind::kProperty, tree->kind);
  EXPECT_EQ("maximum", tree->text);
  ASSERT_NE(nullptr, tree->object);
  EXPECT_EQ("revisions", tree->object->text);
  ASSERT_NE(nullptr, tree->object->object);
  EXPECT_EQ("text file", tree->object->object->text);
}

TEST_F(ParserTest, CastsAndMapsTakeTheirPlaces) {
  std::unique_ptr<Node> const tree = Tree("(it as revision) of lines of text file \"a\"");
  ASSERT_EQ(NodeKind::kMap, tree->kind);
  ASSERT_NE(nullptr, tree->left);
  EXPECT_EQ(NodeKind::kCast, tree->left->kind);
  EXPECT_EQ("revision", tree->left->text);
  ASSERT_NE(nullptr, tree->object);
  EXPECT_EQ("lines", tree->object->text);
}

TEST_F(ParserTest, WordsThatFormNoPhraseAreAnUnknownPhrase) {
  EvaluationError const error = ParseError("lime of text file \"a\"");
  EXPECT_EQ(ErrorKind::kUnknownPhrase, error.Kind());
  EXPECT_EQ(0, error.Position());
  // The nearest registered phrases are suggested.
  EXPECT_NE(std::string::npos, std::string(error.what()).find("\"line\"")) << error.what();
}

TEST_F(ParserTest, ItOutsideAnyBindingIsASyntaxError) {
  EvaluationError const error = ParseError("lines of text file it");
  EXPECT_EQ(ErrorKind::kSyntax, error.Kind());
  EXPECT_EQ(19, error.Position());
}

TEST_F(ParserTest, AMissingObjectIsASyntaxError) {
  EXPECT_EQ(ErrorKind::kSyntax, ParseError("lines of").Kind());
}

}  // namespace
}  // namespace survey::lang::testing
