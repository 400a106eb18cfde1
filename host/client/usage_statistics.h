// The per-application statistics files of the usage log: "NAME.stat" in the
// storage folder's "UsageData", one per application with events, written by
// the host when events are imported and read back for the usage summary.
//
// A file is exactly 40 bytes, every number least significant byte first:
//
//   offset  size  field
//        0     4  run count, unsigned: the "Application Start" events
//        4     8  first start, signed: the earliest start's time, 0 for none
//       12     8  last start, signed: the latest start's time, 0 for none
//       20     8  last seen, signed: the latest time of any event of types
//                 0 to 3, 0 for none
//       28     8  total duration, signed: the sum over the stretches of the
//                 stream of the instances running in it times its length
//       36     4  running, unsigned: 1 when instances ran after the last
//                 event, else 0
//
// Times count microseconds since 1970 in UTC; the duration counts
// microseconds. A file of any other size tells nothing: its application is
// not known.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/client/client_records.h"

namespace survey::client {

struct UsageStatistics {
  std::uint32_t runCount = 0;
  std::int64_t firstStart = 0;
  std::int64_t lastStart = 0;
  std::int64_t lastSeen = 0;
  std::int64_t totalDuration = 0;
  std::uint32_t running = 0;

  bool operator==(UsageStatistics const&) const = default;
};

inline constexpr std::size_t kUsageStatisticsSize = 40;
inline constexpr char kUsageStatisticsExtension[] = ".stat";

// The file's bytes, and the statistics of bytes that are a file's: nothing
// for any other size.
std::string EncodeUsageStatistics(UsageStatistics const& statistics);
std::optional<UsageStatistics> DecodeUsageStatistics(std::string_view bytes);

// The statistics of one application's events, in stream order. The stream
// is walked as the library's "application usage" walks it: the last time
// starts at 0 and the count at 0; "Start Sampling" sets the last time and a
// count of 0; a start or an end at the last time changes the count; at
// another time it closes the stretch since the last time with the count it
// had, and so does "End Sampling", which then sets the count to 0. Each
// closed stretch adds its count (when above 0) times its length to the
// total duration, which stops at the largest 64-bit number. Events of other
// types are passed over.
UsageStatistics ComputeUsageStatistics(std::vector<UsageEventRecord> const& events);

// The statistics of each application among the events (grouped by
// application, in stream order within each), by name.
std::vector<std::pair<std::string, UsageStatistics>> StatisticsByApplication(
    std::vector<UsageEventRecord> const& events);

// Whether the name can stand before ".stat" as a file name of the folder.
bool IsUsageApplicationName(std::string_view name);

// The statistics of the file "NAME.stat" in that folder: nothing when the
// name cannot be a file's, the file is missing or unreadable, or its size
// is not that of a statistics file.
std::optional<UsageStatistics> ReadUsageStatisticsFile(std::string const& folder,
                                                       std::string_view name);

// Makes the folder's statistics those of the events, in two steps so that
// they change together with the records: the constructor writes each
// application's file under a temporary name in the folder (".new.PID.K"), `Commit`
// renames them all into place and removes the files "*.stat" of
// applications without events, and an update that is not committed
// removes its temporary files. Both steps throw std::runtime_error, telling
// why, when a file cannot be written.
class UsageStatisticsUpdate {
 public:
  UsageStatisticsUpdate(std::string folder, std::vector<UsageEventRecord> const& events);
  UsageStatisticsUpdate(UsageStatisticsUpdate const&) = delete;
  UsageStatisticsUpdate& operator=(UsageStatisticsUpdate const&) = delete;
  ~UsageStatisticsUpdate();

  void Commit();

 private:
  std::string folder_;
  // The final and the temporary path of each file.
  std::vector<std::pair<std::string, std::string>> files_;
  bool committed_ = false;
};

}  // namespace survey::client
