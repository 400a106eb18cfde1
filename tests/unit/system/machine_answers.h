// Helpers of the tests of processors, memory and users: the fixture files of
// tests/fixtures, the answers of the command as a user asks, and the
// records each unit registers.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::testing {

// The path of a file under tests/fixtures. This header's own path may be
// written relative to the build folder, where the compiler ran, which holds
// the folder of the test programs (bin/).
inline std::string FixturePath(std::string const& relative) {
  std::string source = __FILE__;  // .../tests/unit/system/machine_answers.h
  if (source.front() != '/') {
    char program[4096];
    ssize_t const length = readlink("/proc/self/exe", program, sizeof program - 1);
    EXPECT_GT(length, 0);
    std::string build(program, length > 0 ? static_cast<std::size_t>(length) : 0);
    build = build.substr(0, build.rfind('/'));  // bin
    build = build.substr(0, build.rfind('/'));  // the build folder
    source = build + "/" + source;
  }
  std::string const tests = source.substr(0, source.rfind("/unit/"));
  return tests + "/fixtures/" + relative;
}

// What a command prints, without the line ends at its end.
inline std::string Trimmed(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

// The lines of a text, without empty ones.
inline std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::string line;
  for (char c : text) {
    if (c == '\n') {
      if (!line.empty()) lines.push_back(line);
      line.clear();
    } else {
      line += c;
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

// The answer of the command to one query, run in a home folder of its own.
inline CommandAnswer AskCommand(std::string const& query) {
  ScratchFolder home("survey-machine-test");
  std::string const output =
      RunShell("env -i TZ=UTC HOME='" + home.Path() + "' " + SanitizerSettings() +
               "'" SURVEY_COMMAND "' --json -e '" + query + "'")
          .output;
  std::vector<CommandAnswer> const answers = ReadAnswers(output);
  if (answers.size() != 1) {
    ADD_FAILURE() << query << ": " << output;
    CommandAnswer unreadable;
    unreadable.error = "unreadable";
    return unreadable;
  }
  return answers.front();
}

// The one value of an answer; a failure of the test otherwise.
inline std::string OnlyValue(CommandAnswer const& answer, std::string const& query = "") {
  EXPECT_EQ("", answer.error) << query;
  if (answer.values.size() != 1) {
    ADD_FAILURE() << query << ": " << answer.values.size() << " values";
    return std::string();
  }
  return answer.values[0];
}

// One registered record as the tests expect it: the phrases and type names
// of a property (index, object, result), or the source and target of a cast,
// or the name of a type.
struct RegisteredRow {
  host::RecordKind kind;
  std::string singular;
  std::string plural;
  std::string index;
  std::string object;
  std::string result;
  SurveyorDependency dependency;
};

// The records of the registry's journal from the registration of type
// `firstType` on, `count` of them, in their order.
inline std::vector<RegisteredRow> RegisteredFrom(std::string const& firstType, std::size_t count) {
  host::Registry const& registry = host::Registry::Default();
  std::vector<RegisteredRow> rows;
  bool started = false;
  for (host::RegistryEvent const& event : registry.Journal()) {
    if (!started && !(event.kind == host::RecordKind::kType && event.name == firstType)) continue;
    started = true;
    if (rows.size() == count) break;
    EXPECT_EQ(host::RegistryEvent::kRegistered, event.action);
    RegisteredRow row{event.kind, std::string(event.name), "", "", "", "", nullptr};
    if (event.kind == host::RecordKind::kProperty) {
      for (host::PropertyEntry const* entry : registry.Properties()) {
        if (entry->record != event.record) continue;
        row.plural = entry->plural;
        row.index = entry->index;
        row.object = entry->object;
        row.result = entry->result;
        row.dependency = entry->dependency;
      }
    } else if (event.kind == host::RecordKind::kCast) {
      for (host::CastEntry const* entry : registry.Casts()) {
        if (entry->record != event.record) continue;
        row.object = entry->source;
        row.result = entry->target;
        row.dependency = entry->dependency;
      }
    }
    rows.push_back(row);
  }
  return rows;
}

inline void ExpectRows(std::vector<RegisteredRow> const& expected,
                       std::vector<RegisteredRow> const& registered) {
  ASSERT_EQ(expected.size(), registered.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected[i].singular);
    EXPECT_EQ(expected[i].kind, registered[i].kind);
    EXPECT_EQ(expected[i].singular, registered[i].singular);
    EXPECT_EQ(expected[i].plural, registered[i].plural);
    EXPECT_EQ(expected[i].index, registered[i].index);
    EXPECT_EQ(expected[i].object, registered[i].object);
    EXPECT_EQ(expected[i].result, registered[i].result);
    EXPECT_EQ(expected[i].dependency, registered[i].dependency);
  }
}

}  // namespace survey::testing
