// Memory and swap: both kinds of report (fixtures, with the expected amounts
// read from them by python3 at test time), the edge cases of the rules, bad
// texts, the width of swap amounts in each build, this machine's
// /proc/meminfo against free and python3, and what the unit registers.

#include "survey/system/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <fstream>
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
using survey::system::testing::ReadMemoryFrom;
using survey::testing::AskCommand;
using survey::testing::FixturePath;
using survey::testing::OnlyValue;
using survey::testing::RegisteredRow;
using survey::testing::Trimmed;

std::string Output(std::string const& command) {
  return Trimmed(survey::testing::RunShell(command).output);
}

long long Number(std::string const& text) {
  EXPECT_FALSE(text.empty());
  return text.empty() ? -2 : std::stoll(text);
}

// The first number of the line of `key` (matched at the line's start, case
// blind) in `file`, times `scale`, as python3 reads it; "" when there is no
// such line.
std::string PythonAmount(std::string const& file, std::string const& key, int scale) {
  return Output(
      "python3 -c 'import re,sys\n"
      "for line in open(sys.argv[1]):\n"
      "    if line.lower().startswith(sys.argv[2].lower()):\n"
      "        print(int(re.search(\"[0-9]+\", line).group()) * int(sys.argv[3]))\n"
      "        break' '" +
      file + "' '" + key + "' " + std::to_string(scale));
}

// The `n`th number (from 0) of the line that starts with `key`, by python3.
std::string PythonTableAmount(std::string const& file, std::string const& key, int n) {
  return Output(
      "python3 -c 'import re,sys\n"
      "for line in open(sys.argv[1]):\n"
      "    if line.startswith(sys.argv[2]):\n"
      "        print(re.findall(\"[0-9]+\", line)[int(sys.argv[3])])\n"
      "        break' '" +
      file + "' '" + key + "' " + std::to_string(n));
}

class MemoryFileTest : public ::testing::Test {
 protected:
  ~MemoryFileTest() override { ReadMemoryFrom(nullptr); }

  void UseFixture(std::string const& name) {
    path_ = FixturePath("meminfo/" + name);
    ReadMemoryFrom(path_.c_str());
  }

  void UseText(std::string const& text) {
    path_ = scratch_.Path() + "/meminfo";
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    ASSERT_TRUE(out.good());
    ReadMemoryFrom(path_.c_str());
  }

  Evaluation evaluation_{Registry::Default()};
  Evaluation::Scope scope_{evaluation_};
  survey::testing::ScratchFolder scratch_{"survey-memory-test"};
  std::string path_;
};

// ---------------------------------------------------------------------------
// The two kinds of report.

TEST_F(MemoryFileTest, NewerListIsInKilobytes) {
  UseFixture("this-machine-linux-6.txt");
  ram_info const ram = Ram_of_world();
  long long const total = Number(PythonAmount(path_, "MemTotal:", 1024));
  long long const free = Number(PythonAmount(path_, "MemFree:", 1024));
  long long const buffers = Number(PythonAmount(path_, "Buffers:", 1024));
  long long const cached = Number(PythonAmount(path_, "Cached:", 1024));
  EXPECT_EQ(total, Total_of_ram(ram).value);
  EXPECT_EQ(free, Free_of_ram(ram).value);
  EXPECT_EQ(total - free, Used_of_ram(ram).value);
  EXPECT_EQ(buffers, Buffered_of_ram(ram).value);
  EXPECT_EQ(cached, Cached_of_ram(ram).value);
  EXPECT_EQ(free + cached + buffers, Available_of_ram(ram).value);
  EXPECT_EQ(total - free - cached - buffers, Unavailable_of_ram(ram).value);
  EXPECT_THROW(Shared_of_ram(ram), NoSuchObject);
  // "SwapTotal:" is not "Swap:": no swap object on such kernels.
  EXPECT_THROW(Swap_of_world(), NoSuchObject);
}

TEST_F(MemoryFileTest, OlderTableIsInBytesWithoutShift) {
  UseFixture("linux-2.4-table.txt");
  ram_info const ram = Ram_of_world();
  integer (*const amounts[])(ram_info const&) = {&Total_of_ram,  &Used_of_ram,     &Free_of_ram,
                                                 &Shared_of_ram, &Buffered_of_ram, &Cached_of_ram};
  for (int n = 0; n < 6; ++n) {
    SCOPED_TRACE(n);
    EXPECT_EQ(Number(PythonTableAmount(path_, "Mem:", n)), amounts[n](ram).value);
  }
  swap_info const swap = Swap_of_world();
  EXPECT_EQ(Number(PythonTableAmount(path_, "Swap:", 0)), Total_of_swap(swap).value);
  EXPECT_EQ(Number(PythonTableAmount(path_, "Swap:", 1)), Used_of_swap(swap).value);
  EXPECT_EQ(Number(PythonTableAmount(path_, "Swap:", 2)), Free_of_swap(swap).value);
}

