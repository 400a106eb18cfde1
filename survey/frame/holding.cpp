#include "survey/frame/holding.h"

#include "survey/frame/registration.h"

// The context of an iterated property of this library is its record, and
// so is that of an operator.

extern "C" SURVEY_API SurveyorNextHolding survey_iterated_next_holding(void const* context) {
  return context == nullptr ? nullptr
                            : static_cast<RegisteredIterated const*>(context)->nextHolding;
}

extern "C" SURVEY_API SurveyorNecessaryBytes survey_operator_necessary_bytes(void const* context) {
  return context == nullptr ? nullptr
                            : static_cast<RegisteredOperator const*>(context)->necessaryBytes;
}

extern "C" SURVEY_API SurveyorNecessaryBytes survey_property_necessary_bytes(void const* context) {
  return context == nullptr ? nullptr
                            : static_cast<RegisteredIterated const*>(context)->necessaryBytes;
}
