// The environment surveyors: the variables as a stream and by name, their
// names, values and text form, and what they register.

#include "survey/system/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/registration.h"

extern char** environ;

namespace {

using survey::host::Evaluation;
using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

unsigned char const* Bytes(std::string const& text) {
  return reinterpret_cast<unsigned char const*>(text.data());
}

// Puts a test array in place of the process's environment for the life of
// the object.
class ReplacedEnvironment {
 public:
  explicit ReplacedEnvironment(std::vector<std::string> entries)
      : saved_(environ), entries_(std::move(entries)) {
    for (std::string& entry : entries_) pointers_.push_back(entry.data());
    pointers_.push_back(nullptr);
    environ = pointers_.data();
  }
  ~ReplacedEnvironment() { environ = saved_; }
  ReplacedEnvironment(ReplacedEnvironment const&) = delete;
  ReplacedEnvironment& operator=(ReplacedEnvironment const&) = delete;

 private:
  char** saved_;
  std::vector<std::string> entries_;
  std::vector<char*> pointers_;
};

// Sets a variable for the life of the object.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, std::string const& value) : name_(std::move(name)) {
    EXPECT_EQ(0, setenv(name_.c_str(), value.c_str(), 1));
  }
  ~ScopedVariable() { unsetenv(name_.c_str()); }
  ScopedVariable(ScopedVariable const&) = delete;
  ScopedVariable& operator=(ScopedVariable const&) = delete;

 private:
  std::string name_;
};

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Every variable the iterator yields, First then Next until "none".
Pairs Drain(environment_var_iterator& iterator) {
  environment const world = Environment_of_world();
  Pairs pairs;
  try {
    environment_variable variable = iterator.First(world);
    for (int guard = 0; guard < 100000; ++guard) {
      pairs.emplace_back(Text(variable.name), Text(variable.value));
      variable = iterator.Next(world);
    }
    ADD_FAILURE() << "the stream did not end";
  } catch (NoSuchObject const&) {
  }
  return pairs;
}

Pairs DrainFresh() {
  environment_var_iterator iterator;
  return Drain(iterator);
}

// The variable's name views the bytes given, so they must outlive it.
environment_variable Lookup(std::string const& name) {
  return variable_of(Bytes(name), name.size(), Environment_of_world());
}
environment_variable Lookup(std::string&& name) = delete;

// ---------------------------------------------------------------------------
// The values.

TEST(EnvironmentTest, ValueTypesHaveTheirBoundaryLayout) {
  EXPECT_EQ(1u, sizeof(environment));
  EXPECT_EQ(2 * sizeof(surveyor_string), sizeof(environment_variable));
#if defined(__i386__)
  EXPECT_EQ(16u, sizeof(environment_variable));
#endif
}

TEST(EnvironmentTest, StreamYieldsEachEntryInOrder) {
  ReplacedEnvironment replaced({"P=1", "LONGER_NAME=some value", "Q=2"});
  EXPECT_EQ((Pairs{{"P", "1"}, {"LONGER_NAME", "some value"}, {"Q", "2"}}), DrainFresh());
}

TEST(EnvironmentTest, EmptyEnvironmentYieldsNothing) {
  ReplacedEnvironment replaced({});
  environment_var_iterator iterator;
  EXPECT_THROW(iterator.First(Environment_of_world()), NoSuchObject);
}

TEST(EnvironmentTest, NextAfterTheEndThrowsNoSuchObjectAgain) {
  ReplacedEnvironment replaced({"P=1"});
  environment const world = Environment_of_world();
  environment_var_iterator iterator;
  EXPECT_EQ("P", Text(iterator.First(world).name));
  EXPECT_THROW(iterator.Next(world), NoSuchObject);
  EXPECT_THROW(iterator.Next(world), NoSuchObject);
  EXPECT_THROW(iterator.Next(world), NoSuchObject);
}

TEST(EnvironmentTest, FirstStartsANewPass) {
  ReplacedEnvironment replaced({"P=1", "Q=2"});
  environment const world = Environment_of_world();
  environment_var_iterator iterator;
  EXPECT_EQ("P", Text(iterator.First(world).name));
  EXPECT_EQ("Q", Text(iterator.Next(world).name));
  EXPECT_THROW(iterator.Next(world), NoSuchObject);
  EXPECT_EQ("P", Text(iterator.First(world).name));
  EXPECT_EQ("Q", Text(iterator.Next(world).name));
}

