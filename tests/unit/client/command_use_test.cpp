// The command as people use it: the words of its errors, where the caret
// under an error points, its command line, write errors and the prompt's
// history. Each case runs the real command and looks at its exit status,
// standard output and standard error apart.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string Quote(std::string const& text) {
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

std::string ReadFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool Exists(std::string const& path) { return access(path.c_str(), F_OK) == 0; }

class CommandUseTest : public ::testing::Test {
 protected:
  // Sanitizer builds need their settings to pass through the cleared
  // environment.
  std::string Environment() const {
    return "env -i HOME=" + Quote(scratch) + " " + survey::testing::SanitizerSettings();
  }

  // Runs the command with `arguments` (shell words); `redirect` adds the
  // shell's redirections or a pipe after it. Standard error goes to a file.
  Outcome Survey(std::string const& arguments, std::string const& before = "",
                 std::string const& after = "") {
    std::string const errors = scratch + "/stderr";
    std::string const command = before + Environment() + "'" SURVEY_COMMAND "' --client " +
                                Quote(scratch + "/client") + " " + arguments + " 2>" +
                                Quote(errors) + after;
    survey::testing::ShellResult const shell = survey::testing::RunShell(command);
    return Outcome{shell.status, shell.output, ReadFile(errors)};
  }

  survey::testing::ScratchFolder folder{"survey-command-use-test"};
  std::string const scratch = folder.Path();
};

// A query of 10^10 tuples: only a limit or an interrupt ends it.
constexpr char const* kEndless =
    "number of ((1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), "
    "(1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), "
    "(1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), "
    "(1;2;3;4;5;6;7;8;9;10))";

TEST_F(CommandUseTest, AFileErrorIsToldInWords) {
  // Reading another process's memory is refused even to root where the
  // kernel restricts it; elsewhere there is nothing to check.
  Outcome const run = Survey(Quote("lines of file \"/proc/1/mem\""));
  if (run.status == 0) GTEST_SKIP() << "reading /proc/1/mem is not refused here";
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.find("error: message: \"line\" of \"file\" failed: permission denied\n"))
      << run.err;
  EXPECT_EQ(std::string::npos, run.err.find("Error")) << run.err;
}

TEST_F(CommandUseTest, TheTimeLimitIsNamedWithItsValue) {
  Outcome const run = Survey("--timeout 0.2 " + Quote(kEndless));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.find("error: interrupted: time limit of 0.2 s reached\n")) << run.err;
}

TEST_F(CommandUseTest, TheUsersInterruptIsNamed) {
  // The command goes on with the next query after the interrupted one.
  std::string const queries = scratch + "/queries";
  std::ofstream(queries) << kEndless << "\n1 + 1\n";
  // An interrupt that comes before the command has set its handler is lost
  // (a background job of a shell ignores it), so the test interrupts again
  // until the command says that it was interrupted, and kills it after a
  // minute rather than wait for ever.
  std::string const errors = Quote(scratch + "/stderr");
  Outcome const run = Survey("-f " + Quote(queries), "",
                             " & pid=$!; for i in $(seq 120); do sleep 0.5; kill -INT $pid; "
                             "grep -q interrupted " + errors + " && break; done; "
                             "grep -q interrupted " + errors + " || kill -KILL $pid; wait $pid");
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.out.find("1 + 1\n  2\n")) << run.out;
  EXPECT_NE(std::string::npos, run.err.find("error: interrupted: interrupted by the user\n"))
      << run.err;
}

TEST_F(CommandUseTest, AnAnswerThatCannotBeWrittenIsAnError) {
  Outcome const run = Survey(Quote("1 + 1"), "", " >/dev/full");
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("survey: cannot write to standard output: No space left on device\n", run.err);
  Outcome const json = Survey("--json " + Quote("1 + 1"), "", " >/dev/full");
  EXPECT_EQ(1, json.status);
  EXPECT_EQ("survey: cannot write to standard output: No space left on device\n", json.err);
}

TEST_F(CommandUseTest, AReaderThatGoesAwayIsNoError) {
  // With SIGPIPE ignored, the write fails with EPIPE: nothing is said.
  Outcome const run = Survey(Quote("names of files of folder \"/usr/bin\"") + " " +
                                 Quote("names of files of folder \"/usr/lib\""),
                             "trap '' PIPE; ", " | head -1");
  EXPECT_EQ("names of files of folder \"/usr/bin\"\n", run.out);
  EXPECT_EQ("", run.err);
}

