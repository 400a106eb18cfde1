#include "host/engine/value.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "host/engine/evaluation.h"

namespace survey::host {

namespace detail {

struct ValueBlock : ValueHead {
  std::size_t extraOffset;
  std::size_t blockSize;  // the bytes of the whole block, header included
  bool constructed;
  bool view;          // the data lies elsewhere and is not destroyed here
  Value operands[2];  // the index and the object, or a cast's source
  std::shared_ptr<void> keepAlive;
  // Arena memory that belongs to this value, from the mark up to
  // `regionEnd` in the same chunk, given back when a consumer gives the
  // value back while nothing later is standing in the arena. A stamp of 0
  // means none.
  ArenaMark region;
  std::size_t regionEnd;
  // The value itself lies behind this header, aligned for any scalar.
  // Defined here, inline: it runs several times for every value made.
  inline unsigned char* Bytes();
};

namespace {
constexpr std::size_t kAlignment = alignof(std::max_align_t);

constexpr std::size_t RoundUp(std::size_t size) {
  return (size + kAlignment - 1) & ~(kAlignment - 1);
}
constexpr std::size_t kHeaderSize = RoundUp(sizeof(ValueBlock));

// Blocks of the sizes most values take are kept for reuse when freed: a
// stream makes a block for each value it gives and frees it before it makes
// the next, and the allocator's own bookkeeping would be most of the cost of
// a value that does little else. A class holds blocks of one rounded size;
// a few are kept per class, and the rest go back to the allocator.
constexpr std::size_t kRecycledClasses = 24;  // up to 24 alignment units
constexpr std::size_t kRecycledPerClass = 16;

// The thread's kept blocks, made on first use. The pointer is read with the
// initial-exec model, without a call, on every value made and freed; what
// it points to is given back when the thread leaves its outermost
// evaluation (see ReleaseKeptValueBlocks).
struct Kept {
  void* blocks[kRecycledClasses][kRecycledPerClass];
  std::size_t counts[kRecycledClasses];
};
__attribute__((tls_model("initial-exec"))) thread_local Kept* tKept = nullptr;

void* TakeBlock(std::size_t size) {
  std::size_t const c = size / kAlignment;
  Kept* const kept = tKept;
  if (kept != nullptr && c < kRecycledClasses && kept->counts[c] != 0) {
    return kept->blocks[c][--kept->counts[c]];
  }
  return std::aligned_alloc(kAlignment, size);
}

void GiveBlock(void* memory, std::size_t size) noexcept {
  std::size_t const c = size / kAlignment;
  if (c < kRecycledClasses) {
    Kept* kept = tKept;
    if (kept == nullptr) {
      kept = static_cast<Kept*>(std::calloc(1, sizeof(Kept)));
      tKept = kept;
    }
    if (kept != nullptr && kept->counts[c] < kRecycledPerClass) {
      kept->blocks[c][kept->counts[c]++] = memory;
      return;
    }
  }
  std::free(memory);
}

void Free(ValueBlock* block) {
  std::size_t const size = block->blockSize;
  block->~ValueBlock();
  GiveBlock(block, size);
}
}  // namespace

inline unsigned char* ValueBlock::Bytes() {
  return reinterpret_cast<unsigned char*>(this) + kHeaderSize;
}

}  // namespace detail

using detail::ValueBlock;

namespace {
void DestroyValue(ValueBlock* block) noexcept {
  if (block->constructed && !block->view && block->type != nullptr &&
      block->type->destroy != nullptr) {
    block->type->destroy(block->Bytes());
  }
}
}  // namespace

void detail::Release(ValueHead* head) noexcept {
  auto* const block = static_cast<ValueBlock*>(head);
  DestroyValue(block);
  Free(block);
}

void detail::GiveBack(ValueHead* head) noexcept {
  auto* const block = static_cast<ValueBlock*>(head);
  DestroyValue(block);
  if (block->region.stamp != 0) {
    if (Evaluation* const evaluation = Evaluation::Current()) {
      ArenaMark const end{block->region.stamp, block->region.chunks, block->regionEnd, 0};
      evaluation->GetArena().Release(block->region, end);
    }
  }
  // The operands were made before the value, and the second one (the
  // object, beside an index) after the first: the newest goes first, so that
  // each may find its memory on top. An operand held elsewhere too is only
  // let go when the block is freed.
  for (Value* operand : {&block->operands[1], &block->operands[0]}) {
    if (!operand->Empty() && operand->block_->references == 1) operand->GiveBack();
  }
  Free(block);
}

ValueBuilder::ValueBuilder(TypeEntry const* type, std::size_t extraBytes) {
  std::size_t const size = type == nullptr ? 0 : type->size;
  std::size_t const extraOffset = detail::RoundUp(size == 0 ? 1 : size);
  std::size_t const total = detail::kHeaderSize + extraOffset + extraBytes;
  std::size_t const blockSize = detail::RoundUp(total);
  void* const memory = detail::TakeBlock(blockSize);
  if (memory == nullptr) throw std::bad_alloc();
  // Each field is set once, rather than the whole header cleared first:
  // this runs for every value. The operands and the owner start empty, and
  // a region stamp of 0 says that the value owns no arena memory; the end
  // of a region is read only beside a stamp.
  block_ = ::new (memory) ValueBlock;
  block_->type = type;
  block_->references = 1;
  block_->data = block_->Bytes();
  block_->extraOffset = extraOffset;
  block_->blockSize = blockSize;
  block_->constructed = false;
  block_->view = false;
  block_->regionEnd = 0;
}

ValueBuilder::~ValueBuilder() {
  if (block_ != nullptr) detail::Free(block_);
}

void* ValueBuilder::Slot() { return block_->Bytes(); }

unsigned char* ValueBuilder::Extra() { return block_->Bytes() + block_->extraOffset; }

void ValueBuilder::DependOn(Value const& operand) {
  if (operand.Empty()) return;
  for (Value& slot : block_->operands) {
    if (slot.Empty()) {
      slot = operand;
      return;
    }
  }
  throw std::logic_error("a value depends on two operands at most");
}

void ValueBuilder::OwnArenaRegion(ArenaMark const& from, ArenaMark const& to) {
  // Memory that spans chunks can never be given back, and an empty region
  // has nothing to give.
  if (from.stamp != to.stamp || from.chunks != to.chunks || from.used >= to.used) return;
  block_->region = from;
  block_->regionEnd = to.used;
}

void ValueBuilder::KeepAlive(std::shared_ptr<void> owner) { block_->keepAlive = std::move(owner); }

Value ValueBuilder::Finish() {
  block_->constructed = true;
  return Value(static_cast<detail::ValueHead*>(std::exchange(block_, nullptr)));
}

void* ReusedValueBlock::Slot() {
  if (held_.Empty()) {
    ValueBuilder builder(type_);
    held_ = Value(static_cast<detail::ValueHead*>(std::exchange(builder.block_, nullptr)));
  }
  return static_cast<ValueBlock*>(held_.block_)->Bytes();
}

Value const& ReusedValueBlock::Finish() {
  static_cast<ValueBlock*>(held_.block_)->constructed = true;
  return held_;
}

void ReusedValueBlock::Destroy() noexcept {
  auto* const block = static_cast<ValueBlock*>(held_.block_);
  DestroyValue(block);
  block->constructed = false;
}

void ReusedValueBlock::LetGo(Value const& index, Value const& object,
                             std::shared_ptr<void> owner, ArenaMark const& from,
                             ArenaMark const& to) {
  auto* const block = static_cast<ValueBlock*>(held_.block_);
  // Kept by a consumer: what ValueBuilder's DependOn, KeepAlive and
  // OwnArenaRegion would record, in the same order. The block's operands
  // and owner are empty, since it only ever held values passed over.
  Value* operand = block->operands;
  for (Value const* given : {&index, &object}) {
    if (!given->Empty()) *operand++ = *given;
  }
  block->keepAlive = std::move(owner);
  if (from.stamp == to.stamp && from.chunks == to.chunks && from.used < to.used) {
    block->region = from;
    block->regionEnd = to.used;
  }
  held_ = Value();
}

Value Value::MakeString(TypeEntry const* stringType, std::string_view bytes) {
  ValueBuilder builder(stringType, bytes.size());
  unsigned char* const copy = builder.Extra();
  if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
  ::new (builder.Slot()) surveyor_string{copy, static_cast<unsigned long>(bytes.size())};
  return builder.Finish();
}

Value Value::View(TypeEntry const* type, void const* data, Value const& owner) {
  ValueBuilder builder(nullptr);
  builder.block_->type = type;
  builder.block_->view = true;
  builder.block_->data = data;
  builder.DependOn(owner);
  return builder.Finish();
}

Value Value::MakeInteger(TypeEntry const* integerType, long long number) {
  ValueBuilder builder(integerType);
  ::new (builder.Slot()) integer{number};
  return builder.Finish();
}

Value Value::MakeBoolean(TypeEntry const* booleanType, bool truth) {
  ValueBuilder builder(booleanType);
  ::new (builder.Slot()) boolean{static_cast<unsigned char>(truth ? 1 : 0)};
  return builder.Finish();
}

Value Value::MakeTicks(TypeEntry const* timeType, long long ticks) {
  ValueBuilder builder(timeType);
  ::new (builder.Slot()) moment{ticks};
  return builder.Finish();
}

void ReleaseKeptValueBlocks() noexcept {
  detail::Kept* const kept = detail::tKept;
  if (kept == nullptr) return;
  detail::tKept = nullptr;
  for (std::size_t c = 0; c < detail::kRecycledClasses; ++c) {
    for (std::size_t k = 0; k < kept->counts[c]; ++k) std::free(kept->blocks[c][k]);
  }
  std::free(kept);
}

}  // namespace survey::host
