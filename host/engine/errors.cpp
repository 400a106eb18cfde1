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

std::string Quoted(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '"';
  quoted.append(text);
  quoted += '"';
  return quoted;
}

}  // namespace survey::host
