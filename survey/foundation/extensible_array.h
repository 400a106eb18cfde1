// A growing array whose elements never move.
//
// The storage is a table of sections. Section 0 is memory that the owner
// gives, so that a short array takes no heap memory; section k is the first
// section's size shifted left by k, and is allocated when the array first
// reaches it. Growth never moves an element, so an element's address stays
// valid until the element is released.
#pragma once

#include <new>
#include <utility>

#include "survey/foundation/data.h"

class ExtensibleArrayBase {
 public:
  static constexpr unsigned long kSections = 24;

  // The first section's size should be a non-zero multiple of the element
  // size, so that no element straddles two sections.
  ExtensibleArrayBase(unsigned int elementSize, Data firstSection);
  ~ExtensibleArrayBase();
  ExtensibleArrayBase(ExtensibleArrayBase const&) = delete;
  ExtensibleArrayBase& operator=(ExtensibleArrayBase const&) = delete;

  unsigned long Count() const { return count_; }

  // The section that holds a byte offset: the position of the highest set
  // bit of (offset / first-section size + 1).
  unsigned long SectionNumber(unsigned long offset) const;
  // The first-section size shifted left by the section number.
  unsigned long SectionSize(unsigned long section) const { return firstSize_ << section; }
  // The offset within its section of an offset that lies in that section.
  unsigned long Remainder(unsigned long offset, unsigned long section) const {
    return offset + firstSize_ - SectionSize(section);
  }

  // The element's address. There is no bound test.
  void* operator[](unsigned long index);
  void const* operator[](unsigned long index) const;

  // Appends one element and returns its address, allocating its section if
  // that has not been done yet. The argument is the element size the caller
  // expects and is not otherwise used. Throws DataOverflow past the last
  // section.
  void* Allocate(unsigned int elementSize);

  // Takes `count` from the element count, and frees the sections beyond the
  // one that would hold twice the bytes still in use, so that one section is
  // kept in hand against growing and shrinking across a boundary.
  void Release(unsigned long count);
  // Releases the last element, whichever pointer is given.
  void Release(void* element);
  // Sets the count to 0 and frees every section but the first.
  void ReleaseAll();

 private:
  // Frees the sections from `first` up to the first null pointer.
  void FreeFrom(unsigned long first);

  unsigned int elementSize_;
  unsigned long firstSize_;
  unsigned long count_;
  unsigned char* sections_[kSections];
};

// An extensible array of T whose first section, room for N elements, lives
// inside the object. It constructs and destroys the T values in the slots
// that the base hands out.
template <class T, unsigned long N = 1>
class ExtensibleArray : public ExtensibleArrayBase {
  static_assert(N > 0, "the first section holds at least one element");

 public:
  ExtensibleArray() : ExtensibleArrayBase(sizeof(T), Data(inline_, sizeof inline_)) {}
  ~ExtensibleArray() { Clear(); }

  T& operator[](unsigned long index) {
    return *static_cast<T*>(ExtensibleArrayBase::operator[](index));
  }
  T const& operator[](unsigned long index) const {
    return *static_cast<T const*>(ExtensibleArrayBase::operator[](index));
  }

  // Constructs a new last element from the arguments.
  template <class... Arguments>
  T& Append(Arguments&&... arguments) {
    void* const slot = Allocate(sizeof(T));
    try {
      return *::new (slot) T(std::forward<Arguments>(arguments)...);
    } catch (...) {
      ExtensibleArrayBase::Release(1);
      throw;
    }
  }

  // Destroys the last element.
  void RemoveLast() {
    if (Count() == 0) return;
    (*this)[Count() - 1].~T();
    ExtensibleArrayBase::Release(1);
  }

  // Destroys every element, last first.
  void Clear() {
    while (Count() != 0) RemoveLast();
    ReleaseAll();
  }

 private:
  alignas(T) unsigned char inline_[N * sizeof(T)];
};
