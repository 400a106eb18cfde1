// The adaptors between the host's one raw calling shape and the library's
// typed surveyor functions and iterator classes.
//
// Every adaptor has the shape of `SurveyorGetter` (or a cast or operator
// thunk). It reads the typed function out of the record that the host passes
// back as `context`, unpacks the raw operands, and constructs the result
// directly in the host's memory: the surveyor function returns by value and
// the call initialises the placement, so there is no temporary and no copy.
// A null `result` constructs nothing and the function is not called.
//
// The adaptors are static members of class templates, so each instantiation
// is emitted once per unit as a weak symbol and units share it.
#pragma once

#include <concepts>
#include <new>
#include <type_traits>

#include "survey/frame/records.h"

// ---------------------------------------------------------------------------
// Per-type information for `Register_Type`.

enum FingerprintingChoice { kNotFingerprinted = 0, kFingerprinted = 1 };

// `Destroy` runs from the host, which cannot take an exception from it: a
// value type's destructor must not throw, and `Destroy` says so.
template <class T, FingerprintingChoice Choice>
struct SurveyorTypeInfo {
  static_assert(std::is_nothrow_destructible_v<T>, "a value's destructor runs from the host");
  static void Destroy(void const* value) noexcept { static_cast<T const*>(value)->~T(); }
  static constexpr SurveyorFingerprint FingerprintFunction() { return nullptr; }
};

template <class T>
struct SurveyorTypeInfo<T, kFingerprinted> {
  static_assert(std::is_nothrow_destructible_v<T>, "a value's destructor runs from the host");
  static void Destroy(void const* value) noexcept { static_cast<T const*>(value)->~T(); }
  static void Fingerprint(Fingerprinter& fingerprinter, void const* value) {
    fingerprinter << *static_cast<T const*>(value);
  }
  static constexpr SurveyorFingerprint FingerprintFunction() { return &Fingerprint; }
};

// Folds the bytes of a primitive value into a fingerprint.
template <class T>
Fingerprinter& FingerprintBytewise(Fingerprinter& fingerprinter, T const& value) {
  static_assert(__is_same(T, unsigned short) || __is_same(T, long long) || __is_same(T, long) ||
                    __is_same(T, unsigned long long) || __is_same(T, unsigned char) ||
                    __is_same(T, unsigned int) || __is_same(T, unsigned long),
                "FingerprintBytewise serves primitive members only");
  Fingerprint_Byte_Range(fingerprinter, &value, &value + 1);
  return fingerprinter;
}

// The result follows from the operands alone.
SURVEY_API void DependsOnlyOnParameters(Fingerprinter& fingerprinter);

// Construction and destruction of iterator and aggregator states in memory
// the host owns. `Destroy` is valid on a state that only `Construct` touched,
// and, as it runs from the host, it never throws.
template <class T>
struct IteratorBasics {
  static_assert(std::is_nothrow_destructible_v<T>, "a state's destructor runs from the host");
  static void Construct(void* state) { ::new (state) T; }
  static void Destroy(void const* state) noexcept { static_cast<T const*>(state)->~T(); }
};

// ---------------------------------------------------------------------------
// Simple property adaptors. Each reads `function` from the record.

template <class O, class R>
struct Property {
  using Function = R (*)(O const&);
  static int Get(void* result, void const*, void const* object, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(*static_cast<O const*>(object)));
    return 1;
  }
};

template <class R, class O>
struct PropertyOfObject {
  using Function = R (*)(Of, O const&);
  static int Get(void* result, void const*, void const* object, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(Of(0), *static_cast<O const*>(object)));
    return 1;
  }
};

template <class R>
struct PropertyOfWorld {
  using Function = R (*)();
  static int Get(void* result, void const*, void const*, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)());
    return 1;
  }
};

// The same as `PropertyOfWorld`; the registration tables name the one the
// surveyor takes.
template <class R>
struct GlobalProperty {
  using Function = R (*)();
  static int Get(void* result, void const*, void const*, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)());
    return 1;
  }
};

