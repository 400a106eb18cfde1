// A test fixture for surveyors asked in-process over a context of the test's
// own: runs a body inside an evaluation with that context (or none), and
// reads the texts the surveyors give.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"

namespace survey::testing {

class ContextTest : public ::testing::Test {
 protected:
  // Runs `body` while an evaluation with `context` is under way, so that
  // the library's calls for the context find it.
  template <class Body>
  void Within(SurveyorContext* context, Body body) {
    host::Evaluation evaluation(host::Registry::Default(), context);
    host::Evaluation::Scope scope(evaluation);
    body();
  }

  static std::string Text(surveyor_string text) {
    return std::string(reinterpret_cast<char const*>(text.data), text.length);
  }
};

}  // namespace survey::testing
