// Reaching the host's context interfaces, the dependency functions and nodes
// built on them, and yielding.

#include "survey/frame/contexts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"

namespace {

using survey::host::DependencyNodeEntry;
using survey::host::Evaluation;
using survey::host::Registry;

// What a command prints, without the line end at its end.
std::string Output(char const* command) {
  std::string text;
  FILE* const pipe = popen(command, "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return text;
  }
  char buffer[512];
  std::size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, count);
  EXPECT_EQ(0, pclose(pipe)) << command;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// The digest of what a function folds in.
template <class Fold>
std::uint64_t DigestOf(Fold fold) {
  Fingerprinter fingerprinter;
  fold(fingerprinter);
  return fingerprinter.Digest();
}

// Whether a function folds anything in at all.
template <class Fold>
bool FoldsAnything(Fold fold) {
  Fingerprinter fingerprinter;
  fold(fingerprinter);
  return fingerprinter.Touched();
}

template <class T>
std::uint64_t DigestOfValues(T first, T second) {
  Fingerprinter fingerprinter;
  fingerprinter.Add(&first, sizeof first);
  fingerprinter.Add(&second, sizeof second);
  return fingerprinter.Digest();
}

template <class T>
std::uint64_t DigestOfValue(T value) {
  Fingerprinter fingerprinter;
  fingerprinter.Add(&value, sizeof value);
  return fingerprinter.Digest();
}

// ---------------------------------------------------------------------------
// The host's side, as a test sets it up. Slots are free functions that get no
// context, so what they answer lives in these variables.

int calls = 0;
SurveyorContext* yieldedWith = nullptr;
SurveyorContext* trickledWith = nullptr;
int yields = 0;
int trickles = 0;
bool hasCurrentAction = true;
unsigned short firstActiveCount = 0;
unsigned short activeCount = 0;
bool hasAnalysis = true;
long long analysisTime = 0;
unsigned long siteSerial = 0;
unsigned long tableSerial = 0;

bool DnsName(char** result, SurveyorTextAllocator allocate) {
  ++calls;
  auto* const text = static_cast<char*>(allocate(12));
  std::memcpy(text, "example.org", 12);
  *result = text;
  return true;
}

void* Allocate(unsigned long size) { return Allocate_Surveyor_Memory(size); }

bool CurrentAction(SurveyorActionData* action) {
  ++calls;
  if (!hasCurrentAction) {
    // A host may leave what it pleases in a record it does not fill.
    action->firstActiveCount = 0xBEEF;
    action->activeCount = 0xCAFE;
    return false;
  }
  action->firstActiveCount = firstActiveCount;
  action->activeCount = activeCount;
  return true;
}

bool CurrentAnalysis(SurveyorAnalysisData* analysis) {
  ++calls;
  if (!hasAnalysis) return false;
  analysis->time = analysisTime;
  return true;
}

unsigned long SiteSerial() { return siteSerial; }
unsigned long TableSerial() { return tableSerial; }

void Yield(SurveyorContext* context) {
  ++yields;
  yieldedWith = context;
}

void Trickles(SurveyorContext* context) {
  ++trickles;
  trickledWith = context;
}

// A context that offers nothing at all.
struct BareContext : SurveyorContext {};

// A context that offers every interface with slots, each slot null until a
// test fills it in.
struct FullContext : SurveyorContext,
                     SurveyorNudgeContext,
                     SurveyorActionContext,
                     SurveyorAnalysisContext,
                     SurveyorSettingsContext,
                     SurveyorSystemContext,
                     SurveyorStorageContext,
                     SurveyorNetworkContext,
                     SurveyorSiteContext,
                     SurveyorProcessTableContext,
                     SurveyorYieldContext,
                     SurveyorFipsContext,
                     WakeOnLanContext {};

// A context whose server record carries a computer identifier.
struct ServerContext : SurveyorContext, SurveyorServerContext {
  void GetServerRecord(SurveyorServerRecord& record) override {
    ++calls;
    // What the library hands over: a cleared record whose buffers point into
    // their own bytes.
    cleared = record.apparentServerTime == 0 && record.computerId == 0 &&
              record.rootServerName[0] == '\0' && record.hostRest[0] == 0;
    buffersReady = true;
    for (SurveyorServerBuffer const& buffer : record.buffers) {
      buffersReady = buffersReady && buffer.begin == buffer.bytes &&
                     buffer.current == buffer.bytes &&
                     buffer.end == buffer.bytes + sizeof buffer.bytes;
    }
    record.computerId = computerId;
  }
  unsigned long long computerId = 0;
  bool cleared = false;
  bool buffersReady = false;
};

class ContextsTest : public ::testing::Test {
 protected:
  ContextsTest() {
    calls = yields = trickles = 0;
    yieldedWith = trickledWith = nullptr;
    hasCurrentAction = hasAnalysis = true;
    firstActiveCount = activeCount = 0;
    analysisTime = 0;
    siteSerial = tableSerial = 0;
  }

