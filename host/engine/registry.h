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
// order in which a library's units register is not fixed. Every lookup goes
// through flat hash indexes, so that its cost does not grow with the number
// of records. A library registers thousands of records at load and
// unregisters them all at unload, with few lookups in between: an index is
// therefore not kept up to date record by record, but built in bulk from the
// records when a lookup first needs it after a change. The registry is used
// from one thread at a time, lookups included.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/engine/errors.h"
#include "host/engine/phrase_index.h"
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

// An iterator's pass over many values at once, which a library may offer
// beside First and Next: it moves on by at most `most` values, as that many
// calls of Next would, keeping none, and says how many; fewer than `most`
// at the end of the iteration. `index`, `object`, `state` and `context` are
// those of Next. A library names the pass of an iterated record through its
// exported function `survey_iterated_pass_over`, asked once per record.
using IteratedPassOver = unsigned long (*)(void const* index, void const* object, void* state,
                                           void const* context, unsigned long most);

// A search for bytes and the bytes an answer requires, which a library may
// offer beside an iterator's Next and beside an operator or a property
// (survey/frame/holding.h). The search gives the next value as Next would,
// but may pass over, unmade, values whose text cannot hold the bytes.
// Given an operator's right operand, or a property's index, the other
// gives 1 and bytes that every left operand the operator answers true for
// holds, or every object the property has a value for; 0 when it knows
// none. A library names them through its exported functions
// `survey_iterated_next_holding`, `survey_operator_necessary_bytes` and
// `survey_property_necessary_bytes`, asked once per record.
using IteratedNextHolding = int (*)(void* result, void const* index, void const* object,
                                    void* state, void const* context, unsigned char const* bytes,
                                    unsigned long length);
using NecessaryBytes = int (*)(void const* operand, void const* context,
                               unsigned char const** bytes, unsigned long* length);

// What a library offers of these and of passes, each null when it offers
// nothing.
struct LibraryOffers {
  IteratedPassOver (*passOf)(void const* context) = nullptr;
  IteratedNextHolding (*nextHoldingOf)(void const* context) = nullptr;
  NecessaryBytes (*propertyBytesOf)(void const* context) = nullptr;
  NecessaryBytes (*operatorBytesOf)(void const* context) = nullptr;
};

struct PropertyEntry {
  void* record = nullptr;
  PropertyKind kind = PropertyKind::kSimple;
  // The names are views: once filed, of the registry's own copies, which
  // last as long as the registry, so that a registration makes no string
  // and an unregistration frees none.
  std::string_view singular;
  std::string_view plural;
  std::string_view index;   // empty: the phrase takes no index
  std::string_view object;  // empty: a property of the world
  std::string_view result;
  SurveyorGetter getter = nullptr;  // simple
  unsigned long stateSize = 0;      // iterated and aggregate
  SurveyorConstruct construct = nullptr;
  SurveyorDestroy destroyState = nullptr;
  SurveyorGetter first = nullptr;  // iterated
  SurveyorGetter next = nullptr;
  IteratedPassOver passOver = nullptr;        // iterated, when the library offers one
  IteratedNextHolding nextHolding = nullptr;  // iterated, likewise
  NecessaryBytes necessaryBytes = nullptr;    // iterated, likewise
  SurveyorGetter phases[kPhaseCount] = {};    // aggregate
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
  NecessaryBytes necessaryBytes = nullptr;  // when the library offers them
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

// One line of the registry's journal: what happened to which record. The
// name is a view of the registry's own copy, kept as long as the registry.
struct RegistryEvent {
  enum Action { kRegistered, kUnregistered, kUnknownUnregistration } action;
  RecordKind kind;
  void* record;
  std::string_view name;
};

// A registration the registry refuses: a bad size argument, a null record, a
// record registered twice, or a failure injected by a test.
class RegistrationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Which phrases a lookup of words is about.
enum class PhraseKind { kProperty, kCast };

// How a property phrase is used: as the singular form of some records and as
// the plural form of some.
struct PhraseUse {
  std::size_t singular = 0;
  std::size_t plural = 0;
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

  // --- Unloading. A library unregisters every record it made, one by one,
  // from its static destructors. Each unregistration only forgets its
  // record; the indexes are built anew from the records left when a lookup
  // next needs them. The end of an unload tidies the order of the records.
  void BeginUnload();
  void EndUnload();

  // The registry that holds a record, read back from its host area.
  static Registry* Owner(void const* record);

