// Registration tables: one row per registered thing, with every type name
// taken from the C++ types of the surveyor function the row names.
//
// A unit ends with its table, a static object in the order of the unit's
// vocabulary, types first:
//
//   RegistrationTable table{
//       TypeRow<environment_variable>(),
//       PropertyRow("name", "names", &name_of),
//       IndexedRow("variable", "variables", &variable_of),
//       IteratedRow<environment_var_iterator>("variable", "variables"),
//       CastRow("string", &AsString),
//   };
//
// A row takes the phrase pair and the surveyor function (or an iterator's or
// aggregator's member functions), and an optional dependency function, null
// by default: no reuse. From the function's type it chooses the adaptor and
// the index, object and result type names, each being the `TypeName()` of
// the C++ type (survey/frame/type_name.h). A row can therefore not declare a
// type other than the one its function takes or gives: the host always gets
// the block size of the type the function really constructs.
//
// The shapes of functions, by row:
//
//   PropertyRow   R f()                    a property of the world
//                 R f(O const&)            a property of an O
//                 R f(Of, O const&)        the same, with the tag
//   IndexedRow    R f(I const&)            of the world, with an index I
//                 R f(I const&, Of, O const&)
//                 R f(unsigned long long[, O const&])
//                                          index "integer", negative refused
//                 R f(unsigned char const*, unsigned long[, O const&])
//                                          index "string", passed as its words
//   IteratedRow<It>()                      It's First and Next, called by name:
//                 R (It::*)([O const&])    or with a "string" index as words
//   IteratedRow(first, next)               a member pair stored in the record:
//                 R (It::*)(), (Of, O const&), (I const&), (I const&, Of, O const&)
//   AggregateRow  void (A::*initialize)(),
//                 void (A::*aggregate)([I const&,] Of, O const&),
//                 R (A::*firstFinal)(), R (A::*nextFinal)()
//   CastRow       T f(S const&)
//   OperatorRow   T f(L const&, Rt const&)
//
// Where a function's name is overloaded, the row names the type that
// chooses: `CastRow<mode>("string", &AsString)`.
//
// Each row's record registers itself and unregisters itself, as told in
// survey/frame/registration.h: the table registers in row order, undoes
// itself in reverse order at unload, and a table that fails half-way undoes
// the rows it had registered before the exception goes on.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "survey/frame/registration.h"
#include "survey/frame/type_name.h"

namespace survey::frame {

template <class T>
char const* NameOf() {
  return SurveyorTypeName<T>::Get();
}

// A base type's name; no base is a null name.
template <class Base>
char const* BaseNameOf() {
  if constexpr (std::is_same_v<Base, NoType>) {
    return nullptr;
  } else {
    return SurveyorTypeName<Base>::Get();
  }
}

// ---------------------------------------------------------------------------
// Rows. Each is plain data made by the functions further below, with the
// types in its own type, and makes its record with `Register()`.

constexpr bool SameText(char const* left, char const* right) {
  while (*left != '\0' && *left == *right) {
    ++left;
    ++right;
  }
  return *left == *right;
}

// Whether both names are known while compiling: a `constexpr TypeName()`.
template <class T, class Base>
concept NamesAreConstant = requires {
  typename std::integral_constant<bool, SameText(T::TypeName(), Base::TypeName())>;
};

// Whether a derived value names itself rather than inheriting its base's
// name: a type that forgot its own `TypeName()` would register twice under
// the name of its base. Checked where both names are constant, as they are
// for the library's classes; a composed name is built at run time.
template <class T, class Base>
constexpr bool NamesItselfApartFrom() {
  if constexpr (std::is_same_v<Base, NoType>) {
    return true;
  } else if constexpr (NamesAreConstant<T, Base>) {
    return !SameText(T::TypeName(), Base::TypeName());
  } else {
    return true;
  }
}

template <class T, class Base, FingerprintingChoice Choice>
struct TypeRowOf {
  static_assert(NamesItselfApartFrom<T, Base>(), "a derived value type names itself");
  // A value stands wherever its base is asked for, with the base's layout
  // at its start; what can be checked here is that the base fits.
  static_assert(std::is_same_v<Base, NoType> ||
                    (sizeof(Base) <= sizeof(T) && alignof(Base) <= alignof(T)),
                "a value starts with its base's layout");

  RegisteredType Register() const {
    return RegisteredType(NameOf<T>(), sizeof(T), &SurveyorTypeInfo<T, Choice>::Destroy,
                          BaseNameOf<Base>(), SurveyorTypeInfo<T, Choice>::FingerprintFunction());
  }
};

template <class Adaptor, class I, class O, class R>
struct PropertyRowOf {
  char const* singular;
  char const* plural;
  typename Adaptor::Function function;
  SurveyorDependency dependency;

