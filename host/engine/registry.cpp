#include "host/engine/registry.h"

#include <algorithm>
#include <cstring>

namespace survey::host {

namespace {

// The first bytes of every record's host area: the owning registry. The
// registry pointer alone is enough to find the rest.
struct HostAreaHeader {
  Registry* owner;
  unsigned long long magic;
};
constexpr unsigned long long kHostAreaMagic = 0x5355525645594852ULL;

Registry* gCurrent = nullptr;

char const* KindName(RecordKind kind) {
  switch (kind) {
    case RecordKind::kType: return "type";
    case RecordKind::kProperty: return "property";
    case RecordKind::kCast: return "cast";
    case RecordKind::kOperator: return "operator";
    case RecordKind::kDependency: return "global dependency";
    case RecordKind::kCache: return "cache";
  }
  return "record";
}

}  // namespace

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
    throw RegistrationError(std::string("null record for ") + KindName(kind) + " \"" + name +
                            "\"");
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

namespace {
void ClaimHostArea(void* record, Registry* owner) {
  HostAreaHeader const header{owner, kHostAreaMagic};
  std::memcpy(record, &header, sizeof header);
}
}  // namespace

void Registry::AddType(void* record, unsigned long hostArea, TypeEntry entry) {
  Admit(record, hostArea, kTypeHostArea, RecordKind::kType, entry.name);
  if (entry.destroy == nullptr) throw RegistrationError("type \"" + entry.name + "\" has no Destroy");
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kType;
  owned->address = record;
  entry.record = record;
  owned->type = std::move(entry);
  owned->sequence = ++sequence_;
  journal_.push_back({RegistryEvent::kRegistered, RecordKind::kType, record, owned->type.name});
  byRecord_[record] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(record, this);
  typeIndexStale_ = true;
}

void Registry::AddProperty(void* record, unsigned long hostArea, PropertyEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kProperty, entry.singular);
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kProperty;
  owned->address = record;
  entry.record = record;
  owned->property = std::move(entry);
  owned->sequence = ++sequence_;
  journal_.push_back(
      {RegistryEvent::kRegistered, RecordKind::kProperty, record, owned->property.singular});
  byRecord_[record] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(record, this);
}

void Registry::AddCast(void* record, unsigned long hostArea, CastEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kCast, entry.phrase);
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kCast;
  owned->address = record;
  entry.record = record;
  owned->cast = std::move(entry);
  owned->sequence = ++sequence_;
  journal_.push_back({RegistryEvent::kRegistered, RecordKind::kCast, record, owned->cast.phrase});
  byRecord_[record] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(record, this);
}

void Registry::AddOperator(void* record, unsigned long hostArea, OperatorEntry entry) {
  std::string const name = "operator " + std::to_string(entry.code);
  Admit(record, hostArea, kRecordHostArea, RecordKind::kOperator, name);
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kOperator;
  owned->address = record;
  entry.record = record;
  owned->op = std::move(entry);
  owned->sequence = ++sequence_;
  journal_.push_back({RegistryEvent::kRegistered, RecordKind::kOperator, record, name});
  byRecord_[record] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(record, this);
}

void Registry::AddDependency(void* node, unsigned long hostArea, DependencyNodeEntry entry) {
  Admit(node, hostArea, kRecordHostArea, RecordKind::kDependency, entry.name);
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kDependency;
  owned->address = node;
  entry.node = node;
  owned->dependency = std::move(entry);
  owned->sequence = ++sequence_;
  journal_.push_back(
      {RegistryEvent::kRegistered, RecordKind::kDependency, node, owned->dependency.name});
  byRecord_[node] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(node, this);
}

void Registry::AddCache(void* record, unsigned long hostArea, CacheEntry entry) {
  Admit(record, hostArea, kCacheHostArea, RecordKind::kCache, "cache");
  auto owned = std::make_unique<Record>();
  owned->kind = RecordKind::kCache;
  owned->address = record;
  entry.record = record;
  owned->cache = entry;
  owned->sequence = ++sequence_;
  journal_.push_back({RegistryEvent::kRegistered, RecordKind::kCache, record, "cache"});
  byRecord_[record] = owned.get();
  records_.emplace(owned->sequence, std::move(owned));
  ClaimHostArea(record, this);
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
      case RecordKind::kType: name = found->type.name; break;
      case RecordKind::kProperty: name = found->property.singular; break;
      case RecordKind::kCast: name = found->cast.phrase; break;
      case RecordKind::kOperator: name = "operator " + std::to_string(found->op.code); break;
      case RecordKind::kDependency: name = found->dependency.name; break;
      case RecordKind::kCache: name = "cache"; break;
    }
    journal_.push_back({RegistryEvent::kUnregistered, kind, record, std::move(name)});
    // The host area goes back to zero, as the record was before it came.
    std::memset(record, 0, sizeof(HostAreaHeader));
    byRecord_.erase(record);
    records_.erase(found->sequence);
    typeIndexStale_ = true;
  } catch (...) {
    // Only the journal can fail here (memory); the record stays forgotten.
  }
}

