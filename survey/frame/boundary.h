// The boundary between the surveyor library and the host that loads it.
//
// This is the one header both sides include. It declares the host's basic
// value types with their exact layouts, the tag type `Of`, the opaque host
// classes, the evaluation exceptions that cross the boundary, the polymorphic
// evaluation context, and every operation the host provides. The library
// imports the operations as undefined symbols that are resolved when a host
// loads it; the host defines them.
#pragma once

#include <cstdint>
#include <exception>
#include <typeinfo>

#define SURVEY_API __attribute__((visibility("default")))

// ---------------------------------------------------------------------------
// Basic value types. Each is a plain block of the layout given here; both
// sides rely on these layouts byte for byte.

// "string": a borrowed view of bytes, not NUL-terminated and not owned.
struct surveyor_string {
  unsigned char const* data;
  unsigned long length;
};

// "substring": a view of part of a string together with the whole string it
// was found in. Its base type is "string": the part comes first.
struct substring {
  surveyor_string part;
  surveyor_string whole;
};

// One element of a tuple value. A tuple of n elements is n nodes stored in
// the value, each pointing at its element, which lives elsewhere; the last
// node's `next` is null. Tuple type names read "( a, b )".
struct TupleNode {
  void const* element;
  TupleNode const* next;
};

// "integer": one signed 64-bit number.
struct integer {
  long long value;
};

// "boolean": one byte, 0 or 1.
struct boolean {
  unsigned char value;
};

// "time": opaque to the library. The host counts microseconds since
// 1970-01-01 00:00:00 UTC.
struct moment {
  long long ticks;
};

// "time interval": opaque to the library. The host counts microseconds.
struct time_interval {
  long long ticks;
};

// Marks a surveyor function that takes a direct object. It carries nothing;
// the adaptors pass 0 for it.
struct Of {
  constexpr Of(int) {}
};

// ---------------------------------------------------------------------------
// Opaque host classes.

class Fingerprinter;  // only ever held by reference in the library

// A library of the host's world, as `Lib_of_world` yields it.
struct surveyor_library {
  void const* handle;
};

// A plain mutual-exclusion lock owned by the host. The library holds it as a
// member and reaches it only through these four operations.
class SURVEY_API AccessLock {
 public:
  AccessLock();
  ~AccessLock();
  AccessLock(AccessLock const&) = delete;
  AccessLock& operator=(AccessLock const&) = delete;
  void Lock();
  void Unlock();

 private:
  alignas(8) unsigned char storage_[64];
};

// The polymorphic base of the host's evaluation context. The host's object
// derives from it and from every context interface it offers; the library
// reaches an interface with a dynamic_cast from this base.
class SurveyorContext {
 public:
  virtual ~SurveyorContext() = default;
};

// ---------------------------------------------------------------------------
// Evaluation exceptions: the library throws them through the adaptors and the
// host catches them. None carries text, apart from `SurveyorDefinedError`.

class DebuggableException : public std::exception {
 public:
  // The name of the object's dynamic type.
  char const* what() const noexcept override { return typeid(*this).name(); }
};

// There is no result: a singular phrase has none, or a stream has ended.
class NoSuchObject : public DebuggableException {};

// The context, or the interface a property needs, does not exist here or now.
class NoSurveyorContext : public DebuggableException {};

// The host has the context interface, but the slot a property needs is null.
// Each interface's own error class derives from this one.
class SurveyorContextError : public DebuggableException {};

// The question is valid but cannot be answered at this moment.
class CannotEvaluateNow : public DebuggableException {};

// A surveyor with something to tell the reader of the evaluation.
class SurveyorDefinedError : public DebuggableException {
 public:
  virtual surveyor_string Message() const = 0;
};

// ---------------------------------------------------------------------------
// Calling shapes.

// A property getter, an iterator's First or Next, or an aggregate phase.
using SurveyorGetter = int (*)(void* result, void const* index, void const* object, void* state,
                               void const* context);
// Destroys a value, or an iterator or aggregator state.
using SurveyorDestroy = void (*)(void const* value);
// Default-constructs an iterator or aggregator state.
using SurveyorConstruct = void (*)(void* state);
// Streams a value of a type into a fingerprint.
using SurveyorFingerprint = void (*)(Fingerprinter&, void const* value);
// States what a result depends on beyond its operands.
using SurveyorDependency = void (*)(Fingerprinter&);
using SurveyorCastThunk = void (*)(void* result, void const* value, void const* context);
using SurveyorOperatorThunk = void (*)(void* result, void const* left, void const* right,
                                       void const* context);
using SurveyorCacheClear = void (*)(void* cookie);

// Operator codes of `Register_Binary_Operator`.
enum SurveyorOperatorCode : int {
  kOperatorConcatenation = 5,
  kOperatorEqual = 6,
  kOperatorLessThan = 7,
  kOperatorLessOrEqual = 8,
  kOperatorStartsWith = 9,
  kOperatorEndsWith = 10,
  kOperatorContains = 11,
};