  // Runs `body` inside an evaluation whose context is `context`.
  template <class Body>
  void Within(SurveyorContext* context, Body body) {
    Evaluation evaluation(Registry::Default(), context);
    Evaluation::Scope scope(evaluation);
    body();
  }
};

// ---------------------------------------------------------------------------
// The reaching pattern.

TEST_F(ContextsTest, WithoutAnyContextAPropertyThrowsNoSurveyorContext) {
  ASSERT_EQ(nullptr, Get_Generic_Surveyor_Context());
  char* text = nullptr;
  EXPECT_THROW(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate),
               NoSurveyorContext);
  EXPECT_THROW(ContextInterface<SurveyorServerContext>(), NoSurveyorContext);
  EXPECT_EQ(nullptr, FindContextInterface<SurveyorStorageContext>());
  // An evaluation without a context is the same as none.
  Within(nullptr, [&] {
    EXPECT_THROW(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate),
                 NoSurveyorContext);
  });
}

TEST_F(ContextsTest, AContextWithoutTheInterfaceThrowsNoSurveyorContext) {
  BareContext bare;
  Within(&bare, [&] {
    ASSERT_EQ(&bare, Get_Generic_Surveyor_Context());
    char* text = nullptr;
    EXPECT_THROW(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate),
                 NoSurveyorContext);
    EXPECT_THROW(ContextInterface<CryptoSurveyorContext>(), NoSurveyorContext);
    EXPECT_THROW(CallContext<&SurveyorSiteContext::GetSiteListSerial>(), NoSurveyorContext);
  });
}

// A null slot throws `Error`, and nothing else: not NoSurveyorContext.
template <auto Slot, class Error, class... Arguments>
void ExpectOwnError(Arguments... arguments) {
  bool ownError = false;
  try {
    CallContext<Slot>(arguments...);
  } catch (NoSurveyorContext const&) {
    ADD_FAILURE() << "NoSurveyorContext for a null slot of " << typeid(Error).name();
  } catch (Error const&) {
    ownError = true;
  } catch (...) {
    ADD_FAILURE() << "another exception for a null slot of " << typeid(Error).name();
  }
  EXPECT_TRUE(ownError) << typeid(Error).name();
}

TEST_F(ContextsTest, ANullSlotThrowsTheInterfacesOwnError) {
  FullContext context;
  Within(&context, [&] {
    char* text = nullptr;
    SurveyorActionData action{};
    SurveyorAnalysisData analysis{};
    SurveyorSystemData system{};
    ExpectOwnError<&SurveyorNudgeContext::IsEvaluationBlocked, SurveyorNudgeContextError>();
    ExpectOwnError<&SurveyorActionContext::GetCurrentAction, SurveyorActionContextError>(&action);
    ExpectOwnError<&SurveyorAnalysisContext::GetCurrentAnalysis, SurveyorAnalysisContextError>(
        &analysis);
    ExpectOwnError<&SurveyorSettingsContext::GetClientSettingStore, SurveyorSettingsContextError>();
    ExpectOwnError<&SurveyorSystemContext::GetSystemData, SurveyorSystemContextError>(&system);
    ExpectOwnError<&SurveyorStorageContext::GetClientFile, SurveyorStorageContextError>();
    ExpectOwnError<&SurveyorNetworkContext::GetDnsName, SurveyorNetworkContextError>(&text,
                                                                                     &Allocate);
    ExpectOwnError<&SurveyorSiteContext::GetSiteListSerial, SurveyorSiteContextError>();
    ExpectOwnError<&SurveyorProcessTableContext::GetTableSerial,
                   SurveyorProcessTableContextError>();
    // Interfaces without an error class of their own throw the common base.
    ExpectOwnError<&WakeOnLanContext::SubnetCidrString, SurveyorContextError>();
    ExpectOwnError<&SurveyorFipsContext::FipsMode, SurveyorContextError>();
  });
  EXPECT_EQ(0, calls);
}

