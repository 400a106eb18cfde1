// A host with its own words and the tests' vocabulary, an evaluator, and one
// evaluation in which the queries of a test are answered.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/engine/errors.h"
#include "host/engine/host.h"
#include "host/lang/evaluator.h"
#include "host/lang/parser.h"
#include "host/lang/words.h"
#include "tests/unit/lang/vocabulary.h"

namespace survey::lang::testing {

class LanguageTest : public ::testing::Test {
 protected:
  ~LanguageTest() override { TextFiles().clear(); }

  // The text forms of a query's values, each value dropped before the next
  // is pulled, as the command's answer loop does.
  std::vector<std::string> Answers(std::string const& query) {
    std::unique_ptr<Node> const tree = Parse(query, host.GetRegistry());
    std::unique_ptr<host::Stream> values = evaluator.Open(*tree, host::Value());
    std::vector<std::string> texts;
    host::Value value;
    while (values->Next(value)) {
      texts.push_back(evaluator.Text(value));
      value = host::Value();
    }
    return texts;
  }

  // The one value of a query, as text.
  std::string One(std::string const& query) {
    std::vector<std::string> const answers = Answers(query);
    EXPECT_EQ(1u, answers.size()) << query;
    return answers.empty() ? std::string() : answers.front();
  }

  // The error a query gives.
  host::EvaluationError ErrorOf(std::string const& query) {
    try {
      Answers(query);
    } catch (host::EvaluationError const& error) {
      return error;
    }
    ADD_FAILURE() << "no error from " << query;
    return host::EvaluationError(host::ErrorKind::kMessage, "none");
  }

  std::size_t ArenaBytes() const { return evaluation->GetArena().BytesInUse(); }

  host::Host host;
  HostWords words{host.GetRegistry()};
  host::Registry::Scope registryScope{host.GetRegistry()};
  Vocabulary vocabulary;
  Evaluator evaluator{host};
  std::unique_ptr<host::Evaluation> evaluation = host.NewEvaluation();
  host::Evaluation::Scope evaluationScope{*evaluation};
};

}  // namespace survey::lang::testing
