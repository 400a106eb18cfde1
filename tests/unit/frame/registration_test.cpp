// Registration classes and table helpers: what they hand the host, and how a
// failure part-way through a group is undone.

#include "survey/frame/registration.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/engine/registry.h"

namespace {

using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::RegistryEvent;

struct Gauge {
  long long level;
};

Gauge LevelOf(Gauge const& gauge) { return Gauge{gauge.level + 1}; }
Gauge Sum(Gauge const& left, Gauge const& right) { return Gauge{left.level + right.level}; }
surveyor_string GaugeText(Gauge const&) {
  return surveyor_string{reinterpret_cast<unsigned char const*>("gauge"), 5};
}

class GaugeAverage {
 public:
  void Clear() { total_ = 0; }
  void Take(Of, Gauge const& gauge) { total_ += gauge.level; }
  Gauge Result() { return Gauge{total_}; }

 private:
  long long total_ = 0;
};

// One line of a journal, reduced to what a test compares.
struct Line {
  RegistryEvent::Action action;
  RecordKind kind;
  void const* record;
  bool operator==(Line const&) const = default;
};

std::vector<Line> LinesOf(Registry const& registry) {
  std::vector<Line> lines;
  for (RegistryEvent const& event : registry.Journal()) {
    lines.push_back(Line{event.action, event.kind, event.record});
  }
  return lines;
}

Line Registered(RecordKind kind, void const* record) {
  return Line{RegistryEvent::kRegistered, kind, record};
}
Line Unregistered(RecordKind kind, void const* record) {
  return Line{RegistryEvent::kUnregistered, kind, record};
}

// The addresses of a group's members, noted as they are constructed, so that
// a test can name them after a failed constructor has destroyed them.
struct Addresses {
  void const* type = nullptr;
  void const* op = nullptr;
  void const* level = nullptr;
  void const* average = nullptr;
};
Addresses addresses;

// A registration class as a source unit writes one: a type, an operator on
// it and two properties. Each member notes its address.
struct GaugeGroup {
  RegisteredType type{"gauge", sizeof(Gauge), &SurveyorTypeInfo<Gauge, kNotFingerprinted>::Destroy,
                      nullptr, nullptr};
  int noteType = (addresses.type = &type, 0);
  RegisteredOperator op{Using<Operator2<Gauge, Gauge, Gauge>>,
                        kOperatorConcatenation,
                        "gauge",
                        "gauge",
                        "gauge",
                        &Sum,
                        &DependsOnlyOnParameters};
  int noteOp = (addresses.op = &op, 0);
  Prop level{
      Using<Property<Gauge, Gauge>>, "level", "levels", "", "gauge", "gauge", &LevelOf, nullptr};
  int noteLevel = (addresses.level = &level, 0);
  Prop average{static_cast<GaugeAverage*>(nullptr),
               "average gauge",
               "average gauges",
               "",
               "gauge",
               "gauge",
               survey::frame::AggregatePhases{
                   &SimpleAggregator<GaugeAverage>::Initialize, nullptr,
                   &SimpleAggregatorOfObject<GaugeAverage, Gauge>::Aggregate, nullptr,
                   &AggregatorBasics<GaugeAverage, Gauge>::FirstFinal, &GenericNullGetter},
               survey::frame::AggregateMembers{ToMemberSlot(&GaugeAverage::Clear), nullptr,
                                               ToMemberSlot(&GaugeAverage::Take), nullptr,
                                               ToMemberSlot(&GaugeAverage::Result), nullptr},
               nullptr};
  int noteAverage = (addresses.average = &average, 0);
  RegisteredCast text{
      Using<Cast<Gauge, surveyor_string>>, "string", "gauge", "string", &GaugeText, nullptr};
};

// Work between two registrations that fails.
struct Refusal {
  Refusal() { throw std::runtime_error("refused between registrations"); }
};

struct GroupWithFailingWork {
  RegisteredType type{"gauge", sizeof(Gauge), &SurveyorTypeInfo<Gauge, kNotFingerprinted>::Destroy,
                      nullptr, nullptr};
  int noteType = (addresses.type = &type, 0);
  Prop level{
      Using<Property<Gauge, Gauge>>, "level", "levels", "", "gauge", "gauge", &LevelOf, nullptr};
  int noteLevel = (addresses.level = &level, 0);
  Refusal refusal;
  Prop late{
      Using<Property<Gauge, Gauge>>, "late", "lates", "", "gauge", "gauge", &LevelOf, nullptr};
};

class RegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override { addresses = Addresses(); }
  Registry registry;
  Registry::Scope scope{registry};
};

