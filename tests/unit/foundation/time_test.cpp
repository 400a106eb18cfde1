// The calendar, the time classes and their text forms. The calendar is
// checked day by day against the C library's UTC conversions; the machine's
// zone and clock against the `date` command.
#include "survey/foundation/time.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

static_assert(sizeof(time_t) == 8, "this test is built with a 64-bit time_t");

std::string Text(ConstData data) { return MakeString(data); }

std::string Output(char const* command) {
  std::string output;
  FILE* const pipe = popen(command, "r");
  if (pipe == nullptr) return output;
  char chunk[256];
  while (std::fgets(chunk, sizeof chunk, pipe) != nullptr) output += chunk;
  pclose(pipe);
  while (!output.empty() && (output.back() == '\n' || output.back() == ' ')) output.pop_back();
  return output;
}

DateRecord FromTm(tm const& fields) {
  return DateRecord(static_cast<std::uint32_t>(fields.tm_mday),
                    static_cast<Month>(fields.tm_mon + 1),
                    static_cast<std::uint32_t>(fields.tm_year + 1900));
}

TEST(Calendar, EveryDayFrom1900To2400AgreesWithTheCLibrary) {
  tm start{};
  start.tm_year = 0;
  start.tm_mon = 0;
  start.tm_mday = 1;
  tm end{};
  end.tm_year = 2400 - 1900;
  end.tm_mon = 11;
  end.tm_mday = 31;
  long long const first = timegm(&start) / 86400;
  long long const last = timegm(&end) / 86400;
  ASSERT_LT(first, 0);
  DateRecord previous;
  unsigned long days = 0;
  for (long long n = first; n <= last; ++n, ++days) {
    time_t const seconds = static_cast<time_t>(n * 86400);
    tm fields{};
    ASSERT_NE(gmtime_r(&seconds, &fields), nullptr);
    DateRecord const date = FromTm(fields);
    SCOPED_TRACE(std::to_string(date.year) + "-" + std::to_string(date.month) + "-" +
                 std::to_string(date.day));
    ASSERT_TRUE(date.Valid());
    ASSERT_EQ(date.DayOfYear(), fields.tm_yday);
    ASSERT_EQ(static_cast<int>(date.DayOfWeek()), fields.tm_wday);
    ASSERT_EQ(DateRecord::IsLeapYear(date.year),
              (date.year % 4 == 0 && date.year % 100 != 0) || date.year % 400 == 0);
    // Back from the absolute day and from the day of the year.
    DateRecord again;
    again.SetAbsoluteDay(date.AbsoluteDay());
    ASSERT_EQ(again, date);
    DateRecord sameYear(1, kJanuary, date.year);
    sameYear.SetDayOfYear(date.DayOfYear());
    ASSERT_EQ(sameYear, date);
    // The instant of midnight UTC, and back.
    TimeObject const midnight(date, TimeOfDay(), TimeZone());
    ASSERT_EQ(Instant(midnight).microseconds, static_cast<long long>(seconds) * 1000000);
    TimeObject const back(Instant(static_cast<long long>(seconds) * 1000000 + 43200000000LL),
                          TimeZone());
    ASSERT_EQ(back.date, date);
    ASSERT_EQ(back.time, TimeOfDay(12, 0, 0));
    if (days != 0) {
      DateRecord next = previous;
      next += 1;
      ASSERT_EQ(next, date);
      ASSERT_EQ(date - previous, 1);
      ASSERT_TRUE(previous < date);
    }
    previous = date;
  }
  EXPECT_EQ(days, 501UL * 365 + 122);  // 501 years, 122 of them leap
}

