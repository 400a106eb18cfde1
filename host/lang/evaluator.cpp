#include "host/lang/evaluator.h"

#include <climits>
#include <functional>
#include <optional>

#include "host/engine/errors.h"

namespace survey::lang {

using host::ErrorKind;
using host::EvaluationError;
using host::Stream;
using host::TypeEntry;
using host::Value;
using host::Quoted;

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

// Yields the values of a source that pass a test.
class FilterStream final : public Stream {
 public:
  FilterStream(std::unique_ptr<Stream> source, std::function<bool(Value const&)> keep)
      : source_(std::move(source)), keep_(std::move(keep)) {}
  bool Next(Value& out) override {
    while (source_->Next(out)) {
      if (keep_(out)) return true;
      host::CheckInterruption();
    }
    return false;
  }

 private:
  std::unique_ptr<Stream> source_;
  std::function<bool(Value const&)> keep_;
};

// For each value of a source, the values of a stream opened on it.
class FlatMapStream final : public Stream {
 public:
  FlatMapStream(std::unique_ptr<Stream> source,
                std::function<std::unique_ptr<Stream>(Value const&)> open)
      : source_(std::move(source)), open_(std::move(open)) {}
  bool Next(Value& out) override {
    while (true) {
      host::CheckInterruption();
      if (inner_ && inner_->Next(out)) return true;
      inner_.reset();
      Value value;
      if (!source_->Next(value)) return false;
      inner_ = open_(value);
    }
  }

 private:
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
    while (true) {
      host::CheckInterruption();
      if (current_ && current_->Next(out)) return true;
      current_.reset();
      if (next_ == parts_.size()) return false;
      current_ = parts_[next_++]();
    }
  }

 private:
  std::vector<std::function<std::unique_ptr<Stream>()>> parts_;
  std::size_t next_ = 0;
  std::unique_ptr<Stream> current_;
};

}  // namespace

// The tuples of several streams, as their product in order: the last part
// varies fastest and is opened anew for each combination of the others.
class TupleStream final : public Stream {
 public:
  TupleStream(Evaluator& evaluator, Node const& node, Value it)
      : evaluator_(evaluator), node_(node), it_(std::move(it)) {}

  bool Next(Value& out) override {
    std::size_t const n = node_.items.size();
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
    streams_[k] = evaluator_.Open(*node_.items[k], it_);
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
  Node const& node_;
  Value it_;
  std::vector<std::unique_ptr<Stream>> streams_;
  std::vector<Value> values_;
  bool finished_ = false;
};

// A property phrase applied to the world or to each value of its object.
class PropertyStream final : public Stream {
 public:
  PropertyStream(Evaluator& evaluator, Node const& node, Value it)
      : evaluator_(evaluator), node_(node), it_(std::move(it)) {}

  bool Next(Value& out) override {
    return At(node_, [&] { return node_.plural ? NextPlural(out) : NextSingular(out); });
  }

 private:
  host::Host& Host() { return evaluator_.GetHost(); }
  host::Registry const& Registry() { return evaluator_.GetHost().GetRegistry(); }

  void Start() {
    started_ = true;
    if (node_.index) index_ = evaluator_.One(*node_.index, it_);
    if (node_.object) objects_ = evaluator_.Open(*node_.object, it_);
    aggregate_ = IsAggregate();
  }

  bool IsAggregate() {
    bool any = false;
    for (auto const* entry : Registry().PropertiesNamed(node_.text)) {
      if (entry->kind != host::PropertyKind::kAggregate) return false;
      any = true;
    }
    return any;
  }

  // The record for the operand types, found once per pair of types.
  host::BoundProperty const& Resolve(TypeEntry const* object) {
    TypeEntry const* const index = index_.Type();
    for (auto const& resolved : node_.resolved) {
      if (resolved.index == index && resolved.object == object) return resolved.property;
    }
    host::PropertyEntry const* const entry = Registry().FindProperty(node_.text, index, object);
    if (entry == nullptr) throw NoSuchProperty(index, object);
    node_.resolved.push_back(Node::Resolved{index, object, evaluator_.Bind(*entry)});
    return node_.resolved.back().property;
  }

