// Server entries and the servers' surveyors. The flattened form is checked
// against Python's struct packing of the same records, both ways; the
// distance logic against a table worked out by hand; the surveyors over a
// context of the test's own.

#include "survey/client/servers.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/contexts.h"
#include "tests/support/shell.h"

namespace {

using survey::host::Evaluation;
using survey::host::Registry;
using survey::testing::RunShell;
using survey::testing::ScratchFolder;
using survey::testing::ShellResult;

constexpr IPAddress Address(unsigned a, unsigned b, unsigned c, unsigned d) {
  return (a << 24) | (b << 16) | (c << 8) | d;
}

std::string Hex(ConstData bytes) {
  static char const kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char const* at = bytes.begin; at != bytes.end; ++at) {
    text += kDigits[*at >> 4];
    text += kDigits[*at & 15];
  }
  return text;
}

std::vector<unsigned char> Bytes(std::string const& hex) {
  std::vector<unsigned char> bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(at, 2), nullptr, 16)));
  }
  return bytes;
}

HostSelectorEntry Entry(std::string const& name, long long time, IPAddress address,
                        unsigned port, unsigned short priority, unsigned short weight,
                        unsigned char gatewayCount, unsigned char distance, unsigned size,
                        unsigned competitionWeight, std::vector<IPAddress> const& gateways) {
  HostSelectorEntry entry;
  entry.name = Stringy(name.data(), name.size());
  entry.time = time;
  entry.address = address;
  entry.port = port;
  entry.priority = priority;
  entry.weight = weight;
  entry.gatewayCount = gatewayCount;
  entry.distance = distance;
  entry.competitionSize = size;
  entry.competitionWeight = competitionWeight;
  for (std::size_t k = 0; k < gateways.size() && k < 20; ++k) entry.gateways[k] = gateways[k];
  return entry;
}

std::string Flattened(HostSelectorEntry const& entry) {
  std::vector<unsigned char> room(FlattenedLength(entry));
  Buffer buffer(Data(room.data(), room.size()));
  buffer << entry;
  return Hex(buffer.Processed());
}

// The packer of the test: Python's struct over the fields, written apart
// from the library. "pack" takes the fields of an entry (the gateways to
// write given whole) and prints the flattened form in hex; "unpack" takes
// hex and prints the fields it finds, one a line, and the length used.
constexpr char kPacker[] = R"(import struct, sys

def pack(name, time, address, port, priority, weight, count, distance, size, cweight, gateways):
    name = bytes.fromhex(name)
    seconds = abs(time) // 1000000 * (1 if time >= 0 else -1)
    out = struct.pack('>I', len(name)) + name
    out += struct.pack('>IIHHH', seconds & 0xFFFFFFFF, address, port & 0xFFFF, priority, weight)
    out += struct.pack('>BBIII', count, distance, size, cweight, len(gateways))
    out += b''.join(struct.pack('>I', g) for g in gateways)
    return out

def unpack(data):
    (length,) = struct.unpack_from('>I', data, 0)
    name = data[4:4 + length]
    at = 4 + length
    seconds, address, port, priority, weight = struct.unpack_from('>IIHHH', data, at)
    at += 14
    count, distance, size, cweight, n = struct.unpack_from('>BBIII', data, at)
    at += 14
    gateways = struct.unpack_from('>%dI' % n, data, at)
    at += 4 * n
    fields = [name.hex(), seconds, address, port, priority, weight, count, distance, size, cweight]
    print('\n'.join(str(f) for f in fields))
    print(','.join(str(g) for g in gateways))
    print(at)

if sys.argv[1] == 'pack':
    args = [sys.argv[2]] + [int(a) for a in sys.argv[3:12]]
    gateways = [int(g) for g in sys.argv[12].split(',') if g]
    print(pack(*args, gateways).hex())
else:
    unpack(bytes.fromhex(sys.argv[2]))
)";

class ServerEntryTest : public ::testing::Test {
 protected:
  ServerEntryTest() { std::ofstream(script_) << kPacker; }

