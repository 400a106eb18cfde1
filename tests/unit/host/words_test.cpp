// The host's own words that no query can reach yet: the text form of a
// frequency, which only a library's properties produce.

#include <gtest/gtest.h>

#include "host/engine/time_text.h"
#include "host/engine/value.h"
#include "host/session/session.h"

namespace {

using survey::host::HertzText;

TEST(HertzTextTest, TakesTheLargestUnitThatKeepsTheNumberWhole) {
  EXPECT_EQ("2793 MHz", HertzText(2793000000LL));
  EXPECT_EQ("1500 MHz", HertzText(1500000000LL));
  EXPECT_EQ("3 GHz", HertzText(3000000000LL));
  EXPECT_EQ("44100 Hz", HertzText(44100LL));
  EXPECT_EQ("441 kHz", HertzText(441000LL));
  EXPECT_EQ("7 Hz", HertzText(7LL));
  EXPECT_EQ("0 Hz", HertzText(0LL));
  EXPECT_EQ("-2 GHz", HertzText(-2000000000LL));
}

TEST(HertzTextTest, AValueOfTypeHertzPrintsInThatForm) {
  survey::session::Session session;
  auto const& registry = session.GetHost().GetRegistry();
  survey::host::TypeEntry const* const hertz = registry.FindType("hertz");
  ASSERT_NE(nullptr, hertz);
  survey::host::ValueBuilder builder(hertz);
  ::new (builder.Slot()) integer{2793000000LL};
  survey::host::Value const value = builder.Finish();
  auto evaluation = session.GetHost().NewEvaluation();
  survey::host::Evaluation::Scope scope(*evaluation);
  EXPECT_EQ("2793 MHz", session.GetHost().Text(value));
}

}  // namespace
