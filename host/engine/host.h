// The host: a registry with the host's own value types, a surveyor library
// loaded into it with dlopen and unloaded with dlclose, and the calls that
// evaluate "property P (with index I) of world or of a value".
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/engine/calls.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "host/engine/value.h"

namespace survey::host {

class Host {
 public:
  Host();
  ~Host();
  Host(Host const&) = delete;
  Host& operator=(Host const&) = delete;

  // Loads a surveyor library: its initialisers register its vocabulary
  // into this host's registry. Throws EvaluationError of kind kLoad when the
  // file is missing, is not a loadable library, or is not a surveyor
  // library (it has no function "survey").
  void Load(std::string const& path);
  // Unloads the library, after its caches are cleared; its records
  // unregister themselves as it goes.
  void Unload();
  bool Loaded() const { return handle_ != nullptr; }
  // The address of a symbol of the loaded library, or null.
  void* Symbol(char const* name) const;
  std::string const& LibraryPath() const { return path_; }

  Registry& GetRegistry() { return registry_; }
  Registry const& GetRegistry() const { return registry_; }

  // The host's own basic types.
  TypeEntry const* StringType() const;
  TypeEntry const* IntegerType() const;
  TypeEntry const* BooleanType() const;
  TypeEntry const* TimeType() const;
  TypeEntry const* IntervalType() const;

  Value MakeString(std::string_view bytes) const;
  Value MakeInteger(long long number) const;

  // A new evaluation over this host's registry. The library's caches are
  // cleared, as at the start of every evaluation.
  std::unique_ptr<Evaluation> NewEvaluation(SurveyorContext* context = nullptr) const;

  // The values of a property phrase (singular or plural form) with an
  // optional index, of the world (empty object) or of a value. The record is
  // chosen by the phrase, the index's type and the object's type, base types
  // tried upward. Throws EvaluationError: kUnknownPhrase, kNoSuchProperty.
  // Must be pulled inside an Evaluation::Scope.
  std::unique_ptr<Stream> Property(std::string_view phrase, Value const& index,
                                   Value const& object) const;

  // The cast of that phrase applied to a value.
  Value Cast(std::string_view phrase, Value const& value) const;

  // A value's text form: the host's own for its types, else the type's cast
  // "string", else "<type name>".
  std::string Text(Value const& value) const;

 private:
  struct OwnTypes;
  Registry registry_;
  std::unique_ptr<OwnTypes> ownTypes_;
  TypeEntry const* stringType_ = nullptr;
  TypeEntry const* integerType_ = nullptr;
  TypeEntry const* booleanType_ = nullptr;
  TypeEntry const* timeType_ = nullptr;
  TypeEntry const* intervalType_ = nullptr;
  void* handle_ = nullptr;
  std::string path_;
};

}  // namespace survey::host
