// The operations a surveyor library imports from its host: registration,
// scratch memory, interruption, the context, fingerprints, time, strings,
// the lock and the world's library table.

#include <pthread.h>

#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/engine/calls.h"
#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "host/engine/time_text.h"
#include "survey/foundation/time.h"

using survey::host::CacheEntry;
using survey::host::CastEntry;
using survey::host::DependencyNodeEntry;
using survey::host::Evaluation;
using survey::host::OperatorEntry;
using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::TypeEntry;

namespace {

// The refusal of a null phrase or type name. It is made apart from the
// registrations, which a library makes by the thousand at every start, so
// that their own code stays short.
[[noreturn, gnu::cold, gnu::noinline]] void RefuseNull(char const* what) {
  throw RegistrationError(std::string("null ") + what + " at registration");
}

// A phrase or type name as given; a null one is refused, since the host keeps
// and compares them.
std::string Text(char const* text, char const* what) {
  if (text == nullptr) [[unlikely]]
    RefuseNull(what);
  return std::string(text);
}

// The empty string and null both stand for "none".
std::string OptionalText(char const* text) { return text == nullptr ? std::string() : text; }

// A phrase or type name for a message, as the library gave it.
std::string Shown(char const* text) {
  return text == nullptr ? std::string("(null)") : survey::host::Quoted(text);
}

// Runs a registration. While a library loads, a refusal cannot be thrown: it
// would pass through the library's static initialisers and dlopen, and end
// the process. The registry keeps the first one instead, with the record's
// kind and name, and the load reports it once the library has finished
// loading. Outside a load the refusal is thrown as ever.
template <class Describe, class Body>
void Registering(Describe describe, Body body) {
  try {
    body();
  } catch (std::exception const& error) {
    Registry& registry = Registry::Current();
    if (!registry.Loading()) throw;
    registry.Refuse(describe() + " (" + error.what() + ")");
  } catch (...) {
    Registry& registry = Registry::Current();
    if (!registry.Loading()) throw;
    registry.Refuse(describe());
  }
}

std::string DescribeProperty(char const* singular, char const* plural, char const* index,
                             char const* object) {
  std::string text = "property " + Shown(singular) + " / " + Shown(plural);
  if (index != nullptr && *index != '\0') text += " with " + Shown(index);
  text += object == nullptr || *object == '\0' ? std::string(" of world") : " of " + Shown(object);
  return text;
}

void Unregister(RecordKind kind, void* record) {
  Registry* const owner = Registry::Owner(record);
  (owner != nullptr ? *owner : Registry::Current()).Remove(kind, record);
}

// Memory asked for outside any evaluation: kept for the life of the process.
survey::host::Arena& LooseArena() {
  static survey::host::Arena* const arena = new survey::host::Arena;
  return *arena;
}

}  // namespace

// ---------------------------------------------------------------------------
// Registration.

void Register_Type(void* record, unsigned long hostArea, char const* name, unsigned long size,
                   SurveyorDestroy destroy, char const* base, SurveyorFingerprint fingerprint) {
  Registering([&] { return std::string("type ") + Shown(name); },
              [&] {
                TypeEntry entry;
                entry.name = Text(name, "type name");
                entry.size = size;
                entry.destroy = destroy;
                entry.baseName = OptionalText(base);
                entry.fingerprint = fingerprint;
                Registry::Current().AddType(record, hostArea, std::move(entry));
              });
}

