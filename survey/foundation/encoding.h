// Text in a named encoding. A `UStringRef<E>` is a view of bytes that hold
// text in encoding E; `EncodingCast` gives the bytes for the functions that
// work on ASCII views. UTF-8 text is its own bytes, so the cast from UTF-8 to
// a plain view changes nothing.
#pragma once

#include <type_traits>

#include "survey/foundation/data.h"

struct UTF8 {};

template <class Encoding>
class UStringRef {
 public:
  UStringRef() = default;
  explicit UStringRef(ConstData bytes) : bytes_(bytes) {}

  ConstData Bytes() const { return bytes_; }

 private:
  ConstData bytes_;
};

template <class To, class Encoding>
To EncodingCast(UStringRef<Encoding> text) {
  static_assert(std::is_same_v<To, ConstData> && std::is_same_v<Encoding, UTF8>,
                "only UTF-8 text is cast, and only to its bytes");
  return text.Bytes();
}
