// The host's evaluation context: the client folder behind the storage
// interface, the DNS domain behind the network interface, yielding, the
// application table, and the interfaces it leaves out.

#include "host/client/context.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "host/client/client_folder.h"
#include "host/client/client_state.h"
#include "host/client/dns_domain.h"
#include "host/client/process_table_context.h"
#include "host/client/storage_context.h"
#include "host/engine/errors.h"
#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/frame/contexts.h"
#include "tests/support/context_test.h"
#include "tests/support/shell.h"

namespace {

using survey::client::ClientContext;
using survey::client::ClientFolder;
using survey::client::ClientFolderError;
using survey::client::ClientState;
using survey::client::ProcessTableContext;
using survey::client::StorageContext;
using survey::host::ErrorKind;
using survey::host::Evaluation;
using survey::host::EvaluationError;
using survey::host::Registry;
using survey::testing::ScratchFolder;

// What `stat` says of a path: "directory", "regular file" and so on, or
// empty when there is nothing there.
std::string KindOf(std::string const& path) {
  std::string text = survey::testing::Output("stat -c %F '" + path + "' 2>/dev/null");
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// The library's factory, as a test stands it in: it keeps the path it is
// given and hands back a token, which the test never follows.
std::vector<std::string> madeLocations;
char locationToken;
FileLocation* RecordLocation(char const* path) {
  madeLocations.emplace_back(path);
  return reinterpret_cast<FileLocation*>(&locationToken);
}

void* Allocate(unsigned long size) { return Allocate_Surveyor_Memory(size); }

class ClientContextTest : public survey::testing::ContextTest {
 protected:
  ClientContextTest() { madeLocations.clear(); }

  ScratchFolder scratch;
};

// ---------------------------------------------------------------------------
// The client folder.

TEST_F(ClientContextTest, AFreshClientFolderIsMadeWithItsLayoutOnFirstUse) {
  std::string const root = scratch.Path() + "/state/survey/client";
  ClientFolder folder(root);
  EXPECT_EQ("", KindOf(root)) << "nothing is made before it is used";
  ClientContext context(&folder);
  Within(&context, [&] {
    FileLocation* const location =
        CallContext<&SurveyorStorageContext::GetStorageFolder>(&RecordLocation);
    EXPECT_EQ(reinterpret_cast<FileLocation*>(&locationToken), location);
  });
  ASSERT_EQ(1u, madeLocations.size());
  EXPECT_EQ(root + "/__QRVData", madeLocations[0]);
  EXPECT_EQ("directory", KindOf(root));
  EXPECT_EQ("directory", KindOf(root + "/__QRVData"));
  EXPECT_EQ("directory", KindOf(root + "/__QRVData/UsageData"));
  EXPECT_EQ("directory", KindOf(root + "/__Global"));
  struct stat status {};
  ASSERT_EQ(0, stat(root.c_str(), &status));
  EXPECT_EQ(0700u, status.st_mode & 0777u) << "the client folder is private to its user";
}

TEST_F(ClientContextTest, AnExistingClientFolderIsKeptAsItIs) {
  std::string const root = scratch.Path() + "/client";
  ASSERT_EQ(0, mkdir(root.c_str(), 0755));
  ASSERT_EQ(0, mkdir((root + "/__QRVData").c_str(), 0755));
  std::ofstream(root + "/__QRVData/info.dmi") << "kept";
  ClientFolder folder(root);
  folder.Prepare();
  EXPECT_TRUE(folder.Prepared());
  std::ifstream in(root + "/__QRVData/info.dmi");
  std::string kept;
  in >> kept;
  EXPECT_EQ("kept", kept);
  EXPECT_EQ("directory", KindOf(root + "/__QRVData/UsageData"));
  EXPECT_EQ("directory", KindOf(root + "/__Global"));
}

TEST_F(ClientContextTest, ARelativeClientFolderIsTakenFromTheWorkingFolder) {
  char working[PATH_MAX];
  ASSERT_NE(nullptr, getcwd(working, sizeof working));
  ClientFolder folder("some/client/");
  EXPECT_EQ(std::string(working) + "/some/client", folder.Root());
  EXPECT_EQ(std::string(working) + "/some/client/__QRVData", folder.StorageFolder());
}

TEST_F(ClientContextTest, AFolderUnderAFileCannotBeMade) {
  std::string const file = scratch.Path() + "/plain";
  std::ofstream(file) << "x";
  ClientFolder folder(file + "/client");
  try {
    folder.Prepare();
    ADD_FAILURE() << "a client folder under a file was accepted";
  } catch (ClientFolderError const& error) {
    std::string const message = error.what();
    EXPECT_NE(std::string::npos, message.find(file + "/client")) << message;
    EXPECT_NE(std::string::npos, message.find(file + " is not a folder")) << message;
  }
  EXPECT_FALSE(folder.Prepared());
}

TEST_F(ClientContextTest, AFileIsNotAClientFolder) {
  std::string const file = scratch.Path() + "/plain";
  std::ofstream(file) << "x";
  ClientFolder folder(file);
  try {
    folder.Prepare();
    ADD_FAILURE() << "a file was accepted as the client folder";
  } catch (ClientFolderError const& error) {
    EXPECT_NE(std::string::npos, std::string(error.what()).find("is not a folder")) << error.what();
  }
}

TEST_F(ClientContextTest, AReadOnlyClientFolderIsRefused) {
  if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
  std::string const root = scratch.Path() + "/client";
  ClientFolder made(root);
  made.Prepare();
  ASSERT_EQ(0, chmod((root + "/__QRVData").c_str(), 0500));
  ClientFolder folder(root);
  EXPECT_THROW(folder.Prepare(), ClientFolderError);
  chmod((root + "/__QRVData").c_str(), 0700);
}

TEST_F(ClientContextTest, AFolderThatCannotBeMadeIsAClearEvaluationError) {
  std::string const file = scratch.Path() + "/plain";
  std::ofstream(file) << "x";
  ClientFolder folder(file + "/client");
  ClientContext context(&folder);
  Within(&context, [&] {
    try {
      CallContext<&SurveyorStorageContext::GetStorageFolder>(&RecordLocation);
      ADD_FAILURE() << "no error";
    } catch (EvaluationError const& error) {
      EXPECT_EQ(ErrorKind::kNotAvailable, error.Kind());
      EXPECT_NE(std::string::npos, std::string(error.what()).find(file + "/client"));
    }
  });
  EXPECT_TRUE(madeLocations.empty());
}

TEST_F(ClientContextTest, TheDefaultClientFolderLiesInTheUsersStateFolder) {
  char const* const savedState = std::getenv("XDG_STATE_HOME");
  char const* const savedHome = std::getenv("HOME");
  std::string const state = savedState != nullptr ? savedState : "";
  std::string const home = savedHome != nullptr ? savedHome : "";
  setenv("XDG_STATE_HOME", "/var/tmp/state", 1);
  EXPECT_EQ("/var/tmp/state/survey/client", ClientFolder::DefaultRoot());
  setenv("XDG_STATE_HOME", "relative/state", 1);  // not absolute: not used
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ("/home/someone/.local/state/survey/client", ClientFolder::DefaultRoot());
  unsetenv("XDG_STATE_HOME");
  EXPECT_EQ("/home/someone/.local/state/survey/client", ClientFolder::DefaultRoot());
  if (savedState != nullptr) setenv("XDG_STATE_HOME", state.c_str(), 1);
  if (savedHome != nullptr) {
    setenv("HOME", home.c_str(), 1);
  } else {
    unsetenv("HOME");
  }
}

// ---------------------------------------------------------------------------
// Storage slots.

TEST_F(ClientContextTest, SiteFoldersLieInTheSitesFolderOneNameEach) {
  std::string const root = scratch.Path() + "/client";
  ClientFolder folder(root);
  ClientContext context(&folder);
  Within(&context, [&] {
    CallContext<&SurveyorStorageContext::GetClientSiteFolder>(&RecordLocation, "Updates");
    CallContext<&SurveyorStorageContext::GetClientSiteFolder>(&RecordLocation, "../a/b%c");
    CallContext<&SurveyorStorageContext::GetSiteDataFolder>(&RecordLocation,
                                                            (root + "/__Global/Updates").c_str());
    EXPECT_THROW(CallContext<&SurveyorStorageContext::GetClientSiteFolder>(&RecordLocation, ""),
                 NoSuchObject);
  });
  ASSERT_EQ(3u, madeLocations.size());
  EXPECT_EQ(root + "/__Global/Updates", madeLocations[0]);
  // '.', '/' and '%' are written as %2E, %2F and %25: the name stays one
  // folder right inside the sites folder.
  EXPECT_EQ(root + "/__Global/%2E.%2Fa%2Fb%25c", madeLocations[1]);
  EXPECT_EQ(root + "/__Global/Updates", madeLocations[2]);
  // The site folders themselves are made by whoever fills them.
  EXPECT_EQ("", KindOf(root + "/__Global/Updates"));
  EXPECT_EQ("directory", KindOf(root + "/__Global"));
}

TEST_F(ClientContextTest, TheClientFileIsTheRunningProgram) {
  ClientContext context(nullptr);
  std::string const expected = []() {
    FILE* const pipe = popen("readlink -f /proc/$PPID/exe", "r");
    char buffer[PATH_MAX + 1] = {};
    if (pipe == nullptr || std::fgets(buffer, sizeof buffer, pipe) == nullptr) return std::string();
    pclose(pipe);
    std::string text = buffer;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }();
  ASSERT_FALSE(expected.empty());
  Within(&context, [&] {
    char const* const file = CallContext<&SurveyorStorageContext::GetClientFile>();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(expected, file);
  });
}

TEST_F(ClientContextTest, WithoutAClientFolderTheFolderSlotsCannotAnswer) {
  ClientContext context(nullptr);
  Within(&context, [&] {
    EXPECT_THROW(CallContext<&SurveyorStorageContext::GetStorageFolder>(&RecordLocation),
                 SurveyorStorageContextError);
    EXPECT_THROW(CallContext<&SurveyorStorageContext::GetClientSiteFolder>(&RecordLocation, "x"),
                 SurveyorStorageContextError);
  });
  EXPECT_TRUE(madeLocations.empty());
}

// ---------------------------------------------------------------------------
// The interfaces the context offers, and those it leaves out.

TEST_F(ClientContextTest, OffersTheInterfacesOfTheClientsRecordsAndNoUsageLog) {
  ClientFolder folder(scratch.Path() + "/client");
  ClientContext context(&folder);
  Within(&context, [&] {
    EXPECT_NE(nullptr, FindContextInterface<SurveyorStorageContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorNetworkContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorYieldContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorProcessTableContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorSettingsContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorSiteContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorActionContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorNudgeContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorSystemContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorAnalysisContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorFipsContext>());
    EXPECT_NE(nullptr, FindContextInterface<WakeOnLanContext>());
    EXPECT_NE(nullptr, FindContextInterface<SurveyorServerContext>());
    EXPECT_NE(nullptr, FindContextInterface<PendingRestartSurveyorContext>());
    EXPECT_EQ(&context, ClientContext::Current());
    // An empty folder has no current action and no analysis.
    SurveyorActionData action{};
    EXPECT_FALSE(CallContext<&SurveyorActionContext::GetCurrentAction>(&action));
    SurveyorAnalysisData analysis{};
    EXPECT_FALSE(CallContext<&SurveyorAnalysisContext::GetCurrentAnalysis>(&analysis));
    // The usage log is read from the records and the statistics files.
    EXPECT_NE(nullptr, ContextSlot<&SurveyorProcessTableContext::ReadNextExecution>());
    EXPECT_NE(nullptr, ContextSlot<&SurveyorProcessTableContext::GetApplicationUsageSummary>());
    EXPECT_THROW(ContextSlot<&SurveyorSettingsContext::unused3>(), SurveyorSettingsContextError);
    EXPECT_THROW(ContextSlot<&SurveyorNudgeContext::unused5>(), SurveyorNudgeContextError);
    EXPECT_NE(nullptr, FindContextInterface<CryptoSurveyorContext>());
  });
}

TEST_F(ClientContextTest, WithoutAFolderTheSlotsOfTheRecordsAreNull) {
  ClientContext context(nullptr);
  Within(&context, [&] {
    EXPECT_THROW(ContextSlot<&SurveyorActionContext::GetCurrentAction>(),
                 SurveyorActionContextError);
    EXPECT_THROW(ContextSlot<&SurveyorNudgeContext::IsEvaluationBlocked>(),
                 SurveyorNudgeContextError);
    EXPECT_THROW(ContextSlot<&SurveyorSystemContext::GetSystemData>(), SurveyorSystemContextError);
    EXPECT_THROW(ContextSlot<&SurveyorProcessTableContext::ReadNextExecution>(),
                 SurveyorProcessTableContextError);
    EXPECT_THROW(ContextSlot<&SurveyorProcessTableContext::GetApplicationUsageSummary>(),
                 SurveyorProcessTableContextError);
    EXPECT_THROW(ContextSlot<&SurveyorFipsContext::FipsMode>(), SurveyorContextError);
    EXPECT_THROW(ContextSlot<&WakeOnLanContext::SubnetCidrString>(), SurveyorContextError);
    SurveyorServerRecord record{};
    ContextInterface<SurveyorServerContext>().GetServerRecord(record);
    EXPECT_EQ(0u, record.computerId);
    EXPECT_FALSE(ContextInterface<PendingRestartSurveyorContext>().IsRestartPending());
  });
}

// A context of two parts alone over a state of its own: each part serves its
// interface without the others, and both read the one state.
class StorageAndTableContext : public SurveyorContext,
                               public StorageContext,
                               public ProcessTableContext {
 public:
  explicit StorageAndTableContext(ClientState& state)
      : StorageContext(state), ProcessTableContext(state) {}
};

TEST_F(ClientContextTest, PartsServeTheirInterfacesOverOneStateWithoutTheOthers) {
  std::string const root = scratch.Path() + "/client";
  ClientFolder folder(root);
  ClientState state(&folder);
  StorageAndTableContext context(state);
  Within(&context, [&] {
    CallContext<&SurveyorStorageContext::GetStorageFolder>(&RecordLocation);
    EXPECT_EQ(state.Applications().Generation(),
              CallContext<&SurveyorProcessTableContext::GetTableSerial>());
    EXPECT_EQ(nullptr, FindContextInterface<SurveyorNetworkContext>());
    EXPECT_EQ(nullptr, FindContextInterface<SurveyorYieldContext>());
    char* text = nullptr;
    EXPECT_THROW(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate),
                 NoSurveyorContext);
    EXPECT_EQ(nullptr, survey::client::ClientContext::Current());
  });
  ASSERT_EQ(1u, madeLocations.size());
  EXPECT_EQ(root + "/__QRVData", madeLocations[0]);
  EXPECT_TRUE(folder.Prepared()) << "the storage part made the state's folder";
}

TEST_F(ClientContextTest, YieldAndTrickleReturn) {
  ClientContext context(nullptr);
  Within(&context, [&] {
    YieldTimeSlice();
    Trickle();
  });
}

// ---------------------------------------------------------------------------
// The DNS domain.

TEST(DnsDomainTest, TheLastDomainOrSearchLineWins) {
  using survey::client::DnsDomainOfResolverConfiguration;
  EXPECT_EQ("example.org", DnsDomainOfResolverConfiguration("nameserver 10.0.0.1\n"
                                                            "domain example.org\n"));
  EXPECT_EQ("b.example", DnsDomainOfResolverConfiguration("domain a.example\n"
                                                          "search b.example c.example\n"));
  EXPECT_EQ("a.example", DnsDomainOfResolverConfiguration("search b.example c.example\n"
                                                          "domain\ta.example\n"));
  EXPECT_EQ("", DnsDomainOfResolverConfiguration("nameserver 10.0.0.1\noptions ndots:2\n"));
  EXPECT_EQ("", DnsDomainOfResolverConfiguration(""));
}

TEST(DnsDomainTest, CommentsEmptyLinesAndLookAlikesDoNotCount) {
  using survey::client::DnsDomainOfResolverConfiguration;
  EXPECT_EQ("kept.example", DnsDomainOfResolverConfiguration("domain kept.example\n"
                                                             "# domain commented.example\n"
                                                             "; search other.example\n"
                                                             "domain\n"
                                                             "domains wrong.example\n"
                                                             " domain indented.example\n"));
  // A final dot marks an absolute name and is not part of the domain.
  EXPECT_EQ("example.net", DnsDomainOfResolverConfiguration("search example.net.\r\n"));
  // A last line without a line end counts.
  EXPECT_EQ("last.example",
            DnsDomainOfResolverConfiguration("domain a.example\nsearch last.example"));
}

TEST(DnsDomainTest, TheHostNameGivesWhatFollowsItsFirstDot) {
  using survey::client::DnsDomainOfHostName;
  EXPECT_EQ("lab.example.com", DnsDomainOfHostName("build7.lab.example.com"));
  EXPECT_EQ("", DnsDomainOfHostName("build7"));
  EXPECT_EQ("", DnsDomainOfHostName("build7."));
}

TEST(DnsDomainTest, TheMachinesDomainFollowsTheResolversOrder) {
  ScratchFolder scratch;
  std::string const configuration = scratch.Path() + "/resolv.conf";
  std::ofstream(configuration) << "nameserver 192.0.2.1\nsearch corp.example\n";
  char const* const saved = std::getenv("LOCALDOMAIN");
  std::string const kept = saved != nullptr ? saved : "";
  unsetenv("LOCALDOMAIN");
  EXPECT_EQ("corp.example", survey::client::MachineDnsDomain(configuration.c_str()));
  setenv("LOCALDOMAIN", "override.example other.example", 1);
  EXPECT_EQ("override.example", survey::client::MachineDnsDomain(configuration.c_str()));
  unsetenv("LOCALDOMAIN");
  // Without a configuration that names one, the host name decides.
  std::string const hostName = []() {
    char name[1024] = {};
    gethostname(name, sizeof name - 1);
    return std::string(name);
  }();
  EXPECT_EQ(survey::client::DnsDomainOfHostName(hostName),
            survey::client::MachineDnsDomain((scratch.Path() + "/missing").c_str()));
  if (saved != nullptr) setenv("LOCALDOMAIN", kept.c_str(), 1);
}

TEST_F(ClientContextTest, TheDnsNameComesThroughTheNetworkSlot) {
  char const* const saved = std::getenv("LOCALDOMAIN");
  std::string const kept = saved != nullptr ? saved : "";
  setenv("LOCALDOMAIN", "slot.example", 1);
  ClientContext context(nullptr);
  Evaluation evaluation(Registry::Default(), &context);
  Evaluation::Scope scope(evaluation);
  std::size_t const before = evaluation.GetArena().BytesInUse();
  char* text = nullptr;
  EXPECT_TRUE(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate));
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("slot.example", text);
  EXPECT_GE(evaluation.GetArena().BytesInUse(), before + 13)
      << "the text is in the evaluation's memory";
  if (saved != nullptr) {
    setenv("LOCALDOMAIN", kept.c_str(), 1);
  } else {
    unsetenv("LOCALDOMAIN");
  }
}

}  // namespace