TEST_F(ContextsTest, EachErrorClassDerivesFromTheCommonBase) {
  EXPECT_THROW(throw SurveyorNudgeContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorActionContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorAnalysisContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorSettingsContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorSystemContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorStorageContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorNetworkContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorSiteContextError(), SurveyorContextError);
  EXPECT_THROW(throw SurveyorProcessTableContextError(), SurveyorContextError);
}

TEST_F(ContextsTest, APresentSlotIsCalledWithTheArgumentsAndGivesItsResult) {
  FullContext context;
  context.GetDnsName = &DnsName;
  Within(&context, [&] {
    char* text = nullptr;
    EXPECT_TRUE(CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate));
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("example.org", text);
  });
  EXPECT_EQ(1, calls);
}

TEST_F(ContextsTest, AVirtualInterfaceIsReachedThroughTheCast) {
  ServerContext servers;
  Within(&servers, [&] {
    EXPECT_EQ(static_cast<SurveyorServerContext*>(&servers),
              &ContextInterface<SurveyorServerContext>());
    EXPECT_EQ(nullptr, FindContextInterface<SurveyorNetworkContext>());
  });
}

// ---------------------------------------------------------------------------
// Dependency functions of the site list and the process table.

TEST_F(ContextsTest, SiteListDependencyThrowsWithoutContextOrInterface) {
  Fingerprinter fingerprinter;
  EXPECT_THROW(DependsOnSiteList(fingerprinter), NoSurveyorContext);
  BareContext bare;
  Within(&bare, [&] { EXPECT_THROW(DependsOnSiteList(fingerprinter), NoSurveyorContext); });
  FullContext context;
  Within(&context,
         [&] { EXPECT_THROW(DependsOnSiteList(fingerprinter), SurveyorSiteContextError); });
  EXPECT_FALSE(fingerprinter.Touched());
}

TEST_F(ContextsTest, SiteListDependencyFoldsTheGeneration) {
  FullContext context;
  context.GetSiteListSerial = &SiteSerial;
  Within(&context, [&] {
    siteSerial = 42;
    EXPECT_EQ(DigestOfValue<unsigned long>(42), DigestOf(&DependsOnSiteList));
    siteSerial = 43;
    EXPECT_EQ(DigestOfValue<unsigned long>(43), DigestOf(&DependsOnSiteList));
  });
}

TEST_F(ContextsTest, ProcessTableDependencyThrowsWithoutContextOrInterface) {
  Fingerprinter fingerprinter;
  EXPECT_THROW(DependsOnProcessTable(fingerprinter), NoSurveyorContext);
  BareContext bare;
  Within(&bare, [&] { EXPECT_THROW(DependsOnProcessTable(fingerprinter), NoSurveyorContext); });
  FullContext context;
  Within(&context, [&] {
    EXPECT_THROW(DependsOnProcessTable(fingerprinter), SurveyorProcessTableContextError);
  });
  EXPECT_FALSE(fingerprinter.Touched());
}

TEST_F(ContextsTest, ProcessTableDependencyFoldsTheGeneration) {
  FullContext context;
  context.GetTableSerial = &TableSerial;
  Within(&context, [&] {
    tableSerial = 7;
    EXPECT_EQ(DigestOfValue<unsigned long>(7), DigestOf(&DependsOnProcessTable));
    tableSerial = 8;
    EXPECT_EQ(DigestOfValue<unsigned long>(8), DigestOf(&DependsOnProcessTable));
  });
}

// ---------------------------------------------------------------------------
// Dependency nodes.

TEST_F(ContextsTest, NodeFunctionsReturnInSilenceWithoutAContext) {
  EXPECT_FALSE(FoldsAnything(&CurrentActionNodeState));
  EXPECT_FALSE(FoldsAnything(&CurrentAnalysisNodeState));
  EXPECT_FALSE(FoldsAnything(&ComputerIDNodeState));
  BareContext bare;
  Within(&bare, [&] {
    EXPECT_FALSE(FoldsAnything(&CurrentActionNodeState));
    EXPECT_FALSE(FoldsAnything(&CurrentAnalysisNodeState));
    EXPECT_FALSE(FoldsAnything(&ComputerIDNodeState));
  });
  EXPECT_EQ(0, calls);
}

TEST_F(ContextsTest, CurrentActionWithANullSlotThrowsTheActionError) {
  FullContext context;
  Within(&context, [&] {
    Fingerprinter fingerprinter;
    EXPECT_THROW(CurrentActionNodeState(fingerprinter), SurveyorActionContextError);
  });
}

