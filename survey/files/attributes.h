// The attributes of filesystem objects (times, owners, mode, link count,
// size), the value types "mode" (the whole mode word) and "mode_mask" (the
// read, write and execute bits of one class of users) with their properties
// and text forms, and the fixed objects of the world: the root folder, the
// system folder and the default web browser.
//
// Every attribute comes from the stat record that the object took when it
// was made; only the owner names look anything up.
#pragma once

#include "survey/files/filesystem_object.h"
#include "survey/frame/adaptors.h"

// "mode": the mode word of a stat record whole, file-type bits included.
struct SURVEY_API mode {
  static constexpr char const* TypeName() { return "mode"; }

  unsigned int bits;
};

// "mode_mask": read, write and execute as the values 4, 2 and 1 of the low
// three bits.
struct SURVEY_API mode_mask {
  static constexpr char const* TypeName() { return "mode_mask"; }

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

// ---------------------------------------------------------------------------
// Attributes of every filesystem object.

// The three times of the record, to the second. The 32-bit build reads them
// as signed 32-bit numbers, so a time before 1970 is one; the 64-bit build
// reads the full 64-bit times.
SURVEY_API moment ModificationTime(Of, filesystem_object const& object);
SURVEY_API moment AccessedTime(Of, filesystem_object const& object);
SURVEY_API moment ChangeTime(Of, filesystem_object const& object);

// The names of the owning user and group in the password and group
// databases, in evaluator memory; NoSuchObject when the number has no entry.
SURVEY_API surveyor_string UserName(Of, filesystem_object const& object);
SURVEY_API surveyor_string GroupName(Of, filesystem_object const& object);
// The owners' numbers, unsigned.
SURVEY_API integer UID(Of, filesystem_object const& object);
SURVEY_API integer GID(Of, filesystem_object const& object);

SURVEY_API mode Mode(Of, filesystem_object const& object);

// Single permission bits, as they stand: no access test for anyone is made.
SURVEY_API boolean UserRead(Of, filesystem_object const& object);
SURVEY_API boolean UserWrite(Of, filesystem_object const& object);
SURVEY_API boolean UserExecute(Of, filesystem_object const& object);
SURVEY_API boolean GroupRead(Of, filesystem_object const& object);
SURVEY_API boolean GroupWrite(Of, filesystem_object const& object);
SURVEY_API boolean GroupExecute(Of, filesystem_object const& object);
SURVEY_API boolean OtherRead(Of, filesystem_object const& object);
SURVEY_API boolean OtherWrite(Of, filesystem_object const& object);
SURVEY_API boolean OtherExecute(Of, filesystem_object const& object);
SURVEY_API boolean SetUID(Of, filesystem_object const& object);
SURVEY_API boolean SetGID(Of, filesystem_object const& object);

// The three bits of each class of users as a number from 0 to 7 (on a mode
// the same phrases give a "mode_mask").
SURVEY_API integer UserMask(Of, filesystem_object const& object);
SURVEY_API integer GroupMask(Of, filesystem_object const& object);
SURVEY_API integer OtherMask(Of, filesystem_object const& object);

SURVEY_API integer LinkCount(Of, filesystem_object const& object);

// The pathname, as a view of the object's own text: nothing is copied.
SURVEY_API surveyor_string AsString(filesystem_object const& object);

// The size in bytes: a signed 32-bit value widened in the 32-bit build, the
// full 64-bit size in the 64-bit one.
SURVEY_API integer size_of_file(Of, file const& object);

// The folder "/", looked at anew on each call.
SURVEY_API folder rootfolder_of_world();
// There is no default web browser on this platform: always NoSuchObject.
SURVEY_API file DefaultWebBrowserextension();

// The fingerprint of a folder: the bytes of its change time. The type
// "folder" has no fingerprint, so only a direct caller uses this.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, folder const& object);
