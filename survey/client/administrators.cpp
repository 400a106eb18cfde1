#include "survey/client/administrators.h"

#include <cstring>
#include <memory>

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

constexpr char kAdministratorsSection[] = "Administrators";

boolean Boolean(bool flag) { return boolean{static_cast<unsigned char>(flag ? 1 : 0)}; }

// A text the host keeps for the evaluation; NoSuchObject for none.
surveyor_string HostText(char const* text) {
  if (text == nullptr) throw NoSuchObject();
  return ConstData(text).AsSurveyorString();
}

// A copy of the text in evaluator memory, which outlives the value it came
// from.
surveyor_string InEvaluatorMemory(char const* text, unsigned long length) {
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text, length);
  return surveyor_string{copy, length};
}

}  // namespace

// ---------------------------------------------------------------------------
// Administrators and rights.

setting administrator_of_client(unsigned char const* name, unsigned long length, client const&) {
  return setting_of_section(GetSettingStore(), ConstData(kAdministratorsSection),
                            ConstData(name, length));
}

setting administrator_iterator::First(Of, client const&) {
  return settings_.First(GetSettingStore(), ConstData(kAdministratorsSection));
}

setting administrator_iterator::Next(Of, client const&) { return settings_.Next(); }

administrative_rights administrative_rights_of(client const&) { return administrative_rights{0}; }

boolean enabled_of(administrative_rights const&) { return Boolean(true); }

// ---------------------------------------------------------------------------
// The analysis, the computer and its restarts.

analysis CurrentAnalysis_of_world() {
  analysis value{};
  if (!CallContext<&SurveyorAnalysisContext::GetCurrentAnalysis>(
          static_cast<SurveyorAnalysisData*>(&value))) {
    throw NoSuchObject();
  }
  return value;
}

moment LastTime_of(analysis const& value) {
  if (value.time == 0) throw NoSuchObject();
  return january_1_1970() + integer{value.time} * microsecond_of();
}

integer ComputerID() {
  return integer{static_cast<long long>(AskServerRecord()->computerId)};
}

boolean PendingLogin_of_world() { return Boolean(false); }

boolean PendingRestart() {
  return Boolean(ContextInterface<PendingRestartSurveyorContext>().IsRestartPending());
}

boolean NamedPendingRestart(unsigned char const* name, unsigned long length) {
  return Boolean(ContextInterface<PendingRestartSurveyorContext>().IsRestartPendingFor(
      reinterpret_cast<char const*>(name), length));
}

// ---------------------------------------------------------------------------
// Cryptography.

cryptography cryptography_of_world() {
  cryptography value{};
  value.mode = CallContext<&SurveyorFipsContext::FipsMode>();
  value.desired = CallContext<&SurveyorFipsContext::DesiredFipsMode>();
  value.failure = CallContext<&SurveyorFipsContext::FipsModeFailureMessage>();
  return value;
}

boolean FipsMode_of(cryptography const& value) { return Boolean(value.mode); }
boolean DFipsMode_of(cryptography const& value) { return Boolean(value.desired); }
surveyor_string FailureMessage_of(cryptography const& value) { return HostText(value.failure); }

client_cryptography ClientCryptography() {
  client_cryptography value{};
  value.encrypt = CallContext<&SurveyorFipsContext::EncryptReport>();
  value.desired = CallContext<&SurveyorFipsContext::DesiredEncryptReport>();
  value.failure = CallContext<&SurveyorFipsContext::EncryptReportFailureMessage>();
  return value;
}

boolean EncryptReport(client_cryptography const& value) { return Boolean(value.encrypt); }
boolean DesiredEncryptReport(client_cryptography const& value) { return Boolean(value.desired); }
surveyor_string EncryptReportFailureMessage(client_cryptography const& value) {
  return HostText(value.failure);
}

// ---------------------------------------------------------------------------
// Certificates.

surveyor_string CertificateSHA1(x509_certificate const& value) {
  return InEvaluatorMemory(value.sha1, strnlen(value.sha1, sizeof value.sha1));
}

