#include "survey/foundation/url.h"

#include <cstring>

#include "survey/foundation/ascii.h"
#include "survey/foundation/checked.h"

namespace {

// Letters, digits and the given punctuation.
ByteSet AlphanumericAnd(char const* others) {
  ByteSet set = Ascii::Alphanumeric();
  for (char const* at = others; *at != '\0'; ++at) set.Add(static_cast<unsigned char>(*at));
  return set;
}

// The bytes a scheme is made of.
ByteSet const& SchemeSet() {
  static ByteSet const set = AlphanumericAnd("+-.");
  return set;
}

bool IsHexDigit(unsigned char byte) { return Ascii::HexDigits().Contains(byte); }

unsigned char HexValue(unsigned char high, unsigned char low) {
  return static_cast<unsigned char>(Ascii::HexDigitValue(high) * 16 + Ascii::HexDigitValue(low));
}

// An upper-case hex digit.
unsigned char UpperHexDigit(unsigned value) {
  return Ascii::uppercaseTable[static_cast<unsigned char>(Ascii::HexDigit(value & 0xFu))];
}

// The next decoded byte at `at`, moving it past what it took. A "%" that
// two hex digits do not follow stands for itself, as in URLDecoder.
unsigned char NextDecodedByte(unsigned char const*& at, unsigned char const* end) {
  if (*at == '%' && end - at >= 3 && IsHexDigit(at[1]) && IsHexDigit(at[2])) {
    unsigned char const value = HexValue(at[1], at[2]);
    at += 3;
    return value;
  }
  return *at++;
}

void Put(Buffer& output, unsigned char byte) { *output.current++ = byte; }

}  // namespace

// ---------------------------------------------------------------------------
// Percent coding

void URLEncodedData::DecodeInto(Buffer& output) const {
  URLDecoder decoder;
  ConstBuffer input(*this);
  decoder(input, output);
  if (!input.Finished()) throw DataOverflow();
  decoder.Flush(output);
}

bool operator==(URLEncodedData const& left, URLEncodedData const& right) {
  unsigned char const* l = left.begin;
  unsigned char const* r = right.begin;
  while (l != left.end && r != right.end) {
    if (NextDecodedByte(l, left.end) != NextDecodedByte(r, right.end)) return false;
  }
  return l == left.end && r == right.end;
}

void URLEncoder::operator()(ConstBuffer& input, Buffer& output) {
  for (;;) {
    if (state_ == 2) {
      if (output.Full()) return;
      Put(output, UpperHexDigit(pending_ >> 4));
      state_ = 1;
    }
    if (state_ == 1) {
      if (output.Full()) return;
      Put(output, UpperHexDigit(pending_));
      state_ = 0;
    }
    if (input.Finished() || output.Full()) return;
    unsigned char const byte = *input.current++;
    if (unescaped_->Contains(byte)) {
      Put(output, byte);
    } else {
      Put(output, '%');
      pending_ = byte;
      state_ = 2;
    }
  }
}

void URLEncoder::Flush(Buffer& output) {
  if (output.Remaining() < state_) throw DataOverflow();
  if (state_ == 2) Put(output, UpperHexDigit(pending_ >> 4));
  if (state_ >= 1) Put(output, UpperHexDigit(pending_));
  state_ = 0;
}

unsigned long URLEncoder::EncodedLength(ConstData data, ByteSet const& unescaped) {
  unsigned long length = data.Length();
  for (unsigned char const* at = data.begin; at != data.end; ++at) {
    if (!unescaped.Contains(*at)) length += 2;
  }
  return length;
}

bool URLEncoder::IsEncoded(ConstData data, ByteSet const& unescaped) {
  for (unsigned char const* at = data.begin; at != data.end; ++at) {
    if (*at != '%' && !unescaped.Contains(*at)) return false;
  }
  return true;
}

