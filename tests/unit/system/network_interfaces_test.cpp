// Network interfaces: the walk of the interface table against a simulated
// kernel (aliases, interfaces that are down, the table's growing buffer,
// failures), the cache and the properties over it, and the real machine,
// compared with what `ip` and /sys/class/net report, both in this network
// namespace and in one of the test's own with interfaces made for it.

#include "survey/system/network_interfaces.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace {

using survey::host::Evaluation;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::testing::RunShell;
using survey::testing::ShellResult;

constexpr IPAddress Address(unsigned a, unsigned b, unsigned c, unsigned d) {
  return (a << 24) | (b << 16) | (c << 8) | d;
}

std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

std::string Dotted(IPAddress address) {
  AddressText const text = IPAddressToText(address);
  return std::string(reinterpret_cast<char const*>(text.bytes), text.length);
}

IPAddress InetOf(sockaddr const* address) {
  sockaddr_in inet;
  std::memcpy(&inet, address, sizeof inet);
  return ntohl(inet.sin_addr.s_addr);
}

// ---------------------------------------------------------------------------
// A simulated kernel: a table of interface addresses and the answers to the
// requests about each, found as the kernel finds them, by name and address.

struct FakeEntry {
  std::string name;
  IPAddress address = 0;
  short flags = IFF_UP;
  int mtu = 1500;
  IPAddress netmask = 0;
  IPAddress broadcast = 0;
  IPAddress destination = 0;
  std::array<unsigned char, 6> hardware{};
  unsigned short family = AF_INET;
};

class FakeKernel {
 public:
  std::vector<FakeEntry> entries;
  bool endless = false;          // the table never fits: every buffer is filled
  std::set<int> einvalAttempts;  // SIOCGIFCONF attempts (from 1) that fail with EINVAL
  int tableErrno = 0;            // SIOCGIFCONF fails with this, if not 0
  bool refuseSocket = false;
  unsigned long failingRequest = 0;  // this request fails for `failingName`
  std::string failingName;
  std::vector<unsigned long> tableSizes;  // the buffer size of each SIOCGIFCONF
  int opened = 0;
  int closed = 0;

  static FakeKernel* current;

  static InterfaceSystem const& System() {
    static InterfaceSystem const system{&Open, &Control, &Close};
    return system;
  }

 private:
  static constexpr int kSocket = 77;

  static int Open() {
    if (current->refuseSocket) {
      errno = EMFILE;
      return -1;
    }
    ++current->opened;
    return kSocket;
  }
  static int Close(int socket) {
    EXPECT_EQ(kSocket, socket);
    ++current->closed;
    return 0;
  }
  static int Control(int socket, unsigned long request, void* argument) {
    EXPECT_EQ(kSocket, socket);
    return request == SIOCGIFCONF ? current->Table(*static_cast<ifconf*>(argument))
                                  : current->Answer(request, *static_cast<ifreq*>(argument));
  }

  int Table(ifconf& table) {
    tableSizes.push_back(static_cast<unsigned long>(table.ifc_len));
    if (einvalAttempts.count(static_cast<int>(tableSizes.size())) != 0) {
      errno = EINVAL;
      return -1;
    }
    if (tableErrno != 0) {
      errno = tableErrno;
      return -1;
    }
    unsigned long const room = static_cast<unsigned long>(table.ifc_len) / sizeof(ifreq);
    unsigned long const count = endless ? room : std::min<unsigned long>(room, entries.size());
    for (unsigned long k = 0; k < count; ++k) {
      FakeEntry const& entry = entries[k % std::max<std::size_t>(entries.size(), 1)];
      ifreq record{};
      std::strncpy(record.ifr_name, entry.name.c_str(), IFNAMSIZ - 1);
      SetAddress(record.ifr_addr, entry.address, entry.family);
      std::memcpy(table.ifc_buf + k * sizeof(ifreq), &record, sizeof record);
    }
    table.ifc_len = static_cast<int>(count * sizeof(ifreq));
    return 0;
  }

  int Answer(unsigned long request, ifreq& argument) {
    FakeEntry const* const entry = Find(argument);
    if (entry == nullptr || (request == failingRequest && entry->name == failingName)) {
      errno = entry == nullptr ? ENODEV : EIO;
      return -1;
    }
    switch (request) {
      case SIOCGIFFLAGS:
        argument.ifr_flags = entry->flags;
        break;
      case SIOCGIFMTU:
        argument.ifr_mtu = entry->mtu;
        break;
      case SIOCGIFBRDADDR:
        SetAddress(argument.ifr_broadaddr, entry->broadcast, AF_INET);
        break;
      case SIOCGIFDSTADDR:
        SetAddress(argument.ifr_dstaddr, entry->destination, AF_INET);
        break;
      case SIOCGIFNETMASK:
        SetAddress(argument.ifr_netmask, entry->netmask, AF_INET);
        break;
      case SIOCGIFHWADDR:
        std::memset(&argument.ifr_hwaddr, 0, sizeof argument.ifr_hwaddr);
        std::memcpy(argument.ifr_hwaddr.sa_data, entry->hardware.data(), 6);
        break;
      default:
        ADD_FAILURE() << "unexpected request " << request;
        return -1;
    }
    return 0;
  }

  // As the kernel does for its IPv4 requests: the entry of that name whose
  // address is the request's, so each alias answers for itself. A request
  // must therefore carry the address of the table's entry.
  FakeEntry const* Find(ifreq const& request) const {
    for (FakeEntry const& entry : entries) {
      if (std::strncmp(entry.name.c_str(), request.ifr_name, IFNAMSIZ) != 0) continue;
      if (request.ifr_addr.sa_family != entry.family) continue;
      if (entry.family == AF_INET && InetOf(&request.ifr_addr) != entry.address) continue;
      return &entry;
    }
    return nullptr;
  }

  static void SetAddress(sockaddr& out, IPAddress address, unsigned short family) {
    sockaddr_in inet{};
    inet.sin_family = family;
    inet.sin_addr.s_addr = htonl(address);
    std::memcpy(&out, &inet, sizeof out);
  }
};

FakeKernel* FakeKernel::current = nullptr;

FakeEntry Loopback() {
  FakeEntry entry;
  entry.name = "lo";
  entry.address = Address(127, 0, 0, 1);
  entry.flags = IFF_UP | IFF_LOOPBACK | IFF_RUNNING;
  entry.mtu = 16436;
  entry.netmask = Address(255, 0, 0, 0);
  return entry;
}

FakeEntry Ethernet(std::string name, IPAddress address, IPAddress netmask) {
  FakeEntry entry;
  entry.name = std::move(name);
  entry.address = address;
  entry.flags = IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST;
  entry.netmask = netmask;
  entry.broadcast = address | ~netmask;
  entry.hardware = {0x00, 0x0c, 0x29, 0xab, 0xcd, 0xef};
  return entry;
}

