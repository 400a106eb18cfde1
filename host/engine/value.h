// A value of the evaluator: its registered type and a block of the type's
// size, aligned for any scalar, in which an adaptor constructed it.
//
// Library values may hold pointers into themselves or rings of handles, so a
// value never moves once constructed: `Value` is a counted handle to a block
// that stays where it was made. The block also keeps alive what the value may
// point into: the operands it was computed from and, for aggregate results,
// the aggregator's state.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "host/engine/arena.h"
#include "host/engine/registry.h"

namespace survey::host {

namespace detail {
// The first fields of every value block, read inline on the hot path.
struct ValueHead {
  TypeEntry const* type;
  std::size_t references;
  void const* data;  // the value: inside the block, or elsewhere for a view
};
struct ValueBlock;
// Destroys the value and frees the block: its last handle is gone. Arena
// memory that the value owns stays where it is.
void Release(ValueHead* head) noexcept;
// The same, and gives back the arena memory the value owns, then that of
// each operand whose last handle it held.
void GiveBack(ValueHead* head) noexcept;
}  // namespace detail

class Value {
 public:
  Value() = default;
  Value(Value const& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) ++block_->references;
  }
  Value(Value&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Value& operator=(Value other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Value() {
    if (block_ != nullptr && --block_->references == 0) detail::Release(block_);
  }

  // Drops this handle, as assigning an empty value does; and when it was the
  // value's last, gives back the arena memory that the value owns, and then
  // that of its operands that go with it, as far as that memory is still the
  // arena's top. Only a consumer that keeps nothing of the value asks for
  // this: see the rule in arena.h.
  void GiveBack() noexcept {
    if (block_ != nullptr && --block_->references == 0) detail::GiveBack(block_);
    block_ = nullptr;
  }

  bool Empty() const { return block_ == nullptr; }
  explicit operator bool() const { return block_ != nullptr; }
  TypeEntry const* Type() const { return block_ == nullptr ? nullptr : block_->type; }
  void const* Data() const { return block_ == nullptr ? nullptr : block_->data; }

  template <class T>
  T const& As() const {
    return *static_cast<T const*>(Data());
  }

  // Values of the host's basic types. A string's bytes are copied into the
  // value's own block.
  static Value MakeString(TypeEntry const* stringType, std::string_view bytes);
  static Value MakeInteger(TypeEntry const* integerType, long long number);
  static Value MakeBoolean(TypeEntry const* booleanType, bool truth);
  static Value MakeTicks(TypeEntry const* timeType, long long ticks);
  // A value of `type` that lies inside another value's memory (an element of
  // a tuple, say); it keeps `owner` alive and destroys nothing.
  static Value View(TypeEntry const* type, void const* data, Value const& owner);

 private:
  friend class ValueBuilder;
  friend class ReusedValueBlock;
  friend void detail::GiveBack(detail::ValueHead* head) noexcept;
  explicit Value(detail::ValueHead* block) : block_(block) {}
  detail::ValueHead* block_ = nullptr;
};

// A value is built in two steps: a raw block is made, an adaptor constructs
// into `Slot()`, and `Finish` makes the block a value. A builder dropped
// before `Finish` frees the block without destroying anything in it.
class ValueBuilder {
 public:
  explicit ValueBuilder(TypeEntry const* type, std::size_t extraBytes = 0);
  ~ValueBuilder();
  ValueBuilder(ValueBuilder const&) = delete;
  ValueBuilder& operator=(ValueBuilder const&) = delete;

  // Raw memory of the type's size, aligned for any scalar.
  void* Slot();
  // `extraBytes` behind the value, owned by it.
  unsigned char* Extra();
  // The value may point into these; they live as long as it does.
  void DependOn(Value const& operand);
  void KeepAlive(std::shared_ptr<void> owner);
  // The memory of the present evaluation's arena between the two marks
  // belongs to this value: when a consumer gives the value back (see
  // `Value::GiveBack`) while that memory is still the arena's top, the
  // memory goes with it, so that a long stream of values that are counted or
  // passed over does not hold memory for all of them.
  void OwnArenaRegion(ArenaMark const& from, ArenaMark const& to);
  // The slot now holds a constructed value.
  Value Finish();

 private:
  friend class Value;
  friend class ReusedValueBlock;
  detail::ValueBlock* block_;
};

// One block in which a stream makes its values one after another, for a
// consumer that looks at each and keeps none (a filter whose results are
// only counted): the block is made once, and each value is destroyed in it
// before the next is made. A value that is still held when it is dropped is
// left to its holders as a value of its own, with what a value from
// ValueBuilder would own, and the next value gets a new block.
class ReusedValueBlock {
 public:
  explicit ReusedValueBlock(TypeEntry const* type) : type_(type) {}
  ReusedValueBlock(ReusedValueBlock const&) = delete;
  ReusedValueBlock& operator=(ReusedValueBlock const&) = delete;

  // Raw memory of the type's size for the next value, aligned for any
  // scalar.
  void* Slot();
  // The slot now holds a constructed value: a handle to it, good until
  // `Drop`.
  Value const& Finish();
  // Whether no handle but this one holds the value.
  bool Sole() const { return held_.block_->references == 1; }
  // Destroys the value, which only this handle holds; the block stays for
  // the next.
  void Destroy() noexcept;
  // The value is held elsewhere too: it keeps `index`, `object` and `owner`
  // alive and owns the arena memory between `from` and `to`, as a value
  // from ValueBuilder would, and this block lets go of it.
  void LetGo(Value const& index, Value const& object, std::shared_ptr<void> owner,
             ArenaMark const& from, ArenaMark const& to);

 private:
  TypeEntry const* type_;
  Value held_;
};

// Gives the blocks that this thread keeps for reuse back to the allocator;
// the outermost evaluation of a thread does so when it ends.
void ReleaseKeptValueBlocks() noexcept;

}  // namespace survey::host
