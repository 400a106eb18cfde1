// What the standard library says a number reader must do with a text.
//
// std::from_chars takes exactly the forms the readers take (digits only, no
// white space, no "+", no prefix, and for the signed types one leading "-"),
// so it is the oracle: where it consumes the whole text, the reader must give
// the same value, and where it does not, the reader must throw. Which
// exception is decided with the standard library too: for each character the
// readers first test whether the value so far can take another digit, then
// whether the character is a digit.
//
// Shared by the unit tests and the fuzz target.
#pragma once

#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>
#include <type_traits>

#include "survey/foundation/numeral.h"

namespace numeral_oracle {

enum class Outcome { kValue, kNotANumeral, kTooLarge };

struct Result {
  Outcome outcome;
  unsigned long long bits;  // the value, as the bits of a 64-bit number

  bool operator==(Result const& other) const {
    return outcome == other.outcome && (outcome != Outcome::kValue || bits == other.bits);
  }
};

inline std::string Describe(Result const& result) {
  switch (result.outcome) {
    case Outcome::kValue:
      return "value " + std::to_string(result.bits);
    case Outcome::kNotANumeral:
      return "NotANumeral";
    case Outcome::kTooLarge:
      return "NumeralTooLarge";
  }
  return "?";
}

// Runs a reader, turning its exceptions into outcomes. The value is taken
// at the width of T.
template <class T, class Read>
Result Ours(Read read, char const* text, std::size_t length) {
  try {
    T const value = static_cast<T>(read(ConstData(text, length)));
    return {Outcome::kValue, static_cast<unsigned long long>(value)};
  } catch (NotANumeral const&) {
    return {Outcome::kNotANumeral, 0};
  } catch (NumeralTooLarge const&) {
    return {Outcome::kTooLarge, 0};
  }
}

inline bool IsDigit(char c, int base) {
  if (c >= '0' && c <= '9') return true;
  if (base == 16) return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  return false;
}

// Whether from_chars finds the digits too large for T.
template <class T>
bool OutOfRange(std::string const& digits, int base) {
  T value{};
  auto const result = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  return result.ec == std::errc::result_out_of_range;
}

template <class T>
Result Expected(char const* text, std::size_t length, int base) {
  T value{};
  char const* const last = text + length;
  auto const result = std::from_chars(text, last, value, base);
  if (result.ec == std::errc() && result.ptr == last) {
    return {Outcome::kValue, static_cast<unsigned long long>(value)};
  }
  // Refused. The readers work on the magnitude's digits as an unsigned
  // number of the width of T.
  using U = std::make_unsigned_t<T>;
  std::string digits(text, length);
  bool const negative = std::is_signed_v<T> && !digits.empty() && digits[0] == '-';
  if (negative) digits.erase(0, 1);
  std::size_t run = 0;
  while (run < digits.size() && IsDigit(digits[run], base)) ++run;
  if (run == 0) return {Outcome::kNotANumeral, 0};
  std::string const prefix = digits.substr(0, run);
  if (OutOfRange<U>(prefix, base)) return {Outcome::kTooLarge, 0};
  // All digits, fitting the unsigned width but not the signed type.
  if (run == digits.size()) return {Outcome::kTooLarge, 0};
  // A stray byte behind the run: the multiplication is tested first.
  return OutOfRange<U>(prefix + "0", base) ? Result{Outcome::kTooLarge, 0}
                                           : Result{Outcome::kNotANumeral, 0};
}

inline std::string Printable(char const* text, std::size_t length) {
  static char const kHex[] = "0123456789abcdef";
  std::string out = "\"";
  for (std::size_t i = 0; i < length; ++i) {
    unsigned char const c = static_cast<unsigned char>(text[i]);
    if (c >= 32 && c < 127 && c != '"' && c != '\\') {
      out += static_cast<char>(c);
    } else {
      out += "\\x";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out + "\"";
}

}  // namespace numeral_oracle
