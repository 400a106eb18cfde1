#include "host/lang/evaluator.h"

#include <climits>
#include <deque>
#include <functional>
#include <optional>

#include "host/engine/errors.h"
#include "host/engine/fingerprint.h"

namespace survey::lang {

using host::ErrorKind;
using host::EvaluationError;
using host::Quoted;
using host::Stream;
using host::TypeEntry;
using host::Value;

// ---------------------------------------------------------------------------
// The plan of one query.

// A node of the tree with what the evaluation of one query learns about it:
// the records found for the operand types seen so far, and a literal's
// value. Steps mirror the tree, child for child, so that the evaluator goes
// from a step to its parts without a search.
struct Step {
  explicit Step(Node const& of) : node(of) {}

  Node const& node;
  Step* index = nullptr;
  Step* object = nullptr;
  Step* left = nullptr;
  Step* right = nullptr;
  Step* condition = nullptr;
  std::vector<Step*> filters;
  std::vector<Step*> items;

  // A property's record, per pair of index and object types.
  struct Property {
    TypeEntry const* index;
    TypeEntry const* object;
    host::BoundProperty property;
    bool steady;  // its result follows from its operands alone
  };
  std::vector<Property> properties;
  // An operator's record and result type, per pair of operand types.
  struct Operator {
    TypeEntry const* left;
    TypeEntry const* right;
    host::OperatorEntry const* op;
    TypeEntry const* result;
    bool steady;
  };
  std::vector<Operator> operators;
  // A cast's record and target type, per source type.
  struct Cast {
    TypeEntry const* source;
    host::CastEntry const* cast;
    TypeEntry const* target;
    bool steady;
  };
  std::vector<Cast> casts;
  // A literal's value, made once: values are never changed, so it is shared.
  Value literal;

  // Whether the node's value can depend on the value bound to `it`: the
  // node is `it`, or a part of it is that is not under a binding of its own
  // (a whose clause, the E of "(E) of X").
  bool readsIt = false;
  // A node that reads no `it` and is worth keeping the value of: evaluated
  // again, it gives the same value as long as every record it calls states
  // that its result follows from its operands alone.
  bool foldable = false;
  // The value of a foldable node, once an evaluation of it called nothing
  // but such records.
  Value folded;
};

// The steps of one query, made from its tree before anything is evaluated.
class Plan {
 public:
  explicit Plan(Node const& query) : root_(Add(query)) {}
  Plan(Plan const&) = delete;
  Plan& operator=(Plan const&) = delete;

  Step& Root() { return *root_; }

 private:
  // The parser bounds the depth of a tree, and so the depth of this walk.
  Step* Add(Node const& node) {
    Step& step = steps_.emplace_back(node);
    step.index = Add(node.index.get());
    step.object = Add(node.object.get());
    step.left = Add(node.left.get());
    step.right = Add(node.right.get());
    step.condition = Add(node.condition.get());
    for (auto const& filter : node.filters) step.filters.push_back(Add(*filter));
    for (auto const& item : node.items) step.items.push_back(Add(*item));
    step.readsIt = ReadsIt(step);
    switch (node.kind) {
      case NodeKind::kString:
      case NodeKind::kInteger:
      case NodeKind::kBoolean:
      case NodeKind::kIt:
        break;  // a literal is kept already; `it` is what it is bound to
      default:
        step.foldable = !step.readsIt;
    }
    return &step;
  }
  Step* Add(Node const* node) { return node == nullptr ? nullptr : Add(*node); }

  // Whether `it` inside the step means the `it` the step is evaluated with.
  // The filters of a node, and the E of "(E) of X", are evaluated with `it`
  // bound to values of their own.
  static bool ReadsIt(Step const& step) {
    if (step.node.kind == NodeKind::kIt) return true;
    auto reads = [](Step const* part) { return part != nullptr && part->readsIt; };
    if (reads(step.index) || reads(step.object) || reads(step.right) || reads(step.condition)) {
      return true;
    }
    if (step.node.kind != NodeKind::kMap && reads(step.left)) return true;
    for (Step const* item : step.items) {
      if (reads(item)) return true;
    }
    return false;
  }

  std::deque<Step> steps_;  // a deque keeps every step where it was made
  Step* root_;
};

namespace {

// Gives an error without a place the position of the node it rose through.
template <class Body>
auto At(Node const& node, Body&& body) -> decltype(body()) {
  try {
    return body();
  } catch (EvaluationError& error) {
    if (error.Position() < 0) error.SetPosition(node.position);
    throw;
  }
}

// Whether a record states that its result follows from its operands alone:
// it has a dependency function, and that function feeds nothing into a
// fingerprint. A record without one, or whose function feeds the state of
// the machine, may answer differently each time it is called.
bool Steady(SurveyorDependency dependency) {
  if (dependency == nullptr) return false;
  try {
    Fingerprinter fingerprinter;
    dependency(fingerprinter);
    return !fingerprinter.Touched();
  } catch (...) {
    return false;
  }
}

// "item" and "items" without "of": the world is not a tuple.
EvaluationError NotOfWorld(Node const& node) {
  return EvaluationError(
      ErrorKind::kNoSuchProperty,
      "no property " + Quoted(node.text) + " of world; it is a property of tuples", node.position);
}

class EmptyStream final : public Stream {
 public:
  bool Next(Value&) override { return false; }
};

class OneStream final : public Stream {
 public:
  explicit OneStream(Value value) : value_(std::move(value)) {}
  bool Next(Value& out) override {
    if (done_) return false;
    done_ = true;
    out = std::move(value_);
    return true;
  }

