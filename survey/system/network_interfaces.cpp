#include "survey/system/network_interfaces.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "survey/foundation/ascii.h"
#include "survey/frame/table.h"

// ---------------------------------------------------------------------------
// The walk of the interface table.

namespace {

int OpenKernelSocket() { return ::socket(AF_INET, SOCK_DGRAM, 0); }
int KernelControl(int socket, unsigned long request, void* argument) {
  return ::ioctl(socket, request, argument);
}
int CloseKernelSocket(int socket) { return ::close(socket); }

InterfaceSystem const kKernelInterfaceSystem{&OpenKernelSocket, &KernelControl, &CloseKernelSocket};

// The socket of one walk, closed whichever way the walk ends.
class WalkSocket {
 public:
  explicit WalkSocket(InterfaceSystem const& system) : system_(system), socket_(system.open()) {
    if (socket_ < 0) throw InterfaceInfoError();
  }
  ~WalkSocket() { system_.close(socket_); }
  WalkSocket(WalkSocket const&) = delete;
  WalkSocket& operator=(WalkSocket const&) = delete;

  // Any failure is the walk's failure.
  void Control(unsigned long request, ifreq& argument) const {
    if (system_.control(socket_, request, &argument) < 0) throw InterfaceInfoError();
  }
  int ControlTable(ifconf& table) const { return system_.control(socket_, SIOCGIFCONF, &table); }

 private:
  InterfaceSystem const& system_;
  int socket_;
};

// The list being built, released unless it is handed over.
class WalkList {
 public:
  WalkList() = default;
  ~WalkList() { Release_ifi_info(head_); }
  WalkList(WalkList const&) = delete;
  WalkList& operator=(WalkList const&) = delete;

  // A zeroed record at the end of the list.
  ifi_info* Append() {
    ifi_info* const record = new ifi_info[1]();
    *tail_ = record;
    tail_ = &record->next;
    return record;
  }
  bool Empty() const { return head_ == nullptr; }
  ifi_info* Release() {
    ifi_info* const head = head_;
    head_ = nullptr;
    tail_ = &head_;
    return head;
  }

 private:
  ifi_info* head_ = nullptr;
  ifi_info** tail_ = &head_;
};

// The interface table in a buffer that grows until the table fits.
struct InterfaceTable {
  std::unique_ptr<unsigned char[]> buffer;
  unsigned long length = 0;
};

InterfaceTable ReadInterfaceTable(WalkSocket const& socket) {
  InterfaceTable table;
  unsigned long size = kInterfaceTableFirstSize;
  unsigned long previousLength = 0;
  for (;;) {
    if (size > kInterfaceTableLimit) throw InterfaceInfoError();
    table.buffer.reset(new unsigned char[size]);
    ifconf request{};
    request.ifc_len = static_cast<int>(size);
    request.ifc_buf = reinterpret_cast<char*>(table.buffer.get());
    if (socket.ControlTable(request) < 0) {
      // Some systems refuse a buffer that is too small instead of filling
      // part of it; that is worth another try only before any answer.
      if (errno != EINVAL || previousLength != 0) throw InterfaceInfoError();
    } else {
      if (request.ifc_len < 0 || static_cast<unsigned long>(request.ifc_len) > size) {
        throw InterfaceInfoError();
      }
      unsigned long const length = static_cast<unsigned long>(request.ifc_len);
      // The same length twice, or room to spare, means the whole table.
      if (length == previousLength || (length != 0 && length + kInterfaceEntrySize < size)) {
        table.length = length;
        return table;
      }
      previousLength = length;
    }
    size += kInterfaceTableStep;
  }
}

sockaddr* CopyAddress(sockaddr const& address) {
  sockaddr* const copy = new sockaddr[1];
  std::memcpy(copy, &address, sizeof(sockaddr));
  return copy;
}

}  // namespace

InterfaceSystem const& KernelInterfaceSystem() { return kKernelInterfaceSystem; }