// A machine with a loopback, an Ethernet card with two aliases, a card that
// is down with an alias that is up, and a point-to-point link.
std::vector<FakeEntry> SampleMachine() {
  std::vector<FakeEntry> entries;
  entries.push_back(Loopback());
  entries.push_back(Ethernet("eth0", Address(10, 0, 0, 5), Address(255, 255, 255, 0)));
  entries.push_back(Ethernet("eth0:1", Address(10, 0, 0, 6), Address(255, 255, 0, 0)));
  entries.push_back(Ethernet("eth0:2", Address(10, 0, 0, 7), Address(255, 255, 255, 128)));
  FakeEntry down = Ethernet("eth1", Address(192, 168, 0, 1), Address(255, 255, 255, 0));
  down.flags = IFF_BROADCAST;
  entries.push_back(down);
  entries.push_back(Ethernet("eth1:1", Address(192, 168, 0, 2), Address(255, 255, 255, 0)));
  FakeEntry link;
  link.name = "ppp0";
  link.address = Address(10, 64, 0, 1);
  link.flags = IFF_UP | IFF_POINTOPOINT | IFF_RUNNING | IFF_NOARP;
  link.mtu = 1492;
  link.netmask = Address(255, 255, 255, 255);
  link.destination = Address(10, 64, 0, 2);
  entries.push_back(link);
  return entries;
}

class InterfaceWalkTest : public ::testing::Test {
 protected:
  InterfaceWalkTest() { FakeKernel::current = &kernel; }
  ~InterfaceWalkTest() override {
    EXPECT_EQ(kernel.opened, kernel.closed) << "every socket opened is closed";
    FakeKernel::current = nullptr;
  }

  // The records of a walk, released at the end of the test.
  std::vector<ifi_info const*> Walk(bool includeAliases = true) {
    unsigned long count = 99;
    ifi_info* const head = Get_ifi_info(count, includeAliases, FakeKernel::System());
    lists.emplace_back(head, &Release_ifi_info);
    std::vector<ifi_info const*> records;
    for (ifi_info const* record = head; record != nullptr; record = record->next) {
      records.push_back(record);
    }
    EXPECT_EQ(records.size(), count);
    return records;
  }

  static std::vector<std::string> Names(std::vector<ifi_info const*> const& records) {
    std::vector<std::string> names;
    for (ifi_info const* record : records) names.emplace_back(record->name);
    return names;
  }

  FakeKernel kernel;
  std::vector<std::unique_ptr<ifi_info, void (*)(ifi_info*)>> lists;
};

TEST_F(InterfaceWalkTest, KeepsTheInterfacesThatAreUpInTableOrder) {
  kernel.entries = SampleMachine();
  std::vector<ifi_info const*> const records = Walk();
  EXPECT_EQ((std::vector<std::string>{"lo", "eth0", "eth0:1", "eth0:2", "eth1:1", "ppp0"}),
            Names(records));
  EXPECT_EQ(1, kernel.opened);
}

TEST_F(InterfaceWalkTest, AnAliasFollowsTheNameBeforeIt) {
  kernel.entries = SampleMachine();
  std::vector<ifi_info const*> const records = Walk();
  std::vector<short> aliases;
  for (ifi_info const* record : records) aliases.push_back(record->my_flags);
  // eth0:1 right behind eth0 is an alias; so is eth0:2 behind it, since the
  // name kept is still eth0; eth1:1 follows eth1, which is down but was
  // seen.
  EXPECT_EQ((std::vector<short>{0, 0, kIfiAlias, kIfiAlias, kIfiAlias, 0}), aliases);
}

TEST_F(InterfaceWalkTest, WithoutAliasesTheyArePassedOver) {
  kernel.entries = SampleMachine();
  EXPECT_EQ((std::vector<std::string>{"lo", "eth0", "ppp0"}), Names(Walk(false)));
}

TEST_F(InterfaceWalkTest, RecordsHoldWhatEachRequestAnswered) {
  kernel.entries = SampleMachine();
  std::vector<ifi_info const*> const records = Walk();
  ASSERT_EQ(6u, records.size());

  ifi_info const& lo = *records[0];
  EXPECT_EQ(AF_INET, lo.family);
  EXPECT_EQ(IFF_UP | IFF_LOOPBACK | IFF_RUNNING, lo.flags);
  EXPECT_EQ(16436, lo.mtu);
  EXPECT_EQ(Address(127, 0, 0, 1), InetOf(lo.address));
  EXPECT_EQ(Address(255, 0, 0, 0), InetOf(lo.netmask));
  EXPECT_EQ(nullptr, lo.broadcast_address);
  EXPECT_EQ(nullptr, lo.destination_address);
  EXPECT_EQ(0, lo.hardware_length);

  ifi_info const& eth0 = *records[1];
  EXPECT_EQ(Address(10, 0, 0, 5), InetOf(eth0.address));
  EXPECT_EQ(Address(10, 0, 0, 255), InetOf(eth0.broadcast_address));
  EXPECT_EQ(nullptr, eth0.destination_address);
  EXPECT_EQ(6, eth0.hardware_length);
  EXPECT_EQ(0, std::memcmp("\x00\x0c\x29\xab\xcd\xef", eth0.hardware_address, 6));
  EXPECT_EQ(1500, eth0.mtu);

  // Each alias is asked with its own address and answers for itself.
  ifi_info const& alias = *records[2];
  EXPECT_STREQ("eth0:1", alias.name);
  EXPECT_EQ(Address(10, 0, 0, 6), InetOf(alias.address));
  EXPECT_EQ(Address(255, 255, 0, 0), InetOf(alias.netmask));
  EXPECT_EQ(Address(10, 0, 255, 255), InetOf(alias.broadcast_address));
  EXPECT_EQ(Address(255, 255, 255, 128), InetOf(records[3]->netmask));

  ifi_info const& ppp = *records[5];
  EXPECT_EQ(nullptr, ppp.broadcast_address);
  EXPECT_EQ(Address(10, 64, 0, 2), InetOf(ppp.destination_address));
  EXPECT_EQ(1492, ppp.mtu);
  // The rest of the name is zero.
  EXPECT_EQ(0, ppp.name[16]);
  EXPECT_EQ(0, ppp.name[17]);
}

