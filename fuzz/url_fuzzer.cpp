// Fuzz target for the URL scanner and what stands on it. For any bytes, held
// in a heap block of exactly their size so that a read past them is caught:
// - the scanner's seven positions must be those of a second, index-based
//   reading of its rules, and lie in order inside the text;
// - every accessor must give a view inside the text or raise its
//   InvalidURLInfoUse, and a port must be the digits' value;
// - the text must equal itself as a URL, decode to what a one-byte-at-a-time
//   decoder gives, and come back from its own encoding;
// - the text cut in two by its first byte, as reference and base, must
//   resolve and relate without any other failure, and a resolved URL must
//   have a scheme.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "survey/foundation/url.h"

namespace {

[[noreturn]] void Mismatch(ConstData text, char const* what) {
  std::string shown;
  for (unsigned char const* at = text.begin; at != text.end; ++at) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, *at >= 32 && *at < 127 ? "%c" : "\\x%02x", *at);
    shown += buffer;
  }
  std::fprintf(stderr, "\"%s\": %s\n", shown.c_str(), what);
  std::abort();
}

// The scan rules read again, by index; -1 for an absent position.
struct Positions {
  long colon = -1, authority = -1, at = -1, portColon = -1, pathStart = -1, question = -1,
       hash = -1;
};

Positions ReadAgain(ConstData text) {
  Positions p;
  long const length = static_cast<long>(text.Length());
  for (long i = 0; i < length; ++i) {
    unsigned char const c = text.begin[i];
    if (c == '#') {
      p.hash = i;
      break;
    }
    if (c == '/' && p.question < 0) {
      bool const atPathStart = i == 0 || (p.colon >= 0 && i == p.colon + 1);
      if (atPathStart) {
        p.pathStart = i;
      } else if (p.authority < 0 && p.pathStart >= 0 && p.pathStart == i - 1) {
        p.authority = i - 1;
        p.pathStart = -1;
      } else if (p.authority >= 0 && p.pathStart < 0) {
        p.pathStart = i;
      }
    } else if (c == ':' && p.pathStart < 0 && p.question < 0) {
      if (p.authority >= 0 && p.portColon < 0) p.portColon = i;
      if (p.authority < 0 && p.colon < 0) p.colon = i;
    } else if (c == '?' && p.question < 0) {
      bool const opaque = p.colon >= 0 && p.authority < 0 && p.pathStart < 0;
      if (!opaque) p.question = i;
    } else if (c == '@' && p.authority >= 0 && p.pathStart < 0 && p.question < 0) {
      p.at = i;
      p.portColon = -1;
    }
  }
  return p;
}

long Offset(URLInfo const& info, unsigned char const* position) {
  return position == nullptr ? -1 : static_cast<long>(position - info.begin);
}

void Inside(URLInfo const& info, ConstData part) {
  if (part.begin == nullptr && part.end == nullptr) return;
  if (part.begin < info.begin || part.end > info.end || part.begin > part.end)
    Mismatch(info.Text(), "a part lies outside the text");
}

// Runs an accessor: its view must lie in the text, or it raises a URL error.
template <class Accessor>
void Check(URLInfo const& info, Accessor accessor) {
  try {
    Inside(info, accessor());
  } catch (InvalidURLInfoUse const&) {
  }
}

std::string Decoded(ConstData text) {
  std::string out(text.Length(), '\0');
  Buffer buffer(Data(out.data(), out.size()));
  URLEncodedData(text).DecodeInto(buffer);
  out.resize(buffer.Processed().Length());
  return out;
}

std::string DecodedByteByByte(ConstData text) {
  URLDecoder decoder;
  ConstBuffer input(text);
  std::string out;
  unsigned char byte = 0;
  for (;;) {
    Buffer one(Data(&byte, &byte + 1));
    decoder(input, one);
    if (one.Processed().Empty()) break;
    out += static_cast<char>(byte);
  }
  unsigned char tail[2];
  Buffer rest(Data(tail, tail + 2));
  decoder.Flush(rest);
  return out + MakeString(rest.Processed());
}