namespace {
// The names are views of the library's text until the registry files the
// entry with copies of its own.
inline std::string_view TextView(char const* text, char const* what) {
  if (text == nullptr) [[unlikely]]
    RefuseNull(what);
  return text;
}

std::string_view OptionalTextView(char const* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

PropertyEntry PropertyHeader(char const* singular, char const* plural, char const* index,
                             char const* object, char const* result, void const* context,
                             SurveyorDependency dependency) {
  PropertyEntry entry;
  entry.singular = TextView(singular, "singular phrase");
  entry.plural = TextView(plural, "plural phrase");
  entry.index = OptionalTextView(index);
  entry.object = OptionalTextView(object);
  entry.result = TextView(result, "result type");
  entry.context = context;
  entry.dependency = dependency;
  return entry;
}

[[noreturn, gnu::cold, gnu::noinline]] void RefuseLacking(char const* what,
                                                          std::string_view phrase) {
  throw RegistrationError("\"" + std::string(phrase) + "\" registered without " + what);
}

inline void Require(bool present, char const* what, std::string_view phrase) {
  if (!present) [[unlikely]]
    RefuseLacking(what, phrase);
}
}  // namespace

void Register_Property(void* record, unsigned long hostArea, char const* singular,
                       char const* plural, char const* index, char const* object,
                       char const* result, SurveyorGetter getter, void const* context,
                       SurveyorDependency dependency) {
  Registering([&] { return DescribeProperty(singular, plural, index, object); },
              [&] {
                PropertyEntry entry =
                    PropertyHeader(singular, plural, index, object, result, context, dependency);
                entry.kind = PropertyKind::kSimple;
                Require(getter != nullptr, "a getter", entry.singular);
                entry.getter = getter;
                Registry::Current().AddProperty(record, hostArea, std::move(entry));
              });
}

void Register_Iterated_Property(void* record, unsigned long hostArea, char const* singular,
                                char const* plural, char const* index, char const* object,
                                char const* result, unsigned long stateSize,
                                SurveyorConstruct construct, SurveyorDestroy destroy,
                                SurveyorGetter first, SurveyorGetter next, void const* context,
                                SurveyorDependency dependency) {
  Registering([&] { return DescribeProperty(singular, plural, index, object); },
              [&] {
                PropertyEntry entry =
                    PropertyHeader(singular, plural, index, object, result, context, dependency);
                entry.kind = PropertyKind::kIterated;
                Require(first != nullptr && next != nullptr, "First and Next", entry.singular);
                entry.stateSize = stateSize;
                entry.construct = construct;
                entry.destroyState = destroy;
                entry.first = first;
                entry.next = next;
                Registry::Current().AddProperty(record, hostArea, std::move(entry));
              });
}

void Register_Aggregate_Property(void* record, unsigned long hostArea, char const* singular,
                                 char const* plural, char const* index, char const* object,
                                 char const* result, unsigned long stateSize,
                                 SurveyorConstruct construct, SurveyorDestroy destroy,
                                 SurveyorGetter firstInitial, SurveyorGetter nextInitial,
                                 SurveyorGetter firstIntermediate, SurveyorGetter nextIntermediate,
                                 SurveyorGetter firstFinal, SurveyorGetter nextFinal,
                                 void const* context, SurveyorDependency dependency) {
  Registering([&] { return DescribeProperty(singular, plural, index, object); },
              [&] {
                PropertyEntry entry =
                    PropertyHeader(singular, plural, index, object, result, context, dependency);
                entry.kind = PropertyKind::kAggregate;
                entry.stateSize = stateSize;
                entry.construct = construct;
                entry.destroyState = destroy;
                entry.phases[survey::host::kFirstInitial] = firstInitial;
                entry.phases[survey::host::kNextInitial] = nextInitial;
                entry.phases[survey::host::kFirstIntermediate] = firstIntermediate;
                entry.phases[survey::host::kNextIntermediate] = nextIntermediate;
                entry.phases[survey::host::kFirstFinal] = firstFinal;
                entry.phases[survey::host::kNextFinal] = nextFinal;
                Registry::Current().AddProperty(record, hostArea, std::move(entry));
              });
}

void Register_Cast(void* record, unsigned long hostArea, char const* phrase, char const* source,
                   char const* target, SurveyorCastThunk thunk, void const* context,
                   SurveyorDependency dependency) {
  Registering([&] { return std::string("cast ") + Shown(phrase) + " of " + Shown(source); },
              [&] {
                CastEntry entry;
                entry.phrase = Text(phrase, "cast phrase");
                entry.source = Text(source, "cast source type");
                entry.target = Text(target, "cast target type");
                Require(thunk != nullptr, "a thunk", entry.phrase);
                entry.thunk = thunk;
                entry.context = context;
                entry.dependency = dependency;
                Registry::Current().AddCast(record, hostArea, std::move(entry));
              });
}

void Register_Binary_Operator(void* record, unsigned long hostArea, int code, char const* left,
                              char const* right, char const* result, SurveyorOperatorThunk thunk,
                              void const* context, SurveyorDependency dependency) {
  Registering(
      [&] {
        return "operator " + Shown(survey::host::OperatorName(code).c_str()) + " of " +
               Shown(left) + " and " + Shown(right);
      },
      [&] {
        OperatorEntry entry;
        entry.code = code;
        entry.left = Text(left, "left operand type");
        entry.right = Text(right, "right operand type");
        entry.result = Text(result, "operator result type");
        // The name is made only for the refusal.
        if (thunk == nullptr) [[unlikely]]
          RefuseLacking("a thunk", "operator " + std::to_string(code));
        entry.thunk = thunk;
        entry.context = context;
        entry.dependency = dependency;
        Registry::Current().AddOperator(record, hostArea, std::move(entry));
      });
}

void Register_Global_Dependency(void* node, unsigned long hostArea, char const* name,
                                SurveyorDependency nodeFunction) {
  Registering([&] { return std::string("global dependency ") + Shown(name); },
              [&] {
                DependencyNodeEntry entry;
                entry.name = Text(name, "dependency node name");
                entry.function = nodeFunction;
                Registry::Current().AddDependency(node, hostArea, std::move(entry));
              });
}

void Register_Cache(void* record, unsigned long hostArea, SurveyorCacheClear clear, void* cookie) {
  Registering([&] { return std::string("cache"); },
              [&] {
                CacheEntry entry;
                entry.clear = clear;
                entry.cookie = cookie;
                Registry::Current().AddCache(record, hostArea, entry);
              });
}

void Unregister_Type(void* record) { Unregister(RecordKind::kType, record); }
void Unregister_Property(void* record) { Unregister(RecordKind::kProperty, record); }
void Unregister_Cast(void* record) { Unregister(RecordKind::kCast, record); }
void Unregister_Binary_Operator(void* record) { Unregister(RecordKind::kOperator, record); }
void Unregister_Global_Dependency(void* node) { Unregister(RecordKind::kDependency, node); }
void Unregister_Cache(void* record) { Unregister(RecordKind::kCache, record); }

// ---------------------------------------------------------------------------
// Scratch memory and control.

unsigned char* Allocate_Surveyor_Memory(unsigned long size) {
  Evaluation* const evaluation = Evaluation::Current();
  return evaluation != nullptr ? evaluation->GetArena().Allocate(size)
                               : LooseArena().Allocate(size);
}

void Check_For_Surveyor_Interruption() {
  if (Evaluation* const evaluation = Evaluation::Current()) evaluation->CheckInterruption();
}

SurveyorContext* Get_Generic_Surveyor_Context() {
  Evaluation* const evaluation = Evaluation::Current();
  return evaluation != nullptr ? evaluation->Context() : nullptr;
}

// ---------------------------------------------------------------------------
// Fingerprints.

void Fingerprint_Byte_Range(Fingerprinter& fingerprinter, void const* begin, void const* end) {
  auto const* const first = static_cast<unsigned char const*>(begin);
  auto const* const last = static_cast<unsigned char const*>(end);
  if (first == nullptr || last <= first) return;
  fingerprinter.Add(first, static_cast<std::size_t>(last - first));
}

void Fingerprint_Global(Fingerprinter& fingerprinter, void* node) {
  Registry* const owner = Registry::Owner(node);
  if (owner == nullptr) return;
  DependencyNodeEntry const* const entry = owner->FindDependency(node);
  if (entry == nullptr) return;
  std::uint64_t digest;
  if (Evaluation* const evaluation = Evaluation::Current()) {
    digest = evaluation->NodeDigest(*entry);
  } else {
    Fingerprinter own;
    if (entry->function != nullptr) entry->function(own);
    digest = own.Digest();
  }
  fingerprinter.Add(&digest, sizeof digest);
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, surveyor_string const& text) {
  // The length goes first, so that two strings fed in a row cannot be
  // confused with another split of the same bytes.
  std::uint64_t const length = text.length;
  fingerprinter.Add(&length, sizeof length);
  if (text.length != 0) fingerprinter.Add(text.data, text.length);
  return fingerprinter;
}

// ---------------------------------------------------------------------------
// Time. A moment counts microseconds since 1970-01-01 00:00:00 UTC; an
// interval counts microseconds. Arithmetic that leaves 64 bits is refused.

namespace {
constexpr long long kMicrosecondsPerSecond = 1000000;

long long Checked(bool overflowed, long long value, char const* what) {
  if (overflowed) throw std::overflow_error(std::string("time arithmetic out of range in ") + what);
  return value;
}
}  // namespace

moment january_1_1970() { return moment{0}; }

moment moment_now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return moment{static_cast<long long>(now.tv_sec) * kMicrosecondsPerSecond + now.tv_nsec / 1000};
}

