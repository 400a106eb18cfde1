// The host's registry of everything a surveyor library registers: value
// types, properties (simple, iterated, aggregate), casts, binary operators,
// global dependency nodes and caches.
//
// Records arrive through the host operations `Register_*`, which route them to
// the registry that is current at that moment (see `Registry::Scope`). The
// registry writes its own address into the record's host area, so that the
// matching `Unregister_*` finds it again, whichever registry is current then.
//
// Type names are kept as text and resolved when they are looked up, since the
// order in which a library's units register is not fixed.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "survey/frame/boundary.h"

namespace survey::host {

struct TypeEntry {
  void* record = nullptr;
  std::string name;
  unsigned long size = 0;
  SurveyorDestroy destroy = nullptr;
  std::string baseName;  // empty when the type has no base
  SurveyorFingerprint fingerprint = nullptr;
};

enum class PropertyKind { kSimple, kIterated, kAggregate };

// The six phases of an aggregate, in calling order.
enum AggregatePhase {
  kFirstInitial,
  kNextInitial,
  kFirstIntermediate,
  kNextIntermediate,
  kFirstFinal,
  kNextFinal,
  kPhaseCount
};

struct PropertyEntry {
  void* record = nullptr;
  PropertyKind kind = PropertyKind::kSimple;
  std::string singular;
  std::string plural;
  std::string index;   // empty: the phrase takes no index
  std::string object;  // empty: a property of the world
  std::string result;
  SurveyorGetter getter = nullptr;  // simple
  unsigned long stateSize = 0;      // iterated and aggregate
  SurveyorConstruct construct = nullptr;
  SurveyorDestroy destroyState = nullptr;
  SurveyorGetter first = nullptr;  // iterated
  SurveyorGetter next = nullptr;
  SurveyorGetter phases[kPhaseCount] = {};  // aggregate
  void const* context = nullptr;
  SurveyorDependency dependency = nullptr;
};

struct CastEntry {
  void* record = nullptr;
  std::string phrase;
  std::string source;
  std::string target;
  SurveyorCastThunk thunk = nullptr;
  void const* context = nullptr;
  SurveyorDependency dependency = nullptr;
};

struct OperatorEntry {
  void* record = nullptr;
  int code = 0;
  std::string left;
  std::string right;
  std::string result;
  SurveyorOperatorThunk thunk = nullptr;
  void const* context = nullptr;
  SurveyorDependency dependency = nullptr;
};

struct DependencyNodeEntry {
  void* node = nullptr;
  std::string name;
  SurveyorDependency function = nullptr;
};

struct CacheEntry {
  void* record = nullptr;
  SurveyorCacheClear clear = nullptr;
  void* cookie = nullptr;
};

enum class RecordKind { kType, kProperty, kCast, kOperator, kDependency, kCache };

// One line of the registry's journal: what happened to which record.
struct RegistryEvent {
  enum Action { kRegistered, kUnregistered, kUnknownUnregistration } action;
  RecordKind kind;
  void* record;
  std::string name;
};

// A registration the registry refuses: a bad size argument, a null record, a
// record registered twice, or a failure injected by a test.
class RegistrationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Registry {
 public:
  Registry();
  ~Registry();
  Registry(Registry const&) = delete;
  Registry& operator=(Registry const&) = delete;

  // The registry that `Register_*` calls reach: the innermost live Scope's,
  // or else a process-wide default one (for programs that link a library's
  // units statically).
  static Registry& Current();
  static Registry& Default();

  // Makes a registry current for its lifetime.
  class Scope {
   public:
    explicit Scope(Registry& registry);
    ~Scope();
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;

   private:
    Registry* previous_;
  };

  // --- Registration, as the host operations call it.
  void AddType(void* record, unsigned long hostArea, TypeEntry entry);
  void AddProperty(void* record, unsigned long hostArea, PropertyEntry entry);
  void AddCast(void* record, unsigned long hostArea, CastEntry entry);
  void AddOperator(void* record, unsigned long hostArea, OperatorEntry entry);
  void AddDependency(void* node, unsigned long hostArea, DependencyNodeEntry entry);
  void AddCache(void* record, unsigned long hostArea, CacheEntry entry);
  // Removes a record. An unknown record is noted in the journal and ignored:
  // unregistration runs at unload, where nothing may throw.
  void Remove(RecordKind kind, void* record) noexcept;

  // The registry that holds a record, read back from its host area.
  static Registry* Owner(void const* record);

  // Makes the `countdown`-th registration from now throw, for tests of the
  // clean-up on failure. Zero turns it off.
  void FailRegistrationAfter(std::size_t countdown) { failCountdown_ = countdown; }

  // --- Lookups.
  TypeEntry const* FindType(std::string_view name) const;
  // The base type of a type, resolved by name when asked; null at the top.
  TypeEntry const* BaseOf(TypeEntry const* type) const;
  // Whether `type` is `wanted` or derives from it. A null `wanted` (none)
  // matches only a null `type`.
  bool IsA(TypeEntry const* type, std::string_view wanted) const;

  // Whether any property has this singular or plural phrase.
  bool HasPropertyPhrase(std::string_view phrase) const;
  // The property of that phrase for an index and object type (null for
  // none), trying the object's base types, then the index's, upward.
  PropertyEntry const* FindProperty(std::string_view phrase, TypeEntry const* index,
                                    TypeEntry const* object) const;
  // Every property registered under a phrase, in order of registration.
  std::vector<PropertyEntry const*> PropertiesNamed(std::string_view phrase) const;

  bool HasCastPhrase(std::string_view phrase) const;
  CastEntry const* FindCast(std::string_view phrase, TypeEntry const* source) const;
  std::vector<CastEntry const*> CastsNamed(std::string_view phrase) const;

  OperatorEntry const* FindOperator(int code, TypeEntry const* left,
                                    TypeEntry const* right) const;

  DependencyNodeEntry const* FindDependency(void const* node) const;
  DependencyNodeEntry const* FindDependencyNamed(std::string_view name) const;

  // Calls every registered cache's clear function.
  void ClearCaches() const;

  // --- Inspection.
  std::size_t RecordCount() const { return records_.size(); }
  bool Empty() const { return records_.empty(); }
  std::vector<RegistryEvent> const& Journal() const { return journal_; }
  // Everything registered, in order of registration.
  std::vector<TypeEntry const*> Types() const;
  std::vector<PropertyEntry const*> Properties() const;
  std::vector<CastEntry const*> Casts() const;
  std::vector<OperatorEntry const*> Operators() const;
  std::vector<DependencyNodeEntry const*> Dependencies() const;

 private:
  struct Record;
  void Admit(void* record, unsigned long hostArea, unsigned long expectedArea, RecordKind kind,
             std::string const& name);
  Record* Find(void const* record) const;

  // Every live record in order of registration.
  std::map<unsigned long long, std::unique_ptr<Record>> records_;
  std::unordered_map<void const*, Record*> byRecord_;
  unsigned long long sequence_ = 0;
  std::vector<RegistryEvent> journal_;
  std::size_t failCountdown_ = 0;
  // Type names to the first type registered under each, rebuilt after any
  // change, so that lookups on the evaluation path are quick.
  mutable std::map<std::string, TypeEntry const*, std::less<>> typeIndex_;
  mutable bool typeIndexStale_ = true;
};

}  // namespace survey::host
