#include "host/engine/fingerprint.h"

#include <new>

#define XXH_INLINE_ALL
#include <xxhash.h>

Fingerprinter::Fingerprinter() : state_(XXH3_createState()) {
  if (state_ == nullptr) throw std::bad_alloc();
  XXH3_64bits_reset(static_cast<XXH3_state_t*>(state_));
}

Fingerprinter::~Fingerprinter() { XXH3_freeState(static_cast<XXH3_state_t*>(state_)); }

void Fingerprinter::Add(void const* bytes, std::size_t length) {
  touched_ = true;
  XXH3_64bits_update(static_cast<XXH3_state_t*>(state_), bytes, length);
}

std::uint64_t Fingerprinter::Digest() const {
  return XXH3_64bits_digest(static_cast<XXH3_state_t const*>(state_));
}
