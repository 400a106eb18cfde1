// Processors: blocks of processor files of other vendors and generations
// (fixtures), the family-name table row by row on texts built from it, the
// reading of bad texts, this machine's /proc/cpuinfo against lscpu and nproc,
// and what the unit registers.

#include "survey/system/processor.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/foundation/file_errors.h"
#include "tests/unit/system/machine_answers.h"

namespace {

using survey::host::Evaluation;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::system::testing::ReadProcessorsFrom;
using survey::testing::AskCommand;
using survey::testing::FixturePath;
using survey::testing::OnlyValue;
using survey::testing::RegisteredRow;
using survey::testing::Trimmed;

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// Reads processors from a file of the test's choice, inside an evaluation
// whose memory holds the texts; the machine's file again afterwards.
class ProcessorFileTest : public ::testing::Test {
 protected:
  ~ProcessorFileTest() override { ReadProcessorsFrom(nullptr); }

  void UseFixture(std::string const& name) {
    path_ = FixturePath("cpuinfo/" + name);
    ReadProcessorsFrom(path_.c_str());
  }

  // Writes `text` to a file of the test's own and reads processors from it.
  void UseText(std::string const& text) {
    path_ = scratch_.Path() + "/cpuinfo";
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    ASSERT_TRUE(out.good());
    ReadProcessorsFrom(path_.c_str());
  }

  // How many processors the walk gives.
  int Count() {
    processor_iterator walk;
    int count = 0;
    try {
      processor_info info = walk.First();
      for (;;) {
        ++count;
        EXPECT_EQ(count, Number_of_processor(info).value);
        info = walk.Next();
      }
    } catch (NoSuchObject const&) {
    }
    return count;
  }

  std::string FamilyName(long number = 1) {
    return Text(Family_name_of_processor(processor_info(number)));
  }