  EvaluationError NoSuchProperty(TypeEntry const* index, TypeEntry const* object) {
    std::string message = "no property " + Quoted(node_.text);
    if (index != nullptr) message += " with an index of type " + Quoted(index->name);
    message += object == nullptr ? std::string(" of world") : " of " + Quoted(object->name);
    std::vector<std::string> owners;
    for (auto const* entry : Registry().PropertiesNamed(node_.text)) {
      std::string owner = entry->object.empty() ? "world" : Quoted(entry->object);
      if (!entry->index.empty()) owner += " (with " + Quoted(entry->index) + ")";
      owners.push_back(owner);
    }
    if (!owners.empty()) {
      message += "; it is a property of ";
      for (std::size_t i = 0; i < owners.size(); ++i) {
        if (i != 0) message += ", ";
        message += owners[i];
      }
    }
    return EvaluationError(ErrorKind::kNoSuchProperty, message, node_.position);
  }

  // The filtered results of the property for one object.
  std::unique_ptr<Stream> OpenFor(Value const& object) {
    host::BoundProperty const& property = Resolve(object.Type());
    if (property.entry->kind == host::PropertyKind::kAggregate) {
      // An aggregate named for a single value takes it as a stream of one.
      return Filtered(host::OpenAggregate(property, index_, std::make_unique<OneStream>(object)));
    }
    return Filtered(host::OpenProperty(property, index_, object));
  }

  std::unique_ptr<Stream> OpenAggregate() {
    // The record is chosen by the type of the first element. With no
    // element at all, the first aggregate of the phrase answers. Without
    // "of" there is no stream: an aggregate is no property of the world.
    if (!node_.object) throw NoSuchProperty(index_.Type(), nullptr);
    Value first;
    std::unique_ptr<Stream> elements = objects_ ? std::move(objects_) : std::make_unique<EmptyStream>();
    host::BoundProperty property;
    if (elements->Next(first)) {
      property = Resolve(first.Type());
      elements = std::make_unique<PeekedStream>(first, std::move(elements));
    } else {
      auto const candidates = Registry().PropertiesNamed(node_.text);
      property = evaluator_.Bind(*candidates.front());
    }
    TypeEntry const* const wanted = Registry().FindType(property.entry->object);
    auto checked = std::make_unique<FilterStream>(std::move(elements), [this, wanted](Value const& v) {
      if (wanted != nullptr && !Registry().IsA(v.Type(), wanted->name)) {
        throw EvaluationError(ErrorKind::kTypeError,
                              Quoted(node_.text) + " takes values of type " + Quoted(wanted->name) +
                                  ", not " + Quoted(Evaluator::TypeName(v)),
                              node_.position);
      }
      return true;
    });
    return Filtered(host::OpenAggregate(property, index_, std::move(checked)));
  }

  std::unique_ptr<Stream> Filtered(std::unique_ptr<Stream> source) {
    if (node_.filters.empty()) return source;
    return std::make_unique<FilterStream>(std::move(source), [this](Value const& v) {
      return evaluator_.Passes(node_.filters, v);
    });
  }

