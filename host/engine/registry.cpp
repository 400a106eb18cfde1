#include "host/engine/registry.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <functional>

#include "host/engine/calls.h"

namespace survey::host {

namespace {

// The first bytes of every record's host area: the owning registry. The
// registry pointer alone is enough to find the rest.
struct HostAreaHeader {
  Registry* owner;
  unsigned long long magic;
};
constexpr unsigned long long kHostAreaMagic = 0x5355525645594852ULL;

// A chain of bases longer than this is taken for a cycle of names.
constexpr int kMaxBaseDepth = 64;

Registry* gCurrent = nullptr;

char const* KindName(RecordKind kind) {
  switch (kind) {
    case RecordKind::kType:
      return "type";
    case RecordKind::kProperty:
      return "property";
    case RecordKind::kCast:
      return "cast";
    case RecordKind::kOperator:
      return "operator";
    case RecordKind::kDependency:
      return "global dependency";
    case RecordKind::kCache:
      return "cache";
  }
  return "record";
}

void ClaimHostArea(void* record, Registry* owner) {
  HostAreaHeader const header{owner, kHostAreaMagic};
  std::memcpy(record, &header, sizeof header);
}

std::string_view NameOf(TypeEntry const* type) {
  return type == nullptr ? std::string_view() : std::string_view(type->name);
}

// A type and its bases, nearest first; a null type is the one element
// "none".
class Lineage {
 public:
  Lineage(Registry const& registry, TypeEntry const* type) {
    types_[size_++] = type;
    for (int depth = 0; type != nullptr && depth < kMaxBaseDepth; ++depth) {
      type = registry.BaseOf(type);
      if (type != nullptr) types_[size_++] = type;
    }
  }
  TypeEntry const* const* begin() const { return types_.data(); }
  TypeEntry const* const* end() const { return types_.data() + size_; }

 private:
  std::array<TypeEntry const*, kMaxBaseDepth + 1> types_{};
  std::size_t size_ = 0;
};

// An operator code as the first part of an index key.
class CodeText {
 public:
  explicit CodeText(int code) {
    auto const [end, error] = std::to_chars(text_.data(), text_.data() + text_.size(), code);
    size_ = error == std::errc() ? static_cast<std::size_t>(end - text_.data()) : 0;
  }
  std::string_view View() const { return std::string_view(text_.data(), size_); }

