// Ropes and HTML: ropes against Python's joins and searches of the same
// spans, HTML escaping against Python's html.escape (with the one rule where
// they differ), every tag family with its phrases, the generic tag, the empty
// tags, the lists, attribute lists and concatenations, and trees of great
// depth.

#include "survey/values/ropes.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "survey/values/html_tags.h"
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

// A python3 string literal of ASCII text.
std::string PythonLiteral(std::string const& text) {
  std::string literal = "'";
  for (char c : text) {
    if (c == '\\' || c == '\'') literal += '\\';
    literal += c;
  }
  return literal + "'";
}

// ---------------------------------------------------------------------------
// The Part's edge cases.

TEST(RopesTest, LengthCountsBytes) {
  EXPECT_EQ("2", One("length of (rope \"a\" & \"b\")"));
  // "é" is two bytes in UTF-8.
  EXPECT_EQ("5", One("length of (rope \"%C3%A9\" & rope \"abc\")"));
  EXPECT_EQ("0", One("length of rope \"\""));
}

TEST(RopesTest, ContainsFindsATextAcrossJoinedSpans) {
  EXPECT_EQ("True, True, False, True",
            One("(rope \"xab\" & \"cdy\") contains \"bcd\", (\"ab\" & rope \"c\" & \"d\") contains "
                "\"abcd\", (rope \"ab\" & \"cd\") contains \"ac\", rope \"\" contains \"\""));
}

TEST(RopesTest, TheThreeJoinsAndTheTextForm) {
  EXPECT_EQ("abcdef, xy",
            One("((rope \"ab\" & \"c\") & (\"d\" & rope \"ef\")) as string, "
                "\"x\" & rope \"y\" as string"));
  Answer const answer = Ask("rope \"a\" & rope \"b\"");
  EXPECT_EQ(std::vector<std::string>{"rope"}, answer.types);
  EXPECT_EQ(std::vector<std::string>{"ab"}, answer.values);
}

TEST(RopesTest, HtmlTrustsItsTextAndTheCastEscapesIt) {
  EXPECT_EQ("<b>, &lt;b&gt;", One("html \"%3Cb%3E\", \"%3Cb%3E\" as html"));
}

TEST(RopesTest, JoiningAStringToHtmlEscapesTheStringSideOnly) {
  EXPECT_EQ("&lt;a&gt;<b>", One("\"%3Ca%3E\" & html \"%3Cb%3E\""));
  EXPECT_EQ("<b>&lt;a&gt;", One("html \"%3Cb%3E\" & \"%3Ca%3E\""));
  EXPECT_EQ("<a><b>", One("html \"%3Ca%3E\" & html \"%3Cb%3E\""));
  EXPECT_EQ("<i>", One("html \"%3Ci%3E\" as html"));
}

TEST(RopesTest, TheTagPAroundAText) { EXPECT_EQ("<p>a&amp;b</p>", One("p of \"a%26b\"")); }

TEST(RopesTest, ABrWithAttributes) {
  EXPECT_EQ("<br class=x/>, <br/>, <hr/>, <hr id=1/>",
            One("br \"class=x\", br, hr, hr \"id=1\""));
  EXPECT_EQ((std::vector<std::string>{"html", "html"}), Ask("br; hrs").types);
}

TEST(RopesTest, Lists) {
  EXPECT_EQ("<ol><li>a</li><li>b</li></ol>", One("ordered list of (\"a\"; \"b\")"));
  EXPECT_EQ("<dl><dt>a</dt><dd>b</dd><dt>c</dt></dl>",
            One("definition list of (\"a\"; \"b\"; \"c\")"));
  EXPECT_EQ("<ul><li><i>b</i></li><li>c</li></ul>",
            One("unordered list of (html \"%3Ci%3Eb%3C/i%3E\"; html \"c\")"));
  // Text is escaped, html is not; the attributes are those of the list.
  EXPECT_EQ("<ul class=x><li>&lt;a</li><li>b</li></ul>",
            One("unordered list \"class=x\" of (\"%3Ca\"; \"b\")"));
  EXPECT_EQ("<ol start=3><li><i>b</i></li></ol>",
            One("ordered list \"start=3\" of (html \"%3Ci%3Eb%3C/i%3E\")"));
  EXPECT_EQ("<dl><dt><i/></dt></dl>", One("definition list of (html \"%3Ci/%3E\")"));
}

