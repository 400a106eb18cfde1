// The small counting list that the reader of application usage keeps its
// runs in: a plain layout of the library's, apart from the rest of the
// process surveyors so that the host can hold one (in the usage cursor)
// without the library's file classes.
#pragma once

#include "survey/foundation/data.h"
#include "survey/foundation/time.h"

// What a line of the usage log tells.
enum LogMeasureEventType {
  kStartSampling = 0,
  kApplicationStart = 1,
  kApplicationEnd = 2,
  kEndSampling = 3,
};

// One counted key: a time and two texts, with a count of runs.
struct SURVEY_API ProcessCountRecord {
  Instant time;
  ConstData second;  // owned by the record
  ConstData first;   // owned by the record
  unsigned int count;
  ProcessCountRecord* next;
};

// A singly linked list of counted keys, in memory from its own allocator.
// Texts are compared without regard to case, times exactly. A new record
// goes at the head.
class SURVEY_API ProcessCounts {
 public:
  void* (*allocate)(unsigned int size) = nullptr;
  void (*release)(void* block) = nullptr;
  ProcessCountRecord* head = nullptr;

  ProcessCounts() = default;
  ProcessCounts(void* (*allocator)(unsigned int), void (*releaser)(void*))
      : allocate(allocator), release(releaser) {}

  // Frees every record and its texts; the list is empty after.
  void Reset();
  // Adds the key with that count unless it is already there.
  void AddIdentify(ConstData first, ConstData second, Instant time, unsigned long count);
  // A start counts a run up; an end counts one down, never below 0. Gives
  // the record touched, or null: for an end of an unknown key, which adds
  // nothing, and for an end at count 0. Any other event for an unknown key
  // adds it with count 1.
  ProcessCountRecord* UpdateCounts(LogMeasureEventType event, ConstData const& first,
                                   ConstData const& second, Instant const& time);

 private:
  ProcessCountRecord* Find(ConstData const& first, ConstData const& second,
                           Instant const& time) const;
  // A new record at the head, or null when memory cannot be had.
  ProcessCountRecord* Add(ConstData const& first, ConstData const& second, Instant const& time,
                          unsigned int count);
};
