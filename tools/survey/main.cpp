// survey: asks questions about this machine in the query language.
//
//   survey 'names of files of folder "/etc"'
//   survey -e 'name of operating system' -e 'now'
//   survey -f queries.txt --json
//   survey            (a prompt, when standard input is a terminal)

#if SURVEY_USE_READLINE
#include <readline/history.h>
#include <readline/readline.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/session/session.h"

namespace {

using survey::client::ClientFolder;
using survey::client::ClientFolderError;
using survey::host::ErrorKindName;
using survey::host::EvaluationError;
using survey::session::Answer;
using survey::session::AnswerValue;
using survey::session::Session;

struct Options {
  std::vector<std::string> queries;  // in the order given, from -e and the arguments
  std::vector<std::string> arguments;
  std::vector<std::string> evals;
  std::vector<std::string> files;
  std::string library;
  std::string client;
  bool types = false;
  bool time = false;
  bool json = false;
  bool list = false;
  double timeout = 0;
};

// The argument parser reads an argument written as "[a,b]" as a list of
// two values. A query is never such a list, so arguments of that shape are
// handed to the parser as numbered stand-ins and put back afterwards.
class BracketedArguments {
 public:
  BracketedArguments(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
      std::string argument = argv[i];
      if (i > 0 && argument.size() >= 2 && argument.front() == '[' && argument.back() == ']') {
        stand_ins_.push_back(std::move(argument));
        argument = kMark + std::to_string(stand_ins_.size() - 1);
      }
      arguments_.push_back(std::move(argument));
    }
    for (std::string& argument : arguments_) pointers_.push_back(argument.data());
  }

  int Count() const { return static_cast<int>(pointers_.size()); }
  char** Vector() { return pointers_.data(); }

  // The original text of `value` if it is a stand-in.
  void Restore(std::string& value) const {
    if (value.rfind(kMark, 0) != 0) return;
    char const* const digits = value.c_str() + std::strlen(kMark);
    char* end = nullptr;
    unsigned long const index = std::strtoul(digits, &end, 10);
    if (end != digits && *end == '\0' && index < stand_ins_.size()) value = stand_ins_[index];
  }
  void Restore(std::vector<std::string>& values) const {
    for (std::string& value : values) Restore(value);
  }

 private:
  static constexpr char const* kMark = "\x1f[survey-argument]";
  std::vector<std::string> stand_ins_;
  std::vector<std::string> arguments_;
  std::vector<char*> pointers_;
};

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

// The user's state folder, where the prompt keeps its history.
std::string StateFolder() {
  char const* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state != '\0') return std::string(state) + "/survey";
  char const* const home = std::getenv("HOME");
  return std::string(home != nullptr ? home : ".") + "/.local/state/survey";
}

void MakeFolders(std::string const& path) {
  for (std::size_t at = 1; at <= path.size(); ++at) {
    if (at == path.size() || path[at] == '/') mkdir(path.substr(0, at).c_str(), 0700);
  }
}

// Reads a query file: one query per line, blank lines and // comments skipped.
std::vector<std::string> ReadQueries(std::istream& in) {
  std::vector<std::string> queries;
  std::string line;
  while (std::getline(in, line)) {
    std::size_t const first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) continue;
    if (line.compare(first, 2, "//") == 0) continue;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    queries.push_back(line);
  }
  return queries;
}

// The error with a caret under the place in the query it points at.
void PrintError(std::string const& query, EvaluationError const& error) {
  std::fprintf(stderr, "error: %s: %s\n", ErrorKindName(error.Kind()), error.what());
  if (error.Position() >= 0 && static_cast<std::size_t>(error.Position()) <= query.size() &&
      query.size() <= 1000 && query.find('\n') == std::string::npos) {
    std::fprintf(stderr, "  %s\n  %s^\n", query.c_str(),
                 std::string(error.Position(), ' ').c_str());
  }
}

nlohmann::json ToJson(std::string const& query, Answer const& answer) {
  nlohmann::json values = nlohmann::json::array();
  for (AnswerValue const& value : answer.values) {
    values.push_back({{"type", value.type}, {"text", value.text}});
  }
  nlohmann::json object = {
      {"query", query}, {"values", values}, {"elapsed_us", answer.elapsed.count()}};
  if (answer.error) {
    object["error"] = {{"kind", ErrorKindName(answer.error->Kind())},
                       {"message", answer.error->what()},
                       {"position", answer.error->Position()}};
  } else {
    object["error"] = nullptr;
  }
  return object;
}

