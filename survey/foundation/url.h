// URLs in the generic form: scheme, "//" authority (user info, host, port),
// path, query and fragment.
//
// `URL` owns its text. `URLInfo` finds the parts of a text in one pass and
// borrows it, allocating nothing. `URLBuilder` writes a URL part by part,
// escaping each part with the bytes that may stand in it unescaped, in 256
// inline bytes for ordinary URLs. `URLEncoder` and `URLDecoder` are the two
// streaming percent filters. `relative + base` resolves a relative reference
// and `target - base` makes one.
#pragma once

#include <cstdint>

#include "survey/foundation/byte_set.h"
#include "survey/foundation/data.h"
#include "survey/foundation/data_stream.h"
#include "survey/foundation/diagnostics.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/stringy.h"

// ---------------------------------------------------------------------------
// Errors. Unlike the library's other exceptions, these carry their message.

class InvalidURLInfoUse : public ExceptionPL {
 public:
  explicit InvalidURLInfoUse(char const* message) : message_(message) {}
  char const* Message() const { return message_; }

 private:
  char const* message_;
};

class NoSchemeError : public InvalidURLInfoUse {
 public:
  NoSchemeError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Scheme.") {}
};
class NoAuthorityError : public InvalidURLInfoUse {
 public:
  NoAuthorityError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Authority.") {}
};
class NoUserInfoError : public InvalidURLInfoUse {
 public:
  NoUserInfoError() : InvalidURLInfoUse("URLInfo: Attempt to use missing UserInfo.") {}
};
class NoHostError : public InvalidURLInfoUse {
 public:
  NoHostError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Host.") {}
};
class NoPortError : public InvalidURLInfoUse {
 public:
  NoPortError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Port.") {}
};
class InvalidPortNumber : public InvalidURLInfoUse {
 public:
  InvalidPortNumber() : InvalidURLInfoUse("URLInfo: Invalid port number.") {}
};
class NoPathError : public InvalidURLInfoUse {
 public:
  NoPathError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Path.") {}
};
class NoQueryError : public InvalidURLInfoUse {
 public:
  NoQueryError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Query.") {}
};
class NoFragmentError : public InvalidURLInfoUse {
 public:
  NoFragmentError() : InvalidURLInfoUse("URLInfo: Attempt to use missing Fragment.") {}
};
class NeedAbsolute : public InvalidURLInfoUse {
 public:
  NeedAbsolute()
      : InvalidURLInfoUse("URLInfo: Attempt to add/subtract to/from a non-absolute URL.") {}
};
class OpaqueError : public InvalidURLInfoUse {
 public:
  OpaqueError() : InvalidURLInfoUse("URLInfo: Attempt to add/subtract to/from an opaque URL.") {}
};

// ---------------------------------------------------------------------------
// Percent coding.

// Text that is already percent-encoded.
class URLEncodedData : public ConstData {
 public:
  URLEncodedData() = default;
  explicit URLEncodedData(ConstData data) : ConstData(data) {}
  explicit URLEncodedData(char const* text) : ConstData(text) {}

  // Decodes into the buffer; DataOverflow when it fills.
  void DecodeInto(Buffer& output) const;
};

// Equal when the decoded texts are equal: "%41" equals "A".
bool operator==(URLEncodedData const& left, URLEncodedData const& right);
inline bool operator!=(URLEncodedData const& left, URLEncodedData const& right) {
  return !(left == right);
}

// Copies the bytes of a set and writes every other byte as "%" and two
// upper-case hex digits. An escape cut by a full output is kept and finished
// by the next call or by Flush.
class URLEncoder : public DataFilter {
 public:
  explicit URLEncoder(ByteSet const& unescaped) : unescaped_(&unescaped) {}

  using DataFilter::operator();
  void operator()(ConstBuffer& input, Buffer& output) override;
  // Writes the rest of a cut escape; DataOverflow if it does not fit.
  void Flush(Buffer& output);

  // The data's length plus 2 for each byte outside the set.
  static unsigned long EncodedLength(ConstData data, ByteSet const& unescaped);
  // Whether each byte is in the set or is "%".
  static bool IsEncoded(ConstData data, ByteSet const& unescaped);

