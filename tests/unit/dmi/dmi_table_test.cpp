// The DMI snapshot: memory images built here with the anchor and the table
// where each case needs them, bad input of every kind, and the real tables
// of tests/fixtures/dmi against what dmidecode prints of them.

#include "survey/dmi/dmi_table.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/unit/dmi/dmi_support.h"

namespace {

using namespace survey::dmi::testing;
using survey::testing::FixturePath;
using survey::testing::Output;
using survey::testing::ScratchFolder;

class DmiImageTest : public ::testing::Test {
 protected:
  // Writes the image, points the device at it and takes a snapshot.
  Snapshot Take(MemoryImage const& image) { return TakeBytes(image.bytes); }

  Snapshot TakeBytes(Bytes const& bytes) {
    std::string const device = scratch_.Path() + "/mem";
    WriteBytes(device, bytes);
    sources_.Device(device);
    DmiEx(output_.c_str());
    return ReadSnapshot(output_);
  }

  ScratchFolder scratch_{"survey-dmi"};
  Sources sources_;
  std::string const output_ = scratch_.Path() + "/info.dmi";
};

// A small table of three structures: firmware (strings), a type without
// strings, end of table.
Bytes SmallTable() {
  return Joined({Structure(0, 0x0000, {1, 2, 0, 0xE8, 0, 3, 0x7F, 0, 0, 0, 0, 0, 0, 0},
                           {"Maker", "1.0", "01/02/2020"}),
                 Structure(16, 0x0001, {3, 3, 3, 0, 0, 0, 0, 0xFE, 0xFF, 2, 0}),
                 Structure(127, 0x0002, {})});
}

TEST_F(DmiImageTest, TableInTheFSegmentIsCutIntoItsStructures) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xF1000, table);
  image.Anchor(0xF0000, 0xF1000, table.size(), 0x28);
  Snapshot const snapshot = Take(image);
  ASSERT_TRUE(snapshot.present);
  ASSERT_NE(nullptr, snapshot.info);
  EXPECT_EQ(0x28, snapshot.info->revision);
  EXPECT_EQ(2, snapshot.info->scanMode);
  ASSERT_EQ(3u, snapshot.structures.size());
  EXPECT_EQ(Structure(0, 0, {1, 2, 0, 0xE8, 0, 3, 0x7F, 0, 0, 0, 0, 0, 0, 0},
                      {"Maker", "1.0", "01/02/2020"}),
            snapshot.structures[0].bytes);
  EXPECT_EQ(16u, snapshot.structures[1].type);
  EXPECT_EQ(127u, snapshot.structures[2].type);
  // The header: format word, the tail of the first megabyte, the contents
  // right behind the last structure, its entries in reverse table order.
  EXPECT_EQ(1u, LE32(snapshot.file, 0));
  EXPECT_EQ(30 + table.size(), LE32(snapshot.file, 22));
  EXPECT_EQ(3u, LE32(snapshot.file, 26));
  EXPECT_EQ(30 + table.size() + 3 * 8, snapshot.file.size());
  EXPECT_EQ(127, snapshot.file[30 + table.size()]);
  EXPECT_EQ(30u, LE32(snapshot.file, 30 + table.size() + 2 * 8 + 2));
}

TEST_F(DmiImageTest, TheTailOfTheFirstMegabyteAndTheFirmwareDate) {
  MemoryImage image;
  image.Anchor(0xF0000, 0xF1000, 0);
  std::string const tail(
      "\xEA\x5B\xE0\x00\xF0"
      "06/30/2021\0\xFC",
      16);
  image.Put(0xFFFF0, Bytes(tail.begin(), tail.begin() + 16));
  Snapshot snapshot = Take(image);
  ASSERT_NE(nullptr, snapshot.info);
  EXPECT_EQ(Bytes(tail.begin(), tail.begin() + 16),
            Bytes(snapshot.file.begin() + 4, snapshot.file.begin() + 20));
  EXPECT_STREQ("06/30/2021", snapshot.info->firmwareDate);

  std::string const shortDate(
      "\xEA\x5B\xE0\x00\xF0"
      "06/30/21\0\xFC\x00\x00",
      16);
  image.Put(0xFFFF0, Bytes(shortDate.begin(), shortDate.begin() + 16));
  snapshot = Take(image);
  EXPECT_STREQ("06/30/21", snapshot.info->firmwareDate);

  // Anything else behind eight characters is cut off.
  std::string const padded(
      "\xEA\x5B\xE0\x00\xF0"
      "06/30/21 \xFC\x00\x00",
      16);
  image.Put(0xFFFF0, Bytes(padded.begin(), padded.begin() + 16));
  snapshot = Take(image);
  EXPECT_STREQ("06/30/21", snapshot.info->firmwareDate);
}

