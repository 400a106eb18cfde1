// The calling protocol: simple, numbered and iterated properties, the six
// phases of an aggregate, casts and operators, and what the host makes of
// bad questions, interruptions and the library's exceptions.

#include "host/engine/calls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/engine/host.h"
#include "survey/frame/registration.h"

namespace {

using survey::host::Bind;
using survey::host::BoundProperty;
using survey::host::ErrorKind;
using survey::host::Evaluation;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::PropertyEntry;
using survey::host::Registry;
using survey::host::Stream;
using survey::host::Value;

// Every value of a stream, as integers.
std::vector<long long> Integers(Stream& stream) {
  std::vector<long long> numbers;
  Value value;
  for (int guard = 0; guard < 1000 && stream.Next(value); ++guard) {
    numbers.push_back(value.As<integer>().value);
  }
  return numbers;
}

// The error a call throws.
template <class Body>
EvaluationError ErrorOf(Body body) {
  try {
    body();
  } catch (EvaluationError const& error) {
    return error;
  }
  ADD_FAILURE() << "no EvaluationError was thrown";
  return EvaluationError(ErrorKind::kSyntax, "none");
}

// A stream over values given in advance.
class ListStream final : public Stream {
 public:
  explicit ListStream(std::vector<Value> values) : values_(std::move(values)) {}
  bool Next(Value& out) override {
    if (next_ == values_.size()) return false;
    out = values_[next_++];
    return true;
  }

 private:
  std::vector<Value> values_;
  std::size_t next_ = 0;
};

// An iterated property of the world, registered and unregistered with the
// life of the object.
template <class It>
struct IteratedOfWorld : PropRecord {
  IteratedOfWorld(char const* singular, char const* plural, char const* result) : PropRecord{} {
    using Adaptor = IteratedGlobalProperty<It, integer>;
    Register_Iterated_Property(this, kRecordHostArea, singular, plural, "", "", result, sizeof(It),
                               &IteratorBasics<It>::Construct, &IteratorBasics<It>::Destroy,
                               &Adaptor::First, &Adaptor::Next, this, nullptr);
  }
  ~IteratedOfWorld() { Unregister_Property(this); }
};

class CallsTest : public ::testing::Test {
 protected:
  ~CallsTest() override { Evaluation::ClearInterrupt(); }
  Value MakeInteger(long long number) const { return host.MakeInteger(number); }
  std::unique_ptr<Stream> Ask(std::string const& phrase, Value const& index = Value(),
                              Value const& object = Value()) const {
    return host.Property(phrase, index, object);
  }

  Host host;
  Registry::Scope registryScope{host.GetRegistry()};
  std::unique_ptr<Evaluation> evaluation = host.NewEvaluation();
  Evaluation::Scope evaluationScope{*evaluation};
};

// ---------------------------------------------------------------------------
// Simple and numbered properties.

int answerCalls = 0;
integer Answer() {
  ++answerCalls;
  return integer{42};
}

TEST_F(CallsTest, PropertyOfTheWorldIsAskedWithNoOperands) {
  Prop answer(Using<GlobalProperty<integer>>, "answer", "answers", "", "", "integer", &Answer,
              nullptr);
  answerCalls = 0;
  EXPECT_EQ(std::vector<long long>{42}, Integers(*Ask("answer")));
  EXPECT_EQ(std::vector<long long>{42}, Integers(*Ask("answers")));
  EXPECT_EQ(2, answerCalls);
}

int itemCalls = 0;
// Items 0, 1 and 2 exist: ten times their number.
integer Item(unsigned long long number) {
  ++itemCalls;
  if (number >= 3) throw NoSuchObject();
  return integer{static_cast<long long>(number) * 10};
}

// Digit `number` of an integer, counted from the right.
integer Digit(unsigned long long number, integer const& of) {
  ++itemCalls;
  long long value = of.value;
  for (unsigned long long i = 0; i < number; ++i) value /= 10;
  if (value == 0) throw NoSuchObject();
  return integer{value % 10};
}

TEST_F(CallsTest, NegativeNumberedIndexGivesNoValueWithoutACall) {
  Prop item(Using<NumberedGlobalProperty<integer>>, "item", "items", "integer", "", "integer",
            &Item, nullptr);
  Prop digit(Using<NumberedProperty<integer, integer>>, "digit", "digits", "integer", "integer",
             "integer", &Digit, nullptr);
  itemCalls = 0;
  EXPECT_TRUE(Integers(*Ask("item", MakeInteger(-1))).empty());
  EXPECT_TRUE(Integers(*Ask("item", MakeInteger(-9223372036854775807LL - 1))).empty());
  EXPECT_TRUE(Integers(*Ask("digit", MakeInteger(-1), MakeInteger(12345))).empty());
  EXPECT_EQ(0, itemCalls);
}

TEST_F(CallsTest, NumberedIndexZeroIsTheSurveyorsToAnswer) {
  Prop item(Using<NumberedGlobalProperty<integer>>, "item", "items", "integer", "", "integer",
            &Item, nullptr);
  Prop digit(Using<NumberedProperty<integer, integer>>, "digit", "digits", "integer", "integer",
             "integer", &Digit, nullptr);
  itemCalls = 0;
  EXPECT_EQ(std::vector<long long>{0}, Integers(*Ask("item", MakeInteger(0))));
  EXPECT_EQ(std::vector<long long>{20}, Integers(*Ask("items", MakeInteger(2))));
  EXPECT_TRUE(Integers(*Ask("item", MakeInteger(3))).empty());
  EXPECT_EQ(std::vector<long long>{5}, Integers(*Ask("digit", MakeInteger(0), MakeInteger(12345))));
  EXPECT_EQ(std::vector<long long>{1}, Integers(*Ask("digit", MakeInteger(4), MakeInteger(12345))));
  // Zero has no digit 0, by this surveyor's own judgement.
  EXPECT_TRUE(Integers(*Ask("digit", MakeInteger(0), MakeInteger(0))).empty());
  EXPECT_EQ(6, itemCalls);
}

// ---------------------------------------------------------------------------
// Bad questions.

TEST_F(CallsTest, WrongIndexTypeIsNoSuchProperty) {
  Prop item(Using<NumberedGlobalProperty<integer>>, "item", "items", "integer", "", "integer",
            &Item, nullptr);
  EvaluationError const error = ErrorOf([&] { Ask("item", host.MakeString("first")); });
  EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
  EXPECT_NE(std::string::npos, std::string(error.what()).find("\"item\""));
  EXPECT_EQ(ErrorKind::kNoSuchProperty, ErrorOf([&] { Ask("item"); }).Kind());
}

TEST_F(CallsTest, WrongObjectTypeIsNoSuchProperty) {
  Prop item(Using<NumberedGlobalProperty<integer>>, "item", "items", "integer", "", "integer",
            &Item, nullptr);
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { Ask("item", MakeInteger(1), MakeInteger(1)); }).Kind());
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { Ask("items", MakeInteger(1), host.MakeString("x")); }).Kind());
}

