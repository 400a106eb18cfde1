#include "host/client/certificate_context.h"

#include <cstring>
#include <optional>
#include <string>

#include "host/client/certificates.h"

namespace survey::client {

namespace {

// Fills the record with the certificate's facts; false for a certificate
// whose facts cannot be read, which the records never hold unless the
// database was changed behind them.
bool Told(CertificateRecord const& certificate, SurveyorCertificateData* record) {
  CertificateFacts facts;
  try {
    facts = FactsOfCertificate(certificate.der);
  } catch (RecordError const&) {
    return false;
  }
  std::memset(record->sha1, 0, sizeof record->sha1);
  std::memcpy(record->sha1, facts.sha1.data(),
              facts.sha1.size() < sizeof record->sha1 ? facts.sha1.size() : sizeof record->sha1 - 1);
  record->notBefore = facts.notBefore;
  return true;
}

}  // namespace

CertificateContext::CertificateContext(ClientState& state) : state_(state) {
  if (state.Folder() != nullptr) {
    FindCertificate = &Find;
    GetCertificate = &Get;
  }
}

bool CertificateContext::Find(char const* name, unsigned long length,
                              SurveyorCertificateData* record) {
  if (record == nullptr || (name == nullptr && length != 0)) return false;
  std::string const wanted(name == nullptr ? "" : name, length);
  std::optional<CertificateRecord> const found =
      CurrentPart<CertificateContext>().state_.Records().FindCertificate(wanted);
  return found && Told(*found, record);
}

bool CertificateContext::Get(unsigned long index, SurveyorCertificateData* record) {
  if (record == nullptr) return false;
  std::vector<CertificateRecord> const all =
      CurrentPart<CertificateContext>().state_.Records().Certificates();
  return index < all.size() && Told(all[index], record);
}

}  // namespace survey::client