TEST_F(MemoryFileTest, MemLineEndsTheScan) {
  UseText("MemFree: 1 kB\nMem: 1 2 3 4 5 6 7\nMemTotal: 100 kB\nCached: 9 kB\n");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(1, Total_of_ram(ram).value);
  EXPECT_EQ(2, Used_of_ram(ram).value);
  EXPECT_EQ(3, Free_of_ram(ram).value);
  EXPECT_EQ(4, Shared_of_ram(ram).value);
  EXPECT_EQ(5, Buffered_of_ram(ram).value);
  EXPECT_EQ(6, Cached_of_ram(ram).value);
  EXPECT_EQ(3 + 6 + 5, Available_of_ram(ram).value);
  EXPECT_EQ(2 - 6 - 5, Unavailable_of_ram(ram).value);
}

TEST_F(MemoryFileTest, SwapOfTwoGibibytesOrMoreFitsOnlyTheSixtyFourBitBuild) {
  UseFixture("linux-2.4-table-4-gib-swap.txt");
  swap_info const swap = Swap_of_world();
  long long const total = Number(PythonTableAmount(path_, "Swap:", 0));
  long long const used = Number(PythonTableAmount(path_, "Swap:", 1));
  long long const free = Number(PythonTableAmount(path_, "Swap:", 2));
  ASSERT_GT(total, 2147483647LL);
  if constexpr (sizeof(long) == 4) {
    // The 32-bit build keeps 32-bit amounts: what does not fit is cut to the
    // largest.
    EXPECT_EQ(2147483647, Total_of_swap(swap).value);
    EXPECT_EQ(used, Used_of_swap(swap).value);
    EXPECT_EQ(2147483647, Free_of_swap(swap).value);
  } else {
    EXPECT_EQ(total, Total_of_swap(swap).value);
    EXPECT_EQ(used, Used_of_swap(swap).value);
    EXPECT_EQ(free, Free_of_swap(swap).value);
  }
  // Memory amounts are 64-bit in both builds.
  EXPECT_EQ(Number(PythonTableAmount(path_, "Mem:", 0)), Total_of_ram(Ram_of_world()).value);
}

TEST_F(MemoryFileTest, SwapAmountsHaveTheWidthOfTheBuildsLong) {
  EXPECT_EQ(sizeof(long), sizeof(swap_amount));
  EXPECT_EQ(sizeof(void*) == 4 ? 4u : 8u, sizeof(swap_amount));
}

// ---------------------------------------------------------------------------
// The edge cases of the rules.

TEST_F(MemoryFileTest, TotalAndFreeOnlyGiveUsedAndNothingElse) {
  UseFixture("memtotal-memfree-only.txt");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(512 * 1024, Used_of_ram(ram).value);
  EXPECT_THROW(Shared_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Cached_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Buffered_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Available_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Unavailable_of_ram(ram), NoSuchObject);
}

TEST_F(MemoryFileTest, KilobyteCountIsShiftedByTen) {
  UseFixture("memtotal-memfree-only.txt");
  EXPECT_EQ(1048576, Total_of_ram(Ram_of_world()).value);
}

TEST_F(MemoryFileTest, SwapTotalAndSwapFreeOnlyGiveNoSwap) {
  UseFixture("swaptotal-swapfree-only.txt");
  EXPECT_THROW(Swap_of_world(), NoSuchObject);
  // Nor any memory.
  EXPECT_THROW(Ram_of_world(), NoSuchObject);
}

TEST_F(MemoryFileTest, MissingFileIsAFileError) {
  ReadMemoryFrom((scratch_.Path() + "/missing").c_str());
  EXPECT_THROW(Ram_of_world(), FileIOError);
  EXPECT_THROW(Swap_of_world(), FileIOError);
}

TEST_F(MemoryFileTest, EmptyFileHasNoMemoryAndNoSwap) {
  UseText("");
  EXPECT_THROW(Ram_of_world(), NoSuchObject);
  EXPECT_THROW(Swap_of_world(), NoSuchObject);
}

TEST_F(MemoryFileTest, AnyOfFreeBuffersAndCachedMakesTheObject) {
  UseText("Cached: 4 kB\n");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(4096, Cached_of_ram(ram).value);
  EXPECT_THROW(Total_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Used_of_ram(ram), NoSuchObject);
  // A key without a number tells nothing.
  UseText("MemTotal: kB\nMemFree:\n");
  EXPECT_THROW(Ram_of_world(), NoSuchObject);
}