ByteSet const& URLEncoder::Unreserved() {
  static ByteSet const set = AlphanumericAnd("!'()*-._~");
  return set;
}
ByteSet const& URLEncoder::PChar() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.:=@_~");
  return set;
}
ByteSet const& URLEncoder::PCharNoColon() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.=@_~");
  return set;
}
ByteSet const& URLEncoder::RelPChar() { return PCharNoColon(); }
ByteSet const& URLEncoder::UricNoSlash() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.:;=?@_~");
  return set;
}
ByteSet const& URLEncoder::Uric() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-./:;=?@_~");
  return set;
}
ByteSet const& URLEncoder::Regname() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.:;=@_~");
  return set;
}
ByteSet const& URLEncoder::UserInfo() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.:;=_~");
  return set;
}
ByteSet const& URLEncoder::RelSegment() {
  static ByteSet const set = AlphanumericAnd("!$&'()*+,-.;=@_~");
  return set;
}
ByteSet const& URLEncoder::RelSegmentPlusPercent() {
  static ByteSet const set = AlphanumericAnd("!$%&'()*+,-.;=@_~");
  return set;
}
ByteSet const& URLEncoder::RelPCharPlusPercent() {
  static ByteSet const set = AlphanumericAnd("!$%&'()*+,-.=@_~");
  return set;
}
ByteSet const& URLEncoder::PlainTextNoPercent() {
  static ByteSet const set = [] {
    ByteSet plain = Ascii::PlainText();
    plain.Remove('%');
    return plain;
  }();
  return set;
}

void URLDecoder::operator()(ConstBuffer& input, Buffer& output) {
  for (;;) {
    if (state_ == 3) {
      if (output.Full()) return;
      Put(output, held_);
      state_ = 0;
    }
    if (input.Finished()) return;
    unsigned char const byte = *input.current;
    if (state_ == 0) {
      if (byte == '%') {
        state_ = 1;
      } else {
        if (output.Full()) return;
        Put(output, byte);
      }
      ++input.current;
    } else if (state_ == 1) {
      if (IsHexDigit(byte)) {
        held_ = byte;
        state_ = 2;
        ++input.current;
      } else {
        // A "%" without a digit stands for itself; the byte is looked at
        // again from the idle state.
        if (output.Full()) return;
        Put(output, '%');
        state_ = 0;
      }
    } else {
      if (IsHexDigit(byte)) {
        if (output.Full()) return;
        Put(output, HexValue(held_, byte));
        state_ = 0;
        ++input.current;
      } else {
        // "%" and one digit: both stand for themselves, the digit maybe in
        // the next call.
        if (output.Full()) return;
        Put(output, '%');
        state_ = 3;
      }
    }
  }
}

void URLDecoder::Flush(Buffer& output) {
  unsigned long const needed = state_ == 2 ? 2 : state_ == 0 ? 0 : 1;
  if (output.Remaining() < needed) throw DataOverflow();
  if (state_ == 1 || state_ == 2) Put(output, '%');
  if (state_ == 2 || state_ == 3) Put(output, held_);
  state_ = 0;
}

Stringy URLToStringy(ConstData text) {
  if (text.Empty()) return Stringy();
  unsigned long const length = text.Length();
  unsigned char* decoded = new unsigned char[length];
  Buffer output(Data(decoded, length));
  try {
    URLEncodedData(text).DecodeInto(output);
    Stringy result(decoded, output.Processed().Length());
    delete[] decoded;
    return result;
  } catch (...) {
    delete[] decoded;
    throw;
  }
}

// ---------------------------------------------------------------------------
// URL

namespace {

unsigned char* CopyText(ConstData text) {
  if (text.Empty()) return nullptr;
  unsigned char* copy = new unsigned char[text.Length()];
  std::memcpy(copy, text.begin, text.Length());
  return copy;
}

}  // namespace

URL::URL(ConstData text) : text_(CopyText(text)), length_(text.Length()) {}

URL::URL(URL const& other) : text_(CopyText(other.TextWithFragment())), length_(other.length_) {}

URL& URL::operator=(URL const& other) {
  if (this != &other) *this = other.TextWithFragment();
  return *this;
}

URL& URL::operator=(URL&& other) noexcept {
  if (this != &other) {
    delete[] text_;
    text_ = other.text_;
    length_ = other.length_;
    other.text_ = nullptr;
    other.length_ = 0;
  }
  return *this;
}

URL& URL::operator=(ConstData text) {
  unsigned char* copy = CopyText(text);
  delete[] text_;
  text_ = copy;
  length_ = text.Length();
  return *this;
}

