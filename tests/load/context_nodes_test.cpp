// The loaded library reaches the host's context across the boundary: its
// dependency nodes and its yield calls find the interfaces of a context
// made on this side, by the cast from `SurveyorContext`.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "host/client/context.h"
#include "host/engine/fingerprint.h"
#include "host/engine/host.h"
#include "tests/load/load_support.h"

namespace {

using survey::host::DependencyNodeEntry;
using survey::host::Evaluation;
using survey::host::Host;
using survey::load_test::LibraryPath;

unsigned short firstActiveCount = 0;
unsigned short activeCount = 0;
int yields = 0;
int trickles = 0;

bool CurrentAction(SurveyorActionData* action) {
  action->firstActiveCount = firstActiveCount;
  action->activeCount = activeCount;
  return true;
}

void Yield(SurveyorContext*) { ++yields; }
void Trickles(SurveyorContext*) { ++trickles; }

struct TestContext : SurveyorContext,
                     SurveyorActionContext,
                     SurveyorYieldContext,
                     SurveyorServerContext {
  TestContext() {
    GetCurrentAction = &CurrentAction;
    YieldTimeSlice = &Yield;
    Trickle = &Trickles;
  }
  void GetServerRecord(SurveyorServerRecord& record) override { record.computerId = 0xABCDEF; }
};

template <class T>
std::uint64_t DigestOfValues(T first, T second) {
  Fingerprinter fingerprinter;
  fingerprinter.Add(&first, sizeof first);
  fingerprinter.Add(&second, sizeof second);
  return fingerprinter.Digest();
}

class ContextNodesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.Load(LibraryPath());
    yields = trickles = 0;
  }

  SurveyorDependency Node(char const* name) {
    DependencyNodeEntry const* const entry = host.GetRegistry().FindDependencyNamed(name);
    EXPECT_NE(nullptr, entry) << name;
    return entry != nullptr ? entry->function : nullptr;
  }

  // A function of the loaded library, by its symbol.
  template <class F>
  F Symbol(char const* name) {
    void* const handle = dlopen(LibraryPath().c_str(), RTLD_LAZY | RTLD_NOLOAD);
    EXPECT_NE(nullptr, handle);
    void* const found = handle != nullptr ? dlsym(handle, name) : nullptr;
    if (handle != nullptr) dlclose(handle);
    EXPECT_NE(nullptr, found) << name;
    return reinterpret_cast<F>(found);
  }

  Host host;
};

TEST_F(ContextNodesTest, TheCurrentActionNodeReadsTheHostsActionInterface) {
  SurveyorDependency const node = Node("CurrentAction");
  ASSERT_NE(nullptr, node);
  TestContext context;
  firstActiveCount = 12;
  activeCount = 34;
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation(&context);
  Evaluation::Scope scope(*evaluation);
  Fingerprinter fingerprinter;
  node(fingerprinter);
  EXPECT_EQ(DigestOfValues<unsigned short>(12, 34), fingerprinter.Digest());
}

TEST_F(ContextNodesTest, TheComputerIDNodeReadsTheHostsServerRecord) {
  SurveyorDependency const node = Node("ComputerID");
  ASSERT_NE(nullptr, node);
  TestContext context;
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation(&context);
  Evaluation::Scope scope(*evaluation);
  Fingerprinter fingerprinter;
  node(fingerprinter);
  unsigned long long const expected = 0xABCDEF;
  Fingerprinter byHand;
  byHand.Add(&expected, sizeof expected);
  EXPECT_EQ(byHand.Digest(), fingerprinter.Digest());
}

TEST_F(ContextNodesTest, TheHostsClientContextWithoutAFolderCannotTellTheCurrentAction) {
  SurveyorDependency const node = Node("CurrentAction");
  ASSERT_NE(nullptr, node);
  // The context has the action interface, but without a client folder its
  // slots are null.
  survey::client::ClientContext context(nullptr);
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation(&context);
  Evaluation::Scope scope(*evaluation);
  Fingerprinter fingerprinter;
  EXPECT_THROW(node(fingerprinter), SurveyorActionContextError);
  EXPECT_FALSE(fingerprinter.Touched());
}

TEST_F(ContextNodesTest, YieldAndTrickleReachTheHostsYieldInterface) {
  using Call = void (*)();
  Call const yield = Symbol<Call>("_Z14YieldTimeSlicev");
  Call const trickle = Symbol<Call>("_Z7Tricklev");
  ASSERT_NE(nullptr, yield);
  ASSERT_NE(nullptr, trickle);
  TestContext context;
  {
    std::unique_ptr<Evaluation> evaluation = host.NewEvaluation(&context);
    Evaluation::Scope scope(*evaluation);
    yield();
    trickle();
    trickle();
  }
  EXPECT_EQ(1, yields);
  EXPECT_EQ(2, trickles);
  // Outside an evaluation there is no context, and nothing is called.
  yield();
  trickle();
  EXPECT_EQ(1, yields);
  EXPECT_EQ(2, trickles);
}

}  // namespace
