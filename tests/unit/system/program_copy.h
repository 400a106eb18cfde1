// A copy of the sleep program under a name of its own, in a scratch folder,
// for tests that start processes and look for them by name or path. The
// processes it starts are ended, by their ids, when it goes.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

namespace survey::testing {

class ProgramCopy {
 public:
  // The name is "surveyprobe", the tag and this process's number.
  explicit ProgramCopy(std::string const& tag = "") {
    char pattern[] = "/tmp/survey-program-XXXXXX";
    char const* const made = mkdtemp(pattern);
    EXPECT_NE(nullptr, made);
    folder_ = made != nullptr ? made : "/nonexistent";
    name_ = "surveyprobe" + tag + std::to_string(getpid());
    path_ = folder_ + "/" + name_;
    std::string const copy = "cp \"$(command -v sleep)\" '" + path_ + "'";
    EXPECT_EQ(0, std::system(copy.c_str())) << copy;
  }
  ~ProgramCopy() {
    Stop();
    std::string const command = "rm -rf '" + folder_ + "'";
    EXPECT_EQ(0, std::system(command.c_str()));
  }
  ProgramCopy(ProgramCopy const&) = delete;
  ProgramCopy& operator=(ProgramCopy const&) = delete;

  std::string const& Name() const { return name_; }
  std::string const& Path() const { return path_; }

  // Starts the program for ten minutes; it runs the copy when this returns.
  pid_t Start() {
    char* const arguments[] = {const_cast<char*>(name_.c_str()), const_cast<char*>("600"), nullptr};
    pid_t child = -1;
    int const failed = posix_spawn(&child, path_.c_str(), nullptr, nullptr, arguments, environ);
    EXPECT_EQ(0, failed) << std::strerror(failed);
    if (failed == 0) children_.push_back(child);
    return child;
  }

  // Ends that process and waits for it.
  void Stop(pid_t child) {
    auto const found = std::find(children_.begin(), children_.end(), child);
    if (found == children_.end()) return;
    children_.erase(found);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
  }

  // Ends every process it started.
  void Stop() {
    while (!children_.empty()) Stop(children_.back());
  }

 private:
  std::string folder_;
  std::string name_;
  std::string path_;
  std::vector<pid_t> children_;
};

}  // namespace survey::testing
