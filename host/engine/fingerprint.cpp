#include "host/engine/fingerprint.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace {
XXH3_state_t* State(unsigned char* bytes) { return reinterpret_cast<XXH3_state_t*>(bytes); }
XXH3_state_t const* State(unsigned char const* bytes) {
  return reinterpret_cast<XXH3_state_t const*>(bytes);
}
}  // namespace

Fingerprinter::Fingerprinter() {
  static_assert(sizeof(XXH3_state_t) <= sizeof state_, "room for the XXH3 state");
  static_assert(alignof(XXH3_state_t) <= 64, "alignment of the XXH3 state");
  XXH3_INITSTATE(State(state_));
  XXH3_64bits_reset(State(state_));
}

Fingerprinter::~Fingerprinter() = default;

void Fingerprinter::Add(void const* bytes, std::size_t length) {
  touched_ = true;
  XXH3_64bits_update(State(state_), bytes, length);
}

std::uint64_t Fingerprinter::Digest() const { return XXH3_64bits_digest(State(state_)); }
