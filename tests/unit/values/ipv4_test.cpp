// IPv4 addresses: reading them from strings, their text forms, their order
// and relations, subnets, and what the unit registers.

#include "survey/values/ipv4.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "host/engine/calls.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/comparable.h"
#include "tests/unit/values/relation_calls.h"

namespace {

using survey::host::Evaluation;
using survey::host::OperatorEntry;
using survey::host::PropertyEntry;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;
using survey::test::Text;
using survey::test::View;

std::string Text(AddressText const& text) {
  return std::string(reinterpret_cast<char const*>(text.bytes), text.length);
}

// The address a string names, as text, or "none".
std::string Read(std::string const& text) {
  try {
    return Text(IPAddressToText(AsIPAddress(View(text)).address));
  } catch (NoSuchObject const&) {
    return "none";
  }
}

constexpr IPAddress Address(unsigned a, unsigned b, unsigned c, unsigned d) {
  return (a << 24) | (b << 16) | (c << 8) | d;
}

class Ipv4Test : public ::testing::Test {
 protected:
  survey::test::StringTypeHost host;
};

// ---------------------------------------------------------------------------
// Reading.

TEST_F(Ipv4Test, DottedDecimalOctalAndHexadecimalParts) {
  EXPECT_EQ("1.2.3.4", Read("1.2.3.4"));
  EXPECT_EQ("1.2.3.4", Read("01.02.03.04"));
  EXPECT_EQ("127.0.0.1", Read("0x7f.0.0.1"));
  EXPECT_EQ("10.0.0.255", Read("10.0.0.0377"));
  EXPECT_EQ("192.168.1.77", Read("192.168.1.77"));
  EXPECT_EQ("0.0.0.0", Read("0.0.0.0"));
}

TEST_F(Ipv4Test, TheFirstOctetIsTheMostSignificantByte) {
  EXPECT_EQ(Address(1, 2, 3, 4), AsIPAddress(View("1.2.3.4")).address);
  EXPECT_EQ(0x0102030Au, AsIPAddress(View("1.2.3.10")).address);
}

TEST_F(Ipv4Test, ShorterFormsPassWhenTheLengthAllows) {
  EXPECT_EQ("127.0.0.1", Read("127.0.1"));     // 7 bytes: three parts
  EXPECT_EQ("10.0.4.210", Read("10.0.1234"));  // the last part fills two octets
  EXPECT_EQ("0.0.167.46", Read("0123456"));    // one octal part of 7 bytes
  EXPECT_EQ("none", Read("10.1"));             // 4 bytes
  EXPECT_EQ("none", Read("1.2.3"));            // 5 bytes
  EXPECT_EQ("none", Read(""));
}

TEST_F(Ipv4Test, LengthsFromSevenToThirtyOneAreRead) {
  // The C library's reader takes trailing white space and what follows it;
  // whatever it takes is taken up to 31 bytes, and nothing from 32 on.
  std::string text = "1.2.3.4";
  text.resize(31, ' ');
  EXPECT_EQ(INADDR_NONE == inet_addr(text.c_str()) ? "none" : "1.2.3.4", Read(text));
  std::string tooLong = "1.2.3.4";
  tooLong.resize(32, ' ');
  EXPECT_EQ("none", Read(tooLong));
  std::string digits(32, '1');
  digits[1] = '.';
  EXPECT_EQ("none", Read(digits));
}

TEST_F(Ipv4Test, MalformedTextIsNoAddress) {
  EXPECT_EQ("none", Read("999.1.1.1"));
  EXPECT_EQ("none", Read("1.2.3.4.5"));
  EXPECT_EQ("none", Read("1.2.3.256"));
  EXPECT_EQ("none", Read("a.b.c.d.e"));
  EXPECT_EQ("none", Read("1.2.3.4x"));
  EXPECT_EQ("none", Read("-1.2.3.4"));
  EXPECT_EQ("none", Read("1..2.3.4"));
  EXPECT_EQ("none", Read("0x100.0.0.1"));
  EXPECT_EQ("none", Read("08.0.0.1"));  // 8 is no octal digit
}

TEST_F(Ipv4Test, TheAddressOfAllOnesIsNeverReadFromAString) {
  EXPECT_EQ("none", Read("255.255.255.255"));
  EXPECT_EQ("none", Read("0377.0377.0377.0377"));
  EXPECT_EQ("none", Read("0xff.0xff.0xff.0xff"));
  EXPECT_EQ("none", Read("0XFF.0xFF.255.0377"));
  EXPECT_EQ("none", Read("0xffffffff"));
  // It can still be made otherwise, and then it prints.
  EXPECT_EQ("255.255.255.255", Text(IPAddressToText(0xFFFFFFFFu)));
}

TEST_F(Ipv4Test, TextStopsAtAnEmbeddedNul) {
  std::string const text("1.2.3.4\0garbage", 15);
  EXPECT_EQ("1.2.3.4", Read(text));
}

TEST_F(Ipv4Test, AgreesWithTheCLibraryWithinTheLengthBounds) {
  // Whatever the C library's reader answers is the answer, as long as the
  // length is from 7 to 31 and the answer is not all ones.
  std::vector<std::string> const texts{"10.20.30.40",     "0x0a.0x14.0x1e.0x28",
                                       "012.024.036.050", "1.2.3.4 trailing",
                                       "4294967294",      "0xfffffffe",
                                       "1.16777215",      "1.2.65535",
                                       "1.2.65536",       "1.16777216",
                                       "00000000001.2.3", "0x.0.0.0",
                                       "1.2.3.4\t",       " 1.2.3.4",
                                       "1.2.3.4\n5",      "1.2.3.04294967295"};
  for (std::string const& text : texts) {
    SCOPED_TRACE(text);
    in_addr_t const expected = inet_addr(text.c_str());
    bool const readable = text.size() >= 7 && text.size() <= 31 && expected != INADDR_NONE;
    if (readable) {
      EXPECT_EQ(ntohl(expected), AsIPAddress(View(text)).address);
    } else {
      EXPECT_THROW(AsIPAddress(View(text)), NoSuchObject);
    }
  }
}

// ---------------------------------------------------------------------------
// Text forms.

TEST_F(Ipv4Test, DottedTextHasNoLeadingZerosAndSevenToFifteenCharacters) {
  EXPECT_EQ("0.0.0.0", Text(IPAddressToText(0)));
  EXPECT_EQ("10.0.0.2", Text(IPAddressToText(Address(10, 0, 0, 2))));
  EXPECT_EQ("1.20.100.255", Text(IPAddressToText(Address(1, 20, 100, 255))));
  EXPECT_EQ("200.100.10.1", Text(IPAddressToText(Address(200, 100, 10, 1))));
  EXPECT_EQ(7u, IPAddressToText(0).length);
  EXPECT_EQ(15u, IPAddressToText(Address(255, 254, 253, 252)).length);
}

TEST_F(Ipv4Test, TheStringCastWritesIntoEvaluatorMemory) {
  surveyor_string const text = AsString(ipv4_address{Address(172, 16, 0, 9)});
  EXPECT_EQ("172.16.0.9", Text(text));
  EXPECT_EQ("1.2.3.4", Text(AsString(AsIPAddress(View("01.02.03.04")))));
}

// ---------------------------------------------------------------------------
// Subnets.

TEST_F(Ipv4Test, SubnetOfAnAddressUnderAMask) {
  IPAddress const address = Address(192, 168, 1, 77);
  EXPECT_EQ("192.168.1.0/24", Text(IP4SubnetSurveyorString(address, Address(255, 255, 255, 0))));
  EXPECT_EQ("192.168.1.77/32", Text(IP4SubnetSurveyorString(address, Address(255, 255, 255, 255))));
  EXPECT_EQ("0.0.0.0/0", Text(IP4SubnetSurveyorString(address, 0)));
  EXPECT_EQ("192.168.0.0/17", Text(IP4SubnetSurveyorString(address, Address(255, 255, 128, 0))));
  EXPECT_EQ("128.0.0.0/1", Text(IP4SubnetSurveyorString(address, Address(128, 0, 0, 0))));
}

TEST_F(Ipv4Test, AMaskWithAHoleCountsOnlyItsLowZeros) {
  // 255.0.255.0: eight trailing zeros, so the length is 24, though eight of
  // the prefix's bits are clear.
  EXPECT_EQ("192.0.1.0/24",
            Text(IP4SubnetSurveyorString(Address(192, 168, 1, 77), Address(255, 0, 255, 0))));
  EXPECT_EQ("0.0.0.1/32", Text(IP4SubnetSurveyorString(Address(192, 168, 1, 77), 1)));
}

TEST_F(Ipv4Test, SubnetTextIsTheAddressASlashAndTheLength) {
  EXPECT_EQ("10.0.0.0/8", Text(IP4SubnetToText(IP4Subnet(Address(10, 0, 0, 0), 8))));
  EXPECT_EQ("0.0.0.0/0", Text(IP4SubnetToText(IP4Subnet(0, 0))));
  EXPECT_EQ("255.255.255.255/32",
            Text(IP4SubnetToText(IP4Subnet(Address(255, 255, 255, 255), 32))));
}

TEST_F(Ipv4Test, ASubnetRefusesALengthAbove32AndBitsBelowItsPrefix) {
  EXPECT_THROW(IP4Subnet(0, 33), SubnetPrefixLengthTooLarge);
  EXPECT_THROW(IP4Subnet(0, 255), SubnetPrefixLengthTooLarge);
  EXPECT_THROW(IP4Subnet(Address(192, 168, 1, 77), 24), NonCanonicalSubnetAddress);
  EXPECT_THROW(IP4Subnet(Address(10, 0, 0, 1), 31), NonCanonicalSubnetAddress);
  EXPECT_NO_THROW(IP4Subnet(Address(10, 0, 0, 2), 31));
  EXPECT_NO_THROW(IP4Subnet(Address(10, 0, 0, 1), 32));
  // A length of 0 takes the whole word as the prefix: any address passes.
  EXPECT_EQ("1.2.3.4/0", Text(IP4SubnetToText(IP4Subnet(Address(1, 2, 3, 4), 0))));
}

// ---------------------------------------------------------------------------
// Order and relations, through the registered operators.

class Ipv4RelationsTest : public Ipv4Test {
 protected:
  // The registered operator of that code for the two types, called.
  template <class L, class R>
  bool Relation(int code, char const* leftType, L const& left, char const* rightType,
                R const& right) {
    return survey::test::CallRelation(code, leftType, left, rightType, right);
  }
  bool Less(std::string const& left, std::string const& right) {
    return Relation(kOperatorLessThan, "ipv4 address", AsIPAddress(View(left)), "ipv4 address",
                    AsIPAddress(View(right)));
  }
};

TEST_F(Ipv4RelationsTest, OrderIsNumericNotTextual) {
  EXPECT_TRUE(Less("10.0.0.2", "10.0.0.10"));
  EXPECT_FALSE(Less("10.0.0.10", "10.0.0.2"));
  EXPECT_TRUE(Less("9.255.255.255", "10.0.0.0"));
  EXPECT_FALSE(Less("10.0.0.0", "9.255.255.255"));
  EXPECT_FALSE(Less("10.0.0.1", "10.0.0.1"));
  EXPECT_TRUE(Less("127.255.255.255", "128.0.0.0"));
}

TEST_F(Ipv4RelationsTest, EqualAndLessOrEqualOfTwoAddresses) {
  ipv4_address const a = AsIPAddress(View("10.0.0.1"));
  ipv4_address const same = AsIPAddress(View("012.0.0.01"));
  ipv4_address const b = AsIPAddress(View("10.0.0.2"));
  EXPECT_TRUE(Relation(kOperatorEqual, "ipv4 address", a, "ipv4 address", same));
  EXPECT_FALSE(Relation(kOperatorEqual, "ipv4 address", a, "ipv4 address", b));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "ipv4 address", a, "ipv4 address", same));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "ipv4 address", a, "ipv4 address", b));
  EXPECT_FALSE(Relation(kOperatorLessOrEqual, "ipv4 address", b, "ipv4 address", a));
}

