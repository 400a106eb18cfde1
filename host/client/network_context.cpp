#include "host/client/network_context.h"

#include <cstring>
#include <string>

#include "host/client/dns_domain.h"

namespace survey::client {

NetworkContext::NetworkContext() { GetDnsName = &DnsName; }

bool NetworkContext::DnsName(char** result, SurveyorTextAllocator allocate) {
  if (result == nullptr || allocate == nullptr) return false;
  std::string const domain = MachineDnsDomain();
  if (domain.empty()) return false;
  auto* const text = static_cast<char*>(allocate(domain.size() + 1));
  if (text == nullptr) return false;
  std::memcpy(text, domain.c_str(), domain.size() + 1);
  *result = text;
  return true;
}

}  // namespace survey::client