// A variable with an empty value ends the stream, yet is found by name.
TEST(EnvironmentTest, EntryWithEmptyValueEndsTheStreamButIsFoundByName) {
  ReplacedEnvironment replaced({"P=1", "A=", "Q=2"});
  EXPECT_EQ((Pairs{{"P", "1"}}), DrainFresh());
  std::string const name = "A";
  environment_variable const a = Lookup(name);
  EXPECT_EQ("A", Text(a.name));
  EXPECT_EQ(0u, a.value.length);
  std::string const q = "Q";
  EXPECT_EQ("2", Text(Lookup(q).value));
}

TEST(EnvironmentTest, EntryWithEmptyNameEndsTheStream) {
  ReplacedEnvironment replaced({"P=1", "=B", "Q=2"});
  EXPECT_EQ((Pairs{{"P", "1"}}), DrainFresh());
}

TEST(EnvironmentTest, EntryWithoutEqualsSignEndsTheStream) {
  ReplacedEnvironment replaced({"P=1", "C", "Q=2"});
  EXPECT_EQ((Pairs{{"P", "1"}}), DrainFresh());
}

TEST(EnvironmentTest, MalformedFirstEntryMakesTheStreamEmpty) {
  ReplacedEnvironment replaced({"C", "P=1"});
  EXPECT_TRUE(DrainFresh().empty());
}

// The iterator moves past an entry before it looks at it: a malformed entry
// ends the stream for a host that stops at the first "none", and a further
// Next passes over it to the entries behind.
TEST(EnvironmentTest, NextAfterAMalformedEntryPassesOverIt) {
  for (char const* bad : {"A=", "=B", "C"}) {
    SCOPED_TRACE(bad);
    ReplacedEnvironment replaced({"P=1", bad, "Q=2", "R=3"});
    environment const world = Environment_of_world();
    environment_var_iterator iterator;
    EXPECT_EQ("P", Text(iterator.First(world).name));
    EXPECT_THROW(iterator.Next(world), NoSuchObject);
    EXPECT_EQ("Q", Text(iterator.Next(world).name));
    EXPECT_EQ("R", Text(iterator.Next(world).name));
    EXPECT_THROW(iterator.Next(world), NoSuchObject);
    EXPECT_THROW(iterator.Next(world), NoSuchObject);
  }
}

TEST(EnvironmentTest, ValueRunsFromTheFirstEqualsSign) {
  ReplacedEnvironment replaced({"D=E=F", "G==", "H=I"});
  EXPECT_EQ((Pairs{{"D", "E=F"}, {"G", "="}, {"H", "I"}}), DrainFresh());
}

// The views point into the environment's own entries.
TEST(EnvironmentTest, VariablesViewTheEntriesThemselves) {
  ReplacedEnvironment replaced({"D=E=F"});
  char const* const entry = environ[0];
  environment_var_iterator iterator;
  environment_variable const variable = iterator.First(Environment_of_world());
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(entry), variable.name.data);
  EXPECT_EQ(1u, variable.name.length);
  EXPECT_EQ(reinterpret_cast<unsigned char const*>(entry + 2), variable.value.data);
  EXPECT_EQ(3u, variable.value.length);
  EXPECT_EQ(variable.name.data, name_of(variable).data);
  EXPECT_EQ(variable.name.length, name_of(variable).length);
  EXPECT_EQ(variable.value.data, value_of(variable).data);
  EXPECT_EQ(variable.value.length, value_of(variable).length);
}

// A state that only Construct touched may be destroyed.
TEST(EnvironmentTest, StateThatNeverGotThroughFirstCanBeDestroyed) {
  alignas(environment_var_iterator) unsigned char state[sizeof(environment_var_iterator)];
  IteratorBasics<environment_var_iterator>::Construct(state);
  IteratorBasics<environment_var_iterator>::Destroy(state);
  // And one that went through a whole pass, too.
  ReplacedEnvironment replaced({"P=1"});
  IteratorBasics<environment_var_iterator>::Construct(state);
  auto* const iterator = std::launder(reinterpret_cast<environment_var_iterator*>(state));
  EXPECT_EQ("P", Text(iterator->First(Environment_of_world()).name));
  EXPECT_THROW(iterator->Next(Environment_of_world()), NoSuchObject);
  IteratorBasics<environment_var_iterator>::Destroy(state);
}

