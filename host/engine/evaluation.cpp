#include "host/engine/evaluation.h"

#include "host/engine/errors.h"
#include "host/engine/fingerprint.h"
#include "host/engine/value.h"

namespace survey::host {

Evaluation::Evaluation(Registry const& registry, SurveyorContext* context)
    : registry_(&registry), context_(context) {}

void Evaluation::RequestInterrupt() noexcept {
  interruptRequested_.store(true, std::memory_order_relaxed);
}

bool Evaluation::InterruptRequested() noexcept {
  return interruptRequested_.load(std::memory_order_relaxed);
}

void Evaluation::ClearInterrupt() noexcept {
  interruptRequested_.store(false, std::memory_order_relaxed);
}

void Evaluation::Interrupt() { throw InterruptedEvaluation(); }

// The clock, on the checks that read it, and the verdict once it has passed.
void Evaluation::CheckDeadline() const {
  if (!expired_ && Clock::now() >= *deadline_) expired_ = true;
  if (expired_) throw InterruptedEvaluation();
}

long long Evaluation::NowTicks() {
  if (!now_) now_ = moment_now().ticks;
  return *now_;
}

std::uint64_t Evaluation::NodeDigest(DependencyNodeEntry const& node) {
  auto const found = nodeDigests_.find(node.node);
  if (found != nodeDigests_.end()) return found->second;
  Fingerprinter fingerprinter;
  if (node.function != nullptr) node.function(fingerprinter);
  std::uint64_t const digest = fingerprinter.Digest();
  nodeDigests_.emplace(node.node, digest);
  return digest;
}

Evaluation::Scope::Scope(Evaluation& evaluation) : previous_(current_) { current_ = &evaluation; }

Evaluation::Scope::~Scope() {
  current_ = previous_;
  if (previous_ == nullptr) ReleaseKeptValueBlocks();
}

}  // namespace survey::host
