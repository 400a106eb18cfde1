// Registration records: the static objects whose addresses the library hands
// to the host at registration. Each starts with the host's area, which the
// library never touches; the library's typed slots follow it.
#pragma once

#include "survey/frame/boundary.h"

// A pointer to a typed free function, stored type-erased in a record and
// cast back to its real type by the adaptor that reads it.
using FunctionSlot = void (*)();

// A pointer to a member function of an iterator or aggregator class, stored
// type-erased. Converting it back to its own type gives the original pointer.
class AnyState;
using MemberSlot = void (AnyState::*)();

// The record of a type: a host area and no tail.
struct alignas(16) TypeRecord {
  unsigned char hostArea[kTypeHostArea];
};

// The record of a global dependency node.
struct alignas(16) DependencyNode {
  unsigned char hostArea[kRecordHostArea];
};

// The record of a cache.
struct alignas(16) CacheRecord {
  unsigned char hostArea[kCacheHostArea];
};

// The short record of a simple property, cast or operator: the host area and
// the surveyor function.
struct alignas(16) ShortRecord {
  unsigned char hostArea[kRecordHostArea];
  FunctionSlot function;
};

// The full record, for iterated and aggregate properties whose adaptors read
// member functions of the state class.
struct PropRecord : ShortRecord {
  MemberSlot firstInitial;
  MemberSlot nextInitial;
  MemberSlot firstIntermediate;
  MemberSlot nextIntermediate;
  MemberSlot firstFinal;
  MemberSlot nextFinal;
};

template <class F>
inline FunctionSlot ToFunctionSlot(F function) {
  return reinterpret_cast<FunctionSlot>(function);
}

// Member function pointers of other classes and shapes are stored in one
// slot type and converted back to their own type before any call, which the
// language allows; the compiler's warning about such casts does not apply.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcast-function-type"

template <class M>
inline MemberSlot ToMemberSlot(M member) {
  return reinterpret_cast<MemberSlot>(member);
}

// The function stored in the record passed as `context`, as its real type.
template <class F>
inline F FunctionOf(void const* context) {
  return reinterpret_cast<F>(static_cast<ShortRecord const*>(context)->function);
}

// A member slot of the record passed as `context`, as its real type.
template <class M>
inline M MemberOf(void const* context, MemberSlot PropRecord::*slot) {
  return reinterpret_cast<M>(static_cast<PropRecord const*>(context)->*slot);
}

#pragma GCC diagnostic pop