// ---------------------------------------------------------------------------
// By name.

TEST(EnvironmentTest, VariableByNameHasTheValueOfGetenv) {
  ScopedVariable variable("SURVEY_TEST_BY_NAME", "by name");
  std::string const name = "SURVEY_TEST_BY_NAME";
  environment_variable const found = Lookup(name);
  EXPECT_EQ("SURVEY_TEST_BY_NAME", Text(found.name));
  EXPECT_EQ(std::string(getenv("SURVEY_TEST_BY_NAME")), Text(found.value));
}

TEST(EnvironmentTest, MissingVariableIsNoSuchObject) {
  unsetenv("SURVEY_TEST_NEVER_SET");
  std::string const name = "SURVEY_TEST_NEVER_SET";
  EXPECT_THROW(Lookup(name), NoSuchObject);
}

TEST(EnvironmentTest, NameOf2047BytesIsLookedUp) {
  std::string const name = "SURVEY_" + std::string(2047 - 7, 'L');
  ASSERT_EQ(2047u, name.size());
  ScopedVariable variable(name, "long");
  environment_variable const found = Lookup(name);
  EXPECT_EQ("long", Text(found.value));
  EXPECT_EQ(2047u, found.name.length);
}

// A name of 2048 bytes is refused before the environment is consulted: even
// one that exists is not found.
TEST(EnvironmentTest, NameOf2048BytesIsNoSuchObject) {
  std::string const name = "SURVEY_" + std::string(2048 - 7, 'L');
  ASSERT_EQ(2048u, name.size());
  ScopedVariable variable(name, "too long");
  ASSERT_NE(nullptr, getenv(name.c_str()));
  EXPECT_THROW(Lookup(name), NoSuchObject);
}

// A length far past the bytes given is refused without reading them.
TEST(EnvironmentTest, OverlongLengthIsRefusedWithoutReadingTheName) {
  static unsigned char const kShort[4] = {'P', 'A', 'T', 'H'};
  EXPECT_THROW(variable_of(kShort, 1UL << 20, Environment_of_world()), NoSuchObject);
  EXPECT_THROW(variable_of(kShort, static_cast<unsigned long>(-1), Environment_of_world()),
               NoSuchObject);
}

TEST(EnvironmentTest, NameWithEmbeddedNulIsLookedUpAsFarAsTheNul) {
  ScopedVariable variable("SURVEY_TEST_NUL", "before the nul");
  std::string const name("SURVEY_TEST_NUL\0TAIL", 20);
  environment_variable const found = Lookup(name);
  EXPECT_EQ("before the nul", Text(found.value));
  EXPECT_EQ(std::string(getenv("SURVEY_TEST_NUL")), Text(found.value));
  // The name keeps the whole length given, the bytes past the NUL included.
  EXPECT_EQ(20u, found.name.length);
  EXPECT_EQ(Bytes(name), found.name.data);
  EXPECT_EQ(name, Text(found.name));
}

TEST(EnvironmentTest, EmptyNameWithNullPointerIsNoSuchObject) {
  EXPECT_THROW(variable_of(nullptr, 0, Environment_of_world()), NoSuchObject);
  EXPECT_THROW(variable_of(nullptr, 5, Environment_of_world()), NoSuchObject);
}

// With a real pointer, the empty name gets whatever getenv says of it.
TEST(EnvironmentTest, EmptyNameWithPointerAnswersAsGetenv) {
  static unsigned char const kEmpty[1] = {0};
  for (std::vector<std::string> entries :
       {std::vector<std::string>{"P=1"}, std::vector<std::string>{"=X", "P=1"}}) {
    ReplacedEnvironment replaced(entries);
    char const* const expected = getenv("");
    if (expected == nullptr) {
      EXPECT_THROW(variable_of(kEmpty, 0, Environment_of_world()), NoSuchObject);
    } else {
      environment_variable const found = variable_of(kEmpty, 0, Environment_of_world());
      EXPECT_EQ(std::string(expected), Text(found.value));
      EXPECT_EQ(0u, found.name.length);
    }
  }
}

// ---------------------------------------------------------------------------
// The text form.

