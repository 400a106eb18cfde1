// Fuzz target for the reading of IPv4 addresses from text, differential
// against the C library's inet_addr, whose forms the reader takes: for any
// bytes, held in a heap block of exactly their size so that a read past them
// is caught, the reader must give what inet_addr gives for a text of 7 to 31
// bytes (up to its first NUL) other than the address of all ones, and "no
// such object" for everything else. An address that was read must come back
// from its own dotted text, and that text must be what inet_ntoa writes. The
// subnet text of the address under a mask made from the input must hold the
// network address and the length that the mask's trailing zeros give.

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/values/ipv4.h"

namespace {

[[noreturn]] void Mismatch(std::string const& text, std::string const& what) {
  std::string shown;
  for (unsigned char c : text) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, c >= 32 && c < 127 ? "%c" : "\\x%02x", c);
    shown += buffer;
  }
  std::fprintf(stderr, "\"%s\": %s\n", shown.c_str(), what.c_str());
  std::abort();
}

std::string Dotted(IPAddress address) {
  AddressText const text = IPAddressToText(address);
  return std::string(reinterpret_cast<char const*>(text.bytes), text.length);
}

// What the reader must answer: the address, or false for none.
bool Expected(std::string const& text, IPAddress& address) {
  if (text.size() < 7 || text.size() > 31) return false;
  in_addr_t const network = inet_addr(text.c_str());  // stops at the first NUL
  if (network == INADDR_NONE) return false;
  address = ntohl(network);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  survey::host::Registry& registry = survey::host::Registry::Default();
  survey::host::Evaluation evaluation(registry);
  survey::host::Evaluation::Scope scope(evaluation);

  std::unique_ptr<unsigned char[]> const block(new unsigned char[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(block.get(), data, size);
  surveyor_string const input{block.get(), static_cast<unsigned long>(size)};
  std::string const text(reinterpret_cast<char const*>(data), size);

  IPAddress expected = 0;
  bool const readable = Expected(text, expected);
  bool read = false;
  IPAddress actual = 0;
  try {
    actual = AsIPAddress(input).address;
    read = true;
  } catch (NoSuchObject const&) {
  }
  if (read != readable) {
    Mismatch(text, read ? "read as " + Dotted(actual) + ", expected none"
                        : "none, expected " + Dotted(expected));
  }
  if (read && actual != expected) {
    Mismatch(text, "read as " + Dotted(actual) + ", expected " + Dotted(expected));
  }

  // The dotted text of any four bytes of the input, against inet_ntoa.
  IPAddress address = actual;
  if (!read && size >= 4) {
    address = (IPAddress(data[0]) << 24) | (IPAddress(data[1]) << 16) | (IPAddress(data[2]) << 8) |
              IPAddress(data[3]);
  }
  std::string const dotted = Dotted(address);
  in_addr network{};
  network.s_addr = htonl(address);
  if (dotted != inet_ntoa(network))
    Mismatch(text, "text " + dotted + ", expected " + inet_ntoa(network));
  if (dotted.size() < 7 || dotted.size() > 15)
    Mismatch(text, "text " + dotted + " has a bad length");
  surveyor_string const again{reinterpret_cast<unsigned char const*>(dotted.data()),
                              static_cast<unsigned long>(dotted.size())};
  if (address != 0xFFFFFFFFu) {
    try {
      if (AsIPAddress(again).address != address) Mismatch(text, dotted + " reads back otherwise");
    } catch (NoSuchObject const&) {
      Mismatch(text, dotted + " does not read back");
    }
  }

  // The subnet under a mask from the input's last four bytes.
  IPAddress mask = 0;
  for (std::size_t k = size >= 4 ? size - 4 : 0; k < size; ++k) mask = (mask << 8) | data[k];
  unsigned length = 32;
  while (length > 0 && (mask & (1u << (32 - length))) == 0) --length;
  if (mask == 0) length = 0;
  std::string const subnet = Dotted(address & mask) + "/" + std::to_string(length);
  surveyor_string const made = IP4SubnetSurveyorString(address, mask);
  if (std::string(reinterpret_cast<char const*>(made.data), made.length) != subnet) {
    Mismatch(text, "subnet " + std::string(reinterpret_cast<char const*>(made.data), made.length) +
                       ", expected " + subnet);
  }
  return 0;
}
