// Single firmware structures out of the "info.dmi" snapshot, and the
// bounds-checked readers with which every field surveyor is written.
//
// A structure is fetched from the snapshot file the first time it is asked
// for and then kept for the life of the library: its bytes are never read
// twice and never evicted, so the views handed out stay valid until unload.
// Every absence is told by `NoSuchObject`, which the evaluator reads as an
// absent object and which ends an iteration.
//
// All multi-byte fields are little-endian and unaligned. Integer results
// are zero-extended to 64 bits.
//
// Beyond what the length byte allows, every reader also keeps within the
// bytes that were stored for the structure: a field or a string that would
// run past them reads as absent, so that a damaged table can never make a
// reader leave its buffer.
#pragma once

#include <cstdint>

#include "survey/frame/adaptors.h"

// The loading state of one structure instance: one per (row, instance).
struct DmiLoadState {
  unsigned char* data;  // the structure's bytes, owned; null while absent
  std::uint32_t size;   // the stored length
  std::uint8_t loaded;  // set as soon as a load was tried
  DmiLoadState* next;   // the next instance of the row, owned; null until needed
};

// Rows 0 to 37 hold the types of those numbers, row 37 also type 126 and
// row 38 type 127. The head of a row is instance 0; its chain holds
// instances 1, 2 and so on.
inline constexpr unsigned kDmiLoadRows = 39;
SURVEY_API extern DmiLoadState dmiLoadArray[kDmiLoadRows];

// Clears every row without freeing anything: the state of a library that
// has loaded nothing yet.
SURVEY_API void ClearDmiLoadArray();
// Frees every loaded row with its whole chain and clears it.
SURVEY_API void FreeDmiLoadArray();

// A structure value: a view of the bytes of a loaded structure. It owns
// nothing. Each structure kind of the catalogue is a type of this layout.
struct DmiStructureView {
  unsigned char const* data;
  std::uint32_t size;
};

// The structure of that type and one-based index, from the snapshot: its
// data and size. Refuses an index of 0 or above 0xFFFFFFFF, a type above 37
// other than 126 and 127, and a structure that is absent or has 3 stored
// bytes or fewer. Types 126 and 127 stand for the rows 37 and 38 and look
// for structures of the raw types 37 and 38.
SURVEY_API void GetDMIStructure(std::uint8_t type, std::uint64_t index, unsigned char const** data,
                                std::uint32_t* size);
// The same lookup, answering false where GetDMIStructure refuses, so that
// an iteration can end without an exception. What the loading throws passes
// through as it does there.
SURVEY_API bool FindDMIStructure(std::uint8_t type, std::uint64_t index, unsigned char const** data,
                                 std::uint32_t* size);

// Loads one instance (0 for the first) of a row's type into the state,
// once: the loaded flag is set first, whatever happens next.
// `NoSurveyorContext` without a storage context; `NoSuchObject` when the
// stored length is 0 or above 4095 or the file cannot be read.
SURVEY_API void LoadDMIStructure(DmiLoadState& state, std::uint8_t type, std::uint32_t instance);

// The readers of fields, by width. With L the structure's length byte, a
// read at offset o is allowed when o is below L, L + 1, L + 3 and L + 7, so
// that a wide field may start at or just behind the end of the formatted
// area; the field must also lie inside the stored bytes.
SURVEY_API integer GetBYTE(unsigned char const* data, std::uint32_t size, unsigned long offset);
SURVEY_API integer GetWORD(unsigned char const* data, std::uint32_t size, unsigned long offset);
SURVEY_API integer GetDWORD(unsigned char const* data, std::uint32_t size, unsigned long offset);
SURVEY_API integer GetQWORD(unsigned char const* data, std::uint32_t size, unsigned long offset);

// The string whose number stands at the offset, which must be below L.
SURVEY_API surveyor_string GetString(unsigned char const* data, std::uint32_t size,
                                     unsigned long offset);

// String `number` (from 1) of the string block that starts at L. A number
// of 0 (an unset field), of 256 or more, or past the block's last string is
// absent, and so is every string of an empty block.
SURVEY_API surveyor_string GetStringBlockString(unsigned char const* data, std::uint32_t size,
                                                std::uint64_t number);

// GetString and GetStringBlockString answering false where those throw
// NoSuchObject, with the string in `text`: for the adaptors of the string
// fields, whose absent values are frequent (an unset field has number 0).
SURVEY_API bool FindString(unsigned char const* data, std::uint32_t size, unsigned long offset,
                           surveyor_string& text);
SURVEY_API bool FindStringBlockString(unsigned char const* data, std::uint32_t size,
                                      std::uint64_t number, surveyor_string& text);

// String `position` (from 1) counted over the strings of all structures of
// the type, in table order; each structure tells its own count at offset 4.
SURVEY_API surveyor_string GetStringBlockStringFromPosAndType(std::uint64_t position,
                                                              std::uint8_t type);

// The device entries of an on-board devices structure, numbered from 1.
// There are (L - 4) / 2 of them; the types are the bytes from offset 4 on,
// the string numbers of the descriptions the bytes behind those.
SURVEY_API integer DmiDeviceType(unsigned char const* data, std::uint32_t size,
                                 std::uint64_t number);
SURVEY_API surveyor_string DmiDeviceDescription(unsigned char const* data, std::uint32_t size,
                                                std::uint64_t number);
