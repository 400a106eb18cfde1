#include "survey/foundation/lock.h"

ReferenceCounterPL::ReferenceCounterPL(ReferenceCounterPL const& source) : count_(nullptr) {
  if (source.count_ == nullptr) {
    // The source was the one holder: the two now share a count of 2.
    source.count_ = new unsigned long(2);
  } else {
    ++*source.count_;
  }
  count_ = source.count_;
}

bool ReferenceCounterPL::Release() {
  if (count_ == nullptr) return true;
  bool const last = --*count_ == 0;
  if (last) delete count_;
  count_ = nullptr;
  return last;
}

CriticalSectionTokenPL::CriticalSectionTokenPL(AccessLock& lock) : lock_(&lock) { lock_->Lock(); }

CriticalSectionTokenPL::~CriticalSectionTokenPL() {
  if (Release()) lock_->Unlock();
}
