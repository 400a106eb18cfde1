// The usage log's surveyors through a context of the test's own: the events
// as the host's reader gives them, the stretches of a constant count, the
// blocking of evaluation at any step, and the summaries of a statistics
// folder whose files the test writes.

#include "survey/client/application_usage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/client/sites.h"
#include "tests/support/shell.h"

namespace {

using survey::host::Evaluation;
using survey::host::Registry;

// The host's stream: each application's events, in order.
struct Event {
  std::uint32_t type;
  std::int64_t time;
  std::string path;
  std::string versionInfo;
  std::int64_t modificationTime;
};
std::map<std::string, std::vector<Event>> streams;
// The totals the host knows, by name.
struct Totals {
  unsigned runCount;
  long long firstStart, lastStart, lastSeen, duration;
  unsigned running;
};
std::map<std::string, Totals> totals;
int blockAfterReads = -1;  // reading is blocked once this many events are read
int reads = 0;
std::string storageFolder;
std::vector<std::string> cursorTexts;  // what the cursor held at each read

void PutText(SurveyorExecutionCursor& cursor, ConstData& field, std::string const& text) {
  if (field.begin != nullptr) cursor.release(const_cast<unsigned char*>(field.begin));
  field = ConstData();
  if (text.empty()) return;
  auto* const copy = static_cast<unsigned char*>(cursor.allocate(static_cast<unsigned>(text.size())));
  std::memcpy(copy, text.data(), text.size());
  field = ConstData(copy, copy + text.size());
}

bool ReadNext(char const* name, unsigned long length, SurveyorExecutionCursor* cursor) {
  auto const found = streams.find(std::string(name, length));
  if (found == streams.end() || cursor->position >= found->second.size()) return false;
  Event const& event = found->second[cursor->position];
  cursor->position += 1;
  cursor->type = event.type;
  cursor->time = Instant(event.time);
  cursor->modificationTime = Instant(event.modificationTime);
  PutText(*cursor, cursor->path, event.path);
  PutText(*cursor, cursor->versionInfo, event.versionInfo);
  ++reads;
  return true;
}

bool Summary(SurveyorConstData const* name, unsigned int* runCount, long long* firstStart,
             long long* lastStart, long long* lastSeen, long long* duration, unsigned int* running,
             SurveyorContext* context) {
  EXPECT_EQ(Get_Generic_Surveyor_Context(), context);
  auto const found = totals.find(std::string(reinterpret_cast<char const*>(name->begin),
                                             static_cast<std::size_t>(name->end - name->begin)));
  if (found == totals.end()) return false;
  *runCount = found->second.runCount;
  *firstStart = found->second.firstStart;
  *lastStart = found->second.lastStart;
  *lastSeen = found->second.lastSeen;
  *duration = found->second.duration;
  *running = found->second.running;
  return true;
}

bool Blocked() { return blockAfterReads >= 0 && reads >= blockAfterReads; }

FileLocation* Storage(SurveyorLocationFactory factory) { return factory(storageFolder.c_str()); }

class TableHost : public SurveyorContext, public SurveyorProcessTableContext {
 public:
  TableHost() {
    ReadNextExecution = &ReadNext;
    GetApplicationUsageSummary = &Summary;
  }
};

class UsageHost : public TableHost, public SurveyorNudgeContext, public SurveyorStorageContext {
 public:
  UsageHost() {
    IsEvaluationBlocked = &Blocked;
    GetStorageFolder = &Storage;
  }
};

class ApplicationUsageTest : public ::testing::Test {
 protected:
  ApplicationUsageTest() {
    streams.clear();
    totals.clear();
    blockAfterReads = -1;
    reads = 0;
    storageFolder = scratch.Path();
    mkdir((storageFolder + "/UsageData").c_str(), 0700);
  }

  template <class Body>
  void Within(SurveyorContext* context, Body body) {
    Evaluation evaluation(Registry::Default(), context);
    Evaluation::Scope scope(evaluation);
    body();
  }

  static std::string Text(surveyor_string text) {
    return std::string(reinterpret_cast<char const*>(text.data), text.length);
  }
  static surveyor_string Name(char const* text) { return ConstData(text).AsSurveyorString(); }

  // A stretch as "FROM..TO=COUNT", in microseconds.
  static std::string Stretch(TimedValue<integer> const& value) {
    return std::to_string(value.First()->start.ticks) + ".." +
           std::to_string(value.First()->end.ticks) + "=" + std::to_string(value.Second()->value);
  }

