#include "host/lang/parser.h"

#include <algorithm>
#include <set>

#include "host/engine/errors.h"
#include "host/lang/lexer.h"

namespace survey::lang {

namespace {

using host::ErrorKind;
using host::EvaluationError;

// Deeper nesting than this is refused rather than risking the stack.
constexpr int kMaxDepth = 500;
// Longer runs of operators at one level are refused for the same reason:
// each makes one more level of the tree.
constexpr int kMaxChain = 1000;
// An unknown phrase is named in a message by at most this many words.
constexpr std::size_t kMaxMessageWords = 12;

// Words that begin a grammatical form and so cannot begin a phrase.
bool IsReservedStart(std::string const& word) {
  static std::set<std::string> const reserved = {
      "of",   "whose", "as",   "and",   "or",  "not", "exists", "exist",    "if",     "then",
      "else", "it",    "true", "false", "mod", "is",  "does",   "contains", "starts", "ends"};
  return reserved.count(word) != 0;
}

class Parser {
 public:
  Parser(std::string_view query, host::Registry const& registry)
      : tokens_(Tokenize(query)), registry_(registry) {}

  std::unique_ptr<Node> ParseQuery() {
    auto node = Collection();
    if (IsPunct(")")) Fail("unbalanced parentheses: this \")\" closes no \"(\"");
    if (Peek().kind != TokenKind::kEnd) {
      Fail("expected an operator or the end of the query but found " + Describe(Peek()));
    }
    return node;
  }

 private:
  // --- Tokens.
  Token const& Peek(std::size_t ahead = 0) const {
    std::size_t const at = std::min(position_ + ahead, tokens_.size() - 1);
    return tokens_[at];
  }
  Token const& Take() {
    Token const& token = tokens_[position_];
    if (position_ + 1 < tokens_.size()) ++position_;
    return token;
  }
  bool IsWord(std::string_view word, std::size_t ahead = 0) const {
    Token const& token = Peek(ahead);
    return token.kind == TokenKind::kWord && token.text == word;
  }
  bool IsPunct(std::string_view mark, std::size_t ahead = 0) const {
    Token const& token = Peek(ahead);
    return token.kind == TokenKind::kPunct && token.text == mark;
  }
  bool AcceptWord(std::string_view word) {
    if (!IsWord(word)) return false;
    Take();
    return true;
  }
  bool AcceptPunct(std::string_view mark) {
    if (!IsPunct(mark)) return false;
    Take();
    return true;
  }
  void ExpectWord(std::string_view word) {
    if (!AcceptWord(word))
      Fail("expected \"" + std::string(word) + "\" but found " + Describe(Peek()));
  }
  void ExpectPunct(std::string_view mark) {
    if (!AcceptPunct(mark)) {
      Fail("expected \"" + std::string(mark) + "\" but found " + Describe(Peek()));
    }
  }
  static std::string Describe(Token const& token) {
    switch (token.kind) {
      case TokenKind::kEnd:
        return "the end of the query";
      case TokenKind::kString:
        return "a string";
      case TokenKind::kInteger:
        return "the number " + token.text;
      default:
        return "\"" + token.text + "\"";
    }
  }
  [[noreturn]] void Fail(std::string const& message) const {
    throw EvaluationError(ErrorKind::kSyntax, message, Peek().position);
  }

  // Guards recursion depth.
  struct Deeper {
    explicit Deeper(Parser& parser) : parser_(parser) {
      if (++parser_.depth_ > kMaxDepth) parser_.Fail("the query is nested too deeply");
    }
    ~Deeper() { --parser_.depth_; }
    Parser& parser_;
  };

  void Chain(int& chain) const {
    if (++chain > kMaxChain) Fail("too many operators in a row");
  }

  static std::unique_ptr<Node> Make(NodeKind kind, long position) {
    auto node = std::make_unique<Node>();
    node->kind = kind;
    node->position = position;
    return node;
  }

  // --- Grammar, loosest first.

  // Parts separated by a mark: one part stands alone, several make a node of
  // `kind` holding them in order.
  template <class Part>
  std::unique_ptr<Node> Separated(NodeKind kind, std::string_view mark, Part part) {
    long const position = Peek().position;
    auto first = (this->*part)();
    if (!IsPunct(mark)) return first;
    auto node = Make(kind, position);
    node->items.push_back(std::move(first));
    while (AcceptPunct(mark)) node->items.push_back((this->*part)());
    return node;
  }

