// The memory a query may take. The command bounds what one query adds to
// the bytes that the C++ allocator holds (operator new and delete are
// replaced in memory.cpp): the allocation that would pass the bound fails
// with std::bad_alloc, which the evaluation passes up and the query ends
// with. The bytes are counted only while a bound is in force, since only
// what a query adds or gives back matters, and the count costs a look at
// each block.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace survey::command {

// The bound of a query when --max-memory is not given.
constexpr std::size_t kDefaultMaxMemory = std::size_t{512} << 20;

// While alive, allocations may add at most `budget` bytes to those held at
// its start (zero: no bound), the blocks counted at the sizes the C library
// gives them, and a block given back counted off whenever it was taken. The first allocation that would pass the
// bound fails, and the bound is lifted for the rest of the object's life:
// the query that ran into it is ending, and its clean-up must not fail too.
class MemoryLimit {
 public:
  explicit MemoryLimit(std::size_t budget);
  ~MemoryLimit();
  MemoryLimit(MemoryLimit const&) = delete;
  MemoryLimit& operator=(MemoryLimit const&) = delete;

  // Whether an allocation failed for the bound.
  bool Reached() const;
};

// A size as --max-memory takes it: a whole number of bytes, or of KiB, MiB,
// GiB with the suffix K, M, G (KiB, MiB, GiB, and lower case, too); 0 for
// no bound. Empty, with `problem` set to say why, when the text is no such
// size.
std::optional<std::size_t> ParseSize(std::string const& text, std::string& problem);

// A size in words: "512 MiB", "1.5 GiB", "100 bytes".
std::string SizeText(std::size_t bytes);

}  // namespace survey::command
