// What the file-system tests share: scratch trees made at test time, the
// output of the machine's own tools, and the survey command run as a user
// runs it.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace survey::files::testing {

// What a command prints, whole. `status` receives the exit status when given.
inline std::string Output(std::string const& command, int* status = nullptr) {
  survey::testing::ShellResult const run = survey::testing::RunShell(command);
  if (status != nullptr) {
    *status = run.status;
  } else {
    EXPECT_EQ(0, run.status) << command;
  }
  return run.output;
}

// What a shell pipeline prints, without its final line feed.
inline std::string Tool(std::string const& command) {
  std::string text = Output(command);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

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
// everything but plain letters, digits and a few safe marks is written as
// %XX.
inline std::string QueryString(std::string const& bytes) {
  static char const kHex[] = "0123456789ABCDEF";
  std::string literal = "\"";
  for (char c : bytes) {
    unsigned char const byte = static_cast<unsigned char>(c);
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
        (byte >= '0' && byte <= '9') || byte == '/' || byte == '.' || byte == '_' ||
        byte == '-') {
      literal += c;
    } else {
      literal += '%';
      literal += kHex[byte >> 4];
      literal += kHex[byte & 15];
    }
  }
  return literal + "\"";
}

// Splits on a separator byte; a trailing separator ends the last part.
inline std::vector<std::string> Split(std::string const& text, char separator) {
  std::vector<std::string> parts;
  std::string::size_type start = 0;
  while (start < text.size()) {
    std::string::size_type const end = text.find(separator, start);
    if (end == std::string::npos) {
      parts.push_back(text.substr(start));
      break;
    }
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// The paths that `find` prints for its arguments, NUL-separated so that any
// name survives, in the order find gives them.
inline std::vector<std::string> Find(std::string const& arguments, std::string const& runAs = "") {
  return Split(Output(runAs + "find " + arguments + " -print0 2>/dev/null || true"), '\0');
}

// The order of a depth-first walk that lists each folder by byte order of
// names and puts a folder's content at the place of its name: paths compared
// component by component.
inline bool WalkOrder(std::string const& a, std::string const& b) {
  std::vector<std::string> const left = Split(a, '/');
  std::vector<std::string> const right = Split(b, '/');
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
}

inline std::vector<std::string> Sorted(std::vector<std::string> items) {
  std::sort(items.begin(), items.end());
  return items;
}

// A folder of its own for each test, removed afterwards. It can be entered
// by every user, so that a command run without privileges can look at it.
class ScratchTree {
 public:
  ScratchTree() {
    char pattern[] = "/tmp/survey-files-test-XXXXXX";
    char const* const made = mkdtemp(pattern);
    if (made == nullptr) ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
    path_ = made != nullptr ? made : "/nonexistent";
    chmod(path_.c_str(), 0755);
  }
  ~ScratchTree() {
    // Folders made unreadable must be opened up again to be removed.
    std::string const command = "chmod -R u+rwx " + ShellQuoted(path_) +
                                " 2>/dev/null; rm -rf " + ShellQuoted(path_);
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "cannot remove " << path_;
  }
  ScratchTree(ScratchTree const&) = delete;
  ScratchTree& operator=(ScratchTree const&) = delete;

  std::string const& Path() const { return path_; }
  std::string operator/(std::string const& relative) const { return path_ + "/" + relative; }

  void Folder(std::string const& relative) const {
    std::string const full = *this / relative;
    ASSERT_EQ(0, mkdir(full.c_str(), 0755)) << full << ": " << std::strerror(errno);
  }
  void File(std::string const& relative, std::string const& content = "") const {
    std::string const full = *this / relative;
    std::ofstream out(full, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    ASSERT_TRUE(out.good()) << full;
  }
  void Link(std::string const& target, std::string const& relative) const {
    std::string const full = *this / relative;
    ASSERT_EQ(0, symlink(target.c_str(), full.c_str())) << full << ": " << std::strerror(errno);
  }
  void Fifo(std::string const& relative) const {
    std::string const full = *this / relative;
    ASSERT_EQ(0, mkfifo(full.c_str(), 0644)) << full << ": " << std::strerror(errno);
  }
  void Mode(std::string const& relative, mode_t mode) const {
    std::string const full = *this / relative;
    ASSERT_EQ(0, chmod(full.c_str(), mode)) << full << ": " << std::strerror(errno);
  }

 private:
  std::string path_;
};

// A tree whose links to folders lead round: to the folder itself, to its
// parent (twice from one folder), two levels up, and across to siblings,
// with a link to a file beside them. Every link is relative and stays
// inside the tree.
//
//   top  self -> .
//   a/  f  here -> .  up -> ..  "up again" -> ..  to-b -> ../b
//   b/  g
//   b/c/  h  "two up" -> ../..  to-a -> ../../a  to-g -> ../g
inline void MakeTreeWithLoops(ScratchTree const& tree) {
  tree.File("top");
  tree.Link(".", "self");
  tree.Folder("a");
  tree.File("a/f");
  tree.Link(".", "a/here");
  tree.Link("..", "a/up");
  tree.Link("..", "a/up again");
  tree.Link("../b", "a/to-b");
  tree.Folder("b");
  tree.File("b/g");
  tree.Folder("b/c");
  tree.File("b/c/h");
  tree.Link("../..", "b/c/two up");
  tree.Link("../../a", "b/c/to-a");
  tree.Link("../g", "b/c/to-g");
}

// The prefix that runs a command without privileges when the tests run as
// root, where permission bits do not bind; empty otherwise.
inline std::string Unprivileged() {
  if (geteuid() != 0) return "";
  return "setpriv --reuid=65534 --regid=65534 --clear-groups ";
}

}  // namespace survey::files::testing

namespace survey::files::testing {

// What the command answered to one query.
struct Answer {
  std::vector<std::string> values;  // the values' texts, in order
  std::string error;                // the kind of error it ended with, or ""
};

// Runs the command on one query as a user would: a clean environment, a home
// folder of its own (and so a client folder of its own), started in `cwd`.
// With `json` the texts come from the JSON form (where bytes that are not
// UTF-8 are replaced), which keeps a value with a line end in it whole;
// without, each line printed is one value. `runAs` prefixes the command;
// `timeout` is the query's time limit in seconds.
inline Answer Ask(std::string const& query, std::string const& cwd = "/", bool json = false,
                  std::string const& runAs = "", std::string const& timeout = "300") {
  Answer answer;
  char pattern[] = "/tmp/survey-files-home-XXXXXX";
  char const* const home = mkdtemp(pattern);
  if (home == nullptr) {
    ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
    return answer;
  }
  chmod(home, 0777);
  std::string const errors = std::string(home) + "/stderr";
  std::string const settings = survey::testing::SanitizerSettings();
  std::string const command = "cd " + ShellQuoted(cwd) + " && " + runAs + "env -i TZ=UTC HOME=" +
                              ShellQuoted(home) + " " + settings +
                              ShellQuoted(SURVEY_COMMAND) + (json ? " --json" : "") +
                              " --timeout " + timeout + " -e " + ShellQuoted(query) + " 2>" +
                              ShellQuoted(errors);
  int status = 0;
  std::string const output = Output(command, &status);
  std::ifstream in(errors, std::ios::binary);
  std::string const errorText((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (json) {
    nlohmann::json const parsed = nlohmann::json::parse(output, nullptr, false);
    if (parsed.is_discarded() || !parsed["values"].is_array()) {
      ADD_FAILURE() << query << ": " << output << errorText;
    } else {
      for (auto const& value : parsed["values"]) answer.values.push_back(value["text"]);
      if (!parsed["error"].is_null()) answer.error = parsed["error"]["kind"];
    }
  } else {
    answer.values = Split(output, '\n');
    // "error: KIND: message" on the error stream.
    std::string::size_type const start = errorText.find("error: ");
    if (start != std::string::npos) {
      std::string::size_type const end = errorText.find(':', start + 7);
      answer.error = errorText.substr(start + 7, end - start - 7);
    }
  }
  if (answer.error.empty() && status != 0) {
    ADD_FAILURE() << query << ": exit status " << status << ", " << errorText;
  }
  std::system(("rm -rf " + ShellQuoted(home)).c_str());
  return answer;
}

// The one value of a query that must give exactly one.
inline std::string One(std::string const& query, std::string const& cwd = "/") {
  Answer const answer = Ask(query, cwd);
  EXPECT_EQ("", answer.error) << query;
  EXPECT_EQ(1u, answer.values.size()) << query;
  return answer.values.empty() ? std::string() : answer.values[0];
}

// The kind of error that a query ends with.
inline std::string ErrorOf(std::string const& query, std::string const& cwd = "/") {
  Answer const answer = Ask(query, cwd);
  EXPECT_TRUE(answer.values.empty()) << query;
  return answer.error;
}

}  // namespace survey::files::testing
