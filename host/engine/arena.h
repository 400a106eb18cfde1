// A bump allocator for the memory that surveyors ask the host for. Memory is
// handed out in chunks and given back all at once, when the evaluation that
// used it is over.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace survey::host {

class Arena {
 public:
  Arena() = default;
  Arena(Arena const&) = delete;
  Arena& operator=(Arena const&) = delete;

  // Memory for `size` bytes, aligned for any scalar. Throws std::bad_alloc
  // when there is none; never returns null. Zero bytes give a valid pointer.
  unsigned char* Allocate(std::size_t size);

  // Gives back everything; pointers handed out before are dead after this.
  void Reset();

  // Bytes handed out since the last reset.
  std::size_t BytesInUse() const { return inUse_; }

 private:
  struct Chunk {
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size;
  };
  std::vector<Chunk> chunks_;
  std::size_t used_ = 0;  // bytes used in the last chunk
  std::size_t inUse_ = 0;
};

}  // namespace survey::host