TEST_F(RegistrationTest, FailureOfTheThirdRegistrationUndoesTheSecondThenTheFirst) {
  registry.FailRegistrationAfter(3);
  EXPECT_THROW({ GaugeGroup group; }, RegistrationError);
  ASSERT_NE(nullptr, addresses.type);
  ASSERT_NE(nullptr, addresses.op);
  EXPECT_EQ(nullptr, addresses.level);
  EXPECT_EQ((std::vector<Line>{Registered(RecordKind::kType, addresses.type),
                               Registered(RecordKind::kOperator, addresses.op),
                               Unregistered(RecordKind::kOperator, addresses.op),
                               Unregistered(RecordKind::kType, addresses.type)}),
            LinesOf(registry));
  EXPECT_TRUE(registry.Empty());
  EXPECT_EQ(nullptr, registry.FindType("gauge"));
}

TEST_F(RegistrationTest, FailureOfTheFirstRegistrationLeavesNothingToUndo) {
  registry.FailRegistrationAfter(1);
  EXPECT_THROW({ GaugeGroup group; }, RegistrationError);
  EXPECT_TRUE(registry.Journal().empty());
  EXPECT_TRUE(registry.Empty());
}

TEST_F(RegistrationTest, FailureOfTheLastRegistrationUndoesAllBeforeIt) {
  registry.FailRegistrationAfter(5);
  EXPECT_THROW({ GaugeGroup group; }, RegistrationError);
  EXPECT_EQ((std::vector<Line>{Registered(RecordKind::kType, addresses.type),
                               Registered(RecordKind::kOperator, addresses.op),
                               Registered(RecordKind::kProperty, addresses.level),
                               Registered(RecordKind::kProperty, addresses.average),
                               Unregistered(RecordKind::kProperty, addresses.average),
                               Unregistered(RecordKind::kProperty, addresses.level),
                               Unregistered(RecordKind::kOperator, addresses.op),
                               Unregistered(RecordKind::kType, addresses.type)}),
            LinesOf(registry));
  EXPECT_TRUE(registry.Empty());
}

TEST_F(RegistrationTest, FailingWorkBetweenRegistrationsUndoesWhatWasRegistered) {
  EXPECT_THROW({ GroupWithFailingWork group; }, std::runtime_error);
  EXPECT_EQ((std::vector<Line>{Registered(RecordKind::kType, addresses.type),
                               Registered(RecordKind::kProperty, addresses.level),
                               Unregistered(RecordKind::kProperty, addresses.level),
                               Unregistered(RecordKind::kType, addresses.type)}),
            LinesOf(registry));
  EXPECT_TRUE(registry.Empty());
}

TEST_F(RegistrationTest, CompleteGroupUnregistersEverythingInReverseOnDestruction) {
  void const* text = nullptr;
  {
    GaugeGroup group;
    text = &group.text;
    EXPECT_EQ(5u, registry.RecordCount());
    EXPECT_NE(nullptr, registry.FindType("gauge"));
  }
  EXPECT_EQ(
      (std::vector<Line>{Registered(RecordKind::kType, addresses.type),
                         Registered(RecordKind::kOperator, addresses.op),
                         Registered(RecordKind::kProperty, addresses.level),
                         Registered(RecordKind::kProperty, addresses.average),
                         Registered(RecordKind::kCast, text), Unregistered(RecordKind::kCast, text),
                         Unregistered(RecordKind::kProperty, addresses.average),
                         Unregistered(RecordKind::kProperty, addresses.level),
                         Unregistered(RecordKind::kOperator, addresses.op),
                         Unregistered(RecordKind::kType, addresses.type)}),
      LinesOf(registry));
  EXPECT_TRUE(registry.Empty());
}

