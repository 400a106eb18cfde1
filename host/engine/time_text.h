// The host's text forms of times and intervals.
#pragma once

#include <string>

namespace survey::host {

// A moment (microseconds since 1970 UTC) in the host's local zone, as
// "Thu, 01 Jan 1970 00:00:00 +0000". The names are English whatever the locale.
std::string TimeText(long long ticks);

// An interval in microseconds as "[-][D day(s), ]HH:MM:SS[.ffffff]".
std::string IntervalText(long long ticks);

}  // namespace survey::host
