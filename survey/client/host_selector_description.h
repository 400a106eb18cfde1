// How a host has the library write, read and show the flattened big-endian
// form of a server entry (HostSelectorEntry, survey/client/servers.h). A
// host cannot call the library's code directly (it loads the library at run
// time), so the library exports plain functions that a host finds by name,
// and a plain description of an entry for them.
#pragma once

#include <cstdint>

#include "survey/frame/boundary.h"

// What a host knows of a server entry, in plain texts and numbers. `time`
// counts microseconds since 1970 in UTC; the flattened form keeps whole
// seconds only.
struct SurveyHostSelectorDescription {
  char const* name;  // not zero-terminated: `nameLength` bytes
  unsigned long nameLength;
  long long time;
  std::uint32_t address;  // host order: the first octet most significant
  std::uint32_t port;     // the low 16 bits are kept
  std::uint16_t priority;
  std::uint16_t weight;
  std::uint8_t gatewayCount;
  std::uint8_t distance;  // 255 when unknown
  std::uint32_t competitionSize;
  std::uint32_t competitionWeight;
  std::uint32_t gateways[20];  // 0 marks a hole
};

// Writes the flattened form of the described entry into `out`, which has
// `room` bytes, and returns the count written; 0 when the room is below the
// entry's flattened length or the entry cannot be made.
using SurveyFlattenHostSelectorFunction = unsigned long (*)(
    SurveyHostSelectorDescription const* description, unsigned char* out, unsigned long room);
// A new entry read from the flattened form in `length` bytes; null when the
// bytes are not a whole entry. Bytes behind the entry are ignored.
using SurveyReadHostSelectorFunction = HostSelectorEntry* (*)(unsigned char const* bytes,
                                                              unsigned long length);
// Describes an entry made by the reader; the name points into the entry.
// False for a null entry or description.
using SurveyDescribeHostSelectorFunction = bool (*)(HostSelectorEntry const* entry,
                                                    SurveyHostSelectorDescription* description);
// Frees an entry made by the reader; null does nothing.
using SurveyDeleteHostSelectorFunction = void (*)(HostSelectorEntry* entry);

inline constexpr char kSurveyFlattenHostSelectorSymbol[] = "SurveyFlattenHostSelector";
inline constexpr char kSurveyReadHostSelectorSymbol[] = "SurveyReadHostSelector";
inline constexpr char kSurveyDescribeHostSelectorSymbol[] = "SurveyDescribeHostSelector";
inline constexpr char kSurveyDeleteHostSelectorSymbol[] = "SurveyDeleteHostSelector";