 private:
  Value value_;
  bool done_ = false;
};

// A stream computed by a function that is called once, on the first pull,
// so that nothing is evaluated before a consumer asks.
class LazyOne final : public Stream {
 public:
  explicit LazyOne(std::function<Value()> make) : make_(std::move(make)) {}
  bool Next(Value& out) override {
    if (done_) return false;
    done_ = true;
    out = make_();
    return true;
  }

 private:
  std::function<Value()> make_;
  bool done_ = false;
};

// Bytes that every value of one type must hold, learned from the first
// value of that type, and the type of the last value taken: the next value
// may be searched for by the bytes while the values keep that type.
struct LearnedBytes {
  std::string bytes;
  TypeEntry const* type = nullptr;
  TypeEntry const* last = nullptr;

  bool Searching() const { return !bytes.empty() && last == type; }
};

// Yields the values of a source that pass a test. A value passed over is
// seen by nothing else, so its memory is given back at once.
//
// A filter may know, from the first value it tests, bytes that every value
// of that value's type must hold to pass (`Required`): it then asks its
// source only for values that may hold them, for as long as the values it
// gets are of that type. A source gives the values of one type from one
// iterator, whose first value it gives without passing any over: so a value
// of another type is always seen before any of its kind could be passed
// over.
class FilterStream final : public Stream {
 public:
  // The bytes a value of the type of the one given must hold to pass; empty
  // when none are known.
  using Required = std::function<std::string(Value const&)>;

  FilterStream(std::unique_ptr<Stream> source, std::function<bool(Value const&)> keep)
      : source_(std::move(source)), keep_(std::move(keep)), test_{&Keep, &keep_} {}
  // A test called through a plain pointer: a filter runs it for every value.
  FilterStream(std::unique_ptr<Stream> source, host::ValueTest test, Required required = nullptr)
      : source_(std::move(source)), test_(test), required_(std::move(required)) {}
  bool Next(Value& out) override {
    while (Pull(out)) {
      if (Test(out)) return true;
      out.GiveBack();
      host::CheckInterruption();
    }
    return false;
  }
  // Only whether a value passes is wanted: the source lends each value to
  // the test and keeps none of them. Where bytes are known, the source
  // searches for them, and the value it gives is tested and given back.
  bool Skip() override {
    while (true) {
      bool passed = false;
      host::ValueTest const learning{&TestAndLearn, this};
      if (learned_.Searching()) {
        if (!source_->SkipHolding(learned_.bytes, learning, passed)) return false;
      } else if (Learns()) {
        if (!source_->Skip(learning, passed)) return false;
      } else {
        if (!source_->Skip(test_, passed)) return false;
      }
      if (passed) return true;
      host::CheckInterruption();
    }
  }

 private:
  static bool Keep(void const* keep, Value const& value) {
    return (*static_cast<std::function<bool(Value const&)> const*>(keep))(value);
  }
  // Whether a value may still teach the filter bytes, or tell it that the
  // values have the type of those it learned again.
  bool Learns() const {
    return required_ != nullptr && (learned_.type == nullptr || !learned_.bytes.empty());
  }
  static bool TestAndLearn(void const* self, Value const& value) {
    return const_cast<FilterStream*>(static_cast<FilterStream const*>(self))->Test(value);
  }
  bool Pull(Value& out) {
    return learned_.Searching() ? source_->NextHolding(learned_.bytes, out) : source_->Next(out);
  }
  // The test, which the first value also teaches the bytes that values of
  // its type require.
  bool Test(Value const& value) {
    bool const passed = test_(value);
    learned_.last = value.Type();
    if (required_ != nullptr && learned_.type == nullptr) {
      learned_.bytes = required_(value);
      learned_.type = value.Type();
    }
    return passed;
  }

  std::unique_ptr<Stream> source_;
  std::function<bool(Value const&)> keep_;
  host::ValueTest test_;
  Required required_;
  LearnedBytes learned_;
};

// For each value of a source, the values of a stream opened on it.
class FlatMapStream final : public Stream {
 public:
  FlatMapStream(std::unique_ptr<Stream> source,
                std::function<std::unique_ptr<Stream>(Value const&)> open)
      : source_(std::move(source)), open_(std::move(open)) {}
  bool Next(Value& out) override {
    return Pull([&out](Stream& inner) { return inner.Next(out); });
  }
  bool Skip() override {
    return Pull([](Stream& inner) { return inner.Skip(); });
  }

 private:
  template <class Take>
  bool Pull(Take const& take) {
    while (true) {
      host::CheckInterruption();
      if (inner_ && take(*inner_)) return true;
      inner_.reset();
      Value value;
      if (!source_->Next(value)) return false;
      inner_ = open_(value);
    }
  }

  std::unique_ptr<Stream> source_;
  std::function<std::unique_ptr<Stream>(Value const&)> open_;
  std::unique_ptr<Stream> inner_;
};

// One value for each value of a source.
class MapStream final : public Stream {
 public:
  MapStream(std::unique_ptr<Stream> source, std::function<Value(Value const&)> map)
      : source_(std::move(source)), map_(std::move(map)) {}
  bool Next(Value& out) override {
    Value value;
    if (!source_->Next(value)) return false;
    out = map_(value);
    return true;
  }

 private:
  std::unique_ptr<Stream> source_;
  std::function<Value(Value const&)> map_;
};

// A stream that gives back a value already pulled from its source first.
class PeekedStream final : public Stream {
 public:
  PeekedStream(Value first, std::unique_ptr<Stream> rest)
      : first_(std::move(first)), rest_(std::move(rest)) {}
  bool Next(Value& out) override {
    if (!first_.Empty()) {
      out = std::move(first_);
      first_ = Value();
      return true;
    }
    return rest_->Next(out);
  }
  bool Skip() override {
    if (!first_.Empty()) {
      first_.GiveBack();
      return true;
    }
    return rest_->Skip();
  }

