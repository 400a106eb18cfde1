// The machine's network interfaces, read through the socket ioctls: the
// world property "network", its interfaces as a stream and by number, and
// the addresses, flags, name and hardware address of an IPv4 interface.
//
// One walk of the interface table serves a whole evaluation: its result is
// kept in a process-wide cache that the host empties through the registered
// cache function before each evaluation.
#pragma once

#include <net/if.h>
#include <sys/socket.h>

#include "survey/frame/adaptors.h"
#include "survey/values/ipv4.h"

// Any failure to read the interface table.
class InterfaceInfoError : public DebuggableException {};

// One interface address as the table gives it. Every part comes from new[]
// and is released by Release_ifi_info.
struct SURVEY_API ifi_info {
  char name[18];  // with the ':' suffix of an alias; 16 characters at most
  unsigned short mtu;
  unsigned char hardware_address[8];
  unsigned short hardware_length;  // 0, or 6 for a non-zero hardware address
  short flags;                     // the IFF_ flags
  short my_flags;                  // kIfiAlias
  unsigned short family;
  sockaddr* address;
  sockaddr* broadcast_address;    // with IFF_BROADCAST only
  sockaddr* destination_address;  // with IFF_POINTOPOINT only
  sockaddr* netmask;
  ifi_info* next;
};

// Bit of `my_flags`: the record has the same name, up to its ':', as the
// IPv4 record before it.
constexpr short kIfiAlias = 1;

// Releases a list; null is accepted.
SURVEY_API void Release_ifi_info(ifi_info* list);

// The calls through which the walk reaches the kernel.
struct InterfaceSystem {
  int (*open)();  // a datagram socket of the IPv4 family, or -1
  int (*control)(int socket, unsigned long request, void* argument);
  int (*close)(int socket);
};

// The system's own calls.
SURVEY_API InterfaceSystem const& KernelInterfaceSystem();

// The interfaces that are up, in the order of the kernel's table, and their
// number in `count`. Throws InterfaceInfoError on any failure, and when no
// interface is up; nothing is kept open or allocated then.
SURVEY_API ifi_info* Get_ifi_info(unsigned long& count, bool includeAliases);
SURVEY_API ifi_info* Get_ifi_info(unsigned long& count, bool includeAliases,
                                  InterfaceSystem const& system);

// The table that SIOCGIFCONF fills is read into a buffer that starts with
// room for 100 entries and grows by 10 entries at a time until the table
// fits. An entry has 32 bytes on the 32-bit platform. A table that does not
// fit in the limit is a failure, so that a kernel that never answers in
// full cannot make the walk grow its buffer without end.
constexpr unsigned long kInterfaceEntrySize = sizeof(ifreq);
constexpr unsigned long kInterfaceTableFirstSize = 100 * kInterfaceEntrySize;
constexpr unsigned long kInterfaceTableStep = 10 * kInterfaceEntrySize;
constexpr unsigned long kInterfaceTableLimit = 1UL << 20;

// Empties the cache. The argument is not used.
SURVEY_API void ClearInterfaceCache(void*);

// Fills the cache from a walk through these calls, unless it is full
// already. Making a "network" value does this with the kernel's calls.
SURVEY_API void FillInterfaceCache(InterfaceSystem const& system);

// The number of IPv4 interfaces in the cache, and the cached record of one
// by its position from 0; for inspection.
SURVEY_API unsigned long CachedInterfaceCount();
SURVEY_API ifi_info const* CachedInterface(unsigned long position);

// "network": nothing of its own. Making one fills the cache.
class SURVEY_API network {
 public:
  static constexpr char const* TypeName() { return "network"; }

  network();
};

// "network interface": an interface of the cache, by its family.
struct SURVEY_API network_interface {
  static constexpr char const* TypeName() { return "network interface"; }

  unsigned int family;
};

// "network ip interface", based on "network interface": the family and the
// cached record. It must not outlive the clearing of the cache.
struct SURVEY_API ip_network_interface : network_interface {
  static constexpr char const* TypeName() { return "network ip interface"; }

  ifi_info const* info;
};

class SURVEY_API network_interface_iterator {
 public:
  network_interface First(network const&);
  network_interface Next(network const&);

 private:
  unsigned long index_ = 0;
};

class SURVEY_API ip_network_interface_iterator {
 public:
  ip_network_interface First(network const&);
  ip_network_interface Next(network const&);

 private:
  unsigned long index_ = 0;
};

SURVEY_API network Network_of_world();
// By number from 1.
SURVEY_API network_interface Interface_of(unsigned long long number, network const&);
SURVEY_API ip_network_interface IpInterface_of(unsigned long long number, network const&);

SURVEY_API ipv4_address Ipv4AddressOf(ip_network_interface const& interface);
SURVEY_API ipv4_address Ipv4BroadcastAddressOf(ip_network_interface const& interface);
SURVEY_API ipv4_address Ipv4SubnetOf(ip_network_interface const& interface);
SURVEY_API ipv4_address Ipv4SubnetAddressOf(ip_network_interface const& interface);
SURVEY_API surveyor_string Ipv4CidrOf(ip_network_interface const& interface);
SURVEY_API integer FamilyOf(network_interface const& interface);
SURVEY_API boolean IsLoopbackOf(ip_network_interface const& interface);
SURVEY_API boolean BroadcastSupportOf(ip_network_interface const& interface);
SURVEY_API boolean MulticastSupportOf(ip_network_interface const& interface);
SURVEY_API boolean PointToPointOf(ip_network_interface const& interface);
SURVEY_API boolean AliasOf(ip_network_interface const& interface);
SURVEY_API surveyor_string NameOf(ip_network_interface const& interface);
SURVEY_API surveyor_string MacAddressOf(ip_network_interface const& interface);
