// IPv4 addresses and subnets: the value type "ipv4 address", its relations
// with itself and with strings, its text form, and the text form of a
// subnet for the surveyors that report one.
#pragma once

#include "survey/foundation/data.h"
#include "survey/frame/boundary.h"

// An address in host order: the first octet is the most significant byte,
// so that comparing two addresses as numbers orders them as addresses.
using IPAddress = unsigned int;

// "ipv4 address". It owns nothing and has no fingerprint.
struct SURVEY_API ipv4_address {
  IPAddress address;

  static constexpr char const* TypeName() { return "ipv4 address"; }
};

inline bool operator==(ipv4_address const& left, ipv4_address const& right) {
  return left.address == right.address;
}
inline bool operator<(ipv4_address const& left, ipv4_address const& right) {
  return left.address < right.address;
}
inline bool operator<=(ipv4_address const& left, ipv4_address const& right) {
  return left.address <= right.address;
}

// A subnet's prefix length is above 32.
class SubnetPrefixLengthTooLarge : public DebuggableException {};
// A subnet's address has a bit set below its prefix.
class NonCanonicalSubnetAddress : public DebuggableException {};

// A network address and its prefix length.
class SURVEY_API IP4Subnet {
 public:
  // Throws SubnetPrefixLengthTooLarge for a length above 32 and
  // NonCanonicalSubnetAddress for an address with a bit set below the
  // prefix. A length of 0 accepts any address.
  IP4Subnet(IPAddress address, unsigned char prefixLength);

  IPAddress Address() const { return address_; }
  unsigned char PrefixLength() const { return prefixLength_; }

 private:
  IPAddress address_;
  unsigned char prefixLength_;
};

// A short text in a store of its own, for the text forms below.
struct SURVEY_API AddressText {
  // "255.255.255.255/32" and a spare byte.
  static constexpr unsigned long kCapacity = 19;
  unsigned char bytes[kCapacity];
  unsigned long length;

  ConstData View() const { return ConstData(bytes, length); }
};

// Dotted decimal, most significant octet first, without leading zeros:
// 7 to 15 characters.
SURVEY_API AddressText IPAddressToText(IPAddress address);
// The address's text, "/" and the prefix length in decimal.
SURVEY_API AddressText IP4SubnetToText(IP4Subnet const& subnet);

// The subnet of an address under a mask, as text in evaluator memory. The
// prefix length is 32 less the number of trailing zero bits of the mask.
SURVEY_API surveyor_string IP4SubnetSurveyorString(IPAddress const& address, IPAddress const& mask);

// The address that a string names, in any form that the C library's
// inet_addr takes, for a string of 7 to 31 bytes. Anything else, and the
// address of all ones, is NoSuchObject.
SURVEY_API ipv4_address AsIPAddress(surveyor_string const& text);
// The text form, in evaluator memory.
SURVEY_API surveyor_string AsString(ipv4_address const& address);

// The relations of an address with a string, the string read by
// AsIPAddress; a string that is no address is NoSuchObject, not false.
SURVEY_API boolean AddressEqualsText(ipv4_address const& address, surveyor_string const& text);
SURVEY_API boolean AddressLessThanText(ipv4_address const& address, surveyor_string const& text);
SURVEY_API boolean AddressLessOrEqualText(ipv4_address const& address, surveyor_string const& text);
SURVEY_API boolean TextEqualsAddress(surveyor_string const& text, ipv4_address const& address);
SURVEY_API boolean TextLessThanAddress(surveyor_string const& text, ipv4_address const& address);
SURVEY_API boolean TextLessOrEqualAddress(surveyor_string const& text, ipv4_address const& address);
