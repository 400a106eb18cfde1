// Arithmetic that asks before it overflows. Each predicate says whether an
// operation fits the operand type, without doing the operation. They serve
// the 32-bit and 64-bit integer types, signed and unsigned; the second
// operand takes the type of the first, so that a literal can be passed.
#pragma once

#include <limits>
#include <type_traits>

namespace checked_detail {

template <class T>
concept Operand = std::is_same_v<T, int> || std::is_same_v<T, unsigned int> ||
                  std::is_same_v<T, long> || std::is_same_v<T, unsigned long> ||
                  std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long>;

template <class T>
concept UnsignedOperand = Operand<T> && std::is_unsigned_v<T>;

template <class T>
concept SignedOperand = Operand<T> && std::is_signed_v<T>;

// The magnitude of a negative value, by full-width negation.
template <class S>
constexpr std::make_unsigned_t<S> Magnitude(S negative) {
  using U = std::make_unsigned_t<S>;
  return static_cast<U>(U(0) - static_cast<U>(negative));
}

}  // namespace checked_detail

// Whether first + second fits T.
template <checked_detail::Operand T>
constexpr bool CanAdd(T first, std::type_identity_t<T> second) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_unsigned_v<T>) {
    return first <= Limits::max() - second;
  } else {
    return second > 0 ? first <= Limits::max() - second : first >= Limits::min() - second;
  }
}

// Whether first - second fits T.
template <checked_detail::Operand T>
constexpr bool CanSubtract(T first, std::type_identity_t<T> second) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_unsigned_v<T>) {
    return first >= second;
  } else {
    return second > 0 ? first >= Limits::min() + second : first <= Limits::max() + second;
  }
}

// Whether first * second fits T.
template <checked_detail::Operand T>
constexpr bool CanMultiply(T first, std::type_identity_t<T> second) {
  using Limits = std::numeric_limits<T>;
  if (first == 0 || second == 0) return true;
  if constexpr (std::is_unsigned_v<T>) {
    return second <= Limits::max() / first;
  } else {
    // Integer division truncates toward zero, which rounds each bound the
    // safe way for the sign of the product.
    if (first > 0) {
      return second > 0 ? first <= Limits::max() / second : second >= Limits::min() / first;
    }
    return second > 0 ? first >= Limits::min() / second : first >= Limits::max() / second;
  }
}

// Whether an unsigned value plus a signed one fits the unsigned type.
template <checked_detail::UnsignedOperand U>
constexpr bool CanAddSigned(U first, std::make_signed_t<U> second) {
  if (second >= 0) return first <= std::numeric_limits<U>::max() - static_cast<U>(second);
  return first >= checked_detail::Magnitude(second);
}

// Whether a signed value plus an unsigned one fits the signed type.
template <checked_detail::SignedOperand S>
constexpr bool CanAddUnsigned(S first, std::make_unsigned_t<S> second) {
  using U = std::make_unsigned_t<S>;
  // The room above `first`, which an unsigned value always holds.
  U const room = static_cast<U>(static_cast<U>(std::numeric_limits<S>::max()) -
                                static_cast<U>(first));
  return second <= room;
}

// Whether an unsigned value minus a signed one fits the unsigned type.
template <checked_detail::UnsignedOperand U>
constexpr bool CanSubtractSigned(U first, std::make_signed_t<U> second) {
  if (second >= 0) return first >= static_cast<U>(second);
  return first <= std::numeric_limits<U>::max() - checked_detail::Magnitude(second);
}

// Whether a signed value minus an unsigned one fits the signed type.
template <checked_detail::SignedOperand S>
constexpr bool CanSubtractUnsigned(S first, std::make_unsigned_t<S> second) {
  using U = std::make_unsigned_t<S>;
  // The room below `first`, down to the type's least value.
  U const room = static_cast<U>(static_cast<U>(first) -
                                static_cast<U>(std::numeric_limits<S>::min()));
  return second <= room;
}
