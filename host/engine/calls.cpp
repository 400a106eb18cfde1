#include "host/engine/calls.h"

#include <cxxabi.h>
#include <regex.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"

namespace survey::host {

namespace {

// The class name of a library exception as written in the source: what()
// gives the compiler's encoded form.
std::string ReadableName(DebuggableException const& error) {
  int status = 0;
  char* const plain = abi::__cxa_demangle(error.what(), nullptr, nullptr, &status);
  std::string name = status == 0 && plain != nullptr ? plain : error.what();
  std::free(plain);
  return name;
}

// What a failed call of the C library's regular expressions says, in the
// C library's own words for its code.
std::string RegularExpressionWords(RegularExpressionFailure const& error) {
  char words[256];
  regerror(error.Code(), nullptr, words, sizeof words);
  bool const compiling = dynamic_cast<RegComp_Failed const*>(&error) != nullptr;
  return std::string(compiling ? "the regular expression does not compile: "
                               : "the regular expression search failed: ") +
         words;
}

// Rethrows the exception in flight, other than NoSuchObject, as an
// EvaluationError naming `what`.
[[noreturn]] void Translate(std::string const& what) {
  try {
    throw;
  } catch (InterruptedEvaluation const&) {
    throw EvaluationError(ErrorKind::kInterrupted, "interrupted while evaluating " + what);
  } catch (NoSurveyorContext const&) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          what + " is not available: this host has no context for it");
  } catch (SurveyorContextError const& error) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          what + " is not available: " + LibraryErrorWords(ReadableName(error)));
  } catch (CannotEvaluateNow const&) {
    throw EvaluationError(ErrorKind::kNotAvailable, what + " cannot be evaluated now");
  } catch (SurveyorDefinedError const& error) {
    surveyor_string const message = error.Message();
    throw EvaluationError(
        ErrorKind::kMessage,
        message.data == nullptr
            ? std::string()
            : std::string(reinterpret_cast<char const*>(message.data), message.length));
  } catch (RegularExpressionFailure const& error) {
    throw EvaluationError(ErrorKind::kMessage, what + " failed: " + RegularExpressionWords(error));
  } catch (DebuggableException const& error) {
    throw EvaluationError(ErrorKind::kMessage,
                          what + " failed: " + LibraryErrorWords(ReadableName(error)));
  } catch (EvaluationError const&) {
    throw;
  } catch (std::bad_alloc const&) {
    throw EvaluationError(ErrorKind::kMessage, what + " failed: out of memory");
  } catch (std::exception const& error) {
    throw EvaluationError(ErrorKind::kMessage, what + " failed: " + error.what());
  }
}

// Runs a call into the library. `NoSuchObject` gives false; every other
// exception becomes an EvaluationError naming what was called. The
// description is made only when there is an error to report.
template <class Describe, class Body>
bool Guard(Describe&& describe, Body&& body) {
  try {
    body();
    return true;
  } catch (NoSuchObject const&) {
    return false;
  } catch (...) {
    Translate(describe());
  }
}

// State memory of an iterator or aggregator, constructed by the library and
// destroyed through it exactly once. A small state lies inside this object:
// an iteration over the matches in each line of a file opens a state per
// line, and a separate allocation each time would cost more than the
// state's work.
class State {
 public:
  explicit State(PropertyEntry const& entry) : entry_(&entry) {
    std::size_t const size = entry.stateSize == 0 ? 1 : entry.stateSize;
    if (size <= sizeof inline_) {
      memory_ = inline_;
      return;
    }
    std::size_t const alignment = alignof(std::max_align_t);
    memory_ = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory_ == nullptr) throw std::bad_alloc();
  }
  ~State() {
    Destroy();
    if (memory_ != inline_) std::free(memory_);
  }
  State(State const&) = delete;
  State& operator=(State const&) = delete;

  void* Memory() { return memory_; }
  bool Constructed() const { return constructed_; }
  template <class Describe>
  void Construct(Describe&& describe) {
    Guard(describe, [&] {
      if (entry_->construct != nullptr) entry_->construct(memory_);
    });
    constructed_ = true;
  }
  void Destroy() noexcept {
    if (!constructed_) return;
    constructed_ = false;
    if (entry_->destroyState != nullptr) entry_->destroyState(memory_);
  }

 private:
  PropertyEntry const* entry_;
  void* memory_;
  bool constructed_ = false;
  alignas(std::max_align_t) unsigned char inline_[64];
};

