#include "host/client/crypto_context.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "host/client/crypto_library.h"
#include "host/client/late_library.h"
#include "host/client/sha1.h"

namespace survey::client {

namespace {

// The size of one read: large enough that the system calls cost little
// beside the hashing, small enough to stay in the processor's caches.
constexpr std::size_t kPieceSize = 128 * 1024;
// How many pieces are read between two questions whether the evaluation is
// to go on.
constexpr unsigned kPiecesBetweenChecks = 16;

// The versioned file name of the libcrypto the host is compiled against.
#define SURVEY_TEXT_OF(x) #x
#define SURVEY_TEXT(x) SURVEY_TEXT_OF(x)
#if defined(OPENSSL_VERSION_MAJOR)
#define SURVEY_LIBCRYPTO_NAME "libcrypto.so." SURVEY_TEXT(OPENSSL_VERSION_MAJOR)
#else
#define SURVEY_LIBCRYPTO_NAME "libcrypto.so.1.1"
#endif

}  // namespace

CryptoFunctions const& Crypto() {
  static CryptoFunctions const functions = [] {
    static LateLibrary const library(SURVEY_LIBCRYPTO_NAME);
    CryptoFunctions bound;
#define SURVEY_CRYPTO_BIND(name) library.Bind(bound.name, #name);
    SURVEY_CRYPTO_FUNCTIONS(SURVEY_CRYPTO_BIND)
#undef SURVEY_CRYPTO_BIND
    return bound;
  }();
  return functions;
}

namespace {

struct DescriptorCloser {
  int descriptor;
  ~DescriptorCloser() { ::close(descriptor); }
};

}  // namespace

std::string HexadecimalOf(unsigned char const* bytes, unsigned length) {
  static char const kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * length);
  for (unsigned i = 0; i < length; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::string Sha1OfFile(char const* path) {
  if (path == nullptr || std::strcmp(path, "/proc/kmsg") == 0) return std::string();
  // Without waiting: a special file that has nothing to give fails at once
  // rather than holding the evaluation.
  int const descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return std::string();
  DescriptorCloser const closer{descriptor};
  Sha1 hash;
  std::unique_ptr<unsigned char[]> const piece(new unsigned char[kPieceSize]);
  unsigned pieces = 0;
  for (;;) {
    ssize_t const got = ::read(descriptor, piece.get(), kPieceSize);
    if (got < 0) {
      if (errno == EINTR) continue;
      return std::string();
    }
    if (got == 0) break;
    hash.Add(piece.get(), static_cast<std::size_t>(got));
    if (++pieces % kPiecesBetweenChecks == 0) Check_For_Surveyor_Interruption();
  }
  Sha1::Digest const digest = hash.Finish();
  return HexadecimalOf(digest.data(), static_cast<unsigned>(digest.size()));
}

SurveyorDigestText CryptoContext::HashOfFile(char const* path) {
  std::string const text = Sha1OfFile(path);
  if (text.empty()) throw NoSuchObject();
  SurveyorDigestText record{};
  record.length = text.size() < sizeof record.text ? text.size() : sizeof record.text;
  std::memcpy(record.text, text.data(), record.length);
  return record;
}

}  // namespace survey::client
