// Fuzz target for the number readers, differential against the standard
// library: every reader is run on the input, held in a heap block of exactly
// its size so that any read past it is caught, and its outcome must be what
// std::from_chars says (numeral_oracle.h): the same value where the standard
// library takes the whole text, and the right exception where it does not.
// On texts of plain digits strtoull and strtoll must agree as well, the
// defaulting readers must give the plain read or the default, and a value
// that was read must come back from its own text.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "survey/foundation/numeral.h"
#include "tests/unit/foundation/numeral_oracle.h"

namespace {

using numeral_oracle::Describe;
using numeral_oracle::Outcome;
using numeral_oracle::Result;

[[noreturn]] void Mismatch(char const* reader, char const* text, std::size_t length,
                           std::string const& what) {
  std::fprintf(stderr, "%s of %s: %s\n", reader, numeral_oracle::Printable(text, length).c_str(),
               what.c_str());
  std::abort();
}

template <class T, class Read>
Result Check(char const* name, Read read, char const* text, std::size_t length, int base) {
  Result const expected = numeral_oracle::Expected<T>(text, length, base);
  Result const actual = numeral_oracle::Ours<T>(read, text, length);
  if (!(expected == actual)) {
    Mismatch(name, text, length, "expected " + Describe(expected) + ", got " + Describe(actual));
  }
  return actual;
}

template <class T, class Read>
void CheckDefault(char const* name, Read read, Result const& plain, T otherwise, char const* text,
                  std::size_t length) {
  T const value = read(ConstData(text, length), otherwise);
  T const wanted = plain.outcome == Outcome::kValue ? static_cast<T>(plain.bits) : otherwise;
  if (value != wanted) Mismatch(name, text, length, "the default was not honoured");
}

// The value's own text, made by Numeral, reads back as the value.
template <class T, class Read>
void CheckRoundTrip(char const* name, Read read, Result const& plain, int base) {
  if (plain.outcome != Outcome::kValue) return;
  T const value = static_cast<T>(plain.bits);
  Numeral const numeral(value, static_cast<unsigned long>(base));
  ConstData const text = numeral;
  T const back = static_cast<T>(read(text));
  if (back != value) {
    Mismatch(name, reinterpret_cast<char const*>(text.begin), text.Length(),
             "its own text did not read back");
  }
}

bool PlainDigits(std::string const& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// strtoull and strtoll on texts that are digits, with or without a "-".
void CheckStrto(std::string const& text, Result const& unsigned64, Result const& signed64) {
  bool const negative = !text.empty() && text[0] == '-';
  std::string const digits = negative ? text.substr(1) : text;
  if (!PlainDigits(digits)) return;
  if (!negative) {
    errno = 0;
    unsigned long long const value = std::strtoull(text.c_str(), nullptr, 10);
    Result const expected = errno == ERANGE ? Result{Outcome::kTooLarge, 0}
                                            : Result{Outcome::kValue, value};
    if (!(expected == unsigned64)) {
      Mismatch("ReadAsciiDecimalNumeral64 against strtoull", text.data(), text.size(),
               "expected " + Describe(expected) + ", got " + Describe(unsigned64));
    }
  }
  errno = 0;
  long long const value = std::strtoll(text.c_str(), nullptr, 10);
  Result const expected = errno == ERANGE
                              ? Result{Outcome::kTooLarge, 0}
                              : Result{Outcome::kValue, static_cast<unsigned long long>(value)};
  if (!(expected == signed64)) {
    Mismatch("ReadAsciiSignedDecimalNumeral64 against strtoll", text.data(), text.size(),
             "expected " + Describe(expected) + ", got " + Describe(signed64));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  // A block of exactly the input's size: the readers are given its bounds
  // and nothing else.
  std::unique_ptr<char[]> const block(new char[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(block.get(), data, size);
  char const* const text = size == 0 ? block.get() + 1 : block.get();
  if (size == 0) {
    // The empty view, at the end of its block.
    Check<unsigned long long>("ReadAsciiDecimalNumeral64", ReadAsciiDecimalNumeral64, text, 0, 10);
    return 0;
  }

  Result const u64 =
      Check<unsigned long long>("ReadAsciiDecimalNumeral64", ReadAsciiDecimalNumeral64, text, size, 10);
  Result const u32 =
      Check<std::uint32_t>("ReadAsciiDecimalNumeral", ReadAsciiDecimalNumeral, text, size, 10);
  Result const s64 = Check<long long>("ReadAsciiSignedDecimalNumeral64",
                                      ReadAsciiSignedDecimalNumeral64, text, size, 10);
  Result const s32 = Check<std::int32_t>("ReadAsciiSignedDecimalNumeral",
                                         ReadAsciiSignedDecimalNumeral, text, size, 10);
  Result const h64 =
      Check<unsigned long long>("ReadAsciiHexNumeral64", ReadAsciiHexNumeral64, text, size, 16);
  Result const h32 = Check<std::uint32_t>("ReadAsciiHexNumeral", ReadAsciiHexNumeral, text, size, 16);

  Check<unsigned long long>(
      "ReadUTF8DecimalNumeral64",
      [](ConstData bytes) { return ReadUTF8DecimalNumeral64(UStringRef<UTF8>(bytes)); }, text, size,
      10);
  Check<std::uint32_t>(
      "ReadUTF8DecimalNumeral",
      [](ConstData bytes) { return ReadUTF8DecimalNumeral(UStringRef<UTF8>(bytes)); }, text, size,
      10);

  CheckDefault<unsigned long>("ReadAsciiDecimalNumeral32WithDefault",
                              ReadAsciiDecimalNumeral32WithDefault, u32, 12345ul, text, size);
  CheckDefault<unsigned long long>("ReadAsciiDecimalNumeral64WithDefault",
                                   ReadAsciiDecimalNumeral64WithDefault, u64, 54321ull, text, size);
  CheckDefault<long>("ReadAsciiSignedDecimalNumeral32WithDefault",
                     ReadAsciiSignedDecimalNumeral32WithDefault, s32, -7L, text, size);
  CheckDefault<long long>("ReadAsciiSignedDecimalNumeral64WithDefault",
                          ReadAsciiSignedDecimalNumeral64WithDefault, s64, -9ll, text, size);

  CheckRoundTrip<unsigned long long>("ReadAsciiDecimalNumeral64", ReadAsciiDecimalNumeral64, u64, 10);
  CheckRoundTrip<long long>("ReadAsciiSignedDecimalNumeral64", ReadAsciiSignedDecimalNumeral64, s64,
                            10);
  CheckRoundTrip<unsigned long long>("ReadAsciiHexNumeral64", ReadAsciiHexNumeral64, h64, 16);
  CheckRoundTrip<unsigned long long>("ReadAsciiHexNumeral", ReadAsciiHexNumeral, h32, 16);

  CheckStrto(std::string(text, size), u64, s64);
  return 0;
}
