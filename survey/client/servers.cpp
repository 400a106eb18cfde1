#include "survey/client/servers.h"

#include <climits>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"
#include "survey/rpm/packages.h"
#include "survey/rpm/rpm_database.h"
#include "survey/system/processes.h"
#include "survey/values/versions.h"

char const* const cRelayServiceName = "QRVRelay";

// ---------------------------------------------------------------------------
// Entries.

HostSelectorEntry::HostSelectorEntry() { time = LLONG_MIN; }

ConstArrayOf<IPAddress> HostSelectorEntry::GatewayAddresses() const {
  unsigned long const count =
      gatewayCount < kMaximumGateways ? gatewayCount : kMaximumGateways;
  return ConstArrayOf<IPAddress>{gateways, gateways + count};
}

unsigned long FlattenedLength(HostInfo const& info) { return info.name.GetLength() + 22; }

unsigned long FlattenedLength(HostSelectorEntry const& entry) {
  return FlattenedLength(static_cast<HostInfo const&>(entry)) + 90;
}

Buffer& operator<<(Buffer& out, HostInfo const& info) {
  if (out.Remaining() < FlattenedLength(info)) throw DataTooSmall();
  unsigned long const length = info.name.GetLength();
  // Whole seconds; a time before 1970 or after 2106 keeps its low 32 bits.
  long long const seconds = info.time / 1000000;
  out << BigEndian<4>(length);
  out << info.name.AsConstData();
  out << BigEndian<4>(seconds);
  out << BigEndian<4>(info.address);
  out << BigEndian<2>(info.port);
  out << BigEndian<2>(info.priority);
  out << BigEndian<2>(info.weight);
  return out;
}

Buffer& operator<<(Buffer& out, HostSelectorEntry const& entry) {
  if (out.Remaining() < FlattenedLength(entry)) throw DataTooSmall();
  out << static_cast<HostInfo const&>(entry);
  out << BigEndian<1>(entry.gatewayCount);
  out << BigEndian<1>(entry.distance);
  out << BigEndian<4>(entry.competitionSize);
  out << BigEndian<4>(entry.competitionWeight);
  ConstArrayOf<IPAddress> const addresses = entry.GatewayAddresses();
  unsigned long const count = addresses.Length();
  out << BigEndian<4>(count);
  for (unsigned long k = 0; k < count; ++k) out << BigEndian<4>(addresses[k]);
  return out;
}

ConstBuffer& operator>>(ConstBuffer& in, HostInfo& info) {
  unsigned long length = 0;
  in >> BigEndian<4>(length);
  // The name's bytes must all be there before any is taken.
  if (in.Remaining() < length) throw ConstDataTooSmall();
  info.name = Stringy(in.current, length);
  in.current += length;
  long long seconds = 0;
  in >> BigEndian<4>(seconds);
  info.time = seconds * 1000000;
  in >> BigEndian<4>(info.address);
  in >> BigEndian<2>(info.port);
  in >> BigEndian<2>(info.priority);
  in >> BigEndian<2>(info.weight);
  info.host = -1;
  return in;
}

ConstBuffer& operator>>(ConstBuffer& in, HostSelectorEntry& entry) {
  HostSelectorEntry read;
  in >> static_cast<HostInfo&>(read);
  in >> BigEndian<1>(read.gatewayCount);
  in >> BigEndian<1>(read.distance);
  in >> BigEndian<4>(read.competitionSize);
  in >> BigEndian<4>(read.competitionWeight);
  unsigned long count = 0;
  in >> BigEndian<4>(count);
  // A longer list than the entry holds is read past rather than refused.
  for (unsigned long k = 0; k < count; ++k) {
    IPAddress address = 0;
    in >> BigEndian<4>(address);
    if (k < HostSelectorEntry::kMaximumGateways) read.gateways[k] = address;
  }
  entry = std::move(read);
  return in;
}

