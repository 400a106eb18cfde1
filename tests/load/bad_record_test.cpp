// Surveyor libraries with one bad record among good ones. The host lets each
// finish loading, unloads it, which undoes all it registered, and reports a
// load error that names the bad record; the command does the same and exits
// with status 2, as for any command line it cannot follow. Nothing ends the
// process.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/engine/host.h"
#include "tests/load/load_support.h"

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::RegistryEvent;
using survey::load_test::IsMapped;
using survey::load_test::LibraryPath;
using survey::load_test::Quoted;
using survey::load_test::RunCommand;

using survey::load_test::kHostTypes;
using survey::load_test::LoadError;

struct BadRecord {
  char const* name;                  // the library is libbad_record_<name>.so
  std::vector<std::string> message;  // what the load error says, in parts
};

std::ostream& operator<<(std::ostream& out, BadRecord const& bad) { return out << bad.name; }

std::string PathOf(BadRecord const& bad) {
  return std::string(BAD_RECORD_FOLDER) + "/libbad_record_" + bad.name + ".so";
}

class BadRecordTest : public ::testing::TestWithParam<BadRecord> {};

TEST_P(BadRecordTest, LoadErrorNamesTheRecordAndUndoesTheLoad) {
  std::string const path = PathOf(GetParam());
  Host host;
  EvaluationError const error = LoadError(host, path);
  EXPECT_EQ(ErrorKind::kLoad, error.Kind());
  std::string const message = error.what();
  EXPECT_NE(std::string::npos, message.find("cannot load surveyor library " + path + ": "))
      << message;
  for (std::string const& part : GetParam().message) {
    EXPECT_NE(std::string::npos, message.find(part)) << "\"" << part << "\" not in " << message;
  }
  EXPECT_FALSE(host.Loaded());
  EXPECT_FALSE(IsMapped(path));
  EXPECT_EQ(kHostTypes, host.GetRegistry().RecordCount());
  EXPECT_EQ(kHostTypes, host.GetRegistry().Types().size());
  EXPECT_TRUE(host.GetRegistry().Properties().empty());
  EXPECT_TRUE(host.GetRegistry().Casts().empty());
  EXPECT_TRUE(host.GetRegistry().Operators().empty());
  // The library got as far as its last record, and every record that was
  // registered was unregistered again.
  auto const& journal = host.GetRegistry().Journal();
  std::size_t registered = 0;
  std::size_t unregistered = 0;
  bool last = false;
  for (std::size_t i = kHostTypes; i < journal.size(); ++i) {
    if (journal[i].action == RegistryEvent::kRegistered) ++registered;
    if (journal[i].action == RegistryEvent::kUnregistered) ++unregistered;
    if (journal[i].name == "afterwards level") last = true;
  }
  EXPECT_TRUE(last);
  EXPECT_GE(registered, 5u);
  EXPECT_EQ(registered, unregistered);
}

TEST_P(BadRecordTest, TheSameLibraryIsRefusedAgainAndTheRealOneStillLoads) {
  std::string const path = PathOf(GetParam());
  Host host;
  std::string const first = LoadError(host, path).what();
  // Unloaded for good: its initialisers run again and meet the same record.
  EXPECT_EQ(first, LoadError(host, path).what());
  host.Load(LibraryPath());
  EXPECT_TRUE(host.Loaded());
  EXPECT_NE(nullptr, host.GetRegistry().FindType("file"));
}

TEST_P(BadRecordTest, CommandReportsTheLoadErrorAndExitsWithTwo) {
  std::string const path = PathOf(GetParam());
  auto const result = RunCommand(std::string(SURVEY_COMMAND) + " --library " + Quoted(path) +
                                 " -e " + Quoted("length of \"abc\"") + " 2>&1");
  EXPECT_EQ(2, result.status) << result.output;
  EXPECT_EQ(0u, result.output.find("survey: cannot load surveyor library " + path + ": "))
      << result.output;
  for (std::string const& part : GetParam().message) {
    EXPECT_NE(std::string::npos, result.output.find(part)) << result.output;
  }
  EXPECT_EQ(std::string::npos, result.output.find("terminate")) << result.output;
  // The query was not answered.
  EXPECT_EQ(std::string::npos, result.output.find("\n  3")) << result.output;
}

INSTANTIATE_TEST_SUITE_P(
    EachBadRecord, BadRecordTest,
    ::testing::Values(BadRecord{"refused",
                                {"the host refused",
                                 "property \"broken level\" / \"broken levels\" of \"gauge\"",
                                 "registered without a getter"}},
                      BadRecord{"unknown_type",
                                {"property \"reading\" / \"readings\" of \"gauge\"",
                                 "names the result type \"dial\", which no type has"}},
                      BadRecord{"type_twice", {"type \"gauge\" is registered twice"}},
                      BadRecord{"property_twice",
                                {"property \"level\" / \"levels\" of \"gauge\" is registered twice",
                                 "the phrase \"level\" with the same index and object types"}},
                      BadRecord{"cast_twice",
                                {"cast \"string\" of \"gauge\" is registered twice",
                                 "the same cast phrase and source type"}},
                      BadRecord{"operator_twice",
                                {"operator \"=\" of \"gauge\" and \"gauge\" is registered twice",
                                 "the same operator and operand types"}}),
    [](::testing::TestParamInfo<BadRecord> const& info) { return std::string(info.param.name); });

// The library this project ships has none of these faults.
TEST(RealLibraryLoadTest, LoadsWithoutAnyLoadError) {
  Host host;
  EXPECT_NO_THROW(host.Load(LibraryPath()));
  EXPECT_TRUE(host.Loaded());
}

}  // namespace
