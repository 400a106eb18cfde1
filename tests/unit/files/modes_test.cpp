// Modes and mode masks: their properties, their text forms (checked by hand
// and against stat on files given every permission word), their
// fingerprints, and how the registered casts and properties reach them; the
// fingerprint of a folder; and what the unit registers, in order.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/files/attributes.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Output;
using survey::host::CastEntry;
using survey::host::Evaluation;
using survey::host::PropertyEntry;
using survey::host::Registry;
using survey::host::TypeEntry;

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

class ModeTest : public ::testing::Test {
 protected:
  Evaluation evaluation{Registry::Default(), nullptr};
  Evaluation::Scope evaluationScope{evaluation};

  static std::string Letters(unsigned bits) { return Text(AsString(mode{bits})); }
  static std::string Octal(unsigned bits) { return Text(AsOctalString(mode{bits})); }
};

// ---------------------------------------------------------------------------
// Text forms, by hand.

TEST_F(ModeTest, TheFileTypeDoesNotDisturbTheCasts) {
  // A directory with mode 1777, as /tmp has.
  EXPECT_EQ("rwxrwxrwt", Letters(040000 | 01777));
  EXPECT_EQ("1777", Octal(040000 | 01777));
  // Every file type with the same permissions gives the same texts.
  for (unsigned type : {0010000u, 0020000u, 0040000u, 0060000u, 0100000u, 0120000u, 0140000u}) {
    SCOPED_TRACE(type);
    EXPECT_EQ("rwxr-xr-x", Letters(type | 0755));
    EXPECT_EQ("0755", Octal(type | 0755));
  }
}

TEST_F(ModeTest, SetuidWithoutUserExecuteIsUpperCaseS) {
  // The octal form shows the user's execute bit that the letter hides: the
  // same file with it set is lower case.
  EXPECT_EQ("rwsr--r--", Letters(0100000 | 04744));
  EXPECT_EQ("4744", Octal(0100000 | 04744));
  EXPECT_EQ("rwSr--r--", Letters(0100000 | 04644));
  EXPECT_EQ("4644", Octal(0100000 | 04644));
}

TEST_F(ModeTest, SetgidAndStickyTakeTheExecutePlaceOfTheirTriple) {
  EXPECT_EQ("rwxr-s---", Letters(0100000 | 02750));
  EXPECT_EQ("rwxr-S---", Letters(0100000 | 02740));
  EXPECT_EQ("rwxrwxr-t", Letters(040000 | 01775));
  EXPECT_EQ("rwxrwxr-T", Letters(040000 | 01774));
  EXPECT_EQ("--S--S--T", Letters(07000));
  EXPECT_EQ("rwsrwsrwt", Letters(07777));
  EXPECT_EQ("7000", Octal(07000));
  EXPECT_EQ("7777", Octal(0100000 | 07777));
}

TEST_F(ModeTest, PlainModesAndTheEmptyMode) {
  EXPECT_EQ("rw-r--r--", Letters(0100644));
  EXPECT_EQ("0644", Octal(0100644));
  EXPECT_EQ("---------", Letters(0100000));
  EXPECT_EQ("0000", Octal(0100000));
  EXPECT_EQ("0000", Octal(0));
  EXPECT_EQ("--x--x--x", Letters(0111));
  EXPECT_EQ("-w--w--w-", Letters(0222));
  EXPECT_EQ("r--r--r--", Letters(0444));
  EXPECT_EQ("0421", Octal(0421));
  EXPECT_EQ("r---w---x", Letters(0421));
}

TEST_F(ModeTest, TextsHaveAFixedLength) {
  for (unsigned bits = 0; bits <= 0177777; bits += 0101) {
    EXPECT_EQ(9u, AsString(mode{bits}).length);
    EXPECT_EQ(4u, AsOctalString(mode{bits}).length);
  }
}

// ---------------------------------------------------------------------------
// Text forms against stat: 4096 files, each given one of the permission
// words, and folders given many of them. stat prints the mode word in hexadecimal (%f), the
// listing letters with the type letter in front (%A) and the octal
// permissions without leading zeros (%a).

struct StatLine {
  unsigned raw;
  std::string letters;
  std::string octal;
};

