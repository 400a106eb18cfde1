// The client's actions, as the host keeps them: the value type "action", a
// byte-for-byte copy of the host's record, the current, the active and a
// numbered action of the world, what an action tells, and its one-line text
// form of tagged fields, which the client also writes to its logs and
// reports. The tags of the text form are exported for the host.
#pragma once

#include "survey/foundation/data.h"
#include "survey/frame/adaptors.h"

// The tags and values of the text form. Each is set up by this unit's static
// initialiser.
SURVEY_API extern ConstData cActionTagPending;                        // ":pending="
SURVEY_API extern ConstData cActionTagId;                             // ":id="
SURVEY_API extern ConstData cActionTagDateTrue;                       // ":pt="
SURVEY_API extern ConstData cActionTagDateFalse;                      // ":ct="
SURVEY_API extern ConstData cActionTagConstrained;                    // ":constrained="
SURVEY_API extern ConstData cActionTagConstraint;                     // ":constraint="
SURVEY_API extern ConstData cActionTagSystemConstraint;               // ":sysconstraint="
SURVEY_API extern ConstData cActionTagDownloadFailed;                 // ":df="
SURVEY_API extern ConstData cActionTagFirstActiveCount;               // ":fac="
SURVEY_API extern ConstData cActionTagActiveCount;                    // ":ac="
SURVEY_API extern ConstData cActionTagActiveLineNumber;               // ":al="
SURVEY_API extern ConstData cActionTagActiveStartTime;                // ":ast="
SURVEY_API extern ConstData cActionTagLastActiveLineNumber;           // ":lal="
SURVEY_API extern ConstData cActionTagLastActiveTime;                 // ":lat="
SURVEY_API extern ConstData cActionTagLastChangeTime;                 // ":lct="
SURVEY_API extern ConstData cActionTagWaitingForDownloads;            // ":wfd="
SURVEY_API extern ConstData cActionTagActive;                         // ":act="
SURVEY_API extern ConstData cActionTagStatus;                         // ":s="
SURVEY_API extern ConstData cActionTagPendingRestart;                 // ":pr="
SURVEY_API extern ConstData cActionTagPendingLogin;                   // ":pl="
SURVEY_API extern ConstData cActionTagActionId;                       // ":aid="
SURVEY_API extern ConstData cActionTagSubActionOrdinal;               // ":sao="
SURVEY_API extern ConstData cActionTagActionDependencyCanceled;       // ":adc="
SURVEY_API extern ConstData cActionTagActionDependencyWaitingOnUser;  // ":adwu="
SURVEY_API extern ConstData cActionTagEnd;                            // ":"
SURVEY_API extern ConstData cActionValueTrue;                         // "1"
SURVEY_API extern ConstData cActionValueFalse;                        // "0"
SURVEY_API extern ConstData cActionValueRunning;                      // "Running"
SURVEY_API extern ConstData cActionValueExecuted;                     // "Executed"
SURVEY_API extern ConstData cActionValueNotRelevant;                  // "Not Relevant"
SURVEY_API extern ConstData cActionValueWaiting;                      // "Waiting"
SURVEY_API extern ConstData cActionValueNotExecuted;                  // "Not Executed"
SURVEY_API extern ConstData cActionValueFailed;                       // "Failed"

// "action": the host's record, copied whole.
struct SURVEY_API action : SurveyorActionData {
  static constexpr char const* TypeName() { return "action"; }

  action() : SurveyorActionData{} {}
  explicit action(SurveyorActionData const& data) : SurveyorActionData(data) {}
};

// Of the world. NoSuchObject when the host has no such action.
SURVEY_API action CurrentAction_of_world();
SURVEY_API action ActiveAction_of_world();
// A number of 2 to the power 32 or more is refused before the host is asked.
SURVEY_API action ActionById_of_world(unsigned long long id);

SURVEY_API integer Id_of(action const& value);
// The code, or 0 for a system constraint; NoSuchObject unless constrained.
SURVEY_API integer Constraint_of(action const& value);
// The code minus 200; NoSuchObject unless constrained with a code above 200.
SURVEY_API integer SystemConstraint_of(action const& value);
SURVEY_API integer TotalActiveCount_of(action const& value);
SURVEY_API integer ActiveCountof(action const& value);
// NoSuchObject for a group leader.
SURVEY_API integer ActiveLineNumber_of(action const& value);
SURVEY_API integer LastActiveLineNumber_of(action const& value);
// NoSuchObject for 0.
SURVEY_API integer OriginNudgeId_of(action const& value);
SURVEY_API boolean Constrained_of(action const& value);
SURVEY_API boolean Pending_of(action const& value);
SURVEY_API boolean WaitingForDownload_of(action const& value);
SURVEY_API boolean Active_of(action const& value);
SURVEY_API boolean Restart_of(action const& value);
SURVEY_API boolean Login_of(action const& value);
SURVEY_API boolean GroupLeader_of(action const& value);
SURVEY_API boolean Offer_of(action const& value);
SURVEY_API boolean OfferAccepted_of(action const& value);
SURVEY_API integer PersistentConstraint_of(action const& value);
// The times: NoSuchObject for a field of 0.
SURVEY_API moment DateTrue_of(action const& value);
SURVEY_API moment DateFalse_of(action const& value);
SURVEY_API moment ActiveStartTime_of(action const& value);
SURVEY_API moment LastActiveTime_of(action const& value);
SURVEY_API moment LastChangeTime_of(action const& value);
// The code minus 213; NoSuchObject unless constrained with a code of 213 to
// 215.
SURVEY_API integer DownloadFailure_of(action const& value);
// "Running", "Waiting", "Not Executed", "Executed", "Not Relevant" or
// "Failed".
SURVEY_API surveyor_string Status_of(action const& value);
// The one-line text form of tagged fields.
SURVEY_API surveyor_string AsString(action const& value);
// A parameter of the action, through the record's own lookup.
SURVEY_API surveyor_string ActionParameter(unsigned char const* name, unsigned long length,
                                           action const& value);
// A parameter of the current action.
SURVEY_API surveyor_string CurrentActionParameter(unsigned char const* name,
                                                  unsigned long length);
