#include "survey/values/ropes.h"

#include <cstring>

#include "survey/foundation/pattern_matcher.h"
#include "survey/frame/table.h"
#include "survey/values/aggregate_rows.h"

namespace {

// Calls `visit` with each span of the rope in order (left, span, right) and
// stops early when it returns false. A rope may be of any depth, so the walk
// keeps its own stack rather than the machine's.
template <class Visit>
bool ForEachSpan(rope const& root, Visit&& visit) {
  std::vector<rope const*> pending;
  rope const* node = &root;
  while (node != nullptr || !pending.empty()) {
    while (node != nullptr) {
      pending.push_back(node);
      node = node->left;
    }
    node = pending.back();
    pending.pop_back();
    if (node->start != node->end && !visit(ConstData(node->start, node->end))) return false;
    node = node->right;
  }
  return true;
}

ConstData Bytes(surveyor_string const& text) { return ConstData(text.data, text.length); }

// The entity of a byte that needs one, or null.
char const* EntityOf(unsigned char byte) {
  switch (byte) {
    case '&': return "&amp;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '"': return "&quot;";
    default: return nullptr;
  }
}

}  // namespace

unsigned long RopeLength(rope const& root) {
  unsigned long total = 0;
  ForEachSpan(root, [&](ConstData span) {
    total += span.Length();
    return true;
  });
  return total;
}

void AppendRope(std::vector<unsigned char>& bytes, rope const& root) {
  ForEachSpan(root, [&](ConstData span) {
    bytes.insert(bytes.end(), span.begin, span.end);
    return true;
  });
}

surveyor_string FlattenRope(rope const& root) {
  unsigned long const total = RopeLength(root);
  unsigned char* const text = Allocate_Surveyor_Memory(total);
  unsigned char* out = text;
  ForEachSpan(root, [&](ConstData span) {
    std::memcpy(out, span.begin, span.Length());
    out += span.Length();
    return true;
  });
  return surveyor_string{text, total};
}

surveyor_string EscapedHTML(surveyor_string const& text) {
  // Two passes: the length first, so that one allocation of the exact size
  // serves, and none at all when nothing needs escaping.
  unsigned long length = 0;
  for (unsigned long k = 0; k < text.length; ++k) {
    char const* const entity = EntityOf(text.data[k]);
    length += entity == nullptr ? 1 : std::strlen(entity);
  }
  if (length == text.length) return text;
  unsigned char* const escaped = Allocate_Surveyor_Memory(length);
  unsigned char* out = escaped;
  for (unsigned long k = 0; k < text.length; ++k) {
    char const* const entity = EntityOf(text.data[k]);
    if (entity == nullptr) {
      *out++ = text.data[k];
    } else {
      std::size_t const size = std::strlen(entity);
      std::memcpy(out, entity, size);
      out += size;
    }
  }
  return surveyor_string{escaped, length};
}

void AppendEscapedHTML(std::vector<unsigned char>& bytes, surveyor_string const& text) {
  for (unsigned long k = 0; k < text.length; ++k) {
    char const* const entity = EntityOf(text.data[k]);
    if (entity == nullptr) {
      bytes.push_back(text.data[k]);
    } else {
      bytes.insert(bytes.end(), entity, entity + std::strlen(entity));
    }
  }
}

html_rope HTMLSpan(unsigned char const* start, unsigned char const* end) {
  html_rope node{};
  node.start = start;
  node.end = end;
  return node;
}

// ---------------------------------------------------------------------------
// "rope"

rope rope_of(unsigned char const* data, unsigned long length) {
  return rope{nullptr, data, data + length, nullptr};
}

rope Concatenate(rope const& left, surveyor_string const& right) {
  return rope{&left, right.data, right.data + right.length, nullptr};
}

rope Concatenate(surveyor_string const& left, rope const& right) {
  return rope{nullptr, left.data, left.data + left.length, &right};
}

rope Concatenate(rope const& left, rope const& right) {
  return rope{&left, nullptr, nullptr, &right};
}

boolean Contains(rope const& text, surveyor_string const& sought) {
  if (sought.length == 0) return boolean{1};
  PatternMatcher const matcher(Bytes(sought));
  MatchLoop loop(matcher);
  bool started = false;
  // Each span continues the search of the one before, so that a match may
  // cross a join.
  bool const searchedAll = ForEachSpan(text, [&](ConstData span) {
    if (started) {
      loop.Continue(span);
    } else {
      loop.Start(span);
      started = true;
    }
    return !loop.Found();
  });
  return boolean{static_cast<unsigned char>(searchedAll ? 0 : 1)};
}

integer length_of(rope const& text) { return integer{static_cast<long long>(RopeLength(text))}; }

surveyor_string AsString(rope const& text) { return FlattenRope(text); }

// ---------------------------------------------------------------------------
// "html"

html_rope html_rope_of(unsigned char const* data, unsigned long length) {
  return HTMLSpan(data, data + length);
}

surveyor_string AsString(html_rope const& markup) { return FlattenRope(markup); }

