#include "survey/client/profile_vars.h"

#include <strings.h>

#include <cstring>

#include "survey/foundation/data.h"
#include "survey/foundation/file_reader.h"
#include "survey/foundation/stringy.h"

char const* const FILESTR_GLOBAL_OPTIONS = ">Kestrix Options File";
char const* const FILESTR_GLOBAL_OPTIONS_VERSION = ">Version 1.1.0";
char const* const FILESTR_SITEVARS = ">NudgeSite Vars File";
char const* const FILESTR_SITEVARS_VERSION = ">Version 1.0.1";
char const* const FILESTR_LASTCOUNTEDTAG = ">LastCountedtag";
char const* const FILESTR_VERTAG = ">Vertag";
char const* const FILESTR_END = ">End";
char const* const FILESTR_SITE = ">FleetClient Site Data File";
char const* const FILESTR_SITE_VERSION = ">Version 1.1.2";
char const* const FILESTR_SITE_VERSION_1_1_1 = ">Version 1.1.1";
char const* const FILESTR_SITE_VERSION_1_1_0 = ">Version 1.1.0";
char const* const FILESTR_SITE_VERSION_1_0_9 = ">Version 1.0.9";
char const* const FILESTR_SITE_VERSION_1_0_8 = ">Version 1.0.8";
char const* const FILESTR_SITE_VERSION_1_0_7 = ">Version 1.0.7";
char const* const FILESTR_SITE_VERSION_1_0_6 = ">Version 1.0.6";
char const* const FILESTR_SITE_VERSION_1_0_5 = ">Version 1.0.5";

namespace {

// A native 32-bit number read from the file.
std::uint32_t ReadNumber(FileReader& reader) {
  unsigned char bytes[4];
  reader >> Data(bytes, sizeof bytes);
  std::uint32_t number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

// A block of `size` bytes with a zero byte behind them.
char* NewBlock(std::uint32_t size) {
  char* block = new char[static_cast<unsigned long>(size) + 1];
  block[size] = '\0';
  return block;
}

}  // namespace

ProfileVars::ProfileVars(FileLocation const& location) : location_(location) { Load(); }

ProfileVars::ProfileVars(ProfileVars const& other)
    : location_(other.location_), size_(other.size_), loaded_(other.loaded_) {
  if (other.block_ != nullptr) {
    block_ = NewBlock(size_);
    std::memcpy(block_, other.block_, size_);
  }
}

void ProfileVars::Load() {
  delete[] block_;
  block_ = nullptr;
  loaded_ = false;
  try {
    FileReadingPath path(location_);
    FileReader reader(path, 0);
    Stringy text;
    ReadStringy(text, reader);
    if (text != FILESTR_SITEVARS) return;
    ReadStringy(text, reader);
    if (text != FILESTR_SITEVARS_VERSION) return;
    size_ = ReadNumber(reader);
    count_ = ReadNumber(reader);
    loaded_ = true;
    if (size_ == 0) return;
    // A block longer than what is left of the file cannot be read whole:
    // it is refused before it is allocated.
    unsigned long const length = reader.Length();
    if (length != kUnknownFileLength &&
        (reader.Position() > length || size_ > length - reader.Position()))
      throw EndOfFileError();
    block_ = NewBlock(size_);
    reader >> Data(block_, size_);
  } catch (DebuggableException const&) {
    // A missing, unreadable or short file leaves no block. Errors of
    // memory are not the file's and pass on.
    delete[] block_;
    block_ = nullptr;
  }
}

char const* ProfileVars::Behind(char const* text) const {
  // The zero byte behind the block ends every string in it.
  return text + std::strlen(text) + 1;
}

char const* ProfileVars::GetValue(char const* name) const {
  if (block_ == nullptr || name == nullptr) return nullptr;
  char const* at = block_;
  for (std::uint32_t i = 0; i < count_ && at < BlockEnd(); ++i) {
    char const* const value = Behind(at);
    if (value >= BlockEnd()) return nullptr;
    if (strcasecmp(at, name) == 0) return value;
    at = Behind(value);
  }
  return nullptr;
}

bool ProfileVars::HaveValue(char const* name) const { return GetValue(name) != nullptr; }

bool ProfileVars::MatchesMultiList(char const* name, char const* value) const {
  if (block_ == nullptr || name == nullptr || value == nullptr) return false;
  char const* at = block_;
  for (std::uint32_t i = 0; i < count_ && at < BlockEnd(); ++i) {
    char const* const stored = Behind(at);
    if (stored >= BlockEnd()) return false;
    if (strcasecmp(at, name) == 0 && std::strcmp(stored, value) == 0) return true;
    at = Behind(stored);
  }
  return false;
}

bool ProfileVars::GetNameAndValue(char const* previousValue, char const** name,
                                  char const** value) const {
  if (block_ == nullptr) return false;
  char const* const next = previousValue == nullptr ? block_ : Behind(previousValue);
  if (next < block_ || next >= BlockEnd()) return false;
  char const* const itsValue = Behind(next);
  if (itsValue >= BlockEnd()) return false;
  *name = next;
  *value = itsValue;
  return true;
}

bool ProfileVars::GetNameAndValue(unsigned char const* wanted, unsigned long length,
                                  char const* previousValue, char const** name,
                                  char const** value) const {
  if (block_ == nullptr) return false;
  char const* at = previousValue == nullptr ? block_ : Behind(previousValue);
  if (at < block_) return false;
  while (at < BlockEnd()) {
    char const* const itsValue = Behind(at);
    if (itsValue >= BlockEnd()) return false;
    if (std::strlen(at) == length &&
        strncasecmp(at, reinterpret_cast<char const*>(wanted), length) == 0) {
      *name = at;
      *value = itsValue;
      return true;
    }
    at = Behind(itsValue);
  }
  return false;
}

// ---------------------------------------------------------------------------
// ProfileVarsLoop

void ProfileVarsLoop::Start() { offset_ = 0; }

void ProfileVarsLoop::End() { offset_ = vars_.Size(); }

bool ProfileVarsLoop::Finished() const { return offset_ >= vars_.Size(); }

ProfileVarsLoop& ProfileVarsLoop::operator++() {
  if (Finished()) return *this;
  char const* const block = vars_.Block();
  if (block == nullptr) {
    // Nothing to step over: the walk ends.
    End();
    return *this;
  }
  offset_ += std::strlen(block + offset_) + 1;
  if (offset_ < vars_.Size()) offset_ += std::strlen(block + offset_) + 1;
  return *this;
}

ProfileVarsLoop ProfileVarsLoop::operator++(int) {
  ProfileVarsLoop before = *this;
  ++*this;
  return before;
}

char const* ProfileVarsLoop::Name() const {
  if (Finished() || vars_.Block() == nullptr) return "";
  return vars_.Block() + offset_;
}

char const* ProfileVarsLoop::Value() const {
  if (Finished() || vars_.Block() == nullptr) return "";
  unsigned long const value = offset_ + std::strlen(vars_.Block() + offset_) + 1;
  if (value >= vars_.Size()) return "";
  return vars_.Block() + value;
}
