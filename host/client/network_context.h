// The network part of the host's context: the machine's DNS domain name
// behind `SurveyorNetworkContext` (dns_domain.h tells how it is found).
#pragma once

#include "survey/frame/boundary.h"

namespace survey::client {

class NetworkContext : public SurveyorNetworkContext {
 public:
  NetworkContext();

 private:
  // The domain in memory from `allocate`; false when there is none.
  static bool DnsName(char** result, SurveyorTextAllocator allocate);
};

}  // namespace survey::client
