// Running queries through the command as a user runs it, many in one run,
// and the machine's own tools beside it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::values::testing {

// What one query gave.
using Answer = survey::testing::CommandAnswer;

// The text between single quotes for the shell.
inline std::string ShellQuoted(std::string const& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// A string literal of the query language holding exactly these bytes:
// anything but letters and digits is written as %XX.
inline std::string Literal(std::string const& bytes) {
  static char const kHex[] = "0123456789ABCDEF";
  std::string literal = "\"";
  for (char c : bytes) {
    unsigned char const byte = static_cast<unsigned char>(c);
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
        (byte >= '0' && byte <= '9')) {
      literal += c;
    } else {
      literal += '%';
      literal += kHex[byte >> 4];
      literal += kHex[byte & 15];
    }
  }
  return literal + "\"";
}

// Runs the command once on all the queries, in a clean environment with a
// home folder of its own, and reads one JSON answer per query. `timeout` is
// each query's time limit in seconds; `environment` adds variables to the
// clean environment ("NAME=value ...", quoted for the shell).
inline std::vector<Answer> AskAll(std::vector<std::string> const& queries,
                                  std::string const& timeout = "300",
                                  std::string const& environment = "") {
  std::vector<Answer> answers;
  survey::testing::ScratchFolder home("survey-values-home");
  std::string const settings = survey::testing::SanitizerSettings();
  std::string const file = home.Path() + "/queries";
  std::string command = "cd / && env -i TZ=UTC HOME=" + ShellQuoted(home.Path()) + " " + environment + " " + settings +
                        ShellQuoted(SURVEY_COMMAND) + " --json --timeout " + timeout;
  for (std::string const& query : queries) command += " -e " + ShellQuoted(query);
  command += " 2>" + ShellQuoted(home.Path() + "/stderr");
  survey::testing::ShellResult const run = survey::testing::RunShell(command);
  answers = survey::testing::ReadAnswers(run.output);
  if (answers.size() != queries.size()) {
    std::ifstream in(home.Path() + "/stderr");
    std::string const errors((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ADD_FAILURE() << queries.size() << " queries, " << answers.size() << " answers; " << errors;
    answers.resize(queries.size());
  }
  return answers;
}

inline Answer Ask(std::string const& query, std::string const& timeout = "300") {
  return AskAll({query}, timeout).front();
}

// The one value of a query that must give exactly one.
inline std::string One(std::string const& query) {
  Answer const answer = Ask(query);
  EXPECT_EQ("", answer.error) << query << ": " << answer.message;
  EXPECT_EQ(1u, answer.values.size()) << query;
  return answer.values.empty() ? std::string() : answer.values[0];
}

// What a python3 program prints.
inline std::string Python(std::string const& program) {
  survey::testing::ScratchFolder folder("survey-values-python");
  std::string const file = folder.Path() + "/program.py";
  std::ofstream(file) << program;
  survey::testing::ShellResult const run = survey::testing::RunShell("python3 " + ShellQuoted(file));
  EXPECT_EQ(0, run.status) << program;
  return run.output;
}

// The lines of a text; a final line end ends the last line.
inline std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace survey::values::testing
