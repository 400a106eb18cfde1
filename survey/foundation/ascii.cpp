#include "survey/foundation/ascii.h"

namespace {

constexpr Ascii::CaseTable MakeCaseTable(unsigned char from, unsigned char to) {
  Ascii::CaseTable table{};
  for (unsigned value = 0; value < 256; ++value) {
    bool const inRange = value >= from && value < from + 26u;
    table[value] = static_cast<unsigned char>(inRange ? value - from + to : value);
  }
  return table;
}

// Whether the table maps each byte of [first, last] by `shift`.
bool RangeShifts(Ascii::CaseTable const& table, unsigned first, unsigned last, int shift) {
  for (unsigned value = first; value <= last; ++value) {
    if (table[value] != static_cast<int>(value) + shift) return false;
  }
  return true;
}

template <class Build>
ByteSet const& Built(Build build) {
  static ByteSet const set = build();
  return set;
}

ByteSet Range(unsigned char first, unsigned char last) {
  ByteSet set;
  set.AddRange(first, last);
  return set;
}

void Map(Ascii::CaseTable const& table, ConstBuffer& input, Buffer& output) {
  while (input.current != input.end && output.current != output.end) {
    *output.current++ = table[*input.current++];
  }
}

Data Map(Ascii::CaseTable const& table, ConstData input, Data output) {
  ConstBuffer in(input);
  Buffer out(output);
  Map(table, in, out);
  return out.Remainder();
}

bool Unchanged(Ascii::CaseTable const& table, ConstData data) {
  for (unsigned char const* at = data.begin; at != data.end; ++at) {
    if (table[*at] != *at) return false;
  }
  return true;
}

int CompareThrough(Ascii::CaseTable const& table, ConstData first, ConstData second) {
  unsigned long const a = first.Length();
  unsigned long const b = second.Length();
  unsigned long const count = a < b ? a : b;
  for (unsigned long i = 0; i < count; ++i) {
    int const difference = table[first.begin[i]] - table[second.begin[i]];
    if (difference != 0) return difference;
  }
  if (a > b) return 1;
  return a < b ? -1 : 0;
}

}  // namespace

Ascii::CaseTable const Ascii::lowercaseTable = MakeCaseTable('A', 'a');
Ascii::CaseTable const Ascii::uppercaseTable = MakeCaseTable('a', 'A');

bool Ascii::CheckCaseTables() {
  return RangeShifts(lowercaseTable, 0, 64, 0) && RangeShifts(uppercaseTable, 0, 64, 0) &&
         RangeShifts(lowercaseTable, 65, 90, 32) && RangeShifts(uppercaseTable, 65, 90, 0) &&
         RangeShifts(lowercaseTable, 91, 96, 0) && RangeShifts(uppercaseTable, 91, 96, 0) &&
         RangeShifts(lowercaseTable, 97, 122, 0) && RangeShifts(uppercaseTable, 97, 122, -32) &&
         RangeShifts(lowercaseTable, 123, 255, 0) && RangeShifts(uppercaseTable, 123, 255, 0);
}

bool Ascii::CaseTablesAreCorrect() {
  static bool const correct = CheckCaseTables();
  return correct;
}

ByteSet const& Ascii::Printable() {
  return Built([] { return Range(33, 126); });
}

ByteSet const& Ascii::Unprintable() {
  return Built([] { return Range(0, 32) | Range(127, 255); });
}

ByteSet const& Ascii::PlainText() {
  return Built([] { return Range(32, 126); });
}

ByteSet const& Ascii::Control() {
  return Built([] { return Range(0, 31) | Range(127, 127); });
}

ByteSet const& Ascii::High() {
  return Built([] { return Range(128, 255); });
}

ByteSet const& Ascii::Low() {
  return Built([] { return Range(0, 127); });
}

ByteSet const& Ascii::WhiteSpace() {
  return Built([] {
    ByteSet set;
    set.Add('\t');
    set.Add('\n');
    set.Add('\r');
    set.Add(' ');
    return set;
  });
}

ByteSet const& Ascii::LinearWhiteSpace() {
  return Built([] {
    ByteSet set;
    set.Add('\t');
    set.Add(' ');
    return set;
  });
}

ByteSet const& Ascii::Alphabetic() {
  return Built([] { return Range('A', 'Z') | Range('a', 'z'); });
}

ByteSet const& Ascii::Numeric() {
  return Built([] { return Range('0', '9'); });
}

ByteSet const& Ascii::Alphanumeric() {
  return Built([] { return Range('0', '9') | Range('A', 'Z') | Range('a', 'z'); });
}

ByteSet const& Ascii::Punctuation() {
  return Built([] { return Range(33, 47) | Range(58, 64) | Range(91, 96) | Range(123, 126); });
}

ByteSet const& Ascii::HexDigits() {
  return Built([] { return Range('0', '9') | Range('A', 'F') | Range('a', 'f'); });
}

ByteSet const& Ascii::Alphabetic_() {
  return Built([] { return Range('A', 'Z') | Range('a', 'z') | Range('_', '_'); });
}

ByteSet const& Ascii::Alphanumeric_() {
  return Built([] { return Range('0', '9') | Range('A', 'Z') | Range('a', 'z') | Range('_', '_'); });
}

ByteSet const& Ascii::LowercaseAlphabet() {
  return Built([] { return Range('a', 'z'); });
}

ByteSet const& Ascii::UppercaseAlphabet() {
  return Built([] { return Range('A', 'Z'); });
}

void Ascii::LowerCase(ConstBuffer& input, Buffer& output) { Map(lowercaseTable, input, output); }

void Ascii::RaiseCase(ConstBuffer& input, Buffer& output) { Map(uppercaseTable, input, output); }

Data Ascii::LowerCase(ConstData input, Data output) { return Map(lowercaseTable, input, output); }

Data Ascii::RaiseCase(ConstData input, Data output) { return Map(uppercaseTable, input, output); }

Ascii::CaseLoweringFilter& Ascii::LowerCase() {
  static CaseLoweringFilter filter;
  return filter;
}

Ascii::CaseRaisingFilter& Ascii::RaiseCase() {
  static CaseRaisingFilter filter;
  return filter;
}

bool Ascii::IsLowercase(ConstData data) { return Unchanged(lowercaseTable, data); }

bool Ascii::IsUppercase(ConstData data) { return Unchanged(uppercaseTable, data); }

bool Ascii::EqualIgnoringCase(ConstData first, ConstData second) {
  if (first.Length() != second.Length()) return false;
  for (unsigned long i = 0; i < first.Length(); ++i) {
    if (lowercaseTable[first.begin[i]] != lowercaseTable[second.begin[i]]) return false;
  }
  return true;
}

int Ascii::CompareLowercase(ConstData first, ConstData second) {
  return CompareThrough(lowercaseTable, first, second);
}

int Ascii::CompareUppercase(ConstData first, ConstData second) {
  return CompareThrough(uppercaseTable, first, second);
}
