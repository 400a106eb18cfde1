// The actions part of the host's context: the client's actions, kept in its
// records (client_records.h), behind `SurveyorActionContext`.
//
//   current action   the action marked current;
//   active action    the first action, by number, whose script runs now;
//   action by id     the action of that number.
//
// Each is read from the records as they stand when asked. The parameters of
// the current action are served through the lookup of its record; another
// action's record has none, and its "parameter" has no value. Without a
// client folder the three slots are null: the host has the interface but
// cannot answer.
#pragma once

#include <deque>
#include <string>

#include "host/client/client_records.h"
#include "host/client/client_state.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// The host's action record of a stored action. `getParameter` is left null.
SurveyorActionData ActionDataOf(ActionRecord const& action);

class ActionContext : public SurveyorActionContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit ActionContext(ClientState& state);
  ActionContext(ActionContext const&) = delete;
  ActionContext& operator=(ActionContext const&) = delete;

 private:
  static bool CurrentAction(SurveyorActionData* action);
  static bool ActiveAction(SurveyorActionData* action);
  static bool ActionById(unsigned int low, unsigned int high, SurveyorActionData* action,
                         SurveyorInterruptCheck interrupt);
  static unsigned char CurrentParameter(SurveyorConstData const* name, SurveyorConstData* value);

  ClientState& state_;
  // The texts handed out as parameters, kept until the evaluation ends.
  std::deque<std::string> handedOut_;
};

}  // namespace survey::client
