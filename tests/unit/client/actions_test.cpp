// The action surveyors over a context of the test's own: what reaches the
// host, what comes back when it has nothing, and what a slot left null
// gives.

#include "survey/client/actions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "tests/support/context_test.h"

namespace {

using survey::host::Evaluation;
using survey::host::Registry;

int calls = 0;
unsigned lastLow = 0;
unsigned lastHigh = 0;
bool interruptionGiven = false;
SurveyorActionData stored{};

bool ById(unsigned low, unsigned high, SurveyorActionData* data, SurveyorInterruptCheck interrupt) {
  ++calls;
  lastLow = low;
  lastHigh = high;
  interruptionGiven = interrupt != nullptr && interrupt() == 0;
  *data = stored;
  return true;
}

bool Current(SurveyorActionData* data) {
  ++calls;
  *data = stored;
  return true;
}

bool Nothing(SurveyorActionData*) {
  ++calls;
  return false;
}

unsigned char Found(SurveyorConstData const* name, SurveyorConstData* value) {
  static unsigned char const text[] = "found";
  // The result arrives preset to empty.
  if (value->begin != value->end) return 0;
  if (name->end - name->begin != 1 || *name->begin != 'p') return 0;
  value->begin = text;
  value->end = text + 5;
  return 1;
}

unsigned char NotOne(SurveyorConstData const*, SurveyorConstData* value) {
  static unsigned char const text[] = "x";
  value->begin = text;
  value->end = text + 1;
  return 2;
}

class ActionHost : public SurveyorContext, public SurveyorActionContext {};
class OtherHost : public SurveyorContext {};

class ActionsTest : public survey::testing::ContextTest {
 protected:
  ActionsTest() {
    calls = 0;
    stored = SurveyorActionData{};
    stored.subActionOrdinal = 0xffffffffu;
  }
};

TEST_F(ActionsTest, ANumberOfTwoToThe32IsRefusedWithoutAskingTheHost) {
  ActionHost host;
  host.GetActionById = &ById;
  Within(&host, [] {
    EXPECT_THROW(ActionById_of_world(4294967296ull), NoSuchObject);
    EXPECT_THROW(ActionById_of_world(~0ull), NoSuchObject);
    EXPECT_EQ(0, calls);
    stored.id = 4294967295ull;
    EXPECT_EQ(4294967295ull, ActionById_of_world(4294967295ull).id);
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0xffffffffu, lastLow);
    EXPECT_EQ(0u, lastHigh);
    EXPECT_TRUE(interruptionGiven);
  });
}

TEST_F(ActionsTest, ANumberIsRefusedBeforeTheContextIsLookedAt) {
  OtherHost host;
  Within(&host, [] {
    EXPECT_THROW(ActionById_of_world(4294967296ull), NoSuchObject);
    EXPECT_THROW(ActionById_of_world(5), NoSurveyorContext);
  });
  Within(nullptr, [] { EXPECT_THROW(ActionById_of_world(5), NoSurveyorContext); });
}

TEST_F(ActionsTest, NullSlotsGiveTheActionContextError) {
  ActionHost host;
  Within(&host, [] {
    EXPECT_THROW(CurrentAction_of_world(), SurveyorActionContextError);
    EXPECT_THROW(ActiveAction_of_world(), SurveyorActionContextError);
    EXPECT_THROW(ActionById_of_world(1), SurveyorActionContextError);
    EXPECT_THROW(CurrentActionParameter(reinterpret_cast<unsigned char const*>("p"), 1),
                 SurveyorActionContextError);
  });
}

TEST_F(ActionsTest, AHostWithoutTheActionGivesNoSuchObject) {
  ActionHost host;
  host.GetCurrentAction = &Nothing;
  host.GetActiveAction = &Nothing;
  Within(&host, [] {
    EXPECT_THROW(CurrentAction_of_world(), NoSuchObject);
    EXPECT_THROW(ActiveAction_of_world(), NoSuchObject);
    EXPECT_THROW(CurrentActionParameter(reinterpret_cast<unsigned char const*>("p"), 1),
                 NoSuchObject);
  });
  EXPECT_EQ(3, calls);
}

