// The host's text forms of times, intervals and frequencies.
#pragma once

#include <string>
#include <string_view>

namespace survey::host {

// A moment (microseconds since 1970 UTC) in the host's local zone, as
// "Thu, 01 Jan 1970 00:00:00 +0000". The names are English whatever the locale.
std::string TimeText(long long ticks);

// Reads a time in the text form above, "Thu, 01 Jan 1970 00:00:00 +0000",
// into microseconds since 1970 UTC. The day name may be left out; when given
// it must be one of the seven, but it is not checked against the date. False
// when the text is not a valid time of that form.
bool ParseTimeText(std::string_view text, long long& ticks);

// The fields of a time in the text form above, as the text gives them: the
// date and clock reading in the text's zone, and that zone's offset east of
// UTC in seconds.
struct TimeFields {
  long long year = 1970;
  unsigned month = 1;  // 1 to 12
  unsigned day = 1;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  long offset = 0;
};

// Reads a time in the text form above into its fields, with the same rules
// as ParseTimeText. False when the text is not a valid time of that form.
bool ParseTimeFields(std::string_view text, TimeFields& fields);

// A zone's offset east of UTC, in seconds, as the text form writes it:
// "+0000", "-0530". Seconds of the offset that make no whole minute are
// dropped.
std::string ZoneText(long offset);

// An interval in microseconds as "[-][D day(s), ]HH:MM:SS[.ffffff]".
std::string IntervalText(long long ticks);

// A frequency in hertz, with the largest unit that keeps the number whole:
// "2793 MHz"; 1.5 GHz is "1500 MHz".
std::string HertzText(long long hertz);

}  // namespace survey::host