html_rope AsHTML(surveyor_string const& text) {
  surveyor_string const escaped = EscapedHTML(text);
  return HTMLSpan(escaped.data, escaped.data + escaped.length);
}

html_rope HTMLAsHTML(html_rope const& markup) { return markup; }

html_rope Concatenate(html_rope const& left, surveyor_string const& right) {
  html_rope node = AsHTML(right);
  node.left = &left;
  return node;
}

html_rope Concatenate(surveyor_string const& left, html_rope const& right) {
  html_rope node = AsHTML(left);
  node.right = &right;
  return node;
}

html_rope Concatenate(html_rope const& left, html_rope const& right) {
  html_rope node{};
  node.left = &left;
  node.right = &right;
  return node;
}

// ---------------------------------------------------------------------------
// "concatenation" of html

void html_concatenation::AddRope(rope const& element) { AppendRope(bytes_, element); }

void html_concatenation::First(Of, html_rope const& element) {
  AddRope(element);
  added_ = true;
  throw NoSuchObject();
}

void html_concatenation::FirstHTMLOfHTML(html_rope const& separator, Of,
                                         html_rope const& element) {
  if (added_) AddRope(separator);
  AddRope(element);
  added_ = true;
  throw NoSuchObject();
}

void html_concatenation::FirstStringOfHTML(surveyor_string const& separator, Of,
                                           html_rope const& element) {
  FirstHTMLOfHTML(html_rope_of(separator.data, separator.length), 0, element);
}

void html_concatenation::FirstHTMLOfString(html_rope const& separator, Of,
                                           surveyor_string const& element) {
  FirstHTMLOfHTML(separator, 0, AsHTML(element));
}

html_rope html_concatenation::FirstFinal() {
  if (bytes_.empty()) return HTMLSpan(nullptr, nullptr);
  return HTMLSpan(bytes_.data(), bytes_.data() + bytes_.size());
}

html_rope html_concatenation::NextFinal() { throw NoSuchObject(); }

// ---------------------------------------------------------------------------
// Registration, in table order: the types, "rope" and its operators, length
// and text form, "html" with its casts and operators, and the html
// concatenations. Every result follows from its operands alone.

namespace {

using Join = html_concatenation;

RegistrationTable table{
    TypeRow<rope>(),
    TypeRow<html_rope>(),
    TypeRow<html_attribute_list>(),
    IndexedRow("rope", "ropes", &rope_of, &DependsOnlyOnParameters),
    OperatorRow<rope, surveyor_string, rope>(kOperatorConcatenation, &Concatenate,
                                             &DependsOnlyOnParameters),
    OperatorRow<surveyor_string, rope, rope>(kOperatorConcatenation, &Concatenate,
                                             &DependsOnlyOnParameters),
    OperatorRow<rope, rope, rope>(kOperatorConcatenation, &Concatenate, &DependsOnlyOnParameters),
    OperatorRow<rope, surveyor_string, boolean>(kOperatorContains, &Contains,
                                                &DependsOnlyOnParameters),
    PropertyRow("length", "lengths", &length_of, &DependsOnlyOnParameters),
    CastRow<rope, surveyor_string>("string", &AsString, &DependsOnlyOnParameters),
    IndexedRow("html", "htmls", &html_rope_of, &DependsOnlyOnParameters),
    CastRow<html_rope, surveyor_string>("string", &AsString, &DependsOnlyOnParameters),
    CastRow("html", &AsHTML, &DependsOnlyOnParameters),
    CastRow("html", &HTMLAsHTML, &DependsOnlyOnParameters),
    OperatorRow<html_rope, surveyor_string, html_rope>(kOperatorConcatenation, &Concatenate,
                                                       &DependsOnlyOnParameters),
    OperatorRow<surveyor_string, html_rope, html_rope>(kOperatorConcatenation, &Concatenate,
                                                       &DependsOnlyOnParameters),
    OperatorRow<html_rope, html_rope, html_rope>(kOperatorConcatenation, &Concatenate,
                                                 &DependsOnlyOnParameters),
    AccumulatingRow("concatenation", "concatenations", &Join::First, &Join::FirstFinal,
                    &Join::NextFinal, &DependsOnlyOnParameters),
    AccumulatingRow("concatenation", "concatenations", &Join::FirstStringOfHTML, &Join::FirstFinal,
                    &Join::NextFinal, &DependsOnlyOnParameters),
    AccumulatingRow("concatenation", "concatenations", &Join::FirstHTMLOfString, &Join::FirstFinal,
                    &Join::NextFinal, &DependsOnlyOnParameters),
    AccumulatingRow("concatenation", "concatenations", &Join::FirstHTMLOfHTML, &Join::FirstFinal,
                    &Join::NextFinal, &DependsOnlyOnParameters),
    AccumulatingRow("html concatenation", "html concatenations", &Join::First, &Join::FirstFinal,
                    &Join::NextFinal, &DependsOnlyOnParameters),
    AccumulatingRow("html concatenation", "html concatenations", &Join::FirstStringOfHTML,
                    &Join::FirstFinal, &Join::NextFinal, &DependsOnlyOnParameters),
};

}  // namespace