TEST_F(CallsTest, UnknownPhraseIsUnknownPhrase) {
  EvaluationError const error = ErrorOf([&] { Ask("no such phrase"); });
  EXPECT_EQ(ErrorKind::kUnknownPhrase, error.Kind());
  EXPECT_NE(std::string::npos, std::string(error.what()).find("no such phrase"));
}

// ---------------------------------------------------------------------------
// Iterated properties: the state lives from the first pull to the end of the
// stream or the stream's destruction, and is destroyed once.

struct Lifetimes {
  int constructed = 0;
  int destroyed = 0;
  int firsts = 0;
  int nexts = 0;
};
Lifetimes ticks;

// Yields 1 to 5.
class Ticker {
 public:
  Ticker() { ++ticks.constructed; }
  ~Ticker() { ++ticks.destroyed; }
  integer First() {
    ++ticks.firsts;
    count_ = 1;
    return integer{count_};
  }
  integer Next() {
    ++ticks.nexts;
    if (count_ == 5) throw NoSuchObject();
    return integer{++count_};
  }

 private:
  long long count_ = 0;
};

class EmptyTicker {
 public:
  EmptyTicker() { ++ticks.constructed; }
  ~EmptyTicker() { ++ticks.destroyed; }
  integer First() { throw NoSuchObject(); }
  integer Next() { throw NoSuchObject(); }
};

// Stops after its first value: the time is up as it works.
class SlowTicker {
 public:
  SlowTicker() { ++ticks.constructed; }
  ~SlowTicker() { ++ticks.destroyed; }
  integer First() { return integer{1}; }
  integer Next() {
    Evaluation::RequestInterrupt();
    Check_For_Surveyor_Interruption();
    return integer{2};
  }
};

class FailingTicker {
 public:
  FailingTicker() { ++ticks.constructed; }
  ~FailingTicker() { ++ticks.destroyed; }
  integer First() { return integer{1}; }
  integer Next() { throw CannotEvaluateNow(); }
};

TEST_F(CallsTest, IteratedStreamYieldsEveryValueAndDestroysItsStateAtTheEnd) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("ticks");
  EXPECT_EQ(0, ticks.constructed);
  EXPECT_EQ((std::vector<long long>{1, 2, 3, 4, 5}), Integers(*stream));
  EXPECT_EQ(1, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
  EXPECT_EQ(1, ticks.firsts);
  EXPECT_EQ(5, ticks.nexts);
  Value more;
  EXPECT_FALSE(stream->Next(more));
  stream.reset();
  EXPECT_EQ(1, ticks.destroyed);
  EXPECT_EQ(5, ticks.nexts);
}

TEST_F(CallsTest, IteratedStreamStoppedEarlyDestroysItsStateOnce) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("tick");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  ASSERT_TRUE(stream->Next(value));
  EXPECT_EQ(2, value.As<integer>().value);
  EXPECT_EQ(0, ticks.destroyed);
  stream.reset();
  // A value may point into the state: the state goes with the last value.
  EXPECT_EQ(0, ticks.destroyed);
  value = Value();
  EXPECT_EQ(1, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
}

TEST_F(CallsTest, AVacatedIteratedStreamOpensAgainAsANewOne) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  IteratedOfWorld<EmptyTicker> none("nothing", "nothings", "integer");
  ticks = Lifetimes();
  Registry const& registry = host.GetRegistry();
  BoundProperty const ticker =
      Bind(registry, registry.LookupProperty("ticks", nullptr, nullptr));
  BoundProperty const empty =
      Bind(registry, registry.LookupProperty("nothings", nullptr, nullptr));
  auto stream = OpenProperty(ticker, Value(), Value());
  EXPECT_EQ((std::vector<long long>{1, 2, 3, 4, 5}), Integers(*stream));
  ASSERT_TRUE(stream->Vacate());
  EXPECT_FALSE(stream->Reopen(empty, Value(), Value()));
  ASSERT_TRUE(stream->Reopen(ticker, Value(), Value()));
  // Stopped early and vacated: the state goes then, as with a destroyed stream.
  Value value;
  ASSERT_TRUE(stream->Next(value));
  value = Value();
  EXPECT_EQ(2, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
  ASSERT_TRUE(stream->Vacate());
  EXPECT_EQ(2, ticks.destroyed);
  // Passed over, and a value kept from the stream before: the kept value
  // keeps its own state.
  ASSERT_TRUE(stream->Reopen(ticker, Value(), Value()));
  ASSERT_TRUE(stream->Next(value));
  int passed = 0;
  while (stream->Skip()) ++passed;
  EXPECT_EQ(4, passed);
  EXPECT_EQ(3, ticks.constructed);
  EXPECT_EQ(2, ticks.destroyed);
  ASSERT_TRUE(stream->Vacate());
  ASSERT_TRUE(stream->Reopen(ticker, Value(), Value()));
  passed = 0;
  while (stream->Skip()) ++passed;
  EXPECT_EQ(5, passed);
  EXPECT_EQ(1, value.As<integer>().value);
  EXPECT_EQ(4, ticks.constructed);
  EXPECT_EQ(3, ticks.destroyed);
  value = Value();
  EXPECT_EQ(4, ticks.destroyed);
  stream.reset();
  EXPECT_EQ(4, ticks.destroyed);
}