  RegisteredProperty Register() const {
    return RegisteredProperty(Using<Adaptor>, singular, plural, NameOf<I>(), NameOf<O>(),
                              NameOf<R>(), function, dependency);
  }
};

// An iterated property; `Member` is the type of the stored member pair, or
// void for an adaptor that calls First and Next by name.
template <class Adaptor, class It, class I, class O, class R, class Member>
struct IteratedRowOf {
  char const* singular;
  char const* plural;
  Member first;
  Member next;
  SurveyorDependency dependency;
  // The bytes that every object with a value holds (survey/frame/holding.h).
  SurveyorNecessaryBytes necessary = nullptr;

  RegisteredIterated Register() const {
    return RegisteredIterated(Using<It>, singular, plural, NameOf<I>(), NameOf<O>(), NameOf<R>(),
                              &Adaptor::First, &Adaptor::Next, ToMemberSlot(first),
                              ToMemberSlot(next), dependency, nullptr, nullptr, necessary);
  }
};

template <class Adaptor, class It, class I, class O, class R>
struct IteratedRowOf<Adaptor, It, I, O, R, void> {
  char const* singular;
  char const* plural;
  SurveyorDependency dependency;

  RegisteredIterated Register() const {
    return RegisteredIterated(Using<It>, singular, plural, NameOf<I>(), NameOf<O>(), NameOf<R>(),
                              &Adaptor::First, &Adaptor::Next, nullptr, nullptr, dependency,
                              PassOf(), HoldingOf());
  }

 private:
  // An iterator over a direct object may pass over many values at once.
  static SurveyorPassOver PassOf() {
    if constexpr (std::is_same_v<Adaptor, IteratedProperty<It, O, R>> && PassesOver<It, O>) {
      return &IteratedPassOver<It, O>::PassOver;
    } else {
      return nullptr;
    }
  }
  // And may search for the next value that may hold given bytes.
  static SurveyorNextHolding HoldingOf() {
    if constexpr (std::is_same_v<Adaptor, IteratedProperty<It, O, R>> &&
                  SearchesHolding<It, O, R>) {
      return &IteratedNextHolding<It, O, R>::NextHolding;
    } else {
      return nullptr;
    }
  }
};

template <class A, class I, class O, class R>
struct AggregateRowOf {
  char const* singular;
  char const* plural;
  AggregatePhases phases;
  AggregateMembers members;
  SurveyorDependency dependency;

  Prop Register() const {
    return Prop(Using<A>, singular, plural, NameOf<I>(), NameOf<O>(), NameOf<R>(), phases, members,
                dependency);
  }
};

template <class S, class T>
struct CastRowOf {
  char const* phrase;
  typename Cast<S, T>::Function function;
  SurveyorDependency dependency;

  RegisteredCast Register() const {
    return RegisteredCast(Using<Cast<S, T>>, phrase, NameOf<S>(), NameOf<T>(), function,
                          dependency);
  }
};

template <class L, class Rt, class T>
struct OperatorRowOf {
  int code;
  typename Operator2<L, Rt, T>::Function function;
  SurveyorDependency dependency;
  // The bytes that every left operand it answers true for holds
  // (survey/frame/holding.h).
  SurveyorNecessaryBytes necessary = nullptr;

  RegisteredOperator Register() const {
    return RegisteredOperator(Using<Operator2<L, Rt, T>>, code, NameOf<L>(), NameOf<Rt>(),
                              NameOf<T>(), function, dependency, necessary);
  }
};

struct DependencyRowOf {
  DependencyNode* node;
  char const* name;
  SurveyorDependency nodeFunction;

  RegisteredDependency Register() const { return RegisteredDependency(node, name, nodeFunction); }
};

struct CacheRowOf {
  SurveyorCacheClear clear;
  void* cookie;

  RegisteredCache Register() const { return RegisteredCache(clear, cookie); }
};

// The adaptor of an iterator whose First and Next are called by name, by
// their shape.
template <class It, class Member>
struct DirectIteration {
  static_assert(sizeof(Member) == 0,
                "First and Next take no operand, a direct object, or a string index and an "
                "object");
};
template <class It, class R>
struct DirectIteration<It, R (It::*)()> {
  using Adaptor = IteratedGlobalProperty<It, R>;
  using Index = NoType;
  using Object = NoType;
  using Result = R;
};
template <class It, class O, class R>
struct DirectIteration<It, R (It::*)(O const&)> {
  using Adaptor = IteratedProperty<It, O, R>;
  using Index = NoType;
  using Object = O;
  using Result = R;
};
template <class It, class O, class R>
struct DirectIteration<It, R (It::*)(unsigned char const*, unsigned long, O const&)> {
  using Adaptor = IteratedNamedProperty<It, O, R>;
  using Index = surveyor_string;
  using Object = O;
  using Result = R;
};

// One registered record per row, as a base of the table, so that the rows
// are registered in the order given and undone in the reverse order.
template <std::size_t K, class Row>
class TableEntry {
 public:
  explicit TableEntry(Row const& row) : record_(row.Register()) {}

