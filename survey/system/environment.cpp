#include "survey/system/environment.h"

#include <cstdlib>
#include <cstring>

#include "survey/frame/table.h"

extern char** environ;

namespace {
// Names are copied here to be NUL-terminated for getenv; so the longest name
// that can be looked up has one byte less than this.
constexpr unsigned long kNameBufferSize = 2048;
}  // namespace

environment Environment_of_world() { return environment(); }

environment_variable variable_of(unsigned char const* name, unsigned long length,
                                 environment const&) {
  if (name == nullptr || length >= kNameBufferSize) throw NoSuchObject();
  char buffer[kNameBufferSize];
  std::memcpy(buffer, name, length);
  buffer[length] = '\0';
  char const* const value = std::getenv(buffer);
  if (value == nullptr) throw NoSuchObject();
  // The name is the caller's bytes as given, whole, even past an embedded NUL.
  return environment_variable{
      surveyor_string{name, length},
      surveyor_string{reinterpret_cast<unsigned char const*>(value), std::strlen(value)}};
}

environment_var_iterator::environment_var_iterator() : slot_(environ) {}

environment_var_iterator::~environment_var_iterator() { slot_ = nullptr; }

environment_variable environment_var_iterator::First(environment const& world) {
  slot_ = environ;
  return Next(world);
}

environment_variable environment_var_iterator::Next(environment const&) {
  if (slot_ == nullptr || *slot_ == nullptr) throw NoSuchObject();
  // Move on before looking at the entry, so that a bad entry is passed over
  // by any further call.
  char const* const entry = *slot_++;
  char const* const equals = std::strchr(entry, '=');
  if (equals == nullptr || equals == entry) throw NoSuchObject();
  char const* const value = equals + 1;
  unsigned long const valueLength = std::strlen(value);
  if (valueLength == 0) throw NoSuchObject();
  return environment_variable{
      surveyor_string{reinterpret_cast<unsigned char const*>(entry),
                      static_cast<unsigned long>(equals - entry)},
      surveyor_string{reinterpret_cast<unsigned char const*>(value), valueLength}};
}

surveyor_string name_of(environment_variable const& variable) { return variable.name; }

surveyor_string value_of(environment_variable const& variable) { return variable.value; }

surveyor_string AsString(environment_variable const& variable) {
  static char const kSeparator[] = " = ";
  unsigned long const separatorLength = sizeof kSeparator - 1;
  unsigned long const length = variable.name.length + separatorLength + variable.value.length;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  unsigned char* out = text;
  if (variable.name.length != 0) std::memcpy(out, variable.name.data, variable.name.length);
  out += variable.name.length;
  std::memcpy(out, kSeparator, separatorLength);
  out += separatorLength;
  if (variable.value.length != 0) std::memcpy(out, variable.value.data, variable.value.length);
  return surveyor_string{text, length};
}

// ---------------------------------------------------------------------------
// Registration, in table order. No result is reusable: the environment can
// change between evaluations.

namespace {

RegistrationTable table{
    TypeRow<environment>(),
    TypeRow<environment_variable>(),
    PropertyRow("environment", "environments", &Environment_of_world),
    IteratedRow<environment_var_iterator>("variable", "variables"),
    IndexedRow("variable", "variables", &variable_of),
    PropertyRow("name", "names", &name_of),
    PropertyRow("value", "values", &value_of),
    CastRow("string", &AsString),
};

}  // namespace
