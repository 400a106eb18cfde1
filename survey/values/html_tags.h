// HTML tags, lists and attribute lists: one property family per tag, the
// generic "html tag", the empty tags "br" and "hr", the list aggregates, and
// the aggregate that writes attributes.
#pragma once

#include <vector>

#include "survey/frame/tuple.h"
#include "survey/values/ropes.h"

// "<tag attributes>content</tag>" in evaluator memory; a blank and the
// attributes only when there are any, and the attributes as they stand. An
// empty tag is NoSuchObject.
SURVEY_API html_rope MakeTaggedHTML(ConstData tag, ConstData attributes, rope const& content);
// "<tag attributes/>".
SURVEY_API html_rope MakeEmptyHTMLTag(ConstData tag, ConstData attributes);

// "html tag": the index is the tag, and what follows its first white-space
// byte the attributes.
SURVEY_API html_rope HTMLTagOfString(surveyor_string const& tag, Of, surveyor_string const& text);
SURVEY_API html_rope HTMLTagOfHTML(surveyor_string const& tag, Of, html_rope const& content);
// With a tuple index: the tag as it stands, and the content (escaped when a
// string), with or without an attribute list between.
SURVEY_API html_rope HTMLTag0S(SurveyorTuple2<surveyor_string, surveyor_string> const& index);
SURVEY_API html_rope HTMLTag0H(SurveyorTuple2<surveyor_string, html_rope> const& index);
SURVEY_API html_rope HTMLTagNS(
    SurveyorTuple3<surveyor_string, html_attribute_list, surveyor_string> const& index);
SURVEY_API html_rope HTMLTagNH(
    SurveyorTuple3<surveyor_string, html_attribute_list, html_rope> const& index);

// The names of a tag with content: its phrase's two forms and the tag
// written.
struct HTMLTagInfo {
  char const* singular;
  char const* plural;
  char const* tag;
};

// The four properties of a tag with content.
template <HTMLTagInfo const& Info>
struct HTMLTag {
  static ConstData Tag() { return ConstData(Info.tag); }
  static html_rope OfHTML(Of, html_rope const& content) {
    return MakeTaggedHTML(Tag(), ConstData(), content);
  }
  static html_rope OfString(Of, surveyor_string const& text) { return OfHTML(0, AsHTML(text)); }
  static html_rope WithAttributesOfHTML(surveyor_string const& attributes, Of,
                                        html_rope const& content) {
    return MakeTaggedHTML(Tag(), ConstData(attributes), content);
  }
  static html_rope WithAttributesOfString(surveyor_string const& attributes, Of,
                                          surveyor_string const& text) {
    return WithAttributesOfHTML(attributes, 0, AsHTML(text));
  }
};

// The two properties of an empty tag.
template <HTMLTagInfo const& Info>
struct EmptyHTMLTag {
  static html_rope Plain() { return MakeEmptyHTMLTag(ConstData(Info.tag), ConstData()); }
  static html_rope WithAttributes(surveyor_string const& attributes) {
    return MakeEmptyHTMLTag(ConstData(Info.tag), ConstData(attributes));
  }
};

// The tags of the three kinds of list: the list's, and the two item tags
// that its items take in turn.
struct UnorderedListTraits {
  static constexpr char const* kList = "ul";
  static constexpr char const* kFirstItem = "li";
  static constexpr char const* kSecondItem = "li";
};
struct OrderedListTraits {
  static constexpr char const* kList = "ol";
  static constexpr char const* kFirstItem = "li";
  static constexpr char const* kSecondItem = "li";
};
struct DefinitionListTraits {
  static constexpr char const* kList = "dl";
  static constexpr char const* kFirstItem = "dt";
  static constexpr char const* kSecondItem = "dd";
};

// A list written as its elements come: the opening with the first element's
// attributes, then each element in an item tag.
template <class Traits>
class html_list_concatenation {
 public:
  void ConcatenateHTMLWithAttributes(surveyor_string const& attributes, Of,
                                     html_rope const& element) {
    if (!opened_) {
      Append("<");
      Append(list_);
      if (attributes.length != 0) {
        Append(" ");
        bytes_.insert(bytes_.end(), attributes.data, attributes.data + attributes.length);
      }
      Append(">");
      opened_ = true;
    }
    Append("<");
    Append(item_);
    Append(">");
    AppendRope(bytes_, element);
    Append("</");
    Append(item_);
    Append(">");
    item_ = item_ == firstItem_ ? secondItem_ : firstItem_;
  }
  void ConcatenateHTML(Of, html_rope const& element) {
    ConcatenateHTMLWithAttributes(surveyor_string{nullptr, 0}, 0, element);
  }
  void ConcatenateTextWithAttributes(surveyor_string const& attributes, Of,
                                     surveyor_string const& element) {
    ConcatenateHTMLWithAttributes(attributes, 0, AsHTML(element));
  }
  void ConcatenateText(Of, surveyor_string const& element) {
    ConcatenateHTMLWithAttributes(surveyor_string{nullptr, 0}, 0, AsHTML(element));
  }

  // The closing tag, written even when no element opened the list.
  html_rope FirstFinal() {
    Append("</");
    Append(list_);
    Append(">");
    return HTMLSpan(bytes_.data(), bytes_.data() + bytes_.size());
  }
  html_rope NextFinal() { throw NoSuchObject(); }

 private:
  void Append(char const* text) {
    bytes_.insert(bytes_.end(), text, text + std::char_traits<char>::length(text));
  }

  std::vector<unsigned char> bytes_;
  bool opened_ = false;
  char const* list_ = Traits::kList;
  char const* firstItem_ = Traits::kFirstItem;
  char const* secondItem_ = Traits::kSecondItem;
  char const* item_ = Traits::kFirstItem;
};

// "attr list": name="escaped value" pairs, separated by blanks.
class SURVEY_API html_attribute_list_maker {
 public:
  void Collect(Of, SurveyorTuple2<surveyor_string, surveyor_string> const& attribute);
  html_attribute_list FirstFinal();
  html_attribute_list NextFinal();

 private:
  std::vector<unsigned char> bytes_;
  bool added_ = false;
};
