#include "survey/client/actions.h"

#include <cstring>

#include "survey/foundation/numeral.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

// The texts are set up by this unit's static initialiser, before its table
// registers anything.
ConstData cActionTagPending(":pending=");
ConstData cActionTagId(":id=");
ConstData cActionTagDateTrue(":pt=");
ConstData cActionTagDateFalse(":ct=");
ConstData cActionTagConstrained(":constrained=");
ConstData cActionTagConstraint(":constraint=");
ConstData cActionTagSystemConstraint(":sysconstraint=");
ConstData cActionTagDownloadFailed(":df=");
ConstData cActionTagFirstActiveCount(":fac=");
ConstData cActionTagActiveCount(":ac=");
ConstData cActionTagActiveLineNumber(":al=");
ConstData cActionTagActiveStartTime(":ast=");
ConstData cActionTagLastActiveLineNumber(":lal=");
ConstData cActionTagLastActiveTime(":lat=");
ConstData cActionTagLastChangeTime(":lct=");
ConstData cActionTagWaitingForDownloads(":wfd=");
ConstData cActionTagActive(":act=");
ConstData cActionTagStatus(":s=");
ConstData cActionTagPendingRestart(":pr=");
ConstData cActionTagPendingLogin(":pl=");
ConstData cActionTagActionId(":aid=");
ConstData cActionTagSubActionOrdinal(":sao=");
ConstData cActionTagActionDependencyCanceled(":adc=");
ConstData cActionTagActionDependencyWaitingOnUser(":adwu=");
ConstData cActionTagEnd(":");
ConstData cActionValueTrue("1");
ConstData cActionValueFalse("0");
ConstData cActionValueRunning("Running");
ConstData cActionValueExecuted("Executed");
ConstData cActionValueNotRelevant("Not Relevant");
ConstData cActionValueWaiting("Waiting");
ConstData cActionValueNotExecuted("Not Executed");
ConstData cActionValueFailed("Failed");

namespace {

// Constraint codes: above 200 a system constraint numbered from 200, and
// from 213 to 215 also a download failure numbered from 213.
constexpr unsigned kSystemConstraintBase = 200;
constexpr unsigned kFirstDownloadFailure = 213;
constexpr unsigned kLastDownloadFailure = 215;
constexpr unsigned kNoSubAction = 0xffffffffu;

bool IsSystemConstraint(action const& value) { return value.constraint > kSystemConstraintBase; }

bool IsDownloadFailure(action const& value) {
  return value.constraint >= kFirstDownloadFailure && value.constraint <= kLastDownloadFailure;
}

integer Integer(long long number) { return integer{number}; }

boolean Boolean(bool flag) { return boolean{static_cast<unsigned char>(flag ? 1 : 0)}; }

// The moment of a count of microseconds since 1970; 0 means none.
moment TimeOf(unsigned long long microseconds) {
  if (microseconds == 0) throw NoSuchObject();
  return january_1_1970() +
         integer{static_cast<long long>(microseconds)} * microsecond_of();
}

ConstData StatusText(action const& value) {
  if (value.active) return cActionValueRunning;
  if (value.pending) {
    if (value.constrained) return cActionValueWaiting;
    if (value.firstActiveCount == 0) return cActionValueNotExecuted;
    if (value.groupLeader && !value.failed) return cActionValueExecuted;
    return cActionValueFailed;
  }
  if (value.firstActiveCount == 0) return cActionValueNotRelevant;
  if (!value.groupLeader) return cActionValueExecuted;
  if (!value.failed) return cActionValueExecuted;
  return cActionValueFailed;
}

surveyor_string AsSurveyorString(ConstData text) { return text.AsSurveyorString(); }

// Writes the text form into memory sized by the caller; every write is
// checked against the end, so that no field can run past it.
class LineWriter {
 public:
  LineWriter(unsigned char* begin, unsigned long size) : begin_(begin), at_(begin), end_(begin + size) {}

