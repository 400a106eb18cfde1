#include "survey/files/attributes.h"

#include <grp.h>
#include <pwd.h>

#include <cstring>

#include "survey/frame/table.h"

namespace {

// The bits of a mode word that the properties and text forms read.
constexpr unsigned kSetUidBit = 0x800;
constexpr unsigned kSetGidBit = 0x400;
constexpr unsigned kStickyBit = 0x200;
constexpr unsigned kUserBits = 0x1C0;
constexpr unsigned kGroupBits = 0x38;
constexpr unsigned kOtherBits = 0x7;
constexpr unsigned kSpecialBits = 0xE00;

// The bits of a mask.
constexpr unsigned kRead = 4;
constexpr unsigned kWrite = 2;
constexpr unsigned kExecute = 1;

boolean Bit(unsigned word, unsigned bit) {
  return boolean{static_cast<unsigned char>((word & bit) != 0 ? 1 : 0)};
}

// Seconds since 1970 as a moment. The seconds are the record's own: signed
// 32-bit numbers in the 32-bit build, 64-bit ones in the 64-bit build.
moment FromEpochSeconds(time_t seconds) {
  return january_1_1970() + second_of() * integer{static_cast<long long>(seconds)};
}

unsigned ModeWord(filesystem_object const& object) {
  return static_cast<unsigned>(object.status.st_mode);
}

surveyor_string InEvaluatorMemory(char const* text, unsigned long length) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(length);
  std::memcpy(bytes, text, length);
  return surveyor_string{bytes, length};
}

// Writes one triple of a listing: read, write, and in the third place the
// execute letter, or the special letter in lower case over an execute bit and
// in upper case without one.
void WriteTriple(char* out, unsigned triple, bool special, char specialLetter) {
  out[0] = (triple & kRead) != 0 ? 'r' : '-';
  out[1] = (triple & kWrite) != 0 ? 'w' : '-';
  bool const execute = (triple & kExecute) != 0;
  if (special) {
    out[2] = execute ? specialLetter : static_cast<char>(specialLetter - 'a' + 'A');
  } else {
    out[2] = execute ? 'x' : '-';
  }
}

}  // namespace

Fingerprinter& operator<<(Fingerprinter& fingerprinter, mode const& value) {
  return FingerprintBytewise(fingerprinter, value.bits);
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, mode_mask const& value) {
  return FingerprintBytewise(fingerprinter, value.bits);
}

boolean setuid_of_mode(mode const& value) { return Bit(value.bits, kSetUidBit); }
boolean setgid_of_mode(mode const& value) { return Bit(value.bits, kSetGidBit); }
boolean sticky_of_mode(mode const& value) { return Bit(value.bits, kStickyBit); }

mode_mask usermask_of_mode(mode const& value) {
  return mode_mask{static_cast<unsigned char>((value.bits & kUserBits) >> 6)};
}
mode_mask groupmask_of_mode(mode const& value) {
  return mode_mask{static_cast<unsigned char>((value.bits & kGroupBits) >> 3)};
}
mode_mask othermask_of_mode(mode const& value) {
  return mode_mask{static_cast<unsigned char>(value.bits & kOtherBits)};
}

boolean read_of_mask(mode_mask const& mask) { return Bit(mask.bits, kRead); }
boolean write_of_mask(mode_mask const& mask) { return Bit(mask.bits, kWrite); }
boolean execute_of_mask(mode_mask const& mask) { return Bit(mask.bits, kExecute); }

surveyor_string AsString(mode const& value) {
  char text[9];
  WriteTriple(text, usermask_of_mode(value).bits, (value.bits & kSetUidBit) != 0, 's');
  WriteTriple(text + 3, groupmask_of_mode(value).bits, (value.bits & kSetGidBit) != 0, 's');
  WriteTriple(text + 6, othermask_of_mode(value).bits, (value.bits & kStickyBit) != 0, 't');
  return InEvaluatorMemory(text, sizeof text);
}

