#include "survey/dmi/dmi_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "survey/client/client_object.h"
#include "survey/client/settings.h"
#include "survey/client/sites.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

extern "C" {
char const* dmiDevicePath = "/dev/mem";
char const* dmiFileName = "info.dmi";
char const* dmiFirmwareFolder = "/sys/firmware/dmi/tables";
char const* dmiDumpFile = nullptr;
}

void (*dmiReleaseStructures)() = nullptr;

namespace {

// ---------------------------------------------------------------------------
// Little-endian fields.

unsigned ReadLE16(unsigned char const* at) { return at[0] | (unsigned{at[1]} << 8); }

std::uint32_t ReadLE32(unsigned char const* at) {
  return std::uint32_t{at[0]} | (std::uint32_t{at[1]} << 8) | (std::uint32_t{at[2]} << 16) |
         (std::uint32_t{at[3]} << 24);
}

std::uint64_t ReadLE64(unsigned char const* at) {
  return std::uint64_t{ReadLE32(at)} | (std::uint64_t{ReadLE32(at + 4)} << 32);
}

void WriteLE16(unsigned char* at, unsigned value) {
  at[0] = static_cast<unsigned char>(value);
  at[1] = static_cast<unsigned char>(value >> 8);
}

void WriteLE32(unsigned char* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

unsigned char SumOf(unsigned char const* bytes, unsigned long count) {
  unsigned char sum = 0;
  for (unsigned long i = 0; i < count; ++i) sum = static_cast<unsigned char>(sum + bytes[i]);
  return sum;
}

// ---------------------------------------------------------------------------
// Which types carry strings.

struct DmiTypeRow {
  unsigned char type;
  bool usesStrings;
};

constexpr DmiTypeRow dmiTypes[] = {
    {0, true},   {1, true},   {2, true},   {3, true},    {4, true},   {5, false},  {6, true},
    {7, true},   {8, true},   {9, true},   {10, true},   {11, true},  {12, true},  {13, true},
    {14, true},  {15, false}, {16, false}, {17, true},   {18, false}, {19, false}, {20, false},
    {21, false}, {22, true},  {23, false}, {24, false},  {25, false}, {26, true},  {27, false},
    {28, true},  {29, true},  {30, true},  {31, true},   {32, false}, {33, false}, {34, true},
    {35, true},  {36, false}, {126, true}, {127, false},
};
static_assert(sizeof dmiTypes / sizeof dmiTypes[0] == 39);

// ---------------------------------------------------------------------------
// Writer state, used only while a snapshot file is written.

struct PendingEntry {
  PendingEntry* next;
  unsigned char type;
  unsigned char instance;
  std::uint32_t offset;
  std::uint16_t length;
};

unsigned char header[kDmiHeaderSize];
unsigned char instanceCounters[256];
PendingEntry* pendingHead = nullptr;
FILE* output = nullptr;
unsigned char legacyTable[kDmiLegacyTableLimit];

// The table being cut: the legacy buffer or one read from the firmware.
unsigned char const* tableData = nullptr;
unsigned long tableLength = 0;
// Tables of the 64-bit entry point give only a maximum length; their end
// is the end-of-table structure.
bool stopAtEndOfTable = false;

constexpr unsigned long kRevisionAt = 20;
constexpr unsigned long kScanModeAt = 21;
constexpr unsigned long kContentsOffsetAt = 22;
constexpr unsigned long kContentsCountAt = 26;
constexpr unsigned char kEndOfTableType = 127;

void FreePending() {
  while (pendingHead != nullptr) {
    PendingEntry* const next = pendingHead->next;
    delete pendingHead;
    pendingHead = next;
  }
}

void ResetWriter() {
  FreePending();
  std::memset(instanceCounters, 0, sizeof instanceCounters);
  std::memset(header, 0, sizeof header);
  WriteLE32(header, 1);
}

// Reads exactly `count` bytes at `position` of the descriptor.
bool ReadAt(int fd, unsigned long position, unsigned char* target, unsigned long count) {
  if (lseek(fd, static_cast<off_t>(position), SEEK_SET) == static_cast<off_t>(-1)) return false;
  while (count > 0) {
    ssize_t const got = read(fd, target, count);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    target += got;
    count -= static_cast<unsigned long>(got);
  }
  return true;
}

// Reads a whole file of at most `limit` bytes; false when it cannot be read
// or is longer.
bool ReadWholeFile(char const* path, unsigned long limit, std::unique_ptr<unsigned char[]>& bytes,
                   unsigned long& length) {
  int const fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  bytes.reset(new unsigned char[limit + 1]);
  length = 0;
  bool ok = true;
  while (length <= limit) {
    ssize_t const got = read(fd, bytes.get() + length, limit + 1 - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) ok = false;
    if (got <= 0) break;
    length += static_cast<unsigned long>(got);
  }
  close(fd);
  return ok && length <= limit;
}

bool WriteDmiHeader() {
  if (std::fseek(output, 0, SEEK_SET) != 0) return false;
  return std::fwrite(header, 1, kDmiHeaderSize, output) == kDmiHeaderSize;
}

bool EmptyTOC() {
  std::memset(instanceCounters, 0, sizeof instanceCounters);
  FreePending();
  header[kRevisionAt] = 0;
  header[kScanModeAt] = 0;
  WriteLE32(header + kContentsOffsetAt, 0);
  WriteLE32(header + kContentsCountAt, 0);
  return WriteDmiHeader();
}

bool WriteTOC() {
  long const position = std::ftell(output);
  if (position < 0) {
    EmptyTOC();
    return false;
  }
  WriteLE32(header + kContentsOffsetAt, static_cast<std::uint32_t>(position));
  std::uint32_t count = 0;
  WriteLE32(header + kContentsCountAt, count);
  while (pendingHead != nullptr) {
    unsigned char entry[kDmiContentsEntrySize];
    entry[0] = pendingHead->type;
    entry[1] = pendingHead->instance;
    WriteLE32(entry + 2, pendingHead->offset);
    WriteLE16(entry + 6, pendingHead->length);
    if (std::fwrite(entry, 1, sizeof entry, output) != sizeof entry) {
      EmptyTOC();
      return false;
    }
    PendingEntry* const next = pendingHead->next;
    delete pendingHead;
    pendingHead = next;
    ++count;
  }
  WriteLE32(header + kContentsCountAt, count);
  return WriteDmiHeader();
}

// The cut of a table, with what to do with each structure.
using StructureSink = bool (*)(void* context, unsigned char const* structure, unsigned long offset,
                               unsigned long length);

bool Cut(unsigned char const* table, unsigned long length, bool assumeStrings, bool stopAtEnd,
         StructureSink sink, void* context) {
  if (length == 0) return true;
  unsigned long total = 0;
  for (;;) {
    unsigned char const* const structure = table + total;
    unsigned long const size = getLengthOfStructure(structure, table + length, assumeStrings);
    if (size < 1) return false;
    if (!sink(context, structure, total, size)) return false;
    total += size;
    if (total >= length) return true;
    if (stopAtEnd && structure[0] == kEndOfTableType) return true;
  }
}

bool WriteStructure(void*, unsigned char const* structure, unsigned long, unsigned long length) {
  // The stored length is 16-bit.
  if (length > 0xFFFF) return false;
  long const position = std::ftell(output);
  if (position < 0 || static_cast<unsigned long>(position) > 0xFFFFFFFFUL) return false;
  auto* const entry = new PendingEntry{};
  entry->next = pendingHead;
  pendingHead = entry;
  entry->type = structure[0];
  entry->instance = instanceCounters[structure[0]]++;
  entry->offset = static_cast<std::uint32_t>(position);
  entry->length = static_cast<std::uint16_t>(length);
  return std::fwrite(structure, 1, length, output) == length;
}

bool GetDMITableStructure(bool assumeStrings) {
  if (Cut(tableData, tableLength, assumeStrings, stopAtEndOfTable, &WriteStructure, nullptr)) {
    return true;
  }
  EmptyTOC();
  return false;
}

bool GetBIOSMem(int fd) { return ReadAt(fd, 0xFFFF0, header + 4, 16); }

constexpr unsigned long kWindowStart = 0xE0000;
constexpr unsigned long kWindowSize = 0x20000;
constexpr unsigned long kHalf = 0x10000;

bool GetDMIByTable(int fd, bool assumeStrings) {
  std::unique_ptr<unsigned char[]> const window(new unsigned char[kWindowSize]);
  unsigned char* const memory = window.get();
  if (!ReadAt(fd, kWindowStart, memory, kWindowSize)) return false;
  unsigned char const* anchor = nullptr;
  for (unsigned long at = kHalf; at < kWindowSize; at += 16) {
    unsigned char const* const paragraph = memory + at;
    if (std::memcmp(paragraph, "_DMI", 4) == 0 && SumOf(paragraph, 15) == 0) {
      anchor = paragraph;
      break;
    }
  }
  if (anchor == nullptr) return false;
  unsigned long const length = ReadLE16(anchor + 6);
  std::uint32_t const address = ReadLE32(anchor + 8);
  std::uint32_t const segment = address >> 16;
  if (segment != 0xE && segment != 0xF) return false;
  unsigned long const low = address & 0xFFFF;
  if (length > kDmiLegacyTableLimit) return false;
  std::memset(legacyTable, 0, sizeof legacyTable);
  if (segment == 0xE && length > 0xFFFF - low) {
    // The table crosses into the F half. The copy skips the byte at
    // 0xEFFFF and ends one byte short, as firmware readers of this layout
    // have always read it.
    unsigned long const first = 0xFFFF - low;
    std::memcpy(legacyTable, memory + low, first);
    std::memcpy(legacyTable + first, memory + kHalf, length - 1 - first);
  } else {
    unsigned long const start = (segment == 0xE ? 0 : kHalf) + low;
    // A table that would run past the end of the window is not there.
    if (start + length > kWindowSize) return false;
    std::memcpy(legacyTable, memory + start, length);
  }
  header[kRevisionAt] = anchor[14];
  header[kScanModeAt] = assumeStrings ? 2 : 3;
  tableData = legacyTable;
  tableLength = length;
  stopAtEndOfTable = false;
  return GetDMITableStructure(assumeStrings);
}

// The table from a dump or the firmware folder.
struct FirmwareTable {
  std::unique_ptr<unsigned char[]> bytes;
  unsigned char const* table = nullptr;
  unsigned long length = 0;
  DmiEntryPoint entry;
};

bool ReadDumpTable(char const* path, FirmwareTable& result) {
  unsigned long size = 0;
  if (!ReadWholeFile(path, kDmiFirmwareTableLimit + 32, result.bytes, size)) return false;
  if (!ReadDmiEntryPoint(result.bytes.get(), size < 32 ? size : 32, result.entry)) return false;
  // The entry point of a dump gives the table's offset in the file.
  if (result.entry.address > size) return false;
  unsigned long const offset = static_cast<unsigned long>(result.entry.address);
  unsigned long available = size - offset;
  if (available > result.entry.length) available = result.entry.length;
  if (available > kDmiFirmwareTableLimit) return false;
  result.table = result.bytes.get() + offset;
  result.length = available;
  return true;
}

bool ReadFolderTable(char const* folder, FirmwareTable& result) {
  std::string const base(folder);
  std::unique_ptr<unsigned char[]> entryBytes;
  unsigned long entrySize = 0;
  if (!ReadWholeFile((base + "/smbios_entry_point").c_str(), 64, entryBytes, entrySize)) {
    return false;
  }
  if (!ReadDmiEntryPoint(entryBytes.get(), entrySize, result.entry)) return false;
  unsigned long size = 0;
  if (!ReadWholeFile((base + "/DMI").c_str(), kDmiFirmwareTableLimit, result.bytes, size)) {
    return false;
  }
  result.table = result.bytes.get();
  result.length = size < result.entry.length ? size : result.entry.length;
  return true;
}

// Writes the snapshot of a firmware table to the open output.
bool WriteFirmwareTable(FirmwareTable const& source) {
  if (!WriteDmiHeader()) return false;
  tableData = source.table;
  tableLength = source.length;
  stopAtEndOfTable = source.entry.sm3;
  for (bool const assumeStrings : {true, false}) {
    header[kRevisionAt] = source.entry.revision;
    header[kScanModeAt] = assumeStrings ? 2 : 3;
    if (GetDMITableStructure(assumeStrings)) return WriteTOC();
  }
  return false;
}

// Closes the output; a file whose snapshot did not come out is removed.
void FinishOutput(char const* path, bool written) {
  bool const closed = std::fclose(output) == 0;
  output = nullptr;
  FreePending();
  tableData = nullptr;
  tableLength = 0;
  if (!written || !closed) std::remove(path);
}

// ---------------------------------------------------------------------------
// The process's snapshot.

dmi_info* processInfo = nullptr;
bool acquisitionTried = false;

void Acquire() {
  SurveyorStorageContext* const context = FindContextInterface<SurveyorStorageContext>();
  if (context == nullptr) throw NoSurveyorContext();
  try {
    FileLocation const location = DmiFileLocation();
    DmiEx(location.FullPathName());
    processInfo = LoadDmiSnapshot(location);
  } catch (...) {
  }
}

void AcquireOnce() {
  if (acquisitionTried) return;
  acquisitionTried = true;
  Acquire();
}

bool SettingDisables() {
  static surveyor_string const name = [] {
    static char const kName[] = "_QRVClient_Surveyor_DisableDMI";
    return surveyor_string{reinterpret_cast<unsigned char const*>(kName), sizeof kName - 1};
  }();
  try {
    return ClientSettingIsOne(name.data, name.length);
  } catch (...) {
    return false;
  }
}

}  // namespace

// ---------------------------------------------------------------------------

bool dmiTypeUsesStrings(unsigned type) {
  for (DmiTypeRow const& row : dmiTypes) {
    if (row.type == type) return row.usesStrings;
  }
  return true;
}

unsigned long getLengthOfStructure(unsigned char const* structure, unsigned char const* end,
                                   bool assumeStrings) {
  if (structure >= end || end - structure < 2) return 0;
  unsigned long const available = static_cast<unsigned long>(end - structure);
  unsigned long const formatted = structure[1];
  if (!assumeStrings && !dmiTypeUsesStrings(structure[0])) {
    if (formatted > available) return 0;
    // A byte behind the end counts as not zero: the structure then ends
    // with its formatted area.
    bool const doubleNul =
        formatted + 1 < available && structure[formatted] == 0 && structure[formatted + 1] == 0;
    return doubleNul ? formatted + 2 : formatted;
  }
  for (unsigned long at = formatted; at + 1 < available; ++at) {
    if (structure[at] == 0 && structure[at + 1] == 0) return at + 2;
  }
  return 0;
}

namespace {
struct VisitContext {
  void (*visit)(void*, unsigned long, unsigned long);
  void* context;
};
bool VisitStructure(void* context, unsigned char const*, unsigned long offset,
                    unsigned long length) {
  auto* const visitor = static_cast<VisitContext*>(context);
  if (length > 0xFFFF) return false;
  if (visitor->visit != nullptr) visitor->visit(visitor->context, offset, length);
  return true;
}
}  // namespace

bool CutDmiTable(unsigned char const* table, unsigned long length, bool assumeStrings,
                 void (*visit)(void* context, unsigned long offset, unsigned long length),
                 void* context) {
  VisitContext visitor{visit, context};
  return Cut(table, length, assumeStrings, false, &VisitStructure, &visitor);
}

bool ReadDmiEntryPoint(unsigned char const* bytes, unsigned long size, DmiEntryPoint& entry) {
  entry = DmiEntryPoint{};
  if (bytes == nullptr) return false;
  if (size >= 0x18 && std::memcmp(bytes, "_SM3_", 5) == 0) {
    unsigned long const length = bytes[6];
    if (length < 0x18 || length > size || SumOf(bytes, length) != 0) return false;
    unsigned const major = bytes[7] < 15 ? bytes[7] : 15;
    unsigned const minor = bytes[8] < 15 ? bytes[8] : 15;
    entry.sm3 = true;
    entry.revision = static_cast<std::uint8_t>((major << 4) | minor);
    entry.length = ReadLE32(bytes + 0x0C);
    entry.address = ReadLE64(bytes + 0x10);
    return true;
  }
  if (size >= 0x1F && std::memcmp(bytes, "_SM_", 4) == 0) {
    unsigned long const length = bytes[5];
    // Some firmware states 0x1E for the 31 bytes.
    if (length < 0x1E || length > size || SumOf(bytes, length) != 0) return false;
    unsigned char const* const legacy = bytes + 0x10;
    if (std::memcmp(legacy, "_DMI_", 5) != 0 || SumOf(legacy, 15) != 0) return false;
    // The version of the outer part, which the BCD revision of the inner
    // one does not always repeat.
    unsigned const major = bytes[6] < 15 ? bytes[6] : 15;
    unsigned const minor = bytes[7] < 15 ? bytes[7] : 15;
    entry.revision = static_cast<std::uint8_t>((major << 4) | minor);
    entry.length = ReadLE16(legacy + 6);
    entry.address = ReadLE32(legacy + 8);
    return true;
  }
  if (size >= 15 && std::memcmp(bytes, "_DMI_", 5) == 0) {
    if (SumOf(bytes, 15) != 0) return false;
    entry.revision = bytes[14];
    entry.length = ReadLE16(bytes + 6);
    entry.address = ReadLE32(bytes + 8);
    return true;
  }
  return false;
}

namespace {
void WriteSnapshot(char const* path);
}  // namespace

void DmiEx(char const* path) {
  if (path == nullptr) return;
  try {
    WriteSnapshot(path);
  } catch (...) {
    // Only an allocation can fail here; the file goes with what it held.
    if (output != nullptr) FinishOutput(path, false);
    FreePending();
    throw;
  }
}

namespace {

void WriteSnapshot(char const* path) {
  std::remove(path);
  ResetWriter();
  bool const fromDump = dmiDumpFile != nullptr && *dmiDumpFile != '\0';
  if (!fromDump && dmiDevicePath != nullptr && *dmiDevicePath != '\0') {
    int const fd = open(dmiDevicePath, O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      bool written = false;
      if (GetBIOSMem(fd)) {
        output = std::fopen(path, "wb");
        if (output != nullptr) {
          if (WriteDmiHeader()) {
            if (GetDMIByTable(fd, true)) {
              written = WriteTOC();
            } else if (GetDMIByTable(fd, false)) {
              written = WriteTOC();
            }
          }
          FinishOutput(path, written);
        }
      }
      close(fd);
      if (written) return;
    }
  }
  // No table in memory: the firmware's own publication, or the dump.
  FirmwareTable source;
  bool const found = fromDump ? ReadDumpTable(dmiDumpFile, source)
                              : (dmiFirmwareFolder != nullptr && *dmiFirmwareFolder != '\0' &&
                                 ReadFolderTable(dmiFirmwareFolder, source));
  if (!found) return;
  std::memset(instanceCounters, 0, sizeof instanceCounters);
  output = std::fopen(path, "wb");
  if (output == nullptr) return;
  FinishOutput(path, WriteFirmwareTable(source));
}

}  // namespace

// ---------------------------------------------------------------------------
// dmi_info.

dmi_info::dmi_info(unsigned char const* bytes)
    : revision(bytes[kRevisionAt]),
      scanMode(bytes[kScanModeAt]),
      contentsOffset(ReadLE32(bytes + kContentsOffsetAt)),
      contentsCount(ReadLE32(bytes + kContentsCountAt)),
      firmwareDate{},
      contents(nullptr) {
  // The date stands at 0xFFFF5 to 0xFFFFE: "mm/dd/yy" or "mm/dd/yyyy".
  std::memcpy(firmwareDate, bytes + 4 + 5, 10);
  firmwareDate[10] = '\0';
  auto const digit = [](char c) { return c >= '0' && c <= '9'; };
  if (firmwareDate[8] != '\0' && !(digit(firmwareDate[8]) && digit(firmwareDate[9]))) {
    firmwareDate[8] = '\0';
  }
}

dmi_info::~dmi_info() { delete[] contents; }

void dmi_info::ReadTOC(FileReader& reader) {
  delete[] contents;
  contents = nullptr;
  // A new table may come at the old one's address: the index goes with it.
  index_.clear();
  indexed_ = nullptr;
  indexedCount_ = 0;
  if (contentsCount == 0) return;
  try {
    // A count that the file cannot hold is a failed read, found before any
    // allocation.
    unsigned long const length = reader.Length();
    if (contentsOffset > length ||
        (length - contentsOffset) / kDmiContentsEntrySize < contentsCount) {
      throw NoMoreData();
    }
    contents = new DmiContentsEntry[contentsCount];
    // The whole table in one read, rather than one read for each entry.
    std::unique_ptr<unsigned char[]> const bytes(
        new unsigned char[contentsCount * kDmiContentsEntrySize]);
    reader.SetPosition(contentsOffset);
    reader >> Data(bytes.get(), contentsCount * kDmiContentsEntrySize);
    for (std::uint32_t i = 0; i < contentsCount; ++i) {
      unsigned char const* const entry = bytes.get() + i * kDmiContentsEntrySize;
      contents[i].type = entry[0];
      contents[i].instance = entry[1];
      contents[i].offset = ReadLE32(entry + 2);
      contents[i].length = static_cast<std::uint16_t>(ReadLE16(entry + 6));
    }
  } catch (std::bad_alloc const&) {
    delete[] contents;
    contents = nullptr;
    contentsCount = 0;
    throw;
  } catch (...) {
    delete[] contents;
    contents = nullptr;
    contentsCount = 0;
  }
}

DmiContentsEntry const* dmi_info::Find(unsigned type, unsigned long instance) const {
  if (contents == nullptr) return nullptr;
  // Both are stored in 8 bits: a wider one matches no entry.
  if (type > 0xFF || instance > 0xFF) return nullptr;
  auto const keyOf = [](DmiContentsEntry const& entry) {
    return static_cast<std::uint16_t>((entry.type << 8) | entry.instance);
  };
  auto const key = static_cast<std::uint16_t>((type << 8) | instance);
  if (indexed_ != contents || indexedCount_ != contentsCount) {
    indexed_ = nullptr;
    indexedCount_ = 0;
    try {
      index_.clear();
      index_.reserve(contentsCount);
      for (std::uint32_t i = 0; i < contentsCount; ++i) index_.push_back({keyOf(contents[i]), i});
      // Stable, so that of equal keys the first in the contents comes first.
      std::stable_sort(index_.begin(), index_.end(),
                       [](IndexEntry const& a, IndexEntry const& b) { return a.key < b.key; });
    } catch (std::bad_alloc const&) {
      // Without memory for the index, the contents are scanned as they stand.
      index_.clear();
      for (std::uint32_t i = 0; i < contentsCount; ++i) {
        if (keyOf(contents[i]) == key) return &contents[i];
      }
      return nullptr;
    }
    indexed_ = contents;
    indexedCount_ = contentsCount;
  }
  auto const found = std::lower_bound(
      index_.begin(), index_.end(), key,
      [](IndexEntry const& entry, std::uint16_t wanted) { return entry.key < wanted; });
  if (found == index_.end() || found->key != key) return nullptr;
  return &contents[found->place];
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, dmi const&) { return fingerprinter; }

surveyor_string dmiSurveyorDefinedError::Message() const {
  static char const kMessage[] = "dmi surveyor is disabled";
  return surveyor_string{reinterpret_cast<unsigned char const*>(kMessage), sizeof kMessage - 1};
}

dmi Dmi_of_world() {
  if (SettingDisables()) throw dmiSurveyorDefinedError();
  AcquireOnce();
  if (processInfo == nullptr) throw NoSuchObject();
  dmi value;
  value.info = processInfo;
  return value;
}

dmi_info* GetDmiInfo() {
  AcquireOnce();
  return processInfo;
}

dmi_info* LoadDmiSnapshot(FileLocation const& location) {
  FileReadingPath const path(location);
  unsigned long const length = path.Length();
  if (length <= kDmiHeaderSize - 1 || length == kUnknownFileLength) return nullptr;
  unsigned char bytes[kDmiHeaderSize];
  FileReader reader(path, 0);
  reader >> Data(bytes, kDmiHeaderSize);
  if (ReadLE32(bytes) != 1) return nullptr;
  std::unique_ptr<dmi_info> info(new dmi_info(bytes));
  info->ReadTOC(reader);
  return info.release();
}

FileLocation DmiFileLocation() {
  auto const slot = ContextSlot<&SurveyorStorageContext::GetStorageFolder>();
  if (dmiFileName == nullptr || *dmiFileName == '\0') throw NoSuchObject();
  std::unique_ptr<FileLocation> const folder(slot(&SurveyorFileLocation));
  if (folder == nullptr) throw NoSuchObject();
  return FileLocation(*folder, dmiFileName);
}

unsigned long ReadDmiStructure(DmiContentsEntry const& entry, unsigned char* target) {
  if (entry.length == 0) throw NoSuchObject();
  FileLocation const location = DmiFileLocation();
  // The file is opened for this one read and closed after it, with the
  // flags a FileReadingPath opens with; one positioned read takes the
  // structure, where a FileReader would first seek for the file's length.
  int const descriptor = open(location.FullPathName(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) FileReadingPath::ThrowErrorAlways(errno);
  unsigned long done = 0;
  int error = 0;
  while (done < entry.length) {
    ssize_t const got = pread(descriptor, target + done, entry.length - done,
                              static_cast<off_t>(entry.offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error = errno;
    if (got <= 0) break;
    done += static_cast<unsigned long>(got);
  }
  close(descriptor);
  if (error != 0) FileReader::ThrowError(error);
  if (done < entry.length) FileReader::ThrowError(FileReader::kShortRead);
  return entry.length;
}

void DmiCleanup() {
  if (dmiReleaseStructures != nullptr) dmiReleaseStructures();
  delete processInfo;
  processInfo = nullptr;
}

// ---------------------------------------------------------------------------
// Registration, in table order. The world object's value never changes while
// the process lives, but the disabling setting is tested on every use, so
// the property has no dependency function.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<dmi>(),
    PropertyRow("dmi", "dmis", &Dmi_of_world),
};

// Frees the snapshot at unload; constructed after the table, so that its
// exit handler is queued after the type's registration.
struct DmiCleanupAtExit {
  ~DmiCleanupAtExit() { DmiCleanup(); }
} cleanupAtExit;

}  // namespace