  ShellResult Python(std::string const& arguments) {
    return RunShell("python3 '" + script_ + "' " + arguments);
  }

  // The flattened form of the fields as Python packs them.
  std::string Packed(std::string const& name, long long time, IPAddress address, unsigned port,
                     unsigned priority, unsigned weight, unsigned count, unsigned distance,
                     unsigned size, unsigned competitionWeight,
                     std::vector<IPAddress> const& gateways) {
    std::string list;
    for (IPAddress const gateway : gateways) {
      list += (list.empty() ? "" : ",") + std::to_string(gateway);
    }
    std::ostringstream command;
    command << "pack '" << Hex(ConstData(name.data(), name.size())) << "' " << time << ' '
            << address << ' ' << port << ' ' << priority << ' ' << weight << ' ' << count << ' '
            << distance << ' ' << size << ' ' << competitionWeight << " '" << list << "'";
    ShellResult const run = Python(command.str());
    EXPECT_EQ(0, run.status) << run.output;
    std::string hex = run.output;
    while (!hex.empty() && hex.back() == '\n') hex.pop_back();
    return hex;
  }

  ScratchFolder scratch_{"survey-servers-test"};
  std::string script_ = scratch_.Path() + "/packer.py";
};

TEST_F(ServerEntryTest, TheWriterPacksAsPythonsStructDoes) {
  struct Case {
    std::string name;
    long long time;
    IPAddress address;
    unsigned port;
    unsigned short priority;
    unsigned short weight;
    unsigned char count;
    unsigned char distance;
    unsigned size;
    unsigned competitionWeight;
    std::vector<IPAddress> gateways;
  };
  std::vector<IPAddress> twenty;
  for (unsigned k = 1; k <= 20; ++k) twenty.push_back(Address(172, 16, k, 1));
  Case const cases[] = {
      {"relay.example", 1600000000123456, Address(10, 1, 2, 3), 52311, 3, 100, 3, 7, 12, 34,
       {Address(10, 1, 2, 254), 0, Address(192, 168, 0, 1)}},
      {"", 0, 0, 0, 0, 0, 0, 255, 0, 0, {}},
      {"s\xc3\xbc\xc3\xb0ur.example", 4294967295000000LL, 0xFFFFFFFFu, 65535, 65535, 65535, 20,
       254, 0xFFFFFFFFu, 0xFFFFFFFFu, twenty},
      // The port's high bits are dropped, and a time before 1970 keeps the
      // low 32 bits of its seconds.
      {"high", -1500000, Address(1, 2, 3, 4), 0x12345, 1, 2, 1, 1, 5, 6, {Address(9, 9, 9, 9)}},
  };
  for (Case const& c : cases) {
    HostSelectorEntry const entry = Entry(c.name, c.time, c.address, c.port, c.priority, c.weight,
                                          c.count, c.distance, c.size, c.competitionWeight, c.gateways);
    std::vector<IPAddress> written(c.gateways.begin(),
                                   c.gateways.begin() + std::min<std::size_t>(c.count, 20));
    EXPECT_EQ(Packed(c.name, c.time, c.address, c.port, c.priority, c.weight, c.count, c.distance,
                     c.size, c.competitionWeight, written),
              Flattened(entry))
        << c.name;
  }
}

