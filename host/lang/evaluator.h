// The evaluator of the query language. Every node of a parsed query opens as
// a stream that yields one value at a time, so a long file or a large tree
// is never held whole; consumers that stop early (exists, a singular phrase,
// `and`, `or`) stop the streams beneath them at once.
//
// The syntax tree is read and never changed. What the evaluation of one
// query learns about its nodes (the records found for the types it meets,
// the values of its literals) is kept in a plan beside the tree, a step for
// each node, owned by that evaluation.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/engine/host.h"
#include "host/lang/ast.h"

namespace survey::lang {

struct Step;

class Evaluator {
 public:
  explicit Evaluator(host::Host& host);
  ~Evaluator();
  Evaluator(Evaluator const&) = delete;
  Evaluator& operator=(Evaluator const&) = delete;

  // The answers of a query, with `it` bound to `it` (empty outside any
  // binding). The stream owns the query's plan; the tree must outlive it.
  // Pull inside an Evaluation::Scope. The caller is taken to keep nothing of
  // a value once it pulls the next, unless it holds a handle to it: a value
  // no longer held then is given back with its memory (see arena.h).
  std::unique_ptr<host::Stream> Open(Node const& query, host::Value const& it);

  // A value's text form; a tuple's items joined by ", ".
  std::string Text(host::Value const& value);
  // The name of a value's type.
  static std::string TypeName(host::Value const& value);

  host::Host& GetHost() { return host_; }

  // The tuple type of these element types, registered on first use.
  host::TypeEntry const* TupleType(std::vector<host::TypeEntry const*> const& elements);
  // The element types of a tuple type; empty if not a tuple.
  std::vector<host::TypeEntry const*> TupleElements(host::TypeEntry const* type);
  // The elements of a tuple value, as values that keep the tuple alive.
  std::vector<host::Value> Items(host::Value const& tuple);
  // A property bound to its result type. A result named as a tuple of
  // registered types, "( a, b )", is registered as that tuple type on first
  // use, as the tuples that a query makes are.
  host::BoundProperty Bind(host::PropertyEntry const& entry);

 private:
  // The values of a step of the present query's plan.
  std::unique_ptr<host::Stream> Open(Step& step, host::Value const& it);
  // Exactly one value of a step: "no value" or "more than one value" else.
  host::Value One(Step& step, host::Value const& it);
  host::Value Unfolded(Step& step, host::Value const& it);
  // The value of a step when it is already at hand (`it`, a literal, a kept
  // value) and `One` would only copy its handle; null when it must be
  // evaluated.
  host::Value const* AtHand(Step& step, host::Value const& it);
  // The same over a stream already opened on the step.
  host::Value One(Step& step, host::Value const& it, std::unique_ptr<host::Stream> stream);
  bool Truth(Step& step, host::Value const& it);
  host::Value Scalar(Step& step, host::Value const& it);
  host::Value CastOf(Step& step, host::Value const& value);
  bool Passes(std::vector<Step*> const& filters, host::Value const& value);
  // The bytes that a value of this value's type must hold, as a string, to
  // pass the filters, once the value has been tested; empty when none are
  // known.
  std::string RequiredBytes(std::vector<Step*> const& filters, host::Value const& value);
  // Counts a call of a record whose result may vary from call to call.
  void NoteVarying() { ++varying_; }

  host::Host& host_;
  // Calls of such records so far: a node whose evaluation leaves the count
  // unchanged keeps its value (see One).
  unsigned long long varying_ = 0;

  friend class PropertyStream;
  friend class TupleStream;
};

}  // namespace survey::lang
