#include "survey/values/aggregates.h"

#include "survey/foundation/checked.h"
#include "survey/frame/table.h"
#include "survey/values/aggregate_rows.h"

void integer_product::Initialize() {
  product_ = 1;
  overflowed_ = false;
}

void integer_product::Multiply(Of, integer const& element) {
  if (overflowed_) return;
  if (!CanMultiply(product_, element.value)) {
    overflowed_ = true;
    return;
  }
  product_ *= element.value;
}

integer integer_product::FirstFinal() {
  if (overflowed_) throw NoSuchObject();
  return integer{product_};
}

integer integer_product::NextFinal() { throw NoSuchObject(); }

boolean boolean_aggregate::FirstInitialForConjunction() {
  start_ = true;
  current_ = true;
  throw NoSuchObject();
}

boolean boolean_aggregate::FirstInitialForDisjunction() {
  start_ = false;
  current_ = false;
  throw NoSuchObject();
}

boolean boolean_aggregate::NextInitial() { throw NoSuchObject(); }

void boolean_aggregate::First(Of, boolean const& element) {
  // Only the first element that differs from the start counts; later ones
  // are received and change nothing.
  if (current_ == start_) current_ = element.value == 1;
  throw NoSuchObject();
}

boolean boolean_aggregate::Next() { throw NoSuchObject(); }

boolean boolean_aggregate::FirstFinal() {
  return boolean{static_cast<unsigned char>(current_ ? 1 : 0)};
}

boolean boolean_aggregate::NextFinal() { throw NoSuchObject(); }

// ---------------------------------------------------------------------------
// Registration, in table order. Every result follows from its operands alone.

namespace {

RegistrationTable table{
    AggregateRow("product", "products", &integer_product::Initialize, &integer_product::Multiply,
                 &integer_product::FirstFinal, &integer_product::NextFinal,
                 &DependsOnlyOnParameters),
    InitialAnswerRow("conjunction", "conjunctions", &boolean_aggregate::FirstInitialForConjunction,
                     &boolean_aggregate::NextInitial, &boolean_aggregate::First,
                     &boolean_aggregate::FirstFinal, &boolean_aggregate::NextFinal,
                     &DependsOnlyOnParameters),
    InitialAnswerRow("disjunction", "disjunctions", &boolean_aggregate::FirstInitialForDisjunction,
                     &boolean_aggregate::NextInitial, &boolean_aggregate::First,
                     &boolean_aggregate::FirstFinal, &boolean_aggregate::NextFinal,
                     &DependsOnlyOnParameters),
};

}  // namespace
