// The host's own words: the substring type, the relations, arithmetic and
// casts of its basic types, and a few properties of strings and times. They
// are registered through the same registry as a library's, so that they show
// in the vocabulary like any other phrase.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "host/engine/registry.h"

namespace survey::lang {

class HostWords {
 public:
  explicit HostWords(host::Registry& registry);
  ~HostWords();
  HostWords(HostWords const&) = delete;
  HostWords& operator=(HostWords const&) = delete;

 private:
  enum class Kind { kType, kProperty, kCast, kOperator };
  // A record made, in order of registration.
  struct Record {
    Kind kind;
    void* bytes;
  };
  // The records' memory, in slabs that never move: a record takes the host
  // area of its kind, one after another.
  struct alignas(16) Slab {
    unsigned char bytes[16384];
  };
  // A fresh zeroed record for the next registration.
  void* Next(Kind kind);
  static void DependsOnNothing(Fingerprinter&);
  // Unique values with their multiplicity, minimum, maximum and extrema of
  // an ordered type of the host.
  template <class Order>
  void RegisterOrdered(char const* type);

  host::Registry& registry_;
  std::vector<Record> records_;
  std::vector<std::unique_ptr<Slab>> slabs_;
  std::size_t slabUsed_ = 0;
};

}  // namespace survey::lang
