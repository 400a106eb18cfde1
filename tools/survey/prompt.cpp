#include "tools/survey/prompt.h"

#if SURVEY_USE_READLINE
#include <readline/readline.h>
#endif
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "host/client/late_library.h"
#include "host/engine/evaluation.h"
#include "tools/survey/vocabulary.h"

namespace survey::command {

namespace {

constexpr char const* kPrompt = "survey> ";
constexpr char const* kContinuation = "    ...> ";

constexpr char const* kHelp =
    "Type a query and press Enter; its values are printed one per line. For example:\n"
    "  name of operating system\n"
    "  names of files of folder \"/etc\"\n"
    "  number of lines containing \"root\" of file \"/etc/passwd\"\n"
    "  (name of it, size of it) of files whose (size of it > 1000) of folder \"/etc\"\n"
    "A query may go on over several lines while a parenthesis or a quote is open.\n"
    "Tab completes phrases and keywords, and file names inside quotes; Ctrl-C stops a\n"
    "running query. survey --list shows the whole vocabulary.\n"
    "  help           this text\n"
    "  help PHRASE    the forms of a phrase, with an example of each\n"
    "  quit           leave (so does Ctrl-D)\n";

bool IsWordByte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

std::string Trimmed(std::string_view text) {
  std::size_t const first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return std::string();
  std::size_t const last = text.find_last_not_of(" \t");
  return std::string(text.substr(first, last - first + 1));
}

// Makes the history file, and the folders above it, when it does not exist
// yet: lines are only ever appended to a file that exists.
void MakeHistoryFile(std::string const& path) {
  std::string const folder = path.substr(0, path.rfind('/'));
  for (std::size_t at = 1; at <= folder.size(); ++at) {
    if (at == folder.size() || folder[at] == '/') mkdir(folder.substr(0, at).c_str(), 0700);
  }
  int const descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor >= 0) close(descriptor);
}

void OnInterrupt(int) { host::Evaluation::RequestInterrupt(); }

// Without line editing: a plain prompt and line, and the history kept all
// the same, for a prompt with line editing to read.
char* PlainLine(char const* prompt) {
  std::fputs(prompt, stdout);
  std::fflush(stdout);
  std::string line;
  if (!std::getline(std::cin, line)) return nullptr;
  return strdup(line.c_str());
}
std::string gLastLine;
void PlainAddHistory(char const* line) { gLastLine = line; }
int PlainReadHistory(char const*) { return 0; }
int PlainAppendHistory(int, char const* path) {
  std::ofstream out(path, std::ios::app);
  out << gLastLine << '\n';
  return out ? 0 : errno;
}

// The line editor's functions, the plain ones until the editor is loaded.
char* (*gReadLine)(char const*) = &PlainLine;
void (*gAddHistory)(char const*) = &PlainAddHistory;
int (*gReadHistory)(char const*) = &PlainReadHistory;
int (*gAppendHistory)(int, char const*) = &PlainAppendHistory;

#if SURVEY_USE_READLINE
#define SURVEY_TEXT(x) #x
#define SURVEY_VERSION_TEXT(x) SURVEY_TEXT(x)

// The line editing library, opened when the prompt starts rather than at
// every start of the command: a query given on the command line never
// reads a line, and loading the library and its terminal library took
// several hundred symbol lookups. Its file name carries the major version
// of the headers compiled against.
constexpr char const* kEditorLibrary = "libreadline.so." SURVEY_VERSION_TEXT(RL_VERSION_MAJOR);

// What completion uses of it: its variables by their addresses.
struct Editor {
  char** lineBuffer;
  int* point;
  int* attemptedCompletionOver;
  int* completionAppendCharacter;
  char const** readlineName;
  rl_completion_func_t** attemptedCompletionFunction;
  rl_cpvfunc_t** completionWordBreakHook;
  char** (*completionMatches)(char const*, rl_compentry_func_t*);
  rl_compentry_func_t* filenameCompletionFunction;
};
Editor gEditor;

// What completion offers, set while the prompt runs.
std::vector<std::string> const* gPhrases = nullptr;
std::vector<std::string> gMatches;

char* NextMatch(char const*, int state) {
  static std::size_t next = 0;
  if (state == 0) next = 0;
  if (next >= gMatches.size()) return nullptr;
  return strdup(gMatches[next++].c_str());
}

// Whether the cursor is inside a quoted text.
bool InQuotes() {
  std::string_view const before(*gEditor.lineBuffer, static_cast<std::size_t>(*gEditor.point));
  return std::count(before.begin(), before.end(), '"') % 2 == 1;
}

// Where the word to complete starts: after punctuation or a blank, or,
// inside a quoted text, after the quote, so that a whole path is completed.
char* WordBreaks() {
  static char inQuotes[] = "\"";
  static char outside[] = " \t\n(),;&+-*/=<>!\"";
  return InQuotes() ? inQuotes : outside;
}

char** Complete(char const* text, int, int) {
  *gEditor.attemptedCompletionOver = 1;
  if (InQuotes()) {
    // A file name, the quote closed after a whole one.
    *gEditor.completionAppendCharacter = '"';
    return gEditor.completionMatches(text, gEditor.filenameCompletionFunction);
  }
  gMatches = Completions(*gPhrases, std::string_view(*gEditor.lineBuffer,
                                                     static_cast<std::size_t>(*gEditor.point)));
  if (gMatches.empty()) return nullptr;
  // A phrase of several words is completed as a whole, blanks included.
  return gEditor.completionMatches(text, &NextMatch);
}

// Opens the line editor and sets it up; without it, the prompt reads plain
// lines.
void SetUpEditing(std::vector<std::string> const& phrases) {
  Editor editor{};
  char* (*editorReadline)(char const*) = nullptr;
  void (*editorAddHistory)(char const*) = nullptr;
  int (*editorReadHistory)(char const*) = nullptr;
  int (*editorAppendHistory)(int, char const*) = nullptr;
  try {
    static client::LateLibrary const library(kEditorLibrary);
    library.Bind(editor.lineBuffer, "rl_line_buffer");
    library.Bind(editor.point, "rl_point");
    library.Bind(editor.attemptedCompletionOver, "rl_attempted_completion_over");
    library.Bind(editor.completionAppendCharacter, "rl_completion_append_character");
    library.Bind(editor.readlineName, "rl_readline_name");
    library.Bind(editor.attemptedCompletionFunction, "rl_attempted_completion_function");
    library.Bind(editor.completionWordBreakHook, "rl_completion_word_break_hook");
    library.Bind(editor.completionMatches, "rl_completion_matches");
    library.Bind(editor.filenameCompletionFunction, "rl_filename_completion_function");
    library.Bind(editorReadline, "readline");
    library.Bind(editorAddHistory, "add_history");
    library.Bind(editorReadHistory, "read_history");
    library.Bind(editorAppendHistory, "append_history");
  } catch (client::LateLibraryError const&) {
    return;
  }
  gEditor = editor;
  gReadLine = editorReadline;
  gAddHistory = editorAddHistory;
  gReadHistory = editorReadHistory;
  gAppendHistory = editorAppendHistory;
  gPhrases = &phrases;
  *gEditor.readlineName = "survey";
  *gEditor.attemptedCompletionFunction = &Complete;
  *gEditor.completionWordBreakHook = &WordBreaks;
}
#else
void SetUpEditing(std::vector<std::string> const&) {}
#endif

// Reads one query: a line, and more lines while it leaves something open.
// False at the end of input with nothing read.
bool ReadQuery(std::string& query) {
  query.clear();
  char const* prompt = kPrompt;
  while (char* const line = gReadLine(prompt)) {
    if (!query.empty()) query += '\n';
    query += line;
    std::free(line);
    if (!LeavesOpen(query)) return true;
    prompt = kContinuation;
  }
  // The end of input in the middle of a query: what there is goes to the
  // evaluator, which says what is missing.
  if (!query.empty()) std::fputc('\n', stdout);
  return !query.empty();
}

}  // namespace

