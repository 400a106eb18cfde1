// One evaluation: its memory, its interruption, its context, the
// fingerprints of calls and of global dependency nodes, and the caches
// cleared when it starts.

#include "host/engine/evaluation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include "host/engine/calls.h"
#include "host/engine/errors.h"
#include "host/engine/fingerprint.h"
#include "host/engine/host.h"
#include "survey/frame/registration.h"

namespace {

using survey::host::CallFingerprint;
using survey::host::Evaluation;
using survey::host::Host;
using survey::host::InterruptedEvaluation;
using survey::host::Registry;
using survey::host::Value;
using survey::host::ValueBuilder;

// ---------------------------------------------------------------------------
// Memory.

TEST(EvaluationMemoryTest, SurveyorMemoryComesFromTheEvaluationsArena) {
  Registry registry;
  Evaluation evaluation(registry);
  Evaluation::Scope scope(evaluation);
  std::size_t const before = evaluation.GetArena().BytesInUse();
  unsigned char* const block = Allocate_Surveyor_Memory(100);
  ASSERT_NE(nullptr, block);
  std::memset(block, 0x7E, 100);
  std::size_t const after = evaluation.GetArena().BytesInUse();
  EXPECT_GE(after, before + 100);
  unsigned char* const large = Allocate_Surveyor_Memory(1 << 20);
  ASSERT_NE(nullptr, large);
  std::memset(large, 0x11, 1 << 20);
  EXPECT_GE(evaluation.GetArena().BytesInUse(), after + (1 << 20));
  // The first block was not disturbed by the second.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(0x7E, block[i]);
}

TEST(EvaluationMemoryTest, BlocksAreAlignedForAnyScalar) {
  Registry registry;
  Evaluation evaluation(registry);
  Evaluation::Scope scope(evaluation);
  for (unsigned long size : {1ul, 3ul, 17ul, 64ul}) {
    unsigned char* const block = Allocate_Surveyor_Memory(size);
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t));
  }
}

TEST(EvaluationMemoryTest, InnermostEvaluationServesTheMemory) {
  Registry registry;
  Evaluation outer(registry);
  Evaluation inner(registry);
  Evaluation::Scope outerScope(outer);
  {
    Evaluation::Scope innerScope(inner);
    Allocate_Surveyor_Memory(32);
    EXPECT_EQ(0u, outer.GetArena().BytesInUse());
    EXPECT_GE(inner.GetArena().BytesInUse(), 32u);
  }
  Allocate_Surveyor_Memory(32);
  EXPECT_GE(outer.GetArena().BytesInUse(), 32u);
}

TEST(EvaluationMemoryTest, MemoryOutsideAnyEvaluationIsStillValid) {
  ASSERT_EQ(nullptr, Evaluation::Current());
  unsigned char* const block = Allocate_Surveyor_Memory(256);
  ASSERT_NE(nullptr, block);
  std::memset(block, 0x42, 256);
  EXPECT_EQ(0x42, block[255]);
  EXPECT_NE(nullptr, Allocate_Surveyor_Memory(0));
}

// ---------------------------------------------------------------------------
// Interruption.

class InterruptionTest : public ::testing::Test {
 protected:
  ~InterruptionTest() override { Evaluation::ClearInterrupt(); }
  Registry registry;
  Evaluation evaluation{registry};
};

TEST_F(InterruptionTest, NothingToInterruptOutsideAnEvaluation) {
  Evaluation::RequestInterrupt();
  EXPECT_NO_THROW(Check_For_Surveyor_Interruption());
}

TEST_F(InterruptionTest, InterruptRequestMakesTheCheckThrowUntilCleared) {
  Evaluation::Scope scope(evaluation);
  EXPECT_NO_THROW(Check_For_Surveyor_Interruption());
  Evaluation::RequestInterrupt();
  EXPECT_THROW(Check_For_Surveyor_Interruption(), InterruptedEvaluation);
  EXPECT_THROW(Check_For_Surveyor_Interruption(), InterruptedEvaluation);
  Evaluation::ClearInterrupt();
  EXPECT_NO_THROW(Check_For_Surveyor_Interruption());
}

TEST_F(InterruptionTest, PassedTimeLimitMakesTheCheckThrowUntilCleared) {
  Evaluation::Scope scope(evaluation);
  evaluation.SetTimeLimit(std::chrono::microseconds(0));
  EXPECT_THROW(Check_For_Surveyor_Interruption(), InterruptedEvaluation);
  evaluation.ClearTimeLimit();
  EXPECT_NO_THROW(Check_For_Surveyor_Interruption());
  evaluation.SetTimeLimit(std::chrono::hours(1));
  EXPECT_NO_THROW(Check_For_Surveyor_Interruption());
}

