// Structures fetched from the snapshot, on memory images whose tables are
// built here structure by structure: which instances are served, which
// fields a length byte allows, strings by number, the text lists that run
// over several structures, and the disable setting. Each expected value is
// a byte or a text that the test itself put into the table.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/client/client_folder.h"
#include "host/client/context.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/dmi/dmi_catalogue.h"
#include "survey/dmi/dmi_structures.h"
#include "survey/dmi/dmi_table.h"
#include "tests/support/shell.h"
#include "tests/unit/dmi/dmi_command.h"
#include "tests/unit/dmi/dmi_images.h"

namespace survey::testing {
namespace {

// A table in an image of its own, asked through the command.
class DmiImage {
 public:
  explicit DmiImage(std::vector<Bytes> const& structures) : scratch_("survey-dmi-lookup") {
    WriteImage(Image(), Table(structures), static_cast<unsigned>(structures.size()));
  }
  std::string Image() const { return scratch_.Path() + "/mem"; }
  std::string Client() const { return scratch_.Path() + "/client"; }

  std::vector<DmiAnswer> Ask(std::vector<std::string> const& queries) const {
    return AskWith("--dmi-memory '" + Image() + "'", queries, Client());
  }
  DmiAnswer Ask(std::string const& query) const {
    std::vector<DmiAnswer> const answers = Ask(std::vector<std::string>{query});
    return answers.empty() ? DmiAnswer{{}, {}, "none", ""} : answers.front();
  }
  std::string Value(std::string const& query) const {
    DmiAnswer const answer = Ask(query);
    EXPECT_EQ("", answer.error) << query << ": " << answer.message;
    EXPECT_EQ(1u, answer.values.size()) << query;
    return answer.values.empty() ? std::string() : answer.values.front();
  }
  std::vector<std::string> Values(std::string const& query) const {
    DmiAnswer const answer = Ask(query);
    EXPECT_EQ("", answer.error) << query << ": " << answer.message;
    return answer.values;
  }
  bool Absent(std::string const& query) const {
    DmiAnswer const answer = Ask(query);
    return answer.error == "no value" && answer.values.empty();
  }
  // Runs `survey client ARGUMENTS` on the image's client folder.
  ShellResult ClientCommand(std::string const& arguments) const {
    return RunShell("'" SURVEY_COMMAND "' client --client '" + Client() + "' " + arguments +
                    " 2>&1");
  }