void CheckScan(ConstData text) {
  URLInfo const info(text);
  Positions const expected = ReadAgain(text);
  if (Offset(info, info.colon) != expected.colon || Offset(info, info.authority) != expected.authority ||
      Offset(info, info.at) != expected.at || Offset(info, info.portColon) != expected.portColon ||
      Offset(info, info.pathStart) != expected.pathStart ||
      Offset(info, info.question) != expected.question || Offset(info, info.hash) != expected.hash)
    Mismatch(text, "positions differ from the second reading");

  Check(info, [&] { return info.Scheme(); });
  Check(info, [&] { return info.SchemeSpecificPart(); });
  Check(info, [&] { return ConstData(info.Authority()); });
  Check(info, [&] { return ConstData(info.UserInfo()); });
  Check(info, [&] { return ConstData(info.Host()); });
  Check(info, [&] { return ConstData(info.Path()); });
  Check(info, [&] { return ConstData(info.Query()); });
  Check(info, [&] { return ConstData(info.Fragment()); });
  Inside(info, info.TextWithoutFragment());
  if (info.HasPort()) {
    ConstData const digits(info.portColon + 1, info.EndOfAuthority());
    unsigned long long value = 0;
    bool valid = true;
    for (unsigned char const* at = digits.begin; at != digits.end && valid; ++at) {
      valid = *at >= '0' && *at <= '9' && (value = value * 10 + (*at - '0')) <= 0xFFFFFFFFull;
    }
    try {
      if (info.Port() != value || !valid) Mismatch(text, "the port is not its digits' value");
    } catch (InvalidPortNumber const&) {
      if (valid) Mismatch(text, "a valid port was refused");
    }
  }
  if (info.HasPath()) {
    URLPath const path = info.Path();
    for (URLPathLoop loop(path, URLPathLoop::AtStart); loop.Unfinished(); ++loop)
      Inside(info, loop.Component().Text());
    for (URLPathLoop loop(path, URLPathLoop::AtEnd); loop.Unfinished(); --loop)
      Inside(info, loop.Component().Text());
  }
}

void CheckCoding(ConstData text) {
  URL const url(text);
  if (!(url == URL(text))) Mismatch(text, "a URL differs from itself");
  std::string const decoded = Decoded(text);
  if (decoded != DecodedByteByByte(text)) Mismatch(text, "streamed decoding differs");
  ByteSet const& set = URLEncoder::Uric();
  std::string encoded(URLEncoder::EncodedLength(text, set), '\0');
  Buffer buffer(Data(encoded.data(), encoded.size()));
  URLEncoder encoder(set);
  encoder(text, buffer);
  encoder.Flush(buffer);
  if (buffer.Remaining() != 0) Mismatch(text, "the encoded length is wrong");
  if (!URLEncoder::IsEncoded(buffer.Processed(), set)) Mismatch(text, "encoding left a byte");
  if (Decoded(buffer.Processed()) != MakeString(text)) Mismatch(text, "encoding does not decode");
}

void CheckArithmetic(ConstData text) {
  if (text.Empty()) return;
  unsigned long const cut = text.begin[0] % text.Length();
  ConstData const relative(text.begin + 1, text.begin + 1 + cut);
  ConstData const base(text.begin + 1 + cut, text.end);
  try {
    URL const resolved = URL(relative) + URL(base);
    if (!URLInfo(resolved).HasScheme()) Mismatch(text, "a resolved URL has no scheme");
  } catch (InvalidURLInfoUse const&) {
  }
  try {
    URL const related = URL(relative) - URL(base);
    (void)URLInfo(related);
  } catch (InvalidURLInfoUse const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::unique_ptr<unsigned char[]> const block(new unsigned char[size == 0 ? 1 : size]);
  for (std::size_t i = 0; i < size; ++i) block[i] = data[i];
  ConstData const text(block.get(), block.get() + size);
  CheckScan(text);
  CheckCoding(text);
  CheckArithmetic(text);
  return 0;
}