void SetDistanceBySubnet(HostSelectorEntry& entry, IPAddress address, IPAddress mask) {
  if (((entry.address ^ address) & mask) != 0) {
    // Elsewhere: the given address is the first gateway on the way, unless
    // the entry knows its gateways already or is at most one hop away.
    if (entry.gatewayCount == 0 && entry.distance > 1) {
      entry.gatewayCount = 1;
      entry.gateways[0] = address;
    }
    return;
  }
  // On this subnet.
  if (entry.distance != 0) entry.distance = 0;
  if (entry.gatewayCount != 0) entry.gatewayCount = 0;
}

void SetDistanceBySubnet(std::vector<HostSelectorEntry>& entries, IPAddress address,
                         IPAddress mask) {
  for (HostSelectorEntry& entry : entries) SetDistanceBySubnet(entry, address, mask);
}

void ClearDistanceInformation(std::vector<HostSelectorEntry>& entries) {
  for (HostSelectorEntry& entry : entries) {
    entry.gatewayCount = 0;
    entry.distance = 255;
  }
}

void EraseAddresses(std::vector<HostSelectorEntry>& entries, ConstArrayOf<IPAddress> addresses) {
  auto const listed = [&addresses](IPAddress address) {
    for (unsigned long k = 0; k < addresses.Length(); ++k) {
      if (addresses[k] == address) return true;
    }
    return false;
  };
  std::size_t kept = 0;
  for (std::size_t k = 0; k < entries.size(); ++k) {
    if (listed(entries[k].address)) continue;
    if (kept != k) entries[kept] = entries[k];
    ++kept;
  }
  entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(kept), entries.end());
}

// ---------------------------------------------------------------------------
// The selected server.

namespace {

surveyor_string CopyOf(ConstData text) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.Length());
  if (bytes == nullptr) throw NoSuchObject();
  if (!text.Empty()) std::memcpy(bytes, text.begin, text.Length());
  return surveyor_string{bytes, text.Length()};
}

integer Integer(long long value) { return integer{value}; }

}  // namespace

selected_server SelectedServer() {
  HostSelectorEntry const* const entry = AskSelectedServer();
  if (entry == nullptr || entry->name.IsEmpty()) throw NoSuchObject();
  return selected_server{entry};
}

surveyor_string NameOf(selected_server const& server) {
  return CopyOf(server.entry->name.AsConstData());
}

ipv4_address IPAddressOf(selected_server const& server) {
  return ipv4_address{server.entry->address};
}

integer PortNumberOf(selected_server const& server) {
  return Integer(server.entry->port & 0xFFFFu);
}

integer PriorityOf(selected_server const& server) { return Integer(server.entry->priority); }
integer WeightOf(selected_server const& server) { return Integer(server.entry->weight); }

integer_range DistanceOf(selected_server const& server) {
  return integer_range{server.entry->gatewayCount, server.entry->distance};
}

integer CompetitionSizeOf(selected_server const& server) {
  return Integer(server.entry->competitionSize);
}

integer CompetitionWeightOf(selected_server const& server) {
  return Integer(server.entry->competitionWeight);
}

ipv4_address GatewayOf(unsigned long long index, selected_server const& server) {
  ConstArrayOf<IPAddress> const gateways = server.entry->GatewayAddresses();
  if (index >= gateways.Length()) throw NoSuchObject();
  IPAddress const address = gateways[static_cast<unsigned long>(index)];
  if (address == 0) throw NoSuchObject();
  return ipv4_address{address};
}

integer LowerBoundOf(integer_range const& range) { return Integer(range.lower); }
integer UpperBoundOf(integer_range const& range) { return Integer(range.upper); }

ipv4_address gateway_iterator::First(selected_server const& server) {
  index_ = 0;
  return Next(server);
}

ipv4_address gateway_iterator::Next(selected_server const& server) {
  ConstArrayOf<IPAddress> const gateways = server.entry->GatewayAddresses();
  while (index_ < gateways.Length()) {
    IPAddress const address = gateways[index_++];
    if (address != 0) return ipv4_address{address};
  }
  throw NoSuchObject();
}