TEST(RopesTest, AnEmptyListIsALoneClosingTag) {
  EXPECT_EQ("</ul>, </ol>, </dl>",
            One("unordered list of (\"a\" whose (false)), ordered list of (\"a\" whose (false)), "
                "definition list \"class=x\" of (\"a\" whose (false))"));
}

TEST(RopesTest, AttributeLists) {
  EXPECT_EQ("<p a=\"x&quot;y\">t</p>",
            One("html tag (\"p\", attr list of ((\"a\", \"x%22y\")), \"t\")"));
  EXPECT_EQ("<a href=\"u?a=1&amp;b=2\" title=\"&lt;t&gt;\"><i/></a>",
            One("html tag (\"a\", attr list of ((\"href\", \"u?a=1%26b=2\"); (\"title\", "
                "\"%3Ct%3E\")), html \"%3Ci/%3E\")"));
  Answer const answer = Ask("attr list of ((\"a\", \"b\"))");
  EXPECT_EQ(std::vector<std::string>{"html attribute list"}, answer.types);
}

TEST(RopesTest, Concatenations) {
  std::vector<Answer> const answers = AskAll({
      "concatenation of (html \"%3Ca%3E\"; html \"b\")",
      "concatenation \"%3Cbr/%3E\" of (html \"a\"; html \"b\"; html \"c\")",
      "concatenation (html \"%3Cbr/%3E\") of (\"a%26\"; \"b\")",
      "concatenation (html \"|\") of (html \"%3Ci/%3E\"; html \"x\")",
      "html concatenation of (html \"a\"; html \"b\")",
      "html concatenation \", \" of (html \"a\"; html \"b\")",
      "concatenation (html \"x\") of (\"a\" whose (false))",
      "html concatenation of ((html \"a\") whose (false))",
  });
  std::vector<std::string> const wanted = {"<a>b",          "a<br/>b<br/>c", "a&amp;<br/>b",
                                           "<i/>|x",        "ab",            "a, b",
                                           "",              ""};
  for (std::size_t k = 0; k < wanted.size(); ++k) {
    EXPECT_EQ("", answers[k].error) << k << ": " << answers[k].message;
    ASSERT_EQ(1u, answers[k].values.size()) << k;
    EXPECT_EQ(wanted[k], answers[k].values[0]) << k;
    EXPECT_EQ("html", answers[k].types[0]) << k;
  }
}

// ---------------------------------------------------------------------------
// Escaping against Python's html.escape, which agrees but for one rule:
// html.escape writes the single quote as "&#x27;", and here the single quote
// is not touched.

TEST(RopesTest, EscapingAgreesWithPythonsHtmlEscape) {
  std::mt19937 random(4242);
  static char const kBytes[] = "ab <>&\"'x;#=/";
  std::vector<std::string> texts = {"", "plain", "'", "\"'\"", "&amp;", "<<>>"};
  for (int k = 0; k < 40; ++k) {
    std::string text;
    int const length = static_cast<int>(random() % 30);
    for (int j = 0; j < length; ++j) text += kBytes[random() % (sizeof kBytes - 1)];
    texts.push_back(text);
  }
  std::string program = "import html\n";
  std::vector<std::string> queries;
  for (std::string const& text : texts) {
    program += "print(html.escape(" + PythonLiteral(text) + ", quote=True).replace('&#x27;', \"'\"))\n";
    queries.push_back(Literal(text) + " as html as string");
    queries.push_back("attr list of ((\"v\", " + Literal(text) + "))");
  }
  std::vector<std::string> const escaped = Lines(Python(program) + "\n");
  ASSERT_LE(texts.size(), escaped.size());
  std::vector<Answer> const answers = AskAll(queries);
  for (std::size_t k = 0; k < texts.size(); ++k) {
    std::string const wanted = k < escaped.size() ? escaped[k] : std::string();
    ASSERT_EQ(1u, answers[2 * k].values.size()) << texts[k];
    EXPECT_EQ(wanted, answers[2 * k].values[0]) << texts[k];
  }
}

