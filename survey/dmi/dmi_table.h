// The firmware's DMI table, taken once per process into the scratch file
// "info.dmi" of the storage folder, and what the process knows of it.
//
// The first use of the world object "dmi" deletes any "info.dmi" left by an
// earlier process, reads physical memory (the device `dmiDevicePath`) from
// 0xE0000, finds the "_DMI" anchor in the F segment, cuts the table into
// structures and writes them to the file, followed by a contents table. When
// the device yields no table, the firmware folder `dmiFirmwareFolder` is
// read instead ("smbios_entry_point" and "DMI", as the kernel publishes
// them), and when `dmiDumpFile` is set, that file alone is read, in the
// layout of a table dump (entry point at offset 0, table at offset 32).
//
// The file, little-endian throughout:
//
//   header, 30 bytes    format word 1 (4), the 16 bytes at 0xFFFF0 (16),
//                       revision (1), scan mode (1), contents offset (4),
//                       contents count (4);
//   structures          from offset 30, each as it stood in the table,
//                       string block included, without padding;
//   contents            `count` entries of 8 bytes: type (1), instance (1),
//                       file offset (4), stored length (2), the last
//                       structure of the table first.
//
// Only the header and the contents are read back; a structure's bytes are
// read from the file on demand with `ReadDmiStructure`.
#pragma once

#include <cstdint>
#include <vector>

#include "survey/foundation/file_reader.h"
#include "survey/frame/adaptors.h"

// ---------------------------------------------------------------------------
// The inputs. Plain writable pointers, so that a test or the command can
// point them elsewhere before the first use; null or "" leaves a source out.

extern "C" {
// The device standing for physical memory; "/dev/mem".
SURVEY_API extern char const* dmiDevicePath;
// The name of the scratch file in the storage folder; "info.dmi".
SURVEY_API extern char const* dmiFileName;
// The folder where the kernel publishes the entry point and the table;
// "/sys/firmware/dmi/tables".
SURVEY_API extern char const* dmiFirmwareFolder;
// A table dump to read in place of the machine's table; null.
SURVEY_API extern char const* dmiDumpFile;
}

// ---------------------------------------------------------------------------
// The snapshot.

inline constexpr unsigned long kDmiHeaderSize = 30;
inline constexpr unsigned long kDmiContentsEntrySize = 8;
// The largest table the memory scan takes.
inline constexpr unsigned long kDmiLegacyTableLimit = 0x4000;
// The largest table taken from the firmware folder or a dump.
inline constexpr unsigned long kDmiFirmwareTableLimit = 0x100000;

// One entry of the contents table.
struct DmiContentsEntry {
  std::uint8_t type;      // the raw type byte from the table
  std::uint8_t instance;  // structures of the type before it, modulo 256
  std::uint32_t offset;   // file offset of the structure
  std::uint16_t length;   // stored length, string block included
};

// What the process knows of its snapshot: the header's fields and the
// contents table.
class SURVEY_API dmi_info {
 public:
  // From the 30 header bytes.
  explicit dmi_info(unsigned char const* header);
  ~dmi_info();
  dmi_info(dmi_info const&) = delete;
  dmi_info& operator=(dmi_info const&) = delete;

  // Loads the contents table through the reader. A read that fails leaves
  // the object without structures (count 0, no array).
  void ReadTOC(FileReader& reader);

  // The contents entry of (type, instance), or null. Where the instance
  // counter wrapped, the structure that stands later in the table wins:
  // the entries stand in reverse table order and the first match is taken.
  // The first call over a contents table sorts an index of it, so that a
  // table of many structures is not scanned once for each of them.
  DmiContentsEntry const* Find(unsigned type, unsigned long instance) const;

  std::uint8_t revision;
  std::uint8_t scanMode;
  std::uint32_t contentsOffset;
  std::uint32_t contentsCount;
  char firmwareDate[11];
  DmiContentsEntry* contents;

