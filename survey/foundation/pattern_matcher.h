// A streaming substring search. `PatternMatcher` prepares a Horspool skip
// table for a target; `MatchLoop` runs it over a stream of blocks, finding
// matches that may span block boundaries. It reads each block once and keeps
// no copy of an earlier one: what crosses a boundary is only the count of
// target bytes that already match at the end of the stream seen so far.
#pragma once

#include "survey/foundation/data.h"

class PatternMatcher {
 public:
  PatternMatcher();
  explicit PatternMatcher(ConstData target);

  // Keeps the view (the bytes must outlive the matcher's use) and fills the
  // skip table from the target's last bytes, at most 255 of them: a longer
  // target only skips less.
  void SetTarget(ConstData target);

  ConstData Target() const { return target_; }
  unsigned char Skip(unsigned char byte) const { return skip_[byte]; }

 private:
  ConstData target_;
  unsigned char skip_[256];
};

class MatchLoop {
 public:
  // Sets nothing up: Start comes next.
  explicit MatchLoop(PatternMatcher const& matcher);
  // Starts on the first block.
  MatchLoop(PatternMatcher const& matcher, ConstData block);

  // Searches a first block, with nothing carried from before.
  void Start(ConstData block);
  // Searches the block that follows the one before, so that a match that
  // began at the end of that block is completed here.
  void Continue(ConstData block);

  // Whether a match ends in the present block, at MatchEnd.
  bool Found() const { return tryPosition_ <= Length(); }
  // The position in the present block just behind the match's last byte.
  unsigned char const* MatchEnd() const { return begin_ + tryPosition_; }
  // The count of target bytes that match at the end of the stream seen,
  // once a block has been searched to its end.
  unsigned long Carry() const { return carry_; }

  // Moves on to the next match in the present block, if any.
  MatchLoop& operator++();

 private:
  unsigned long Length() const { return static_cast<unsigned long>(end_ - begin_); }
  unsigned long TargetLength() const { return matcher_.Target().Length(); }

  // Tries candidates from the try position until one matches or the block
  // ends.
  void Advance();
  // Whether the target ends at the try position, with any part of it that
  // lies before the block taken from the carry.
  bool Matching() const;
  // The amount by which the try position moves when the candidate there
  // has been dealt with.
  unsigned long Shift() const;
  // Works out the carry at the end of the block and leaves the try position
  // past the block's end.
  void RunPastEnd();
  // Whether the last `count` bytes of the stream seen so far are the
  // target's first `count` bytes.
  bool TailIsPrefix(unsigned long count) const;

  PatternMatcher const& matcher_;
  unsigned char const* begin_;
  unsigned char const* end_;
  // The offset from the block's begin at which the target's end is tried.
  unsigned long tryPosition_;
  unsigned long carry_;
};
