// The lock wrappers over the host's lock. Whether the lock is held is seen
// from another thread: a probe that takes and gives back the lock finishes
// only once the lock is free.

#include "survey/foundation/lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

namespace {

// Tries the lock from another thread for as long as it lives.
class Probe {
 public:
  explicit Probe(AccessLock& lock)
      : thread_([this, &lock] {
          lock.Lock();
          acquired_ = true;
          lock.Unlock();
        }) {}
  ~Probe() {
    if (thread_.joinable()) thread_.join();
  }

  // Whether the probe got the lock within a short wait.
  bool AcquiredSoon() {
    for (int i = 0; i < 200 && !acquired_; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return acquired_;
  }
  // Whether the probe is still kept out after a short wait.
  bool StillKeptOut() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return !acquired_;
  }

 private:
  std::atomic<bool> acquired_{false};
  std::thread thread_;
};

TEST(CriticalSectionTest, ATokenHoldsTheLockForItsLife) {
  AccessLock lock;
  std::optional<Probe> probe;  // outlives the token, so that it can finish
  {
    CriticalSectionTokenPL const token(lock);
    probe.emplace(lock);
    EXPECT_TRUE(probe->StillKeptOut());
  }
  EXPECT_TRUE(probe->AcquiredSoon());
}

TEST(CriticalSectionTest, GetTokenLocksTheSectionsLock) {
  CriticalSectionPL section;
  std::atomic<bool> entered{false};
  std::thread other;
  {
    CriticalSectionTokenPL const token = section.GetToken();
    other = std::thread([&] {
      CriticalSectionTokenPL const inner = section.GetToken();
      entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
  }
  // Leaving the block released the lock: the other thread gets in.
  other.join();
  EXPECT_TRUE(entered);
}

TEST(CriticalSectionTest, CopiesReleaseTheLockOnceAtTheLastInAnyOrder) {
  // Three holders, destroyed in each of the six orders.
  int const orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (auto const& order : orders) {
    AccessLock lock;
    std::optional<Probe> probe;
    std::unique_ptr<CriticalSectionTokenPL> tokens[3];
    tokens[0] = std::make_unique<CriticalSectionTokenPL>(lock);
    tokens[1] = std::make_unique<CriticalSectionTokenPL>(*tokens[0]);
    tokens[2] = std::make_unique<CriticalSectionTokenPL>(*tokens[1]);
    probe.emplace(lock);
    tokens[order[0]].reset();
    tokens[order[1]].reset();
    EXPECT_TRUE(probe->StillKeptOut()) << order[0] << order[1] << order[2];
    tokens[order[2]].reset();
    EXPECT_TRUE(probe->AcquiredSoon()) << order[0] << order[1] << order[2];
  }
}

TEST(CriticalSectionTest, AfterTheLastCopyTheLockIsTakenAgainAndHeld) {
  // Had a copy unlocked twice, the lock taken afterwards would not keep a
  // second thread out.
  AccessLock lock;
  {
    CriticalSectionTokenPL const first(lock);
    CriticalSectionTokenPL const second(first);
    CriticalSectionTokenPL const third(second);
  }
  std::optional<Probe> probe;
  {
    CriticalSectionTokenPL const again(lock);
    probe.emplace(lock);
    EXPECT_TRUE(probe->StillKeptOut());
  }
  EXPECT_TRUE(probe->AcquiredSoon());
}

}  // namespace