// Describes a property for a message, when one is made.
struct DescribeEntry {
  PropertyEntry const* entry;
  std::string operator()() const { return Describe(*entry); }
};

class EmptyStream final : public Stream {
 public:
  bool Next(Value&) override { return false; }
};

class SingleStream final : public Stream {
 public:
  explicit SingleStream(std::optional<Value> value) : value_(std::move(value)) {}
  bool Next(Value& out) override {
    if (!value_) return false;
    out = std::move(*value_);
    value_.reset();
    return true;
  }

 private:
  std::optional<Value> value_;
};

class IteratedStream final : public Stream {
 public:
  IteratedStream(BoundProperty const& property, Value index, Value object)
      : property_(property), index_(std::move(index)), object_(std::move(object)) {}

  ~IteratedStream() override { std::free(scratch_); }

  bool Next(Value& out) override {
    SurveyorGetter const step = started_ ? property_.entry->next : property_.entry->first;
    return Pull(out, [&](void* slot) {
      return step(slot, index_.Data(), object_.Data(), state_->Memory(),
                  property_.entry->context) != 0;
    });
  }

  // A later step goes by the iterator's search when it has one.
  bool NextHolding(std::string_view bytes, Value& out) override {
    IteratedNextHolding const search = property_.entry->nextHolding;
    if (!started_ || search == nullptr || bytes.empty()) return Next(out);
    return Pull(out, [&](void* slot) { return Search(slot, bytes); });
  }

 private:
  // A step of the iterator made into a value: `step` constructs it in the
  // slot it is given, and says whether there was one.
  template <class StepInto>
  bool Pull(Value& out, StepInto const& step) {
    if (finished_) return false;
    CheckInterruption();
    Begin();
    // What an iterator's later steps ask of the arena belongs to the value
    // they give, for a consumer that keeps nothing of it to give back; the
    // first step may also set up memory the iterator keeps.
    Evaluation* const evaluation = started_ ? Evaluation::Current() : nullptr;
    ArenaMark const before = evaluation != nullptr ? evaluation->GetArena().Mark() : ArenaMark{};
    started_ = true;
    ValueBuilder builder(property_.result);
    bool produced = false;
    bool const answered = Guard(What(), [&] { produced = step(builder.Slot()); });
    if (!answered || !produced) {
      // The end of the stream: the stream lets go of the state, which goes
      // with the last value it gave.
      Finish();
      return false;
    }
    if (evaluation != nullptr) builder.OwnArenaRegion(before, evaluation->GetArena().Mark());
    builder.DependOn(index_);
    builder.DependOn(object_);
    // A value may point into the iterator's state (a compiled pattern, the
    // groups of a match): the state lives as long as the values it gave.
    builder.KeepAlive(state_);
    out = builder.Finish();
    return true;
  }

 public:
  // A later step's value is made in the block the stream keeps for values
  // that are tested and passed over, and destroyed there after the test,
  // unless the test kept it: then it is a value like those `Next` makes.
  bool Skip(ValueTest test, bool& passed) override {
    if (!started_) return Stream::Skip(test, passed);
    return SkipTested(test, passed, [&](void* slot) { return StepInto(slot); });
  }

  // As `Skip(test, passed)`, the step going by the iterator's search when
  // it has one.
  bool SkipHolding(std::string_view bytes, ValueTest test, bool& passed) override {
    IteratedNextHolding const search = property_.entry->nextHolding;
    if (!started_ || search == nullptr || bytes.empty()) return Skip(test, passed);
    return SkipTested(test, passed, [&](void* slot) { return SearchInto(slot, bytes); });
  }