  std::unique_ptr<Node> Collection() {
    return Separated(NodeKind::kCollection, ";", &Parser::Tuple);
  }

  std::unique_ptr<Node> Tuple() { return Separated(NodeKind::kTuple, ",", &Parser::Conditional); }

  std::unique_ptr<Node> Conditional() {
    Deeper guard(*this);
    if (!IsWord("if")) return Disjunction();
    auto node = Make(NodeKind::kIf, Take().position);
    node->condition = Conditional();
    ExpectWord("then");
    node->left = Conditional();
    ExpectWord("else");
    node->right = Conditional();
    return node;
  }

  // Operands joined by a word, grouped from the left: a or b or c is
  // (a or b) or c.
  template <class Operand>
  std::unique_ptr<Node> LeftJoined(NodeKind kind, std::string_view word, Operand operand) {
    auto left = (this->*operand)();
    int chain = 0;
    while (IsWord(word)) {
      Chain(chain);
      auto node = Make(kind, Take().position);
      node->left = std::move(left);
      node->right = (this->*operand)();
      left = std::move(node);
    }
    return left;
  }

  std::unique_ptr<Node> Disjunction() {
    return LeftJoined(NodeKind::kOr, "or", &Parser::Conjunction);
  }

  std::unique_ptr<Node> Conjunction() {
    return LeftJoined(NodeKind::kAnd, "and", &Parser::Relation);
  }

  // Reads a relational operator if one stands here: its code, and whether
  // the answer is negated and the operands swapped.
  bool RelationOperator(int& code, bool& negated, bool& swapped) {
    negated = false;
    swapped = false;
    if (Peek().kind == TokenKind::kPunct) {
      std::string const mark = Peek().text;
      if (mark == "=")
        code = kOperatorEqual;
      else if (mark == "!=")
        code = kOperatorEqual, negated = true;
      else if (mark == "<")
        code = kOperatorLessThan;
      else if (mark == "<=")
        code = kOperatorLessOrEqual;
      else if (mark == ">")
        code = kOperatorLessThan, swapped = true;
      else if (mark == ">=")
        code = kOperatorLessOrEqual, swapped = true;
      else
        return false;
      Take();
      return true;
    }
    if (IsWord("contains")) {
      Take();
      code = kOperatorContains;
      return true;
    }
    if (IsWord("starts") && IsWord("with", 1)) {
      Take(), Take();
      code = kOperatorStartsWith;
      return true;
    }
    if (IsWord("ends") && IsWord("with", 1)) {
      Take(), Take();
      code = kOperatorEndsWith;
      return true;
    }
    if (IsWord("does") && IsWord("not", 1)) {
      if (IsWord("contain", 2))
        code = kOperatorContains;
      else if (IsWord("start", 2) && IsWord("with", 3))
        code = kOperatorStartsWith;
      else if (IsWord("end", 2) && IsWord("with", 3))
        code = kOperatorEndsWith;
      else
        return false;
      bool const withWord = code != kOperatorContains;
      Take(), Take(), Take();
      if (withWord) Take();
      negated = true;
      return true;
    }
    if (!IsWord("is")) return false;
    Take();
    if (AcceptWord("not")) negated = true;
    if (AcceptWord("equal")) {
      ExpectWord("to");
      code = kOperatorEqual;
      return true;
    }
    if (AcceptWord("contained")) {
      ExpectWord("by");
      code = kOperatorContains;
      swapped = true;
      return true;
    }
    if (!negated && (IsWord("less") || IsWord("greater"))) {
      bool const greater = Take().text == "greater";
      ExpectWord("than");
      code = kOperatorLessThan;
      if (AcceptWord("or")) {
        ExpectWord("equal");
        ExpectWord("to");
        code = kOperatorLessOrEqual;
      }
      swapped = greater;
      return true;
    }
    code = kOperatorEqual;  // plain "is" and "is not"
    return true;
  }

  std::unique_ptr<Node> Relation() {
    auto left = Sum();
    long const position = Peek().position;
    int code = 0;
    bool negated = false;
    bool swapped = false;
    if (!RelationOperator(code, negated, swapped)) return left;
    auto node = Make(NodeKind::kRelation, position);
    node->op = code;
    node->negated = negated;
    node->swapped = swapped;
    node->left = std::move(left);
    node->right = Sum();
    return node;
  }