TEST_F(ActionsTest, AParameterAnswersOnlyForAResultOfExactlyOne) {
  ActionHost host;
  host.GetCurrentAction = &Current;
  Within(&host, [] {
    auto const* const p = reinterpret_cast<unsigned char const*>("p");
    action value;
    EXPECT_THROW(ActionParameter(p, 1, value), NoSuchObject);
    value.getParameter = &Found;
    EXPECT_EQ("found", Text(ActionParameter(p, 1, value)));
    EXPECT_THROW(ActionParameter(reinterpret_cast<unsigned char const*>("q"), 1, value),
                 NoSuchObject);
    value.getParameter = &NotOne;
    EXPECT_THROW(ActionParameter(p, 1, value), NoSuchObject);
    stored.getParameter = &Found;
    EXPECT_EQ("found", Text(CurrentActionParameter(p, 1)));
  });
}

TEST_F(ActionsTest, TheValueIsACopyOfTheHostsRecord) {
  ActionHost host;
  host.GetCurrentAction = &Current;
  stored.id = 77;
  stored.host = 0x5A;
  stored.hostWord = 0xDEADBEEF;
  stored.constraint = 216;
  stored.constrained = true;
  Within(&host, [] {
    action const value = CurrentAction_of_world();
    EXPECT_EQ(0, std::memcmp(static_cast<SurveyorActionData const*>(&value), &stored,
                             sizeof stored));
    EXPECT_EQ(16, SystemConstraint_of(value).value);
    EXPECT_THROW(DownloadFailure_of(value), NoSuchObject);
  });
}

TEST_F(ActionsTest, TheLargestValueOfEveryFieldFitsTheLine) {
  ActionHost host;
  Within(&host, [] {
    action value;
    value.pending = true;
    value.id = ~0ull;
    value.dateTrue = value.dateFalse = value.activeStartTime = ~0ull;
    value.lastActiveTime = value.lastChangeTime = ~0ull;
    value.constrained = true;
    value.constraint = 214;
    value.firstActiveCount = value.activeCount = value.activeLineNumber = 65535;
    value.lastActiveLineNumber = 65535;
    value.groupLeader = true;
    value.actionId = 0xfffffffeu;
    value.subActionOrdinal = 0xfffffffeu;
    value.failed = true;
    std::string const line = Text(AsString(value));
    EXPECT_EQ(":pending=1:id=18446744073709551615:pt=18446744073709:ct=18446744073709"
              ":constrained=1:constraint=0:sysconstraint=14:df=1:fac=65535:ac=65535:al=65535"
              ":ast=18446744073709:lal=65535:lat=18446744073709:lct=18446744073709:wfd=0:act=0"
              ":s=Waiting:pr=0:pl=0:aid=4294967294:sao=4294967294:",
              line);
  });
}

TEST_F(ActionsTest, TheTagsAreTheFormsTexts) {
  auto const text = [](ConstData data) {
    return std::string(reinterpret_cast<char const*>(data.begin), data.Length());
  };
  EXPECT_EQ(":adc=", text(cActionTagActionDependencyCanceled));
  EXPECT_EQ(":adwu=", text(cActionTagActionDependencyWaitingOnUser));
  EXPECT_EQ(":sysconstraint=", text(cActionTagSystemConstraint));
  EXPECT_EQ(":wfd=", text(cActionTagWaitingForDownloads));
  EXPECT_EQ(":", text(cActionTagEnd));
  EXPECT_EQ("Not Relevant", text(cActionValueNotRelevant));
  EXPECT_EQ("Not Executed", text(cActionValueNotExecuted));
}

}  // namespace