  // The sets of bytes that pass unescaped: letters and digits, and the
  // punctuation named in each.
  static ByteSet const& Unreserved();             // !'()*-._~
  static ByteSet const& PChar();                  // !$&'()*+,-.:=@_~
  static ByteSet const& PCharNoColon();           // !$&'()*+,-.=@_~
  static ByteSet const& RelPChar();               // !$&'()*+,-.=@_~
  static ByteSet const& UricNoSlash();            // !$&'()*+,-.:;=?@_~
  static ByteSet const& Uric();                   // !$&'()*+,-./:;=?@_~
  static ByteSet const& Regname();                // !$&'()*+,-.:;=@_~
  static ByteSet const& UserInfo();               // !$&'()*+,-.:;=_~
  static ByteSet const& RelSegment();             // !$&'()*+,-.;=@_~
  static ByteSet const& RelSegmentPlusPercent();  // !$%&'()*+,-.;=@_~
  static ByteSet const& RelPCharPlusPercent();    // !$%&'()*+,-.=@_~
  // Every printable ASCII byte, space included, but "%".
  static ByteSet const& PlainTextNoPercent();

 private:
  ByteSet const* unescaped_;
  unsigned char pending_ = 0;
  // 0 idle, 2 the first hex digit is due, 1 the second.
  unsigned char state_ = 0;
};

// Turns "%" and two hex digits into one byte. A "%" that no hex digit
// follows, or a "%" and one digit that no second digit follows, is copied as
// it stands: wrong escapes pass through.
class URLDecoder : public DataFilter {
 public:
  using DataFilter::operator();
  void operator()(ConstBuffer& input, Buffer& output) override;
  // Writes what a partial escape or a full output left pending; DataOverflow
  // if it does not fit.
  void Flush(Buffer& output);

 private:
  // 0 idle, 1 "%" seen, 2 "%" and a hex digit seen (held), 3 the held byte
  // waits to be written.
  unsigned char state_ = 0;
  unsigned char held_ = 0;
};

// The decoded text as a Stringy; empty input gives the empty value.
Stringy URLToStringy(ConstData text);

// ---------------------------------------------------------------------------
// The owned URL.

class URLInfo;

class URL {
 public:
  URL() = default;
  explicit URL(ConstData text);
  URL(URL const& other);
  URL(URL&& other) noexcept : text_(other.text_), length_(other.length_) {
    other.text_ = nullptr;
    other.length_ = 0;
  }
  ~URL() { delete[] text_; }

  URL& operator=(URL const& other);
  URL& operator=(URL&& other) noexcept;
  URL& operator=(ConstData text);

  // The whole text, fragment included.
  ConstData TextWithFragment() const { return ConstData(text_, length_); }
  bool IsEmpty() const { return length_ == 0; }

  // Equal texts, or else equal by the parts (see URLInfo's operator==).
  bool operator==(URL const& other) const;
  bool operator!=(URL const& other) const { return !(*this == other); }

  // This reference resolved against a base: this = this + base.
  URL& operator+=(URL const& base);
  // This URL made relative to a base: this = this - base.
  URL& operator-=(URL const& base);

 private:
  friend class URLBuilder;
  // Takes over an array from new[] of `length` bytes.
  URL(unsigned char* text, unsigned long length) : text_(text), length_(length) {}

  unsigned char* text_ = nullptr;
  unsigned long length_ = 0;
};

// ---------------------------------------------------------------------------
// Paths.

class URLPath : public ConstData {
 public:
  URLPath() = default;
  explicit URLPath(ConstData path) : ConstData(path) {}

  // Not empty, and the first byte is "/".
  bool IsAbsolute() const { return !Empty() && *begin == '/'; }
  // The path without its leading "/", if it has one.
  ConstData RelativePart() const;
};

// One "/"-separated piece of a path, split at its first ";": the name runs
// up to it, the parameter from it (";" included) to the end.
class URLPathComponent {
 public:
  URLPathComponent() = default;
  explicit URLPathComponent(ConstData text);
  explicit URLPathComponent(char const* text) : URLPathComponent(ConstData(text)) {}
  constexpr URLPathComponent(ConstData name, ConstData parameter)
      : name_(name), parameter_(parameter) {}

