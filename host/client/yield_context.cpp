#include "host/client/yield_context.h"

#include <sched.h>

namespace survey::client {

YieldContext::YieldContext() {
  YieldTimeSlice = &GiveUpTimeSlice;
  Trickle = &Pace;
}

void YieldContext::GiveUpTimeSlice(SurveyorContext*) { sched_yield(); }

// The library calls this once per step of its long walks over the package
// database, at points where it may hold resources of that database. Giving
// the evaluation up is the business of `Check_For_Surveyor_Interruption`,
// which the library calls where it is ready to be abandoned; pacing here
// would only slow the walk, since nothing else runs on this thread. So it
// does nothing.
void YieldContext::Pace(SurveyorContext*) {}

}  // namespace survey::client