bool URL::operator==(URL const& other) const {
  if (TextWithFragment() == other.TextWithFragment()) return true;
  return URLInfo(*this) == URLInfo(other);
}

URL& URL::operator+=(URL const& base) { return *this = *this + base; }

URL& URL::operator-=(URL const& base) { return *this = *this - base; }

// ---------------------------------------------------------------------------
// Paths

ConstData URLPath::RelativePart() const {
  return IsAbsolute() ? ConstData(begin + 1, end) : ConstData(begin, end);
}

namespace {
unsigned char const kDots[] = {'.', '.'};
}  // namespace

// Built from constant views so that they are ready before any other unit's
// static initialiser runs.
URLPathComponent const URLPathComponent::dot(ConstData(kDots, kDots + 1),
                                             ConstData(kDots + 1, kDots + 1));
URLPathComponent const URLPathComponent::dotDot(ConstData(kDots, kDots + 2),
                                                ConstData(kDots + 2, kDots + 2));

URLPathComponent::URLPathComponent(ConstData text) {
  unsigned char const* semicolon = text.begin;
  while (semicolon != text.end && *semicolon != ';') ++semicolon;
  name_ = ConstData(text.begin, semicolon);
  parameter_ = ConstData(semicolon, text.end);
}

bool operator==(URLPathComponent const& left, URLPathComponent const& right) {
  return left.Name() == right.Name() && left.Parameter() == right.Parameter();
}

URLPathLoop::URLPathLoop(URLPath const& path, Where where) : remaining_(path.RelativePart()) {
  if (remaining_.Empty()) {
    finished_ = true;
    return;
  }
  if (where == AtStart) {
    unsigned char const* slash = remaining_.begin;
    while (slash != remaining_.end && *slash != '/') ++slash;
    Stand(ConstData(remaining_.begin, slash));
  } else {
    unsigned char const* start = remaining_.end;
    while (start != remaining_.begin && start[-1] != '/') --start;
    Stand(ConstData(start, remaining_.end));
  }
}

void URLPathLoop::Stand(ConstData text) {
  current_ = text;
  component_ = URLPathComponent(text);
}

URLPathLoop& URLPathLoop::operator++() {
  if (finished_) return *this;
  if (current_.end == remaining_.end) {
    finished_ = true;
    return *this;
  }
  unsigned char const* const start = current_.end + 1;
  unsigned char const* slash = start;
  while (slash != remaining_.end && *slash != '/') ++slash;
  Stand(ConstData(start, slash));
  return *this;
}

URLPathLoop& URLPathLoop::operator--() {
  if (finished_) return *this;
  if (current_.begin == remaining_.begin) {
    finished_ = true;
    return *this;
  }
  unsigned char const* const stop = current_.begin - 1;
  unsigned char const* start = stop;
  while (start != remaining_.begin && start[-1] != '/') --start;
  Stand(ConstData(start, stop));
  return *this;
}

// ---------------------------------------------------------------------------
// URLInfo

URLInfo::URLInfo(URL const& url) : URLInfo(url.TextWithFragment()) {}

URLInfo::URLInfo(ConstData text) : begin(text.begin), end(text.end) { Scan(); }

void URLInfo::Scan() {
  colon = authority = at = portColon = pathStart = question = hash = nullptr;
  for (unsigned char const* p = begin; p != end; ++p) {
    switch (*p) {
      case '#':
        hash = p;
        return;
      case '/':
        if (question != nullptr) break;
        if (p == begin || (colon != nullptr && p == colon + 1)) {
          pathStart = p;
        } else if (authority == nullptr) {
          // A second "/" right behind a path's first makes the "//" of an
          // authority.
          if (pathStart != nullptr && p - 1 == pathStart) {
            authority = pathStart;
            pathStart = nullptr;
          }
        } else if (pathStart == nullptr) {
          pathStart = p;
        }
        break;
      case ':':
        if (pathStart != nullptr || question != nullptr) break;
        if (authority != nullptr) {
          if (portColon == nullptr) portColon = p;
        } else if (colon == nullptr) {
          colon = p;
        }
        break;
      case '?':
        if (question != nullptr) break;
        // In an opaque URL a "?" is part of the opaque text.
        if (colon != nullptr && authority == nullptr && pathStart == nullptr) break;
        question = p;
        break;
      case '@':
        if (authority != nullptr && pathStart == nullptr && question == nullptr) {
          at = p;
          portColon = nullptr;
        }
        break;
      default:
        break;
    }
  }
}

