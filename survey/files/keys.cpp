#include "survey/files/keys.h"

#include <strings.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>

#include "survey/foundation/file_errors.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

// The opening brackets of a section header and their closing partners, in
// the same places.
constexpr char kOpeningBrackets[] = "[{<(";
constexpr char kClosingBrackets[] = "]}>)";
// The file whose reading would wait for the kernel's next message.
constexpr char kKernelMessages[] = "/proc/kmsg";
// How many lines a reader takes between two questions to the host whether
// the evaluation is to go on.
constexpr unsigned kLinesBetweenChecks = 256;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// What comes off the end of a value or a variable line.
bool IsTrailingWhite(char c) { return IsBlank(c) || c == '\r' || c == '\n'; }

// The first byte at or after `from` that is not a blank, within the line.
unsigned long SkipBlanks(char const* line, unsigned long length, unsigned long from) {
  while (from < length && IsBlank(line[from])) ++from;
  return from;
}

surveyor_string InEvaluatorMemory(char const* text, unsigned long length) {
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text, length);
  return surveyor_string{copy, length};
}

// The index as a NUL-terminated text; the key and section names are compared
// as C texts.
std::unique_ptr<char[]> Terminated(surveyor_string const& text) {
  std::unique_ptr<char[]> copy(new char[text.length + 1]);
  if (text.length != 0) std::memcpy(copy.get(), text.data, text.length);
  copy[text.length] = '\0';
  return copy;
}

// A stream closed when the holder goes.
struct StreamCloser {
  void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

// The key and section properties refuse the kernel's message stream before
// opening anything.
void RefuseKernelMessages(file const& object) {
  if (std::strcmp(object.Path().FullPathName(), kKernelMessages) == 0) throw NoSuchObject();
}

Stream OpenForKeys(char const* path) {
  Stream stream(std::fopen(path, "r"));
  if (!stream) throw FileIOError();
  return stream;
}

std::unique_ptr<char[]> KeyLineBuffer() {
  return std::unique_ptr<char[]>(new char[kKeyLineBufferSize]);
}

void CheckNowAndThen(unsigned& lines) {
  if (++lines % kLinesBetweenChecks == 0) Check_For_Surveyor_Interruption();
}

}  // namespace

char* fgets_with_len(char* buffer, unsigned long size, FILE* stream, unsigned long& length) {
  length = 0;
  if (size < 2) return nullptr;
  for (;;) {
    int const c = std::fgetc(stream);
    if (c == EOF) break;
    if (c == '\n') {
      buffer[length] = '\0';
      return buffer;
    }
    if (c == '\r') {
      // CR LF is one ending; any other byte after a CR starts the next line.
      int const next = std::fgetc(stream);
      if (next != '\n' && next != EOF) std::ungetc(next, stream);
      buffer[length] = '\0';
      return buffer;
    }
    buffer[length++] = static_cast<char>(c);
    if (length == size - 1) {
      buffer[length] = '\0';
      return buffer;
    }
  }
  buffer[length] = '\0';
  return length != 0 ? buffer : nullptr;
}

file_section::file_section(char const* sectionPath, long sectionStart, long sectionEnd)
    : path(sectionPath), start(sectionStart), end(sectionEnd > sectionStart ? sectionEnd : 0) {}

// ---------------------------------------------------------------------------
// The readers over a stream.

bool MatchKeyLine(char const* line, unsigned long length, char const* key,
                  unsigned long keyLength, char const** value) {
  unsigned long at = SkipBlanks(line, length, 0);
  if (length - at < keyLength) return false;
  if (keyLength != 0 && strncasecmp(line + at, key, keyLength) != 0) return false;
  at = SkipBlanks(line, length, at + keyLength);
  if (at >= length || (line[at] != '=' && line[at] != ':')) return false;
  *value = line + SkipBlanks(line, length, at + 1);
  return true;
}

unsigned long CutKeyValue(char* value) {
  // The semicolon opens a comment wherever it stands, quotes or not.
  if (char* const comment = std::strchr(value, ';')) *comment = '\0';
  unsigned long length = std::strlen(value);
  while (length != 0 && IsTrailingWhite(value[length - 1])) --length;
  value[length] = '\0';
  return length;
}

