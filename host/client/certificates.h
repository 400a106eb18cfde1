// The host's certificates: X.509 certificates that the client keeps by name
// (its own, its server's), read from PEM text, stored in their DER form, and
// shown to the library as the facts it asks of them. The machine's libcrypto
// does the reading, the hashing and the decoding of dates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace survey::client {

// What the library is told of a certificate.
struct CertificateFacts {
  // The SHA-1 digest of the DER form, 40 lower-case hexadecimal digits.
  std::string sha1;
  // The start of the validity period (notBefore), in microseconds since
  // 1970 in UTC.
  std::int64_t notBefore = 0;
};

// The longest PEM text taken: far beyond any certificate a client keeps,
// and small enough that a wrong file is refused before it is read whole.
inline constexpr std::size_t kMaximumCertificateTextLength = 1 << 20;

// The DER form of the one certificate in PEM text ("-----BEGIN
// CERTIFICATE-----" ... "-----END CERTIFICATE-----", text around it
// allowed). Throws RecordError, saying why, for text without a certificate,
// with a damaged one, or with more than one.
std::string CertificateDerOfPem(std::string_view pem);

// The PEM text of a DER form that CertificateDerOfPem gave.
std::string CertificatePemOfDer(std::string_view der);

// The facts of a DER form. Throws RecordError for bytes that are not one
// whole certificate, or whose notBefore cannot be read.
CertificateFacts FactsOfCertificate(std::string_view der);

}  // namespace survey::client