TEST_F(Ipv4RelationsTest, AStringOnEitherSideIsReadAsAnAddress) {
  ipv4_address const address = AsIPAddress(View("10.0.0.10"));
  std::string const same = "10.0.0.012";  // octal 012 is 10
  std::string const above = "10.0.0.11";
  std::string const below = "10.0.0.9";
  EXPECT_TRUE(Relation(kOperatorEqual, "ipv4 address", address, "string", View(same)));
  EXPECT_TRUE(Relation(kOperatorEqual, "string", View(same), "ipv4 address", address));
  EXPECT_FALSE(Relation(kOperatorEqual, "ipv4 address", address, "string", View(above)));
  EXPECT_TRUE(Relation(kOperatorLessThan, "ipv4 address", address, "string", View(above)));
  EXPECT_FALSE(Relation(kOperatorLessThan, "ipv4 address", address, "string", View(below)));
  EXPECT_TRUE(Relation(kOperatorLessThan, "string", View(below), "ipv4 address", address));
  EXPECT_FALSE(Relation(kOperatorLessThan, "string", View(above), "ipv4 address", address));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "ipv4 address", address, "string", View(same)));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "string", View(same), "ipv4 address", address));
  EXPECT_FALSE(Relation(kOperatorLessOrEqual, "string", View(above), "ipv4 address", address));
}