TEST_F(CallsTest, IteratedStreamNeverPulledConstructsNothing) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  Ask("tick").reset();
  EXPECT_EQ(0, ticks.constructed);
  EXPECT_EQ(0, ticks.destroyed);
}

TEST_F(CallsTest, EmptyIteratedStreamDestroysItsStateOnce) {
  IteratedOfWorld<EmptyTicker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("tick");
  EXPECT_TRUE(Integers(*stream).empty());
  stream.reset();
  EXPECT_EQ(1, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
}

TEST_F(CallsTest, FailingIteratedStreamReportsTheFailureAndDestroysItsStateOnce) {
  IteratedOfWorld<FailingTicker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("tick");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  EXPECT_EQ(ErrorKind::kNotAvailable, ErrorOf([&] { stream->Next(value); }).Kind());
  value = Value();
  stream.reset();
  EXPECT_EQ(1, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
}

// ---------------------------------------------------------------------------
// Interruption.

TEST_F(CallsTest, InterruptRequestStopsAStreamAndClearingItMakesTheEvaluationUsable) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("tick");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  Evaluation::RequestInterrupt();
  EXPECT_EQ(ErrorKind::kInterrupted, ErrorOf([&] { stream->Next(value); }).Kind());
  value = Value();
  stream.reset();
  EXPECT_EQ(1, ticks.destroyed);
  Evaluation::ClearInterrupt();
  EXPECT_EQ((std::vector<long long>{1, 2, 3, 4, 5}), Integers(*Ask("tick")));
}

TEST_F(CallsTest, InterruptionInsideTheSurveyorIsReportedAsInterrupted) {
  IteratedOfWorld<SlowTicker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("tick");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  EvaluationError const error = ErrorOf([&] { stream->Next(value); });
  EXPECT_EQ(ErrorKind::kInterrupted, error.Kind());
  value = Value();
  stream.reset();
  EXPECT_EQ(1, ticks.destroyed);
  Evaluation::ClearInterrupt();
  IteratedOfWorld<Ticker> other("other", "others", "integer");
  EXPECT_EQ(5u, Integers(*Ask("other")).size());
}

TEST_F(CallsTest, PassedTimeLimitStopsAStreamUntilItIsCleared) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  evaluation->SetTimeLimit(std::chrono::microseconds(0));
  auto stream = Ask("tick");
  Value value;
  EXPECT_EQ(ErrorKind::kInterrupted, ErrorOf([&] { stream->Next(value); }).Kind());
  Prop answer(Using<GlobalProperty<integer>>, "answer", "answers", "", "", "integer", &Answer,
              nullptr);
  EXPECT_EQ(ErrorKind::kInterrupted, ErrorOf([&] { Integers(*Ask("answer")); }).Kind());
  evaluation->ClearTimeLimit();
  EXPECT_EQ(5u, Integers(*Ask("tick")).size());
  evaluation->SetTimeLimit(std::chrono::hours(1));
  EXPECT_EQ(std::vector<long long>{42}, Integers(*Ask("answer")));
}

// ---------------------------------------------------------------------------
// Aggregates, through the six phases.

std::vector<std::string> phases;

class Sum {
 public:
  Sum() { ++lives.constructed; }
  ~Sum() { ++lives.destroyed; }
  void Clear() {
    phases.push_back("initialize");
    total_ = 0;
  }
  void Add(Of, integer const& element) {
    phases.push_back("add " + std::to_string(element.value));
    total_ += element.value;
  }
  integer Total() {
    phases.push_back("total");
    return integer{total_};
  }
  static Lifetimes lives;

 private:
  long long total_ = -1;
};
Lifetimes Sum::lives;

class Minimum {
 public:
  void Clear() { any_ = false; }
  void Add(Of, integer const& element) {
    if (!any_ || element.value < least_) least_ = element.value;
    any_ = true;
  }
  integer Least() {
    if (!any_) throw NoSuchObject();
    return integer{least_};
  }

 private:
  bool any_ = true;  // Clear must run first
  long long least_ = 0;
};

// Delivers every element it took, smallest first: several results.
class Sorted {
 public:
  void Clear() { taken_.clear(); }
  void Add(Of, integer const& element) { taken_.push_back(element.value); }
  integer First() {
    std::sort(taken_.begin(), taken_.end());
    next_ = 0;
    return Next();
  }
  integer Next() {
    if (next_ == taken_.size()) throw NoSuchObject();
    return integer{taken_[next_++]};
  }

 private:
  std::vector<long long> taken_;
  std::size_t next_ = 0;
};

template <class A>
survey::frame::AggregatePhases PhasesOf(SurveyorGetter nextFinal) {
  return survey::frame::AggregatePhases{&SimpleAggregator<A>::Initialize,
                                        &GenericNullGetter,
                                        &SimpleAggregatorOfObject<A, integer>::Aggregate,
                                        nullptr,
                                        &AggregatorBasics<A, integer>::FirstFinal,
                                        nextFinal};
}

class AggregateTest : public CallsTest {
 protected:
  std::unique_ptr<Stream> Aggregate(char const* phrase, std::vector<long long> const& elements) {
    auto const& registry = host.GetRegistry();
    PropertyEntry const* const entry = registry.FindProperty(phrase, nullptr, host.IntegerType());
    EXPECT_NE(nullptr, entry);
    std::vector<Value> values;
    for (long long element : elements) values.push_back(MakeInteger(element));
    return survey::host::OpenAggregate(Bind(registry, *entry), Value(),
                                       std::make_unique<ListStream>(std::move(values)));
  }
};

