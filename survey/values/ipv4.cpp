#include "survey/values/ipv4.h"

#include <arpa/inet.h>

#include <cstring>

#include "survey/foundation/ascii.h"
#include "survey/foundation/bits.h"
#include "survey/frame/comparable.h"

namespace {

// The bounds of a string that is read as an address, in bytes.
constexpr unsigned long kShortestAddressText = 7;
constexpr unsigned long kLongestAddressText = 31;

unsigned char* WriteDecimal(unsigned char* out, unsigned value) {
  unsigned char digits[10];
  unsigned count = 0;
  do {
    digits[count++] = static_cast<unsigned char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (count > 0) *out++ = digits[--count];
  return out;
}

// inet_addr answers all ones both for a failure and for the address of all
// ones. This tells them apart: part by part, the rest of the text behind
// that many dots must be one of the spellings of 255, whole.
bool SpellsAllOnes(char const* text) {
  static char const* const kSpellings[] = {"255", "0377", "0xff"};
  for (unsigned part = 0; part < 4; ++part) {
    char const* rest = text;
    for (unsigned dot = 0; dot < part; ++dot) {
      rest = std::strchr(rest, '.');
      if (rest == nullptr) return false;
      ++rest;
    }
    ConstData const remainder(rest);
    bool matched = false;
    for (char const* spelling : kSpellings) {
      unsigned long const length = std::strlen(spelling);
      if (Ascii::EqualIgnoringCase(remainder, ConstData(spelling)) &&
          (rest[length] == '\0' || rest[length] == '.')) {
        matched = true;
      }
    }
    if (!matched) return false;
  }
  return true;
}

surveyor_string InEvaluatorMemory(ConstData text) {
  unsigned long const length = text.Length();
  unsigned char* const bytes = Allocate_Surveyor_Memory(length);
  std::memcpy(bytes, text.begin, length);
  return surveyor_string{bytes, length};
}

}  // namespace

IP4Subnet::IP4Subnet(IPAddress address, unsigned char prefixLength)
    : address_(address), prefixLength_(prefixLength) {
  if (prefixLength > 32) throw SubnetPrefixLengthTooLarge();
  // With a length of 0 the whole word counts as the prefix: nothing lies
  // below it.
  if (prefixLength != 0) {
    IPAddress const below = prefixLength == 32 ? 0u : 0xFFFFFFFFu >> prefixLength;
    if ((address & below) != 0) throw NonCanonicalSubnetAddress();
  }
}

AddressText IPAddressToText(IPAddress address) {
  AddressText text{};
  unsigned char* out = text.bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    out = WriteDecimal(out, (address >> shift) & 0xFFu);
    if (shift != 0) *out++ = '.';
  }
  text.length = static_cast<unsigned long>(out - text.bytes);
  return text;
}

AddressText IP4SubnetToText(IP4Subnet const& subnet) {
  AddressText text = IPAddressToText(subnet.Address());
  unsigned char* out = text.bytes + text.length;
  *out++ = '/';
  out = WriteDecimal(out, subnet.PrefixLength());
  text.length = static_cast<unsigned long>(out - text.bytes);
  return text;
}

surveyor_string IP4SubnetSurveyorString(IPAddress const& address, IPAddress const& mask) {
  IPAddress const network = address & mask;
  // The lowest set bit of the mask is the lowest zero bit of its complement;
  // a mask of 0 has none, and the count is then the full 32 bits.
  unsigned long trailingZeros = Bits::FirstZero(static_cast<unsigned long>(IPAddress(~mask)));
  if (trailingZeros > 32) trailingZeros = 32;
  unsigned long const prefixLength = 32 - trailingZeros;
  if (prefixLength > 32) throw SubnetPrefixLengthTooLarge();
  IP4Subnet const subnet(network, static_cast<unsigned char>(prefixLength));
  return InEvaluatorMemory(IP4SubnetToText(subnet).View());
}

ipv4_address AsIPAddress(surveyor_string const& text) {
  if (text.length < kShortestAddressText || text.length > kLongestAddressText) {
    throw NoSuchObject();
  }
  char buffer[kLongestAddressText + 1];
  std::memcpy(buffer, text.data, text.length);
  buffer[text.length] = '\0';
  in_addr_t const address = inet_addr(buffer);
  if (address == INADDR_NONE && !SpellsAllOnes(buffer)) throw NoSuchObject();
  return ipv4_address{ntohl(address)};
}

surveyor_string AsString(ipv4_address const& address) {
  return InEvaluatorMemory(IPAddressToText(address.address).View());
}

boolean AddressEqualsText(ipv4_address const& address, surveyor_string const& text) {
  return boolean{static_cast<unsigned char>(address == AsIPAddress(text) ? 1 : 0)};
}
boolean AddressLessThanText(ipv4_address const& address, surveyor_string const& text) {
  return boolean{static_cast<unsigned char>(address < AsIPAddress(text) ? 1 : 0)};
}
boolean AddressLessOrEqualText(ipv4_address const& address, surveyor_string const& text) {
  return boolean{static_cast<unsigned char>(address <= AsIPAddress(text) ? 1 : 0)};
}
boolean TextEqualsAddress(surveyor_string const& text, ipv4_address const& address) {
  return boolean{static_cast<unsigned char>(AsIPAddress(text) == address ? 1 : 0)};
}
boolean TextLessThanAddress(surveyor_string const& text, ipv4_address const& address) {
  return boolean{static_cast<unsigned char>(AsIPAddress(text) < address ? 1 : 0)};
}
boolean TextLessOrEqualAddress(surveyor_string const& text, ipv4_address const& address) {
  return boolean{static_cast<unsigned char>(AsIPAddress(text) <= address ? 1 : 0)};
}

// ---------------------------------------------------------------------------
// Registration, in table order: the type, its text form, the address named
// by a string, the comparable group, then the relations with strings in both
// orders. Every result follows from its operands alone.

namespace {

RegistrationTable addresses{
    TypeRow<ipv4_address>(),
    CastRow("string", &AsString, &DependsOnlyOnParameters),
    IndexedRow("ipv4 address", "ipv4 addresses", &AsIPAddress, &DependsOnlyOnParameters),
};

ComparableSurveyorRegistration<ipv4_address> comparable(&DependsOnlyOnParameters);

RegistrationTable textRelations{
    OperatorRow(kOperatorEqual, &AddressEqualsText, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &AddressLessThanText, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &AddressLessOrEqualText, &DependsOnlyOnParameters),
    OperatorRow(kOperatorEqual, &TextEqualsAddress, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessThan, &TextLessThanAddress, &DependsOnlyOnParameters),
    OperatorRow(kOperatorLessOrEqual, &TextLessOrEqualAddress, &DependsOnlyOnParameters),
};

}  // namespace