bool URLInfo::IsOpaque() const {
  return colon != nullptr && authority == nullptr && pathStart == nullptr;
}

bool URLInfo::HasRelativePath() const { return colon == nullptr && authority == nullptr; }

bool URLInfo::HasPath() const { return pathStart != nullptr || HasRelativePath(); }

unsigned char const* URLInfo::EndOfAuthority() const {
  if (pathStart != nullptr) return pathStart;
  if (question != nullptr) return question;
  if (hash != nullptr) return hash;
  return end;
}

bool URLInfo::HasPort() const {
  return portColon != nullptr && portColon + 1 != EndOfAuthority();
}

ConstData URLInfo::TextWithoutFragment() const {
  return ConstData(begin, hash != nullptr ? hash : end);
}

ConstData URLInfo::Scheme() const {
  if (colon == nullptr) throw NoSchemeError();
  return ConstData(begin, colon);
}

ConstData URLInfo::SchemeSpecificPart() const {
  if (colon == nullptr) throw NoSchemeError();
  return ConstData(colon + 1, hash != nullptr ? hash : end);
}

URLEncodedData URLInfo::Authority() const {
  if (authority == nullptr) throw NoAuthorityError();
  return URLEncodedData(ConstData(authority + 2, EndOfAuthority()));
}

URLEncodedData URLInfo::UserInfo() const {
  if (at == nullptr) throw NoUserInfoError();
  return URLEncodedData(ConstData(authority + 2, at));
}

URLEncodedData URLInfo::Host() const {
  if (authority == nullptr) throw NoHostError();
  unsigned char const* const first = at != nullptr ? at + 1 : authority + 2;
  unsigned char const* const last = portColon != nullptr ? portColon : EndOfAuthority();
  return URLEncodedData(ConstData(first, last));
}

std::uint32_t URLInfo::Port() const {
  if (!HasPort()) throw NoPortError();
  std::uint32_t port = 0;
  for (unsigned char const* p = portColon + 1; p != EndOfAuthority(); ++p) {
    if (!CanMultiply(port, 10u)) throw InvalidPortNumber();
    port *= 10;
    if (!Ascii::Numeric().Contains(*p)) throw InvalidPortNumber();
    std::uint32_t const digit = static_cast<std::uint32_t>(*p - '0');
    if (!CanAdd(port, digit)) throw InvalidPortNumber();
    port += digit;
  }
  return port;
}

URLPath URLInfo::Path() const {
  if (!HasPath()) throw NoPathError();
  unsigned char const* const first = pathStart != nullptr ? pathStart : begin;
  unsigned char const* const last = question != nullptr ? question : hash != nullptr ? hash : end;
  return URLPath(ConstData(first, last));
}

URLEncodedData URLInfo::Query() const {
  if (question == nullptr) throw NoQueryError();
  return URLEncodedData(ConstData(question + 1, hash != nullptr ? hash : end));
}

URLEncodedData URLInfo::Fragment() const {
  if (hash == nullptr) throw NoFragmentError();
  return URLEncodedData(ConstData(hash + 1, end));
}

bool operator==(URLInfo const& left, URLInfo const& right) {
  if (left.HasScheme() != right.HasScheme()) return false;
  if (left.HasScheme() && !Ascii::EqualIgnoringCase(left.Scheme(), right.Scheme())) return false;
  if (left.IsOpaque() || right.IsOpaque()) {
    return left.IsOpaque() && right.IsOpaque() &&
           URLEncodedData(left.SchemeSpecificPart()) == URLEncodedData(right.SchemeSpecificPart());
  }
  if (left.HasAuthority() != right.HasAuthority()) return false;
  if (left.HasAuthority() && left.Authority() != right.Authority()) return false;
  if (left.HasPath() != right.HasPath()) return false;
  if (left.HasPath() &&
      URLEncodedData(ConstData(left.Path())) != URLEncodedData(ConstData(right.Path()))) {
    return false;
  }
  if (left.HasQuery() != right.HasQuery()) return false;
  if (left.HasQuery() && left.Query() != right.Query()) return false;
  if (left.HasFragment() != right.HasFragment()) return false;
  return !left.HasFragment() || left.Fragment() == right.Fragment();
}

