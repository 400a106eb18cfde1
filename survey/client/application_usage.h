// The usage of the applications that the host watches: the raw events of
// one application ("execution"), the stretches of time in which its count of
// running instances stayed the same ("application usage"), and the totals
// the host keeps per application ("application usage summary").
//
// The library writes none of it and does not know where the host keeps it:
// the events come through `ReadNextExecution`, one per call, into the
// iterator's cursor (execution_cursor.h); the totals through
// `GetApplicationUsageSummary`. The summaries of all applications are found
// by listing the files "*.stat" in the folder "UsageData" of the storage
// folder: each names an application.
#pragma once

#include <memory>
#include <string>

#include "survey/client/execution_cursor.h"
#include "survey/files/filesystem_object.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"
#include "survey/frame/tuple.h"

// "execution": one event, with the name the query asked for as identity.
// The texts live in evaluation memory.
struct SURVEY_API execution {
  static constexpr char const* TypeName() { return "execution"; }

  ConstData identity;
  Instant time;
  std::uint32_t type;
  Instant modificationTime;
  ConstData path;
  ConstData versionInfo;
};

// The walk over one application's events, and the cursor that the host's
// reader moves. Every step asks the host anew.
class SURVEY_API execution_app_iterator : public SurveyorExecutionCursor {
 public:
  execution_app_iterator();
  // Frees the counted runs and the texts the cursor holds.
  ~execution_app_iterator();
  execution_app_iterator(execution_app_iterator const&) = delete;
  execution_app_iterator& operator=(execution_app_iterator const&) = delete;

  // Starts the walk over and reads the first event.
  execution First(surveyor_string const& name);
  // CannotEvaluateNow while the host blocks evaluation, NoSuchObject after
  // the last event.
  execution Next(surveyor_string const& name);

 protected:
  // The position, the counted runs and the flags at their start values.
  void ResetCursor();
  // Moves the cursor to the next event; false after the last one. Without
  // the process table's interface NoSurveyorContext, with a null reader
  // SurveyorProcessTableContextError.
  bool ReadNext(surveyor_string const& name);
};

SURVEY_API surveyor_string ExecutionIdentity(execution const& value);
SURVEY_API moment ExecutionTime(execution const& value);
// "Start Sampling", "Application Start", "Application End" or "End
// Sampling"; NoSuchObject for any other type.
SURVEY_API surveyor_string ExecutionType(execution const& value);
SURVEY_API surveyor_string ExecutionPath(execution const& value);
SURVEY_API moment ExecutionModTime(execution const& value);
SURVEY_API surveyor_string ExecutionVersionInfo(execution const& value);

// "time range": two moments, the earlier first.
struct time_range {
  static constexpr char const* TypeName() { return "time range"; }

  moment start;
  moment end;
};

// A time range and a value in one tuple, registered as "timed" followed by
// the tuple's name: "timed( time range, integer )". The elements live in
// evaluation memory, so the value may be copied freely.
template <class T>
class TimedValue : public SurveyorTuple2<time_range, T> {
 public:
  TimedValue(time_range const* range, T const* value) : SurveyorTuple2<time_range, T>(range, value) {}

  static char const* TypeName() {
    static std::string const name =
        std::string("timed") +
        MakeTupleTypeName(SurveyorTypeName<time_range>::Get(), SurveyorTypeName<T>::Get());
    return name.c_str();
  }
};

// The walk over one application's stretches of a constant count of running
// instances: each answer is the stretch's range and the count in it.
class SURVEY_API application_usage : public execution_app_iterator {
 public:
  application_usage() = default;

  // Clears the count and the last time, starts the walk over and gives the
  // first stretch.
  TimedValue<integer> First(surveyor_string const& name);
  TimedValue<integer> Next(surveyor_string const& name);

 private:
  std::int32_t instances_ = 0;
  // The time of the last event that moved the stretch on.
  Instant last_;
};

// "application usage summary": the host's totals of one application.
struct SURVEY_API ApplicationUsageSummary {
  static constexpr char const* TypeName() { return "application usage summary"; }

  Stringy name;
  std::uint32_t runCount;
  Instant firstStart;
  Instant lastStart;
  Instant lastSeen;
  std::int64_t totalDuration;  // microseconds
  std::uint32_t running;
};

// The totals of the application of that name. NoSuchObject when the host
// does not know it.
SURVEY_API ApplicationUsageSummary ApplicationUsageSummary_maker(unsigned char const* name,
                                                                  unsigned long length);

// The summaries of every application that has a statistics file in the
// storage folder's "UsageData": a file whose application the host does not
// know is passed over.
class SURVEY_API app_usage_summary_iterator {
 public:
  app_usage_summary_iterator() = default;
  ~app_usage_summary_iterator() = default;
  app_usage_summary_iterator(app_usage_summary_iterator const&) = delete;
  app_usage_summary_iterator& operator=(app_usage_summary_iterator const&) = delete;

  ApplicationUsageSummary First();
  ApplicationUsageSummary Next();

 private:
  // The summary of the file the listing gave, or NoSuchObject when it has
  // none.
  static ApplicationUsageSummary SummaryOf(file const& statistics);

  std::unique_ptr<folder> folder_;
  filesystem_object_iterator files_;
};

SURVEY_API surveyor_string GetName(ApplicationUsageSummary const& value);
SURVEY_API integer GetTotalRunCount(ApplicationUsageSummary const& value);
SURVEY_API moment GetFirstStartTime(ApplicationUsageSummary const& value);
SURVEY_API moment GetLastStartTime(ApplicationUsageSummary const& value);
SURVEY_API moment GetLastTimeSeen(ApplicationUsageSummary const& value);
SURVEY_API time_interval GetTotalDuration(ApplicationUsageSummary const& value);
SURVEY_API boolean GetRunning(ApplicationUsageSummary const& value);