TEST(Calendar, MonthTables) {
  EXPECT_EQ(DaysIn(kFebruary, false), 28UL);
  EXPECT_EQ(DaysIn(kFebruary, true), 29UL);
  EXPECT_EQ(DaysIn(kDecember, true), 31UL);
  EXPECT_EQ(DaysBefore(kFebruary, true), 31UL);
  EXPECT_EQ(DaysBefore(kMarch, false), 59UL);
  EXPECT_EQ(DaysBefore(kMarch, true), 60UL);
  EXPECT_EQ(MonthOf(58, true), kFebruary);
  EXPECT_EQ(MonthOf(59, true), kFebruary);
  EXPECT_EQ(MonthOf(59, false), kMarch);
  EXPECT_EQ(MonthOf(365, true), kDecember);
  EXPECT_EQ(DateRecord::DaysBefore(0), 0UL);
  EXPECT_EQ(DateRecord::DaysIn(2000), 366UL);
  EXPECT_EQ(DateRecord::DaysIn(1900), 365UL);
  EXPECT_EQ(DateRecord(1, kJanuary, 1970).AbsoluteDay(), 719528UL);
  EXPECT_EQ(DateRecord(1, kJanuary, 1970).DayOfWeek(), kThursday);
}

TEST(Calendar, Names) {
  EXPECT_EQ(Text(MonthToText(kSeptember)), "Sep");
  EXPECT_EQ(Text(FullNameOfMonth(kSeptember)), "September");
  EXPECT_EQ(Text(MonthToTwoDigits(kSeptember)), "09");
  EXPECT_EQ(Text(DayOfWeekToText(kWednesday)), "Wed");
  EXPECT_EQ(Text(FullNameOfDayOfWeek(kWednesday)), "Wednesday");
}

TEST(Calendar, DayOfYearOfFirstAndLastDays) {
  EXPECT_EQ(DateRecord(1, kJanuary, 2023).DayOfYear(), 0);
  EXPECT_EQ(DateRecord(31, kDecember, 2024).DayOfYear(), 365);
  EXPECT_EQ(DateRecord(31, kDecember, 2023).DayOfYear(), 364);
}

TEST(Calendar, AddingANegativeCountSubtractsItsMagnitude) {
  DateRecord plus(1, kMarch, 2024);
  plus += -1;
  DateRecord minus(1, kMarch, 2024);
  minus -= 1;
  EXPECT_EQ(plus, minus);
  EXPECT_EQ(plus, DateRecord(29, kFebruary, 2024));
  DateRecord back(29, kFebruary, 2024);
  back -= -366L;
  EXPECT_EQ(back, DateRecord(1, kMarch, 2025));
  EXPECT_EQ(DateRecord(1, kJanuary, 1970) - DateRecord(1, kJanuary, 1971), -365);
}

TEST(Calendar, ValidRefusesMonthsAndDaysOutOfRange) {
  EXPECT_FALSE(DateRecord(29, kFebruary, 2023).Valid());
  EXPECT_TRUE(DateRecord(29, kFebruary, 2000).Valid());
  EXPECT_FALSE(DateRecord(29, kFebruary, 1900).Valid());
  EXPECT_FALSE(DateRecord(0, kMay, 2000).Valid());
  EXPECT_FALSE(DateRecord(1, static_cast<Month>(13), 2000).Valid());
  EXPECT_FALSE(DateRecord(1, kNoMonth, 2000).Valid());
  EXPECT_FALSE(DateRecord(1, static_cast<Month>(0xFFFFFFFF), 2000).Valid());
}

TEST(Calendar, MonthsAndDaysOutOfRangeGiveEmptyNamesAndNoDays) {
  EXPECT_EQ(DaysIn(static_cast<Month>(13), true), 0UL);
  EXPECT_EQ(DaysBefore(static_cast<Month>(1000), true), 0UL);
  EXPECT_EQ(Text(MonthToText(static_cast<Month>(13))), "");
  EXPECT_EQ(Text(FullNameOfMonth(kNoMonth)), "");
  EXPECT_EQ(Text(DayOfWeekToText(static_cast<DayOfWeek>(7))), "");
  EXPECT_EQ(Text(FullNameOfDayOfWeek(static_cast<DayOfWeek>(0x80000000u))), "");
  // A broken date still writes a text, with the empty month name.
  DateRecord const broken(5, static_cast<Month>(77), 2000);
  EXPECT_NO_THROW(DateToText(broken));
}

