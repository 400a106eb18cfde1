#include "survey/frame/tuple.h"

#include <initializer_list>

void SurveyorTypeNameBuilder::Clear() {
  text_.clear();
  depth_ = 0;
}

void SurveyorTypeNameBuilder::AddType(std::string_view name) {
  if (!text_.empty() && text_.back() != ' ') text_ += ", ";
  text_ += name;
}

void SurveyorTypeNameBuilder::StartStructuredType(std::string_view name) {
  AddType(name);
  text_ += "( ";
  ++depth_;
}

void SurveyorTypeNameBuilder::EndStructuredType() {
  --depth_;
  text_ += " )";
}

namespace {

std::string Structured(std::initializer_list<char const*> names) {
  SurveyorTypeNameBuilder builder;
  builder.StartStructuredType(std::string_view());
  for (char const* name : names) builder.AddType(name);
  builder.EndStructuredType();
  return builder.Text();
}

}  // namespace

std::string MakeTupleTypeName(char const* first, char const* second) {
  return Structured({first, second});
}

std::string MakeTupleTypeName(char const* first, char const* second, char const* third) {
  return Structured({first, second, third});
}

std::string MakeTupleTypeName(char const* first, char const* second, char const* third,
                              char const* fourth) {
  return Structured({first, second, third, fourth});
}

void const* TupleItem(unsigned long index, TupleNode const* node) {
  for (; index > 0 && node != nullptr; --index) node = node->next;
  if (node == nullptr) throw NoSuchObject();
  return node->element;
}
