#include "survey/foundation/pattern_matcher.h"

namespace {

constexpr unsigned long kSkipLimit = 255;

bool SameBytes(unsigned char const* first, unsigned char const* second, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) {
    if (first[i] != second[i]) return false;
  }
  return true;
}

}  // namespace

PatternMatcher::PatternMatcher() : target_(), skip_() {
  for (unsigned char& entry : skip_) entry = 1;
}

PatternMatcher::PatternMatcher(ConstData target) : target_(), skip_() { SetTarget(target); }

void PatternMatcher::SetTarget(ConstData target) {
  target_ = target;
  unsigned long const length = target.Length();
  unsigned long const m = length < kSkipLimit ? length : kSkipLimit;
  // An empty target matches everywhere; a skip of 1 lets a search still
  // move on.
  unsigned char const most = static_cast<unsigned char>(m == 0 ? 1 : m);
  for (unsigned char& entry : skip_) entry = most;
  // The byte k places before the target's last byte may move the target k
  // places; k falls, so the rightmost occurrence wins.
  for (unsigned long k = m == 0 ? 0 : m - 1; k >= 1; --k) {
    skip_[target.begin[length - 1 - k]] = static_cast<unsigned char>(k);
  }
}

MatchLoop::MatchLoop(PatternMatcher const& matcher)
    : matcher_(matcher), begin_(nullptr), end_(nullptr), tryPosition_(1), carry_(0) {}

MatchLoop::MatchLoop(PatternMatcher const& matcher, ConstData block)
    : matcher_(matcher), begin_(nullptr), end_(nullptr), tryPosition_(1), carry_(0) {
  Start(block);
}

void MatchLoop::Start(ConstData block) {
  begin_ = block.begin;
  end_ = block.end;
  carry_ = 0;
  tryPosition_ = TargetLength();
  Advance();
}

void MatchLoop::Continue(ConstData block) {
  begin_ = block.begin;
  end_ = block.end;
  tryPosition_ = TargetLength() - carry_;
  Advance();
}

MatchLoop& MatchLoop::operator++() {
  if (Found()) {
    tryPosition_ += Shift();
    Advance();
  }
  return *this;
}

unsigned long MatchLoop::Shift() const {
  // Only the empty target is tried at the block's very begin.
  if (tryPosition_ == 0) return 1;
  return matcher_.Skip(begin_[tryPosition_ - 1]);
}

void MatchLoop::Advance() {
  while (tryPosition_ <= Length()) {
    if (Matching()) return;
    tryPosition_ += Shift();
  }
  RunPastEnd();
}

bool MatchLoop::Matching() const {
  ConstData const target = matcher_.Target();
  unsigned long const n = target.Length();
  // Compare backward from the try position and the target's end, as far as
  // the block's begin.
  unsigned long const inBlock = n < tryPosition_ ? n : tryPosition_;
  for (unsigned long i = 1; i <= inBlock; ++i) {
    if (begin_[tryPosition_ - i] != target.begin[n - i]) return false;
  }
  unsigned long const before = n - inBlock;
  if (before == 0) return true;
  // The candidate began in an earlier block. All that is known of the
  // stream there is that its last carry_ bytes are the target's first
  // carry_; the candidate's first `before` bytes are the last of those.
  if (before > carry_) return false;
  return SameBytes(target.begin, target.begin + (carry_ - before), before);
}

bool MatchLoop::TailIsPrefix(unsigned long count) const {
  unsigned char const* const target = matcher_.Target().begin;
  unsigned long const length = Length();
  if (count <= length) return SameBytes(end_ - count, target, count);
  // The tail reaches back before this block, into the carried prefix.
  unsigned long const earlier = count - length;
  return SameBytes(target + (carry_ - earlier), target, earlier) &&
         SameBytes(begin_, target + earlier, length);
}

void MatchLoop::RunPastEnd() {
  unsigned long const n = TargetLength();
  unsigned long const length = Length();
  // The longest target prefix, shorter than the target, that ends the
  // stream. Since the carry before this block was the longest such prefix
  // then, the stream that is known is enough to find it.
  unsigned long longest = n == 0 ? 0 : n - 1;
  if (longest > carry_ + length) longest = carry_ + length;
  unsigned long carry = 0;
  for (unsigned long count = longest; count >= 1; --count) {
    if (TailIsPrefix(count)) {
      carry = count;
      break;
    }
  }
  carry_ = carry;
  // The earliest place, counted from this block's begin, at which the
  // target can complete in the next block.
  unsigned long const remaining = n - carry;
  tryPosition_ = length + (remaining == 0 ? 1 : remaining);
}
