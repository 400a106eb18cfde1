// The world property "client": the command's own executable, with the
// command's own version.

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;

std::string Trimmed(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

TEST(ClientObjectCommandTest, TheClientIsTheCommandsExecutable) {
  ClientFixture client;
  std::string const command = Trimmed(Output("readlink -f '" SURVEY_COMMAND "'"));
  EXPECT_EQ(command, client.Value("pathname of client"));
  EXPECT_EQ(Trimmed(Output("stat -c %s '" SURVEY_COMMAND "'")), client.Value("size of client"));
  survey::testing::QueryAnswer const answer = client.Ask("client");
  EXPECT_EQ(std::vector<std::string>{"client"}, answer.types);
}

TEST(ClientObjectCommandTest, TheClientsVersionIsTheCommandsVersion) {
  ClientFixture client;
  EXPECT_EQ(SURVEY_PROJECT_VERSION, client.Value("version of client"));
  EXPECT_EQ(std::string("survey ") + SURVEY_PROJECT_VERSION,
            Trimmed(Output("'" SURVEY_COMMAND "' --version")));
  survey::testing::QueryAnswer const answer = client.Ask("version of client");
  EXPECT_EQ(std::vector<std::string>{"version"}, answer.types);
}

TEST(ClientObjectCommandTest, TheClientIsAFileAndAnswersAsOne) {
  ClientFixture client;
  EXPECT_EQ(Trimmed(Output("basename \"$(readlink -f '" SURVEY_COMMAND "')\"")),
            client.Value("name of client"));
}

}  // namespace
