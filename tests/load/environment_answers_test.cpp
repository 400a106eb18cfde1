// The environment surveyors through the loaded library: what they register,
// and their answers compared with this process's own environment as the C
// library shows it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/host.h"
#include "survey/system/environment.h"
#include "tests/load/load_support.h"

extern char** environ;

namespace {

using survey::host::ErrorKind;
using survey::host::Evaluation;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::RegistryEvent;
using survey::host::Stream;
using survey::host::Value;
using survey::load_test::LibraryPath;
using survey::load_test::Text;

using survey::load_test::kHostTypes;

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The variables the stream should yield, worked out from `environ` by the
// rules: entries in order, up to the first with no "=", an empty name or an
// empty value.
Pairs ExpectedVariables() {
  Pairs pairs;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    std::string const text = *entry;
    std::size_t const equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) break;
    pairs.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  return pairs;
}

template <class Body>
EvaluationError ErrorOf(Body body) {
  try {
    body();
  } catch (EvaluationError const& error) {
    return error;
  }
  ADD_FAILURE() << "no EvaluationError was thrown";
  return EvaluationError(ErrorKind::kSyntax, "none");
}

class EnvironmentAnswersTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // Variables of our own, among them one with spaces and one with bytes
    // above 127, so the comparison covers more than plain words.
    setenv("SURVEY_TEST_SPACES", "a value  with spaces ", 1);
    setenv("SURVEY_TEST_HIGH_BYTES", "caf\xc3\xa9 \xff\x80 end", 1);
    setenv("SURVEY_TEST_EQUALS", "x=y=z", 1);
  }

  void SetUp() override {
    host.Load(LibraryPath());
    evaluation = host.NewEvaluation();
    scope = std::make_unique<Evaluation::Scope>(*evaluation);
  }
  void TearDown() override {
    scope.reset();
    evaluation.reset();
  }

  Value World() {
    auto stream = host.Property("environment", Value(), Value());
    Value world;
    EXPECT_TRUE(stream->Next(world));
    Value more;
    EXPECT_FALSE(stream->Next(more));
    return world;
  }

  // One value of a phrase, or an empty value if there is none.
  Value One(std::string const& phrase, Value const& index, Value const& object) {
    auto stream = host.Property(phrase, index, object);
    Value value;
    if (!stream->Next(value)) return Value();
    Value more;
    EXPECT_FALSE(stream->Next(more)) << phrase << " has more than one value";
    return value;
  }

  Host host;
  std::unique_ptr<Evaluation> evaluation;
  std::unique_ptr<Evaluation::Scope> scope;
};

// The records the environment unit registered: its registrations run in one
// piece, from its type "environment" to its cast "string", whatever other
// units of the library register before or after it.
std::vector<RegistryEvent> EnvironmentUnitEvents(survey::host::Registry const& registry) {
  std::vector<RegistryEvent> unit;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() && !(event.kind == RecordKind::kType && event.name == "environment")) continue;
    unit.push_back(event);
    if (event.kind == RecordKind::kCast) break;
  }
  return unit;
}

TEST_F(EnvironmentAnswersTest, RegistersInTableOrder) {
  std::vector<std::pair<RecordKind, std::string>> registered;
  for (RegistryEvent const& event : EnvironmentUnitEvents(host.GetRegistry())) {
    EXPECT_EQ(RegistryEvent::kRegistered, event.action);
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
}

TEST_F(EnvironmentAnswersTest, RegisteredEntriesDescribeTheVocabulary) {
  auto const& registry = host.GetRegistry();
  auto const* const environmentType = registry.FindType("environment");
  auto const* const variableType = registry.FindType("environment variable");
  ASSERT_NE(nullptr, environmentType);
  ASSERT_NE(nullptr, variableType);
  EXPECT_EQ(1u, environmentType->size);
  EXPECT_EQ(2 * sizeof(surveyor_string), variableType->size);
#if defined(__i386__)
  EXPECT_EQ(16u, variableType->size);
#endif

  std::vector<RegistryEvent> const unit = EnvironmentUnitEvents(registry);
  std::vector<survey::host::PropertyEntry const*> properties;
  for (auto const* entry : registry.Properties()) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) properties.push_back(entry);
    }
  }
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
  }
  EXPECT_EQ(sizeof(environment_var_iterator), properties[1]->stateSize);
  EXPECT_NE(nullptr, properties[1]->construct);
  EXPECT_NE(nullptr, properties[1]->destroyState);

  std::vector<survey::host::CastEntry const*> casts;
  for (auto const* entry : registry.Casts()) {
    for (RegistryEvent const& event : unit) {
      if (event.record == entry->record) casts.push_back(entry);
    }
  }
  ASSERT_EQ(1u, casts.size());
  EXPECT_EQ("string", casts[0]->phrase);
  EXPECT_EQ("environment variable", casts[0]->source);
  EXPECT_EQ("string", casts[0]->target);
  EXPECT_EQ(nullptr, casts[0]->dependency);
}

