// Fingerprints of what a result depends on, for reusing results: 64-bit
// xxHash digests of the bytes fed in.
#pragma once

#include <cstdint>

#include "survey/frame/boundary.h"

class Fingerprinter {
 public:
  Fingerprinter();
  ~Fingerprinter();
  Fingerprinter(Fingerprinter const&) = delete;
  Fingerprinter& operator=(Fingerprinter const&) = delete;

  void Add(void const* bytes, std::size_t length);
  std::uint64_t Digest() const;
  // Whether anything at all was fed in.
  bool Touched() const { return touched_; }

 private:
  void* state_;  // XXH3 streaming state
  bool touched_ = false;
};
