// The reading of a certificate's PEM text, on any text. A certificate that
// is taken must give facts of the expected shape, and its PEM text written
// back must read as the same DER form; text that is refused is refused with
// a RecordError and nothing else.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/client/certificates.h"
#include "host/client/client_records.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  std::string der;
  try {
    der = survey::client::CertificateDerOfPem(text);
  } catch (survey::client::RecordError const&) {
    return 0;
  }
  survey::client::CertificateFacts const facts = survey::client::FactsOfCertificate(der);
  if (facts.sha1.size() != 40 ||
      facts.sha1.find_first_not_of("0123456789abcdef") != std::string::npos) {
    std::fprintf(stderr, "the digest is not 40 hexadecimal digits: %s\n", facts.sha1.c_str());
    std::abort();
  }
  if (survey::client::CertificateDerOfPem(survey::client::CertificatePemOfDer(der)) != der) {
    std::fprintf(stderr, "the PEM text written back reads differently\n");
    std::abort();
  }
  return 0;
}
