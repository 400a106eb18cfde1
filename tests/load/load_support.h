// Helpers of the tests that load the built surveyor library as a host does:
// running the machine's own tools, temporary folders, and reading values.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "host/engine/host.h"
#include "survey/frame/boundary.h"

namespace survey::load_test {

// The types a bare host registers of its own, before any library.
constexpr std::size_t kHostTypes = 6;

// The load error of a library, or a failure of the test if it loads.
inline host::EvaluationError LoadError(host::Host& host, std::string const& path) {
  try {
    host.Load(path);
  } catch (host::EvaluationError const& error) {
    return error;
  }
  ADD_FAILURE() << path << " was loaded";
  host.Unload();
  return host::EvaluationError(host::ErrorKind::kSyntax, "");
}

inline std::string LibraryPath() { return SURVEY_LIBRARY_PATH; }

// What a command printed on its standard output, and how it ended.
struct CommandResult {
  int status = -1;
  std::string output;
};

inline CommandResult RunCommand(std::string const& command) {
  CommandResult result;
  FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, got);
  int const status = ::pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

// Quotes a path for the shell.
inline std::string Quoted(std::string const& path) {
  std::string quoted = "'";
  for (char c : path) {
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
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A folder of its own for one test, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    char const* const base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/survey-load-test-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    char* const made = ::mkdtemp(buffer.data());
    if (made != nullptr) path_ = made;
    EXPECT_FALSE(path_.empty()) << "cannot make a temporary folder";
  }
  ~TemporaryFolder() {
    if (!path_.empty()) RunCommand("rm -rf " + Quoted(path_));
  }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  std::string const& Path() const { return path_; }
  std::string File(std::string const& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// Whether the library at `path` is mapped into this process now.
inline bool IsMapped(std::string const& path) {
  void* const handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  ::dlclose(handle);
  return true;
}

}  // namespace survey::load_test
