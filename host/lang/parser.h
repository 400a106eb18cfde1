// The parser of the query language. Phrases are matched against the live
// registry: where a phrase is expected, the longest run of words that forms a
// registered phrase (singular or plural form of a property, or a cast) wins.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine/registry.h"
#include "host/lang/ast.h"

namespace survey::lang {

// Parses a query. Throws host::EvaluationError of kind kSyntax or
// kUnknownPhrase, with the byte position of the fault.
std::unique_ptr<Node> Parse(std::string_view query, host::Registry const& registry);

// The registered phrases nearest to a run of words, best first, for messages.
std::vector<std::string> NearestPhrases(std::string_view words, host::Registry const& registry,
                                        std::size_t count = 3);

}  // namespace survey::lang