time_interval second_of() { return time_interval{kMicrosecondsPerSecond}; }

time_interval microsecond_of() { return time_interval{1}; }

time_interval operator*(integer const& factor, time_interval const& interval) {
  long long product;
  bool const overflowed = __builtin_mul_overflow(factor.value, interval.ticks, &product);
  return time_interval{Checked(overflowed, product, "integer * interval")};
}

time_interval operator*(time_interval const& interval, integer const& factor) {
  return factor * interval;
}

moment operator+(moment const& when, time_interval const& interval) {
  long long sum;
  bool const overflowed = __builtin_add_overflow(when.ticks, interval.ticks, &sum);
  return moment{Checked(overflowed, sum, "time + interval")};
}

time_interval operator-(moment const& later, moment const& earlier) {
  long long difference;
  bool const overflowed = __builtin_sub_overflow(later.ticks, earlier.ticks, &difference);
  return time_interval{Checked(overflowed, difference, "time - time")};
}

boolean operator<(moment const& left, moment const& right) {
  return boolean{static_cast<unsigned char>(left.ticks < right.ticks ? 1 : 0)};
}

surveyor_string asString(moment const& when) {
  std::string const text = survey::host::TimeText(when.ticks);
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.size());
  std::memcpy(bytes, text.data(), text.size());
  return surveyor_string{bytes, static_cast<unsigned long>(text.size())};
}

