// The file-hash part of the host's context: the SHA-1 digest of a file
// behind `CryptoSurveyorContext`, computed with the machine's libcrypto.
#pragma once

#include <string>

#include "survey/frame/boundary.h"

namespace survey::client {

// The bytes as lower-case hexadecimal text, two digits a byte.
std::string HexadecimalOf(unsigned char const* bytes, unsigned length);

// The digest of the file at `path` as lower-case hexadecimal text, read in
// pieces of a fixed size so that a file of any size is hashed in the same
// small memory. An empty text when the file cannot be opened or read to its
// end. "/proc/kmsg" is refused unopened: reading it would take the kernel's
// messages from their reader, and wait for the next one.
std::string Sha1OfFile(char const* path);

class CryptoContext : public CryptoSurveyorContext {
 public:
  // The SHA-1 digest of the file as 40 hexadecimal digits; NoSuchObject
  // when the file cannot be read.
  SurveyorDigestText HashOfFile(char const* path) override;
};

}  // namespace survey::client
