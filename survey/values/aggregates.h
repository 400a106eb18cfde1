// Aggregates that reduce a set of values to one: the product of integers, and
// the conjunction and disjunction of booleans.
#pragma once

#include "survey/frame/adaptors.h"

// "product": the running product, and whether it has overflowed. An overflow
// at any element makes the whole product fail, whatever follows.
class SURVEY_API integer_product {
 public:
  void Initialize();
  void Multiply(Of, integer const& element);
  // The product, or NoSuchObject after an overflow.
  integer FirstFinal();
  integer NextFinal();

 private:
  long long product_ = 1;
  bool overflowed_ = false;
};

// "conjunction" and "disjunction": the value the aggregate starts from (true
// for a conjunction, false for a disjunction) and the present one, which the
// first element that differs from the start fixes for good.
class SURVEY_API boolean_aggregate {
 public:
  // Set the start; no value comes before the elements (NoSuchObject).
  boolean FirstInitialForConjunction();
  boolean FirstInitialForDisjunction();
  boolean NextInitial();
  // Takes an element; no value comes between the elements (NoSuchObject).
  void First(Of, boolean const& element);
  boolean Next();
  boolean FirstFinal();
  boolean NextFinal();

 private:
  bool start_ = false;
  bool current_ = false;
};
