// SHA-1 of a run of bytes, for the hash of a file. The host computes it
// itself rather than through the machine's libcrypto: loading libcrypto,
// its configuration and the look-up of its digest cost more than hashing a
// file of a megabyte. Where the processor has the SHA instructions they
// compress the blocks; elsewhere a portable version does.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace survey::client {

class Sha1 {
 public:
  static constexpr std::size_t kDigestSize = 20;
  using Digest = std::array<unsigned char, kDigestSize>;

  // How the blocks are compressed: by the processor's SHA instructions
  // where it has them (kBest), or by the portable code whatever it has.
  enum class Way { kBest, kPortable };

  explicit Sha1(Way way = Way::kBest);

  // Adds the next bytes.
  void Add(void const* data, std::size_t length);

  // The digest of all the bytes added; the object is spent after.
  Digest Finish();

  // Whether kBest uses the processor's SHA instructions on this machine.
  static bool ProcessorHasShaInstructions();

 private:
  using Compress = void (*)(std::uint32_t* state, unsigned char const* blocks, std::size_t count);

  std::uint32_t state_[5];
  std::uint64_t length_ = 0;  // bytes added
  unsigned char pending_[64];
  std::size_t held_ = 0;  // bytes of pending_ in use
  Compress compress_;
};

}  // namespace survey::client
