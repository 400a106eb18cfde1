// The cursor over a watched application's usage events, which the library's
// iterators hold and the host's `ReadNextExecution` moves (boundary.h).
//
// The library sets the start values (position 0, an empty count list, the
// flags 0, 0, 1) when the cursor is made and when a walk starts over, and
// reads the event fields after each read that answers true. The host owns
// the meaning of `hostWord`, `hostWords` and the three flags; it must leave
// `counts`, `allocate` and `release` as it found them.
//
// The texts `versionInfo` and `path` are each either empty or a block from
// `allocate` that the cursor owns: the host frees the block it gave before
// with `release` when it puts a new text in its place, and the library frees
// what is left when the cursor goes.
#pragma once

#include <cstdint>

#include "survey/foundation/data.h"
#include "survey/foundation/time.h"
#include "survey/system/process_counts.h"

struct SurveyorExecutionCursor {
  // The number of events read since the walk started.
  std::uint32_t position;
  std::uintptr_t hostWord;
  void* (*allocate)(unsigned int size);
  void (*release)(void* block);
  // The event: 0 "Start Sampling", 1 "Application Start", 2 "Application
  // End", 3 "End Sampling"; other numbers stand for events that readers pass
  // over.
  std::uint32_t type;
  Instant time;
  // The application file's modification time, as it was at the event.
  Instant modificationTime;
  ConstData versionInfo;
  ConstData path;
  // Runs counted along the walk, in memory from `allocate`.
  ProcessCounts counts;
  std::uintptr_t hostWords[4];
  unsigned char flags[3];
};