TEST_F(EnvironmentAnswersTest, StreamYieldsTheWellFormedEntriesOfTheEnvironmentInOrder) {
  Pairs const expected = ExpectedVariables();
  ASSERT_FALSE(expected.empty());
  Value const world = World();
  auto stream = host.Property("variables", Value(), world);
  Pairs answered;
  Value variable;
  while (answered.size() <= expected.size() && stream->Next(variable)) {
    Value const name = One("name", Value(), variable);
    Value const value = One("value", Value(), variable);
    ASSERT_FALSE(name.Empty());
    ASSERT_FALSE(value.Empty());
    answered.emplace_back(Text(name.As<surveyor_string>()), Text(value.As<surveyor_string>()));
  }
  EXPECT_EQ(expected, answered);
}

TEST_F(EnvironmentAnswersTest, VariableByNameIsGetenvs) {
  Value const world = World();
  std::vector<std::string> names = {"SURVEY_TEST_SPACES", "SURVEY_TEST_HIGH_BYTES",
                                    "SURVEY_TEST_EQUALS"};
  for (auto const& [name, value] : ExpectedVariables()) names.push_back(name);
  for (std::string const& name : names) {
    SCOPED_TRACE(name);
    char const* const expected = getenv(name.c_str());
    ASSERT_NE(nullptr, expected);
    Value const variable = One("variable", host.MakeString(name), world);
    ASSERT_FALSE(variable.Empty());
    EXPECT_EQ(name, Text(One("name", Value(), variable).As<surveyor_string>()));
    EXPECT_EQ(std::string(expected), Text(One("value", Value(), variable).As<surveyor_string>()));
  }
}

TEST_F(EnvironmentAnswersTest, TextFormIsNameEqualsValue) {
  Value const world = World();
  for (char const* name : {"SURVEY_TEST_SPACES", "SURVEY_TEST_HIGH_BYTES", "SURVEY_TEST_EQUALS"}) {
    SCOPED_TRACE(name);
    Value const variable = One("variables", host.MakeString(name), world);
    ASSERT_FALSE(variable.Empty());
    EXPECT_EQ(std::string(name) + " = " + getenv(name), host.Text(variable));
    Value const text = host.Cast("string", variable);
    EXPECT_EQ(std::string(name).size() + 3 + std::strlen(getenv(name)),
              text.As<surveyor_string>().length);
  }
}

TEST_F(EnvironmentAnswersTest, MissingVariableHasNoValue) {
  unsetenv("SURVEY_TEST_NEVER_SET");
  EXPECT_TRUE(One("variable", host.MakeString("SURVEY_TEST_NEVER_SET"), World()).Empty());
  EXPECT_TRUE(One("variable", host.MakeString(""), World()).Empty() == (getenv("") == nullptr));
}

TEST_F(EnvironmentAnswersTest, VariableWithAnIntegerIndexIsNoSuchProperty) {
  Value const world = World();
  EvaluationError const error =
      ErrorOf([&] { host.Property("variable", host.MakeInteger(1), world); });
  EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
  EXPECT_NE(std::string::npos, std::string(error.what()).find("variable")) << error.what();
}

TEST_F(EnvironmentAnswersTest, PropertyOfTheWrongObjectIsNoSuchProperty) {
  Value const world = World();
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { host.Property("variables", Value(), Value()); }).Kind());
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { host.Property("name", Value(), world); }).Kind());
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { host.Property("value", Value(), host.MakeString("x")); }).Kind());
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { host.Property("environment", Value(), world); }).Kind());
  EXPECT_EQ(ErrorKind::kNoSuchProperty, ErrorOf([&] { host.Cast("string", world); }).Kind());
}

TEST_F(EnvironmentAnswersTest, UnknownPhraseIsUnknownPhrase) {
  EXPECT_EQ(ErrorKind::kUnknownPhrase,
            ErrorOf([&] { host.Property("variabel", Value(), World()); }).Kind());
  EXPECT_EQ(ErrorKind::kUnknownPhrase,
            ErrorOf([&] { host.Property("", Value(), Value()); }).Kind());
}

}  // namespace