  LineWriter& operator<<(ConstData text) {
    unsigned long const length = text.Length();
    if (length > static_cast<unsigned long>(end_ - at_)) throw NoSuchObject();
    if (length != 0) std::memcpy(at_, text.begin, length);
    at_ += length;
    return *this;
  }
  template <class T>
  LineWriter& Number(T number) {
    Numeral const numeral(number);
    return *this << static_cast<ConstData>(numeral);
  }
  LineWriter& Flag(bool flag) { return *this << (flag ? cActionValueTrue : cActionValueFalse); }
  LineWriter& Seconds(unsigned long long microseconds) { return Number(microseconds / 1000000ULL); }

  surveyor_string Result() const {
    return surveyor_string{begin_, static_cast<unsigned long>(at_ - begin_)};
  }

 private:
  unsigned char* begin_;
  unsigned char* at_;
  unsigned char* end_;
};

// Room for the numbers and the status of a line, beside its tags: 127 bytes
// hold the numbers of any ordinary action, and the 64 more make room for
// the largest value of every field at once (142 bytes of digits and flags,
// 12 of status), so that no record is ever cut short.
constexpr unsigned long kNumberRoom = 127 + 64;

unsigned long TagRoom() {
  ConstData const* const tags[] = {
      &cActionTagPending,          &cActionTagId,
      &cActionTagDateTrue,         &cActionTagDateFalse,
      &cActionTagConstrained,      &cActionTagConstraint,
      &cActionTagSystemConstraint, &cActionTagDownloadFailed,
      &cActionTagFirstActiveCount, &cActionTagActiveCount,
      &cActionTagActiveLineNumber, &cActionTagActiveStartTime,
      &cActionTagLastActiveLineNumber, &cActionTagLastActiveTime,
      &cActionTagLastChangeTime,   &cActionTagWaitingForDownloads,
      &cActionTagActive,           &cActionTagStatus,
      &cActionTagPendingRestart,   &cActionTagPendingLogin,
      &cActionTagActionId,         &cActionTagSubActionOrdinal,
      &cActionTagEnd,
  };
  unsigned long room = 0;
  for (ConstData const* tag : tags) room += tag->Length();
  return room;
}

// The parameter of that name through the record's lookup.
surveyor_string ParameterOf(action const& value, unsigned char const* name, unsigned long length) {
  if (value.getParameter == nullptr) throw NoSuchObject();
  SurveyorConstData const wanted{name, name + length};
  SurveyorConstData found{nullptr, nullptr};
  if (value.getParameter(&wanted, &found) != 1) throw NoSuchObject();
  if (found.begin == nullptr || found.end < found.begin) return surveyor_string{nullptr, 0};
  return surveyor_string{found.begin, static_cast<unsigned long>(found.end - found.begin)};
}

int InterruptionCheck() {
  Check_For_Surveyor_Interruption();
  return 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Actions of the world.

action CurrentAction_of_world() {
  SurveyorActionData data{};
  if (!CallContext<&SurveyorActionContext::GetCurrentAction>(&data)) throw NoSuchObject();
  return action(data);
}

action ActiveAction_of_world() {
  SurveyorActionData data{};
  if (!CallContext<&SurveyorActionContext::GetActiveAction>(&data)) throw NoSuchObject();
  return action(data);
}

action ActionById_of_world(unsigned long long id) {
  if (id >= (1ULL << 32)) throw NoSuchObject();
  SurveyorActionData data{};
  unsigned int const low = static_cast<unsigned int>(id & 0xffffffffULL);
  unsigned int const high = static_cast<unsigned int>(id >> 32);
  if (!CallContext<&SurveyorActionContext::GetActionById>(low, high, &data, &InterruptionCheck)) {
    throw NoSuchObject();
  }
  return action(data);
}

// ---------------------------------------------------------------------------
// What an action tells.

integer Id_of(action const& value) { return Integer(static_cast<long long>(value.id)); }

integer Constraint_of(action const& value) {
  if (!value.constrained) throw NoSuchObject();
  return Integer(IsSystemConstraint(value) ? 0 : value.constraint);
}

integer SystemConstraint_of(action const& value) {
  if (!value.constrained || !IsSystemConstraint(value)) throw NoSuchObject();
  return Integer(value.constraint - kSystemConstraintBase);
}

integer TotalActiveCount_of(action const& value) { return Integer(value.firstActiveCount); }

integer ActiveCountof(action const& value) { return Integer(value.activeCount); }

integer ActiveLineNumber_of(action const& value) {
  if (value.groupLeader) throw NoSuchObject();
  return Integer(value.activeLineNumber);
}

integer LastActiveLineNumber_of(action const& value) {
  return Integer(value.lastActiveLineNumber);
}

integer OriginNudgeId_of(action const& value) {
  if (value.originNudgeId == 0) throw NoSuchObject();
  return Integer(static_cast<long long>(value.originNudgeId));
}

boolean Constrained_of(action const& value) { return Boolean(value.constrained); }
boolean Pending_of(action const& value) { return Boolean(value.pending); }
boolean WaitingForDownload_of(action const& value) { return Boolean(value.waitingForDownload); }
boolean Active_of(action const& value) { return Boolean(value.active); }
boolean Restart_of(action const& value) { return Boolean(value.pendingRestart); }
boolean Login_of(action const& value) { return Boolean(value.pendingLogin); }
boolean GroupLeader_of(action const& value) { return Boolean(value.groupLeader); }
boolean Offer_of(action const& value) { return Boolean(value.offer); }
boolean OfferAccepted_of(action const& value) { return Boolean(value.offerAccepted); }

integer PersistentConstraint_of(action const& value) {
  return Integer(value.persistentConstraint);
}

moment DateTrue_of(action const& value) { return TimeOf(value.dateTrue); }
moment DateFalse_of(action const& value) { return TimeOf(value.dateFalse); }
moment ActiveStartTime_of(action const& value) { return TimeOf(value.activeStartTime); }
moment LastActiveTime_of(action const& value) { return TimeOf(value.lastActiveTime); }
moment LastChangeTime_of(action const& value) { return TimeOf(value.lastChangeTime); }

integer DownloadFailure_of(action const& value) {
  if (!value.constrained || !IsDownloadFailure(value)) throw NoSuchObject();
  return Integer(value.constraint - kFirstDownloadFailure);
}

surveyor_string Status_of(action const& value) { return AsSurveyorString(StatusText(value)); }

surveyor_string AsString(action const& value) {
  unsigned long const size = TagRoom() + kNumberRoom;
  LineWriter line(Allocate_Surveyor_Memory(size), size);
  line << cActionTagPending;
  line.Flag(value.pending);
  line << cActionTagId;
  line.Number(value.id);
  if (value.dateTrue != 0) {
    line << cActionTagDateTrue;
    line.Seconds(value.dateTrue);
  }
  if (value.dateFalse != 0) {
    line << cActionTagDateFalse;
    line.Seconds(value.dateFalse);
  }
  line << cActionTagConstrained;
  line.Flag(value.constrained);
  if (value.constrained) {
    line << cActionTagConstraint;
    line.Number(IsSystemConstraint(value) ? 0u : static_cast<unsigned>(value.constraint));
    if (IsSystemConstraint(value)) {
      line << cActionTagSystemConstraint;
      line.Number(static_cast<unsigned>(value.constraint) - kSystemConstraintBase);
    }
    if (IsDownloadFailure(value)) {
      line << cActionTagDownloadFailed;
      line.Number(static_cast<unsigned>(value.constraint) - kFirstDownloadFailure);
    }
  }
  line << cActionTagFirstActiveCount;
  line.Number(value.firstActiveCount);
  line << cActionTagActiveCount;
  line.Number(value.activeCount);
  line << cActionTagActiveLineNumber;
  line.Number(value.activeLineNumber);
  if (value.activeStartTime != 0) {
    line << cActionTagActiveStartTime;
    line.Seconds(value.activeStartTime);
  }
  line << cActionTagLastActiveLineNumber;
  line.Number(value.lastActiveLineNumber);
  if (value.lastActiveTime != 0) {
    line << cActionTagLastActiveTime;
    line.Seconds(value.lastActiveTime);
  }
  if (value.lastChangeTime != 0) {
    line << cActionTagLastChangeTime;
    line.Seconds(value.lastChangeTime);
  }
  line << cActionTagWaitingForDownloads;
  line.Flag(value.waitingForDownload);
  line << cActionTagActive;
  line.Flag(value.active);
  line << cActionTagStatus << StatusText(value);
  line << cActionTagPendingRestart;
  line.Flag(value.pendingRestart);
  line << cActionTagPendingLogin;
  line.Flag(value.pendingLogin);
  if (value.groupLeader) {
    line << cActionTagActionId;
    line.Number(value.actionId);
    if (value.subActionOrdinal != kNoSubAction) {
      line << cActionTagSubActionOrdinal;
      line.Number(value.subActionOrdinal);
    }
  }
  line << cActionTagEnd;
  return line.Result();
}

surveyor_string ActionParameter(unsigned char const* name, unsigned long length,
                                action const& value) {
  return ParameterOf(value, name, length);
}

surveyor_string CurrentActionParameter(unsigned char const* name, unsigned long length) {
  return ParameterOf(CurrentAction_of_world(), name, length);
}

// ---------------------------------------------------------------------------
// Registration, in table order. The node "CurrentAction" is registered with
// the frame's nodes, before any table of properties.

namespace {

RegistrationTable table{
    TypeRow<action>(),
    PropertyRow("action", "actions", &CurrentAction_of_world,
                &CurrentActionDependencyNodeFunction),
    PropertyRow("active action", "active actions", &ActiveAction_of_world),
    IndexedRow("action", "actions", &ActionById_of_world),
    PropertyRow("id", "ids", &Id_of),
    PropertyRow("constraint", "constraints", &Constraint_of),
    PropertyRow("system constraint", "system constraints", &SystemConstraint_of),
    PropertyRow("first active count", "first active counts", &TotalActiveCount_of,
                &DependsOnlyOnParameters),
    PropertyRow("active count", "active counts", &ActiveCountof, &DependsOnlyOnParameters),
    PropertyRow("active line number", "active line numbers", &ActiveLineNumber_of),
    PropertyRow("last active line number", "last active line numbers", &LastActiveLineNumber_of),
    PropertyRow("origin nudge id", "origin nudge ids", &OriginNudgeId_of),
    PropertyRow("constrained", "constraineds", &Constrained_of),
    PropertyRow("pending", "pendings", &Pending_of),
    PropertyRow("waiting for download", "waiting for downloads", &WaitingForDownload_of),
    PropertyRow("active", "actives", &Active_of),
    PropertyRow("pending restart", "pending restarts", &Restart_of),
    PropertyRow("pending login", "pending logins", &Login_of),
    PropertyRow("group leader", "group leaders", &GroupLeader_of),
    PropertyRow("offer", "offers", &Offer_of),
    PropertyRow("offer accepted", "offer accepteds", &OfferAccepted_of),
    PropertyRow("persistent constraint", "persistent constraints", &PersistentConstraint_of),
    PropertyRow("pending time", "pending times", &DateTrue_of),
    PropertyRow("complete time", "complete times", &DateFalse_of),
    PropertyRow("active start time", "active start times", &ActiveStartTime_of),
    PropertyRow("last active time", "last active times", &LastActiveTime_of),
    PropertyRow("last change time", "last change times", &LastChangeTime_of),
    PropertyRow("download failure", "download failures", &DownloadFailure_of),
    PropertyRow("status", "statuss", &Status_of),
    CastRow<action>("string", &AsString),
    IndexedRow("parameter", "parameters", &ActionParameter),
    IndexedRow("parameter", "parameters", &CurrentActionParameter),
};

}  // namespace