TEST_F(ServerEntryTest, TheReaderTakesWhatPythonsStructPacks) {
  std::vector<IPAddress> addresses;
  for (unsigned k = 1; k <= 25; ++k) addresses.push_back(Address(10, 0, 0, k));
  std::string const hex = Packed("gw\xe2\x82\xac", 1700000000999999, Address(192, 0, 2, 9), 80,
                                 9, 8, 25, 3, 77, 88, addresses);
  std::vector<unsigned char> bytes = Bytes(hex);
  // Bytes behind the entry are not read.
  std::size_t const length = bytes.size();
  bytes.push_back(0xAB);
  bytes.push_back(0xCD);
  ConstBuffer in(ConstData(bytes.data(), bytes.size()));
  HostSelectorEntry entry;
  in >> entry;
  EXPECT_EQ(std::string("gw\xe2\x82\xac"), entry.name.CString());
  EXPECT_EQ(1700000000000000LL, entry.time);
  EXPECT_EQ(Address(192, 0, 2, 9), entry.address);
  EXPECT_EQ(80u, entry.port);
  EXPECT_EQ(9u, entry.priority);
  EXPECT_EQ(8u, entry.weight);
  EXPECT_EQ(25u, entry.gatewayCount);
  EXPECT_EQ(3u, entry.distance);
  EXPECT_EQ(77u, entry.competitionSize);
  EXPECT_EQ(88u, entry.competitionWeight);
  EXPECT_EQ(-1, entry.host);
  // Of 25 addresses, 20 are kept and the cursor is behind all 25.
  for (unsigned k = 0; k < 20; ++k) EXPECT_EQ(addresses[k], entry.gateways[k]) << k;
  EXPECT_EQ(20u, entry.GatewayAddresses().Length());
  EXPECT_EQ(length, in.Processed().Length());
  EXPECT_EQ(2u, in.Remaining());
}

TEST_F(ServerEntryTest, PythonUnpacksWhatTheWriterWrites) {
  HostSelectorEntry const entry = Entry("name1234", 1234567890654321, Address(10, 20, 30, 40),
                                        443, 5, 6, 2, 4, 7, 8,
                                        {Address(10, 20, 30, 1), Address(10, 20, 0, 1)});
  ShellResult const run = Python("unpack " + Flattened(entry));
  ASSERT_EQ(0, run.status) << run.output;
  EXPECT_EQ(Hex(ConstData("name1234")) + "\n1234567890\n" +
                std::to_string(Address(10, 20, 30, 40)) + "\n443\n5\n6\n2\n4\n7\n8\n" +
                std::to_string(Address(10, 20, 30, 1)) + "," + std::to_string(Address(10, 20, 0, 1)) +
                "\n" + std::to_string(8 + 18 + 14 + 8) + "\n",
            run.output);
}

TEST(ServerEntry, EightBytesOfNameAndThreeGatewaysTakeFiftyTwoBytesButAskForOneHundredTwenty) {
  HostSelectorEntry const entry = Entry("12345678", 0, 1, 2, 3, 4, 3, 5, 6, 7, {1, 2, 3});
  EXPECT_EQ(120u, FlattenedLength(entry));
  EXPECT_EQ(30u, FlattenedLength(static_cast<HostInfo const&>(entry)));
  unsigned char room[120];
  std::memset(room, 0xEE, sizeof room);
  Buffer small(Data(room, 119));
  EXPECT_THROW(small << entry, DataTooSmall);
  EXPECT_EQ(room, small.current);
  EXPECT_EQ(0xEE, room[0]);
  Buffer enough(Data(room, 120));
  enough << entry;
  EXPECT_EQ(52u, enough.Processed().Length());
  // The HostInfo alone asks for the name and 22.
  Buffer info(Data(room, 29));
  EXPECT_THROW(info << static_cast<HostInfo const&>(entry), DataTooSmall);
  Buffer infoEnough(Data(room, 30));
  infoEnough << static_cast<HostInfo const&>(entry);
  EXPECT_EQ(26u, infoEnough.Processed().Length());
}

TEST(ServerEntry, ATimeLosesItsMicrosecondsOnTheWayThrough) {
  HostSelectorEntry const entry = Entry("t", 1600000000999999, 0, 0, 0, 0, 0, 255, 0, 0, {});
  unsigned char room[200];
  Buffer out(Data(room, sizeof room));
  out << entry;
  ConstBuffer in(out.Processed());
  HostSelectorEntry back;
  in >> back;
  EXPECT_EQ(1600000000000000LL, back.time);
  EXPECT_TRUE(in.Finished());
}