// ---------------------------------------------------------------------------
// The servers.

namespace {

// The text of a field of the record, up to its first NUL or its end.
ConstData FieldText(char const* field, unsigned long size) {
  unsigned long length = 0;
  while (length < size && field[length] != '\0') ++length;
  return ConstData(field, length);
}

template <unsigned long N>
ConstData FieldText(char const (&field)[N]) {
  return FieldText(field, N);
}

// A name of the record, copied for the evaluation; NoSuchObject when empty.
template <unsigned long N>
surveyor_string NameField(char const (&field)[N]) {
  ConstData const text = FieldText(field);
  if (text.Empty()) throw NoSuchObject();
  return CopyOf(text);
}

template <unsigned long N>
surveyor_version VersionField(char const (&field)[N]) {
  ConstData const text = FieldText(field);
  if (text.Empty()) throw NoSuchObject();
  return AsVersion(text.AsSurveyorString());
}

}  // namespace

registration_server RegistrationServer_of_world() { return registration_server{0}; }

moment ApparentServerTime_of_world() {
  unsigned long long const time = AskServerRecord()->apparentServerTime;
  if (time == 0) throw NoSuchObject();
  return january_1_1970() + integer{static_cast<long long>(time)} * microsecond_of();
}

moment Now_of(registration_server const&) { return ApparentServerTime_of_world(); }

surveyor_version Version_of(registration_server const&) {
  return VersionField(AskServerRecord()->registrationServerVersion);
}

surveyor_string Name_of(registration_server const&) {
  return NameField(AskServerRecord()->registrationServerName);
}

current_relay CurrentRelay_of_world() { return current_relay{0}; }

surveyor_version RelayVersion_of(current_relay const&) {
  return VersionField(AskServerRecord()->relayVersion);
}

download_server DownloadServer_of_world() { return download_server{0}; }

surveyor_string DownloadName_of(download_server const&) {
  return NameField(AskServerRecord()->downloadServerName);
}

root_server RootServer() { return root_server{0}; }

surveyor_string HostName(root_server const&) {
  return NameField(AskServerRecord()->rootServerName);
}

integer ID(root_server const&) {
  return Integer(static_cast<long long>(AskServerRecord()->rootServerId));
}

// ---------------------------------------------------------------------------
// The relay service.

namespace {

ConstData RelayName() { return ConstData(cRelayServiceName); }

}  // namespace

service RelayService() {
  rpmdatabase const database = rpm_of_world();
  ConstData const name = RelayName();
  // Only whether the package is there matters; NoSuchObject passes on.
  package const found = package_of_rpm(name.begin, name.Length(), database);
  (void)found;
  return service{0};
}

service PrimaryRelayService() { throw NoSuchObject(); }

service NamedService(unsigned char const* name, unsigned long length) {
  if (!(ConstData(name, length) == RelayName())) throw NoSuchObject();
  return RelayService();
}

