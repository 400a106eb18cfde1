// Diagnostics kept in memory: a message builder over one static buffer, and
// a ring of the most recent throw codes. There is no log; a debugger or a
// test reads these. Neither is guarded: they are for diagnostics only.
#pragma once

#include "survey/foundation/data.h"

// The parent of the library's platform exceptions.
class ExceptionPL : public DebuggableException {};

namespace UnixPlatform {
// Exists so that a debugger can show platform detail beside an exception.
class ExceptionDebuggingInfo {};
}  // namespace UnixPlatform

// Builds a message in the one static buffer: a length byte, up to 255 bytes
// of text, and a NUL. Every constructor starts a new message; what does not
// fit is dropped in silence.
class DebugMessage {
 public:
  static constexpr unsigned long kCapacity = 255;
  static unsigned char message[kCapacity + 2];

  DebugMessage();
  explicit DebugMessage(char const* text);

  DebugMessage& operator<<(char const* text);
  DebugMessage& operator<<(ConstData text);
  // Numbers in decimal.
  DebugMessage& operator<<(unsigned long value);
  DebugMessage& operator<<(long value);
  // A pointer in hex, at least 8 digits.
  DebugMessage& operator<<(void const* pointer);

  // The text built so far.
  static ConstData Text();
};

// Builds "Assertion failure at line <line> of <file>: <message>" in the
// message buffer.
void AssertionMessage(char const* file, unsigned long line, char const* message);

// Hooks for showing or tracing a message; they do nothing.
void ShowDebugMessage(unsigned char const* text, unsigned char length);
void TraceDebugMessage(unsigned char const* text, unsigned char length);

// Records a throw code in a ring of the last 11.
void TraceThrow(int code);
// Copies up to `count` codes into `out`, newest first, and 0 past what the
// ring holds.
void GetLastThrows(int* out, int count);
// The size of the ring.
int GetLastThrowsSize();