  // Every stretch of the application, until the walk ends.
  std::vector<std::string> Stretches(char const* name) {
    std::vector<std::string> found;
    application_usage walk;
    try {
      found.push_back(Stretch(walk.First(Name(name))));
      for (;;) found.push_back(Stretch(walk.Next(Name(name))));
    } catch (NoSuchObject const&) {
    }
    return found;
  }

  void WriteFile(std::string const& name, std::size_t size) {
    std::ofstream(storageFolder + "/UsageData/" + name) << std::string(size, 'x');
  }

  std::vector<std::string> SummaryNames() {
    std::vector<std::string> names;
    app_usage_summary_iterator walk;
    try {
      names.push_back(Text(GetName(walk.First())));
      for (;;) names.push_back(Text(GetName(walk.Next())));
    } catch (NoSuchObject const&) {
    }
    return names;
  }

  survey::testing::ScratchFolder scratch;
};

using Strings = std::vector<std::string>;

TEST_F(ApplicationUsageTest, TheCursorStartsWithItsDocumentedValues) {
  execution_app_iterator walk;
  EXPECT_EQ(0u, walk.position);
  EXPECT_EQ(0, walk.flags[0]);
  EXPECT_EQ(0, walk.flags[1]);
  EXPECT_EQ(1, walk.flags[2]);
  EXPECT_NE(nullptr, walk.allocate);
  EXPECT_NE(nullptr, walk.release);
  EXPECT_EQ(walk.allocate, walk.counts.allocate);
  EXPECT_EQ(walk.release, walk.counts.release);
  EXPECT_EQ(nullptr, walk.counts.head);
  // The counted runs go with the cursor.
  walk.counts.AddIdentify(ConstData("a"), ConstData("b"), Instant(5), 2);
  EXPECT_NE(nullptr, walk.counts.head);
}

TEST_F(ApplicationUsageTest, AnUnknownApplicationEndsBothWalksAtOnce) {
  UsageHost host;
  Within(&host, [&] {
    execution_app_iterator events;
    EXPECT_THROW(events.First(Name("none")), NoSuchObject);
    application_usage usage;
    EXPECT_THROW(usage.First(Name("none")), NoSuchObject);
    unsigned char const name[] = "none";
    EXPECT_THROW(ApplicationUsageSummary_maker(name, 4), NoSuchObject);
  });
}

TEST_F(ApplicationUsageTest, EventsAreCopiedWithTheAskedNameAsIdentity) {
  streams["Editor"] = {{1, 2000000, "/opt/editor", "1.2.3", 777}, {2, 5000000, "", "", 0}};
  UsageHost host;
  Within(&host, [&] {
    execution_app_iterator walk;
    execution const first = walk.First(Name("Editor"));
    EXPECT_EQ("Editor", Text(ExecutionIdentity(first)));
    EXPECT_EQ(2000000, ExecutionTime(first).ticks);
    EXPECT_EQ("Application Start", Text(ExecutionType(first)));
    EXPECT_EQ("/opt/editor", Text(ExecutionPath(first)));
    EXPECT_EQ("1.2.3", Text(ExecutionVersionInfo(first)));
    EXPECT_EQ(777, ExecutionModTime(first).ticks);
    execution const second = walk.Next(Name("Editor"));
    EXPECT_EQ("Application End", Text(ExecutionType(second)));
    EXPECT_EQ("", Text(ExecutionPath(second)));
    // The first event's texts are the value's own, whatever the cursor
    // holds now.
    EXPECT_EQ("/opt/editor", Text(ExecutionPath(first)));
    EXPECT_THROW(walk.Next(Name("Editor")), NoSuchObject);
    // First starts over.
    EXPECT_EQ(2000000, ExecutionTime(walk.First(Name("Editor"))).ticks);
  });
}

TEST_F(ApplicationUsageTest, EachTypeHasItsNameAndAnyOtherIsNone) {
  execution value{};
  char const* const names[] = {"Start Sampling", "Application Start", "Application End",
                               "End Sampling"};
  for (std::uint32_t type = 0; type < 4; ++type) {
    value.type = type;
    EXPECT_EQ(names[type], Text(ExecutionType(value)));
  }
  for (std::uint32_t type : {4u, 9u, 0xFFFFFFFFu}) {
    value.type = type;
    EXPECT_THROW(ExecutionType(value), NoSuchObject) << type;
  }
}

TEST_F(ApplicationUsageTest, ATypeNineEventIsWalkedAsAnExecutionButPassedOverAsUsage) {
  streams["app"] = {{0, 100, "", "", 0}, {1, 200, "", "", 0}, {9, 300, "", "", 0},
                    {2, 400, "", "", 0}};
  UsageHost host;
  Within(&host, [&] {
    execution_app_iterator walk;
    walk.First(Name("app"));
    walk.Next(Name("app"));
    execution const odd = walk.Next(Name("app"));
    EXPECT_EQ(9u, odd.type);
    EXPECT_THROW(ExecutionType(odd), NoSuchObject);
    EXPECT_EQ(300, ExecutionTime(odd).ticks);
  });
  Within(&host, [&] { EXPECT_EQ((Strings{"100..200=0", "200..400=1"}), Stretches("app")); });
}

TEST_F(ApplicationUsageTest, TwoStartsAtOneTimeGiveOneStretchRaisedByTwoLater) {
  streams["app"] = {{0, 100, "", "", 0}, {1, 200, "", "", 0}, {1, 200, "", "", 0},
                    {2, 500, "", "", 0}, {3, 900, "", "", 0}};
  UsageHost host;
  Within(&host, [&] {
    EXPECT_EQ((Strings{"100..200=0", "200..500=2", "500..900=1"}), Stretches("app"));
  });
}

TEST_F(ApplicationUsageTest, TheStretchTableRowByRow) {
  streams["app"] = {
      {1, 50, "", "", 0},   // a start before any sampling: 0..50 with 0, then 1
      {0, 60, "", "", 0},   // sampling starts over: count 0, read on
      {0, 60, "", "", 0},   // the same at the same time
      {2, 60, "", "", 0},   // an end at the last time: -1, read on
      {3, 60, "", "", 0},   // the end of sampling at the last time: read on
      {1, 80, "", "", 0},   // 60..80 with -1, then 0
      {7, 90, "", "", 0},   // another type: read on
      {3, 70, "", "", 0},   // a time before the last: the range is turned, 70..80 with 0
      {1, 70, "", "", 0},   // at the last time: +1, read on
      {3, 100, "", "", 0},  // 70..100 with 1, then 0
  };
  UsageHost host;
  Within(&host, [&] {
    EXPECT_EQ((Strings{"0..50=0", "60..80=-1", "70..80=0", "70..100=1"}), Stretches("app"));
  });
}

TEST_F(ApplicationUsageTest, ABlockedEvaluationCannotAnswerAtAnyStep) {
  streams["app"] = {{0, 100, "", "", 0}, {1, 200, "", "", 0}, {2, 300, "", "", 0},
                    {1, 400, "", "", 0}, {3, 500, "", "", 0}};
  UsageHost host;
  Within(&host, [&] {
    blockAfterReads = 0;
    execution_app_iterator events;
    EXPECT_THROW(events.First(Name("app")), CannotEvaluateNow);
    application_usage usage;
    EXPECT_THROW(usage.First(Name("app")), CannotEvaluateNow);
    EXPECT_EQ(0, reads) << "nothing is read while blocked";
  });
  Within(&host, [&] {
    reads = 0;
    blockAfterReads = 2;
    execution_app_iterator events;
    events.First(Name("app"));
    events.Next(Name("app"));
    EXPECT_THROW(events.Next(Name("app")), CannotEvaluateNow);
    EXPECT_THROW(events.Next(Name("app")), CannotEvaluateNow);
    EXPECT_EQ(2, reads);
  });
  Within(&host, [&] {
    reads = 0;
    blockAfterReads = 3;
    application_usage usage;
    EXPECT_EQ("100..200=0", Stretch(usage.First(Name("app"))));
    EXPECT_EQ("200..300=1", Stretch(usage.Next(Name("app"))));
    EXPECT_THROW(usage.Next(Name("app")), CannotEvaluateNow);
    // Unblocked, the walk goes on where it stood.
    blockAfterReads = -1;
    EXPECT_EQ("300..400=0", Stretch(usage.Next(Name("app"))));
  });
}

TEST_F(ApplicationUsageTest, WithoutTheNudgeContextOnlyTheRawEventsFail) {
  streams["app"] = {{0, 100, "", "", 0}, {1, 200, "", "", 0}};
  TableHost host;
  Within(&host, [&] {
    execution_app_iterator events;
    EXPECT_THROW(events.First(Name("app")), NoSurveyorContext);
    EXPECT_EQ((Strings{"100..200=0"}), Stretches("app"));
  });
}

TEST_F(ApplicationUsageTest, NullSlotsAreTheirInterfacesErrors) {
  streams["app"] = {{0, 100, "", "", 0}};
  UsageHost host;
  Within(&host, [&] {
    host.IsEvaluationBlocked = nullptr;
    execution_app_iterator events;
    EXPECT_THROW(events.First(Name("app")), SurveyorNudgeContextError);
    application_usage usage;
    EXPECT_THROW(usage.First(Name("app")), SurveyorNudgeContextError);
    host.IsEvaluationBlocked = &Blocked;
    host.ReadNextExecution = nullptr;
    EXPECT_THROW(events.First(Name("app")), SurveyorProcessTableContextError);
    EXPECT_THROW(usage.First(Name("app")), SurveyorProcessTableContextError);
    host.GetApplicationUsageSummary = nullptr;
    unsigned char const name[] = "app";
    EXPECT_THROW(ApplicationUsageSummary_maker(name, 3), SurveyorProcessTableContextError);
  });
  EXPECT_THROW(
      {
        execution_app_iterator events;
        events.First(Name("app"));
      },
      NoSurveyorContext);
}

TEST_F(ApplicationUsageTest, ASummaryCopiesTheNameAndTheHostsTotals) {
  totals["viewer"] = {3, 1000, 5000, 9000, 2500000, 1};
  UsageHost host;
  Within(&host, [&] {
    unsigned char const name[] = "viewer";
    ApplicationUsageSummary const summary = ApplicationUsageSummary_maker(name, 6);
    EXPECT_EQ("viewer", Text(GetName(summary)));
    EXPECT_EQ(6u, GetName(summary).length) << "without the terminator";
    EXPECT_EQ(3, GetTotalRunCount(summary).value);
    EXPECT_EQ(1000, GetFirstStartTime(summary).ticks);
    EXPECT_EQ(5000, GetLastStartTime(summary).ticks);
    EXPECT_EQ(9000, GetLastTimeSeen(summary).ticks);
    EXPECT_EQ(2500000, GetTotalDuration(summary).ticks);
    EXPECT_EQ(1, GetRunning(summary).value);
  });
  totals["viewer"].running = 0x100;
  totals["viewer"].runCount = 0xFFFFFFFFu;
  Within(&host, [&] {
    unsigned char const name[] = "viewer";
    ApplicationUsageSummary const summary = ApplicationUsageSummary_maker(name, 6);
    EXPECT_EQ(1, GetRunning(summary).value) << "any word but 0 runs";
    EXPECT_EQ(4294967295, GetTotalRunCount(summary).value) << "the count is unsigned";
  });
}

TEST_F(ApplicationUsageTest, AnEmptyStatisticsFolderGivesNoSummary) {
  UsageHost host;
  Within(&host, [&] {
    app_usage_summary_iterator walk;
    EXPECT_THROW(walk.First(), NoSuchObject);
  });
}

TEST_F(ApplicationUsageTest, FilesOfUnknownApplicationsAndOtherNamesArePassedOver) {
  totals["alpha"] = {1, 1, 1, 1, 1, 0};
  totals["gamma"] = {2, 2, 2, 2, 2, 0};
  WriteFile("alpha.stat", 40);
  WriteFile("beta.stat", 40);  // not known to the host
  WriteFile("gamma.stat", 40);
  WriteFile("gamma.txt", 40);  // not a statistics file
  WriteFile("zeta.stat", 40);  // not known either: the walk ends behind it
  mkdir((storageFolder + "/UsageData/delta.stat").c_str(), 0700);  // a folder
  totals["delta"] = {4, 4, 4, 4, 4, 0};
  UsageHost host;
  Within(&host, [&] { EXPECT_EQ((Strings{"alpha", "gamma"}), SummaryNames()); });
  // The first file unknown as well.
  totals.erase("alpha");
  Within(&host, [&] { EXPECT_EQ((Strings{"gamma"}), SummaryNames()); });
}

TEST_F(ApplicationUsageTest, AMissingStatisticsFolderIsNoSuchObject) {
  storageFolder = scratch.Path() + "/missing";
  UsageHost host;
  Within(&host, [&] {
    app_usage_summary_iterator walk;
    EXPECT_THROW(walk.First(), NoSuchObject);
  });
  TableHost tableOnly;
  Within(&tableOnly, [&] {
    app_usage_summary_iterator walk;
    EXPECT_THROW(walk.First(), NoSurveyorContext);
  });
}

TEST_F(ApplicationUsageTest, TheTimedTypeIsNamedAfterItsTuple) {
  EXPECT_STREQ("timed( time range, integer )", TimedValue<integer>::TypeName());
  EXPECT_STREQ("execution", execution::TypeName());
  EXPECT_STREQ("application usage summary", ApplicationUsageSummary::TypeName());
}

}  // namespace