  // Makes the `countdown`-th registration from now throw, for tests of the
  // clean-up on failure. Zero turns it off.
  void FailRegistrationAfter(std::size_t countdown) { failCountdown_ = countdown; }

  // --- Loading. A library registers from its static initialisers, inside
  // dlopen, where an exception cannot pass. While a load is under way, the
  // host operations hand a refused registration to `Refuse` instead of
  // throwing, and the load goes on to its end.
  void BeginLoad();
  bool Loading() const { return loadStart_.has_value(); }
  // Keeps the first refusal of the load (the record and why), and counts
  // the others.
  void Refuse(std::string message);
  // Ends the load: what went wrong in it, the first refusal or else the
  // first problem that only the whole of the load shows (a type name that no
  // type has, a type name registered twice, two records under one key),
  // each message naming the record. Nothing when the load is sound.
  std::optional<std::string> EndLoad();
  // A count of registrations that a later AdoptOffers takes as its start.
  unsigned long long Sequence() const { return sequence_; }
  // Gives each iterated record and each operator registered since `since`
  // the pass, the search and the required bytes that the offers name for
  // its context, in one walk of the records.
  void AdoptOffers(unsigned long long since, LibraryOffers const& offers);

  // --- Lookups.
  TypeEntry const* FindType(std::string_view name) const;
  // The base type of a type, resolved by name when asked; null at the top.
  TypeEntry const* BaseOf(TypeEntry const* type) const;
  // Whether `type` is `wanted` or derives from it. A null `wanted` (none)
  // matches only a null `type`.
  bool IsA(TypeEntry const* type, std::string_view wanted) const;

  // Whether any property has this singular or plural phrase.
  bool HasPropertyPhrase(std::string_view phrase) const;
  // How many records use the phrase as their singular and plural form.
  PhraseUse PropertyPhraseUse(std::string_view phrase) const;
  // The property of that phrase for an index and object type (null for
  // none), trying the object's base types, then the index's, upward.
  PropertyEntry const* FindProperty(std::string_view phrase, TypeEntry const* index,
                                    TypeEntry const* object) const;
  // Every property registered under a phrase, in order of registration. The
  // list is valid until the next registration or unregistration.
  std::span<PropertyEntry const* const> PropertiesNamed(std::string_view phrase) const;

  bool HasCastPhrase(std::string_view phrase) const;
  CastEntry const* FindCast(std::string_view phrase, TypeEntry const* source) const;
  // Every cast of a phrase, in order of registration; valid as above.
  std::span<CastEntry const* const> CastsNamed(std::string_view phrase) const;

  OperatorEntry const* FindOperator(int code, TypeEntry const* left, TypeEntry const* right) const;

  DependencyNodeEntry const* FindDependency(void const* node) const;
  DependencyNodeEntry const* FindDependencyNamed(std::string_view name) const;

  // --- Phrases as a query names them.
  // The number of leading words that form the longest registered phrase of
  // that kind (a property's singular or plural, or a cast's); 0 if none.
  std::size_t MatchPhrase(std::span<std::string_view const> words, PhraseKind kind) const;
  // The most words any registered phrase has.
  std::size_t LongestPhraseWords() const;
  // The registered phrases (of properties and casts) nearest to a run of
  // words, best first, for messages: a phrase that begins with the words, or
  // one within a few edits of them, case ignored.
  std::vector<std::string> NearestPhrases(std::string_view words, std::size_t count = 3) const;

  // The one lookup of a property that every caller shares: the record that
  // `FindProperty` finds, or the error that says why there is none.
  // kUnknownPhrase, with the nearest phrases, when no property has the
  // phrase; kNoSuchProperty, naming the types that have it, else.
  PropertyEntry const& LookupProperty(std::string_view phrase, TypeEntry const* index,
                                      TypeEntry const* object) const;
  // The same for a cast of a value of type `source`.
  CastEntry const& LookupCast(std::string_view phrase, TypeEntry const* source) const;
  // The errors of those lookups, for callers that choose records in their
  // own way. `words` of an unknown phrase may be any run of a query's words.
  EvaluationError UnknownPhraseError(std::string_view words, PhraseKind kind,
                                     long position = -1) const;
  EvaluationError NoSuchPropertyError(std::string_view phrase, TypeEntry const* index,
                                      TypeEntry const* object, long position = -1) const;
  EvaluationError NoSuchCastError(std::string_view phrase, TypeEntry const* source,
                                  long position = -1) const;