// ---------------------------------------------------------------------------
// Arithmetic

namespace {

URLPath PathOrEmpty(URLInfo const& url) { return url.HasPath() ? url.Path() : URLPath(); }

void RequireAbsolute(URLInfo const& url) {
  if (!url.HasScheme()) throw NeedAbsolute();
  if (url.IsOpaque()) throw OpaqueError();
}

// The path of a relative reference merged with the base's: the leading "."
// and ".." of the reference are taken off, each ".." taking one component
// off the base's end; more ".." than the base has components take nothing
// more. What is left of the reference follows the base's remaining
// components, without its "." components.
void MergePaths(URLBuilder& builder, URLPath const& relative, URLPath const& base) {
  builder.MakePathAbsolute();
  URLPathLoop reference(relative, URLPathLoop::AtStart);
  URLPathLoop baseEnd(base, URLPathLoop::AtEnd);
  while (reference.Unfinished()) {
    if (reference.Component() == URLPathComponent::dot) {
      ++reference;
    } else if (reference.Component() == URLPathComponent::dotDot) {
      ++reference;
      --baseEnd;
    } else {
      break;
    }
  }
  if (baseEnd.Unfinished()) {
    unsigned char const* const stop = baseEnd.Component().Text().begin;
    for (URLPathLoop kept(base, URLPathLoop::AtStart);
         kept.Unfinished() && kept.Component().Text().begin != stop; ++kept) {
      builder.AddPathComponent(kept.Component());
    }
  }
  if (reference.Finished()) {
    builder.AddPathComponent(URLPathComponent());
    return;
  }
  for (; reference.Unfinished(); ++reference) {
    if (reference.Component() != URLPathComponent::dot)
      builder.AddPathComponent(reference.Component());
  }
}

// Every byte but ":", which in a relative path without its "/" at the start
// would be read as the end of a scheme.
ByteSet const& AllButColon() {
  static ByteSet const set = [] {
    ByteSet all;
    all.AddAll();
    all.Remove(':');
    return all;
  }();
  return set;
}

// A component of a relative path: its encoded text with ":" escaped.
void AddRelativeComponent(URLBuilder& builder, URLPathComponent const& component) {
  builder.StartPathComponent();
  builder.Append(component.Text(), AllButColon());
}

}  // namespace

URL operator+(URLInfo const& relative, URLInfo const& base) {
  if (relative.HasScheme()) return URL(relative.Text());
  RequireAbsolute(base);

  URLBuilder builder;
  builder.AddScheme(URLEncodedData(base.Scheme()));
  if (relative.HasAuthority()) {
    builder.AddAuthority(relative.Authority());
  } else if (base.HasAuthority()) {
    builder.AddAuthority(base.Authority());
  }

  bool const emptyReference = relative.TextWithoutFragment().Empty();
  if (!relative.HasPath()) {
    // An authority without a path: no path is written.
  } else if (relative.pathStart != nullptr) {
    builder.AddPath(URLEncodedData(ConstData(relative.Path())));
  } else if (emptyReference) {
    if (base.HasPath()) builder.AddPath(URLEncodedData(ConstData(base.Path())));
  } else {
    MergePaths(builder, relative.Path(), PathOrEmpty(base));
  }

  if (relative.HasQuery()) {
    builder.AddQuery(relative.Query());
  } else if (emptyReference && base.HasQuery()) {
    builder.AddQuery(base.Query());
  }
  if (relative.HasFragment()) {
    builder.AddFragment(relative.Fragment());
  } else if (relative.Text().Empty() && base.HasFragment()) {
    builder.AddFragment(base.Fragment());
  }
  return builder.ReleaseResult();
}

URL operator+(URL const& relative, URL const& base) {
  return URLInfo(relative) + URLInfo(base);
}