TEST_F(DmiImageTest, ATableLengthOfZeroGivesAnEmptySnapshot) {
  MemoryImage image;
  image.Anchor(0xF0000, 0xF1000, 0);
  Snapshot const snapshot = Take(image);
  ASSERT_TRUE(snapshot.present);
  EXPECT_EQ(30u, snapshot.file.size());
  ASSERT_NE(nullptr, snapshot.info);
  EXPECT_EQ(0u, snapshot.info->contentsCount);
  EXPECT_EQ(nullptr, snapshot.info->contents);
}

TEST_F(DmiImageTest, AnAnchorWithABadSumIsSkipped) {
  MemoryImage image;
  Bytes const wrong =
      Joined({Structure(1, 0x10, {1, 2, 3, 4}, {"Wrong"}), Structure(127, 0x11, {})});
  Bytes const right = SmallTable();
  image.Put(0xE0000, wrong);
  image.Put(0xE1000, right);
  image.Anchor(0xF0000, 0xE0000, wrong.size(), 0x27, false);
  image.Anchor(0xF0010, 0xE1000, right.size());
  Snapshot const snapshot = Take(image);
  ASSERT_EQ(3u, snapshot.structures.size());
  EXPECT_EQ(0u, snapshot.structures[0].type);
}

TEST_F(DmiImageTest, AnyFifthByteOfTheAnchorPasses) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE0000, table);
  image.Anchor(0xF8000, 0xE0000, table.size(), 0x27, true, 'X');
  EXPECT_EQ(3u, Take(image).structures.size());
}

TEST_F(DmiImageTest, AnAnchorInTheESegmentIsNotFound) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE1000, table);
  image.Anchor(0xE0000, 0xE1000, table.size());
  EXPECT_FALSE(Take(image).present);
  // Nor one that is not on a paragraph.
  MemoryImage unaligned;
  unaligned.Put(0xE1000, table);
  unaligned.Anchor(0xF0008, 0xE1000, table.size());
  EXPECT_FALSE(Take(unaligned).present);
}

TEST_F(DmiImageTest, TheAnchorAtTheLastParagraphIsFound) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE0000, table);
  image.Anchor(0xFFFF0 - 16, 0xE0000, table.size());
  EXPECT_EQ(3u, Take(image).structures.size());
}

TEST_F(DmiImageTest, ATableCrossingIntoTheFSegmentLosesTheByteAt0xEFFFF) {
  // The byte at 0xEFFFF is the "B" of the first structure's string. The
  // last structure, of a type without strings, ends in a single NUL of its
  // own; the copy ends one byte short, and the zero that stands there
  // completes its double NUL.
  Bytes const table =
      Joined({Structure(1, 0, {}, {"ABC"}), Structure(2, 1, {}, {"x"}), Bytes{0x20, 4, 2, 0, 0}});
  std::uint32_t const address = 0xEFFFF - 5;
  MemoryImage image;
  image.Put(address, table);
  image.Anchor(0xF8000, address, table.size());
  Snapshot const snapshot = Take(image);
  ASSERT_TRUE(snapshot.present);
  Bytes shifted = table;
  shifted.erase(shifted.begin() + (0xEFFFF - address));
  shifted.push_back(0);
  Bytes stored;
  for (SnapshotStructure const& structure : snapshot.structures) {
    stored.insert(stored.end(), structure.bytes.begin(), structure.bytes.end());
  }
  EXPECT_EQ(shifted, stored);
  ASSERT_EQ(3u, snapshot.structures.size());
  EXPECT_EQ(Structure(1, 0, {}, {"AC"}), snapshot.structures[0].bytes);
  EXPECT_EQ(Structure(2, 1, {}, {"x"}), snapshot.structures[1].bytes);
  EXPECT_EQ((Bytes{0x20, 4, 2, 0, 0, 0}), snapshot.structures[2].bytes);
}

