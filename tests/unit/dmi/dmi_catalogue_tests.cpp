// The catalogue on the firmware tables of real machines: every field of
// every structure that the catalogue serves, asked through the command, is
// compared with what dmidecode prints for the same structure (its
// formatted bytes at the field's offset, its strings by number). The rules
// of the readers (which offsets a length byte allows, how string numbers
// count) are applied here to dmidecode's bytes; nothing expected comes from
// the library.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/shell.h"
#include "tests/unit/dmi/catalogue_table.h"
#include "tests/unit/dmi/dmi_command.h"
#include "tests/unit/dmi/dmi_images.h"
#include "tests/unit/dmi/dmidecode_output.h"
#include "tests/unit/system/machine_answers.h"

namespace survey::testing {
namespace {

// What a structure's stored bytes are known to be: the formatted area as
// dmidecode printed it and, when it printed all of it, the string block
// rebuilt from its strings. A structure whose formatted area dmidecode cut
// (a length it "fixed up") is known only as far as it printed.
struct KnownStructure {
  DecodedStructure const* decoded = nullptr;
  std::vector<unsigned char> bytes;  // the known prefix of the stored bytes
  bool whole = false;                // the bytes are all that was stored
  unsigned long size = 0;            // the stored size, when whole
};

KnownStructure Known(DecodedStructure const& decoded) {
  KnownStructure known;
  known.decoded = &decoded;
  known.bytes = decoded.formatted;
  if (decoded.formatted.size() == decoded.length) {
    if (decoded.strings.empty()) {
      known.bytes.push_back(0);
      known.bytes.push_back(0);
    } else {
      for (std::string const& text : decoded.strings) {
        known.bytes.insert(known.bytes.end(), text.begin(), text.end());
        known.bytes.push_back(0);
      }
      known.bytes.push_back(0);
    }
    known.whole = true;
    known.size = known.bytes.size();
  }
  return known;
}

// The expected answer of a query: a text, absence, or unknown (not asked).
struct Expected {
  enum Kind { kValue, kAbsent, kUnknown } kind;
  std::vector<std::string> texts;
};

Expected Value(std::string text) { return Expected{Expected::kValue, {std::move(text)}}; }
Expected Absent() { return Expected{Expected::kAbsent, {}}; }
Expected Unknown() { return Expected{Expected::kUnknown, {}}; }

unsigned Width(char letter) {
  switch (letter) {
    case 'B':
      return 1;
    case 'W':
      return 2;
    case 'D':
      return 4;
    case 'Q':
      return 8;
    default:
      return 1;
  }
}

// Whether the structure can be handed out at all: more than 3 and fewer
// than 4096 stored bytes.
std::optional<bool> Served(KnownStructure const& known) {
  if (!known.whole) return std::nullopt;
  return known.size > 3 && known.size < 4096;
}

Expected StringNumbered(KnownStructure const& known, unsigned number) {
  if (number == 0 || number > known.decoded->strings.size()) return Absent();
  return Value(known.decoded->strings[number - 1]);
}

Expected FieldOf(KnownStructure const& known, CatalogueField const& field) {
  unsigned long const length = known.decoded->length;
  if (field.width == 'S') {
    if (field.offset >= length) return Absent();
    if (field.offset >= known.bytes.size()) return Unknown();
    return StringNumbered(known, known.bytes[field.offset]);
  }
  unsigned const width = Width(field.width);
  if (field.offset >= length + width - 1) return Absent();
  if (field.offset + width > known.bytes.size()) {
    return known.whole ? Absent() : Unknown();
  }
  unsigned long long value = 0;
  for (unsigned i = width; i-- > 0;) value = (value << 8) | known.bytes[field.offset + i];
  return Value(std::to_string(static_cast<long long>(value)));
}

// The device entries of an on-board devices structure, as far as they go.
Expected DeviceEntries(KnownStructure const& known, bool descriptions) {
  int const count = (static_cast<int>(known.decoded->length) - 4) / 2;
  Expected expected{Expected::kValue, {}};
  for (std::uint64_t n = 1;; ++n) {
    if (n > static_cast<std::uint64_t>(static_cast<std::int64_t>(count))) break;
    std::uint64_t const offset =
        descriptions ? n + static_cast<std::uint64_t>(static_cast<std::int64_t>(count)) + 3 : n + 3;
    if (offset >= known.bytes.size()) {
      if (!known.whole) return Unknown();
      break;
    }
    if (!descriptions) {
      expected.texts.push_back(std::to_string(known.bytes[offset]));
      continue;
    }
    Expected const text = StringNumbered(known, known.bytes[offset]);
    if (text.kind != Expected::kValue) break;
    expected.texts.push_back(text.texts[0]);
  }
  return expected;
}

// The strings of all structures of a type, counted over each one's own
// count at offset 4, up to the first that is absent.
Expected TextList(std::vector<KnownStructure const*> const& structures) {
  Expected expected{Expected::kValue, {}};
  for (std::size_t instance = 0; instance < structures.size() && instance < 256; ++instance) {
    KnownStructure const& known = *structures[instance];
    if (!known.whole) return Unknown();
    if (known.decoded->length <= 4 || known.bytes.size() < 5) break;
    unsigned const count = known.bytes[4];
    for (unsigned k = 1; k <= count; ++k) {
      Expected const text = StringNumbered(known, k);
      if (text.kind != Expected::kValue) return expected;
      expected.texts.push_back(text.texts[0]);
    }
  }
  return expected;
}

// The raw type whose structures a catalogue type serves.
unsigned RawType(unsigned type) {
  if (type == 126) return 37;
  if (type == 127) return 38;
  return type;
}

struct Question {
  std::string query;
  Expected expected;
};

std::vector<std::string> Dumps() {
  std::vector<std::string> names;
  std::string const folder = FixturePath("dmi");
  if (DIR* const directory = opendir(folder.c_str())) {
    while (dirent* const entry = readdir(directory)) {
      std::string const name = entry->d_name;
      if (name.size() > 4 && name.substr(name.size() - 4) == ".bin") names.push_back(name);
    }
    closedir(directory);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Every question of the catalogue about one table.
std::vector<Question> Questions(DecodedTable const& table,
                                std::vector<KnownStructure> const& known) {
  std::map<unsigned, std::vector<KnownStructure const*>> byType;
  for (KnownStructure const& structure : known) {
    byType[structure.decoded->type].push_back(&structure);
  }
  std::vector<Question> questions;
  for (CatalogueStructure const& kind : Catalogue()) {
    std::vector<KnownStructure const*> const& all = byType[RawType(kind.type)];
    // Index i is instance i - 1 in an 8-bit counter; where it wrapped, the
    // later structure wins.
    std::size_t const indexes = std::min<std::size_t>(all.size(), 256);
    std::size_t leading = 0;  // how many indexes from 1 on are served
    bool counting = true;
    for (std::size_t index = 1; index <= indexes; ++index) {
      KnownStructure const* structure = nullptr;
      for (std::size_t k = index - 1; k < all.size(); k += 256) structure = all[k];
      std::optional<bool> const served = Served(*structure);
      std::string const of =
          " of " + std::string(kind.phrase) + " " + std::to_string(index) + " of dmi";
      if (!served.has_value()) {
        counting = false;
        continue;
      }
      if (!*served) {
        counting = false;
        questions.push_back({std::string("length") + of, Absent()});
        continue;
      }
      if (counting) ++leading;
      for (CatalogueField const& field : kind.fields) {
        Expected expected = FieldOf(*structure, field);
        if (expected.kind != Expected::kUnknown) {
          questions.push_back({std::string(field.phrase) + of, std::move(expected)});
        }
      }
      if (kind.type == 10) {
        for (bool descriptions : {false, true}) {
          Expected expected = DeviceEntries(*structure, descriptions);
          if (expected.kind == Expected::kUnknown) continue;
          std::string const phrase = descriptions ? "device_descriptions" : "device_types";
          questions.push_back({phrase + of, std::move(expected)});
        }
      }
    }
    if (table.broken || !counting) continue;
    std::string const plural = std::string(kind.phrase) + "s";
    questions.push_back({"number of " + plural + " of dmi", Value(std::to_string(leading))});
    if (all.size() < 256) {
      questions.push_back({"length of " + std::string(kind.phrase) + " " +
                               std::to_string(all.size() + 1) + " of dmi",
                           Absent()});
    }
  }
  if (!table.broken) {
    Expected oem = TextList(byType[11]);
    if (oem.kind == Expected::kValue) questions.push_back({"oem_strings of dmi", std::move(oem)});
    Expected options = TextList(byType[12]);
    if (options.kind == Expected::kValue) {
      questions.push_back({"system_configuration_options of dmi", std::move(options)});
    }
  }
  return questions;
}

// Asks every question about the table that dmidecode reads with
// `dmidecode` as its source, through the command with `ours`.
void CompareWithDmidecode(std::string const& dmidecode, std::string const& ours) {
  DecodedTable const table = Dmidecode(dmidecode);
  ASSERT_FALSE(table.structures.empty()) << dmidecode;
  std::vector<KnownStructure> known;
  for (DecodedStructure const& structure : table.structures) known.push_back(Known(structure));
  std::vector<Question> const questions = Questions(table, known);
  ASSERT_GT(questions.size(), 10u);

  std::vector<std::string> queries;
  for (Question const& question : questions) queries.push_back(question.query);
  std::vector<DmiAnswer> const answers = AskWith(ours, queries);
  ASSERT_EQ(questions.size(), answers.size());
  std::size_t values = 0;
  for (std::size_t i = 0; i < questions.size(); ++i) {
    Question const& question = questions[i];
    DmiAnswer const& answer = answers[i];
    if (question.expected.kind == Expected::kAbsent) {
      EXPECT_EQ("no value", answer.error) << question.query;
      EXPECT_TRUE(answer.values.empty()) << question.query;
    } else {
      EXPECT_EQ("", answer.error) << question.query;
      EXPECT_EQ(question.expected.texts, answer.values) << question.query;
      values += question.expected.texts.size();
    }
  }
  EXPECT_GT(values, 0u);
}

class DmiCatalogueOnRealTables : public ::testing::TestWithParam<std::string> {};

TEST_P(DmiCatalogueOnRealTables, EveryFieldOfADumpIsWhatDmidecodePrints) {
  std::string const dump = FixturePath("dmi/" + GetParam());
  CompareWithDmidecode("--from-dump '" + dump + "'", "--dmi-dump '" + dump + "'");
}

TEST_P(DmiCatalogueOnRealTables, EveryFieldOfAMemoryImageIsWhatDmidecodePrints) {
  std::string const dump = FixturePath("dmi/" + GetParam());
  Bytes const table = TableOfDump(dump);
  if (table.size() > 16384) GTEST_SKIP() << "a table over 16384 bytes is not taken from memory";
  ScratchFolder scratch("survey-dmi-image");
  std::string const image = scratch.Path() + "/mem";
  DecodedTable const counted = Dmidecode("--from-dump '" + dump + "'");
  WriteImage(image, table, static_cast<unsigned>(counted.structures.size()));
  CompareWithDmidecode("--no-sysfs -d '" + image + "'", "--dmi-memory '" + image + "'");
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DmiCatalogueOnRealTables, ::testing::ValuesIn(Dumps()),
                         [](::testing::TestParamInfo<std::string> const& info) {
                           std::string name;
                           for (char c : info.param.substr(0, info.param.size() - 4)) {
                             name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                           }
                           return name;
                         });

}  // namespace
}  // namespace survey::testing
