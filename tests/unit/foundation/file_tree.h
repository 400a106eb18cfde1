// Test support for the file tests: a scratch folder that goes away with its
// contents, and the machine's own tools run with plain argument lists (no
// shell, so names with spaces and odd bytes pass as they are).
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace file_tree {

struct ProgramResult {
  int status = -1;  // the exit code, or -1 when the program did not exit
  std::string output;
};

// Runs a program found on PATH with the arguments, and collects its standard
// output; its standard error goes to the test's.
inline ProgramResult RunProgram(std::vector<std::string> const& arguments) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
  std::vector<char*> argv;
  for (auto const& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t child = 0;
  int const spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  ProgramResult result;
  if (spawned != 0) {
    close(pipeEnds[0]);
    throw std::runtime_error("cannot run " + arguments[0]);
  }
  char block[4096];
  for (;;) {
    ssize_t const got = read(pipeEnds[0], block, sizeof block);
    if (got > 0) {
      result.output.append(block, static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  close(pipeEnds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

// The output of a program that must succeed.
inline std::string Output(std::vector<std::string> const& arguments) {
  ProgramResult result = RunProgram(arguments);
  if (result.status != 0) throw std::runtime_error(arguments[0] + " failed");
  return result.output;
}

// Splits a text at a separator byte, dropping a final empty piece.
inline std::vector<std::string> Split(std::string const& text, char separator) {
  std::vector<std::string> pieces;
  std::string::size_type start = 0;
  while (start < text.size()) {
    std::string::size_type end = text.find(separator, start);
    if (end == std::string::npos) end = text.size();
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

// Runs `check` in a child process where permissions bind: a test run as
// root drops to an unprivileged user there. Gives the child's exit code.
template <class Check>
int InChildWithoutPrivilege(Check check) {
  pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(99);
    _exit(check());
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A fresh folder under the temporary folder, removed with all it holds.
class ScratchFolder {
 public:
  ScratchFolder() {
    char const* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/survey-files-XXXXXX";
    std::vector<char> text(pattern.begin(), pattern.end());
    text.push_back('\0');
    if (mkdtemp(text.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = text.data();
  }
  ScratchFolder(ScratchFolder const&) = delete;
  ScratchFolder& operator=(ScratchFolder const&) = delete;
  ~ScratchFolder() {
    // Folders the test made unreadable must be opened up to be removed.
    RunProgram({"chmod", "-R", "u+rwx", path_});
    RunProgram({"rm", "-rf", path_});
  }

  std::string const& Path() const { return path_; }
  std::string operator/(std::string const& name) const { return path_ + "/" + name; }

  void WriteFile(std::string const& name, std::string const& contents) const {
    int fd = open((*this / name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) throw std::runtime_error("cannot create " + name);
    if (!contents.empty() &&
        write(fd, contents.data(), contents.size()) != static_cast<ssize_t>(contents.size()))
      throw std::runtime_error("cannot write " + name);
    close(fd);
  }
  void MakeFolder(std::string const& name) const {
    if (mkdir((*this / name).c_str(), 0755) != 0) throw std::runtime_error("mkdir " + name);
  }
  void Link(std::string const& target, std::string const& name) const {
    if (symlink(target.c_str(), (*this / name).c_str()) != 0)
      throw std::runtime_error("symlink " + name);
  }

 private:
  std::string path_;
};

}  // namespace file_tree
