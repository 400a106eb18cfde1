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
}  // namespace

std::string TimeText(long long ticks) {
  time_t const seconds = static_cast<time_t>(FloorDivide(ticks, kMicrosecondsPerSecond));
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return "<time out of range>";
  long const offset = local.tm_gmtoff;
  long const offsetMinutes = (offset < 0 ? -offset : offset) / 60;
  char text[64];
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d %c%02ld%02ld",
                kDays[local.tm_wday % 7], local.tm_mday, kMonths[local.tm_mon % 12],
                local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec,
                offset < 0 ? '-' : '+', offsetMinutes / 60, offsetMinutes % 60);
  return text;
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

}  // namespace survey::host