TEST(RopesTest, AttributeValuesAreEscapedAsPythonEscapes) {
  std::vector<std::string> const texts = {"x\"y", "a&b", "<t>", "it's"};
  std::string program = "import html\n";
  std::string query = "html tag (\"p\", attr list of (";
  for (std::size_t k = 0; k < texts.size(); ++k) {
    program += "print('n" + std::to_string(k) + "=\"' + html.escape(" + PythonLiteral(texts[k]) +
               ").replace('&#x27;', \"'\") + '\"', end=' ' if " + std::to_string(k + 1) + " < " +
               std::to_string(texts.size()) + " else '\\n')\n";
    query += std::string(k == 0 ? "" : "; ") + "(\"n" + std::to_string(k) + "\", " +
             Literal(texts[k]) + ")";
  }
  query += "), \"t\")";
  std::string const attributes = Lines(Python(program)).front();
  EXPECT_EQ("<p " + attributes + ">t</p>", One(query));
}

TEST(RopesTest, TextWithNothingToEscapeIsNotCopied) {
  survey::test::StringTypeHost host;
  std::string const plain = "nothing to do 'here'";
  surveyor_string const view = View(plain);
  surveyor_string const escaped = EscapedHTML(view);
  EXPECT_EQ(view.data, escaped.data);
  EXPECT_EQ(view.length, escaped.length);
  std::string const empty;
  EXPECT_EQ(0u, EscapedHTML(View(empty)).length);
  std::string const marked = "a<b";
  surveyor_string const copied = EscapedHTML(View(marked));
  EXPECT_NE(View(marked).data, copied.data);
  EXPECT_EQ("a&lt;b", Text(copied));
}

// ---------------------------------------------------------------------------
// Every tag.

struct TagNames {
  char const* singular;
  char const* plural;
  char const* tag;
};

// The tags with content in order, with their plurals as written (the "s"
// added to any singular) and the tag that each writes.
std::vector<TagNames> const kTags = {
    {"html", "htmls", "html"},       {"head", "heads", "head"},
    {"title", "titles", "title"},    {"meta", "metas", "meta"},
    {"body", "bodys", "body"},       {"div", "divs", "div"},
    {"span", "spans", "span"},       {"address", "addresss", "address"},
    {"h1", "h1s", "h1"},             {"h2", "h2s", "h2"},
    {"h3", "h3s", "h3"},             {"h4", "h4s", "h4"},
    {"h5", "h5s", "h5"},             {"h6", "h6s", "h6"},
    {"em", "ems", "em"},             {"strong", "strongs", "strong"},
    {"dfn", "dfns", "dfn"},          {"code", "codes", "code"},
    {"samp", "samps", "samp"},       {"kbd", "kbds", "kbd"},
    {"var", "vars", "var"},          {"cite", "cites", "cite"},
    {"abbr", "abbrs", "abbr"},       {"acronym", "acronyms", "acronym"},
    {"blockquote", "blockquotes", "blockquote"},
    {"q", "qs", "q"},                {"sub", "subs", "sub"},
    {"sup", "sups", "sup"},          {"p", "ps", "p"},
    {"pre", "pres", "pre"},          {"ins", "inss", "ins"},
    {"del", "dels", "del"},          {"ul", "uls", "ul"},
    {"ol", "ols", "ol"},             {"li", "lis", "li"},
    {"dt", "dts", "dt"},             {"dd", "dds", "dd"},
    {"table", "tables", "table"},    {"caption", "captions", "caption"},
    {"thead", "theads", "thead"},    {"tfoot", "tfoots", "tfoot"},
    {"tbody", "tbodys", "tbody"},    {"colgroup", "colgroups", "colgroup"},
    {"col", "cols", "col"},          {"tr", "trs", "tr"},
    {"th", "ths", "th"},             {"td", "tds", "td"},
    {"anchor", "anchors", "a"},      {"link", "links", "link"},
    {"base", "bases", "base"},       {"tt", "tts", "tt"},
    {"italic", "italics", "i"},      {"b", "bs", "b"},
    {"big", "bigs", "big"},          {"small", "smalls", "small"},
};