bool LeavesOpen(std::string_view text) {
  long depth = 0;
  bool quoted = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    char const c = text[at];
    if (quoted) {
      if (c == '"') quoted = false;
    } else if (c == '"') {
      quoted = true;
    } else if (c == '/' && at + 1 < text.size() && text[at + 1] == '/') {
      std::size_t const end = text.find('\n', at);
      if (end == std::string_view::npos) break;
      at = end;
    } else if (c == '(') {
      ++depth;
    } else if (c == ')') {
      --depth;
    }
  }
  // Too many closing parentheses is an error to report, not to read on.
  return quoted || depth > 0;
}

std::vector<std::string> Completions(std::vector<std::string> const& phrases,
                                     std::string_view line) {
  std::vector<std::string> found;
  if (std::count(line.begin(), line.end(), '"') % 2 == 1) return found;
  // The words at the end of the line, back to punctuation or a quote: the
  // partial word, and the whole words before it.
  std::size_t begin = line.size();
  while (begin > 0 && (IsWordByte(line[begin - 1]) || line[begin - 1] == ' ' ||
                       line[begin - 1] == '\t')) {
    --begin;
  }
  std::string run;
  for (char const c : line.substr(begin)) {
    if (c == '\t') {
      run += ' ';
    } else {
      run += c;
    }
  }
  while (!run.empty() && run.front() == ' ') run.erase(run.begin());
  // Blanks between words count as one.
  std::string words;
  for (char const c : run) {
    if (c == ' ' && !words.empty() && words.back() == ' ') continue;
    words += c;
  }
  std::size_t const partialStart = words.rfind(' ') == std::string::npos ? 0 : words.rfind(' ') + 1;
  // Each suffix of the run that starts at a word, longest first: the phrase
  // may begin there. The phrases that take in the most of the words typed
  // are the ones offered: after "lines contai", "containing" and not the
  // keyword "contains".
  for (std::size_t start = 0; start <= partialStart && found.empty();) {
    std::string_view const typed = std::string_view(words).substr(start);
    for (std::string const& phrase : phrases) {
      if (phrase.size() < typed.size() || phrase.compare(0, typed.size(), typed) != 0) continue;
      std::string completion = phrase.substr(partialStart - start);
      if (std::find(found.begin(), found.end(), completion) == found.end()) {
        found.push_back(std::move(completion));
      }
    }
    std::size_t const space = words.find(' ', start);
    if (space == std::string::npos) break;
    start = space + 1;
  }
  std::sort(found.begin(), found.end());
  return found;
}