surveyor_string AsOctalString(mode const& value) {
  char const text[4] = {
      static_cast<char>('0' + ((value.bits & kSpecialBits) >> 9)),
      static_cast<char>('0' + ((value.bits & kUserBits) >> 6)),
      static_cast<char>('0' + ((value.bits & kGroupBits) >> 3)),
      static_cast<char>('0' + (value.bits & kOtherBits)),
  };
  return InEvaluatorMemory(text, sizeof text);
}

integer AsInteger(mode_mask const& mask) { return integer{mask.bits}; }

surveyor_string AsString(mode_mask const& mask) {
  char text[3];
  WriteTriple(text, mask.bits, false, 'x');
  return InEvaluatorMemory(text, sizeof text);
}

// ---------------------------------------------------------------------------
// Attributes of every filesystem object.

moment ModificationTime(Of, filesystem_object const& object) {
  return FromEpochSeconds(object.status.st_mtime);
}
moment AccessedTime(Of, filesystem_object const& object) {
  return FromEpochSeconds(object.status.st_atime);
}
moment ChangeTime(Of, filesystem_object const& object) {
  return FromEpochSeconds(object.status.st_ctime);
}

// The look-ups are not reentrant: the name is copied out before anything
// else can ask again.
surveyor_string UserName(Of, filesystem_object const& object) {
  passwd const* const entry = getpwuid(object.status.st_uid);
  if (entry == nullptr || entry->pw_name == nullptr) throw NoSuchObject();
  return InEvaluatorMemory(entry->pw_name, std::strlen(entry->pw_name));
}
surveyor_string GroupName(Of, filesystem_object const& object) {
  group const* const entry = getgrgid(object.status.st_gid);
  if (entry == nullptr || entry->gr_name == nullptr) throw NoSuchObject();
  return InEvaluatorMemory(entry->gr_name, std::strlen(entry->gr_name));
}

integer UID(Of, filesystem_object const& object) {
  return integer{static_cast<long long>(object.status.st_uid)};
}
integer GID(Of, filesystem_object const& object) {
  return integer{static_cast<long long>(object.status.st_gid)};
}

mode Mode(Of, filesystem_object const& object) { return mode{ModeWord(object)}; }

boolean UserRead(Of, filesystem_object const& object) { return Bit(ModeWord(object), 0400); }
boolean UserWrite(Of, filesystem_object const& object) { return Bit(ModeWord(object), 0200); }
boolean UserExecute(Of, filesystem_object const& object) { return Bit(ModeWord(object), 0100); }
boolean GroupRead(Of, filesystem_object const& object) { return Bit(ModeWord(object), 040); }
boolean GroupWrite(Of, filesystem_object const& object) { return Bit(ModeWord(object), 020); }
boolean GroupExecute(Of, filesystem_object const& object) { return Bit(ModeWord(object), 010); }
boolean OtherRead(Of, filesystem_object const& object) { return Bit(ModeWord(object), 04); }
boolean OtherWrite(Of, filesystem_object const& object) { return Bit(ModeWord(object), 02); }
boolean OtherExecute(Of, filesystem_object const& object) { return Bit(ModeWord(object), 01); }
boolean SetUID(Of, filesystem_object const& object) { return Bit(ModeWord(object), kSetUidBit); }
boolean SetGID(Of, filesystem_object const& object) { return Bit(ModeWord(object), kSetGidBit); }

integer UserMask(Of, filesystem_object const& object) {
  return AsInteger(usermask_of_mode(Mode(0, object)));
}
integer GroupMask(Of, filesystem_object const& object) {
  return AsInteger(groupmask_of_mode(Mode(0, object)));
}
integer OtherMask(Of, filesystem_object const& object) {
  return AsInteger(othermask_of_mode(Mode(0, object)));
}

integer LinkCount(Of, filesystem_object const& object) {
  return integer{static_cast<long long>(object.status.st_nlink)};
}

