// The calling protocol: how the host calls a library's simple, iterated and
// aggregate properties, casts and operators, and what it makes of the
// exceptions they throw.
//
// `NoSuchObject` means "none" and is the caller's to interpret (an empty
// stream, or the error "no value" for a singular phrase), so the calls report
// it as an empty result. Every other library exception becomes an
// `EvaluationError` of the matching kind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/engine/errors.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "host/engine/value.h"

namespace survey::host {

// Operator codes the host registers for its arithmetic, beside the shared
// codes of the boundary (concatenation, the relations, starts/ends/contains).
enum HostOperatorCode : int {
  kOperatorPlus = 100,
  kOperatorMinus = 101,
  kOperatorTimes = 102,
  kOperatorDivide = 103,
  kOperatorModulo = 104,
};

// The operator's sign or words, for messages.
std::string OperatorName(int code);

// Throws EvaluationError of kind kInterrupted when the current evaluation has
// passed its time limit or the user asked to stop it. Loops of the evaluator
// that call nothing in the library check it themselves. It runs for every
// value of every stream, so what most checks do is inline.
void CheckInterruptionNow(Evaluation const& evaluation);
inline void CheckInterruption() {
  Evaluation const* const evaluation = Evaluation::Current();
  if (evaluation != nullptr && evaluation->InterruptionDue()) CheckInterruptionNow(*evaluation);
}

// A test of a value, called through one plain pointer: the filter a
// stream's values are tested against when they are only counted.
struct ValueTest {
  bool (*call)(void const* context, Value const& value);
  void const* context;
  bool operator()(Value const& value) const { return call(context, value); }
};

struct BoundProperty;

// A stream of values, pulled one at a time.
class Stream {
 public:
  virtual ~Stream() = default;
  // The next value into `out`; false at the end of the stream.
  virtual bool Next(Value& out) = 0;
  // Moves past the next value for a consumer that keeps nothing of it (a
  // count, an existence test): the value is made and dropped at once, and
  // its memory goes back as `Value::GiveBack` gives it. False at the end of
  // the stream. A stream may pass its values over without making each a
  // `Value`.
  virtual bool Skip() {
    Value value;
    if (!Next(value)) return false;
    value.GiveBack();
    return true;
  }
  // Moves past at most `most` values as that many calls of `Skip` would,
  // checking for interruption after each; how many it passed: fewer than
  // `most` at the end of the stream. A stream may pass over many values in
  // one loop of its own, checking for interruption as often as it needs.
  virtual std::size_t SkipMany(std::size_t most) {
    std::size_t passed = 0;
    while (passed != most && Skip()) {
      ++passed;
      CheckInterruption();
    }
    return passed;
  }
  // Moves past the next value as `Skip` does, after `test` has seen it;
  // `passed` gets the test's answer. The value is lent to the test for the
  // call alone: a stream may make it where it made the one before. False at
  // the end of the stream.
  virtual bool Skip(ValueTest test, bool& passed) {
    Value value;
    if (!Next(value)) return false;
    passed = test(value);
    value.GiveBack();
    return true;
  }
  // The next value as `Next` gives it, for a consumer that tests each value
  // and wants only those whose text (the value as a string) holds `bytes`:
  // the stream may pass over, without making them, values that cannot hold
  // them, as `Next` would pass them by. A value it gives may or may not
  // hold them. By default, the next value.
  virtual bool NextHolding(std::string_view bytes, Value& out) {
    static_cast<void>(bytes);
    return Next(out);
  }
  // Moves past the next value as `Skip(test, passed)` does, the value being
  // the one `NextHolding` would give: values that cannot hold `bytes` may
  // be passed over unmade, and the value the test sees is lent to it for
  // the call alone.
  virtual bool SkipHolding(std::string_view bytes, ValueTest test, bool& passed) {
    Value value;
    if (!NextHolding(bytes, value)) return false;
    passed = test(value);
    value.GiveBack();
    return true;
  }
  // Lets go of everything that the stream holds, as its destruction would,
  // and keeps only what may serve again for another object: a property
  // applied to each value of a stream opens one stream per value. False
  // when this stream cannot be opened again; it is then to be destroyed.
  virtual bool Vacate() { return false; }
  // After `Vacate`, starts again as `OpenProperty(property, index, object)`
  // would start a new stream. False, with nothing done, when it cannot.
  virtual bool Reopen(BoundProperty const&, Value const&, Value const&) { return false; }
};

// A property record with its result type resolved.
struct BoundProperty {
  PropertyEntry const* entry = nullptr;
  TypeEntry const* result = nullptr;
};

// Resolves the result type of a property; an error if it is not registered.
BoundProperty Bind(Registry const& registry, PropertyEntry const& entry);

// Calls a simple property. Empty when the library has no value for it.
std::optional<Value> CallSimple(BoundProperty const& property, Value const& index,
                                Value const& object);

// The values of an iterated property, lazily. The iterator's state lives
// from the first pull until the end of the stream or the stream's
// destruction, whichever comes first, and beyond that for as long as a value
// it gave is held, since a value may point into it.
std::unique_ptr<Stream> OpenIterated(BoundProperty const& property, Value index, Value object);

// The values of an aggregate property over the stream of its elements,
// through the six phases. Values it delivers keep the aggregator's state
// alive, since they may point into it.
std::unique_ptr<Stream> OpenAggregate(BoundProperty const& property, Value index,
                                      std::unique_ptr<Stream> elements);

// The values of any property of an object (or the world, for an empty
// object): one or none for a simple property, the stream for an iterated one.
std::unique_ptr<Stream> OpenProperty(BoundProperty const& property, Value index, Value object);

// The bytes that every left operand the operator answers true for holds,
// given its right operand; empty when the library knows none. The operand
// stands as a string of the library only when the operator's left type is
// "string".
std::string NecessaryBytesOf(OperatorEntry const& op, Value const& right);
// The bytes that every object the property has a value for holds, given
// its index; empty when the library knows none.
std::string NecessaryBytesOf(PropertyEntry const& property, Value const& index);

Value CallCast(CastEntry const& cast, TypeEntry const* target, Value const& source);
Value CallOperator(OperatorEntry const& op, TypeEntry const* result, Value const& left,
                   Value const& right);
// The same for an operator whose result type is the host's "boolean", when
// only the answer's byte is wanted: the result is made in the caller's
// stack, not as a value, and the errors are those of CallOperator.
unsigned char CallOperatorForBoolean(OperatorEntry const& op, TypeEntry const* result,
                                     Value const& left, Value const& right);

// The fingerprint of a call, for deciding whether an earlier result may be
// reused: empty when the call states no dependency or an operand's type
// cannot be fingerprinted.
std::optional<std::uint64_t> CallFingerprint(void const* record, SurveyorDependency dependency,
                                             Value const& index, Value const& object);

// Describes a property for messages: "variable" with "string" of "environment".
std::string Describe(PropertyEntry const& entry);

}  // namespace survey::host
