// The certificates the client keeps, as this host offers them to the
// library. Not one of the interfaces every host offers: a host of its own
// kind serves it beside them, and the library finds it by the same cast from
// `SurveyorContext` as the others (survey/frame/contexts.h). A null slot
// throws the common `SurveyorContextError`.
#pragma once

#include "survey/frame/boundary.h"

// A certificate as the host tells it: the SHA-1 digest of its DER form and
// the start of its validity period.
struct SurveyorCertificateData {
  char sha1[41];        // 40 lower-case hexadecimal digits, zero-terminated
  long long notBefore;  // microseconds since 1970 in UTC
};

// The certificates the client keeps, by name ("client", "server", ...).
struct SurveyorCertificateContext {
  // The certificate of that name; false when there is none.
  bool (*FindCertificate)(char const* name, unsigned long length,
                          SurveyorCertificateData* record) = nullptr;
  // The certificate at `index` in the order of the names' bytes; false past
  // the end.
  bool (*GetCertificate)(unsigned long index, SurveyorCertificateData* record) = nullptr;
};