TEST_F(AggregateTest, SumRunsThePhasesInOrder) {
  Prop sum(
      static_cast<Sum*>(nullptr), "sum", "sums", "", "integer", "integer",
      PhasesOf<Sum>(&GenericNullGetter),
      survey::frame::AggregateMembers{ToMemberSlot(&Sum::Clear), nullptr, ToMemberSlot(&Sum::Add),
                                      nullptr, ToMemberSlot(&Sum::Total), nullptr},
      nullptr);
  phases.clear();
  Sum::lives = Lifetimes();
  {
    auto stream = Aggregate("sum", {3, 4, 5});
    Value total;
    ASSERT_TRUE(stream->Next(total));
    EXPECT_EQ(12, total.As<integer>().value);
    Value more;
    EXPECT_FALSE(stream->Next(more));
    EXPECT_EQ((std::vector<std::string>{"initialize", "add 3", "add 4", "add 5", "total"}), phases);
    stream.reset();
    // The result may point into the state: the state lives as long as it.
    EXPECT_EQ(0, Sum::lives.destroyed);
  }
  EXPECT_EQ(1, Sum::lives.constructed);
  EXPECT_EQ(1, Sum::lives.destroyed);
}

TEST_F(AggregateTest, SumOfNothingIsZero) {
  Prop sum(
      static_cast<Sum*>(nullptr), "sum", "sums", "", "integer", "integer", PhasesOf<Sum>(nullptr),
      survey::frame::AggregateMembers{ToMemberSlot(&Sum::Clear), nullptr, ToMemberSlot(&Sum::Add),
                                      nullptr, ToMemberSlot(&Sum::Total), nullptr},
      nullptr);
  phases.clear();
  EXPECT_EQ(std::vector<long long>{0}, Integers(*Aggregate("sums", {})));
  EXPECT_EQ((std::vector<std::string>{"initialize", "total"}), phases);
}

TEST_F(AggregateTest, MinimumOfSeveralElements) {
  Prop minimum(static_cast<Minimum*>(nullptr), "minimum", "minima", "", "integer", "integer",
               PhasesOf<Minimum>(&GenericNullGetter),
               survey::frame::AggregateMembers{ToMemberSlot(&Minimum::Clear), nullptr,
                                               ToMemberSlot(&Minimum::Add), nullptr,
                                               ToMemberSlot(&Minimum::Least), nullptr},
               nullptr);
  EXPECT_EQ(std::vector<long long>{-7}, Integers(*Aggregate("minimum", {4, -7, 12, 0})));
}

TEST_F(AggregateTest, MinimumOfAnEmptyStreamHasNoValue) {
  Prop minimum(static_cast<Minimum*>(nullptr), "minimum", "minima", "", "integer", "integer",
               PhasesOf<Minimum>(&GenericNullGetter),
               survey::frame::AggregateMembers{ToMemberSlot(&Minimum::Clear), nullptr,
                                               ToMemberSlot(&Minimum::Add), nullptr,
                                               ToMemberSlot(&Minimum::Least), nullptr},
               nullptr);
  EXPECT_TRUE(Integers(*Aggregate("minimum", {})).empty());
}

TEST_F(AggregateTest, FinalPhasesDeliverSeveralResults) {
  Prop sorted(static_cast<Sorted*>(nullptr), "sorted", "sorteds", "", "integer", "integer",
              PhasesOf<Sorted>(&AggregatorBasics<Sorted, integer>::NextFinal),
              survey::frame::AggregateMembers{
                  ToMemberSlot(&Sorted::Clear), nullptr, ToMemberSlot(&Sorted::Add), nullptr,
                  ToMemberSlot(&Sorted::First), ToMemberSlot(&Sorted::Next)},
              nullptr);
  EXPECT_EQ((std::vector<long long>{-1, 2, 2, 9}), Integers(*Aggregate("sorted", {9, 2, -1, 2})));
  EXPECT_TRUE(Integers(*Aggregate("sorted", {})).empty());
}

TEST_F(AggregateTest, AggregateIsNotAskedAsAPlainProperty) {
  Prop sum(
      static_cast<Sum*>(nullptr), "sum", "sums", "", "integer", "integer", PhasesOf<Sum>(nullptr),
      survey::frame::AggregateMembers{ToMemberSlot(&Sum::Clear), nullptr, ToMemberSlot(&Sum::Add),
                                      nullptr, ToMemberSlot(&Sum::Total), nullptr},
      nullptr);
  EXPECT_EQ(ErrorKind::kTypeError, ErrorOf([&] { Ask("sum", Value(), MakeInteger(1)); }).Kind());
}

// ---------------------------------------------------------------------------
// Casts, operators and the library's exceptions.

integer Doubled(integer const& value) { return integer{value.value * 2}; }
integer Minus(integer const& left, integer const& right) {
  return integer{left.value - right.value};
}

TEST_F(CallsTest, CastAndOperatorAreCalledThroughTheirThunks) {
  RegisteredCast doubled(Using<Cast<integer, integer>>, "doubled", "integer", "integer", &Doubled,
                         nullptr);
  RegisteredOperator minus(Using<Operator2<integer, integer, integer>>, kOperatorConcatenation,
                           "integer", "integer", "integer", &Minus, nullptr);
  EXPECT_EQ(42, host.Cast("doubled", MakeInteger(21)).As<integer>().value);
  auto const* const op = host.GetRegistry().FindOperator(kOperatorConcatenation, host.IntegerType(),
                                                         host.IntegerType());
  ASSERT_NE(nullptr, op);
  Value const difference =
      survey::host::CallOperator(*op, host.IntegerType(), MakeInteger(50), MakeInteger(8));
  EXPECT_EQ(42, difference.As<integer>().value);
  EXPECT_EQ(ErrorKind::kNoSuchProperty,
            ErrorOf([&] { host.Cast("doubled", host.MakeString("x")); }).Kind());
}

