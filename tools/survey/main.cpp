// survey: asks the surveyor library questions about this machine.
//
// This first version answers the environment's questions through the host's
// property calls; the query language comes on top of the same calls.

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/engine/host.h"

namespace {

using survey::host::ErrorKindName;
using survey::host::Evaluation;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::Stream;
using survey::host::Value;

constexpr char kUsage[] =
    "usage: survey [--library PATH] COMMAND\n"
    "\n"
    "Commands:\n"
    "  variables        every variable of the environment, as \"name = value\"\n"
    "  variable NAME    the value of one variable of the environment\n"
    "  text NAME        the text form of one variable of the environment\n"
    "\n"
    "Options:\n"
    "  --library PATH   the surveyor library to load (default: libSurvey.so beside\n"
    "                   this program, or ../lib/libSurvey.so)\n"
    "  --help           this text\n"
    "  --version        the version of survey\n";

// The folder this program lies in.
std::string ProgramFolder() {
  char path[PATH_MAX];
  ssize_t const length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return ".";
  path[length] = '\0';
  char* const slash = std::strrchr(path, '/');
  if (slash == nullptr) return ".";
  *slash = '\0';
  return path;
}

std::string DefaultLibrary() {
  std::string const folder = ProgramFolder();
  std::string const beside = folder + "/libSurvey.so";
  if (access(beside.c_str(), R_OK) == 0) return beside;
  return folder + "/../lib/libSurvey.so";
}

// Prints every value of a stream, one per line.
void PrintAll(Host const& host, Stream& stream) {
  Value value;
  while (stream.Next(value)) std::printf("%s\n", host.Text(value).c_str());
}

// The one value of a stream; "no value" or "more than one value" otherwise.
Value Single(Stream& stream, std::string const& what) {
  Value first;
  if (!stream.Next(first)) {
    throw EvaluationError(survey::host::ErrorKind::kNoValue, what + " has no value");
  }
  Value second;
  if (stream.Next(second)) {
    throw EvaluationError(survey::host::ErrorKind::kMoreThanOneValue,
                          what + " has more than one value");
  }
  return first;
}

int Run(std::string const& library, std::vector<std::string> const& words) {
  Host host;
  host.Load(library);
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation();
  Evaluation::Scope scope(*evaluation);
  auto world = host.Property("environment", Value(), Value());
  Value const environment = Single(*world, "environment");
  if (words[0] == "variables" && words.size() == 1) {
    auto variables = host.Property("variables", Value(), environment);
    PrintAll(host, *variables);
    return 0;
  }
  if ((words[0] == "variable" || words[0] == "text") && words.size() == 2) {
    auto found = host.Property("variable", host.MakeString(words[1]), environment);
    Value const variable = Single(*found, "variable \"" + words[1] + "\" of environment");
    Value const answer =
        words[0] == "text" ? host.Cast("string", variable)
                           : Single(*host.Property("value", Value(), variable), "value");
    std::printf("%s\n", host.Text(answer).c_str());
    return 0;
  }
  std::fputs(kUsage, stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string library;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    std::string const argument = argv[i];
    if (argument == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (argument == "--version") {
      std::printf("survey %s\n", SURVEY_VERSION);
      return 0;
    }
    if (argument == "--library") {
      if (i + 1 >= argc) {
        std::fputs("survey: --library needs a path\n", stderr);
        return 2;
      }
      library = argv[++i];
      continue;
    }
    words.push_back(argument);
  }
  if (words.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  if (library.empty()) library = DefaultLibrary();
  try {
    return Run(library, words);
  } catch (EvaluationError const& error) {
    std::fprintf(stderr, "survey: %s: %s\n", ErrorKindName(error.Kind()), error.what());
    return 1;
  }
}