TEST_F(ContextsTest, CurrentActionFoldsBothCounts) {
  FullContext context;
  context.GetCurrentAction = &CurrentAction;
  Within(&context, [&] {
    firstActiveCount = 3;
    activeCount = 7;
    EXPECT_EQ(DigestOfValues<unsigned short>(3, 7), DigestOf(&CurrentActionNodeState));
    firstActiveCount = 7;
    activeCount = 3;
    EXPECT_EQ(DigestOfValues<unsigned short>(7, 3), DigestOf(&CurrentActionNodeState));
  });
  EXPECT_EQ(2, calls);
}

TEST_F(ContextsTest, NoCurrentActionFoldsZeroForTheFirstCountAndTheSecondAsLeft) {
  FullContext context;
  context.GetCurrentAction = &CurrentAction;
  hasCurrentAction = false;
  Within(&context, [&] {
    EXPECT_TRUE(FoldsAnything(&CurrentActionNodeState));
    EXPECT_EQ(DigestOfValues<unsigned short>(0, 0xCAFE), DigestOf(&CurrentActionNodeState));
    EXPECT_NE(Fingerprinter().Digest(), DigestOf(&CurrentActionNodeState));
  });
}

TEST_F(ContextsTest, CurrentAnalysisFoldsItsTimeAndZeroForNone) {
  FullContext context;
  Within(&context, [&] {
    Fingerprinter fingerprinter;
    EXPECT_THROW(CurrentAnalysisNodeState(fingerprinter), SurveyorAnalysisContextError);
  });
  context.GetCurrentAnalysis = &CurrentAnalysis;
  Within(&context, [&] {
    analysisTime = 1187000000123456LL;
    EXPECT_EQ(DigestOfValue<long long>(1187000000123456LL), DigestOf(&CurrentAnalysisNodeState));
    hasAnalysis = false;
    EXPECT_EQ(DigestOfValue<long long>(0), DigestOf(&CurrentAnalysisNodeState));
  });
}

TEST_F(ContextsTest, ComputerIDFoldsTheIdentifierOfTheServerRecord) {
  ServerContext servers;
  servers.computerId = 0x1122334455667788ULL;
  Within(&servers, [&] {
    EXPECT_EQ(DigestOfValue<unsigned long long>(0x1122334455667788ULL),
              DigestOf(&ComputerIDNodeState));
  });
  EXPECT_TRUE(servers.cleared);
  EXPECT_TRUE(servers.buffersReady);
  EXPECT_EQ(1, calls);
}

TEST_F(ContextsTest, ComputerNameFoldsTheBytesOfTheHostName) {
  std::string const name = Output("hostname");
  ASSERT_FALSE(name.empty());
  Fingerprinter expected;
  expected.Add(name.data(), name.size());
  // The node does not need a context.
  EXPECT_EQ(expected.Digest(), DigestOf(&ComputerNameNodeState));
}

TEST_F(ContextsTest, TheFiveNodesAreRegisteredWithTheirNodeFunctions) {
  struct Expected {
    char const* name;
    DependencyNode* node;
    SurveyorDependency function;
  };
  Expected const nodes[] = {
      {"CurrentAction", &CurrentActionDependencyNode, &CurrentActionNodeState},
      {"CurrentAnalysis", &CurrentAnalysisDependencyNode, &CurrentAnalysisNodeState},
      {"ComputerID", &ComputerIDDependencyNode, &ComputerIDNodeState},
      {"StableOSProperties", &OSDependencyNode, &OSNodeState},
      {"StableComputerNameProperties", &ComputerNameDependencyNode, &ComputerNameNodeState},
  };
  for (Expected const& expected : nodes) {
    DependencyNodeEntry const* const entry = Registry::Default().FindDependencyNamed(expected.name);
    ASSERT_NE(nullptr, entry) << expected.name;
    EXPECT_EQ(static_cast<void const*>(expected.node), entry->node) << expected.name;
    EXPECT_EQ(expected.function, entry->function) << expected.name;
  }
}

TEST_F(ContextsTest, ANodeDependencyFollowsTheNodesState) {
  FullContext context;
  context.GetCurrentAction = &CurrentAction;
  auto digestNow = [&] {
    std::uint64_t digest = 0;
    Within(&context, [&] { digest = DigestOf(&CurrentActionDependencyNodeFunction); });
    return digest;
  };
  firstActiveCount = 1;
  activeCount = 2;
  std::uint64_t const first = digestNow();
  EXPECT_EQ(first, digestNow());
  activeCount = 3;
  EXPECT_NE(first, digestNow());
}

