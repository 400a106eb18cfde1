// The functions of the machine's libcrypto that the host uses, taken from
// the library when it is first needed (host/client/late_library.h): the file
// hashes and the certificates the client keeps.
#pragma once

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace survey::client {

// Each function by its own name, as a pointer of its own type.
#define SURVEY_CRYPTO_FUNCTIONS(X) \
  X(ASN1_TIME_to_tm)               \
  X(BIO_ctrl)                      \
  X(BIO_free)                      \
  X(BIO_new)                       \
  X(BIO_new_mem_buf)               \
  X(BIO_s_mem)                     \
  X(ERR_clear_error)               \
  X(ERR_peek_last_error)           \
  X(ERR_reason_error_string)       \
  X(EVP_Digest)                    \
  X(EVP_DigestFinal_ex)            \
  X(EVP_DigestInit_ex)             \
  X(EVP_DigestUpdate)              \
  X(EVP_MD_CTX_free)               \
  X(EVP_MD_CTX_new)                \
  X(EVP_MD_fetch)                  \
  X(EVP_sha1)                      \
  X(OPENSSL_init_crypto)           \
  X(PEM_read_bio_X509)             \
  X(PEM_write_bio_X509)            \
  X(X509_free)                     \
  X(X509_get0_notBefore)           \
  X(d2i_X509)                      \
  X(i2d_X509)

struct CryptoFunctions {
#define SURVEY_CRYPTO_POINTER(name) decltype(&::name) name = nullptr;
  SURVEY_CRYPTO_FUNCTIONS(SURVEY_CRYPTO_POINTER)
#undef SURVEY_CRYPTO_POINTER
};

// The functions, bound at the first call, with the library initialised as
// the host uses it (see crypto_context.cpp); LateLibraryError when the
// machine has no such libcrypto or it lacks one of them.
CryptoFunctions const& Crypto();

}  // namespace survey::client
