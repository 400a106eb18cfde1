// The yield part of the host's context: giving up the time slice, and
// pacing long walks, behind `SurveyorYieldContext`.
#pragma once

#include "survey/frame/boundary.h"

namespace survey::client {

class YieldContext : public SurveyorYieldContext {
 public:
  YieldContext();

 private:
  static void GiveUpTimeSlice(SurveyorContext* context);
  static void Pace(SurveyorContext* context);
};

}  // namespace survey::client
