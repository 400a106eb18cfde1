#include "host/client/certificates.h"


#include <climits>
#include <ctime>
#include <memory>

#include "host/client/client_records.h"
#include "host/client/crypto_context.h"
#include "host/client/crypto_library.h"

namespace survey::client {

namespace {

struct BioFree {
  void operator()(BIO* bio) const { Crypto().BIO_free(bio); }
};
struct X509Free {
  void operator()(X509* certificate) const { Crypto().X509_free(certificate); }
};
using Bio = std::unique_ptr<BIO, BioFree>;
using Certificate = std::unique_ptr<X509, X509Free>;

// The reason libcrypto gives for its last failure, and its queue cleared.
std::string LibraryReason() {
  unsigned long const code = Crypto().ERR_peek_last_error();
  std::string reason;
  if (code != 0) {
    char const* text = Crypto().ERR_reason_error_string(code);
    if (text != nullptr) reason = text;
  }
  Crypto().ERR_clear_error();
  return reason.empty() ? std::string("unreadable") : reason;
}

// Days from 1 January 1970 to that date of the Gregorian calendar, for any
// year a certificate can name (0 to 9999): a 32-bit time_t cannot hold them
// all, so timegm is not used.
std::int64_t DaysFromCivil(std::int64_t year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  std::int64_t const era = (year >= 0 ? year : year - 399) / 400;
  std::int64_t const yearOfEra = year - era * 400;
  std::int64_t const dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  std::int64_t const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

Certificate ParsedDer(std::string_view der) {
  if (der.empty() || der.size() > LONG_MAX) throw RecordError("the certificate is empty");
  unsigned char const* cursor = reinterpret_cast<unsigned char const*>(der.data());
  Certificate certificate(Crypto().d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
  if (!certificate) throw RecordError("the certificate cannot be read: " + LibraryReason());
  if (cursor != reinterpret_cast<unsigned char const*>(der.data()) + der.size()) {
    throw RecordError("the certificate is followed by other bytes");
  }
  return certificate;
}

std::string DerOf(X509* certificate) {
  int const length = Crypto().i2d_X509(certificate, nullptr);
  if (length <= 0) throw RecordError("the certificate cannot be encoded: " + LibraryReason());
  std::string der(static_cast<std::size_t>(length), '\0');
  unsigned char* cursor = reinterpret_cast<unsigned char*>(der.data());
  if (Crypto().i2d_X509(certificate, &cursor) != length) {
    throw RecordError("the certificate cannot be encoded: " + LibraryReason());
  }
  return der;
}

}  // namespace

std::string CertificateDerOfPem(std::string_view pem) {
  if (pem.size() > kMaximumCertificateTextLength) {
    throw RecordError("the certificate's text is longer than " +
                      std::to_string(kMaximumCertificateTextLength) + " bytes");
  }
  Crypto().ERR_clear_error();
  Bio const bio(Crypto().BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  if (!bio) throw RecordError("the certificate's text cannot be read: " + LibraryReason());
  Certificate const certificate(Crypto().PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
  if (!certificate) {
    std::string const reason = LibraryReason();
    if (pem.find("-----BEGIN") == std::string_view::npos) {
      throw RecordError("the text holds no PEM certificate (\"-----BEGIN CERTIFICATE-----\")");
    }
    throw RecordError("the PEM certificate cannot be read: " + reason);
  }
  Certificate const second(Crypto().PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
  Crypto().ERR_clear_error();
  if (second) throw RecordError("the text holds more than one certificate");
  std::string der = DerOf(certificate.get());
  // A certificate whose facts cannot be told is refused here, not when it
  // is asked for.
  FactsOfCertificate(der);
  return der;
}

std::string CertificatePemOfDer(std::string_view der) {
  Certificate const certificate = ParsedDer(der);
  Bio const bio(Crypto().BIO_new(Crypto().BIO_s_mem()));
  if (!bio || Crypto().PEM_write_bio_X509(bio.get(), certificate.get()) != 1) {
    throw RecordError("the certificate cannot be written as PEM: " + LibraryReason());
  }
  char* data = nullptr;
  long const length = Crypto().BIO_ctrl(bio.get(), BIO_CTRL_INFO, 0, &data);
  return std::string(data, length > 0 ? static_cast<std::size_t>(length) : 0);
}

CertificateFacts FactsOfCertificate(std::string_view der) {
  Certificate const certificate = ParsedDer(der);
  CertificateFacts facts;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (Crypto().EVP_Digest(der.data(), der.size(), digest, &length, Crypto().EVP_sha1(), nullptr) != 1) {
    throw RecordError("the certificate cannot be hashed: " + LibraryReason());
  }
  facts.sha1 = HexadecimalOf(digest, length);
  ASN1_TIME const* const start = Crypto().X509_get0_notBefore(certificate.get());
  std::tm parts{};
  if (start == nullptr || Crypto().ASN1_TIME_to_tm(start, &parts) != 1) {
    throw RecordError("the certificate's start of validity cannot be read: " + LibraryReason());
  }
  std::int64_t const days =
      DaysFromCivil(std::int64_t{parts.tm_year} + 1900, static_cast<unsigned>(parts.tm_mon + 1),
                    static_cast<unsigned>(parts.tm_mday));
  std::int64_t const seconds =
      days * 86400 + parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec;
  facts.notBefore = seconds * 1000000;
  return facts;
}

}  // namespace survey::client
