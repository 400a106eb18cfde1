// Shared ownership by a ring of handles.
//
// Every handle to one object sits on a circular doubly linked list of
// `SharingLink`s; the list is the reference count, and the object has one
// holder left when a link is alone on its ring. Nothing here is locked:
// handles to one object stay on one thread.
#pragma once

class SharingLink {
 public:
  // A link alone on a ring of its own.
  SharingLink() : next(this), previous(this) {}
  // Joins the source's ring, beside the source.
  SharingLink(SharingLink const& source) : next(source.next), previous(&source) {
    JoinBetween(const_cast<SharingLink*>(&source), source.next);
  }
  // Leaves the ring.
  ~SharingLink() { Leave(); }
  // Leaves this ring and joins the source's, by way of a copy and a swap.
  SharingLink& operator=(SharingLink const& source) {
    if (this != &source) {
      SharingLink copy(source);
      swap(copy);
    }
    return *this;
  }

  // Exchanges the places of two links on their rings, one ring or two,
  // neighbours or not.
  void swap(SharingLink& other) {
    if (this == &other) return;
    // A marker holds this link's place while it moves into the other's.
    SharingLink marker(*this);
    Leave();
    JoinBetween(&other, other.next);
    other.Leave();
    other.JoinBetween(&marker, marker.next);
  }

  // Whether this is the only link on its ring.
  bool Alone() const { return next == this; }

  SharingLink const* next;
  SharingLink const* previous;

 private:
  // Takes the link out of its ring and leaves it alone.
  void Leave() {
    const_cast<SharingLink*>(previous)->next = next;
    const_cast<SharingLink*>(next)->previous = previous;
    next = this;
    previous = this;
  }
  // Puts a lone link between two neighbours on a ring.
  void JoinBetween(SharingLink* before, SharingLink const* after) {
    previous = before;
    next = after;
    before->next = this;
    const_cast<SharingLink*>(after)->previous = this;
  }
};

// A pointer that deletes its object when the last handle on its ring goes.
template <class T>
class SharingPtr {
 public:
  SharingPtr() : pointer_(nullptr) {}
  explicit SharingPtr(T* owned) : pointer_(owned) {}
  SharingPtr(SharingPtr const& other) : pointer_(other.pointer_), link_(other.link_) {}
  ~SharingPtr() {
    if (link_.Alone()) delete pointer_;
  }
  SharingPtr& operator=(SharingPtr const& other) {
    if (this != &other) {
      SharingPtr copy(other);
      swap(copy);
    }
    return *this;
  }

  void swap(SharingPtr& other) {
    T* const pointer = pointer_;
    pointer_ = other.pointer_;
    other.pointer_ = pointer;
    link_.swap(other.link_);
  }

  T* Get() const { return pointer_; }
  T& operator*() const { return *pointer_; }
  T* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }
  // Whether this handle is the object's only one.
  bool Unique() const { return link_.Alone(); }

 private:
  T* pointer_;
  SharingLink link_;
};
