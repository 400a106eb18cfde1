#include "tools/survey/vocabulary.h"

#include <algorithm>
#include <set>

#include "host/engine/calls.h"

namespace survey::command {

namespace {

using host::CastEntry;
using host::OperatorEntry;
using host::PropertyEntry;
using host::PropertyKind;
using host::Registry;
using host::TypeEntry;

constexpr char const* kWorld = "world";

char const* KindName(PropertyKind kind) {
  switch (kind) {
    case PropertyKind::kSimple: return "property";
    case PropertyKind::kIterated: return "iterated";
    case PropertyKind::kAggregate: return "aggregate";
  }
  return "property";
}

// A literal or short query that gives a value of a type, for examples: the
// host's own types by a literal or a word, another type by a property of
// the world that gives it (its index written as a literal), else the type's
// name between angle brackets.
std::string ValueOf(Registry const& registry, std::string_view type, int depth = 0);

std::string IndexLiteral(Registry const& registry, std::string_view type, int depth) {
  std::string const value = ValueOf(registry, type, depth + 1);
  if (value.find(' ') == std::string::npos || value.front() == '"') return value;
  return "(" + value + ")";
}

std::string ValueOf(Registry const& registry, std::string_view type, int depth) {
  if (type == "string") return "\"text\"";
  if (type == "substring") return "first 2 of \"text\"";
  if (type == "integer") return "1";
  if (type == "boolean") return "true";
  if (type == "time") return "now";
  if (type == "time interval") return "day";
  if (depth < 2) {
    for (PropertyEntry const* entry : registry.Properties()) {
      if (entry->result != type || !entry->object.empty()) continue;
      if (entry->kind == PropertyKind::kAggregate) continue;
      if (entry->index.empty()) return std::string(entry->singular);
      return std::string(entry->singular) + " " + IndexLiteral(registry, entry->index, depth);
    }
  }
  return "<" + std::string(type) + ">";
}

// An example query of a property record: the plural form when the
// property streams, the singular otherwise.
std::string Example(Registry const& registry, PropertyEntry const& entry) {
  std::string example =
      std::string(entry.kind == PropertyKind::kSimple ? entry.singular : entry.plural);
  if (!entry.index.empty()) example += " " + IndexLiteral(registry, entry.index, 0);
  if (entry.object.empty()) return example;
  std::string object = ValueOf(registry, entry.object);
  if (entry.kind == PropertyKind::kAggregate) object = "(" + object + "; " + object + ")";
  return example + " of " + object;
}

std::string Example(Registry const& registry, CastEntry const& entry) {
  std::string const value = ValueOf(registry, entry.source);
  std::string const operand = value.find(' ') == std::string::npos ? value : "(" + value + ")";
  return operand + " as " + entry.phrase;
}

std::string OrWorld(std::string_view object) { return std::string(object.empty() ? kWorld : object); }

bool PropertyMatches(VocabularyFilter const& filter, PropertyEntry const& entry) {
  return filter.Matches(std::string(entry.singular)) || filter.Matches(std::string(entry.plural));
}

std::string PropertyLine(PropertyEntry const& entry) {
  std::string line = "  " + std::string(entry.singular) + " / " + std::string(entry.plural);
  if (!entry.index.empty()) line += " [" + std::string(entry.index) + "]";
  return line + " of " + OrWorld(entry.object) + " -> " + std::string(entry.result) + "\n";
}

nlohmann::json PropertyJson(PropertyEntry const& entry) {
  return {{"singular", entry.singular},
          {"plural", entry.plural},
          {"kind", KindName(entry.kind)},
          {"index", entry.index},
          {"object", entry.object},
          {"result", entry.result}};
}

// A cell of a Markdown table: a vertical bar would end it.
std::string Cell(std::string_view text) {
  std::string cell;
  for (char const c : text) {
    if (c == '|') cell += '\\';
    cell += c;
  }
  return cell.empty() ? "—" : cell;
}

}  // namespace

bool VocabularyFilter::Matches(std::string const& text) const {
  if (words.empty()) return true;
  return std::any_of(words.begin(), words.end(),
                     [&](std::string const& word) { return text.find(word) != std::string::npos; });
}

std::string VocabularyText(Registry const& registry, VocabularyFilter const& filter) {
  std::string text;
  auto section = [&](char const* title, std::string const& body) {
    if (body.empty()) return;
    if (!text.empty()) text += "\n";
    text += std::string(title) + ":\n" + body;
  };
  std::string types;
  for (TypeEntry const* type : registry.Types()) {
    if (!filter.Matches(type->name)) continue;
    types += "  " + type->name;
    if (!type->baseName.empty()) types += " (base type: " + type->baseName + ")";
    types += "\n";
  }
  section("Types", types);
  for (PropertyKind const kind :
       {PropertyKind::kSimple, PropertyKind::kIterated, PropertyKind::kAggregate}) {
    std::string lines;
    for (PropertyEntry const* entry : registry.Properties()) {
      if (entry->kind == kind && PropertyMatches(filter, *entry)) lines += PropertyLine(*entry);
    }
    section(kind == PropertyKind::kSimple     ? "Properties"
            : kind == PropertyKind::kIterated ? "Iterated properties"
                                              : "Aggregate properties",
            lines);
  }
  std::string casts;
  for (CastEntry const* entry : registry.Casts()) {
    if (!filter.Matches(entry->phrase)) continue;
    casts += "  " + entry->source + " as " + entry->phrase + " -> " + entry->target + "\n";
  }
  section("Casts", casts);
  std::string operators;
  for (OperatorEntry const* entry : registry.Operators()) {
    std::string const name = host::OperatorName(entry->code);
    if (!filter.Matches(name)) continue;
    operators += "  " + entry->left + " " + name + " " + entry->right + " -> " + entry->result + "\n";
  }
  section("Operators", operators);
  return text;
}

nlohmann::json VocabularyJson(Registry const& registry, VocabularyFilter const& filter) {
  nlohmann::json types = nlohmann::json::array();
  for (TypeEntry const* type : registry.Types()) {
    if (!filter.Matches(type->name)) continue;
    types.push_back({{"name", type->name},
                     {"base", type->baseName.empty() ? nlohmann::json() : nlohmann::json(type->baseName)}});
  }
  nlohmann::json properties = nlohmann::json::array();
  nlohmann::json iterated = nlohmann::json::array();
  nlohmann::json aggregates = nlohmann::json::array();
  for (PropertyEntry const* entry : registry.Properties()) {
    if (!PropertyMatches(filter, *entry)) continue;
    nlohmann::json& list = entry->kind == PropertyKind::kSimple     ? properties
                           : entry->kind == PropertyKind::kIterated ? iterated
                                                                    : aggregates;
    list.push_back(PropertyJson(*entry));
  }
  nlohmann::json casts = nlohmann::json::array();
  for (CastEntry const* entry : registry.Casts()) {
    if (!filter.Matches(entry->phrase)) continue;
    casts.push_back({{"phrase", entry->phrase}, {"source", entry->source}, {"result", entry->target}});
  }
  nlohmann::json operators = nlohmann::json::array();
  for (OperatorEntry const* entry : registry.Operators()) {
    std::string const name = host::OperatorName(entry->code);
    if (!filter.Matches(name)) continue;
    operators.push_back(
        {{"operator", name}, {"left", entry->left}, {"right", entry->right}, {"result", entry->result}});
  }
  return {{"types", types},           {"properties", properties}, {"iterated", iterated},
          {"aggregates", aggregates}, {"casts", casts},           {"operators", operators}};
}

std::string VocabularyMarkdown(Registry const& registry) {
  std::string page =
      "# Vocabulary\n\n"
      "Every type, phrase, cast and operator that `survey` knows, the host's own and the\n"
      "surveyor library's, in the order they are registered. This page is generated from the\n"
      "registry by `survey --list --markdown`; `make vocabulary` writes it anew, and a test\n"
      "fails while it differs from what the command prints. `survey --describe PHRASE` shows\n"
      "the forms of one phrase with an example of each.\n"
      "\n"
      "A property of `world` is asked with no `of`. A tuple prints its items joined by\n"
      "\", \", and has the cast `string` too.\n";
  page += "\n## Types\n\n| Type | Base type |\n|---|---|\n";
  for (TypeEntry const* type : registry.Types()) {
    page += "| " + Cell(type->name) + " | " + Cell(type->baseName) + " |\n";
  }
  for (PropertyKind const kind :
       {PropertyKind::kSimple, PropertyKind::kIterated, PropertyKind::kAggregate}) {
    page += kind == PropertyKind::kSimple     ? "\n## Properties\n\n"
            : kind == PropertyKind::kIterated ? "\n## Iterated properties\n\n"
                                              : "\n## Aggregate properties\n\n";
    page += "| Singular | Plural | Index | Of | Result |\n|---|---|---|---|---|\n";
    for (PropertyEntry const* entry : registry.Properties()) {
      if (entry->kind != kind) continue;
      page += "| " + Cell(entry->singular) + " | " + Cell(entry->plural) + " | " +
              Cell(entry->index) + " | " + Cell(OrWorld(entry->object)) + " | " +
              Cell(entry->result) + " |\n";
    }
  }
  page += "\n## Casts\n\n| Cast | Of | Result |\n|---|---|---|\n";
  for (CastEntry const* entry : registry.Casts()) {
    page += "| " + Cell(entry->phrase) + " | " + Cell(entry->source) + " | " +
            Cell(entry->target) + " |\n";
  }
  page += "\n## Operators\n\n| Operator | Left | Right | Result |\n|---|---|---|---|\n";
  for (OperatorEntry const* entry : registry.Operators()) {
    page += "| `" + Cell(host::OperatorName(entry->code)) + "` | " + Cell(entry->left) + " | " +
            Cell(entry->right) + " | " + Cell(entry->result) + " |\n";
  }
  return page;
}

std::string DescribeText(Registry const& registry, std::string const& phrase) {
  std::string text;
  std::set<PropertyEntry const*> shown;
  for (PropertyEntry const* entry : registry.Properties()) {
    if (entry->singular != phrase && entry->plural != phrase) continue;
    text += std::string(entry->singular) + " / " + std::string(entry->plural) + " (" + KindName(entry->kind) + ")\n";
    text += "  of:      " + OrWorld(entry->object) + "\n";
    if (!entry->index.empty()) text += "  index:   " + std::string(entry->index) + "\n";
    text += "  result:  " + std::string(entry->result) + "\n";
    text += "  example: " + Example(registry, *entry) + "\n";
  }
  for (CastEntry const* entry : registry.Casts()) {
    if (entry->phrase != phrase) continue;
    text += "as " + entry->phrase + " (cast)\n";
    text += "  of:      " + entry->source + "\n";
    text += "  result:  " + entry->target + "\n";
    text += "  example: " + Example(registry, *entry) + "\n";
  }
  return text;
}

nlohmann::json DescribeJson(Registry const& registry, std::string const& phrase) {
  nlohmann::json forms = nlohmann::json::array();
  for (PropertyEntry const* entry : registry.Properties()) {
    if (entry->singular != phrase && entry->plural != phrase) continue;
    nlohmann::json form = PropertyJson(*entry);
    form["example"] = Example(registry, *entry);
    forms.push_back(form);
  }
  for (CastEntry const* entry : registry.Casts()) {
    if (entry->phrase != phrase) continue;
    forms.push_back({{"singular", entry->phrase},
                     {"plural", entry->phrase},
                     {"kind", "cast"},
                     {"index", ""},
                     {"object", entry->source},
                     {"result", entry->target},
                     {"example", Example(registry, *entry)}});
  }
  return {{"phrase", phrase}, {"forms", forms}};
}

std::vector<std::string> CompletionWords(Registry const& registry) {
  std::set<std::string> words = {"of",     "whose", "as",     "and",  "or",      "not",
                                 "is",     "it",    "if",     "then", "else",    "exists",
                                 "exist",  "true",  "false",  "mod",  "contains", "starts with",
                                 "ends with", "number of", "item", "items", "help", "quit"};
  for (PropertyEntry const* entry : registry.Properties()) {
    words.emplace(entry->singular);
    words.emplace(entry->plural);
  }
  for (CastEntry const* entry : registry.Casts()) words.insert(entry->phrase);
  return std::vector<std::string>(words.begin(), words.end());
}

}  // namespace survey::command