TEST(EnvironmentTest, TextFormIsNameSpaceEqualsSpaceValue) {
  static unsigned char const kName[] = {'X'};
  static unsigned char const kValue[] = {'1'};
  environment_variable const variable{{kName, 1}, {kValue, 1}};
  surveyor_string const text = AsString(variable);
  ASSERT_EQ(5u, text.length);
  EXPECT_EQ(0, std::memcmp(text.data, "X = 1", 5));
}

TEST(EnvironmentTest, TextFormOfAnEmptyValue) {
  static unsigned char const kName[] = {'A'};
  environment_variable const variable{{kName, 1}, {nullptr, 0}};
  surveyor_string const text = AsString(variable);
  EXPECT_EQ("A = ", Text(text));
}

TEST(EnvironmentTest, TextFormComesFromTheEvaluationsMemory) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  std::string const name = "NAME";
  std::string const value(300, 'v');
  environment_variable const variable{{Bytes(name), 4}, {Bytes(value), 300}};
  std::size_t const before = evaluation.GetArena().BytesInUse();
  surveyor_string const text = AsString(variable);
  EXPECT_GE(evaluation.GetArena().BytesInUse(), before + text.length);
  EXPECT_EQ(307u, text.length);
  EXPECT_EQ("NAME = " + value, Text(text));
}

// ---------------------------------------------------------------------------
// What the unit registers: into the default registry, at program start.


// The records the environment unit registered: its registrations run in one
// piece, from its type "environment" to its cast "string", whatever other
// units register before or after it.
std::vector<RegistryEvent> EnvironmentUnitEvents(Registry const& registry) {
  std::vector<RegistryEvent> unit;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() && !(event.kind == RecordKind::kType && event.name == "environment")) continue;
    unit.push_back(event);
    if (event.kind == RecordKind::kCast) break;
  }
  return unit;
}

template <class Entry>
std::vector<Entry const*> OfUnit(std::vector<Entry const*> const& entries,
                                 std::vector<RegistryEvent> const& unit) {
  std::vector<Entry const*> kept;
  for (Entry const* entry : entries) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) kept.push_back(entry);
    }
  }
  return kept;
}

TEST(EnvironmentRegistrationTest, RegistersInTableOrderWithNoDependency) {
  Registry const& registry = Registry::Default();
  std::vector<RegistryEvent> const unit = EnvironmentUnitEvents(registry);
  std::vector<std::pair<RecordKind, std::string>> registered;
  for (RegistryEvent const& event : unit) {
    ASSERT_EQ(RegistryEvent::kRegistered, event.action);
    registered.emplace_back(event.kind, event.name);
  }
  EXPECT_EQ(
      (std::vector<std::pair<RecordKind, std::string>>{{RecordKind::kType, "environment"},
                                                       {RecordKind::kType, "environment variable"},
                                                       {RecordKind::kProperty, "environment"},
                                                       {RecordKind::kProperty, "variable"},
                                                       {RecordKind::kProperty, "variable"},
                                                       {RecordKind::kProperty, "name"},
                                                       {RecordKind::kProperty, "value"},
                                                       {RecordKind::kCast, "string"}}),
      registered);

  std::vector<TypeEntry const*> const types = OfUnit(registry.Types(), unit);
  ASSERT_EQ(2u, types.size());
  EXPECT_EQ("environment", types[0]->name);
  EXPECT_EQ(1u, types[0]->size);
  EXPECT_EQ("environment variable", types[1]->name);
  EXPECT_EQ(2 * sizeof(surveyor_string), types[1]->size);
  for (TypeEntry const* type : types) {
    EXPECT_TRUE(type->baseName.empty());
    EXPECT_EQ(nullptr, type->fingerprint);
    EXPECT_NE(nullptr, type->destroy);
  }

  std::vector<PropertyEntry const*> const properties = OfUnit(registry.Properties(), unit);
  ASSERT_EQ(5u, properties.size());
  struct Expected {
    char const* singular;
    char const* plural;
    char const* index;
    char const* object;
    char const* result;
    PropertyKind kind;
  };
  Expected const expected[] = {
      {"environment", "environments", "", "", "environment", PropertyKind::kSimple},
      {"variable", "variables", "", "environment", "environment variable", PropertyKind::kIterated},
      {"variable", "variables", "string", "environment", "environment variable",
       PropertyKind::kSimple},
      {"name", "names", "", "environment variable", "string", PropertyKind::kSimple},
      {"value", "values", "", "environment variable", "string", PropertyKind::kSimple},
  };
  for (std::size_t i = 0; i < properties.size(); ++i) {
    SCOPED_TRACE(expected[i].singular);
    EXPECT_EQ(expected[i].singular, properties[i]->singular);
    EXPECT_EQ(expected[i].plural, properties[i]->plural);
    EXPECT_EQ(expected[i].index, properties[i]->index);
    EXPECT_EQ(expected[i].object, properties[i]->object);
    EXPECT_EQ(expected[i].result, properties[i]->result);
    EXPECT_EQ(expected[i].kind, properties[i]->kind);
    EXPECT_EQ(nullptr, properties[i]->dependency);
    EXPECT_EQ(properties[i]->record, properties[i]->context);
  }
  EXPECT_EQ(sizeof(environment_var_iterator), properties[1]->stateSize);
  EXPECT_EQ(&IteratorBasics<environment_var_iterator>::Construct, properties[1]->construct);
  EXPECT_EQ(&IteratorBasics<environment_var_iterator>::Destroy, properties[1]->destroyState);

  std::vector<survey::host::CastEntry const*> const casts = OfUnit(registry.Casts(), unit);
  ASSERT_EQ(1u, casts.size());
  EXPECT_EQ("string", casts[0]->phrase);
  EXPECT_EQ("environment variable", casts[0]->source);
  EXPECT_EQ("string", casts[0]->target);
  EXPECT_EQ(nullptr, casts[0]->dependency);
}