 private:
  std::array<char, 16> text_{};
  std::size_t size_ = 0;
};

// Adds an entry to the list under a key, keeping the order of registration.
template <class Entry>
void AddUnder(KeyedEntries<Entry>& index, RecordKey const& key, Entry const* entry) {
  HashedRecordKey const hashed{key, RecordKeyHash()(key)};
  auto found = index.find(hashed);
  if (found == index.end()) {
    found = index
                .emplace(OwnedRecordKey{{std::string(key[0]), std::string(key[1]),
                                         std::string(key[2])},
                                        hashed.hash},
                         std::vector<Entry const*>())
                .first;
  }
  found->second.push_back(entry);
}

template <class Entry>
void RemoveUnder(KeyedEntries<Entry>& index, RecordKey const& key, Entry const* entry) {
  auto const found = index.find(key);
  if (found == index.end()) return;
  auto& entries = found->second;
  entries.erase(std::remove(entries.begin(), entries.end(), entry), entries.end());
  if (entries.empty()) index.erase(found);
}

template <class Entry>
std::vector<Entry const*> const* EntriesUnder(KeyedEntries<Entry> const& index,
                                              RecordKey const& key) {
  auto const found = index.find(key);
  return found == index.end() ? nullptr : &found->second;
}

template <class Entry>
Entry const* FirstUnder(KeyedEntries<Entry> const& index, RecordKey const& key) {
  auto const* const entries = EntriesUnder(index, key);
  return entries == nullptr ? nullptr : entries->front();
}

// The phrase forms a property is found by: its singular and, when it
// differs, its plural.
std::vector<std::string_view> Forms(PropertyEntry const& entry) {
  std::vector<std::string_view> forms{entry.singular};
  if (entry.plural != entry.singular) forms.push_back(entry.plural);
  return forms;
}

// The top-level element names of a tuple name "( a, ( b, c ), d )"; empty
// if the name is no tuple name.
std::vector<std::string_view> SplitTupleName(std::string_view name) {
  std::vector<std::string_view> parts;
  if (name.size() < 4 || !name.starts_with("( ") || !name.ends_with(" )")) return parts;
  std::string_view const inner = name.substr(2, name.size() - 4);
  int depth = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    char const c = inner[i];
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (depth == 0 && c == ',' && i + 1 < inner.size() && inner[i + 1] == ' ') {
      parts.push_back(inner.substr(start, i - start));
      start = i + 2;
      ++i;
    }
  }
  parts.push_back(inner.substr(start));
  return parts;
}

void DestroyNothing(void const*) {}

// "1 more problem", "2 more problems".
std::string More(std::size_t count, char const* what) {
  return std::to_string(count) + " more " + what + (count == 1 ? "" : "s");
}

// --- Descriptions of records, for the messages of a load.

std::string RecordName(TypeEntry const& entry) { return "type " + Quoted(entry.name); }

std::string RecordName(PropertyEntry const& entry) {
  std::string text = "property " + Quoted(entry.singular) + " / " + Quoted(entry.plural);
  if (!entry.index.empty()) text += " with " + Quoted(entry.index);
  text += entry.object.empty() ? std::string(" of world") : " of " + Quoted(entry.object);
  return text;
}

std::string RecordName(CastEntry const& entry) {
  return "cast " + Quoted(entry.phrase) + " of " + Quoted(entry.source);
}

std::string RecordName(OperatorEntry const& entry) {
  return "operator " + Quoted(OperatorName(entry.code)) + " of " + Quoted(entry.left) + " and " +
         Quoted(entry.right);
}

}  // namespace

std::size_t RecordKeyHash::operator()(RecordKey const& key) const noexcept {
  // The parts' hashes mixed in order, so that ("a", "b") and ("b", "a")
  // differ.
  // Most keys have empty parts (a phrase alone, a type name alone, a
  // property of the world): an empty part is hashed as a constant, without
  // a call.
  constexpr std::size_t kGolden = static_cast<std::size_t>(0x9e3779b97f4a7c15ULL);
  std::hash<std::string_view> const hash;
  auto part = [&hash](std::string_view text) { return text.empty() ? 0 : hash(text); };
  std::size_t value = part(key[0]);
  value ^= part(key[1]) + kGolden + (value << 6) + (value >> 2);
  value ^= part(key[2]) + kGolden + (value << 6) + (value >> 2);
  return value;
}


struct Registry::Record {
  unsigned long long sequence = 0;
  RecordKind kind = RecordKind::kType;
  void* address = nullptr;
  TypeEntry type;
  PropertyEntry property;
  CastEntry cast;
  OperatorEntry op;
  DependencyNodeEntry dependency;
  CacheEntry cache;
};

struct alignas(16) Registry::TupleRecord {
  unsigned char bytes[kTypeHostArea] = {};
};

Registry::Registry() = default;

Registry::~Registry() {
  // Records still registered when the registry goes are forgotten; their
  // host areas no longer name an owner.
  for (auto& [sequence, record] : records_) {
    std::memset(record->address, 0, sizeof(HostAreaHeader));
  }
}

Registry& Registry::Default() {
  // Never destroyed: library units linked statically unregister at exit, in
  // an order that is not ours to choose.
  static Registry* const registry = new Registry;
  return *registry;
}

Registry& Registry::Current() { return gCurrent != nullptr ? *gCurrent : Default(); }

Registry::Scope::Scope(Registry& registry) : previous_(gCurrent) { gCurrent = &registry; }