 private:
  // A later step made by `step` into the block kept for tested values, lent
  // to the test, then dropped unless the test kept it.
  template <class Step>
  bool SkipTested(ValueTest test, bool& passed, Step const& step) {
    if (finished_) return false;
    CheckInterruption();
    Evaluation* const evaluation = Evaluation::Current();
    ArenaMark const before = evaluation != nullptr ? evaluation->GetArena().Mark() : ArenaMark{};
    if (!tested_) tested_ = std::make_unique<ReusedValueBlock>(property_.result);
    if (!step(tested_->Slot())) return false;
    ArenaMark const made = evaluation != nullptr ? evaluation->GetArena().Mark() : ArenaMark{};
    Value const& value = tested_->Finish();
    try {
      passed = test(value);
    } catch (...) {
      Drop(evaluation, before, made);
      throw;
    }
    Drop(evaluation, before, made);
    return true;
  }

 public:
  // A step's value is made in one slot that the stream keeps for the
  // purpose and destroyed at once, and the arena memory a later step asked
  // for is given back: what `Next` and `Value::GiveBack` would do, without
  // a value block, its operands and its hold on the state. What the first
  // step asks of the arena stays, since the iterator may keep it.
  bool Skip() override {
    if (finished_) return false;
    CheckInterruption();
    bool const first = !started_;
    if (first) Begin();
    started_ = true;
    return StepOver(first ? nullptr : Evaluation::Current(), first);
  }

  // The later steps go by the iterator's pass when it has one: one call
  // for many values, the arena memory it asked for given back after it.
  // Without a pass, each step is the one `Skip` takes.
  std::size_t SkipMany(std::size_t most) override {
    std::size_t passed = 0;
    if (passed != most && !started_) {
      if (!Skip()) return 0;
      ++passed;
    }
    if (finished_) return passed;
    Evaluation* const evaluation = Evaluation::Current();
    IteratedPassOver const pass = property_.entry->passOver;
    if (pass == nullptr) {
      while (passed != most) {
        CheckInterruption();
        if (!StepOver(evaluation)) break;
        ++passed;
      }
      return passed;
    }
    while (passed != most) {
      CheckInterruption();
      unsigned long const wanted = static_cast<unsigned long>(
          std::min<std::size_t>(most - passed, kLargestPass));
      ArenaMark const before = evaluation != nullptr ? evaluation->GetArena().Mark() : ArenaMark{};
      PropertyEntry const& entry = *property_.entry;
      unsigned long done = 0;
      bool const answered = Guard(What(), [&] {
        done = pass(index_.Data(), object_.Data(), state_->Memory(), entry.context, wanted);
      });
      if (evaluation != nullptr) {
        Arena& arena = evaluation->GetArena();
        arena.Release(before, arena.Mark());
      }
      passed += answered ? done : 0;
      if (!answered || done < wanted) {
        Finish();
        break;
      }
    }
    return passed;
  }

  // The state goes as it would with the stream, and the operands; the
  // state's memory and the value slots stay for the next object.
  bool Vacate() override {
    Finish();
    object_ = Value();
    index_ = Value();
    started_ = false;
    return true;
  }

  bool Reopen(BoundProperty const& property, Value const& index, Value const& object) override {
    if (property.entry != property_.entry || property.result != property_.result) return false;
    index_ = index;
    object_ = object;
    started_ = false;
    finished_ = false;
    return true;
  }

 private:
  // The most values one call of a pass is asked for: what it sets up for a
  // call is reused that many times.
  static constexpr std::size_t kLargestPass = std::size_t{1} << 16;

