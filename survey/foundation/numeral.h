// Number text in both directions, without any locale and without
// allocation.
//
// Reading takes a view that must hold nothing but digits (and, for the signed
// forms, one leading "-"): no white space, no "+", no prefix. Each character
// is checked in the same order: first whether the value so far can be
// multiplied by the base, then whether the character is a digit, then whether
// the digit can be added. A reader never returns a partial value.
#pragma once

#include <climits>
#include <limits>
#include <type_traits>

#include "survey/foundation/data.h"
#include "survey/foundation/encoding.h"

// The text is not a number in the form asked for.
class NotANumeral : public DebuggableException {};
// The number does not fit the type asked for.
class NumeralTooLarge : public DebuggableException {};

// The text of a number in a base from 2 to 36, made from the low end into a
// store of its own with room for 64 binary digits and a sign. A negative
// number's text starts with "-"; a positive one has no sign character.
class Numeral {
 public:
  // A base outside 2 to 36 throws NotANumeral.
  Numeral(signed char value, unsigned long base = 10) { Make(value, base); }
  Numeral(unsigned char value, unsigned long base = 10) { Make(value, base); }
  Numeral(int value, unsigned long base = 10) { Make(value, base); }
  Numeral(unsigned int value, unsigned long base = 10) { Make(value, base); }
  Numeral(short value, unsigned long base = 10) { Make(value, base); }
  Numeral(unsigned short value, unsigned long base = 10) { Make(value, base); }
  Numeral(long value, unsigned long base = 10) { Make(value, base); }
  Numeral(unsigned long value, unsigned long base = 10) { Make(value, base); }
  Numeral(long long value, unsigned long base = 10) { Make(value, base); }
  Numeral(unsigned long long value, unsigned long base = 10) { Make(value, base); }

  // "-" for a negative value, "+" for a positive one and a blank for zero.
  template <class T>
  static char Sign(T value) {
    if (IsNegative(value)) return '-';
    return value != 0 ? '+' : ' ';
  }
  // Below 10 a decimal digit, from 10 up a lower-case letter.
  static char Digit(unsigned long value) {
    return static_cast<char>(value < 10 ? '0' + value : 'a' + (value - 10));
  }

  // Puts "0" digits in front until there are at least `digits` of them, or
  // the store is full. The sign is not counted.
  void PadTo(unsigned long digits);

  unsigned long DigitCount() const { return kStoreSize - first_; }
  bool Negative() const { return negative_; }
  // The sign character of the value, as Sign gives it.
  char SignCharacter() const { return sign_; }

  // The text, with the sign in front if the number is negative. The view
  // lies in the numeral's own store and lives as long as the numeral.
  operator ConstData() const;
  // The same text with one length byte in front of it and no terminator.
  operator unsigned char const*() const;

 private:
  template <class T>
  static bool IsNegative(T value) {
    if constexpr (std::is_signed_v<T>) {
      return value < 0;
    } else {
      return false;
    }
  }

  static constexpr unsigned kDigitRoom = 64;
  // A length byte, a sign, the digits.
  static constexpr unsigned kStoreSize = 2 + kDigitRoom;

  template <class T>
  void Make(T value, unsigned long base) {
    using U = std::make_unsigned_t<T>;
    sign_ = Sign(value);
    negative_ = IsNegative(value);
    // The magnitude of a negative value by negation at the full width of
    // its type, so that the least value of a signed type comes out whole.
    U const magnitude = negative_ ? static_cast<U>(U(0) - static_cast<U>(value))
                                  : static_cast<U>(value);
    MakeDigits(static_cast<unsigned long long>(magnitude), base);
  }
  void MakeDigits(unsigned long long magnitude, unsigned long base);

  // The index of the first digit in the store.
  unsigned first_;
  char sign_;
  bool negative_;
  mutable unsigned char store_[kStoreSize];
};

// The text made by the MakeAscii functions: its length, and the digits with
// a terminator, in a store that holds `Capacity` characters.
template <unsigned long Capacity>
class NumeralText {
 public:
  unsigned long length = 0;
  char text[Capacity + 1] = {};

  static constexpr unsigned long kCapacity = Capacity;

  char const* CString() const { return text; }
  operator ConstData() const { return ConstData(text, length); }
};