  std::unique_ptr<Node> Sum() {
    auto left = Product();
    int chain = 0;
    while (IsPunct("+") || IsPunct("-") || IsPunct("&")) {
      Chain(chain);
      Token const& mark = Take();
      auto node = Make(NodeKind::kBinary, mark.position);
      node->op = mark.text == "+"   ? int{kOperatorPlus}
                 : mark.text == "-" ? int{kOperatorMinus}
                                    : int{kOperatorConcatenation};
      node->left = std::move(left);
      node->right = Product();
      left = std::move(node);
    }
    return left;
  }

  std::unique_ptr<Node> Product() {
    auto left = Unary();
    int chain = 0;
    while (IsPunct("*") || IsPunct("/") || IsWord("mod")) {
      Chain(chain);
      Token const& mark = Take();
      auto node = Make(NodeKind::kBinary, mark.position);
      node->op = mark.text == "*"   ? kOperatorTimes
                 : mark.text == "/" ? kOperatorDivide
                                    : kOperatorModulo;
      node->left = std::move(left);
      node->right = Unary();
      left = std::move(node);
    }
    return left;
  }

  std::unique_ptr<Node> Unary() {
    Deeper guard(*this);
    long const position = Peek().position;
    NodeKind kind;
    if (IsPunct("-")) {
      Take();
      kind = NodeKind::kNegate;
    } else if (IsWord("not")) {
      Take();
      kind = NodeKind::kNot;
    } else if (IsWord("exists") || IsWord("exist")) {
      Take();
      kind = AcceptWord("no") ? NodeKind::kExistsNo : NodeKind::kExists;
    } else if (IsWord("number") && IsWord("of", 1) && !StartsPhrase()) {
      Take(), Take();
      kind = NodeKind::kNumberOf;
    } else {
      return Cast();
    }
    auto node = Make(kind, position);
    node->left = Unary();
    return node;
  }

  std::unique_ptr<Node> Cast() {
    auto left = Reference();
    int chain = 0;
    while (IsWord("as")) {
      Chain(chain);
      auto node = Make(NodeKind::kCast, Take().position);
      long const position = Peek().position;
      std::size_t const words = MatchPhrase(/*casts=*/true);
      if (words == 0) UnknownPhrase(position, true);
      node->text = JoinWords(words);
      position_ += words;
      node->left = std::move(left);
      left = std::move(node);
    }
    return left;
  }

  // --- Phrases.
  std::string JoinWords(std::size_t count) const {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) text += ' ';
      text += Peek(i).text;
    }
    return text;
  }

  // The number of words from here that form the longest registered phrase
  // (a property's or, with `casts`, a cast's); 0 if none does. "item" and
  // "items" are the grammar's own words for the elements of tuples.
  std::size_t MatchPhrase(bool casts) const {
    std::size_t const longest = registry_.LongestPhraseWords();
    std::vector<std::string_view> words;
    while (words.size() < longest && Peek(words.size()).kind == TokenKind::kWord) {
      words.push_back(Peek(words.size()).text);
    }
    std::size_t const count =
        registry_.MatchPhrase(words, casts ? host::PhraseKind::kCast : host::PhraseKind::kProperty);
    if (count == 0 && !casts && (IsWord("item") || IsWord("items"))) return 1;
    return count;
  }

  // Whether a registered phrase starts with the words here ("number of ...").
  bool StartsPhrase() const { return MatchPhrase(false) > 1; }

  bool IsPlural(std::string const& phrase) const {
    if (phrase == "items") return true;
    if (phrase == "item") return false;
    host::PhraseUse const use = registry_.PropertyPhraseUse(phrase);
    return use.plural != 0 && use.singular == 0;
  }

  [[noreturn]] void UnknownPhrase(long position, bool cast) const {
    std::size_t words = 0;
    while (words < kMaxMessageWords && Peek(words).kind == TokenKind::kWord &&
           (words == 0 || !IsReservedStart(Peek(words).text))) {
      ++words;
    }
    if (words == 0) {
      throw EvaluationError(ErrorKind::kSyntax,
                            std::string(cast ? "expected a cast" : "expected a phrase or a value") +
                                " but found " + Describe(Peek()),
                            position);
    }
    throw registry_.UnknownPhraseError(
        JoinWords(words), cast ? host::PhraseKind::kCast : host::PhraseKind::kProperty, position);
  }

