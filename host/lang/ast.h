// The parsed form of a query: a tree of nodes, each of which the evaluator
// opens as a stream of values. The tree is plain data that the parser makes
// and nothing changes after; what an evaluation learns about a node it keeps
// in its own plan (evaluator.h).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/engine/calls.h"  // the host's operator codes

namespace survey::lang {

using host::kOperatorDivide;
using host::kOperatorMinus;
using host::kOperatorModulo;
using host::kOperatorPlus;
using host::kOperatorTimes;

enum class NodeKind {
  kString,      // text: the literal's bytes
  kInteger,     // number
  kBoolean,     // number: 0 or 1
  kIt,          // the value bound by the nearest whose or (E) of
  kProperty,    // text: phrase; index, object, filters
  kMap,         // (E) of X: left = E, object = X, filters apply to E's values
  kFiltered,    // a primary with whose filters and no "of": left, filters
  kCast,        // text: cast phrase; left
  kNot,         // left
  kNegate,      // left
  kExists,      // left
  kExistsNo,    // left
  kNumberOf,    // left
  kBinary,      // op; left, right
  kRelation,    // op, negated, swapped; left, right
  kAnd,         // left, right
  kOr,          // left, right
  kIf,          // condition, left (then), right (else)
  kTuple,       // items
  kCollection,  // items
  kItem,        // index, object: item N of T
  kItems,       // object: items of T
};

struct Node {
  NodeKind kind;
  long position = 0;  // byte offset in the query
  std::string text;
  long long number = 0;
  bool plural = false;   // a property phrase in its plural form
  int op = 0;            // an operator code
  bool negated = false;  // a relation whose answer is negated
  bool swapped = false;  // a relation whose operands are swapped
  std::unique_ptr<Node> index;
  std::unique_ptr<Node> object;
  std::unique_ptr<Node> left;
  std::unique_ptr<Node> right;
  std::unique_ptr<Node> condition;
  std::vector<std::unique_ptr<Node>> filters;  // whose clauses, in order
  std::vector<std::unique_ptr<Node>> items;    // tuple and collection parts
};

}  // namespace survey::lang
