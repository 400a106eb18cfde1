// The number readers against the standard library's conversions, over a
// generated set of numerals: the values around 2^31, 2^32, 2^63 and 2^64 in
// decimal and hex, with leading zeros, with signs and with stray bytes.
//
// std::from_chars is the oracle (see numeral_oracle.h); on texts of plain
// digits strtoull and strtoll are asked as well.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "survey/foundation/numeral.h"
#include "tests/unit/foundation/numeral_oracle.h"

namespace {

// Adds a small signed amount to a non-negative number written in `base`.
std::string AddSmall(std::string digits, int amount, int base) {
  auto value = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  auto digit = [](int v) { return static_cast<char>(v < 10 ? '0' + v : 'a' + v - 10); };
  while (amount > 0) {
    int i = static_cast<int>(digits.size()) - 1;
    while (i >= 0 && value(digits[i]) == base - 1) digits[i--] = '0';
    if (i < 0) {
      digits.insert(digits.begin(), '1');
    } else {
      digits[i] = digit(value(digits[i]) + 1);
    }
    --amount;
  }
  while (amount < 0) {
    int i = static_cast<int>(digits.size()) - 1;
    while (value(digits[i]) == 0) digits[i--] = digit(base - 1);
    digits[i] = digit(value(digits[i]) - 1);
    if (digits.size() > 1 && digits[0] == '0') digits.erase(0, 1);
    ++amount;
  }
  return digits;
}

std::vector<std::string> Numerals() {
  // Powers of two, written out by hand.
  std::vector<std::string> const decimalBounds = {"2147483648", "4294967296",
                                                  "9223372036854775808", "18446744073709551616"};
  std::vector<std::string> const hexBounds = {"80000000", "100000000", "8000000000000000",
                                              "10000000000000000"};
  std::vector<std::string> cores = {"0", "1", "9", "10", "42", "99999", "ffff", "FfFf"};
  for (std::string const& bound : decimalBounds) {
    for (int delta = -3; delta <= 3; ++delta) cores.push_back(AddSmall(bound, delta, 10));
    cores.push_back(bound + "0");
  }
  for (std::string const& bound : hexBounds) {
    for (int delta = -3; delta <= 3; ++delta) cores.push_back(AddSmall(bound, delta, 16));
  }
  cores.push_back(std::string(25, '9'));

  std::vector<std::string> texts = {"", "-", "+", "--1", "-+1", " ", "0x10", "0X10"};
  std::vector<std::string> const strays = {" ", "x", std::string(1, '\0'), "\xff", ".", "-", "+",
                                           "\t", "g", "G"};
  for (std::string const& core : cores) {
    for (char const* zeros : {"", "0", "000"}) {
      std::string const padded = std::string(zeros) + core;
      for (std::string const sign : {"", "-", "+"}) {
        std::string const text = sign + padded;
        texts.push_back(text);
        for (std::string const& stray : strays) {
          texts.push_back(stray + text);
          texts.push_back(text + stray);
          if (padded.size() > 1) {
            texts.push_back(sign + padded.substr(0, padded.size() / 2) + stray +
                            padded.substr(padded.size() / 2));
          }
        }
      }
    }
  }
  return texts;
}

using numeral_oracle::Describe;
using numeral_oracle::Outcome;
using numeral_oracle::Result;

std::string Printable(std::string const& text) {
  return numeral_oracle::Printable(text.data(), text.size());
}

template <class T, class Read>
Result Ours(Read read, std::string const& text) {
  return numeral_oracle::Ours<T>(read, text.data(), text.size());
}

class NumeralDifferentialTest : public ::testing::Test {
 protected:
  std::vector<std::string> const texts = Numerals();

  template <class T, class Read>
  void Check(char const* name, Read read, int base) {
    int accepted = 0;
    for (std::string const& text : texts) {
      Result const expected = numeral_oracle::Expected<T>(text.data(), text.size(), base);
      Result const actual = Ours<T>(read, text);
      EXPECT_TRUE(expected == actual) << name << " of " << Printable(text) << ": expected "
                                      << Describe(expected) << ", got " << Describe(actual);
      if (expected.outcome == Outcome::kValue) ++accepted;
    }
    // The set holds both kinds, in good number.
    EXPECT_GT(accepted, 40) << name;
    EXPECT_GT(static_cast<int>(texts.size()) - accepted, 500) << name;
  }
};

TEST_F(NumeralDifferentialTest, UnsignedDecimal64) {
  Check<unsigned long long>("ReadAsciiDecimalNumeral64", ReadAsciiDecimalNumeral64, 10);
}

TEST_F(NumeralDifferentialTest, UnsignedDecimal32) {
  Check<std::uint32_t>("ReadAsciiDecimalNumeral", ReadAsciiDecimalNumeral, 10);
}

TEST_F(NumeralDifferentialTest, SignedDecimal64) {
  Check<long long>("ReadAsciiSignedDecimalNumeral64", ReadAsciiSignedDecimalNumeral64, 10);
}

TEST_F(NumeralDifferentialTest, SignedDecimal32) {
  Check<std::int32_t>("ReadAsciiSignedDecimalNumeral", ReadAsciiSignedDecimalNumeral, 10);
}

TEST_F(NumeralDifferentialTest, Hex64) {
  Check<unsigned long long>("ReadAsciiHexNumeral64", ReadAsciiHexNumeral64, 16);
}

TEST_F(NumeralDifferentialTest, Hex32) {
  Check<std::uint32_t>("ReadAsciiHexNumeral", ReadAsciiHexNumeral, 16);
}

// On texts of digits alone, strtoull and strtoll agree with the readers too,
// and report ERANGE where the readers find the value too large.
TEST_F(NumeralDifferentialTest, PlainDigitsAgreeWithStrtoullAndStrtoll) {
  int checked = 0;
  for (std::string const& text : texts) {
    std::string digits = text;
    bool const negative = !digits.empty() && digits[0] == '-';
    if (negative) digits.erase(0, 1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) continue;
    ++checked;
    if (!negative) {
      errno = 0;
      unsigned long long const value = std::strtoull(digits.c_str(), nullptr, 10);
      Result const actual = Ours<unsigned long long>(ReadAsciiDecimalNumeral64, text);
      if (errno == ERANGE) {
        EXPECT_EQ(Outcome::kTooLarge, actual.outcome) << Printable(text);
      } else {
        EXPECT_TRUE((Result{Outcome::kValue, value} == actual)) << Printable(text);
      }
    }
    errno = 0;
    long long const value = std::strtoll(text.c_str(), nullptr, 10);
    Result const actual = Ours<long long>(ReadAsciiSignedDecimalNumeral64, text);
    if (errno == ERANGE) {
      EXPECT_EQ(Outcome::kTooLarge, actual.outcome) << Printable(text);
    } else {
      EXPECT_TRUE((Result{Outcome::kValue, static_cast<unsigned long long>(value)} == actual))
          << Printable(text);
    }
  }
  EXPECT_GT(checked, 100);
}

}  // namespace
