// The import file of the client's records, on any text. Text that the
// reader takes is written to a database with the records' own checks; what
// is written must read back as the same records, and text that is refused
// at either step must leave the database as it was.

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/client/client_records.h"
#include "tools/survey/client_commands.h"

namespace {

using survey::client::ClientRecords;
using survey::client::ClientRecordSet;
using survey::client::SettingRecord;

// The records in the order in which the database gives them back.
ClientRecordSet Ordered(ClientRecordSet records) {
  std::sort(records.settings.begin(), records.settings.end(),
            [](SettingRecord const& left, SettingRecord const& right) {
              return std::tie(left.scope, left.section, left.name) <
                     std::tie(right.scope, right.section, right.name);
            });
  std::sort(records.sites.begin(), records.sites.end(),
            [](auto const& left, auto const& right) { return left.name < right.name; });
  for (auto& site : records.sites) {
    std::sort(site.groups.begin(), site.groups.end(),
              [](auto const& left, auto const& right) { return left.id < right.id; });
  }
  std::sort(records.actions.begin(), records.actions.end(),
            [](auto const& left, auto const& right) { return left.id < right.id; });
  for (auto& action : records.actions) {
    std::sort(action.parameters.begin(), action.parameters.end(),
              [](auto const& left, auto const& right) { return left.name < right.name; });
  }
  std::sort(records.nudges.begin(), records.nudges.end(), [](auto const& left, auto const& right) {
    return std::tie(left.site, left.position) < std::tie(right.site, right.position);
  });
  std::sort(records.state.pendingRestarts.begin(), records.state.pendingRestarts.end());
  std::sort(records.certificates.begin(), records.certificates.end(),
            [](auto const& left, auto const& right) { return left.name < right.name; });
  // Each application's events are numbered in the order given.
  std::map<std::string, std::uint32_t> counted;
  for (auto& event : records.usageEvents) event.ordinal = counted[event.application]++;
  std::stable_sort(records.usageEvents.begin(), records.usageEvents.end(),
                   [](auto const& left, auto const& right) {
                     return std::tie(left.application, left.ordinal) <
                            std::tie(right.application, right.ordinal);
                   });
  return records;
}

bool Same(ClientRecordSet const& left, ClientRecordSet const& right) {
  return left.settings == right.settings && left.sites == right.sites &&
         left.actions == right.actions && left.nudges == right.nudges &&
         left.nudgeEvaluationBlocked == right.nudgeEvaluationBlocked && left.state == right.state &&
         left.certificates == right.certificates && left.servers == right.servers &&
         left.usageEvents == right.usageEvents;
}

ClientRecords& Records() {
  static std::unique_ptr<ClientRecords> records = [] {
    char folder[] = "/tmp/client-import-fuzz-XXXXXX";
    if (mkdtemp(folder) == nullptr) std::abort();
    return std::make_unique<ClientRecords>(std::string(folder) + "/client.db");
  }();
  return *records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  std::vector<std::pair<std::string, std::string>> mastheads;
  ClientRecordSet read;
  try {
    read = survey::tools::RecordsOfImportText(text, "input", mastheads);
  } catch (std::runtime_error const&) {
    return 0;
  }
  ClientRecords& records = Records();
  ClientRecordSet const before = records.Export();
  try {
    records.Replace(read);
  } catch (survey::client::RecordError const&) {
    if (!Same(before, records.Export())) {
      std::fprintf(stderr, "a refused import changed the records\n");
      std::abort();
    }
    return 0;
  }
  if (!Same(Ordered(read), records.Export())) {
    std::fprintf(stderr, "the records read back differ from those imported\n");
    std::abort();
  }
  return 0;
}