TEST(TimeOfDayTest, WrapsRoundMidnight) {
  TimeOfDay time(23, 59, 59);
  time += 1;
  EXPECT_EQ(time, TimeOfDay(0, 0, 0));
  time -= 1;
  EXPECT_EQ(time, TimeOfDay(23, 59, 59));
  time += -86401L;
  EXPECT_EQ(time, TimeOfDay(23, 59, 58));
  time.SetSecondOfDay(86400UL * 3 + 3661);
  EXPECT_EQ(time, TimeOfDay(1, 1, 1));
  EXPECT_EQ(TimeOfDay(0, 0, 1) - TimeOfDay(0, 1, 0), -59);
  EXPECT_TRUE(TimeOfDay(23, 59, 59).Valid());
  EXPECT_FALSE(TimeOfDay(24, 0, 0).Valid());
  EXPECT_FALSE(TimeOfDay(0, 60, 0).Valid());
  EXPECT_FALSE(TimeOfDay(0, 0, 60).Valid());
}

TEST(TimeObjectTest, OneSecondPastTheDayIsTheNextDay) {
  TimeObject late(DateRecord(31, kDecember, 1999), TimeOfDay(23, 59, 59), TimeZone());
  TimeObject const next = late + 1;
  EXPECT_EQ(next.date, DateRecord(1, kJanuary, 2000));
  EXPECT_EQ(next.time, TimeOfDay(0, 0, 0));
  TimeObject const early(DateRecord(1, kMarch, 2000), TimeOfDay(0, 0, 0), TimeZone());
  TimeObject const before = early - 1;
  EXPECT_EQ(before.date, DateRecord(29, kFebruary, 2000));
  EXPECT_EQ(before.time, TimeOfDay(23, 59, 59));
  TimeObject also = early;
  also += -1;
  EXPECT_EQ(also.date, before.date);
  EXPECT_EQ(also.time, before.time);
  EXPECT_EQ(early - before, 1);
  EXPECT_EQ(before - early, -1);
}

TEST(TimeObjectTest, TheSameMomentInTwoZonesIsEqual) {
  TimeObject const utc(DateRecord(1, kJanuary, 2000), TimeOfDay(0, 30, 0), TimeZone());
  TimeObject const east(DateRecord(1, kJanuary, 2000), TimeOfDay(2, 0, 0), TimeZone(5400));
  TimeObject const west(DateRecord(31, kDecember, 1999), TimeOfDay(19, 30, 0), TimeZone(-5 * 3600));
  EXPECT_TRUE(utc == east);
  EXPECT_TRUE(east == west);
  EXPECT_FALSE(utc < west);
  EXPECT_FALSE(west < utc);
  EXPECT_EQ(east - west, 0);
  EXPECT_EQ(Instant(utc), Instant(west));
  EXPECT_TRUE(utc < east + 1);
  TimeObject moved = utc;
  moved.SetTimeZone(TimeZone(5400));
  EXPECT_EQ(moved.date, east.date);
  EXPECT_EQ(moved.time, east.time);
  EXPECT_EQ(moved.zone.offset, 5400);
}

TEST(TimeObjectTest, DefaultIsTheStartOf1970AndItsInstantIsZero) {
  TimeObject const start;
  EXPECT_EQ(start.date, DateRecord(1, kJanuary, 1970));
  EXPECT_EQ(start.time, TimeOfDay(0, 0, 0));
  EXPECT_EQ(start.zone.offset, 0);
  EXPECT_EQ(Instant(start).microseconds, 0);
  EXPECT_TRUE(start.Valid());
}

TEST(TimeObjectTest, MicrosecondsOfAnInstantAreLost) {
  TimeObject const time(Instant(1234567890123456LL), TimeZone());
  EXPECT_EQ(Instant(time).microseconds, 1234567890000000LL);
  EXPECT_EQ(time.date, DateRecord(13, kFebruary, 2009));
  EXPECT_EQ(time.time, TimeOfDay(23, 31, 30));
}

