#include "host/engine/arena.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace survey::host {

namespace {
constexpr std::size_t kFirstChunk = 16 * 1024;
constexpr std::size_t kLargestChunk = 4 * 1024 * 1024;

// Every arena and every generation of one gets a stamp of its own, so that a
// mark never matches an arena it was not taken from.
std::uint64_t NextStamp() {
  static std::atomic<std::uint64_t> stamps{0};
  return ++stamps;
}
}  // namespace

Arena::Arena() : stamp_(NextStamp()) {}

unsigned char* Arena::AllocateInNewChunk(std::size_t size) {
  std::size_t const rounded = RoundUp(size == 0 ? 1 : size);
  if (rounded < size) throw std::bad_alloc();
  // Chunks double up to a limit; a request larger than that gets a chunk
  // of its own size.
  std::size_t next = chunks_.empty() ? kFirstChunk
                                     : std::min(chunks_.back().size * 2, kLargestChunk);
  next = std::max(next, rounded);
  chunks_.push_back(Chunk{std::unique_ptr<unsigned char[]>(new unsigned char[next]), next});
  base_ = chunks_.back().bytes.get();
  capacity_ = next;
  used_ = rounded;
  inUse_ += rounded;
  return base_;
}

void Arena::Reset() {
  // Keep the first chunk for the next evaluation; most queries fit in it.
  if (chunks_.size() > 1) chunks_.erase(chunks_.begin() + 1, chunks_.end());
  base_ = chunks_.empty() ? nullptr : chunks_.front().bytes.get();
  capacity_ = chunks_.empty() ? 0 : chunks_.front().size;
  used_ = 0;
  inUse_ = 0;
  stamp_ = NextStamp();
}

}  // namespace survey::host