void Release_ifi_info(ifi_info* list) {
  while (list != nullptr) {
    ifi_info* const next = list->next;
    delete[] list->address;
    delete[] list->broadcast_address;
    delete[] list->destination_address;
    delete[] list->netmask;
    delete[] list;
    list = next;
  }
}

ifi_info* Get_ifi_info(unsigned long& count, bool includeAliases) {
  return Get_ifi_info(count, includeAliases, kKernelInterfaceSystem);
}

ifi_info* Get_ifi_info(unsigned long& count, bool includeAliases, InterfaceSystem const& system) {
  count = 0;
  unsigned long made = 0;
  WalkSocket const socket(system);
  InterfaceTable const table = ReadInterfaceTable(socket);
  WalkList list;

  // The name, cut at its ':', of the last IPv4 entry: an entry of the same
  // name is an alias of it.
  char lastName[IFNAMSIZ] = {};
  for (unsigned long offset = 0; offset + kInterfaceEntrySize <= table.length;
       offset += kInterfaceEntrySize) {
    ifreq entry;
    std::memcpy(&entry, table.buffer.get() + offset, sizeof entry);
    entry.ifr_name[IFNAMSIZ - 1] = '\0';

    char* const colon = std::strchr(entry.ifr_name, ':');
    if (colon != nullptr) *colon = '\0';
    short myFlags = 0;
    if (std::strncmp(entry.ifr_name, lastName, IFNAMSIZ) == 0) {
      if (!includeAliases) continue;
      myFlags |= kIfiAlias;
    }
    unsigned short const family = entry.ifr_addr.sa_family;
    if (family == AF_INET) std::strncpy(lastName, entry.ifr_name, IFNAMSIZ);
    if (colon != nullptr) *colon = ':';

    // Each request gets a fresh copy of the entry, address included, so that
    // the kernel can tell an alias's address from the others of its name.
    ifreq request = entry;
    socket.Control(SIOCGIFFLAGS, request);
    short const flags = request.ifr_flags;
    if ((flags & IFF_UP) == 0) continue;

    ifi_info* const record = list.Append();
    record->flags = flags;
    record->my_flags = myFlags;
    record->family = family;
    request = entry;
    socket.Control(SIOCGIFMTU, request);
    record->mtu = static_cast<unsigned short>(request.ifr_mtu);
    std::strncpy(record->name, entry.ifr_name, IFNAMSIZ);

    if (family == AF_INET) {
      record->address = CopyAddress(entry.ifr_addr);
      if ((flags & IFF_BROADCAST) != 0) {
        request = entry;
        socket.Control(SIOCGIFBRDADDR, request);
        record->broadcast_address = CopyAddress(request.ifr_broadaddr);
      }
      if ((flags & IFF_POINTOPOINT) != 0) {
        request = entry;
        socket.Control(SIOCGIFDSTADDR, request);
        record->destination_address = CopyAddress(request.ifr_dstaddr);
      }
      request = entry;
      socket.Control(SIOCGIFNETMASK, request);
      record->netmask = CopyAddress(request.ifr_netmask);
      request = entry;
      socket.Control(SIOCGIFHWADDR, request);
      unsigned char const* const hardware =
          reinterpret_cast<unsigned char const*>(request.ifr_hwaddr.sa_data);
      bool nonZero = false;
      for (int k = 0; k < 6; ++k) nonZero = nonZero || hardware[k] != 0;
      if (nonZero) {
        record->hardware_length = 6;
        std::memcpy(record->hardware_address, hardware, 6);
      }
    }
    ++made;
  }
  if (list.Empty()) throw InterfaceInfoError();
  count = made;
  return list.Release();
}

// ---------------------------------------------------------------------------
// The cache: the list, the number of its IPv4 records, and those records in
// list order. Values of "network ip interface" point into the list.

namespace {

struct InterfaceCache {
  ifi_info* head;
  unsigned long count;
  ifi_info** array;
};

InterfaceCache cache;

}  // namespace

