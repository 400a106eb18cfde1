// A bump allocator for the memory that surveyors ask the host for. Memory is
// handed out in chunks and given back all at once, when the evaluation that
// used it is over.
//
// Before that, memory is given back only from the top, and only on request:
// a value made by a later step of an iterator owns what that step asked for
// (ValueBuilder::OwnArenaRegion), and that memory goes when a consumer gives
// the value back (Value::GiveBack). A consumer asks for that only when it
// provably keeps nothing of the value, not even a copy that points into it:
// counting, an existence test, a filter passing a value over, the answer
// loop that prints each value and drops it. Dropping a value in any other
// way leaves its memory standing, because library code may have copied it:
// an aggregator keeps its elements by copy (a maximum of versions keeps a
// version whose text lies in this arena), and those copies must stay valid
// until the aggregate's results are gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace survey::host {

// A place in an arena: what had been handed out at some moment. The stamp
// names the arena and its generation, which changes at every reset.
struct ArenaMark {
  std::uint64_t stamp = 0;
  std::size_t chunks = 0;
  std::size_t used = 0;
  std::size_t inUse = 0;
};

class Arena {
 public:
  Arena();
  Arena(Arena const&) = delete;
  Arena& operator=(Arena const&) = delete;

  // Memory for `size` bytes, aligned for any scalar. Throws std::bad_alloc
  // when there is none; never returns null. Zero bytes give a valid pointer.
  // What fits in the present chunk is handed out inline: a stream asks for
  // memory for every value it makes.
  unsigned char* Allocate(std::size_t size) {
    std::size_t const rounded = RoundUp(size == 0 ? 1 : size);
    if (rounded >= size && capacity_ - used_ >= rounded) {
      unsigned char* const block = base_ + used_;
      used_ += rounded;
      inUse_ += rounded;
      return block;
    }
    return AllocateInNewChunk(size);
  }

  // Gives back everything; pointers handed out before are dead after this.
  void Reset();

  // Bytes handed out since the last reset.
  std::size_t BytesInUse() const { return inUse_; }

  // The present top of the arena.
  ArenaMark Mark() const { return ArenaMark{stamp_, chunks_.size(), used_, inUse_}; }
  // Gives back what was handed out between two marks, when nothing handed
  // out later is still standing: `to` must be the present top, within the
  // chunk where `from` was taken. Otherwise nothing happens. True when the
  // memory was given back; pointers into it are dead after that.
  bool Release(ArenaMark const& from, ArenaMark const& to) {
    if (from.stamp != stamp_ || to.stamp != stamp_) return false;
    if (from.chunks != to.chunks || to.chunks != chunks_.size() || to.used != used_) return false;
    if (from.used > to.used) return false;
    used_ = from.used;
    inUse_ = from.inUse;
    return true;
  }

 private:
  static constexpr std::size_t kAlignment = alignof(std::max_align_t);
  static constexpr std::size_t RoundUp(std::size_t size) {
    return (size + kAlignment - 1) & ~(kAlignment - 1);
  }
  // Allocate's way when the present chunk has no room: a new chunk, or a
  // refusal of a size that cannot be rounded.
  unsigned char* AllocateInNewChunk(std::size_t size);

  struct Chunk {
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size;
  };
  std::vector<Chunk> chunks_;
  // The last chunk's bytes and size; null and 0 before the first.
  unsigned char* base_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t used_ = 0;  // bytes used in the last chunk
  std::size_t inUse_ = 0;
  std::uint64_t stamp_;
};

}  // namespace survey::host