 private:
  decltype(std::declval<Row const&>().Register()) record_;
};

template <class Indices, class... Rows>
class RegistrationTableOf;

template <std::size_t... K, class... Rows>
class RegistrationTableOf<std::index_sequence<K...>, Rows...> : private TableEntry<K, Rows>... {
 public:
  explicit RegistrationTableOf(Rows const&... rows) : TableEntry<K, Rows>(rows)... {}
};

}  // namespace survey::frame

// ---------------------------------------------------------------------------
// The table.

template <class... Rows>
class RegistrationTable
    : private survey::frame::RegistrationTableOf<std::index_sequence_for<Rows...>, Rows...> {
 public:
  explicit RegistrationTable(Rows const&... rows)
      : survey::frame::RegistrationTableOf<std::index_sequence_for<Rows...>, Rows...>(rows...) {}
  RegistrationTable(RegistrationTable const&) = delete;
  RegistrationTable& operator=(RegistrationTable const&) = delete;
};

template <class... Rows>
RegistrationTable(Rows...) -> RegistrationTable<Rows...>;

// ---------------------------------------------------------------------------
// Type rows. A type that can be fingerprinted has
// `operator<<(Fingerprinter&, T const&)`; `Base` is the type whose layout
// the value starts with and in whose place it may stand.

template <class T, class Base = NoType>
survey::frame::TypeRowOf<T, Base, kNotFingerprinted> TypeRow() {
  return {};
}

template <class T, class Base = NoType>
survey::frame::TypeRowOf<T, Base, kFingerprinted> FingerprintedTypeRow() {
  return {};
}

// ---------------------------------------------------------------------------
// Simple properties without an index.