class Explained : public SurveyorDefinedError {
 public:
  surveyor_string Message() const override {
    return surveyor_string{reinterpret_cast<unsigned char const*>("the disk is asleep"), 18};
  }
};

integer NoContext() { throw NoSurveyorContext(); }
integer ContextFails() { throw SurveyorContextError(); }
integer NotNow() { throw CannotEvaluateNow(); }
integer Explains() { throw Explained(); }
integer Breaks() { throw std::runtime_error("broken"); }

TEST_F(CallsTest, LibraryExceptionsBecomeEvaluationErrorsOfTheirKind) {
  Prop noContext(Using<GlobalProperty<integer>>, "no context", "no contexts", "", "", "integer",
                 &NoContext, nullptr);
  Prop contextFails(Using<GlobalProperty<integer>>, "context fails", "context failures", "", "",
                    "integer", &ContextFails, nullptr);
  Prop notNow(Using<GlobalProperty<integer>>, "not now", "not nows", "", "", "integer", &NotNow,
              nullptr);
  Prop explains(Using<GlobalProperty<integer>>, "explains", "explanations", "", "", "integer",
                &Explains, nullptr);
  Prop breaks(Using<GlobalProperty<integer>>, "breaks", "breakages", "", "", "integer", &Breaks,
              nullptr);
  EXPECT_EQ(ErrorKind::kNotAvailable, ErrorOf([&] { Integers(*Ask("no context")); }).Kind());
  EXPECT_EQ(ErrorKind::kNotAvailable, ErrorOf([&] { Integers(*Ask("context fails")); }).Kind());
  EXPECT_EQ(ErrorKind::kNotAvailable, ErrorOf([&] { Integers(*Ask("not now")); }).Kind());
  EvaluationError const explained = ErrorOf([&] { Integers(*Ask("explains")); });
  EXPECT_EQ(ErrorKind::kMessage, explained.Kind());
  EXPECT_EQ(std::string("the disk is asleep"), explained.what());
  EvaluationError const broken = ErrorOf([&] { Integers(*Ask("breaks")); });
  EXPECT_EQ(ErrorKind::kMessage, broken.Kind());
  EXPECT_NE(std::string::npos, std::string(broken.what()).find("broken"));
}

}  // namespace

// ---------------------------------------------------------------------------
// Arena memory of iterated values: what a later step asks for is given back
// when a consumer that keeps nothing of the value gives it back, so that a
// long stream runs in bounded memory; a value merely dropped leaves its
// memory standing, for what the library may have copied out of it.

// Each step hands out 64 KiB of surveyor memory, filled with its number,
// as a string; the first step also keeps a block of its own.
class ChunkTicker {
 public:
  surveyor_string First() {
    kept_ = Allocate_Surveyor_Memory(16);
    std::memset(kept_, 0x5A, 16);
    return Make();
  }
  surveyor_string Next() {
    for (int i = 0; i < 16; ++i) {
      if (kept_[i] != 0x5A) throw CannotEvaluateNow();  // the kept block was reused
    }
    if (count_ == 200) throw NoSuchObject();
    return Make();
  }

 private:
  surveyor_string Make() {
    ++count_;
    unsigned char* const bytes = Allocate_Surveyor_Memory(kSize);
    std::memset(bytes, count_ & 0xFF, kSize);
    return surveyor_string{bytes, kSize};
  }
  static constexpr unsigned long kSize = 64 * 1024;
  unsigned char* kept_ = nullptr;
  int count_ = 0;
};

struct StringsOfWorld : PropRecord {
  explicit StringsOfWorld(char const* phrase) : PropRecord{} {
    using Adaptor = IteratedGlobalProperty<ChunkTicker, surveyor_string>;
    Register_Iterated_Property(this, kRecordHostArea, phrase, phrase, "", "", "string",
                               sizeof(ChunkTicker), &IteratorBasics<ChunkTicker>::Construct,
                               &IteratorBasics<ChunkTicker>::Destroy, &Adaptor::First,
                               &Adaptor::Next, this, nullptr);
  }
  ~StringsOfWorld() { Unregister_Property(this); }
};

TEST_F(CallsTest, IteratedValuesGivenBackGiveTheirArenaMemoryBack) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  Value value;
  int count = 0;
  std::size_t highest = 0;
  while (stream->Next(value)) {
    ++count;
    surveyor_string const& text = value.As<surveyor_string>();
    ASSERT_EQ(text.data[0], count & 0xFF);
    ASSERT_EQ(text.data[text.length - 1], count & 0xFF);
    highest = std::max(highest, evaluation->GetArena().BytesInUse());
    value.GiveBack();
    EXPECT_TRUE(value.Empty());
  }
  EXPECT_EQ(200, count);
  // Two values at most stand at once: far below 200 of 64 KiB.
  EXPECT_LT(highest, 4u * 64 * 1024);
}

TEST_F(CallsTest, IteratedValuesDroppedKeepTheirArenaMemory) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  Value value;
  surveyor_string first{};
  while (stream->Next(value)) {
    if (first.data == nullptr) first = value.As<surveyor_string>();
    value = Value();
  }
  // The copy of the first value still reads what its step wrote.
  EXPECT_GE(evaluation->GetArena().BytesInUse(), 200u * 64 * 1024);
  EXPECT_EQ(1, first.data[0]);
  EXPECT_EQ(1, first.data[first.length - 1]);
}

TEST_F(CallsTest, AValueGivenBackWhileAnotherHandleHoldsItStays) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  ASSERT_TRUE(stream->Next(value));
  Value const held = value;
  std::size_t const before = evaluation->GetArena().BytesInUse();
  value.GiveBack();
  EXPECT_EQ(before, evaluation->GetArena().BytesInUse());
  EXPECT_EQ(2, held.As<surveyor_string>().data[0]);
}

integer ChunkSize(surveyor_string const& chunk) {
  return integer{static_cast<long long>(chunk.length)};
}

