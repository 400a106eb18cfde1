// The world object "dmi": taken once per process through the storage
// context, its disabling setting on every use, and the command's
// --dmi-dump and --dmi-memory, each compared with what dmidecode prints of
// the same table.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "host/client/client_folder.h"
#include "host/client/context.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/dmi/dmi_table.h"
#include "tests/unit/dmi/dmi_support.h"

namespace {

using namespace survey::dmi::testing;
using survey::client::ClientContext;
using survey::client::ClientFolder;
using survey::host::Evaluation;
using survey::host::Registry;
using survey::testing::FixturePath;
using survey::testing::RunShell;
using survey::testing::ScratchFolder;

std::string const kSetting = "_QRVClient_Surveyor_DisableDMI";
std::string const kFixture = "dmi/uroot-Lenovo-ThinkPad-T480.bin";

// What one query answers through the command: its values' texts, or the
// error's message.
struct Answer {
  std::vector<std::string> values;
  std::string error;
};

std::vector<Answer> Ask(std::string const& options, std::vector<std::string> const& queries) {
  std::string command = "'" SURVEY_COMMAND "' --json " + options;
  for (std::string const& query : queries) command += " '" + query + "'";
  std::string const output = RunShell(command + " 2>&1").output;
  std::vector<Answer> answers;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    nlohmann::json const parsed = nlohmann::json::parse(line, nullptr, false);
    if (parsed.is_discarded()) {
      ADD_FAILURE() << command << ": " << output;
      continue;
    }
    Answer answer;
    for (auto const& value : parsed["values"]) answer.values.push_back(value["text"]);
    if (!parsed["error"].is_null()) {
      answer.error = parsed["error"].value("message", parsed["error"].value("kind", "?"));
    }
    answers.push_back(answer);
  }
  EXPECT_EQ(queries.size(), answers.size()) << command << ": " << output;
  answers.resize(queries.size());
  return answers;
}

void SetSetting(std::string const& client, std::string const& value) {
  EXPECT_EQ(0, RunShell("'" SURVEY_COMMAND "' client --client '" + client + "' setting set " +
                        kSetting + " '" + value + "'")
                   .status);
}

class DmiCommandTest : public ::testing::Test {
 protected:
  std::string Client() const { return scratch_.Path() + "/client"; }
  std::string Snapshot() const { return Client() + "/__QRVData/info.dmi"; }

  ScratchFolder scratch_{"survey-dmi-command"};
};

TEST_F(DmiCommandTest, ADumpIsTakenIntoTheStorageFolderAsDmidecodeReadsIt) {
  std::string const dump = FixturePath(kFixture);
  std::vector<Answer> const answers =
      Ask("--client '" + Client() + "' --dmi-dump '" + dump + "'", {"exists dmi"});
  ASSERT_EQ(1u, answers[0].values.size());
  EXPECT_EQ("True", answers[0].values[0]);
  Printed const printed = PrintedByDmidecode(dump);
  survey::dmi::testing::Snapshot const snapshot = ReadSnapshot(Snapshot());
  ASSERT_TRUE(snapshot.present);
  ASSERT_EQ(printed.structures.size(), snapshot.structures.size());
  for (std::size_t i = 0; i < printed.structures.size(); ++i) {
    EXPECT_EQ(TableBytes(printed.structures[i]), snapshot.structures[i].bytes) << i;
  }
}

TEST_F(DmiCommandTest, AMemoryImageIsScannedForItsAnchor) {
  Bytes const dump = ReadBytes(FixturePath(kFixture));
  Bytes const table(dump.begin() + 32, dump.end());
  MemoryImage image;
  image.Put(0xE0000, table);
  image.Anchor(0xF4560, 0xE0000, table.size(), 0x30);
  std::string const path = scratch_.Path() + "/mem";
  WriteBytes(path, image.bytes);
  std::vector<Answer> answers =
      Ask("--client '" + Client() + "' --dmi-memory '" + path + "'", {"exists dmi"});
  EXPECT_EQ(std::vector<std::string>{"True"}, answers[0].values);
  Printed const printed = PrintedByDmidecode(FixturePath(kFixture));
  survey::dmi::testing::Snapshot const snapshot = ReadSnapshot(Snapshot());
  ASSERT_TRUE(snapshot.present);
  EXPECT_EQ(2, snapshot.info->scanMode);
  EXPECT_EQ(printed.structures.size(), snapshot.structures.size());

  // Without an anchor there is no table, and no other source is read.
  WriteBytes(path, MemoryImage{}.bytes);
  answers = Ask("--client '" + Client() + "' --dmi-memory '" + path + "'", {"exists dmi", "dmi"});
  EXPECT_EQ(std::vector<std::string>{"False"}, answers[0].values);
  EXPECT_TRUE(answers[1].values.empty());
  EXPECT_FALSE(Exists(Snapshot()));
}

TEST_F(DmiCommandTest, AMissingFileIsACommandLineError) {
  EXPECT_EQ(2, RunShell("'" SURVEY_COMMAND "' --client '" + Client() + "' --dmi-dump '" +
                        scratch_.Path() + "/none' 'exists dmi' 2>/dev/null")
                   .status);
}