TEST_F(InterfaceWalkTest, ARecordOfAnotherFamilyHasNoAddresses) {
  kernel.entries = SampleMachine();
  FakeEntry other;
  other.name = "sit0";
  other.family = AF_INET6;
  other.flags = IFF_UP | IFF_NOARP;
  kernel.entries.insert(kernel.entries.begin() + 1, other);
  std::vector<ifi_info const*> const records = Walk();
  ASSERT_EQ(7u, records.size());
  ifi_info const& sit = *records[1];
  EXPECT_STREQ("sit0", sit.name);
  EXPECT_EQ(AF_INET6, sit.family);
  EXPECT_EQ(nullptr, sit.address);
  EXPECT_EQ(nullptr, sit.netmask);
  EXPECT_EQ(nullptr, sit.broadcast_address);
  EXPECT_EQ(0, sit.hardware_length);
  EXPECT_EQ(1500, sit.mtu);
}

TEST_F(InterfaceWalkTest, TheTableBufferGrowsByTenEntriesUntilTheTableFits) {
  unsigned long const entry = sizeof(ifreq);
  FakeEntry const one = Ethernet("eth0", Address(10, 0, 0, 1), Address(255, 0, 0, 0));
  kernel.entries.assign(5, one);
  Walk();
  EXPECT_EQ(std::vector<unsigned long>{100 * entry}, kernel.tableSizes);

  // Exactly full: one more try with room to spare gives the same length.
  kernel.tableSizes.clear();
  kernel.entries.assign(100, one);
  Walk();
  EXPECT_EQ((std::vector<unsigned long>{100 * entry, 110 * entry}), kernel.tableSizes);

  // More than 100 entries.
  kernel.tableSizes.clear();
  kernel.entries.assign(120, one);
  EXPECT_EQ(120u, Walk().size());
  EXPECT_EQ((std::vector<unsigned long>{100 * entry, 110 * entry, 120 * entry, 130 * entry}),
            kernel.tableSizes);

  // One short of a full buffer: the length plus one entry is not below the
  // size, so it asks once more.
  kernel.tableSizes.clear();
  kernel.entries.assign(109, one);
  EXPECT_EQ(109u, Walk().size());
  EXPECT_EQ((std::vector<unsigned long>{100 * entry, 110 * entry, 120 * entry}), kernel.tableSizes);
}

TEST_F(InterfaceWalkTest, ATooSmallBufferRefusedBeforeAnyAnswerIsTriedLarger) {
  kernel.entries = SampleMachine();
  kernel.einvalAttempts = {1, 2};
  EXPECT_EQ(6u, Walk().size());
  unsigned long const entry = sizeof(ifreq);
  EXPECT_EQ((std::vector<unsigned long>{100 * entry, 110 * entry, 120 * entry}), kernel.tableSizes);
}

TEST_F(InterfaceWalkTest, ARefusalAfterAnAnswerFails) {
  kernel.entries.assign(150, Ethernet("eth0", Address(10, 0, 0, 1), Address(255, 0, 0, 0)));
  kernel.einvalAttempts = {2};
  unsigned long count = 0;
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  EXPECT_EQ(2u, kernel.tableSizes.size());
}

TEST_F(InterfaceWalkTest, AnyOtherTableErrorFails) {
  kernel.entries = SampleMachine();
  kernel.tableErrno = EPERM;
  unsigned long count = 7;
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  EXPECT_EQ(1u, kernel.tableSizes.size());
}

TEST_F(InterfaceWalkTest, ATableThatNeverFitsFailsInsteadOfGrowingWithoutEnd) {
  kernel.entries = SampleMachine();
  kernel.endless = true;
  unsigned long count = 0;
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  ASSERT_FALSE(kernel.tableSizes.empty());
  EXPECT_LE(kernel.tableSizes.back(), kInterfaceTableLimit);
}

TEST_F(InterfaceWalkTest, ASocketThatCannotBeOpenedFails) {
  kernel.entries = SampleMachine();
  kernel.refuseSocket = true;
  unsigned long count = 0;
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  EXPECT_TRUE(kernel.tableSizes.empty());
}

TEST_F(InterfaceWalkTest, AFailingRequestFailsTheWalkAndReleasesWhatWasBuilt) {
  for (unsigned long request :
       {SIOCGIFFLAGS, SIOCGIFMTU, SIOCGIFBRDADDR, SIOCGIFDSTADDR, SIOCGIFNETMASK, SIOCGIFHWADDR}) {
    SCOPED_TRACE(request);
    kernel.entries = SampleMachine();
    kernel.failingRequest = request;
    kernel.failingName = request == SIOCGIFDSTADDR ? "ppp0" : "eth0:2";
    unsigned long count = 0;
    EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  }
  // Leaks would show under the address sanitizer; the sockets are counted.
  EXPECT_EQ(6, kernel.opened);
}

TEST_F(InterfaceWalkTest, NoInterfaceUpFails) {
  kernel.entries = SampleMachine();
  for (FakeEntry& entry : kernel.entries) entry.flags &= static_cast<short>(~IFF_UP);
  unsigned long count = 0;
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
  kernel.entries.clear();
  EXPECT_THROW(Get_ifi_info(count, true, FakeKernel::System()), InterfaceInfoError);
}

TEST(ReleaseIfiInfoTest, AcceptsNull) { Release_ifi_info(nullptr); }

// ---------------------------------------------------------------------------
// The cache and the properties over it.

class InterfaceCacheTest : public InterfaceWalkTest {
 protected:
  InterfaceCacheTest() { ClearInterfaceCache(nullptr); }
  ~InterfaceCacheTest() override { ClearInterfaceCache(nullptr); }

  void Fill() {
    kernel.entries = SampleMachine();
    FillInterfaceCache(FakeKernel::System());
  }

  Registry::Scope registryScope{Registry::Default()};
  Evaluation evaluation{Registry::Default(), nullptr};
  Evaluation::Scope evaluationScope{evaluation};
};

TEST_F(InterfaceCacheTest, NumbersStartAtOneAndCloseUpOverInterfacesThatAreDown) {
  Fill();
  network const world;
  EXPECT_EQ(6u, CachedInterfaceCount());
  std::vector<std::string> names;
  for (unsigned long long number = 1; number <= 6; ++number) {
    names.push_back(Text(NameOf(IpInterface_of(number, world))));
  }
  EXPECT_EQ((std::vector<std::string>{"lo", "eth0", "eth0:1", "eth0:2", "eth1:1", "ppp0"}), names);
  EXPECT_THROW(IpInterface_of(0, world), NoSuchObject);
  EXPECT_THROW(IpInterface_of(7, world), NoSuchObject);
  EXPECT_THROW(Interface_of(0, world), NoSuchObject);
  EXPECT_THROW(Interface_of(7, world), NoSuchObject);
  EXPECT_EQ(static_cast<unsigned>(AF_INET), Interface_of(6, world).family);
}

