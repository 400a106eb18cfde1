#include "survey/values/html_tags.h"

#include <cstring>

#include "survey/foundation/ascii.h"
#include "survey/frame/table.h"
#include "survey/values/aggregate_rows.h"

html_rope MakeTaggedHTML(ConstData tag, ConstData attributes, rope const& content) {
  if (tag.Empty()) throw NoSuchObject();
  unsigned long const attributeBytes = attributes.Empty() ? 0 : 1 + attributes.Length();
  unsigned long const length =
      1 + tag.Length() + attributeBytes + 1 + RopeLength(content) + 2 + tag.Length() + 1;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  unsigned char* out = text;
  auto put = [&out](ConstData bytes) {
    if (bytes.Empty()) return;
    std::memcpy(out, bytes.begin, bytes.Length());
    out += bytes.Length();
  };
  *out++ = '<';
  put(tag);
  if (!attributes.Empty()) {
    *out++ = ' ';
    put(attributes);
  }
  *out++ = '>';
  surveyor_string const inner = FlattenRope(content);
  put(ConstData(inner.data, inner.length));
  *out++ = '<';
  *out++ = '/';
  put(tag);
  *out++ = '>';
  return HTMLSpan(text, out);
}

html_rope MakeEmptyHTMLTag(ConstData tag, ConstData attributes) {
  if (tag.Empty()) throw NoSuchObject();
  unsigned long const attributeBytes = attributes.Empty() ? 0 : 1 + attributes.Length();
  unsigned long const length = 1 + tag.Length() + attributeBytes + 2;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  unsigned char* out = text;
  *out++ = '<';
  std::memcpy(out, tag.begin, tag.Length());
  out += tag.Length();
  if (!attributes.Empty()) {
    *out++ = ' ';
    std::memcpy(out, attributes.begin, attributes.Length());
    out += attributes.Length();
  }
  *out++ = '/';
  *out++ = '>';
  return HTMLSpan(text, out);
}

// ---------------------------------------------------------------------------
// "html tag"

html_rope HTMLTagOfHTML(surveyor_string const& index, Of, html_rope const& content) {
  // The tag ends at the first white-space byte; what follows it is the
  // attribute text, untrimmed.
  ByteSet const& white = Ascii::WhiteSpace();
  unsigned long split = 0;
  while (split < index.length && !white.Contains(index.data[split])) ++split;
  ConstData const tag(index.data, split);
  ConstData const attributes = split < index.length
                                   ? ConstData(index.data + split + 1, index.data + index.length)
                                   : ConstData();
  return MakeTaggedHTML(tag, attributes, content);
}

html_rope HTMLTagOfString(surveyor_string const& index, Of, surveyor_string const& text) {
  return HTMLTagOfHTML(index, 0, AsHTML(text));
}

html_rope HTMLTag0H(SurveyorTuple2<surveyor_string, html_rope> const& index) {
  return MakeTaggedHTML(ConstData(*index.First()), ConstData(), *index.Second());
}

html_rope HTMLTag0S(SurveyorTuple2<surveyor_string, surveyor_string> const& index) {
  return MakeTaggedHTML(ConstData(*index.First()), ConstData(), AsHTML(*index.Second()));
}

html_rope HTMLTagNH(
    SurveyorTuple3<surveyor_string, html_attribute_list, html_rope> const& index) {
  html_attribute_list const& attributes = *index.Second();
  return MakeTaggedHTML(ConstData(*index.First()),
                        ConstData(attributes.start, attributes.length), *index.Third());
}

html_rope HTMLTagNS(
    SurveyorTuple3<surveyor_string, html_attribute_list, surveyor_string> const& index) {
  html_attribute_list const& attributes = *index.Second();
  return MakeTaggedHTML(ConstData(*index.First()),
                        ConstData(attributes.start, attributes.length), AsHTML(*index.Third()));
}

// ---------------------------------------------------------------------------
// "attr list"

void html_attribute_list_maker::Collect(
    Of, SurveyorTuple2<surveyor_string, surveyor_string> const& attribute) {
  if (added_) bytes_.push_back(' ');
  surveyor_string const& name = *attribute.First();
  bytes_.insert(bytes_.end(), name.data, name.data + name.length);
  bytes_.push_back('=');
  bytes_.push_back('"');
  AppendEscapedHTML(bytes_, *attribute.Second());
  bytes_.push_back('"');
  added_ = true;
}