URL operator-(URLInfo const& target, URLInfo const& base) {
  RequireAbsolute(target);
  RequireAbsolute(base);
  if (target.Scheme() != base.Scheme()) return URL(target.Text());

  URLBuilder builder;
  if (target.HasAuthority() &&
      (!base.HasAuthority() || ConstData(target.Authority()) != ConstData(base.Authority()))) {
    builder.AddAuthority(target.Authority());
    if (target.HasPath()) builder.AddPath(URLEncodedData(ConstData(target.Path())));
  } else {
    URLPath const targetPath = PathOrEmpty(target);
    URLPath const basePath = PathOrEmpty(base);
    if (ConstData(targetPath) == ConstData(basePath)) {
      builder.MakePathRelative();
    } else {
      URLPathLoop from(targetPath, URLPathLoop::AtStart);
      URLPathLoop over(basePath, URLPathLoop::AtStart);
      if (from.Finished() || over.Finished() || from.Component() != over.Component()) {
        // A path that starts with "//" would read as an authority: it keeps
        // the authority before it.
        if (from.Unfinished() && from.Component().Text().Empty() && target.HasAuthority())
          builder.AddAuthority(target.Authority());
        builder.MakePathAbsolute();
        for (; from.Unfinished(); ++from) builder.AddPathComponent(from.Component());
      } else {
        builder.MakePathRelative();
        // Both loops step over the components they share. The base keeps
        // its last component, which a reference replaces, and the target
        // keeps its last, so that something of it is written.
        while (!over.AtLast() && !from.AtLast() && from.Component() == over.Component()) {
          ++from;
          ++over;
        }
        bool wrote = false;
        for (; !over.AtLast(); ++over) {
          builder.AddPathComponent(URLPathComponent::dotDot);
          wrote = true;
        }
        // An empty first component would leave no path at all.
        if (!wrote && from.Component().Text().Empty())
          builder.AddPathComponent(URLPathComponent::dot);
        for (; from.Unfinished(); ++from) AddRelativeComponent(builder, from.Component());
      }
    }
  }

  if (target.HasQuery() && target.TextWithoutFragment() != base.TextWithoutFragment())
    builder.AddQuery(target.Query());
  if (target.HasFragment() && target.Text() != base.Text()) builder.AddFragment(target.Fragment());
  return builder.ReleaseResult();
}

URL operator-(URL const& target, URL const& base) { return URLInfo(target) - URLInfo(base); }

// ---------------------------------------------------------------------------
// URLBuilder

URLBuilder::URLBuilder() : output_(Data(inline_, kInlineSize)) {}

URLBuilder::~URLBuilder() { delete[] heap_; }

void URLBuilder::MakeRoomFor(unsigned long count) {
  unsigned long const room = output_.Remaining();
  if (room >= count) return;
  unsigned long const used = output_.Processed().Length();
  unsigned long const capacity = static_cast<unsigned long>(output_.end - output_.start);
  unsigned long const shortfall = count - room;
  unsigned long const growth = shortfall > used / 2 ? shortfall : used / 2;
  unsigned long const size = capacity + growth;
  unsigned char* larger = new unsigned char[size];
  if (used != 0) std::memcpy(larger, output_.start, used);
  delete[] heap_;
  heap_ = larger;
  output_ = Buffer(Data(larger, size));
  output_.current = larger + used;
}

void URLBuilder::Reset() {
  delete[] heap_;
  heap_ = nullptr;
  output_ = Buffer(Data(inline_, kInlineSize));
  schemeWritten_ = userInfoWritten_ = hostWritten_ = portWritten_ = false;
  authorityWritten_ = authorityEnded_ = pathAbsolute_ = pathStarted_ = false;
  pathHasComponent_ = queryHasElement_ = fragmentWritten_ = prefixBeforePath_ = false;
}

URL URLBuilder::ReleaseResult() {
  unsigned long const used = output_.Processed().Length();
  URL result;
  if (heap_ != nullptr) {
    result = URL(heap_, used);
    heap_ = nullptr;
  } else {
    result = URL(output_.Processed());
  }
  Reset();
  return result;
}

void URLBuilder::AppendLiteral(ConstData text) {
  MakeRoomFor(text.Length());
  output_ << text;
}