// A table of exactly `length` bytes: structures without strings of up to
// 255 formatted bytes, then the rest.
Bytes TableOfLength(std::size_t length) {
  Bytes table;
  unsigned handle = 0;
  while (length - table.size() > 0) {
    std::size_t const rest = length - table.size();
    std::size_t take = rest > 257 ? 257 : rest;
    if (rest > 257 && rest - 257 < 6) take = rest - 6;
    Bytes body(take - 6, static_cast<unsigned char>(handle));
    table = Joined({table, Structure(0x90, handle++, body)});
  }
  return table;
}

TEST_F(DmiImageTest, ATableOf16384BytesIsTakenAndOneOf16385Refused) {
  for (std::size_t const length : {std::size_t{16384}, std::size_t{16385}}) {
    Bytes const table = TableOfLength(length);
    ASSERT_EQ(length, table.size());
    MemoryImage image;
    image.Put(0xE0000, table);
    image.Anchor(0xF0000, 0xE0000, table.size());
    Snapshot const snapshot = Take(image);
    if (length == 16384) {
      ASSERT_TRUE(snapshot.present);
      Bytes stored;
      for (SnapshotStructure const& structure : snapshot.structures) {
        stored.insert(stored.end(), structure.bytes.begin(), structure.bytes.end());
      }
      EXPECT_EQ(table, stored);
    } else {
      EXPECT_FALSE(snapshot.present);
    }
  }
}

TEST_F(DmiImageTest, TheInstanceCounterWrapsAndTheLaterStructureWins) {
  Bytes table;
  for (unsigned i = 0; i < 258; ++i) {
    table = Joined({table, Structure(0xC8, i, {static_cast<unsigned char>(i >> 8)})});
  }
  table = Joined({table, Structure(127, 999, {})});
  MemoryImage image;
  image.Put(0xE0000, table);
  image.Anchor(0xF0000, 0xE0000, table.size());
  Snapshot const snapshot = Take(image);
  ASSERT_EQ(259u, snapshot.structures.size());
  EXPECT_EQ(0u, snapshot.structures[0].instance);
  EXPECT_EQ(255u, snapshot.structures[255].instance);
  EXPECT_EQ(0u, snapshot.structures[256].instance);
  EXPECT_EQ(1u, snapshot.structures[257].instance);
  DmiContentsEntry const* const found = snapshot.info->Find(0xC8, 0);
  ASSERT_NE(nullptr, found);
  // Handle 256, the 257th structure.
  EXPECT_EQ(256u, LE16(snapshot.file, found->offset + 2));
  EXPECT_EQ(nullptr, snapshot.info->Find(0xC8, 256));
}

TEST_F(DmiImageTest, ATypeWithoutStringsIsCutByTheTypeTableWhenTheFirstCutFails) {
  // A type-16 structure without its double NUL, then a last structure whose
  // block never ends within the table: the first cut runs off the end, the
  // second one takes both by their formatted lengths.
  Bytes first = Structure(16, 1, {3, 3, 3, 0, 0, 0, 0, 0xFE, 0xFF, 2, 0});
  first.resize(first.size() - 2);
  Bytes last = {127, 4, 2, 0};
  Bytes const table = Joined({first, last});
  MemoryImage image;
  image.Put(0xE0000, table);
  image.Anchor(0xF0000, 0xE0000, table.size());
  Snapshot const snapshot = Take(image);
  ASSERT_NE(nullptr, snapshot.info);
  EXPECT_EQ(3, snapshot.info->scanMode);
  EXPECT_EQ(0x27, snapshot.info->revision);
  ASSERT_EQ(2u, snapshot.structures.size());
  EXPECT_EQ(first, snapshot.structures[0].bytes);
  EXPECT_EQ(last, snapshot.structures[1].bytes);
}

TEST_F(DmiImageTest, TheStructureCountOfTheAnchorIsNotUsed) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE0000, table);
  image.Anchor(0xF0000, 0xE0000, table.size(), 0x27, true, '_', 40);
  EXPECT_EQ(3u, Take(image).structures.size());
}