TEST(ServerEntry, ABlankEntryHasNoNameTheEarliestTimeAndNoGateways) {
  HostSelectorEntry const blank;
  EXPECT_TRUE(blank.name.IsEmpty());
  EXPECT_EQ(LLONG_MIN, blank.time);
  for (IPAddress const gateway : blank.gateways) EXPECT_EQ(0u, gateway);
  EXPECT_EQ(0u, blank.GatewayAddresses().Length());
}

TEST(ServerEntry, EveryCutShortFormThrowsAndLeavesTheEntryAsItWas) {
  HostSelectorEntry const entry = Entry("cut.example", 1000000, 5, 6, 7, 8, 4, 9, 10, 11,
                                        {1, 2, 3, 4});
  unsigned char room[300];
  Buffer out(Data(room, sizeof room));
  out << entry;
  unsigned long const whole = out.Processed().Length();
  for (unsigned long length = 0; length < whole; ++length) {
    // A copy of just that many bytes, so that a read past them is caught.
    std::vector<unsigned char> const cut(room, room + length);
    ConstBuffer in(ConstData(cut.data(), cut.size()));
    HostSelectorEntry kept = Entry("kept", 0, 0, 0, 0, 0, 0, 0, 0, 0, {});
    EXPECT_THROW(in >> kept, ConstDataTooSmall) << length;
    EXPECT_EQ(std::string("kept"), kept.name.CString()) << length;
  }
}