// The registered records reach the surveyors: the world property, the
// stream, the lookup by name, the name, the value and the cast.
TEST(EnvironmentRegistrationTest, RegisteredRecordsReachTheSurveyors) {
  Registry const& registry = Registry::Default();
  ReplacedEnvironment replaced({"K=v", "L=w"});
  std::vector<RegistryEvent> const unit = EnvironmentUnitEvents(registry);
  std::vector<PropertyEntry const*> const properties = OfUnit(registry.Properties(), unit);
  ASSERT_EQ(5u, properties.size());

  alignas(environment) unsigned char world[sizeof(environment)];
  ASSERT_EQ(1, properties[0]->getter(world, nullptr, nullptr, nullptr, properties[0]->context));

  PropertyEntry const& stream = *properties[1];
  alignas(environment_var_iterator) unsigned char state[sizeof(environment_var_iterator)];
  stream.construct(state);
  alignas(environment_variable) unsigned char first[sizeof(environment_variable)];
  ASSERT_EQ(1, stream.first(first, nullptr, world, state, stream.context));
  alignas(environment_variable) unsigned char second[sizeof(environment_variable)];
  ASSERT_EQ(1, stream.next(second, nullptr, world, state, stream.context));
  alignas(environment_variable) unsigned char third[sizeof(environment_variable)];
  EXPECT_THROW(stream.next(third, nullptr, world, state, stream.context), NoSuchObject);
  stream.destroyState(state);
  auto const& k = *reinterpret_cast<environment_variable const*>(first);
  auto const& l = *reinterpret_cast<environment_variable const*>(second);
  EXPECT_EQ("K", Text(k.name));
  EXPECT_EQ("w", Text(l.value));

  std::string const name = "L";
  surveyor_string const index{Bytes(name), 1};
  alignas(environment_variable) unsigned char byName[sizeof(environment_variable)];
  ASSERT_EQ(1, properties[2]->getter(byName, &index, world, nullptr, properties[2]->context));
  auto const& found = *reinterpret_cast<environment_variable const*>(byName);
  EXPECT_EQ("w", Text(found.value));

  surveyor_string nameText{};
  ASSERT_EQ(1, properties[3]->getter(&nameText, nullptr, &found, nullptr, properties[3]->context));
  EXPECT_EQ("L", Text(nameText));
  surveyor_string valueText{};
  ASSERT_EQ(1, properties[4]->getter(&valueText, nullptr, &found, nullptr, properties[4]->context));
  EXPECT_EQ("w", Text(valueText));

  survey::host::CastEntry const* const cast = OfUnit(registry.Casts(), unit).at(0);
  surveyor_string text{};
  cast->thunk(&text, &found, cast->context);
  EXPECT_EQ("L = w", Text(text));
}

}  // namespace
