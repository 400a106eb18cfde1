// Fingerprints of what a result depends on, for reusing results: 64-bit
// xxHash digests of the bytes fed in.
#pragma once

#include <cstddef>
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
  // The XXH3 streaming state, held in place: a fingerprint is made for every
  // reusable call, so it must not cost an allocation.
  alignas(64) unsigned char state_[640];
  bool touched_ = false;
};
