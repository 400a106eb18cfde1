// The parser of the query language. Phrases are matched against the live
// registry: where a phrase is expected, the longest run of words that forms a
// registered phrase (singular or plural form of a property, or a cast) wins.
// The registry's index of phrases by their first word keeps that match, and
// so the parse, as quick with thousands of phrases as with a few.
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

}  // namespace survey::lang