std::vector<StatLine> StatAll(std::string const& folder) {
  std::string const output = Output("cd '" + folder + "' && LC_ALL=C stat -c '%f %A %a' *");
  std::vector<StatLine> lines;
  std::size_t at = 0;
  while (at < output.size()) {
    std::size_t end = output.find('\n', at);
    if (end == std::string::npos) end = output.size();
    std::string const line = output.substr(at, end - at);
    at = end + 1;
    char letters[16] = {};
    char octal[16] = {};
    unsigned raw = 0;
    if (std::sscanf(line.c_str(), "%x %15s %15s", &raw, letters, octal) != 3) {
      ADD_FAILURE() << "unexpected stat line: " << line;
      continue;
    }
    lines.push_back(StatLine{raw, letters, octal});
  }
  return lines;
}

std::string FourDigits(std::string const& octal) {
  return std::string(octal.size() < 4 ? 4 - octal.size() : 0, '0') + octal;
}

class ModeAgainstStatTest : public ModeTest {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/survey-modes-test-XXXXXX";
    char const* const made = mkdtemp(pattern);
    ASSERT_NE(nullptr, made) << std::strerror(errno);
    folder_ = made;
  }
  void TearDown() override {
    std::string const command = "chmod -R u+rwx '" + folder_ + "'; rm -rf '" + folder_ + "'";
    EXPECT_EQ(0, std::system(command.c_str()));
  }

  // Makes one object for each `step`th permission word and compares our
  // texts of the mode words that stat reads back with stat's own.
  void CheckAll(bool folders, unsigned step) {
    unsigned made = 0;
    for (unsigned permissions = 0; permissions < 010000; permissions += step, ++made) {
      char name[16];
      std::snprintf(name, sizeof name, "/m%04o", permissions);
      std::string const path = folder_ + name;
      if (folders) {
        ASSERT_EQ(0, mkdir(path.c_str(), 0700)) << path;
      } else {
        FILE* const file = std::fopen(path.c_str(), "w");
        ASSERT_NE(nullptr, file) << path;
        std::fclose(file);
      }
      ASSERT_EQ(0, chmod(path.c_str(), permissions)) << path;
    }
    std::vector<StatLine> const lines = StatAll(folder_);
    ASSERT_EQ(made, lines.size());
    std::vector<bool> seen(010000, false);
    for (StatLine const& line : lines) {
      SCOPED_TRACE(line.letters);
      ASSERT_EQ(folders ? 0040000u : 0100000u, line.raw & 0170000);
      ASSERT_EQ(10u, line.letters.size());
      EXPECT_EQ(line.letters.substr(1), Letters(line.raw));
      EXPECT_EQ(FourDigits(line.octal), Octal(line.raw));
      seen[line.raw & 07777] = true;
    }
    // The system may clear a special bit that the owner may not set; most
    // words are there all the same.
    EXPECT_GT(static_cast<unsigned>(std::count(seen.begin(), seen.end(), true)), made / 2);
  }

  std::string folder_;
};

TEST_F(ModeAgainstStatTest, EveryPermissionWordOfARegularFileReadsAsStatShowsIt) {
  CheckAll(false, 1);
}

TEST_F(ModeAgainstStatTest, EveryPermissionWordOfAFolderReadsAsStatShowsIt) {
  // Every seventh word, which still meets each triple in all its values.
  CheckAll(true, 7);
}

// ---------------------------------------------------------------------------
// Special bits and masks.

TEST_F(ModeTest, SpecialBitsAreReadOneByOne) {
  EXPECT_EQ(1, setuid_of_mode(mode{04000}).value);
  EXPECT_EQ(0, setuid_of_mode(mode{03777 | 0170000}).value);
  EXPECT_EQ(1, setgid_of_mode(mode{02000}).value);
  EXPECT_EQ(0, setgid_of_mode(mode{05777 | 0170000}).value);
  EXPECT_EQ(1, sticky_of_mode(mode{01000}).value);
  EXPECT_EQ(0, sticky_of_mode(mode{06777 | 0170000}).value);
}