  // The iterator's state, constructed before the first step. Memory left
  // by a stream that was vacated serves again.
  void Begin() {
    if (state_ && state_->Constructed()) return;
    if (!state_) state_ = std::make_shared<State>(*property_.entry);
    state_->Construct(What());
  }
  // The end of the stream: the state is destroyed, and given up unless
  // nothing else holds it (a value may keep it alive), when its memory is
  // kept for a stream opened again.
  void Finish() {
    finished_ = true;
    if (state_ && state_.use_count() == 1) {
      state_->Destroy();
    } else {
      state_.reset();
    }
  }
  // A step whose value is made in the scratch block and destroyed at once,
  // with the arena memory its step asked for when `evaluation` is given.
  bool StepOver(Evaluation* evaluation, bool first = false) {
    ArenaMark const before = evaluation != nullptr ? evaluation->GetArena().Mark() : ArenaMark{};
    void* const slot = Scratch();
    if (!StepInto(slot, first)) return false;
    TypeEntry const* const type = property_.result;
    if (type != nullptr && type->destroy != nullptr) type->destroy(slot);
    if (evaluation != nullptr) {
      Arena& arena = evaluation->GetArena();
      arena.Release(before, arena.Mark());
    }
    return true;
  }
  // A step of the iterator (the first, or a later one), its value made in
  // `slot`; false, and the stream finished, when the iterator has no more
  // or its call failed.
  bool StepInto(void* slot, bool first = false) {
    PropertyEntry const& entry = *property_.entry;
    SurveyorGetter const step = first ? entry.first : entry.next;
    bool produced = false;
    bool const answered = Guard(What(), [&] {
      produced = step(slot, index_.Data(), object_.Data(), state_->Memory(), entry.context) != 0;
    });
    if (answered && produced) return true;
    Finish();
    return false;
  }
  // A later step by the iterator's search for `bytes`, its value made in
  // `slot`; false, and the stream finished, as for `StepInto`.
  bool SearchInto(void* slot, std::string_view bytes) {
    bool produced = false;
    bool const answered = Guard(What(), [&] { produced = Search(slot, bytes); });
    if (answered && produced) return true;
    Finish();
    return false;
  }
  // The iterator's search for `bytes`, its value made in `slot`: whether
  // there was one.
  bool Search(void* slot, std::string_view bytes) {
    PropertyEntry const& entry = *property_.entry;
    return entry.nextHolding(slot, index_.Data(), object_.Data(), state_->Memory(), entry.context,
                             reinterpret_cast<unsigned char const*>(bytes.data()),
                             bytes.size()) != 0;
  }
  // The tested value goes, and the arena memory its step asked for with it,
  // unless the test kept the value.
  void Drop(Evaluation* evaluation, ArenaMark const& before, ArenaMark const& made) {
    if (!tested_->Sole()) {
      tested_->LetGo(index_, object_, state_, before, made);
      return;
    }
    tested_->Destroy();
    if (evaluation != nullptr) evaluation->GetArena().Release(before, made);
  }
  // Raw memory of the result type's size, aligned for any scalar, made on
  // first use.
  void* Scratch() {
    if (scratch_ == nullptr) {
      std::size_t const alignment = alignof(std::max_align_t);
      std::size_t const size = property_.result == nullptr ? 0 : property_.result->size;
      std::size_t const rounded = ((size == 0 ? 1 : size) + alignment - 1) / alignment * alignment;
      scratch_ = std::aligned_alloc(alignment, rounded);
      if (scratch_ == nullptr) throw std::bad_alloc();
    }
    return scratch_;
  }
  // What the stream calls, for a message: made only when there is one.
  DescribeEntry What() const { return DescribeEntry{property_.entry}; }

  BoundProperty property_;
  Value index_;
  Value object_;
  std::shared_ptr<State> state_;
  void* scratch_ = nullptr;
  std::unique_ptr<ReusedValueBlock> tested_;
  bool started_ = false;
  bool finished_ = false;
};

class AggregateStream final : public Stream {
 public:
  AggregateStream(BoundProperty const& property, Value index, std::unique_ptr<Stream> elements)
      : property_(property),
        index_(std::move(index)),
        elements_(std::move(elements)),
        what_(Describe(*property.entry)) {}

  bool Next(Value& out) override {
    if (!state_) {
      state_ = std::make_shared<State>(*property_.entry);
      state_->Construct([this] { return what_; });
      phase_ = kFirstInitial;
    }
    while (phase_ != kPhaseCount) {
      CheckInterruption();
      switch (phase_) {
        case kFirstInitial:
          if (Call(kFirstInitial, Value(), out)) {
            phase_ = kNextInitial;
            return true;
          }
          phase_ = kNextInitial;
          break;
        case kNextInitial:
          // Repeated while it delivers.
          if (Call(kNextInitial, Value(), out)) return true;
          phase_ = kFirstIntermediate;
          break;
        case kFirstIntermediate:
          if (!elements_->Next(element_)) {
            element_ = Value();
            phase_ = kFirstFinal;
            break;
          }
          phase_ = kNextIntermediate;
          if (Call(kFirstIntermediate, element_, out)) return true;
          break;
        case kNextIntermediate:
          if (Call(kNextIntermediate, element_, out)) return true;
          phase_ = kFirstIntermediate;
          break;
        case kFirstFinal:
          phase_ = kNextFinal;
          if (Call(kFirstFinal, Value(), out)) return true;
          if (ended_) phase_ = kPhaseCount;
          break;
        case kNextFinal:
          // Repeated while it delivers; "none" or a call that delivers
          // nothing ends the output.
          if (Call(kNextFinal, Value(), out)) return true;
          phase_ = kPhaseCount;
          break;
        default:
          phase_ = kPhaseCount;
      }
    }
    elements_.reset();
    return false;
  }

