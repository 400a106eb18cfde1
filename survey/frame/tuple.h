// Tuple values and the names of composed types.
//
// The evaluator knows a type only by its name, so a tuple's type is named
// from its element types: "( a, b )", with an opening parenthesis and a
// blank, the names separated by a comma and a blank, then a blank and a
// closing parenthesis. A tuple value is a chain of `TupleNode`s stored in the
// value itself, each pointing at an element that lives elsewhere; the last
// node's `next` is null.
#pragma once

#include <string>
#include <string_view>

#include "survey/frame/boundary.h"
#include "survey/frame/type_name.h"

// Composes a type name from parts: plain names joined by a comma and a
// blank, and structured names in parentheses, to any depth.
class SURVEY_API SurveyorTypeNameBuilder {
 public:
  // Empties the text and zeroes the depth.
  void Clear();
  // Appends a name, after a comma and a blank unless the text is empty or
  // already ends in a blank.
  void AddType(std::string_view name);
  // Appends the name, then an opening parenthesis and a blank, and goes one
  // level deeper.
  void StartStructuredType(std::string_view name);
  // Comes one level up and appends a blank and a closing parenthesis.
  void EndStructuredType();

  std::string const& Text() const { return text_; }
  unsigned long Depth() const { return depth_; }

 private:
  std::string text_;
  unsigned long depth_ = 0;
};

// The name of the tuple type of the given element types.
SURVEY_API std::string MakeTupleTypeName(char const* first, char const* second);
SURVEY_API std::string MakeTupleTypeName(char const* first, char const* second, char const* third);
SURVEY_API std::string MakeTupleTypeName(char const* first, char const* second, char const* third,
                                         char const* fourth);

// The element pointer of the node `index` links further along the chain
// from `node`. A chain that ends first has no such element: NoSuchObject.
SURVEY_API void const* TupleItem(unsigned long index, TupleNode const* node);

// A tuple of two elements. Its nodes point at the elements given; the value
// must not outlive them. A copy links its own nodes, so its chain never
// leads back into the value it was copied from.
template <class A, class B>
class SurveyorTuple2 {
 public:
  SurveyorTuple2(A const* first, B const* second)
      : nodes_{TupleNode{first, &nodes_[1]}, TupleNode{second, nullptr}} {}
  SurveyorTuple2(SurveyorTuple2 const& other) : SurveyorTuple2(other.First(), other.Second()) {}
  SurveyorTuple2& operator=(SurveyorTuple2 const& other) {
    nodes_[0].element = other.nodes_[0].element;
    nodes_[1].element = other.nodes_[1].element;
    return *this;
  }

  TupleNode const* Nodes() const { return nodes_; }
  A const* First() const { return static_cast<A const*>(nodes_[0].element); }
  B const* Second() const { return static_cast<B const*>(nodes_[1].element); }

  // "( a, b )", built by the first caller and kept until unload.
  static char const* TypeName() {
    static std::string const name =
        MakeTupleTypeName(SurveyorTypeName<A>::Get(), SurveyorTypeName<B>::Get());
    return name.c_str();
  }

 private:
  TupleNode nodes_[2];
};

// A tuple of three elements, made as the tuple of two.
template <class A, class B, class C>
class SurveyorTuple3 {
 public:
  SurveyorTuple3(A const* first, B const* second, C const* third)
      : nodes_{TupleNode{first, &nodes_[1]}, TupleNode{second, &nodes_[2]},
               TupleNode{third, nullptr}} {}
  SurveyorTuple3(SurveyorTuple3 const& other)
      : SurveyorTuple3(other.First(), other.Second(), other.Third()) {}
  SurveyorTuple3& operator=(SurveyorTuple3 const& other) {
    for (int k = 0; k < 3; ++k) nodes_[k].element = other.nodes_[k].element;
    return *this;
  }

  TupleNode const* Nodes() const { return nodes_; }
  A const* First() const { return static_cast<A const*>(nodes_[0].element); }
  B const* Second() const { return static_cast<B const*>(nodes_[1].element); }
  C const* Third() const { return static_cast<C const*>(nodes_[2].element); }

  static char const* TypeName() {
    static std::string const name = MakeTupleTypeName(
        SurveyorTypeName<A>::Get(), SurveyorTypeName<B>::Get(), SurveyorTypeName<C>::Get());
    return name.c_str();
  }

 private:
  TupleNode nodes_[3];
};
