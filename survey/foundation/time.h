// Dates and times: the calendar, the three text forms, the process clock and
// the library's time unit.
//
// A moment is an `Instant`: microseconds since 1 January 1970, 00:00:00 UTC.
// A broken-down time is a `TimeObject`: a `DateRecord`, a `TimeOfDay` and a
// `TimeZone`. The calendar functions trust their input: `Valid()` is the only
// test. A month or a day of the week outside its range reads the empty slot of
// its table, so it gives 0 days and an empty name rather than a read past the
// table.
//
// The classes are plain fields with trivial copies, and their layouts are
// fixed: the host reads and fills them through `AsMoment`, `TextToTime` and
// the zone's text (see survey/frame/boundary.h). The host touches only the
// fields and the inline constructors.
#pragma once

#include <concepts>
#include <cstdint>

#include "survey/foundation/data.h"

enum Month : std::uint32_t {
  kNoMonth = 0,
  kJanuary = 1,
  kFebruary,
  kMarch,
  kApril,
  kMay,
  kJune,
  kJuly,
  kAugust,
  kSeptember,
  kOctober,
  kNovember,
  kDecember,
};

enum DayOfWeek : std::uint32_t {
  kSunday = 0,
  kMonday,
  kTuesday,
  kWednesday,
  kThursday,
  kFriday,
  kSaturday,
};

// Days in the month, with 29 for February in a leap year.
unsigned long DaysIn(Month month, bool leap);
// Days of the year before the first of the month.
unsigned long DaysBefore(Month month, bool leap);
// The month of a day of the year counted from 0.
Month MonthOf(unsigned short dayOfYear, bool leap);

// Names, each a view of constant text: "Jan", "January", "01"; "Sun", "Sunday".
ConstData MonthToText(Month month);
ConstData FullNameOfMonth(Month month);
ConstData MonthToTwoDigits(Month month);
ConstData DayOfWeekToText(::DayOfWeek day);
ConstData FullNameOfDayOfWeek(::DayOfWeek day);

class DateRecord {
 public:
  std::uint32_t day = 1;  // of the month, from 1
  Month month = kJanuary;
  std::uint32_t year = 1970;  // the full year

  DateRecord() = default;
  DateRecord(std::uint32_t dayOfMonth, Month monthOfYear, std::uint32_t fullYear)
      : day(dayOfMonth), month(monthOfYear), year(fullYear) {}

  static bool IsLeapYear(unsigned long year);
  static unsigned long DaysIn(unsigned long year);
  // The year that holds a day counted from 1 January of year 0.
  static unsigned long YearOf(unsigned long absoluteDay);
  // The days before 1 January of the year, counted from 1 January of year 0.
  static unsigned long DaysBefore(unsigned long year);

  bool Valid() const;
  // From 0 for 1 January.
  unsigned short DayOfYear() const;
  void SetDayOfYear(unsigned short dayOfYear);
  unsigned long AbsoluteDay() const;
  void SetAbsoluteDay(unsigned long absoluteDay);
  ::DayOfWeek DayOfWeek() const;

  bool operator==(DateRecord const& other) const;
  bool operator<(DateRecord const& other) const;

  // A count of days, of any integer type; a negative one goes the other way.
  template <std::integral T>
  DateRecord& operator+=(T days) {
    if constexpr (std::is_signed_v<T>) {
      if (days < 0) return SubtractDays(Magnitude(days));
    }
    return AddDays(static_cast<unsigned long long>(days));
  }
  template <std::integral T>
  DateRecord& operator-=(T days) {
    if constexpr (std::is_signed_v<T>) {
      if (days < 0) return AddDays(Magnitude(days));
    }
    return SubtractDays(static_cast<unsigned long long>(days));
  }
  // The days from `other` to this date.
  long long operator-(DateRecord const& other) const;

  DateRecord& AddDays(unsigned long long days);
  DateRecord& SubtractDays(unsigned long long days);

 private:
  template <class T>
  static unsigned long long Magnitude(T value) {
    return 0ULL - static_cast<unsigned long long>(static_cast<long long>(value));
  }
};

class TimeOfDay {
 public:
  std::uint8_t hour = 0;
  std::uint8_t minute = 0;
  std::uint8_t second = 0;

  TimeOfDay() = default;
  TimeOfDay(std::uint8_t h, std::uint8_t m, std::uint8_t s) : hour(h), minute(m), second(s) {}

  bool Valid() const;
  unsigned long SecondOfDay() const;
  // Reduces the count modulo one day and splits it.
  void SetSecondOfDay(unsigned long second);