 private:
  Value first_;
  std::unique_ptr<Stream> rest_;
};

// One stream after another.
class ConcatStream final : public Stream {
 public:
  ConcatStream(std::vector<std::function<std::unique_ptr<Stream>()>> parts)
      : parts_(std::move(parts)) {}
  bool Next(Value& out) override {
    return Pull([&out](Stream& current) { return current.Next(out); });
  }
  bool Skip() override {
    return Pull([](Stream& current) { return current.Skip(); });
  }

 private:
  template <class Take>
  bool Pull(Take const& take) {
    while (true) {
      host::CheckInterruption();
      if (current_ && take(*current_)) return true;
      current_.reset();
      if (next_ == parts_.size()) return false;
      current_ = parts_[next_++]();
    }
  }

  std::vector<std::function<std::unique_ptr<Stream>()>> parts_;
  std::size_t next_ = 0;
  std::unique_ptr<Stream> current_;
};

// The answers of a query: the stream of its root, which owns the query's
// plan. The caller prints each value and drops it before it pulls the next;
// a value it no longer holds is given back then, with its memory.
class AnswerStream final : public Stream {
 public:
  AnswerStream(std::unique_ptr<Plan> plan, std::function<std::unique_ptr<Stream>(Step&)> open)
      : plan_(std::move(plan)), values_(open(plan_->Root())) {}
  bool Next(Value& out) override {
    out = Value();
    last_.GiveBack();
    if (!values_->Next(out)) return false;
    last_ = out;
    return true;
  }

 private:
  std::unique_ptr<Plan> plan_;
  std::unique_ptr<Stream> values_;  // goes before the plan its streams use
  Value last_;
};

}  // namespace

// The tuples of several streams, as their product in order: the last part
// varies fastest and is opened anew for each combination of the others.
class TupleStream final : public Stream {
 public:
  TupleStream(Evaluator& evaluator, Step& step, Value it)
      : evaluator_(evaluator), step_(step), it_(std::move(it)) {}

  bool Next(Value& out) override {
    std::size_t const n = step_.items.size();
    if (finished_) return false;
    host::CheckInterruption();
    if (streams_.empty()) {
      streams_.resize(n);
      values_.resize(n);
      for (std::size_t k = 0; k < n; ++k) {
        if (!Fill(k)) return Finish();
      }
    } else {
      // Advance the last part; when it runs out, the one before it, and so on.
      std::size_t k = n;
      while (k > 0) {
        --k;
        if (streams_[k]->Next(values_[k])) break;
        if (k == 0) return Finish();
      }
      for (std::size_t j = k + 1; j < n; ++j) {
        if (!Fill(j)) return Finish();
      }
    }
    out = Make();
    return true;
  }

 private:
  // Opens part k and takes its first value.
  bool Fill(std::size_t k) {
    streams_[k] = evaluator_.Open(*step_.items[k], it_);
    return streams_[k]->Next(values_[k]);
  }
  bool Finish() {
    finished_ = true;
    streams_.clear();
    return false;
  }
  Value Make() {
    std::vector<TypeEntry const*> types;
    for (Value const& value : values_) types.push_back(value.Type());
    TypeEntry const* const type = evaluator_.TupleType(types);
    auto elements = std::make_shared<std::vector<Value>>(values_);
    host::ValueBuilder builder(type);
    auto* nodes = static_cast<TupleNode*>(builder.Slot());
    for (std::size_t k = 0; k < elements->size(); ++k) {
      nodes[k].element = (*elements)[k].Data();
      nodes[k].next = k + 1 < elements->size() ? &nodes[k + 1] : nullptr;
    }
    builder.KeepAlive(elements);
    return builder.Finish();
  }

  Evaluator& evaluator_;
  Step& step_;
  Value it_;
  std::vector<std::unique_ptr<Stream>> streams_;
  std::vector<Value> values_;
  bool finished_ = false;
};

// A property phrase applied to the world or to each value of its object.
//
// Whether the phrase takes its object's whole stream, as an aggregate, or
// each object on its own is decided by the record found for the type of
// the first object: a phrase may have aggregate records for some types and
// other records for others.
class PropertyStream final : public Stream {
 public:
  PropertyStream(Evaluator& evaluator, Step& step, Value it)
      : evaluator_(evaluator), step_(step), node_(step.node), it_(std::move(it)) {}

  bool Next(Value& out) override {
    return At(node_, [&] { return node_.plural ? NextPlural(out) : NextSingular(out); });
  }
  // A plural phrase passes its results over as its inner streams do; a
  // singular one must see its second result to refuse it.
  bool Skip() override {
    if (!node_.plural) return Stream::Skip();
    return At(node_, [&] {
      return NextPlural([](Stream& inner) { return inner.Skip(); }, /*passing=*/true);
    });
  }
  // A plural phrase without filters of its own gives the values of its
  // inner streams as they are: it asks them for values that may hold the
  // bytes. An aggregate's stream, or a filter's, takes the default.
  bool NextHolding(std::string_view bytes, Value& out) override {
    if (!node_.plural || !step_.filters.empty()) return Next(out);
    return At(node_, [&] {
      return NextPlural([&](Stream& inner) { return inner.NextHolding(bytes, out); },
                        /*passing=*/false);
    });
  }
  // A plural phrase passes over as many of its inner streams' values as it
  // is asked for, each stream in one call as far as it goes.
  std::size_t SkipMany(std::size_t most) override {
    if (!node_.plural) return Stream::SkipMany(most);
    return At(node_, [&] {
      std::size_t passed = 0;
      if (passed == most) return passed;
      NextPlural(
          [&passed, most](Stream& inner) {
            passed += inner.SkipMany(most - passed);
            return passed == most;
          },
          /*passing=*/true);
      return passed;
    });
  }

