#include "host/client/sha1.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <immintrin.h>
#define SURVEY_SHA1_INSTRUCTIONS 1
#else
#define SURVEY_SHA1_INSTRUCTIONS 0
#endif

namespace survey::client {

namespace {

constexpr std::uint32_t kInitial[5] = {0x67452301u, 0xEFCDAB89u, 0x98BADCFEu, 0x10325476u,
                                       0xC3D2E1F0u};

inline std::uint32_t RotateLeft(std::uint32_t value, int by) {
  return (value << by) | (value >> (32 - by));
}

inline std::uint32_t BigEndianWord(unsigned char const* bytes) {
  return (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
         (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]};
}

// The word of the message schedule for round t (16 and on), kept in a ring
// of 16 words.
#define SURVEY_SHA1_SCHEDULE(t)                                                     \
  (w[(t)&15] = RotateLeft(w[((t) + 13) & 15] ^ w[((t) + 8) & 15] ^ w[((t) + 2) & 15] ^ \
                              w[(t)&15],                                             \
                          1))

// One round: the five words renamed rather than moved, the new a and the
// turned b written over e and b.
#define SURVEY_SHA1_ROUND(a, b, c, d, e, f, k, word)   \
  do {                                                 \
    e += RotateLeft(a, 5) + (f) + (k) + (word);        \
    b = RotateLeft(b, 30);                             \
  } while (false)

#define SURVEY_SHA1_CHOOSE(b, c, d) ((d) ^ ((b) & ((c) ^ (d))))
#define SURVEY_SHA1_PARITY(b, c, d) ((b) ^ (c) ^ (d))
#define SURVEY_SHA1_MAJORITY(b, c, d) (((b) & (c)) | ((d) & ((b) | (c))))

// Five rounds from round t, the words going round one place each.
#define SURVEY_SHA1_FIVE(function, k, t, word)                                 \
  SURVEY_SHA1_ROUND(a, b, c, d, e, function(b, c, d), k, word(t));             \
  SURVEY_SHA1_ROUND(e, a, b, c, d, function(a, b, c), k, word((t) + 1));       \
  SURVEY_SHA1_ROUND(d, e, a, b, c, function(e, a, b), k, word((t) + 2));       \
  SURVEY_SHA1_ROUND(c, d, e, a, b, function(d, e, a), k, word((t) + 3));       \
  SURVEY_SHA1_ROUND(b, c, d, e, a, function(c, d, e), k, word((t) + 4))

#define SURVEY_SHA1_LOADED(t) w[t]

// The standard's compression, one 64-byte block after the other, every
// round written out.
void CompressPortable(std::uint32_t* state, unsigned char const* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += 64) {
    std::uint32_t w[16];
    for (int t = 0; t < 16; ++t) w[t] = BigEndianWord(blocks + 4 * t);
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
    SURVEY_SHA1_FIVE(SURVEY_SHA1_CHOOSE, 0x5A827999u, 0, SURVEY_SHA1_LOADED);
    SURVEY_SHA1_FIVE(SURVEY_SHA1_CHOOSE, 0x5A827999u, 5, SURVEY_SHA1_LOADED);
    SURVEY_SHA1_FIVE(SURVEY_SHA1_CHOOSE, 0x5A827999u, 10, SURVEY_SHA1_LOADED);
    SURVEY_SHA1_ROUND(a, b, c, d, e, SURVEY_SHA1_CHOOSE(b, c, d), 0x5A827999u, w[15]);
    SURVEY_SHA1_ROUND(e, a, b, c, d, SURVEY_SHA1_CHOOSE(a, b, c), 0x5A827999u, SURVEY_SHA1_SCHEDULE(16));
    SURVEY_SHA1_ROUND(d, e, a, b, c, SURVEY_SHA1_CHOOSE(e, a, b), 0x5A827999u, SURVEY_SHA1_SCHEDULE(17));
    SURVEY_SHA1_ROUND(c, d, e, a, b, SURVEY_SHA1_CHOOSE(d, e, a), 0x5A827999u, SURVEY_SHA1_SCHEDULE(18));
    SURVEY_SHA1_ROUND(b, c, d, e, a, SURVEY_SHA1_CHOOSE(c, d, e), 0x5A827999u, SURVEY_SHA1_SCHEDULE(19));
    for (int t = 20; t < 40; t += 5) {
      SURVEY_SHA1_FIVE(SURVEY_SHA1_PARITY, 0x6ED9EBA1u, t, SURVEY_SHA1_SCHEDULE);
    }
    for (int t = 40; t < 60; t += 5) {
      SURVEY_SHA1_FIVE(SURVEY_SHA1_MAJORITY, 0x8F1BBCDCu, t, SURVEY_SHA1_SCHEDULE);
    }
    for (int t = 60; t < 80; t += 5) {
      SURVEY_SHA1_FIVE(SURVEY_SHA1_PARITY, 0xCA62C1D6u, t, SURVEY_SHA1_SCHEDULE);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
  }
}

#undef SURVEY_SHA1_LOADED
#undef SURVEY_SHA1_FIVE
#undef SURVEY_SHA1_MAJORITY
#undef SURVEY_SHA1_PARITY
#undef SURVEY_SHA1_CHOOSE
#undef SURVEY_SHA1_ROUND
#undef SURVEY_SHA1_SCHEDULE

#if SURVEY_SHA1_INSTRUCTIONS
// Four rounds of one of the four functions.
#define SURVEY_SHA1_ROUNDS(function)                        \
  __attribute__((target("sha,sse4.1,ssse3"))) inline __m128i \
      Rounds##function(__m128i abcd, __m128i e) {           \
    return _mm_sha1rnds4_epu32(abcd, e, function);          \
  }
SURVEY_SHA1_ROUNDS(0)
SURVEY_SHA1_ROUNDS(1)
SURVEY_SHA1_ROUNDS(2)
SURVEY_SHA1_ROUNDS(3)
#undef SURVEY_SHA1_ROUNDS

// The same compression with the processor's SHA instructions. The words
// a, b, c, d stand in one vector with a in its highest lane, e in the
// highest lane of another, and the message schedule goes four words to a
// vector, the first word in the highest lane. Each group of four rounds
// takes the e of its first round from the a of four rounds before.
__attribute__((target("sha,sse4.1,ssse3"))) void CompressWithInstructions(
    std::uint32_t* state, unsigned char const* blocks, std::size_t count) {
  // Reverses the 16 bytes: the big-endian words in lane order, the first
  // word highest.
  __m128i const reverse = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
  __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(state)), 0x1B);
  __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  for (; count > 0; --count, blocks += 64) {
    __m128i const abcdBefore = abcd;
    __m128i const eBefore = e;
    __m128i w[20];
    for (int k = 0; k < 4; ++k) {
      w[k] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(blocks + 16 * k)),
                              reverse);
    }
    for (int k = 4; k < 20; ++k) {
      w[k] = _mm_sha1msg2_epu32(_mm_xor_si128(_mm_sha1msg1_epu32(w[k - 4], w[k - 3]), w[k - 2]),
                                w[k - 1]);
    }
    // Group 0 adds the message to e as it is.
    __m128i previous = abcd;
    abcd = Rounds0(abcd, _mm_add_epi32(e, w[0]));
    for (int k = 1; k < 20; ++k) {
      __m128i const groupE = _mm_sha1nexte_epu32(previous, w[k]);
      previous = abcd;
      if (k < 5) {
        abcd = Rounds0(abcd, groupE);
      } else if (k < 10) {
        abcd = Rounds1(abcd, groupE);
      } else if (k < 15) {
        abcd = Rounds2(abcd, groupE);
      } else {
        abcd = Rounds3(abcd, groupE);
      }
    }
    // The e after the last round is the a of four rounds before it, turned.
    e = _mm_sha1nexte_epu32(previous, eBefore);
    abcd = _mm_add_epi32(abcd, abcdBefore);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
  state[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e, 3));
}

