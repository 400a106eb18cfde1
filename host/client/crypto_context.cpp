#include "host/client/crypto_context.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace survey::client {

namespace {

// The size of one read: large enough that the system calls cost little
// beside the hashing, small enough to stay in the processor's caches.
constexpr std::size_t kPieceSize = 128 * 1024;
// How many pieces are read between two questions whether the evaluation is
// to go on.
constexpr unsigned kPiecesBetweenChecks = 16;

struct DescriptorCloser {
  int descriptor;
  ~DescriptorCloser() { ::close(descriptor); }
};

struct DigestContextFree {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
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
  std::unique_ptr<EVP_MD_CTX, DigestContextFree> const context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), EVP_sha1(), nullptr) != 1) {
    return std::string();
  }
  std::unique_ptr<unsigned char[]> const piece(new unsigned char[kPieceSize]);
  unsigned pieces = 0;
  for (;;) {
    ssize_t const got = ::read(descriptor, piece.get(), kPieceSize);
    if (got < 0) {
      if (errno == EINTR) continue;
      return std::string();
    }
    if (got == 0) break;
    if (EVP_DigestUpdate(context.get(), piece.get(), static_cast<std::size_t>(got)) != 1) {
      return std::string();
    }
    if (++pieces % kPiecesBetweenChecks == 0) Check_For_Surveyor_Interruption();
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1) return std::string();
  return HexadecimalOf(digest, length);
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
