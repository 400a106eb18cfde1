// How an iteration that ends very often may end without an exception.
//
// The calling protocol ends an iteration when First or Next throws
// NoSuchObject. Some iterations end many times a query: the matches of a
// regular expression end once in every line of "matches ... of lines of
// file", and a thrown exception costs several times the search itself. A
// host that takes a return of 0 from First or Next as the end of the stream,
// exactly as it takes NoSuchObject, says so by calling the library's exported
// function `survey_host_ends_streams_on_zero` once after loading it. Until a
// host says so, every iteration ends with NoSuchObject, as the protocol has it.
#pragma once

#include "survey/frame/adaptors.h"

extern "C" SURVEY_API void survey_host_ends_streams_on_zero();

namespace survey::frame {

// True once the host has said that a return of 0 ends a stream.
bool HostEndsStreamsOnZero();

}  // namespace survey::frame