TEST(RopesTest, EveryTagWithContentHasItsFourForms) {
  std::vector<std::string> queries;
  for (TagNames const& names : kTags) {
    std::string const s = names.singular;
    std::string const p = names.plural;
    queries.push_back(s + " of \"a%26b\"");
    queries.push_back(s + " of html \"%3Ci/%3E\"");
    queries.push_back(s + " \"k=v\" of \"%3C\"");
    queries.push_back(s + " \"k=v\" of html \"%3Ci/%3E\"");
    queries.push_back(p + " of (\"x\"; \"y\")");
  }
  std::vector<Answer> const answers = AskAll(queries);
  for (std::size_t k = 0; k < kTags.size(); ++k) {
    std::string const t = kTags[k].tag;
    std::vector<std::vector<std::string>> const wanted = {
        {"<" + t + ">a&amp;b</" + t + ">"},
        {"<" + t + "><i/></" + t + ">"},
        {"<" + t + " k=v>&lt;</" + t + ">"},
        {"<" + t + " k=v><i/></" + t + ">"},
        {"<" + t + ">x</" + t + ">", "<" + t + ">y</" + t + ">"},
    };
    for (std::size_t form = 0; form < wanted.size(); ++form) {
      Answer const& answer = answers[k * wanted.size() + form];
      EXPECT_EQ("", answer.error) << queries[k * wanted.size() + form] << ": " << answer.message;
      EXPECT_EQ(wanted[form], answer.values) << queries[k * wanted.size() + form];
      for (std::string const& type : answer.types) EXPECT_EQ("html", type);
    }
  }
}

TEST(RopesTest, TheGenericTag) {
  std::vector<Answer> const answers = AskAll({
      "html tag \"p class=x\" of \"a%3C\"",
      "html tag \"p%09class=x  id=y \" of html \"%3Ci/%3E\"",
      "html tag \"p \" of \"t\"",
      "html tag \" p\" of \"t\"",
      "html tag \"\" of \"t\"",
      "html tag \"p%0Bx\" of \"t\"",
      "html tag (\"p\", \"a%3C\")",
      "html tag (\"p class=x\", html \"%3Ci/%3E\")",
      "html tag (\"\", \"t\")",
      "html tag (\"td\", attr list of ((\"a\", \"1\")), html \"%3Cb/%3E\")",
  });
  EXPECT_EQ(std::vector<std::string>{"<p class=x>a&lt;</p>"}, answers[0].values);
  // Split at the first white space only, the rest untrimmed.
  EXPECT_EQ(std::vector<std::string>{"<p class=x  id=y ><i/></p>"}, answers[1].values);
  // An index that ends in white space has no attributes.
  EXPECT_EQ(std::vector<std::string>{"<p>t</p>"}, answers[2].values);
  // An index that begins with white space has an empty tag, as the empty
  // index has.
  EXPECT_EQ("no value", answers[3].error);
  EXPECT_EQ("no value", answers[4].error);
  // A vertical tab is no white space here: it is part of the tag.
  EXPECT_EQ(std::vector<std::string>{"<p\x0bx>t</p\x0bx>"}, answers[5].values);
  // The tuple forms take the tag as it stands, with no split.
  EXPECT_EQ(std::vector<std::string>{"<p>a&lt;</p>"}, answers[6].values);
  EXPECT_EQ(std::vector<std::string>{"<p class=x><i/></p class=x>"}, answers[7].values);
  EXPECT_EQ("no value", answers[8].error);
  EXPECT_EQ(std::vector<std::string>{"<td a=\"1\"><b/></td>"}, answers[9].values);
}