html_attribute_list html_attribute_list_maker::FirstFinal() {
  return html_attribute_list{bytes_.data(), static_cast<unsigned long>(bytes_.size())};
}

html_attribute_list html_attribute_list_maker::NextFinal() { throw NoSuchObject(); }

// ---------------------------------------------------------------------------
// Registration, in table order: the generic tag, the tags with content, the
// empty tags, the lists, the attribute list. Every result follows from its
// operands alone.

namespace {

// The rows of a tag with content: of a string (escaped) and of html, each
// without and with the attribute text as the index.
template <HTMLTagInfo const& Info>
auto HTMLTagRegistration() {
  using Tag = HTMLTag<Info>;
  return RegistrationTable{
      PropertyRow(Info.singular, Info.plural, &Tag::OfString, &DependsOnlyOnParameters),
      PropertyRow(Info.singular, Info.plural, &Tag::OfHTML, &DependsOnlyOnParameters),
      IndexedRow(Info.singular, Info.plural, &Tag::WithAttributesOfString,
                 &DependsOnlyOnParameters),
      IndexedRow(Info.singular, Info.plural, &Tag::WithAttributesOfHTML,
                 &DependsOnlyOnParameters),
  };
}

// The rows of an empty tag, of the world: plain, and with attribute text.
template <HTMLTagInfo const& Info>
auto EmptyHTMLTagRegistration() {
  using Tag = EmptyHTMLTag<Info>;
  return RegistrationTable{
      PropertyRow(Info.singular, Info.plural, &Tag::Plain, &DependsOnlyOnParameters),
      IndexedRow(Info.singular, Info.plural, &Tag::WithAttributes, &DependsOnlyOnParameters),
  };
}

// The rows of a list: of strings (escaped) and of html, each without and
// with the attribute text as the index.
template <class Traits>
auto HTMLListConcatenationRegistration(char const* singular, char const* plural) {
  using List = html_list_concatenation<Traits>;
  return RegistrationTable{
      AccumulatingRow(singular, plural, &List::ConcatenateText, &List::FirstFinal,
                      &List::NextFinal, &DependsOnlyOnParameters),
      AccumulatingRow(singular, plural, &List::ConcatenateTextWithAttributes, &List::FirstFinal,
                      &List::NextFinal, &DependsOnlyOnParameters),
      AccumulatingRow(singular, plural, &List::ConcatenateHTML, &List::FirstFinal,
                      &List::NextFinal, &DependsOnlyOnParameters),
      AccumulatingRow(singular, plural, &List::ConcatenateHTMLWithAttributes, &List::FirstFinal,
                      &List::NextFinal, &DependsOnlyOnParameters),
  };
}

RegistrationTable genericTag{
    IndexedRow("html tag", "html tags", &HTMLTagOfString, &DependsOnlyOnParameters),
    IndexedRow("html tag", "html tags", &HTMLTagOfHTML, &DependsOnlyOnParameters),
    IndexedRow("html tag", "html tags", &HTMLTag0S, &DependsOnlyOnParameters),
    IndexedRow("html tag", "html tags", &HTMLTag0H, &DependsOnlyOnParameters),
    IndexedRow("html tag", "html tags", &HTMLTagNS, &DependsOnlyOnParameters),
    IndexedRow("html tag", "html tags", &HTMLTagNH, &DependsOnlyOnParameters),
};

// The tags with content, as singular, plural and the tag written. The
// plurals add "s" to the singular, whatever its spelling.
constexpr HTMLTagInfo kHtmlTag{"html", "htmls", "html"};
constexpr HTMLTagInfo kHeadTag{"head", "heads", "head"};
constexpr HTMLTagInfo kTitleTag{"title", "titles", "title"};
constexpr HTMLTagInfo kMetaTag{"meta", "metas", "meta"};
constexpr HTMLTagInfo kBodyTag{"body", "bodys", "body"};
constexpr HTMLTagInfo kDivTag{"div", "divs", "div"};
constexpr HTMLTagInfo kSpanTag{"span", "spans", "span"};
constexpr HTMLTagInfo kAddressTag{"address", "addresss", "address"};
constexpr HTMLTagInfo kH1Tag{"h1", "h1s", "h1"};
constexpr HTMLTagInfo kH2Tag{"h2", "h2s", "h2"};
constexpr HTMLTagInfo kH3Tag{"h3", "h3s", "h3"};
constexpr HTMLTagInfo kH4Tag{"h4", "h4s", "h4"};
constexpr HTMLTagInfo kH5Tag{"h5", "h5s", "h5"};
constexpr HTMLTagInfo kH6Tag{"h6", "h6s", "h6"};
constexpr HTMLTagInfo kEmTag{"em", "ems", "em"};
constexpr HTMLTagInfo kStrongTag{"strong", "strongs", "strong"};
constexpr HTMLTagInfo kDfnTag{"dfn", "dfns", "dfn"};
constexpr HTMLTagInfo kCodeTag{"code", "codes", "code"};
constexpr HTMLTagInfo kSampTag{"samp", "samps", "samp"};
constexpr HTMLTagInfo kKbdTag{"kbd", "kbds", "kbd"};
constexpr HTMLTagInfo kVarTag{"var", "vars", "var"};
constexpr HTMLTagInfo kCiteTag{"cite", "cites", "cite"};
constexpr HTMLTagInfo kAbbrTag{"abbr", "abbrs", "abbr"};
constexpr HTMLTagInfo kAcronymTag{"acronym", "acronyms", "acronym"};
constexpr HTMLTagInfo kBlockquoteTag{"blockquote", "blockquotes", "blockquote"};
constexpr HTMLTagInfo kQTag{"q", "qs", "q"};
constexpr HTMLTagInfo kSubTag{"sub", "subs", "sub"};
constexpr HTMLTagInfo kSupTag{"sup", "sups", "sup"};
constexpr HTMLTagInfo kPTag{"p", "ps", "p"};
constexpr HTMLTagInfo kPreTag{"pre", "pres", "pre"};
constexpr HTMLTagInfo kInsTag{"ins", "inss", "ins"};
constexpr HTMLTagInfo kDelTag{"del", "dels", "del"};
constexpr HTMLTagInfo kUlTag{"ul", "uls", "ul"};
constexpr HTMLTagInfo kOlTag{"ol", "ols", "ol"};
constexpr HTMLTagInfo kLiTag{"li", "lis", "li"};
constexpr HTMLTagInfo kDtTag{"dt", "dts", "dt"};
constexpr HTMLTagInfo kDdTag{"dd", "dds", "dd"};
constexpr HTMLTagInfo kTableTag{"table", "tables", "table"};
constexpr HTMLTagInfo kCaptionTag{"caption", "captions", "caption"};
constexpr HTMLTagInfo kTheadTag{"thead", "theads", "thead"};
constexpr HTMLTagInfo kTfootTag{"tfoot", "tfoots", "tfoot"};
constexpr HTMLTagInfo kTbodyTag{"tbody", "tbodys", "tbody"};
constexpr HTMLTagInfo kColgroupTag{"colgroup", "colgroups", "colgroup"};
constexpr HTMLTagInfo kColTag{"col", "cols", "col"};
constexpr HTMLTagInfo kTrTag{"tr", "trs", "tr"};
constexpr HTMLTagInfo kThTag{"th", "ths", "th"};
constexpr HTMLTagInfo kTdTag{"td", "tds", "td"};
constexpr HTMLTagInfo kAnchorTag{"anchor", "anchors", "a"};
constexpr HTMLTagInfo kLinkTag{"link", "links", "link"};
constexpr HTMLTagInfo kBaseTag{"base", "bases", "base"};
constexpr HTMLTagInfo kTtTag{"tt", "tts", "tt"};
constexpr HTMLTagInfo kItalicTag{"italic", "italics", "i"};
constexpr HTMLTagInfo kBTag{"b", "bs", "b"};
constexpr HTMLTagInfo kBigTag{"big", "bigs", "big"};
constexpr HTMLTagInfo kSmallTag{"small", "smalls", "small"};

auto const htmlTag = HTMLTagRegistration<kHtmlTag>();
auto const headTag = HTMLTagRegistration<kHeadTag>();
auto const titleTag = HTMLTagRegistration<kTitleTag>();
auto const metaTag = HTMLTagRegistration<kMetaTag>();
auto const bodyTag = HTMLTagRegistration<kBodyTag>();
auto const divTag = HTMLTagRegistration<kDivTag>();
auto const spanTag = HTMLTagRegistration<kSpanTag>();
auto const addressTag = HTMLTagRegistration<kAddressTag>();
auto const h1Tag = HTMLTagRegistration<kH1Tag>();
auto const h2Tag = HTMLTagRegistration<kH2Tag>();
auto const h3Tag = HTMLTagRegistration<kH3Tag>();
auto const h4Tag = HTMLTagRegistration<kH4Tag>();
auto const h5Tag = HTMLTagRegistration<kH5Tag>();
auto const h6Tag = HTMLTagRegistration<kH6Tag>();
auto const emTag = HTMLTagRegistration<kEmTag>();
auto const strongTag = HTMLTagRegistration<kStrongTag>();
auto const dfnTag = HTMLTagRegistration<kDfnTag>();
auto const codeTag = HTMLTagRegistration<kCodeTag>();
auto const sampTag = HTMLTagRegistration<kSampTag>();
auto const kbdTag = HTMLTagRegistration<kKbdTag>();
auto const varTag = HTMLTagRegistration<kVarTag>();
auto const citeTag = HTMLTagRegistration<kCiteTag>();
auto const abbrTag = HTMLTagRegistration<kAbbrTag>();
auto const acronymTag = HTMLTagRegistration<kAcronymTag>();
auto const blockquoteTag = HTMLTagRegistration<kBlockquoteTag>();
auto const qTag = HTMLTagRegistration<kQTag>();
auto const subTag = HTMLTagRegistration<kSubTag>();
auto const supTag = HTMLTagRegistration<kSupTag>();
auto const pTag = HTMLTagRegistration<kPTag>();
auto const preTag = HTMLTagRegistration<kPreTag>();
auto const insTag = HTMLTagRegistration<kInsTag>();
auto const delTag = HTMLTagRegistration<kDelTag>();
auto const ulTag = HTMLTagRegistration<kUlTag>();
auto const olTag = HTMLTagRegistration<kOlTag>();
auto const liTag = HTMLTagRegistration<kLiTag>();
auto const dtTag = HTMLTagRegistration<kDtTag>();
auto const ddTag = HTMLTagRegistration<kDdTag>();
auto const tableTag = HTMLTagRegistration<kTableTag>();
auto const captionTag = HTMLTagRegistration<kCaptionTag>();
auto const theadTag = HTMLTagRegistration<kTheadTag>();
auto const tfootTag = HTMLTagRegistration<kTfootTag>();
auto const tbodyTag = HTMLTagRegistration<kTbodyTag>();
auto const colgroupTag = HTMLTagRegistration<kColgroupTag>();
auto const colTag = HTMLTagRegistration<kColTag>();
auto const trTag = HTMLTagRegistration<kTrTag>();
auto const thTag = HTMLTagRegistration<kThTag>();
auto const tdTag = HTMLTagRegistration<kTdTag>();
auto const anchorTag = HTMLTagRegistration<kAnchorTag>();
auto const linkTag = HTMLTagRegistration<kLinkTag>();
auto const baseTag = HTMLTagRegistration<kBaseTag>();
auto const ttTag = HTMLTagRegistration<kTtTag>();
auto const italicTag = HTMLTagRegistration<kItalicTag>();
auto const bTag = HTMLTagRegistration<kBTag>();
auto const bigTag = HTMLTagRegistration<kBigTag>();
auto const smallTag = HTMLTagRegistration<kSmallTag>();

constexpr HTMLTagInfo kBrTag{"br", "brs", "br"};
constexpr HTMLTagInfo kHrTag{"hr", "hrs", "hr"};
auto const brTag = EmptyHTMLTagRegistration<kBrTag>();
auto const hrTag = EmptyHTMLTagRegistration<kHrTag>();

auto const unorderedList =
    HTMLListConcatenationRegistration<UnorderedListTraits>("unordered list", "unordered lists");
auto const orderedList =
    HTMLListConcatenationRegistration<OrderedListTraits>("ordered list", "ordered lists");
auto const definitionList =
    HTMLListConcatenationRegistration<DefinitionListTraits>("definition list", "definition lists");

RegistrationTable attributeList{
    AccumulatingRow("attr list", "attr lists", &html_attribute_list_maker::Collect,
                    &html_attribute_list_maker::FirstFinal, &html_attribute_list_maker::NextFinal,
                    &DependsOnlyOnParameters),
};

}  // namespace