TEST_F(InterfaceCacheTest, IteratorsGiveEveryInterfaceThenNone) {
  Fill();
  network const world;
  ip_network_interface_iterator ip;
  std::vector<std::string> names{Text(NameOf(ip.First(world)))};
  for (int guard = 0; guard < 100; ++guard) {
    try {
      names.push_back(Text(NameOf(ip.Next(world))));
    } catch (NoSuchObject const&) {
      break;
    }
  }
  EXPECT_EQ(6u, names.size());
  EXPECT_EQ("ppp0", names.back());
  EXPECT_THROW(ip.Next(world), NoSuchObject);
  // First starts again.
  EXPECT_EQ("lo", Text(NameOf(ip.First(world))));

  network_interface_iterator plain;
  int count = 1;
  EXPECT_EQ(2, FamilyOf(plain.First(world)).value);
  for (int guard = 0; guard < 100; ++guard) {
    try {
      EXPECT_EQ(2, FamilyOf(plain.Next(world)).value);
      ++count;
    } catch (NoSuchObject const&) {
      break;
    }
  }
  EXPECT_EQ(6, count);
}

TEST_F(InterfaceCacheTest, OnlyIpv4RecordsAreNumbered) {
  kernel.entries = SampleMachine();
  FakeEntry other;
  other.name = "sit0";
  other.family = AF_INET6;
  kernel.entries.insert(kernel.entries.begin(), other);
  FillInterfaceCache(FakeKernel::System());
  EXPECT_EQ(6u, CachedInterfaceCount());
  EXPECT_STREQ("lo", CachedInterface(0)->name);
}

TEST_F(InterfaceCacheTest, OneWalkServesUntilTheCacheIsCleared) {
  Fill();
  FillInterfaceCache(FakeKernel::System());
  network const again;
  EXPECT_EQ(1, kernel.opened);
  ClearInterfaceCache(nullptr);
  EXPECT_EQ(0u, CachedInterfaceCount());
  EXPECT_THROW(CachedInterface(0), NoSuchObject);
  FillInterfaceCache(FakeKernel::System());
  EXPECT_EQ(2, kernel.opened);
  ClearInterfaceCache(nullptr);
  ClearInterfaceCache(nullptr);  // an empty cache is left as it is
}

TEST_F(InterfaceCacheTest, TheHostClearsTheCacheThroughTheRegisteredFunction) {
  Fill();
  ASSERT_EQ(6u, CachedInterfaceCount());
  Registry::Default().ClearCaches();
  EXPECT_EQ(0u, CachedInterfaceCount());
}

TEST_F(InterfaceCacheTest, AddressesMasksAndSubnets) {
  Fill();
  network const world;
  ip_network_interface const eth0 = IpInterface_of(2, world);
  EXPECT_EQ("10.0.0.5", Dotted(Ipv4AddressOf(eth0).address));
  EXPECT_EQ("10.0.0.255", Dotted(Ipv4BroadcastAddressOf(eth0).address));
  EXPECT_EQ("255.255.255.0", Dotted(Ipv4SubnetOf(eth0).address));
  EXPECT_EQ("10.0.0.0", Dotted(Ipv4SubnetAddressOf(eth0).address));
  EXPECT_EQ("10.0.0.0/24", Text(Ipv4CidrOf(eth0)));
  ip_network_interface const alias = IpInterface_of(3, world);
  EXPECT_EQ("10.0.0.0/16", Text(Ipv4CidrOf(alias)));
  EXPECT_EQ("10.0.0.0/25", Text(Ipv4CidrOf(IpInterface_of(4, world))));
  ip_network_interface const lo = IpInterface_of(1, world);
  EXPECT_EQ("127.0.0.0/8", Text(Ipv4CidrOf(lo)));
  EXPECT_THROW(Ipv4BroadcastAddressOf(lo), NoSuchObject);
  EXPECT_EQ("10.64.0.1/32", Text(Ipv4CidrOf(IpInterface_of(6, world))));
}

TEST_F(InterfaceCacheTest, FlagsNamesAndAliases) {
  Fill();
  network const world;
  ip_network_interface const lo = IpInterface_of(1, world);
  ip_network_interface const eth0 = IpInterface_of(2, world);
  ip_network_interface const alias = IpInterface_of(3, world);
  ip_network_interface const ppp = IpInterface_of(6, world);
  EXPECT_EQ(1, IsLoopbackOf(lo).value);
  EXPECT_EQ(0, IsLoopbackOf(eth0).value);
  EXPECT_EQ(0, BroadcastSupportOf(lo).value);
  EXPECT_EQ(1, BroadcastSupportOf(eth0).value);
  EXPECT_EQ(1, MulticastSupportOf(eth0).value);
  EXPECT_EQ(0, MulticastSupportOf(ppp).value);
  EXPECT_EQ(1, PointToPointOf(ppp).value);
  EXPECT_EQ(0, PointToPointOf(eth0).value);
  EXPECT_EQ(0, AliasOf(eth0).value);
  EXPECT_EQ(1, AliasOf(alias).value);
  EXPECT_EQ("eth0:1", Text(NameOf(alias)));
  EXPECT_EQ(1, AliasOf(IpInterface_of(4, world)).value);
  EXPECT_EQ(2, FamilyOf(eth0).value);
}

TEST_F(InterfaceCacheTest, MacAddressesAreLowerCaseHexPairsWithDashes) {
  Fill();
  network const world;
  EXPECT_EQ("00-0c-29-ab-cd-ef", Text(MacAddressOf(IpInterface_of(2, world))));
  // A loopback has no hardware address, though it is a loopback.
  ip_network_interface const lo = IpInterface_of(1, world);
  EXPECT_THROW(MacAddressOf(lo), NoSuchObject);
  EXPECT_EQ(1, IsLoopbackOf(lo).value);
}

TEST_F(InterfaceCacheTest, RecordsWithoutAnAddressOrOfAnotherFamilyAnswerNothing) {
  ifi_info record{};
  std::strcpy(record.name, "x0");
  record.family = AF_INET;
  ip_network_interface value;
  value.family = AF_INET;
  value.info = &record;
  EXPECT_THROW(Ipv4AddressOf(value), NoSuchObject);
  EXPECT_THROW(Ipv4SubnetOf(value), NoSuchObject);
  EXPECT_THROW(Ipv4SubnetAddressOf(value), NoSuchObject);
  EXPECT_THROW(Ipv4CidrOf(value), NoSuchObject);
  EXPECT_THROW(Ipv4BroadcastAddressOf(value), NoSuchObject);
  EXPECT_THROW(MacAddressOf(value), NoSuchObject);
  EXPECT_EQ("x0", Text(NameOf(value)));

  sockaddr address{};
  sockaddr_in inet{};
  inet.sin_family = AF_INET;
  inet.sin_addr.s_addr = htonl(Address(10, 1, 1, 1));
  std::memcpy(&address, &inet, sizeof address);
  record.address = &address;
  EXPECT_EQ("10.1.1.1", Dotted(Ipv4AddressOf(value).address));
  EXPECT_THROW(Ipv4SubnetAddressOf(value), NoSuchObject);  // no mask
  EXPECT_THROW(Ipv4CidrOf(value), NoSuchObject);
  record.family = AF_INET6;
  EXPECT_THROW(Ipv4AddressOf(value), NoSuchObject);

  // The hardware address as long as the record says, up to 8 bytes.
  std::memcpy(record.hardware_address, "\x01\x23\x45\x67\x89\xab\xcd\xef", 8);
  record.hardware_length = 8;
  EXPECT_EQ("01-23-45-67-89-ab-cd-ef", Text(MacAddressOf(value)));
  record.hardware_length = 1;
  EXPECT_EQ("01", Text(MacAddressOf(value)));
  record.hardware_length = 9;
  EXPECT_THROW(MacAddressOf(value), NoSuchObject);
  record.address = nullptr;
}

