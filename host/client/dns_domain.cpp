#include "host/client/dns_domain.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace survey::client {

namespace {

bool Blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The first word of a text; words are separated by blanks.
std::string_view FirstWord(std::string_view text) {
  std::size_t begin = 0;
  while (begin < text.size() && Blank(text[begin])) ++begin;
  std::size_t end = begin;
  while (end < text.size() && !Blank(text[end])) ++end;
  return text.substr(begin, end - begin);
}

std::string WithoutFinalDot(std::string_view name) {
  if (name.size() > 1 && name.back() == '.') name.remove_suffix(1);
  if (name == ".") return std::string();
  return std::string(name);
}

// The text behind `keyword` when the line starts with it and a blank.
bool StartsWithKeyword(std::string_view line, std::string_view keyword, std::string_view& rest) {
  if (line.size() <= keyword.size() || line.substr(0, keyword.size()) != keyword) return false;
  if (!Blank(line[keyword.size()])) return false;
  rest = line.substr(keyword.size());
  return true;
}

}  // namespace

std::string DnsDomainOfResolverConfiguration(std::string_view configuration) {
  std::string domain;
  while (!configuration.empty()) {
    std::size_t const end = configuration.find('\n');
    std::string_view const line = configuration.substr(0, end);
    configuration.remove_prefix(end == std::string_view::npos ? configuration.size() : end + 1);
    std::string_view rest;
    if (StartsWithKeyword(line, "domain", rest) || StartsWithKeyword(line, "search", rest)) {
      // The last of the two keywords wins; a line that names nothing does
      // not count.
      std::string_view const word = FirstWord(rest);
      if (!word.empty()) domain = WithoutFinalDot(word);
    }
  }
  return domain;
}

std::string DnsDomainOfHostName(std::string_view hostName) {
  std::size_t const dot = hostName.find('.');
  if (dot == std::string_view::npos) return std::string();
  return WithoutFinalDot(hostName.substr(dot + 1));
}

std::string MachineDnsDomain(char const* configurationPath) {
  if (char const* const local = std::getenv("LOCALDOMAIN")) {
    std::string const domain = WithoutFinalDot(FirstWord(local));
    if (!domain.empty()) return domain;
  }
  std::ifstream in(configurationPath, std::ios::binary);
  if (in) {
    std::ostringstream text;
    text << in.rdbuf();
    std::string const domain = DnsDomainOfResolverConfiguration(text.str());
    if (!domain.empty()) return domain;
  }
  char name[1024] = {};
  if (gethostname(name, sizeof name - 1) != 0) return std::string();
  return DnsDomainOfHostName(name);
}

}  // namespace survey::client