void ClearInterfaceCache(void*) {
  if (cache.head == nullptr) return;
  Release_ifi_info(cache.head);
  delete[] cache.array;
  cache = InterfaceCache{};
}

unsigned long CachedInterfaceCount() { return cache.count; }

ifi_info const* CachedInterface(unsigned long position) {
  if (cache.array == nullptr || position >= cache.count) throw NoSuchObject();
  return cache.array[position];
}

network::network() { FillInterfaceCache(kKernelInterfaceSystem); }

void FillInterfaceCache(InterfaceSystem const& system) {
  if (cache.head != nullptr) return;
  unsigned long count = 0;
  cache.head = Get_ifi_info(count, true, system);
  cache.count = count;
  if (count == 0) {
    ClearInterfaceCache(nullptr);
    return;
  }
  unsigned long inet = 0;
  for (ifi_info const* record = cache.head; record != nullptr; record = record->next) {
    if (record->family == AF_INET) ++inet;
  }
  cache.array = new ifi_info*[inet];
  unsigned long filled = 0;
  for (ifi_info* record = cache.head; record != nullptr; record = record->next) {
    if (record->family == AF_INET) cache.array[filled++] = record;
  }
  cache.count = inet;
}

namespace {

// The cached IPv4 record of a number from 1; none for 0 or past the end.
ifi_info* Numbered(unsigned long long number) {
  if (cache.array == nullptr || number == 0 || number > cache.count) throw NoSuchObject();
  return cache.array[number - 1];
}

network_interface InterfaceValue(ifi_info const* record) {
  return network_interface{record->family};
}

ip_network_interface IpInterfaceValue(ifi_info const* record) {
  ip_network_interface value;
  value.family = record->family;
  value.info = record;
  return value;
}

}  // namespace

network Network_of_world() { return network(); }

network_interface network_interface_iterator::First(network const& world) {
  index_ = 0;
  return Next(world);
}

network_interface network_interface_iterator::Next(network const&) {
  if (index_ <= cache.count) ++index_;
  return InterfaceValue(Numbered(index_));
}

ip_network_interface ip_network_interface_iterator::First(network const& world) {
  index_ = 0;
  return Next(world);
}

ip_network_interface ip_network_interface_iterator::Next(network const&) {
  if (index_ <= cache.count) ++index_;
  return IpInterfaceValue(Numbered(index_));
}

network_interface Interface_of(unsigned long long number, network const&) {
  return InterfaceValue(Numbered(number));
}

ip_network_interface IpInterface_of(unsigned long long number, network const&) {
  return IpInterfaceValue(Numbered(number));
}

// ---------------------------------------------------------------------------
// Addresses, flags, names.

namespace {

// The IPv4 address in a socket address of the record, in the host order of
// an "ipv4 address".
ipv4_address AddressIn(ip_network_interface const& interface, sockaddr const* address) {
  if (interface.info->family != AF_INET || address == nullptr) throw NoSuchObject();
  sockaddr_in inet;
  std::memcpy(&inet, address, sizeof inet);
  return ipv4_address{ntohl(inet.sin_addr.s_addr)};
}

boolean Flag(ip_network_interface const& interface, int bit) {
  return boolean{static_cast<unsigned char>((interface.info->flags & bit) != 0 ? 1 : 0)};
}

}  // namespace

ipv4_address Ipv4AddressOf(ip_network_interface const& interface) {
  return AddressIn(interface, interface.info->address);
}

ipv4_address Ipv4BroadcastAddressOf(ip_network_interface const& interface) {
  return AddressIn(interface, interface.info->broadcast_address);
}

ipv4_address Ipv4SubnetOf(ip_network_interface const& interface) {
  return AddressIn(interface, interface.info->netmask);
}

ipv4_address Ipv4SubnetAddressOf(ip_network_interface const& interface) {
  ipv4_address const address = AddressIn(interface, interface.info->address);
  ipv4_address const mask = AddressIn(interface, interface.info->netmask);
  return ipv4_address{address.address & mask.address};
}