 private:
  // The index of `Find`: (type, instance) keys with their entry's place,
  // in key order and, within a key, in contents order; built for the
  // contents table and count it names, and built again when either changes.
  struct IndexEntry {
    std::uint16_t key;
    std::uint32_t place;
  };
  mutable std::vector<IndexEntry> index_;
  mutable DmiContentsEntry const* indexed_ = nullptr;
  mutable std::uint32_t indexedCount_ = 0;
};

// "dmi": the world object, a pointer to the process's `dmi_info`.
class SURVEY_API dmi {
 public:
  static constexpr char const* TypeName() { return "dmi"; }

  dmi_info* info = nullptr;
};

// Adds nothing: the snapshot never changes while the process lives.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, dmi const& value);

// "dmi is disabled": thrown on every use while the client setting
// `_QRVClient_Surveyor_DisableDMI` is "1".
class SURVEY_API dmiSurveyorDefinedError : public SurveyorDefinedError {
 public:
  surveyor_string Message() const override;
};

// The world property "dmi". Throws dmiSurveyorDefinedError when disabled;
// acquires the snapshot on the first call of the process (NoSurveyorContext
// when there is no storage context then); NoSuchObject when the process has
// no snapshot.
SURVEY_API dmi Dmi_of_world();

// The process's snapshot, acquired on first use as `Dmi_of_world` does, but
// without the setting's test: null when the process has none.
SURVEY_API dmi_info* GetDmiInfo();

// The full path of the snapshot file in the storage folder. NoSurveyorContext
// without a storage context, SurveyorStorageContextError without a folder.
SURVEY_API FileLocation DmiFileLocation();

// Reads the stored bytes of the structure of (type, instance) from the
// snapshot file into `target`, which must hold the entry's stored length.
// Answers the length read; NoSuchObject when the snapshot has no such
// structure, and the file's own errors when it cannot be read.
SURVEY_API unsigned long ReadDmiStructure(DmiContentsEntry const& entry, unsigned char* target);

// A release of what the structure decoders hold, run by DmiCleanup at
// unload before the snapshot is deleted. Null by default.
SURVEY_API extern void (*dmiReleaseStructures)();

// At unload: runs `dmiReleaseStructures`, then deletes the `dmi_info`.
SURVEY_API void DmiCleanup();

// ---------------------------------------------------------------------------
// The steps of the acquisition, open for tests and fuzzing.

// Reads the header and contents of the snapshot file at `location`, as the
// first use does after writing it: null when the file is shorter than a
// header or its format word is not 1.
SURVEY_API dmi_info* LoadDmiSnapshot(FileLocation const& location);

// Writes the snapshot file at `path` from the sources above; success is seen
// in the file's presence.
SURVEY_API void DmiEx(char const* path);

// Whether structures of the type carry a string block, from the table of
// 39 types; true for a type that is not listed.
SURVEY_API bool dmiTypeUsesStrings(unsigned type);

// The length of the structure at `structure`, string block included, found
// within [structure, end). 0 when the structure runs off the end.
SURVEY_API unsigned long getLengthOfStructure(unsigned char const* structure,
                                              unsigned char const* end, bool assumeStrings);

// Cuts `length` bytes of table into structures as the writer does, without
// writing; for tests and fuzzing. `visit` is called for each structure;
// answers whether the whole length was cut.
SURVEY_API bool CutDmiTable(unsigned char const* table, unsigned long length, bool assumeStrings,
                            void (*visit)(void* context, unsigned long offset,
                                          unsigned long length),
                            void* context);

// Reads a firmware entry point ("_SM_" with its "_DMI_" part, or "_SM3_"):
// answers whether it is well formed, with the table's length (the maximum
// length for "_SM3_"), its address and the revision byte (BCD, as major in
// the high and minor in the low nibble).
struct DmiEntryPoint {
  bool sm3 = false;
  std::uint64_t address = 0;
  std::uint32_t length = 0;
  std::uint8_t revision = 0;
};
SURVEY_API bool ReadDmiEntryPoint(unsigned char const* bytes, unsigned long size,
                                  DmiEntryPoint& entry);
