#include "survey/files/attributes.h"

#include <cstring>

#include "survey/frame/registration.h"

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
// Registration, in table order: the two types, then the properties of a mode
// and of a mask, then their casts. The properties carry no marker; the casts
// follow from their operand alone.

namespace {

TypeRecord modeType;
TypeRecord maskType;
ShortRecord setuidOfMode;
ShortRecord setgidOfMode;
ShortRecord stickyOfMode;
ShortRecord userMaskOfMode;
ShortRecord groupMaskOfMode;
ShortRecord otherMaskOfMode;
ShortRecord readOfMask;
ShortRecord writeOfMask;
ShortRecord executeOfMask;
ShortRecord modeString;
ShortRecord modeOctalString;
ShortRecord maskInteger;
ShortRecord maskString;

void RegisterAttributes() {
  RegisterType<&modeType, SurveyorTypeInfo<mode, kFingerprinted>, mode>("mode", nullptr);
  RegisterType<&maskType, SurveyorTypeInfo<mode_mask, kFingerprinted>, mode_mask>("mode_mask",
                                                                                    nullptr);

  using ModeFlag = Property<mode, boolean>;
  using ModeMask = Property<mode, mode_mask>;
  using MaskFlag = Property<mode_mask, boolean>;
  RegisterProperty<&setuidOfMode, ModeFlag>("setuid", "setuids", "", "mode", "boolean",
                                            &setuid_of_mode, nullptr);
  RegisterProperty<&setgidOfMode, ModeFlag>("setgid", "setgids", "", "mode", "boolean",
                                            &setgid_of_mode, nullptr);
  RegisterProperty<&stickyOfMode, ModeFlag>("sticky", "stickies", "", "mode", "boolean",
                                            &sticky_of_mode, nullptr);
  RegisterProperty<&userMaskOfMode, ModeMask>("user mask", "user masks", "", "mode", "mode_mask",
                                              &usermask_of_mode, nullptr);
  RegisterProperty<&groupMaskOfMode, ModeMask>("group mask", "group masks", "", "mode",
                                               "mode_mask", &groupmask_of_mode, nullptr);
  RegisterProperty<&otherMaskOfMode, ModeMask>("other mask", "other masks", "", "mode",
                                               "mode_mask", &othermask_of_mode, nullptr);
  RegisterProperty<&readOfMask, MaskFlag>("read", "reads", "", "mode_mask", "boolean",
                                          &read_of_mask, nullptr);
  RegisterProperty<&writeOfMask, MaskFlag>("write", "writes", "", "mode_mask", "boolean",
                                           &write_of_mask, nullptr);
  RegisterProperty<&executeOfMask, MaskFlag>("execute", "executes", "", "mode_mask", "boolean",
                                             &execute_of_mask, nullptr);
  RegisterCast<&modeString, Cast<mode, surveyor_string>>(
      "string", "mode", "string", static_cast<surveyor_string (*)(mode const&)>(&AsString),
      &DependsOnlyOnParameters);
  RegisterCast<&modeOctalString, Cast<mode, surveyor_string>>(
      "octal string", "mode", "string", &AsOctalString, &DependsOnlyOnParameters);
  RegisterCast<&maskInteger, Cast<mode_mask, integer>>("integer", "mode_mask", "integer",
                                                       &AsInteger, &DependsOnlyOnParameters);
  RegisterCast<&maskString, Cast<mode_mask, surveyor_string>>(
      "string", "mode_mask", "string",
      static_cast<surveyor_string (*)(mode_mask const&)>(&AsString), &DependsOnlyOnParameters);
}

[[maybe_unused]] int const registered = (RegisterAttributes(), 0);

}  // namespace
