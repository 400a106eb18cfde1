#include "host/engine/host.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "host/engine/fingerprint.h"
#include "host/engine/time_text.h"

namespace survey::host {

namespace {

// Types whose values own nothing: destroying them does nothing.
void DestroyNothing(void const*) {}

template <class T>
void FingerprintBytes(Fingerprinter& fingerprinter, void const* value) {
  fingerprinter.Add(value, sizeof(T));
}

void FingerprintString(Fingerprinter& fingerprinter, void const* value) {
  fingerprinter << *static_cast<surveyor_string const*>(value);
}

void FingerprintSubstring(Fingerprinter& fingerprinter, void const* value) {
  fingerprinter << static_cast<substring const*>(value)->part;
}

// A site's 128 version numbers: the library fills the values, the type is
// the host's.
constexpr unsigned long kSiteVersionListSize = sizeof(std::uint32_t[128]);

}  // namespace

// The records of the host's own types, registered through the same
// operations as a library's, before any library and after it is gone.
struct Host::OwnTypes {
  alignas(16) unsigned char string[kTypeHostArea] = {};
  alignas(16) unsigned char integerType[kTypeHostArea] = {};
  alignas(16) unsigned char booleanType[kTypeHostArea] = {};
  alignas(16) unsigned char time[kTypeHostArea] = {};
  alignas(16) unsigned char interval[kTypeHostArea] = {};
  // Types that the library's records name without registering them.
  alignas(16) unsigned char substringType[kTypeHostArea] = {};
  alignas(16) unsigned char hertz[kTypeHostArea] = {};
  alignas(16) unsigned char siteVersionList[kTypeHostArea] = {};
};

Host::Host() : ownTypes_(std::make_unique<OwnTypes>()) {
  Registry::Scope scope(registry_);
  Register_Type(ownTypes_->string, kTypeHostArea, "string", sizeof(surveyor_string),
                &DestroyNothing, nullptr, &FingerprintString);
  Register_Type(ownTypes_->integerType, kTypeHostArea, "integer", sizeof(integer), &DestroyNothing,
                nullptr, &FingerprintBytes<integer>);
  Register_Type(ownTypes_->booleanType, kTypeHostArea, "boolean", sizeof(boolean), &DestroyNothing,
                nullptr, &FingerprintBytes<boolean>);
  Register_Type(ownTypes_->time, kTypeHostArea, "time", sizeof(moment), &DestroyNothing, nullptr,
                &FingerprintBytes<moment>);
  Register_Type(ownTypes_->interval, kTypeHostArea, "time interval", sizeof(time_interval),
                &DestroyNothing, nullptr, &FingerprintBytes<time_interval>);
  // The library names these in its records and registers none of them: a
  // part of a text, a processor's speed as a 64-bit count of hertz, and a
  // site's version numbers. The host's words give the first two their
  // phrases, casts and operators.
  Register_Type(ownTypes_->substringType, kTypeHostArea, "substring", sizeof(substring),
                &DestroyNothing, "string", &FingerprintSubstring);
  Register_Type(ownTypes_->hertz, kTypeHostArea, "hertz", sizeof(integer), &DestroyNothing,
                nullptr, &FingerprintBytes<integer>);
  Register_Type(ownTypes_->siteVersionList, kTypeHostArea, "site version list",
                kSiteVersionListSize, &DestroyNothing, nullptr,
                &FingerprintBytes<std::uint32_t[128]>);
  // The host's types live as long as the host: their entries are kept.
  stringType_ = registry_.FindType("string");
  integerType_ = registry_.FindType("integer");
  booleanType_ = registry_.FindType("boolean");
  timeType_ = registry_.FindType("time");
  intervalType_ = registry_.FindType("time interval");
}

Host::~Host() {
  Unload();
  Unregister_Type(ownTypes_->siteVersionList);
  Unregister_Type(ownTypes_->hertz);
  Unregister_Type(ownTypes_->substringType);
  Unregister_Type(ownTypes_->interval);
  Unregister_Type(ownTypes_->time);
  Unregister_Type(ownTypes_->booleanType);
  Unregister_Type(ownTypes_->integerType);
  Unregister_Type(ownTypes_->string);
}

void Host::Load(std::string const& path) {
  if (handle_ != nullptr) {
    throw EvaluationError(ErrorKind::kLoad, "a surveyor library is loaded already: " + path_);
  }
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    throw EvaluationError(ErrorKind::kLoad,
                          "cannot load surveyor library " + path + ": " + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    throw EvaluationError(ErrorKind::kLoad,
                          "cannot load surveyor library " + path + ": not a regular file");
  }
  std::size_t const before = registry_.RecordCount();
  unsigned long long const since = registry_.Sequence();
  // The library registers from its initialisers, inside dlopen: while the
  // load is under way the registry keeps what it refuses instead of
  // throwing, and reports it, with what only the whole load shows, at the
  // end.
  Registry::Scope scope(registry_);
  registry_.BeginLoad();
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  std::optional<std::string> const problem = registry_.EndLoad();
  if (handle == nullptr) {
    char const* const reason = dlerror();
    throw EvaluationError(ErrorKind::kLoad, "cannot load surveyor library " + path + ": " +
                                                (reason != nullptr ? reason : "unknown error"));
  }
  if (dlsym(handle, "survey") == nullptr) {
    dlclose(handle);
    throw EvaluationError(ErrorKind::kLoad,
                          path + " is not a surveyor library: it has no function \"survey\"");
  }
  if (registry_.RecordCount() == before) {
    // Its initialisers ran before, into another registry of this process.
    dlclose(handle);
    throw EvaluationError(ErrorKind::kLoad,
                          "surveyor library " + path + " is loaded by another host already");
  }
  if (problem) {
    // Closing the library undoes what did register, each record by the
    // unregistration it queued.
    registry_.ClearCaches();
    dlclose(handle);
    throw EvaluationError(ErrorKind::kLoad,
                          "cannot load surveyor library " + path + ": " + *problem);
  }
  // This host takes a return of 0 from an iterator's First or Next as the
  // end of the stream, as it takes NoSuchObject; a library that can end its
  // frequent iterations that way, without an exception, is told so.
  using Announcement = void (*)();
  if (auto const announce =
          reinterpret_cast<Announcement>(dlsym(handle, "survey_host_ends_streams_on_zero"))) {
    announce();
  }
  // Iterators that can pass over many values at once say so through the
  // library's exported function; a count then takes their passes. Iterators
  // that can pass over values that cannot hold given bytes, and records that
  // know the bytes their answers require, say so likewise; a filter then
  // asks only for values that may pass.
  LibraryOffers offers;
  offers.passOf = reinterpret_cast<IteratedPassOver (*)(void const*)>(
      dlsym(handle, "survey_iterated_pass_over"));
  offers.nextHoldingOf = reinterpret_cast<IteratedNextHolding (*)(void const*)>(
      dlsym(handle, "survey_iterated_next_holding"));
  offers.propertyBytesOf = reinterpret_cast<NecessaryBytes (*)(void const*)>(
      dlsym(handle, "survey_property_necessary_bytes"));
  offers.operatorBytesOf = reinterpret_cast<NecessaryBytes (*)(void const*)>(
      dlsym(handle, "survey_operator_necessary_bytes"));
  registry_.AdoptOffers(since, offers);
  handle_ = handle;
  path_ = path;
}

void* Host::Symbol(char const* name) const {
  if (handle_ == nullptr) return nullptr;
  return dlsym(handle_, name);
}

void Host::Unload() {
  if (handle_ == nullptr) return;
  // What the library keeps in its caches it frees only when asked to.
  registry_.ClearCaches();
  // The library's destructors unregister its records one by one; the
  // registry builds its indexes once at the end instead of at each.
  registry_.BeginUnload();
  dlclose(handle_);
  registry_.EndUnload();
  handle_ = nullptr;
}

TypeEntry const* Host::StringType() const { return stringType_; }
TypeEntry const* Host::IntegerType() const { return integerType_; }
TypeEntry const* Host::BooleanType() const { return booleanType_; }
TypeEntry const* Host::TimeType() const { return timeType_; }
TypeEntry const* Host::IntervalType() const { return intervalType_; }

Value Host::MakeString(std::string_view bytes) const {
  return Value::MakeString(StringType(), bytes);
}

Value Host::MakeInteger(long long number) const {
  return Value::MakeInteger(IntegerType(), number);
}

std::unique_ptr<Evaluation> Host::NewEvaluation(SurveyorContext* context) const {
  registry_.ClearCaches();
  return std::make_unique<Evaluation>(registry_, context);
}

std::unique_ptr<Stream> Host::Property(std::string_view phrase, Value const& index,
                                       Value const& object) const {
  PropertyEntry const& entry = registry_.LookupProperty(phrase, index.Type(), object.Type());
  if (entry.kind == PropertyKind::kAggregate) {
    throw EvaluationError(ErrorKind::kTypeError,
                          Describe(entry) + " is an aggregate: it takes a stream");
  }
  return OpenProperty(Bind(registry_, entry), index, object);
}

Value Host::Cast(std::string_view phrase, Value const& value) const {
  CastEntry const& cast = registry_.LookupCast(phrase, value.Type());
  TypeEntry const* const target = registry_.FindType(cast.target);
  if (target == nullptr) {
    throw EvaluationError(
        ErrorKind::kNoSuchProperty,
        "the cast " + Quoted(phrase) + " yields the unregistered type " + Quoted(cast.target));
  }
  return CallCast(cast, target, value);
}

std::string Host::Text(Value const& value) const {
  if (value.Empty()) return std::string();
  TypeEntry const* const type = value.Type();
  if (registry_.IsA(type, "string")) {
    surveyor_string const& text = value.As<surveyor_string>();
    return text.length == 0 ? std::string()
                            : std::string(reinterpret_cast<char const*>(text.data), text.length);
  }
  if (registry_.IsA(type, "integer")) return std::to_string(value.As<integer>().value);
  if (registry_.IsA(type, "boolean")) return value.As<boolean>().value == 1 ? "True" : "False";
  if (registry_.IsA(type, "time")) return TimeText(value.As<moment>().ticks);
  if (registry_.IsA(type, "time interval")) return IntervalText(value.As<time_interval>().ticks);
  // A value whose cast gives no text ("no such object") has none.
  if (registry_.FindCast("string", type) != nullptr) {
    try {
      return Text(Cast("string", value));
    } catch (EvaluationError const& error) {
      if (error.Kind() != ErrorKind::kNoValue) throw;
    }
  }
  return "<" + type->name + ">";
}

}  // namespace survey::host