 private:
  host::Registry const& Registry() { return evaluator_.GetHost().GetRegistry(); }

  // Evaluates the index and opens the objects, and takes the first object
  // to decide whether the phrase is an aggregate here. With no object at
  // all, an aggregate record of the phrase for the index given, if it has
  // one, answers for the empty stream. Of the world, no aggregate applies:
  // it takes a stream.
  void Start() {
    started_ = true;
    if (step_.index) index_ = evaluator_.One(*step_.index, it_);
    if (!step_.object) return;
    objects_ = evaluator_.Open(*step_.object, it_);
    if (objects_->Next(pending_)) {
      Step::Property const& found = Resolve(pending_.Type());
      if (found.property.entry->kind == host::PropertyKind::kAggregate) {
        aggregate_ = found.property;
        aggregateSteady_ = found.steady;
      } else {
        LearnObjectBytes(found);
      }
      return;
    }
    // Of the aggregate records, the first that takes the index's type, or
    // else the first of all, which then reports the index it does not take.
    host::PropertyEntry const* fallback = nullptr;
    for (auto const* entry : Registry().PropertiesNamed(node_.text)) {
      if (entry->kind != host::PropertyKind::kAggregate) continue;
      if (Registry().IsA(index_.Type(), entry->index)) {
        aggregate_ = evaluator_.Bind(*entry);
        aggregateSteady_ = Steady(entry->dependency);
        return;
      }
      if (fallback == nullptr) fallback = entry;
    }
    if (fallback != nullptr) {
      aggregate_ = evaluator_.Bind(*fallback);
      aggregateSteady_ = Steady(fallback->dependency);
    }
  }

  // The record for the operand types, found once per pair of types.
  Step::Property const& Resolve(TypeEntry const* object) {
    TypeEntry const* const index = index_.Type();
    for (auto const& known : step_.properties) {
      if (known.index == index && known.object == object) return known;
    }
    host::PropertyEntry const* const entry = Registry().FindProperty(node_.text, index, object);
    if (entry == nullptr) throw NoSuchProperty(index, object);
    step_.properties.push_back(
        Step::Property{index, object, evaluator_.Bind(*entry), Steady(entry->dependency)});
    return step_.properties.back();
  }

  // The registry's one message for a phrase without a record for these
  // operand types, placed at the phrase.
  EvaluationError NoSuchProperty(TypeEntry const* index, TypeEntry const* object) {
    return Registry().NoSuchPropertyError(node_.text, index, object, node_.position);
  }

  // The filtered results of the property for one object (none for the
  // world). A vacated stream of the object before, when there is one, is
  // opened again on this one if it can be: the same as a new stream, without
  // making one.
  std::unique_ptr<Stream> OpenFor(Value const& object, std::unique_ptr<Stream> spent = nullptr) {
    Step::Property const& found = Resolve(object.Type());
    if (!found.steady) evaluator_.NoteVarying();
    host::BoundProperty const property = found.property;
    if (property.entry->kind == host::PropertyKind::kAggregate) {
      if (object.Empty()) throw NoSuchProperty(index_.Type(), nullptr);
      // An aggregate named for a single value takes it as a stream of one.
      return Filtered(host::OpenAggregate(property, index_, std::make_unique<OneStream>(object)));
    }
    if (spent && step_.filters.empty() && spent->Reopen(property, index_, object)) return spent;
    spent.reset();
    return Filtered(host::OpenProperty(property, index_, object));
  }

  // The aggregate over the whole stream of objects, each checked against
  // the type its record takes.
  std::unique_ptr<Stream> OpenAggregate() {
    std::unique_ptr<Stream> elements = std::move(objects_);
    if (!pending_.Empty()) {
      elements = std::make_unique<PeekedStream>(std::move(pending_), std::move(elements));
      pending_ = Value();
    }
    host::BoundProperty const property = *aggregate_;
    if (!aggregateSteady_) evaluator_.NoteVarying();
    TypeEntry const* const wanted = Registry().FindType(property.entry->object);
    auto check = [this, wanted](Value const& v) {
      if (wanted != nullptr && v.Type() != wanted && !Registry().IsA(v.Type(), wanted->name)) {
        throw EvaluationError(ErrorKind::kTypeError,
                              Quoted(node_.text) + " takes values of type " + Quoted(wanted->name) +
                                  ", not " + Quoted(Evaluator::TypeName(v)),
                              node_.position);
      }
      return true;
    };
    auto checked = std::make_unique<FilterStream>(std::move(elements), std::move(check));
    return Filtered(host::OpenAggregate(property, index_, std::move(checked)));
  }

  std::unique_ptr<Stream> Filtered(std::unique_ptr<Stream> source) {
    if (step_.filters.empty()) return source;
    return std::make_unique<FilterStream>(
        std::move(source), host::ValueTest{&PassesFilters, this},
        [this](Value const& value) { return evaluator_.RequiredBytes(step_.filters, value); });
  }
  // Whether a value passes the phrase's filters: the test of its filter
  // streams, which it outlives.
  static bool PassesFilters(void const* self, Value const& value) {
    auto const* const stream = static_cast<PropertyStream const*>(self);
    std::vector<Step*> const& filters = stream->step_.filters;
    if (filters.size() == 1) return stream->evaluator_.Truth(*filters.front(), value);
    return stream->evaluator_.Passes(filters, value);
  }

