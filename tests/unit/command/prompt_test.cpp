// The prompt, driven through a pseudo-terminal by python3's pty module
// (prompt_driver.py beside this file): the banner, completion of phrases,
// the continuation prompt, help, quit, and a query over its memory bound
// that leaves the prompt going.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/unit/command/command_run.h"

namespace survey::command_test {
namespace {

constexpr char const* kDriver = SURVEY_SOURCE_FOLDER "/tests/unit/command/prompt_driver.py";

class PromptTest : public CommandTest {
 protected:
  // The terminal's transcript of a session of these steps: pairs of what
  // to type and what to wait for in the answer.
  std::string Session(std::string const& command,
                      std::vector<std::pair<std::string, std::string>> const& steps) {
    nlohmann::json list = nlohmann::json::array();
    for (auto const& [text, wait] : steps) list.push_back({text, wait});
    std::string const file = scratch + "/steps.json";
    WriteFile(file, list.dump());
    return survey::testing::Output(Environment() + " TERM=dumb python3 " + Quote(kDriver) + " " +
                                   Quote(file) + " -- " + command + " 2>&1");
  }
};

TEST_F(PromptTest, ASessionAtTheTerminal) {
  std::string const roots = survey::testing::Output("grep -c root /etc/passwd");
  ASSERT_FALSE(roots.empty());
  std::string const command = std::string("'" SURVEY_COMMAND "' --client ") +
                              Quote(scratch + "/client") + " --max-memory 8M";
#if SURVEY_PROMPT_EDITING
  // Tab completes the word being typed, as far as the phrases that take
  // in the most of the words before it agree.
  std::string const length = "\"abcd\" as uppercas\t& \"e\"\r";
  std::string const lines = "number of lines contai\t \"root\" of file \"/etc/passwd\"\r";
  // Inside quotes, a file name; the quote is closed after a whole one.
  std::string const sized = "size of file \"" + scratch + "/only-fi\t\r";
#else
  std::string const sized = "size of file \"" + scratch + "/only-file\"\r";
  std::string const length = "\"abcd\" as uppercase & \"e\"\r";
  std::string const lines = "number of lines containing \"root\" of file \"/etc/passwd\"\r";
#endif
  std::string const bounded =
      "number of unique values of (((1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), "
      "(1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), (1;2;3;4;5;6;7;8;9;10), "
      "(1;2;3;4;5;6;7;8;9;10)) as string)\r";
  WriteFile(scratch + "/only-file", std::string(4321, 'q'));
  std::string const size = survey::testing::Output("stat -c %s " + Quote(scratch + "/only-file"));
  ASSERT_EQ("4321\n", size);
  std::string const transcript =
      Session(command,
              {{length, "survey> "},
               {sized, "survey> "},
               {lines, "survey> "},
               {"(1;\r", "...> "},
               {"2)\r", "survey> "},
               {"\"a\r", "...> "},
               {"b\" & \"c\"\r", "survey> "},
               {"help\r", "survey> "},
               {"help sum\r", "survey> "},
               {bounded, "survey> "},
               {"2 + 2\r", "survey> "},
               {"quit\r", ""}});
  EXPECT_EQ(0u, transcript.find(std::string("survey " SURVEY_PROJECT_VERSION ", client folder ") +
                                scratch + "/client; type help for help, quit to leave\r\n"))
      << transcript;
  EXPECT_NE(std::string::npos, transcript.find("\"abcd\" as uppercase & \"e\"")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("\r\nABCDe\r\n")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("size of file \"" + scratch + "/only-file\"\r\n4321\r\n"))
      << transcript;
  EXPECT_NE(std::string::npos,
            transcript.find("number of lines containing \"root\" of file \"/etc/passwd\""))
      << transcript;
  EXPECT_NE(std::string::npos,
            transcript.find("\r\n" + roots.substr(0, roots.size() - 1) + "\r\n"))
      << transcript;
  // The continuation prompt, and the two lines read as one query.
  EXPECT_NE(std::string::npos, transcript.find("    ...> 2)")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("\r\n1\r\n2\r\n")) << transcript;
  // A quoted text that goes on over a line holds the line's end.
  EXPECT_NE(std::string::npos, transcript.find("\r\na\r\nbc\r\n")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("quit           leave")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("sum / sums (aggregate)")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("error: interrupted: memory limit of 8 MiB reached"))
      << transcript;
  EXPECT_NE(std::string::npos, transcript.find("2 + 2\r\n4\r\n")) << transcript;
  // A query failed, so the status is 1; quit ended the prompt.
  EXPECT_NE(std::string::npos, transcript.find("\nstatus 1\n")) << transcript;
}

TEST_F(PromptTest, TheEndOfInputEndsThePrompt) {
  std::string const command =
      std::string("'" SURVEY_COMMAND "' --client ") + Quote(scratch + "/client");
  std::string const transcript =
      Session(command, {{"1 + 2\r", "survey> "}, {"\x04", ""}});
  EXPECT_NE(std::string::npos, transcript.find("\r\n3\r\n")) << transcript;
  EXPECT_NE(std::string::npos, transcript.find("\nstatus 0\n")) << transcript;
}

}  // namespace
}  // namespace survey::command_test