// Runs one query and prints its answer. False when it failed.
bool RunQuery(Session& session, Options const& options, std::string const& query, bool heading) {
  if (options.json) {
    Answer const answer = session.Evaluate(query);
    // Invalid bytes in values are replaced rather than failing the output.
    std::cout
        << ToJson(query, answer).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
        << std::endl;
    return !answer.error;
  }
  if (heading) std::printf("%s\n", query.c_str());
  Answer const answer = session.Evaluate(
      query,
      [&](AnswerValue const& value) {
        if (heading) std::fputs("  ", stdout);
        if (options.types) {
          std::printf("%s: %s\n", value.type.c_str(), value.text.c_str());
        } else {
          std::fwrite(value.text.data(), 1, value.text.size(), stdout);
          std::fputc('\n', stdout);
        }
      },
      /*keep=*/false);
  std::fflush(stdout);
  if (answer.error) PrintError(query, *answer.error);
  if (options.time) {
    std::fprintf(stderr, "time: %lld us\n", static_cast<long long>(answer.elapsed.count()));
  }
  return !answer.error;
}

// The vocabulary: every property, cast and type, optionally only those
// whose phrase contains one of the given words.
int ListVocabulary(Session& session, Options const& options) {
  auto const& registry = session.GetHost().GetRegistry();
  auto matches = [&](std::string const& text) {
    if (options.queries.empty()) return true;
    for (std::string const& word : options.queries) {
      if (text.find(word) != std::string::npos) return true;
    }
    return false;
  };
  nlohmann::json list = nlohmann::json::array();
  for (auto const* entry : registry.Properties()) {
    if (!matches(entry->singular) && !matches(entry->plural)) continue;
    char const* const kind = entry->kind == survey::host::PropertyKind::kSimple     ? "property"
                             : entry->kind == survey::host::PropertyKind::kIterated ? "iterated"
                                                                                    : "aggregate";
    if (options.json) {
      list.push_back({{"singular", entry->singular},
                      {"plural", entry->plural},
                      {"kind", kind},
                      {"index", entry->index},
                      {"object", entry->object},
                      {"result", entry->result}});
    } else {
      std::printf("%s / %s  (%s)%s%s of %s -> %s\n", entry->singular.c_str(), entry->plural.c_str(),
                  kind, entry->index.empty() ? "" : " with ", entry->index.c_str(),
                  entry->object.empty() ? "world" : entry->object.c_str(), entry->result.c_str());
    }
  }
  for (auto const* entry : registry.Casts()) {
    if (!matches(entry->phrase)) continue;
    if (options.json) {
      list.push_back({{"singular", entry->phrase},
                      {"plural", entry->phrase},
                      {"kind", "cast"},
                      {"index", ""},
                      {"object", entry->source},
                      {"result", entry->target}});
    } else {
      std::printf("as %s  (cast) of %s -> %s\n", entry->phrase.c_str(), entry->source.c_str(),
                  entry->target.c_str());
    }
  }
  if (options.json) std::cout << list.dump(1) << std::endl;
  return 0;
}

void OnInterrupt(int) { survey::host::Evaluation::RequestInterrupt(); }

#if !SURVEY_USE_READLINE
// Without line editing: a plain prompt and line.
char* readline(char const* prompt) {
  std::fputs(prompt, stdout);
  std::fflush(stdout);
  std::string line;
  if (!std::getline(std::cin, line)) return nullptr;
  return strdup(line.c_str());
}
void add_history(char const*) {}
int read_history(char const*) { return 0; }
int append_history(int, char const*) { return 0; }
#endif