  Evaluation evaluation_{Registry::Default()};
  Evaluation::Scope scope_{evaluation_};
  survey::testing::ScratchFolder scratch_{"survey-processor-test"};
  std::string path_;
};

// A block of the usual layout, "key<tabs>: value" lines.
std::string Block(int number, std::vector<std::pair<std::string, std::string>> const& lines) {
  std::string text = "processor\t: " + std::to_string(number) + "\n";
  for (auto const& [key, value] : lines) {
    text += key + (key.size() >= 8 ? "\t" : "\t\t") + ": " + value + "\n";
  }
  return text + "\n";
}

// ---------------------------------------------------------------------------
// The edge cases of the rules.

TEST_F(ProcessorFileTest, TwoBlocksCountTwoAndTheThirdIsNone) {
  UseFixture("intel-pentium3-smp-linux-2.4.txt");
  EXPECT_EQ(2, Count());
  EXPECT_EQ(2, Number_of_processor(Numbered_processor_of_world(integer{2})).value);
  EXPECT_THROW(Numbered_processor_of_world(integer{3}), NoSuchObject);
}

TEST_F(ProcessorFileTest, NumberZeroOrBelowFailsWithoutOpeningTheFile) {
  // No file at all: a lookup that opened it would fail with a file error.
  ReadProcessorsFrom((scratch_.Path() + "/missing").c_str());
  EXPECT_THROW(processor_info(0), NoSuchObject);
  EXPECT_THROW(processor_info(-1), NoSuchObject);
  EXPECT_THROW(Numbered_processor_of_world(integer{0}), NoSuchObject);
  EXPECT_THROW(Numbered_processor_of_world(integer{-5}), NoSuchObject);
  EXPECT_THROW(Numbered_processor_of_world(integer{2147483648LL}), NoSuchObject);
  EXPECT_THROW(Numbered_processor_of_world(integer{1}), FileIOError);
  EXPECT_THROW(Processor_of_world(), FileIOError);
  processor_iterator walk;
  EXPECT_THROW(walk.First(), FileIOError);
}

TEST_F(ProcessorFileTest, TheLargestNumberIsLookedFor) {
  UseText(Block(2147483646, {{"cpu family", "6"}}));
  processor_info const info = Numbered_processor_of_world(integer{2147483647});
  EXPECT_EQ(2147483647, Number_of_processor(info).value);
  EXPECT_EQ(6, Family_of_processor(info).value);
}

TEST_F(ProcessorFileTest, IntelSixThirteenIsPentiumMAndSixTwelveTheVendorText) {
  UseFixture("intel-pentium-m-linux-2.6.txt");
  EXPECT_EQ("Pentium M", FamilyName());
  UseText(Block(0, {{"vendor_id", "GenuineIntel"}, {"cpu family", "6"}, {"model", "12"}}));
  EXPECT_EQ("GenuineIntel", FamilyName());
}

TEST_F(ProcessorFileTest, FamilyFifteenWithoutFamilyLineIsPentium4) {
  UseFixture("intel-pentium4-ht-linux-2.6.txt");
  EXPECT_EQ("Pentium 4", FamilyName(1));
  EXPECT_EQ("Pentium 4", FamilyName(2));
  EXPECT_THROW(FamilyName(3), NoSuchObject);
}

TEST_F(ProcessorFileTest, ItaniumFamilyTextNamesIt) {
  UseFixture("intel-itanium2-ia64-linux-2.6.txt");
  processor_info const info = Processor_of_world();
  EXPECT_EQ("Itanium 2", Text(Family_name_of_processor(info)));
  EXPECT_THROW(Family_of_processor(info), NoSuchObject);
  EXPECT_EQ(1, Model_of_processor(info).value);
  EXPECT_EQ(1500000000, Speed_of_processor(info).value);
  // "BogoMIPS" is found without regard to case; 2243.41 is 2243.409912109375
  // in single precision.
  EXPECT_EQ(2243409912, BogoMips_of_processor(info).value);
  EXPECT_EQ("GenuineIntel", Text(Vendor_name_of_processor(info)));
  EXPECT_THROW(Model_name_of_processor(info), NoSuchObject);
  EXPECT_THROW(Flags_of_processor(info), NoSuchObject);
  EXPECT_EQ(2, Count());
}

TEST_F(ProcessorFileTest, AmdSixEightIsNamedFromTheModelNameFirstOfTheListWinning) {
  UseFixture("amd-sempron-linux-2.6.txt");
  EXPECT_EQ("Sempron", FamilyName());
  UseText(Block(0, {{"vendor_id", "AuthenticAMD"},
                    {"cpu family", "6"},
                    {"model", "8"},
                    {"model name", "AMD Duron or Athlon"}}));
  EXPECT_EQ("Athlon", FamilyName());
  UseText(Block(0, {{"vendor_id", "AuthenticAMD"},
                    {"cpu family", "6"},
                    {"model", "8"},
                    {"model name", "AMD Sempron Duron"}}));
  EXPECT_EQ("Duron", FamilyName());
}

TEST_F(ProcessorFileTest, UnrecognisedVendorIsAmbiguous) {
  UseFixture("transmeta-crusoe-linux-2.4.txt");
  EXPECT_EQ("Ambiguous", FamilyName());
  UseText(Block(0, {{"cpu family", "6"}, {"model", "8"}}));
  EXPECT_EQ("Ambiguous", FamilyName());
}

TEST_F(ProcessorFileTest, SpeedAndBogomipsAreScaledByAMillion) {
  UseFixture("intel-pentium4-ht-linux-2.6.txt");
  processor_info const info = Processor_of_world();
  EXPECT_EQ(2793000000, Speed_of_processor(info).value);
  EXPECT_EQ(5586000000, BogoMips_of_processor(info).value);
}

TEST_F(ProcessorFileTest, BlockWithoutFdivBugLineFailsRatherThanSayingFalse) {
  UseFixture("intel-xeon-gold-2-sockets-linux-5.10.txt");
  processor_info const info = Processor_of_world();
  EXPECT_THROW(FdivBug_of_processor(info), NoSuchObject);
  EXPECT_THROW(HltBug_of_processor(info), NoSuchObject);
  EXPECT_THROW(SepBug_of_processor(info), NoSuchObject);
  EXPECT_THROW(F00fBug_of_processor(info), NoSuchObject);
  EXPECT_THROW(ComaBug_of_processor(info), NoSuchObject);
  EXPECT_TRUE(Fpu_of_processor(info).value);
}

// ---------------------------------------------------------------------------
// Fixtures of other vendors and generations, block by block.

struct FixtureFacts {
  char const* file;
  int count;
  char const* familyName;
  long long family;  // -1: no value
  long long model;
  long long stepping;
  long long speed;  // hertz; 0: no value
  long long bogomips;
  char const* vendor;
  char const* modelName;  // null: no value
};

class ProcessorFixtureTest : public ProcessorFileTest,
                             public ::testing::WithParamInterface<FixtureFacts> {};

TEST_P(ProcessorFixtureTest, FirstBlockTellsItsFacts) {
  FixtureFacts const& facts = GetParam();
  UseFixture(facts.file);
  EXPECT_EQ(facts.count, Count());
  processor_info const info = Processor_of_world();
  EXPECT_EQ(1, Number_of_processor(info).value);
  EXPECT_EQ(facts.familyName, Text(Family_name_of_processor(info)));
  if (facts.family == -1) {
    EXPECT_THROW(Family_of_processor(info), NoSuchObject);
  } else {
    EXPECT_EQ(facts.family, Family_of_processor(info).value);
  }
  EXPECT_EQ(facts.model, Model_of_processor(info).value);
  if (facts.stepping == -1) {
    EXPECT_THROW(Stepping_of_processor(info), NoSuchObject);
  } else {
    EXPECT_EQ(facts.stepping, Stepping_of_processor(info).value);
  }
  if (facts.speed == 0) {
    EXPECT_THROW(Speed_of_processor(info), NoSuchObject);
  } else {
    EXPECT_EQ(facts.speed, Speed_of_processor(info).value);
  }
  EXPECT_EQ(facts.bogomips, BogoMips_of_processor(info).value);
  EXPECT_EQ(facts.vendor, Text(Vendor_name_of_processor(info)));
  if (facts.modelName == nullptr) {
    EXPECT_THROW(Model_name_of_processor(info), NoSuchObject);
  } else {
    EXPECT_EQ(facts.modelName, Text(Model_name_of_processor(info)));
  }
}

// Speeds and bogomips are the single-precision value of the text times a
// million, cut to an integer: 233.866 is 233.865997314453125, and so on
// (python3: struct.unpack("f", struct.pack("f", x))).
INSTANTIATE_TEST_SUITE_P(
    Vendors, ProcessorFixtureTest,
    ::testing::Values(
        FixtureFacts{"intel-pentium-mmx-linux-2.2.txt", 1, "Pentium", 5, 4, 3, 233865997, 466940002,
                     "GenuineIntel", "Pentium MMX"},
        FixtureFacts{"intel-pentium3-smp-linux-2.4.txt", 2, "Pentium III", 6, 8, 10, 930340026,
                     1854660034, "GenuineIntel", "Pentium III (Coppermine)"},
        FixtureFacts{"intel-pentium-m-linux-2.6.txt", 1, "Pentium M", 6, 13, 8, 1733000000,
                     3460699951, "GenuineIntel", "Intel(R) Pentium(R) M processor 1.73GHz"},
        FixtureFacts{"intel-pentium4-ht-linux-2.6.txt", 2, "Pentium 4", 15, 2, 9, 2793000000,
                     5586000000, "GenuineIntel", "Intel(R) Pentium(R) 4 CPU 2.80GHz"},
        FixtureFacts{"intel-core2-duo-linux-2.6.txt", 2, "Core 2", 6, 15, 6, 2394000000, 4791020019,
                     "GenuineIntel", "Intel(R) Core(TM)2 CPU          6600  @ 2.40GHz"},
        FixtureFacts{"intel-xeon-gold-2-sockets-linux-5.10.txt", 8, "GenuineIntel", 6, 85, 4,
                     2100000000, 4200000000, "GenuineIntel",
                     "Intel(R) Xeon(R) Gold 6130 CPU @ 2.10GHz"},
        FixtureFacts{"intel-itanium2-ia64-linux-2.6.txt", 2, "Itanium 2", -1, 1, -1, 1500000000,
                     2243409912, "GenuineIntel", nullptr},
        FixtureFacts{"amd-k6-2-linux-2.2.txt", 1, "K6", 5, 8, 12, 350813995, 699590026,
                     "AuthenticAMD", "AMD-K6(tm) 3D processor"},
        FixtureFacts{"amd-duron-linux-2.4.txt", 1, "Duron", 6, 3, 1, 700031982, 1395910034,
                     "AuthenticAMD", "AMD Duron(tm) Processor"},
        FixtureFacts{"amd-athlon-xp-linux-2.4.txt", 1, "Athlon", 6, 8, 1, 2000076049, 3971479980,
                     "AuthenticAMD", "AMD Athlon(tm) XP 2400+"},
        FixtureFacts{"amd-sempron-linux-2.6.txt", 1, "Sempron", 6, 10, 1, 2000076049, 3971479980,
                     "AuthenticAMD", "AMD Sempron(tm)   2800+"},
        FixtureFacts{"amd-family-6-without-model-name.txt", 1, "AuthenticAMD", 6, 8, 1, 2000076049,
                     3971479980, "AuthenticAMD", nullptr},
        FixtureFacts{"amd-opteron-2-sockets-linux-2.6.txt", 4, "AuthenticAMD", 15, 33, 2,
                     2193704101, 4390410156, "AuthenticAMD",
                     "Dual Core AMD Opteron(tm) Processor 275"},
        FixtureFacts{"this-machine-epyc-2cpu.txt", 2, "AuthenticAMD", 26, 2, 1, 2596122070,
                     5192240234, "AuthenticAMD", "AMD EPYC"},
        FixtureFacts{"cyrix-6x86-linux-2.2.txt", 1, "6x86", 5, 2, 6, 0, 74750000, "CyrixInstead",
                     "6x86 2x Core/Bus Clock"},
        FixtureFacts{"cyrix-mediagx-linux-2.2.txt", 1, "MediaGX", 4, 4, 1, 0, 199880004,
                     "CyrixInstead", "MediaGX"},
        FixtureFacts{"centaur-winchip-c6-linux-2.2.txt", 1, "C6", 5, 4, 1, 200457000, 399760009,
                     "CentaurHauls", "WinChip C6"},
        FixtureFacts{"via-c3-nehemiah-linux-2.6.txt", 1, "CentaurHauls", 6, 9, 8, 1002317993,
                     2007040039, "CentaurHauls", "VIA Nehemiah"},
        FixtureFacts{"transmeta-crusoe-linux-2.4.txt", 1, "Ambiguous", 6, 4, 3, 933000000,
                     1864079956, "GenuineTMx86", "Transmeta(tm) Crusoe(tm) Processor TM5800"}));

TEST_F(ProcessorFileTest, OldKernelBlockTellsEveryBugLine) {
  UseFixture("intel-pentium-mmx-linux-2.2.txt");
  processor_info const info = Processor_of_world();
  EXPECT_FALSE(FdivBug_of_processor(info).value);
  EXPECT_FALSE(HltBug_of_processor(info).value);
  EXPECT_FALSE(SepBug_of_processor(info).value);
  EXPECT_TRUE(F00fBug_of_processor(info).value);
  EXPECT_FALSE(ComaBug_of_processor(info).value);
  EXPECT_TRUE(Fpu_of_processor(info).value);
  EXPECT_TRUE(FpuException_of_processor(info).value);
  EXPECT_TRUE(Wp_of_processor(info).value);
  EXPECT_EQ(1, Cpuid_of_processor(info).value);
  EXPECT_EQ("fpu vme de pse tsc msr mce cx8 mmx", Text(Flags_of_processor(info)));
  UseFixture("cyrix-6x86-linux-2.2.txt");
  EXPECT_TRUE(ComaBug_of_processor(Processor_of_world()).value);
}

TEST_F(ProcessorFileTest, EveryBlockOfSeveralSocketsIsItsOwn) {
  UseFixture("amd-opteron-2-sockets-linux-2.6.txt");
  for (long number = 1; number <= 4; ++number) {
    processor_info const info(number);
    EXPECT_EQ(number, Number_of_processor(info).value);
    EXPECT_EQ(33, Model_of_processor(info).value);
  }
}

TEST_F(ProcessorFileTest, TwoHundredFiftySixProcessors) {
  std::string text;
  for (int n = 0; n < 256; ++n) {
    text += Block(n, {{"vendor_id", "GenuineIntel"},
                      {"cpu family", "6"},
                      {"model", std::to_string(n % 16)},
                      {"cpu MHz", "2000.000"},
                      {"flags", "fpu vme"}});
  }
  UseText(text);
  EXPECT_EQ(256, Count());
  processor_info const last(256);
  EXPECT_EQ(256, Number_of_processor(last).value);
  EXPECT_EQ(15, Model_of_processor(last).value);
  EXPECT_EQ("Core 2", Text(Family_name_of_processor(last)));
  EXPECT_THROW(processor_info(257), NoSuchObject);
}

// ---------------------------------------------------------------------------
// The family-name table, row by row, each on a block built from the row.

struct FamilyRow {
  char const* vendor;  // null: no vendor line
  char const* family;  // null: no "cpu family" line
  char const* model;   // null: no "model" line
  char const* modelName;
  char const* familyText;
  char const* expected;
};

class FamilyNameTableTest : public ProcessorFileTest,
                            public ::testing::WithParamInterface<FamilyRow> {};

TEST_P(FamilyNameTableTest, RowGivesItsName) {
  FamilyRow const& row = GetParam();
  std::vector<std::pair<std::string, std::string>> lines;
  if (row.vendor != nullptr) lines.emplace_back("vendor_id", row.vendor);
  if (row.family != nullptr) lines.emplace_back("cpu family", row.family);
  if (row.model != nullptr) lines.emplace_back("model", row.model);
  if (row.modelName != nullptr) lines.emplace_back("model name", row.modelName);
  if (row.familyText != nullptr) lines.emplace_back("family", row.familyText);
  UseText(Block(0, lines));
  EXPECT_EQ(row.expected, FamilyName());
}

constexpr char const* kIntel = "GenuineIntel";
constexpr char const* kAmd = "AuthenticAMD";

INSTANTIATE_TEST_SUITE_P(
    Intel, FamilyNameTableTest,
    ::testing::Values(FamilyRow{kIntel, "0", "0", nullptr, nullptr, "8086"},
                      FamilyRow{kIntel, "1", "0", nullptr, nullptr, "GenuineIntel"},
                      FamilyRow{kIntel, "2", "0", nullptr, nullptr, "80286"},
                      FamilyRow{kIntel, "3", "0", nullptr, nullptr, "80386"},
                      FamilyRow{kIntel, "4", "8", nullptr, nullptr, "80486"},
                      FamilyRow{kIntel, "5", "2", nullptr, nullptr, "Pentium"},
                      FamilyRow{kIntel, "6", "3", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "1", nullptr, nullptr, "Pentium Pro"},
                      FamilyRow{kIntel, "6", "0", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "2", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "4", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "5", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "6", nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", nullptr, nullptr, nullptr, "Pentium II"},
                      FamilyRow{kIntel, "6", "7", nullptr, nullptr, "Pentium III"},
                      FamilyRow{kIntel, "6", "8", nullptr, nullptr, "Pentium III"},
                      FamilyRow{kIntel, "6", "9", nullptr, nullptr, "Pentium M"},
                      FamilyRow{kIntel, "6", "10", nullptr, nullptr, "Pentium III"},
                      FamilyRow{kIntel, "6", "11", nullptr, nullptr, "Pentium III"},
                      FamilyRow{kIntel, "6", "12", nullptr, nullptr, "GenuineIntel"},
                      FamilyRow{kIntel, "6", "13", nullptr, nullptr, "Pentium M"},
                      FamilyRow{kIntel, "6", "14", nullptr, nullptr, "Core"},
                      FamilyRow{kIntel, "6", "15", nullptr, nullptr, "Core 2"},
                      FamilyRow{kIntel, "6", "16", nullptr, nullptr, "GenuineIntel"},
                      FamilyRow{kIntel, "6", "158", nullptr, "Ignored", "GenuineIntel"},
                      FamilyRow{kIntel, "7", "0", nullptr, nullptr, "Itanium"},
                      FamilyRow{kIntel, "15", "4", nullptr, nullptr, "Pentium 4"},
                      FamilyRow{kIntel, "15", "4", nullptr, "Pentium D", "Pentium D"},
                      FamilyRow{kIntel, "16", "0", nullptr, nullptr, "GenuineIntel"},
                      FamilyRow{kIntel, "16", "0", nullptr, "Something", "Something"},
                      FamilyRow{kIntel, nullptr, "1", nullptr, nullptr, "GenuineIntel"},
                      FamilyRow{kIntel, nullptr, "1", nullptr, "Itanium 2", "Itanium 2"}));

INSTANTIATE_TEST_SUITE_P(
    Amd, FamilyNameTableTest,
    ::testing::Values(FamilyRow{kAmd, "4", "3", nullptr, nullptr, "80486"},
                      FamilyRow{kAmd, "5", "0", nullptr, nullptr, "K5"},
                      FamilyRow{kAmd, "5", "5", nullptr, nullptr, "K5"},
                      FamilyRow{kAmd, "5", nullptr, nullptr, nullptr, "K5"},
                      FamilyRow{kAmd, "5", "6", nullptr, nullptr, "K6"},
                      FamilyRow{kAmd, "5", "13", nullptr, nullptr, "K6"},
                      FamilyRow{kAmd, "6", "3", "AMD Athlon", nullptr, "Duron"},
                      FamilyRow{kAmd, "6", "1", nullptr, nullptr, "Athlon"},
                      FamilyRow{kAmd, "6", "2", nullptr, nullptr, "Athlon"},
                      FamilyRow{kAmd, "6", "4", "AMD Duron", nullptr, "Athlon"},
                      FamilyRow{kAmd, "6", "6", "AMD Athlon(tm) MP 2000+", nullptr, "Athlon"},
                      FamilyRow{kAmd, "6", "7", "AMD Duron(tm) Processor", nullptr, "Duron"},
                      FamilyRow{kAmd, "6", "8", "AMD Sempron(tm) 2400+", nullptr, "Sempron"},
                      FamilyRow{kAmd, "6", "8", "athlon in lower case", nullptr, "AuthenticAMD"},
                      FamilyRow{kAmd, "6", "8", nullptr, nullptr, "AuthenticAMD"},
                      FamilyRow{kAmd, "6", "10", "AMD Geode NX", nullptr, "AuthenticAMD"},
                      FamilyRow{kAmd, "15", "5", "AMD Opteron", "Ignored", "AuthenticAMD"},
                      FamilyRow{kAmd, "23", "49", "AMD EPYC 7742", nullptr, "AuthenticAMD"}));

INSTANTIATE_TEST_SUITE_P(
    OtherVendors, FamilyNameTableTest,
    ::testing::Values(FamilyRow{"CyrixInstead", "4", "4", nullptr, nullptr, "MediaGX"},
                      FamilyRow{"CyrixInstead", "5", "2", nullptr, nullptr, "6x86"},
                      FamilyRow{"CyrixInstead", "5", "4", nullptr, nullptr, "GXm"},
                      FamilyRow{"CyrixInstead", "6", "0", nullptr, nullptr, "6x86MX"},
                      FamilyRow{"CyrixInstead", "3", "0", nullptr, nullptr, "CyrixInstead"},
                      FamilyRow{"CentaurHauls", "5", "8", nullptr, nullptr, "C6"},
                      FamilyRow{"CentaurHauls", "6", "7", nullptr, nullptr, "CentaurHauls"},
                      FamilyRow{"GenuineTMx86", "6", "4", nullptr, nullptr, "Ambiguous"},
                      FamilyRow{"HygonGenuine", "24", "0", nullptr, nullptr, "Ambiguous"},
                      FamilyRow{"Genuine", "6", "8", nullptr, nullptr, "Ambiguous"},
                      FamilyRow{"", "6", "8", nullptr, nullptr, "Ambiguous"},
                      FamilyRow{nullptr, "6", "8", nullptr, nullptr, "Ambiguous"},
                      // The vendor's first 12 bytes decide; more may follow.
                      FamilyRow{"GenuineIntel!", "6", "15", nullptr, nullptr, "Core 2"},
                      // The stored text counts as it is, a blank in front
                      // included.
                      FamilyRow{" GenuineIntel", "6", "15", nullptr, nullptr, "Ambiguous"}));

TEST_F(ProcessorFileTest, VendorTextStandsInWithItsLeadingBlanks) {
  UseText(Block(0, {{"vendor_id", "CentaurHauls  "}, {"cpu family", "6"}}));
  EXPECT_EQ("CentaurHauls  ", FamilyName());
  // The property of the text itself skips leading blanks.
  UseText("processor : 0\nvendor_id :  \t GenuineIntel\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ("GenuineIntel", Text(Vendor_name_of_processor(info)));
  EXPECT_EQ("Ambiguous", Text(Family_name_of_processor(info)));
}

// ---------------------------------------------------------------------------
// The reading of the text: prefix keys, order, bad lines.

TEST_F(ProcessorFileTest, KeysArePrefixesWithoutRegardToCase) {
  UseText(
      "PROCESSOR : 0\n"
      "Vendor ID : GenuineIntel\n"
      "CPU Family: 6\n"
      "MODEL     : 9\n"
      "Model Name: ignored by the model number\n"
      "wpx       : yes\n"
      "fpu_exception_extra: no\n"
      "fpuish    : yes\n"
      "Cpu MHz   : 1000\n"
      "BOGOMIPS  : 2000\n"
      "familyish : text of the family\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ("GenuineIntel", Text(Vendor_name_of_processor(info)));
  EXPECT_EQ(6, Family_of_processor(info).value);
  EXPECT_EQ(9, Model_of_processor(info).value);
  EXPECT_EQ("ignored by the model number", Text(Model_name_of_processor(info)));
  EXPECT_TRUE(Wp_of_processor(info).value);
  EXPECT_FALSE(FpuException_of_processor(info).value);
  EXPECT_TRUE(Fpu_of_processor(info).value);
  EXPECT_EQ(1000000000, Speed_of_processor(info).value);
  EXPECT_EQ(2000000000, BogoMips_of_processor(info).value);
  // Family 6 is named by its model, whatever the family text.
  EXPECT_EQ("Pentium M", Text(Family_name_of_processor(info)));
  UseText("processor : 0\nvendor_id : GenuineIntel\nfamilyish : text of the family\n");
  EXPECT_EQ("text of the family", FamilyName());
}

TEST_F(ProcessorFileTest, YesAnywhereInTheLineCounts) {
  UseText(
      "processor : 0\n"
      "fdiv_bug : no, yes\n"
      "hlt_bug : No\n"
      "sep_bug : YES\n"
      "f00f_bug : eyes\n");
  processor_info const info = Processor_of_world();
  EXPECT_TRUE(FdivBug_of_processor(info).value);
  EXPECT_FALSE(HltBug_of_processor(info).value);
  // "yes" is looked for as written.
  EXPECT_FALSE(SepBug_of_processor(info).value);
  EXPECT_TRUE(F00fBug_of_processor(info).value);
}

TEST_F(ProcessorFileTest, KeyLinesWithoutColonAreAbsent) {
  UseText(
      "processor : 0\n"
      "vendor_id GenuineIntel\n"
      "cpu family 6\n"
      "model\n"
      "model name\n"
      "fdiv_bug yes\n"
      "flags\n"
      "processor 7\n"
      "stepping : 3\n");
  processor_info const info = Processor_of_world();
  EXPECT_THROW(Vendor_name_of_processor(info), NoSuchObject);
  EXPECT_THROW(Family_of_processor(info), NoSuchObject);
  EXPECT_THROW(Model_of_processor(info), NoSuchObject);
  EXPECT_THROW(Model_name_of_processor(info), NoSuchObject);
  EXPECT_THROW(FdivBug_of_processor(info), NoSuchObject);
  EXPECT_THROW(Flags_of_processor(info), NoSuchObject);
  // The "processor" line without ':' left the block as it was.
  EXPECT_EQ(3, Stepping_of_processor(info).value);
}

TEST_F(ProcessorFileTest, ColonAtTheLineEndGivesAnEmptyValue) {
  UseText("processor\t:\nflags\t\t:\nmodel\t\t:\nvendor_id\t:\n");
  // "processor" with nothing behind is block 0.
  processor_info const info = Processor_of_world();
  EXPECT_EQ("", Text(Flags_of_processor(info)));
  EXPECT_EQ(0, Model_of_processor(info).value);
  EXPECT_EQ("", Text(Vendor_name_of_processor(info)));
  EXPECT_EQ("Ambiguous", Text(Family_name_of_processor(info)));
}

TEST_F(ProcessorFileTest, NumbersOutOfRangeStopAtTheEndsAndJunkEndsThem) {
  UseText(
      "processor : 0\n"
      "cpu family : 99999999999999999999\n"
      "model : -99999999999\n"
      "stepping : 7abc\n"
      "cpuid level : abc\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ(2147483647, Family_of_processor(info).value);
  EXPECT_EQ(-2147483648LL, Model_of_processor(info).value);
  EXPECT_EQ(7, Stepping_of_processor(info).value);
  EXPECT_EQ(0, Cpuid_of_processor(info).value);
  // A read -1 is no value.
  UseText("processor : 0\ncpu family : -1\n");
  EXPECT_THROW(Family_of_processor(Processor_of_world()), NoSuchObject);
}

TEST_F(ProcessorFileTest, FrequenciesOfZeroOrBeyondRangeHaveNoValue) {
  UseText("processor : 0\ncpu MHz : 0.000\nbogomips : junk\n");
  processor_info const info = Processor_of_world();
  EXPECT_THROW(Speed_of_processor(info), NoSuchObject);
  EXPECT_THROW(BogoMips_of_processor(info), NoSuchObject);
  for (char const* text : {"1e30", "1e300", "inf", "nan", "-1e30"}) {
    SCOPED_TRACE(text);
    UseText(std::string("processor : 0\ncpu MHz : ") + text + "\n");
    EXPECT_THROW(Speed_of_processor(Processor_of_world()), NoSuchObject);
  }
  UseText("processor : 0\ncpu MHz : -1.5\nbogomips : 8000000000\n");
  processor_info const odd = Processor_of_world();
  EXPECT_EQ(-1500000, Speed_of_processor(odd).value);
  EXPECT_EQ(8000000000000000LL, BogoMips_of_processor(odd).value);
}

TEST_F(ProcessorFileTest, LongLineGoesOnAsALineOfItsOwn) {
  // 255 bytes fit the buffer with its terminator; the rest of the line is
  // read as the next line, and here it starts with a key.
  std::string const head = "flags\t\t: ";
  std::string flags(255 - head.size(), 'x');
  UseText("processor : 0\n" + head + flags + "model : 42\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ(flags, Text(Flags_of_processor(info)));
  EXPECT_EQ(42, Model_of_processor(info).value);
  // A block line far longer than the buffer, in many pieces.
  UseText("processor : 0\nflags : " + std::string(10000, 'y') + "\ncpu family : 5\n");
  EXPECT_EQ(5, Family_of_processor(Processor_of_world()).value);
}

TEST_F(ProcessorFileTest, CarriageReturnsAtTheLineEndAreRemoved) {
  UseText("processor : 0\r\nvendor_id : GenuineIntel\r\r\nmodel name : X\r\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ("GenuineIntel", Text(Vendor_name_of_processor(info)));
  EXPECT_EQ("X", Text(Model_name_of_processor(info)));
}

TEST_F(ProcessorFileTest, FirstMissingNumberEndsTheWalk) {
  UseText(Block(0, {{"model", "1"}}) + Block(2, {{"model", "3"}}));
  EXPECT_EQ(1, Count());
  EXPECT_EQ(3, Model_of_processor(processor_info(3)).value);
  EXPECT_THROW(processor_info(2), NoSuchObject);
}

TEST_F(ProcessorFileTest, LinesBeforeAnyBlockAndRepeatedNumbers) {
  // Lines before the first "processor" line belong to no block; a number
  // seen again continues its block.
  UseText(
      "model : 99\nprocessor : 0\nmodel : 1\nprocessor : 1\nmodel : 2\nprocessor : 0\n"
      "stepping : 4\n");
  processor_info const info = Processor_of_world();
  EXPECT_EQ(1, Model_of_processor(info).value);
  EXPECT_EQ(4, Stepping_of_processor(info).value);
}

TEST_F(ProcessorFileTest, EmptyFileHasNoProcessor) {
  UseText("");
  EXPECT_EQ(0, Count());
  EXPECT_THROW(Processor_of_world(), NoSuchObject);
  UseText(std::string("processor : 0\0model : 5\n", 24));
  EXPECT_EQ(1, Count());
}

TEST_F(ProcessorFileTest, OpenFileIsReadFromWhereItStands) {
  std::string const text = Block(0, {{"model", "4"}}) + Block(1, {{"model", "5"}});
  std::FILE* const file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(5, Model_of_processor(processor_info(file, 2)).value);
  std::rewind(file);
  EXPECT_THROW(processor_info(file, 0), NoSuchObject);
  EXPECT_THROW(processor_info(file, 3), NoSuchObject);
  std::fclose(file);
}

// ---------------------------------------------------------------------------
// This machine's /proc/cpuinfo, read by the library in this process and by
// the command, against lscpu and nproc.

std::string Output(std::string const& command) {
  return Trimmed(survey::testing::RunShell(command).output);
}

// A field of lscpu's summary, "" when it has none.
std::string Lscpu(std::string const& field) {
  return Output("LC_ALL=C lscpu | sed -n 's/^" + field + ":[[:space:]]*//p' | head -n 1");
}

TEST(ProcessorMachineTest, CountIsTheOnlineProcessorsOfLscpuAndNproc) {
  std::string const listed = Output("LC_ALL=C lscpu -p=CPU | grep -vc '^#'");
  std::string const configured = Output("nproc --all");
  // Every processor of the machine is online here, or the counts differ.
  if (Output("LC_ALL=C lscpu -p=CPU,ONLINE -a | grep -v '^#' | grep -vc ',Y$'") != "0") {
    GTEST_SKIP() << "some processors of this machine are offline";
  }
  EXPECT_EQ(listed, configured);
  EXPECT_EQ(listed, OnlyValue(AskCommand("number of processors")));
  EXPECT_EQ(std::to_string(std::stoi(listed)),
            OnlyValue(AskCommand("index of processor " + listed)));
  survey::testing::CommandAnswer const beyond =
      AskCommand("processor " + std::to_string(std::stoi(listed) + 1));
  EXPECT_EQ("no value", beyond.error);
  EXPECT_EQ("no value", AskCommand("processor 0").error);
}

TEST(ProcessorMachineTest, FirstProcessorIsWhatLscpuReports) {
  if (Output("uname -m").find("86") == std::string::npos) {
    GTEST_SKIP() << "lscpu names these fields on x86 machines";
  }
  EXPECT_EQ(Lscpu("Vendor ID"), OnlyValue(AskCommand("vendor name of main processor")));
  EXPECT_EQ(Lscpu("Model name"), OnlyValue(AskCommand("model name of processor 1")));
  EXPECT_EQ(Lscpu("CPU family"), OnlyValue(AskCommand("family of main processor")));
  EXPECT_EQ(Lscpu("Model"), OnlyValue(AskCommand("model of main processor")));
  std::string const stepping = Lscpu("Stepping");
  if (!stepping.empty()) {
    EXPECT_EQ(stepping, OnlyValue(AskCommand("stepping of main processor")));
  }
  // lscpu shows bogomips as the file has them, with two decimals.
  std::string const bogomips = Lscpu("BogoMIPS");
  ASSERT_FALSE(bogomips.empty());
  long long const ours = std::stoll(OnlyValue(AskCommand("bogomips of main processor")));
  EXPECT_NEAR(std::stod(bogomips) * 1e6, static_cast<double>(ours), 0.01 * 1e6);
  // lscpu's flags are the whole line; ours are as much of it as the line
  // buffer holds.
  std::string const flags = OnlyValue(AskCommand("flag list of main processor"));
  ASSERT_FALSE(flags.empty());
  EXPECT_EQ(0u, Lscpu("Flags").find(flags));
}

TEST(ProcessorMachineTest, SpeedIsTheFilesMegahertzInSinglePrecision) {
  std::string const python = Output(
      "python3 -c 'import struct,re\n"
      "for line in open(\"/proc/cpuinfo\"):\n"
      "    if re.match(\"cpu mhz\", line, re.I):\n"
      "        v = struct.unpack(\"f\", struct.pack(\"f\", float(line.split(\":\")[1])))[0]\n"
      "        print(int(v * 1000000)); break'");
  if (python.empty()) GTEST_SKIP() << "this machine's processor file has no \"cpu MHz\" line";
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  long long const speed = Speed_of_processor(Processor_of_world()).value;
  // Frequencies may change between the two reads.
  EXPECT_NEAR(static_cast<double>(std::stoll(python)), static_cast<double>(speed),
              0.2 * static_cast<double>(speed));
}

TEST(ProcessorMachineTest, FamilyNameFollowsTheTableForLscpusFacts) {
  std::string const vendor = Lscpu("Vendor ID");
  if (vendor.empty()) GTEST_SKIP() << "lscpu names no vendor";
  std::string const name = OnlyValue(AskCommand("family name of main processor"));
  if (vendor != "GenuineIntel" && vendor != "AuthenticAMD" && vendor != "CyrixInstead" &&
      vendor != "CentaurHauls") {
    EXPECT_EQ("Ambiguous", name);
  } else if (vendor == "AuthenticAMD" && std::stoi(Lscpu("CPU family")) > 6) {
    EXPECT_EQ(vendor, name);
  } else {
    EXPECT_FALSE(name.empty());
  }
}

TEST(ProcessorMachineTest, AnswersAreTheSameThroughTheCommandAndInProcess) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  processor_info const info = Processor_of_world();
  EXPECT_EQ(Text(Family_name_of_processor(info)),
            OnlyValue(AskCommand("family name of main processor")));
  EXPECT_EQ(std::to_string(BogoMips_of_processor(info).value),
            OnlyValue(AskCommand("bogomips of processor 1")));
}

// ---------------------------------------------------------------------------
// Registration.

TEST(ProcessorRegistrationTest, RegistersTypeAndPhrasesInTableOrder) {
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  auto const property = [&](char const* singular, char const* plural, char const* index,
                            char const* object, char const* result) {
    return RegisteredRow{
        RecordKind::kProperty, singular, plural, index, object, result, parameters};
  };
  std::vector<RegisteredRow> const expected = {
      {RecordKind::kType, "processor", "", "", "", "", nullptr},
      property("main processor", "main processors", "", "", "processor"),
      property("processor", "processors", "", "", "processor"),
      property("processor", "processors", "integer", "", "processor"),
      property("index", "indexes", "", "processor", "integer"),
      property("family", "families", "", "processor", "integer"),
      property("model", "models", "", "processor", "integer"),
      property("family name", "family names", "", "processor", "string"),
      property("stepping", "steppings", "", "processor", "integer"),
      property("cpuid level", "cpuid levels", "", "processor", "integer"),
      property("fdiv bug", "fdiv bugs", "", "processor", "boolean"),
      property("hlt bug", "hlt bugs", "", "processor", "boolean"),
      property("sep bug", "sep bugs", "", "processor", "boolean"),
      property("f00f bug", "f00f bugs", "", "processor", "boolean"),
      property("coma bug", "coma bugs", "", "processor", "boolean"),
      property("fpu", "fpus", "", "processor", "boolean"),
      property("fpu exception", "fpu exceptions", "", "processor", "boolean"),
      property("wp", "wps", "", "processor", "boolean"),
      property("speed", "speeds", "", "processor", "hertz"),
      property("bogomips", "bogomipses", "", "processor", "integer"),
      property("vendor name", "vendor names", "", "processor", "string"),
      property("model name", "model names", "", "processor", "string"),
      property("flag list", "flag lists", "", "processor", "string"),
  };
  survey::testing::ExpectRows(expected,
                              survey::testing::RegisteredFrom("processor", expected.size()));
}

}  // namespace
