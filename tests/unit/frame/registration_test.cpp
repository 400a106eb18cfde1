// Registration classes and tables: what they hand the host, and how a
// failure part-way through a group or a table is undone.

#include "survey/frame/registration.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "survey/frame/table.h"

namespace {

using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::RegistryEvent;

struct Gauge {
  long long level;

  static char const* TypeName() { return "gauge"; }
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
// Tables of typed rows. Every name a row hands over comes from the types of
// its function.

// A value that stands where a gauge is asked for: it starts with one.
struct Dial {
  Gauge gauge;
  long long turns;

  static char const* TypeName() { return "dial"; }
};

Dial DialOfWorld() { return Dial{Gauge{1}, 2}; }
Dial DialByLevel(Gauge const& level) { return Dial{level, 0}; }
Gauge GaugeOfDial(Of, Dial const& dial) { return dial.gauge; }
Dial DialByLevelOf(Gauge const& level, Of, Dial const& dial) { return Dial{level, dial.turns + 1}; }
Gauge NumberedGauge(unsigned long long number, Dial const&) {
  return Gauge{static_cast<long long>(number)};
}
Gauge NumberedWorldGauge(unsigned long long number) {
  return Gauge{static_cast<long long>(number)};
}
Gauge NamedGauge(unsigned char const*, unsigned long length, Dial const&) {
  return Gauge{static_cast<long long>(length)};
}
Gauge NamedWorldGauge(unsigned char const*, unsigned long length) {
  return Gauge{static_cast<long long>(length)};
}
boolean GaugeBelowText(Gauge const& gauge, surveyor_string const& text) {
  return boolean{static_cast<unsigned char>(gauge.level < static_cast<long long>(text.length))};
}
surveyor_string DialText(Dial const&) {
  return surveyor_string{reinterpret_cast<unsigned char const*>("dial"), 4};
}

// Counts down from the dial's turns; First and Next are called by name.
class Countdown {
 public:
  Gauge First(Dial const& dial) {
    left_ = dial.turns;
    return Next(dial);
  }
  Gauge Next(Dial const&) {
    if (left_ <= 0) throw NoSuchObject();
    return Gauge{left_--};
  }

 private:
  long long left_ = 0;
};

// Ticks of a dial, in two members pairs read from the record.
class Ticks {
 public:
  Gauge FirstTick(Of, Dial const&) { return Gauge{count_ = 1}; }
  Gauge NextTick(Of, Dial const&) {
    if (count_ >= 3) throw NoSuchObject();
    return Gauge{++count_};
  }
  Gauge FirstAbove(Gauge const& floor) { return Gauge{count_ = floor.level + 1}; }
  Gauge NextAbove(Gauge const&) { throw NoSuchObject(); }

