// The catalogue's registrations: the world object, then every structure
// kind with its iterated and numbered forms and its fields in table order,
// then the text lists; every phrase's plural is the singular with one "s".
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "survey/frame/adaptors.h"
#include "tests/unit/dmi/catalogue_table.h"
#include "tests/unit/system/machine_answers.h"

namespace survey::testing {
namespace {

using host::RecordKind;

TEST(DmiRegistration, RegistersEveryStructureAndFieldInTableOrder) {
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  auto const property = [&](std::string const& singular, char const* index,
                            std::string const& object, std::string const& result) {
    return RegisteredRow{
        RecordKind::kProperty, singular, singular + "s", index, object, result, parameters};
  };
  auto const type = [](std::string const& name) {
    return RegisteredRow{RecordKind::kType, name, "", "", "", "", nullptr};
  };
  std::vector<RegisteredRow> expected;
  CatalogueField const* slots = nullptr;
  for (CatalogueStructure const& structure : Catalogue()) {
    std::string const name = std::string("dmi ") + structure.phrase;
    expected.push_back(type(name));
    expected.push_back(property(structure.phrase, "", "dmi", name));
    expected.push_back(property(structure.phrase, "integer", "dmi", name));
    for (CatalogueField const& field : structure.fields) {
      if (std::string(field.phrase) == "number_of_associated_memory_slots") {
        slots = &field;
        continue;
      }
      expected.push_back(
          property(field.phrase, "", name, field.width == 'S' ? "string" : "integer"));
    }
    if (structure.type == 10) {
      expected.push_back(property("device_type", "", name, "integer"));
      expected.push_back(property("device_type", "integer", name, "integer"));
      expected.push_back(property("device_description", "", name, "string"));
      expected.push_back(property("device_description", "integer", name, "string"));
    }
  }
  ASSERT_NE(nullptr, slots);
  expected.push_back(type("dmi oem_strings"));
  expected.push_back(type("dmi system_configuration_option"));
  expected.push_back(property("oem_string", "", "dmi", "string"));
  expected.push_back(property("oem_string", "integer", "dmi", "string"));
  expected.push_back(property("system_configuration_option", "", "dmi", "string"));
  expected.push_back(property("system_configuration_option", "integer", "dmi", "string"));
  expected.push_back(property("number_of_associated_memory_slots", "",
                              "dmi memory_controller_information", "integer"));
  ExpectRows(expected, RegisteredFrom("dmi bios_information", expected.size()));
}

TEST(DmiRegistration, PluralsAddOneSWhateverTheEnding) {
  host::Registry const& registry = host::Registry::Default();
  std::vector<std::string> const plurals = {"bios_characteristicss",
                                            "security_statuss",
                                            "supported_speedss",
                                            "processor_familys",
                                            "associativitys",
                                            "system_slotss",
                                            "group_associationss",
                                            "memory_array_mapped_addresss",
                                            "out_of_band_remote_accesss",
                                            "system_enclosure_or_chassiss",
                                            "number_of_associated_memory_slotss",
                                            "b32_bit_memory_error_informations",
                                            "b64_bit_memory_error_informations"};
  for (std::string const& plural : plurals) {
    bool found = false;
    for (host::PropertyEntry const* entry : registry.Properties()) {
      if (entry->plural == plural) found = true;
    }
    EXPECT_TRUE(found) << plural;
  }
}

TEST(DmiRegistration, StructureValuesAreViewsOfTheirBytes) {
  host::Registry const& registry = host::Registry::Default();
  // A data pointer and a 32-bit size: 8 bytes in the 32-bit build.
  std::size_t const view = sizeof(void*) == 4 ? 8 : 16;
  for (CatalogueStructure const& structure : Catalogue()) {
    host::TypeEntry const* const entry = registry.FindType(std::string("dmi ") + structure.phrase);
    ASSERT_NE(nullptr, entry) << structure.phrase;
    EXPECT_EQ(view, entry->size) << structure.phrase;
  }
  for (char const* name : {"dmi oem_strings", "dmi system_configuration_option"}) {
    ASSERT_NE(nullptr, registry.FindType(name)) << name;
    EXPECT_EQ(view, registry.FindType(name)->size) << name;
  }
}

}  // namespace
}  // namespace survey::testing