TEST_F(CallsTest, AValueGivenBackTakesTheMemoryOfOperandsThatGoWithIt) {
  StringsOfWorld chunks("chunks");
  RegisteredCast sizeCast(Using<Cast<surveyor_string, integer>>, "size", "string", "integer",
                          &ChunkSize, nullptr);
  auto stream = Ask("chunks");
  Value value;
  ASSERT_TRUE(stream->Next(value));
  ASSERT_TRUE(stream->Next(value));
  value = Value();
  // The third chunk lies in the same arena chunk as the second, on top.
  std::size_t const before = evaluation->GetArena().BytesInUse();
  ASSERT_TRUE(stream->Next(value));
  std::size_t const withChunk = evaluation->GetArena().BytesInUse();
  EXPECT_EQ(before + 64 * 1024, withChunk);
  Value size = host.Cast("size", value);
  EXPECT_EQ(64 * 1024, size.As<integer>().value);
  // Dropped, the chunk stays: the size holds it as its operand.
  value = Value();
  EXPECT_EQ(withChunk, evaluation->GetArena().BytesInUse());
  size.GiveBack();
  EXPECT_EQ(before, evaluation->GetArena().BytesInUse());
}

// Keeps the least chunk it is given by copy, as an extremum does: the copy
// points into the memory of a value the aggregate has dropped.
class LeastChunk {
 public:
  void Clear() { any_ = false; }
  void Add(Of, surveyor_string const& chunk) {
    if (!any_ || chunk.data[0] < least_.data[0]) least_ = chunk;
    any_ = true;
  }
  surveyor_string Least() {
    if (!any_) throw NoSuchObject();
    return least_;
  }

 private:
  surveyor_string least_{};
  bool any_ = false;
};

TEST_F(CallsTest, AnAggregateKeepsTheMemoryOfTheElementsItWasGiven) {
  StringsOfWorld chunks("chunks");
  Prop least(static_cast<LeastChunk*>(nullptr), "least", "leasts", "", "string", "string",
             survey::frame::AggregatePhases{
                 &SimpleAggregator<LeastChunk>::Initialize, nullptr,
                 &SimpleAggregatorOfObject<LeastChunk, surveyor_string>::Aggregate, nullptr,
                 &AggregatorBasics<LeastChunk, surveyor_string>::FirstFinal, nullptr},
             survey::frame::AggregateMembers{ToMemberSlot(&LeastChunk::Clear), nullptr,
                                             ToMemberSlot(&LeastChunk::Add), nullptr,
                                             ToMemberSlot(&LeastChunk::Least), nullptr},
             nullptr);
  auto const& registry = host.GetRegistry();
  PropertyEntry const* const entry = registry.FindProperty("least", nullptr, host.StringType());
  ASSERT_NE(nullptr, entry);
  auto stream = survey::host::OpenAggregate(Bind(registry, *entry), Value(), Ask("chunks"));
  Value answer;
  ASSERT_TRUE(stream->Next(answer));
  // Chunk 1 fills its bytes with 1: the least of all, read after 199 more
  // chunks were made.
  surveyor_string const& text = answer.As<surveyor_string>();
  EXPECT_EQ(1, text.data[0]);
  EXPECT_EQ(1, text.data[text.length - 1]);
}

TEST_F(CallsTest, KeptIteratedValuesKeepTheirArenaMemory) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  std::vector<Value> kept;
  Value value;
  while (stream->Next(value)) kept.push_back(value);
  ASSERT_EQ(200u, kept.size());
  EXPECT_GE(evaluation->GetArena().BytesInUse(), 200u * 64 * 1024);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    surveyor_string const& text = kept[i].As<surveyor_string>();
    ASSERT_EQ(text.data[0], (i + 1) & 0xFF) << i;
    ASSERT_EQ(text.data[text.length - 1], (i + 1) & 0xFF) << i;
  }
  // Dropped out of order, nothing is given back under a value still held.
  Value const last = kept.back();
  kept.erase(kept.begin() + 1, kept.end() - 1);
  EXPECT_EQ(last.As<surveyor_string>().data[0], 200);
}

// ---------------------------------------------------------------------------
// Values lent to a test and passed over: each is seen whole by the test, and
// what the test does not keep goes, with its arena memory; what it keeps
// stays whole, with the state and memory it points into.

namespace {

// Counts the chunks whose bytes are even, checking that each is whole.
struct EvenChunks {
  int seen = 0;
  int broken = 0;
  std::size_t highest = 0;
  Evaluation* evaluation = nullptr;
  static bool Test(void const* context, Value const& value) {
    auto* const self = const_cast<EvenChunks*>(static_cast<EvenChunks const*>(context));
    ++self->seen;
    surveyor_string const& text = value.As<surveyor_string>();
    if (text.data[0] != (self->seen & 0xFF) || text.data[text.length - 1] != (self->seen & 0xFF)) {
      ++self->broken;
    }
    self->highest = std::max(self->highest, self->evaluation->GetArena().BytesInUse());
    return self->seen % 2 == 0;
  }
};

// Keeps every third value it is shown.
struct KeepingTest {
  std::vector<Value> kept;
  int seen = 0;
  static bool Test(void const* context, Value const& value) {
    auto* const self = const_cast<KeepingTest*>(static_cast<KeepingTest const*>(context));
    if (++self->seen % 3 == 0) self->kept.push_back(value);
    return true;
  }
};

}  // namespace

TEST_F(CallsTest, TestedValuesAreSeenWholeAndTheirArenaMemoryGoesBack) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  EvenChunks even;
  even.evaluation = evaluation.get();
  survey::host::ValueTest const test{&EvenChunks::Test, &even};
  int steps = 0;
  int passed = 0;
  bool answer = false;
  while (stream->Skip(test, answer)) {
    ++steps;
    if (answer) ++passed;
  }
  EXPECT_EQ(200, steps);
  EXPECT_EQ(200, even.seen);
  EXPECT_EQ(100, passed);
  EXPECT_EQ(0, even.broken);
  // Two values at most stand at once: far below 200 of 64 KiB.
  EXPECT_LT(even.highest, 4u * 64 * 1024);
}

