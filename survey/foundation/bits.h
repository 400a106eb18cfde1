// Table-driven bit operations. Each table has one entry per byte value; the
// functions over wider values work byte by byte from the tables.
#pragma once

#include <array>
#include <climits>

using BitTable = std::array<unsigned char, 256>;

namespace bits_detail {

constexpr BitTable MakeCount() {
  BitTable table{};
  for (unsigned value = 0; value < 256; ++value) {
    unsigned char count = 0;
    for (unsigned bit = 0; bit < 8; ++bit) count += (value >> bit) & 1u;
    table[value] = count;
  }
  return table;
}
// A byte without a zero bit has none to report: its entry is 8, one past
// the highest position, which the wider functions read as "look further".
constexpr BitTable MakeFirstZero() {
  BitTable table{};
  for (unsigned value = 0; value < 256; ++value) {
    unsigned char position = 8;
    for (unsigned bit = 8; bit > 0; --bit) {
      if (((value >> (bit - 1)) & 1u) == 0) position = static_cast<unsigned char>(bit - 1);
    }
    table[value] = position;
  }
  return table;
}
constexpr BitTable MakeLastZero() {
  BitTable table{};
  for (unsigned value = 0; value < 256; ++value) {
    unsigned char position = 8;
    for (unsigned bit = 0; bit < 8; ++bit) {
      if (((value >> bit) & 1u) == 0) position = static_cast<unsigned char>(bit);
    }
    table[value] = position;
  }
  return table;
}
constexpr BitTable MakeReverse() {
  BitTable table{};
  for (unsigned value = 0; value < 256; ++value) {
    unsigned mirrored = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      if ((value >> bit) & 1u) mirrored |= 1u << (7 - bit);
    }
    table[value] = static_cast<unsigned char>(mirrored);
  }
  return table;
}

}  // namespace bits_detail

class Bits {
 public:
  using Table = BitTable;

 private:
  template <class T>
  static constexpr unsigned long CountOf(T value) {
    unsigned long total = 0;
    for (unsigned byte = 0; byte < sizeof(T); ++byte) total += count[(value >> (8 * byte)) & 0xFF];
    return total;
  }
  template <class T>
  static constexpr unsigned long FirstZeroOf(T value) {
    for (unsigned byte = 0; byte < sizeof(T); ++byte) {
      unsigned char const part = static_cast<unsigned char>((value >> (8 * byte)) & 0xFF);
      if (part != 0xFF) return 8 * byte + firstZero[part];
    }
    return sizeof(T) * CHAR_BIT;
  }
  template <class T>
  static constexpr unsigned long LastZeroOf(T value) {
    for (unsigned byte = sizeof(T); byte > 0; --byte) {
      unsigned char const part = static_cast<unsigned char>((value >> (8 * (byte - 1))) & 0xFF);
      if (part != 0xFF) return 8 * (byte - 1) + lastZero[part];
    }
    return sizeof(T) * CHAR_BIT;
  }
  template <class T>
  static constexpr T ReverseOf(T value) {
    T mirrored = 0;
    for (unsigned byte = 0; byte < sizeof(T); ++byte) {
      T const part = reverse[(value >> (8 * byte)) & 0xFF];
      mirrored |= static_cast<T>(part << (8 * (sizeof(T) - 1 - byte)));
    }
    return mirrored;
  }

 public:
  // The number of set bits of each byte value.
  static constexpr Table count = bits_detail::MakeCount();
  // The position of the lowest zero bit of each byte value; 8 for 0xFF.
  static constexpr Table firstZero = bits_detail::MakeFirstZero();
  // The position of the highest zero bit of each byte value; 8 for 0xFF.
  static constexpr Table lastZero = bits_detail::MakeLastZero();
  // Each byte value with its bit order mirrored.
  static constexpr Table reverse = bits_detail::MakeReverse();

  // The number of set bits.
  static constexpr unsigned long Count(unsigned short value) { return CountOf(value); }
  static constexpr unsigned long Count(unsigned long value) { return CountOf(value); }

  // The position of the lowest zero bit. A value without one gives its
  // width in bits.
  static constexpr unsigned long FirstZero(unsigned short value) { return FirstZeroOf(value); }
  static constexpr unsigned long FirstZero(unsigned long value) { return FirstZeroOf(value); }

  // The position of the highest zero bit, so that LastZero(~x) is the
  // position of the highest set bit of x. A value without a zero bit gives
  // its width in bits.
  static constexpr unsigned long LastZero(unsigned short value) { return LastZeroOf(value); }
  static constexpr unsigned long LastZero(unsigned long value) { return LastZeroOf(value); }

  // The bits in mirrored order.
  static constexpr unsigned short Reverse(unsigned short value) { return ReverseOf(value); }
  static constexpr unsigned long Reverse(unsigned long value) { return ReverseOf(value); }
};
