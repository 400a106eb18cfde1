// One evaluation: the arena that holds the memory surveyors ask for, its time
// limit and interrupt flag, its context, and the fingerprints of global
// dependency nodes, computed once per evaluation.
//
// While an `Evaluation::Scope` is alive, the host operations that the library
// calls (memory, interruption, context, fingerprints) act on that evaluation.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "host/engine/arena.h"
#include "host/engine/registry.h"

namespace survey::host {

class Evaluation {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Evaluation(Registry const& registry, SurveyorContext* context = nullptr);
  Evaluation(Evaluation const&) = delete;
  Evaluation& operator=(Evaluation const&) = delete;

  Registry const& GetRegistry() const { return *registry_; }
  Arena& GetArena() { return arena_; }
  SurveyorContext* Context() const { return context_; }
  void SetContext(SurveyorContext* context) { context_ = context; }

  // Limits. A deadline that passes, or an interrupt request, makes the
  // interruption checks throw, until the limit is set anew or cleared.
  void SetTimeLimit(std::chrono::microseconds limit) {
    deadline_ = Clock::now() + limit;
    checks_ = 0;
    expired_ = false;
  }
  void ClearTimeLimit() {
    deadline_.reset();
    expired_ = false;
  }
  // Safe to call from a signal handler.
  static void RequestInterrupt() noexcept;
  static void ClearInterrupt() noexcept;
  // Whether the user's interrupt was requested since it was last cleared.
  static bool InterruptRequested() noexcept;
  // Throws `InterruptedEvaluation` when the evaluation is to be given up.
  // Called for every value of every stream: what most calls do is inline.
  void CheckInterruption() const {
    if (InterruptionDue()) CheckInterruptionNow();
  }
  // Whether a check must look further: an interrupt was requested, or the
  // clock is to be read. Reading the clock costs more than most single
  // steps, so it is read on the first check after the limit was set and on
  // every 64th after that: the limit is still kept to well under a
  // millisecond. Once the deadline has passed, every check looks further.
  bool InterruptionDue() const {
    if (interruptRequested_.load(std::memory_order_relaxed)) return true;
    if (!deadline_) return false;
    return expired_ || (checks_++ & 63) == 0;
  }
  // The rest of a check that InterruptionDue asked for: throws
  // `InterruptedEvaluation` when the evaluation is to be given up.
  void CheckInterruptionNow() const {
    if (interruptRequested_.load(std::memory_order_relaxed)) Interrupt();
    if (deadline_) CheckDeadline();
  }

  // The query's "now": the clock's time at the first call, and the same
  // moment at every later call, so that every "now" of one query agrees.
  long long NowTicks();

  // The digest of a global dependency node for this evaluation.
  std::uint64_t NodeDigest(DependencyNodeEntry const& node);

  // The evaluation that host operations act on, or null outside any.
  static Evaluation* Current() { return current_; }

  class Scope {
   public:
    explicit Scope(Evaluation& evaluation);
    ~Scope();
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;

   private:
    Evaluation* previous_;
  };

 private:
  [[noreturn]] static void Interrupt();
  void CheckDeadline() const;

  static inline Evaluation* current_ = nullptr;
  static inline std::atomic<bool> interruptRequested_{false};

  Registry const* registry_;
  SurveyorContext* context_;
  Arena arena_;
  std::optional<Clock::time_point> deadline_;
  mutable unsigned checks_ = 0;
  mutable bool expired_ = false;  // the deadline was seen to have passed
  std::optional<long long> now_;
  std::unordered_map<void const*, std::uint64_t> nodeDigests_;
};

}  // namespace survey::host
