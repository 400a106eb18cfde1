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
// sides rely on these layouts byte for byte. Each names itself, through a
// static `TypeName()`, by the name under which the host registers it.

// "string": a borrowed view of bytes, not NUL-terminated and not owned.
struct surveyor_string {
  unsigned char const* data;
  unsigned long length;

  static constexpr char const* TypeName() { return "string"; }
};

// "substring": a view of part of a string together with the whole string it
// was found in. Its base type is "string": the part comes first.
struct substring {
  surveyor_string part;
  surveyor_string whole;

  static constexpr char const* TypeName() { return "substring"; }
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

  static constexpr char const* TypeName() { return "integer"; }
};

// "boolean": one byte, 0 or 1.
struct boolean {
  unsigned char value;

  static constexpr char const* TypeName() { return "boolean"; }
};

// "time": opaque to the library. The host counts microseconds since
// 1970-01-01 00:00:00 UTC.
struct moment {
  long long ticks;

  static constexpr char const* TypeName() { return "time"; }
};

// "time interval": opaque to the library. The host counts microseconds.
struct time_interval {
  long long ticks;

  static constexpr char const* TypeName() { return "time interval"; }
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

// The errors of the context interfaces that have one: a slot that a property
// needs is null.
class SurveyorNudgeContextError : public SurveyorContextError {};
class SurveyorActionContextError : public SurveyorContextError {};
class SurveyorAnalysisContextError : public SurveyorContextError {};
class SurveyorSettingsContextError : public SurveyorContextError {};
class SurveyorSystemContextError : public SurveyorContextError {};
class SurveyorStorageContextError : public SurveyorContextError {};
class SurveyorNetworkContextError : public SurveyorContextError {};
class SurveyorSiteContextError : public SurveyorContextError {};
class SurveyorProcessTableContextError : public SurveyorContextError {};

// The question is valid but cannot be answered at this moment.
class CannotEvaluateNow : public DebuggableException {};

// A call of the C library's POSIX regular expressions failed: `Code()` is
// what regcomp or regexec returned, which regerror puts into words.
class RegularExpressionFailure : public DebuggableException {
 public:
  explicit RegularExpressionFailure(int code) : code_(code) {}
  int Code() const { return code_; }

