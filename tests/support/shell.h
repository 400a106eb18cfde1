// Running shell commands and keeping scratch folders, for tests that check
// the library and the command against the machine's own tools.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace survey::testing {

struct ShellResult {
  int status = -1;  // the exit status, or -1 when the command did not exit
  std::string output;
};

// Runs `command` with /bin/sh and collects what it writes to standard output.
inline ShellResult RunShell(std::string const& command) {
  ShellResult run;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return run;
  }
  char buffer[4096];
  std::size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.output.append(buffer, count);
  int const status = pclose(pipe);
  run.status = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// What `command` writes to standard output.
inline std::string Output(std::string const& command) { return RunShell(command).output; }

// A folder of its own for a test, under /tmp, removed with everything in it
// at the end.
class ScratchFolder {
 public:
  explicit ScratchFolder(std::string const& prefix = "survey-test") {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
      pattern = "/nonexistent";
    }
    path_ = pattern;
  }
  ~ScratchFolder() {
    std::string const command = "rm -rf '" + path_ + "'";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "cannot remove " << path_;
  }
  ScratchFolder(ScratchFolder const&) = delete;
  ScratchFolder& operator=(ScratchFolder const&) = delete;

  std::string const& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace survey::testing
