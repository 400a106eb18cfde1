// survey: asks questions about this machine in the query language.
//
//   survey 'names of files of folder "/etc"'
//   survey -e 'name of operating system' -e 'now'
//   survey -f queries.txt --json
//   survey            (a prompt, when standard input is a terminal)

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <clocale>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/session/session.h"
#include "tools/survey/client_commands.h"
#include "tools/survey/memory.h"
#include "tools/survey/output.h"
#include "tools/survey/prompt.h"
#include "tools/survey/vocabulary.h"

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
  bool csv = false;
  bool list = false;
  bool markdown = false;
  std::vector<std::string> describe;
  std::string timeout;  // as given; see TimeLimit
  std::string maxMemory;  // as given; see ParseSize
  std::size_t memoryBudget = survey::command::kDefaultMaxMemory;
  std::string dmiDump;    // a table dump that stands for the machine's table
  std::string dmiMemory;  // a memory image that stands for physical memory
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

// The time limit given to --timeout, in whole microseconds (at least one):
// a finite number of seconds, zero for none. Empty, after a message on
// standard error, when the text is not such a number.
std::optional<std::chrono::microseconds> TimeLimit(std::string const& text) {
  constexpr double kMostSeconds = 1e9;  // some thirty years; more is no limit of use
  char* end = nullptr;
  errno = 0;
  double const seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) || end == text.c_str() ||
      *end != '\0' || std::isnan(seconds)) {
    std::fprintf(stderr, "survey: --timeout: \"%s\" is not a number of seconds\n", text.c_str());
    return std::nullopt;
  }
  if (seconds < 0) {
    std::fprintf(stderr, "survey: --timeout: %s must be positive (or 0 for no limit)\n",
                 text.c_str());
    return std::nullopt;
  }
  if (std::isinf(seconds) || seconds > kMostSeconds) {
    std::fprintf(stderr,
                 "survey: --timeout: %s is too large: at most %.0f seconds (or 0 for no limit)\n",
                 text.c_str(), kMostSeconds);
    return std::nullopt;
  }
  return std::chrono::microseconds(static_cast<long long>(std::ceil(seconds * 1e6)));
}

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

// The query as the terminal is to show it, from `column` on: tabs become the
// spaces up to the next tab stop, control characters and bytes that are not
// UTF-8 become escapes (\x1b), so that nothing in a query reaches the
// terminal as a command. `columns` gets the display column at which each
// byte of the text starts, and one past the end; a character counts as the
// columns wcwidth gives it, or one when the locale does not know it.
std::string Shown(std::string_view text, std::size_t column, std::vector<std::size_t>* columns) {
  std::string shown;
  auto escape = [&](unsigned value, int digits) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, digits == 2 ? "\\x%02x" : "\\u%04x", value);
    shown += buffer;
    column += std::strlen(buffer);
  };
  std::size_t at = 0;
  while (at < text.size()) {
    unsigned char const byte = static_cast<unsigned char>(text[at]);
    std::size_t const startColumn = column;
    if (byte == '\t') {
      std::size_t const stop = (column / 8 + 1) * 8;
      shown.append(stop - column, ' ');
      column = stop;
      ++at;
    } else if (byte < 0x20 || byte == 0x7f) {
      escape(byte, 2);
      ++at;
    } else if (byte < 0x80) {
      shown += static_cast<char>(byte);
      ++column;
      ++at;
    } else {
      // A UTF-8 sequence: its length from the first byte, its continuation
      // bytes checked, overlong forms and surrogates refused.
      std::size_t const length = byte >= 0xc2 && byte <= 0xdf   ? 2
                                 : byte >= 0xe0 && byte <= 0xef ? 3
                                 : byte >= 0xf0 && byte <= 0xf4 ? 4
                                                                : 0;
      char32_t code = length == 2 ? byte & 0x1f : length == 3 ? byte & 0x0f : byte & 0x07;
      bool valid = length != 0 && at + length <= text.size();
      for (std::size_t i = 1; valid && i < length; ++i) {
        unsigned char const next = static_cast<unsigned char>(text[at + i]);
        valid = (next & 0xc0) == 0x80;
        code = (code << 6) | (next & 0x3f);
      }
      valid = valid && !(length == 3 && code < 0x800) && !(length == 4 && code < 0x10000) &&
              code <= 0x10ffff && !(code >= 0xd800 && code <= 0xdfff);
      if (!valid) {
        escape(byte, 2);
        ++at;
      } else if (code < 0xa0) {
        // The second set of control characters.
        escape(static_cast<unsigned>(code), 4);
        at += length;
      } else {
        shown.append(text.substr(at, length));
        int const width = wcwidth(static_cast<wchar_t>(code));
        column += width >= 0 ? static_cast<std::size_t>(width) : 1;
        at += length;
      }
    }
    if (columns != nullptr) columns->resize(at, startColumn);
  }
  if (columns != nullptr) columns->push_back(column);
  return shown;
}

