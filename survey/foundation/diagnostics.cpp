#include "survey/foundation/diagnostics.h"

#include <cstdint>

#include "survey/foundation/numeral.h"

unsigned char DebugMessage::message[DebugMessage::kCapacity + 2];

namespace {

constexpr int kThrowRingSize = 11;
int throwRing[kThrowRingSize];
int throwIndex = 0;

void Reset() {
  DebugMessage::message[0] = 0;
  DebugMessage::message[1] = '\0';
}

// Appends as much of the text as fits, and keeps the NUL behind it.
void Append(ConstData text) {
  unsigned long length = DebugMessage::message[0];
  for (unsigned char const* at = text.begin; at != text.end && length < DebugMessage::kCapacity;
       ++at) {
    DebugMessage::message[1 + length++] = *at;
  }
  DebugMessage::message[0] = static_cast<unsigned char>(length);
  DebugMessage::message[1 + length] = '\0';
}

}  // namespace

DebugMessage::DebugMessage() { Reset(); }

DebugMessage::DebugMessage(char const* text) {
  Reset();
  *this << text;
}

DebugMessage& DebugMessage::operator<<(char const* text) {
  Append(ConstData(text));
  return *this;
}

DebugMessage& DebugMessage::operator<<(ConstData text) {
  Append(text);
  return *this;
}

DebugMessage& DebugMessage::operator<<(unsigned long value) {
  Numeral const numeral(value, 10);
  Append(static_cast<ConstData>(numeral));
  return *this;
}

DebugMessage& DebugMessage::operator<<(long value) {
  Numeral const numeral(value, 10);
  Append(static_cast<ConstData>(numeral));
  return *this;
}

DebugMessage& DebugMessage::operator<<(void const* pointer) {
  Numeral numeral(static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)), 16);
  numeral.PadTo(8);
  Append(static_cast<ConstData>(numeral));
  return *this;
}

ConstData DebugMessage::Text() { return ConstData(message + 1, message[0]); }

void AssertionMessage(char const* file, unsigned long line, char const* message) {
  DebugMessage("Assertion failure at line ") << line << " of " << file << ": " << message;
}

void ShowDebugMessage(unsigned char const*, unsigned char) {}

void TraceDebugMessage(unsigned char const*, unsigned char) {}

void TraceThrow(int code) {
  throwIndex = throwIndex + 1 > kThrowRingSize - 1 ? 0 : throwIndex + 1;
  throwRing[throwIndex] = code;
}

void GetLastThrows(int* out, int count) {
  int slot = throwIndex;
  for (int i = 0; i < count; ++i) {
    if (i < kThrowRingSize) {
      out[i] = throwRing[slot];
      slot = slot == 0 ? kThrowRingSize - 1 : slot - 1;
    } else {
      out[i] = 0;
    }
  }
}

int GetLastThrowsSize() { return kThrowRingSize; }
