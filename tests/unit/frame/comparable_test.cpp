// The comparable group: what it registers and in which order, how a failure
// part-way through is undone, and how its aggregates answer through the
// host's calling protocol.

#include "survey/frame/comparable.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/engine/calls.h"
#include "host/engine/host.h"
#include "host/engine/registry.h"

namespace {

using survey::host::Bind;
using survey::host::Evaluation;
using survey::host::Host;
using survey::host::OpenAggregate;
using survey::host::OperatorEntry;
using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::Stream;
using survey::host::TypeEntry;
using survey::host::Value;
using survey::host::ValueBuilder;

// A value ordered by its key alone; the tag tells apart values that compare
// equal.
struct Score {
  int key;
  char tag;
  static char const* TypeName() { return "score"; }
};
bool operator==(Score const& left, Score const& right) { return left.key == right.key; }
bool operator<(Score const& left, Score const& right) { return left.key < right.key; }
bool operator<=(Score const& left, Score const& right) { return left.key <= right.key; }

// Stands for the library's version type, by its name.
struct VersionLike {
  int number;
  static char const* TypeName() { return "version"; }
};
bool operator==(VersionLike const& l, VersionLike const& r) { return l.number == r.number; }
bool operator<(VersionLike const& l, VersionLike const& r) { return l.number < r.number; }
bool operator<=(VersionLike const& l, VersionLike const& r) { return l.number <= r.number; }

// A type whose name cannot be composed once: it throws when asked for its
// name while `failWhenRegistered` records are registered, and then never
// again. Each instantiation has its own function-local names.
struct NameRefused : std::runtime_error {
  NameRefused() : std::runtime_error("type name refused") {}
};
std::size_t failWhenRegistered = 0;
int nameCalls = 0;
template <int N>
struct Brittle {
  int key;
  static char const* TypeName() {
    ++nameCalls;
    if (failWhenRegistered != 0 && Registry::Current().RecordCount() == failWhenRegistered) {
      failWhenRegistered = 0;
      throw NameRefused();
    }
    return "brittle";
  }
};
template <int N>
bool operator==(Brittle<N> const& l, Brittle<N> const& r) {
  return l.key == r.key;
}
template <int N>
bool operator<(Brittle<N> const& l, Brittle<N> const& r) {
  return l.key < r.key;
}
template <int N>
bool operator<=(Brittle<N> const& l, Brittle<N> const& r) {
  return l.key <= r.key;
}

void GroupDependency(Fingerprinter&) {}

struct Line {
  RegistryEvent::Action action;
  RecordKind kind;
  std::string name;
  bool operator==(Line const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Line const& line) {
  return out << (line.action == RegistryEvent::kRegistered ? "+" : "-") << line.name;
}

std::vector<Line> LinesOf(Registry const& registry) {
  std::vector<Line> lines;
  for (RegistryEvent const& event : registry.Journal()) {
    lines.push_back(Line{event.action, event.kind, std::string(event.name)});
  }
  return lines;
}

// The nine registrations of the group for a type named `tn`, in order.
std::vector<Line> GroupLines(std::string const& tn) {
  auto added = [](RecordKind kind, std::string name) {
    return Line{RegistryEvent::kRegistered, kind, std::move(name)};
  };
  return {added(RecordKind::kOperator, "operator 6"),
          added(RecordKind::kOperator, "operator 7"),
          added(RecordKind::kOperator, "operator 8"),
          added(RecordKind::kType, tn + " with multiplicity"),
          added(RecordKind::kProperty, "unique value"),
          added(RecordKind::kProperty, "multiplicity"),
          added(RecordKind::kProperty, "minimum"),
          added(RecordKind::kProperty, "maximum"),
          added(RecordKind::kProperty, "extrema")};
}

// The first `count` lines registered, then the same unregistered in reverse.
std::vector<Line> RegisteredThenUndone(std::vector<Line> const& all, std::size_t count) {
  std::vector<Line> lines(all.begin(), all.begin() + static_cast<long>(count));
  for (std::size_t k = count; k > 0; --k) {
    Line undone = all[k - 1];
    undone.action = RegistryEvent::kUnregistered;
    lines.push_back(undone);
  }
  return lines;
}

// ---------------------------------------------------------------------------
// What the group registers.

TEST(ComparableRegistrationTest, RegistersTheNineStepsInOrder) {
  Registry registry;
  Registry::Scope scope(registry);
  ComparableSurveyorRegistration<Score> const group(&GroupDependency);
  EXPECT_EQ(GroupLines("score"), LinesOf(registry));
}

TEST(ComparableRegistrationTest, RelationsAreTheThreeOperatorsOfTheTypeWithItself) {
  Registry registry;
  Registry::Scope scope(registry);
  ComparableSurveyorRegistration<Score> const group(&GroupDependency);
  std::vector<OperatorEntry const*> const operators = registry.Operators();
  ASSERT_EQ(3u, operators.size());
  int code = kOperatorEqual;
  for (OperatorEntry const* entry : operators) {
    EXPECT_EQ(code++, entry->code);
    EXPECT_EQ("score", entry->left);
    EXPECT_EQ("score", entry->right);
    EXPECT_EQ("boolean", entry->result);
    EXPECT_EQ(&GroupDependency, entry->dependency);
    EXPECT_EQ(entry->record, entry->context);
  }
  EXPECT_EQ((&Operator2<Score, Score, boolean>::Thunk), operators[0]->thunk);
}

TEST(ComparableRegistrationTest, TheMultiplicityTypeIsBasedOnTheElementType) {
  Registry registry;
  Registry::Scope scope(registry);
  ComparableSurveyorRegistration<Score> const group(&GroupDependency);
  TypeEntry const* const type = registry.FindType("score with multiplicity");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(sizeof(WithMultiplicity<Score>), type->size);
  EXPECT_EQ("score", type->baseName);
  EXPECT_EQ(nullptr, type->fingerprint);
  EXPECT_EQ((&SurveyorTypeInfo<WithMultiplicity<Score>, kNotFingerprinted>::Destroy),
            type->destroy);
  // The element comes first, so the value stands where a score is asked for.
  WithMultiplicity<Score> const value{Score{4, 'x'}, 9};
  EXPECT_EQ(static_cast<void const*>(&value), static_cast<void const*>(&value.value));
}

TEST(ComparableRegistrationTest, PropertiesCarryTheirPhrasesTypesAndPhases) {
  Registry registry;
  Registry::Scope scope(registry);
  ComparableSurveyorRegistration<Score> const group(&GroupDependency);
  std::vector<PropertyEntry const*> const properties = registry.Properties();
  ASSERT_EQ(5u, properties.size());

  struct Expected {
    char const* singular;
    char const* plural;
    char const* object;
    char const* result;
    PropertyKind kind;
  };
  Expected const expected[] = {
      {"unique value", "unique values", "score", "score with multiplicity",
       PropertyKind::kAggregate},
      {"multiplicity", "multiplicities", "score with multiplicity", "integer",
       PropertyKind::kSimple},
      {"minimum", "minima", "score", "score", PropertyKind::kAggregate},
      {"maximum", "maxima", "score", "score", PropertyKind::kAggregate},
      {"extrema", "extremas", "score", "( score, score )", PropertyKind::kAggregate},
  };
  for (std::size_t k = 0; k < 5; ++k) {
    SCOPED_TRACE(expected[k].singular);
    PropertyEntry const& entry = *properties[k];
    EXPECT_EQ(expected[k].singular, entry.singular);
    EXPECT_EQ(expected[k].plural, entry.plural);
    EXPECT_EQ("", entry.index);
    EXPECT_EQ(expected[k].object, entry.object);
    EXPECT_EQ(expected[k].result, entry.result);
    EXPECT_EQ(expected[k].kind, entry.kind);
    EXPECT_EQ(&GroupDependency, entry.dependency);
    EXPECT_EQ(entry.record, entry.context);
  }

  using Unique = unique_value_aggregator<Score>;
  using Extremum = extremum_aggregator<Score, Score>;
  using Pair = extremum_aggregator<Score, SurveyorTuple2<Score, Score>>;
  PropertyEntry const& unique = *properties[0];
  EXPECT_EQ(sizeof(Unique), unique.stateSize);
  EXPECT_EQ(&SimpleAggregator<Unique>::Initialize, unique.phases[0]);
  EXPECT_EQ(&GenericNullGetter, unique.phases[1]);
  EXPECT_EQ((&SimpleAggregatorOfObject<Unique, Score>::Aggregate), unique.phases[2]);
  EXPECT_EQ(&GenericNullGetter, unique.phases[3]);
  EXPECT_EQ((&AggregatorBasics<Unique, WithMultiplicity<Score>>::FirstFinal), unique.phases[4]);
  EXPECT_EQ((&AggregatorBasics<Unique, WithMultiplicity<Score>>::NextFinal), unique.phases[5]);

  EXPECT_EQ((&PropertyOfObject<integer, WithMultiplicity<Score>>::Get), properties[1]->getter);

  for (PropertyEntry const* entry : {properties[2], properties[3]}) {
    EXPECT_EQ(sizeof(Extremum), entry->stateSize);
    EXPECT_EQ(&SimpleAggregator<Extremum>::Initialize, entry->phases[0]);
    EXPECT_EQ(&GenericNullGetter, entry->phases[1]);
    EXPECT_EQ((&SimpleAggregatorOfObject<Extremum, Score>::Aggregate), entry->phases[2]);
    EXPECT_EQ(&GenericNullGetter, entry->phases[3]);
    EXPECT_EQ((&AggregatorBasics<Extremum, Score>::FirstFinal), entry->phases[4]);
    EXPECT_EQ((&AggregatorBasics<Extremum, Score>::NextFinal), entry->phases[5]);
  }
  PropertyEntry const& extrema = *properties[4];
  EXPECT_EQ(sizeof(Pair), extrema.stateSize);
  EXPECT_EQ((&AggregatorBasics<Pair, SurveyorTuple2<Score, Score>>::FirstFinal), extrema.phases[4]);
  EXPECT_EQ((&AggregatorBasics<Pair, SurveyorTuple2<Score, Score>>::NextFinal), extrema.phases[5]);
}

TEST(ComparableRegistrationTest, DestructionUnregistersEverythingInReverse) {
  Registry registry;
  Registry::Scope scope(registry);
  { ComparableSurveyorRegistration<Score> const group(&GroupDependency); }
  EXPECT_EQ(RegisteredThenUndone(GroupLines("score"), 9), LinesOf(registry));
  EXPECT_TRUE(registry.Empty());
}

TEST(ComparableRegistrationTest, VersionNamesItsMultiplicityAndItsExtrema) {
  EXPECT_STREQ("version with multiplicity", WithMultiplicity<VersionLike>::TypeName());
  EXPECT_STREQ("( version, version )", (SurveyorTuple2<VersionLike, VersionLike>::TypeName()));
  Registry registry;
  Registry::Scope scope(registry);
  ComparableSurveyorRegistration<VersionLike> const group(&DependsOnlyOnParameters);
  EXPECT_NE(nullptr, registry.FindType("version with multiplicity"));
  EXPECT_EQ("( version, version )", registry.Properties().back()->result);
}

// ---------------------------------------------------------------------------
// Failures.

TEST(ComparableRegistrationTest, AFailedRegistrationUndoesTheEarlierOnesInReverse) {
  for (std::size_t failing = 1; failing <= 9; ++failing) {
    SCOPED_TRACE("registration " + std::to_string(failing) + " fails");
    Registry registry;
    Registry::Scope scope(registry);
    registry.FailRegistrationAfter(failing);
    EXPECT_THROW({ ComparableSurveyorRegistration<Score> group(&GroupDependency); },
                 RegistrationError);
    EXPECT_EQ(RegisteredThenUndone(GroupLines("score"), failing - 1), LinesOf(registry));
    EXPECT_TRUE(registry.Empty());
  }
}

TEST(ComparableRegistrationTest, AFailedNameBuildIsLeftToBeBuiltAgain) {
  Registry registry;
  Registry::Scope scope(registry);
  // One record, so that the name is refused while exactly one is registered.
  RegisteredType const filler("filler", 1, &SurveyorTypeInfo<char, kNotFingerprinted>::Destroy,
                              nullptr, nullptr);
  failWhenRegistered = 1;
  nameCalls = 0;
  EXPECT_THROW(WithMultiplicity<Brittle<0>>::TypeName(), NameRefused);
  EXPECT_EQ(1, nameCalls);
  // The guard was abandoned: the next caller builds the name, and the one
  // after that finds it built.
  EXPECT_STREQ("brittle with multiplicity", WithMultiplicity<Brittle<0>>::TypeName());
  EXPECT_EQ(2, nameCalls);
  EXPECT_STREQ("brittle with multiplicity", WithMultiplicity<Brittle<0>>::TypeName());
  EXPECT_EQ(2, nameCalls);

  failWhenRegistered = 1;
  nameCalls = 0;
  EXPECT_THROW((SurveyorTuple2<Brittle<0>, Brittle<0>>::TypeName()), NameRefused);
  EXPECT_STREQ("( brittle, brittle )", (SurveyorTuple2<Brittle<0>, Brittle<0>>::TypeName()));
  // One refused call, then two for the name that was built.
  EXPECT_EQ(3, nameCalls);
}

TEST(ComparableRegistrationTest, AFailureComposingTheMultiplicityNameUndoesTheRelations) {
  Registry registry;
  Registry::Scope scope(registry);
  failWhenRegistered = 3;
  EXPECT_THROW({ ComparableSurveyorRegistration<Brittle<1>> group(&GroupDependency); },
               NameRefused);
  EXPECT_EQ(RegisteredThenUndone(GroupLines("brittle"), 3), LinesOf(registry));
  EXPECT_TRUE(registry.Empty());

  // A later attempt builds the names anew and registers the whole group.
  ComparableSurveyorRegistration<Brittle<1>> const again(&GroupDependency);
  EXPECT_NE(nullptr, registry.FindType("brittle with multiplicity"));
  EXPECT_EQ(9u, registry.RecordCount());
}

TEST(ComparableRegistrationTest, AFailureComposingTheTupleNameUndoesAllEightBeforeIt) {
  Registry registry;
  Registry::Scope scope(registry);
  failWhenRegistered = 8;
  EXPECT_THROW({ ComparableSurveyorRegistration<Brittle<2>> group(&GroupDependency); },
               NameRefused);
  EXPECT_EQ(RegisteredThenUndone(GroupLines("brittle"), 8), LinesOf(registry));
  EXPECT_TRUE(registry.Empty());

  ComparableSurveyorRegistration<Brittle<2>> const again(&GroupDependency);
  EXPECT_EQ("( brittle, brittle )", registry.Properties().back()->result);
  EXPECT_EQ(9u, registry.RecordCount());
}

// ---------------------------------------------------------------------------
// The aggregators on their own.

TEST(ExtremumAggregatorTest, NothingSeenHasNoMinimumMaximumOrExtrema) {
  extremum_aggregator<Score, Score> aggregator;
  aggregator.Initialize();
  EXPECT_THROW(aggregator.Minimum(), NoSuchObject);
  EXPECT_THROW(aggregator.Maximum(), NoSuchObject);
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
  extremum_aggregator<Score, SurveyorTuple2<Score, Score>> pair;
  pair.Initialize();
  EXPECT_THROW(pair.Extrema(), NoSuchObject);
}

TEST(ExtremumAggregatorTest, OneElementIsBothMinimumAndMaximum) {
  extremum_aggregator<Score, Score> aggregator;
  aggregator.Initialize();
  aggregator.Aggregate(Of(0), Score{5, 'a'});
  EXPECT_EQ(5, aggregator.Minimum().key);
  EXPECT_EQ(5, aggregator.Maximum().key);
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
}

TEST(ExtremumAggregatorTest, EqualValuesKeepTheFirstSeen) {
  extremum_aggregator<Score, Score> aggregator;
  aggregator.Initialize();
  for (Score const score : {Score{5, 'a'}, Score{5, 'b'}, Score{3, 'c'}, Score{3, 'd'},
                            Score{7, 'e'}, Score{7, 'f'}, Score{4, 'g'}}) {
    aggregator.Aggregate(Of(0), score);
  }
  EXPECT_EQ(3, aggregator.Minimum().key);
  EXPECT_EQ('c', aggregator.Minimum().tag);
  EXPECT_EQ(7, aggregator.Maximum().key);
  EXPECT_EQ('e', aggregator.Maximum().tag);
}

TEST(ExtremumAggregatorTest, InitializeForgetsWhatWasSeen) {
  extremum_aggregator<Score, Score> aggregator;
  aggregator.Initialize();
  aggregator.Aggregate(Of(0), Score{1, 'a'});
  aggregator.Initialize();
  EXPECT_THROW(aggregator.Minimum(), NoSuchObject);
  aggregator.Aggregate(Of(0), Score{9, 'b'});
  EXPECT_EQ(9, aggregator.Minimum().key);
}

TEST(ExtremumAggregatorTest, ExtremaPointAtTheMinimumAndMaximumKeptInTheState) {
  extremum_aggregator<Score, SurveyorTuple2<Score, Score>> aggregator;
  aggregator.Initialize();
  aggregator.Aggregate(Of(0), Score{2, 'a'});
  aggregator.Aggregate(Of(0), Score{8, 'b'});
  aggregator.Aggregate(Of(0), Score{1, 'c'});
  SurveyorTuple2<Score, Score> const pair = aggregator.Extrema();
  auto const* minimum = static_cast<Score const*>(TupleItem(0, pair.Nodes()));
  auto const* maximum = static_cast<Score const*>(TupleItem(1, pair.Nodes()));
  EXPECT_EQ(1, minimum->key);
  EXPECT_EQ('c', minimum->tag);
  EXPECT_EQ(8, maximum->key);
  // Both lie inside the aggregator.
  auto const* begin = reinterpret_cast<unsigned char const*>(&aggregator);
  auto const* end = begin + sizeof aggregator;
  EXPECT_TRUE(reinterpret_cast<unsigned char const*>(minimum) >= begin &&
              reinterpret_cast<unsigned char const*>(minimum) < end);
  EXPECT_TRUE(reinterpret_cast<unsigned char const*>(maximum) >= begin &&
              reinterpret_cast<unsigned char const*>(maximum) < end);
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
}

TEST(UniqueValueAggregatorTest, NothingSeenHasNoValues) {
  unique_value_aggregator<Score> aggregator;
  aggregator.Initialize();
  EXPECT_THROW(aggregator.FirstFinal(), NoSuchObject);
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
}

TEST(UniqueValueAggregatorTest, AscendingWithCountsAndTheFirstSeenOfEqualValues) {
  unique_value_aggregator<Score> aggregator;
  aggregator.Initialize();
  for (Score const score :
       {Score{5, 'a'}, Score{2, 'b'}, Score{5, 'c'}, Score{9, 'd'}, Score{2, 'e'}, Score{5, 'f'}}) {
    aggregator.Aggregate(Of(0), score);
  }
  WithMultiplicity<Score> value = aggregator.FirstFinal();
  EXPECT_EQ(2, value.value.key);
  EXPECT_EQ('b', value.value.tag);
  EXPECT_EQ(2u, value.multiplicity);
  value = aggregator.NextFinal();
  EXPECT_EQ(5, value.value.key);
  EXPECT_EQ('a', value.value.tag);
  EXPECT_EQ(3u, value.multiplicity);
  value = aggregator.NextFinal();
  EXPECT_EQ(9, value.value.key);
  EXPECT_EQ(1u, value.multiplicity);
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
  // Past the end it stays at the end.
  EXPECT_THROW(aggregator.NextFinal(), NoSuchObject);
}

TEST(UniqueValueAggregatorTest, InitializeEmptiesTheMap) {
  unique_value_aggregator<Score> aggregator;
  aggregator.Initialize();
  aggregator.Aggregate(Of(0), Score{1, 'a'});
  aggregator.Initialize();
  EXPECT_THROW(aggregator.FirstFinal(), NoSuchObject);
}

TEST(UniqueValueAggregatorTest, MultiplicityIsTheCountAsAnInteger) {
  WithMultiplicity<Score> const value{Score{1, 'a'}, 3};
  EXPECT_EQ(3, UniqueValuesSurveyorRegistration<Score>::Multiplicity(Of(0), value).value);
}

// ---------------------------------------------------------------------------
// Through the host's calling protocol, as a query reaches them.

class ComparableCallsTest : public ::testing::Test {
 protected:
  ComparableCallsTest() {
    // The tuple type that extrema deliver, registered as a host registers
    // the tuples it meets.
    Register_Type(pairType, kTypeHostArea, "( score, score )", 2 * sizeof(TupleNode),
                  &SurveyorTypeInfo<char, kNotFingerprinted>::Destroy, nullptr, nullptr);
  }
  ~ComparableCallsTest() override { Unregister_Type(pairType); }