TEST_F(CallsTest, TestedValuesThatTheTestKeepsStayWhole) {
  StringsOfWorld chunks("chunks");
  auto stream = Ask("chunks");
  KeepingTest keeping;
  survey::host::ValueTest const test{&KeepingTest::Test, &keeping};
  bool answer = false;
  int steps = 0;
  while (stream->Skip(test, answer)) ++steps;
  stream.reset();
  EXPECT_EQ(200, steps);
  ASSERT_EQ(66u, keeping.kept.size());
  // The k-th kept value is the chunk of step 3k; a later value made in the
  // same place would have overwritten its bytes.
  for (std::size_t k = 0; k < keeping.kept.size(); ++k) {
    surveyor_string const& text = keeping.kept[k].As<surveyor_string>();
    int const number = static_cast<int>((k + 1) * 3) & 0xFF;
    ASSERT_EQ(number, text.data[0]) << k;
    ASSERT_EQ(number, text.data[text.length - 1]) << k;
  }
  EXPECT_GE(evaluation->GetArena().BytesInUse(), 66u * 64 * 1024);
}

TEST_F(CallsTest, ATestedValueThatTheTestKeepsKeepsTheIteratorStateAlive) {
  IteratedOfWorld<Ticker> tick("tick", "ticks", "integer");
  ticks = Lifetimes();
  auto stream = Ask("ticks");
  KeepingTest keeping;
  survey::host::ValueTest const test{&KeepingTest::Test, &keeping};
  bool answer = false;
  int steps = 0;
  while (stream->Skip(test, answer)) ++steps;
  EXPECT_EQ(5, steps);
  ASSERT_EQ(1u, keeping.kept.size());
  EXPECT_EQ(3, keeping.kept[0].As<integer>().value);
  stream.reset();
  // The state goes with the last value that holds it.
  EXPECT_EQ(0, ticks.destroyed);
  keeping.kept.clear();
  EXPECT_EQ(1, ticks.constructed);
  EXPECT_EQ(1, ticks.destroyed);
}

// ---------------------------------------------------------------------------
// Passes over many values.

namespace {

struct PassCounts {
  int nexts = 0;
  int passes = 0;
  int destroyed = 0;
};
PassCounts passing;

// Yields 1 to 1000; a pass moves on as Next would, and writes each value
// into one place that it asks the arena for once a call.
class Thousand {
 public:
  ~Thousand() { ++passing.destroyed; }
  integer First() {
    count_ = 1;
    return integer{count_};
  }
  integer Next() {
    ++passing.nexts;
    if (count_ == kLast) throw NoSuchObject();
    return integer{++count_};
  }
  static unsigned long Pass(void const*, void const*, void* state, void const*,
                            unsigned long most) {
    ++passing.passes;
    auto& self = *static_cast<Thousand*>(state);
    auto* const place = reinterpret_cast<long long*>(Allocate_Surveyor_Memory(sizeof(long long)));
    unsigned long moved = 0;
    while (moved != most && self.count_ != kLast) {
      *place = ++self.count_;
      ++moved;
    }
    return moved;
  }
  static constexpr long long kLast = 1000;

 private:
  long long count_ = 0;
};

// The pass of the record `thousands` points to, for the host's AdoptOffers.
void const* thousands = nullptr;
survey::host::IteratedPassOver PassOf(void const* context) {
  return context == thousands ? &Thousand::Pass : nullptr;
}
survey::host::LibraryOffers Passes() {
  survey::host::LibraryOffers offers;
  offers.passOf = &PassOf;
  return offers;
}

}  // namespace

TEST_F(CallsTest, APassMovesOnAsNextWouldAndGivesItsMemoryBack) {
  unsigned long long const since = host.GetRegistry().Sequence();
  IteratedOfWorld<Thousand> record("thousand", "thousands", "integer");
  thousands = &record;
  host.GetRegistry().AdoptOffers(since, Passes());
  passing = PassCounts();
  auto stream = Ask("thousands");
  // The first value comes by First; the others by passes, in as many calls
  // as the sizes asked for. The arena's first chunk may come with the first
  // call; what the calls ask for after that is given back.
  EXPECT_EQ(3u, stream->SkipMany(3));
  EXPECT_EQ(1, passing.passes);
  std::size_t const before = evaluation->GetArena().BytesInUse();
  EXPECT_EQ(500u, stream->SkipMany(500));
  EXPECT_EQ(497u, stream->SkipMany(600));
  EXPECT_EQ(0, passing.nexts);
  EXPECT_EQ(3, passing.passes);
  EXPECT_EQ(before, evaluation->GetArena().BytesInUse());
  // The short pass ended the stream and let go of the state.
  EXPECT_EQ(1, passing.destroyed);
  EXPECT_EQ(0u, stream->SkipMany(10));
  Value value;
  EXPECT_FALSE(stream->Next(value));
  EXPECT_EQ(3, passing.passes);
}

TEST_F(CallsTest, WithoutAPassTheValuesArePassedOverOneByOne) {
  IteratedOfWorld<Thousand> record("thousand", "thousands", "integer");
  // A pass offered for records registered before this one is not its own.
  thousands = &record;
  host.GetRegistry().AdoptOffers(host.GetRegistry().Sequence(), Passes());
  passing = PassCounts();
  auto stream = Ask("thousands");
  EXPECT_EQ(10u, stream->SkipMany(10));
  EXPECT_EQ(990u, stream->SkipMany(5000));
  EXPECT_EQ(0, passing.passes);
  EXPECT_EQ(1000, passing.nexts);
  EXPECT_EQ(1, passing.destroyed);
}