  ConstData Name() const { return name_; }
  ConstData Parameter() const { return parameter_; }
  // Name and parameter together, as they stand in the path.
  ConstData Text() const { return ConstData(name_.begin, parameter_.end); }

  static URLPathComponent const dot;
  static URLPathComponent const dotDot;

 private:
  ConstData name_;
  ConstData parameter_;
};

// Same name and same parameter, byte for byte.
bool operator==(URLPathComponent const& left, URLPathComponent const& right);
inline bool operator!=(URLPathComponent const& left, URLPathComponent const& right) {
  return !(left == right);
}

// Walks the components of a path, leading "/" left off. A path that ends in
// "/" has an empty last component; an empty path has none.
class URLPathLoop {
 public:
  enum Where { AtStart, AtEnd };

  URLPathLoop(URLPath const& path, Where where);

  // To the component behind; past the last, finished.
  URLPathLoop& operator++();
  // To the component before; before the first, finished.
  URLPathLoop& operator--();

  bool Finished() const { return finished_; }
  bool Unfinished() const { return !finished_; }
  URLPathComponent const& Component() const { return component_; }
  // Whether the present component is the path's last.
  bool AtLast() const { return !finished_ && current_.end == remaining_.end; }
  // Whether the present component is the path's first.
  bool AtFirst() const { return !finished_ && current_.begin == remaining_.begin; }

 private:
  void Stand(ConstData text);

  ConstData remaining_;
  ConstData current_;
  URLPathComponent component_;
  bool finished_ = false;
};

// ---------------------------------------------------------------------------
// The scanner.

class URLInfo {
 public:
  explicit URLInfo(URL const& url);
  explicit URLInfo(ConstData text);

  // Finds the parts anew.
  void Scan();

  // A scheme, and neither authority nor path: "s:a/b".
  bool IsOpaque() const;
  // Neither scheme nor authority.
  bool HasRelativePath() const;
  bool HasPath() const;
  bool HasScheme() const { return colon != nullptr; }
  bool HasAuthority() const { return authority != nullptr; }
  bool HasUserInfo() const { return at != nullptr; }
  bool HasPort() const;
  bool HasQuery() const { return question != nullptr; }
  bool HasFragment() const { return hash != nullptr; }

  ConstData Text() const { return ConstData(begin, end); }
  ConstData TextWithoutFragment() const;
  ConstData Scheme() const;
  ConstData SchemeSpecificPart() const;
  URLEncodedData Authority() const;
  // Where the authority ends: the path, the query, the fragment or the end.
  unsigned char const* EndOfAuthority() const;
  URLEncodedData UserInfo() const;
  URLEncodedData Host() const;
  std::uint32_t Port() const;
  URLPath Path() const;
  URLEncodedData Query() const;
  URLEncodedData Fragment() const;

  unsigned char const* begin;
  unsigned char const* end;
  // Each null when absent.
  unsigned char const* colon = nullptr;      // ends the scheme
  unsigned char const* authority = nullptr;  // the first "/" of "//"
  unsigned char const* at = nullptr;         // ends the user info
  unsigned char const* portColon = nullptr;
  unsigned char const* pathStart = nullptr;
  unsigned char const* question = nullptr;
  unsigned char const* hash = nullptr;
};

// Equal schemes without regard to case; opaque URLs by their scheme-specific
// parts, others by authority, path, query and fragment, each by presence and
// then by decoded value.
bool operator==(URLInfo const& left, URLInfo const& right);
inline bool operator!=(URLInfo const& left, URLInfo const& right) { return !(left == right); }

// `relative` resolved against an absolute `base`.
URL operator+(URLInfo const& relative, URLInfo const& base);
URL operator+(URL const& relative, URL const& base);
// `target` as a reference relative to `base`.
URL operator-(URLInfo const& target, URLInfo const& base);
URL operator-(URL const& target, URL const& base);

// ---------------------------------------------------------------------------
// The builder. Parts are written in the order of the calls. Each text part
// comes in two forms: ConstData is escaped here, URLEncodedData is taken as
// already encoded.

class URLBuilder {
 public:
  URLBuilder();
  URLBuilder(URLBuilder const&) = delete;
  URLBuilder& operator=(URLBuilder const&) = delete;
  ~URLBuilder();