TEST_F(MemoryFileTest, FirstLineOfAKeyCountsAndKeysIgnoreCase) {
  UseText("MEMTOTAL: 8 kB\nmemtotal: 16 kB\nMemFree: 2 kB\n  Buffers: 1 kB\nSwapCached: 3 kB\n");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(8192, Total_of_ram(ram).value);
  EXPECT_EQ(2048, Free_of_ram(ram).value);
  // Keys are matched at the line's start only.
  EXPECT_THROW(Buffered_of_ram(ram), NoSuchObject);
  EXPECT_THROW(Cached_of_ram(ram), NoSuchObject);
}

TEST_F(MemoryFileTest, NumbersAreFoundPastJunkAndStopAtTheLargest) {
  UseText(
      "MemTotal: about 12kB or so\nMemFree: 99999999999999999999 kB\n"
      "Buffers: 9007199254740991 kB\n");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(12 * 1024, Total_of_ram(ram).value);
  // The largest 64-bit number shifted by ten loses its top bits.
  EXPECT_EQ(-1024, Free_of_ram(ram).value);
  EXPECT_EQ(9007199254740991LL * 1024, Buffered_of_ram(ram).value);
  // No overflow trap in the sums and differences.
  EXPECT_EQ(12 * 1024 + 1024, Used_of_ram(ram).value);
}

TEST_F(MemoryFileTest, MemLineWithFewerNumbersLeavesTheRestUnknown) {
  UseText("Mem: 100 50\nMemFree: 7 kB\n");
  ram_info const ram = Ram_of_world();
  EXPECT_EQ(100, Total_of_ram(ram).value);
  EXPECT_EQ(50, Used_of_ram(ram).value);
  EXPECT_THROW(Free_of_ram(ram), NoSuchObject);
  // Even a "Mem:" line without numbers makes an object: nothing further is
  // done after it.
  UseText("mem:\n");
  EXPECT_THROW(Total_of_ram(Ram_of_world()), NoSuchObject);
}

TEST_F(MemoryFileTest, LastSwapLineGivesTheAmounts) {
  UseText("Swap: 10 20 30\nswap: 40 50\n");
  swap_info const swap = Swap_of_world();
  EXPECT_EQ(40, Total_of_swap(swap).value);
  EXPECT_EQ(50, Used_of_swap(swap).value);
  EXPECT_THROW(Free_of_swap(swap), NoSuchObject);
}

TEST_F(MemoryFileTest, HugeFileIsReadToItsEnd) {
  std::string text;
  for (int n = 0; n < 200000; ++n) text += "Junk" + std::to_string(n) + ": 1 kB\n";
  text += std::string(100000, 'x') + "\nMemTotal: 3 kB\nSwap: 1 2 3\n";
  UseText(text);
  EXPECT_EQ(3072, Total_of_ram(Ram_of_world()).value);
  EXPECT_EQ(3, Free_of_swap(Swap_of_world()).value);
}

TEST_F(MemoryFileTest, LongLineGoesOnAsALineOfItsOwn) {
  // 255 bytes fit the buffer; the rest starts a line of its own.
  UseText("Active: " + std::string(247, '1') + "MemTotal: 5 kB\n");
  EXPECT_EQ(5120, Total_of_ram(Ram_of_world()).value);
}

TEST_F(MemoryFileTest, OpenFileIsReadFromWhereItStands) {
  std::string const text = "MemTotal: 1 kB\nSwap: 1 2 3\n";
  std::FILE* const file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(1024, Total_of_ram(ram_info(file)).value);
  std::rewind(file);
  EXPECT_EQ(2, Used_of_swap(swap_info(file)).value);
  std::fclose(file);
}

// ---------------------------------------------------------------------------
// This machine.

// The amount that `free -b` shows in a column of its "Mem:" line.
long long FreeColumn(int column, bool wide = false) {
  return Number(Output(std::string("LC_ALL=C free -b") + (wide ? " -w" : "") +
                       " | awk '/^Mem:/ { print $" + std::to_string(column) + " }'"));
}

long long Ask(std::string const& query) { return Number(OnlyValue(AskCommand(query), query)); }

TEST(MemoryMachineTest, TotalIsWhatFreeShows) {
  EXPECT_EQ(FreeColumn(2), Ask("size of ram"));
  EXPECT_EQ(FreeColumn(2), Ask("total amount of random access memory"));
  EXPECT_EQ(Number(PythonAmount("/proc/meminfo", "MemTotal:", 1024)), Ask("size of ram"));
}

