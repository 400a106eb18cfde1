// The world object "bios": registered, and absent with all it has.
#include <gtest/gtest.h>

#include <vector>

#include "host/engine/registry.h"
#include "survey/dmi/bios.h"
#include "tests/unit/system/machine_answers.h"

namespace {

using survey::host::RecordKind;
using survey::testing::RegisteredRow;

TEST(Bios, EveryPropertyIsAbsent) {
  bios const value{};
  EXPECT_THROW(Bios_of_world(), NoSuchObject);
  EXPECT_THROW(Date_of(value), NoSuchObject);
  EXPECT_THROW(Version_of(value), NoSuchObject);
  EXPECT_THROW(AsString(value), NoSuchObject);
}

TEST(Bios, QueriesFindNoBios) {
  for (char const* query :
       {"bios", "date of bios", "version of bios", "bios as string", "versions of bioses"}) {
    survey::testing::CommandAnswer const answer = survey::testing::AskCommand(query);
    EXPECT_TRUE(answer.values.empty()) << query;
    if (std::string(query) != "versions of bioses") {
      EXPECT_EQ("no value", answer.error) << query;
    }
  }
  EXPECT_EQ("0", survey::testing::OnlyValue(survey::testing::AskCommand("number of bioses")));
  EXPECT_EQ("False", survey::testing::OnlyValue(survey::testing::AskCommand("exists bios")));
}

TEST(Bios, RegistersTypeAndPhrasesInTableOrder) {
  SurveyorDependency const parameters = &DependsOnlyOnParameters;
  std::vector<RegisteredRow> const expected = {
      {RecordKind::kType, "bios", "", "", "", "", nullptr},
      {RecordKind::kProperty, "bios", "bioses", "", "", "bios", parameters},
      {RecordKind::kProperty, "date", "dates", "", "bios", "string", parameters},
      {RecordKind::kProperty, "version", "versions", "", "bios", "string", parameters},
      {RecordKind::kCast, "string", "", "", "bios", "string", parameters},
  };
  survey::testing::ExpectRows(expected, survey::testing::RegisteredFrom("bios", expected.size()));
  EXPECT_EQ(1u, sizeof(bios));
}

}  // namespace
