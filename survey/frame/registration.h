// Registration: how a source unit hands its vocabulary to the host.
//
// Two styles are offered.
//
// Tables. A unit's static initialiser is straight-line code that calls the
// `Register...<&record, Adaptor>` helpers below in the order its table
// declares, types first. Each helper (1) calls the host's `Register_*` with
// the record as both record and context, (2) stores the surveyor function in
// the record after the call has returned, and (3) queues, with
// `__cxa_atexit` against this library's handle, a function that unregisters
// that one record. Handlers run last in, first out at unload, so everything
// is unregistered in exact reverse order. An exception from `Register_*`
// passes on and leaves the queue as it stands.
//
// Registration classes. Groups that repeat for many types are classes whose
// members are `RegisteredType`, `Prop`, `RegisteredCast` and
// `RegisteredOperator`: each member registers in its constructor and
// unregisters in its destructor. When any later step of the class's
// constructor throws, the members already constructed are destroyed in
// reverse order, so everything registered so far is undone, exactly once.
#pragma once

#include "survey/frame/adaptors.h"

extern "C" {
int __cxa_atexit(void (*handler)(void*), void* argument, void* dso);
extern void* __dso_handle;
}

namespace survey::frame {

template <TypeRecord* Record>
void UnregisterTypeAt(void*) {
  Unregister_Type(Record);
}
template <ShortRecord* Record>
void UnregisterPropertyAt(void*) {
  Unregister_Property(Record);
}
template <PropRecord* Record>
void UnregisterIteratedAt(void*) {
  Unregister_Property(Record);
}
template <ShortRecord* Record>
void UnregisterCastAt(void*) {
  Unregister_Cast(Record);
}
template <ShortRecord* Record>
void UnregisterOperatorAt(void*) {
  Unregister_Binary_Operator(Record);
}
template <DependencyNode* Node>
void UnregisterDependencyAt(void*) {
  Unregister_Global_Dependency(Node);
}
template <CacheRecord* Record>
void UnregisterCacheAt(void*) {
  Unregister_Cache(Record);
}

inline void QueueAtUnload(void (*handler)(void*)) {
  __cxa_atexit(handler, nullptr, &__dso_handle);
}

// The names of the six member slots of an aggregate, in phase order.
struct AggregatePhases {
  SurveyorGetter firstInitial;
  SurveyorGetter nextInitial;
  SurveyorGetter firstIntermediate;
  SurveyorGetter nextIntermediate;
  SurveyorGetter firstFinal;
  SurveyorGetter nextFinal;
};

// The member functions stored in an aggregate's record, type-erased; a null
// slot is one whose phase adaptor reads nothing.
struct AggregateMembers {
  MemberSlot firstInitial = nullptr;
  MemberSlot nextInitial = nullptr;
  MemberSlot firstIntermediate = nullptr;
  MemberSlot nextIntermediate = nullptr;
  MemberSlot firstFinal = nullptr;
  MemberSlot nextFinal = nullptr;
};

inline void StoreMembers(PropRecord& record, AggregateMembers const& members) {
  record.firstInitial = members.firstInitial;
  record.nextInitial = members.nextInitial;
  record.firstIntermediate = members.firstIntermediate;
  record.nextIntermediate = members.nextIntermediate;
  record.firstFinal = members.firstFinal;
  record.nextFinal = members.nextFinal;
}

}  // namespace survey::frame

// ---------------------------------------------------------------------------
// Table helpers, for static initialisers.

template <TypeRecord* Record, class TypeInfo, class T>
void RegisterType(char const* name, char const* base) {
  Register_Type(Record, kTypeHostArea, name, sizeof(T), &TypeInfo::Destroy, base,
                TypeInfo::FingerprintFunction());
  survey::frame::QueueAtUnload(&survey::frame::UnregisterTypeAt<Record>);
}

