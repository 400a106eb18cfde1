// The host's operations on values: time, strings, the lock and the world's
// library table.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>
#include <thread>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/frame/boundary.h"

namespace {

using survey::host::Evaluation;
using survey::host::Registry;

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

surveyor_string View(char const* text, unsigned long length) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), length};
}

surveyor_string View(char const* text) { return View(text, std::strlen(text)); }

bool True(boolean value) {
  EXPECT_LE(value.value, 1) << "a boolean is 0 or 1";
  return value.value == 1;
}

// ---------------------------------------------------------------------------
// Time.

moment SecondsAfterEpoch(long long seconds) {
  return january_1_1970() + integer{seconds} * second_of();
}

TEST(TimeOperationsTest, NinetySecondsAfterTheEpoch) {
  moment const when = january_1_1970() + integer{90} * second_of();
  time_interval const elapsed = when - january_1_1970();
  EXPECT_EQ((integer{90} * second_of()).ticks, elapsed.ticks);
  // The host counts microseconds.
  EXPECT_EQ(90000000LL, elapsed.ticks);
  EXPECT_EQ(90000000LL, when.ticks);
}

TEST(TimeOperationsTest, SecondIsAMillionMicroseconds) {
  EXPECT_EQ(second_of().ticks, (integer{1000000} * microsecond_of()).ticks);
  EXPECT_EQ((integer{7} * second_of()).ticks, (second_of() * integer{7}).ticks);
}

TEST(TimeOperationsTest, DifferencesOfMoments) {
  moment const earlier = SecondsAfterEpoch(1000);
  moment const later = earlier + integer{2500} * microsecond_of();
  EXPECT_EQ(2500, (later - earlier).ticks);
  EXPECT_EQ(-2500, (earlier - later).ticks);
  EXPECT_EQ(0, (later - later).ticks);
  moment const before = january_1_1970() + integer{-3} * second_of();
  EXPECT_EQ(3000000, (january_1_1970() - before).ticks);
}

TEST(TimeOperationsTest, LessThanOrdersMoments) {
  moment const a = SecondsAfterEpoch(1);
  moment const b = SecondsAfterEpoch(2);
  EXPECT_TRUE(True(a < b));
  EXPECT_FALSE(True(b < a));
  EXPECT_FALSE(True(a < a));
}

TEST(TimeOperationsTest, ArithmeticOutOfRangeIsRefused) {
  EXPECT_THROW(integer{LLONG_MAX} * second_of(), std::overflow_error);
  moment const late{LLONG_MAX - 1};
  EXPECT_THROW(late + second_of(), std::overflow_error);
  moment const early{LLONG_MIN + 1};
  EXPECT_THROW(late - early, std::overflow_error);
}

TEST(TimeOperationsTest, NowIsTheSystemClock) {
  long long const before = static_cast<long long>(std::time(nullptr));
  moment const now = moment_now();
  long long const after = static_cast<long long>(std::time(nullptr));
  long long const seconds = (now - january_1_1970()).ticks / 1000000;
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after);
}

