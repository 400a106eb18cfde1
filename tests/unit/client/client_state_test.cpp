// The action lock and the small surveyors of the client's state over
// contexts of the test's own: missing interfaces, null slots and answers the
// host leaves out.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/client/action_lock.h"
#include "survey/client/administrators.h"
#include "tests/support/context_test.h"

namespace {

using survey::host::Evaluation;
using survey::host::Registry;

unsigned controller = 0;
bool hasSystemData = true;

bool SystemData(SurveyorSystemData* data) {
  data->controller = controller;
  return hasSystemData;
}

class SystemHost : public SurveyorContext, public SurveyorSystemContext {};
class SettingsHost : public SurveyorContext, public SurveyorSettingsContext {};
class Bare : public SurveyorContext {};
class FipsHost : public SurveyorContext, public SurveyorFipsContext, public WakeOnLanContext,
                 public SurveyorAnalysisContext {};
class CertificateHost : public SurveyorContext, public SurveyorCertificateContext {};

class ClientStateTest : public survey::testing::ContextTest {
 protected:
  ClientStateTest() {
    controller = 0;
    hasSystemData = true;
  }
};

TEST_F(ClientStateTest, TheLockStateNeedsTheSystemInterfaceAndItsSlot) {
  Bare bare;
  Within(&bare, [] { EXPECT_THROW(ActionLockState_of_world(), NoSurveyorContext); });
  SystemHost host;
  Within(&host, [] { EXPECT_THROW(ActionLockState_of_world(), SurveyorSystemContextError); });
  host.GetSystemData = &SystemData;
  Within(&host, [] {
    controller = 7;
    EXPECT_EQ(7u, ActionLockState_of_world().controller);
    hasSystemData = false;
    EXPECT_THROW(ActionLockState_of_world(), NoSuchObject);
  });
}

TEST_F(ClientStateTest, AnyControllerButClientAndConsoleIsNobody) {
  Bare bare;
  Within(&bare, [] {
    EXPECT_EQ("client", Text(Controller_of(action_lock_state{0})));
    EXPECT_EQ("console", Text(Controller_of(action_lock_state{1})));
    EXPECT_EQ("nobody", Text(Controller_of(action_lock_state{2})));
    EXPECT_EQ("nobody", Text(Controller_of(action_lock_state{0xffffffffu})));
  });
}

TEST_F(ClientStateTest, WithoutTheSettingsTheLockIsOpenAndItsDatesFail) {
  Bare bare;
  Within(&bare, [] {
    EXPECT_EQ(0, Locked_of(action_lock_state{0}).value);
    EXPECT_EQ("", Text(LockString_of(action_lock_state{0})));
    EXPECT_THROW(Expire_of(action_lock_state{0}), NoSurveyorContext);
    EXPECT_THROW(AsString(action_lock_state{0}), NoSurveyorContext);
    // Nobody in control fails before the settings are looked at.
    EXPECT_THROW(Expire_of(action_lock_state{2}), NoSuchObject);
    EXPECT_THROW(Effective_of(action_lock_state{2}), NoSuchObject);
    EXPECT_THROW(AsString(action_lock_state{2}), NoSuchObject);
  });
  SettingsHost nullStore;
  Within(&nullStore, [] {
    EXPECT_EQ(0, Locked_of(action_lock_state{0}).value);
    EXPECT_THROW(Expire_of(action_lock_state{0}), SurveyorSettingsContextError);
    EXPECT_THROW(Effective_of(action_lock_state{0}), SurveyorSettingsContextError);
  });
}

TEST_F(ClientStateTest, TheOtherInterfacesAreNeededAndTheirSlotsToo) {
  Bare bare;
  Within(&bare, [] {
    EXPECT_THROW(ComputerID(), NoSurveyorContext);
    EXPECT_THROW(PendingRestart(), NoSurveyorContext);
    EXPECT_THROW(NamedPendingRestart(reinterpret_cast<unsigned char const*>("a"), 1),
                 NoSurveyorContext);
    EXPECT_THROW(cryptography_of_world(), NoSurveyorContext);
    EXPECT_THROW(ClientCryptography(), NoSurveyorContext);
    EXPECT_THROW(SubnetCidrString(), NoSurveyorContext);
    EXPECT_THROW(CurrentAnalysis_of_world(), NoSurveyorContext);
    EXPECT_EQ(0, PendingLogin_of_world().value);
  });
  FipsHost host;
  Within(&host, [] {
    EXPECT_THROW(cryptography_of_world(), SurveyorContextError);
    EXPECT_THROW(ClientCryptography(), SurveyorContextError);
    EXPECT_THROW(SubnetCidrString(), SurveyorContextError);
    EXPECT_THROW(CurrentAnalysis_of_world(), SurveyorAnalysisContextError);
  });
}

TEST_F(ClientStateTest, CertificatesNeedTheirInterfaceAndItsSlots) {
  unsigned char const name[] = "client";
  Bare bare;
  Within(&bare, [&] {
    EXPECT_THROW(x509_certificate_of_world(name, 6), NoSurveyorContext);
    x509_certificate_iterator walk;
    EXPECT_THROW(walk.First(), NoSurveyorContext);
  });
  CertificateHost host;
  Within(&host, [&] {
    EXPECT_THROW(x509_certificate_of_world(name, 6), SurveyorContextError);
    x509_certificate_iterator walk;
    EXPECT_THROW(walk.First(), SurveyorContextError);
  });
  // The host's answers: a name it knows, and two certificates to walk.
  host.FindCertificate = [](char const* wanted, unsigned long length,
                            SurveyorCertificateData* record) {
    if (std::string(wanted, length) != "client") return false;
    std::memcpy(record->sha1, "0123456789abcdef0123456789abcdef01234567", 41);
    record->notBefore = -1500000;
    return true;
  };
  host.GetCertificate = [](unsigned long index, SurveyorCertificateData* record) {
    if (index >= 2) return false;
    std::memset(record->sha1, 0, sizeof record->sha1);
    record->sha1[0] = static_cast<char>('a' + index);
    record->notBefore = static_cast<long long>(index);
    return true;
  };
  Within(&host, [&] {
    x509_certificate const found = x509_certificate_of_world(name, 6);
    EXPECT_EQ("0123456789abcdef0123456789abcdef01234567", Text(CertificateSHA1(found)));
    // A second and a half before 1970, in the host's microseconds.
    EXPECT_EQ(-1500000, NotBefore(found).ticks);
    EXPECT_THROW(x509_certificate_of_world(name, 5), NoSuchObject);
    x509_certificate_iterator walk;
    EXPECT_EQ("a", Text(CertificateSHA1(walk.First())));
    EXPECT_EQ("b", Text(CertificateSHA1(walk.Next())));
    EXPECT_THROW(walk.Next(), NoSuchObject);
    EXPECT_EQ("a", Text(CertificateSHA1(walk.First())));
  });
}

}  // namespace
