// The action lock, with its setting set through `survey client setting set`
// and the server's apparent time loaded with `survey client import`. Times
// are written by `date`, and the clock is read by the test itself.

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::ShellResult;

// The host's text of a time in seconds since 1970, as `date` writes it.
std::string TimeText(long long seconds, char const* zone = "+0000") {
  std::string text = Output("TZ=UTC date -u -d @" + std::to_string(seconds) +
                            " '+%a, %d %b %Y %H:%M:%S'");
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text + " " + zone;
}

class ActionLockCommandTest : public ::testing::Test {
 protected:
  // Loads a state with that server time (none for 0) and controller.
  void LoadState(long long serverSeconds, std::string const& controller = "client") {
    nlohmann::json document = nlohmann::json::parse(R"({"state": {}})");
    if (serverSeconds != 0) document["state"]["apparent server time"] = serverSeconds * 1000000LL;
    document["state"]["action lock controller"] = controller;
    ShellResult const run = client.Import(document);
    ASSERT_EQ(0, run.status) << run.output;
  }

  void SetLock(std::string const& value) {
    ShellResult const run = client.Client("setting set __LockState " + Quoted(value));
    ASSERT_EQ(0, run.status) << run.output;
  }

  std::string Locked() { return client.Value("locked of action lock state"); }

  ClientFixture client;
};

TEST_F(ActionLockCommandTest, WithoutTheSettingTheLockIsOpenAndHasNoDates) {
  LoadState(0);
  EXPECT_EQ("False", Locked());
  EXPECT_EQ("", client.Value("lock string of action lock state"));
  EXPECT_TRUE(client.HasNoValue("expiration date of action lock state"));
  EXPECT_TRUE(client.HasNoValue("effective date of action lock state"));
  EXPECT_TRUE(client.HasNoValue("action lock state as string"));
  EXPECT_EQ("client", client.Value("controller of action lock state"));
}

TEST_F(ActionLockCommandTest, TrueAndFalseAreMatchedWithoutCase) {
  LoadState(0);
  for (char const* value : {"true", "TRUE", "True", "tRuE"}) {
    SetLock(value);
    EXPECT_EQ("True", Locked()) << value;
    EXPECT_EQ("Yes", client.Value("lock string of action lock state")) << value;
    // A lock without end has no text and no expiration.
    EXPECT_EQ("", client.Value("action lock state as string")) << value;
    EXPECT_TRUE(client.HasNoValue("expiration date of action lock state")) << value;
  }
  for (char const* value : {"false", "FALSE", "False"}) {
    SetLock(value);
    EXPECT_EQ("False", Locked()) << value;
    EXPECT_EQ("", client.Value("action lock state as string")) << value;
  }
}

TEST_F(ActionLockCommandTest, TheServersTimeDecidesAtTheBoundaries) {
  long long const server = 1700000000;  // by the server's clock
  LoadState(server);
  // Ending at the server's present moment, a second ago, in a second.
  SetLock(TimeText(server));
  EXPECT_EQ("False", Locked());
  EXPECT_EQ("", client.Value("action lock state as string"));
  EXPECT_EQ(TimeText(server), client.Value("expiration date of action lock state"));
  SetLock(TimeText(server - 1));
  EXPECT_EQ("False", Locked());
  SetLock(TimeText(server + 1));
  EXPECT_EQ("True", Locked());
  EXPECT_EQ(TimeText(server + 1), client.Value("action lock state as string"));
  // The same lock, far in the past by the local clock, holds by the server's.
  EXPECT_LT(server + 1, static_cast<long long>(std::time(nullptr)));
}

TEST_F(ActionLockCommandTest, AServerBehindTheLocalClockKeepsALockThatTheClockWouldEnd) {
  long long const now = static_cast<long long>(std::time(nullptr));
  LoadState(now - 86400);
  SetLock(TimeText(now - 3600));
  EXPECT_EQ("True", Locked());
  // And one ahead ends a lock that the local clock would keep.
  LoadState(now + 86400);
  SetLock(TimeText(now + 3600));
  EXPECT_EQ("False", Locked());
}