TEST_F(CallsTest, AnInterruptStopsAPassOfManyValues) {
  unsigned long long const since = host.GetRegistry().Sequence();
  IteratedOfWorld<Thousand> record("thousand", "thousands", "integer");
  thousands = &record;
  host.GetRegistry().AdoptOffers(since, Passes());
  auto stream = Ask("thousands");
  EXPECT_EQ(1u, stream->SkipMany(1));
  Evaluation::RequestInterrupt();
  EXPECT_EQ(ErrorKind::kInterrupted, ErrorOf([&] { stream->SkipMany(100); }).Kind());
  Evaluation::ClearInterrupt();
}

// ---------------------------------------------------------------------------
// Searches for values that may hold given bytes.

namespace {

struct SearchCounts {
  int nexts = 0;
  int searches = 0;
};
SearchCounts searching;

// Yields 1 to 1000; its search passes over the numbers whose decimal text
// does not hold the bytes.
class Numbered {
 public:
  integer First() {
    count_ = 1;
    return integer{count_};
  }
  integer Next() {
    ++searching.nexts;
    if (count_ == kLast) throw NoSuchObject();
    return integer{++count_};
  }
  static int Search(void* result, void const*, void const*, void* state, void const*,
                    unsigned char const* bytes, unsigned long length) {
    ++searching.searches;
    auto& self = *static_cast<Numbered*>(state);
    std::string const sought(reinterpret_cast<char const*>(bytes), length);
    while (self.count_ != kLast) {
      ++self.count_;
      if (std::to_string(self.count_).find(sought) != std::string::npos) {
        ::new (result) integer{self.count_};
        return 1;
      }
    }
    throw NoSuchObject();
  }
  static constexpr long long kLast = 1000;

 private:
  long long count_ = 0;
};

void const* numbers = nullptr;
survey::host::IteratedNextHolding SearchOf(void const* context) {
  return context == numbers ? &Numbered::Search : nullptr;
}

// The numbers from 1 to 1000 whose text holds the bytes, as a test of each
// would find them.
std::vector<long long> Holding(std::string const& bytes) {
  std::vector<long long> found;
  for (long long n = 1; n <= Numbered::kLast; ++n) {
    if (std::to_string(n).find(bytes) != std::string::npos) found.push_back(n);
  }
  return found;
}

// Offers the numbers' search to the records registered since `since`, the
// numbers' record being `record`, and starts the counts afresh.
void OfferSearch(survey::host::Registry& registry, unsigned long long since,
                 void const* record) {
  numbers = record;
  survey::host::LibraryOffers offers;
  offers.nextHoldingOf = &SearchOf;
  registry.AdoptOffers(since, offers);
  searching = SearchCounts();
}

std::vector<long long> PulledHolding(Stream& stream, std::string const& bytes) {
  std::vector<long long> values;
  Value value;
  while (stream.NextHolding(bytes, value)) values.push_back(value.As<integer>().value);
  return values;
}

}  // namespace

TEST_F(CallsTest, ASearchGivesTheFirstValueByFirstAndThenOnlyValuesThatMayHoldTheBytes) {
  unsigned long long const since = host.GetRegistry().Sequence();
  IteratedOfWorld<Numbered> record("number", "numbers", "integer");
  OfferSearch(host.GetRegistry(), since, &record);
  auto stream = Ask("numbers");
  std::vector<long long> expected = Holding("77");
  // The first value is First's, whatever it holds.
  expected.insert(expected.begin(), 1);
  EXPECT_EQ(expected, PulledHolding(*stream, "77"));
  EXPECT_EQ(0, searching.nexts);
  EXPECT_EQ(static_cast<int>(expected.size()), searching.searches);
  // No bytes at all: every value, by Next.
  searching = SearchCounts();
  auto every = Ask("numbers");
  EXPECT_EQ(1000u, PulledHolding(*every, "").size());
  EXPECT_EQ(0, searching.searches);
  EXPECT_EQ(1000, searching.nexts);
}

// Records the values it is shown, keeps every third, and passes every
// second.
struct RecordingTest {
  std::vector<long long> seen;
  std::vector<Value> kept;
  static bool Test(void const* context, Value const& value) {
    auto* const self = const_cast<RecordingTest*>(static_cast<RecordingTest const*>(context));
    self->seen.push_back(value.As<integer>().value);
    if (self->seen.size() % 3 == 0) self->kept.push_back(value);
    return self->seen.size() % 2 == 0;
  }
};

TEST_F(CallsTest, ATestOfTheValuesThatMayHoldTheBytesSeesThoseTheSearchGives) {
  unsigned long long const since = host.GetRegistry().Sequence();
  IteratedOfWorld<Numbered> record("number", "numbers", "integer");
  OfferSearch(host.GetRegistry(), since, &record);
  auto stream = Ask("numbers");
  RecordingTest recording;
  survey::host::ValueTest const test{&RecordingTest::Test, &recording};
  bool passed = false;
  int passes = 0;
  while (stream->SkipHolding("77", test, passed)) passes += passed ? 1 : 0;
  stream.reset();
  std::vector<long long> expected = Holding("77");
  expected.insert(expected.begin(), 1);
  EXPECT_EQ(expected, recording.seen);
  EXPECT_EQ(0, searching.nexts);
  EXPECT_EQ(static_cast<int>(expected.size()), searching.searches);
  EXPECT_EQ(static_cast<int>(expected.size() / 2), passes);
  // The values the test kept stay whole after the stream has gone.
  ASSERT_EQ(expected.size() / 3, recording.kept.size());
  for (std::size_t k = 0; k < recording.kept.size(); ++k) {
    EXPECT_EQ(expected[3 * k + 2], recording.kept[k].As<integer>().value) << k;
  }
}

TEST_F(CallsTest, WithoutASearchEveryValueComesByNext) {
  IteratedOfWorld<Numbered> record("number", "numbers", "integer");
  // A search offered for records registered before this one is not its own.
  OfferSearch(host.GetRegistry(), host.GetRegistry().Sequence(), &record);
  auto stream = Ask("numbers");
  EXPECT_EQ(1000u, PulledHolding(*stream, "77").size());
  EXPECT_EQ(0, searching.searches);
  EXPECT_EQ(1000, searching.nexts);
}