  // The next object: the one taken to decide, then the others. Where the
  // property knows bytes that every object with a value holds, the objects
  // are searched for them, for as long as they are of the type the bytes
  // are known for (see FilterStream): an object passed over would have had
  // no value.
  bool NextObject(Value& object) {
    if (!pending_.Empty()) {
      object = std::move(pending_);
      pending_ = Value();
    } else {
      bool const searched = objectBytes_.Searching();
      if (!(searched ? objects_->NextHolding(objectBytes_.bytes, object)
                     : objects_->Next(object))) {
        return false;
      }
    }
    objectBytes_.last = object.Type();
    return true;
  }

  // The bytes of a plural iterated property for the first object's type:
  // those that every object with a value holds as a string, given the index.
  void LearnObjectBytes(Step::Property const& found) {
    host::PropertyEntry const& entry = *found.property.entry;
    if (!node_.plural || entry.kind != host::PropertyKind::kIterated || entry.object != "string") {
      return;
    }
    objectBytes_.bytes = host::NecessaryBytesOf(entry, index_);
    objectBytes_.type = pending_.Type();
  }

  bool NextPlural(Value& out) {
    return NextPlural([&out](Stream& inner) { return inner.Next(out); }, /*passing=*/false);
  }

  // `passing` when the consumer passes the values over (see `Skip`).
  template <class Take>
  bool NextPlural(Take const& take, bool passing) {
    if (!started_) {
      Start();
      if (aggregate_) inner_ = OpenAggregate();
    }
    while (true) {
      if (inner_ && take(*inner_)) {
        if (!passing) lent_ = true;
        return true;
      }
      // The stream of the last object lets go of all it holds before the
      // next object is made, as it would if it were destroyed; it may serve
      // again for the next.
      bool const vacated = inner_ && inner_->Vacate();
      if (!vacated) inner_.reset();
      // An object whose iterator has let go of it, and of whose results
      // none went further, is seen by nothing else: its memory is given
      // back, as a filter gives back a value it passes over.
      if (vacated && !lent_) {
        object_.GiveBack();
      } else {
        object_ = Value();
      }
      lent_ = false;
      if (aggregate_) return false;
      Value object;
      if (objects_) {
        if (!NextObject(object)) return false;
      } else {
        if (worldDone_) return false;
        worldDone_ = true;
      }
      inner_ = OpenFor(object, std::move(inner_));
      object_ = std::move(object);
    }
  }

  bool NextSingular(Value& out) {
    if (started_) return false;
    Start();
    std::unique_ptr<Stream> results;
    if (aggregate_) {
      results = OpenAggregate();
    } else {
      Value object;
      if (objects_) {
        // Exactly one object: the one taken to decide, and no other.
        std::unique_ptr<Stream> objects = std::move(objects_);
        if (!pending_.Empty()) {
          objects = std::make_unique<PeekedStream>(std::move(pending_), std::move(objects));
          pending_ = Value();
        }
        object = evaluator_.One(*step_.object, it_, std::move(objects));
      }
      results = OpenFor(object);
    }
    if (!results->Next(out)) {
      throw EvaluationError(ErrorKind::kNoValue, "singular " + Quoted(node_.text) + " has no value",
                            node_.position);
    }
    Value extra;
    if (results->Next(extra)) {
      throw EvaluationError(ErrorKind::kMoreThanOneValue,
                            "singular " + Quoted(node_.text) + " has more than one value; use " +
                                "the plural form for several",
                            node_.position);
    }
    return true;
  }

