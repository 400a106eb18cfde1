#include "host/engine/time_text.h"

#include <cstdio>
#include <ctime>

namespace survey::host {

namespace {
constexpr long long kMicrosecondsPerSecond = 1000000;
char const* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
char const* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

long long FloorDivide(long long value, long long divisor) {
  long long quotient = value / divisor;
  if ((value % divisor != 0) && ((value < 0) != (divisor < 0))) --quotient;
  return quotient;
}
// Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
long long DaysFromCivil(long long year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  long long const era = FloorDivide(year, 400);
  unsigned const yearOfEra = static_cast<unsigned>(year - era * 400);
  unsigned const dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  unsigned const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<long long>(dayOfEra) - 719468;
}

bool IsLeap(long long year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned DaysInMonth(long long year, unsigned month) {
  static unsigned const kDaysIn[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDaysIn[month - 1];
}

// A cursor over the text being parsed.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}
  bool AtEnd() const { return at_ == text_.size(); }
  bool Accept(std::string_view word) {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }
  // Exactly `count` digits, or between `count` and `most` of them.
  bool Digits(std::size_t count, std::size_t most, long long& value) {
    std::size_t n = 0;
    value = 0;
    while (n < most && at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') {
      value = value * 10 + (text_[at_] - '0');
      ++at_;
      ++n;
    }
    return n >= count;
  }
  // One of the names; its place in the list from 1.
  unsigned Name(char const* const* names, unsigned count) {
    for (unsigned k = 0; k < count; ++k) {
      if (Accept(names[k])) return k + 1;
    }
    return 0;
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};
}  // namespace

bool ParseTimeFields(std::string_view text, TimeFields& fields) {
  Reader reader(text);
  if (reader.Name(kDays, 7) != 0 && !reader.Accept(", ")) return false;
  long long day, year, hour, minute, second, zoneHours, zoneMinutes;
  if (!reader.Digits(1, 2, day) || !reader.Accept(" ")) return false;
  unsigned const month = reader.Name(kMonths, 12);
  if (month == 0 || !reader.Accept(" ")) return false;
  if (!reader.Digits(4, 4, year) || !reader.Accept(" ")) return false;
  if (!reader.Digits(2, 2, hour) || !reader.Accept(":") || !reader.Digits(2, 2, minute) ||
      !reader.Accept(":") || !reader.Digits(2, 2, second) || !reader.Accept(" ")) {
    return false;
  }
  int sign = 0;
  if (reader.Accept("+")) {
    sign = 1;
  } else if (reader.Accept("-")) {
    sign = -1;
  }
  if (sign == 0 || !reader.Digits(2, 2, zoneHours) || !reader.Digits(2, 2, zoneMinutes) ||
      !reader.AtEnd()) {
    return false;
  }
  if (day < 1 || day > DaysInMonth(year, month) || hour > 23 || minute > 59 || second > 59 ||
      zoneHours > 23 || zoneMinutes > 59) {
    return false;
  }
  fields.year = year;
  fields.month = month;
  fields.day = static_cast<unsigned>(day);
  fields.hour = static_cast<unsigned>(hour);
  fields.minute = static_cast<unsigned>(minute);
  fields.second = static_cast<unsigned>(second);
  fields.offset = static_cast<long>(sign * (zoneHours * 3600 + zoneMinutes * 60));
  return true;
}

bool ParseTimeText(std::string_view text, long long& ticks) {
  TimeFields fields;
  if (!ParseTimeFields(text, fields)) return false;
  long long const local = DaysFromCivil(fields.year, fields.month, fields.day) * 86400 +
                          fields.hour * 3600LL + fields.minute * 60LL + fields.second;
  ticks = (local - fields.offset) * kMicrosecondsPerSecond;
  return true;
}

std::string ZoneText(long offset) {
  // Work in the magnitude at 64 bits, so that the least offset prints whole.
  long long const magnitude = offset < 0 ? -static_cast<long long>(offset) : offset;
  long long const minutes = magnitude / 60;
  char text[32];
  std::snprintf(text, sizeof text, "%c%02lld%02lld", offset < 0 ? '-' : '+', minutes / 60,
                minutes % 60);
  return text;
}

std::string TimeText(long long ticks) {
  time_t const seconds = static_cast<time_t>(FloorDivide(ticks, kMicrosecondsPerSecond));
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return "<time out of range>";
  char text[64];
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d ", kDays[local.tm_wday % 7],
                local.tm_mday, kMonths[local.tm_mon % 12], local.tm_year + 1900, local.tm_hour,
                local.tm_min, local.tm_sec);
  return text + ZoneText(local.tm_gmtoff);
}

std::string IntervalText(long long ticks) {
  // Work in unsigned magnitude so that the most negative value is printable.
  bool const negative = ticks < 0;
  unsigned long long magnitude =
      negative ? 0ULL - static_cast<unsigned long long>(ticks) : static_cast<unsigned long long>(ticks);
  unsigned long long const micros = magnitude % kMicrosecondsPerSecond;
  unsigned long long seconds = magnitude / kMicrosecondsPerSecond;
  unsigned long long const days = seconds / 86400;
  seconds %= 86400;
  std::string text = negative ? "-" : "";
  if (days != 0) text += std::to_string(days) + (days == 1 ? " day, " : " days, ");
  char clock[48];
  std::snprintf(clock, sizeof clock, "%02llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60,
                seconds % 60);
  text += clock;
  if (micros != 0) {
    std::snprintf(clock, sizeof clock, ".%06llu", micros);
    text += clock;
  }
  return text;
}

std::string HertzText(long long hertz) {
  static struct {
    long long scale;
    char const* unit;
  } const kUnits[] = {{1000000000LL, "GHz"}, {1000000LL, "MHz"}, {1000LL, "kHz"}};
  if (hertz != 0) {
    for (auto const& unit : kUnits) {
      if (hertz % unit.scale == 0) return std::to_string(hertz / unit.scale) + " " + unit.unit;
    }
  }
  return std::to_string(hertz) + " Hz";
}

}  // namespace survey::host