Registry::Scope::~Scope() { gCurrent = previous_; }

Registry* Registry::Owner(void const* record) {
  if (record == nullptr) return nullptr;
  HostAreaHeader header;
  std::memcpy(&header, record, sizeof header);
  return header.magic == kHostAreaMagic ? header.owner : nullptr;
}

void Registry::Admit(void* record, unsigned long hostArea, unsigned long expectedArea,
                     RecordKind kind, std::string const& name) {
  if (record == nullptr) {
    throw RegistrationError(std::string("null record for ") + KindName(kind) + " \"" + name + "\"");
  }
  if (hostArea != expectedArea) {
    throw RegistrationError(std::string("host area of ") + std::to_string(hostArea) +
                            " bytes for " + KindName(kind) + " \"" + name + "\", expected " +
                            std::to_string(expectedArea));
  }
  if (Owner(record) != nullptr) {
    throw RegistrationError(std::string(KindName(kind)) + " \"" + name +
                            "\" registered twice with one record");
  }
  if (failCountdown_ != 0 && --failCountdown_ == 0) {
    throw RegistrationError(std::string("registration of ") + KindName(kind) + " \"" + name +
                            "\" refused for a test");
  }
}

// Files an admitted record: its sequence, the journal, the map by address.
Registry::Record& Registry::Insert(void* record, RecordKind kind, std::string const& name) {
  auto owned = std::make_unique<Record>();
  owned->kind = kind;
  owned->address = record;
  owned->sequence = sequence_ + 1;
  journal_.push_back({RegistryEvent::kRegistered, kind, record, name});
  Record& filed = *owned;
  byRecord_[record] = &filed;
  records_.emplace(filed.sequence, std::move(owned));
  ++sequence_;
  return filed;
}

void Registry::AddType(void* record, unsigned long hostArea, TypeEntry entry) {
  Admit(record, hostArea, kTypeHostArea, RecordKind::kType, entry.name);
  if (entry.destroy == nullptr)
    throw RegistrationError("type \"" + entry.name + "\" has no Destroy");
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kType, entry.name);
  filed.type = std::move(entry);
  Index(filed);
  ClaimHostArea(record, this);
}

void Registry::AddProperty(void* record, unsigned long hostArea, PropertyEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kProperty, entry.singular);
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kProperty, entry.singular);
  filed.property = std::move(entry);
  Index(filed);
  ClaimHostArea(record, this);
}

void Registry::AddCast(void* record, unsigned long hostArea, CastEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kCast, entry.phrase);
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kCast, entry.phrase);
  filed.cast = std::move(entry);
  Index(filed);
  ClaimHostArea(record, this);
}

void Registry::AddOperator(void* record, unsigned long hostArea, OperatorEntry entry) {
  std::string const name = "operator " + std::to_string(entry.code);
  Admit(record, hostArea, kRecordHostArea, RecordKind::kOperator, name);
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kOperator, name);
  filed.op = std::move(entry);
  Index(filed);
  ClaimHostArea(record, this);
}

void Registry::AddDependency(void* node, unsigned long hostArea, DependencyNodeEntry entry) {
  Admit(node, hostArea, kRecordHostArea, RecordKind::kDependency, entry.name);
  entry.node = node;
  Record& filed = Insert(node, RecordKind::kDependency, entry.name);
  filed.dependency = std::move(entry);
  ClaimHostArea(node, this);
}

void Registry::AddCache(void* record, unsigned long hostArea, CacheEntry entry) {
  Admit(record, hostArea, kCacheHostArea, RecordKind::kCache, "cache");
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kCache, "cache");
  filed.cache = entry;
  Index(filed);
  ClaimHostArea(record, this);
}