void URLBuilder::Append(ConstData text, ByteSet const& unescaped) {
  if (output_.Remaining() < 3 * text.Length())
    MakeRoomFor(URLEncoder::EncodedLength(text, unescaped));
  URLEncoder encoder(unescaped);
  ConstBuffer input(text);
  encoder(input, output_);
  encoder.Flush(output_);
}

void URLBuilder::Append(char character) {
  MakeRoomFor(1);
  Put(output_, static_cast<unsigned char>(character));
}

void URLBuilder::AddScheme(ConstData scheme) {
  Append(scheme, SchemeSet());
  Append(':');
  schemeWritten_ = prefixBeforePath_ = true;
}

void URLBuilder::AddScheme(URLEncodedData scheme) {
  AppendLiteral(scheme);
  Append(':');
  schemeWritten_ = prefixBeforePath_ = true;
}

void URLBuilder::AddAuthority(ConstData authority) {
  AppendLiteral(ConstData("//"));
  Append(authority, URLEncoder::Regname());
  authorityWritten_ = authorityEnded_ = prefixBeforePath_ = true;
}

void URLBuilder::AddAuthority(URLEncodedData authority) {
  AppendLiteral(ConstData("//"));
  AppendLiteral(authority);
  authorityWritten_ = authorityEnded_ = prefixBeforePath_ = true;
}

void URLBuilder::AddUserInfo(ConstData userInfo) {
  AppendLiteral(ConstData("//"));
  Append(userInfo, URLEncoder::UserInfo());
  userInfoWritten_ = true;
}

void URLBuilder::AddUserInfo(URLEncodedData userInfo) {
  AppendLiteral(ConstData("//"));
  AppendLiteral(userInfo);
  userInfoWritten_ = true;
}

void URLBuilder::AddHost(ConstData host) {
  if (!userInfoWritten_) AppendLiteral(ConstData("//"));
  AppendLiteral(host);
  hostWritten_ = authorityWritten_ = authorityEnded_ = prefixBeforePath_ = true;
}

void URLBuilder::AddPort(std::uint32_t port) {
  unsigned char digits[10];
  unsigned count = 0;
  do {
    digits[count++] = static_cast<unsigned char>('0' + port % 10);
    port /= 10;
  } while (port != 0);
  Append(':');
  while (count != 0) Append(static_cast<char>(digits[--count]));
  portWritten_ = true;
}

void URLBuilder::MakePathAbsolute() {
  if (!pathAbsolute_) Append('/');
  pathAbsolute_ = pathStarted_ = true;
}

void URLBuilder::MakePathRelative() { pathAbsolute_ = false; }

void URLBuilder::StartPathComponent() {
  // Behind an authority a path is absolute, so its first component needs
  // its "/" too.
  if (pathHasComponent_ || (authorityEnded_ && !pathAbsolute_)) Append('/');
  if (authorityEnded_) pathAbsolute_ = true;
  pathHasComponent_ = pathStarted_ = true;
}

ByteSet const& URLBuilder::ComponentSet() const {
  return prefixBeforePath_ || pathAbsolute_ ? URLEncoder::PChar() : URLEncoder::RelPChar();
}

void URLBuilder::AddPath(ConstData path) {
  ConstData rest = path;
  if (URLPath(path).IsAbsolute()) {
    MakePathAbsolute();
    rest = ConstData(path.begin + 1, path.end);
  }
  if (rest.Empty()) return;
  unsigned char const* start = rest.begin;
  for (unsigned char const* at = rest.begin;; ++at) {
    if (at == rest.end || *at == '/') {
      AddPathComponentName(ConstData(start, at));
      if (at == rest.end) break;
      start = at + 1;
    }
  }
}

void URLBuilder::AddPath(URLEncodedData path) {
  bool const absolute = URLPath(path).IsAbsolute();
  if (!absolute && authorityEnded_ && !path.Empty()) Append('/');
  AppendLiteral(path);
  pathStarted_ = true;
  if (absolute || authorityEnded_) pathAbsolute_ = true;
  if (path.Length() > (absolute ? 1u : 0u)) pathHasComponent_ = true;
}

void URLBuilder::AddPathComponent(ConstData name) { AddPathComponentName(name); }

void URLBuilder::AddPathComponent(URLPathComponent const& component) {
  StartPathComponent();
  AppendLiteral(component.Text());
}