TEST_F(ModeTest, MasksAreTheThreeBitsOfEachClassShiftedDown) {
  mode const value{0100000 | 07654};
  EXPECT_EQ(6, usermask_of_mode(value).bits);
  EXPECT_EQ(5, groupmask_of_mode(value).bits);
  EXPECT_EQ(4, othermask_of_mode(value).bits);
  mode const other{040000 | 0123};
  EXPECT_EQ(1, usermask_of_mode(other).bits);
  EXPECT_EQ(2, groupmask_of_mode(other).bits);
  EXPECT_EQ(3, othermask_of_mode(other).bits);
  EXPECT_EQ(0, usermask_of_mode(mode{0170000 | 07077}).bits);
  EXPECT_EQ(0, groupmask_of_mode(mode{0170000 | 07707}).bits);
  EXPECT_EQ(0, othermask_of_mode(mode{0170000 | 07770}).bits);
}

TEST_F(ModeTest, AMaskReadsAsLettersAndAsANumber) {
  char const* const expected[] = {"---", "--x", "-w-", "-wx", "r--", "r-x", "rw-", "rwx"};
  for (unsigned char bits = 0; bits < 8; ++bits) {
    SCOPED_TRACE(static_cast<int>(bits));
    mode_mask const mask{bits};
    EXPECT_EQ(expected[bits], Text(AsString(mask)));
    EXPECT_EQ(bits, AsInteger(mask).value);
    EXPECT_EQ((bits & 4) != 0, read_of_mask(mask).value == 1);
    EXPECT_EQ((bits & 2) != 0, write_of_mask(mask).value == 1);
    EXPECT_EQ((bits & 1) != 0, execute_of_mask(mask).value == 1);
    EXPECT_LE(read_of_mask(mask).value, 1);
    EXPECT_LE(write_of_mask(mask).value, 1);
    EXPECT_LE(execute_of_mask(mask).value, 1);
  }
}

// ---------------------------------------------------------------------------
// Fingerprints.

template <class T>
std::uint64_t Digest(T const& value) {
  Fingerprinter fingerprinter;
  fingerprinter << value;
  EXPECT_TRUE(fingerprinter.Touched());
  return fingerprinter.Digest();
}

template <class T>
std::uint64_t DigestOfBytes(T const& bytes) {
  Fingerprinter fingerprinter;
  fingerprinter.Add(&bytes, sizeof bytes);
  return fingerprinter.Digest();
}

TEST(ModeFingerprintTest, AModeFeedsItsFourBytesAndAMaskItsOneByte) {
  EXPECT_EQ(DigestOfBytes(static_cast<std::uint32_t>(0100644)), Digest(mode{0100644}));
  EXPECT_NE(Digest(mode{0100644}), Digest(mode{0100645}));
  EXPECT_NE(Digest(mode{0100644}), Digest(mode{040644}));
  EXPECT_EQ(DigestOfBytes(static_cast<std::uint8_t>(5)), Digest(mode_mask{5}));
  EXPECT_NE(Digest(mode_mask{5}), Digest(mode_mask{4}));
}

TEST_F(ModeAgainstStatTest, AFolderIsFingerprintedByItsChangeTime) {
  std::string const path = folder_ + "/sub";
  ASSERT_EQ(0, mkdir(path.c_str(), 0755));
  surveyor_string const name{reinterpret_cast<unsigned char const*>(path.c_str()), path.size()};
  folder const object = FolderOfWorld(name);
  // The change time as stat prints it, at the width of this build's record.
  time_t const changed =
      static_cast<time_t>(std::stoll(Output("stat -c %Z '" + path + "'")));
  EXPECT_EQ(DigestOfBytes(changed), Digest(object));
}

// ---------------------------------------------------------------------------
// Through the registered records, as the host calls them.

class ModeRecordsTest : public ModeTest {
 protected:
  Registry const& registry = Registry::Default();

  template <class R, class O>
  R CallProperty(char const* phrase, char const* object, O const& value) {
    PropertyEntry const* const entry =
        registry.FindProperty(phrase, nullptr, registry.FindType(object));
    EXPECT_NE(nullptr, entry) << phrase << " of " << object;
    R result{};
    if (entry != nullptr) {
      EXPECT_EQ(object, entry->object);
      EXPECT_EQ(1, entry->getter(&result, nullptr, &value, nullptr, entry->context));
    }
    return result;
  }
  template <class R, class S>
  R CallCast(char const* phrase, char const* source, S const& value) {
    CastEntry const* const entry = registry.FindCast(phrase, registry.FindType(source));
    EXPECT_NE(nullptr, entry) << phrase << " of " << source;
    R result{};
    if (entry != nullptr) {
      EXPECT_EQ(source, entry->source);
      entry->thunk(&result, &value, entry->context);
    }
    return result;
  }
};

