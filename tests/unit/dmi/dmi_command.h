// Queries about a firmware table, answered by the command as a user runs
// it, in a client folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/shell.h"

namespace survey::testing {

struct DmiAnswer {
  std::vector<std::string> texts;
  std::string error;    // the error's kind, "" for none
  std::string message;  // the error's message
};

// The environment of the sanitizers, passed on to the command.
inline std::string SanitizerSettings() {
  std::string settings;
  for (char const* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (char const* const value = std::getenv(name)) {
      settings += std::string(name) + "='" + value + "' ";
    }
  }
  return settings;
}

// The answers in the command's JSON output, one object per line.
inline std::vector<DmiAnswer> ParseAnswers(std::string const& output) {
  std::vector<DmiAnswer> answers;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    nlohmann::json const parsed = nlohmann::json::parse(line, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object() || !parsed["values"].is_array()) {
      ADD_FAILURE() << "not an answer: " << line;
      continue;
    }
    DmiAnswer answer;
    for (auto const& value : parsed["values"]) answer.texts.push_back(value["text"]);
    if (!parsed["error"].is_null()) {
      answer.error = parsed["error"]["kind"];
      answer.message = parsed["error"]["message"];
    }
    answers.push_back(answer);
  }
  return answers;
}

// Runs the command over the queries, one answer per query, with `source`
// as the options that say where the table comes from, in the client folder
// given or else in one of its own.
inline std::vector<DmiAnswer> AskWith(std::string const& source,
                                      std::vector<std::string> const& queries,
                                      std::string const& client = "") {
  ScratchFolder scratch("survey-dmi-test");
  std::string const file = scratch.Path() + "/queries";
  {
    std::ofstream out(file);
    for (std::string const& query : queries) out << query << "\n";
  }
  std::string const folder = client.empty() ? scratch.Path() + "/client" : client;
  ShellResult const run = RunShell("env -i TZ=UTC HOME='" + scratch.Path() + "' " +
                                   SanitizerSettings() + "'" + SURVEY_COMMAND + "' --client '" +
                                   folder + "' " + source + " --json -f '" + file + "' 2>&1");
  return ParseAnswers(run.output);
}

// The same, with the table taken from a dump in the format of a binary dump
// (entry point at offset 0, table at offset 32).
inline std::vector<DmiAnswer> AskAboutDump(std::string const& dump,
                                           std::vector<std::string> const& queries) {
  return AskWith("--dmi-dump '" + dump + "'", queries);
}

}  // namespace survey::testing