template <class R, class I, class O>
struct PropertyByIndexOfObject {
  using Function = R (*)(I const&, Of, O const&);
  static int Get(void* result, void const* index, void const* object, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(*static_cast<I const*>(index), Of(0),
                                                   *static_cast<O const*>(object)));
    return 1;
  }
};

template <class R, class I>
struct PropertyByIndexOfWorld {
  using Function = R (*)(I const&);
  static int Get(void* result, void const* index, void const*, void*, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(*static_cast<I const*>(index)));
    return 1;
  }
};

// Numbered adaptors read the index as an `integer` and refuse a negative one
// by returning 0, before anything else and whether or not `result` is null.
template <class O, class R>
struct NumberedProperty {
  using Function = R (*)(unsigned long long, O const&);
  static int Get(void* result, void const* index, void const* object, void*, void const* context) {
    long long const number = static_cast<integer const*>(index)->value;
    if (number < 0) return 0;
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(static_cast<unsigned long long>(number),
                                                   *static_cast<O const*>(object)));
    return 1;
  }
};

template <class R>
struct NumberedGlobalProperty {
  using Function = R (*)(unsigned long long);
  static int Get(void* result, void const* index, void const*, void*, void const* context) {
    long long const number = static_cast<integer const*>(index)->value;
    if (number < 0) return 0;
    if (result == nullptr) return 1;
    ::new (result) R(FunctionOf<Function>(context)(static_cast<unsigned long long>(number)));
    return 1;
  }
};

// Named adaptors read the index as a `surveyor_string` and pass its two words.
template <class O, class R>
struct NamedProperty {
  using Function = R (*)(unsigned char const*, unsigned long, O const&);
  static int Get(void* result, void const* index, void const* object, void*, void const* context) {
    if (result == nullptr) return 1;
    surveyor_string const& name = *static_cast<surveyor_string const*>(index);
    ::new (result)
        R(FunctionOf<Function>(context)(name.data, name.length, *static_cast<O const*>(object)));
    return 1;
  }
};

template <class R>
struct NamedGlobalProperty {
  using Function = R (*)(unsigned char const*, unsigned long);
  static int Get(void* result, void const* index, void const*, void*, void const* context) {
    if (result == nullptr) return 1;
    surveyor_string const& name = *static_cast<surveyor_string const*>(index);
    ::new (result) R(FunctionOf<Function>(context)(name.data, name.length));
    return 1;
  }
};

// ---------------------------------------------------------------------------
// Iterated property adaptors. `state` is the iterator. The direct families
// call the iterator's members named First and Next; the slot families read
// `firstIntermediate` and `nextIntermediate` from the record, so one iterator
// class can serve several phrases with differently named member pairs.

template <class It, class O, class R>
struct IteratedProperty {
  static int First(void* result, void const*, void const* object, void* state, void const*) {
    if (result == nullptr) return 1;
    ::new (result) R(static_cast<It*>(state)->First(*static_cast<O const*>(object)));
    return 1;
  }
  static int Next(void* result, void const*, void const* object, void* state, void const*) {
    if (result == nullptr) return 1;
    ::new (result) R(static_cast<It*>(state)->Next(*static_cast<O const*>(object)));
    return 1;
  }
};

// The pass of an iterator over an object that has a member
// `unsigned long PassOver(unsigned long most, O const& object)`
// (survey/frame/pass_over.h).
template <class It, class O>
concept PassesOver = requires(It& iterator, O const& object, unsigned long most) {
  { iterator.PassOver(most, object) } -> std::same_as<unsigned long>;
};

template <class It, class O>
struct IteratedPassOver {
  static unsigned long PassOver(void const*, void const* object, void* state, void const*,
                                unsigned long most) {
    return static_cast<It*>(state)->PassOver(most, *static_cast<O const*>(object));
  }
};

// The search of an iterator over an object that has a member
// `R NextHolding(surveyor_string const& bytes, O const& object)`
// (survey/frame/holding.h).
template <class It, class O, class R>
concept SearchesHolding = requires(It& iterator, O const& object, surveyor_string const& bytes) {
  { iterator.NextHolding(bytes, object) } -> std::same_as<R>;
};