// The interruption is not one of the library's exceptions: a surveyor that
// catches "none" or any library error does not swallow it.
TEST_F(InterruptionTest, InterruptionIsNoLibraryException) {
  Evaluation::Scope scope(evaluation);
  Evaluation::RequestInterrupt();
  bool swallowed = false;
  try {
    try {
      Check_For_Surveyor_Interruption();
    } catch (std::exception const&) {
      swallowed = true;
    }
  } catch (InterruptedEvaluation const&) {
  }
  EXPECT_FALSE(swallowed);
}

// ---------------------------------------------------------------------------
// The context.

class TestContext : public SurveyorContext {};

TEST(EvaluationContextTest, GenericContextIsTheCurrentEvaluations) {
  Registry registry;
  TestContext context;
  EXPECT_EQ(nullptr, Get_Generic_Surveyor_Context());
  Evaluation evaluation(registry, &context);
  Evaluation::Scope scope(evaluation);
  EXPECT_EQ(&context, Get_Generic_Surveyor_Context());
  EXPECT_NE(nullptr, dynamic_cast<TestContext*>(Get_Generic_Surveyor_Context()));
  Evaluation bare(registry);
  Evaluation::Scope bareScope(bare);
  EXPECT_EQ(nullptr, Get_Generic_Surveyor_Context());
}

// ---------------------------------------------------------------------------
// Fingerprints of calls.

struct Opaque {
  long long value;
};
void DestroyOpaque(void const*) {}

class FingerprintTest : public ::testing::Test {
 protected:
  Host host;
  Registry::Scope scope{host.GetRegistry()};
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation();
  Evaluation::Scope evaluationScope{*evaluation};
  ShortRecord record{};
};

TEST_F(FingerprintTest, CallThatDependsOnlyOnItsOperandsHasAFingerprint) {
  std::optional<std::uint64_t> const first =
      CallFingerprint(&record, &DependsOnlyOnParameters, host.MakeString("PATH"), Value());
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first,
            CallFingerprint(&record, &DependsOnlyOnParameters, host.MakeString("PATH"), Value()));
  EXPECT_NE(first,
            CallFingerprint(&record, &DependsOnlyOnParameters, host.MakeString("HOME"), Value()));
  ShortRecord other{};
  EXPECT_NE(first,
            CallFingerprint(&other, &DependsOnlyOnParameters, host.MakeString("PATH"), Value()));
  EXPECT_TRUE(CallFingerprint(&record, &DependsOnlyOnParameters, Value(), Value()).has_value());
  EXPECT_TRUE(
      CallFingerprint(&record, &DependsOnlyOnParameters, host.MakeInteger(3), host.MakeString("x"))
          .has_value());
}

TEST_F(FingerprintTest, CallWithNoDependencyHasNoFingerprint) {
  EXPECT_FALSE(CallFingerprint(&record, nullptr, host.MakeString("PATH"), Value()).has_value());
  EXPECT_FALSE(CallFingerprint(&record, nullptr, Value(), Value()).has_value());
}

TEST_F(FingerprintTest, OperandWithoutFingerprintFunctionGivesNoFingerprint) {
  RegisteredType opaque("opaque", sizeof(Opaque), &DestroyOpaque, nullptr, nullptr);
  ValueBuilder builder(host.GetRegistry().FindType("opaque"));
  ::new (builder.Slot()) Opaque{5};
  Value const value = builder.Finish();
  EXPECT_FALSE(CallFingerprint(&record, &DependsOnlyOnParameters, Value(), value).has_value());
  EXPECT_FALSE(
      CallFingerprint(&record, &DependsOnlyOnParameters, value, host.MakeInteger(1)).has_value());
}

// ---------------------------------------------------------------------------
// Global dependency nodes: computed once per evaluation.

int nodeCalls = 0;
long long nodeState = 1;
void NodeFunction(Fingerprinter& fingerprinter) {
  ++nodeCalls;
  FingerprintBytewise(fingerprinter, nodeState);
}

DependencyNode node{};
void DependsOnNode(Fingerprinter& fingerprinter) { Fingerprint_Global(fingerprinter, &node); }

TEST_F(FingerprintTest, GlobalNodeIsComputedOncePerEvaluation) {
  Register_Global_Dependency(&node, kRecordHostArea, "test node", &NodeFunction);
  nodeCalls = 0;
  nodeState = 1;
  std::optional<std::uint64_t> const first =
      CallFingerprint(&record, &DependsOnNode, Value(), Value());
  std::optional<std::uint64_t> const second =
      CallFingerprint(&record, &DependsOnNode, Value(), Value());
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first, second);
  EXPECT_EQ(1, nodeCalls);
  EXPECT_EQ(&node, host.GetRegistry().FindDependencyNamed("test node")->node);

  // The node's state changes; within this evaluation it is not asked again.
  nodeState = 2;
  EXPECT_EQ(first, CallFingerprint(&record, &DependsOnNode, Value(), Value()));
  EXPECT_EQ(1, nodeCalls);

  // A new evaluation asks again, and sees the change.
  {
    auto next = host.NewEvaluation();
    Evaluation::Scope nextScope(*next);
    std::optional<std::uint64_t> const changed =
        CallFingerprint(&record, &DependsOnNode, Value(), Value());
    EXPECT_EQ(2, nodeCalls);
    EXPECT_NE(first, changed);
    CallFingerprint(&record, &DependsOnNode, Value(), Value());
    EXPECT_EQ(2, nodeCalls);
  }
  Unregister_Global_Dependency(&node);
  EXPECT_EQ(nullptr, host.GetRegistry().FindDependencyNamed("test node"));
}