// The records a group hands over carry themselves as context, with the
// surveyor stored where the adaptor reads it.
TEST_F(RegistrationTest, GroupMembersRegisterTheirAdaptorsAndFunctions) {
  GaugeGroup group;
  auto const* type = registry.FindType("gauge");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(sizeof(Gauge), type->size);
  EXPECT_EQ(&group.type, type->record);
  EXPECT_EQ((&SurveyorTypeInfo<Gauge, kNotFingerprinted>::Destroy), type->destroy);
  EXPECT_EQ(nullptr, type->fingerprint);
  EXPECT_TRUE(type->baseName.empty());

  auto const* level = registry.FindProperty("level", nullptr, type);
  ASSERT_NE(nullptr, level);
  EXPECT_EQ(level, registry.FindProperty("levels", nullptr, type));
  EXPECT_EQ(PropertyKind::kSimple, level->kind);
  EXPECT_EQ(&group.level, level->record);
  EXPECT_EQ(&group.level, level->context);
  EXPECT_EQ((&Property<Gauge, Gauge>::Get), level->getter);
  EXPECT_EQ(ToFunctionSlot(&LevelOf), group.level.function);
  EXPECT_EQ(nullptr, level->dependency);

  auto const* average = registry.FindProperty("average gauge", nullptr, type);
  ASSERT_NE(nullptr, average);
  EXPECT_EQ(PropertyKind::kAggregate, average->kind);
  EXPECT_EQ(sizeof(GaugeAverage), average->stateSize);
  EXPECT_EQ(&IteratorBasics<GaugeAverage>::Construct, average->construct);
  EXPECT_EQ(&IteratorBasics<GaugeAverage>::Destroy, average->destroyState);
  EXPECT_EQ(&SimpleAggregator<GaugeAverage>::Initialize,
            average->phases[survey::host::kFirstInitial]);
  EXPECT_EQ(nullptr, average->phases[survey::host::kNextInitial]);
  EXPECT_EQ((&AggregatorBasics<GaugeAverage, Gauge>::FirstFinal),
            average->phases[survey::host::kFirstFinal]);
  EXPECT_EQ(&GenericNullGetter, average->phases[survey::host::kNextFinal]);
  EXPECT_TRUE(ToMemberSlot(&GaugeAverage::Clear) == group.average.firstInitial);
  EXPECT_TRUE(ToMemberSlot(&GaugeAverage::Take) == group.average.firstIntermediate);
  EXPECT_TRUE(ToMemberSlot(&GaugeAverage::Result) == group.average.firstFinal);
  EXPECT_TRUE(group.average.nextInitial == nullptr);
  EXPECT_TRUE(group.average.nextFinal == nullptr);

  auto const* op = registry.FindOperator(kOperatorConcatenation, type, type);
  ASSERT_NE(nullptr, op);
  EXPECT_EQ(&group.op, op->context);
  EXPECT_EQ((&Operator2<Gauge, Gauge, Gauge>::Thunk), op->thunk);
  EXPECT_EQ(ToFunctionSlot(&Sum), group.op.function);
  EXPECT_EQ(&DependsOnlyOnParameters, op->dependency);

  auto const* cast = registry.FindCast("string", type);
  ASSERT_NE(nullptr, cast);
  EXPECT_EQ("string", cast->target);
  EXPECT_EQ(&group.text, cast->context);
  EXPECT_EQ(ToFunctionSlot(&GaugeText), group.text.function);
}

// The stored function is reached through the host's context argument.
TEST_F(RegistrationTest, RegisteredPropertyAnswersThroughItsOwnRecord) {
  GaugeGroup group;
  auto const* level = registry.FindProperty("level", nullptr, registry.FindType("gauge"));
  ASSERT_NE(nullptr, level);
  Gauge const gauge{41};
  alignas(Gauge) unsigned char slot[sizeof(Gauge)];
  EXPECT_EQ(1, level->getter(slot, nullptr, &gauge, nullptr, level->context));
  EXPECT_EQ(42, reinterpret_cast<Gauge const*>(slot)->level);
}

TEST_F(RegistrationTest, GroupIsRefusedWhereItsRecordsAreRegisteredAlready) {
  GaugeGroup group;
  // The records of a live group cannot be handed over a second time.
  EXPECT_THROW(
      Register_Type(&group.type, kTypeHostArea, "gauge", sizeof(Gauge),
                    &SurveyorTypeInfo<Gauge, kNotFingerprinted>::Destroy, nullptr, nullptr),
      RegistrationError);
  EXPECT_EQ(5u, registry.RecordCount());
}

// ---------------------------------------------------------------------------
// Table helpers. Their records are static and their unregistration is queued
// for unload (here: program exit), so they register into a registry that
// lives as long as the program.

Registry& LastingRegistry() {
  static Registry* const registry = new Registry;
  return *registry;
}

TypeRecord tableType;
ShortRecord tableProperty;
ShortRecord tableCast;

TEST(RegistrationTableTest, HelpersRegisterWithTheRecordAsContextAndStoreTheFunction) {
  Registry& registry = LastingRegistry();
  Registry::Scope scope(registry);
  RegisterType<&tableType, SurveyorTypeInfo<Gauge, kNotFingerprinted>, Gauge>("table gauge",
                                                                              nullptr);
  RegisterProperty<&tableProperty, Property<Gauge, Gauge>>(
      "level", "levels", "", "table gauge", "table gauge", &LevelOf, &DependsOnlyOnParameters);
  RegisterCast<&tableCast, Cast<Gauge, surveyor_string>>("string", "table gauge", "string",
                                                         &GaugeText, nullptr);
  auto const* type = registry.FindType("table gauge");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(&tableType, type->record);
  EXPECT_EQ(sizeof(Gauge), type->size);
  auto const* property = registry.FindProperty("levels", nullptr, type);
  ASSERT_NE(nullptr, property);
  EXPECT_EQ(&tableProperty, property->context);
  EXPECT_EQ((&Property<Gauge, Gauge>::Get), property->getter);
  EXPECT_EQ(&DependsOnlyOnParameters, property->dependency);
  EXPECT_EQ(ToFunctionSlot(&LevelOf), tableProperty.function);
  auto const* cast = registry.FindCast("string", type);
  ASSERT_NE(nullptr, cast);
  EXPECT_EQ(&tableCast, cast->context);
  EXPECT_EQ(ToFunctionSlot(&GaugeText), tableCast.function);
}

}  // namespace