void Registry::Index(Record& record) {
  switch (record.kind) {
    case RecordKind::kType:
      AddUnder(types_, {record.type.name, "", ""}, &record.type);
      break;
    case RecordKind::kProperty: {
      PropertyEntry const& entry = record.property;
      for (std::string_view form : Forms(entry)) {
        AddUnder(properties_, {form, entry.index, entry.object}, &entry);
        AddUnder(propertyNames_, {form, "", ""}, &entry);
      }
      phrases_.Add(entry.singular, PhraseIndex::kSingular);
      phrases_.Add(entry.plural, PhraseIndex::kPlural);
      break;
    }
    case RecordKind::kCast:
      AddUnder(casts_, {record.cast.phrase, record.cast.source, ""}, &record.cast);
      AddUnder(castNames_, {record.cast.phrase, "", ""}, &record.cast);
      phrases_.Add(record.cast.phrase, PhraseIndex::kCast);
      break;
    case RecordKind::kOperator:
      AddUnder(operators_, {CodeText(record.op.code).View(), record.op.left, record.op.right},
               &record.op);
      break;
    case RecordKind::kCache:
      caches_.emplace(record.sequence, &record.cache);
      break;
    case RecordKind::kDependency:
      break;
  }
}

void Registry::Unindex(Record& record) {
  switch (record.kind) {
    case RecordKind::kType:
      RemoveUnder(types_, {record.type.name, "", ""}, &record.type);
      break;
    case RecordKind::kProperty: {
      PropertyEntry const& entry = record.property;
      for (std::string_view form : Forms(entry)) {
        RemoveUnder(properties_, {form, entry.index, entry.object}, &entry);
        RemoveUnder(propertyNames_, {form, "", ""}, &entry);
      }
      phrases_.Remove(entry.singular, PhraseIndex::kSingular);
      phrases_.Remove(entry.plural, PhraseIndex::kPlural);
      break;
    }
    case RecordKind::kCast:
      RemoveUnder(casts_, {record.cast.phrase, record.cast.source, ""}, &record.cast);
      RemoveUnder(castNames_, {record.cast.phrase, "", ""}, &record.cast);
      phrases_.Remove(record.cast.phrase, PhraseIndex::kCast);
      break;
    case RecordKind::kOperator:
      RemoveUnder(operators_, {CodeText(record.op.code).View(), record.op.left, record.op.right},
                  &record.op);
      break;
    case RecordKind::kCache:
      caches_.erase(record.sequence);
      break;
    case RecordKind::kDependency:
      break;
  }
}

void Registry::Remove(RecordKind kind, void* record) noexcept {
  try {
    Record* const found = Find(record);
    if (found == nullptr || found->kind != kind) {
      journal_.push_back({RegistryEvent::kUnknownUnregistration, kind, record, ""});
      return;
    }
    std::string name;
    switch (kind) {
      case RecordKind::kType:
        name = found->type.name;
        break;
      case RecordKind::kProperty:
        name = found->property.singular;
        break;
      case RecordKind::kCast:
        name = found->cast.phrase;
        break;
      case RecordKind::kOperator:
        name = "operator " + std::to_string(found->op.code);
        break;
      case RecordKind::kDependency:
        name = found->dependency.name;
        break;
      case RecordKind::kCache:
        name = "cache";
        break;
    }
    journal_.push_back({RegistryEvent::kUnregistered, kind, record, std::move(name)});
    if (!unloading_) Unindex(*found);
    TypeEntry const* const type = kind == RecordKind::kType ? &found->type : nullptr;
    // The host area goes back to zero, as the record was before it came.
    std::memset(record, 0, sizeof(HostAreaHeader));
    byRecord_.erase(record);
    records_.erase(found->sequence);
    if (type != nullptr) {
      // The entry is gone: its address serves only as a key from here on.
      RemoveTuplesOf(type);
      tupleRecords_.erase(record);
    }
  } catch (...) {
    // Only the journal and the indexes can fail here (memory); the record
    // stays forgotten.
  }
}

