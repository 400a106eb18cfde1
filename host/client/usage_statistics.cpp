#include "host/client/usage_statistics.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

namespace survey::client {

namespace {

void PutLittleEndian(std::string& bytes, std::uint64_t value, int size) {
  for (int k = 0; k < size; ++k) bytes += static_cast<char>((value >> (8 * k)) & 0xFF);
}

std::uint64_t TakeLittleEndian(std::string_view bytes, std::size_t offset, int size) {
  std::uint64_t value = 0;
  for (int k = size - 1; k >= 0; --k) {
    value = (value << 8) | static_cast<unsigned char>(bytes[offset + static_cast<std::size_t>(k)]);
  }
  return value;
}

std::int64_t Signed(std::uint64_t value) {
  std::int64_t result;
  std::memcpy(&result, &value, sizeof result);
  return result;
}

// a + b, stopping at the largest number; both are not negative.
std::int64_t SaturatingAdd(std::int64_t a, std::int64_t b) {
  std::int64_t sum;
  if (__builtin_add_overflow(a, b, &sum)) return std::numeric_limits<std::int64_t>::max();
  return sum;
}

std::int64_t SaturatingProduct(std::int64_t a, std::int64_t b) {
  std::int64_t product;
  if (__builtin_mul_overflow(a, b, &product)) return std::numeric_limits<std::int64_t>::max();
  return product;
}

std::string ErrorText(std::string const& what, int error) {
  return what + ": " + std::strerror(error);
}

}  // namespace

std::string EncodeUsageStatistics(UsageStatistics const& statistics) {
  std::string bytes;
  bytes.reserve(kUsageStatisticsSize);
  PutLittleEndian(bytes, statistics.runCount, 4);
  PutLittleEndian(bytes, static_cast<std::uint64_t>(statistics.firstStart), 8);
  PutLittleEndian(bytes, static_cast<std::uint64_t>(statistics.lastStart), 8);
  PutLittleEndian(bytes, static_cast<std::uint64_t>(statistics.lastSeen), 8);
  PutLittleEndian(bytes, static_cast<std::uint64_t>(statistics.totalDuration), 8);
  PutLittleEndian(bytes, statistics.running, 4);
  return bytes;
}

std::optional<UsageStatistics> DecodeUsageStatistics(std::string_view bytes) {
  if (bytes.size() != kUsageStatisticsSize) return std::nullopt;
  UsageStatistics statistics;
  statistics.runCount = static_cast<std::uint32_t>(TakeLittleEndian(bytes, 0, 4));
  statistics.firstStart = Signed(TakeLittleEndian(bytes, 4, 8));
  statistics.lastStart = Signed(TakeLittleEndian(bytes, 12, 8));
  statistics.lastSeen = Signed(TakeLittleEndian(bytes, 20, 8));
  statistics.totalDuration = Signed(TakeLittleEndian(bytes, 28, 8));
  statistics.running = static_cast<std::uint32_t>(TakeLittleEndian(bytes, 36, 4));
  return statistics;
}

UsageStatistics ComputeUsageStatistics(std::vector<UsageEventRecord> const& events) {
  UsageStatistics statistics;
  bool started = false;
  std::int64_t last = 0;
  std::int64_t count = 0;
  for (UsageEventRecord const& event : events) {
    if (event.type > 3) continue;
    std::int64_t const at = event.time;
    statistics.lastSeen = std::max(statistics.lastSeen, at);
    if (event.type == 1) {
      ++statistics.runCount;
      statistics.firstStart = started ? std::min(statistics.firstStart, at) : at;
      statistics.lastStart = started ? std::max(statistics.lastStart, at) : at;
      started = true;
    }
    if (event.type == 0) {
      last = at;
      count = 0;
      continue;
    }
    std::int64_t const next = event.type == 1 ? count + 1 : event.type == 2 ? count - 1 : 0;
    if (at == last) {
      if (event.type != 3) count = next;
      continue;
    }
    if (count > 0) {
      std::int64_t const length = at > last ? at - last : last - at;
      statistics.totalDuration =
          SaturatingAdd(statistics.totalDuration, SaturatingProduct(count, length));
    }
    last = at;
    count = next;
  }
  statistics.running = count > 0 ? 1 : 0;
  return statistics;
}

std::vector<std::pair<std::string, UsageStatistics>> StatisticsByApplication(
    std::vector<UsageEventRecord> const& events) {
  std::map<std::string, std::vector<UsageEventRecord>> byApplication;
  for (UsageEventRecord const& event : events) byApplication[event.application].push_back(event);
  std::vector<std::pair<std::string, UsageStatistics>> statistics;
  for (auto const& [name, stream] : byApplication) {
    statistics.emplace_back(name, ComputeUsageStatistics(stream));
  }
  return statistics;
}

bool IsUsageApplicationName(std::string_view name) {
  return !name.empty() && name.size() <= kMaximumApplicationNameLength && name != "." &&
         name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

std::optional<UsageStatistics> ReadUsageStatisticsFile(std::string const& folder,
                                                       std::string_view name) {
  if (!IsUsageApplicationName(name)) return std::nullopt;
  std::string const path = folder + "/" + std::string(name) + kUsageStatisticsExtension;
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  // One byte more than a file holds is enough to tell a longer file.
  char bytes[kUsageStatisticsSize + 1];
  in.read(bytes, sizeof bytes);
  if (in.bad()) return std::nullopt;
  return DecodeUsageStatistics(std::string_view(bytes, static_cast<std::size_t>(in.gcount())));
}

UsageStatisticsUpdate::UsageStatisticsUpdate(std::string folder,
                                             std::vector<UsageEventRecord> const& events)
    : folder_(std::move(folder)) {
  // The temporary names are short, whatever the application's name, so
  // that the longest names still have a file.
  std::string const prefix = folder_ + "/.new." + std::to_string(getpid()) + ".";
  for (auto const& [name, statistics] : StatisticsByApplication(events)) {
    if (!IsUsageApplicationName(name)) {
      throw std::runtime_error("the application " + name + " cannot name a statistics file");
    }
    std::string const path = folder_ + "/" + name + kUsageStatisticsExtension;
    files_.emplace_back(path, prefix + std::to_string(files_.size()));
    std::string const bytes = EncodeUsageStatistics(statistics);
    std::ofstream out(files_.back().second, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) throw std::runtime_error(ErrorText("cannot write " + files_.back().second, errno));
  }
}

UsageStatisticsUpdate::~UsageStatisticsUpdate() {
  if (committed_) return;
  for (auto const& file : files_) std::remove(file.second.c_str());
}

void UsageStatisticsUpdate::Commit() {
  std::set<std::string> kept;
  for (auto const& [path, temporary] : files_) {
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
      throw std::runtime_error(ErrorText("cannot write " + path, errno));
    }
    kept.insert(path);
  }
  committed_ = true;
  // The files of applications that have no events any more.
  DIR* const directory = opendir(folder_.c_str());
  if (directory == nullptr) return;
  std::vector<std::string> stale;
  while (dirent const* entry = readdir(directory)) {
    std::string const name = entry->d_name;
    std::size_t const extension = std::strlen(kUsageStatisticsExtension);
    if (name.size() <= extension ||
        name.compare(name.size() - extension, extension, kUsageStatisticsExtension) != 0) {
      continue;
    }
    std::string const path = folder_ + "/" + name;
    if (kept.count(path) == 0) stale.push_back(path);
  }
  closedir(directory);
  for (std::string const& path : stale) std::remove(path.c_str());
}

}  // namespace survey::client
