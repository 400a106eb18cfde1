// A repeatable sequence of numbers, for tests that make their data at
// random: the same seed makes the same files on every machine and in every
// build, so that a failure can be made again.
#pragma once

namespace survey::testing {

class RepeatableRandom {
 public:
  explicit RepeatableRandom(unsigned seed) : state_(seed) {}
  // The next number, from 0 to 32767.
  unsigned operator()() {
    state_ = state_ * 1103515245u + 12345u;
    return (state_ >> 16) & 0x7FFF;
  }

 private:
  unsigned state_;
};

}  // namespace survey::testing