// The error with a caret under the place in the query it points at: the
// line of the query that holds that place, as the terminal shows it.
void PrintError(std::string const& query, EvaluationError const& error) {
  std::fprintf(stderr, "error: %s: %s\n", ErrorKindName(error.Kind()), error.what());
  if (error.Position() < 0 || static_cast<std::size_t>(error.Position()) > query.size()) return;
  std::size_t const position = static_cast<std::size_t>(error.Position());
  std::size_t const newline = position == 0 ? std::string::npos : query.rfind('\n', position - 1);
  std::size_t const begin = newline == std::string::npos ? 0 : newline + 1;
  std::size_t end = query.find('\n', position);
  if (end == std::string::npos) end = query.size();
  std::string_view const line = std::string_view(query).substr(begin, end - begin);
  if (line.size() > 1000) return;
  constexpr std::size_t kIndent = 2;
  std::vector<std::size_t> columns;
  std::string const shown = Shown(line, kIndent, &columns);
  std::fprintf(stderr, "%*s%s\n%*s^\n", static_cast<int>(kIndent), "", shown.c_str(),
               static_cast<int>(columns[position - begin]), "");
}

// The reason the first write to standard output that failed gave, or 0.
int gWriteError = 0;

// Notes the reason of a write to standard output that has just failed.
void NoteWriteError() {
  if (gWriteError == 0 && std::ferror(stdout) != 0) gWriteError = errno != 0 ? errno : EIO;
}

// Flushes standard output and tells whether all that was written reached
// it. When it did not, says why on standard error, except for a reader
// that went away (a closed pipe): a filter that stops reading, as `head`
// does, is no error to report. Where SIGPIPE is not ignored, that case ends
// the program before this.
bool OutputWritten() {
  if (std::fflush(stdout) != 0) NoteWriteError();
  if (gWriteError == 0 && std::ferror(stdout) == 0 && std::cout) return true;
  if (gWriteError != EPIPE) {
    std::fprintf(stderr, "survey: cannot write to standard output: %s\n",
                 std::strerror(gWriteError != 0 ? gWriteError : EIO));
  }
  return false;
}

// The error of a query that ran into its memory bound, in place of the
// allocator's failure that the evaluation reports.
void NameMemoryLimit(Answer& answer, Options const& options) {
  if (!answer.error) return;
  answer.error = EvaluationError(
      survey::host::ErrorKind::kInterrupted,
      "memory limit of " + survey::command::SizeText(options.memoryBudget) + " reached",
      answer.error->Position());
}

// Runs one query and prints its answer. False when it failed.
bool RunQuery(Session& session, Options const& options, std::string const& query, bool heading) {
  if (options.json) {
    Answer answer;
    {
      survey::command::MemoryLimit const limit(options.memoryBudget);
      answer = session.Evaluate(query);
      if (limit.Reached()) NameMemoryLimit(answer, options);
    }
    // Invalid bytes in values are replaced rather than failing the output.
    std::cout << survey::command::JsonAnswer(query, answer)
                     .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
              << '\n';
    if (std::fflush(stdout) != 0) NoteWriteError();
    return !answer.error;
  }
  if (heading && !options.csv) std::printf("%s\n", Shown(query, 0, nullptr).c_str());
  Answer answer;
  {
    survey::command::MemoryLimit const limit(options.memoryBudget);
    answer = session.Evaluate(
        query,
        [&](AnswerValue const& value) {
          if (options.csv) {
            std::string const row = survey::command::CsvRow(value);
            std::fwrite(row.data(), 1, row.size(), stdout);
            NoteWriteError();
            return;
          }
          if (heading) std::fputs("  ", stdout);
          if (options.types) {
            std::printf("%s: %s\n", value.type.c_str(), value.text.c_str());
          } else {
            std::fwrite(value.text.data(), 1, value.text.size(), stdout);
            std::fputc('\n', stdout);
          }
          NoteWriteError();
        },
        /*keep=*/false);
    if (limit.Reached()) NameMemoryLimit(answer, options);
  }
  if (std::fflush(stdout) != 0) NoteWriteError();
  if (answer.error) PrintError(query, *answer.error);
  if (options.time) {
    std::fprintf(stderr, "time: %lld us\n", static_cast<long long>(answer.elapsed.count()));
  }
  return !answer.error;
}

