#include "survey/client/application_usage.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "survey/client/layout.h"
#include "survey/client/sites.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

// The cursor's memory, for its counted runs and the texts the host puts in
// it.
void* AllocateCursorMemory(unsigned int size) { return std::malloc(size == 0 ? 1 : size); }
void ReleaseCursorMemory(void* block) { std::free(block); }

// Throws CannotEvaluateNow while the host blocks evaluation. A null slot is
// the nudge context's error; without the interface, `required` tells whether
// that is an error (NoSurveyorContext) or nothing to check.
void RequireEvaluationAllowed(bool required) {
  SurveyorNudgeContext* const nudges = FindContextInterface<SurveyorNudgeContext>();
  if (nudges == nullptr) {
    if (required) throw NoSurveyorContext();
    return;
  }
  if (nudges->IsEvaluationBlocked == nullptr) throw SurveyorNudgeContextError();
  if (nudges->IsEvaluationBlocked()) throw CannotEvaluateNow();
}

// A copy of the bytes in evaluation memory, which lives as long as the
// values that view it.
ConstData EvaluationCopy(ConstData const& bytes) {
  unsigned long const length = bytes.Length();
  if (length == 0 || bytes.begin == nullptr) return ConstData();
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  std::memcpy(copy, bytes.begin, length);
  return ConstData(copy, copy + length);
}

template <class T>
T* EvaluationValue(T const& value) {
  void* const memory = Allocate_Surveyor_Memory(sizeof(T));
  return ::new (memory) T(value);
}

boolean Boolean(bool flag) { return boolean{static_cast<unsigned char>(flag ? 1 : 0)}; }

}  // namespace

// ---------------------------------------------------------------------------
// The cursor and the raw events.

execution_app_iterator::execution_app_iterator() {
  position = 0;
  hostWord = 0;
  allocate = &AllocateCursorMemory;
  release = &ReleaseCursorMemory;
  type = 0;
  time = Instant();
  modificationTime = Instant();
  versionInfo = ConstData();
  path = ConstData();
  counts.allocate = &AllocateCursorMemory;
  counts.release = &ReleaseCursorMemory;
  counts.head = nullptr;
  for (std::uintptr_t& word : hostWords) word = 0;
  flags[0] = 0;
  flags[1] = 0;
  flags[2] = 1;
}

execution_app_iterator::~execution_app_iterator() {
  counts.Reset();
  if (versionInfo.begin != nullptr) release(const_cast<unsigned char*>(versionInfo.begin));
  if (path.begin != nullptr) release(const_cast<unsigned char*>(path.begin));
}

void execution_app_iterator::ResetCursor() {
  position = 0;
  counts.Reset();
  flags[0] = 0;
  flags[1] = 0;
  flags[2] = 1;
}

bool execution_app_iterator::ReadNext(surveyor_string const& name) {
  auto const read = ContextSlot<&SurveyorProcessTableContext::ReadNextExecution>();
  return read(reinterpret_cast<char const*>(name.data), name.length, this);
}

execution execution_app_iterator::First(surveyor_string const& name) {
  ResetCursor();
  return Next(name);
}

execution execution_app_iterator::Next(surveyor_string const& name) {
  RequireEvaluationAllowed(true);
  if (!ReadNext(name)) throw NoSuchObject();
  execution event;
  event.identity = EvaluationCopy(ConstData(name));
  event.time = time;
  event.type = type;
  event.modificationTime = modificationTime;
  event.path = EvaluationCopy(path);
  event.versionInfo = EvaluationCopy(versionInfo);
  return event;
}

surveyor_string ExecutionIdentity(execution const& value) {
  return value.identity.AsSurveyorString();
}

moment ExecutionTime(execution const& value) { return AsMoment(value.time); }

surveyor_string ExecutionType(execution const& value) {
  switch (value.type) {
    case kApplicationStart:
      return ConstData("Application Start").AsSurveyorString();
    case kApplicationEnd:
      return ConstData("Application End").AsSurveyorString();
    case kStartSampling:
      return ConstData("Start Sampling").AsSurveyorString();
    case kEndSampling:
      return ConstData("End Sampling").AsSurveyorString();
    default:
      throw NoSuchObject();
  }
}

surveyor_string ExecutionPath(execution const& value) { return value.path.AsSurveyorString(); }

moment ExecutionModTime(execution const& value) { return AsMoment(value.modificationTime); }

surveyor_string ExecutionVersionInfo(execution const& value) {
  return value.versionInfo.AsSurveyorString();
}

// ---------------------------------------------------------------------------
// Stretches of a constant count of instances.

TimedValue<integer> application_usage::First(surveyor_string const& name) {
  instances_ = 0;
  last_ = Instant();
  ResetCursor();
  return Next(name);
}

TimedValue<integer> application_usage::Next(surveyor_string const& name) {
  RequireEvaluationAllowed(false);
  for (;;) {
    if (!ReadNext(name)) throw NoSuchObject();
    Instant const at = time;
    bool const moved = !(at == last_);
    std::int32_t next = instances_;
    switch (type) {
      case kStartSampling:
        last_ = at;
        instances_ = 0;
        continue;
      // The count wraps as a 32-bit word would rather than overflow.
      case kApplicationStart:
        next = static_cast<std::int32_t>(static_cast<std::uint32_t>(instances_) + 1u);
        break;
      case kApplicationEnd:
        next = static_cast<std::int32_t>(static_cast<std::uint32_t>(instances_) - 1u);
        break;
      case kEndSampling:
        if (!moved) continue;
        next = 0;
        break;
      default:
        continue;
    }
    if (!moved) {
      instances_ = next;
      continue;
    }
    // The stretch from the last time to this event, with the count it had.
    moment const from = AsMoment(last_);
    moment const to = AsMoment(at);
    time_range range;
    if ((to < from).value != 0) {
      range.start = to;
      range.end = from;
    } else {
      range.start = from;
      range.end = to;
    }
    integer const count{instances_};
    last_ = at;
    instances_ = next;
    return TimedValue<integer>(EvaluationValue(range), EvaluationValue(count));
  }
}