TEST(ServerEntry, LengthsPastTheEndThrow) {
  // A name's length of 2^32 - 1 with three bytes behind it.
  unsigned char const name[] = {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'};
  ConstBuffer in(ConstData(name, sizeof name));
  HostInfo info;
  EXPECT_THROW(in >> info, ConstDataTooSmall);
  // An address count of 2^32 - 1 with one address behind it.
  HostSelectorEntry const entry = Entry("n", 0, 0, 0, 0, 0, 0, 0, 0, 0, {});
  unsigned char room[200];
  Buffer out(Data(room, sizeof room));
  out << entry;
  std::vector<unsigned char> bytes(room, out.current);
  bytes[bytes.size() - 4] = 0xFF;
  bytes[bytes.size() - 3] = 0xFF;
  bytes[bytes.size() - 2] = 0xFF;
  bytes[bytes.size() - 1] = 0xFF;
  bytes.insert(bytes.end(), {1, 2, 3, 4});
  ConstBuffer many(ConstData(bytes.data(), bytes.size()));
  HostSelectorEntry read;
  EXPECT_THROW(many >> read, ConstDataTooSmall);
}

TEST(ServerEntry, TheLibrarysEntriesForTheHostWriteAndReadTheSameForm) {
  SurveyHostSelectorDescription description{};
  std::string const name = "host.example";
  description.name = name.data();
  description.nameLength = name.size();
  description.time = 1500000000000001;
  description.address = Address(10, 9, 8, 7);
  description.port = 52311;
  description.gatewayCount = 1;
  description.distance = 2;
  description.gateways[0] = Address(10, 9, 8, 1);
  unsigned char room[200];
  EXPECT_EQ(0u, SurveyFlattenHostSelector(&description, room, name.size() + 111));
  unsigned long const written = SurveyFlattenHostSelector(&description, room, sizeof room);
  ASSERT_EQ(name.size() + 18 + 14 + 4, written);
  HostSelectorEntry* const entry = SurveyReadHostSelector(room, written);
  ASSERT_NE(nullptr, entry);
  SurveyHostSelectorDescription back{};
  ASSERT_TRUE(SurveyDescribeHostSelector(entry, &back));
  EXPECT_EQ(name, std::string(back.name, back.nameLength));
  EXPECT_EQ(1500000000000000LL, back.time);
  EXPECT_EQ(Address(10, 9, 8, 1), back.gateways[0]);
  SurveyDeleteHostSelector(entry);
  EXPECT_EQ(nullptr, SurveyReadHostSelector(room, written - 1));
  EXPECT_EQ(nullptr, SurveyReadHostSelector(nullptr, 5));
  EXPECT_FALSE(SurveyDescribeHostSelector(nullptr, &back));
  SurveyDeleteHostSelector(nullptr);
}

// ---------------------------------------------------------------------------
// Distances, worked out by hand. This machine is 10.1.2.3 on 10.1.2.0/24.

TEST(ServerDistance, ByTheSubnetAsWorkedOutByHand) {
  IPAddress const here = Address(10, 1, 2, 3);
  IPAddress const mask = Address(255, 255, 255, 0);
  IPAddress const elsewhere = Address(10, 1, 3, 5);
  IPAddress const nearby = Address(10, 1, 2, 77);
  IPAddress const known = Address(9, 9, 9, 9);
  struct Row {
    IPAddress server;
    unsigned char count;
    unsigned char distance;
    IPAddress firstGateway;
    // After:
    unsigned char count2;
    unsigned char distance2;
    IPAddress firstGateway2;
  };
  Row const rows[] = {
      // Elsewhere, unknown distance, no gateway: this machine's address
      // becomes the gateway.
      {elsewhere, 0, 255, 0, 1, 255, here},
      // Elsewhere at 2 hops, no gateway: the same.
      {elsewhere, 0, 2, 0, 1, 2, here},
      // Elsewhere at 1 hop or 0: nothing changes.
      {elsewhere, 0, 1, 0, 0, 1, 0},
      {elsewhere, 0, 0, 0, 0, 0, 0},
      // Elsewhere with a gateway known: nothing changes.
      {elsewhere, 2, 255, known, 2, 255, known},
      // Nearby: distance 0 and no gateways, the stored addresses left.
      {nearby, 3, 255, known, 0, 0, known},
      {nearby, 0, 0, 0, 0, 0, 0},
      {nearby, 1, 0, known, 0, 0, known},
      // The machine's own address is on its subnet.
      {here, 0, 7, 0, 0, 0, 0},
  };
  std::vector<HostSelectorEntry> entries;
  for (Row const& row : rows) {
    HostSelectorEntry entry;
    entry.address = row.server;
    entry.gatewayCount = row.count;
    entry.distance = row.distance;
    entry.gateways[0] = row.firstGateway;
    HostSelectorEntry single = entry;
    SetDistanceBySubnet(single, here, mask);
    EXPECT_EQ(row.count2, single.gatewayCount);
    EXPECT_EQ(row.distance2, single.distance);
    EXPECT_EQ(row.firstGateway2, single.gateways[0]);
    entries.push_back(entry);
  }
  SetDistanceBySubnet(entries, here, mask);
  for (std::size_t k = 0; k < entries.size(); ++k) {
    EXPECT_EQ(rows[k].count2, entries[k].gatewayCount) << k;
    EXPECT_EQ(rows[k].distance2, entries[k].distance) << k;
    EXPECT_EQ(rows[k].firstGateway2, entries[k].gateways[0]) << k;
  }
  // Under an empty mask every server is nearby.
  HostSelectorEntry far;
  far.address = Address(8, 8, 8, 8);
  far.gatewayCount = 2;
  SetDistanceBySubnet(far, here, 0);
  EXPECT_EQ(0u, far.distance);
  EXPECT_EQ(0u, far.gatewayCount);
}

TEST(ServerDistance, ClearingForgetsGatewaysAndDistance) {
  std::vector<HostSelectorEntry> entries(2);
  entries[0].gatewayCount = 4;
  entries[0].distance = 3;
  entries[1].distance = 0;
  ClearDistanceInformation(entries);
  for (HostSelectorEntry const& entry : entries) {
    EXPECT_EQ(0u, entry.gatewayCount);
    EXPECT_EQ(255u, entry.distance);
  }
}

TEST(ServerDistance, ErasingAddressesKeepsTheOrderOfTheRest) {
  std::vector<HostSelectorEntry> entries(6);
  char const* const names[] = {"a", "b", "c", "d", "e", "f"};
  IPAddress const addresses[] = {1, 2, 3, 2, 5, 6};
  for (std::size_t k = 0; k < entries.size(); ++k) {
    entries[k].name = names[k];
    entries[k].address = addresses[k];
  }
  IPAddress const erased[] = {2, 6, 99};
  EraseAddresses(entries, ConstArrayOf<IPAddress>{erased, erased + 3});
  ASSERT_EQ(3u, entries.size());
  EXPECT_EQ(std::string("a"), entries[0].name.CString());
  EXPECT_EQ(std::string("c"), entries[1].name.CString());
  EXPECT_EQ(std::string("e"), entries[2].name.CString());
  EraseAddresses(entries, ConstArrayOf<IPAddress>{});
  EXPECT_EQ(3u, entries.size());
}

// ---------------------------------------------------------------------------
// The surveyors over a context of the test's own.

class ServerHost : public SurveyorContext,
                   public SurveyorServerContext,
                   public HostSelectorSurveyorContext,
                   public SurveyorProcessTableContext {
 public:
  void GetServerRecord(SurveyorServerRecord& record) override {
    ++asked;
    for (SurveyorServerBuffer const& buffer : record.buffers) {
      buffersPrepared = buffersPrepared && buffer.begin == buffer.bytes &&
                        buffer.current == buffer.bytes && buffer.end == buffer.bytes + 256;
    }
    record.apparentServerTime = time;
    record.rootServerId = rootId;
    std::strcpy(record.registrationServerVersion, version);
    std::strcpy(record.registrationServerName, name);
    std::strcpy(record.relayVersion, relay);
    std::strcpy(record.rootServerName, root);
    std::strcpy(record.downloadServerName, download);
  }
  HostSelectorEntry const* GetSelectedServer() override { return selected; }

  int asked = 0;
  bool buffersPrepared = true;
  unsigned long long time = 0;
  unsigned int rootId = 0;
  char const* version = "";
  char const* name = "";
  char const* relay = "";
  char const* root = "";
  char const* download = "";
  HostSelectorEntry const* selected = nullptr;
};

// The host's table finds the relay, when it runs, as the program at a path
// that exists.
bool relayRuns = false;
bool Running(char const* name, unsigned long length, char* found) {
  if (!relayRuns || std::string(name, length) != "QRVRelay") return false;
  std::strcpy(found, "/bin/sh");
  return true;
}

class ServerSurveyorTest : public ::testing::Test {
 protected:
  ServerSurveyorTest() { host.FindRunningApplication = &Running; }

  template <class Body>
  void Within(SurveyorContext* context, Body body) {
    Evaluation evaluation(Registry::Default(), context);
    Evaluation::Scope scope(evaluation);
    body();
  }

  static std::string Text(surveyor_string const& text) {
    return std::string(reinterpret_cast<char const*>(text.data), text.length);
  }

  ServerHost host;
};

TEST_F(ServerSurveyorTest, TheSelectedServerIsTheHostsEntry) {
  HostSelectorEntry entry = Entry("relay.example", 0, Address(10, 0, 0, 9), 0x1BEEF, 4, 5, 3,
                                  6, 70, 80, {Address(10, 0, 0, 1), 0, Address(10, 0, 1, 1)});
  host.selected = &entry;
  Within(&host, [&] {
    selected_server const server = SelectedServer();
    EXPECT_EQ(&entry, server.entry);
    EXPECT_EQ("relay.example", Text(NameOf(server)));
    EXPECT_EQ(Address(10, 0, 0, 9), IPAddressOf(server).address);
    EXPECT_EQ(0xBEEF, PortNumberOf(server).value);
    EXPECT_EQ(4, PriorityOf(server).value);
    EXPECT_EQ(5, WeightOf(server).value);
    integer_range const distance = DistanceOf(server);
    EXPECT_EQ(3, LowerBoundOf(distance).value);
    EXPECT_EQ(6, UpperBoundOf(distance).value);
    EXPECT_EQ(70, CompetitionSizeOf(server).value);
    EXPECT_EQ(80, CompetitionWeightOf(server).value);
    // Gateway 0 is the first; a hole and the end give no value.
    EXPECT_EQ(Address(10, 0, 0, 1), GatewayOf(0, server).address);
    EXPECT_THROW(GatewayOf(1, server), NoSuchObject);
    EXPECT_EQ(Address(10, 0, 1, 1), GatewayOf(2, server).address);
    EXPECT_THROW(GatewayOf(3, server), NoSuchObject);
    gateway_iterator walk;
    EXPECT_EQ(Address(10, 0, 0, 1), walk.First(server).address);
    EXPECT_EQ(Address(10, 0, 1, 1), walk.Next(server).address);
    EXPECT_THROW(walk.Next(server), NoSuchObject);
    // The properties read the host's entry at each use.
    entry.priority = 11;
    EXPECT_EQ(11, PriorityOf(server).value);
  });
}

TEST_F(ServerSurveyorTest, NoSelectedServerOrOneWithoutANameIsNone) {
  HostSelectorEntry entry;
  Within(&host, [&] {
    EXPECT_THROW(SelectedServer(), NoSuchObject);
    host.selected = &entry;
    EXPECT_THROW(SelectedServer(), NoSuchObject);
  });
  EXPECT_THROW(SelectedServer(), NoSurveyorContext);
}

TEST_F(ServerSurveyorTest, TheServerRecordsTexts) {
  Within(&host, [&] {
    EXPECT_THROW(ApparentServerTime_of_world(), NoSuchObject);
    EXPECT_THROW(Name_of(RegistrationServer_of_world()), NoSuchObject);
    EXPECT_THROW(Version_of(RegistrationServer_of_world()), NoSuchObject);
    EXPECT_THROW(RelayVersion_of(CurrentRelay_of_world()), NoSuchObject);
    EXPECT_THROW(DownloadName_of(DownloadServer_of_world()), NoSuchObject);
    EXPECT_THROW(HostName(RootServer()), NoSuchObject);
    EXPECT_EQ(0, ID(RootServer()).value);
    host.rootId = 0xFFFFFFFFu;
    host.name = "bes.example";
    host.download = "dl.example";
    host.root = "root.example";
    host.version = "9.5.1.2";
    host.relay = "10.0.7";
    EXPECT_EQ(4294967295LL, ID(RootServer()).value);
    EXPECT_EQ("bes.example", Text(Name_of(RegistrationServer_of_world())));
    EXPECT_EQ("dl.example", Text(DownloadName_of(DownloadServer_of_world())));
    EXPECT_EQ("root.example", Text(HostName(RootServer())));
    EXPECT_EQ("9.5.1.2", Text(AsString(Version_of(RegistrationServer_of_world()))));
    EXPECT_EQ("10.0.7", Text(AsString(RelayVersion_of(CurrentRelay_of_world()))));
  });
  EXPECT_TRUE(host.buffersPrepared);
  EXPECT_GT(host.asked, 0);
  EXPECT_THROW(ID(RootServer()), NoSurveyorContext);
}

TEST_F(ServerSurveyorTest, TheRelaysStateFollowsTheApplicationTable) {
  Within(&host, [&] {
    relayRuns = false;
    EXPECT_EQ("Stopped", Text(ServiceStateProperty(service{0})));
    relayRuns = true;
    EXPECT_EQ("Running", Text(ServiceStateProperty(service{0})));
  });
  relayRuns = false;
  // Without a context there is no table to find it in.
  EXPECT_EQ("Stopped", Text(ServiceStateProperty(service{0})));
}

TEST_F(ServerSurveyorTest, OnlyTheRelaysNameIsAServiceAndTheMainGatherServiceIsNone) {
  EXPECT_THROW(PrimaryRelayService(), NoSuchObject);
  unsigned char const other[] = "QRVRelayX";
  EXPECT_THROW(NamedService(other, 9), NoSuchObject);
  EXPECT_THROW(NamedService(other, 7), NoSuchObject);
  unsigned char const lower[] = "qrvrelay";
  EXPECT_THROW(NamedService(lower, 8), NoSuchObject);
}

}  // namespace