int Prompt(Session& session, Options const& options) {
  std::string const folder = StateFolder();
  MakeFolders(folder);
  std::string const history = folder + "/history";
  read_history(history.c_str());
  // Ctrl-C abandons the running query; at the prompt readline clears the line.
  struct sigaction action {};
  action.sa_handler = &OnInterrupt;
  sigaction(SIGINT, &action, nullptr);
  bool allGood = true;
  while (char* line = readline("survey> ")) {
    std::string const query = line;
    std::free(line);
    if (query.find_first_not_of(" \t") == std::string::npos) continue;
    add_history(query.c_str());
    append_history(1, history.c_str());
    allGood = RunQuery(session, options, query, false) && allGood;
  }
  std::printf("\n");
  return allGood ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  // The character set and language of the user's environment, as a system
  // agent runs: the library reads the process's locale for the system
  // language. Numbers and times keep the "C" forms.
  std::setlocale(LC_CTYPE, "");
  Options options;
  CLI::App app{"survey: answers questions about this machine, asked in the query language."};
  app.set_version_flag("--version", std::string("survey ") + SURVEY_VERSION);
  CLI::Option* const arguments = app.add_option(
      "query", options.arguments, "queries to answer (with --list: words to look for)");
  // Each -e is one query as it stands: the argument parser's reading of
  // "[a,b]" as a list of two is turned off.
  CLI::Option* const evals =
      app.add_option("-e,--eval", options.evals, "a query to answer (repeatable)")
          ->allow_extra_args(false);
  app.add_option("-f,--file", options.files,
                 "a file of queries, one per line (// comments and blank lines skipped)");
  app.add_flag("--types", options.types, "print each value's type before it");
  app.add_flag("--time", options.time, "print the time each query took");
  app.add_flag("--json", options.json, "print one JSON object per query");
  app.add_flag("--list", options.list, "print the vocabulary (phrases containing WORDS)");
  app.add_option("--timeout", options.timeout, "give up a query after this many seconds")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--library", options.library, "the surveyor library to load");
  app.add_option("--client", options.client,
                 "the client folder (made if missing; default: survey/client in the user's "
                 "state folder, made on first use)");
  BracketedArguments bracketed(argc, argv);
  try {
    app.parse(bracketed.Count(), bracketed.Vector());
  } catch (CLI::ParseError const& error) {
    int const code = app.exit(error);
    return error.get_exit_code() == 0 ? code : 2;
  }
  bracketed.Restore(options.arguments);
  bracketed.Restore(options.evals);
  bracketed.Restore(options.files);
  bracketed.Restore(options.library);
  bracketed.Restore(options.client);
  // Queries from -e and from the arguments, in the order they were given.
  std::size_t nextArgument = 0;
  std::size_t nextEval = 0;
  for (CLI::Option const* option : app.parse_order()) {
    if (option == arguments && nextArgument < options.arguments.size()) {
      options.queries.push_back(options.arguments[nextArgument++]);
    } else if (option == evals && nextEval < options.evals.size()) {
      options.queries.push_back(options.evals[nextEval++]);
    }
  }

  Session session;
  try {
    session.Load(options.library.empty() ? DefaultLibrary() : options.library);
  } catch (EvaluationError const& error) {
    std::fprintf(stderr, "survey: %s\n", error.what());
    return 1;
  }
  // The client folder that the queries' contexts serve. One that is named
  // must be usable now; the default one is made when a query first needs it.
  auto client = std::make_shared<ClientFolder>(options.client.empty() ? ClientFolder::DefaultRoot()
                                                                      : options.client);
  if (!options.client.empty()) {
    try {
      client->Prepare();
    } catch (ClientFolderError const& error) {
      std::fprintf(stderr, "survey: %s\n", error.what());
      return 2;
    }
  }
  session.SetClientFolder(client);
  if (options.timeout > 0) {
    session.SetTimeLimit(std::chrono::microseconds(static_cast<long long>(options.timeout * 1e6)));
  }
  if (options.list) return ListVocabulary(session, options);

  std::vector<std::string> queries = options.queries;
  for (std::string const& file : options.files) {
    std::ifstream in(file);
    if (!in) {
      std::fprintf(stderr, "survey: cannot read %s: %s\n", file.c_str(), std::strerror(errno));
      return 2;
    }
    for (std::string& query : ReadQueries(in)) queries.push_back(std::move(query));
  }
  if (queries.empty() && options.files.empty()) {
    if (isatty(STDIN_FILENO)) return Prompt(session, options);
    queries = ReadQueries(std::cin);
  }
  // Ctrl-C abandons the running query and moves on.
  struct sigaction action {};
  action.sa_handler = &OnInterrupt;
  sigaction(SIGINT, &action, nullptr);
  bool allGood = true;
  bool const heading = queries.size() > 1;
  for (std::string const& query : queries) {
    allGood = RunQuery(session, options, query, heading) && allGood;
  }
  return allGood ? 0 : 1;
}
