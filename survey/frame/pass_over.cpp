#include "survey/frame/pass_over.h"

#include "survey/frame/registration.h"

extern "C" SURVEY_API SurveyorPassOver survey_iterated_pass_over(void const* context) {
  // The context of an iterated property of this library is its record.
  return context == nullptr ? nullptr : static_cast<RegisteredIterated const*>(context)->passOver;
}