TEST(NetworkRegistrationTest, RegistersTheTableInOrderWithTheCacheLast) {
  std::vector<RegistryEvent> const& journal = Registry::Default().Journal();
  auto const start = std::find_if(journal.begin(), journal.end(), [](RegistryEvent const& e) {
    return e.kind == RecordKind::kType && e.name == "network";
  });
  ASSERT_NE(journal.end(), start);
  std::vector<std::string> lines;
  for (auto event = start; event != journal.end() && lines.size() < 22; ++event) {
    if (event->action == RegistryEvent::kRegistered) lines.emplace_back(event->name);
  }
  EXPECT_EQ((std::vector<std::string>{"network",
                                      "network interface",
                                      "network ip interface",
                                      "network",
                                      "interface",
                                      "interface",
                                      "ip interface",
                                      "ip interface",
                                      "address",
                                      "broadcast address",
                                      "subnet mask",
                                      "subnet address",
                                      "cidr string",
                                      "family",
                                      "loopback",
                                      "broadcast support",
                                      "multicast support",
                                      "point to point",
                                      "alias",
                                      "name",
                                      "mac address",
                                      "cache"}),
            lines);
  Registry const& registry = Registry::Default();
  auto const* ipType = registry.FindType("network ip interface");
  ASSERT_NE(nullptr, ipType);
  EXPECT_EQ("network interface", ipType->baseName);
  for (auto const* entry : registry.Properties()) {
    bool const numbered = entry->index == "integer" &&
                          (entry->singular == "interface" || entry->singular == "ip interface");
    if (entry->object == "network" || entry->object == "network interface" ||
        entry->object == "network ip interface" || entry->singular == "network") {
      if (numbered) {
        EXPECT_EQ(&DependsOnlyOnParameters, entry->dependency) << entry->singular;
      } else {
        EXPECT_EQ(nullptr, entry->dependency) << entry->singular;
      }
    }
  }
}

// ---------------------------------------------------------------------------
// The real machine. What the walk finds must be what `ip` and /sys/class/net
// report, read by the test itself.

// What a command prints on both its outputs, with its status.
ShellResult Shell(std::string const& command) { return RunShell(command + " 2>&1"); }