void Registry::EndUnload() {
  unloading_ = false;
  types_.clear();
  properties_.clear();
  casts_.clear();
  operators_.clear();
  propertyNames_.clear();
  castNames_.clear();
  phrases_.Clear();
  caches_.clear();
  // In order of registration, so that every list under a key is in that
  // order, as the indexes kept one record at a time would have it.
  for (auto& [sequence, record] : records_) Index(*record);
}

Registry::Record* Registry::Find(void const* record) const {
  auto const it = byRecord_.find(record);
  return it == byRecord_.end() ? nullptr : it->second;
}

// ---------------------------------------------------------------------------
// Loads.

void Registry::BeginLoad() {
  loadStart_ = sequence_;
  firstRefusal_.reset();
  otherRefusals_ = 0;
}

void Registry::Refuse(std::string message) {
  if (firstRefusal_) {
    ++otherRefusals_;
  } else {
    firstRefusal_ = std::move(message);
  }
}

std::optional<std::string> Registry::EndLoad() {
  unsigned long long const start = loadStart_.value_or(sequence_);
  loadStart_.reset();
  if (firstRefusal_) {
    std::string message = "the host refused " + *firstRefusal_;
    if (otherRefusals_ != 0) message += " (and " + More(otherRefusals_, "refusal") + ")";
    firstRefusal_.reset();
    otherRefusals_ = 0;
    return message;
  }
  return CheckRecordsSince(start);
}

bool Registry::KnowsTypeName(std::string_view name) const {
  if (FindType(name) != nullptr) return true;
  std::vector<std::string_view> const parts = SplitTupleName(name);
  if (parts.empty()) return false;
  return std::all_of(parts.begin(), parts.end(),
                     [this](std::string_view part) { return KnowsTypeName(part); });
}

std::optional<std::string> Registry::CheckRecordsSince(unsigned long long since) const {
  // A sound load has no problem to tell, so the description of a record is
  // made only when there is one: a library registers thousands of records,
  // and the check runs at every start.
  std::vector<std::string> problems;
  // A type name that is not empty (none) must name a type by the end.
  auto known = [&](auto const& entry, char const* what, std::string const& name) {
    if (!name.empty() && !KnowsTypeName(name)) {
      problems.push_back(RecordName(entry) + " " + what + " " + Quoted(name) + ", which no type has");
    }
  };
  // The first record under a key is the one lookups find; a later one of
  // this load is never reached.
  auto unique = [&](auto const& entry, bool first, auto const& key) {
    if (!first) problems.push_back(RecordName(entry) + " is registered twice (" + key() + ")");
  };
  for (auto it = records_.upper_bound(since); it != records_.end(); ++it) {
    Record const& record = *it->second;
    switch (record.kind) {
      case RecordKind::kType: {
        TypeEntry const& entry = record.type;
        unique(entry, FirstUnder(types_, {entry.name, "", ""}) == &entry,
               [] { return std::string("the same type name"); });
        known(entry, "has the base type", entry.baseName);
        break;
      }
      case RecordKind::kProperty: {
        PropertyEntry const& entry = record.property;
        for (std::string_view form : Forms(entry)) {
          unique(entry, FirstUnder(properties_, {form, entry.index, entry.object}) == &entry,
                 [form] {
                   return "the phrase " + Quoted(form) + " with the same index and object types";
                 });
        }
        known(entry, "names the index type", entry.index);
        known(entry, "names the object type", entry.object);
        known(entry, "names the result type", entry.result);
        break;
      }
      case RecordKind::kCast: {
        CastEntry const& entry = record.cast;
        unique(entry, FirstUnder(casts_, {entry.phrase, entry.source, ""}) == &entry,
               [] { return std::string("the same cast phrase and source type"); });
        known(entry, "names the source type", entry.source);
        known(entry, "names the target type", entry.target);
        break;
      }
      case RecordKind::kOperator: {
        OperatorEntry const& entry = record.op;
        unique(entry,
               FirstUnder(operators_, {CodeText(entry.code).View(), entry.left, entry.right}) ==
                   &entry,
               [] { return std::string("the same operator and operand types"); });
        known(entry, "names the left operand type", entry.left);
        known(entry, "names the right operand type", entry.right);
        known(entry, "names the result type", entry.result);
        break;
      }
      case RecordKind::kDependency:
      case RecordKind::kCache:
        break;
    }
  }
  if (problems.empty()) return std::nullopt;
  std::string message = problems.front();
  if (problems.size() > 1) message += " (and " + More(problems.size() - 1, "problem") + ")";
  return message;
}