  // --- References.
  void Filters(Node& node) {
    while (IsWord("whose")) {
      Take();
      ExpectPunct("(");
      node.filters.push_back(Collection());
      ExpectPunct(")");
    }
  }

  std::unique_ptr<Node> Reference() {
    Deeper guard(*this);
    Token const& token = Peek();
    if (token.kind == TokenKind::kWord && !IsReservedStart(token.text)) {
      long const position = token.position;
      std::size_t const words = MatchPhrase(false);
      if (words == 0) UnknownPhrase(position, false);
      std::string phrase = JoinWords(words);
      position_ += words;
      bool const isItem = phrase == "item" || phrase == "items";
      auto node = Make(
          isItem ? (phrase == "item" ? NodeKind::kItem : NodeKind::kItems) : NodeKind::kProperty,
          position);
      node->plural = IsPlural(phrase);
      node->text = std::move(phrase);
      if (StartsIndex()) node->index = Index();
      Filters(*node);
      if (AcceptWord("of")) node->object = Reference();
      if (node->kind == NodeKind::kItem && node->index == nullptr) {
        throw EvaluationError(ErrorKind::kSyntax, "\"item\" needs a number", position);
      }
      return node;
    }
    long const position = token.position;
    auto primary = Primary();
    if (!IsWord("whose") && !IsWord("of")) return primary;
    auto node = Make(NodeKind::kFiltered, position);
    node->left = std::move(primary);
    Filters(*node);
    if (AcceptWord("of")) {
      node->kind = NodeKind::kMap;
      node->object = Reference();
    }
    return node;
  }

  bool StartsIndex() const {
    Token const& token = Peek();
    return token.kind == TokenKind::kString || token.kind == TokenKind::kInteger || IsPunct("(") ||
           IsWord("it");
  }

  std::unique_ptr<Node> Index() {
    if (IsPunct("(")) {
      Take();
      auto node = Collection();
      ExpectPunct(")");
      return node;
    }
    if (IsWord("it")) return Make(NodeKind::kIt, Take().position);
    return Literal();
  }

  std::unique_ptr<Node> Literal() {
    Token const& token = Take();
    if (token.kind == TokenKind::kString) {
      auto node = Make(NodeKind::kString, token.position);
      node->text = token.text;
      return node;
    }
    auto node = Make(NodeKind::kInteger, token.position);
    node->number = token.number;
    return node;
  }

  std::unique_ptr<Node> Primary() {
    Token const& token = Peek();
    if (token.kind == TokenKind::kString || token.kind == TokenKind::kInteger) return Literal();
    if (IsPunct("(")) {
      Take();
      auto node = Collection();
      ExpectPunct(")");
      return node;
    }
    if (IsWord("it")) return Make(NodeKind::kIt, Take().position);
    if (IsWord("true") || IsWord("false")) {
      auto node = Make(NodeKind::kBoolean, token.position);
      node->number = Take().text == "true" ? 1 : 0;
      return node;
    }
    if (token.kind == TokenKind::kWord && !IsReservedStart(token.text)) {
      UnknownPhrase(token.position, false);
    }
    Fail("expected a value but found " + Describe(token));
  }

  std::vector<Token> tokens_;
  host::Registry const& registry_;
  std::size_t position_ = 0;
  int depth_ = 0;
};

// Refuses `it` where no whose clause or (...) of binds it. Whose clauses and
// the left side of (...) of bind it; everything else inherits.
void CheckBindings(Node const& node, bool bound) {
  if (node.kind == NodeKind::kIt && !bound) {
    throw EvaluationError(ErrorKind::kSyntax, "\"it\" stands outside any whose (...) or (...) of",
                          node.position);
  }
  for (auto const& filter : node.filters) CheckBindings(*filter, true);
  if (node.left) CheckBindings(*node.left, bound || node.kind == NodeKind::kMap);
  for (Node const* child :
       {node.index.get(), node.object.get(), node.right.get(), node.condition.get()}) {
    if (child != nullptr) CheckBindings(*child, bound);
  }
  for (auto const& item : node.items) CheckBindings(*item, bound);
}

}  // namespace

std::unique_ptr<Node> Parse(std::string_view query, host::Registry const& registry) {
  Parser parser(query, registry);
  std::unique_ptr<Node> node = parser.ParseQuery();
  CheckBindings(*node, false);
  return node;
}

}  // namespace survey::lang