template <class It, class O, class R>
struct IteratedNextHolding {
  static int NextHolding(void* result, void const*, void const* object, void* state, void const*,
                         unsigned char const* bytes, unsigned long length) {
    if (result == nullptr) return 1;
    surveyor_string const sought{bytes, length};
    ::new (result) R(static_cast<It*>(state)->NextHolding(sought, *static_cast<O const*>(object)));
    return 1;
  }
};

template <class It, class R>
struct IteratedGlobalProperty {
  static int First(void* result, void const*, void const*, void* state, void const*) {
    if (result == nullptr) return 1;
    ::new (result) R(static_cast<It*>(state)->First());
    return 1;
  }
  static int Next(void* result, void const*, void const*, void* state, void const*) {
    if (result == nullptr) return 1;
    ::new (result) R(static_cast<It*>(state)->Next());
    return 1;
  }
};

template <class It, class O, class R>
struct IteratedNamedProperty {
  static int First(void* result, void const* index, void const* object, void* state, void const*) {
    if (result == nullptr) return 1;
    surveyor_string const& name = *static_cast<surveyor_string const*>(index);
    ::new (result)
        R(static_cast<It*>(state)->First(name.data, name.length, *static_cast<O const*>(object)));
    return 1;
  }
  static int Next(void* result, void const* index, void const* object, void* state, void const*) {
    if (result == nullptr) return 1;
    surveyor_string const& name = *static_cast<surveyor_string const*>(index);
    ::new (result)
        R(static_cast<It*>(state)->Next(name.data, name.length, *static_cast<O const*>(object)));
    return 1;
  }
};

template <class It, class R, class O>
struct IteratedPropertyOfObject {
  using Member = R (It::*)(Of, O const&);
  static int First(void* result, void const*, void const* object, void* state,
                   void const* context) {
    return Call(&PropRecord::firstIntermediate, result, object, state, context);
  }
  static int Next(void* result, void const*, void const* object, void* state, void const* context) {
    return Call(&PropRecord::nextIntermediate, result, object, state, context);
  }

 private:
  static int Call(MemberSlot PropRecord::*slot, void* result, void const* object, void* state,
                  void const* context) {
    if (result == nullptr) return 1;
    Member const member = MemberOf<Member>(context, slot);
    ::new (result) R((static_cast<It*>(state)->*member)(Of(0), *static_cast<O const*>(object)));
    return 1;
  }
};

template <class It, class R>
struct IteratedPropertyOfWorld {
  using Member = R (It::*)();
  static int First(void* result, void const*, void const*, void* state, void const* context) {
    return Call(&PropRecord::firstIntermediate, result, state, context);
  }
  static int Next(void* result, void const*, void const*, void* state, void const* context) {
    return Call(&PropRecord::nextIntermediate, result, state, context);
  }

 private:
  static int Call(MemberSlot PropRecord::*slot, void* result, void* state, void const* context) {
    if (result == nullptr) return 1;
    Member const member = MemberOf<Member>(context, slot);
    ::new (result) R((static_cast<It*>(state)->*member)());
    return 1;
  }
};

template <class It, class R, class I, class O>
struct IteratedPropertyByIndexOfObject {
  using Member = R (It::*)(I const&, Of, O const&);
  static int First(void* result, void const* index, void const* object, void* state,
                   void const* context) {
    return Call(&PropRecord::firstIntermediate, result, index, object, state, context);
  }
  static int Next(void* result, void const* index, void const* object, void* state,
                  void const* context) {
    return Call(&PropRecord::nextIntermediate, result, index, object, state, context);
  }

 private:
  static int Call(MemberSlot PropRecord::*slot, void* result, void const* index, void const* object,
                  void* state, void const* context) {
    if (result == nullptr) return 1;
    Member const member = MemberOf<Member>(context, slot);
    ::new (result) R((static_cast<It*>(state)->*member)(*static_cast<I const*>(index), Of(0),
                                                        *static_cast<O const*>(object)));
    return 1;
  }
};

template <class It, class R, class I>
struct IteratedPropertyByIndexOfWorld {
  using Member = R (It::*)(I const&);
  static int First(void* result, void const* index, void const*, void* state, void const* context) {
    return Call(&PropRecord::firstIntermediate, result, index, state, context);
  }
  static int Next(void* result, void const* index, void const*, void* state, void const* context) {
    return Call(&PropRecord::nextIntermediate, result, index, state, context);
  }

