// The vocabulary as the registry holds it: the listing of --list (as text,
// JSON or the Markdown reference page) and the forms of one phrase that
// --describe shows.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/engine/registry.h"

namespace survey::command {

// What a listing shows: everything, or only the entries whose phrase or
// type name contains one of the words.
struct VocabularyFilter {
  std::vector<std::string> words;
  bool Matches(std::string const& text) const;
};

// The listing as text: types (with their base types), properties, iterated
// and aggregate properties, casts and operators, a section each.
std::string VocabularyText(host::Registry const& registry, VocabularyFilter const& filter);
// The same as one JSON object with a list for each section.
nlohmann::json VocabularyJson(host::Registry const& registry, VocabularyFilter const& filter);
// The whole vocabulary as a Markdown page, the reference in the documents.
std::string VocabularyMarkdown(host::Registry const& registry);

// Every form of a phrase (property or cast): object, index and result types,
// singular and plural, and an example query of each. Empty when no record
// has the phrase.
std::string DescribeText(host::Registry const& registry, std::string const& phrase);
nlohmann::json DescribeJson(host::Registry const& registry, std::string const& phrase);

// The phrases of properties and casts, and the grammar's keywords, sorted
// and without repeats: what the prompt completes.
std::vector<std::string> CompletionWords(host::Registry const& registry);

}  // namespace survey::command
