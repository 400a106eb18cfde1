// The errors an evaluation reports, by kind, each with a message that names
// what failed.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace survey::host {

enum class ErrorKind {
  kSyntax,           // the text does not follow the grammar
  kUnknownPhrase,    // no phrase of that name at all
  kNoSuchProperty,   // the phrase exists, but not for this object, index or cast
  kNoValue,          // a singular expression has nothing
  kMoreThanOneValue, // a singular expression has several
  kTypeError,        // an operator or condition got the wrong kind of value
  kNotAvailable,     // no context, a context error, or "cannot evaluate now"
  kMessage,          // the library's own message
  kInterrupted,      // the time limit passed, or the user interrupted
  kLoad,             // a surveyor library could not be loaded
};

char const* ErrorKindName(ErrorKind kind);

// What a library exception of the given class (its name as written in the
// source, e.g. "FilePermissionError") means, in words for the reader of an
// error: "permission denied". A class it does not know is named as it is.
std::string LibraryErrorWords(std::string_view className);

// A phrase or type name between double quotes, for messages.
std::string Quoted(std::string_view text);

class EvaluationError : public std::runtime_error {
 public:
  EvaluationError(ErrorKind kind, std::string message, long position = -1)
      : std::runtime_error(std::move(message)), kind_(kind), position_(position) {}
  ErrorKind Kind() const { return kind_; }
  // Byte offset into the query, or -1 when the error has no place in it.
  long Position() const { return position_; }
  void SetPosition(long position) { position_ = position; }

 private:
  ErrorKind kind_;
  long position_;
};

// Thrown through the library by `Check_For_Surveyor_Interruption`. It is not
// one of the library's exceptions, so no surveyor mistakes it for an answer.
class InterruptedEvaluation {};

}  // namespace survey::host
