// The text of a value whose type has a cast to string that gives nothing:
// the value prints as its type's name between angle brackets, as one with
// no cast at all does. Other failures of the cast are still errors.

#include <gtest/gtest.h>

#include <stdexcept>

#include "host/engine/registry.h"
#include "host/engine/value.h"
#include "host/session/session.h"

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::Registry;
using survey::host::TypeEntry;
using survey::host::Value;
using survey::host::ValueBuilder;

void DestroyNothing(void const*) {}
void NoText(void*, void const*, void const*) { throw NoSuchObject(); }
void BrokenText(void*, void const*, void const*) { throw std::runtime_error("broken"); }
void NoDependency(Fingerprinter&) {}

class TextFormTest : public ::testing::Test {
 protected:
  TextFormTest() {
    Registry::Scope scope(session.GetHost().GetRegistry());
    Register_Type(mute, kTypeHostArea, "mute", 8, &DestroyNothing, nullptr, nullptr);
    Register_Type(plain, kTypeHostArea, "plain", 8, &DestroyNothing, nullptr, nullptr);
    Register_Type(broken, kTypeHostArea, "broken", 8, &DestroyNothing, nullptr, nullptr);
    Register_Cast(muteCast, kRecordHostArea, "string", "mute", "string", &NoText, nullptr,
                  &NoDependency);
    Register_Cast(brokenCast, kRecordHostArea, "string", "broken", "string", &BrokenText, nullptr,
                  &NoDependency);
  }
  ~TextFormTest() override {
    Unregister_Cast(brokenCast);
    Unregister_Cast(muteCast);
    Unregister_Type(broken);
    Unregister_Type(plain);
    Unregister_Type(mute);
  }

  Value Make(char const* type) {
    TypeEntry const* const entry = session.GetHost().GetRegistry().FindType(type);
    EXPECT_NE(nullptr, entry);
    ValueBuilder builder(entry);
    ::new (builder.Slot()) integer{7};
    return builder.Finish();
  }

  survey::session::Session session;
  alignas(16) unsigned char mute[kTypeHostArea] = {};
  alignas(16) unsigned char plain[kTypeHostArea] = {};
  alignas(16) unsigned char broken[kTypeHostArea] = {};
  alignas(16) unsigned char muteCast[kRecordHostArea] = {};
  alignas(16) unsigned char brokenCast[kRecordHostArea] = {};
};

TEST_F(TextFormTest, ACastWithNoValueGivesTheTypeName) {
  auto evaluation = session.GetHost().NewEvaluation();
  survey::host::Evaluation::Scope scope(*evaluation);
  EXPECT_EQ("<mute>", session.GetHost().Text(Make("mute")));
}

TEST_F(TextFormTest, NoCastGivesTheTypeName) {
  auto evaluation = session.GetHost().NewEvaluation();
  survey::host::Evaluation::Scope scope(*evaluation);
  EXPECT_EQ("<plain>", session.GetHost().Text(Make("plain")));
}

TEST_F(TextFormTest, ACastThatFailsIsStillAnError) {
  auto evaluation = session.GetHost().NewEvaluation();
  survey::host::Evaluation::Scope scope(*evaluation);
  try {
    session.GetHost().Text(Make("broken"));
    ADD_FAILURE() << "no error";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kMessage, error.Kind());
  }
}

}  // namespace