// The library's own time classes. The host reads and fills their fields and
// never calls into the library for them.

moment AsMoment(Instant const& instant) { return moment{instant.microseconds}; }

TimeObject TextToTime(ConstData text) {
  survey::host::TimeFields fields;
  std::string_view const view(
      reinterpret_cast<char const*>(text.begin),
      text.begin == nullptr ? 0 : static_cast<std::size_t>(text.end - text.begin));
  if (!survey::host::ParseTimeFields(view, fields)) throw NoSuchObject();
  TimeObject time;
  time.date.day = fields.day;
  time.date.month = static_cast<Month>(fields.month);
  time.date.year = static_cast<std::uint32_t>(fields.year);
  time.time.hour = static_cast<std::uint8_t>(fields.hour);
  time.time.minute = static_cast<std::uint8_t>(fields.minute);
  time.time.second = static_cast<std::uint8_t>(fields.second);
  time.zone.offset = static_cast<std::int32_t>(fields.offset);
  return time;
}

Buffer& operator<<(Buffer& out, TimeZone const& zone) {
  std::string const text = survey::host::ZoneText(zone.offset);
  if (static_cast<std::size_t>(out.end - out.current) < text.size()) throw DataOverflow();
  std::memcpy(out.current, text.data(), text.size());
  out.current += text.size();
  return out;
}

