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
    // libcrypto refers to thousands of its own functions; nothing in the
    // program replaces any of them.
    static LateLibrary const library(SURVEY_LIBCRYPTO_NAME, LateLibrary::Binding::kOwnFirst);
    CryptoFunctions bound;
#define SURVEY_CRYPTO_BIND(name) library.Bind(bound.name, #name);
    SURVEY_CRYPTO_FUNCTIONS(SURVEY_CRYPTO_BIND)
#undef SURVEY_CRYPTO_BIND
    // The library initialises itself on first use as it would for any
    // program, with two parts the host does without:
    // - the tables of every digest and cipher by its old-style name, which
    //   only a lookup by such a name reads: EVP_get_digestbyname and the
    //   like, and inside the library what the host never asks of it (the
    //   strength of a certificate's signature, a key encrypted in PEM). The
    //   host fetches its digest by the name the providers give it. Filling
    //   the tables took about a third of the cost of the first hash.
    // - the clean-up at exit, which only frees memory the process is about
    //   to give back whole.
    // The machine's configuration file is read as before: it can choose the
    // providers, and so whether a digest is to be had at all.
    bound.OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS |
                                  OPENSSL_INIT_NO_ADD_ALL_DIGESTS | OPENSSL_INIT_NO_ATEXIT,
                              nullptr);
    return bound;
  }();
  return functions;
}

namespace {

struct DescriptorCloser {
  int descriptor;
  ~DescriptorCloser() { ::close(descriptor); }
};

struct DigestContextFree {
  void operator()(EVP_MD_CTX* context) const { Crypto().EVP_MD_CTX_free(context); }
};

// The SHA-1 digest of the library's default context, fetched once by its
// name and kept for the life of the process, rather than looked up again at
// every hash; null when the providers the configuration chose have none.
EVP_MD const* Sha1Digest() {
  static EVP_MD const* const digest = Crypto().EVP_MD_fetch(nullptr, "SHA1", nullptr);
  return digest;
}

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
  try {
    Crypto();
  } catch (LateLibraryError const&) {
    // Without the machine's libcrypto there is no hash to give.
    return std::string();
  }
  EVP_MD const* const sha1 = Sha1Digest();
  if (sha1 == nullptr) return std::string();
  std::unique_ptr<EVP_MD_CTX, DigestContextFree> const context(Crypto().EVP_MD_CTX_new());
  if (!context || Crypto().EVP_DigestInit_ex(context.get(), sha1, nullptr) != 1) {
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
    if (Crypto().EVP_DigestUpdate(context.get(), piece.get(), static_cast<std::size_t>(got)) != 1) {
      return std::string();
    }
    if (++pieces % kPiecesBetweenChecks == 0) Check_For_Surveyor_Interruption();
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (Crypto().EVP_DigestFinal_ex(context.get(), digest, &length) != 1) return std::string();
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
