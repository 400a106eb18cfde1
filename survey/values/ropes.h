// Ropes and HTML: "rope", a string that concatenates in constant time without
// copying, and "html", a rope that stands for markup already escaped; their
// text forms, HTML escaping, and the aggregate that joins HTML values.
#pragma once

#include <vector>

#include "survey/foundation/data.h"
#include "survey/frame/adaptors.h"

// A node of a binary tree read in order: the left rope, the span, the right
// rope. The pointers lead to values in evaluator memory that live as long as
// the evaluation, so a rope owns nothing.
struct SURVEY_API rope {
  rope const* left;
  unsigned char const* start;
  unsigned char const* end;
  rope const* right;

  static constexpr char const* TypeName() { return "rope"; }
};

// "html": a rope of markup. Its bytes are taken as they stand; text that
// joins it is escaped first.
struct SURVEY_API html_rope : rope {
  static constexpr char const* TypeName() { return "html"; }
};

// "html attribute list": the text of attributes as written in a start tag.
struct SURVEY_API html_attribute_list {
  unsigned char const* start;
  unsigned long length;

  static constexpr char const* TypeName() { return "html attribute list"; }
};

// The number of bytes of a rope's spans.
SURVEY_API unsigned long RopeLength(rope const& root);
// Appends the spans of a rope, in order.
SURVEY_API void AppendRope(std::vector<unsigned char>& bytes, rope const& root);
// The spans of a rope in one string, in evaluator memory.
SURVEY_API surveyor_string FlattenRope(rope const& root);

// The text with "&", "<", ">" and the double quote written as entities; the
// single quote stays. Text without any of them is returned as it is, with no
// copy; otherwise the result is in evaluator memory.
SURVEY_API surveyor_string EscapedHTML(surveyor_string const& text);
// Appends the escaped text.
SURVEY_API void AppendEscapedHTML(std::vector<unsigned char>& bytes, surveyor_string const& text);

// An html node over a span of bytes.
SURVEY_API html_rope HTMLSpan(unsigned char const* start, unsigned char const* end);

// "rope" of a string.
SURVEY_API rope rope_of(unsigned char const* data, unsigned long length);
// The string becomes the span of a new node beside the rope: nothing is
// copied.
SURVEY_API rope Concatenate(rope const& left, surveyor_string const& right);
SURVEY_API rope Concatenate(surveyor_string const& left, rope const& right);
SURVEY_API rope Concatenate(rope const& left, rope const& right);
// Whether the text occurs in the rope, across the joins of its spans too.
SURVEY_API boolean Contains(rope const& text, surveyor_string const& sought);
SURVEY_API integer length_of(rope const& text);
SURVEY_API surveyor_string AsString(rope const& text);

// "html" of a string: the text as it stands, trusted, not escaped.
SURVEY_API html_rope html_rope_of(unsigned char const* data, unsigned long length);
SURVEY_API surveyor_string AsString(html_rope const& markup);
// A string as html: escaped.
SURVEY_API html_rope AsHTML(surveyor_string const& text);
SURVEY_API html_rope HTMLAsHTML(html_rope const& markup);
// Joins; the string side is escaped.
SURVEY_API html_rope Concatenate(html_rope const& left, surveyor_string const& right);
SURVEY_API html_rope Concatenate(surveyor_string const& left, html_rope const& right);
SURVEY_API html_rope Concatenate(html_rope const& left, html_rope const& right);

// The aggregate "concatenation" of html values, with or without a separator
// between them. Each element is added at its step, which yields nothing
// (NoSuchObject); the joined bytes live in the state.
class SURVEY_API html_concatenation {
 public:
  void First(Of, html_rope const& element);
  // The separator's bytes go in raw, unescaped.
  void FirstStringOfHTML(surveyor_string const& separator, Of, html_rope const& element);
  // The element is escaped.
  void FirstHTMLOfString(html_rope const& separator, Of, surveyor_string const& element);
  void FirstHTMLOfHTML(html_rope const& separator, Of, html_rope const& element);

  // An html node over the joined bytes; an empty node for no elements.
  html_rope FirstFinal();
  html_rope NextFinal();

 private:
  void AddRope(rope const& element);

  std::vector<unsigned char> bytes_;
  bool added_ = false;
};
