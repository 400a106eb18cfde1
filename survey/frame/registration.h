// Records that register themselves: how the library hands its vocabulary to
// the host, and takes it back.
//
// Each class below is a record of the host's shape that calls the matching
// `Register_*` in its constructor, stores its surveyor function or member
// functions after that call has returned, and calls the matching
// `Unregister_*` in its destructor. That is the library's one way of undoing
// a registration. A unit's registration table (survey/frame/table.h) and a
// registration class (survey/frame/comparable.h) are static objects made of
// these records, constructed in the order they declare them:
//
//  - at unload, static objects are destroyed in reverse order of their
//    construction, so everything is unregistered in exact reverse order of
//    registration, and a type after everything that names it;
//  - when a registration, or any work between two of them, throws, the
//    records already constructed are destroyed in reverse order, so a
//    half-done table or class undoes itself, exactly once, before the
//    exception goes on.
//
// The records are neither copied nor moved: the host keeps their addresses.
// Their names are given here as text; the typed rows of table.h derive them
// from the surveyor functions' own types, and library code registers through
// those. Taking names as text is for hosts' tests, which need any name.
#pragma once

#include "survey/frame/adaptors.h"
#include "survey/frame/holding.h"
#include "survey/frame/pass_over.h"

namespace survey::frame {

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

// Names the adaptor of a record without an object of it.
template <class Adaptor>
constexpr Adaptor* Using = nullptr;

// A value type. A type without a base passes a null base name.
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

// A simple property in the short record: the host area and the function.
class RegisteredProperty : public ShortRecord {
 public:
  template <class Adaptor>
  RegisteredProperty(Adaptor*, char const* singular, char const* plural, char const* index,
                     char const* object, char const* result, typename Adaptor::Function surveyor,
                     SurveyorDependency dependency)
      : ShortRecord{} {
    Register_Property(this, kRecordHostArea, singular, plural, index, object, result, &Adaptor::Get,
                      this, dependency);
    function = ToFunctionSlot(surveyor);
  }
  ~RegisteredProperty() { Unregister_Property(this); }
  RegisteredProperty(RegisteredProperty const&) = delete;
  RegisteredProperty& operator=(RegisteredProperty const&) = delete;
};

// An iterated property over the iterator class `Iterator`. An adaptor that
// calls the iterator's First and Next by name is given null members; one
// that reads its member pair from the record is given the pair.
class RegisteredIterated : public PropRecord {
 public:
  template <class Iterator>
  RegisteredIterated(Iterator*, char const* singular, char const* plural, char const* index,
                     char const* object, char const* result, SurveyorGetter first,
                     SurveyorGetter next, MemberSlot firstMember, MemberSlot nextMember,
                     SurveyorDependency dependency, SurveyorPassOver pass = nullptr,
                     SurveyorNextHolding holding = nullptr,
                     SurveyorNecessaryBytes necessary = nullptr)
      : PropRecord{}, passOver(pass), nextHolding(holding), necessaryBytes(necessary) {
    Register_Iterated_Property(this, kRecordHostArea, singular, plural, index, object, result,
                               sizeof(Iterator), &IteratorBasics<Iterator>::Construct,
                               &IteratorBasics<Iterator>::Destroy, first, next, this, dependency);
    firstIntermediate = firstMember;
    nextIntermediate = nextMember;
  }
  ~RegisteredIterated() { Unregister_Property(this); }
  RegisteredIterated(RegisteredIterated const&) = delete;
  RegisteredIterated& operator=(RegisteredIterated const&) = delete;

  // The iterator's pass over many values (survey/frame/pass_over.h); null
  // for one that has none.
  SurveyorPassOver const passOver;
  // The iterator's search for bytes, and the bytes that every object with
  // a value holds (survey/frame/holding.h); null where there are none.
  SurveyorNextHolding const nextHolding;
  SurveyorNecessaryBytes const necessaryBytes;
};

// A property in the full record: simple or aggregate.
class Prop : public PropRecord {
 public:
  // A simple property, with the adaptor that fits the function's shape.
  template <class Adaptor>
  Prop(Adaptor*, char const* singular, char const* plural, char const* index, char const* object,
       char const* result, typename Adaptor::Function surveyor, SurveyorDependency dependency)
      : PropRecord{} {
    Register_Property(this, kRecordHostArea, singular, plural, index, object, result, &Adaptor::Get,
                      this, dependency);
    function = ToFunctionSlot(surveyor);
  }