template <class R>
survey::frame::PropertyRowOf<GlobalProperty<R>, NoType, NoType, R> PropertyRow(
    char const* singular, char const* plural, R (*function)(),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class O, class R>
survey::frame::PropertyRowOf<Property<O, R>, NoType, O, R> PropertyRow(
    char const* singular, char const* plural, R (*function)(O const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class O, class R>
survey::frame::PropertyRowOf<PropertyOfObject<R, O>, NoType, O, R> PropertyRow(
    char const* singular, char const* plural, R (*function)(Of, O const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

// ---------------------------------------------------------------------------
// Simple properties with an index.

template <class I, class R>
survey::frame::PropertyRowOf<PropertyByIndexOfWorld<R, I>, I, NoType, R> IndexedRow(
    char const* singular, char const* plural, R (*function)(I const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class I, class O, class R>
survey::frame::PropertyRowOf<PropertyByIndexOfObject<R, I, O>, I, O, R> IndexedRow(
    char const* singular, char const* plural, R (*function)(I const&, Of, O const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class R>
survey::frame::PropertyRowOf<NumberedGlobalProperty<R>, integer, NoType, R> IndexedRow(
    char const* singular, char const* plural, R (*function)(unsigned long long),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class O, class R>
survey::frame::PropertyRowOf<NumberedProperty<O, R>, integer, O, R> IndexedRow(
    char const* singular, char const* plural, R (*function)(unsigned long long, O const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class R>
survey::frame::PropertyRowOf<NamedGlobalProperty<R>, surveyor_string, NoType, R> IndexedRow(
    char const* singular, char const* plural, R (*function)(unsigned char const*, unsigned long),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

template <class O, class R>
survey::frame::PropertyRowOf<NamedProperty<O, R>, surveyor_string, O, R> IndexedRow(
    char const* singular, char const* plural,
    R (*function)(unsigned char const*, unsigned long, O const&),
    SurveyorDependency dependency = nullptr) {
  return {singular, plural, function, dependency};
}

// ---------------------------------------------------------------------------
// Iterated properties.

// The iterator's members First and Next, called by name.
template <class It, class Shape = survey::frame::DirectIteration<It, decltype(&It::First)>>
survey::frame::IteratedRowOf<typename Shape::Adaptor, It, typename Shape::Index,
                             typename Shape::Object, typename Shape::Result, void>
IteratedRow(char const* singular, char const* plural, SurveyorDependency dependency = nullptr) {
  static_assert(std::is_same_v<decltype(&It::First), decltype(&It::Next)>,
                "First and Next take the same operands and give the same result");
  return {singular, plural, dependency};
}

// A member pair of the iterator, stored in the record.
template <class It, class R>
survey::frame::IteratedRowOf<IteratedPropertyOfWorld<It, R>, It, NoType, NoType, R, R (It::*)()>
IteratedRow(char const* singular, char const* plural, R (It::*first)(), R (It::*next)(),
            SurveyorDependency dependency = nullptr) {
  return {singular, plural, first, next, dependency};
}

template <class It, class O, class R>
survey::frame::IteratedRowOf<IteratedPropertyOfObject<It, R, O>, It, NoType, O, R,
                             R (It::*)(Of, O const&)>
IteratedRow(char const* singular, char const* plural, R (It::*first)(Of, O const&),
            R (It::*next)(Of, O const&), SurveyorDependency dependency = nullptr) {
  return {singular, plural, first, next, dependency};
}

template <class It, class I, class R>
survey::frame::IteratedRowOf<IteratedPropertyByIndexOfWorld<It, R, I>, It, I, NoType, R,
                             R (It::*)(I const&)>
IteratedRow(char const* singular, char const* plural, R (It::*first)(I const&),
            R (It::*next)(I const&), SurveyorDependency dependency = nullptr) {
  return {singular, plural, first, next, dependency};
}

template <class It, class I, class O, class R>
survey::frame::IteratedRowOf<IteratedPropertyByIndexOfObject<It, R, I, O>, It, I, O, R,
                             R (It::*)(I const&, Of, O const&)>
IteratedRow(char const* singular, char const* plural, R (It::*first)(I const&, Of, O const&),
            R (It::*next)(I const&, Of, O const&), SurveyorDependency dependency = nullptr) {
  return {singular, plural, first, next, dependency};
}

// ---------------------------------------------------------------------------
// Aggregate properties: an aggregator that is brought to empty, takes each
// element, and delivers its answers at the end.

template <class A, class O, class R>
survey::frame::AggregateRowOf<A, NoType, O, R> AggregateRow(
    char const* singular, char const* plural, void (A::*initialize)(),
    void (A::*aggregate)(Of, O const&), R (A::*firstFinal)(), R (A::*nextFinal)(),
    SurveyorDependency dependency = nullptr) {
  return {singular,
          plural,
          {&SimpleAggregator<A>::Initialize, &GenericNullGetter,
           &SimpleAggregatorOfObject<A, O>::Aggregate, &GenericNullGetter,
           &AggregatorBasics<A, R>::FirstFinal, &AggregatorBasics<A, R>::NextFinal},
          {ToMemberSlot(initialize), nullptr, ToMemberSlot(aggregate), nullptr,
           ToMemberSlot(firstFinal), ToMemberSlot(nextFinal)},
          dependency};
}

template <class A, class I, class O, class R>
survey::frame::AggregateRowOf<A, I, O, R> AggregateRow(char const* singular, char const* plural,
                                                       void (A::*initialize)(),
                                                       void (A::*aggregate)(I const&, Of, O const&),
                                                       R (A::*firstFinal)(), R (A::*nextFinal)(),
                                                       SurveyorDependency dependency = nullptr) {
  return {singular,
          plural,
          {&SimpleAggregator<A>::Initialize, &GenericNullGetter,
           &SimpleAggregatorByIndexOfObject<A, I, O>::Aggregate, &GenericNullGetter,
           &AggregatorBasics<A, R>::FirstFinal, &AggregatorBasics<A, R>::NextFinal},
          {ToMemberSlot(initialize), nullptr, ToMemberSlot(aggregate), nullptr,
           ToMemberSlot(firstFinal), ToMemberSlot(nextFinal)},
          dependency};
}

// ---------------------------------------------------------------------------
// Casts, operators, dependency nodes and caches.

template <class S, class T>
survey::frame::CastRowOf<S, T> CastRow(char const* phrase, T (*function)(S const&),
                                       SurveyorDependency dependency = nullptr) {
  return {phrase, function, dependency};
}

template <class L, class Rt, class T>
survey::frame::OperatorRowOf<L, Rt, T> OperatorRow(SurveyorOperatorCode code,
                                                   T (*function)(L const&, Rt const&),
                                                   SurveyorDependency dependency = nullptr) {
  return {code, function, dependency};
}

// The same, with the bytes that every left operand it answers true for
// holds, given the right operand.
template <class L, class Rt, class T>
survey::frame::OperatorRowOf<L, Rt, T> OperatorRow(SurveyorOperatorCode code,
                                                   T (*function)(L const&, Rt const&),
                                                   SurveyorDependency dependency,
                                                   SurveyorNecessaryBytes necessary) {
  return {code, function, dependency, necessary};
}

inline survey::frame::DependencyRowOf DependencyRow(DependencyNode* node, char const* name,
                                                    SurveyorDependency nodeFunction) {
  return {node, name, nodeFunction};
}

inline survey::frame::CacheRowOf CacheRow(SurveyorCacheClear clear, void* cookie) {
  return {clear, cookie};
}
