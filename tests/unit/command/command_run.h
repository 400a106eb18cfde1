// Running the command as a user runs it, for the tests of this folder: with
// a cleared environment (HOME in a scratch folder, TZ=UTC), its own client
// folder, and standard output and standard error kept apart.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::command_test {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

// A text as one shell word.
inline std::string Quote(std::string const& text) {
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

inline std::string ReadFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void WriteFile(std::string const& path, std::string const& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class CommandTest : public ::testing::Test {
 protected:
  // The environment the command runs in. Sanitizer builds need their
  // settings to pass through.
  std::string Environment() const {
    return "env -i HOME=" + Quote(scratch) + " TZ=UTC " + extraEnvironment +
           survey::testing::SanitizerSettings();
  }

  std::string Command() const {
    return Environment() + "'" SURVEY_COMMAND "' --client " + Quote(scratch + "/client");
  }

  // Runs the command with `arguments` (shell words); `after` adds the
  // shell's redirections or a pipe after it.
  Outcome Survey(std::string const& arguments, std::string const& after = "") {
    std::string const errors = scratch + "/stderr";
    survey::testing::ShellResult const shell = survey::testing::RunShell(
        Command() + " " + arguments + " 2>" + Quote(errors) + after);
    return Outcome{shell.status, shell.output, ReadFile(errors)};
  }

  // What a python3 program prints, given `input` on its standard input.
  std::string Python(std::string const& program, std::string const& input) {
    std::string const script = scratch + "/program.py";
    std::string const data = scratch + "/input";
    WriteFile(script, program);
    WriteFile(data, input);
    return survey::testing::Output("python3 " + Quote(script) + " <" + Quote(data));
  }

  // NAME=VALUE words for the command's environment, each followed by a
  // blank.
  std::string extraEnvironment;
  survey::testing::ScratchFolder folder{"survey-command-test"};
  std::string const scratch = folder.Path();
};

}  // namespace survey::command_test
