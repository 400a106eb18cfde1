// What the file and walk units register, in the order of their tables: the
// four types with their bases, sizes and fingerprints, then the properties
// with their phrases, indexes, objects, results and kinds. None has a
// dependency, so every evaluation looks at the disk anew.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "survey/files/descendants.h"

namespace {

using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;

// The first `count` registrations from the first one of `kind` named `name`.
std::vector<RegistryEvent> EventsFrom(RecordKind kind, char const* name, std::size_t count) {
  std::vector<RegistryEvent> events;
  for (RegistryEvent const& event : Registry::Default().Journal()) {
    if (events.empty() && !(event.kind == kind && event.name == name)) continue;
    if (events.size() == count) break;
    events.push_back(event);
  }
  return events;
}

PropertyEntry const* PropertyOf(void* record) {
  for (PropertyEntry const* each : Registry::Default().Properties()) {
    if (each->record == record) return each;
  }
  return nullptr;
}

struct Row {
  char const* singular;
  char const* plural;
  char const* index;
  char const* object;
  char const* result;
  PropertyKind kind;
};

void ExpectProperties(std::vector<RegistryEvent> const& events, std::size_t first,
                      std::vector<Row> const& rows) {
  ASSERT_EQ(first + rows.size(), events.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    Row const& row = rows[i];
    RegistryEvent const& event = events[first + i];
    SCOPED_TRACE(std::string(row.singular) + " of " + row.object);
    EXPECT_EQ(RegistryEvent::kRegistered, event.action);
    ASSERT_EQ(RecordKind::kProperty, event.kind);
    PropertyEntry const* const entry = PropertyOf(event.record);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(row.singular, entry->singular);
    EXPECT_EQ(row.plural, entry->plural);
    EXPECT_EQ(row.index, entry->index);
    EXPECT_EQ(row.object, entry->object);
    EXPECT_EQ(row.result, entry->result);
    EXPECT_EQ(row.kind, entry->kind);
    EXPECT_EQ(nullptr, entry->dependency);
  }
}

TEST(FilesRegistrationTest, TypesComeFirstWithTheirBasesAndOnlyFilesAreFingerprinted) {
  struct TypeRow {
    char const* name;
    char const* base;
    bool fingerprinted;
  };
  TypeRow const types[] = {{"filesystem object", "", false},
                           {"file", "filesystem object", true},
                           {"folder", "filesystem object", false},
                           {"application", "file", true}};
  std::vector<RegistryEvent> const events =
      EventsFrom(RecordKind::kType, "filesystem object", std::size(types));
  ASSERT_EQ(std::size(types), events.size());
  for (std::size_t i = 0; i < events.size(); ++i) {
    SCOPED_TRACE(types[i].name);
    EXPECT_EQ(RecordKind::kType, events[i].kind);
    EXPECT_EQ(types[i].name, events[i].name);
    TypeEntry const* const entry = Registry::Default().FindType(types[i].name);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(events[i].record, entry->record);
    EXPECT_EQ(types[i].base, entry->baseName);
    EXPECT_EQ(sizeof(filesystem_object), entry->size);
    EXPECT_EQ(types[i].fingerprinted, entry->fingerprint != nullptr);
  }
}

TEST(FilesRegistrationTest, PropertiesFollowTheTypesInTableOrder) {
  PropertyKind const simple = PropertyKind::kSimple;
  PropertyKind const iterated = PropertyKind::kIterated;
  char const* const object = "filesystem object";
  std::vector<Row> const rows = {
      {"name", "names", "", object, "string", simple},
      {"pathname", "pathnames", "", object, "string", simple},
      {"location", "locations", "", object, "string", simple},
      {"parent folder", "parent folders", "", object, "folder", simple},
      {"file", "files", "string", "", "file", simple},
      {"file", "files", "string", "folder", "file", simple},
      {"folder", "folders", "string", "", "folder", simple},
      {"folder", "folders", "string", "folder", "folder", simple},
      {"application", "applications", "string", "", "application", simple},
      {"application", "applications", "string", "folder", "application", simple},
      {"file", "files", "", "folder", "file", iterated},
      {"find file", "find files", "string", "folder", "file", iterated},
      {"folder", "folders", "", "folder", "folder", iterated},
  };
  ExpectProperties(EventsFrom(RecordKind::kType, "filesystem object", 4 + rows.size()), 4, rows);
}

TEST(FilesRegistrationTest, WalksRegisterAncestorsThenDescendants) {
  PropertyKind const iterated = PropertyKind::kIterated;
  std::vector<Row> const rows = {
      {"ancestor", "ancestors", "", "filesystem object", "folder", iterated},
      {"descendant", "descendants", "", "folder", "file", iterated},
      {"descendant folder", "descendant folders", "", "folder", "folder", iterated},
  };
  ExpectProperties(EventsFrom(RecordKind::kProperty, "ancestor", rows.size()), 0, rows);
  PropertyEntry const* const descendants = PropertyOf(
      EventsFrom(RecordKind::kProperty, "ancestor", rows.size()).at(1).record);
  ASSERT_NE(nullptr, descendants);
  EXPECT_EQ(sizeof(descendant_iterator), descendants->stateSize);
}

}  // namespace