std::vector<std::string> Words(std::string const& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

IPAddress Parse(std::string const& dotted) {
  in_addr address{};
  EXPECT_EQ(1, inet_pton(AF_INET, dotted.c_str(), &address)) << dotted;
  return ntohl(address.s_addr);
}

// One IPv4 interface address as observed, by us or by the tools.
struct Observation {
  std::string name;
  IPAddress address = 0;
  IPAddress mask = 0;
  bool hasBroadcast = false;
  IPAddress broadcast = 0;
  unsigned flags = 0;
  unsigned mtu = 0;
  std::string mac;  // "" for none
  bool alias = false;

  auto Key() const {
    return std::tie(name, address, mask, hasBroadcast, broadcast, flags, mtu, mac, alias);
  }
  bool operator==(Observation const& other) const { return Key() == other.Key(); }
  bool operator<(Observation const& other) const { return Key() < other.Key(); }
};

std::ostream& operator<<(std::ostream& out, Observation const& o) {
  out << o.name << " " << Dotted(o.address) << " mask " << Dotted(o.mask);
  if (o.hasBroadcast) out << " brd " << Dotted(o.broadcast);
  return out << " flags 0x" << std::hex << o.flags << std::dec << " mtu " << o.mtu << " mac '"
             << o.mac << "'" << (o.alias ? " alias" : "");
}

constexpr char kNotCompared[] = "?";

// The device facts that `ip -o link` and /sys/class/net give.
struct Device {
  int index = 0;
  std::set<std::string> flagNames;
  unsigned linkMtu = 0;
  std::string linkType;  // "ether", "loopback", "none", ...
  std::string linkMac;   // of "ether" and "loopback" links
  bool inLink = false;
  bool inSys = false;
  unsigned sysFlags = 0;
  unsigned sysMtu = 0;
  std::string sysMac;
};

// What the tools say, in a namespace or (with an empty name) here.
class ToolView {
 public:
  explicit ToolView(std::string const& space)
      : prefix_(space.empty() ? "" : "ip netns exec " + space + " ") {}

  bool Read(std::string& failure) {
    ShellResult const link = Shell(prefix_ + "ip -o link show");
    ShellResult const addr = Shell(prefix_ + "ip -o -4 addr show");
    // One line per device from /sys, as the namespace sees it.
    ShellResult const sys =
        Shell(prefix_ +
              "sh -c 'for d in /sys/class/net/*; do echo \"${d##*/} $(cat $d/flags) "
              "$(cat $d/mtu) $(cat $d/address)\"; done'");
    if (link.status != 0 || addr.status != 0 || sys.status != 0) {
      failure = link.output + addr.output + sys.output;
      return false;
    }
    for (std::string const& line : Lines(link.output)) ReadLink(line);
    for (std::string const& line : Lines(sys.output)) {
      std::vector<std::string> const w = Words(line);
      if (w.size() < 3) continue;
      Device& device = devices_[w[0]];
      device.inSys = true;
      device.sysFlags = static_cast<unsigned>(std::stoul(w[1], nullptr, 16));
      device.sysMtu = static_cast<unsigned>(std::stoul(w[2]));
      device.sysMac = w.size() > 3 ? w[3] : "";
    }
    for (std::string const& line : Lines(addr.output)) ReadAddress(line);
    return true;
  }

  // The IPv4 addresses of interfaces that are up, as the walk must report
  // them: in the order of the devices' indexes and, within a device, as
  // listed.
  std::vector<Observation> Expected() const {
    std::vector<Address4> ordered = addresses_;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](Address4 const& a, Address4 const& b) { return a.index < b.index; });
    std::vector<Observation> expected;
    std::string lastName;
    for (Address4 const& a : ordered) {
      Device const& device = devices_.at(a.device);
      std::string const cut = a.label.substr(0, a.label.find(':'));
      bool const alias = cut == lastName;
      lastName = cut;
      if (device.flagNames.count("UP") == 0) continue;
      Observation o;
      o.name = a.label;
      o.address = a.address;
      o.mask = a.prefix == 0 ? 0 : static_cast<IPAddress>(0xFFFFFFFFu << (32 - a.prefix));
      o.flags = FlagsOf(device);
      o.hasBroadcast = (o.flags & IFF_BROADCAST) != 0;
      o.broadcast = o.hasBroadcast ? a.broadcast : 0;
      o.mtu = device.linkMtu & 0xFFFFu;  // the record keeps 16 bits
      o.mac = device.linkMac == "00:00:00:00:00:00" ? "" : device.linkMac;
      std::replace(o.mac.begin(), o.mac.end(), ':', '-');
      // The hardware address of other links (tunnels, say) is not in a form
      // that `ip` shows alike; it is left out of the comparison.
      if (!device.linkType.empty() && device.linkType != "ether" && device.linkType != "loopback" &&
          device.linkType != "none") {
        o.mac = kNotCompared;
      }
      o.alias = alias;
      expected.push_back(o);
    }
    return expected;
  }

  // Leaves out of the comparison what Expected leaves out.
  static void LeaveOut(std::vector<Observation> const& expected,
                       std::vector<Observation>& observed) {
    std::set<std::string> names;
    for (Observation const& o : expected) {
      if (o.mac == kNotCompared) names.insert(o.name);
    }
    for (Observation& o : observed) {
      if (names.count(o.name) != 0) o.mac = kNotCompared;
    }
  }

  // /sys must agree with `ip` on the facts both give, when it shows this
  // namespace's devices: a /sys mounted for another namespace does not.
  void CrossCheck() const {
    for (auto const& [name, device] : devices_) {
      if (!device.inLink || !device.inSys) {
        std::printf(
            "/sys/class/net shows the devices of another network namespace (%s); "
            "it is not compared\n",
            name.c_str());
        return;
      }
    }
    for (auto const& [name, device] : devices_) {
      SCOPED_TRACE(name);
      EXPECT_EQ(device.linkMtu, device.sysMtu);
      if (!device.linkMac.empty()) {
        EXPECT_EQ(device.linkMac, device.sysMac);
      }
      unsigned const stable =
          IFF_UP | IFF_BROADCAST | IFF_LOOPBACK | IFF_POINTOPOINT | IFF_MULTICAST | IFF_NOARP;
      EXPECT_EQ(device.sysFlags & stable, FlagsOf(device) & stable);
    }
  }

  std::size_t AddressCount() const { return addresses_.size(); }

 private:
  struct Address4 {
    int index;
    std::string device;
    std::string label;
    IPAddress address;
    unsigned prefix;
    IPAddress broadcast;
  };

  // "2: v1@v0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1400 ... link/ether 00:0c:..."
  void ReadLink(std::string const& line) {
    std::vector<std::string> const w = Words(line);
    if (w.size() < 3) return;
    std::string name = w[1].substr(0, w[1].size() - 1);
    name = name.substr(0, name.find('@'));
    Device& device = devices_[name];
    device.inLink = true;
    device.index = std::stoi(w[0]);
    std::string flags = w[2];
    flags = flags.substr(1, flags.size() - 2);
    std::istringstream in(flags);
    for (std::string flag; std::getline(in, flag, ',');) device.flagNames.insert(flag);
    for (std::size_t k = 3; k + 1 < w.size(); ++k) {
      if (w[k] == "mtu") device.linkMtu = static_cast<unsigned>(std::stoul(w[k + 1]));
      if (w[k].rfind("link/", 0) == 0) {
        device.linkType = w[k].substr(5);
        if (device.linkType == "ether" || device.linkType == "loopback") device.linkMac = w[k + 1];
      }
    }
  }

  // "3: v0    inet 10.1.2.3/24 brd 10.1.2.255 scope global v0\       valid_lft ..."
  void ReadAddress(std::string const& line) {
    std::vector<std::string> const w = Words(line);
    if (w.size() < 4 || w[2] != "inet") return;
    Address4 a{};
    a.index = std::stoi(w[0]);
    a.device = w[1];
    std::string local = w[3];
    std::size_t k = 4;
    if (k + 1 < w.size() && w[k] == "peer") {
      local += w[k + 1].substr(w[k + 1].find('/'));
      k += 2;
    }
    std::size_t const slash = local.find('/');
    a.address = Parse(local.substr(0, slash));
    a.prefix = slash == std::string::npos
                   ? 32
                   : static_cast<unsigned>(std::stoul(local.substr(slash + 1)));
    a.broadcast = 0;
    for (; k < w.size(); ++k) {
      if (w[k] == "brd" && k + 1 < w.size()) a.broadcast = Parse(w[k + 1]);
      if (!w[k].empty() && w[k].back() == '\\') {
        a.label = w[k].substr(0, w[k].size() - 1);
        break;
      }
    }
    if (a.label.empty()) a.label = a.device;
    addresses_.push_back(a);
  }

  // The 16 flag bits that SIOCGIFFLAGS gives, from the names `ip` shows;
  // `ip` leaves out RUNNING and shows NO-CARRIER for an interface that is up
  // without it.
  static unsigned FlagsOf(Device const& device) {
    static std::map<std::string, unsigned> const kNames{{"UP", IFF_UP},
                                                        {"BROADCAST", IFF_BROADCAST},
                                                        {"DEBUG", IFF_DEBUG},
                                                        {"LOOPBACK", IFF_LOOPBACK},
                                                        {"POINTOPOINT", IFF_POINTOPOINT},
                                                        {"NOTRAILERS", IFF_NOTRAILERS},
                                                        {"NOARP", IFF_NOARP},
                                                        {"PROMISC", IFF_PROMISC},
                                                        {"ALLMULTI", IFF_ALLMULTI},
                                                        {"MASTER", IFF_MASTER},
                                                        {"SLAVE", IFF_SLAVE},
                                                        {"MULTICAST", IFF_MULTICAST},
                                                        {"PORTSEL", IFF_PORTSEL},
                                                        {"AUTOMEDIA", IFF_AUTOMEDIA},
                                                        {"DYNAMIC", IFF_DYNAMIC}};
    unsigned flags = 0;
    for (std::string const& name : device.flagNames) {
      auto const found = kNames.find(name);
      if (found != kNames.end()) flags |= found->second;
    }
    if ((flags & IFF_UP) != 0 && device.flagNames.count("NO-CARRIER") == 0) flags |= IFF_RUNNING;
    return flags;
  }

  std::string prefix_;
  std::map<std::string, Device> devices_;
  std::vector<Address4> addresses_;
};