TEST_F(ActionLockCommandTest, WithoutServerTimeTheLocalClockDecidesInWholeSeconds) {
  LoadState(0);
  // Each case is tried until the query runs within one second of the clock:
  // the lock is set for a second to come, and the query starts just after
  // that second begins, so that only the query itself must take less than
  // the rest of it.
  struct Case {
    long long offset;
    char const* locked;
  };
  for (Case const& c : {Case{0, "False"}, Case{-1, "False"}, Case{1, "True"}, Case{60, "True"},
                        Case{-60, "False"}}) {
    bool decided = false;
    for (int attempt = 0; attempt < 10 && !decided; ++attempt) {
      long long const before = static_cast<long long>(std::time(nullptr)) + 2;
      SetLock(TimeText(before + c.offset));
      if (static_cast<long long>(std::time(nullptr)) >= before) continue;
      // A little into the second: time() reads a clock that lags the
      // precise one by up to a tick, and must read `before` too.
      std::this_thread::sleep_until(std::chrono::system_clock::time_point(
          std::chrono::seconds(before) + std::chrono::milliseconds(50)));
      std::string const answer = Locked();
      if (static_cast<long long>(std::time(nullptr)) != before) continue;
      EXPECT_EQ(c.locked, answer) << "offset " << c.offset;
      decided = true;
    }
    EXPECT_TRUE(decided) << "the clock moved at every attempt, offset " << c.offset;
  }
}

TEST_F(ActionLockCommandTest, AnotherZoneNamesTheSameMoment) {
  long long const server = 1700000000;
  LoadState(server);
  // Two hours ahead in the text's zone is the server's present moment.
  SetLock(TimeText(server + 7200, "+0200"));
  EXPECT_EQ("False", Locked());
  EXPECT_EQ(TimeText(server), client.Value("expiration date of action lock state"));
  SetLock(TimeText(server + 7201, "+0200"));
  EXPECT_EQ("True", Locked());
}

TEST_F(ActionLockCommandTest, TextsThatAreNoTimeLeaveTheLockOpenAndTheDatesUnknown) {
  LoadState(1700000000);
  for (std::string const value : {"soon", "", "1700000000", "-1", "Mon, 32 Jan 2024 00:00:00 +0000",
                                  "Thu, 01 Jan 2099", "\xc3\xa9t\xc3\xa9"}) {
    SetLock(value);
    EXPECT_EQ("False", Locked()) << value;
    EXPECT_EQ("", client.Value("lock string of action lock state")) << value;
    EXPECT_TRUE(client.HasNoValue("expiration date of action lock state")) << value;
    EXPECT_TRUE(client.HasNoValue("action lock state as string")) << value;
  }
}

TEST_F(ActionLockCommandTest, TheDistantPastAndFuture) {
  LoadState(1700000000);
  SetLock("Mon, 01 Jan 1900 00:00:00 +0000");
  EXPECT_EQ("False", Locked());
  EXPECT_EQ("Mon, 01 Jan 1900 00:00:00 +0000",
            client.Value("expiration date of action lock state"));
  SetLock("Fri, 31 Dec 9999 23:59:59 +0000");
  EXPECT_EQ("True", Locked());
  EXPECT_EQ("Fri, 31 Dec 9999 23:59:59 +0000", client.Value("action lock state as string"));
  // The first moment of 1970 is the code of a lock without end.
  SetLock("Thu, 01 Jan 1970 00:00:00 +0000");
  EXPECT_EQ("True", Locked());
  EXPECT_TRUE(client.HasNoValue("expiration date of action lock state"));
}

TEST_F(ActionLockCommandTest, TheEffectiveDateIsTheSettingsDate) {
  LoadState(0);
  long long const before = static_cast<long long>(std::time(nullptr));
  SetLock("true");
  long long const after = static_cast<long long>(std::time(nullptr));
  std::string const effective = client.Value("effective date of action lock state");
  // A second of slack on each side: time() reads a clock that may lag by a
  // tick the one the command reads, or lead it.
  bool within = false;
  for (long long second = before - 1; second <= after + 1; ++second) {
    within = within || effective == TimeText(second);
  }
  EXPECT_TRUE(within) << effective << ", set between " << TimeText(before) << " and "
                      << TimeText(after);
}

TEST_F(ActionLockCommandTest, WhenNobodyControlsTheLockItsDatesAndTextAreUnknown) {
  LoadState(1700000000, "nobody");
  SetLock(TimeText(1700000000 + 60));
  EXPECT_EQ("nobody", client.Value("controller of action lock state"));
  EXPECT_EQ("True", Locked());
  EXPECT_TRUE(client.HasNoValue("expiration date of action lock state"));
  EXPECT_TRUE(client.HasNoValue("effective date of action lock state"));
  EXPECT_TRUE(client.HasNoValue("action lock state as string"));
  LoadState(1700000000, "console");
  EXPECT_EQ("console", client.Value("controller of action lock state"));
}

}  // namespace