moment NotBefore(x509_certificate const& value) {
  return january_1_1970() + integer{value.notBefore} * microsecond_of();
}

x509_certificate x509_certificate_of_world(unsigned char const* name, unsigned long length) {
  x509_certificate value{};
  if (!CallContext<&SurveyorCertificateContext::FindCertificate>(
          reinterpret_cast<char const*>(name), length,
          static_cast<SurveyorCertificateData*>(&value))) {
    throw NoSuchObject();
  }
  return value;
}

x509_certificate x509_certificate_iterator::First() {
  next_ = 0;
  return Next();
}

x509_certificate x509_certificate_iterator::Next() {
  x509_certificate value{};
  if (!CallContext<&SurveyorCertificateContext::GetCertificate>(
          next_, static_cast<SurveyorCertificateData*>(&value))) {
    throw NoSuchObject();
  }
  ++next_;
  return value;
}

// ---------------------------------------------------------------------------
// The wake-on-LAN subnet.

surveyor_string SubnetCidrString() {
  return HostText(CallContext<&WakeOnLanContext::SubnetCidrString>());
}

// ---------------------------------------------------------------------------
// Registration, in table order. The nodes "CurrentAnalysis" and
// "ComputerID" are registered with the frame's nodes, before any table of
// properties. Each answer is the host's of the moment, so nothing else is
// reused. The two rows that reach a certificate from the world are this
// host's addition and come last.

namespace {

using AdministratorStep = setting (administrator_iterator::*)(Of, client const&);

RegistrationTable table{
    IndexedRow("administrator", "administrators", &administrator_of_client),
    IteratedRow("administrator", "administrators",
                static_cast<AdministratorStep>(&administrator_iterator::First),
                static_cast<AdministratorStep>(&administrator_iterator::Next)),
    TypeRow<administrative_rights>(),
    PropertyRow("administrative rights", "administrative rightss", &administrative_rights_of),
    PropertyRow("enabled", "enableds", static_cast<boolean (*)(administrative_rights const&)>(&enabled_of)),
    TypeRow<analysis>(),
    PropertyRow("analysis", "analysiss", &CurrentAnalysis_of_world,
                &CurrentAnalysisDependencyNodeFunction),
    PropertyRow("last time", "last times", &LastTime_of),
    PropertyRow("computer id", "computer ids", &ComputerID, &ComputerIDDependencyNodeFunction),
    PropertyRow("pending login", "pending logins", &PendingLogin_of_world),
    PropertyRow("pending restart", "pending restarts", &PendingRestart),
    IndexedRow("pending restart", "pending restarts", &NamedPendingRestart),
    TypeRow<cryptography>(),
    PropertyRow("cryptography", "cryptographies", &cryptography_of_world),
    PropertyRow("fips mode", "fips modes", &FipsMode_of),
    PropertyRow("desired fips mode", "desired fips modes", &DFipsMode_of),
    PropertyRow("fips mode failure message", "fips mode failure messages", &FailureMessage_of),
    TypeRow<client_cryptography>(),
    PropertyRow("client cryptography", "client cryptographies", &ClientCryptography),
    PropertyRow("encrypt report", "encrypt reports", &EncryptReport),
    PropertyRow("desired encrypt report", "desired encrypt reports", &DesiredEncryptReport),
    PropertyRow("encrypt report failure message", "encrypt report failure messages",
                &EncryptReportFailureMessage),
    TypeRow<x509_certificate>(),
    PropertyRow("sha1", "sha1s", &CertificateSHA1),
    PropertyRow("invalid before", "invalid befores", &NotBefore),
    PropertyRow("wake on lan subnet cidr string", "wake on lan subnet cidr strings",
                &SubnetCidrString),
    // How a query reaches a certificate: the client's own by name, or all
    // of them.
    IndexedRow("x509 certificate", "x509 certificates", &x509_certificate_of_world),
    IteratedRow<x509_certificate_iterator>("x509 certificate", "x509 certificates"),
};

}  // namespace