// What the walk reports through the surveyors, in their order.
std::vector<Observation> Observe() {
  ClearInterfaceCache(nullptr);
  network const world = Network_of_world();
  std::vector<Observation> observed;
  ip_network_interface_iterator iterator;
  for (unsigned long k = 0; k < 10000; ++k) {
    ip_network_interface interface;
    try {
      interface = k == 0 ? iterator.First(world) : iterator.Next(world);
    } catch (NoSuchObject const&) {
      break;
    }
    Observation o;
    o.name = Text(NameOf(interface));
    o.address = Ipv4AddressOf(interface).address;
    o.mask = Ipv4SubnetOf(interface).address;
    try {
      o.broadcast = Ipv4BroadcastAddressOf(interface).address;
      o.hasBroadcast = true;
    } catch (NoSuchObject const&) {
    }
    o.flags = static_cast<unsigned short>(interface.info->flags);
    o.mtu = interface.info->mtu;
    try {
      o.mac = Text(MacAddressOf(interface));
    } catch (NoSuchObject const&) {
    }
    o.alias = AliasOf(interface).value == 1;
    observed.push_back(o);
  }
  return observed;
}

class MachineInterfacesTest : public ::testing::Test {
 protected:
  MachineInterfacesTest() { ClearInterfaceCache(nullptr); }
  ~MachineInterfacesTest() override { ClearInterfaceCache(nullptr); }

  void SetUp() override {
    if (Shell("ip -V").status != 0) GTEST_SKIP() << "the ip command is missing (package iproute2)";
  }

  Registry::Scope registryScope{Registry::Default()};
  Evaluation evaluation{Registry::Default(), nullptr};
  Evaluation::Scope evaluationScope{evaluation};
};

TEST_F(MachineInterfacesTest, TheWalkHereFindsWhatIpAndSysReport) {
  ToolView tools("");
  std::string failure;
  ASSERT_TRUE(tools.Read(failure)) << failure;
  tools.CrossCheck();
  std::vector<Observation> expected = tools.Expected();
  std::vector<Observation> observed;
  try {
    observed = Observe();
  } catch (InterfaceInfoError const&) {
    // Only when no interface is up at all.
    EXPECT_TRUE(expected.empty());
    return;
  }
  ToolView::LeaveOut(expected, observed);
  // Devices may have come into this namespace in any order, so the order of
  // the table need not be that of the indexes here: compare as sets.
  std::sort(expected.begin(), expected.end());
  std::sort(observed.begin(), observed.end());
  EXPECT_EQ(expected, observed);
  EXPECT_EQ(expected.size(), CachedInterfaceCount());
}

// A network namespace of the test's own, removed at the end. Code of this
// process enters it with setns; commands run in it through `ip netns exec`,
// which also shows them its own /sys.
class OwnNamespace {
 public:
  OwnNamespace() {
    static int serial = 0;
    name_ = "survey-test-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
  }
  ~OwnNamespace() {
    Leave();
    if (made_) Shell("ip netns delete " + name_);
  }
  OwnNamespace(OwnNamespace const&) = delete;
  OwnNamespace& operator=(OwnNamespace const&) = delete;

  // Why the namespace cannot be made here, or "" once it is made.
  std::string Make() {
    if (geteuid() != 0) return "making a network namespace needs root";
    if (Shell("ip -V").status != 0) return "the ip command is missing (package iproute2)";
    ShellResult const add = Shell("ip netns add " + name_);
    if (add.status != 0) return "cannot make a network namespace: " + add.output;
    made_ = true;
    return "";
  }

  ShellResult Exec(std::string const& command) const {
    return Shell("ip netns exec " + name_ + " " + command);
  }

  bool Enter() {
    home_ = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    int const target = open(("/run/netns/" + name_).c_str(), O_RDONLY | O_CLOEXEC);
    bool const entered = home_ >= 0 && target >= 0 && setns(target, CLONE_NEWNET) == 0;
    if (target >= 0) close(target);
    return entered;
  }
  void Leave() {
    if (home_ < 0) return;
    EXPECT_EQ(0, setns(home_, CLONE_NEWNET)) << std::strerror(errno);
    close(home_);
    home_ = -1;
  }

  std::string const& Name() const { return name_; }

 private:
  std::string name_;
  bool made_ = false;
  int home_ = -1;
};

class NamespaceInterfacesTest : public MachineInterfacesTest {
 protected:
  void SetUp() override {
    std::string const missing = space.Make();
    if (!missing.empty()) GTEST_SKIP() << missing;
    // Two pairs of virtual Ethernet cards: v1 with a hardware address and
    // MTU of its own, v0 with two aliases in a row, v2 down with an address,
    // v3 up.
    ShellResult const setup = space.Exec(
        "sh -ec '"
        "ip link set lo up\n"
        "ip link add v0 type veth peer name v1\n"
        "ip link add v2 type veth peer name v3\n"
        "ip link set v1 address 00:0c:29:ab:cd:ef\n"
        "ip link set v1 mtu 1400\n"
        "ip addr add 192.168.1.77/24 brd + dev v1\n"
        "ip addr add 10.1.2.3/24 brd + dev v0\n"
        "ip addr add 10.1.2.4/24 dev v0 label v0:1\n"
        "ip addr add 10.9.9.9/16 brd + dev v0 label v0:2\n"
        "ip addr add 172.16.5.5/12 dev v2\n"
        "ip addr add 192.168.7.7/30 dev v3\n"
        "ip link set v0 up\n"
        "ip link set v1 up\n"
        "ip link set v3 up\n"
        "'");
    if (setup.status != 0) {
      GTEST_SKIP() << "cannot make virtual Ethernet interfaces in a network namespace: "
                   << setup.output;
    }
  }

  OwnNamespace space;
};

TEST_F(NamespaceInterfacesTest, TheWalkFindsWhatIpAndSysReportInTheirOrder) {
  ToolView tools(space.Name());
  std::string failure;
  ASSERT_TRUE(tools.Read(failure)) << failure;
  tools.CrossCheck();
  std::vector<Observation> const expected = tools.Expected();
  if (!space.Enter()) {
    GTEST_SKIP() << "cannot enter the network namespace: " << std::strerror(errno);
  }
  std::vector<Observation> const observed = Observe();
  space.Leave();
  // Every device was made here, in the order of its index.
  EXPECT_EQ(expected, observed);
  // lo, v1, v0 with its three addresses, v3; v2 is down.
  EXPECT_EQ(6u, observed.size());
}

