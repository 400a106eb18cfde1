// Registration rows for aggregates whose phases are not those of the plain
// aggregator of survey/frame/table.h (an `Initialize` member, one step per
// element, the final answers):
//
//  - an accumulating aggregator starts empty from its construction, so its
//    initial phases deliver nothing and read no member;
//  - an aggregator with initial answers has `FirstInitial` and
//    `NextInitial` members that may deliver a value before any element.
//
// The type names come from the members' own types, as in table.h.
#pragma once

#include "survey/frame/table.h"

// An aggregator over elements of O, with no index, that starts empty.
template <class A, class O, class R>
survey::frame::AggregateRowOf<A, NoType, O, R> AccumulatingRow(
    char const* singular, char const* plural, void (A::*add)(Of, O const&), R (A::*firstFinal)(),
    R (A::*nextFinal)(), SurveyorDependency dependency = nullptr) {
  return {singular,
          plural,
          {&GenericNullGetter, &GenericNullGetter, &SimpleAggregatorOfObject<A, O>::Aggregate,
           &GenericNullGetter, &AggregatorBasics<A, R>::FirstFinal,
           &AggregatorBasics<A, R>::NextFinal},
          {nullptr, nullptr, ToMemberSlot(add), nullptr, ToMemberSlot(firstFinal),
           ToMemberSlot(nextFinal)},
          dependency};
}

// The same with an index I, passed with each element.
template <class A, class I, class O, class R>
survey::frame::AggregateRowOf<A, I, O, R> AccumulatingRow(char const* singular, char const* plural,
                                                          void (A::*add)(I const&, Of, O const&),
                                                          R (A::*firstFinal)(), R (A::*nextFinal)(),
                                                          SurveyorDependency dependency = nullptr) {
  return {singular,
          plural,
          {&GenericNullGetter, &GenericNullGetter,
           &SimpleAggregatorByIndexOfObject<A, I, O>::Aggregate, &GenericNullGetter,
           &AggregatorBasics<A, R>::FirstFinal, &AggregatorBasics<A, R>::NextFinal},
          {nullptr, nullptr, ToMemberSlot(add), nullptr, ToMemberSlot(firstFinal),
           ToMemberSlot(nextFinal)},
          dependency};
}

// An aggregator over elements of O, with no index, that may answer before
// the elements (FirstInitial, then NextInitial while it delivers).
template <class A, class O, class R>
survey::frame::AggregateRowOf<A, NoType, O, R> InitialAnswerRow(
    char const* singular, char const* plural, R (A::*firstInitial)(), R (A::*nextInitial)(),
    void (A::*add)(Of, O const&), R (A::*firstFinal)(), R (A::*nextFinal)(),
    SurveyorDependency dependency = nullptr) {
  return {singular,
          plural,
          {&AggregatorBasics<A, R>::FirstInitial, &AggregatorBasics<A, R>::NextInitial,
           &SimpleAggregatorOfObject<A, O>::Aggregate, &GenericNullGetter,
           &AggregatorBasics<A, R>::FirstFinal, &AggregatorBasics<A, R>::NextFinal},
          {ToMemberSlot(firstInitial), ToMemberSlot(nextInitial), ToMemberSlot(add), nullptr,
           ToMemberSlot(firstFinal), ToMemberSlot(nextFinal)},
          dependency};
}