surveyor_string AsString(filesystem_object const& object) {
  char const* const text = object.Path().FullPathName();
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), std::strlen(text)};
}

integer size_of_file(Of, file const& object) { return integer{UnixPlatform::FileSize(object)}; }

folder rootfolder_of_world() {
  static surveyor_string const root{reinterpret_cast<unsigned char const*>("/"), 1};
  return FolderOfWorld(root);
}

file DefaultWebBrowserextension() { throw NoSuchObject(); }

Fingerprinter& operator<<(Fingerprinter& fingerprinter, folder const& object) {
  Fingerprint_Byte_Range(fingerprinter, &object.status.st_ctime, &object.status.st_ctime + 1);
  return fingerprinter;
}

// ---------------------------------------------------------------------------
// Registration, in table order: the two types; the attributes of every
// filesystem object; the object's text form, the size of a file and the
// fixed objects of the world; then the properties of a mode and of a mask,
// and their casts. Of the attributes only the link count carries the marker
// that the result follows from the operand alone; the text form, the size
// and the casts of modes and masks carry it too.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<mode>(),
    FingerprintedTypeRow<mode_mask>(),

    PropertyRow("modification time", "modification times", &ModificationTime),
    PropertyRow("accessed time", "accessed times", &AccessedTime),
    PropertyRow("change time", "change times", &ChangeTime),
    PropertyRow("user name", "user names", &UserName),
    PropertyRow("group name", "group names", &GroupName),
    PropertyRow("uid", "uids", &UID),
    PropertyRow("gid", "gids", &GID),
    PropertyRow("mode", "modes", &Mode),
    PropertyRow("user read", "user reads", &UserRead),
    PropertyRow("user write", "user writes", &UserWrite),
    PropertyRow("user execute", "user executes", &UserExecute),
    PropertyRow("group read", "group reads", &GroupRead),
    PropertyRow("group write", "group writes", &GroupWrite),
    PropertyRow("group execute", "group executes", &GroupExecute),
    PropertyRow("other read", "other reads", &OtherRead),
    PropertyRow("other write", "other writes", &OtherWrite),
    PropertyRow("other execute", "other executes", &OtherExecute),
    PropertyRow("setuid", "setuids", &SetUID),
    PropertyRow("setgid", "setgids", &SetGID),
    PropertyRow("user mask", "user masks", &UserMask),
    PropertyRow("group mask", "group masks", &GroupMask),
    PropertyRow("other mask", "other masks", &OtherMask),
    PropertyRow("link count", "link counts", &LinkCount, &DependsOnlyOnParameters),

    CastRow<filesystem_object>("string", &AsString, &DependsOnlyOnParameters),
    PropertyRow("size", "sizes", &size_of_file, &DependsOnlyOnParameters),
    PropertyRow("root folder", "root folders", &rootfolder_of_world),
    PropertyRow("system folder", "system folders", &rootfolder_of_world),
    PropertyRow("default web browser", "default web browsers", &DefaultWebBrowserextension),

    PropertyRow("setuid", "setuids", &setuid_of_mode),
    PropertyRow("setgid", "setgids", &setgid_of_mode),
    PropertyRow("sticky", "stickies", &sticky_of_mode),
    PropertyRow("user mask", "user masks", &usermask_of_mode),
    PropertyRow("group mask", "group masks", &groupmask_of_mode),
    PropertyRow("other mask", "other masks", &othermask_of_mode),
    PropertyRow("read", "reads", &read_of_mask),
    PropertyRow("write", "writes", &write_of_mask),
    PropertyRow("execute", "executes", &execute_of_mask),
    CastRow<mode>("string", &AsString, &DependsOnlyOnParameters),
    CastRow("octal string", &AsOctalString, &DependsOnlyOnParameters),
    CastRow("integer", &AsInteger, &DependsOnlyOnParameters),
    CastRow<mode_mask>("string", &AsString, &DependsOnlyOnParameters),
};

}  // namespace