  // --- Tuple types. A tuple made by a query, or named as a result, has a
  // type of its own, registered on first use with its element types, which
  // the registry keeps. Its name is the element names between "( " and " )",
  // separated by ", "; a null element is "nothing".
  TypeEntry const* TupleType(std::vector<TypeEntry const*> const& elements);
  // The element types of a tuple type; null if the type is no tuple.
  std::vector<TypeEntry const*> const* TupleElements(TypeEntry const* type) const;
  // The tuple type of a name such as "( a, ( b, c ) )", as a library names a
  // result, registered on first use; null unless every element is a
  // registered type or such a tuple name itself.
  TypeEntry const* TupleTypeNamed(std::string_view name);

  // Calls every registered cache's clear function.
  void ClearCaches() const;

  // --- Inspection.
  std::size_t RecordCount() const { return live_; }
  bool Empty() const { return live_ == 0; }
  std::vector<RegistryEvent> const& Journal() const { return journal_; }
  // Everything registered, in order of registration.
  std::vector<TypeEntry const*> Types() const;
  std::vector<PropertyEntry const*> Properties() const;
  std::vector<CastEntry const*> Casts() const;
  std::vector<OperatorEntry const*> Operators() const;
  std::vector<DependencyNodeEntry const*> Dependencies() const;

 private:
  struct Record;
  struct TupleRecord;
  struct Indexes;
  void Admit(void* record, unsigned long hostArea, unsigned long expectedArea, RecordKind kind,
             std::string_view name);
  Record* Find(void const* record) const;
  Record& Insert(void* record, RecordKind kind, std::string_view name);
  // Files a new record in the indexes that are built, or marks them for
  // building anew.
  void Filed(Record const& record);
  void Refile(Record const& record);
  void Release(Record& record);
  void Compact();
  // A copy of a name for the journal, in the registry's chunks of names.
  std::string_view KeepName(std::string_view name);
  // A copy of a type name that a property names. The records of a library
  // name the same few types over and over, each from one text of its own:
  // the copy of a text seen before, at the same address and with the same
  // bytes, is shared rather than made again.
  std::string_view KeepTypeName(std::string_view name);
  // The indexes, those of `wanted` (a set of bits) built first if a change
  // left them out of date.
  Indexes& Fresh(unsigned wanted) const;
  // Whether a name is a registered type's, or a tuple name of such names.
  bool KnowsTypeName(std::string_view name) const;
  // What only the whole of the records from `since` on shows to be wrong.
  std::optional<std::string> CheckRecordsSince(unsigned long long since) const;
  void RemoveTuplesOf(TypeEntry const* element);

  // Records live in blocks that never move, so that entries keep their
  // addresses; a freed record is reused by a later registration.
  std::vector<std::unique_ptr<Record[]>> blocks_;
  std::size_t blockUsed_ = 0;
  Record* free_ = nullptr;
  // Every record in order of registration; a removed one leaves a null
  // until the list is compacted.
  std::vector<Record*> order_;
  std::size_t holes_ = 0;
  std::size_t live_ = 0;
  unsigned long long sequence_ = 0;
  std::vector<RegistryEvent> journal_;
  // The names the journal views, one after another in chunks that never
  // move: a name costs a copy, not an allocation of its own.
  std::vector<std::unique_ptr<char[]>> nameChunks_;
  char* nameNext_ = nullptr;
  std::size_t nameRoom_ = 0;
  // The last copy made of a type name, by the address of the text it was
  // made from (a few slots, one per address; a new text takes the slot).
  struct KeptTypeName {
    char const* from = nullptr;
    std::string_view kept;
  };
  static constexpr std::size_t kKeptTypeNames = 256;
  std::unique_ptr<KeptTypeName[]> keptTypeNames_;
  std::size_t failCountdown_ = 0;
  // Caches in order of registration, cleared before every evaluation.
  std::vector<Record*> caches_;

  // The lookup indexes, built when needed (see the top of this file).
  std::unique_ptr<Indexes> indexes_;

  // Tuple types the registry made, with their element types.
  std::unordered_map<TypeEntry const*, std::vector<TypeEntry const*>> tupleElements_;
  std::map<std::vector<TypeEntry const*>, TypeEntry const*> tuplesByElements_;
  std::unordered_map<void const*, std::unique_ptr<TupleRecord>> tupleRecords_;

  // Between BeginUnload and EndUnload.
  bool unloading_ = false;

  // The load under way: the sequence it started after, and its refusals.
  std::optional<unsigned long long> loadStart_;
  std::optional<std::string> firstRefusal_;
  std::size_t otherRefusals_ = 0;
};

}  // namespace survey::host