  bool NextPlural(Value& out) {
    if (!started_) {
      Start();
      if (aggregate_) inner_ = OpenAggregate();
    }
    while (true) {
      if (inner_ && inner_->Next(out)) return true;
      inner_.reset();
      if (aggregate_) return false;
      Value object;
      if (objects_) {
        if (!objects_->Next(object)) return false;
      } else {
        if (worldDone_) return false;
        worldDone_ = true;
      }
      inner_ = OpenFor(object);
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
      if (objects_) object = evaluator_.One(*node_.object, it_, std::move(objects_));
      results = OpenFor(object);
    }
    if (!results->Next(out)) {
      throw EvaluationError(ErrorKind::kNoValue,
                            "singular " + Quoted(node_.text) + " has no value", node_.position);
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
  Node const& node_;
  Value it_;
  bool started_ = false;
  bool aggregate_ = false;
  bool worldDone_ = false;
  Value index_;
  std::unique_ptr<Stream> objects_;
  std::unique_ptr<Stream> inner_;
};

Evaluator::Evaluator(host::Host& host) : host_(host) {}

// The tuple types it made belong to the host's registry.
Evaluator::~Evaluator() = default;

std::string Evaluator::TypeName(Value const& value) {
  return value.Empty() ? std::string("nothing") : value.Type()->name;
}

bool Evaluator::Passes(std::vector<std::unique_ptr<Node>> const& filters, Value const& value) {
  for (auto const& filter : filters) {
    if (!Truth(*filter, value)) return false;
  }
  return true;
}

bool Evaluator::Truth(Node const& node, Value const& it) {
  Value const value = One(node, it);
  if (value.Type() != host_.BooleanType() && !host_.GetRegistry().IsA(value.Type(), "boolean")) {
    throw EvaluationError(ErrorKind::kTypeError,
                          "expected a boolean, found a value of type " + Quoted(TypeName(value)),
                          node.position);
  }
  return value.As<boolean>().value == 1;
}

Value Evaluator::One(Node const& node, Value const& it) {
  switch (node.kind) {
    case NodeKind::kString:
    case NodeKind::kInteger:
    case NodeKind::kBoolean:
      if (!node.literal.Empty()) return node.literal;
      break;
    case NodeKind::kIt:
      if (!it.Empty()) return it;
      break;
    case NodeKind::kBinary:
    case NodeKind::kRelation:
    case NodeKind::kAnd:
    case NodeKind::kOr:
    case NodeKind::kNot:
      return Scalar(node, it);
    default:
      break;
  }
  return One(node, it, Open(node, it));
}

Value Evaluator::One(Node const& node, Value const&, std::unique_ptr<Stream> stream) {
  return At(node, [&] {
    Value first;
    if (!stream->Next(first)) {
      throw EvaluationError(ErrorKind::kNoValue, "the expression has no value", node.position);
    }
    Value second;
    if (stream->Next(second)) {
      throw EvaluationError(ErrorKind::kMoreThanOneValue,
                            "the expression has more than one value", node.position);
    }
    return first;
  });
}

// The value of a node that always has exactly one: relations, arithmetic,
// logic. Evaluated directly, without opening streams, since filters run
// them once per value.
Value Evaluator::Scalar(Node const& node, Value const& it) {
  host::Registry const& registry = host_.GetRegistry();
  switch (node.kind) {
    case NodeKind::kNot:
      return Value::MakeBoolean(host_.BooleanType(), !Truth(*node.left, it));
    case NodeKind::kAnd:
    case NodeKind::kOr: {
      bool const left = Truth(*node.left, it);
      // Stop early: the right side is not evaluated when the left decides.
      bool const answer = node.kind == NodeKind::kAnd ? (left && Truth(*node.right, it))
                                                      : (left || Truth(*node.right, it));
      return Value::MakeBoolean(host_.BooleanType(), answer);
    }
    default:
      break;
  }
  Value left = One(*node.left, it);
  Value right = One(*node.right, it);
  if (node.swapped) std::swap(left, right);
  Node::ResolvedOperator const* resolved = nullptr;
  for (auto const& known : node.operators) {
    if (known.left == left.Type() && known.right == right.Type()) resolved = &known;
  }
  if (resolved == nullptr) {
    host::OperatorEntry const* const found =
        registry.FindOperator(node.op, left.Type(), right.Type());
    if (found != nullptr) {
      node.operators.push_back(Node::ResolvedOperator{left.Type(), right.Type(), found,
                                                      registry.FindType(found->result)});
      resolved = &node.operators.back();
    }
  }
  host::OperatorEntry const* const op = resolved == nullptr ? nullptr : resolved->op;
  if (op == nullptr) {
    throw EvaluationError(ErrorKind::kTypeError,
                          "no operator " + Quoted(host::OperatorName(node.op)) + " between values of type " +
                              Quoted(TypeName(left)) + " and " + Quoted(TypeName(right)),
                          node.position);
  }
  TypeEntry const* const result = resolved->result;
  Value answer = At(node, [&] { return host::CallOperator(*op, result, left, right); });
  if (node.kind == NodeKind::kRelation && node.negated) {
    answer = Value::MakeBoolean(host_.BooleanType(), answer.As<boolean>().value != 1);
  }
  return answer;
}

// A cast of one value, its record found once per source type.
Value Evaluator::CastOf(Node const& node, Value const& value) {
  for (auto const& known : node.casts) {
    if (known.source == value.Type()) return host::CallCast(*known.cast, known.target, value);
  }
  host::CastEntry const* const cast = host_.GetRegistry().FindCast(node.text, value.Type());
  TypeEntry const* const target =
      cast == nullptr ? nullptr : host_.GetRegistry().FindType(cast->target);
  // Without a record, the host's Cast reports the error with its details.
  if (cast == nullptr || target == nullptr) return host_.Cast(node.text, value);
  node.casts.push_back(Node::ResolvedCast{value.Type(), cast, target});
  return host::CallCast(*cast, target, value);
}

std::unique_ptr<Stream> Evaluator::Open(Node const& node, Value const& it) {
  host::Registry const& registry = host_.GetRegistry();
  switch (node.kind) {
    case NodeKind::kString:
      if (node.literal.Empty()) node.literal = host_.MakeString(node.text);
      return std::make_unique<OneStream>(node.literal);
    case NodeKind::kInteger:
      if (node.literal.Empty()) node.literal = host_.MakeInteger(node.number);
      return std::make_unique<OneStream>(node.literal);
    case NodeKind::kBoolean:
      if (node.literal.Empty()) {
        node.literal = Value::MakeBoolean(host_.BooleanType(), node.number != 0);
      }
      return std::make_unique<OneStream>(node.literal);
    case NodeKind::kIt:
      if (it.Empty()) {
        throw EvaluationError(ErrorKind::kSyntax, "\"it\" is bound to nothing here", node.position);
      }
      return std::make_unique<OneStream>(it);
    case NodeKind::kProperty:
      return std::make_unique<PropertyStream>(*this, node, it);
    case NodeKind::kMap: {
      Node const* const body = &node;
      return std::make_unique<FlatMapStream>(Open(*node.object, it), [this, body](Value const& x) {
        std::unique_ptr<Stream> values = Open(*body->left, x);
        if (body->filters.empty()) return values;
        return std::unique_ptr<Stream>(std::make_unique<FilterStream>(
            std::move(values), [this, body, x](Value const& v) { return Passes(body->filters, v); }));
      });
    }
    case NodeKind::kFiltered: {
      Node const* const body = &node;
      return std::make_unique<FilterStream>(Open(*node.left, it), [this, body](Value const& v) {
        return Passes(body->filters, v);
      });
    }
    case NodeKind::kCast: {
      Node const* const cast = &node;
      return std::make_unique<MapStream>(Open(*node.left, it), [this, cast](Value const& v) {
        return At(*cast, [&] { return CastOf(*cast, v); });
      });
    }
    case NodeKind::kNegate:
      return std::make_unique<LazyOne>([this, &node, it] {
        Value const value = One(*node.left, it);
        if (!host_.GetRegistry().IsA(value.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError,
                                "unary minus needs an integer, not " + Quoted(TypeName(value)),
                                node.position);
        }
        long long const number = value.As<integer>().value;
        if (number == LLONG_MIN) {
          throw EvaluationError(ErrorKind::kMessage, "integer overflow", node.position);
        }
        return host_.MakeInteger(-number);
      });
    case NodeKind::kExists:
    case NodeKind::kExistsNo:
      return std::make_unique<LazyOne>([this, &node, it] {
        bool found;
        try {
          Value value;
          found = Open(*node.left, it)->Next(value);
        } catch (EvaluationError const& error) {
          // "No value" anywhere inside turns into an answer here.
          if (error.Kind() != ErrorKind::kNoValue) throw;
          found = false;
        }
        return Value::MakeBoolean(host_.BooleanType(),
                                  node.kind == NodeKind::kExists ? found : !found);
      });
    case NodeKind::kNumberOf:
      return std::make_unique<LazyOne>([this, &node, it] {
        std::unique_ptr<Stream> values = Open(*node.left, it);
        long long count = 0;
        Value value;
        while (values->Next(value)) {
          ++count;
          host::CheckInterruption();
        }
        return host_.MakeInteger(count);
      });
    case NodeKind::kBinary:
    case NodeKind::kRelation:
    case NodeKind::kAnd:
    case NodeKind::kOr:
    case NodeKind::kNot:
      return std::make_unique<LazyOne>([this, &node, it] { return Scalar(node, it); });
    case NodeKind::kIf: {
      bool const condition = Truth(*node.condition, it);
      return Open(condition ? *node.left : *node.right, it);
    }
    case NodeKind::kTuple:
      return std::make_unique<TupleStream>(*this, node, it);
    case NodeKind::kCollection: {
      std::vector<std::function<std::unique_ptr<Stream>()>> parts;
      for (auto const& item : node.items) {
        Node const* const part = item.get();
        parts.push_back([this, part, it] { return Open(*part, it); });
      }
      return std::make_unique<ConcatStream>(std::move(parts));
    }
    case NodeKind::kItem: {
      // Singular, like a property: one tuple, and an element at that place
      // that passes the whose clauses.
      Node const* const item = &node;
      return std::make_unique<LazyOne>([this, item, it, &registry] {
        Value const index = One(*item->index, it);
        if (!registry.IsA(index.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError, "\"item\" needs an integer index",
                                item->index->position);
        }
        long long const number = index.As<integer>().value;
        if (!item->object) throw NotOfWorld(*item);
        Value const tuple = One(*item->object, it);
        std::vector<Value> const elements = At(*item, [&] { return Items(tuple); });
        if (number < 0 || static_cast<unsigned long long>(number) >= elements.size()) {
          throw EvaluationError(ErrorKind::kNoValue,
                                "singular \"item\" has no value: item " + std::to_string(number) +
                                    " of a tuple of " + std::to_string(elements.size()) + " items",
                                item->position);
        }
        if (!Passes(item->filters, elements[number])) {
          throw EvaluationError(ErrorKind::kNoValue, "singular \"item\" has no value",
                                item->position);
        }
        return elements[number];
      });
    }
    case NodeKind::kItems: {
      // Plural: every element of every tuple, or with an index the element
      // at that place of each tuple that has one.
      if (!node.object) throw NotOfWorld(node);
      Node const* const item = &node;
      long long number = -1;
      if (node.index) {
        Value const index = One(*node.index, it);
        if (!registry.IsA(index.Type(), "integer")) {
          throw EvaluationError(ErrorKind::kTypeError, "\"items\" needs an integer index",
                                node.index->position);
        }
        number = index.As<integer>().value;
        if (number < 0) return std::make_unique<EmptyStream>();
      }
      auto tuples = Open(*node.object, it);
      return std::make_unique<FlatMapStream>(std::move(tuples), [this, item,
                                                                 number](Value const& t) {
        std::vector<Value> const elements = At(*item, [&] { return Items(t); });
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
