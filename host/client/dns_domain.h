// The machine's DNS domain name, as its resolver sees it.
//
// The name comes from the resolver's configuration, not from getdomainname,
// which gives the NIS domain (a different thing, and "(none)" on most
// machines), and not from a look-up of the host's full name, which may wait
// on the network in the middle of an evaluation. The resolver's rules are
// followed:
//
//   1. LOCALDOMAIN, when set, overrides the configuration: its first word;
//   2. else the last "domain" or "search" line of the configuration that
//      names something wins: its first word;
//   3. else the part of the host name behind its first '.';
//   4. else there is none (the root domain).
//
// A dot at the end of the name, which marks it as absolute, is left out.
#pragma once

#include <string>
#include <string_view>

namespace survey::client {

// Rule 2 on the text of a configuration; empty when it names no domain.
std::string DnsDomainOfResolverConfiguration(std::string_view configuration);

// Rule 3; empty when the host name has no domain part.
std::string DnsDomainOfHostName(std::string_view hostName);

// All four rules, with the configuration read from the file at that path (a
// missing file names no domain), LOCALDOMAIN from the environment and the
// host name from gethostname. Empty when there is none.
std::string MachineDnsDomain(char const* configurationPath = "/etc/resolv.conf");

}  // namespace survey::client
