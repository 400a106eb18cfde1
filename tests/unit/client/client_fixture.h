// Client folders for tests: filled with `survey client import` from a JSON
// fixture, changed with the other client commands, and asked queries
// through the command with --json.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/shell.h"

namespace survey::testing {

// Quotes a text for /bin/sh.
inline std::string Quoted(std::string const& text) {
  std::string quoted = "'";
  for (char const c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// What one query gave: the values' texts and types, or the error's kind.
struct QueryAnswer {
  std::vector<std::string> texts;
  std::vector<std::string> types;
  std::optional<std::string> error;
};

class ClientFixture {
 public:
  explicit ClientFixture(std::string const& prefix = "survey-client-test")
      : scratch_(prefix), root_(scratch_.Path() + "/client") {}

  std::string const& Root() const { return root_; }
  std::string const& Scratch() const { return scratch_.Path(); }
  std::string Database() const { return root_ + "/client.db"; }

  // Runs `survey client --client ROOT ARGUMENTS`; standard error joins the
  // output when `withErrors`.
  ShellResult Client(std::string const& arguments, bool withErrors = true) const {
    return RunShell(std::string("'") + SURVEY_COMMAND + "' client --client " + Quoted(root_) + " " +
                    arguments + (withErrors ? " 2>&1" : " 2>/dev/null"));
  }

  // Writes the document to a file and imports it; the status of the import.
  ShellResult Import(nlohmann::json const& document) const {
    std::string const file = scratch_.Path() + "/fixture.json";
    std::ofstream(file) << document.dump(2);
    return Client("import " + Quoted(file));
  }

  // Imports the text, which must be refused: status 2, a message that
  // holds `message`, and the records exported as they were before.
  void ExpectImportRefused(std::string const& document, std::string const& message) const {
    std::string const before = Client("export", false).output;
    std::string const file = scratch_.Path() + "/refused.json";
    std::ofstream(file, std::ios::trunc | std::ios::binary) << document;
    ShellResult const run = Client("import " + Quoted(file));
    std::string const shown = document.substr(0, 200);
    EXPECT_EQ(2, run.status) << shown << ": " << run.output;
    EXPECT_NE(std::string::npos, run.output.find(message)) << shown << ": " << run.output;
    EXPECT_EQ(before, Client("export", false).output) << shown;
  }

  // The exported state, parsed.
  nlohmann::json Export() const {
    ShellResult const run = Client("export", false);
    EXPECT_EQ(0, run.status) << run.output;
    return nlohmann::json::parse(run.output, nullptr, false);
  }

  QueryAnswer Ask(std::string const& query) const {
    ShellResult const run = RunShell(std::string("'") + SURVEY_COMMAND + "' --client " +
                                     Quoted(root_) + " --json -e " + Quoted(query) + " 2>/dev/null");
    QueryAnswer answer;
    nlohmann::json const line = nlohmann::json::parse(run.output, nullptr, false);
    if (line.is_discarded() || !line.is_object()) {
      ADD_FAILURE() << "not one JSON answer for " << query << ": " << run.output;
      answer.error = "unreadable";
      return answer;
    }
    for (auto const& value : line["values"]) {
      answer.texts.push_back(value["text"].get<std::string>());
      answer.types.push_back(value["type"].get<std::string>());
    }
    if (!line["error"].is_null()) answer.error = line["error"]["kind"].get<std::string>();
    return answer;
  }

  // The texts of a query that must answer without an error.
  std::vector<std::string> Values(std::string const& query) const {
    QueryAnswer const answer = Ask(query);
    EXPECT_FALSE(answer.error.has_value()) << query << ": " << answer.error.value_or("");
    return answer.texts;
  }

  // The one text of a singular query.
  std::string Value(std::string const& query) const {
    std::vector<std::string> const texts = Values(query);
    EXPECT_EQ(1u, texts.size()) << query;
    return texts.empty() ? std::string() : texts.front();
  }

  // Whether the query ends with the error of a missing value.
  bool HasNoValue(std::string const& query) const {
    QueryAnswer const answer = Ask(query);
    return answer.error.has_value() && *answer.error == "no value" && answer.texts.empty();
  }

 private:
  ScratchFolder scratch_;
  std::string root_;
};

}  // namespace survey::testing