bool FindKeyInStream(FILE* stream, char* buffer, char const* key, unsigned long keyLength,
                     long end, char const** value, unsigned long* valueLength) {
  unsigned lines = 0;
  unsigned long length = 0;
  while (!std::feof(stream)) {
    if (end != 0 && std::ftell(stream) >= end) return false;
    if (fgets_with_len(buffer, kKeyLineBufferSize, stream, length) == nullptr) return false;
    char const* found = nullptr;
    if (MatchKeyLine(buffer, length, key, keyLength, &found)) {
      char* const text = buffer + (found - buffer);
      *value = text;
      *valueLength = CutKeyValue(text);
      return true;
    }
    CheckNowAndThen(lines);
  }
  return false;
}

bool FindSectionInStream(FILE* stream, char* buffer, char const* name, unsigned long nameLength,
                         long* start, long* end) {
  unsigned lines = 0;
  unsigned long length = 0;
  char opening = '\0';
  char closing = '\0';
  bool found = false;
  while (!found && fgets_with_len(buffer, kKeyLineBufferSize, stream, length) != nullptr) {
    CheckNowAndThen(lines);
    unsigned long at = SkipBlanks(buffer, length, 0);
    if (at >= length) continue;
    char const* const bracket = std::strchr(kOpeningBrackets, buffer[at]);
    if (bracket == nullptr || buffer[at] == '\0') continue;
    at = SkipBlanks(buffer, length, at + 1);
    if (length - at < nameLength) continue;
    if (nameLength != 0 && strncasecmp(buffer + at, name, nameLength) != 0) continue;
    at = SkipBlanks(buffer, length, at + nameLength);
    char const partner = kClosingBrackets[bracket - kOpeningBrackets];
    if (at >= length || buffer[at] != partner) continue;
    opening = *bracket;
    closing = partner;
    found = true;
  }
  if (!found) return false;
  *start = std::ftell(stream);
  // The section ends after the first line that opens with the same bracket
  // and closes it further on; that line is inside the range.
  while (fgets_with_len(buffer, kKeyLineBufferSize, stream, length) != nullptr) {
    CheckNowAndThen(lines);
    unsigned long const at = SkipBlanks(buffer, length, 0);
    if (at < length && buffer[at] == opening &&
        std::memchr(buffer + at + 1, closing, length - at - 1) != nullptr) {
      break;
    }
  }
  *end = std::ftell(stream);
  return true;
}

bool NextVariableInStream(FILE* stream, Stringy& section, Stringy& element) {
  char buffer[kVariableLineBufferSize];
  unsigned lines = 0;
  while (std::fgets(buffer, kVariableLineBufferSize, stream) != nullptr) {
    CheckNowAndThen(lines);
    unsigned long length = std::strlen(buffer);
    while (length != 0 && IsTrailingWhite(buffer[length - 1])) --length;
    buffer[length] = '\0';
    if (length == 0) continue;
    if (buffer[0] == '[') {
      // A header whose "]" is missing is no header, and no variable either.
      if (char const* const close = std::strchr(buffer, ']')) {
        section = Stringy(buffer, static_cast<unsigned long>(close - buffer + 1));
      }
      continue;
    }
    char const* const equals = std::strchr(buffer, '=');
    if (equals == nullptr) continue;
    char const* keyStart = buffer;
    while (IsBlank(*keyStart)) ++keyStart;
    if (keyStart >= equals) continue;
    Stringy key(keyStart, static_cast<unsigned long>(equals - keyStart));
    Stringy value(equals + 1);
    key.StripLeadingAndTrailingWhite();
    value.StripLeadingAndTrailingWhite();
    Stringy made(section);
    made += ".";
    made += key;
    made += "=";
    made += value;
    element = std::move(made);
    return true;
  }
  return false;
}

// ---------------------------------------------------------------------------
// The properties.

