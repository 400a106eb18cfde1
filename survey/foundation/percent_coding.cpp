#include "survey/foundation/percent_coding.h"

#include <memory>

#include "survey/foundation/url.h"

std::string PercentEncode(ConstData const& text, ByteSet const& unescaped) {
  unsigned long const length = URLEncoder::EncodedLength(text, unescaped);
  if (length == 0) return std::string();
  // The scratch array goes on every way out, an exception's included.
  std::unique_ptr<unsigned char[]> const scratch(new unsigned char[length]);
  Buffer output(Data(scratch.get(), length));
  URLEncoder encoder(unescaped);
  ConstBuffer input(text);
  encoder(input, output);
  encoder.Flush(output);
  ConstData const written = output.Processed();
  return std::string(reinterpret_cast<char const*>(written.begin), written.Length());
}

std::string PercentDecode(ConstData const& text) {
  unsigned long const length = text.Length();
  if (length == 0) return std::string();
  // Decoding never lengthens a text.
  std::unique_ptr<unsigned char[]> const scratch(new unsigned char[length]);
  Buffer output(Data(scratch.get(), length));
  URLDecoder decoder;
  ConstBuffer input(text);
  decoder(input, output);
  decoder.Flush(output);
  ConstData const written = output.Processed();
  return std::string(reinterpret_cast<char const*>(written.begin), written.Length());
}
