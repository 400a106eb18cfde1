// The command's answers as its JSON output gives them (one object a line),
// and the sanitizer settings that a test passes on to the command it runs.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <string>
#include <vector>

namespace survey::testing {

// What one query of the command gave.
struct CommandAnswer {
  std::vector<std::string> values;  // the values' texts, in order
  std::vector<std::string> types;   // and their types
  std::string error;                // the kind of error it ended with, or ""
  std::string message;              // and its message
};

// "NAME='value' " for each sanitizer setting of this process, so that a
// command started under `env -i` runs as the test does.
inline std::string SanitizerSettings() {
  std::string settings;
  for (char const* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    char const* const value = std::getenv(name);
    if (value == nullptr) continue;
    settings += std::string(name) + "='";
    for (char const* c = value; *c != '\0'; ++c) settings += *c == '\'' ? "'\\''" : std::string(1, *c);
    settings += "' ";
  }
  return settings;
}

// The answers of the command's JSON output, one a line. A line that is not
// an answer fails the test and stands as an empty answer, so that the
// answers after it keep their places.
inline std::vector<CommandAnswer> ReadAnswers(std::string const& output) {
  std::vector<CommandAnswer> answers;
  std::size_t start = 0;
  while (start < output.size()) {
    std::size_t end = output.find('\n', start);
    if (end == std::string::npos) end = output.size();
    std::string const line = output.substr(start, end - start);
    start = end + 1;
    nlohmann::json const parsed = nlohmann::json::parse(line, nullptr, false);
    CommandAnswer answer;
    if (parsed.is_discarded() || !parsed.is_object() || !parsed["values"].is_array()) {
      ADD_FAILURE() << "not an answer: " << line;
      answers.push_back(answer);
      continue;
    }
    for (auto const& value : parsed["values"]) {
      answer.values.push_back(value["text"]);
      answer.types.push_back(value["type"]);
    }
    if (!parsed["error"].is_null()) {
      answer.error = parsed["error"]["kind"];
      answer.message = parsed["error"]["message"];
    }
    answers.push_back(answer);
  }
  return answers;
}

}  // namespace survey::testing