TEST_F(DmiImageTest, BadTablesLeaveNoSnapshot) {
  Bytes const table = SmallTable();
  struct Case {
    char const* what;
    std::uint32_t address;
    std::size_t length;
  };
  for (Case const& bad : {Case{"above the first megabyte", 0x100000, table.size()},
                          Case{"in the low memory", 0x1000, table.size()},
                          Case{"running off the image", 0xFFFF0, 0x100}}) {
    MemoryImage image;
    image.Put(0xE0000, table);
    image.Anchor(0xF0000, bad.address, bad.length);
    EXPECT_FALSE(Take(image).present) << bad.what;
  }
  // A string block that never ends, in both cuts.
  Bytes endless = Structure(1, 0, {1, 2, 3, 4}, {"Never"});
  endless.resize(endless.size() - 1);
  std::fill(endless.begin() + 8, endless.end(), 'x');
  MemoryImage image;
  image.Put(0xE0000, endless);
  image.Anchor(0xF0000, 0xE0000, endless.size());
  EXPECT_FALSE(Take(image).present);
  // No anchor at all.
  EXPECT_FALSE(Take(MemoryImage{}).present);
}

TEST_F(DmiImageTest, AShortImageOrNoDeviceLeavesNoSnapshot) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE0000, table);
  image.Anchor(0xF0000, 0xE0000, table.size());
  Bytes shorter = image.bytes;
  shorter.resize(0xFFFFF);
  EXPECT_FALSE(TakeBytes(shorter).present);
  shorter.resize(0xF0000);
  EXPECT_FALSE(TakeBytes(shorter).present);
  sources_.Device(scratch_.Path() + "/none");
  DmiEx(output_.c_str());
  EXPECT_FALSE(Exists(output_));
}

TEST_F(DmiImageTest, AnEarlierFileIsDeletedFirst) {
  WriteBytes(output_, Bytes(100, 1));
  sources_.Device(scratch_.Path() + "/none");
  DmiEx(output_.c_str());
  EXPECT_FALSE(Exists(output_));
}

TEST_F(DmiImageTest, AnUnwritableStorageFolderLeavesNoSnapshot) {
  MemoryImage image;
  Bytes const table = SmallTable();
  image.Put(0xE0000, table);
  image.Anchor(0xF0000, 0xE0000, table.size());
  std::string const device = scratch_.Path() + "/mem";
  WriteBytes(device, image.bytes);
  sources_.Device(device);
  std::string const missing = scratch_.Path() + "/gone/info.dmi";
  DmiEx(missing.c_str());
  EXPECT_FALSE(Exists(missing));
  // A file in place of the folder.
  WriteBytes(scratch_.Path() + "/plain", Bytes(1, 0));
  std::string const underFile = scratch_.Path() + "/plain/info.dmi";
  DmiEx(underFile.c_str());
  EXPECT_FALSE(Exists(underFile));
}

// ---------------------------------------------------------------------------
// The snapshot file read back.

class DmiReadBackTest : public DmiImageTest {
 protected:
  Snapshot Written() {
    MemoryImage image;
    Bytes const table = SmallTable();
    image.Put(0xE0000, table);
    image.Anchor(0xF0000, 0xE0000, table.size());
    return Take(image);
  }
};

TEST_F(DmiReadBackTest, ACountThatLiesLeavesTheObjectWithoutStructures) {
  Snapshot written = Written();
  ASSERT_TRUE(written.present);
  for (std::uint32_t const count : {4u, 1000u, 0x20000000u, 0xFFFFFFFFu}) {
    Bytes file = written.file;
    PutLE32(file, 26, count);
    WriteBytes(output_, file);
    Snapshot const snapshot = ReadSnapshot(output_);
    ASSERT_NE(nullptr, snapshot.info) << count;
    EXPECT_EQ(0u, snapshot.info->contentsCount);
    EXPECT_EQ(nullptr, snapshot.info->contents);
  }
  Bytes file = written.file;
  PutLE32(file, 22, 0xFFFFFFF0u);
  WriteBytes(output_, file);
  EXPECT_EQ(0u, ReadSnapshot(output_).info->contentsCount);
}

TEST_F(DmiReadBackTest, AShortFileOrAnotherFormatIsNoSnapshot) {
  Snapshot written = Written();
  Bytes file = written.file;
  file.resize(29);
  WriteBytes(output_, file);
  EXPECT_EQ(nullptr, ReadSnapshot(output_).info);
  file = written.file;
  PutLE32(file, 0, 2);
  WriteBytes(output_, file);
  EXPECT_EQ(nullptr, ReadSnapshot(output_).info);
}

// ---------------------------------------------------------------------------
// The cut, on its own.

