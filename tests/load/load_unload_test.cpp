// Loading the built library into a host and unloading it: everything it
// registered at load is unregistered at unload, once each, in reverse order,
// and the library really leaves the process.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "host/engine/host.h"
#include "tests/load/load_support.h"

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::Value;
using survey::load_test::IsMapped;
using survey::load_test::LibraryPath;

// The host registers its own eight types first.
constexpr std::size_t kHostTypes = 8;

struct Entry {
  RecordKind kind;
  std::string name;
  bool operator==(Entry const&) const = default;
};

std::vector<Entry> EntriesOf(std::vector<RegistryEvent> const& events) {
  std::vector<Entry> entries;
  for (RegistryEvent const& event : events) entries.push_back(Entry{event.kind, std::string(event.name)});
  return entries;
}

void ExpectOnlyHostTypes(Registry const& registry) {
  EXPECT_EQ(kHostTypes, registry.RecordCount());
  std::vector<std::string> names;
  for (auto const* type : registry.Types()) names.push_back(type->name);
  EXPECT_EQ((std::vector<std::string>{"string", "integer", "boolean", "time", "time interval", "substring",
                                      "hertz", "site version list"}),
            names);
  EXPECT_TRUE(registry.Properties().empty());
  EXPECT_TRUE(registry.Casts().empty());
  EXPECT_TRUE(registry.Operators().empty());
  EXPECT_TRUE(registry.Dependencies().empty());
}

// Asks the loaded library something, so that the unload follows real
// evaluations: every variable of the environment, as text.
void AskSomething(Host const& host) {
  auto const evaluation = host.NewEvaluation();
  survey::host::Evaluation::Scope scope(*evaluation);
  auto world = host.Property("environment", Value(), Value());
  Value environment;
  ASSERT_TRUE(world->Next(environment));
  auto variables = host.Property("variables", Value(), environment);
  Value variable;
  while (variables->Next(variable)) host.Text(variable);
}

TEST(LoadUnloadTest, HostAloneHasItsEightTypes) {
  Host host;
  ExpectOnlyHostTypes(host.GetRegistry());
  EXPECT_FALSE(host.Loaded());
}

TEST(LoadUnloadTest, UnloadUnregistersEveryRecordOnceInReverseOrder) {
  Host host;
  host.Load(LibraryPath());
  ASSERT_TRUE(host.Loaded());
  EXPECT_TRUE(IsMapped(LibraryPath()));
  Registry const& registry = host.GetRegistry();
  std::size_t const registered = registry.Journal().size() - kHostTypes;
  ASSERT_GT(registered, 0u);
  EXPECT_EQ(kHostTypes + registered, registry.RecordCount());
  AskSomething(host);

  host.Unload();
  EXPECT_FALSE(host.Loaded());
  std::vector<RegistryEvent> const& journal = registry.Journal();
  ASSERT_EQ(kHostTypes + 2 * registered, journal.size());
  for (std::size_t i = 0; i < registered; ++i) {
    RegistryEvent const& in = journal[kHostTypes + i];
    RegistryEvent const& out = journal[journal.size() - 1 - i];
    SCOPED_TRACE(in.name);
    EXPECT_EQ(RegistryEvent::kRegistered, in.action);
    EXPECT_EQ(RegistryEvent::kUnregistered, out.action);
    EXPECT_EQ(in.record, out.record);
    EXPECT_EQ(in.kind, out.kind);
    EXPECT_EQ(in.name, out.name);
  }
  // Once each.
  std::map<void*, int> unregistrations;
  for (RegistryEvent const& event : journal) {
    EXPECT_NE(RegistryEvent::kUnknownUnregistration, event.action);
    if (event.action == RegistryEvent::kUnregistered) ++unregistrations[event.record];
  }
  EXPECT_EQ(registered, unregistrations.size());
  for (auto const& [record, count] : unregistrations) EXPECT_EQ(1, count);
  ExpectOnlyHostTypes(registry);
}

TEST(LoadUnloadTest, UnloadedLibraryLeavesTheProcess) {
  {
    Host host;
    host.Load(LibraryPath());
    EXPECT_TRUE(IsMapped(LibraryPath()));
    AskSomething(host);
    host.Unload();
    EXPECT_FALSE(IsMapped(LibraryPath()));
  }
  EXPECT_FALSE(IsMapped(LibraryPath()));
}

TEST(LoadUnloadTest, LoadingAgainRegistersTheSameSequence) {
  Host host;
  host.Load(LibraryPath());
  std::vector<RegistryEvent> const first(host.GetRegistry().Journal().begin() + kHostTypes,
                                         host.GetRegistry().Journal().end());
  AskSomething(host);
  host.Unload();
  std::size_t const mark = host.GetRegistry().Journal().size();
  host.Load(LibraryPath());
  std::vector<RegistryEvent> const second(host.GetRegistry().Journal().begin() + mark,
                                          host.GetRegistry().Journal().end());
  EXPECT_EQ(EntriesOf(first), EntriesOf(second));
  AskSomething(host);
  host.Unload();
  ExpectOnlyHostTypes(host.GetRegistry());
}

TEST(LoadUnloadTest, AnotherHostCanLoadOnceTheFirstHasUnloaded) {
  std::vector<Entry> first;
  {
    Host host;
    host.Load(LibraryPath());
    first = EntriesOf(host.GetRegistry().Journal());
  }
  EXPECT_FALSE(IsMapped(LibraryPath()));
  Host again;
  again.Load(LibraryPath());
  EXPECT_EQ(first, EntriesOf(again.GetRegistry().Journal()));
}

TEST(LoadUnloadTest, HostDestructionUnloads) {
  std::size_t registered = 0;
  {
    Host host;
    host.Load(LibraryPath());
    registered = host.GetRegistry().RecordCount() - kHostTypes;
    EXPECT_GT(registered, 0u);
  }
  EXPECT_FALSE(IsMapped(LibraryPath()));
}

TEST(LoadUnloadTest, SecondLoadIntoTheSameHostIsRefused) {
  Host host;
  host.Load(LibraryPath());
  std::size_t const count = host.GetRegistry().RecordCount();
  try {
    host.Load(LibraryPath());
    ADD_FAILURE() << "a second load was accepted";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kLoad, error.Kind());
  }
  EXPECT_EQ(count, host.GetRegistry().RecordCount());
  EXPECT_TRUE(host.Loaded());
}

// While one host has the library, another in the same process is refused,
// and the first keeps working.
TEST(LoadUnloadTest, SecondHostIsRefusedWhileTheFirstHasTheLibrary) {
  Host first;
  first.Load(LibraryPath());
  Host second;
  try {
    second.Load(LibraryPath());
    ADD_FAILURE() << "a second host loaded the library";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kLoad, error.Kind());
  }
  ExpectOnlyHostTypes(second.GetRegistry());
  EXPECT_FALSE(second.Loaded());
  AskSomething(first);
  first.Unload();
  ExpectOnlyHostTypes(first.GetRegistry());
}

}  // namespace