// A context that has an action, an analysis and a server record.
struct RichContext : SurveyorContext,
                     SurveyorActionContext,
                     SurveyorAnalysisContext,
                     SurveyorServerContext {
  RichContext() {
    GetCurrentAction = &CurrentAction;
    GetCurrentAnalysis = &CurrentAnalysis;
  }
  void GetServerRecord(SurveyorServerRecord& record) override { record.computerId = 99; }
};

TEST_F(ContextsTest, EachNodeDependencyFoldsItsOwnNode) {
  RichContext context;
  firstActiveCount = 4;
  activeCount = 5;
  analysisTime = 6;
  struct Pair {
    SurveyorDependency function;
    DependencyNode* node;
  };
  Pair const pairs[] = {
      {&CurrentActionDependencyNodeFunction, &CurrentActionDependencyNode},
      {&CurrentAnalysisDependencyNodeFunction, &CurrentAnalysisDependencyNode},
      {&ComputerIDDependencyNodeFunction, &ComputerIDDependencyNode},
      {&OSDependencyNodeFunction, &OSDependencyNode},
      {&ComputerNameDependencyNodeFunction, &ComputerNameDependencyNode},
  };
  Within(&context, [&] {
    std::vector<std::uint64_t> digests;
    for (Pair const& pair : pairs) {
      std::uint64_t const digest = DigestOf(pair.function);
      EXPECT_EQ(DigestOf([&](Fingerprinter& f) { Fingerprint_Global(f, pair.node); }), digest);
      for (std::uint64_t const other : digests) EXPECT_NE(other, digest);
      digests.push_back(digest);
    }
  });
}

// ---------------------------------------------------------------------------
// Yielding.

TEST_F(ContextsTest, TrickleAndYieldReturnWithoutAContext) {
  Trickle();
  YieldTimeSlice();
  BareContext bare;
  Within(&bare, [&] {
    Trickle();
    YieldTimeSlice();
  });
  FullContext context;  // both slots null
  Within(&context, [&] {
    Trickle();
    YieldTimeSlice();
  });
  EXPECT_EQ(0, yields);
  EXPECT_EQ(0, trickles);
}

TEST_F(ContextsTest, YieldWithANullFirstSlotDoesNothing) {
  FullContext context;
  context.Trickle = &Trickles;
  Within(&context, [&] { YieldTimeSlice(); });
  EXPECT_EQ(0, yields);
  EXPECT_EQ(0, trickles);
}

// A context whose yield interface lies elsewhere in the object than in a
// `FullContext`, with a slot of its own.
int otherTrickles = 0;
void OtherTrickles(SurveyorContext*) { ++otherTrickles; }
struct YieldFirstContext : SurveyorContext, SurveyorYieldContext, SurveyorNudgeContext {};

TEST_F(ContextsTest, EachContextAtOneAddressIsAnsweredByItsOwnClass) {
  // Contexts of three classes, one after the other in the same storage, so
  // that only the class tells them apart.
  otherTrickles = 0;
  alignas(FullContext) alignas(YieldFirstContext) unsigned char storage[sizeof(FullContext) +
                                                                         sizeof(YieldFirstContext)];
  auto* const full = new (storage) FullContext;
  full->Trickle = &Trickles;
  Within(full, [&] { Trickle(); });
  full->~FullContext();
  auto* const bare = new (storage) BareContext;
  Within(bare, [&] { Trickle(); });
  bare->~BareContext();
  auto* const other = new (storage) YieldFirstContext;
  other->Trickle = &OtherTrickles;
  Within(other, [&] {
    Trickle();
    Trickle();
  });
  ASSERT_EQ(static_cast<void*>(static_cast<SurveyorContext*>(other)),
            static_cast<void*>(static_cast<SurveyorContext*>(full)));
  other->~YieldFirstContext();
  auto* const again = new (storage) FullContext;
  again->Trickle = &Trickles;
  Within(again, [&] { Trickle(); });
  again->~FullContext();
  EXPECT_EQ(2, trickles);
  EXPECT_EQ(2, otherTrickles);
}

TEST_F(ContextsTest, YieldAndTrickleCallTheirSlotWithTheContext) {
  FullContext context;
  context.YieldTimeSlice = &Yield;
  context.Trickle = &Trickles;
  Within(&context, [&] {
    YieldTimeSlice();
    Trickle();
    Trickle();
  });
  EXPECT_EQ(1, yields);
  EXPECT_EQ(2, trickles);
  EXPECT_EQ(static_cast<SurveyorContext*>(&context), yieldedWith);
  EXPECT_EQ(static_cast<SurveyorContext*>(&context), trickledWith);
}

}  // namespace
