// The interactive prompt: line editing and history, completion of phrases
// and keywords, a continuation prompt while a parenthesis or a quote is
// open, and the commands "help" and "quit".
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine/registry.h"

namespace survey::command {

struct PromptSetting {
  std::string version;       // shown in the banner
  std::string clientFolder;  // shown in the banner
  std::string historyFile;   // made with its folders on first use
  // Runs one query and prints its answer; false when it failed.
  std::function<bool(std::string const&)> run;
  // Whether everything printed so far reached standard output.
  std::function<bool()> written;
};

// Reads queries at the prompt until the end of input or "quit". The exit
// status: 0 when every query was answered, 1 when one failed or the output
// could not be written.
int Prompt(host::Registry const& registry, PromptSetting const& setting);

// Whether a query's text leaves a parenthesis or a double quote open, so
// that the prompt reads on. A `//` outside quotes starts a comment to the
// end of its line.
bool LeavesOpen(std::string_view text);

// The completions of the word that ends `line` (the text before the
// cursor): the rest of each phrase or keyword whose words follow on from
// the last words of the line, from the start of that last word. Empty
// inside a quoted text.
std::vector<std::string> Completions(std::vector<std::string> const& phrases,
                                     std::string_view line);

}  // namespace survey::command