TEST_F(CommandUseTest, AFolderIsNotAQueryFile) {
  Outcome const run = Survey("-f /etc");
  EXPECT_EQ(2, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ("survey: cannot read /etc: a folder, not a file of queries\n", run.err);
}

TEST_F(CommandUseTest, AQueryFileOfDashIsStandardInput) {
  Outcome const run = Survey("-f -", "printf '2 + 2\\n// a comment\\n3 * 3\\n' | ");
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ("2 + 2\n  4\n3 * 3\n  9\n", run.out);
  EXPECT_EQ("", run.err);
}

TEST_F(CommandUseTest, ABadTimeLimitGetsOneMessage) {
  struct Case {
    char const* given;
    char const* message;
  };
  for (Case const& bad : {
           Case{"abc", "survey: --timeout: \"abc\" is not a number of seconds\n"},
           Case{"nan", "survey: --timeout: \"nan\" is not a number of seconds\n"},
           Case{"", "survey: --timeout: \"\" is not a number of seconds\n"},
           Case{"5s", "survey: --timeout: \"5s\" is not a number of seconds\n"},
           Case{"-1", "survey: --timeout: -1 must be positive (or 0 for no limit)\n"},
           Case{"inf",
                "survey: --timeout: inf is too large: at most 1000000000 seconds (or 0 for no "
                "limit)\n"},
       }) {
    Outcome const run = Survey("--timeout " + Quote(bad.given) + " " + Quote("1 + 1"));
    EXPECT_EQ(2, run.status) << bad.given;
    EXPECT_EQ("", run.out) << bad.given;
    EXPECT_EQ(bad.message, run.err) << bad.given;
  }
  Outcome const none = Survey("--timeout 0 " + Quote("1 + 1"));
  EXPECT_EQ(0, none.status);
  EXPECT_EQ("2\n", none.out);
}

TEST_F(CommandUseTest, ALibraryThatCannotBeLoadedIsABadCommandLine) {
  Outcome const run = Survey("--library " + Quote(scratch + "/missing.so") + " " + Quote("1 + 1"));
  EXPECT_EQ(2, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.find("survey: cannot load surveyor library " + scratch + "/missing.so"))
      << run.err;
}

TEST_F(CommandUseTest, TheHelpTellsOfTheEndOfOptionsAndOfNoTimeLimit) {
  Outcome const run = Survey("--help");
  EXPECT_EQ(0, run.status);
  EXPECT_NE(std::string::npos, run.out.find("Options end at --")) << run.out;
  EXPECT_NE(std::string::npos, run.out.find("(0, the default: no limit)")) << run.out;
  Outcome const negative = Survey("-- " + Quote("-1 + 2"));
  EXPECT_EQ(0, negative.status) << negative.err;
  EXPECT_EQ("1\n", negative.out);
}

TEST_F(CommandUseTest, ThePromptMakesItsHistoryFile) {
  if (std::system("command -v script >/dev/null") != 0) {
    GTEST_SKIP() << "no script command to give the prompt a terminal";
  }
  std::string const history = scratch + "/.local/state/survey/history";
  ASSERT_FALSE(Exists(history));
  // script runs the command with a terminal for its standard input, so
  // that it shows the prompt; the line typed is its query.
  std::string const command =
      Environment() + "'" SURVEY_COMMAND "' --client " + Quote(scratch + "/client");
  survey::testing::ShellResult const run =
      survey::testing::RunShell("printf '1 + 1\\n' | script -qec " + Quote(command) + " /dev/null");
  EXPECT_EQ(0, run.status) << run.output;
  EXPECT_NE(std::string::npos, run.output.find("survey> ")) << run.output;
  EXPECT_EQ("1 + 1\n", ReadFile(history));
}

// The caret lines of an error message: what follows the first line.
std::string Caret(Outcome const& run) { return run.err.substr(run.err.find('\n') + 1); }

TEST_F(CommandUseTest, TheCaretIsPlacedByDisplayColumn) {
  // A tab shows as the spaces to the next tab stop: the indent is two.
  Outcome const tab = Survey("\"$(printf '\\t1 + frob')\"");
  EXPECT_EQ(1, tab.status);
  EXPECT_EQ("        1 + frob\n            ^\n", Caret(tab)) << tab.err;
  // Each UTF-8 character is one column.
  Outcome const text = Survey(Quote("length of \"h\xc3\xa9llo w\xc3\xb6rld\" + frob"));
  EXPECT_EQ(
      "  length of \"h\xc3\xa9llo w\xc3\xb6rld\" + frob\n"
      "                            ^\n",
      Caret(text))
      << text.err;
}

TEST_F(CommandUseTest, ControlBytesOfTheQueryAreEscaped) {
  Outcome const run = Survey("\"$(printf '\"\\033[31mred\" + frob')\"");
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("  \"\\x1b[31mred\" + frob\n                  ^\n", Caret(run)) << run.err;
  // The heading of a query among several is escaped too; its values are
  // the answer and stay as they are.
  Outcome const several = Survey("-e \"$(printf '\"\\033\"')\" -e 1");
  EXPECT_EQ(0, several.status);
  EXPECT_EQ("\"\\x1b\"\n  \x1b\n1\n  1\n", several.out);
}

TEST_F(CommandUseTest, TheLineThatHoldsTheErrorIsShown) {
  Outcome const middle = Survey("\"$(printf '1 +\\n2 + frob\\n+ 3')\"");
  EXPECT_EQ(1, middle.status);
  EXPECT_EQ("  2 + frob\n      ^\n", Caret(middle)) << middle.err;
  Outcome const end = Survey("\"$(printf '(1;\\n2')\"");
  EXPECT_EQ(1, end.status);
  EXPECT_EQ("  2\n   ^\n", Caret(end)) << end.err;
}

}  // namespace
