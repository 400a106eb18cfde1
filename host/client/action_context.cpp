#include "host/client/action_context.h"

namespace survey::client {

SurveyorActionData ActionDataOf(ActionRecord const& action) {
  SurveyorActionData data{};
  data.pending = action[ActionField::kPending] != 0;
  data.id = action.id;
  data.dateTrue = action[ActionField::kDateTrue];
  data.dateFalse = action[ActionField::kDateFalse];
  data.groupLeader = action[ActionField::kGroupLeader] != 0;
  data.offer = action[ActionField::kOffer] != 0;
  data.pendingRestart = action[ActionField::kPendingRestart] != 0;
  data.pendingLogin = action[ActionField::kPendingLogin] != 0;
  data.constrained = action[ActionField::kConstrained] != 0;
  data.offerAccepted = action[ActionField::kOfferAccepted] != 0;
  data.constraint = static_cast<unsigned char>(action[ActionField::kConstraint]);
  data.persistentConstraint =
      static_cast<unsigned char>(action[ActionField::kPersistentConstraint]);
  data.firstActiveCount = static_cast<unsigned short>(action[ActionField::kFirstActiveCount]);
  data.activeCount = static_cast<unsigned short>(action[ActionField::kActiveCount]);
  data.activeLineNumber = static_cast<unsigned short>(action[ActionField::kActiveLineNumber]);
  data.activeStartTime = action[ActionField::kActiveStartTime];
  data.lastActiveLineNumber =
      static_cast<unsigned short>(action[ActionField::kLastActiveLineNumber]);
  data.lastActiveTime = action[ActionField::kLastActiveTime];
  data.lastChangeTime = action[ActionField::kLastChangeTime];
  data.waitingForDownload = action[ActionField::kWaitingForDownload] != 0;
  data.actionId = static_cast<unsigned int>(action[ActionField::kActionId]);
  data.subActionOrdinal = static_cast<unsigned int>(action[ActionField::kSubActionOrdinal]);
  data.active = action[ActionField::kActive] != 0;
  data.originNudgeId = action[ActionField::kOriginNudgeId];
  data.failed = action[ActionField::kFailed] != 0;
  data.getParameter = nullptr;
  return data;
}

ActionContext::ActionContext(ClientState& state) : state_(state) {
  if (state.Folder() != nullptr) {
    GetCurrentAction = &CurrentAction;
    GetActiveAction = &ActiveAction;
    GetActionById = &ActionById;
  }
}

bool ActionContext::CurrentAction(SurveyorActionData* action) {
  std::optional<ActionRecord> const found = CurrentPart<ActionContext>().state_.Records().CurrentAction();
  if (!found) return false;
  *action = ActionDataOf(*found);
  action->getParameter = &CurrentParameter;
  return true;
}

bool ActionContext::ActiveAction(SurveyorActionData* action) {
  std::optional<ActionRecord> const found = CurrentPart<ActionContext>().state_.Records().ActiveAction();
  if (!found) return false;
  *action = ActionDataOf(*found);
  if (found->current) action->getParameter = &CurrentParameter;
  return true;
}

bool ActionContext::ActionById(unsigned int low, unsigned int high, SurveyorActionData* action,
                               SurveyorInterruptCheck interrupt) {
  if (interrupt != nullptr) interrupt();
  std::uint64_t const id = (static_cast<std::uint64_t>(high) << 32) | low;
  std::optional<ActionRecord> const found = CurrentPart<ActionContext>().state_.Records().FindAction(id);
  if (!found) return false;
  *action = ActionDataOf(*found);
  if (found->current) action->getParameter = &CurrentParameter;
  return true;
}

unsigned char ActionContext::CurrentParameter(SurveyorConstData const* name,
                                              SurveyorConstData* value) {
  if (name == nullptr || value == nullptr) return 0;
  ActionContext& part = CurrentPart<ActionContext>();
  std::optional<ActionRecord> const current = part.state_.Records().CurrentAction();
  if (!current) return 0;
  std::string const wanted(reinterpret_cast<char const*>(name->begin),
                           static_cast<std::size_t>(name->end - name->begin));
  for (ActionParameterRecord const& parameter : current->parameters) {
    if (parameter.name != wanted) continue;
    std::string const& kept = part.handedOut_.emplace_back(parameter.value);
    auto const* const begin = reinterpret_cast<unsigned char const*>(kept.data());
    value->begin = begin;
    value->end = begin + kept.size();
    return 1;
  }
  return 0;
}

}  // namespace survey::client
