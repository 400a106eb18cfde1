// The servers a client talks to: the entry of its server list
// (`HostInfo`, `HostSelectorEntry`) with the flattened big-endian form in
// which it is stored and exchanged and the distance logic over a list, and
// the surveyors of the selected server, the registration server, the current
// relay, the download server, the root server and the relay service.
//
// Flattened form of a `HostInfo`, every number big-endian:
//
//   0     4  L, the name's length
//   4     L  the name's bytes, no terminator
//   4+L   4  the time in whole seconds since 1970
//   8+L   4  the address
//   12+L  2  the port
//   14+L  2  the priority
//   16+L  2  the weight
//
// and of a `HostSelectorEntry`, the same followed by:
//
//   0     1  the gateway count
//   1     1  the distance
//   2     4  the competition size
//   6     4  the competition weight
//   10    4  N, the number of addresses that follow
//   14    4N the addresses
//
// The writers ask for `FlattenedLength` bytes of room, which is the longest
// form an entry can take (20 gateways), whatever the entry's own length.
#pragma once

#include <vector>

#include "survey/client/host_selector_description.h"
#include "survey/foundation/data.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"
#include "survey/values/ipv4.h"
#include "survey/values/versions.h"

// A read-only view of an array: from `begin` up to, not including, `end`.
template <class T>
struct ConstArrayOf {
  T const* begin = nullptr;
  T const* end = nullptr;

  unsigned long Length() const { return static_cast<unsigned long>(end - begin); }
  T const& operator[](unsigned long index) const { return begin[index]; }
};

// A server as the client knows it.
class SURVEY_API HostInfo {
 public:
  Stringy name;
  long long time = 0;     // microseconds since 1970
  IPAddress address = 0;  // host order
  unsigned int port = 0;  // a 16-bit port in a 32-bit word
  unsigned short priority = 0;
  unsigned short weight = 0;
  signed char host = 0;  // the host's; -1 after reading
};

// An entry of the client's server list: a server with how far away it is.
class SURVEY_API HostSelectorEntry : public HostInfo {
 public:
  static constexpr unsigned long kMaximumGateways = 20;

  // A blank entry: no name, the earliest time, no gateways, distance
  // unknown.
  HostSelectorEntry();

  // The first `gatewayCount` addresses, at most 20 of them.
  ConstArrayOf<IPAddress> GatewayAddresses() const;

  unsigned char gatewayCount = 0;  // gateways on the way; 0 for none known
  unsigned char distance = 255;    // hops; 255 for unknown
  unsigned int competitionSize = 0;
  unsigned int competitionWeight = 0;
  IPAddress gateways[kMaximumGateways] = {};  // 0 marks a hole
};

// The room a writer asks for: the name's length plus 22 for a `HostInfo`,
// and 90 more for a `HostSelectorEntry`.
SURVEY_API unsigned long FlattenedLength(HostInfo const& info);
SURVEY_API unsigned long FlattenedLength(HostSelectorEntry const& entry);

// Throw DataTooSmall, writing nothing, when the buffer's room is below the
// flattened length; otherwise write the flattened form.
SURVEY_API Buffer& operator<<(Buffer& out, HostInfo const& info);
SURVEY_API Buffer& operator<<(Buffer& out, HostSelectorEntry const& entry);
// Read the flattened form. Bytes that run out throw ConstDataTooSmall; an
// entry reads into a blank one and is set only when all of it was read. Of
// more than 20 addresses the first 20 are kept and the rest read past.
SURVEY_API ConstBuffer& operator>>(ConstBuffer& in, HostInfo& info);
SURVEY_API ConstBuffer& operator>>(ConstBuffer& in, HostSelectorEntry& entry);

// Whether the entry's server is on the subnet of `address` under `mask`.
// Off the subnet, an entry with no gateway known and a distance above 1
// takes `address` as its one gateway. On it, the distance becomes 0 and the
// gateways are forgotten.
SURVEY_API void SetDistanceBySubnet(HostSelectorEntry& entry, IPAddress address, IPAddress mask);
SURVEY_API void SetDistanceBySubnet(std::vector<HostSelectorEntry>& entries, IPAddress address,
                                    IPAddress mask);
// No gateways and an unknown distance in each entry.
SURVEY_API void ClearDistanceInformation(std::vector<HostSelectorEntry>& entries);
// Removes every entry whose address is in the list, keeping the others in
// their order.
SURVEY_API void EraseAddresses(std::vector<HostSelectorEntry>& entries,
                               ConstArrayOf<IPAddress> addresses);

// ---------------------------------------------------------------------------
// Values.