TEST_F(NamespaceInterfacesTest, AliasesLoopbackMacAndNumbersByHand) {
  if (!space.Enter()) {
    GTEST_SKIP() << "cannot enter the network namespace: " << std::strerror(errno);
  }
  ClearInterfaceCache(nullptr);
  network const world = Network_of_world();
  std::map<std::string, ip_network_interface> byName;
  std::vector<std::string> names;
  for (unsigned long long number = 1; number <= CachedInterfaceCount(); ++number) {
    ip_network_interface const interface = IpInterface_of(number, world);
    names.push_back(Text(NameOf(interface)));
    byName[names.back()] = interface;
  }
  EXPECT_THROW(IpInterface_of(0, world), NoSuchObject);
  EXPECT_THROW(IpInterface_of(CachedInterfaceCount() + 1, world), NoSuchObject);
  space.Leave();

  // The interface that is down does not appear, and the numbers close up.
  EXPECT_EQ(0, std::count(names.begin(), names.end(), "v2"));
  EXPECT_EQ(6u, names.size());
  EXPECT_EQ("lo", names.front());
  ASSERT_EQ(1u, byName.count("v0:1"));
  ASSERT_EQ(1u, byName.count("v0:2"));
  ASSERT_EQ(1u, byName.count("v1"));
  EXPECT_EQ(1, AliasOf(byName["v0:1"]).value);
  EXPECT_EQ(1, AliasOf(byName["v0:2"]).value);
  EXPECT_EQ(0, AliasOf(byName["v1"]).value);
  EXPECT_EQ(1, IsLoopbackOf(byName["lo"]).value);
  EXPECT_THROW(MacAddressOf(byName["lo"]), NoSuchObject);
  EXPECT_EQ("00-0c-29-ab-cd-ef", Text(MacAddressOf(byName["v1"])));
  EXPECT_EQ("192.168.1.0/24", Text(Ipv4CidrOf(byName["v1"])));
  EXPECT_EQ("192.168.1.255", Dotted(Ipv4BroadcastAddressOf(byName["v1"]).address));
  EXPECT_EQ("10.9.0.0/16", Text(Ipv4CidrOf(byName["v0:2"])));
  EXPECT_EQ(1400, byName["v1"].info->mtu);
}

TEST_F(NamespaceInterfacesTest, MoreThanAHundredAddressesMakeTheTableGrow) {
  std::string batch;
  for (int k = 1; k <= 120; ++k) {
    batch += "addr add 10.77." + std::to_string(k / 100) + "." + std::to_string(k % 100 + 1) +
             "/32 dev v3 label v3:" + std::to_string(k) + "\n";
  }
  char path[] = "/tmp/survey-netns-batch-XXXXXX";
  int const fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(static_cast<ssize_t>(batch.size()), write(fd, batch.data(), batch.size()));
  close(fd);
  ShellResult const added = space.Exec(std::string("ip -batch ") + path);
  unlink(path);
  ASSERT_EQ(0, added.status) << added.output;

  ToolView tools(space.Name());
  std::string failure;
  ASSERT_TRUE(tools.Read(failure)) << failure;
  ASSERT_GT(tools.AddressCount(), 100u);
  std::vector<Observation> const expected = tools.Expected();
  if (!space.Enter()) {
    GTEST_SKIP() << "cannot enter the network namespace: " << std::strerror(errno);
  }
  std::vector<Observation> const observed = Observe();
  space.Leave();
  EXPECT_EQ(expected.size(), observed.size());
  EXPECT_EQ(expected, observed);
}

#ifdef SURVEY_COMMAND
// The whole road: the command, run in the namespace, asked in the query
// language.
TEST_F(NamespaceInterfacesTest, TheCommandAnswersInTheNamespace) {
  char pattern[] = "/tmp/survey-netns-home-XXXXXX";
  char const* const home = mkdtemp(pattern);
  ASSERT_NE(nullptr, home);
  std::string const environment = "HOME=" + std::string(home) + " XDG_STATE_HOME=" + home +
                                  "/state " + survey::testing::SanitizerSettings();
  std::vector<std::string> const queries{
      "names of ip interfaces of network",
      "(name of it, address of it, cidr string of it) of ip interfaces whose (alias of it) of "
      "network",
      "mac addresses of ip interfaces of network",
      "name of ip interface 1 of network",
      "interface 0 of network",
      "number of interfaces of network",
      "unique values of addresses of ip interfaces of network",
      "extrema of subnet addresses of ip interfaces of network",
  };
  std::string arguments = " --json";
  for (std::string const& query : queries) arguments += " -e '" + query + "'";
  ShellResult const run = space.Exec("env -i " + environment + " '" SURVEY_COMMAND "'" + arguments);
  Shell(std::string("rm -rf '") + home + "'");
  std::vector<std::string> const lines = Lines(run.output);
  ASSERT_EQ(queries.size(), lines.size()) << run.output;
  std::vector<nlohmann::json> answers;
  for (std::string const& line : lines) answers.push_back(nlohmann::json::parse(line));
  auto texts = [&](std::size_t k) {
    std::vector<std::string> values;
    for (auto const& value : answers[k]["values"]) {
      values.push_back(value["text"].get<std::string>());
    }
    return values;
  };

  // The names, in the order of the devices' indexes, from `ip`.
  ToolView tools(space.Name());
  std::string failure;
  ASSERT_TRUE(tools.Read(failure)) << failure;
  std::vector<std::string> expectedNames;
  std::vector<std::string> expectedAliases;
  for (Observation const& o : tools.Expected()) {
    expectedNames.push_back(o.name);
    if (!o.alias) continue;
    unsigned prefix = 0;
    for (IPAddress mask = o.mask; mask != 0; mask <<= 1) ++prefix;
    expectedAliases.push_back(o.name + ", " + Dotted(o.address) + ", " +
                              Dotted(o.address & o.mask) + "/" + std::to_string(prefix));
  }
  EXPECT_EQ(expectedNames, texts(0));
  // Both labelled addresses of v0 follow it: two aliases in a row.
  std::vector<std::string> aliases = texts(1);
  EXPECT_EQ(expectedAliases, aliases);
  std::sort(aliases.begin(), aliases.end());
  EXPECT_EQ(
      (std::vector<std::string>{"v0:1, 10.1.2.4, 10.1.2.0/24", "v0:2, 10.9.9.9, 10.9.0.0/16"}),
      aliases);
  std::vector<std::string> const macs = texts(2);
  EXPECT_EQ(1, std::count(macs.begin(), macs.end(), "00-0c-29-ab-cd-ef"));
  EXPECT_EQ(std::vector<std::string>{"lo"}, texts(3));
  EXPECT_EQ("no value", answers[4]["error"]["kind"].get<std::string>());
  EXPECT_EQ(std::vector<std::string>{"6"}, texts(5));
  EXPECT_EQ((std::vector<std::string>{"10.1.2.3", "10.1.2.4", "10.9.9.9", "127.0.0.1",
                                      "192.168.1.77", "192.168.7.7"}),
            texts(6));
  EXPECT_EQ(std::vector<std::string>{"10.1.2.0, 192.168.7.4"}, texts(7));
}
#endif

}  // namespace
