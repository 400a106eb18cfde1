// What the key, symlink and file-system units register, in the order of
// their tables: each unit's type, then its properties and casts with their
// phrases, indexes, objects, results, kinds and whether they depend on their
// operands alone.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "survey/files/filesystems.h"
#include "survey/files/keys.h"
#include "survey/files/symlinks.h"

namespace {

using survey::host::CastEntry;
using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;

// The first `count` registrations from the type named `name` on.
std::vector<RegistryEvent> EventsFrom(char const* name, std::size_t count) {
  std::vector<RegistryEvent> events;
  for (RegistryEvent const& event : Registry::Default().Journal()) {
    if (events.empty() && !(event.kind == RecordKind::kType && event.name == name)) continue;
    if (event.action != RegistryEvent::kRegistered) continue;
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

CastEntry const* CastOf(void* record) {
  for (CastEntry const* each : Registry::Default().Casts()) {
    if (each->record == record) return each;
  }
  return nullptr;
}

constexpr PropertyKind kSimple = PropertyKind::kSimple;
constexpr PropertyKind kIterated = PropertyKind::kIterated;

// A property row, or a cast row when `cast` is set (its phrase in
// `singular`, its source in `object` and its target in `result`).
struct Row {
  char const* singular;
  char const* plural;
  char const* index;
  char const* object;
  char const* result;
  PropertyKind kind;
  bool onlyParameters;
  bool cast = false;
};

Row Cast(char const* phrase, char const* source, char const* target) {
  return Row{phrase, "", "", source, target, kSimple, true, true};
}

void ExpectTable(char const* type, unsigned long size, std::vector<Row> const& rows) {
  std::vector<RegistryEvent> const events = EventsFrom(type, 1 + rows.size());
  ASSERT_EQ(1 + rows.size(), events.size());
  TypeEntry const* const entry = Registry::Default().FindType(type);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(events[0].record, entry->record);
  EXPECT_EQ("", entry->baseName);
  EXPECT_EQ(size, entry->size);
  EXPECT_EQ(nullptr, entry->fingerprint);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    Row const& row = rows[i];
    RegistryEvent const& event = events[1 + i];
    SCOPED_TRACE(std::to_string(i) + ": " + row.singular + " of " + row.object);
    EXPECT_EQ(RegistryEvent::kRegistered, event.action);
    SurveyorDependency const wanted = row.onlyParameters ? &DependsOnlyOnParameters : nullptr;
    if (row.cast) {
      ASSERT_EQ(RecordKind::kCast, event.kind);
      CastEntry const* const cast = CastOf(event.record);
      ASSERT_NE(nullptr, cast);
      EXPECT_EQ(row.singular, cast->phrase);
      EXPECT_EQ(row.object, cast->source);
      EXPECT_EQ(row.result, cast->target);
      EXPECT_EQ(wanted, cast->dependency);
      continue;
    }
    ASSERT_EQ(RecordKind::kProperty, event.kind);
    PropertyEntry const* const property = PropertyOf(event.record);
    ASSERT_NE(nullptr, property);
    EXPECT_EQ(row.singular, property->singular);
    EXPECT_EQ(row.plural, property->plural);
    EXPECT_EQ(row.index, property->index);
    EXPECT_EQ(row.object, property->object);
    EXPECT_EQ(row.result, property->result);
    EXPECT_EQ(row.kind, property->kind);
    EXPECT_EQ(wanted, property->dependency);
  }
}

TEST(ConfigurationLinksMountsRegistrationTest, KeysSectionsVariablesAndHashes) {
  ExpectTable("file section", sizeof(file_section),
              {
                  {"key", "keys", "string", "file", "string", kSimple, true},
                  {"section", "sections", "string", "file", "file section", kSimple, true},
                  {"key", "keys", "string", "file section", "string", kSimple, true},
                  {"variable", "variables", "", "file", "string", kIterated, false},
                  {"sha1", "sha1s", "", "file", "string", kSimple, false},
              });
}

TEST(ConfigurationLinksMountsRegistrationTest, SymlinksWithTheirAttributesThenCasts) {
  char const* const link = "symlink";
  ExpectTable(link, sizeof(symbolic_link),
              {
                  {"symlink", "symlinks", "string", "", link, kSimple, false},
                  {"symlink", "symlinks", "string", "folder", link, kSimple, false},
                  {"symlink", "symlinks", "filesystem object", "", link, kSimple, false},
                  {"symlink", "symlinks", link, "", link, kSimple, false},
                  {"file", "files", link, "", "file", kSimple, false},
                  {"folder", "folders", link, "", "folder", kSimple, false},
                  {"symlink", "symlinks", "", "folder", link, kIterated, false},
                  {"ancestor", "ancestors", "", link, "folder", kIterated, false},
                  {"name", "names", "", link, "string", kSimple, false},
                  {"pathname", "pathnames", "", link, "string", kSimple, false},
                  {"location", "locations", "", link, "string", kSimple, false},
                  {"value", "values", "", link, "string", kSimple, false},
                  {"value accessible", "values accessible", "", link, "boolean", kSimple, false},
                  {"parent folder", "parent folders", "", link, "folder", kSimple, false},
                  {"modification time", "modification times", "", link, "time", kSimple, false},
                  {"accessed time", "accessed times", "", link, "time", kSimple, false},
                  {"change time", "change times", "", link, "time", kSimple, false},
                  {"user name", "user names", "", link, "string", kSimple, false},
                  {"group name", "group names", "", link, "string", kSimple, false},
                  {"uid", "uids", "", link, "integer", kSimple, false},
                  {"gid", "gids", "", link, "integer", kSimple, false},
                  {"link count", "link counts", "", link, "integer", kSimple, true},
                  Cast("symlink", "filesystem object", link),
                  Cast("symlink", link, link),
                  Cast("file", link, "file"),
                  Cast("folder", link, "folder"),
                  Cast("string", link, "string"),
              });
}

TEST(ConfigurationLinksMountsRegistrationTest, FilesystemsUnderBothNamesThenTheirProperties) {
  char const* const fs = "filesystem";
  std::vector<Row> rows;
  Row const ways[] = {
      {"filesystem", "filesystems", "string", "", fs, kSimple, false},
      {"filesystem", "filesystems", "", "folder", fs, kSimple, false},
      {"filesystem", "filesystems", "", "file", fs, kSimple, false},
      {"filesystem", "filesystems", "", "symlink", fs, kSimple, false},
      {"filesystem", "filesystems", "", "", fs, kIterated, false},
  };
  for (Row const& way : ways) {
    rows.push_back(way);
    Row drive = way;
    drive.singular = "drive";
    drive.plural = "drives";
    rows.push_back(drive);
  }
  char const* const integer = "integer";
  std::vector<Row> const properties = {
      {"name", "names", "", fs, "string", kSimple, true},
      {"size", "sizes", "", fs, integer, kSimple, true},
      {"total space", "total spaces", "", fs, integer, kSimple, true},
      {"free space", "free spaces", "", fs, integer, kSimple, true},
      {"used space", "used spaces", "", fs, integer, kSimple, true},
      {"free percent", "free percents", "", fs, integer, kSimple, true},
      {"used percent", "used percents", "", fs, integer, kSimple, true},
      {"file count", "file counts", "", fs, integer, kSimple, true},
      {"free file count", "free file counts", "", fs, integer, kSimple, true},
      {"used file count", "used file counts", "", fs, integer, kSimple, true},
      {"type", "types", "", fs, "string", kSimple, true},
  };
  rows.insert(rows.end(), properties.begin(), properties.end());
  ExpectTable(fs, sizeof(filesystem), rows);
}

TEST(ConfigurationLinksMountsRegistrationTest, TheThreeUnitsRegisterInThisOrderAfterTheLines) {
  std::vector<std::string> order;
  for (RegistryEvent const& event : Registry::Default().Journal()) {
    if (event.kind != RecordKind::kType) continue;
    for (char const* name : {"file line", "file section", "symlink", "filesystem"}) {
      if (event.name == name) order.push_back(name);
    }
  }
  EXPECT_EQ((std::vector<std::string>{"file line", "file section", "symlink", "filesystem"}),
            order);
}

}  // namespace