  Value MakeScore(int key, char tag) {
    ValueBuilder builder(host.GetRegistry().FindType("score"));
    ::new (builder.Slot()) Score{key, tag};
    return builder.Finish();
  }

  // Every answer of the aggregate `phrase` over scores of these keys and
  // tags, in order.
  std::vector<Value> Run(char const* phrase, std::vector<Score> const& scores) {
    Registry const& registry = host.GetRegistry();
    PropertyEntry const* const entry =
        registry.FindProperty(phrase, nullptr, registry.FindType("score"));
    EXPECT_NE(nullptr, entry);
    std::vector<Value> elements;
    for (Score const& score : scores) elements.push_back(MakeScore(score.key, score.tag));
    auto stream =
        OpenAggregate(Bind(registry, *entry), Value(), std::make_unique<List>(std::move(elements)));
    std::vector<Value> answers;
    Value answer;
    for (int guard = 0; guard < 100 && stream->Next(answer); ++guard) answers.push_back(answer);
    return answers;
  }

  class List final : public Stream {
   public:
    explicit List(std::vector<Value> values) : values_(std::move(values)) {}
    bool Next(Value& out) override {
      if (next_ == values_.size()) return false;
      out = values_[next_++];
      return true;
    }

   private:
    std::vector<Value> values_;
    std::size_t next_ = 0;
  };