  bool operator==(TimeOfDay const& other) const;
  bool operator<(TimeOfDay const& other) const;

  // Seconds, wrapping round midnight; the date is not touched.
  template <std::integral T>
  TimeOfDay& operator+=(T seconds) {
    if constexpr (std::is_signed_v<T>) {
      if (seconds < 0) return SubtractSeconds(0ULL - static_cast<unsigned long long>(
                                                         static_cast<long long>(seconds)));
    }
    return AddSeconds(static_cast<unsigned long long>(seconds));
  }
  template <std::integral T>
  TimeOfDay& operator-=(T seconds) {
    if constexpr (std::is_signed_v<T>) {
      if (seconds < 0) return AddSeconds(0ULL - static_cast<unsigned long long>(
                                                    static_cast<long long>(seconds)));
    }
    return SubtractSeconds(static_cast<unsigned long long>(seconds));
  }
  // The signed difference in seconds.
  long operator-(TimeOfDay const& other) const;

  TimeOfDay& AddSeconds(unsigned long long seconds);
  TimeOfDay& SubtractSeconds(unsigned long long seconds);
};

class TimeZone {
 public:
  std::int32_t offset = 0;  // seconds, positive east of UTC

  TimeZone() = default;
  explicit TimeZone(std::int32_t seconds) : offset(seconds) {}

  // The offset of the machine's zone now.
  static TimeZone Local();

  bool operator==(TimeZone const& other) const { return offset == other.offset; }
};

class Instant;

class TimeObject {
 public:
  DateRecord date;
  TimeOfDay time;
  TimeZone zone;

  // 1 January 1970, 00:00:00, offset 0.
  TimeObject() = default;
  TimeObject(DateRecord const& d, TimeOfDay const& t, TimeZone const& z)
      : date(d), time(t), zone(z) {}
  // The instant in that zone; microseconds are dropped.
  TimeObject(Instant const& instant, TimeZone const& zone);

  bool Valid() const;
  // Keeps the moment and moves the clock reading to the new zone.
  void SetTimeZone(TimeZone const& zone);

  TimeObject& operator+=(long long seconds);
  TimeObject operator+(long long seconds) const;
  TimeObject operator-(long long seconds) const;
  // Seconds from `other` to this.
  long long operator-(TimeObject const& other) const;
  bool operator==(TimeObject const& other) const;
  bool operator<(TimeObject const& other) const;
};

class Instant {
 public:
  std::int64_t microseconds = 0;  // since 1970-01-01 00:00:00 UTC

  Instant() = default;
  explicit Instant(std::int64_t count) : microseconds(count) {}
  Instant(TimeObject const& time);  // NOLINT: a broken-down time names a moment

  // Now, to the second.
  static Instant Now();

  bool operator==(Instant const& other) const { return microseconds == other.microseconds; }
  bool operator<(Instant const& other) const { return microseconds < other.microseconds; }
};

// The date of now in the zone.
DateRecord Today(TimeZone const& zone);

// The wall clock's whole seconds since 1970, as `date +%s` reads them. The
// C library's time() may lag the clock by up to a tick just after a second
// begins, so everything that tells the time reads it here.
long long ClockSeconds();

// Microseconds of the wall clock since the first call in the process.
class TimeMark {
 public:
  static long long Now();
};

// Makes the C library reload the zone data.
void RefreshTimeZoneInfo();

// Text forms, written into a buffer; a full buffer throws DataOverflow. The
// zone's text is the host's.
Buffer& operator<<(Buffer& out, ::DayOfWeek day);
Buffer& operator<<(Buffer& out, Month month);
Buffer& operator<<(Buffer& out, DateRecord const& date);  // Thu, 01 Jan 1970
Buffer& operator<<(Buffer& out, TimeOfDay const& time);   // 00:00:00
Buffer& operator<<(Buffer& out, TimeObject const& time);  // date, time, zone

// A short text with its length and a terminator, in a store of its own.
template <unsigned long Capacity>
struct CalendarText {
  unsigned long length = 0;
  char text[Capacity + 1] = {};

  static constexpr unsigned long kCapacity = Capacity;

  char const* CString() const { return text; }
  operator ConstData() const { return ConstData(text, length); }
};

// Each throws ConstDataCapacityExceeded when the text does not fit.
CalendarText<16> DateToText(DateRecord const& date);
CalendarText<8> TimeOfDayToText(TimeOfDay const& time);
CalendarText<31> TimeToText(TimeObject const& time);
CalendarText<31> TimeToText(Instant const& instant, TimeZone const& zone);