TEST(DmiCutTest, TheStringWalkIsBoundedByTheTable) {
  Bytes table = Structure(1, 0, {1, 2}, {"abc"});
  // Without its last NUL the block runs off the end.
  EXPECT_EQ(table.size(), getLengthOfStructure(table.data(), table.data() + table.size(), true));
  EXPECT_EQ(0u, getLengthOfStructure(table.data(), table.data() + table.size() - 1, true));
  // A length byte past the end.
  Bytes lying = {1, 200, 0, 0, 0, 0};
  EXPECT_EQ(0u, getLengthOfStructure(lying.data(), lying.data() + lying.size(), true));
  EXPECT_EQ(0u, getLengthOfStructure(lying.data(), lying.data() + lying.size(), false));
  Bytes one = {1};
  EXPECT_EQ(0u, getLengthOfStructure(one.data(), one.data() + 1, true));
}

TEST(DmiCutTest, TheTypeTable) {
  for (unsigned type :
       {5u, 15u, 16u, 18u, 19u, 20u, 21u, 23u, 24u, 25u, 27u, 32u, 33u, 36u, 127u}) {
    EXPECT_FALSE(dmiTypeUsesStrings(type)) << type;
  }
  for (unsigned type : {0u, 1u, 2u, 3u, 4u, 6u, 14u, 17u, 22u, 26u, 28u, 31u, 34u, 35u, 126u, 37u,
                        38u, 200u, 255u}) {
    EXPECT_TRUE(dmiTypeUsesStrings(type)) << type;
  }
  // A type without strings keeps its double NUL when it has one.
  Bytes const withNul = Structure(16, 0, {1, 2, 3});
  EXPECT_EQ(withNul.size(),
            getLengthOfStructure(withNul.data(), withNul.data() + withNul.size(), false));
  EXPECT_EQ(7u, getLengthOfStructure(withNul.data(), withNul.data() + 7, false));
}

// ---------------------------------------------------------------------------
// Real tables.

