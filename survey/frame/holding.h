// Values that must hold given bytes: a search that passes over, unmade,
// the values of an iteration that a test could not pass.
//
// A filter such as "lines whose (it contains regex ...)" makes every value
// and asks the host to test it, although many values could never pass: a
// text without bytes that every passing text holds. Two offers, both
// optional, let a host find such values without making them.
//
// An iterator may offer a search for bytes beside its Next. It gives the
// next value exactly as Next would, except that it may pass over values
// whose text (the value as the library's string type) cannot hold the
// bytes: those are stepped over as Next steps over them, so that everything
// a later value shows (its number, its place, its neighbours) is what it
// would have been. It checks for the host's interruption as it goes and
// throws NoSuchObject at the end, as Next does. A value it gives may or may
// not hold the bytes: the host still tests it in full. The host asks the
// exported function `survey_iterated_next_holding` once for each iterated
// record, with the record's context, after the library has loaded.
//
// A record may offer the bytes that its answers require. For an operator
// whose result is a boolean: given its right operand, bytes that every left
// operand for which it answers true holds, as a string of the library
// holds them. For a property with an index: given the index, bytes that
// every object with at least one value holds. The answer is 1 with the
// bytes, which last as long as the operand does, or 0 when none are known.
// It never throws. The host asks `survey_operator_necessary_bytes` for each
// operator record and `survey_property_necessary_bytes` for each iterated
// record, as it asks for passes.
//
// A host that never asks calls Next and tests every value, as the calling
// protocol has it.
#pragma once

#include "survey/frame/boundary.h"

// A record's search: `result`, `index`, `object`, `state` and `context` as
// for its Next, which it answers as Next answers.
using SurveyorNextHolding = int (*)(void* result, void const* index, void const* object,
                                    void* state, void const* context, unsigned char const* bytes,
                                    unsigned long length);

// A record's required bytes for an operand: the right operand of an
// operator, the index of a property.
using SurveyorNecessaryBytes = int (*)(void const* operand, void const* context,
                                       unsigned char const** bytes, unsigned long* length);

extern "C" SURVEY_API SurveyorNextHolding survey_iterated_next_holding(void const* context);
extern "C" SURVEY_API SurveyorNecessaryBytes survey_operator_necessary_bytes(void const* context);
extern "C" SURVEY_API SurveyorNecessaryBytes survey_property_necessary_bytes(void const* context);