TEST_F(ModeRecordsTest, PropertiesOfAModeAndOfAMask) {
  mode const value{0100000 | 05641};
  EXPECT_EQ(1, (CallProperty<boolean>("setuid", "mode", value).value));
  EXPECT_EQ(0, (CallProperty<boolean>("setgid", "mode", value).value));
  EXPECT_EQ(1, (CallProperty<boolean>("sticky", "mode", value).value));
  EXPECT_EQ(1, (CallProperty<boolean>("stickies", "mode", value).value));
  EXPECT_EQ(6, (CallProperty<mode_mask>("user mask", "mode", value).bits));
  EXPECT_EQ(4, (CallProperty<mode_mask>("group mask", "mode", value).bits));
  EXPECT_EQ(1, (CallProperty<mode_mask>("other masks", "mode", value).bits));
  mode_mask const mask{3};
  EXPECT_EQ(0, (CallProperty<boolean>("read", "mode_mask", mask).value));
  EXPECT_EQ(1, (CallProperty<boolean>("writes", "mode_mask", mask).value));
  EXPECT_EQ(1, (CallProperty<boolean>("execute", "mode_mask", mask).value));
}

TEST_F(ModeRecordsTest, CastsOfAModeAndOfAMask) {
  mode const value{0100000 | 04744};
  EXPECT_EQ("rwsr--r--", Text(CallCast<surveyor_string>("string", "mode", value)));
  EXPECT_EQ("4744", Text(CallCast<surveyor_string>("octal string", "mode", value)));
  mode_mask const mask{6};
  EXPECT_EQ(6, (CallCast<integer>("integer", "mode_mask", mask).value));
  EXPECT_EQ("rw-", Text(CallCast<surveyor_string>("string", "mode_mask", mask)));
}

TEST_F(ModeRecordsTest, TypesHaveTheirSizesAndFingerprints) {
  TypeEntry const* const modeType = registry.FindType("mode");
  ASSERT_NE(nullptr, modeType);
  EXPECT_EQ(4u, modeType->size);
  EXPECT_EQ("", modeType->baseName);
  ASSERT_NE(nullptr, modeType->fingerprint);
  mode const value{0100755};
  Fingerprinter viaType;
  modeType->fingerprint(viaType, &value);
  EXPECT_EQ(Digest(value), viaType.Digest());

  TypeEntry const* const maskType = registry.FindType("mode_mask");
  ASSERT_NE(nullptr, maskType);
  EXPECT_EQ(1u, maskType->size);
  EXPECT_EQ("", maskType->baseName);
  ASSERT_NE(nullptr, maskType->fingerprint);
  mode_mask const mask{7};
  Fingerprinter maskViaType;
  maskType->fingerprint(maskViaType, &mask);
  EXPECT_EQ(Digest(mask), maskViaType.Digest());
}

// ---------------------------------------------------------------------------
// What the unit registers, in order.

using survey::host::RecordKind;
using survey::host::RegistryEvent;

// The first `count` registrations from the unit's first type on.
std::vector<RegistryEvent> UnitEvents(Registry const& registry, std::size_t count) {
  std::vector<RegistryEvent> unit;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() && !(event.kind == RecordKind::kType && event.name == "mode")) continue;
    if (unit.size() == count) break;
    unit.push_back(event);
  }
  return unit;
}

struct Row {
  RecordKind kind;
  char const* singular;
  char const* plural;  // properties only
  char const* object;  // the source of a cast
  char const* result;
  SurveyorDependency dependency;
};