std::vector<std::string> FixtureNames() {
  std::vector<std::string> names;
  std::istringstream listing(Output("cd '" + FixturePath("dmi") + "' && ls *.bin"));
  std::string name;
  while (std::getline(listing, name)) {
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

void ExpectSameStructures(Printed const& printed, Snapshot const& snapshot,
                          std::string const& what) {
  ASSERT_TRUE(snapshot.present) << what;
  ASSERT_NE(nullptr, snapshot.info) << what;
  if (printed.broken) {
    EXPECT_GE(snapshot.structures.size(), printed.structures.size()) << what;
  } else {
    EXPECT_EQ(printed.structures.size(), snapshot.structures.size()) << what;
  }
  unsigned counts[256] = {};
  for (std::size_t i = 0; i < printed.structures.size() && i < snapshot.structures.size(); ++i) {
    PrintedStructure const& expected = printed.structures[i];
    SnapshotStructure const& got = snapshot.structures[i];
    ASSERT_GE(got.bytes.size(), 4u) << what << " #" << i;
    EXPECT_EQ(expected.type, got.type) << what << " #" << i;
    EXPECT_EQ(expected.handle, LE16(got.bytes, 2)) << what << " #" << i;
    EXPECT_EQ(expected.length, got.bytes[1]) << what << " #" << i;
    EXPECT_EQ(TableBytes(expected), got.bytes) << what << " #" << i;
    EXPECT_EQ(counts[expected.type] & 0xFF, got.instance) << what << " #" << i;
    ++counts[expected.type];
  }
}

class DmiFixtureTest : public DmiImageTest {};

TEST_F(DmiFixtureTest, EveryRealTableIsCutAsDmidecodeReadsIt) {
  std::vector<std::string> const names = FixtureNames();
  ASSERT_GE(names.size(), 20u);
  for (std::string const& name : names) {
    std::string const path = FixturePath("dmi/" + name);
    Printed const printed = PrintedByDmidecode(path);
    ASSERT_FALSE(printed.structures.empty()) << name;
    Bytes const dump = ReadBytes(path);
    ASSERT_GE(dump.size(), 32u);
    bool const sm3 = dump[0] == '_' && dump[1] == 'S' && dump[2] == 'M' && dump[3] == '3';
    std::size_t const entryLength = sm3 ? dump[6] : dump[5];
    std::size_t const tableLength = sm3 ? dump.size() - 32 : LE16(dump, 0x16);
    Bytes const table(dump.begin() + 32, dump.begin() + 32 + tableLength);
    unsigned const revision = (printed.major << 4) | printed.minor;

    // A folder laid out as the kernel publishes the table.
    {
      Sources sources;
      std::string const folder = scratch_.Path() + "/tables";
      ASSERT_EQ(0, system(("mkdir -p '" + folder + "'").c_str()));
      WriteBytes(folder + "/smbios_entry_point", Bytes(dump.begin(), dump.begin() + entryLength));
      WriteBytes(folder + "/DMI", table);
      sources.Folder(folder);
      DmiEx(output_.c_str());
      Snapshot const snapshot = ReadSnapshot(output_);
      ExpectSameStructures(printed, snapshot, name + " (folder)");
      if (snapshot.info != nullptr) {
        EXPECT_EQ(revision, snapshot.info->revision) << name;
      }
    }
    // The dump itself.
    {
      Sources sources;
      sources.Dump(path);
      DmiEx(output_.c_str());
      ExpectSameStructures(printed, ReadSnapshot(output_), name + " (dump)");
    }
    // A memory image, where the table fits.
    if (tableLength <= 0x4000) {
      MemoryImage image;
      image.Put(0xE0000, table);
      image.Anchor(0xF0000, 0xE0000, tableLength, static_cast<unsigned char>(revision));
      ExpectSameStructures(printed, Take(image), name + " (memory)");
    }
  }
}

TEST_F(DmiFixtureTest, FirmwareEntryPointsWithBadSumsOrLyingLengthsAreRefused) {
  std::string const path = FixturePath("dmi/uroot-Lenovo-ThinkPad-T480.bin");
  Bytes const dump = ReadBytes(path);
  std::string const folder = scratch_.Path() + "/tables";
  ASSERT_EQ(0, system(("mkdir -p '" + folder + "'").c_str()));
  Bytes entry(dump.begin(), dump.begin() + dump[6]);
  Bytes const table(dump.begin() + 32, dump.end());
  WriteBytes(folder + "/DMI", table);
  sources_.Folder(folder);

  Bytes bad = entry;
  bad[0x0C] ^= 1;
  WriteBytes(folder + "/smbios_entry_point", bad);
  DmiEx(output_.c_str());
  EXPECT_FALSE(Exists(output_));

  // A table file shorter than the entry point says: the cut runs off it.
  WriteBytes(folder + "/smbios_entry_point", entry);
  WriteBytes(folder + "/DMI", Bytes(table.begin(), table.begin() + table.size() / 2));
  DmiEx(output_.c_str());
  EXPECT_FALSE(Exists(output_));

  // No table file at all.
  ASSERT_EQ(0, system(("rm '" + folder + "/DMI'").c_str()));
  DmiEx(output_.c_str());
  EXPECT_FALSE(Exists(output_));
}

}  // namespace

namespace {

// ---------------------------------------------------------------------------
// Entry points.

Bytes Sm2EntryPoint(unsigned length, std::uint32_t address) {
  Bytes entry(31, 0);
  std::string const outer = "_SM_";
  std::copy(outer.begin(), outer.end(), entry.begin());
  entry[5] = 0x1F;
  entry[6] = 2;
  entry[7] = 8;
  std::string const inner = "_DMI_";
  std::copy(inner.begin(), inner.end(), entry.begin() + 16);
  PutLE16(entry, 0x16, length);
  PutLE32(entry, 0x18, address);
  entry[0x1E] = 0x27;
  FixSum(entry, 16, 15, 0x15);
  FixSum(entry, 0, 31, 4);
  return entry;
}

TEST(DmiEntryPointTest, EachLayoutIsReadWithItsSums) {
  DmiEntryPoint entry;
  Bytes sm2 = Sm2EntryPoint(0x1234, 0xABCDEF);
  ASSERT_TRUE(ReadDmiEntryPoint(sm2.data(), sm2.size(), entry));
  EXPECT_FALSE(entry.sm3);
  EXPECT_EQ(0x1234u, entry.length);
  EXPECT_EQ(0xABCDEFu, entry.address);
  EXPECT_EQ(0x28, entry.revision);  // the outer version, 2.8
  EXPECT_FALSE(ReadDmiEntryPoint(sm2.data(), 30, entry)) << "cut short";
  Bytes bad = sm2;
  bad[0x16] ^= 1;  // the inner sum breaks, and so does the outer one
  FixSum(bad, 0, 31, 4);
  EXPECT_FALSE(ReadDmiEntryPoint(bad.data(), bad.size(), entry));
  bad = sm2;
  bad[4] ^= 1;
  EXPECT_FALSE(ReadDmiEntryPoint(bad.data(), bad.size(), entry));

  Bytes sm3(24, 0);
  std::string const anchor = "_SM3_";
  std::copy(anchor.begin(), anchor.end(), sm3.begin());
  sm3[6] = 24;
  sm3[7] = 3;
  sm3[8] = 2;
  PutLE32(sm3, 0x0C, 0x5000);
  PutLE32(sm3, 0x10, 0x89ABCDEF);
  PutLE32(sm3, 0x14, 0x1);
  FixSum(sm3, 0, 24, 5);
  ASSERT_TRUE(ReadDmiEntryPoint(sm3.data(), sm3.size(), entry));
  EXPECT_TRUE(entry.sm3);
  EXPECT_EQ(0x32, entry.revision);
  EXPECT_EQ(0x5000u, entry.length);
  EXPECT_EQ(0x189ABCDEFull, entry.address);
  sm3[6] = 25;  // longer than what is there
  FixSum(sm3, 0, 24, 5);
  EXPECT_FALSE(ReadDmiEntryPoint(sm3.data(), sm3.size(), entry));

  Bytes legacy(sm2.begin() + 16, sm2.end());
  ASSERT_TRUE(ReadDmiEntryPoint(legacy.data(), legacy.size(), entry));
  EXPECT_EQ(0x27, entry.revision);
  EXPECT_FALSE(ReadDmiEntryPoint(legacy.data(), 14, entry));
  Bytes none = {'_', 'S', 'M', '4', '_'};
  EXPECT_FALSE(ReadDmiEntryPoint(none.data(), none.size(), entry));
  EXPECT_FALSE(ReadDmiEntryPoint(nullptr, 0, entry));
}

TEST_F(DmiImageTest, ADumpIsReadWhereItsEntryPointSays) {
  Bytes const table = SmallTable();
  Bytes dump = Sm2EntryPoint(table.size(), 64);
  dump.resize(64, 0xEE);
  dump.insert(dump.end(), table.begin(), table.end());
  std::string const path = scratch_.Path() + "/dump";
  WriteBytes(path, dump);
  sources_.Dump(path);
  // The dump stands in for the machine: the device is not read.
  MemoryImage image;
  Bytes const other = Structure(1, 0, {}, {"other"});
  image.Put(0xE0000, other);
  image.Anchor(0xF0000, 0xE0000, other.size());
  Snapshot snapshot = Take(image);
  ASSERT_EQ(3u, snapshot.structures.size());
  EXPECT_EQ(table, Joined({snapshot.structures[0].bytes, snapshot.structures[1].bytes,
                           snapshot.structures[2].bytes}));
  EXPECT_EQ(0x28, snapshot.info->revision);
  // A table address past the end of the dump.
  dump = Sm2EntryPoint(table.size(), 4096);
  WriteBytes(path, dump);
  EXPECT_FALSE(Take(image).present);
}

TEST_F(DmiImageTest, TheFolderIsReadOnlyWhenMemoryHasNoTable) {
  Bytes const table = SmallTable();
  std::string const folder = scratch_.Path() + "/tables";
  ASSERT_EQ(0, mkdir(folder.c_str(), 0700));
  WriteBytes(folder + "/smbios_entry_point", Sm2EntryPoint(table.size(), 0x7F000000));
  WriteBytes(folder + "/DMI", table);
  sources_.Folder(folder);
  MemoryImage image;
  Bytes const other = Structure(1, 0, {}, {"other"});
  image.Put(0xE0000, other);
  image.Anchor(0xF0000, 0xE0000, other.size());
  Snapshot snapshot = Take(image);
  ASSERT_EQ(1u, snapshot.structures.size());
  EXPECT_EQ(other, snapshot.structures[0].bytes);
  // Without the anchor, the folder's table; the tail of the first megabyte
  // is still the device's.
  image.bytes[0xF0000] = 0;
  image.Put(0xFFFF0, Bytes(16, 0x41));
  snapshot = Take(image);
  ASSERT_EQ(3u, snapshot.structures.size());
  EXPECT_EQ(Bytes(16, 0x41), Bytes(snapshot.file.begin() + 4, snapshot.file.begin() + 20));
  // A table file over 1 MiB is refused.
  Bytes huge = table;
  huge.resize(0x100001, 0);
  WriteBytes(folder + "/DMI", huge);
  EXPECT_FALSE(Take(image).present);
}

}  // namespace