// The vocabulary: every type, property, cast and operator, or those whose
// phrase or name contains one of the given words; as text, JSON or the
// Markdown page of the documents.
int ListVocabulary(Session& session, Options const& options) {
  auto const& registry = session.GetHost().GetRegistry();
  survey::command::VocabularyFilter const filter{options.queries};
  if (options.markdown) {
    std::fputs(survey::command::VocabularyMarkdown(registry).c_str(), stdout);
  } else if (options.json) {
    std::cout << survey::command::VocabularyJson(registry, filter).dump(1) << '\n';
  } else {
    std::fputs(survey::command::VocabularyText(registry, filter).c_str(), stdout);
  }
  NoteWriteError();
  return 0;
}

// Every form of each phrase asked for. Exit status 1 when one is no phrase.
int DescribePhrases(Session& session, Options const& options) {
  auto const& registry = session.GetHost().GetRegistry();
  int status = 0;
  for (std::string const& phrase : options.describe) {
    if (options.json) {
      nlohmann::json const forms = survey::command::DescribeJson(registry, phrase);
      std::cout << forms.dump(1) << '\n';
      if (forms["forms"].empty()) status = 1;
      continue;
    }
    std::string const text = survey::command::DescribeText(registry, phrase);
    if (text.empty()) {
      std::fprintf(stderr, "survey: no phrase \"%s\"; survey --list shows every phrase\n",
                   phrase.c_str());
      status = 1;
      continue;
    }
    std::fputs(text.c_str(), stdout);
  }
  NoteWriteError();
  return status;
}

void OnInterrupt(int) { survey::host::Evaluation::RequestInterrupt(); }

