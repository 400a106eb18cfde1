// A set of byte values: eight 32-bit words, one bit per value. Byte value b
// is in the set when bit b % 32 of word b / 32 is set.
#pragma once

#include <cstdint>

#include "survey/foundation/data.h"

class ByteSet {
 public:
  std::uint32_t words[8];

  constexpr ByteSet() : words{} {}

  constexpr bool Contains(unsigned char value) const {
    return ((words[value >> 5] >> (value & 31u)) & 1u) != 0;
  }
  constexpr void Add(unsigned char value) { words[value >> 5] |= std::uint32_t{1} << (value & 31u); }
  constexpr void Remove(unsigned char value) {
    words[value >> 5] &= ~(std::uint32_t{1} << (value & 31u));
  }
  // Adds every value from `first` to `last`, both included.
  constexpr void AddRange(unsigned char first, unsigned char last) {
    for (unsigned value = first; value <= last; ++value) Add(static_cast<unsigned char>(value));
  }

  constexpr void AddAll() {
    for (std::uint32_t& word : words) word = ~std::uint32_t{0};
  }
  constexpr void RemoveAll() {
    for (std::uint32_t& word : words) word = 0;
  }
  // Flips every bit.
  constexpr void ChangeAll() {
    for (std::uint32_t& word : words) word = ~word;
  }
  // Makes this set the complement of `other`.
  constexpr void Complement(ByteSet const& other) {
    for (unsigned i = 0; i < 8; ++i) words[i] = ~other.words[i];
  }

  // Whether every byte value is in the set.
  constexpr bool All() const {
    for (std::uint32_t word : words) {
      if (word != ~std::uint32_t{0}) return false;
    }
    return true;
  }
  // Whether no byte value is in the set.
  constexpr bool None() const {
    for (std::uint32_t word : words) {
      if (word != 0) return false;
    }
    return true;
  }

  // True for an empty view; else whether each of its bytes is in the set.
  bool ContainsAll(ConstData data) const {
    for (unsigned char const* at = data.begin; at != data.end; ++at) {
      if (!Contains(*at)) return false;
    }
    return true;
  }

  constexpr ByteSet& operator&=(ByteSet const& other) {
    for (unsigned i = 0; i < 8; ++i) words[i] &= other.words[i];
    return *this;
  }
  constexpr ByteSet& operator|=(ByteSet const& other) {
    for (unsigned i = 0; i < 8; ++i) words[i] |= other.words[i];
    return *this;
  }
  constexpr ByteSet& operator^=(ByteSet const& other) {
    for (unsigned i = 0; i < 8; ++i) words[i] ^= other.words[i];
    return *this;
  }
  // Removes the values of `other`.
  constexpr ByteSet& operator-=(ByteSet const& other) {
    for (unsigned i = 0; i < 8; ++i) words[i] &= ~other.words[i];
    return *this;
  }
};

constexpr bool operator==(ByteSet const& left, ByteSet const& right) {
  for (unsigned i = 0; i < 8; ++i) {
    if (left.words[i] != right.words[i]) return false;
  }
  return true;
}
constexpr bool operator!=(ByteSet const& left, ByteSet const& right) { return !(left == right); }

// Whether every value of `left` is in `right`.
constexpr bool operator<=(ByteSet const& left, ByteSet const& right) {
  for (unsigned i = 0; i < 8; ++i) {
    if ((left.words[i] & ~right.words[i]) != 0) return false;
  }
  return true;
}

constexpr ByteSet operator&(ByteSet left, ByteSet const& right) { return left &= right; }
constexpr ByteSet operator|(ByteSet left, ByteSet const& right) { return left |= right; }
constexpr ByteSet operator^(ByteSet left, ByteSet const& right) { return left ^= right; }
constexpr ByteSet operator-(ByteSet left, ByteSet const& right) { return left -= right; }
constexpr ByteSet operator~(ByteSet set) {
  set.ChangeAll();
  return set;
}