// ---------------------------------------------------------------------------
// Lookups.

TypeEntry const* Registry::FindType(std::string_view name) const {
  return FirstUnder(types_, {name, "", ""});
}

TypeEntry const* Registry::BaseOf(TypeEntry const* type) const {
  if (type == nullptr || type->baseName.empty()) return nullptr;
  return FindType(type->baseName);
}

bool Registry::IsA(TypeEntry const* type, std::string_view wanted) const {
  if (wanted.empty()) return type == nullptr;
  // A chain of bases is short; the bound guards against a cycle of names.
  for (int depth = 0; type != nullptr && depth < kMaxBaseDepth; ++depth, type = BaseOf(type)) {
    if (type->name == wanted) return true;
  }
  return false;
}

bool Registry::HasPropertyPhrase(std::string_view phrase) const {
  return EntriesUnder(propertyNames_, {phrase, "", ""}) != nullptr;
}

PhraseUse Registry::PropertyPhraseUse(std::string_view phrase) const {
  return PhraseUse{phrases_.Count(phrase, PhraseIndex::kSingular),
                   phrases_.Count(phrase, PhraseIndex::kPlural)};
}

std::vector<PropertyEntry const*> const& Registry::PropertiesNamed(std::string_view phrase) const {
  static std::vector<PropertyEntry const*> const none;
  auto const* const entries = EntriesUnder(propertyNames_, {phrase, "", ""});
  return entries == nullptr ? none : *entries;
}

PropertyEntry const* Registry::FindProperty(std::string_view phrase, TypeEntry const* index,
                                            TypeEntry const* object) const {
  if (!HasPropertyPhrase(phrase)) return nullptr;
  Lineage const indexTypes(*this, index);
  for (TypeEntry const* objectType : Lineage(*this, object)) {
    for (TypeEntry const* indexType : indexTypes) {
      if (auto const* entry =
              FirstUnder(properties_, {phrase, NameOf(indexType), NameOf(objectType)})) {
        return entry;
      }
    }
  }
  return nullptr;
}

bool Registry::HasCastPhrase(std::string_view phrase) const {
  return EntriesUnder(castNames_, {phrase, "", ""}) != nullptr;
}

std::vector<CastEntry const*> const& Registry::CastsNamed(std::string_view phrase) const {
  static std::vector<CastEntry const*> const none;
  auto const* const entries = EntriesUnder(castNames_, {phrase, "", ""});
  return entries == nullptr ? none : *entries;
}

CastEntry const* Registry::FindCast(std::string_view phrase, TypeEntry const* source) const {
  if (!HasCastPhrase(phrase)) return nullptr;
  for (TypeEntry const* type : Lineage(*this, source)) {
    if (auto const* entry = FirstUnder(casts_, {phrase, NameOf(type), ""})) return entry;
  }
  return nullptr;
}

OperatorEntry const* Registry::FindOperator(int code, TypeEntry const* left,
                                            TypeEntry const* right) const {
  CodeText const codeText(code);
  Lineage const rightTypes(*this, right);
  for (TypeEntry const* leftType : Lineage(*this, left)) {
    for (TypeEntry const* rightType : rightTypes) {
      if (auto const* entry =
              FirstUnder(operators_, {codeText.View(), NameOf(leftType), NameOf(rightType)})) {
        return entry;
      }
    }
  }
  return nullptr;
}