 private:
  int code_;
};
class RegComp_Failed : public RegularExpressionFailure {
 public:
  using RegularExpressionFailure::RegularExpressionFailure;
};
class RegExec_Failed : public RegularExpressionFailure {
 public:
  using RegularExpressionFailure::RegularExpressionFailure;
};

// A surveyor with something to tell the reader of the evaluation.
class SurveyorDefinedError : public DebuggableException {
 public:
  virtual surveyor_string Message() const = 0;
};

// ---------------------------------------------------------------------------
// Context interfaces.
//
// The host's evaluation context derives from `SurveyorContext` and from each
// interface below that it offers; the library reaches an interface with a
// dynamic_cast from `SurveyorContext` and, when the cast gives null, answers
// that there is no context for the question. A host that lacks a facility
// simply does not derive from its interface.
//
// Most interfaces are plain structures of function pointers. Each slot is a
// free function that may be null; the library calls it with the arguments
// shown, and passes the context only where a slot takes a `SurveyorContext*`.
// A null slot makes the library throw the interface's error class above.
// Four interfaces are abstract classes whose operations are virtual (the
// server record, the selected server, file hashes and pending restarts):
// they have no null slot and no error class of their own.
//
// Conventions of the slots: a `bool` result is the slot's answer or its
// report of success, false being "none"; a time is a count of microseconds
// since 1970-01-01 00:00:00 UTC; a text handed out as `char const*` is
// zero-terminated and stays valid until the evaluation ends.
//
// Where a slot deals in one of the library's own classes, which a host does
// not know, it uses the nearest form that both sides do know:
//  - a byte range of the library stands as `SurveyorConstData`;
//  - a file location that the host names is given as its full path, and one
//    that the host returns is made by the library's factory
//    (`SurveyorLocationFactory`) from that path, and freed by the library;
//  - the site's URL goes to the host as its text;
//  - records and classes that the host must fill or own and whose layout
//    belongs with the surveyors that read them (`SiteMap`,
//    `SurveyorSiteGroup`, `SurveyorExecutionCursor`, `HostSelectorEntry`,
//    the setting stores) are declared here and defined with those surveyors.

// A range of bytes [begin, end), laid out as the library's byte views.
struct SurveyorConstData {
  unsigned char const* begin;
  unsigned char const* end;
};

class FileLocation;
struct SiteMap;
struct SurveyorSiteGroup;
struct SurveyorExecutionCursor;
class HostSelectorEntry;
class UnixSettingIterator;
template <class Iterator>
class SettingStore;

// Makes a new location, on the heap, of the file or folder at `path`. The
// library passes its factory to the storage slots; the host calls it with the
// full path it means, and the library later destroys what it returns.
using SurveyorLocationFactory = FileLocation* (*)(char const* path);

// Memory for a text that a slot hands back; the library forwards it to
// `Allocate_Surveyor_Memory`.
using SurveyorTextAllocator = void* (*)(unsigned long size);

// Lets a slot that may run long give the evaluation up. The action context
// is given one that returns 0; the site context one without a result.
using SurveyorInterruptCheck = int (*)();
using SurveyorInterruptCall = void (*)();

// A slot that the library never calls. It keeps the later slots in place.
using SurveyorUnusedSlot = void (*)();

// An advice item of a site, as the host fills it: seven 32-bit words on the
// 32-bit platform.
struct nudge {
  unsigned int relevant;       // relevance at the last evaluation, 0 or 1
  unsigned int position;       // position in the site's list, set by the host
  unsigned long long id;       // the nudge's number
  unsigned int headerSize;     // size of the header block, from GetHeaderSize
  unsigned char* headerBlock;  // where GetHeaders writes the headers
  unsigned int host;           // kept for the host
};

// An action, as the host fills it. The library's "action" value is a
// byte-for-byte copy of it.
struct SurveyorActionData {
  bool pending;  // the action still waits to finish
  unsigned long long id;
  unsigned long long dateTrue;   // when it became pending; 0 for never
  unsigned long long dateFalse;  // when it completed; 0 for never
  unsigned char host;            // kept for the host
  bool groupLeader;
  bool offer;
  bool pendingRestart;
  bool pendingLogin;
  bool constrained;
  bool offerAccepted;
  unsigned char constraint;  // the constraint code
  unsigned char persistentConstraint;
  unsigned short firstActiveCount;
  unsigned short activeCount;
  unsigned short activeLineNumber;
  unsigned long long activeStartTime;
  unsigned short lastActiveLineNumber;
  unsigned long long lastActiveTime;
  unsigned long long lastChangeTime;
  bool waitingForDownload;
  unsigned int actionId;             // for a group's sub-action
  unsigned int hostWord;             // kept for the host
  unsigned int subActionOrdinal;     // 0xffffffff for none
  bool active;                       // the action's script runs now
  unsigned long long originNudgeId;  // 0 for none
  bool failed;                       // a group's sub-action failed
  // Looks up a parameter of the action by name; 1 when found, with `value`
  // set to its bytes.
  unsigned char (*getParameter)(SurveyorConstData const* name, SurveyorConstData* value);
};

// The current analysis, as the host fills it.
struct SurveyorAnalysisData {
  long long time;          // when it last ran; 0 for never
  unsigned char host[56];  // the host's
};

// The client's lock state, as the host fills it. Only the first word has a
// meaning the library relies on.
struct SurveyorSystemData {
  unsigned int controller;  // 0 the client, 1 the console, 2 nobody
  unsigned char host[60];   // the host's
};

// One of the four buffers of the server record: the library points the three
// pointers into its own `bytes` before it asks the host.
struct SurveyorServerBuffer {
  unsigned char* begin;
  unsigned char* end;
  unsigned char* current;
  unsigned char bytes[256];
};

// What the host knows of its servers. The library makes the record, clears
// it, sets up the buffers and asks `SurveyorServerContext` to fill it.
struct SurveyorServerRecord {
  unsigned char hostHead[24];
  unsigned long long apparentServerTime;  // 0 when unknown
  unsigned char hostMiddle[4];
  unsigned long long computerId;
  unsigned char hostTail[12];
  unsigned int rootServerId;
  char registrationServerVersion[32];
  char registrationServerName[256];
  char relayVersion[256];
  char rootServerName[256];
  char downloadServerName[256];
  SurveyorServerBuffer buffers[4];
  unsigned char hostRest[256];
};

// A file's digest as the host shows it: `length` bytes of text.
struct SurveyorDigestText {
  unsigned long length;
  unsigned char text[128];
};

// Advice items of a site, and whether they may be read now.
struct SurveyorNudgeContext {
  // Finds the first item at or behind `record->position`, with only relevant
  // ones if asked; fills the record and sets `position` to where it was.
  bool (*GetNudge)(SiteMap* site, nudge* record, bool relevantOnly) = nullptr;
  // Sets `record->headerSize`.
  bool (*GetHeaderSize)(nudge* record) = nullptr;
  // Writes the headers into `record->headerBlock`.
  bool (*GetHeaders)(nudge* record) = nullptr;
  // Takes the next header from the cursor over the block whose name matches
  // `name` (an empty name matches any) and moves the cursor on; `name` and
  // `value` then view the header's texts.
  bool (*NextHeader)(SurveyorConstData* cursor, SurveyorConstData* name,
                     SurveyorConstData* value) = nullptr;
  SurveyorUnusedSlot unused5 = nullptr;
  // True while the items must not be read.
  bool (*IsEvaluationBlocked)() = nullptr;
};

// The actions of the client.
struct SurveyorActionContext {
  bool (*GetActiveAction)(SurveyorActionData* action) = nullptr;
  bool (*GetCurrentAction)(SurveyorActionData* action) = nullptr;
  // The action of that number, given as two 32-bit halves, low first.
  bool (*GetActionById)(unsigned int low, unsigned int high, SurveyorActionData* action,
                        SurveyorInterruptCheck interrupt) = nullptr;
};

// The analysis under evaluation.
struct SurveyorAnalysisContext {
  bool (*GetCurrentAnalysis)(SurveyorAnalysisData* analysis) = nullptr;
};

// The client's setting stores.
struct SurveyorSettingsContext {
  SettingStore<UnixSettingIterator>& (*GetClientSettingStore)() = nullptr;
  SettingStore<UnixSettingIterator>& (*GetSiteSettingStore)() = nullptr;
  SurveyorUnusedSlot unused3 = nullptr;
};

// The state of the client's action lock.
struct SurveyorSystemContext {
  bool (*GetSystemData)(SurveyorSystemData* data) = nullptr;
};

// The client's files and folders.
struct SurveyorStorageContext {
  // The full path of the host application's own executable file.
  char const* (*GetClientFile)() = nullptr;
  // The folder where the library keeps data of its own.
  FileLocation* (*GetStorageFolder)(SurveyorLocationFactory factory) = nullptr;
  SurveyorUnusedSlot unused3 = nullptr;
  SurveyorUnusedSlot unused4 = nullptr;
  // The client's folder of the site of that name.
  FileLocation* (*GetClientSiteFolder)(SurveyorLocationFactory factory,
                                       char const* siteName) = nullptr;
  // The folder of the site's own data, for the site folder at that full path
  // (as the previous slot gave it).
  FileLocation* (*GetSiteDataFolder)(SurveyorLocationFactory factory,
                                     char const* siteFolder) = nullptr;
};

// The machine's network names.
struct SurveyorNetworkContext {
  // The DNS domain name, in memory from `allocate`, zero-terminated.
  bool (*GetDnsName)(char** result, SurveyorTextAllocator allocate) = nullptr;
};

// The client's sites.
struct SurveyorSiteContext {
  SiteMap* (*GetSiteList)() = nullptr;     // the head of the list, or null
  SiteMap* (*GetCurrentSite)() = nullptr;  // the site under evaluation, or null
  // A number that changes whenever the list changes.
  unsigned long (*GetSiteListSerial)() = nullptr;
  // The computer group of that number (two 32-bit halves, low first) of the
  // site with that URL text.
  bool (*GetComputerGroup)(unsigned int low, unsigned int high, SurveyorConstData const* siteUrl,
                           SurveyorSiteGroup* group, SurveyorInterruptCall interrupt) = nullptr;
  // The name under which a custom site shows, zero-terminated in `buffer`.
  void (*GetCustomSiteName)(SurveyorConstData const* name, char* buffer,
                            unsigned long size) = nullptr;
};

// The host's table of running and recent applications, and their usage.
// Name buffers hold 4096 bytes.
struct SurveyorProcessTableContext {
  // The entry at `index`: its name and a state byte; false past the end.
  bool (*GetTableEntry)(unsigned long index, char* name, unsigned char* state) = nullptr;
  bool (*FindRecentApplication)(char const* name, unsigned long length, char* found) = nullptr;
  bool (*IsTableEntryRunning)(unsigned long index) = nullptr;
  bool (*FindRunningApplication)(char const* name, unsigned long length, char* found) = nullptr;
  // Moves the cursor to the next recorded event of the application named
  // by the `length` bytes at `name` (not zero-terminated) and fills the
  // cursor's event fields; false, with the fields as they were, after the
  // last event. The cursor's layout, its start values and who owns its
  // texts are told in survey/client/execution_cursor.h.
  bool (*ReadNextExecution)(char const* name, unsigned long length,
                            SurveyorExecutionCursor* cursor) = nullptr;
  // The totals of the application named by the bytes of `name`: run count,
  // first start, last start, last seen (times in microseconds since 1970),
  // total duration in microseconds, and whether it runs now (not 0). False
  // when the application is not known; the outputs are then not read. The
  // last argument is the present context.
  bool (*GetApplicationUsageSummary)(SurveyorConstData const* name, unsigned int* runCount,
                                     long long* firstStart, long long* lastStart,
                                     long long* lastSeen, long long* totalDuration,
                                     unsigned int* running, SurveyorContext* context) = nullptr;
  // A number that changes whenever the table changes.
  unsigned long (*GetTableSerial)() = nullptr;
};

// Lets a long walk give up its time slice, or let the host pace it. Both
// slots are given the context itself.
struct SurveyorYieldContext {
  void (*YieldTimeSlice)(SurveyorContext* context) = nullptr;
  void (*Trickle)(SurveyorContext* context) = nullptr;
};

// The client's cryptography states: each slot reads one field.
struct SurveyorFipsContext {
  bool (*FipsMode)() = nullptr;
  bool (*DesiredFipsMode)() = nullptr;
  char const* (*FipsModeFailureMessage)() = nullptr;  // null for none
  bool (*EncryptReport)() = nullptr;
  bool (*DesiredEncryptReport)() = nullptr;
  char const* (*EncryptReportFailureMessage)() = nullptr;  // null for none
};

// The subnet that wake-on-LAN requests go to.
struct WakeOnLanContext {
  char const* (*SubnetCidrString)() = nullptr;  // e.g. "192.168.1.0/24"; null for none
};

// The servers the client talks to. Fills the fields of the record that the
// host knows.
class SurveyorServerContext {
 public:
  virtual void GetServerRecord(SurveyorServerRecord& record) = 0;