// ---------------------------------------------------------------------------
// Strings.

namespace {
boolean Truth(bool value) { return boolean{static_cast<unsigned char>(value ? 1 : 0)}; }
}  // namespace

boolean operator==(surveyor_string const& left, surveyor_string const& right) {
  return Truth(left.length == right.length &&
               (left.length == 0 || std::memcmp(left.data, right.data, left.length) == 0));
}

namespace {
// Whether the text holds the sought bytes. memchr finds each place of the
// first byte, and the rest is compared there: on texts of the length of a
// line this costs a fraction of memmem, whose set-up alone is dearer. After
// a few places that do not match, memmem takes over from the last one, so
// that a text full of the first byte costs no more than memmem would.
bool Holds(unsigned char const* text, unsigned long length, unsigned char const* sought,
           unsigned long size) {
  constexpr int kPlacesBeforeMemmem = 8;
  unsigned char const* at = text;
  unsigned char const* const end = text + length;
  for (int place = 0; place < kPlacesBeforeMemmem; ++place) {
    if (static_cast<unsigned long>(end - at) < size) return false;
    auto const* found = static_cast<unsigned char const*>(
        std::memchr(at, sought[0], static_cast<unsigned long>(end - at) - size + 1));
    if (found == nullptr) return false;
    if (std::memcmp(found + 1, sought + 1, size - 1) == 0) return true;
    at = found + 1;
  }
  if (static_cast<unsigned long>(end - at) < size) return false;
  return memmem(at, static_cast<unsigned long>(end - at), sought, size) != nullptr;
}
}  // namespace

boolean Contains(surveyor_string const& text, surveyor_string const& sought) {
  if (sought.length == 0) return Truth(true);
  if (sought.length > text.length) return Truth(false);
  return Truth(Holds(text.data, text.length, sought.data, sought.length));
}

boolean StartsWith(surveyor_string const& text, surveyor_string const& prefix) {
  return Truth(prefix.length <= text.length &&
               (prefix.length == 0 || std::memcmp(text.data, prefix.data, prefix.length) == 0));
}

// ---------------------------------------------------------------------------
// The world's library table. The host knows one library of its own,
// "HostApplication", whose "Version" is the host's version.

namespace {
struct WorldLibrary {
  char const* name;
  char const* version;
};
constexpr WorldLibrary kHostApplication{"HostApplication", SURVEY_HOST_VERSION};

bool SameText(unsigned char const* bytes, unsigned long length, char const* text) {
  return bytes != nullptr && std::strlen(text) == length && std::memcmp(bytes, text, length) == 0;
}
}  // namespace

surveyor_library Lib_of_world(unsigned char const* name, unsigned long length) {
  if (SameText(name, length, kHostApplication.name)) return surveyor_library{&kHostApplication};
  throw NoSuchObject();
}

surveyor_string Property_of(unsigned char const* name, unsigned long length,
                            surveyor_library const& library) {
  auto const* const world = static_cast<WorldLibrary const*>(library.handle);
  if (world == nullptr || !SameText(name, length, "Version")) throw NoSuchObject();
  return surveyor_string{reinterpret_cast<unsigned char const*>(world->version),
                         static_cast<unsigned long>(std::strlen(world->version))};
}

// ---------------------------------------------------------------------------
// The lock.

static_assert(sizeof(pthread_mutex_t) <= 64, "AccessLock's storage holds a pthread mutex");

AccessLock::AccessLock() : storage_() {
  ::new (static_cast<void*>(storage_)) pthread_mutex_t(PTHREAD_MUTEX_INITIALIZER);
}

AccessLock::~AccessLock() { pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(storage_)); }

void AccessLock::Lock() { pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(storage_)); }

void AccessLock::Unlock() { pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(storage_)); }