surveyor_string Ipv4CidrOf(ip_network_interface const& interface) {
  ipv4_address const address = AddressIn(interface, interface.info->address);
  ipv4_address const mask = AddressIn(interface, interface.info->netmask);
  return IP4SubnetSurveyorString(address.address, mask.address);
}

integer FamilyOf(network_interface const& interface) {
  return integer{static_cast<long long>(interface.family)};
}

boolean IsLoopbackOf(ip_network_interface const& interface) {
  return Flag(interface, IFF_LOOPBACK);
}

boolean BroadcastSupportOf(ip_network_interface const& interface) {
  return Flag(interface, IFF_BROADCAST);
}

boolean MulticastSupportOf(ip_network_interface const& interface) {
  return Flag(interface, IFF_MULTICAST);
}

boolean PointToPointOf(ip_network_interface const& interface) {
  return Flag(interface, IFF_POINTOPOINT);
}

boolean AliasOf(ip_network_interface const& interface) {
  return boolean{static_cast<unsigned char>((interface.info->my_flags & kIfiAlias) != 0 ? 1 : 0)};
}

surveyor_string NameOf(ip_network_interface const& interface) {
  char const* const name = interface.info->name;
  return surveyor_string{reinterpret_cast<unsigned char const*>(name), std::strlen(name)};
}

surveyor_string MacAddressOf(ip_network_interface const& interface) {
  unsigned long const bytes = interface.info->hardware_length;
  if (bytes < 1 || bytes > sizeof interface.info->hardware_address) throw NoSuchObject();
  // Two hex digits a byte and a '-' between bytes; no terminator.
  unsigned long const length = bytes * 3 - 1;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  unsigned char* out = text;
  for (unsigned long k = 0; k < bytes; ++k) {
    if (k != 0) *out++ = '-';
    unsigned char const byte = interface.info->hardware_address[k];
    *out++ = static_cast<unsigned char>(Ascii::HexDigit(byte >> 4));
    *out++ = static_cast<unsigned char>(Ascii::HexDigit(byte & 0x0F));
  }
  return surveyor_string{text, length};
}

// ---------------------------------------------------------------------------
// Registration, in table order, the cache last. Nothing but the two numbered
// lookups states a dependency: the interfaces change under the evaluator.

namespace {

RegistrationTable table{
    TypeRow<network>(),
    TypeRow<network_interface>(),
    TypeRow<ip_network_interface, network_interface>(),

    PropertyRow("network", "networks", &Network_of_world),
    IteratedRow<network_interface_iterator>("interface", "interfaces"),
    IndexedRow("interface", "interfaces", &Interface_of, &DependsOnlyOnParameters),
    IteratedRow<ip_network_interface_iterator>("ip interface", "ip interfaces"),
    IndexedRow("ip interface", "ip interfaces", &IpInterface_of, &DependsOnlyOnParameters),

    PropertyRow("address", "addresses", &Ipv4AddressOf),
    PropertyRow("broadcast address", "broadcast addresses", &Ipv4BroadcastAddressOf),
    PropertyRow("subnet mask", "subnet masks", &Ipv4SubnetOf),
    PropertyRow("subnet address", "subnet addresses", &Ipv4SubnetAddressOf),
    PropertyRow("cidr string", "cidr strings", &Ipv4CidrOf),
    PropertyRow("family", "families", &FamilyOf),
    PropertyRow("loopback", "loopbacks", &IsLoopbackOf),
    PropertyRow("broadcast support", "broadcast supports", &BroadcastSupportOf),
    PropertyRow("multicast support", "multicast supports", &MulticastSupportOf),
    PropertyRow("point to point", "point to points", &PointToPointOf),
    PropertyRow("alias", "aliases", &AliasOf),
    PropertyRow("name", "names", &NameOf),
    PropertyRow("mac address", "mac addresses", &MacAddressOf),

    CacheRow(&ClearInterfaceCache, nullptr),
};

}  // namespace
