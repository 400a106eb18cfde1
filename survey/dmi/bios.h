// The world object "bios". On this platform the firmware's identity is
// reached only through the structures of `dmi` (its "bios_information"), so
// the object and all of its properties are always absent.
#pragma once

#include "survey/frame/adaptors.h"

// One byte that holds nothing.
struct bios {
  static constexpr char const* TypeName() { return "bios"; }

  unsigned char unused;
};

// Each of these throws NoSuchObject.
SURVEY_API bios Bios_of_world();
SURVEY_API surveyor_string Date_of(bios const& value);
SURVEY_API surveyor_string Version_of(bios const& value);
SURVEY_API surveyor_string AsString(bios const& value);