TEST(TimeText, Forms) {
  EXPECT_STREQ(DateToText(DateRecord()).CString(), "Thu, 01 Jan 1970");
  EXPECT_EQ(DateToText(DateRecord()).length, 16UL);
  EXPECT_STREQ(TimeOfDayToText(TimeOfDay(7, 5, 3)).CString(), "07:05:03");
  EXPECT_STREQ(TimeToText(TimeObject()).CString(), "Thu, 01 Jan 1970 00:00:00 +0000");
  EXPECT_STREQ(TimeToText(Instant(1234567890123456LL), TimeZone(-(5 * 3600 + 30 * 60))).CString(),
               "Fri, 13 Feb 2009 18:01:30 -0530");
  // A year before the fourth digit is padded; the day name follows the
  // same calendar as `date`.
  EXPECT_EQ(std::string(DateToText(DateRecord(9, kMay, 33)).CString()),
            Output("LC_ALL=C date -u -d 0033-05-09 '+%a, %d %b %Y'"));
}

TEST(TimeText, TooLongForItsStoreThrows) {
  EXPECT_THROW(DateToText(DateRecord(1, kJanuary, 10000)), ConstDataCapacityExceeded);
  EXPECT_THROW(DateToText(DateRecord(100, kJanuary, 2000)), ConstDataCapacityExceeded);
  EXPECT_THROW(TimeOfDayToText(TimeOfDay(200, 0, 0)), ConstDataCapacityExceeded);
  EXPECT_THROW(TimeToText(TimeObject(DateRecord(1, kJanuary, 2000), TimeOfDay(), TimeZone(360000))),
               ConstDataCapacityExceeded);
}

TEST(TimeText, AFullBufferOverflows) {
  unsigned char bytes[10];
  Buffer out(Data(bytes, sizeof bytes));
  EXPECT_THROW(out << DateRecord(), DataOverflow);
  Buffer zone(Data(bytes, 4));
  EXPECT_THROW(zone << TimeZone(3600), DataOverflow);
  EXPECT_EQ(zone.current, bytes);
}

TEST(HostTime, TextToTimeKeepsTheTextsZone) {
  TimeObject const time = TextToTime(ConstData("Thu, 01 Jan 1970 01:00:00 +0100"));
  EXPECT_EQ(time.date, DateRecord(1, kJanuary, 1970));
  EXPECT_EQ(time.time, TimeOfDay(1, 0, 0));
  EXPECT_EQ(time.zone.offset, 3600);
  EXPECT_TRUE(time == TimeObject());
  EXPECT_EQ(time - TimeObject(), 0);
  TimeObject const later = TextToTime(ConstData("29 Feb 2000 23:59:59 -0000"));
  EXPECT_EQ(later.date, DateRecord(29, kFebruary, 2000));
  // The text form of a time reads back as the same time.
  TimeObject const zoned(DateRecord(13, kFebruary, 2009), TimeOfDay(18, 1, 30), TimeZone(-19800));
  TimeObject const read = TextToTime(TimeToText(zoned));
  EXPECT_EQ(read.date, zoned.date);
  EXPECT_EQ(read.time, zoned.time);
  EXPECT_EQ(read.zone.offset, zoned.zone.offset);
}

TEST(HostTime, TextToTimeRefusesWhatIsNoTime) {
  EXPECT_THROW(TextToTime(ConstData()), NoSuchObject);
  EXPECT_THROW(TextToTime(ConstData("garbage")), NoSuchObject);
  EXPECT_THROW(TextToTime(ConstData("30 Feb 2000 00:00:00 +0000")), NoSuchObject);
  EXPECT_THROW(TextToTime(ConstData("01 Jan 1970 24:00:00 +0000")), NoSuchObject);
  EXPECT_THROW(TextToTime(ConstData("01 Jan 1970 00:00:00 +0000 ")), NoSuchObject);
  // A view that ends inside the zone is read no further than its end.
  char const cut[] = "01 Jan 1970 00:00:00 +0000";
  EXPECT_THROW(TextToTime(ConstData(cut, sizeof cut - 2)), NoSuchObject);
}