void URLBuilder::AddPathComponentName(ConstData name) {
  ByteSet const& set = ComponentSet();
  StartPathComponent();
  Append(name, set);
}

void URLBuilder::AddPathComponentName(URLEncodedData name) {
  StartPathComponent();
  AppendLiteral(name);
}

void URLBuilder::AddPathComponentParameter(ConstData parameter) {
  Append(';');
  Append(parameter, ComponentSet());
}

void URLBuilder::AddPathComponentParameter(URLEncodedData parameter) {
  Append(';');
  AppendLiteral(parameter);
}

void URLBuilder::AddQuery(ConstData query) {
  Append('?');
  Append(query, URLEncoder::Uric());
}

void URLBuilder::AddQuery(URLEncodedData query) {
  Append('?');
  AppendLiteral(query);
}

void URLBuilder::AddQueryElement(ConstData name, ConstData value) {
  Append(queryHasElement_ ? '&' : '?');
  AppendInQuery(name);
  Append('=');
  AppendInQuery(value);
  queryHasElement_ = true;
}

void URLBuilder::AppendInQuery(ConstData text) {
  unsigned char const* start = text.begin;
  for (unsigned char const* at = text.begin; at != text.end; ++at) {
    if (*at == ' ') {
      Append(ConstData(start, at), Ascii::Alphanumeric());
      Append('+');
      start = at + 1;
    }
  }
  Append(ConstData(start, text.end), Ascii::Alphanumeric());
}

void URLBuilder::AddFragment(ConstData fragment) {
  Append('#');
  Append(fragment, URLEncoder::Uric());
  fragmentWritten_ = true;
}

void URLBuilder::AddFragment(URLEncodedData fragment) {
  Append('#');
  AppendLiteral(fragment);
  fragmentWritten_ = true;
}

void URLBuilder::AddOpaquePart(ConstData part) { Append(part, URLEncoder::UricNoSlash()); }

void URLBuilder::AddOpaquePart(URLEncodedData part) { AppendLiteral(part); }

// ---------------------------------------------------------------------------
// File URLs

bool IsLocalFile(URLInfo const& url) {
  return url.HasScheme() && Ascii::EqualIgnoringCase(url.Scheme(), ConstData("file")) &&
         url.HasAuthority();
}

FileLocation ResolveFileURL(URLInfo const& url) {
  URLPath const path = PathOrEmpty(url);
  Stringy joined;
  if (path.IsAbsolute()) joined += '/';
  for (URLPathLoop loop(path, URLPathLoop::AtStart); loop.Unfinished(); ++loop) {
    joined += URLToStringy(loop.Component().Text());
    if (!loop.AtLast()) joined += '/';
  }
  return FileLocation(joined.CString());
}

URL MakeFileURL(FileLocation const& location) {
  URLBuilder builder;
  builder.AddScheme(ConstData("file"));
  builder.AddAuthority(ConstData());
  builder.MakePathAbsolute();
  ConstData const path(location.FullPathName());
  ConstData const rest = URLPath(path).IsAbsolute() ? ConstData(path.begin + 1, path.end) : path;
  if (!rest.Empty()) {
    unsigned char const* start = rest.begin;
    for (unsigned char const* at = rest.begin;; ++at) {
      if (at == rest.end || *at == '/') {
        builder.AddPathComponentName(ConstData(start, at));
        if (at == rest.end) break;
        start = at + 1;
      }
    }
  }
  return builder.ReleaseResult();
}

URL MakeRelativeURLFromFileName(ConstData name) {
  URLBuilder builder;
  builder.MakePathRelative();
  builder.AddPathComponentName(name);
  return builder.ReleaseResult();
}

URL MakeRelativeURLFromDirectoryName(ConstData name) {
  URLBuilder builder;
  builder.MakePathRelative();
  builder.AddPathComponentName(name);
  builder.AddPathComponent(URLPathComponent());
  return builder.ReleaseResult();
}

URL AddFileName(URL const& url, ConstData name) { return MakeRelativeURLFromFileName(name) + url; }

URL AddDirectoryName(URL const& url, ConstData name) {
  return MakeRelativeURLFromDirectoryName(name) + url;
}
