// ASCII character tools: case tables, the common byte sets, case mapping
// over views and cursors, and case-blind comparison. No locale is consulted
// and nothing is allocated.
#pragma once

#include <array>

#include "survey/foundation/byte_set.h"
#include "survey/foundation/data.h"
#include "survey/foundation/data_stream.h"

class Ascii {
 public:
  using CaseTable = std::array<unsigned char, 256>;

  // Map A to Z and a to z between the cases, and every other byte to itself.
  static CaseTable const lowercaseTable;
  static CaseTable const uppercaseTable;

  // Walks both tables against their rule, range by range.
  static bool CheckCaseTables();
  // The result of CheckCaseTables, worked out once.
  static bool CaseTablesAreCorrect();

  // The common sets, each built once.
  static ByteSet const& Printable();          // 33 to 126: no space
  static ByteSet const& Unprintable();        // 0 to 32, 127 to 255
  static ByteSet const& PlainText();          // 32 to 126
  static ByteSet const& Control();            // 0 to 31, 127
  static ByteSet const& High();               // 128 to 255
  static ByteSet const& Low();                // 0 to 127
  static ByteSet const& WhiteSpace();         // tab, line feed, carriage return, space
  static ByteSet const& LinearWhiteSpace();   // tab, space
  static ByteSet const& Alphabetic();         // A to Z, a to z
  static ByteSet const& Numeric();            // 0 to 9
  static ByteSet const& Alphanumeric();       // 0 to 9, A to Z, a to z
  static ByteSet const& Punctuation();        // the printable rest
  static ByteSet const& HexDigits();          // 0 to 9, A to F, a to f
  static ByteSet const& Alphabetic_();        // Alphabetic and "_"
  static ByteSet const& Alphanumeric_();      // Alphanumeric and "_"
  static ByteSet const& LowercaseAlphabet();  // a to z
  static ByteSet const& UppercaseAlphabet();  // A to Z

  // Map as much of the input as the output takes and advance both cursors.
  static void LowerCase(ConstBuffer& input, Buffer& output);
  static void RaiseCase(ConstBuffer& input, Buffer& output);
  // The same over views; give the part of the output that was not written.
  static Data LowerCase(ConstData input, Data output);
  static Data RaiseCase(ConstData input, Data output);

  class CaseLoweringFilter : public DataFilter {
   public:
    using DataFilter::operator();
    void operator()(ConstBuffer& input, Buffer& output) override { LowerCase(input, output); }
  };
  class CaseRaisingFilter : public DataFilter {
   public:
    using DataFilter::operator();
    void operator()(ConstBuffer& input, Buffer& output) override { RaiseCase(input, output); }
  };
  // The single filters.
  static CaseLoweringFilter& LowerCase();
  static CaseRaisingFilter& RaiseCase();

  // Whether the table leaves every byte as it is.
  static bool IsLowercase(ConstData data);
  static bool IsUppercase(ConstData data);

  // Different lengths are unequal; else a compare through lowercaseTable.
  static bool EqualIgnoringCase(ConstData first, ConstData second);
  // Over the shorter length through the table, the difference of the first
  // differing mapped bytes; with none, 1, -1 or 0 by length. The two order
  // the letters differently against the bytes "[" to "`".
  static int CompareLowercase(ConstData first, ConstData second);
  static int CompareUppercase(ConstData first, ConstData second);

  // The value of a hex digit. There is no validation: the caller has tested
  // the byte against HexDigits.
  static int HexDigitValue(unsigned char digit) {
    return digit > '9' ? static_cast<int>(lowercaseTable[digit]) - 87 : static_cast<int>(digit) - 48;
  }
  // Below 10 a decimal digit, from 10 up a lower-case letter.
  static char HexDigit(unsigned long value) {
    return static_cast<char>(value < 10 ? '0' + value : 'a' + (value - 10));
  }
};