  // The text, then ":".
  void AddScheme(ConstData scheme);
  void AddScheme(URLEncodedData scheme);
  // "//" and the text.
  void AddAuthority(ConstData authority);
  void AddAuthority(URLEncodedData authority);
  // "//" and the text.
  void AddUserInfo(ConstData userInfo);
  void AddUserInfo(URLEncodedData userInfo);
  // "//" unless user info was written, then the host as it stands. No "@"
  // is written between user info and host.
  void AddHost(ConstData host);
  // ":" and the decimal digits.
  void AddPort(std::uint32_t port);

  // "/" unless the path is absolute already.
  void MakePathAbsolute();
  void MakePathRelative();
  // A whole path: "/" at its start makes it absolute, and each piece
  // between "/" is a component.
  void AddPath(ConstData path);
  void AddPath(URLEncodedData path);
  void AddPathComponent(ConstData name);
  void AddPathComponent(URLPathComponent const& component);
  // "/" when the path already has a component.
  void StartPathComponent();
  void AddPathComponentName(ConstData name);
  void AddPathComponentName(URLEncodedData name);
  // ";" and the text.
  void AddPathComponentParameter(ConstData parameter);
  void AddPathComponentParameter(URLEncodedData parameter);

  // "?" and the text.
  void AddQuery(ConstData query);
  void AddQuery(URLEncodedData query);
  // "?" before the first element and "&" before the others, then
  // "name=value", each written by AppendInQuery.
  void AddQueryElement(ConstData name, ConstData value);
  // Blanks as "+", and every byte but letters and digits escaped.
  void AppendInQuery(ConstData text);
  // "#" and the text.
  void AddFragment(ConstData fragment);
  void AddFragment(URLEncodedData fragment);
  void AddOpaquePart(ConstData part);
  void AddOpaquePart(URLEncodedData part);

  // The bytes as they stand.
  void AppendLiteral(ConstData text);
  // The bytes, those outside the set escaped.
  void Append(ConstData text, ByteSet const& unescaped);
  void Append(char character);

  // Makes sure `count` bytes are free, moving to a larger heap buffer if
  // they are not.
  void MakeRoomFor(unsigned long count);
  // Forgets the text and the marks.
  void Reset();
  // The text as a URL; the builder starts again empty.
  URL ReleaseResult();

  // The text written so far.
  ConstData Text() const { return output_.Processed(); }
  // Whether the text has left the inline buffer.
  bool OnHeap() const { return heap_ != nullptr; }

  static constexpr unsigned long kInlineSize = 256;

 private:
  // Components written in an absolute path, or behind a scheme or an
  // authority, may hold ":"; a first component of a relative path may not.
  ByteSet const& ComponentSet() const;

  unsigned char inline_[kInlineSize];
  unsigned char* heap_ = nullptr;
  Buffer output_;
  bool schemeWritten_ = false;
  bool userInfoWritten_ = false;
  bool hostWritten_ = false;
  bool portWritten_ = false;
  bool authorityWritten_ = false;
  // An authority was written, so the path behind it must start with "/".
  bool authorityEnded_ = false;
  bool pathAbsolute_ = false;
  // The path has been started (by a "/" or a component).
  bool pathStarted_ = false;
  bool pathHasComponent_ = false;
  bool queryHasElement_ = false;
  bool fragmentWritten_ = false;
  bool prefixBeforePath_ = false;
};

// ---------------------------------------------------------------------------
// File URLs.

// The scheme is "file", in any case, and there is an authority.
bool IsLocalFile(URLInfo const& url);
// The decoded components of the path joined by "/", behind a "/" when the
// path is absolute.
FileLocation ResolveFileURL(URLInfo const& url);
// "file", an empty authority, and the path's "/"-separated parts as the
// components of an absolute path.
URL MakeFileURL(FileLocation const& location);
// A relative path of one component, the name.
URL MakeRelativeURLFromFileName(ConstData name);
// The same with an empty component behind it: "name/".
URL MakeRelativeURLFromDirectoryName(ConstData name);
// The name as a relative URL resolved against `url`.
URL AddFileName(URL const& url, ConstData name);
URL AddDirectoryName(URL const& url, ConstData name);