 protected:
  ~SurveyorServerContext() = default;
};

// The server or relay that the client has chosen.
class HostSelectorSurveyorContext {
 public:
  virtual HostSelectorEntry const* GetSelectedServer() = 0;

 protected:
  ~HostSelectorSurveyorContext() = default;
};

// Digests of files, computed by the host.
class CryptoSurveyorContext {
 public:
  // The SHA-1 digest of the file at that full path, as text.
  virtual SurveyorDigestText HashOfFile(char const* path) = 0;

 protected:
  ~CryptoSurveyorContext() = default;
};

// Whether the machine waits for a restart, in all or for a named reason.
class PendingRestartSurveyorContext {
 public:
  virtual bool IsRestartPending() = 0;
  virtual bool IsRestartPendingFor(char const* name, unsigned long length) = 0;

 protected:
  ~PendingRestartSurveyorContext() = default;
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

// Time in the library's own classes. A host needs their layouts, which are
// plain fields: `ConstData` and `Buffer` in survey/foundation/data.h,
// `Instant`, `TimeObject` and `TimeZone` in survey/foundation/time.h. It
// touches only the fields and the inline constructors there.
class ConstData;
class Buffer;
class Instant;
class TimeObject;
class TimeZone;
// The moment of an instant of the library.
SURVEY_API moment AsMoment(Instant const& instant);
// A time in the host's text form, with the date and clock reading in the
// zone that the text gives; a text not of that form throws NoSuchObject.
SURVEY_API TimeObject TextToTime(ConstData text);
// Appends the zone in the host's text form; throws the library's
// DataOverflow, writing nothing, when the buffer has no room for it.
SURVEY_API Buffer& operator<<(Buffer& out, TimeZone const& zone);

// World access: a library of the host's world, and one of its properties.
SURVEY_API surveyor_library Lib_of_world(unsigned char const* name, unsigned long length);
SURVEY_API surveyor_string Property_of(unsigned char const* name, unsigned long length,
                                       surveyor_library const& library);