 private:
  static int Call(MemberSlot PropRecord::*slot, void* result, void const* index, void* state,
                  void const* context) {
    if (result == nullptr) return 1;
    Member const member = MemberOf<Member>(context, slot);
    ::new (result) R((static_cast<It*>(state)->*member)(*static_cast<I const*>(index)));
    return 1;
  }
};

// ---------------------------------------------------------------------------
// Aggregate adaptors. `state` is the aggregator, held by IteratorBasics.
//
// An aggregator may keep its elements by copy, with whatever they point to
// in surveyor memory (the text of a version or of a line): the host keeps
// the memory of every element it hands to an aggregator for as long as the
// aggregator's state and its results live. It gives the memory of streamed
// values back early only to consumers that keep nothing of them (a count, an
// existence test, a filter passing a value over, the printing of answers).

template <class A>
struct SimpleAggregator {
  using Member = void (A::*)();
  // Brings the state to empty. Ignores `result`.
  static int Initialize(void*, void const*, void const*, void* state, void const* context) {
    (static_cast<A*>(state)->*MemberOf<Member>(context, &PropRecord::firstInitial))();
    return 0;
  }
};

template <class A, class O>
struct SimpleAggregatorOfObject {
  using Member = void (A::*)(Of, O const&);
  // Takes in one element. Ignores `result`.
  static int Aggregate(void*, void const*, void const* object, void* state, void const* context) {
    (static_cast<A*>(state)->*MemberOf<Member>(context, &PropRecord::firstIntermediate))(
        Of(0), *static_cast<O const*>(object));
    return 0;
  }
};

template <class A, class I, class O>
struct SimpleAggregatorByIndexOfObject {
  using Member = void (A::*)(I const&, Of, O const&);
  static int Aggregate(void*, void const* index, void const* object, void* state,
                       void const* context) {
    (static_cast<A*>(state)->*MemberOf<Member>(context, &PropRecord::firstIntermediate))(
        *static_cast<I const*>(index), Of(0), *static_cast<O const*>(object));
    return 0;
  }
};

template <class A, class R>
struct AggregatorBasics {
  using Member = R (A::*)();
  static int FirstInitial(void* result, void const*, void const*, void* state,
                          void const* context) {
    return Deliver(&PropRecord::firstInitial, result, state, context);
  }
  static int NextInitial(void* result, void const*, void const*, void* state, void const* context) {
    return Deliver(&PropRecord::nextInitial, result, state, context);
  }
  static int FirstFinal(void* result, void const*, void const*, void* state, void const* context) {
    return Deliver(&PropRecord::firstFinal, result, state, context);
  }
  static int NextFinal(void* result, void const*, void const*, void* state, void const* context) {
    return Deliver(&PropRecord::nextFinal, result, state, context);
  }

 private:
  static int Deliver(MemberSlot PropRecord::*slot, void* result, void* state, void const* context) {
    if (result == nullptr) return 1;
    ::new (result) R((static_cast<A*>(state)->*MemberOf<Member>(context, slot))());
    return 1;
  }
};

// Stands in any aggregate phase that delivers nothing.
SURVEY_API int GenericNullGetter(void* result, void const* index, void const* object, void* state,
                                 void const* context);

// ---------------------------------------------------------------------------
// Cast and operator adaptors. They have no result of their own: they deliver
// a value or throw.

template <class S, class T>
struct Cast {
  using Function = T (*)(S const&);
  static void Thunk(void* result, void const* value, void const* context) {
    if (result == nullptr) return;
    ::new (result) T(FunctionOf<Function>(context)(*static_cast<S const*>(value)));
  }
};

template <class L, class Rt, class T>
struct Operator2 {
  using Function = T (*)(L const&, Rt const&);
  static void Thunk(void* result, void const* left, void const* right, void const* context) {
    if (result == nullptr) return;
    ::new (result) T(FunctionOf<Function>(context)(*static_cast<L const*>(left),
                                                   *static_cast<Rt const*>(right)));
  }
};
