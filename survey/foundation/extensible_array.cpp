#include "survey/foundation/extensible_array.h"

#include "survey/foundation/bits.h"

ExtensibleArrayBase::ExtensibleArrayBase(unsigned int elementSize, Data firstSection)
    : elementSize_(elementSize), firstSize_(firstSection.Length()), count_(0), sections_() {
  sections_[0] = firstSection.begin;
  for (unsigned long section = 1; section < kSections; ++section) sections_[section] = nullptr;
}

ExtensibleArrayBase::~ExtensibleArrayBase() { FreeFrom(1); }

unsigned long ExtensibleArrayBase::SectionNumber(unsigned long offset) const {
  // The highest set bit of x is the highest zero bit of ~x.
  return Bits::LastZero(static_cast<unsigned long>(~(offset / firstSize_ + 1)));
}

void* ExtensibleArrayBase::operator[](unsigned long index) {
  unsigned long const offset = index * elementSize_;
  unsigned long const section = SectionNumber(offset);
  return sections_[section] + Remainder(offset, section);
}

void const* ExtensibleArrayBase::operator[](unsigned long index) const {
  unsigned long const offset = index * elementSize_;
  unsigned long const section = SectionNumber(offset);
  return sections_[section] + Remainder(offset, section);
}

void* ExtensibleArrayBase::Allocate(unsigned int) {
  if (firstSize_ == 0) throw DataOverflow();
  unsigned long const offset = count_ * elementSize_;
  unsigned long const section = SectionNumber(offset);
  if (section >= kSections) throw DataOverflow();
  // A section whose size does not fit an unsigned long is past the limit
  // too, as it can be on a 32-bit machine with a large first section.
  if ((SectionSize(section) >> section) != firstSize_) throw DataOverflow();
  if (sections_[section] == nullptr) {
    sections_[section] = static_cast<unsigned char*>(::operator new(SectionSize(section)));
  }
  ++count_;
  return sections_[section] + Remainder(offset, section);
}

void ExtensibleArrayBase::Release(unsigned long count) {
  count_ -= count;
  long const inUse = static_cast<long>(count_ * elementSize_);
  if (inUse < 0) return;
  unsigned long const keep = SectionNumber(2 * static_cast<unsigned long>(inUse));
  FreeFrom(keep + 1);
}

void ExtensibleArrayBase::Release(void*) { Release(1); }

void ExtensibleArrayBase::ReleaseAll() {
  count_ = 0;
  FreeFrom(1);
}

void ExtensibleArrayBase::FreeFrom(unsigned long first) {
  for (unsigned long section = first; section < kSections && sections_[section] != nullptr;
       ++section) {
    ::operator delete(sections_[section]);
    sections_[section] = nullptr;
  }
}
