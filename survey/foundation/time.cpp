#include "survey/foundation/time.h"

#include <ctime>

#include "survey/foundation/numeral.h"

namespace {

constexpr long long kSecondsPerDay = 86400;
constexpr long long kMicrosecondsPerSecond = 1000000;

// Indexed by month; slot 0 is empty and serves any month out of range.
constexpr unsigned long kDaysInMonth[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr unsigned long kDaysBeforeMonth[13] = {0,   0,   31,  59,  90,  120, 151,
                                                181, 212, 243, 273, 304, 334};
char const* const kMonthNames[13] = {"",    "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
char const* const kFullMonthNames[13] = {"",          "January",  "February", "March", "April",
                                         "May",       "June",     "July",     "August",
                                         "September", "October",  "November", "December"};
char const* const kMonthDigits[13] = {"",   "01", "02", "03", "04", "05", "06",
                                      "07", "08", "09", "10", "11", "12"};
// Slot 7 is empty and serves any day out of range.
char const* const kDayNames[8] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", ""};
char const* const kFullDayNames[8] = {"Sunday",   "Monday", "Tuesday",  "Wednesday",
                                      "Thursday", "Friday", "Saturday", ""};

unsigned MonthSlot(Month month) { return month <= kDecember ? static_cast<unsigned>(month) : 0U; }
unsigned DaySlot(DayOfWeek day) { return day <= kSaturday ? static_cast<unsigned>(day) : 7U; }

// Appends the whole text or throws DataOverflow, writing nothing.
void Put(Buffer& out, ConstData text) {
  if (out.Remaining() < text.Length()) throw DataOverflow();
  out << text;
}

// A number with leading zeros up to `digits`.
void PutPadded(Buffer& out, unsigned long value, unsigned long digits) {
  Numeral numeral(value);
  numeral.PadTo(digits);
  Put(out, numeral);
}

template <unsigned long Capacity, class Writer>
CalendarText<Capacity> MakeText(Writer const& write) {
  CalendarText<Capacity> result;
  Buffer out(Data(result.text, Capacity));
  try {
    write(out);
  } catch (DataOverflow const&) {
    throw ConstDataCapacityExceeded();
  }
  result.length = out.Processed().Length();
  result.text[result.length] = '\0';
  return result;
}

long long FloorDivide(long long value, long long divisor) {
  long long quotient = value / divisor;
  if (value % divisor != 0 && (value < 0) != (divisor < 0)) --quotient;
  return quotient;
}

}  // namespace

// ---------------------------------------------------------------------------
// Months and days of the week.

unsigned long DaysIn(Month month, bool leap) {
  if (month == kFebruary && leap) return 29;
  return kDaysInMonth[MonthSlot(month)];
}

unsigned long DaysBefore(Month month, bool leap) {
  unsigned long const days = kDaysBeforeMonth[MonthSlot(month)];
  return leap && month >= kMarch && month <= kDecember ? days + 1 : days;
}

Month MonthOf(unsigned short dayOfYear, bool leap) {
  unsigned long const day = leap && dayOfYear > 58 ? dayOfYear - 1UL : dayOfYear;
  for (unsigned month = kJanuary; month <= kNovember; ++month) {
    if (kDaysBeforeMonth[month + 1] > day) return static_cast<Month>(month);
  }
  return kDecember;
}

ConstData MonthToText(Month month) { return ConstData(kMonthNames[MonthSlot(month)]); }
ConstData FullNameOfMonth(Month month) { return ConstData(kFullMonthNames[MonthSlot(month)]); }
ConstData MonthToTwoDigits(Month month) { return ConstData(kMonthDigits[MonthSlot(month)]); }
ConstData DayOfWeekToText(DayOfWeek day) { return ConstData(kDayNames[DaySlot(day)]); }
ConstData FullNameOfDayOfWeek(DayOfWeek day) { return ConstData(kFullDayNames[DaySlot(day)]); }

// ---------------------------------------------------------------------------
// DateRecord.

bool DateRecord::IsLeapYear(unsigned long year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

unsigned long DateRecord::DaysIn(unsigned long year) { return IsLeapYear(year) ? 366 : 365; }

unsigned long DateRecord::YearOf(unsigned long absoluteDay) {
  unsigned long const a = absoluteDay - (absoluteDay != 0 ? 1 : 0);
  unsigned long const b = a - a / 146097;
  unsigned long const c = b + b / 36524;
  return (c - c / 1461) / 365;
}

unsigned long DateRecord::DaysBefore(unsigned long year) {
  if (year == 0) return 0;
  unsigned long const y = year - 1;
  return year * 365 + y / 4 - y / 100 + y / 400 + 1;
}

bool DateRecord::Valid() const {
  return month >= kJanuary && month <= kDecember && day >= 1 &&
         day <= ::DaysIn(month, IsLeapYear(year));
}

unsigned short DateRecord::DayOfYear() const {
  return static_cast<unsigned short>(day + ::DaysBefore(month, IsLeapYear(year)) - 1);
}

void DateRecord::SetDayOfYear(unsigned short dayOfYear) {
  bool const leap = IsLeapYear(year);
  month = MonthOf(dayOfYear, leap);
  day = static_cast<std::uint32_t>(dayOfYear - ::DaysBefore(month, leap) + 1);
}

unsigned long DateRecord::AbsoluteDay() const { return DaysBefore(year) + DayOfYear(); }

void DateRecord::SetAbsoluteDay(unsigned long absoluteDay) {
  year = static_cast<std::uint32_t>(YearOf(absoluteDay));
  SetDayOfYear(static_cast<unsigned short>((absoluteDay - DaysBefore(year)) & 0xFFFF));
}

DayOfWeek DateRecord::DayOfWeek() const {
  return static_cast<::DayOfWeek>((AbsoluteDay() + 6) % 7);
}

bool DateRecord::operator==(DateRecord const& other) const {
  return day == other.day && month == other.month && year == other.year;
}

bool DateRecord::operator<(DateRecord const& other) const {
  if (year != other.year) return year < other.year;
  if (month != other.month) return month < other.month;
  return day < other.day;
}

DateRecord& DateRecord::AddDays(unsigned long long days) {
  SetAbsoluteDay(static_cast<unsigned long>(AbsoluteDay() + days));
  return *this;
}

DateRecord& DateRecord::SubtractDays(unsigned long long days) {
  SetAbsoluteDay(static_cast<unsigned long>(AbsoluteDay() - days));
  return *this;
}

long long DateRecord::operator-(DateRecord const& other) const {
  return static_cast<long long>(AbsoluteDay()) - static_cast<long long>(other.AbsoluteDay());
}

// ---------------------------------------------------------------------------
// TimeOfDay.

bool TimeOfDay::Valid() const { return hour < 24 && minute < 60 && second < 60; }

unsigned long TimeOfDay::SecondOfDay() const {
  return hour * 3600UL + minute * 60UL + second;
}

void TimeOfDay::SetSecondOfDay(unsigned long seconds) {
  unsigned long const s = seconds % kSecondsPerDay;
  hour = static_cast<std::uint8_t>(s / 3600);
  minute = static_cast<std::uint8_t>(s / 60 % 60);
  second = static_cast<std::uint8_t>(s % 60);
}

bool TimeOfDay::operator==(TimeOfDay const& other) const {
  return hour == other.hour && minute == other.minute && second == other.second;
}

bool TimeOfDay::operator<(TimeOfDay const& other) const {
  if (hour != other.hour) return hour < other.hour;
  if (minute != other.minute) return minute < other.minute;
  return second < other.second;
}

TimeOfDay& TimeOfDay::AddSeconds(unsigned long long seconds) {
  SetSecondOfDay(static_cast<unsigned long>(SecondOfDay() + seconds % kSecondsPerDay));
  return *this;
}

TimeOfDay& TimeOfDay::SubtractSeconds(unsigned long long seconds) {
  SetSecondOfDay(
      static_cast<unsigned long>(SecondOfDay() - seconds % kSecondsPerDay + kSecondsPerDay));
  return *this;
}

long TimeOfDay::operator-(TimeOfDay const& other) const {
  return static_cast<long>(SecondOfDay()) - static_cast<long>(other.SecondOfDay());
}

// ---------------------------------------------------------------------------
// TimeZone, TimeObject, Instant.

long long ClockSeconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<long long>(now.tv_sec);
}

TimeZone TimeZone::Local() {
  time_t const now = static_cast<time_t>(ClockSeconds());
  tm local{};
  if (localtime_r(&now, &local) == nullptr) return TimeZone();
  return TimeZone(static_cast<std::int32_t>(local.tm_gmtoff));
}

TimeObject::TimeObject(Instant const& instant, TimeZone const& newZone) {
  *this += instant.microseconds / kMicrosecondsPerSecond;
  SetTimeZone(newZone);
}

bool TimeObject::Valid() const { return date.Valid() && time.Valid(); }

void TimeObject::SetTimeZone(TimeZone const& newZone) {
  *this += static_cast<long long>(newZone.offset) - zone.offset;
  zone = newZone;
}

TimeObject& TimeObject::operator+=(long long seconds) {
  long long const days = FloorDivide(seconds, kSecondsPerDay);
  long long const remainder = seconds - days * kSecondsPerDay;
  date += days;
  if (static_cast<long long>(time.SecondOfDay()) + remainder > kSecondsPerDay - 1) {
    date += 1;
    time -= kSecondsPerDay - remainder;
  } else {
    time += remainder;
  }
  return *this;
}

TimeObject TimeObject::operator+(long long seconds) const {
  TimeObject result = *this;
  result += seconds;
  return result;
}

TimeObject TimeObject::operator-(long long seconds) const {
  TimeObject result = *this;
  // The magnitude of the least value wraps to itself, which adds the same.
  result += static_cast<long long>(0ULL - static_cast<unsigned long long>(seconds));
  return result;
}

long long TimeObject::operator-(TimeObject const& other) const {
  TimeObject right = other;
  right.SetTimeZone(zone);
  return (date - right.date) * kSecondsPerDay + (time - right.time);
}

bool TimeObject::operator==(TimeObject const& other) const {
  TimeObject right = other;
  right.SetTimeZone(zone);
  return date == right.date && time == right.time;
}

bool TimeObject::operator<(TimeObject const& other) const {
  TimeObject right = other;
  right.SetTimeZone(zone);
  if (!(date == right.date)) return date < right.date;
  return time < right.time;
}

namespace {
unsigned long AbsoluteDayOf1970() {
  static unsigned long const day = DateRecord(1, kJanuary, 1970).AbsoluteDay();
  return day;
}
}  // namespace

Instant::Instant(TimeObject const& time)
    : microseconds((static_cast<long long>(time.date.AbsoluteDay()) -
                    static_cast<long long>(AbsoluteDayOf1970())) *
                       kSecondsPerDay * kMicrosecondsPerSecond +
                   static_cast<long long>(time.time.SecondOfDay()) * kMicrosecondsPerSecond -
                   static_cast<long long>(time.zone.offset) * kMicrosecondsPerSecond) {}

Instant Instant::Now() {
  time_t const now = static_cast<time_t>(ClockSeconds());
  tm local{};
  localtime_r(&now, &local);
  TimeObject reading(DateRecord(static_cast<std::uint32_t>(local.tm_mday),
                                static_cast<Month>(local.tm_mon + 1),
                                static_cast<std::uint32_t>(local.tm_year + 1900)),
                     TimeOfDay(static_cast<std::uint8_t>(local.tm_hour),
                               static_cast<std::uint8_t>(local.tm_min),
                               static_cast<std::uint8_t>(local.tm_sec)),
                     TimeZone::Local());
  return Instant(reading);
}

DateRecord Today(TimeZone const& zone) { return TimeObject(Instant::Now(), zone).date; }

long long TimeMark::Now() {
  static bool first = true;
  static long long start = 0;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  long long const count =
      static_cast<long long>(now.tv_sec) * kMicrosecondsPerSecond + now.tv_nsec / 1000;
  if (first) {
    first = false;
    start = count;
  }
  return count - start;
}

void RefreshTimeZoneInfo() {
  time_t const any = 0;
  ::localtime(&any);
}

// ---------------------------------------------------------------------------
// Text.

Buffer& operator<<(Buffer& out, DayOfWeek day) {
  Put(out, DayOfWeekToText(day));
  return out;
}

Buffer& operator<<(Buffer& out, Month month) {
  Put(out, MonthToText(month));
  return out;
}

Buffer& operator<<(Buffer& out, DateRecord const& date) {
  out << date.DayOfWeek();
  Put(out, ConstData(", "));
  PutPadded(out, date.day, 2);
  Put(out, ConstData(" "));
  out << date.month;
  Put(out, ConstData(" "));
  PutPadded(out, date.year, 4);
  return out;
}

Buffer& operator<<(Buffer& out, TimeOfDay const& time) {
  PutPadded(out, time.hour, 2);
  Put(out, ConstData(":"));
  PutPadded(out, time.minute, 2);
  Put(out, ConstData(":"));
  PutPadded(out, time.second, 2);
  return out;
}

Buffer& operator<<(Buffer& out, TimeObject const& time) {
  out << time.date;
  Put(out, ConstData(" "));
  out << time.time;
  Put(out, ConstData(" "));
  out << time.zone;
  return out;
}

CalendarText<16> DateToText(DateRecord const& date) {
  return MakeText<16>([&](Buffer& out) { out << date; });
}

CalendarText<8> TimeOfDayToText(TimeOfDay const& time) {
  return MakeText<8>([&](Buffer& out) { out << time; });
}

CalendarText<31> TimeToText(TimeObject const& time) {
  return MakeText<31>([&](Buffer& out) { out << time; });
}

CalendarText<31> TimeToText(Instant const& instant, TimeZone const& zone) {
  return TimeToText(TimeObject(instant, zone));
}