TEST_F(Ipv4RelationsTest, AStringThatIsNoAddressFailsInsteadOfAnsweringFalse) {
  ipv4_address const address = AsIPAddress(View("1.2.3.4"));
  std::string const x = "x";
  std::string const bad = "999.1.1.1";
  for (int code : {kOperatorEqual, kOperatorLessThan, kOperatorLessOrEqual}) {
    EXPECT_THROW(Relation(code, "ipv4 address", address, "string", View(x)), NoSuchObject);
    EXPECT_THROW(Relation(code, "string", View(bad), "ipv4 address", address), NoSuchObject);
  }
}

// ---------------------------------------------------------------------------
// What the unit registers, in order.

TEST_F(Ipv4Test, RegistersTheTypeTextFormLookupGroupAndStringRelationsInOrder) {
  std::vector<RegistryEvent> const& journal = Registry::Default().Journal();
  auto const start = std::find_if(journal.begin(), journal.end(), [](RegistryEvent const& e) {
    return e.kind == RecordKind::kType && e.name == "ipv4 address";
  });
  ASSERT_NE(journal.end(), start);
  std::vector<std::string> lines;
  for (auto event = start; event != journal.end() && lines.size() < 18; ++event) {
    if (event->action == RegistryEvent::kRegistered) lines.emplace_back(event->name);
  }
  EXPECT_EQ((std::vector<std::string>{"ipv4 address", "string", "ipv4 address", "operator 6",
                                      "operator 7", "operator 8", "ipv4 address with multiplicity",
                                      "unique value", "multiplicity", "minimum", "maximum",
                                      "extrema", "operator 6", "operator 7", "operator 8",
                                      "operator 6", "operator 7", "operator 8"}),
            lines);

  Registry const& registry = Registry::Default();
  TypeEntry const* const type = registry.FindType("ipv4 address");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(4u, type->size);
  EXPECT_EQ(nullptr, type->fingerprint);
  EXPECT_EQ("", type->baseName);

  TypeEntry const* const string = registry.FindType("string");
  PropertyEntry const* const lookup = registry.FindProperty("ipv4 addresses", string, nullptr);
  ASSERT_NE(nullptr, lookup);
  EXPECT_EQ("ipv4 address", lookup->singular);
  EXPECT_EQ("ipv4 address", lookup->result);
  EXPECT_EQ(&DependsOnlyOnParameters, lookup->dependency);

  // The operators in the order of the table: with itself, then with a
  // string on the right, then on the left.
  std::vector<std::pair<std::string, std::string>> operands;
  for (OperatorEntry const* entry : registry.Operators()) {
    if (entry->left != "ipv4 address" && entry->right != "ipv4 address") continue;
    EXPECT_EQ("boolean", entry->result);
    EXPECT_EQ(&DependsOnlyOnParameters, entry->dependency);
    operands.emplace_back(entry->left, entry->right);
  }
  using Pair = std::pair<std::string, std::string>;
  Pair const self{"ipv4 address", "ipv4 address"};
  Pair const right{"ipv4 address", "string"};
  Pair const left{"string", "ipv4 address"};
  EXPECT_EQ((std::vector<Pair>{self, self, self, right, right, right, left, left, left}), operands);

  for (PropertyEntry const* entry : registry.Properties()) {
    if (entry->object == "ipv4 address" || entry->object == "ipv4 address with multiplicity") {
      EXPECT_EQ(&DependsOnlyOnParameters, entry->dependency) << entry->singular;
    }
  }
}

}  // namespace