// Points the library's DMI sources at the file of --dmi-dump or
// --dmi-memory, before any query takes the snapshot. The other sources are
// left out, so that the answers come from that file or from nothing. The
// texts live as long as the options, which outlive every query.
bool PointDmiSources(Session& session, Options const& options) {
  char const* const names[] = {"dmiDevicePath", "dmiFirmwareFolder", "dmiDumpFile"};
  char const** pointers[3];
  for (int i = 0; i < 3; ++i) {
    pointers[i] = static_cast<char const**>(session.GetHost().Symbol(names[i]));
    if (pointers[i] == nullptr) {
      std::fprintf(stderr, "survey: the surveyor library has no DMI sources to point at a file\n");
      return false;
    }
  }
  std::string const& file = options.dmiDump.empty() ? options.dmiMemory : options.dmiDump;
  if (access(file.c_str(), R_OK) != 0) {
    std::fprintf(stderr, "survey: %s: %s\n", file.c_str(), std::strerror(errno));
    return false;
  }
  *pointers[0] = options.dmiDump.empty() ? options.dmiMemory.c_str() : "";
  *pointers[1] = "";
  *pointers[2] = options.dmiDump.empty() ? "" : options.dmiDump.c_str();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // The character set and language of the user's environment, as a system
  // agent runs: the library reads the process's locale for the system
  // language. Numbers and times keep the "C" forms.
  std::setlocale(LC_CTYPE, "");
  if (auto const status = survey::tools::RunClientCommandIfAsked(argc, argv, DefaultLibrary())) {
    return *status;
  }
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
  CLI::Option* const json = app.add_flag(
      "--json", options.json,
      "print one JSON object per query: each value with its type, its text and its value "
      "(integers and booleans as JSON numbers and booleans, tuples as arrays)");
  app.add_flag("--csv", options.csv,
               "print one CSV row per value (RFC 4180), a tuple's items as its columns")
      ->excludes(json);
  app.add_flag("--list", options.list,
               "print the vocabulary: types, properties, iterated and aggregate properties, "
               "casts and operators (those containing WORDS); with --json as JSON");
  app.add_flag("--markdown", options.markdown,
               "with --list: the whole vocabulary as the Markdown page docs/vocabulary.md");
  app.add_option("--describe", options.describe,
                 "print every form of a phrase, with an example of each (repeatable)")
      ->type_name("PHRASE")
      ->allow_extra_args(false);
  app.add_option("--timeout", options.timeout,
                 "give up a query after this many seconds (0, the default: no limit)")
      ->type_name("SECONDS");
  app.add_option("--max-memory", options.maxMemory,
                 "end a query that takes more memory than this: bytes, or with K, M, G "
                 "(default 512M; 0: no limit)")
      ->type_name("SIZE");
  app.add_option("--library", options.library, "the surveyor library to load");
  CLI::Option* const dmiDump = app.add_option(
      "--dmi-dump", options.dmiDump,
      "answer DMI questions from this table dump (entry point at offset 0, table where "
      "it says, at offset 32 in the usual dumps) instead of the machine's table");
  dmiDump->type_name("FILE");
  app.add_option("--dmi-memory", options.dmiMemory,
                 "answer DMI questions from this image of physical memory (the table found "
                 "through its anchor in 0xF0000-0xFFFFF) instead of the machine's table")
      ->type_name("FILE")
      ->excludes(dmiDump);
  app.add_option("--client", options.client,
                 "the client folder (made if missing; default: survey/client in the user's "
                 "state folder, made on first use)");
  app.footer(
      "Options end at --: every argument after it is a query, even one that starts with -,\n"
      "as in: survey -- '-1 + 2'. With no query and no file, queries are read from standard\n"
      "input, one per line (-f - does the same), or at a prompt on a terminal.\n"
      "At the prompt, Tab completes phrases and keywords, a query goes on over several lines\n"
      "while a parenthesis or a quote is open, and help and quit do what they say.\n"
      "Each query may take --max-memory (512M unless given) more than the command held\n"
      "before it; a query that needs more ends with \"memory limit of 512 MiB reached\" and\n"
      "the next one runs.\n"
      "Exit status: 0 when every query was answered, 1 when one ended with an error or the\n"
      "answers could not be written (or --describe named no phrase), 2 when the command\n"
      "line is wrong.");
  app.footer(app.get_footer() + "\n\n" + survey::tools::ClientCommandsHelp());
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
  bracketed.Restore(options.timeout);
  bracketed.Restore(options.maxMemory);
  bracketed.Restore(options.describe);
  if (app.count("--max-memory") > 0) {
    std::string problem;
    std::optional<std::size_t> const budget = survey::command::ParseSize(options.maxMemory, problem);
    if (!budget) {
      std::fprintf(stderr, "survey: --max-memory: \"%s\" %s\n", options.maxMemory.c_str(),
                   problem.c_str());
      return 2;
    }
    options.memoryBudget = *budget;
  }
  std::chrono::microseconds timeLimit{0};
  if (!options.timeout.empty() || app.count("--timeout") > 0) {
    std::optional<std::chrono::microseconds> const limit = TimeLimit(options.timeout);
    if (!limit) return 2;
    timeLimit = *limit;
  }
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
    return 2;
  }
  if (!options.dmiDump.empty() || !options.dmiMemory.empty()) {
    if (!PointDmiSources(session, options)) return 2;
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
  session.SetTimeLimit(timeLimit);
  if (options.list) {
    int const status = ListVocabulary(session, options);
    return OutputWritten() ? status : 1;
  }
  if (!options.describe.empty()) {
    int const status = DescribePhrases(session, options);
    return OutputWritten() ? status : 1;
  }

  std::vector<std::string> queries = options.queries;
  for (std::string const& file : options.files) {
    if (file == "-") {
      for (std::string& query : ReadQueries(std::cin)) queries.push_back(std::move(query));
      continue;
    }
    // A folder opens as a stream too, and reads as nothing. It is told by
    // opening it as one, which also works where a 32-bit stat cannot hold
    // the folder's numbers.
    int const folder = open(file.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
      close(folder);
      std::fprintf(stderr, "survey: cannot read %s: a folder, not a file of queries\n",
                   file.c_str());
      return 2;
    }
    std::ifstream in(file);
    if (!in) {
      std::fprintf(stderr, "survey: cannot read %s: %s\n", file.c_str(), std::strerror(errno));
      return 2;
    }
    errno = 0;
    std::vector<std::string> read = ReadQueries(in);
    if (in.bad()) {
      std::fprintf(stderr, "survey: cannot read %s: %s\n", file.c_str(),
                   errno != 0 ? std::strerror(errno) : "read error");
      return 2;
    }
    for (std::string& query : read) queries.push_back(std::move(query));
  }
  if (queries.empty() && options.files.empty()) {
    if (isatty(STDIN_FILENO)) {
      survey::command::PromptSetting setting;
      setting.version = SURVEY_VERSION;
      setting.clientFolder = client->Root();
      setting.historyFile = StateFolder() + "/history";
      setting.run = [&](std::string const& query) {
        return RunQuery(session, options, query, false);
      };
      setting.written = [] { return OutputWritten(); };
      return survey::command::Prompt(session.GetHost().GetRegistry(), setting);
    }
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
    if (!OutputWritten()) return 1;
  }
  return allGood ? 0 : 1;
}