// Host-area sizes passed at registration.
constexpr unsigned long kTypeHostArea = 512;
constexpr unsigned long kRecordHostArea = 128;
constexpr unsigned long kCacheHostArea = 64;

// ---------------------------------------------------------------------------
// Operations the host provides.

// Registration. Each takes a zero-initialised static record first and its
// host-area size; strings are static and the host may keep the pointers. The
// empty type name stands for none. A registration that cannot be done throws.
SURVEY_API void Register_Type(void* record, unsigned long hostArea, char const* name,
                              unsigned long size, SurveyorDestroy destroy, char const* base,
                              SurveyorFingerprint fingerprint);
SURVEY_API void Register_Property(void* record, unsigned long hostArea, char const* singular,
                                  char const* plural, char const* index, char const* object,
                                  char const* result, SurveyorGetter getter, void const* context,
                                  SurveyorDependency dependency);
SURVEY_API void Register_Iterated_Property(void* record, unsigned long hostArea,
                                           char const* singular, char const* plural,
                                           char const* index, char const* object,
                                           char const* result, unsigned long stateSize,
                                           SurveyorConstruct construct, SurveyorDestroy destroy,
                                           SurveyorGetter first, SurveyorGetter next,
                                           void const* context, SurveyorDependency dependency);
SURVEY_API void Register_Aggregate_Property(
    void* record, unsigned long hostArea, char const* singular, char const* plural,
    char const* index, char const* object, char const* result, unsigned long stateSize,
    SurveyorConstruct construct, SurveyorDestroy destroy, SurveyorGetter firstInitial,
    SurveyorGetter nextInitial, SurveyorGetter firstIntermediate, SurveyorGetter nextIntermediate,
    SurveyorGetter firstFinal, SurveyorGetter nextFinal, void const* context,
    SurveyorDependency dependency);
SURVEY_API void Register_Cast(void* record, unsigned long hostArea, char const* phrase,
                              char const* source, char const* target, SurveyorCastThunk thunk,
                              void const* context, SurveyorDependency dependency);
SURVEY_API void Register_Binary_Operator(void* record, unsigned long hostArea, int code,
                                         char const* left, char const* right, char const* result,
                                         SurveyorOperatorThunk thunk, void const* context,
                                         SurveyorDependency dependency);
SURVEY_API void Register_Global_Dependency(void* node, unsigned long hostArea, char const* name,
                                           SurveyorDependency nodeFunction);
SURVEY_API void Register_Cache(void* record, unsigned long hostArea, SurveyorCacheClear clear,
                               void* cookie);

// Unregistration takes the record alone. `Unregister_Property` serves simple,
// iterated and aggregate properties.
SURVEY_API void Unregister_Type(void* record);
SURVEY_API void Unregister_Property(void* record);
SURVEY_API void Unregister_Cast(void* record);
SURVEY_API void Unregister_Binary_Operator(void* record);
SURVEY_API void Unregister_Global_Dependency(void* node);
SURVEY_API void Unregister_Cache(void* record);

// Scratch memory and control.
SURVEY_API unsigned char* Allocate_Surveyor_Memory(unsigned long size);
SURVEY_API void Check_For_Surveyor_Interruption();
SURVEY_API SurveyorContext* Get_Generic_Surveyor_Context();

// Fingerprinting.
SURVEY_API void Fingerprint_Byte_Range(Fingerprinter& fingerprinter, void const* begin,
                                       void const* end);
SURVEY_API void Fingerprint_Global(Fingerprinter& fingerprinter, void* node);
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, surveyor_string const& text);

// Values and time. A moment is made by the library only as january_1_1970
// plus a scaled interval.
SURVEY_API moment january_1_1970();
SURVEY_API moment moment_now();
SURVEY_API time_interval second_of();
SURVEY_API time_interval microsecond_of();
SURVEY_API time_interval operator*(integer const& factor, time_interval const& interval);
SURVEY_API time_interval operator*(time_interval const& interval, integer const& factor);
SURVEY_API moment operator+(moment const& when, time_interval const& interval);
SURVEY_API time_interval operator-(moment const& later, moment const& earlier);
SURVEY_API boolean operator<(moment const& left, moment const& right);
SURVEY_API surveyor_string asString(moment const& when);

// String comparisons. `Contains` and `StartsWith` take the text first and the
// looked-for text second.
SURVEY_API boolean operator==(surveyor_string const& left, surveyor_string const& right);
SURVEY_API boolean Contains(surveyor_string const& text, surveyor_string const& sought);
SURVEY_API boolean StartsWith(surveyor_string const& text, surveyor_string const& prefix);

// World access: a library of the host's world, and one of its properties.
SURVEY_API surveyor_library Lib_of_world(unsigned char const* name, unsigned long length);
SURVEY_API surveyor_string Property_of(unsigned char const* name, unsigned long length,
                                       surveyor_library const& library);
