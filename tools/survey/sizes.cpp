#include <cctype>
#include <cstdio>

#include "tools/survey/memory.h"

namespace survey::command {

namespace {
constexpr std::size_t kLargest = static_cast<std::size_t>(-1);
}  // namespace

std::optional<std::size_t> ParseSize(std::string const& text, std::string& problem) {
  std::size_t at = 0;
  unsigned long long number = 0;
  while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) {
    unsigned const digit = static_cast<unsigned>(text[at] - '0');
    if (number > (~0ULL - digit) / 10) {
      problem = "is too large";
      return std::nullopt;
    }
    number = number * 10 + digit;
    ++at;
  }
  if (at == 0) {
    problem = "is not a size (a number of bytes, or with K, M or G)";
    return std::nullopt;
  }
  std::string suffix = text.substr(at);
  for (char& c : suffix) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  unsigned shift = 0;
  if (suffix == "" || suffix == "B") {
    shift = 0;
  } else if (suffix == "K" || suffix == "KIB" || suffix == "KB") {
    shift = 10;
  } else if (suffix == "M" || suffix == "MIB" || suffix == "MB") {
    shift = 20;
  } else if (suffix == "G" || suffix == "GIB" || suffix == "GB") {
    shift = 30;
  } else {
    problem = "is not a size (a number of bytes, or with K, M or G)";
    return std::nullopt;
  }
  if (shift != 0 && number > (static_cast<unsigned long long>(kLargest - 1) >> shift)) {
    problem = "is too large";
    return std::nullopt;
  }
  unsigned long long const bytes = number << shift;
  if (bytes >= kLargest) {
    problem = "is too large";
    return std::nullopt;
  }
  return static_cast<std::size_t>(bytes);
}

std::string SizeText(std::size_t bytes) {
  static constexpr char const* kUnits[] = {"GiB", "MiB", "KiB"};
  static constexpr unsigned kShifts[] = {30, 20, 10};
  char text[64];
  for (std::size_t k = 0; k < 3; ++k) {
    std::size_t const unit = std::size_t{1} << kShifts[k];
    if (bytes >= unit) {
      if (bytes % unit == 0) {
        std::snprintf(text, sizeof text, "%zu %s", bytes / unit, kUnits[k]);
      } else {
        std::snprintf(text, sizeof text, "%.1f %s", static_cast<double>(bytes) / unit, kUnits[k]);
      }
      return text;
    }
  }
  std::snprintf(text, sizeof text, "%zu bytes", bytes);
  return text;
}

}  // namespace survey::command