// A simple property whose adaptor is `Adaptor::Get` over `Adaptor::Function`.
template <ShortRecord* Record, class Adaptor>
void RegisterProperty(char const* singular, char const* plural, char const* index,
                      char const* object, char const* result,
                      typename Adaptor::Function function, SurveyorDependency dependency) {
  Register_Property(Record, kRecordHostArea, singular, plural, index, object, result,
                    &Adaptor::Get, Record, dependency);
  Record->function = ToFunctionSlot(function);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterPropertyAt<Record>);
}

// An iterated property whose adaptor calls the iterator's First and Next by
// name; nothing is stored in the record.
template <PropRecord* Record, class Adaptor, class Iterator>
void RegisterIteratedProperty(char const* singular, char const* plural, char const* index,
                              char const* object, char const* result,
                              SurveyorDependency dependency) {
  Register_Iterated_Property(Record, kRecordHostArea, singular, plural, index, object, result,
                             sizeof(Iterator), &IteratorBasics<Iterator>::Construct,
                             &IteratorBasics<Iterator>::Destroy, &Adaptor::First,
                             &Adaptor::Next, Record, dependency);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterIteratedAt<Record>);
}

// An iterated property whose adaptor reads the member pair from the record.
template <PropRecord* Record, class Adaptor, class Iterator>
void RegisterIteratedSlots(char const* singular, char const* plural, char const* index,
                           char const* object, char const* result,
                           typename Adaptor::Member first, typename Adaptor::Member next,
                           SurveyorDependency dependency) {
  Register_Iterated_Property(Record, kRecordHostArea, singular, plural, index, object, result,
                             sizeof(Iterator), &IteratorBasics<Iterator>::Construct,
                             &IteratorBasics<Iterator>::Destroy, &Adaptor::First,
                             &Adaptor::Next, Record, dependency);
  Record->firstIntermediate = ToMemberSlot(first);
  Record->nextIntermediate = ToMemberSlot(next);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterIteratedAt<Record>);
}

// An aggregate property over the aggregator class `Aggregator`.
template <PropRecord* Record, class Aggregator>
void RegisterAggregateProperty(char const* singular, char const* plural, char const* index,
                               char const* object, char const* result,
                               survey::frame::AggregatePhases const& phases,
                               survey::frame::AggregateMembers const& members,
                               SurveyorDependency dependency) {
  Register_Aggregate_Property(Record, kRecordHostArea, singular, plural, index, object, result,
                              sizeof(Aggregator), &IteratorBasics<Aggregator>::Construct,
                              &IteratorBasics<Aggregator>::Destroy, phases.firstInitial,
                              phases.nextInitial, phases.firstIntermediate,
                              phases.nextIntermediate, phases.firstFinal, phases.nextFinal,
                              Record, dependency);
  survey::frame::StoreMembers(*Record, members);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterIteratedAt<Record>);
}

template <ShortRecord* Record, class Adaptor>
void RegisterCast(char const* phrase, char const* source, char const* target,
                  typename Adaptor::Function function, SurveyorDependency dependency) {
  Register_Cast(Record, kRecordHostArea, phrase, source, target, &Adaptor::Thunk, Record,
                dependency);
  Record->function = ToFunctionSlot(function);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterCastAt<Record>);
}

template <ShortRecord* Record, class Adaptor>
void RegisterOperator(int code, char const* left, char const* right, char const* result,
                      typename Adaptor::Function function, SurveyorDependency dependency) {
  Register_Binary_Operator(Record, kRecordHostArea, code, left, right, result, &Adaptor::Thunk,
                           Record, dependency);
  Record->function = ToFunctionSlot(function);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterOperatorAt<Record>);
}

template <DependencyNode* Node>
void RegisterGlobalDependency(char const* name, SurveyorDependency nodeFunction) {
  Register_Global_Dependency(Node, kRecordHostArea, name, nodeFunction);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterDependencyAt<Node>);
}