TEST(HostTime, AsMomentIsTheCountOfMicroseconds) {
  EXPECT_EQ(AsMoment(Instant(-1)).ticks, -1);
  EXPECT_EQ(AsMoment(Instant(TimeObject())).ticks, 0);
  EXPECT_EQ(AsMoment(Instant(1234567890123456LL)).ticks, 1234567890123456LL);
}

TEST(MachineTime, LocalZoneAgreesWithDate) {
  std::string const zone = Output("LC_ALL=C date +%z");
  ASSERT_EQ(zone.size(), 5U) << zone;
  int const sign = zone[0] == '-' ? -1 : 1;
  int const offset = sign * (std::stoi(zone.substr(1, 2)) * 3600 + std::stoi(zone.substr(3, 2)) * 60);
  EXPECT_EQ(TimeZone::Local().offset, offset);
}

TEST(MachineTime, NowAndTodayAgreeWithDate) {
  long long const before = std::stoll(Output("LC_ALL=C date +%s"));
  Instant const now = Instant::Now();
  long long const after = std::stoll(Output("LC_ALL=C date +%s"));
  EXPECT_EQ(now.microseconds % 1000000, 0);
  EXPECT_GE(now.microseconds / 1000000, before);
  EXPECT_LE(now.microseconds / 1000000, after);
  std::string const today = Output("LC_ALL=C date -u '+%a, %d %b %Y'");
  std::string const mine = DateToText(Today(TimeZone())).CString();
  if (mine != today) {
    // Midnight passed between the two reads.
    EXPECT_EQ(mine, Output("LC_ALL=C date -u '+%a, %d %b %Y'"));
  }
}

// Sets TZ for the life of the object and makes the C library read it.
class ScopedZone {
 public:
  explicit ScopedZone(char const* zone) {
    char const* const old = std::getenv("TZ");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv("TZ", zone, 1);
    tzset();
    RefreshTimeZoneInfo();
  }
  ~ScopedZone() {
    if (hadOld_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  bool hadOld_ = false;
  std::string old_;
};

TEST(MachineTime, AZoneEastAndAZoneWestAgreeWithDate) {
  // Zones written as rules, so that no zone file is needed.
  for (char const* zone : {"XYZ-5:30", "ABC+3", "UTC0"}) {
    SCOPED_TRACE(zone);
    ScopedZone const scoped(zone);
    std::string const text = Output((std::string("LC_ALL=C TZ='") + zone + "' date +%z").c_str());
    ASSERT_EQ(text.size(), 5U) << text;
    int const sign = text[0] == '-' ? -1 : 1;
    int const offset =
        sign * (std::stoi(text.substr(1, 2)) * 3600 + std::stoi(text.substr(3, 2)) * 60);
    EXPECT_EQ(TimeZone::Local().offset, offset);
    // The clock reading in the zone names the same moment as the C library's.
    long long const before = std::stoll(Output("LC_ALL=C date +%s"));
    Instant const now = Instant::Now();
    long long const after = std::stoll(Output("LC_ALL=C date +%s"));
    EXPECT_GE(now.microseconds / 1000000, before);
    EXPECT_LE(now.microseconds / 1000000, after);
  }
}

TEST(MachineTime, TimeMarkCountsFromItsFirstCall) {
  long long const first = TimeMark::Now();
  EXPECT_GE(first, 0);
  timespec pause{0, 20 * 1000 * 1000};
  nanosleep(&pause, nullptr);
  long long const second = TimeMark::Now();
  EXPECT_GE(second - first, 20000);
  EXPECT_LT(second - first, 20000000);
  RefreshTimeZoneInfo();
}

}  // namespace