// Sets TZ for the life of the object.
class ZoneScope {
 public:
  explicit ZoneScope(char const* zone) {
    char const* const saved = std::getenv("TZ");
    hadZone_ = saved != nullptr;
    if (hadZone_) saved_ = saved;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ZoneScope() {
    if (hadZone_) {
      setenv("TZ", saved_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ZoneScope(ZoneScope const&) = delete;
  ZoneScope& operator=(ZoneScope const&) = delete;

 private:
  bool hadZone_ = false;
  std::string saved_;
};

// The text of a moment as strftime gives it in the current zone.
std::string Strftime(long long seconds) {
  time_t const when = static_cast<time_t>(seconds);
  tm local{};
  EXPECT_NE(nullptr, localtime_r(&when, &local));
  char text[64];
  std::size_t const length = std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S %z", &local);
  return std::string(text, length);
}

TEST(TimeOperationsTest, EpochInUtc) {
  ZoneScope zone("UTC");
  EXPECT_EQ("Thu, 01 Jan 1970 00:00:00 +0000", Text(asString(january_1_1970())));
  EXPECT_EQ("Thu, 01 Jan 1970 00:01:30 +0000", Text(asString(SecondsAfterEpoch(90))));
  EXPECT_EQ(Strftime(1234567890), Text(asString(SecondsAfterEpoch(1234567890))));
}

TEST(TimeOperationsTest, EpochInAZoneAheadOfUtc) {
  ZoneScope zone("XST-5:30");
  EXPECT_EQ("Thu, 01 Jan 1970 05:30:00 +0530", Text(asString(january_1_1970())));
  EXPECT_EQ(Strftime(1234567890), Text(asString(SecondsAfterEpoch(1234567890))));
  EXPECT_EQ(Strftime(951782400), Text(asString(SecondsAfterEpoch(951782400))));
}

TEST(TimeOperationsTest, MomentInAZoneBehindUtc) {
  ZoneScope zone("YST8");
  EXPECT_EQ("Wed, 31 Dec 1969 16:00:00 -0800", Text(asString(january_1_1970())));
  EXPECT_EQ(Strftime(1700000000), Text(asString(SecondsAfterEpoch(1700000000))));
}

TEST(TimeOperationsTest, TextOfAMomentLivesInTheEvaluationsMemory) {
  ZoneScope zone("UTC");
  Registry registry;
  Evaluation evaluation(registry);
  Evaluation::Scope scope(evaluation);
  surveyor_string const text = asString(january_1_1970());
  EXPECT_EQ(31u, text.length);
  EXPECT_GE(evaluation.GetArena().BytesInUse(), 31u);
}

// ---------------------------------------------------------------------------
// Strings.

TEST(StringOperationsTest, EqualityComparesLengthAndBytes) {
  EXPECT_TRUE(True(View("abc") == View("abc")));
  EXPECT_FALSE(True(View("abc") == View("abd")));
  EXPECT_FALSE(True(View("abc") == View("ab")));
  EXPECT_FALSE(True(View("abc", 2) == View("abc")));
  // Only the given lengths count.
  EXPECT_TRUE(True(View("abc", 2) == View("abX", 2)));
  EXPECT_TRUE(True(View("ab\0c", 4) == View("ab\0c", 4)));
  EXPECT_FALSE(True(View("ab\0c", 4) == View("ab\0d", 4)));
  EXPECT_TRUE(True(View("", 0) == View(nullptr, 0)));
  EXPECT_TRUE(True(View(nullptr, 0) == View(nullptr, 0)));
}

TEST(StringOperationsTest, ContainsTakesTheTextFirst) {
  EXPECT_TRUE(True(Contains(View("hello world"), View("world"))));
  EXPECT_FALSE(True(Contains(View("world"), View("hello world"))));
  EXPECT_TRUE(True(Contains(View("hello world"), View("o w"))));
  EXPECT_FALSE(True(Contains(View("hello world"), View("World"))));
  EXPECT_TRUE(True(Contains(View("abc"), View("abc"))));
  // Only the given length counts.
  EXPECT_FALSE(True(Contains(View("hello world", 5), View("world"))));
  EXPECT_TRUE(True(Contains(View("a\0b", 3), View("\0b", 2))));
}

TEST(StringOperationsTest, ContainsWithEmptyStrings) {
  EXPECT_TRUE(True(Contains(View("abc"), View(""))));
  EXPECT_TRUE(True(Contains(View(""), View(""))));
  EXPECT_TRUE(True(Contains(View(nullptr, 0), View(nullptr, 0))));
  EXPECT_FALSE(True(Contains(View(""), View("a"))));
  EXPECT_FALSE(True(Contains(View(nullptr, 0), View("a"))));
}

TEST(StringOperationsTest, StartsWithTakesTheTextFirst) {
  EXPECT_TRUE(True(StartsWith(View("prefix and more"), View("prefix"))));
  EXPECT_FALSE(True(StartsWith(View("prefix"), View("prefix and more"))));
  EXPECT_FALSE(True(StartsWith(View("and prefix"), View("prefix"))));
  EXPECT_TRUE(True(StartsWith(View("same"), View("same"))));
}

TEST(StringOperationsTest, StartsWithEmptyStringsAndLengths) {
  EXPECT_TRUE(True(StartsWith(View("abc"), View(""))));
  EXPECT_TRUE(True(StartsWith(View(""), View(""))));
  EXPECT_TRUE(True(StartsWith(View(nullptr, 0), View(nullptr, 0))));
  EXPECT_FALSE(True(StartsWith(View(""), View("a"))));
  EXPECT_FALSE(True(StartsWith(View(nullptr, 0), View("a"))));
  // The lengths rule, not the NULs.
  EXPECT_FALSE(True(StartsWith(View("abcdef", 3), View("abcd"))));
  EXPECT_TRUE(True(StartsWith(View("abcdef", 3), View("abcd", 3))));
  EXPECT_TRUE(True(StartsWith(View("ab\0cd", 5), View("ab\0c", 4))));
  EXPECT_FALSE(True(StartsWith(View("ab\0cd", 5), View("ab\0d", 4))));
}

// ---------------------------------------------------------------------------
// The lock.

TEST(AccessLockTest, LockKeepsAnotherThreadOutUntilUnlocked) {
  AccessLock lock;
  lock.Lock();
  std::atomic<bool> entered{false};
  std::thread other([&] {
    lock.Lock();
    entered = true;
    lock.Unlock();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(entered.load());
  lock.Unlock();
  other.join();
  EXPECT_TRUE(entered.load());
  // Free again.
  lock.Lock();
  lock.Unlock();
}

TEST(AccessLockTest, LockSerialisesIncrements) {
  AccessLock lock;
  long long counter = 0;
  auto const work = [&] {
    for (int i = 0; i < 20000; ++i) {
      lock.Lock();
      long long const seen = counter;
      counter = seen + 1;
      lock.Unlock();
    }
  };
  std::thread a(work);
  std::thread b(work);
  a.join();
  b.join();
  EXPECT_EQ(40000, counter);
}

// ---------------------------------------------------------------------------
// The world's library table.

TEST(WorldLibraryTest, HostApplicationVersionIsTheHostsVersion) {
  std::string const name = "HostApplication";
  surveyor_library const library =
      Lib_of_world(reinterpret_cast<unsigned char const*>(name.data()), name.size());
  EXPECT_NE(nullptr, library.handle);
  std::string const property = "Version";
  surveyor_string const version = Property_of(
      reinterpret_cast<unsigned char const*>(property.data()), property.size(), library);
  EXPECT_EQ(SURVEY_PROJECT_VERSION, Text(version));
}

TEST(WorldLibraryTest, UnknownLibraryIsNoSuchObject) {
  std::string const name = "NoSuchApplication";
  EXPECT_THROW(Lib_of_world(reinterpret_cast<unsigned char const*>(name.data()), name.size()),
               NoSuchObject);
  // A prefix of a known name is not that name.
  EXPECT_THROW(Lib_of_world(reinterpret_cast<unsigned char const*>("HostApplication"), 4),
               NoSuchObject);
  EXPECT_THROW(Lib_of_world(nullptr, 0), NoSuchObject);
}

TEST(WorldLibraryTest, UnknownPropertyIsNoSuchObject) {
  surveyor_library const library =
      Lib_of_world(reinterpret_cast<unsigned char const*>("HostApplication"), 15);
  EXPECT_THROW(Property_of(reinterpret_cast<unsigned char const*>("Vendor"), 6, library),
               NoSuchObject);
  EXPECT_THROW(
      Property_of(reinterpret_cast<unsigned char const*>("Version"), 7, surveyor_library{nullptr}),
      NoSuchObject);
}

}  // namespace
