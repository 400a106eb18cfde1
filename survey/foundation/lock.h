// The lock wrappers over the host's `AccessLock`.
//
// The idiom is a local token for the length of a block:
//
//   static CriticalSectionPL section;
//   CriticalSectionTokenPL const token = section.GetToken();
//
// The token takes the lock and keeps it until the last copy of it goes.
#pragma once

#include "survey/frame/boundary.h"

// A pointer to a count shared by copies of a handle. A null count means one
// holder, so a handle that is never copied allocates nothing.
class ReferenceCounterPL {
 public:
  ReferenceCounterPL() : count_(nullptr) {}
  // Shares the source's count, making one if the source had none.
  ReferenceCounterPL(ReferenceCounterPL const& source);
  ReferenceCounterPL& operator=(ReferenceCounterPL const&) = delete;
  ~ReferenceCounterPL() { Release(); }

 protected:
  // Drops this holder from the count, and reports whether it was the last.
  // A second call reports true again and does nothing.
  bool Release();

 private:
  mutable unsigned long* count_;
};

class CriticalSectionTokenPL : public ReferenceCounterPL {
 public:
  // Takes the lock.
  explicit CriticalSectionTokenPL(AccessLock& lock);
  CriticalSectionTokenPL(CriticalSectionTokenPL const& other) = default;
  CriticalSectionTokenPL& operator=(CriticalSectionTokenPL const&) = delete;
  // Unlocks when this is the last holder.
  ~CriticalSectionTokenPL();

 private:
  AccessLock* lock_;
};

class CriticalSectionPL {
 public:
  CriticalSectionPL() = default;
  CriticalSectionPL(CriticalSectionPL const&) = delete;
  CriticalSectionPL& operator=(CriticalSectionPL const&) = delete;

  // A token that holds the lock.
  CriticalSectionTokenPL GetToken() { return CriticalSectionTokenPL(lock_); }

 private:
  AccessLock lock_;
};