TEST_F(DmiCommandTest, OnlyTheValueOneDisablesAcrossProcesses) {
  std::string const options =
      "--client '" + Client() + "' --dmi-dump '" + FixturePath(kFixture) + "'";
  SetSetting(Client(), "1");
  std::vector<Answer> answers = Ask(options, {"exists dmi", "dmi"});
  EXPECT_EQ("dmi surveyor is disabled", answers[0].error);
  EXPECT_EQ("dmi surveyor is disabled", answers[1].error);
  for (std::string const value : {"1 ", "true", "0", " 1", "11"}) {
    SetSetting(Client(), value);
    answers = Ask(options, {"exists dmi"});
    EXPECT_EQ("", answers[0].error) << "'" << value << "'";
    EXPECT_EQ(std::vector<std::string>{"True"}, answers[0].values) << "'" << value << "'";
  }
  SetSetting(Client(), "1");
  EXPECT_EQ("dmi surveyor is disabled", Ask(options, {"exists dmi"})[0].error);
}

TEST_F(DmiCommandTest, TheHelpTellsBothOptions) {
  survey::testing::ShellResult const run = RunShell("'" SURVEY_COMMAND "' --help");
  EXPECT_EQ(0, run.status);
  for (char const* option :
       {"--dmi-dump FILE", "--dmi-memory FILE", "table dump", "image of physical memory"}) {
    EXPECT_NE(std::string::npos, run.output.find(option)) << option;
  }
}

// ---------------------------------------------------------------------------
// Within one process.

TEST(DmiProcessTest, WithoutAContextTheFirstUseSaysSoAndLaterOnesFindNothing) {
  // In a child process of its own, so that this process's first use is
  // still to come there.
  EXPECT_EXIT(
      {
        int outcome = 0;
        try {
          Dmi_of_world();
        } catch (NoSurveyorContext const&) {
          outcome |= 1;
        } catch (...) {
        }
        try {
          Dmi_of_world();
        } catch (NoSuchObject const&) {
          outcome |= 2;
        } catch (...) {
        }
        std::exit(outcome == 3 ? 0 : 10 + outcome);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(DmiProcessTest, TheSettingTakesEffectOnEveryUseOverTheSameSnapshot) {
  ScratchFolder scratch("survey-dmi-process");
  std::string const root = scratch.Path() + "/client";
  Sources sources;
  sources.Dump(FixturePath(kFixture));
  ClientFolder folder(root);
  folder.Prepare();
  // Each step is an evaluation of its own, as each query is.
  auto const use = [&](std::string const& value) {
    if (!value.empty()) SetSetting(root, value);
    ClientContext context(&folder);
    Evaluation evaluation(Registry::Default(), &context);
    Evaluation::Scope scope(evaluation);
    try {
      return Dmi_of_world().info;
    } catch (dmiSurveyorDefinedError const& error) {
      surveyor_string const message = error.Message();
      EXPECT_EQ("dmi surveyor is disabled",
                std::string(reinterpret_cast<char const*>(message.data), message.length));
      return static_cast<dmi_info*>(nullptr);
    }
  };
  dmi_info* const first = use("1 ");
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(ReadSnapshot(root + "/__QRVData/info.dmi").structures.size(), first->contentsCount);
  EXPECT_EQ(nullptr, use("1"));
  EXPECT_EQ(first, use("true"));
  EXPECT_EQ(nullptr, use("1"));
  EXPECT_EQ(first, use("0"));
  EXPECT_EQ(first, GetDmiInfo());

  // A structure's bytes come from the file by its contents entry.
  Printed const printed = PrintedByDmidecode(FixturePath(kFixture));
  ASSERT_FALSE(printed.structures.empty());
  ClientContext context(&folder);
  Evaluation evaluation(Registry::Default(), &context);
  Evaluation::Scope scope(evaluation);
  unsigned counts[256] = {};
  for (PrintedStructure const& structure : printed.structures) {
    DmiContentsEntry const* const entry = first->Find(structure.type, counts[structure.type]++);
    ASSERT_NE(nullptr, entry) << structure.type;
    Bytes bytes(entry->length);
    EXPECT_EQ(entry->length, ReadDmiStructure(*entry, bytes.data()));
    EXPECT_EQ(TableBytes(structure), bytes) << "handle " << structure.handle;
  }
}

}  // namespace

namespace {

int releases = 0;
void CountRelease() { ++releases; }

TEST(DmiProcessTest, TheCleanupReleasesTheStructuresAndTheSnapshot) {
  // In a child process of its own, whose snapshot it takes and frees.
  EXPECT_EXIT(
      {
        int outcome = 0;
        {
          ScratchFolder scratch("survey-dmi-cleanup");
          Sources sources;
          sources.Dump(FixturePath(kFixture));
          ClientFolder folder(scratch.Path() + "/client");
          folder.Prepare();
          {
            ClientContext context(&folder);
            Evaluation evaluation(Registry::Default(), &context);
            Evaluation::Scope scope(evaluation);
            if (GetDmiInfo() != nullptr) outcome |= 1;
          }
          dmiReleaseStructures = &CountRelease;
          DmiCleanup();
          if (releases == 1) outcome |= 2;
          if (GetDmiInfo() == nullptr) outcome |= 4;
          try {
            Dmi_of_world();
          } catch (NoSuchObject const&) {
            outcome |= 8;
          } catch (...) {
          }
          dmiReleaseStructures = nullptr;
        }
        std::exit(outcome == 15 ? 0 : 20 + outcome);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
