// The part of the host's context that serves the certificates the client
// keeps (client_records.h, CertificateRecord) behind
// `SurveyorCertificateContext`: each is read from the records when asked,
// and its SHA-1 digest and start of validity are worked out then with the
// machine's libcrypto (certificates.h). Without a client folder the slots
// are null.
#pragma once

#include "host/client/client_state.h"
#include "survey/frame/certificate_context.h"

namespace survey::client {

class CertificateContext : public SurveyorCertificateContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit CertificateContext(ClientState& state);
  CertificateContext(CertificateContext const&) = delete;
  CertificateContext& operator=(CertificateContext const&) = delete;

 private:
  static bool Find(char const* name, unsigned long length, SurveyorCertificateData* record);
  static bool Get(unsigned long index, SurveyorCertificateData* record);

  ClientState& state_;
};

}  // namespace survey::client