bool DetectShaInstructions() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return false;
  bool const ssse3 = (ecx & bit_SSSE3) != 0;
  bool const sse41 = (ecx & bit_SSE4_1) != 0;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  bool const sha = (ebx & bit_SHA) != 0;
  return ssse3 && sse41 && sha;
}
#endif

}  // namespace

bool Sha1::ProcessorHasShaInstructions() {
#if SURVEY_SHA1_INSTRUCTIONS
  static bool const has = DetectShaInstructions();
  return has;
#else
  return false;
#endif
}

Sha1::Sha1(Way way) : compress_(&CompressPortable) {
  std::memcpy(state_, kInitial, sizeof state_);
#if SURVEY_SHA1_INSTRUCTIONS
  if (way == Way::kBest && ProcessorHasShaInstructions()) compress_ = &CompressWithInstructions;
#else
  (void)way;
#endif
}

void Sha1::Add(void const* data, std::size_t length) {
  auto const* bytes = static_cast<unsigned char const*>(data);
  length_ += length;
  if (held_ > 0) {
    std::size_t const take = length < 64 - held_ ? length : 64 - held_;
    std::memcpy(pending_ + held_, bytes, take);
    held_ += take;
    bytes += take;
    length -= take;
    if (held_ < 64) return;
    compress_(state_, pending_, 1);
    held_ = 0;
  }
  std::size_t const whole = length / 64;
  if (whole > 0) compress_(state_, bytes, whole);
  bytes += whole * 64;
  length -= whole * 64;
  std::memcpy(pending_, bytes, length);
  held_ = length;
}

Sha1::Digest Sha1::Finish() {
  std::uint64_t const bits = length_ * 8;
  // The padding: a one bit, zeros up to 8 bytes before a block's end, and
  // the length in bits, big-endian.
  unsigned char tail[128] = {};
  std::memcpy(tail, pending_, held_);
  tail[held_] = 0x80;
  std::size_t const size = held_ + 1 + 8 <= 64 ? 64 : 128;
  for (int i = 0; i < 8; ++i) tail[size - 1 - i] = static_cast<unsigned char>(bits >> (8 * i));
  compress_(state_, tail, size / 64);
  Digest digest;
  for (int i = 0; i < 5; ++i) {
    digest[4 * i] = static_cast<unsigned char>(state_[i] >> 24);
    digest[4 * i + 1] = static_cast<unsigned char>(state_[i] >> 16);
    digest[4 * i + 2] = static_cast<unsigned char>(state_[i] >> 8);
    digest[4 * i + 3] = static_cast<unsigned char>(state_[i]);
  }
  return digest;
}

}  // namespace survey::client
