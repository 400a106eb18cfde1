#include "host/engine/errors.h"

namespace survey::host {

char const* ErrorKindName(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::kSyntax: return "syntax error";
    case ErrorKind::kUnknownPhrase: return "unknown phrase";
    case ErrorKind::kNoSuchProperty: return "no such property";
    case ErrorKind::kNoValue: return "no value";
    case ErrorKind::kMoreThanOneValue: return "more than one value";
    case ErrorKind::kTypeError: return "type error";
    case ErrorKind::kNotAvailable: return "not available";
    case ErrorKind::kMessage: return "message";
    case ErrorKind::kInterrupted: return "interrupted";
    case ErrorKind::kLoad: return "load error";
  }
  return "error";
}

}  // namespace survey::host