namespace numeral_detail {

// Decimal digits in the widest value of an unsigned type.
template <class U>
constexpr unsigned long DecimalDigits() {
  unsigned long digits = 1;
  for (U value = static_cast<U>(~U(0)); value >= 10; value /= 10) ++digits;
  return digits;
}

// Decimal digits in the greatest value of a signed type, which the
// magnitude of its least value has too.
template <class S>
constexpr unsigned long SignedDecimalDigits() {
  unsigned long digits = 1;
  for (S value = std::numeric_limits<S>::max(); value >= 10; value /= 10) ++digits;
  return digits;
}

template <class U>
constexpr unsigned long HexDigits() {
  return sizeof(U) * 2;
}

// Writes the digits of `magnitude` in `base`, at least `minimumDigits` of
// them, behind a "-" if `negative`; throws ConstDataCapacityExceeded if
// more than `digitCapacity` digits are needed.
void MakeText(char* text, unsigned long& length, unsigned long long magnitude, bool negative,
              unsigned long base, unsigned long minimumDigits, unsigned long digitCapacity);

template <unsigned long DigitCapacity, bool Signed>
NumeralText<DigitCapacity + (Signed ? 1 : 0)> Make(unsigned long long magnitude, bool negative,
                                                   unsigned long base,
                                                   unsigned long minimumDigits) {
  NumeralText<DigitCapacity + (Signed ? 1 : 0)> result;
  MakeText(result.text, result.length, magnitude, negative, base, minimumDigits, DigitCapacity);
  return result;
}

template <class S>
unsigned long long MagnitudeOf(S value) {
  using U = std::make_unsigned_t<S>;
  return value < 0 ? static_cast<U>(U(0) - static_cast<U>(value)) : static_cast<U>(value);
}

}  // namespace numeral_detail

// Reading. Each throws NotANumeral for an empty view or a character that is
// not a digit, and NumeralTooLarge for a value that does not fit.
unsigned long long ReadAsciiDecimalNumeral64(ConstData text);
// Up to 32 bits.
unsigned long ReadAsciiDecimalNumeral(ConstData text);
// A leading "-", then the magnitude; the value must fit the signed type.
long long ReadAsciiSignedDecimalNumeral64(ConstData text);
// The 32-bit form: the value must fit 32 signed bits.
long ReadAsciiSignedDecimalNumeral(ConstData text);
// Hex digits in either case, with no prefix.
unsigned long long ReadAsciiHexNumeral64(ConstData text);
unsigned long ReadAsciiHexNumeral(ConstData text);

// The plain reads, giving the default instead of any exception.
unsigned long ReadAsciiDecimalNumeral32WithDefault(ConstData text, unsigned long otherwise);
unsigned long long ReadAsciiDecimalNumeral64WithDefault(ConstData text,
                                                        unsigned long long otherwise);
long ReadAsciiSignedDecimalNumeral32WithDefault(ConstData text, long otherwise);
long long ReadAsciiSignedDecimalNumeral64WithDefault(ConstData text, long long otherwise);

unsigned long long ReadUTF8DecimalNumeral64(UStringRef<UTF8> text);
unsigned long ReadUTF8DecimalNumeral(UStringRef<UTF8> text);

// Making. Digits are made while the number is not zero or fewer than the
// minimum have been made, so zero with a minimum of 0 gives the empty text.
// More digits than the store holds throws ConstDataCapacityExceeded.
inline NumeralText<numeral_detail::DecimalDigits<unsigned long long>()>
MakeAsciiDecimalNumeral64(unsigned long long value, unsigned long minimumDigits) {
  return numeral_detail::Make<numeral_detail::DecimalDigits<unsigned long long>(), false>(
      value, false, 10, minimumDigits);
}

inline NumeralText<numeral_detail::HexDigits<unsigned long long>()> MakeAsciiHexNumeral64(
    unsigned long long value, unsigned long minimumDigits) {
  return numeral_detail::Make<numeral_detail::HexDigits<unsigned long long>(), false>(
      value, false, 16, minimumDigits);
}

inline NumeralText<numeral_detail::DecimalDigits<unsigned long>()> MakeAsciiDecimalNumeral(
    unsigned long value, unsigned long minimumDigits) {
  return numeral_detail::Make<numeral_detail::DecimalDigits<unsigned long>(), false>(
      value, false, 10, minimumDigits);
}

inline NumeralText<numeral_detail::HexDigits<unsigned long>()> MakeAsciiHexNumeral(
    unsigned long value, unsigned long minimumDigits) {
  return numeral_detail::Make<numeral_detail::HexDigits<unsigned long>(), false>(
      value, false, 16, minimumDigits);
}

// The store holds the digits of the widest magnitude of the type and a sign.
inline NumeralText<numeral_detail::SignedDecimalDigits<long long>() + 1>
MakeAsciiSignedDecimalNumeral64(long long value, unsigned long minimumDigits) {
  constexpr unsigned long kDigits = numeral_detail::SignedDecimalDigits<long long>();
  return numeral_detail::Make<kDigits, true>(numeral_detail::MagnitudeOf(value), value < 0, 10,
                                             minimumDigits);
}

inline NumeralText<numeral_detail::SignedDecimalDigits<long>() + 1> MakeAsciiSignedDecimalNumeral(
    long value, unsigned long minimumDigits) {
  constexpr unsigned long kDigits = numeral_detail::SignedDecimalDigits<long>();
  return numeral_detail::Make<kDigits, true>(numeral_detail::MagnitudeOf(value), value < 0, 10,
                                             minimumDigits);
}