Registry::Record* Registry::Find(void const* record) const {
  auto const it = byRecord_.find(record);
  return it == byRecord_.end() ? nullptr : it->second;
}

// ---------------------------------------------------------------------------
// Lookups. The tables are small and lookups are resolved once per query node,
// so plain scans in registration order keep the rules obvious.

TypeEntry const* Registry::FindType(std::string_view name) const {
  if (typeIndexStale_) {
    typeIndex_.clear();
    for (auto const& [sequence, record] : records_) {
      if (record->kind == RecordKind::kType) typeIndex_.emplace(record->type.name, &record->type);
    }
    typeIndexStale_ = false;
  }
  auto const found = typeIndex_.find(name);
  return found == typeIndex_.end() ? nullptr : found->second;
}

TypeEntry const* Registry::BaseOf(TypeEntry const* type) const {
  if (type == nullptr || type->baseName.empty()) return nullptr;
  return FindType(type->baseName);
}

bool Registry::IsA(TypeEntry const* type, std::string_view wanted) const {
  if (wanted.empty()) return type == nullptr;
  // A chain of bases is short; the bound guards against a cycle of names.
  for (int depth = 0; type != nullptr && depth < 64; ++depth, type = BaseOf(type)) {
    if (type->name == wanted) return true;
  }
  return false;
}

bool Registry::HasPropertyPhrase(std::string_view phrase) const {
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kProperty &&
        (record->property.singular == phrase || record->property.plural == phrase)) {
      return true;
    }
  }
  return false;
}

std::vector<PropertyEntry const*> Registry::PropertiesNamed(std::string_view phrase) const {
  std::vector<PropertyEntry const*> found;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kProperty &&
        (record->property.singular == phrase || record->property.plural == phrase)) {
      found.push_back(&record->property);
    }
  }
  return found;
}

namespace {
// The type itself, then its bases; a null type is the one element "none".
std::vector<TypeEntry const*> Lineage(Registry const& registry, TypeEntry const* type) {
  std::vector<TypeEntry const*> chain{type};
  for (int depth = 0; type != nullptr && depth < 64; ++depth) {
    type = registry.BaseOf(type);
    if (type != nullptr) chain.push_back(type);
  }
  return chain;
}

std::string_view NameOf(TypeEntry const* type) {
  return type == nullptr ? std::string_view() : std::string_view(type->name);
}
}  // namespace

PropertyEntry const* Registry::FindProperty(std::string_view phrase, TypeEntry const* index,
                                            TypeEntry const* object) const {
  std::vector<PropertyEntry const*> const candidates = PropertiesNamed(phrase);
  if (candidates.empty()) return nullptr;
  for (TypeEntry const* objectType : Lineage(*this, object)) {
    for (TypeEntry const* indexType : Lineage(*this, index)) {
      for (PropertyEntry const* entry : candidates) {
        if (entry->object == NameOf(objectType) && entry->index == NameOf(indexType)) {
          return entry;
        }
      }
    }
  }
  return nullptr;
}

bool Registry::HasCastPhrase(std::string_view phrase) const {
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kCast && record->cast.phrase == phrase) return true;
  }
  return false;
}

std::vector<CastEntry const*> Registry::CastsNamed(std::string_view phrase) const {
  std::vector<CastEntry const*> found;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kCast && record->cast.phrase == phrase) {
      found.push_back(&record->cast);
    }
  }
  return found;
}

CastEntry const* Registry::FindCast(std::string_view phrase, TypeEntry const* source) const {
  std::vector<CastEntry const*> const candidates = CastsNamed(phrase);
  for (TypeEntry const* type : Lineage(*this, source)) {
    for (CastEntry const* entry : candidates) {
      if (entry->source == NameOf(type)) return entry;
    }
  }
  return nullptr;
}

OperatorEntry const* Registry::FindOperator(int code, TypeEntry const* left,
                                            TypeEntry const* right) const {
  std::vector<OperatorEntry const*> candidates;
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kOperator && record->op.code == code) {
      candidates.push_back(&record->op);
    }
  }
  if (candidates.empty()) return nullptr;
  for (TypeEntry const* leftType : Lineage(*this, left)) {
    for (TypeEntry const* rightType : Lineage(*this, right)) {
      for (OperatorEntry const* entry : candidates) {
        if (entry->left == NameOf(leftType) && entry->right == NameOf(rightType)) return entry;
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
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kDependency && record->dependency.name == name) {
      return &record->dependency;
    }
  }
  return nullptr;
}

void Registry::ClearCaches() const {
  for (auto const& [sequence, record] : records_) {
    if (record->kind == RecordKind::kCache && record->cache.clear != nullptr) {
      record->cache.clear(record->cache.cookie);
    }
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