TEST(RopesTest, MetaLinkBaseAndColGetAClosingTag) {
  EXPECT_EQ("<meta></meta>, <link></link>, <base></base>, <col></col>",
            One("meta of \"\", link of \"\", base of \"\", col of \"\""));
}

// ---------------------------------------------------------------------------
// Depth.

TEST(RopesTest, NestedTagsOfTheParsersDepth) {
  int const depth = 450;
  std::string query;
  for (int k = 0; k < depth; ++k) query += k % 2 == 0 ? "div of " : "span of ";
  query += "\"%3C\"";
  std::string const program =
      "s = '&lt;'\nfor k in reversed(range(" + std::to_string(depth) +
      ")):\n    t = 'div' if k % 2 == 0 else 'span'\n    s = '<' + t + '>' + s + '</' + t + '>'\n"
      "print(s)\n";
  EXPECT_EQ(Lines(Python(program)).front(), One(query));
  // Deeper than the parser takes: an error, not a crash.
  std::string deeper;
  for (int k = 0; k < 5000; ++k) deeper += "p of ";
  EXPECT_EQ("syntax error", Ask(deeper + "\"x\"").error);
}

TEST(RopesTest, AChainOfJoinsAgreesWithPython) {
  std::mt19937 random(77);
  std::vector<std::string> parts;
  std::string query = "(rope \"\"";
  for (int k = 0; k < 300; ++k) {
    std::string part;
    int const length = static_cast<int>(random() % 4);
    for (int j = 0; j < length; ++j) part += "abc"[random() % 3];
    parts.push_back(part);
    query += (k % 3 == 0 ? " & rope " : " & ") + Literal(part);
  }
  query += ")";
  std::string joined;
  for (std::string const& part : parts) joined += part;
  std::vector<std::string> needles = {"", "a", "abc", "cab", "ccc", "aaaa", "bcbcb", "cbacba"};
  needles.push_back(joined.substr(100, 40));
  std::string program = "joined = " + PythonLiteral(joined) + "\n";
  std::string relations;
  for (std::string const& needle : needles) {
    program += "print(" + PythonLiteral(needle) + " in joined)\n";
    relations += ", " + query + " contains " + Literal(needle);
  }
  program += "print(len(joined))\n";
  std::vector<std::string> const python = Lines(Python(program));
  std::string wanted;
  for (std::size_t k = 0; k < needles.size(); ++k) wanted += ", " + python[k];
  EXPECT_EQ(joined + ", " + python.back() + wanted,
            One(query + " as string, length of " + query + relations));
}

// A rope deeper than any query makes: the walks keep their own stack.
TEST(RopesTest, WalksOfAVeryDeepRope) {
  survey::test::StringTypeHost host;
  int const depth = 1000000;
  std::vector<rope> nodes(depth);
  static unsigned char const kByte[] = "xy";
  nodes[0] = rope_of(kByte, 1);
  for (int k = 1; k < depth; ++k) {
    nodes[k] = Concatenate(nodes[k - 1], surveyor_string{kByte + 1, 1});
  }
  EXPECT_EQ(depth, length_of(nodes.back()).value);
  surveyor_string const text = AsString(nodes.back());
  ASSERT_EQ(static_cast<unsigned long>(depth), text.length);
  EXPECT_EQ('x', text.data[0]);
  EXPECT_EQ('y', text.data[depth - 1]);
  std::string const sought = "xyy";
  EXPECT_EQ(1, Contains(nodes.back(), View(sought)).value);
  std::string const absent = "yx";
  EXPECT_EQ(0, Contains(nodes.back(), View(absent)).value);
}

}  // namespace
