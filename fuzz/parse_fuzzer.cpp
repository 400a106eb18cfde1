// Fuzz target for the query language: the lexer and parser on any bytes,
// and the evaluator on short inputs under a time limit. Any crash, hang,
// leak or undefined behaviour is a bug; errors of the language are answers.
//
// The vocabulary is the host's own words and a few phrases registered here
// the way a surveyor library registers its own, chosen to stress the
// longest-match rule: a phrase that holds a keyword ("line starting with")
// and one that starts like a form of the grammar ("number of lines").

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "host/engine/errors.h"
#include "host/engine/registry.h"
#include "host/lang/parser.h"
#include "host/session/session.h"

namespace {

// Longer inputs are parsed only: evaluating them adds little but time.
constexpr std::size_t kLongestEvaluated = 256;

surveyor_string const& Text(void const* value) {
  return *static_cast<surveyor_string const*>(value);
}

// The object itself when it starts with the index, else none.
int LineStartingWith(void* result, void const* index, void const* object, void*, void const*) {
  surveyor_string const& line = Text(object);
  surveyor_string const& start = Text(index);
  if (start.length > line.length ||
      (start.length != 0 && std::memcmp(line.data, start.data, start.length) != 0)) {
    throw NoSuchObject();
  }
  ::new (result) surveyor_string(line);
  return 1;
}

// One more than the number of line breaks.
int NumberOfLines(void* result, void const*, void const* object, void*, void const*) {
  surveyor_string const& text = Text(object);
  long long count = 1;
  for (unsigned long i = 0; i < text.length; ++i) count += text.data[i] == '\n' ? 1 : 0;
  ::new (result) integer{count};
  return 1;
}

void DependsOnNothing(Fingerprinter&) {}

alignas(16) unsigned char lineStartingWith[kRecordHostArea];
alignas(16) unsigned char numberOfLines[kRecordHostArea];

survey::session::Session& TheSession() {
  static survey::session::Session* const session = [] {
    auto* created = new survey::session::Session();
    survey::host::Registry::Scope scope(created->GetHost().GetRegistry());
    Register_Property(lineStartingWith, kRecordHostArea, "line starting with",
                      "lines starting with", "string", "string", "string", &LineStartingWith,
                      nullptr, &DependsOnNothing);
    Register_Property(numberOfLines, kRecordHostArea, "number of lines", "numbers of lines", "",
                      "string", "integer", &NumberOfLines, nullptr, &DependsOnNothing);
    created->SetTimeLimit(std::chrono::milliseconds(20));
    return created;
  }();
  return *session;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  survey::session::Session& session = TheSession();
  std::string_view const query(reinterpret_cast<char const*>(data), size);
  try {
    survey::lang::Parse(query, session.GetHost().GetRegistry());
  } catch (survey::host::EvaluationError const&) {
    // A syntax error or an unknown phrase is an answer, not a failure.
  }
  if (size <= kLongestEvaluated) session.Evaluate(query, nullptr, /*keep=*/false);
  return 0;
}
