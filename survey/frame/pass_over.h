// Passing over many values of an iteration in one call.
//
// A count, or any consumer that keeps nothing of the values it pulls, calls
// an iterator's Next once a value, and each call costs the host a step of
// its own: a value block, the interruption check, the memory the value took.
// An iterator that can do the same work for many values in a loop of its
// own offers a pass: it moves on by at most `most` values, exactly as that
// many calls of its Next would (each value's work done as Next does it, in
// memory that the pass asks of the host once and uses for every value, but
// for what nothing after the value could see, such as a copy of a line's
// text that no value holds), checks for the host's interruption as it goes,
// and returns how many it passed over; the host gives that memory back
// after the call. Fewer than
// `most` means that the iteration has ended. It never throws NoSuchObject;
// any other exception is the one Next would have thrown at that value.
//
// A host that can use passes asks the library's exported function
// `survey_iterated_pass_over` once for each iterated property record, with
// the record's context, after the library has loaded: the pass of that
// record, or null for an iterator that has none. A host that never asks
// calls Next, as the calling protocol has it.
#pragma once

#include "survey/frame/boundary.h"

// A record's pass: `index`, `object`, `state` and `context` as for its
// First and Next.
using SurveyorPassOver = unsigned long (*)(void const* index, void const* object, void* state,
                                           void const* context, unsigned long most);

extern "C" SURVEY_API SurveyorPassOver survey_iterated_pass_over(void const* context);