DependencyNodeEntry const* Registry::FindDependency(void const* node) const {
  Record const* const record = Find(node);
  return record != nullptr && record->kind == RecordKind::kDependency ? &record->dependency
                                                                      : nullptr;
}

DependencyNodeEntry const* Registry::FindDependencyNamed(std::string_view name) const {
  // Nodes are a handful, asked for by name only in tests and messages.
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kDependency && record->dependency.name == name) {
      return &record->dependency;
    }
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Phrases as a query names them.

std::size_t Registry::MatchPhrase(std::span<std::string_view const> words, PhraseKind kind) const {
  static PhraseIndex::Use const kPropertyUses[] = {PhraseIndex::kSingular, PhraseIndex::kPlural};
  static PhraseIndex::Use const kCastUses[] = {PhraseIndex::kCast};
  if (kind == PhraseKind::kCast) return phrases_.Match(words, kCastUses);
  return phrases_.Match(words, kPropertyUses);
}

std::size_t Registry::LongestPhraseWords() const { return phrases_.LongestWords(); }

std::vector<std::string> Registry::NearestPhrases(std::string_view words, std::size_t count) const {
  return phrases_.Nearest(words, count);
}

EvaluationError Registry::UnknownPhraseError(std::string_view words, PhraseKind kind,
                                             long position) const {
  std::string message =
      std::string(kind == PhraseKind::kCast ? "unknown cast " : "unknown phrase ") + Quoted(words);
  std::vector<std::string> const near = NearestPhrases(words);
  if (!near.empty()) {
    message += "; did you mean ";
    for (std::size_t i = 0; i < near.size(); ++i) {
      if (i != 0) message += i + 1 == near.size() ? " or " : ", ";
      message += Quoted(near[i]);
    }
    message += "?";
  }
  return EvaluationError(ErrorKind::kUnknownPhrase, message, position);
}

EvaluationError Registry::NoSuchPropertyError(std::string_view phrase, TypeEntry const* index,
                                              TypeEntry const* object, long position) const {
  std::string message = "no property " + Quoted(phrase);
  if (index != nullptr) message += " with an index of type " + Quoted(index->name);
  message += object == nullptr ? std::string(" of world") : " of " + Quoted(object->name);
  std::string owners;
  for (PropertyEntry const* entry : PropertiesNamed(phrase)) {
    if (!owners.empty()) owners += ", ";
    owners += entry->object.empty() ? std::string("world") : Quoted(entry->object);
    if (!entry->index.empty()) owners += " (with " + Quoted(entry->index) + ")";
  }
  if (!owners.empty()) message += "; it is a property of " + owners;
  return EvaluationError(ErrorKind::kNoSuchProperty, message, position);
}

EvaluationError Registry::NoSuchCastError(std::string_view phrase, TypeEntry const* source,
                                          long position) const {
  std::string message = "no cast " + Quoted(phrase) + " for " +
                        Quoted(source == nullptr ? std::string_view("nothing") : NameOf(source));
  std::string sources;
  for (CastEntry const* entry : CastsNamed(phrase)) {
    sources += (sources.empty() ? "" : ", ") + Quoted(entry->source);
  }
  if (!sources.empty()) message += "; it is a cast of " + sources;
  return EvaluationError(ErrorKind::kNoSuchProperty, message, position);
}

PropertyEntry const& Registry::LookupProperty(std::string_view phrase, TypeEntry const* index,
                                              TypeEntry const* object) const {
  if (!HasPropertyPhrase(phrase)) throw UnknownPhraseError(phrase, PhraseKind::kProperty);
  PropertyEntry const* const entry = FindProperty(phrase, index, object);
  if (entry == nullptr) throw NoSuchPropertyError(phrase, index, object);
  return *entry;
}

