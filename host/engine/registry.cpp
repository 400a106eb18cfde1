#include "host/engine/registry.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <cstdint>
#include <functional>
#include <variant>

#include "host/engine/calls.h"

namespace survey::host {

namespace {

// The first bytes of every record's host area: the owning registry, and the
// registry's own record of it, so that an unregistration finds it at once.
struct HostAreaHeader {
  Registry* owner;
  unsigned long long magic;
  void* filed;
};
static_assert(sizeof(HostAreaHeader) <= kCacheHostArea, "every host area holds the header");
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

void ClaimHostArea(void* record, Registry* owner, void* filed) {
  HostAreaHeader const header{owner, kHostAreaMagic, filed};
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

// The key of an index: up to three names (a phrase and type names, or type
// names alone) and, for operators, the operator's code.
struct IndexKey {
  std::string_view part[3];
  int code = 0;
};

bool SameKey(IndexKey const& a, IndexKey const& b) {
  return a.code == b.code && a.part[0] == b.part[0] && a.part[1] == b.part[1] &&
         a.part[2] == b.part[2];
}

// A hash of a text, eight bytes at a time. Names are short, and an index of
// thousands of records hashes each of them once per build: the last bytes
// are read as one overlapping word rather than one by one.
std::uint64_t Load64(char const* at) {
  std::uint64_t word;
  std::memcpy(&word, at, 8);
  return word;
}

std::uint64_t Load32(char const* at) {
  std::uint32_t word;
  std::memcpy(&word, at, 4);
  return word;
}

std::uint64_t HashText(std::string_view text) {
  constexpr std::uint64_t kMultiplier = 0x9e3779b97f4a7c15ULL;
  char const* const at = text.data();
  std::size_t const size = text.size();
  std::uint64_t hash = static_cast<std::uint64_t>(size) * kMultiplier;
  std::uint64_t last;
  if (size >= 8) {
    std::size_t k = 0;
    for (; k + 8 < size; k += 8) {
      hash = (hash ^ Load64(at + k)) * 0xbf58476d1ce4e5b9ULL;
      hash ^= hash >> 29;
    }
    last = Load64(at + size - 8);
  } else if (size >= 4) {
    last = Load32(at) | (Load32(at + size - 4) << 32);
  } else if (size != 0) {
    last = static_cast<unsigned char>(at[0]) |
           (static_cast<std::uint64_t>(static_cast<unsigned char>(at[size / 2])) << 8) |
           (static_cast<std::uint64_t>(static_cast<unsigned char>(at[size - 1])) << 16);
  } else {
    last = 0;
  }
  hash = (hash ^ last) * 0x94d049bb133111ebULL;
  return hash ^ (hash >> 31);
}

// The parts' hashes mixed in order, each place in a way of its own, so that
// ("a", "b") and ("b", "a") differ. Most keys have empty parts (a phrase
// alone, a type name alone, a property of the world): an empty part after
// the first is passed over, and costs nothing.
std::uint64_t HashKey(IndexKey const& key) {
  std::uint64_t hash = HashText(key.part[0]) ^ static_cast<unsigned>(key.code);
  if (!key.part[1].empty()) {
    hash = (hash ^ HashText(key.part[1])) * 0xff51afd7ed558ccdULL;
    hash ^= hash >> 32;
  }
  if (!key.part[2].empty()) {
    hash = (hash + HashText(key.part[2])) * 0xc4ceb9fe1a85ec53ULL;
    hash ^= hash >> 29;
  }
  return hash;
}

// The keys of the indexes, made from an entry and which of its keys.
std::string_view FormOf(PropertyEntry const& entry, unsigned form) {
  return form == 0 ? entry.singular : entry.plural;
}
IndexKey TypeKey(TypeEntry const& entry, unsigned) { return {{entry.name, "", ""}}; }
IndexKey PropertyKey(PropertyEntry const& entry, unsigned form) {
  return {{FormOf(entry, form), entry.index, entry.object}};
}
IndexKey PropertyNameKey(PropertyEntry const& entry, unsigned form) {
  return {{FormOf(entry, form), "", ""}};
}
IndexKey CastKey(CastEntry const& entry, unsigned) { return {{entry.phrase, entry.source, ""}}; }
IndexKey CastNameKey(CastEntry const& entry, unsigned) { return {{entry.phrase, "", ""}}; }
IndexKey OperatorKey(OperatorEntry const& entry, unsigned) {
  return {{entry.left, entry.right, ""}, entry.code};
}

// Entries by key, in one flat table that is built in bulk. The entries
// under each key are found in order of registration: the first is the one
// a lookup finds, the others are there for listings and for the checks of
// a load. The keys are views of the entries' own names.
//
// The index keeps the items it was built from, each an entry and which of
// its keys (a property's singular or plural form), the key itself being
// made again from the entry by `KeyOf` when it is compared; its table, kept
// at most half full, holds only a hash and where the key's entries are: a
// table of a thousand records' keys is a few pages of memory, written once,
// rather than tens.
template <class Entry, IndexKey (*KeyOf)(Entry const&, unsigned form)>
class KeyIndex {
 public:
  struct Item {
    Entry const* entry;
    unsigned form;
  };

  // The list to fill with the items, in order of registration, before
  // `Build`; emptied, with room for `expected` of them.
  std::vector<Item>& Items(std::size_t expected) {
    items_.clear();
    items_.reserve(expected);
    return items_;
  }

  // Builds the index from the items.
  void Build() {
    std::size_t capacity = 16;
    while (capacity < items_.size() * 2) capacity *= 2;
    slots_.assign(capacity, Slot{});
    mask_ = capacity - 1;
    used_ = 0;
    repeated_ = false;
    grouped_.clear();
    // Which slot each item goes to, found once.
    std::vector<std::uint32_t> slotOf(items_.size());
    for (std::size_t k = 0; k < items_.size(); ++k) {
      IndexKey const key = KeyOf(*items_[k].entry, items_[k].form);
      std::uint64_t const hash = HashKey(key);
      std::size_t at = hash & mask_;
      while (slots_[at].count != 0 && !Holds(slots_[at], hash, key)) at = (at + 1) & mask_;
      Slot& slot = slots_[at];
      if (slot.count == 0) {
        slot.hash = static_cast<std::uint32_t>(hash);
        slot.first = static_cast<std::uint32_t>(k);
        ++used_;
      } else {
        repeated_ = true;
      }
      ++slot.count;
      slotOf[k] = static_cast<std::uint32_t>(at);
    }
    if (!repeated_) return;
    // Some key has several entries: the entries are laid out again, those
    // of each key next to each other, in order of registration.
    std::uint32_t next = 0;
    for (Slot& slot : slots_) {
      slot.begin = next;
      next += slot.count;
      slot.count = 0;
    }
    grouped_.resize(items_.size());
    for (std::size_t k = 0; k < items_.size(); ++k) {
      Slot& slot = slots_[slotOf[k]];
      grouped_[slot.begin + slot.count++] = items_[k].entry;
    }
  }

  // Files one more entry under a key that has none yet, while the table has
  // room; false if it cannot, and the index must be built anew.
  bool Append(IndexKey const& key, Entry const* entry, unsigned form = 0) {
    if (slots_.empty() || (used_ + 1) * 2 > slots_.size()) return false;
    std::uint64_t const hash = HashKey(key);
    std::size_t at = hash & mask_;
    while (slots_[at].count != 0) {
      if (Holds(slots_[at], hash, key)) return false;
      at = (at + 1) & mask_;
    }
    Slot& slot = slots_[at];
    slot.hash = static_cast<std::uint32_t>(hash);
    slot.first = static_cast<std::uint32_t>(items_.size());
    slot.count = 1;
    items_.push_back({entry, form});
    if (repeated_) {
      slot.begin = static_cast<std::uint32_t>(grouped_.size());
      grouped_.push_back(entry);
    }
    ++used_;
    return true;
  }

  std::span<Entry const* const> Under(IndexKey const& key) const {
    if (slots_.empty()) return {};
    std::uint64_t const hash = HashKey(key);
    for (std::size_t at = hash & mask_; slots_[at].count != 0; at = (at + 1) & mask_) {
      Slot const& slot = slots_[at];
      if (Holds(slot, hash, key)) {
        if (!repeated_) return std::span<Entry const* const>(&items_[slot.first].entry, 1);
        return std::span<Entry const* const>(grouped_.data() + slot.begin, slot.count);
      }
    }
    return {};
  }

  Entry const* First(IndexKey const& key) const {
    auto const entries = Under(key);
    return entries.empty() ? nullptr : entries.front();
  }

  // Whether an entry filed under a key is the first under it.
  bool IsFirst(Entry const* entry, IndexKey const& key) const {
    return !repeated_ || First(key) == entry;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;   // the low half of the key's hash
    std::uint32_t first = 0;  // the item that brought the key
    std::uint32_t count = 0;  // 0: an empty slot
    std::uint32_t begin = 0;  // where the key's entries start in `grouped_`
  };

  bool Holds(Slot const& slot, std::uint64_t hash, IndexKey const& key) const {
    if (slot.hash != static_cast<std::uint32_t>(hash)) return false;
    Item const& item = items_[slot.first];
    return SameKey(KeyOf(*item.entry, item.form), key);
  }

  std::vector<Slot> slots_;
  std::size_t mask_ = 0;
  std::size_t used_ = 0;
  // Whether some key has more than one entry.
  bool repeated_ = false;
  std::vector<Item> items_;
  // When some key has several entries: every entry, by key.
  std::vector<Entry const*> grouped_;
};

// The indexes, one bit each, as `Registry::Fresh` asks for them.
enum IndexBit : unsigned {
  kTypesBit = 1,
  kPropertiesBit = 2,
  kCastsBit = 4,
  kOperatorsBit = 8,
  kPropertyNamesBit = 16,
  kCastNamesBit = 32,
  kPhrasesBit = 64,
};

// The indexes a change to a record of a kind leaves out of date.
unsigned IndexesOf(RecordKind kind) {
  switch (kind) {
    case RecordKind::kType:
      return kTypesBit;
    case RecordKind::kProperty:
      return kPropertiesBit | kPropertyNamesBit | kPhrasesBit;
    case RecordKind::kCast:
      return kCastsBit | kCastNamesBit | kPhrasesBit;
    case RecordKind::kOperator:
      return kOperatorsBit;
    case RecordKind::kDependency:
    case RecordKind::kCache:
      return 0;
  }
  return 0;
}

// Whether a filed property's plural differs from its singular. A plural the
// same as the singular shares the singular's copy (see AddProperty): the two
// differ exactly when their texts are in different places.
bool HasOwnPlural(PropertyEntry const& entry) {
  return entry.plural.data() != entry.singular.data() ||
         entry.plural.size() != entry.singular.size();
}

// The phrase forms a filed property is found by: its singular and, when it
// differs, its plural.
class Forms {
 public:
  explicit Forms(PropertyEntry const& entry)
      : forms_{entry.singular, entry.plural}, size_(HasOwnPlural(entry) ? 2 : 1) {}
  std::string_view const* begin() const { return forms_; }
  std::string_view const* end() const { return forms_ + size_; }

 private:
  std::string_view forms_[2];
  std::size_t size_;
};

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

struct Registry::Record {
  unsigned long long sequence = 0;
  RecordKind kind = RecordKind::kType;
  void* address = nullptr;
  // The place in the order of registration; for a free record, the next
  // free one.
  std::size_t order = 0;
  Record* nextFree = nullptr;
  // The journal's copy of the record's name, which its unregistration
  // names again.
  std::string_view name;
  std::variant<std::monostate, TypeEntry, PropertyEntry, CastEntry, OperatorEntry,
               DependencyNodeEntry, CacheEntry>
      entry;

  TypeEntry& Type() { return *std::get_if<TypeEntry>(&entry); }
  TypeEntry const& Type() const { return *std::get_if<TypeEntry>(&entry); }
  PropertyEntry const& Property() const { return *std::get_if<PropertyEntry>(&entry); }
  CastEntry const& Cast() const { return *std::get_if<CastEntry>(&entry); }
  OperatorEntry const& Operator() const { return *std::get_if<OperatorEntry>(&entry); }
  DependencyNodeEntry const& Dependency() const {
    return *std::get_if<DependencyNodeEntry>(&entry);
  }
  CacheEntry const& Cache() const { return *std::get_if<CacheEntry>(&entry); }
};

struct alignas(16) Registry::TupleRecord {
  unsigned char bytes[kTypeHostArea] = {};
};

struct Registry::Indexes {
  // The bits of the indexes built from the records as they are.
  unsigned fresh = 0;
  KeyIndex<TypeEntry, TypeKey> types;                      // by name
  KeyIndex<PropertyEntry, PropertyKey> properties;         // by phrase form, index and object
  KeyIndex<CastEntry, CastKey> casts;                      // by phrase and source
  KeyIndex<OperatorEntry, OperatorKey> operators;          // by code, left and right
  KeyIndex<PropertyEntry, PropertyNameKey> propertyNames;  // by phrase form alone
  KeyIndex<CastEntry, CastNameKey> castNames;              // by phrase alone
  PhraseIndex phrases;                    // words of phrases, for parsing and suggestions
  // The phrases of the last build of `phrases`, whose memory serves the
  // next.
  std::vector<PhraseIndex::Item> phraseItems;
};

namespace {
constexpr std::size_t kBlockRecords = 256;
constexpr std::size_t kLoadJournalRoom = 4096;
constexpr std::size_t kNameChunk = 16384;
}  // namespace

Registry::Registry() : indexes_(std::make_unique<Indexes>()) {}

Registry::~Registry() {
  // Records still registered when the registry goes are forgotten; their
  // host areas no longer name an owner.
  for (Record* record : order_) {
    if (record != nullptr) std::memset(record->address, 0, sizeof(HostAreaHeader));
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

namespace {
inline Registry* OwnerIn(void const* record) {
  if (record == nullptr) return nullptr;
  HostAreaHeader header;
  std::memcpy(&header, record, sizeof header);
  return header.magic == kHostAreaMagic ? header.owner : nullptr;
}
}  // namespace

Registry* Registry::Owner(void const* record) { return OwnerIn(record); }

namespace {
// The checks of Registry::Admit that find something to say, apart from its
// common path, which thousands of registrations take at every start.
[[gnu::noinline]] void AdmitWithCare(void* record, unsigned long hostArea,
                                     unsigned long expectedArea, RecordKind kind,
                                     std::string_view name, std::size_t& failCountdown) {
  // The record as a message names it: its kind and its name in quotes.
  auto const named = [&] { return std::string(KindName(kind)) + " \"" + std::string(name) + "\""; };
  if (record == nullptr) throw RegistrationError("null record for " + named());
  if (hostArea != expectedArea) {
    throw RegistrationError("host area of " + std::to_string(hostArea) + " bytes for " + named() +
                            ", expected " + std::to_string(expectedArea));
  }
  if (Registry::Owner(record) != nullptr) {
    throw RegistrationError(named() + " registered twice with one record");
  }
  if (failCountdown != 0 && --failCountdown == 0) {
    throw RegistrationError("registration of " + named() + " refused for a test");
  }
}
}  // namespace

void Registry::Admit(void* record, unsigned long hostArea, unsigned long expectedArea,
                     RecordKind kind, std::string_view name) {
  if (record == nullptr || hostArea != expectedArea || OwnerIn(record) != nullptr ||
      failCountdown_ != 0) [[unlikely]] {
    AdmitWithCare(record, hostArea, expectedArea, kind, name, failCountdown_);
  }
}

// Files an admitted record: its sequence, the journal, its place in order.
// Every registration comes here: what it calls is made part of it.
__attribute__((flatten)) Registry::Record& Registry::Insert(void* record, RecordKind kind,
                                                            std::string_view name) {
  std::string_view const kept = KeepName(name);
  journal_.push_back({RegistryEvent::kRegistered, kind, record, kept});
  if (order_.capacity() == order_.size()) order_.reserve(std::max<std::size_t>(64, order_.size() * 2));
  Record* filed = free_;
  if (filed != nullptr) {
    free_ = filed->nextFree;
  } else {
    if (blocks_.empty() || blockUsed_ == kBlockRecords) {
      // Each record is made by its own initialisers, without the block being
      // cleared first.
      blocks_.push_back(std::make_unique_for_overwrite<Record[]>(kBlockRecords));
      blockUsed_ = 0;
    }
    filed = &blocks_.back()[blockUsed_++];
  }
  filed->kind = kind;
  filed->address = record;
  filed->sequence = ++sequence_;
  filed->nextFree = nullptr;
  filed->name = kept;
  filed->order = order_.size();
  order_.push_back(filed);
  ++live_;
  return *filed;
}

void Registry::Release(Record& record) {
  order_[record.order] = nullptr;
  ++holes_;
  --live_;
  record.entry.emplace<std::monostate>();
  record.address = nullptr;
  record.nextFree = free_;
  free_ = &record;
  // The list of the order is compacted once it is mostly holes, so that
  // its cost stays in proportion to the records that live; during an
  // unload, once at its end.
  if (!unloading_ && holes_ > 64 && holes_ * 2 > order_.size()) Compact();
}

std::string_view Registry::KeepName(std::string_view name) {
  if (name.empty()) return {};
  if (name.size() > nameRoom_) {
    std::size_t const size = std::max(kNameChunk, name.size());
    nameChunks_.push_back(std::make_unique_for_overwrite<char[]>(size));
    nameNext_ = nameChunks_.back().get();
    nameRoom_ = size;
  }
  char* const kept = nameNext_;
  std::memcpy(kept, name.data(), name.size());
  nameNext_ += name.size();
  nameRoom_ -= name.size();
  return {kept, name.size()};
}

inline std::string_view Registry::KeepTypeName(std::string_view name) {
  if (name.empty()) return {};
  if (!keptTypeNames_) keptTypeNames_ = std::make_unique<KeptTypeName[]>(kKeptTypeNames);
  auto const address = reinterpret_cast<std::uintptr_t>(name.data());
  KeptTypeName& slot = keptTypeNames_[(address ^ (address >> 8)) % kKeptTypeNames];
  // The bytes are compared as well as the address: a text may have been
  // rewritten in place since (a buffer of the caller's, used again).
  if (slot.from != name.data() || slot.kept != name) [[unlikely]] {
    slot.from = name.data();
    slot.kept = KeepName(name);
  }
  return slot.kept;
}

void Registry::Compact() {
  std::size_t kept = 0;
  for (Record* record : order_) {
    if (record == nullptr) continue;
    record->order = kept;
    order_[kept++] = record;
  }
  order_.resize(kept);
  holes_ = 0;
}

void Registry::AddType(void* record, unsigned long hostArea, TypeEntry entry) {
  Admit(record, hostArea, kTypeHostArea, RecordKind::kType, entry.name);
  if (entry.destroy == nullptr)
    throw RegistrationError("type \"" + entry.name + "\" has no Destroy");
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kType, entry.name);
  filed.entry.emplace<TypeEntry>(std::move(entry));
  Filed(filed);
  ClaimHostArea(record, this, &filed);
}

void Registry::AddProperty(void* record, unsigned long hostArea, PropertyEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kProperty, entry.singular);
  entry.record = record;
  // The entry's names become the registry's own copies, made before the
  // record is filed: the singular is the journal's, and a plural the same
  // as the singular shares it.
  bool const samePlural = entry.plural == entry.singular;
  if (!samePlural) entry.plural = KeepName(entry.plural);
  entry.index = KeepTypeName(entry.index);
  entry.object = KeepTypeName(entry.object);
  entry.result = KeepTypeName(entry.result);
  Record& filed = Insert(record, RecordKind::kProperty, entry.singular);
  entry.singular = filed.name;
  if (samePlural) entry.plural = filed.name;
  filed.entry.emplace<PropertyEntry>(std::move(entry));
  Filed(filed);
  ClaimHostArea(record, this, &filed);
}

void Registry::AddCast(void* record, unsigned long hostArea, CastEntry entry) {
  Admit(record, hostArea, kRecordHostArea, RecordKind::kCast, entry.phrase);
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kCast, entry.phrase);
  filed.entry.emplace<CastEntry>(std::move(entry));
  Filed(filed);
  ClaimHostArea(record, this, &filed);
}

void Registry::AddOperator(void* record, unsigned long hostArea, OperatorEntry entry) {
  // "operator " and the code, made in place.
  char text[32] = "operator ";
  std::size_t const prefix = std::strlen(text);
  char* const end = std::to_chars(text + prefix, text + sizeof text, entry.code).ptr;
  std::string_view const name(text, static_cast<std::size_t>(end - text));
  Admit(record, hostArea, kRecordHostArea, RecordKind::kOperator, name);
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kOperator, name);
  filed.entry.emplace<OperatorEntry>(std::move(entry));
  Filed(filed);
  ClaimHostArea(record, this, &filed);
}

void Registry::AddDependency(void* node, unsigned long hostArea, DependencyNodeEntry entry) {
  Admit(node, hostArea, kRecordHostArea, RecordKind::kDependency, entry.name);
  entry.node = node;
  Record& filed = Insert(node, RecordKind::kDependency, entry.name);
  filed.entry.emplace<DependencyNodeEntry>(std::move(entry));
  ClaimHostArea(node, this, &filed);
}

void Registry::AddCache(void* record, unsigned long hostArea, CacheEntry entry) {
  Admit(record, hostArea, kCacheHostArea, RecordKind::kCache, "cache");
  entry.record = record;
  Record& filed = Insert(record, RecordKind::kCache, "cache");
  filed.entry.emplace<CacheEntry>(entry);
  caches_.push_back(&filed);
  ClaimHostArea(record, this, &filed);
}

inline void Registry::Filed(Record const& record) {
  // Nothing to do when no built index holds records of the kind, as while a
  // library loads.
  if ((IndexesOf(record.kind) & indexes_->fresh) != 0) [[unlikely]]
    Refile(record);
}

void Registry::Refile(Record const& record) {
  Indexes& indexes = *indexes_;
  unsigned const touched = IndexesOf(record.kind) & indexes.fresh;
  // A type registered on its own, such as a tuple type made by a query, is
  // added to the built index of types when its name is new; anything else
  // has the indexes built anew when next needed.
  if (record.kind == RecordKind::kType && !Loading() &&
      indexes.types.Append(IndexKey{{record.Type().name, "", ""}}, &record.Type())) {
    return;
  }
  indexes.fresh &= ~touched;
}

// Every unregistration comes here: what it calls is made part of it.
__attribute__((flatten)) void Registry::Remove(RecordKind kind, void* record) noexcept {
  try {
    Record* const found = Find(record);
    if (found == nullptr || found->kind != kind) {
      journal_.push_back({RegistryEvent::kUnknownUnregistration, kind, record, ""});
      return;
    }
    // The line names the record as its registration did, with the same copy.
    journal_.push_back({RegistryEvent::kUnregistered, kind, record, found->name});
    indexes_->fresh &= ~IndexesOf(kind);
    if (kind == RecordKind::kCache) std::erase(caches_, found);
    TypeEntry const* const type = kind == RecordKind::kType ? &found->Type() : nullptr;
    // The host area goes back to zero, as the record was before it came.
    std::memset(record, 0, sizeof(HostAreaHeader));
    Release(*found);
    if (type != nullptr) {
      // The entry is gone: its address serves only as a key from here on.
      RemoveTuplesOf(type);
      tupleRecords_.erase(record);
    }
  } catch (...) {
    // Only the journal can fail here (memory); the record stays forgotten.
  }
}

void Registry::BeginUnload() {
  unloading_ = true;
  // Every record is about to be unregistered, each with a line.
  journal_.reserve(journal_.size() + live_);
}

void Registry::EndUnload() {
  unloading_ = false;
  Compact();
}

Registry::Record* Registry::Find(void const* record) const {
  if (record == nullptr) return nullptr;
  HostAreaHeader header;
  std::memcpy(&header, record, sizeof header);
  if (header.magic != kHostAreaMagic || header.owner != this) return nullptr;
  auto* const filed = static_cast<Record*>(header.filed);
  return filed->address == record ? filed : nullptr;
}

Registry::Indexes& Registry::Fresh(unsigned wanted) const {
  Indexes& indexes = *indexes_;
  unsigned const missing = wanted & ~indexes.fresh;
  if (missing == 0) return indexes;
  // The lists of the indexes to build are filled in one pass over the
  // records in order of registration, then each index is built from its
  // list. Properties are most of the records, each filed under its two
  // forms: their lists are given room at once for two items a record, so
  // that no list is copied as it grows (the room left over is never
  // written, and costs no page).
  std::size_t const expected = 2 * live_;
  auto const listOf = [missing](unsigned bit, auto& index, std::size_t room) {
    return (missing & bit) != 0 ? &index.Items(room) : nullptr;
  };
  auto* const types = listOf(kTypesBit, indexes.types, 0);
  auto* const properties = listOf(kPropertiesBit, indexes.properties, expected);
  auto* const propertyNames = listOf(kPropertyNamesBit, indexes.propertyNames, expected);
  auto* const casts = listOf(kCastsBit, indexes.casts, 0);
  auto* const castNames = listOf(kCastNamesBit, indexes.castNames, 0);
  auto* const operators = listOf(kOperatorsBit, indexes.operators, 0);
  if ((missing & ~kPhrasesBit) != 0) {
    for (Record const* record : order_) {
      if (record == nullptr) continue;
      switch (record->kind) {
        case RecordKind::kType:
          if (types != nullptr) types->push_back({&record->Type(), 0});
          break;
        case RecordKind::kProperty: {
          // A property is filed under its singular (form 0) and, when it
          // differs, its plural (form 1).
          PropertyEntry const& entry = record->Property();
          bool const plural = HasOwnPlural(entry);
          auto const file = [&](auto* list) {
            if (list == nullptr) return;
            list->push_back({&entry, 0});
            if (plural) list->push_back({&entry, 1});
          };
          file(properties);
          file(propertyNames);
          break;
        }
        case RecordKind::kCast:
          if (casts != nullptr) casts->push_back({&record->Cast(), 0});
          if (castNames != nullptr) castNames->push_back({&record->Cast(), 0});
          break;
        case RecordKind::kOperator:
          if (operators != nullptr) operators->push_back({&record->Operator(), 0});
          break;
        case RecordKind::kDependency:
        case RecordKind::kCache:
          break;
      }
    }
  }
  if (types != nullptr) indexes.types.Build();
  if (properties != nullptr) indexes.properties.Build();
  if (propertyNames != nullptr) indexes.propertyNames.Build();
  if (casts != nullptr) indexes.casts.Build();
  if (castNames != nullptr) indexes.castNames.Build();
  if (operators != nullptr) indexes.operators.Build();
  if (missing & kPhrasesBit) {
    std::vector<PhraseIndex::Item>& phrases = indexes.phraseItems;
    phrases.clear();
    phrases.reserve(2 * live_);
    for (Record const* record : order_) {
      if (record == nullptr) continue;
      if (record->kind == RecordKind::kProperty) {
        PropertyEntry const& entry = record->Property();
        phrases.push_back({entry.singular, PhraseIndex::kSingular});
        phrases.push_back({entry.plural, PhraseIndex::kPlural});
      } else if (record->kind == RecordKind::kCast) {
        phrases.push_back({record->Cast().phrase, PhraseIndex::kCast});
      }
    }
    indexes.phrases.Build(phrases);
  }
  indexes.fresh |= missing;
  return indexes;
}

// ---------------------------------------------------------------------------
// Loads.

void Registry::BeginLoad() {
  // A library registers its records by the thousand: room for their lines
  // is made at once rather than by doubling.
  journal_.reserve(journal_.size() + kLoadJournalRoom);
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

void Registry::AdoptOffers(unsigned long long since, LibraryOffers const& offers) {
  for (Record* record : order_) {
    if (record == nullptr || record->sequence <= since) continue;
    if (record->kind == RecordKind::kProperty) {
      auto* const entry = std::get_if<PropertyEntry>(&record->entry);
      if (entry == nullptr || entry->kind != PropertyKind::kIterated) continue;
      if (offers.passOf != nullptr) entry->passOver = offers.passOf(entry->context);
      if (offers.nextHoldingOf != nullptr) entry->nextHolding = offers.nextHoldingOf(entry->context);
      if (offers.propertyBytesOf != nullptr) {
        entry->necessaryBytes = offers.propertyBytesOf(entry->context);
      }
    } else if (record->kind == RecordKind::kOperator && offers.operatorBytesOf != nullptr) {
      auto* const entry = std::get_if<OperatorEntry>(&record->entry);
      if (entry != nullptr) entry->necessaryBytes = offers.operatorBytesOf(entry->context);
    }
  }
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
  Indexes const& indexes = Fresh(kTypesBit | kPropertiesBit | kCastsBit | kOperatorsBit);
  std::vector<std::string> problems;
  // A type name that is not empty (none) must name a type by the end. The
  // records of a unit name the same few types over and over: the names
  // found known are remembered by where their text is, which the records of
  // properties share (see KeepTypeName), and the last few by their text,
  // before any lookup.
  std::array<std::string_view, 64> knownAt{};
  std::array<std::string_view, 4> recent{};
  std::size_t nextRecent = 0;
  auto slotOf = [&](std::string_view name) -> std::string_view& {
    auto const address = reinterpret_cast<std::uintptr_t>(name.data());
    return knownAt[(address ^ (address >> 7)) % knownAt.size()];
  };
  // The first look at a name, made for every name of every record, stays
  // short; the rest, made for few names, is a function of its own.
  auto lookUp = [&](auto const& entry, char const* what, std::string_view name)
      __attribute__((noinline)) {
    std::string_view& at = slotOf(name);
    for (std::string_view seen : recent) {
      if (seen == name) {
        at = name;
        return;
      }
    }
    if (!KnowsTypeName(name)) {
      problems.push_back(RecordName(entry) + " " + what + " " + Quoted(name) + ", which no type has");
      return;
    }
    recent[nextRecent++ % recent.size()] = name;
    at = name;
  };
  auto known = [&](auto const& entry, char const* what, std::string_view name) {
    if (name.empty()) return;
    std::string_view const at = slotOf(name);
    if (at.data() == name.data() && at.size() == name.size()) return;
    lookUp(entry, what, name);
  };
  // The first record under a key is the one lookups find; a later one of
  // this load is never reached.
  auto unique = [&](auto const& entry, bool first, auto const& key) {
    if (!first) problems.push_back(RecordName(entry) + " is registered twice (" + key() + ")");
  };
  for (Record const* record : order_) {
    if (record == nullptr || record->sequence <= since) continue;
    switch (record->kind) {
      case RecordKind::kType: {
        TypeEntry const& entry = record->Type();
        unique(entry, indexes.types.IsFirst(&entry, {{entry.name, "", ""}}),
               [] { return std::string("the same type name"); });
        known(entry, "has the base type", entry.baseName);
        break;
      }
      case RecordKind::kProperty: {
        PropertyEntry const& entry = record->Property();
        for (std::string_view form : Forms(entry)) {
          unique(entry, indexes.properties.IsFirst(&entry, {{form, entry.index, entry.object}}),
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
        CastEntry const& entry = record->Cast();
        unique(entry, indexes.casts.IsFirst(&entry, {{entry.phrase, entry.source, ""}}),
               [] { return std::string("the same cast phrase and source type"); });
        known(entry, "names the source type", entry.source);
        known(entry, "names the target type", entry.target);
        break;
      }
      case RecordKind::kOperator: {
        OperatorEntry const& entry = record->Operator();
        unique(entry,
               indexes.operators.IsFirst(&entry, {{entry.left, entry.right, ""}, entry.code}),
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
  return Fresh(kTypesBit).types.First({{name, "", ""}});
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
  return !Fresh(kPropertyNamesBit).propertyNames.Under({{phrase, "", ""}}).empty();
}

PhraseUse Registry::PropertyPhraseUse(std::string_view phrase) const {
  PhraseIndex const& phrases = Fresh(kPhrasesBit).phrases;
  return PhraseUse{phrases.Count(phrase, PhraseIndex::kSingular),
                   phrases.Count(phrase, PhraseIndex::kPlural)};
}

std::span<PropertyEntry const* const> Registry::PropertiesNamed(std::string_view phrase) const {
  return Fresh(kPropertyNamesBit).propertyNames.Under({{phrase, "", ""}});
}

PropertyEntry const* Registry::FindProperty(std::string_view phrase, TypeEntry const* index,
                                            TypeEntry const* object) const {
  if (!HasPropertyPhrase(phrase)) return nullptr;
  Lineage const indexTypes(*this, index);
  auto const& properties = Fresh(kPropertiesBit).properties;
  for (TypeEntry const* objectType : Lineage(*this, object)) {
    for (TypeEntry const* indexType : indexTypes) {
      if (auto const* entry =
              properties.First({{phrase, NameOf(indexType), NameOf(objectType)}})) {
        return entry;
      }
    }
  }
  return nullptr;
}

bool Registry::HasCastPhrase(std::string_view phrase) const {
  return !Fresh(kCastNamesBit).castNames.Under({{phrase, "", ""}}).empty();
}

std::span<CastEntry const* const> Registry::CastsNamed(std::string_view phrase) const {
  return Fresh(kCastNamesBit).castNames.Under({{phrase, "", ""}});
}

CastEntry const* Registry::FindCast(std::string_view phrase, TypeEntry const* source) const {
  if (!HasCastPhrase(phrase)) return nullptr;
  auto const& casts = Fresh(kCastsBit).casts;
  for (TypeEntry const* type : Lineage(*this, source)) {
    if (auto const* entry = casts.First({{phrase, NameOf(type), ""}})) return entry;
  }
  return nullptr;
}

OperatorEntry const* Registry::FindOperator(int code, TypeEntry const* left,
                                            TypeEntry const* right) const {
  Lineage const rightTypes(*this, right);
  auto const& operators = Fresh(kOperatorsBit).operators;
  for (TypeEntry const* leftType : Lineage(*this, left)) {
    for (TypeEntry const* rightType : rightTypes) {
      if (auto const* entry = operators.First({{NameOf(leftType), NameOf(rightType), ""}, code})) {
        return entry;
      }
    }
  }
  return nullptr;
}

DependencyNodeEntry const* Registry::FindDependency(void const* node) const {
  Record const* const record = Find(node);
  return record != nullptr && record->kind == RecordKind::kDependency ? &record->Dependency()
                                                                      : nullptr;
}

DependencyNodeEntry const* Registry::FindDependencyNamed(std::string_view name) const {
  // Nodes are a handful, asked for by name only in tests and messages.
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kDependency &&
        record->Dependency().name == name) {
      return &record->Dependency();
    }
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Phrases as a query names them.

std::size_t Registry::MatchPhrase(std::span<std::string_view const> words, PhraseKind kind) const {
  static PhraseIndex::Use const kPropertyUses[] = {PhraseIndex::kSingular, PhraseIndex::kPlural};
  static PhraseIndex::Use const kCastUses[] = {PhraseIndex::kCast};
  PhraseIndex const& phrases = Fresh(kPhrasesBit).phrases;
  if (kind == PhraseKind::kCast) return phrases.Match(words, kCastUses);
  return phrases.Match(words, kPropertyUses);
}

std::size_t Registry::LongestPhraseWords() const {
  return Fresh(kPhrasesBit).phrases.LongestWords();
}

std::vector<std::string> Registry::NearestPhrases(std::string_view words, std::size_t count) const {
  return Fresh(kPhrasesBit).phrases.Nearest(words, count);
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
  TypeEntry const* const type = &Find(record)->Type();
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
  for (Record const* record : caches_) {
    CacheEntry const& cache = record->Cache();
    if (cache.clear != nullptr) cache.clear(cache.cookie);
  }
}

std::vector<TypeEntry const*> Registry::Types() const {
  std::vector<TypeEntry const*> all;
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kType) all.push_back(&record->Type());
  }
  return all;
}

std::vector<PropertyEntry const*> Registry::Properties() const {
  std::vector<PropertyEntry const*> all;
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kProperty) all.push_back(&record->Property());
  }
  return all;
}

std::vector<CastEntry const*> Registry::Casts() const {
  std::vector<CastEntry const*> all;
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kCast) all.push_back(&record->Cast());
  }
  return all;
}

std::vector<OperatorEntry const*> Registry::Operators() const {
  std::vector<OperatorEntry const*> all;
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kOperator) all.push_back(&record->Operator());
  }
  return all;
}

std::vector<DependencyNodeEntry const*> Registry::Dependencies() const {
  std::vector<DependencyNodeEntry const*> all;
  for (Record const* record : order_) {
    if (record != nullptr && record->kind == RecordKind::kDependency) all.push_back(&record->Dependency());
  }
  return all;
}

}  // namespace survey::host