// ---------------------------------------------------------------------------
// Summaries.

ApplicationUsageSummary ApplicationUsageSummary_maker(unsigned char const* name,
                                                      unsigned long length) {
  auto const summary = ContextSlot<&SurveyorProcessTableContext::GetApplicationUsageSummary>();
  SurveyorConstData const wanted{name, name + length};
  unsigned int runCount = 0;
  long long firstStart = 0;
  long long lastStart = 0;
  long long lastSeen = 0;
  long long totalDuration = 0;
  unsigned int running = 0;
  if (!summary(&wanted, &runCount, &firstStart, &lastStart, &lastSeen, &totalDuration, &running,
               Get_Generic_Surveyor_Context())) {
    throw NoSuchObject();
  }
  ApplicationUsageSummary value;
  value.name = Stringy(name, length);
  value.runCount = runCount;
  value.firstStart = Instant(firstStart);
  value.lastStart = Instant(lastStart);
  value.lastSeen = Instant(lastSeen);
  value.totalDuration = totalDuration;
  value.running = running;
  return value;
}

ApplicationUsageSummary app_usage_summary_iterator::SummaryOf(file const& statistics) {
  ConstData const fileName(UnixPlatform::Name(statistics));
  // The listing's pattern makes every name end in ".stat".
  if (fileName.Length() < 5) throw NoSuchObject();
  return ApplicationUsageSummary_maker(fileName.begin, fileName.Length() - 5);
}

ApplicationUsageSummary app_usage_summary_iterator::First() {
  if (folder_ == nullptr) {
    auto const storage = ContextSlot<&SurveyorStorageContext::GetStorageFolder>();
    std::unique_ptr<FileLocation> const location(storage(&SurveyorFileLocation));
    if (location == nullptr) throw NoSuchObject();
    folder_ = std::make_unique<folder>(
        FileLocation(*location, cRESERVED_USAGE_DIRECTORY_STATISTICS), false);
  }
  surveyor_string const pattern = ConstData("*.stat").AsSurveyorString();
  file const statistics = files_.FilteredFirstFile(pattern, Of(0), *folder_);
  try {
    return SummaryOf(statistics);
  } catch (...) {
    return Next();
  }
}

ApplicationUsageSummary app_usage_summary_iterator::Next() {
  surveyor_string const pattern = ConstData("*.stat").AsSurveyorString();
  for (;;) {
    file const statistics = files_.FilteredNextFile(pattern, Of(0), *folder_);
    try {
      return SummaryOf(statistics);
    } catch (...) {
      // A file whose application is not known, or that cannot be read, is
      // passed over.
    }
  }
}

surveyor_string GetName(ApplicationUsageSummary const& value) {
  return value.name.AsConstData().AsSurveyorString();
}

integer GetTotalRunCount(ApplicationUsageSummary const& value) {
  return integer{static_cast<long long>(value.runCount)};
}

moment GetFirstStartTime(ApplicationUsageSummary const& value) {
  return AsMoment(value.firstStart);
}

moment GetLastStartTime(ApplicationUsageSummary const& value) { return AsMoment(value.lastStart); }

moment GetLastTimeSeen(ApplicationUsageSummary const& value) { return AsMoment(value.lastSeen); }

time_interval GetTotalDuration(ApplicationUsageSummary const& value) {
  return integer{value.totalDuration} * microsecond_of();
}

boolean GetRunning(ApplicationUsageSummary const& value) { return Boolean(value.running != 0); }

// ---------------------------------------------------------------------------
// Registration, in table order. The events and totals are the host's of the
// moment and the statistics folder is read anew, so nothing is reused.

namespace {

using ExecutionStep = execution (execution_app_iterator::*)(surveyor_string const&);
using UsageStep = TimedValue<integer> (application_usage::*)(surveyor_string const&);

RegistrationTable table{
    TypeRow<execution>(),
    TypeRow<TimedValue<integer>>(),
    TypeRow<ApplicationUsageSummary>(),
    IteratedRow("execution", "executions", static_cast<ExecutionStep>(&execution_app_iterator::First),
                static_cast<ExecutionStep>(&execution_app_iterator::Next)),
    PropertyRow("identity", "identites", &ExecutionIdentity),
    PropertyRow("time", "times", &ExecutionTime),
    PropertyRow("type", "types", &ExecutionType),
    PropertyRow("path", "paths", &ExecutionPath),
    PropertyRow("modification time", "modification times", &ExecutionModTime),
    PropertyRow("version info", "version infos", &ExecutionVersionInfo),
    IteratedRow("application usage", "application usages",
                static_cast<UsageStep>(&application_usage::First),
                static_cast<UsageStep>(&application_usage::Next)),
    IndexedRow("application usage summary", "application usage summaries",
               &ApplicationUsageSummary_maker),
    IteratedRow("application usage summary", "application usage summaries",
                &app_usage_summary_iterator::First, &app_usage_summary_iterator::Next),
    PropertyRow("name", "names", &GetName),
    PropertyRow("total run count", "total run counts", &GetTotalRunCount),
    PropertyRow("first start time", "first start times", &GetFirstStartTime),
    PropertyRow("last start time", "last start times", &GetLastStartTime),
    PropertyRow("last time seen", "last times seen", &GetLastTimeSeen),
    PropertyRow("total duration", "total durations", &GetTotalDuration),
    PropertyRow("running", "runnings", &GetRunning),
};

}  // namespace