template <CacheRecord* Record>
void RegisterCache(SurveyorCacheClear clear, void* cookie) {
  Register_Cache(Record, kCacheHostArea, clear, cookie);
  survey::frame::QueueAtUnload(&survey::frame::UnregisterCacheAt<Record>);
}

// ---------------------------------------------------------------------------
// Members of registration classes. Each is a record that registers itself in
// its constructor and unregisters itself in its destructor. They are neither
// copied nor moved: the host keeps their addresses.

class RegisteredType : public TypeRecord {
 public:
  RegisteredType(char const* name, unsigned long size, SurveyorDestroy destroy, char const* base,
                 SurveyorFingerprint fingerprint)
      : TypeRecord{} {
    Register_Type(this, kTypeHostArea, name, size, destroy, base, fingerprint);
  }
  ~RegisteredType() { Unregister_Type(this); }
  RegisteredType(RegisteredType const&) = delete;
  RegisteredType& operator=(RegisteredType const&) = delete;
};

// A property record of a registration class: simple, iterated or aggregate.
class Prop : public PropRecord {
 public:
  // A simple property, with the adaptor that fits the function's shape.
  template <class Adaptor>
  Prop(Adaptor*, char const* singular, char const* plural, char const* index,
       char const* object, char const* result, typename Adaptor::Function surveyor,
       SurveyorDependency dependency)
      : PropRecord{} {
    Register_Property(this, kRecordHostArea, singular, plural, index, object, result,
                      &Adaptor::Get, this, dependency);
    function = ToFunctionSlot(surveyor);
  }

  // An aggregate property over `Aggregator`.
  template <class Aggregator>
  Prop(Aggregator*, char const* singular, char const* plural, char const* index,
       char const* object, char const* result, survey::frame::AggregatePhases const& phases,
       survey::frame::AggregateMembers const& members, SurveyorDependency dependency)
      : PropRecord{} {
    Register_Aggregate_Property(this, kRecordHostArea, singular, plural, index, object, result,
                                sizeof(Aggregator), &IteratorBasics<Aggregator>::Construct,
                                &IteratorBasics<Aggregator>::Destroy, phases.firstInitial,
                                phases.nextInitial, phases.firstIntermediate,
                                phases.nextIntermediate, phases.firstFinal, phases.nextFinal,
                                this, dependency);
    survey::frame::StoreMembers(*this, members);
  }

  ~Prop() { Unregister_Property(this); }
  Prop(Prop const&) = delete;
  Prop& operator=(Prop const&) = delete;
};

// Names the adaptor of a `Prop` or registered thunk without an object of it.
template <class Adaptor>
constexpr Adaptor* Using = nullptr;

class RegisteredCast : public ShortRecord {
 public:
  template <class Adaptor>
  RegisteredCast(Adaptor*, char const* phrase, char const* source, char const* target,
                 typename Adaptor::Function surveyor, SurveyorDependency dependency)
      : ShortRecord{} {
    Register_Cast(this, kRecordHostArea, phrase, source, target, &Adaptor::Thunk, this,
                  dependency);
    function = ToFunctionSlot(surveyor);
  }
  ~RegisteredCast() { Unregister_Cast(this); }
  RegisteredCast(RegisteredCast const&) = delete;
  RegisteredCast& operator=(RegisteredCast const&) = delete;
};

class RegisteredOperator : public ShortRecord {
 public:
  template <class Adaptor>
  RegisteredOperator(Adaptor*, int code, char const* left, char const* right,
                     char const* result, typename Adaptor::Function surveyor,
                     SurveyorDependency dependency)
      : ShortRecord{} {
    Register_Binary_Operator(this, kRecordHostArea, code, left, right, result, &Adaptor::Thunk,
                             this, dependency);
    function = ToFunctionSlot(surveyor);
  }
  ~RegisteredOperator() { Unregister_Binary_Operator(this); }
  RegisteredOperator(RegisteredOperator const&) = delete;
  RegisteredOperator& operator=(RegisteredOperator const&) = delete;
};