  Host host;
  Registry::Scope registryScope{host.GetRegistry()};
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation();
  Evaluation::Scope evaluationScope{*evaluation};
  RegisteredType scoreType{"score", sizeof(Score),
                           &SurveyorTypeInfo<Score, kNotFingerprinted>::Destroy, nullptr, nullptr};
  ComparableSurveyorRegistration<Score> group{&DependsOnlyOnParameters};
  alignas(16) unsigned char pairType[kTypeHostArea] = {};
};

TEST_F(ComparableCallsTest, MinimumOfNoElementsHasNoValue) {
  EXPECT_TRUE(Run("minimum", {}).empty());
  EXPECT_TRUE(Run("maximum", {}).empty());
  EXPECT_TRUE(Run("extrema", {}).empty());
  EXPECT_TRUE(Run("unique values", {}).empty());
}

TEST_F(ComparableCallsTest, MinimumAndMaximumOfOneElementAreThatElement) {
  std::vector<Value> const minimum = Run("minimum", {Score{6, 'a'}});
  ASSERT_EQ(1u, minimum.size());
  EXPECT_EQ(6, minimum[0].As<Score>().key);
  EXPECT_EQ("score", minimum[0].Type()->name);
  std::vector<Value> const maximum = Run("maxima", {Score{6, 'a'}});
  ASSERT_EQ(1u, maximum.size());
  EXPECT_EQ(6, maximum[0].As<Score>().key);
}

TEST_F(ComparableCallsTest, EqualValuesKeepTheFirstSeenEverywhere) {
  std::vector<Score> const scores{Score{4, 'a'}, Score{2, 'b'}, Score{4, 'c'},
                                  Score{2, 'd'}, Score{6, 'e'}, Score{6, 'f'}};
  std::vector<Value> const minimum = Run("minimum", scores);
  ASSERT_EQ(1u, minimum.size());
  EXPECT_EQ('b', minimum[0].As<Score>().tag);
  std::vector<Value> const maximum = Run("maximum", scores);
  ASSERT_EQ(1u, maximum.size());
  EXPECT_EQ('e', maximum[0].As<Score>().tag);
  std::vector<Value> const unique = Run("unique values", scores);
  ASSERT_EQ(3u, unique.size());
  EXPECT_EQ('b', unique[0].As<Score>().tag);
  EXPECT_EQ('a', unique[1].As<Score>().tag);
  EXPECT_EQ('e', unique[2].As<Score>().tag);
}

TEST_F(ComparableCallsTest, UniqueValuesComeInAscendingOrderWithTheirMultiplicities) {
  std::vector<Value> const unique =
      Run("unique values", {Score{30, 'a'}, Score{10, 'b'}, Score{20, 'c'}, Score{10, 'd'},
                            Score{30, 'e'}, Score{10, 'f'}});
  ASSERT_EQ(3u, unique.size());
  Registry const& registry = host.GetRegistry();
  PropertyEntry const* const multiplicity =
      registry.FindProperty("multiplicity", nullptr, unique[0].Type());
  ASSERT_NE(nullptr, multiplicity);
  std::vector<int> keys;
  std::vector<long long> counts;
  for (Value const& value : unique) {
    EXPECT_EQ("score with multiplicity", value.Type()->name);
    EXPECT_TRUE(registry.IsA(value.Type(), "score"));
    keys.push_back(value.As<Score>().key);
    auto const count = survey::host::CallSimple(Bind(registry, *multiplicity), Value(), value);
    ASSERT_TRUE(count.has_value());
    counts.push_back(count->As<integer>().value);
  }
  EXPECT_EQ((std::vector<int>{10, 20, 30}), keys);
  // The value seen three times has multiplicity 3.
  EXPECT_EQ((std::vector<long long>{3, 1, 2}), counts);
}

TEST_F(ComparableCallsTest, ExtremaIsOnePairThatOutlivesTheStream) {
  Value pair;
  {
    std::vector<Value> const extrema =
        Run("extremas", {Score{5, 'a'}, Score{1, 'b'}, Score{9, 'c'}, Score{1, 'd'}});
    ASSERT_EQ(1u, extrema.size());
    pair = extrema[0];
  }
  EXPECT_EQ("( score, score )", pair.Type()->name);
  auto const* nodes = static_cast<TupleNode const*>(pair.Data());
  auto const* minimum = static_cast<Score const*>(TupleItem(0, nodes));
  auto const* maximum = static_cast<Score const*>(TupleItem(1, nodes));
  EXPECT_EQ(1, minimum->key);
  EXPECT_EQ('b', minimum->tag);
  EXPECT_EQ(9, maximum->key);
  EXPECT_EQ(nullptr, nodes[1].next);
}

TEST_F(ComparableCallsTest, RelationsCompareByTheTypesOwnOperators) {
  Registry const& registry = host.GetRegistry();
  TypeEntry const* const score = registry.FindType("score");
  auto relation = [&](int code, Score left, Score right) {
    OperatorEntry const* const entry = registry.FindOperator(code, score, score);
    EXPECT_NE(nullptr, entry);
    boolean result{2};
    entry->thunk(&result, &left, &right, entry->context);
    return static_cast<int>(result.value);
  };
  EXPECT_EQ(1, relation(kOperatorEqual, Score{3, 'a'}, Score{3, 'b'}));
  EXPECT_EQ(0, relation(kOperatorEqual, Score{3, 'a'}, Score{4, 'a'}));
  EXPECT_EQ(1, relation(kOperatorLessThan, Score{3, 'a'}, Score{4, 'a'}));
  EXPECT_EQ(0, relation(kOperatorLessThan, Score{4, 'a'}, Score{4, 'a'}));
  EXPECT_EQ(1, relation(kOperatorLessOrEqual, Score{4, 'a'}, Score{4, 'a'}));
  EXPECT_EQ(0, relation(kOperatorLessOrEqual, Score{5, 'a'}, Score{4, 'a'}));
}

}  // namespace