// Our reading of a changing amount, taken between two readings of the
// other tool: it must lie within the range those two span, widened by the
// tolerance on each side. On a busy machine memory moves by hundreds of
// mebibytes in a second, so a single reading before ours is not enough.
void ExpectBetweenReadings(std::function<long long()> const& oracle,
                           std::function<long long()> const& ours, double tolerance,
                           char const* what) {
  long long const before = oracle();
  long long const value = ours();
  long long const after = oracle();
  double const low = static_cast<double>(std::min(before, after)) - tolerance;
  double const high = static_cast<double>(std::max(before, after)) + tolerance;
  EXPECT_LE(low, static_cast<double>(value)) << what << ": other tool read " << before << " then "
                                              << after;
  EXPECT_GE(high, static_cast<double>(value)) << what << ": other tool read " << before
                                               << " then " << after;
}

TEST(MemoryMachineTest, ChangingAmountsAgreeWithFreeAndPythonWithinATolerance) {
  // Memory moves between the reads: an eighth of the total, or 256 MiB,
  // whichever is less, is allowed beyond what the other tool saw move.
  long long const total = FreeColumn(2);
  double const tolerance = static_cast<double>(std::min(total / 8, 256LL << 20));
  auto const ask = [](char const* query) { return [query] { return Ask(query); }; };
  auto const meminfo = [](char const* key) {
    return [key] { return Number(PythonAmount("/proc/meminfo", key, 1024)); };
  };
  ExpectBetweenReadings([] { return FreeColumn(4); }, ask("free amount of ram"), tolerance,
                        "free, beside free -b");
  ExpectBetweenReadings(meminfo("MemFree:"), ask("free amount of ram"), tolerance,
                        "free, beside MemFree");
  ExpectBetweenReadings([] { return FreeColumn(6, true); }, ask("buffered amount of ram"),
                        tolerance, "buffered");
  ExpectBetweenReadings(meminfo("Cached:"), ask("cached amount of ram"), tolerance, "cached");
  ExpectBetweenReadings([&] { return total - FreeColumn(4); }, ask("used amount of ram"),
                        tolerance, "used");
  ExpectBetweenReadings(
      [] {
        return Number(Output(
            "python3 -c 'import re\n"
            "v = {}\n"
            "for line in open(\"/proc/meminfo\"):\n"
            "    k, n = line.split(\":\")[0], int(re.search(\"[0-9]+\", line).group())\n"
            "    v.setdefault(k, n)\n"
            "print((v[\"MemFree\"] + v[\"Buffers\"] + v[\"Cached\"]) * 1024)'"));
      },
      ask("available amount of ram"), tolerance, "available");
}

TEST(MemoryMachineTest, SharedAndSwapAsTheKernelsReportKindAllows) {
  std::string const kind = Output(
      "python3 -c 'import sys\n"
      "lines = [l.lower() for l in open(\"/proc/meminfo\")]\n"
      "print(\"table\" if any(l.startswith(\"mem:\") for l in lines) else \"list\")\n"
      "print(\"swap\" if any(l.startswith(\"swap:\") for l in lines) else \"none\")'");
  if (kind.rfind("list", 0) == 0) {
    EXPECT_EQ("no value", AskCommand("shared amount of ram").error);
  }
  bool const swapLine = kind.find("swap") != std::string::npos;
  EXPECT_EQ(swapLine ? "True" : "False", OnlyValue(AskCommand("exists swap")));
  EXPECT_EQ(swapLine ? "1" : "0", OnlyValue(AskCommand("number of swaps")));
}

// ---------------------------------------------------------------------------
// Registration.

TEST(MemoryRegistrationTest, RegistersTypesAndPhrasesInTableOrder) {
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  auto const amount = [&](char const* singular, char const* plural, char const* object) {
    return RegisteredRow{
        RecordKind::kProperty, singular, plural, "", object, "integer", parameters};
  };
  std::vector<RegisteredRow> const expected = {
      {RecordKind::kType, "ram", "", "", "", "", nullptr},
      {RecordKind::kType, "swap", "", "", "", "", nullptr},
      {RecordKind::kProperty, "ram", "rams", "", "", "ram", nullptr},
      {RecordKind::kProperty, "random access memory", "random access memories", "", "", "ram",
       nullptr},
      amount("size", "sizes", "ram"),
      amount("total amount", "total amounts", "ram"),
      amount("used amount", "used amounts", "ram"),
      amount("free amount", "free amounts", "ram"),
      amount("shared amount", "shared amounts", "ram"),
      amount("buffered amount", "buffered amounts", "ram"),
      amount("cached amount", "cached amounts", "ram"),
      amount("available amount", "available amounts", "ram"),
      amount("unavailable amount", "unavailable amounts", "ram"),
      {RecordKind::kProperty, "swap", "swaps", "", "", "swap", nullptr},
      amount("size", "sizes", "swap"),
      amount("total amount", "total amounts", "swap"),
      amount("used amount", "used amounts", "swap"),
      amount("free amount", "free amounts", "swap"),
  };
  survey::testing::ExpectRows(expected, survey::testing::RegisteredFrom("ram", expected.size()));
}

}  // namespace