surveyor_string ServiceStateProperty(service const&) {
  static char const kRunning[] = "Running";
  static char const kStopped[] = "Stopped";
  ConstData const name = RelayName();
  bool running = true;
  try {
    application const found = RunApp_of(name.begin, name.Length());
    (void)found;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (...) {
    // No such application, or no application table to ask.
    running = false;
  }
  return ConstData(running ? kRunning : kStopped).AsSurveyorString();
}

// ---------------------------------------------------------------------------
// Entries for the host.

unsigned long SurveyFlattenHostSelector(SurveyHostSelectorDescription const* description,
                                        unsigned char* out, unsigned long room) {
  if (description == nullptr || out == nullptr) return 0;
  if (description->name == nullptr && description->nameLength != 0) return 0;
  try {
    HostSelectorEntry entry;
    entry.name = Stringy(description->name, description->nameLength);
    entry.time = description->time;
    entry.address = description->address;
    entry.port = description->port;
    entry.priority = description->priority;
    entry.weight = description->weight;
    entry.gatewayCount = description->gatewayCount;
    entry.distance = description->distance;
    entry.competitionSize = description->competitionSize;
    entry.competitionWeight = description->competitionWeight;
    std::memcpy(entry.gateways, description->gateways, sizeof entry.gateways);
    Buffer buffer(Data(out, room));
    buffer << entry;
    return buffer.Processed().Length();
  } catch (...) {
    return 0;
  }
}

HostSelectorEntry* SurveyReadHostSelector(unsigned char const* bytes, unsigned long length) {
  if (bytes == nullptr && length != 0) return nullptr;
  try {
    auto entry = std::make_unique<HostSelectorEntry>();
    ConstBuffer buffer(ConstData(bytes, length));
    buffer >> *entry;
    return entry.release();
  } catch (...) {
    return nullptr;
  }
}

bool SurveyDescribeHostSelector(HostSelectorEntry const* entry,
                                SurveyHostSelectorDescription* description) {
  if (entry == nullptr || description == nullptr) return false;
  description->name = entry->name.CString();
  description->nameLength = entry->name.GetLength();
  description->time = entry->time;
  description->address = entry->address;
  description->port = entry->port;
  description->priority = entry->priority;
  description->weight = entry->weight;
  description->gatewayCount = entry->gatewayCount;
  description->distance = entry->distance;
  description->competitionSize = entry->competitionSize;
  description->competitionWeight = entry->competitionWeight;
  std::memcpy(description->gateways, entry->gateways, sizeof description->gateways);
  return true;
}

void SurveyDeleteHostSelector(HostSelectorEntry* entry) { delete entry; }

// ---------------------------------------------------------------------------
// Registration, in table order: the selected server, the servers, the relay
// service. Every answer is the host's of the moment, so nothing is reused.

namespace {

RegistrationTable table{
    TypeRow<selected_server>(),
    TypeRow<integer_range>(),
    PropertyRow("selected server", "selected servers", &SelectedServer),
    PropertyRow("name", "names", &NameOf),
    PropertyRow("ip address", "ip addresses", &IPAddressOf),
    PropertyRow("port number", "port numbers", &PortNumberOf),
    PropertyRow("priority", "priorities", &PriorityOf),
    PropertyRow("weight", "weights", &WeightOf),
    PropertyRow("distance", "distances", &DistanceOf),
    PropertyRow("competition size", "competition sizes", &CompetitionSizeOf),
    PropertyRow("competition weight", "competition weights", &CompetitionWeightOf),
    IndexedRow("gateway address", "gateway addresses", &GatewayOf),
    PropertyRow("lower bound", "lower bounds", &LowerBoundOf),
    PropertyRow("upper bound", "upper bounds", &UpperBoundOf),
    IteratedRow<gateway_iterator>("gateway address", "gateway addresses"),
    TypeRow<registration_server>(),
    TypeRow<current_relay>(),
    TypeRow<download_server>(),
    TypeRow<root_server>(),
    PropertyRow("registration server", "registration servers", &RegistrationServer_of_world),
    PropertyRow("apparent registration server time", "apparent registration server times",
                &ApparentServerTime_of_world),
    PropertyRow("now", "nows", &Now_of),
    PropertyRow("version", "versions", &Version_of),
    PropertyRow("name", "names", &Name_of),
    PropertyRow("current relay", "current relays", &CurrentRelay_of_world),
    PropertyRow("version", "versions", &RelayVersion_of),
    PropertyRow("download server", "download servers", &DownloadServer_of_world),
    PropertyRow("name", "names", &DownloadName_of),
    PropertyRow("root server", "root servers", &RootServer),
    PropertyRow("host name", "host names", &HostName),
    PropertyRow("id", "ids", &ID),
    TypeRow<service>(),
    PropertyRow("relay service", "relay services", &RelayService),
    PropertyRow("main gather service", "main gather services", &PrimaryRelayService),
    IndexedRow("service", "services", &NamedService),
    PropertyRow("state", "states", &ServiceStateProperty),
};

}  // namespace
