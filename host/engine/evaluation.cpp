#include "host/engine/evaluation.h"

#include "host/engine/errors.h"
#include "host/engine/fingerprint.h"
#include "host/engine/value.h"

namespace survey::host {

namespace {
Evaluation* gCurrent = nullptr;
std::atomic<bool> gInterruptRequested{false};
}  // namespace

Evaluation::Evaluation(Registry const& registry, SurveyorContext* context)
    : registry_(&registry), context_(context) {}

void Evaluation::RequestInterrupt() noexcept {
  gInterruptRequested.store(true, std::memory_order_relaxed);
}

bool Evaluation::InterruptRequested() noexcept {
  return gInterruptRequested.load(std::memory_order_relaxed);
}

void Evaluation::ClearInterrupt() noexcept {
  gInterruptRequested.store(false, std::memory_order_relaxed);
}

void Evaluation::CheckInterruption() const {
  if (gInterruptRequested.load(std::memory_order_relaxed)) throw InterruptedEvaluation();
  if (!deadline_) return;
  // Reading the clock costs more than most single steps, so it is read on
  // the first check after the limit was set and on every 64th after that:
  // the limit is still kept to well under a millisecond. Once the deadline
  // has passed, every check throws.
  if (!expired_ && (checks_++ & 63) == 0 && Clock::now() >= *deadline_) expired_ = true;
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

Evaluation* Evaluation::Current() { return gCurrent; }

Evaluation::Scope::Scope(Evaluation& evaluation) : previous_(gCurrent) { gCurrent = &evaluation; }

Evaluation::Scope::~Scope() {
  gCurrent = previous_;
  if (previous_ == nullptr) ReleaseKeptValueBlocks();
}

}  // namespace survey::host