 private:
  long long count_ = 0;
};

DependencyNode gaugeNode;
void GaugeNodeState(Fingerprinter&) {}
void ClearGauges(void*) {}

auto GaugeRows() {
  return RegistrationTable{
      TypeRow<Gauge>(),
      TypeRow<Dial, Gauge>(),
      PropertyRow("level", "levels", &LevelOf, &DependsOnlyOnParameters),
      PropertyRow("dial", "dials", &DialOfWorld),
      PropertyRow("gauge", "gauges", &GaugeOfDial),
      IndexedRow("dial", "dials", &DialByLevel),
      IndexedRow("dial", "dials", &DialByLevelOf),
      IndexedRow("number", "numbers", &NumberedGauge),
      IndexedRow("number", "numbers", &NumberedWorldGauge),
      IndexedRow("name", "names", &NamedGauge),
      IndexedRow("name", "names", &NamedWorldGauge),
      IteratedRow<Countdown>("countdown", "countdowns"),
      IteratedRow("tick", "ticks", &Ticks::FirstTick, &Ticks::NextTick),
      IteratedRow("above", "aboves", &Ticks::FirstAbove, &Ticks::NextAbove),
      AggregateRow("average gauge", "average gauges", &GaugeAverage::Clear, &GaugeAverage::Take,
                   &GaugeAverage::Result, &GaugeAverage::Result),
      CastRow<Gauge>("string", &GaugeText),
      CastRow<Dial>("string", &DialText, &DependsOnlyOnParameters),
      OperatorRow(kOperatorLessThan, &GaugeBelowText),
      DependencyRow(&gaugeNode, "GaugeNode", &GaugeNodeState),
      CacheRow(&ClearGauges, nullptr)};
}

using GaugeTable = decltype(GaugeRows());
constexpr std::size_t kGaugeRows = 20;

// The properties of a registry, as "singular (index) object -> result".
std::vector<std::string> Signatures(Registry const& registry) {
  std::vector<std::string> lines;
  for (auto const* entry : registry.Properties()) {
    lines.push_back(std::string(entry->singular) + " / " + std::string(entry->plural) + " (" +
                    std::string(entry->index) + ") " + std::string(entry->object) + " -> " +
                    std::string(entry->result));
  }
  return lines;
}

TEST_F(RegistrationTest, RowsTakeTheirTypeNamesFromTheirFunctions) {
  GaugeTable table = GaugeRows();
  EXPECT_EQ((std::vector<std::string>{
                "level / levels () gauge -> gauge",
                "dial / dials ()  -> dial",
                "gauge / gauges () dial -> gauge",
                "dial / dials (gauge)  -> dial",
                "dial / dials (gauge) dial -> dial",
                "number / numbers (integer) dial -> gauge",
                "number / numbers (integer)  -> gauge",
                "name / names (string) dial -> gauge",
                "name / names (string)  -> gauge",
                "countdown / countdowns () dial -> gauge",
                "tick / ticks () dial -> gauge",
                "above / aboves (gauge)  -> gauge",
                "average gauge / average gauges () gauge -> gauge",
            }),
            Signatures(registry));

  auto const* gauge = registry.FindType("gauge");
  auto const* dial = registry.FindType("dial");
  ASSERT_NE(nullptr, gauge);
  ASSERT_NE(nullptr, dial);
  EXPECT_EQ(sizeof(Gauge), gauge->size);
  EXPECT_TRUE(gauge->baseName.empty());
  EXPECT_EQ(sizeof(Dial), dial->size);
  EXPECT_EQ("gauge", dial->baseName);
  EXPECT_EQ((&SurveyorTypeInfo<Dial, kNotFingerprinted>::Destroy), dial->destroy);

  std::vector<std::string> casts;
  for (auto const* cast : registry.Casts()) {
    casts.push_back(cast->phrase + ": " + cast->source + " -> " + cast->target);
  }
  EXPECT_EQ((std::vector<std::string>{"string: gauge -> string", "string: dial -> string"}), casts);
  ASSERT_EQ(1u, registry.Operators().size());
  auto const* op = registry.Operators()[0];
  EXPECT_EQ(kOperatorLessThan, op->code);
  EXPECT_EQ("gauge", op->left);
  EXPECT_EQ("string", op->right);
  EXPECT_EQ("boolean", op->result);
  EXPECT_EQ((&Operator2<Gauge, surveyor_string, boolean>::Thunk), op->thunk);
  auto const* node = registry.FindDependencyNamed("GaugeNode");
  ASSERT_NE(nullptr, node);
  EXPECT_EQ(&gaugeNode, node->node);
  EXPECT_EQ(kGaugeRows, registry.RecordCount());
}

TEST_F(RegistrationTest, RowsChooseTheAdaptorOfTheirFunctionsShape) {
  GaugeTable table = GaugeRows();
  std::vector<SurveyorGetter> getters;
  for (auto const* entry : registry.Properties()) getters.push_back(entry->getter);
  EXPECT_EQ((std::vector<SurveyorGetter>{
                &Property<Gauge, Gauge>::Get,
                &GlobalProperty<Dial>::Get,
                &PropertyOfObject<Gauge, Dial>::Get,
                &PropertyByIndexOfWorld<Dial, Gauge>::Get,
                &PropertyByIndexOfObject<Dial, Gauge, Dial>::Get,
                &NumberedProperty<Dial, Gauge>::Get,
                &NumberedGlobalProperty<Gauge>::Get,
                &NamedProperty<Dial, Gauge>::Get,
                &NamedGlobalProperty<Gauge>::Get,
                nullptr,
                nullptr,
                nullptr,
                nullptr,
            }),
            getters);

  auto const properties = registry.Properties();
  auto const* countdown = properties[9];
  EXPECT_EQ(PropertyKind::kIterated, countdown->kind);
  EXPECT_EQ(sizeof(Countdown), countdown->stateSize);
  EXPECT_EQ((&IteratedProperty<Countdown, Dial, Gauge>::First), countdown->first);
  EXPECT_EQ((&IteratedProperty<Countdown, Dial, Gauge>::Next), countdown->next);
  EXPECT_EQ(&IteratorBasics<Countdown>::Destroy, countdown->destroyState);
  auto const* tick = properties[10];
  EXPECT_EQ((&IteratedPropertyOfObject<Ticks, Gauge, Dial>::First), tick->first);
  auto const* tickRecord = static_cast<PropRecord const*>(tick->context);
  EXPECT_TRUE(ToMemberSlot(&Ticks::FirstTick) == tickRecord->firstIntermediate);
  EXPECT_TRUE(ToMemberSlot(&Ticks::NextTick) == tickRecord->nextIntermediate);
  auto const* above = properties[11];
  EXPECT_EQ((&IteratedPropertyByIndexOfWorld<Ticks, Gauge, Gauge>::Next), above->next);
  auto const* average = properties[12];
  EXPECT_EQ(PropertyKind::kAggregate, average->kind);
  EXPECT_EQ(sizeof(GaugeAverage), average->stateSize);
  EXPECT_EQ(&SimpleAggregator<GaugeAverage>::Initialize,
            average->phases[survey::host::kFirstInitial]);
  EXPECT_EQ(&GenericNullGetter, average->phases[survey::host::kNextInitial]);
  EXPECT_EQ((&SimpleAggregatorOfObject<GaugeAverage, Gauge>::Aggregate),
            average->phases[survey::host::kFirstIntermediate]);
  EXPECT_EQ((&AggregatorBasics<GaugeAverage, Gauge>::NextFinal),
            average->phases[survey::host::kNextFinal]);
  EXPECT_EQ(&DependsOnlyOnParameters, properties[0]->dependency);
  EXPECT_EQ(nullptr, properties[1]->dependency);
}

// Each row's record is its own context, and the function it names is what
// the host reaches through it.
TEST_F(RegistrationTest, TableRowsAnswerThroughTheirOwnRecords) {
  GaugeTable table = GaugeRows();
  auto const properties = registry.Properties();
  Gauge const level{41};
  Dial const dial{Gauge{7}, 3};
  alignas(Dial) unsigned char slot[sizeof(Dial)];

  ASSERT_EQ(1, properties[0]->getter(slot, nullptr, &level, nullptr, properties[0]->context));
  EXPECT_EQ(42, reinterpret_cast<Gauge const*>(slot)->level);
  ASSERT_EQ(1, properties[4]->getter(slot, &level, &dial, nullptr, properties[4]->context));
  EXPECT_EQ(41, reinterpret_cast<Dial const*>(slot)->gauge.level);
  EXPECT_EQ(4, reinterpret_cast<Dial const*>(slot)->turns);
  integer const minusOne{-1};
  EXPECT_EQ(0, properties[5]->getter(slot, &minusOne, &dial, nullptr, properties[5]->context));
  surveyor_string const name{reinterpret_cast<unsigned char const*>("abc"), 3};
  ASSERT_EQ(1, properties[7]->getter(slot, &name, &dial, nullptr, properties[7]->context));
  EXPECT_EQ(3, reinterpret_cast<Gauge const*>(slot)->level);

  auto const* tick = properties[10];
  alignas(Ticks) unsigned char state[sizeof(Ticks)];
  tick->construct(state);
  ASSERT_EQ(1, tick->first(slot, nullptr, &dial, state, tick->context));
  EXPECT_EQ(1, reinterpret_cast<Gauge const*>(slot)->level);
  ASSERT_EQ(1, tick->next(slot, nullptr, &dial, state, tick->context));
  EXPECT_EQ(2, reinterpret_cast<Gauge const*>(slot)->level);
  tick->destroyState(state);
}

TEST_F(RegistrationTest, TableUnregistersEveryRowInReverseOnDestruction) {
  std::size_t registered = 0;
  {
    GaugeTable table = GaugeRows();
    registered = registry.Journal().size();
    EXPECT_EQ(kGaugeRows, registered);
  }
  auto const& journal = registry.Journal();
  ASSERT_EQ(2 * registered, journal.size());
  for (std::size_t k = 0; k < registered; ++k) {
    RegistryEvent const& done = journal[k];
    RegistryEvent const& undone = journal[journal.size() - 1 - k];
    EXPECT_EQ(RegistryEvent::kRegistered, done.action);
    EXPECT_EQ(RegistryEvent::kUnregistered, undone.action);
    EXPECT_EQ(done.record, undone.record);
  }
  EXPECT_TRUE(registry.Empty());
}

TEST_F(RegistrationTest, TableThatFailsHalfWayUndoesItsRowsInReverse) {
  registry.FailRegistrationAfter(4);
  EXPECT_THROW({ GaugeTable table = GaugeRows(); }, RegistrationError);
  auto const& journal = registry.Journal();
  ASSERT_EQ(6u, journal.size());
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(RegistryEvent::kRegistered, journal[k].action);
    EXPECT_EQ(RegistryEvent::kUnregistered, journal[5 - k].action);
    EXPECT_EQ(journal[k].record, journal[5 - k].record);
  }
  EXPECT_EQ(RecordKind::kType, journal[0].kind);
  EXPECT_EQ(RecordKind::kType, journal[1].kind);
  EXPECT_EQ(RecordKind::kProperty, journal[2].kind);
  EXPECT_TRUE(registry.Empty());
}

}  // namespace