 private:
  ScratchFolder scratch_;
};

std::string Text(surveyor_string const& value) {
  return std::string(reinterpret_cast<char const*>(value.data), value.length);
}

std::string Number(std::uint64_t bits) { return std::to_string(static_cast<long long>(bits)); }

std::uint64_t LittleEndian(Bytes const& bytes, std::size_t offset, unsigned width) {
  std::uint64_t value = 0;
  for (unsigned i = width; i-- > 0;) value = (value << 8) | bytes[offset + i];
  return value;
}

TEST(DmiStructureLookup, AnIndexOfZeroIsAbsent) {
  DmiImage const image({Structure(0, 24, {1, 2}, {"Maker", "1.0"})});
  EXPECT_EQ("Maker", image.Value("vendor of bios_information 1 of dmi"));
  for (char const* phrase :
       {"bios_information", "system_information", "inactive", "end_of_table"}) {
    EXPECT_TRUE(image.Absent(std::string("length of ") + phrase + " 0 of dmi")) << phrase;
  }
  EXPECT_TRUE(image.Absent("oem_string 0 of dmi"));
  EXPECT_TRUE(image.Absent("length of bios_information 2 of dmi"));
  EXPECT_TRUE(image.Absent("length of bios_information 4294967296 of dmi"));
}

TEST(DmiStructureLookup, AStructureOfThreeStoredBytesOrFewerIsAbsent) {
  // Type 1 with a length byte of 0: the cut stores "01 00 00", 3 bytes.
  DmiImage const image({Bytes{1, 0, 0}, Structure(1, 8, {1, 0, 0, 0}, {"Second"})});
  EXPECT_EQ("False", image.Value("exists system_information 1 of dmi"));
  EXPECT_EQ("Second", image.Value("manufacturer of system_information 2 of dmi"));
  // The iteration ends at the first absent number.
  EXPECT_EQ("0", image.Value("number of system_informations of dmi"));
}

TEST(DmiStructureLookup, AStructureOf4096StoredBytesOrMoreIsAbsent) {
  // A formatted area of 24 bytes and one string: 24 + k + 2 stored bytes.
  DmiImage const image({Structure(0, 24, {1}, {std::string(4069, 'a')}),
                        Structure(0, 24, {1}, {std::string(4070, 'b')}),
                        Structure(0, 24, {1}, {"short"})});
  EXPECT_EQ(std::string(4069, 'a'), image.Value("vendor of bios_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("vendor of bios_information 2 of dmi"));
  EXPECT_EQ("False", image.Value("exists bios_information 2 of dmi"));
  EXPECT_EQ("1", image.Value("number of bios_informations of dmi"));
  // The walk to the third loads the second on its way, and that load's
  // refusal ends the first request; the second request walks past it.
  std::vector<DmiAnswer> const answers = image.Ask(std::vector<std::string>{
      "vendor of bios_information 3 of dmi", "vendor of bios_information 3 of dmi",
      "vendor of bios_information 2 of dmi"});
  ASSERT_EQ(3u, answers.size());
  EXPECT_EQ("no value", answers[0].error);
  EXPECT_EQ((std::vector<std::string>{"short"}), answers[1].values);
  EXPECT_EQ("no value", answers[2].error);
}

TEST(DmiStructureLookup, TheLengthOfAStructureWithALengthByteOfOneIsAbsent) {
  // Stored as "02 01 41 00 00": 5 bytes, so the structure exists.
  DmiImage const image({Bytes{2, 1, 'A', 0, 0}, Structure(2, 2, {}, {})});
  EXPECT_EQ("True", image.Value("exists base_board_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("length of base_board_information 1 of dmi"));
  EXPECT_EQ("2", image.Value("length of base_board_information 2 of dmi"));
}

TEST(DmiStructureLookup, AWordAtTheLengthTakesItsSecondByteFromTheStringBlock) {
  // The slot's formatted area ends at 9, so the slot ID at 9 is read from
  // the first two bytes of the string block.
  Bytes const slots = Structure(9, 9, {1, 0xA5, 4, 3, 2}, {"AB"});
  DmiImage const image({slots});
  EXPECT_EQ(Number(LittleEndian(slots, 9, 2)), image.Value("slot_id of system_slots 1 of dmi"));
  EXPECT_EQ(std::to_string('A' | ('B' << 8)), image.Value("slot_id of system_slots 1 of dmi"));
  EXPECT_EQ("AB", image.Value("slot_designation of system_slots 1 of dmi"));
  EXPECT_EQ("165", image.Value("slot_type of system_slots 1 of dmi"));
  EXPECT_TRUE(image.Absent("slot_characteristics_1 of system_slots 1 of dmi"));
}

TEST(DmiStructureLookup, ASlotIdIsOneWordAtOffsetNine) {
  Bytes const slots = Structure(9, 13, {1, 0xA5, 4, 3, 2, 0x34, 0x12, 0x0C, 0x03}, {"J1"});
  DmiImage const image({slots});
  EXPECT_EQ("4660", image.Value("slot_id of system_slots 1 of dmi"));
  EXPECT_EQ("12", image.Value("slot_characteristics_1 of system_slots 1 of dmi"));
  EXPECT_EQ("3", image.Value("slot_characteristics_2 of system_slots 1 of dmi"));
}

TEST(DmiStructureLookup, StringNumbersOfZeroOrPastTheLastStringAreAbsent) {
  DmiImage const image({Structure(1, 8, {1, 0, 3, 2}, {"Maker", "Serial"})});
  EXPECT_EQ("Maker", image.Value("manufacturer of system_information 1 of dmi"));
  EXPECT_EQ("Serial", image.Value("serial_number of system_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("product_name of system_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("version of system_information 1 of dmi"));
  EXPECT_EQ("False", image.Value("exists version of system_information 1 of dmi"));
}

TEST(DmiStructureLookup, RawTypes37And38AreServedAsInactiveAndEndOfTable) {
  DmiImage const image({Structure(37, 4, {}), Structure(38, 5, {}), Structure(126, 6, {}),
                        Structure(127, 7, {}), Structure(0, 24, {1}, {"After"})});
  EXPECT_EQ("4", image.Value("length of inactive 1 of dmi"));
  EXPECT_EQ("5", image.Value("length of end_of_table 1 of dmi"));
  EXPECT_EQ("1", image.Value("number of inactives of dmi"));
  EXPECT_EQ("1", image.Value("number of end_of_tables of dmi"));
  EXPECT_TRUE(image.Absent("length of inactive 2 of dmi"));
  EXPECT_TRUE(image.Absent("length of end_of_table 2 of dmi"));
  // A structure of type 127 does not end the table.
  EXPECT_EQ("After", image.Value("vendor of bios_information 1 of dmi"));
}

TEST(DmiStructureLookup, OemStringsRunOverEveryOemStructure) {
  DmiImage const image({Structure(11, 5, {3}, {"a1", "a2", "a3"}),
                        Structure(12, 5, {2}, {"o1", "o2"}), Structure(11, 5, {2}, {"b1", "b2"})});
  EXPECT_EQ("a3", image.Value("oem_string 3 of dmi"));
  EXPECT_EQ("b1", image.Value("oem_string 4 of dmi"));
  EXPECT_EQ("b2", image.Value("oem_string 5 of dmi"));
  EXPECT_TRUE(image.Absent("oem_string 6 of dmi"));
  EXPECT_EQ((std::vector<std::string>{"a1", "a2", "a3", "b1", "b2"}),
            image.Values("oem_strings of dmi"));
  EXPECT_EQ((std::vector<std::string>{"o1", "o2"}),
            image.Values("system_configuration_options of dmi"));
  EXPECT_TRUE(image.Absent("system_configuration_option 3 of dmi"));
}

TEST(DmiStructureLookup, AStringInsideTheCountButMissingFromTheBlockIsAbsent) {
  DmiImage const image({Structure(11, 5, {3}, {"only"}), Structure(11, 5, {1}, {"next"})});
  EXPECT_EQ("only", image.Value("oem_string 1 of dmi"));
  EXPECT_TRUE(image.Absent("oem_string 2 of dmi"));
  EXPECT_EQ("next", image.Value("oem_string 4 of dmi"));
  EXPECT_EQ((std::vector<std::string>{"only"}), image.Values("oem_strings of dmi"));
}

TEST(DmiStructureLookup, OnBoardDevicesGiveTheirTypesAndDescriptions) {
  DmiImage const image({Structure(10, 8, {0x83, 0x05, 2, 1}, {"Video", "Sound"})});
  EXPECT_EQ((std::vector<std::string>{"131", "5"}),
            image.Values("device_types of on_board_devices_information 1 of dmi"));
  EXPECT_EQ((std::vector<std::string>{"Sound", "Video"}),
            image.Values("device_descriptions of on_board_devices_information 1 of dmi"));
  EXPECT_EQ("5", image.Value("device_type 2 of on_board_devices_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("device_type 3 of on_board_devices_information 1 of dmi"));
  EXPECT_TRUE(image.Absent("device_description 0 of on_board_devices_information 1 of dmi"));
}

TEST(DmiStructureLookup, BiosInformationIteratesEveryStructureOfTypeZero) {
  DmiImage const image(
      {Structure(0, 24, {1}, {"First"}), Structure(1, 8, {}), Structure(0, 24, {1}, {"Second"})});
  EXPECT_EQ("2", image.Value("number of bios_informations of dmi"));
  EXPECT_EQ((std::vector<std::string>{"First", "Second"}),
            image.Values("vendors of bios_informations of dmi"));
}

TEST(DmiStructureLookup, QuadWordsKeepAllSixtyFourBitsInTheTablesByteOrder) {
  Bytes const bios = Structure(
      0, 24, {1, 2, 0, 0xE0, 3, 0x0F, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}, {"V", "1"});
  Bytes const processor = Structure(
      4, 0x2A, {1, 3, 0xB3, 2, 0xA9, 0x06, 0x03, 0x00, 0xFF, 0xFB, 0xEB, 0xBF}, {"CPU0", "Maker"});
  DmiImage const image({bios, processor});
  std::uint64_t const characteristics = LittleEndian(bios, 10, 8);
  EXPECT_NE(0u, characteristics >> 63);
  EXPECT_EQ(Number(characteristics),
            image.Value("bios_characteristics of bios_information 1 of dmi"));
  EXPECT_EQ(Number(LittleEndian(processor, 8, 8)),
            image.Value("processor_id of processor_information 1 of dmi"));
  EXPECT_EQ(Number(0xBFEBFBFF000306A9ull),
            image.Value("processor_id of processor_information 1 of dmi"));
}

TEST(DmiStructureLookup, WakeUpTypeNeedsALengthAbove24) {
  DmiImage const image({Structure(1, 24, {1}, {"Short"}), Structure(1, 25, {1}, {"Long"})});
  EXPECT_TRUE(image.Absent("wake_up_type of system_information 1 of dmi"));
  EXPECT_EQ("0", image.Value("wake_up_type of system_information 2 of dmi"));
}

TEST(DmiStructureLookup, TheCurrentLanguageIsReadThroughTheNumberAtOffset21) {
  Bytes fields(18, 0);
  fields[0] = 2;   // installable languages
  fields[17] = 2;  // offset 21: the current language's string number
  DmiImage const image({Structure(13, 22, fields, {"en|US|iso8859-1", "fr|FR|iso8859-1"})});
  EXPECT_EQ("fr|FR|iso8859-1",
            image.Value("current_language of bios_language_information 1 of dmi"));
  EXPECT_EQ("2", image.Value("installable_languages of bios_language_information 1 of dmi"));
}

TEST(DmiStructureLookup, MoreThan256StructuresOfATypeWrapAndTheLaterOneWins) {
  std::vector<Bytes> structures;
  for (unsigned k = 0; k < 257; ++k) {
    structures.push_back(Structure(24, 5, {static_cast<unsigned char>(k < 256 ? k : 0xAA)}));
  }
  DmiImage const image(structures);
  EXPECT_EQ("170", image.Value("hardware_security_settings of hardware_security 1 of dmi"));
  EXPECT_EQ("1", image.Value("hardware_security_settings of hardware_security 2 of dmi"));
  EXPECT_EQ("255", image.Value("hardware_security_settings of hardware_security 256 of dmi"));
  EXPECT_TRUE(image.Absent("hardware_security_settings of hardware_security 257 of dmi"));
  EXPECT_EQ("256", image.Value("number of hardware_securitys of dmi"));
}

TEST(DmiStructureLookup, TheDisableSettingStopsEveryStructureAtOnce) {
  DmiImage const image({Structure(0, 24, {1}, {"Vendor"})});
  EXPECT_EQ("Vendor", image.Value("vendor of bios_information 1 of dmi"));
  char const* const name = "_QRVClient_Surveyor_DisableDMI";
  ASSERT_EQ(0, image.ClientCommand(std::string("setting set ") + name + " 1").status);
  for (char const* query : {"vendor of bios_information 1 of dmi", "oem_strings of dmi",
                            "number of bios_informations of dmi"}) {
    DmiAnswer const answer = image.Ask(query);
    EXPECT_EQ("message", answer.error) << query;
    EXPECT_EQ("dmi surveyor is disabled", answer.message) << query;
  }
  for (char const* value : {"'1 '", "true", "0"}) {
    ASSERT_EQ(0, image.ClientCommand(std::string("setting set ") + name + " " + value).status);
    EXPECT_EQ("Vendor", image.Value("vendor of bios_information 1 of dmi")) << value;
  }
}

// One process holds one snapshot, so the requests of this test are made
// in this test's process, in one test: the setting is changed by the
// command between calls, and the snapshot file is removed under a loaded
// structure.
TEST(DmiStructureLookup, InOneProcessTheSettingIsTestedOnEveryCallAndLoadedStructuresStay) {
  ScratchFolder scratch("survey-dmi-process");
  std::string const image = scratch.Path() + "/mem";
  std::string const root = scratch.Path() + "/client";
  WriteImage(image, Table({Structure(0, 24, {1}, {"Kept"}), Structure(1, 8, {1}, {"Never read"})}),
             2);
  auto const set = [&](std::string const& value) {
    ShellResult const run =
        RunShell("'" SURVEY_COMMAND "' client --client '" + root +
                 "' setting set _QRVClient_Surveyor_DisableDMI " + value + " 2>&1");
    EXPECT_EQ(0, run.status) << run.output;
  };
  set("0");
  client::ClientFolder folder(root);
  client::ClientContext context(&folder);
  host::Evaluation evaluation(host::Registry::Default(), &context);
  host::Evaluation::Scope scope(evaluation);
  dmiDevicePath = image.c_str();
  dmiFirmwareFolder = "";
  dmiDumpFile = "";

  auto const vendor = [] {
    return Text(func_vendor_of(dmi_bios_information_of(1, Dmi_of_world())));
  };
  EXPECT_EQ("Kept", vendor());
  set("1");
  EXPECT_THROW(vendor(), dmiSurveyorDefinedError);
  EXPECT_THROW(Dmi_of_world(), dmiSurveyorDefinedError);
  try {
    Dmi_of_world();
  } catch (dmiSurveyorDefinedError const& error) {
    EXPECT_EQ("dmi surveyor is disabled", Text(error.Message()));
  }
  for (char const* value : {"'1 '", "true", "''"}) {
    set(value);
    EXPECT_EQ("Kept", vendor()) << value;
  }
  set("1");
  EXPECT_THROW(vendor(), dmiSurveyorDefinedError);
  set("0");
  EXPECT_EQ("Kept", vendor());

  // A loaded structure is not read again: it stays when the file is gone,
  // while one not loaded yet can no longer be read.
  std::string const snapshot = root + "/__QRVData/info.dmi";
  ASSERT_EQ(0, std::remove(snapshot.c_str())) << snapshot;
  EXPECT_EQ("Kept", vendor());
  EXPECT_THROW(dmi_system_information_of(1, Dmi_of_world()), NoSuchObject);
}

}  // namespace
}  // namespace survey::testing
