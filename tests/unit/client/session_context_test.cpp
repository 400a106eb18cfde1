// Each query of a session is evaluated with the host's context: properties
// registered here for the test reach it the way the library's surveyors do.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "host/client/client_folder.h"
#include "host/session/session.h"
#include "survey/frame/contexts.h"
#include "survey/frame/registration.h"

namespace {

using survey::client::ClientFolder;
using survey::host::ErrorKind;
using survey::host::Registry;
using survey::session::Answer;
using survey::session::Session;

surveyor_string Copy(std::string const& text) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.size());
  std::memcpy(bytes, text.data(), text.size());
  return surveyor_string{bytes, static_cast<unsigned long>(text.size())};
}

void* Allocate(unsigned long size) { return Allocate_Surveyor_Memory(size); }

// "test dns name": the DNS domain, through the network interface.
surveyor_string TestDnsName() {
  char* text = nullptr;
  if (!CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate)) throw NoSuchObject();
  return Copy(text);
}

// "test storage folder": the path the host hands the library's factory.
std::string madePath;
char token;
FileLocation* KeepPath(char const* path) {
  madePath = path;
  return reinterpret_cast<FileLocation*>(&token);
}
surveyor_string TestStorageFolder() {
  madePath.clear();
  CallContext<&SurveyorStorageContext::GetStorageFolder>(&KeepPath);
  return Copy(madePath);
}

// "test lacking interface": needs an interface that no host offers.
class TestOnlyInterface {
 public:
  virtual int Answer() { return 1; }

 protected:
  ~TestOnlyInterface() = default;
};

integer TestLackingInterface() {
  TestOnlyInterface& interface = ContextInterface<TestOnlyInterface>();
  long long const answer = interface.Answer();
  return integer{answer};
}

class SessionContextTest : public ::testing::Test {
 protected:
  SessionContextTest() {
    char const* const saved = std::getenv("LOCALDOMAIN");
    hadLocalDomain = saved != nullptr;
    if (hadLocalDomain) localDomain = saved;
    setenv("LOCALDOMAIN", "query.example", 1);
  }
  ~SessionContextTest() override {
    if (hadLocalDomain) {
      setenv("LOCALDOMAIN", localDomain.c_str(), 1);
    } else {
      unsetenv("LOCALDOMAIN");
    }
  }

  // The one value of a query, or the error's kind and message.
  std::string Ask(std::string const& query) {
    Answer const answer = session.Evaluate(query);
    if (answer.error) {
      return std::string("error ") + survey::host::ErrorKindName(answer.error->Kind()) + ": " +
             answer.error->what();
    }
    if (answer.values.size() != 1) return "values: " + std::to_string(answer.values.size());
    return answer.values[0].text;
  }

  Session session;
  Registry::Scope registryScope{session.GetHost().GetRegistry()};
  Prop dnsName{Using<GlobalProperty<surveyor_string>>,
               "test dns name",
               "test dns names",
               "",
               "",
               "string",
               &TestDnsName,
               nullptr};
  Prop storageFolder{Using<GlobalProperty<surveyor_string>>,
                     "test storage folder",
                     "test storage folders",
                     "",
                     "",
                     "string",
                     &TestStorageFolder,
                     nullptr};
  Prop actionCount{Using<GlobalProperty<integer>>,
                   "test lacking interface",
                   "test lacking interfaces",
                   "",
                   "",
                   "integer",
                   &TestLackingInterface,
                   nullptr};
  bool hadLocalDomain = false;
  std::string localDomain;
};

TEST_F(SessionContextTest, AQueryReachesTheNetworkInterface) {
  EXPECT_EQ("query.example", Ask("test dns name"));
}

TEST_F(SessionContextTest, AQueryReachesTheClientFolder) {
  char pattern[] = "/tmp/survey-session-test-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(pattern));
  std::string const root = std::string(pattern) + "/client";
  session.SetClientFolder(std::make_shared<ClientFolder>(root));
  EXPECT_EQ(root + "/__QRVData", Ask("test storage folder"));
  EXPECT_TRUE(session.GetClientFolder()->Prepared());
  std::string const remove = std::string("rm -rf '") + pattern + "'";
  EXPECT_EQ(0, std::system(remove.c_str()));
}

TEST_F(SessionContextTest, WithoutAClientFolderTheStorageCannotAnswer) {
  std::string const answer = Ask("test storage folder");
  EXPECT_EQ(0u, answer.find("error not available")) << answer;
  EXPECT_NE(std::string::npos, answer.find("the storage context does not answer that")) << answer;
}

TEST_F(SessionContextTest, AnInterfaceTheHostLacksIsNotAvailable) {
  std::string const answer = Ask("test lacking interface");
  EXPECT_EQ(0u, answer.find("error not available")) << answer;
  EXPECT_NE(std::string::npos, answer.find("this host has no context for it")) << answer;
}

}  // namespace