CastEntry const& Registry::LookupCast(std::string_view phrase, TypeEntry const* source) const {
  if (!HasCastPhrase(phrase)) throw UnknownPhraseError(phrase, PhraseKind::kCast);
  CastEntry const* const entry = FindCast(phrase, source);
  if (entry == nullptr) throw NoSuchCastError(phrase, source);
  return *entry;
}

// ---------------------------------------------------------------------------
// Tuple types.

TypeEntry const* Registry::TupleType(std::vector<TypeEntry const*> const& elements) {
  if (auto const known = tuplesByElements_.find(elements); known != tuplesByElements_.end()) {
    return known->second;
  }
  TypeEntry entry;
  entry.name = "( ";
  for (std::size_t k = 0; k < elements.size(); ++k) {
    if (k != 0) entry.name += ", ";
    entry.name += elements[k] == nullptr ? std::string("nothing") : elements[k]->name;
  }
  entry.name += " )";
  // A value of the type is its chain of nodes, one per element.
  entry.size = elements.size() * sizeof(TupleNode);
  entry.destroy = &DestroyNothing;
  auto owned = std::make_unique<TupleRecord>();
  void* const record = owned->bytes;
  AddType(record, kTypeHostArea, std::move(entry));
  tupleRecords_.emplace(record, std::move(owned));
  TypeEntry const* const type = &Find(record)->type;
  tupleElements_.emplace(type, elements);
  tuplesByElements_.emplace(elements, type);
  return type;
}

std::vector<TypeEntry const*> const* Registry::TupleElements(TypeEntry const* type) const {
  auto const found = tupleElements_.find(type);
  return found == tupleElements_.end() ? nullptr : &found->second;
}

TypeEntry const* Registry::TupleTypeNamed(std::string_view name) {
  std::vector<std::string_view> const parts = SplitTupleName(name);
  if (parts.empty()) return nullptr;
  std::vector<TypeEntry const*> elements;
  for (std::string_view part : parts) {
    TypeEntry const* element = FindType(part);
    if (element == nullptr) element = TupleTypeNamed(part);
    if (element == nullptr) return nullptr;
    elements.push_back(element);
  }
  return TupleType(elements);
}

// A tuple type goes with any of its element types; a tuple of tuples goes
// with them in turn, as the removal of each comes back here.
void Registry::RemoveTuplesOf(TypeEntry const* element) {
  if (auto const own = tupleElements_.find(element); own != tupleElements_.end()) {
    tuplesByElements_.erase(own->second);
    tupleElements_.erase(own);
  }
  std::vector<void*> dependent;
  for (auto const& [type, elements] : tupleElements_) {
    if (std::find(elements.begin(), elements.end(), element) != elements.end()) {
      dependent.push_back(type->record);
    }
  }
  for (void* record : dependent) Remove(RecordKind::kType, record);
}

void Registry::ClearCaches() const {
  for (auto const& [sequence, cache] : caches_) {
    if (cache->clear != nullptr) cache->clear(cache->cookie);
  }
}

std::vector<TypeEntry const*> Registry::Types() const {
  std::vector<TypeEntry const*> all;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kType) all.push_back(&record->type);
  }
  return all;
}

std::vector<PropertyEntry const*> Registry::Properties() const {
  std::vector<PropertyEntry const*> all;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kProperty) all.push_back(&record->property);
  }
  return all;
}

std::vector<CastEntry const*> Registry::Casts() const {
  std::vector<CastEntry const*> all;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kCast) all.push_back(&record->cast);
  }
  return all;
}

std::vector<OperatorEntry const*> Registry::Operators() const {
  std::vector<OperatorEntry const*> all;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kOperator) all.push_back(&record->op);
  }
  return all;
}

std::vector<DependencyNodeEntry const*> Registry::Dependencies() const {
  std::vector<DependencyNodeEntry const*> all;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kDependency) all.push_back(&record->dependency);
  }
  return all;
}

}  // namespace survey::host