  Evaluator& evaluator_;
  Step& step_;
  Node const& node_;
  Value it_;
  bool started_ = false;
  bool worldDone_ = false;
  // The aggregate record that takes the whole stream, when the phrase is
  // an aggregate for the objects' type.
  std::optional<host::BoundProperty> aggregate_;
  bool aggregateSteady_ = false;
  Value index_;
  std::unique_ptr<Stream> objects_;
  Value pending_;  // the first object, taken to decide and not yet used
  std::unique_ptr<Stream> inner_;
  Value object_;  // the object of `inner_`
  bool lent_ = false;  // whether `inner_` has given a value to the consumer
  // The bytes that every object of the type they were learned for holds
  // when it has a value.
  LearnedBytes objectBytes_;
};

Evaluator::Evaluator(host::Host& host) : host_(host) {}

// The tuple types it made belong to the host's registry.
Evaluator::~Evaluator() = default;

std::string Evaluator::TypeName(Value const& value) {
  return value.Empty() ? std::string("nothing") : value.Type()->name;
}

std::unique_ptr<Stream> Evaluator::Open(Node const& query, Value const& it) {
  Value const bound = it;
  return std::make_unique<AnswerStream>(std::make_unique<Plan>(query),
                                        [this, &bound](Step& root) { return Open(root, bound); });
}

// The operator's record for the operand types, found in the registry the
// first time; a type error when there is none.
static Step::Operator const& NewOperatorFor(host::Registry const& registry, Step& step,
                                            Value const& left, Value const& right) {
  Node const& node = step.node;
  host::OperatorEntry const* const found =
      registry.FindOperator(node.op, left.Type(), right.Type());
  if (found == nullptr) {
    throw EvaluationError(ErrorKind::kTypeError,
                          "no operator " + Quoted(host::OperatorName(node.op)) +
                              " between values of type " + Quoted(Evaluator::TypeName(left)) +
                              " and " + Quoted(Evaluator::TypeName(right)),
                          node.position);
  }
  step.operators.push_back(Step::Operator{left.Type(), right.Type(), found,
                                          registry.FindType(found->result),
                                          Steady(found->dependency)});
  return step.operators.back();
}

// The operator's record for the operand types, found once per pair of
// types: a filter asks for it with every value.
static inline Step::Operator const& OperatorFor(host::Registry const& registry, Step& step,
                                                Value const& left, Value const& right) {
  TypeEntry const* const leftType = left.Type();
  TypeEntry const* const rightType = right.Type();
  for (auto const& known : step.operators) {
    if (known.left == leftType && known.right == rightType) return known;
  }
  return NewOperatorFor(registry, step, left, right);
}

// Inline: a filter's relation asks for both its operands with every value.
inline Value const* Evaluator::AtHand(Step& step, Value const& it) {
  if (step.foldable) return step.folded.Empty() ? nullptr : &step.folded;
  switch (step.node.kind) {
    case NodeKind::kString:
    case NodeKind::kInteger:
    case NodeKind::kBoolean:
      return step.literal.Empty() ? nullptr : &step.literal;
    case NodeKind::kIt:
      return it.Empty() ? nullptr : &it;
    default:
      return nullptr;
  }
}

std::string Evaluator::RequiredBytes(std::vector<Step*> const& filters, Value const& value) {
  // One relation of `it` itself, as it stands, with a value at hand: a
  // literal, or a value kept since the test of this value made it.
  if (filters.size() != 1 || value.Empty()) return std::string();
  Step& step = *filters.front();
  Node const& node = step.node;
  if (node.kind != NodeKind::kRelation || node.negated || node.swapped || step.foldable) {
    return std::string();
  }
  if (step.left == nullptr || step.left->node.kind != NodeKind::kIt || step.right == nullptr) {
    return std::string();
  }
  // Bytes learned from the first value stand for every later one: the right
  // side must not be that value itself.
  if (step.right->node.kind == NodeKind::kIt) return std::string();
  Value const* const right = AtHand(*step.right, value);
  if (right == nullptr) return std::string();
  // The record the test called, which answered with a boolean and read the
  // value as a string.
  for (auto const& known : step.operators) {
    if (known.left != value.Type() || known.right != right->Type()) continue;
    if (known.result != host_.BooleanType() || known.op->left != "string") return std::string();
    return host::NecessaryBytesOf(*known.op, *right);
  }
  return std::string();
}

bool Evaluator::Passes(std::vector<Step*> const& filters, Value const& value) {
  for (Step* filter : filters) {
    if (!Truth(*filter, value)) return false;
  }
  return true;
}

bool Evaluator::Truth(Step& step, Value const& it) {
  // A relation that reads `it` is evaluated afresh for every value a
  // filter tests; its answer is read here and kept nowhere, so it is not
  // made into a value.
  // Operands at hand are read where they lie, without a handle of their
  // own; the others are evaluated, left before right.
  if (step.node.kind == NodeKind::kRelation && !step.foldable) {
    Value leftMade;
    Value const* left = AtHand(*step.left, it);
    if (left == nullptr) {
      leftMade = One(*step.left, it);
      left = &leftMade;
    }
    Value rightMade;
    Value const* right = AtHand(*step.right, it);
    if (right == nullptr) {
      rightMade = One(*step.right, it);
      right = &rightMade;
    }
    if (step.node.swapped) std::swap(left, right);
    Step::Operator const& resolved = OperatorFor(host_.GetRegistry(), step, *left, *right);
    if (resolved.result == host_.BooleanType()) {
      if (!resolved.steady) NoteVarying();
      host::OperatorEntry const& op = *resolved.op;
      TypeEntry const* const result = resolved.result;
      unsigned char const answer =
          At(step.node, [&] { return host::CallOperatorForBoolean(op, result, *left, *right); });
      return step.node.negated ? answer != 1 : answer == 1;
    }
  }
  Value const value = One(step, it);
  if (value.Type() != host_.BooleanType() && !host_.GetRegistry().IsA(value.Type(), "boolean")) {
    throw EvaluationError(ErrorKind::kTypeError,
                          "expected a boolean, found a value of type " + Quoted(TypeName(value)),
                          step.node.position);
  }
  return value.As<boolean>().value == 1;
}

Value Evaluator::One(Step& step, Value const& it) {
  if (!step.foldable) return Unfolded(step, it);
  if (!step.folded.Empty()) return step.folded;
  // A node that reads no `it` gives the same value each time, unless a
  // record it calls may vary: the value is kept only when none was called.
  // An error is never kept, so that each evaluation raises it again at the
  // same place.
  unsigned long long const varying = varying_;
  Value value = Unfolded(step, it);
  if (varying_ == varying) step.folded = value;
  return value;
}

Value Evaluator::Unfolded(Step& step, Value const& it) {
  switch (step.node.kind) {
    case NodeKind::kString:
    case NodeKind::kInteger:
    case NodeKind::kBoolean:
      if (!step.literal.Empty()) return step.literal;
      break;
    case NodeKind::kIt:
      if (!it.Empty()) return it;
      break;
    case NodeKind::kBinary:
    case NodeKind::kRelation:
    case NodeKind::kAnd:
    case NodeKind::kOr:
    case NodeKind::kNot:
      return Scalar(step, it);
    default:
      break;
  }
  return One(step, it, Open(step, it));
}

Value Evaluator::One(Step& step, Value const&, std::unique_ptr<Stream> stream) {
  Node const& node = step.node;
  return At(node, [&] {
    Value first;
    if (!stream->Next(first)) {
      throw EvaluationError(ErrorKind::kNoValue, "the expression has no value", node.position);
    }
    Value second;
    if (stream->Next(second)) {
      throw EvaluationError(ErrorKind::kMoreThanOneValue, "the expression has more than one value",
                            node.position);
    }
    return first;
  });
}

// The value of a node that always has exactly one: relations, arithmetic,
// logic. Evaluated directly, without opening streams, since filters run
// them once per value.
Value Evaluator::Scalar(Step& step, Value const& it) {
  Node const& node = step.node;
  switch (node.kind) {
    case NodeKind::kNot:
      return Value::MakeBoolean(host_.BooleanType(), !Truth(*step.left, it));
    case NodeKind::kAnd:
    case NodeKind::kOr: {
      bool const left = Truth(*step.left, it);
      // Stop early: the right side is not evaluated when the left decides.
      bool const answer = node.kind == NodeKind::kAnd ? (left && Truth(*step.right, it))
                                                      : (left || Truth(*step.right, it));
      return Value::MakeBoolean(host_.BooleanType(), answer);
    }
    default:
      break;
  }
  Value left = One(*step.left, it);
  Value right = One(*step.right, it);
  if (node.swapped) std::swap(left, right);
  Step::Operator const* const resolved = &OperatorFor(host_.GetRegistry(), step, left, right);
  if (!resolved->steady) NoteVarying();
  host::OperatorEntry const& op = *resolved->op;
  TypeEntry const* const result = resolved->result;
  Value answer = At(node, [&] { return host::CallOperator(op, result, left, right); });
  if (node.kind == NodeKind::kRelation && node.negated) {
    answer = Value::MakeBoolean(host_.BooleanType(), answer.As<boolean>().value != 1);
  }
  return answer;
}

// A cast of one value, its record found once per source type.
Value Evaluator::CastOf(Step& step, Value const& value) {
  for (auto const& known : step.casts) {
    if (known.source == value.Type()) {
      if (!known.steady) NoteVarying();
      return host::CallCast(*known.cast, known.target, value);
    }
  }
  Node const& node = step.node;
  host::CastEntry const* const cast = host_.GetRegistry().FindCast(node.text, value.Type());
  TypeEntry const* const target =
      cast == nullptr ? nullptr : host_.GetRegistry().FindType(cast->target);
  // A tuple has a text form, its items' joined by ", ", but no record: the
  // tuple types are made as queries meet them.
  if (cast == nullptr && node.text == "string" && !TupleElements(value.Type()).empty()) {
    return host_.MakeString(Text(value));
  }
  // Without a record, the host's Cast reports the error with its details.
  if (cast == nullptr || target == nullptr) {
    NoteVarying();
    return host_.Cast(node.text, value);
  }
  step.casts.push_back(Step::Cast{value.Type(), cast, target, Steady(cast->dependency)});
  if (!step.casts.back().steady) NoteVarying();
  return host::CallCast(*cast, target, value);
}

std::unique_ptr<Stream> Evaluator::Open(Step& step, Value const& it) {
  Node const& node = step.node;
  switch (node.kind) {
    case NodeKind::kString:
      if (step.literal.Empty()) step.literal = host_.MakeString(node.text);
      return std::make_unique<OneStream>(step.literal);
    case NodeKind::kInteger:
      if (step.literal.Empty()) step.literal = host_.MakeInteger(node.number);
      return std::make_unique<OneStream>(step.literal);
    case NodeKind::kBoolean:
      if (step.literal.Empty()) {
        step.literal = Value::MakeBoolean(host_.BooleanType(), node.number != 0);
      }
      return std::make_unique<OneStream>(step.literal);
    case NodeKind::kIt:
      if (it.Empty()) {
        throw EvaluationError(ErrorKind::kSyntax, "\"it\" is bound to nothing here", node.position);
      }
      return std::make_unique<OneStream>(it);
    case NodeKind::kProperty:
      return std::make_unique<PropertyStream>(*this, step, it);
    case NodeKind::kMap: {
      Step* const body = &step;
      return std::make_unique<FlatMapStream>(Open(*step.object, it), [this, body](Value const& x) {
        std::unique_ptr<Stream> values = Open(*body->left, x);
        if (body->filters.empty()) return values;
        return std::unique_ptr<Stream>(std::make_unique<FilterStream>(
            std::move(values),
            [this, body, x](Value const& v) { return Passes(body->filters, v); }));
      });
    }
    case NodeKind::kFiltered: {
      Step* const body = &step;
      return std::make_unique<FilterStream>(
          Open(*step.left, it), [this, body](Value const& v) { return Passes(body->filters, v); });
    }
    case NodeKind::kCast: {
      Step* const cast = &step;
      return std::make_unique<MapStream>(Open(*step.left, it), [this, cast](Value const& v) {
        return At(cast->node, [&] { return CastOf(*cast, v); });
      });
    }
    case NodeKind::kNegate:
      return std::make_unique<LazyOne>([this, &step, it] {
        Value const value = One(*step.left, it);
        if (!host_.GetRegistry().IsA(value.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError,
                                "unary minus needs an integer, not " + Quoted(TypeName(value)),
                                step.node.position);
        }
        long long const number = value.As<integer>().value;
        if (number == LLONG_MIN) {
          throw EvaluationError(ErrorKind::kMessage, "integer overflow", step.node.position);
        }
        return host_.MakeInteger(-number);
      });
    case NodeKind::kExists:
    case NodeKind::kExistsNo:
      return std::make_unique<LazyOne>([this, &step, it] {
        bool found;
        try {
          // Whether there is a value is all that is kept of it.
          found = Open(*step.left, it)->Skip();
        } catch (EvaluationError const& error) {
          // "No value" anywhere inside turns into an answer here.
          if (error.Kind() != ErrorKind::kNoValue) throw;
          found = false;
        }
        return Value::MakeBoolean(host_.BooleanType(),
                                  step.node.kind == NodeKind::kExists ? found : !found);
      });
    case NodeKind::kNumberOf:
      return std::make_unique<LazyOne>([this, &step, it] {
        std::unique_ptr<Stream> values = Open(*step.left, it);
        long long count = 0;
        // A counted value is kept in no way: its memory goes back at once.
        // The values are passed over many at a time, each stream checking
        // for interruption as it goes.
        constexpr std::size_t kMost = std::size_t{1} << 20;
        for (;;) {
          std::size_t const passed = values->SkipMany(kMost);
          count += static_cast<long long>(passed);
          host::CheckInterruption();
          if (passed != kMost) break;
        }
        return host_.MakeInteger(count);
      });
    case NodeKind::kBinary:
    case NodeKind::kRelation:
    case NodeKind::kAnd:
    case NodeKind::kOr:
    case NodeKind::kNot:
      return std::make_unique<LazyOne>([this, &step, it] { return Scalar(step, it); });
    case NodeKind::kIf: {
      bool const condition = Truth(*step.condition, it);
      return Open(condition ? *step.left : *step.right, it);
    }
    case NodeKind::kTuple:
      return std::make_unique<TupleStream>(*this, step, it);
    case NodeKind::kCollection: {
      std::vector<std::function<std::unique_ptr<Stream>()>> parts;
      for (Step* part : step.items) {
        parts.push_back([this, part, it] { return Open(*part, it); });
      }
      return std::make_unique<ConcatStream>(std::move(parts));
    }
    case NodeKind::kItem: {
      // Singular, like a property: one tuple, and an element at that place
      // that passes the whose clauses.
      Step* const item = &step;
      return std::make_unique<LazyOne>([this, item, it] {
        Value const index = One(*item->index, it);
        if (!host_.GetRegistry().IsA(index.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError, "\"item\" needs an integer index",
                                item->index->node.position);
        }
        long long const number = index.As<integer>().value;
        if (item->object == nullptr) throw NotOfWorld(item->node);
        Value const tuple = One(*item->object, it);
        std::vector<Value> const elements = At(item->node, [&] { return Items(tuple); });
        if (number < 0 || static_cast<unsigned long long>(number) >= elements.size()) {
          throw EvaluationError(ErrorKind::kNoValue,
                                "singular \"item\" has no value: item " + std::to_string(number) +
                                    " of a tuple of " + std::to_string(elements.size()) + " items",
                                item->node.position);
        }
        if (!Passes(item->filters, elements[number])) {
          throw EvaluationError(ErrorKind::kNoValue, "singular \"item\" has no value",
                                item->node.position);
        }
        return elements[number];
      });
    }
    case NodeKind::kItems: {
      // Plural: every element of every tuple, or with an index the element
      // at that place of each tuple that has one.
      if (step.object == nullptr) throw NotOfWorld(node);
      Step* const item = &step;
      long long number = -1;
      if (step.index != nullptr) {
        Value const index = One(*step.index, it);
        if (!host_.GetRegistry().IsA(index.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError, "\"items\" needs an integer index",
                                step.index->node.position);
        }
        number = index.As<integer>().value;
        if (number < 0) return std::make_unique<EmptyStream>();
      }
      auto tuples = Open(*step.object, it);
      return std::make_unique<FlatMapStream>(std::move(tuples), [this, item,
                                                                 number](Value const& t) {
        std::vector<Value> const elements = At(item->node, [&] { return Items(t); });
        std::vector<std::function<std::unique_ptr<Stream>()>> parts;
        for (std::size_t k = 0; k < elements.size(); ++k) {
          if (number >= 0 && static_cast<unsigned long long>(number) != k) continue;
          Value const element = elements[k];
          parts.push_back([element] { return std::make_unique<OneStream>(element); });
        }
        std::unique_ptr<Stream> values = std::make_unique<ConcatStream>(std::move(parts));
        if (item->filters.empty()) return values;
        return std::unique_ptr<Stream>(std::make_unique<FilterStream>(
            std::move(values), [this, item](Value const& v) { return Passes(item->filters, v); }));
      });
    }
  }
  throw EvaluationError(ErrorKind::kSyntax, "unknown node", node.position);
}

// ---------------------------------------------------------------------------
// Tuples.

TypeEntry const* Evaluator::TupleType(std::vector<TypeEntry const*> const& elements) {
  return host_.GetRegistry().TupleType(elements);
}

std::vector<TypeEntry const*> Evaluator::TupleElements(TypeEntry const* type) {
  auto const* const elements = host_.GetRegistry().TupleElements(type);
  return elements == nullptr ? std::vector<TypeEntry const*>() : *elements;
}

host::BoundProperty Evaluator::Bind(host::PropertyEntry const& entry) {
  host::Registry& registry = host_.GetRegistry();
  if (registry.FindType(entry.result) == nullptr) registry.TupleTypeNamed(entry.result);
  return host::Bind(registry, entry);
}

std::vector<Value> Evaluator::Items(Value const& tuple) {
  std::vector<TypeEntry const*> const types = TupleElements(tuple.Type());
  if (types.empty()) {
    throw EvaluationError(ErrorKind::kTypeError,
                          "a value of type " + Quoted(TypeName(tuple)) + " is not a tuple");
  }
  std::vector<Value> items;
  auto const* node = static_cast<TupleNode const*>(tuple.Data());
  for (std::size_t k = 0; k < types.size() && node != nullptr; ++k, node = node->next) {
    items.push_back(Value::View(types[k], node->element, tuple));
  }
  return items;
}

std::string Evaluator::Text(Value const& value) {
  if (value.Empty()) return std::string();
  if (value.Type()->name.compare(0, 2, "( ") == 0 && !TupleElements(value.Type()).empty()) {
    std::string text;
    std::vector<Value> const items = Items(value);
    for (std::size_t k = 0; k < items.size(); ++k) {
      if (k != 0) text += ", ";
      text += items[k].Type() == nullptr ? std::string("<nothing>") : Text(items[k]);
    }
    return text;
  }
  return host_.Text(value);
}

}  // namespace survey::lang