 private:
  // Calls one phase. True when it delivered a value into `out`.
  bool Call(AggregatePhase phase, Value const& element, Value& out) {
    SurveyorGetter const getter = property_.entry->phases[phase];
    if (getter == nullptr) return false;
    ValueBuilder builder(property_.result);
    bool delivered = false;
    bool const answered = Guard([&] { return what_; },
                                [&] {
                                  delivered =
                                      getter(builder.Slot(), index_.Data(), element.Data(),
                                             state_->Memory(), property_.entry->context) != 0;
                                });
    if (!answered) {
      // "None" from an initial or intermediate phase delivers nothing; from
      // a final phase it ends the output.
      if (phase == kFirstFinal || phase == kNextFinal) ended_ = true;
      return false;
    }
    if (!delivered) return false;
    builder.DependOn(index_);
    builder.KeepAlive(state_);
    out = builder.Finish();
    return true;
  }

  BoundProperty property_;
  Value index_;
  std::unique_ptr<Stream> elements_;
  std::string what_;
  std::shared_ptr<State> state_;
  AggregatePhase phase_ = kFirstInitial;
  Value element_;
  bool ended_ = false;
};

}  // namespace

void CheckInterruptionNow(Evaluation const& evaluation) {
  try {
    evaluation.CheckInterruptionNow();
  } catch (InterruptedEvaluation const&) {
    throw EvaluationError(ErrorKind::kInterrupted, "interrupted");
  }
}

std::string OperatorName(int code) {
  switch (code) {
    case kOperatorConcatenation:
      return "&";
    case kOperatorEqual:
      return "=";
    case kOperatorLessThan:
      return "<";
    case kOperatorLessOrEqual:
      return "<=";
    case kOperatorStartsWith:
      return "starts with";
    case kOperatorEndsWith:
      return "ends with";
    case kOperatorContains:
      return "contains";
    case kOperatorPlus:
      return "+";
    case kOperatorMinus:
      return "-";
    case kOperatorTimes:
      return "*";
    case kOperatorDivide:
      return "/";
    case kOperatorModulo:
      return "mod";
  }
  return "operator " + std::to_string(code);
}

std::string Describe(PropertyEntry const& entry) {
  std::string text = Quoted(entry.singular);
  if (!entry.index.empty()) text += " with " + Quoted(entry.index);
  text += entry.object.empty() ? std::string(" of world") : " of " + Quoted(entry.object);
  return text;
}

BoundProperty Bind(Registry const& registry, PropertyEntry const& entry) {
  TypeEntry const* const result = registry.FindType(entry.result);
  if (result == nullptr) {
    throw EvaluationError(
        ErrorKind::kNoSuchProperty,
        Describe(entry) + " yields the unregistered type " + Quoted(entry.result));
  }
  return BoundProperty{&entry, result};
}

std::optional<Value> CallSimple(BoundProperty const& property, Value const& index,
                                Value const& object) {
  CheckInterruption();
  ValueBuilder builder(property.result);
  bool produced = false;
  bool const answered =
      Guard([&] { return Describe(*property.entry); },
            [&] {
              produced = property.entry->getter(builder.Slot(), index.Data(), object.Data(),
                                                nullptr, property.entry->context) != 0;
            });
  if (!answered || !produced) return std::nullopt;
  builder.DependOn(index);
  builder.DependOn(object);
  return builder.Finish();
}

std::unique_ptr<Stream> OpenIterated(BoundProperty const& property, Value index, Value object) {
  return std::make_unique<IteratedStream>(property, std::move(index), std::move(object));
}

