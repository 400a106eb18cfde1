// Helpers for the tests of value types: strings as the host passes them, and
// the registered relations called as the evaluator calls them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/adaptors.h"
#include "survey/frame/boundary.h"
#include "survey/frame/registration.h"

namespace survey::test {

// What the host gives a value type's tests: the default registry in scope,
// the type "string", which the library's units name but do not register, and
// an evaluation for the memory that values are made in.
struct StringTypeHost {
  survey::host::Registry::Scope registryScope{survey::host::Registry::Default()};
  RegisteredType stringType{"string", sizeof(surveyor_string),
                            &SurveyorTypeInfo<surveyor_string, kNotFingerprinted>::Destroy, nullptr,
                            nullptr};
  survey::host::Evaluation evaluation{survey::host::Registry::Default(), nullptr};
  survey::host::Evaluation::Scope evaluationScope{evaluation};
};

inline std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// A view of the string's bytes; it must not outlive the string.
inline surveyor_string View(std::string const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

// The operator of that code registered in the default registry for the two
// types, found as the evaluator finds it (base types included), checked to
// be the one for exactly these types, and called. Its answer must be a
// boolean of 0 or 1.
template <class L, class R>
bool CallRelation(int code, char const* leftType, L const& left, char const* rightType,
                  R const& right) {
  survey::host::Registry const& registry = survey::host::Registry::Default();
  survey::host::OperatorEntry const* const entry =
      registry.FindOperator(code, registry.FindType(leftType), registry.FindType(rightType));
  EXPECT_NE(nullptr, entry);
  if (entry == nullptr) return false;
  EXPECT_EQ(leftType, entry->left);
  EXPECT_EQ(rightType, entry->right);
  boolean result{7};
  entry->thunk(&result, &left, &right, entry->context);
  EXPECT_TRUE(result.value == 0 || result.value == 1);
  return result.value == 1;
}

}  // namespace survey::test