  // An aggregate property over `Aggregator`.
  template <class Aggregator>
  Prop(Aggregator*, char const* singular, char const* plural, char const* index, char const* object,
       char const* result, survey::frame::AggregatePhases const& phases,
       survey::frame::AggregateMembers const& members, SurveyorDependency dependency)
      : PropRecord{} {
    Register_Aggregate_Property(
        this, kRecordHostArea, singular, plural, index, object, result, sizeof(Aggregator),
        &IteratorBasics<Aggregator>::Construct, &IteratorBasics<Aggregator>::Destroy,
        phases.firstInitial, phases.nextInitial, phases.firstIntermediate, phases.nextIntermediate,
        phases.firstFinal, phases.nextFinal, this, dependency);
    survey::frame::StoreMembers(*this, members);
  }

  ~Prop() { Unregister_Property(this); }
  Prop(Prop const&) = delete;
  Prop& operator=(Prop const&) = delete;
};

class RegisteredCast : public ShortRecord {
 public:
  template <class Adaptor>
  RegisteredCast(Adaptor*, char const* phrase, char const* source, char const* target,
                 typename Adaptor::Function surveyor, SurveyorDependency dependency)
      : ShortRecord{} {
    Register_Cast(this, kRecordHostArea, phrase, source, target, &Adaptor::Thunk, this, dependency);
    function = ToFunctionSlot(surveyor);
  }
  ~RegisteredCast() { Unregister_Cast(this); }
  RegisteredCast(RegisteredCast const&) = delete;
  RegisteredCast& operator=(RegisteredCast const&) = delete;
};

class RegisteredOperator : public ShortRecord {
 public:
  template <class Adaptor>
  RegisteredOperator(Adaptor*, int code, char const* left, char const* right, char const* result,
                     typename Adaptor::Function surveyor, SurveyorDependency dependency,
                     SurveyorNecessaryBytes necessary = nullptr)
      : ShortRecord{}, necessaryBytes(necessary) {
    Register_Binary_Operator(this, kRecordHostArea, code, left, right, result, &Adaptor::Thunk,
                             this, dependency);
    function = ToFunctionSlot(surveyor);
  }
  ~RegisteredOperator() { Unregister_Binary_Operator(this); }
  RegisteredOperator(RegisteredOperator const&) = delete;
  RegisteredOperator& operator=(RegisteredOperator const&) = delete;

  // The bytes that every left operand it answers true for holds, given the
  // right operand (survey/frame/holding.h); null where none are known.
  SurveyorNecessaryBytes const necessaryBytes;
};

// A global dependency node. The node is a record of its own, defined where
// the functions that fingerprint through it can name it; this holds its
// registration.
class RegisteredDependency {
 public:
  RegisteredDependency(DependencyNode* node, char const* name, SurveyorDependency nodeFunction)
      : node_(node) {
    Register_Global_Dependency(node_, kRecordHostArea, name, nodeFunction);
  }
  ~RegisteredDependency() { Unregister_Global_Dependency(node_); }
  RegisteredDependency(RegisteredDependency const&) = delete;
  RegisteredDependency& operator=(RegisteredDependency const&) = delete;

 private:
  DependencyNode* node_;
};

class RegisteredCache : public CacheRecord {
 public:
  RegisteredCache(SurveyorCacheClear clear, void* cookie) : CacheRecord{} {
    Register_Cache(this, kCacheHostArea, clear, cookie);
  }
  ~RegisteredCache() { Unregister_Cache(this); }
  RegisteredCache(RegisteredCache const&) = delete;
  RegisteredCache& operator=(RegisteredCache const&) = delete;
};
