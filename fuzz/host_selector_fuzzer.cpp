// Fuzz target for the readers of flattened server entries, on any bytes.
// The bytes are read as a HostInfo and as a HostSelectorEntry; each must
// agree with a plain reading of the layout: the same fields and the same
// length when the bytes hold the whole form, ConstDataTooSmall and the
// entry left as it was when they do not. An entry read whole is written
// back, and gives the bytes it was read from when they held as many
// addresses as the entry writes. The host's reader must agree too.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "survey/client/servers.h"

namespace {

struct Plain {
  std::string name;
  std::uint32_t seconds = 0;
  std::uint32_t address = 0;
  std::uint16_t port = 0;
  std::uint16_t priority = 0;
  std::uint16_t weight = 0;
  std::uint8_t gatewayCount = 0;
  std::uint8_t distance = 0;
  std::uint32_t competitionSize = 0;
  std::uint32_t competitionWeight = 0;
  std::uint32_t addressCount = 0;
  std::vector<std::uint32_t> addresses;  // all of them
  std::size_t infoLength = 0;            // where the HostInfo part ends
  std::size_t length = 0;                // where the whole entry ends
};

// Reads an unsigned number of `size` bytes, most significant first, at
// `at`; false when the bytes run out.
bool Take(std::uint8_t const* data, std::size_t size, std::size_t& at, unsigned bytes,
          std::uint64_t& value) {
  if (size - at < bytes) return false;
  value = 0;
  for (unsigned k = 0; k < bytes; ++k) value = (value << 8) | data[at + k];
  at += bytes;
  return true;
}

// How far a plain reading gets: 0 for not even the HostInfo part, 1 for
// that alone, 2 for the whole entry.
int ReadPlain(std::uint8_t const* data, std::size_t size, Plain& plain) {
  std::size_t at = 0;
  std::uint64_t value = 0;
  if (!Take(data, size, at, 4, value)) return 0;
  if (size - at < value) return 0;
  plain.name.assign(reinterpret_cast<char const*>(data + at), static_cast<std::size_t>(value));
  at += static_cast<std::size_t>(value);
  if (!Take(data, size, at, 4, value)) return 0;
  plain.seconds = static_cast<std::uint32_t>(value);
  if (!Take(data, size, at, 4, value)) return 0;
  plain.address = static_cast<std::uint32_t>(value);
  if (!Take(data, size, at, 2, value)) return 0;
  plain.port = static_cast<std::uint16_t>(value);
  if (!Take(data, size, at, 2, value)) return 0;
  plain.priority = static_cast<std::uint16_t>(value);
  if (!Take(data, size, at, 2, value)) return 0;
  plain.weight = static_cast<std::uint16_t>(value);
  plain.infoLength = at;
  if (!Take(data, size, at, 1, value)) return 1;
  plain.gatewayCount = static_cast<std::uint8_t>(value);
  if (!Take(data, size, at, 1, value)) return 1;
  plain.distance = static_cast<std::uint8_t>(value);
  if (!Take(data, size, at, 4, value)) return 1;
  plain.competitionSize = static_cast<std::uint32_t>(value);
  if (!Take(data, size, at, 4, value)) return 1;
  plain.competitionWeight = static_cast<std::uint32_t>(value);
  if (!Take(data, size, at, 4, value)) return 1;
  plain.addressCount = static_cast<std::uint32_t>(value);
  if ((size - at) / 4 < plain.addressCount) return 1;
  for (std::uint32_t k = 0; k < plain.addressCount; ++k) {
    Take(data, size, at, 4, value);
    plain.addresses.push_back(static_cast<std::uint32_t>(value));
  }
  plain.length = at;
  return 2;
}

void Check(bool condition) {
  if (!condition) std::abort();
}

void CheckInfo(HostInfo const& info, Plain const& plain) {
  Check(std::string(info.name.CString(), info.name.GetLength()) == plain.name);
  Check(info.time == static_cast<long long>(plain.seconds) * 1000000);
  Check(info.address == plain.address);
  Check(info.port == plain.port);
  Check(info.priority == plain.priority);
  Check(info.weight == plain.weight);
  Check(info.host == -1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  // A copy of just these bytes, so that a read past them is caught.
  std::vector<std::uint8_t> const bytes(data, data + size);
  Plain plain;
  int const reached = ReadPlain(bytes.data(), bytes.size(), plain);

  {
    ConstBuffer in(ConstData(bytes.data(), bytes.size()));
    HostInfo info;
    info.name = "before";
    bool threw = false;
    try {
      in >> info;
    } catch (ConstDataTooSmall const&) {
      threw = true;
    }
    Check(threw == (reached == 0));
    if (!threw) {
      CheckInfo(info, plain);
      Check(in.Processed().Length() == plain.infoLength);
    }
  }

  ConstBuffer in(ConstData(bytes.data(), bytes.size()));
  HostSelectorEntry entry;
  entry.name = "before";
  entry.distance = 7;
  bool threw = false;
  try {
    in >> entry;
  } catch (ConstDataTooSmall const&) {
    threw = true;
  }
  Check(threw == (reached != 2));
  HostSelectorEntry* const made = SurveyReadHostSelector(bytes.data(), bytes.size());
  Check((made == nullptr) == threw);
  SurveyDeleteHostSelector(made);
  if (threw) {
    Check(std::strcmp(entry.name.CString(), "before") == 0 && entry.distance == 7);
    return 0;
  }
  CheckInfo(entry, plain);
  Check(in.Processed().Length() == plain.length);
  Check(entry.gatewayCount == plain.gatewayCount);
  Check(entry.distance == plain.distance);
  Check(entry.competitionSize == plain.competitionSize);
  Check(entry.competitionWeight == plain.competitionWeight);
  for (std::size_t k = 0; k < HostSelectorEntry::kMaximumGateways; ++k) {
    Check(entry.gateways[k] == (k < plain.addresses.size() ? plain.addresses[k] : 0u));
  }
  ConstArrayOf<IPAddress> const view = entry.GatewayAddresses();
  Check(view.Length() == (plain.gatewayCount < 20 ? plain.gatewayCount : 20u));

  // Written back: the room asked for, and the bytes read when the count of
  // addresses is the one the writer writes.
  std::vector<unsigned char> room(FlattenedLength(entry));
  Buffer out(Data(room.data(), room.size()));
  out << entry;
  Check(out.Processed().Length() == plain.infoLength + 14 + 4 * view.Length());
  if (plain.addressCount == view.Length()) {
    Check(out.Processed().Length() == plain.length);
    Check(std::memcmp(room.data(), bytes.data(), plain.length) == 0);
  }
  if (!room.empty()) {
    Buffer small(Data(room.data(), room.size() - 1));
    bool tooSmall = false;
    try {
      small << entry;
    } catch (DataTooSmall const&) {
      tooSmall = true;
    }
    Check(tooSmall && small.Processed().Length() == 0);
  }
  return 0;
}
