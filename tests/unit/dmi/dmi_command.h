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

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::testing {

using DmiAnswer = CommandAnswer;

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
  return ReadAnswers(run.output);
}

// The same, with the table taken from a dump in the format of a binary dump
// (entry point at offset 0, table at offset 32).
inline std::vector<DmiAnswer> AskAboutDump(std::string const& dump,
                                           std::vector<std::string> const& queries) {
  return AskWith("--dmi-dump '" + dump + "'", queries);
}

}  // namespace survey::testing
