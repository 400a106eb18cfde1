// The statistics files of the usage log, on any bytes: the reader takes
// exactly the bytes of a file's size and gives back what encodes to the same
// bytes, from memory and from a file alike, and refuses every other size.
// The same bytes, cut into events, give totals that keep their own rules.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "host/client/usage_statistics.h"

namespace {

using survey::client::DecodeUsageStatistics;
using survey::client::EncodeUsageStatistics;
using survey::client::UsageEventRecord;
using survey::client::UsageStatistics;

void Fail(char const* message) {
  std::fprintf(stderr, "%s\n", message);
  std::abort();
}

std::string const& Folder() {
  static std::string const folder = [] {
    char name[] = "/tmp/usage-statistics-fuzz-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    return std::string(name);
  }();
  return folder;
}

// Events of one application from the bytes: a type byte (0 to 4, the last
// standing for any other type) and a time of two bytes each.
std::vector<UsageEventRecord> EventsOf(std::string const& bytes) {
  std::vector<UsageEventRecord> events;
  for (std::size_t at = 0; at + 3 <= bytes.size(); at += 3) {
    UsageEventRecord event;
    event.application = "app";
    unsigned const type = static_cast<unsigned char>(bytes[at]) % 5;
    event.type = type == 4 ? 9 : type;
    event.time = static_cast<unsigned char>(bytes[at + 1]) * 256 + static_cast<unsigned char>(bytes[at + 2]);
    events.push_back(event);
  }
  return events;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const bytes(reinterpret_cast<char const*>(data), size);
  std::optional<UsageStatistics> const decoded = DecodeUsageStatistics(bytes);
  if (decoded.has_value() != (size == survey::client::kUsageStatisticsSize)) {
    Fail("a statistics file of the wrong size was taken, or one of the right size refused");
  }
  if (decoded && EncodeUsageStatistics(*decoded) != bytes) {
    Fail("the statistics read do not encode to their bytes");
  }
  {
    std::ofstream out(Folder() + "/fuzz.stat", std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  if (survey::client::ReadUsageStatisticsFile(Folder(), "fuzz") != decoded) {
    Fail("the file reads otherwise than its bytes");
  }

  std::vector<UsageEventRecord> const events = EventsOf(bytes);
  UsageStatistics const totals = survey::client::ComputeUsageStatistics(events);
  std::uint32_t starts = 0;
  std::int64_t latest = 0;
  for (UsageEventRecord const& event : events) {
    if (event.type == 1) ++starts;
    if (event.type <= 3 && event.time > latest) latest = event.time;
  }
  if (totals.runCount != starts) Fail("the run count is not the number of starts");
  if (totals.lastSeen != latest) Fail("the last time seen is not the latest event's");
  if (totals.running > 1 || totals.totalDuration < 0) Fail("the totals are out of their range");
  if (starts != 0 && (totals.firstStart > totals.lastStart || totals.lastStart > latest)) {
    Fail("the starts are out of order");
  }
  if (DecodeUsageStatistics(EncodeUsageStatistics(totals)) != totals) {
    Fail("the totals do not read back");
  }
  return 0;
}
