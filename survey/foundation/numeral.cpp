#include "survey/foundation/numeral.h"

#include <cstdint>

#include "survey/foundation/ascii.h"
#include "survey/foundation/checked.h"

void Numeral::MakeDigits(unsigned long long magnitude, unsigned long base) {
  if (base < 2 || base > 36) throw NotANumeral();
  first_ = kStoreSize;
  do {
    store_[--first_] = static_cast<unsigned char>(Digit(magnitude % base));
    magnitude /= base;
  } while (magnitude != 0);
}

void Numeral::PadTo(unsigned long digits) {
  while (DigitCount() < digits && DigitCount() < kDigitRoom) store_[--first_] = '0';
}

Numeral::operator ConstData() const {
  unsigned begin = first_;
  if (negative_) store_[--begin] = '-';
  return ConstData(store_ + begin, store_ + kStoreSize);
}

Numeral::operator unsigned char const*() const {
  ConstData const text = *this;
  unsigned char* const lengthByte = store_ + (text.begin - store_) - 1;
  *lengthByte = static_cast<unsigned char>(text.Length());
  return lengthByte;
}

namespace numeral_detail {

void MakeText(char* text, unsigned long& length, unsigned long long magnitude, bool negative,
              unsigned long base, unsigned long minimumDigits, unsigned long digitCapacity) {
  // The digits come out from the low end: make them at the back of a scratch
  // store, then move them to the front of the text.
  char digits[64];
  unsigned long made = 0;
  while (magnitude != 0 || made < minimumDigits) {
    if (made == digitCapacity || made == sizeof digits) throw ConstDataCapacityExceeded();
    digits[sizeof digits - 1 - made] = Ascii::HexDigit(magnitude % base);
    magnitude /= base;
    ++made;
  }
  unsigned long at = 0;
  if (negative) text[at++] = '-';
  for (unsigned long i = 0; i < made; ++i) text[at++] = digits[sizeof digits - made + i];
  text[at] = '\0';
  length = at;
}

}  // namespace numeral_detail

namespace {

// The digits of a view in a base, into an unsigned accumulator. Every
// character passes three tests, in this order: can the value so far take
// another digit by multiplication, is the character a digit, can the digit
// be added.
template <class U>
U ReadDigits(ConstData text, unsigned base, ByteSet const& digits) {
  if (text.Empty()) throw NotANumeral();
  U value = 0;
  for (unsigned char const* at = text.begin; at != text.end; ++at) {
    if (!CanMultiply(value, static_cast<U>(base))) throw NumeralTooLarge();
    value *= base;
    if (!digits.Contains(*at)) throw NotANumeral();
    U const digit = static_cast<U>(Ascii::HexDigitValue(*at));
    if (!CanAdd(value, digit)) throw NumeralTooLarge();
    value += digit;
  }
  return value;
}

// A leading "-", then the magnitude as an unsigned number of the same width,
// which must fit the signed type.
template <class S>
S ReadSigned(ConstData text) {
  using U = std::make_unsigned_t<S>;
  bool const negative = !text.Empty() && *text.begin == '-';
  if (negative) ++text.begin;
  U const magnitude = ReadDigits<U>(text, 10, Ascii::Numeric());
  U const greatest = static_cast<U>(std::numeric_limits<S>::max());
  if (negative) {
    if (magnitude > greatest + 1) throw NumeralTooLarge();
    return static_cast<S>(U(0) - magnitude);
  }
  if (magnitude > greatest) throw NumeralTooLarge();
  return static_cast<S>(magnitude);
}

}  // namespace

unsigned long long ReadAsciiDecimalNumeral64(ConstData text) {
  return ReadDigits<unsigned long long>(text, 10, Ascii::Numeric());
}

unsigned long ReadAsciiDecimalNumeral(ConstData text) {
  return ReadDigits<std::uint32_t>(text, 10, Ascii::Numeric());
}

long long ReadAsciiSignedDecimalNumeral64(ConstData text) { return ReadSigned<long long>(text); }

long ReadAsciiSignedDecimalNumeral(ConstData text) { return ReadSigned<std::int32_t>(text); }

unsigned long long ReadAsciiHexNumeral64(ConstData text) {
  return ReadDigits<unsigned long long>(text, 16, Ascii::HexDigits());
}

unsigned long ReadAsciiHexNumeral(ConstData text) {
  return ReadDigits<std::uint32_t>(text, 16, Ascii::HexDigits());
}

unsigned long ReadAsciiDecimalNumeral32WithDefault(ConstData text, unsigned long otherwise) {
  try {
    return ReadAsciiDecimalNumeral(text);
  } catch (NotANumeral const&) {
    return otherwise;
  } catch (NumeralTooLarge const&) {
    return otherwise;
  }
}

unsigned long long ReadAsciiDecimalNumeral64WithDefault(ConstData text,
                                                        unsigned long long otherwise) {
  try {
    return ReadAsciiDecimalNumeral64(text);
  } catch (NotANumeral const&) {
    return otherwise;
  } catch (NumeralTooLarge const&) {
    return otherwise;
  }
}

long ReadAsciiSignedDecimalNumeral32WithDefault(ConstData text, long otherwise) {
  try {
    return ReadAsciiSignedDecimalNumeral(text);
  } catch (NotANumeral const&) {
    return otherwise;
  } catch (NumeralTooLarge const&) {
    return otherwise;
  }
}

long long ReadAsciiSignedDecimalNumeral64WithDefault(ConstData text, long long otherwise) {
  try {
    return ReadAsciiSignedDecimalNumeral64(text);
  } catch (NotANumeral const&) {
    return otherwise;
  } catch (NumeralTooLarge const&) {
    return otherwise;
  }
}

unsigned long long ReadUTF8DecimalNumeral64(UStringRef<UTF8> text) {
  return ReadAsciiDecimalNumeral64(EncodingCast<ConstData, UTF8>(text));
}

unsigned long ReadUTF8DecimalNumeral(UStringRef<UTF8> text) {
  return ReadAsciiDecimalNumeral(EncodingCast<ConstData, UTF8>(text));
}