surveyor_string key_of_file(surveyor_string const& key, Of, file const& object) {
  RefuseKernelMessages(object);
  Stream const stream = OpenForKeys(object.Path().FullPathName());
  std::unique_ptr<char[]> const buffer = KeyLineBuffer();
  std::unique_ptr<char[]> const sought = Terminated(key);
  char const* value = nullptr;
  unsigned long length = 0;
  if (!FindKeyInStream(stream.get(), buffer.get(), sought.get(), key.length, 0, &value, &length)) {
    throw NoSuchObject();
  }
  return InEvaluatorMemory(value, length);
}

file_section section_of_file(surveyor_string const& name, Of, file const& object) {
  RefuseKernelMessages(object);
  char const* const path = object.Path().FullPathName();
  Stream const stream = OpenForKeys(path);
  std::unique_ptr<char[]> const buffer = KeyLineBuffer();
  std::unique_ptr<char[]> const sought = Terminated(name);
  long start = 0;
  long end = 0;
  if (!FindSectionInStream(stream.get(), buffer.get(), sought.get(), name.length, &start, &end)) {
    throw NoSuchObject();
  }
  unsigned long const pathLength = std::strlen(path);
  auto* const copy = reinterpret_cast<char*>(Allocate_Surveyor_Memory(pathLength + 1));
  std::memcpy(copy, path, pathLength + 1);
  return file_section(copy, start, end);
}

surveyor_string key_of_section(surveyor_string const& key, Of, file_section const& section) {
  struct stat status;
  if (::stat(section.path, &status) != 0) throw FileIOError();
  if (status.st_size == 0) throw NoSuchObject();
  Stream const stream = OpenForKeys(section.path);
  if (std::fseek(stream.get(), section.start, SEEK_SET) != 0) throw FileIOError();
  std::unique_ptr<char[]> const buffer = KeyLineBuffer();
  std::unique_ptr<char[]> const sought = Terminated(key);
  char const* value = nullptr;
  unsigned long length = 0;
  if (!FindKeyInStream(stream.get(), buffer.get(), sought.get(), key.length, section.end, &value,
                       &length)) {
    throw NoSuchObject();
  }
  return InEvaluatorMemory(value, length);
}

variable_iterator::~variable_iterator() { Close(); }

void variable_iterator::Close() {
  if (stream_ != nullptr) std::fclose(stream_);
  stream_ = nullptr;
}

surveyor_string variable_iterator::First(file const& object) {
  Close();
  section_ = Stringy();
  char const* const path = object.Path().FullPathName();
  struct stat status;
  if (::stat(path, &status) != 0 || status.st_size == 0) throw NoSuchObject();
  stream_ = std::fopen(path, "rb");
  if (stream_ == nullptr) throw NoSuchObject();
  return Next(object);
}

surveyor_string variable_iterator::Next(file const&) {
  if (stream_ == nullptr) throw NoSuchObject();
  Stringy element;
  bool found = false;
  try {
    found = NextVariableInStream(stream_, section_, element);
  } catch (DebuggableException const&) {
    // What goes wrong in a step ends the stream; the host's interruption and
    // a lack of memory are the query's to report, and pass.
    throw NoSuchObject();
  }
  if (!found) throw NoSuchObject();
  return InEvaluatorMemory(element.CString(), element.GetLength());
}

surveyor_string FileSHA1(Of, file const& object) {
  SurveyorDigestText const digest =
      ContextInterface<CryptoSurveyorContext>().HashOfFile(object.Path().FullPathName());
  unsigned long const length =
      digest.length < sizeof digest.text ? digest.length : sizeof digest.text;
  return InEvaluatorMemory(reinterpret_cast<char const*>(digest.text), length);
}

// ---------------------------------------------------------------------------
// Registration, in table order. The key and section properties depend on
// nothing but their operands, the file among them; the variables and the
// hash are read anew on every evaluation.

namespace {

RegistrationTable table{
    TypeRow<file_section>(),
    IndexedRow("key", "keys", &key_of_file, &DependsOnlyOnParameters),
    IndexedRow("section", "sections", &section_of_file, &DependsOnlyOnParameters),
    IndexedRow("key", "keys", &key_of_section, &DependsOnlyOnParameters),
    IteratedRow<variable_iterator>("variable", "variables"),
    PropertyRow("sha1", "sha1s", &FileSHA1),
};

}  // namespace