std::unique_ptr<Stream> OpenAggregate(BoundProperty const& property, Value index,
                                      std::unique_ptr<Stream> elements) {
  if (!elements) elements = std::make_unique<EmptyStream>();
  return std::make_unique<AggregateStream>(property, std::move(index), std::move(elements));
}

std::unique_ptr<Stream> OpenProperty(BoundProperty const& property, Value index, Value object) {
  switch (property.entry->kind) {
    case PropertyKind::kSimple:
      return std::make_unique<SingleStream>(CallSimple(property, index, object));
    case PropertyKind::kIterated:
      return OpenIterated(property, std::move(index), std::move(object));
    case PropertyKind::kAggregate:
      break;
  }
  throw EvaluationError(ErrorKind::kTypeError,
                        Describe(*property.entry) + " is an aggregate: it takes a stream");
}

namespace {
std::string AskedBytes(NecessaryBytes ask, Value const& operand, void const* context) {
  if (ask == nullptr || operand.Empty()) return std::string();
  unsigned char const* bytes = nullptr;
  unsigned long length = 0;
  if (ask(operand.Data(), context, &bytes, &length) == 0 || bytes == nullptr) return std::string();
  return std::string(reinterpret_cast<char const*>(bytes), length);
}
}  // namespace

std::string NecessaryBytesOf(OperatorEntry const& op, Value const& right) {
  return AskedBytes(op.necessaryBytes, right, op.context);
}

std::string NecessaryBytesOf(PropertyEntry const& property, Value const& index) {
  return AskedBytes(property.necessaryBytes, index, property.context);
}

Value CallCast(CastEntry const& cast, TypeEntry const* target, Value const& source) {
  CheckInterruption();
  ValueBuilder builder(target);
  auto what = [&] { return "the cast " + Quoted(cast.phrase) + " of " + Quoted(cast.source); };
  bool const answered =
      Guard(what, [&] { cast.thunk(builder.Slot(), source.Data(), cast.context); });
  if (!answered) throw EvaluationError(ErrorKind::kNoValue, what() + " has no value");
  builder.DependOn(source);
  return builder.Finish();
}

Value CallOperator(OperatorEntry const& op, TypeEntry const* result, Value const& left,
                   Value const& right) {
  CheckInterruption();
  ValueBuilder builder(result);
  auto what = [&] {
    return Quoted(OperatorName(op.code)) + " of " + Quoted(op.left) + " and " + Quoted(op.right);
  };
  bool const answered =
      Guard(what, [&] { op.thunk(builder.Slot(), left.Data(), right.Data(), op.context); });
  if (!answered) throw EvaluationError(ErrorKind::kNoValue, what() + " has no value");
  builder.DependOn(left);
  builder.DependOn(right);
  return builder.Finish();
}

unsigned char CallOperatorForBoolean(OperatorEntry const& op, TypeEntry const* result,
                                     Value const& left, Value const& right) {
  CheckInterruption();
  auto what = [&] {
    return Quoted(OperatorName(op.code)) + " of " + Quoted(op.left) + " and " + Quoted(op.right);
  };
  alignas(std::max_align_t) unsigned char slot[sizeof(boolean) < 16 ? 16 : sizeof(boolean)];
  bool const answered = Guard(what, [&] { op.thunk(slot, left.Data(), right.Data(), op.context); });
  if (!answered) throw EvaluationError(ErrorKind::kNoValue, what() + " has no value");
  unsigned char const answer = reinterpret_cast<boolean const*>(slot)->value;
  if (result != nullptr && result->destroy != nullptr) result->destroy(slot);
  return answer;
}

std::optional<std::uint64_t> CallFingerprint(void const* record, SurveyorDependency dependency,
                                             Value const& index, Value const& object) {
  if (dependency == nullptr) return std::nullopt;
  Fingerprinter fingerprinter;
  fingerprinter.Add(&record, sizeof record);
  for (Value const* operand : {&index, &object}) {
    if (operand->Empty()) continue;
    TypeEntry const* const type = operand->Type();
    if (type->fingerprint == nullptr) return std::nullopt;
    fingerprinter.Add(type->name.data(), type->name.size() + 1);
    type->fingerprint(fingerprinter, operand->Data());
  }
  dependency(fingerprinter);
  return fingerprinter.Digest();
}

}  // namespace survey::host
