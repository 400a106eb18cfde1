// Modes of filesystem objects: the value types "mode" (the whole mode word)
// and "mode_mask" (the read, write and execute bits of one class of users),
// their properties and their text forms.
#pragma once

#include "survey/frame/adaptors.h"

// "mode": the mode word of a stat record whole, file-type bits included.
struct SURVEY_API mode {
  unsigned int bits;
};

// "mode_mask": read, write and execute as the values 4, 2 and 1 of the low
// three bits.
struct SURVEY_API mode_mask {
  unsigned char bits;
};

// Both types are fingerprinted by their bytes.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, mode const& value);
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, mode_mask const& value);

// The special bits of a mode.
SURVEY_API boolean setuid_of_mode(mode const& value);
SURVEY_API boolean setgid_of_mode(mode const& value);
SURVEY_API boolean sticky_of_mode(mode const& value);

// The three bits of each class of users, shifted down to the low bits.
SURVEY_API mode_mask usermask_of_mode(mode const& value);
SURVEY_API mode_mask groupmask_of_mode(mode const& value);
SURVEY_API mode_mask othermask_of_mode(mode const& value);

SURVEY_API boolean read_of_mask(mode_mask const& mask);
SURVEY_API boolean write_of_mask(mode_mask const& mask);
SURVEY_API boolean execute_of_mask(mode_mask const& mask);

// The nine permission letters of a long directory listing, without the
// type letter in front: "rwxr-xr-x", with "s"/"S" for setuid and setgid and
// "t"/"T" for the sticky bit, lower case when the execute bit beneath is set.
// In evaluator memory.
SURVEY_API surveyor_string AsString(mode const& value);
// Four octal digits: the special bits, then user, group and other. The type
// bits do not appear. In evaluator memory.
SURVEY_API surveyor_string AsOctalString(mode const& value);
// The mask as a number from 0 to 7.
SURVEY_API integer AsInteger(mode_mask const& mask);
// Three letters: "r", "w", "x" or "-" in their places. In evaluator memory.
SURVEY_API surveyor_string AsString(mode_mask const& mask);
