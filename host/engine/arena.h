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
  unsigned char* Allocate(std::size_t size);

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
  bool Release(ArenaMark const& from, ArenaMark const& to);

 private:
  struct Chunk {
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size;
  };
  std::vector<Chunk> chunks_;
  std::size_t used_ = 0;  // bytes used in the last chunk
  std::size_t inUse_ = 0;
  std::uint64_t stamp_;
};

}  // namespace survey::host