// "selected server": the host's entry, read at each use.
struct SURVEY_API selected_server {
  static constexpr char const* TypeName() { return "selected server"; }

  HostSelectorEntry const* entry;
};

// "integer range": a lower and an upper bound.
struct SURVEY_API integer_range {
  static constexpr char const* TypeName() { return "integer range"; }

  long long lower;
  long long upper;
};

// Empty values whose properties ask the host each time.
struct SURVEY_API registration_server {
  static constexpr char const* TypeName() { return "registration server"; }
  unsigned char unused;
};
struct SURVEY_API current_relay {
  static constexpr char const* TypeName() { return "current relay"; }
  unsigned char unused;
};
struct SURVEY_API download_server {
  static constexpr char const* TypeName() { return "download server"; }
  unsigned char unused;
};
struct SURVEY_API root_server {
  static constexpr char const* TypeName() { return "root server"; }
  unsigned char unused;
};
struct SURVEY_API service {
  static constexpr char const* TypeName() { return "service"; }
  unsigned char unused;
};

// The name of the relay's service and package.
SURVEY_API extern char const* const cRelayServiceName;  // "QRVRelay"

// ---------------------------------------------------------------------------
// The selected server. NoSuchObject when the host has none, or one with an
// empty name.

SURVEY_API selected_server SelectedServer();
SURVEY_API surveyor_string NameOf(selected_server const& server);
SURVEY_API ipv4_address IPAddressOf(selected_server const& server);
// The low 16 bits of the port.
SURVEY_API integer PortNumberOf(selected_server const& server);
SURVEY_API integer PriorityOf(selected_server const& server);
SURVEY_API integer WeightOf(selected_server const& server);
// From the gateway count to the distance.
SURVEY_API integer_range DistanceOf(selected_server const& server);
SURVEY_API integer CompetitionSizeOf(selected_server const& server);
SURVEY_API integer CompetitionWeightOf(selected_server const& server);
// The gateway at that index, from 0; NoSuchObject past the gateway count or
// for a hole.
SURVEY_API ipv4_address GatewayOf(unsigned long long index, selected_server const& server);
SURVEY_API integer LowerBoundOf(integer_range const& range);
SURVEY_API integer UpperBoundOf(integer_range const& range);

// The gateways in order, holes passed over.
class SURVEY_API gateway_iterator {
 public:
  gateway_iterator() = default;
  gateway_iterator(gateway_iterator const&) = delete;
  gateway_iterator& operator=(gateway_iterator const&) = delete;

  ipv4_address First(selected_server const& server);
  ipv4_address Next(selected_server const& server);

 private:
  unsigned long index_ = 0;
};

// ---------------------------------------------------------------------------
// The servers, each answer read from the host's server record when asked.

SURVEY_API registration_server RegistrationServer_of_world();
// NoSuchObject when the host does not know the server's time.
SURVEY_API moment ApparentServerTime_of_world();
SURVEY_API moment Now_of(registration_server const& server);
// NoSuchObject for an empty text.
SURVEY_API surveyor_version Version_of(registration_server const& server);
SURVEY_API surveyor_string Name_of(registration_server const& server);
SURVEY_API current_relay CurrentRelay_of_world();
SURVEY_API surveyor_version RelayVersion_of(current_relay const& relay);
SURVEY_API download_server DownloadServer_of_world();
SURVEY_API surveyor_string DownloadName_of(download_server const& server);
SURVEY_API root_server RootServer();
SURVEY_API surveyor_string HostName(root_server const& server);
SURVEY_API integer ID(root_server const& server);

// ---------------------------------------------------------------------------
// The relay service.

// NoSuchObject unless the relay's package is installed.
SURVEY_API service RelayService();
// Always NoSuchObject on this platform.
SURVEY_API service PrimaryRelayService();
// The relay service for its own name, NoSuchObject for any other.
SURVEY_API service NamedService(unsigned char const* name, unsigned long length);
// "Running" when the host's application table has the relay running,
// "Stopped" otherwise.
SURVEY_API surveyor_string ServiceStateProperty(service const& value);

// ---------------------------------------------------------------------------
// Entries for the host (survey/client/host_selector_description.h).

extern "C" {
SURVEY_API unsigned long SurveyFlattenHostSelector(SurveyHostSelectorDescription const* description,
                                                   unsigned char* out, unsigned long room);
SURVEY_API HostSelectorEntry* SurveyReadHostSelector(unsigned char const* bytes,
                                                     unsigned long length);
SURVEY_API bool SurveyDescribeHostSelector(HostSelectorEntry const* entry,
                                           SurveyHostSelectorDescription* description);
SURVEY_API void SurveyDeleteHostSelector(HostSelectorEntry* entry);
}
