// Comparable values: the vocabulary that any value type with an order gets
// in one registration. For a type T that has `operator==`, `operator<` and
// `operator<=`, and names itself through a static `TypeName()`,
// `ComparableSurveyorRegistration<T>` registers
//
//   the relations =, < and <= of T with T,
//   the type "<T> with multiplicity", a T followed by a count,
//   "unique value" / "unique values" with their "multiplicity",
//   "minimum" / "minima", "maximum" / "maxima",
//   "extrema" / "extremas": the minimum and the maximum as a pair.
//
// Order and sameness come from `operator<` alone: two values of which
// neither is less than the other are the same value to the aggregators, and
// the first one seen is the one they keep.
#pragma once

#include <map>

#include "survey/frame/table.h"
#include "survey/frame/tuple.h"

// ---------------------------------------------------------------------------
// The relations, as binary operators with a boolean result.

template <class L, class R>
struct RelationEqual {
  static boolean Equal(L const& left, R const& right) {
    return boolean{static_cast<unsigned char>(left == right ? 1 : 0)};
  }
};

template <class L, class R>
struct RelationLess {
  static boolean Less(L const& left, R const& right) {
    return boolean{static_cast<unsigned char>(left < right ? 1 : 0)};
  }
};

template <class L, class R>
struct RelationLessOrEqual {
  static boolean LessOrEqual(L const& left, R const& right) {
    return boolean{static_cast<unsigned char>(left <= right ? 1 : 0)};
  }
};

// ---------------------------------------------------------------------------
// A value with the number of times it occurred. The value comes first, so a
// "with multiplicity" value stands wherever a T is asked for.

template <class T>
struct WithMultiplicity {
  T value;
  unsigned long long multiplicity;

  // T's type name followed by " with multiplicity", built by the first
  // caller and kept until unload.
  static char const* TypeName() {
    static std::string const name = std::string(T::TypeName()) + " with multiplicity";
    return name.c_str();
  }
};

// ---------------------------------------------------------------------------
// Aggregators. Each is the state of one aggregate evaluation, constructed
// and destroyed by the host through IteratorBasics.

// The least and the greatest value of a stream. `R` is what the final step
// delivers: T for the minimum or the maximum, a pair for the extrema.
template <class T, class R>
class extremum_aggregator {
 public:
  void Initialize() { seen_ = 0; }

  void Aggregate(Of, T const& value) {
    if (seen_ == 0) {
      minimum_ = value;
      maximum_ = value;
      seen_ = 1;
      return;
    }
    if (value < minimum_) minimum_ = value;
    if (maximum_ < value) maximum_ = value;
  }

  T Minimum() {
    if (seen_ == 0) throw NoSuchObject();
    return minimum_;
  }
  T Maximum() {
    if (seen_ == 0) throw NoSuchObject();
    return maximum_;
  }
  // A pair that points at the minimum and the maximum kept here: the host
  // uses it before it destroys this state.
  SurveyorTuple2<T, T> Extrema() {
    if (seen_ == 0) throw NoSuchObject();
    return SurveyorTuple2<T, T>(&minimum_, &maximum_);
  }
  // There is one answer only.
  R NextFinal() { throw NoSuchObject(); }

 private:
  T minimum_{};
  T maximum_{};
  unsigned char seen_ = 0;
};

// Every distinct value of a stream with the number of its occurrences, in
// ascending order.
template <class T>
class unique_value_aggregator {
 public:
  using Counts = std::map<T, unsigned long long>;

  unique_value_aggregator() : cursor_(counts_.end()) {}
  unique_value_aggregator(unique_value_aggregator const&) = delete;
  unique_value_aggregator& operator=(unique_value_aggregator const&) = delete;

  void Initialize() {
    counts_.clear();
    cursor_ = counts_.end();
  }

  void Aggregate(Of, T const& value) {
    typename Counts::iterator const place = counts_.lower_bound(value);
    if (place == counts_.end() || value < place->first) {
      counts_.emplace_hint(place, value, 1);
    } else {
      ++place->second;
    }
  }

  WithMultiplicity<T> FirstFinal() {
    cursor_ = counts_.begin();
    return Current();
  }
  WithMultiplicity<T> NextFinal() {
    if (cursor_ == counts_.end()) throw NoSuchObject();
    ++cursor_;
    return Current();
  }

 private:
  WithMultiplicity<T> Current() const {
    if (cursor_ == counts_.end()) throw NoSuchObject();
    return WithMultiplicity<T>{cursor_->first, cursor_->second};
  }

  Counts counts_;
  typename Counts::const_iterator cursor_;
};

template <class T>
struct UniqueValuesSurveyorRegistration {
  // The number of occurrences of a unique value.
  static integer Multiplicity(Of, WithMultiplicity<T> const& value) {
    return integer{static_cast<long long>(value.multiplicity)};
  }
};

// ---------------------------------------------------------------------------
// The registration of the group: one table, in the order of its rows. A
// failure at any row, or in composing a type name before one, unregisters
// the rows already registered, in reverse order, before the exception goes
// on.

template <class T>
auto ComparableRows(SurveyorDependency dependency) {
  using Unique = unique_value_aggregator<T>;
  using Extremum = extremum_aggregator<T, T>;
  using Pair = extremum_aggregator<T, SurveyorTuple2<T, T>>;
  return RegistrationTable{
      OperatorRow(kOperatorEqual, &RelationEqual<T, T>::Equal, dependency),
      OperatorRow(kOperatorLessThan, &RelationLess<T, T>::Less, dependency),
      OperatorRow(kOperatorLessOrEqual, &RelationLessOrEqual<T, T>::LessOrEqual, dependency),
      TypeRow<WithMultiplicity<T>, T>(),
      AggregateRow("unique value", "unique values", &Unique::Initialize, &Unique::Aggregate,
                   &Unique::FirstFinal, &Unique::NextFinal, dependency),
      PropertyRow("multiplicity", "multiplicities",
                  &UniqueValuesSurveyorRegistration<T>::Multiplicity, dependency),
      AggregateRow("minimum", "minima", &Extremum::Initialize, &Extremum::Aggregate,
                   &Extremum::Minimum, &Extremum::NextFinal, dependency),
      AggregateRow("maximum", "maxima", &Extremum::Initialize, &Extremum::Aggregate,
                   &Extremum::Maximum, &Extremum::NextFinal, dependency),
      AggregateRow("extrema", "extremas", &Pair::Initialize, &Pair::Aggregate, &Pair::Extrema,
                   &Pair::NextFinal, dependency)};
}

template <class T>
class ComparableSurveyorRegistration {
 public:
  explicit ComparableSurveyorRegistration(SurveyorDependency dependency)
      : table_(ComparableRows<T>(dependency)) {}

  ComparableSurveyorRegistration(ComparableSurveyorRegistration const&) = delete;
  ComparableSurveyorRegistration& operator=(ComparableSurveyorRegistration const&) = delete;

 private:
  decltype(ComparableRows<T>(nullptr)) table_;
};
