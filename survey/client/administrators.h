// Small surveyors that each ask the host one thing: the client's
// administrators (settings of section "Administrators"), its administrative
// rights, the analysis under evaluation, the computer's id, pending logins
// and restarts, the cryptography states, the certificates the client keeps
// and the wake-on-LAN subnet. Some
// answers are fixed on this platform: administrative rights are always
// enabled, and no login is ever pending.
#pragma once

#include "survey/client/client_object.h"
#include "survey/client/settings.h"
#include "survey/frame/adaptors.h"
#include "survey/frame/certificate_context.h"

// The walk over the client's administrators.
class SURVEY_API administrator_iterator {
 public:
  administrator_iterator() = default;
  administrator_iterator(administrator_iterator const&) = delete;
  administrator_iterator& operator=(administrator_iterator const&) = delete;

  setting First(Of, client const& owner);
  setting Next(Of, client const& owner);

 private:
  setting_iterator settings_;
};

// "administrative rights": an empty value.
struct SURVEY_API administrative_rights {
  static constexpr char const* TypeName() { return "administrative rights"; }

  unsigned char unused;
};

// "analysis": the host's record of the analysis under evaluation.
struct SURVEY_API analysis : SurveyorAnalysisData {
  static constexpr char const* TypeName() { return "analysis"; }
};

// "cryptography" and "client_cryptography": two states and a failure text
// (null for none) that the host keeps until the evaluation ends.
struct SURVEY_API cryptography {
  static constexpr char const* TypeName() { return "cryptography"; }

  bool mode;
  bool desired;
  char const* failure;
};

struct SURVEY_API client_cryptography {
  static constexpr char const* TypeName() { return "client_cryptography"; }

  bool encrypt;
  bool desired;
  char const* failure;
};

// "x509 certificate": the host's record of a certificate the client keeps.
struct SURVEY_API x509_certificate : SurveyorCertificateData {
  static constexpr char const* TypeName() { return "x509 certificate"; }
};

// The walk over the client's certificates, in the host's order.
class SURVEY_API x509_certificate_iterator {
 public:
  x509_certificate First();
  x509_certificate Next();

 private:
  unsigned long next_ = 0;
};

// The setting of that name in section "Administrators", as stored.
SURVEY_API setting administrator_of_client(unsigned char const* name, unsigned long length,
                                           client const& owner);
SURVEY_API administrative_rights administrative_rights_of(client const& owner);
// Always true.
SURVEY_API boolean enabled_of(administrative_rights const& rights);

SURVEY_API analysis CurrentAnalysis_of_world();
// NoSuchObject when the analysis has never run.
SURVEY_API moment LastTime_of(analysis const& value);

// The computer's id from the server record, as an unsigned 64-bit number.
SURVEY_API integer ComputerID();
// Always false.
SURVEY_API boolean PendingLogin_of_world();
SURVEY_API boolean PendingRestart();
SURVEY_API boolean NamedPendingRestart(unsigned char const* name, unsigned long length);

SURVEY_API cryptography cryptography_of_world();
SURVEY_API boolean FipsMode_of(cryptography const& value);
SURVEY_API boolean DFipsMode_of(cryptography const& value);
// NoSuchObject without a failure.
SURVEY_API surveyor_string FailureMessage_of(cryptography const& value);

SURVEY_API client_cryptography ClientCryptography();
SURVEY_API boolean EncryptReport(client_cryptography const& value);
SURVEY_API boolean DesiredEncryptReport(client_cryptography const& value);
// NoSuchObject without a failure.
SURVEY_API surveyor_string EncryptReportFailureMessage(client_cryptography const& value);

// The SHA-1 digest of the certificate's DER form, as the host computed it:
// 40 lower-case hexadecimal digits.
SURVEY_API surveyor_string CertificateSHA1(x509_certificate const& value);
// The start of the certificate's validity period.
SURVEY_API moment NotBefore(x509_certificate const& value);
// The certificate the client keeps under that name ("client", "server");
// NoSuchObject when it keeps none.
SURVEY_API x509_certificate x509_certificate_of_world(unsigned char const* name,
                                                      unsigned long length);

// NoSuchObject when the host has no subnet.
SURVEY_API surveyor_string SubnetCidrString();
