// Fuzz target for the reading of a site's banner and the making of a site
// record. For any text (held in a heap block of exactly its size, so that a
// read past it is caught):
//  - at most one kind of site holds: plain, custom, master or operator;
//  - an operator's number is the decimal digits between the two colons, as
//    a plain 64-bit reading folded to 32 bits finds it, refused when a
//    digit comes after the number has passed 4294967194;
//  - the banner written back reads as the same type;
//  - a record made with the text as its URL and its banner keeps the URL's
//    bytes and decodes them without reading past them.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "survey/client/sites.h"

namespace {

[[noreturn]] void Mismatch(std::string const& text, char const* what) {
  std::fprintf(stderr, "mismatch for %zu bytes: %s\n", text.size(), what);
  std::abort();
}

// The operator's number and name by the rule, read apart from the library.
bool OperatorByRule(std::string const& text, std::uint32_t& number, std::string& name) {
  static std::string const banner = ">Operator Action Site:";
  if (text.compare(0, banner.size(), banner) != 0) return false;
  std::size_t const colon = text.find(':', banner.size());
  if (colon == std::string::npos || colon == banner.size()) return false;
  std::uint64_t value = 0;
  for (std::size_t at = banner.size(); at < colon; ++at) {
    if (text[at] < '0' || text[at] > '9') return false;
    if (value > 4294967194u) return false;
    value = (value * 10 + static_cast<std::uint64_t>(text[at] - '0')) & 0xFFFFFFFFu;
  }
  number = static_cast<std::uint32_t>(value);
  name = text.substr(colon + 1);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::unique_ptr<char[]> const text(new char[size + 1]);
  if (size != 0) std::memcpy(text.get(), data, size);
  text[size] = '\0';
  std::string const c(text.get());  // up to the first NUL, as the reader sees it

  SiteType const type(text.get());
  int const kinds = (type.custom ? 1 : 0) + (type.action && !type.isOperator ? 1 : 0) +
                    (type.isOperator ? 1 : 0);
  if (kinds > 1) Mismatch(c, "more than one kind");
  if (type.isOperator && !type.action) Mismatch(c, "an operator site that is not an action site");

  std::uint32_t number = 0;
  std::string name;
  bool const isOperator = OperatorByRule(c, number, name);
  if (isOperator != type.isOperator) Mismatch(c, "operator or not");
  if (isOperator && (number != type.GetSequenceNumber() || name != type.GetOperatorName().CString())) {
    Mismatch(c, "the operator's number or name");
  }
  if (type.custom && c.compare(0, 13, ">Custom Site:") != 0) Mismatch(c, "custom without banner");

  SiteType const again(type.AsString().CString());
  if (!(again == type)) Mismatch(c, "the banner written back");

  SurveySiteDescription const description{"/f", "n", text.get(), text.get(), 1, 2, 3,
                                          static_cast<unsigned long>(size % 5), 4, nullptr, 0,
                                          5, 6};
  SiteMap* const record = SurveyNewSite(&description, nullptr);
  if (record == nullptr) Mismatch(c, "no record");
  ConstData const url = record->locator.TextWithFragment();
  if (url.Length() != c.size() || (url.Length() != 0 && std::memcmp(url.begin, c.data(), c.size()) != 0)) {
    Mismatch(c, "the URL's bytes");
  }
  if (record->SiteLocatorDecoded().GetLength() > c.size()) Mismatch(c, "a longer decoding");
  SurveyDeleteSite(record);
  return 0;
}