TEST(AttributesRegistrationTest, RegistersTypesPropertiesAndCastsInTableOrder) {
  Registry const& registry = Registry::Default();
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  RecordKind const type = RecordKind::kType;
  RecordKind const property = RecordKind::kProperty;
  RecordKind const cast = RecordKind::kCast;
  char const* const object = "filesystem object";
  Row const expected[] = {
      {type, "mode", "", "", "", nullptr},
      {type, "mode_mask", "", "", "", nullptr},
      {property, "modification time", "modification times", object, "time", nullptr},
      {property, "accessed time", "accessed times", object, "time", nullptr},
      {property, "change time", "change times", object, "time", nullptr},
      {property, "user name", "user names", object, "string", nullptr},
      {property, "group name", "group names", object, "string", nullptr},
      {property, "uid", "uids", object, "integer", nullptr},
      {property, "gid", "gids", object, "integer", nullptr},
      {property, "mode", "modes", object, "mode", nullptr},
      {property, "user read", "user reads", object, "boolean", nullptr},
      {property, "user write", "user writes", object, "boolean", nullptr},
      {property, "user execute", "user executes", object, "boolean", nullptr},
      {property, "group read", "group reads", object, "boolean", nullptr},
      {property, "group write", "group writes", object, "boolean", nullptr},
      {property, "group execute", "group executes", object, "boolean", nullptr},
      {property, "other read", "other reads", object, "boolean", nullptr},
      {property, "other write", "other writes", object, "boolean", nullptr},
      {property, "other execute", "other executes", object, "boolean", nullptr},
      {property, "setuid", "setuids", object, "boolean", nullptr},
      {property, "setgid", "setgids", object, "boolean", nullptr},
      {property, "user mask", "user masks", object, "integer", nullptr},
      {property, "group mask", "group masks", object, "integer", nullptr},
      {property, "other mask", "other masks", object, "integer", nullptr},
      {property, "link count", "link counts", object, "integer", parameters},
      {cast, "string", "", object, "string", parameters},
      {property, "size", "sizes", "file", "integer", parameters},
      {property, "root folder", "root folders", "", "folder", nullptr},
      {property, "system folder", "system folders", "", "folder", nullptr},
      {property, "default web browser", "default web browsers", "", "file", nullptr},
      {property, "setuid", "setuids", "mode", "boolean", nullptr},
      {property, "setgid", "setgids", "mode", "boolean", nullptr},
      {property, "sticky", "stickies", "mode", "boolean", nullptr},
      {property, "user mask", "user masks", "mode", "mode_mask", nullptr},
      {property, "group mask", "group masks", "mode", "mode_mask", nullptr},
      {property, "other mask", "other masks", "mode", "mode_mask", nullptr},
      {property, "read", "reads", "mode_mask", "boolean", nullptr},
      {property, "write", "writes", "mode_mask", "boolean", nullptr},
      {property, "execute", "executes", "mode_mask", "boolean", nullptr},
      {cast, "string", "", "mode", "string", parameters},
      {cast, "octal string", "", "mode", "string", parameters},
      {cast, "integer", "", "mode_mask", "integer", parameters},
      {cast, "string", "", "mode_mask", "string", parameters},
  };
  std::vector<RegistryEvent> const unit = UnitEvents(registry, std::size(expected));
  ASSERT_EQ(std::size(expected), unit.size());
  std::vector<PropertyEntry const*> const properties = registry.Properties();
  std::vector<CastEntry const*> const casts = registry.Casts();
  for (std::size_t i = 0; i < unit.size(); ++i) {
    Row const& row = expected[i];
    SCOPED_TRACE(row.singular);
    EXPECT_EQ(RegistryEvent::kRegistered, unit[i].action);
    EXPECT_EQ(row.kind, unit[i].kind);
    EXPECT_EQ(row.singular, unit[i].name);
    if (row.kind == property) {
      PropertyEntry const* entry = nullptr;
      for (PropertyEntry const* each : properties) {
        if (each->record == unit[i].record) entry = each;
      }
      ASSERT_NE(nullptr, entry);
      EXPECT_EQ(row.plural, entry->plural);
      EXPECT_EQ("", entry->index);
      EXPECT_EQ(row.object, entry->object);
      EXPECT_EQ(row.result, entry->result);
      EXPECT_EQ(row.dependency, entry->dependency);
    } else if (row.kind == cast) {
      CastEntry const* entry = nullptr;
      for (CastEntry const* each : casts) {
        if (each->record == unit[i].record) entry = each;
      }
      ASSERT_NE(nullptr, entry);
      EXPECT_EQ(row.object, entry->source);
      EXPECT_EQ(row.result, entry->target);
      EXPECT_EQ(row.dependency, entry->dependency);
    }
  }
}

}  // namespace