TEST_F(FingerprintTest, UnregisteredNodeFeedsNothing) {
  DependencyNode loose{};
  Fingerprinter fingerprinter;
  Fingerprint_Global(fingerprinter, &loose);
  EXPECT_FALSE(fingerprinter.Touched());
}

TEST(FingerprintOperationsTest, ByteRangeFeedsExactlyTheRange) {
  unsigned char const bytes[] = {1, 2, 3, 4, 5};
  Fingerprinter range;
  Fingerprint_Byte_Range(range, bytes + 1, bytes + 4);
  Fingerprinter direct;
  direct.Add(bytes + 1, 3);
  EXPECT_EQ(direct.Digest(), range.Digest());
  Fingerprinter empty;
  Fingerprint_Byte_Range(empty, bytes, bytes);
  EXPECT_FALSE(empty.Touched());
}

TEST(FingerprintOperationsTest, StringsAreFedWithTheirLength) {
  auto const text = [](char const* bytes, unsigned long length) {
    return surveyor_string{reinterpret_cast<unsigned char const*>(bytes), length};
  };
  Fingerprinter ab_c;
  ab_c << text("ab", 2) << text("c", 1);
  Fingerprinter a_bc;
  a_bc << text("a", 1) << text("bc", 2);
  EXPECT_NE(ab_c.Digest(), a_bc.Digest());
  Fingerprinter same;
  same << text("ab", 2) << text("c", 1);
  EXPECT_EQ(ab_c.Digest(), same.Digest());
}

// ---------------------------------------------------------------------------
// Caches.

int clears = 0;
void* clearedCookie = nullptr;
void ClearCache(void* cookie) {
  ++clears;
  clearedCookie = cookie;
}

TEST(CacheTest, NewEvaluationClearsEachCacheWithItsCookie) {
  Host host;
  Registry::Scope scope(host.GetRegistry());
  CacheRecord cache{};
  int cookie = 0;
  Register_Cache(&cache, kCacheHostArea, &ClearCache, &cookie);
  clears = 0;
  clearedCookie = nullptr;
  auto const first = host.NewEvaluation();
  EXPECT_EQ(1, clears);
  EXPECT_EQ(&cookie, clearedCookie);
  auto const second = host.NewEvaluation();
  EXPECT_EQ(2, clears);
  Unregister_Cache(&cache);
  auto const third = host.NewEvaluation();
  EXPECT_EQ(2, clears);
}

}  // namespace

TEST(ArenaMarkTest, MemoryBetweenTwoMarksGoesBackOnlyFromTheTop) {
  survey::host::Arena arena;
  arena.Allocate(100);
  survey::host::ArenaMark const a = arena.Mark();
  arena.Allocate(1000);
  survey::host::ArenaMark const b = arena.Mark();
  arena.Allocate(50);
  survey::host::ArenaMark const c = arena.Mark();
  // Not the top: nothing happens.
  EXPECT_FALSE(arena.Release(a, b));
  EXPECT_EQ(arena.BytesInUse(), c.inUse);
  EXPECT_TRUE(arena.Release(b, c));
  EXPECT_EQ(arena.BytesInUse(), b.inUse);
  EXPECT_TRUE(arena.Release(a, b));
  EXPECT_EQ(arena.BytesInUse(), a.inUse);
  // The same place is handed out again.
  unsigned char* const again = arena.Allocate(10);
  EXPECT_FALSE(arena.Release(b, c));
  arena.Reset();
  // Marks of an earlier generation match nothing.
  arena.Allocate(100);
  EXPECT_FALSE(arena.Release(survey::host::ArenaMark{a.stamp, 1, 0, 0}, arena.Mark()));
  EXPECT_NE(again, nullptr);
  // Nor marks of another arena.
  survey::host::Arena other;
  EXPECT_FALSE(arena.Release(other.Mark(), arena.Mark()));
}

TEST(ArenaMarkTest, MemoryThatSpansANewChunkStays) {
  survey::host::Arena arena;
  arena.Allocate(10);
  survey::host::ArenaMark const before = arena.Mark();
  arena.Allocate(10 * 1024 * 1024);
  EXPECT_FALSE(arena.Release(before, arena.Mark()));
  EXPECT_GE(arena.BytesInUse(), 10u * 1024 * 1024);
}