int Prompt(host::Registry const& registry, PromptSetting const& setting) {
  std::vector<std::string> const phrases = CompletionWords(registry);
  SetUpEditing(phrases);
  MakeHistoryFile(setting.historyFile);
  gReadHistory(setting.historyFile.c_str());
  std::printf("survey %s, client folder %s; type help for help, quit to leave\n",
              setting.version.c_str(), setting.clientFolder.c_str());
  // Ctrl-C abandons the running query; at the prompt readline clears the line.
  struct sigaction action {};
  action.sa_handler = &OnInterrupt;
  sigaction(SIGINT, &action, nullptr);
  bool allGood = true;
  std::string query;
  while (ReadQuery(query)) {
    std::string const command = Trimmed(query);
    if (command.empty()) continue;
    gAddHistory(query.c_str());
    gAppendHistory(1, setting.historyFile.c_str());
    if (command == "quit" || command == "exit") return allGood ? 0 : 1;
    if (command == "help") {
      std::fputs(kHelp, stdout);
    } else if (command.rfind("help ", 0) == 0) {
      std::string const phrase = Trimmed(std::string_view(command).substr(5));
      std::string const forms = DescribeText(registry, phrase);
      if (forms.empty()) {
        std::printf("no phrase \"%s\"; survey --list shows every phrase\n", phrase.c_str());
      } else {
        std::fputs(forms.c_str(), stdout);
      }
    } else {
      allGood = setting.run(query) && allGood;
    }
    if (!setting.written()) return 1;
  }
  std::printf("\n");
  if (!setting.written()) return 1;
  return allGood ? 0 : 1;
}

}  // namespace survey::command
