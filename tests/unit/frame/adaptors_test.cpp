// The adaptors between the host's raw calling shape and typed surveyor
// functions and iterator classes: what each family passes on, what it makes
// of a null result, a negative number and an exception.

#include "survey/frame/adaptors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Pointers that must never be read: the adaptors that ignore an argument are
// handed these in its place.
void const* const kGarbage = reinterpret_cast<void const*>(static_cast<std::uintptr_t>(0x11));
void* const kGarbageState = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x13));

// An object type, an index type and a result type of the test surveyors.
struct Thing {
  long long id;
};
struct Label {
  int code;
};
struct Answer {
  long long value;
  int tag;
};

// What the test surveyors saw on their last call.
struct Seen {
  int calls = 0;
  void const* object = nullptr;
  void const* index = nullptr;
  unsigned long long number = 0;
  unsigned char const* name = nullptr;
  unsigned long length = 0;
};
Seen seen;

// Raw memory for a result, as the host hands it over: filled with a pattern
// so that a test can tell whether anything was constructed in it.
template <class T>
struct Slot {
  alignas(T) unsigned char bytes[sizeof(T)];
  Slot() { std::memset(bytes, 0xA5, sizeof bytes); }
  void* Raw() { return bytes; }
  T const& Value() const { return *std::launder(reinterpret_cast<T const*>(bytes)); }
  bool Untouched() const {
    for (unsigned char byte : bytes) {
      if (byte != 0xA5) return false;
    }
    return true;
  }
};

class AdaptorTest : public ::testing::Test {
 protected:
  void SetUp() override { seen = Seen(); }
};

template <class F>
ShortRecord RecordOf(F function) {
  ShortRecord record{};
  record.function = ToFunctionSlot(function);
  return record;
}

// ---------------------------------------------------------------------------
// Simple property families.

Answer AnswerOfThing(Thing const& thing) {
  ++seen.calls;
  seen.object = &thing;
  return Answer{thing.id * 2, 1};
}

Answer AnswerOfObject(Of, Thing const& thing) {
  ++seen.calls;
  seen.object = &thing;
  return Answer{thing.id + 1, 2};
}

Answer AnswerOfWorld() {
  ++seen.calls;
  return Answer{77, 3};
}

Answer AnswerByIndexOfObject(Label const& label, Of, Thing const& thing) {
  ++seen.calls;
  seen.index = &label;
  seen.object = &thing;
  return Answer{label.code * 1000 + thing.id, 4};
}

Answer AnswerByIndexOfWorld(Label const& label) {
  ++seen.calls;
  seen.index = &label;
  return Answer{label.code, 5};
}

Answer NumberedAnswer(unsigned long long number, Thing const& thing) {
  ++seen.calls;
  seen.number = number;
  seen.object = &thing;
  return Answer{static_cast<long long>(number) + thing.id, 6};
}

Answer NumberedWorldAnswer(unsigned long long number) {
  ++seen.calls;
  seen.number = number;
  return Answer{static_cast<long long>(number), 7};
}

// Decides for itself which numbers exist: only the odd ones.
Answer OddOnly(unsigned long long number) {
  ++seen.calls;
  seen.number = number;
  if (number % 2 == 0) throw NoSuchObject();
  return Answer{static_cast<long long>(number), 8};
}

Answer NamedAnswer(unsigned char const* name, unsigned long length, Thing const& thing) {
  ++seen.calls;
  seen.name = name;
  seen.length = length;
  seen.object = &thing;
  return Answer{static_cast<long long>(length), 9};
}

Answer NamedWorldAnswer(unsigned char const* name, unsigned long length) {
  ++seen.calls;
  seen.name = name;
  seen.length = length;
  return Answer{static_cast<long long>(length), 10};
}

TEST_F(AdaptorTest, PropertyPassesTheObjectAndBuildsTheResultInPlace) {
  ShortRecord const record = RecordOf(&AnswerOfThing);
  Thing const thing{21};
  Slot<Answer> result;
  EXPECT_EQ(1,
            (Property<Thing, Answer>::Get(result.Raw(), kGarbage, &thing, kGarbageState, &record)));
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(42, result.Value().value);
  EXPECT_EQ(1, result.Value().tag);
}

TEST_F(AdaptorTest, PropertyOfObjectPassesTheObject) {
  ShortRecord const record = RecordOf(&AnswerOfObject);
  Thing const thing{9};
  Slot<Answer> result;
  EXPECT_EQ(1, (PropertyOfObject<Answer, Thing>::Get(result.Raw(), kGarbage, &thing, kGarbageState,
                                                     &record)));
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(10, result.Value().value);
  EXPECT_EQ(2, result.Value().tag);
}

// An empty index type and an empty object type make a property of the world:
// its adaptor reads neither argument, so any pointer at all may stand there.
TEST_F(AdaptorTest, PropertyOfWorldIgnoresIndexAndObject) {
  ShortRecord const record = RecordOf(&AnswerOfWorld);
  Slot<Answer> first;
  EXPECT_EQ(1,
            PropertyOfWorld<Answer>::Get(first.Raw(), kGarbage, kGarbage, kGarbageState, &record));
  Slot<Answer> second;
  EXPECT_EQ(1, PropertyOfWorld<Answer>::Get(second.Raw(), nullptr, nullptr, nullptr, &record));
  EXPECT_EQ(2, seen.calls);
  EXPECT_EQ(77, first.Value().value);
  EXPECT_EQ(77, second.Value().value);
  EXPECT_EQ(3, second.Value().tag);
}

TEST_F(AdaptorTest, GlobalPropertyIgnoresIndexAndObject) {
  ShortRecord const record = RecordOf(&AnswerOfWorld);
  Slot<Answer> first;
  EXPECT_EQ(1,
            GlobalProperty<Answer>::Get(first.Raw(), kGarbage, kGarbage, kGarbageState, &record));
  Slot<Answer> second;
  EXPECT_EQ(1, GlobalProperty<Answer>::Get(second.Raw(), nullptr, nullptr, nullptr, &record));
  EXPECT_EQ(2, seen.calls);
  EXPECT_EQ(77, first.Value().value);
  EXPECT_EQ(77, second.Value().value);
}

TEST_F(AdaptorTest, PropertyByIndexOfObjectPassesIndexThenObject) {
  ShortRecord const record = RecordOf(&AnswerByIndexOfObject);
  Label const label{3};
  Thing const thing{14};
  Slot<Answer> result;
  EXPECT_EQ(1, (PropertyByIndexOfObject<Answer, Label, Thing>::Get(result.Raw(), &label, &thing,
                                                                   kGarbageState, &record)));
  EXPECT_EQ(&label, seen.index);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(3014, result.Value().value);
  EXPECT_EQ(4, result.Value().tag);
}

TEST_F(AdaptorTest, PropertyByIndexOfWorldPassesTheIndexAndIgnoresTheObject) {
  ShortRecord const record = RecordOf(&AnswerByIndexOfWorld);
  Label const label{-8};
  Slot<Answer> result;
  EXPECT_EQ(1, (PropertyByIndexOfWorld<Answer, Label>::Get(result.Raw(), &label, kGarbage,
                                                           kGarbageState, &record)));
  EXPECT_EQ(&label, seen.index);
  EXPECT_EQ(-8, result.Value().value);
  EXPECT_EQ(5, result.Value().tag);
}

TEST_F(AdaptorTest, NamedPropertyPassesBothWordsOfTheName) {
  ShortRecord const record = RecordOf(&NamedAnswer);
  static unsigned char const kName[] = {'P', 'A', 'T', 'H', 0, 'x'};
  surveyor_string const name{kName, sizeof kName};
  Thing const thing{1};
  Slot<Answer> result;
  EXPECT_EQ(
      1, (NamedProperty<Thing, Answer>::Get(result.Raw(), &name, &thing, kGarbageState, &record)));
  EXPECT_EQ(kName, seen.name);
  EXPECT_EQ(sizeof kName, seen.length);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(static_cast<long long>(sizeof kName), result.Value().value);
  EXPECT_EQ(9, result.Value().tag);
}

TEST_F(AdaptorTest, NamedGlobalPropertyPassesBothWordsAndIgnoresTheObject) {
  ShortRecord const record = RecordOf(&NamedWorldAnswer);
  static unsigned char const kName[] = {'H', 'O', 'M', 'E'};
  surveyor_string const name{kName, 3};
  Slot<Answer> result;
  EXPECT_EQ(
      1, NamedGlobalProperty<Answer>::Get(result.Raw(), &name, kGarbage, kGarbageState, &record));
  EXPECT_EQ(kName, seen.name);
  EXPECT_EQ(3u, seen.length);
  EXPECT_EQ(3, result.Value().value);
  EXPECT_EQ(10, result.Value().tag);
}

TEST_F(AdaptorTest, NamedGlobalPropertyPassesAnEmptyNameAsItIs) {
  ShortRecord const record = RecordOf(&NamedWorldAnswer);
  surveyor_string const name{nullptr, 0};
  Slot<Answer> result;
  EXPECT_EQ(1, NamedGlobalProperty<Answer>::Get(result.Raw(), &name, nullptr, nullptr, &record));
  EXPECT_EQ(nullptr, seen.name);
  EXPECT_EQ(0u, seen.length);
}

// ---------------------------------------------------------------------------
// Numbered families: a negative index is refused before anything else.

TEST_F(AdaptorTest, NumberedPropertyRefusesMinusOneEvenWithNullResult) {
  ShortRecord const record = RecordOf(&NumberedAnswer);
  Thing const thing{5};
  integer const index{-1};
  EXPECT_EQ(
      0, (NumberedProperty<Thing, Answer>::Get(nullptr, &index, &thing, kGarbageState, &record)));
  Slot<Answer> result;
  EXPECT_EQ(0, (NumberedProperty<Thing, Answer>::Get(result.Raw(), &index, &thing, kGarbageState,
                                                     &record)));
  EXPECT_EQ(0, seen.calls);
  EXPECT_TRUE(result.Untouched());
}

TEST_F(AdaptorTest, NumberedPropertyRefusesTheMostNegativeIndex) {
  ShortRecord const record = RecordOf(&NumberedAnswer);
  Thing const thing{5};
  integer const index{INT64_MIN};
  Slot<Answer> result;
  EXPECT_EQ(0, (NumberedProperty<Thing, Answer>::Get(result.Raw(), &index, &thing, kGarbageState,
                                                     &record)));
  EXPECT_EQ(0, seen.calls);
  EXPECT_TRUE(result.Untouched());
}

TEST_F(AdaptorTest, NumberedPropertyPassesIndexZeroToTheFunction) {
  ShortRecord const record = RecordOf(&NumberedAnswer);
  Thing const thing{5};
  integer const index{0};
  Slot<Answer> result;
  EXPECT_EQ(1, (NumberedProperty<Thing, Answer>::Get(result.Raw(), &index, &thing, kGarbageState,
                                                     &record)));
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(0u, seen.number);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(5, result.Value().value);
  EXPECT_EQ(6, result.Value().tag);
}

TEST_F(AdaptorTest, NumberedPropertyPassesALargeIndexUnchanged) {
  ShortRecord const record = RecordOf(&NumberedAnswer);
  Thing const thing{0};
  integer const index{INT64_MAX};
  Slot<Answer> result;
  EXPECT_EQ(1, (NumberedProperty<Thing, Answer>::Get(result.Raw(), &index, &thing, kGarbageState,
                                                     &record)));
  EXPECT_EQ(static_cast<unsigned long long>(INT64_MAX), seen.number);
}

TEST_F(AdaptorTest, NumberedGlobalPropertyRefusesMinusOneEvenWithNullResult) {
  ShortRecord const record = RecordOf(&NumberedWorldAnswer);
  integer const index{-1};
  EXPECT_EQ(0,
            NumberedGlobalProperty<Answer>::Get(nullptr, &index, kGarbage, kGarbageState, &record));
  Slot<Answer> result;
  EXPECT_EQ(0, NumberedGlobalProperty<Answer>::Get(result.Raw(), &index, kGarbage, kGarbageState,
                                                   &record));
  EXPECT_EQ(0, seen.calls);
  EXPECT_TRUE(result.Untouched());
}

TEST_F(AdaptorTest, NumberedGlobalPropertyPassesIndexZeroToTheFunction) {
  ShortRecord const record = RecordOf(&NumberedWorldAnswer);
  integer const index{0};
  Slot<Answer> result;
  EXPECT_EQ(1, NumberedGlobalProperty<Answer>::Get(result.Raw(), &index, kGarbage, kGarbageState,
                                                   &record));
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(0u, seen.number);
  EXPECT_EQ(0, result.Value().value);
  EXPECT_EQ(7, result.Value().tag);
}

// Index 0 is the function's to judge: here it says there is none.
TEST_F(AdaptorTest, NumberedGlobalPropertyLetsTheFunctionRefuseIndexZero) {
  ShortRecord const record = RecordOf(&OddOnly);
  integer const zero{0};
  Slot<Answer> result;
  EXPECT_THROW(NumberedGlobalProperty<Answer>::Get(result.Raw(), &zero, nullptr, nullptr, &record),
               NoSuchObject);
  EXPECT_EQ(1, seen.calls);
  EXPECT_TRUE(result.Untouched());
  integer const one{1};
  EXPECT_EQ(1, NumberedGlobalProperty<Answer>::Get(result.Raw(), &one, nullptr, nullptr, &record));
  EXPECT_EQ(1, result.Value().value);
}

TEST_F(AdaptorTest, NumberedPropertyWithNullResultAndValidIndexCallsNothing) {
  ShortRecord const record = RecordOf(&NumberedAnswer);
  Thing const thing{5};
  integer const index{4};
  EXPECT_EQ(1, (NumberedProperty<Thing, Answer>::Get(nullptr, &index, &thing, nullptr, &record)));
  EXPECT_EQ(1, NumberedGlobalProperty<Answer>::Get(nullptr, &index, nullptr, nullptr, &record));
  EXPECT_EQ(0, seen.calls);
}

// ---------------------------------------------------------------------------
// A null result: 1, and the surveyor is not called.

TEST_F(AdaptorTest, EverySimplePropertyFamilyAnswersANullResultWithoutCalling) {
  Thing const thing{1};
  Label const label{2};
  surveyor_string const name{reinterpret_cast<unsigned char const*>("N"), 1};
  ShortRecord const ofThing = RecordOf(&AnswerOfThing);
  ShortRecord const ofObject = RecordOf(&AnswerOfObject);
  ShortRecord const ofWorld = RecordOf(&AnswerOfWorld);
  ShortRecord const byIndexOfObject = RecordOf(&AnswerByIndexOfObject);
  ShortRecord const byIndexOfWorld = RecordOf(&AnswerByIndexOfWorld);
  ShortRecord const named = RecordOf(&NamedAnswer);
  ShortRecord const namedWorld = RecordOf(&NamedWorldAnswer);
  EXPECT_EQ(1, (Property<Thing, Answer>::Get(nullptr, nullptr, &thing, nullptr, &ofThing)));
  EXPECT_EQ(1,
            (PropertyOfObject<Answer, Thing>::Get(nullptr, nullptr, &thing, nullptr, &ofObject)));
  EXPECT_EQ(1, PropertyOfWorld<Answer>::Get(nullptr, nullptr, nullptr, nullptr, &ofWorld));
  EXPECT_EQ(1, GlobalProperty<Answer>::Get(nullptr, nullptr, nullptr, nullptr, &ofWorld));
  EXPECT_EQ(1, (PropertyByIndexOfObject<Answer, Label, Thing>::Get(nullptr, &label, &thing, nullptr,
                                                                   &byIndexOfObject)));
  EXPECT_EQ(1, (PropertyByIndexOfWorld<Answer, Label>::Get(nullptr, &label, nullptr, nullptr,
                                                           &byIndexOfWorld)));
  EXPECT_EQ(1, (NamedProperty<Thing, Answer>::Get(nullptr, &name, &thing, nullptr, &named)));
  EXPECT_EQ(1, NamedGlobalProperty<Answer>::Get(nullptr, &name, nullptr, nullptr, &namedWorld));
  EXPECT_EQ(0, seen.calls);
}

// ---------------------------------------------------------------------------
// Iterated families.

// Counts up from the object's id (or from 100 for the world) and ends after
// three values. Its two pairs of members serve two phrases: one counts by
// one, the other by ten.
class Counter {
 public:
  Counter() { ++constructed; }
  ~Counter() { ++destroyed; }

  Answer First(Thing const& thing) {
    seen.object = &thing;
    return Start(thing.id, 1);
  }
  Answer Next(Thing const& thing) {
    seen.object = &thing;
    return Step();
  }
  Answer First() { return Start(100, 1); }
  Answer Next() { return Step(); }
  Answer First(unsigned char const* name, unsigned long length, Thing const& thing) {
    seen.name = name;
    seen.length = length;
    seen.object = &thing;
    return Start(static_cast<long long>(length), 1);
  }
  Answer Next(unsigned char const* name, unsigned long length, Thing const& thing) {
    seen.name = name;
    seen.length = length;
    seen.object = &thing;
    return Step();
  }

  // Slot-called pairs, of the world.
  Answer Ones() { return Start(0, 1); }
  Answer NextOne() { return Step(); }
  Answer Tens() { return Start(0, 10); }
  Answer NextTen() { return Step(); }

  // Slot-called pairs, of an object.
  Answer OnesOf(Of, Thing const& thing) {
    seen.object = &thing;
    return Start(thing.id, 1);
  }
  Answer NextOneOf(Of, Thing const& thing) {
    seen.object = &thing;
    return Step();
  }
  Answer TensOf(Of, Thing const& thing) {
    seen.object = &thing;
    return Start(thing.id, 10);
  }
  Answer NextTenOf(Of, Thing const& thing) {
    seen.object = &thing;
    return Step();
  }

  // Slot-called pairs with an index.
  Answer ByLabel(Label const& label, Of, Thing const& thing) {
    seen.index = &label;
    seen.object = &thing;
    return Start(thing.id, label.code);
  }
  Answer NextByLabel(Label const& label, Of, Thing const& thing) {
    seen.index = &label;
    seen.object = &thing;
    return Step();
  }
  Answer ByLabelOfWorld(Label const& label) {
    seen.index = &label;
    return Start(0, label.code);
  }
  Answer NextByLabelOfWorld(Label const& label) {
    seen.index = &label;
    return Step();
  }

  static int constructed;
  static int destroyed;

 private:
  Answer Start(long long from, long long step) {
    ++seen.calls;
    current_ = from;
    step_ = step;
    left_ = 2;
    return Answer{current_, 0};
  }
  Answer Step() {
    ++seen.calls;
    if (left_ == 0) throw NoSuchObject();
    --left_;
    current_ += step_;
    return Answer{current_, 0};
  }

  long long current_ = 0;
  long long step_ = 1;
  int left_ = 0;
};
int Counter::constructed = 0;
int Counter::destroyed = 0;

// A state in host memory, built and destroyed through IteratorBasics.
template <class It>
struct StateMemory {
  alignas(It) unsigned char bytes[sizeof(It)];
  StateMemory() { IteratorBasics<It>::Construct(bytes); }
  ~StateMemory() { IteratorBasics<It>::Destroy(bytes); }
  void* Raw() { return bytes; }
};

// Pulls a stream through an iterated adaptor's First and Next until "none".
template <class FirstFn, class NextFn>
std::vector<long long> Pull(FirstFn first, NextFn next, void const* index, void const* object,
                            void* state, void const* context) {
  std::vector<long long> values;
  Slot<Answer> slot;
  EXPECT_EQ(1, first(slot.Raw(), index, object, state, context));
  values.push_back(slot.Value().value);
  for (int guard = 0; guard < 100; ++guard) {
    Slot<Answer> more;
    try {
      EXPECT_EQ(1, next(more.Raw(), index, object, state, context));
    } catch (NoSuchObject const&) {
      EXPECT_TRUE(more.Untouched());
      return values;
    }
    values.push_back(more.Value().value);
  }
  ADD_FAILURE() << "the stream did not end";
  return values;
}

using Values = std::vector<long long>;

TEST_F(AdaptorTest, IteratedPropertyCallsFirstAndNextWithTheObject) {
  using A = IteratedProperty<Counter, Thing, Answer>;
  StateMemory<Counter> state;
  Thing const thing{40};
  EXPECT_EQ((Values{40, 41, 42}),
            Pull(&A::First, &A::Next, kGarbage, &thing, state.Raw(), kGarbage));
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(4, seen.calls);
}

TEST_F(AdaptorTest, IteratedGlobalPropertyIgnoresIndexObjectAndContext) {
  using A = IteratedGlobalProperty<Counter, Answer>;
  StateMemory<Counter> state;
  EXPECT_EQ((Values{100, 101, 102}),
            Pull(&A::First, &A::Next, kGarbage, kGarbage, state.Raw(), kGarbage));
}

TEST_F(AdaptorTest, IteratedNamedPropertyPassesTheNameAndTheObject) {
  using A = IteratedNamedProperty<Counter, Thing, Answer>;
  StateMemory<Counter> state;
  static unsigned char const kName[] = {'a', 'b', 'c', 'd', 'e'};
  surveyor_string const name{kName, 5};
  Thing const thing{0};
  EXPECT_EQ((Values{5, 6, 7}), Pull(&A::First, &A::Next, &name, &thing, state.Raw(), kGarbage));
  EXPECT_EQ(kName, seen.name);
  EXPECT_EQ(5u, seen.length);
  EXPECT_EQ(&thing, seen.object);
}

// One iterator class serves two phrases: each record names its own pair.
TEST_F(AdaptorTest, IteratedPropertyOfWorldCallsThePairItsRecordNames) {
  using A = IteratedPropertyOfWorld<Counter, Answer>;
  PropRecord ones{};
  ones.firstIntermediate = ToMemberSlot(&Counter::Ones);
  ones.nextIntermediate = ToMemberSlot(&Counter::NextOne);
  PropRecord tens{};
  tens.firstIntermediate = ToMemberSlot(&Counter::Tens);
  tens.nextIntermediate = ToMemberSlot(&Counter::NextTen);
  StateMemory<Counter> first;
  EXPECT_EQ((Values{0, 1, 2}), Pull(&A::First, &A::Next, kGarbage, kGarbage, first.Raw(), &ones));
  StateMemory<Counter> second;
  EXPECT_EQ((Values{0, 10, 20}),
            Pull(&A::First, &A::Next, kGarbage, kGarbage, second.Raw(), &tens));
}

TEST_F(AdaptorTest, IteratedPropertyOfObjectCallsThePairItsRecordNames) {
  using A = IteratedPropertyOfObject<Counter, Answer, Thing>;
  PropRecord ones{};
  ones.firstIntermediate = ToMemberSlot(&Counter::OnesOf);
  ones.nextIntermediate = ToMemberSlot(&Counter::NextOneOf);
  PropRecord tens{};
  tens.firstIntermediate = ToMemberSlot(&Counter::TensOf);
  tens.nextIntermediate = ToMemberSlot(&Counter::NextTenOf);
  Thing const thing{3};
  StateMemory<Counter> first;
  EXPECT_EQ((Values{3, 4, 5}), Pull(&A::First, &A::Next, kGarbage, &thing, first.Raw(), &ones));
  EXPECT_EQ(&thing, seen.object);
  StateMemory<Counter> second;
  EXPECT_EQ((Values{3, 13, 23}), Pull(&A::First, &A::Next, kGarbage, &thing, second.Raw(), &tens));
}

TEST_F(AdaptorTest, IteratedPropertyByIndexOfObjectPassesIndexAndObject) {
  using A = IteratedPropertyByIndexOfObject<Counter, Answer, Label, Thing>;
  PropRecord record{};
  record.firstIntermediate = ToMemberSlot(&Counter::ByLabel);
  record.nextIntermediate = ToMemberSlot(&Counter::NextByLabel);
  Label const label{7};
  Thing const thing{1};
  StateMemory<Counter> state;
  EXPECT_EQ((Values{1, 8, 15}), Pull(&A::First, &A::Next, &label, &thing, state.Raw(), &record));
  EXPECT_EQ(&label, seen.index);
  EXPECT_EQ(&thing, seen.object);
}

TEST_F(AdaptorTest, IteratedPropertyByIndexOfWorldPassesTheIndex) {
  using A = IteratedPropertyByIndexOfWorld<Counter, Answer, Label>;
  PropRecord record{};
  record.firstIntermediate = ToMemberSlot(&Counter::ByLabelOfWorld);
  record.nextIntermediate = ToMemberSlot(&Counter::NextByLabelOfWorld);
  Label const label{5};
  StateMemory<Counter> state;
  EXPECT_EQ((Values{0, 5, 10}), Pull(&A::First, &A::Next, &label, kGarbage, state.Raw(), &record));
  EXPECT_EQ(&label, seen.index);
}

TEST_F(AdaptorTest, EveryIteratedFamilyAnswersANullResultWithoutCalling) {
  PropRecord world{};
  world.firstIntermediate = ToMemberSlot(&Counter::Ones);
  world.nextIntermediate = ToMemberSlot(&Counter::NextOne);
  PropRecord object{};
  object.firstIntermediate = ToMemberSlot(&Counter::OnesOf);
  object.nextIntermediate = ToMemberSlot(&Counter::NextOneOf);
  PropRecord indexed{};
  indexed.firstIntermediate = ToMemberSlot(&Counter::ByLabel);
  indexed.nextIntermediate = ToMemberSlot(&Counter::NextByLabel);
  PropRecord indexedWorld{};
  indexedWorld.firstIntermediate = ToMemberSlot(&Counter::ByLabelOfWorld);
  indexedWorld.nextIntermediate = ToMemberSlot(&Counter::NextByLabelOfWorld);
  Thing const thing{1};
  Label const label{2};
  surveyor_string const name{reinterpret_cast<unsigned char const*>("n"), 1};
  StateMemory<Counter> state;
  void* const s = state.Raw();

  using Direct = IteratedProperty<Counter, Thing, Answer>;
  using Global = IteratedGlobalProperty<Counter, Answer>;
  using Named = IteratedNamedProperty<Counter, Thing, Answer>;
  using OfObject = IteratedPropertyOfObject<Counter, Answer, Thing>;
  using OfWorld = IteratedPropertyOfWorld<Counter, Answer>;
  using ByIndex = IteratedPropertyByIndexOfObject<Counter, Answer, Label, Thing>;
  using ByIndexOfWorld = IteratedPropertyByIndexOfWorld<Counter, Answer, Label>;
  EXPECT_EQ(1, Direct::First(nullptr, nullptr, &thing, s, nullptr));
  EXPECT_EQ(1, Direct::Next(nullptr, nullptr, &thing, s, nullptr));
  EXPECT_EQ(1, Global::First(nullptr, nullptr, nullptr, s, nullptr));
  EXPECT_EQ(1, Global::Next(nullptr, nullptr, nullptr, s, nullptr));
  EXPECT_EQ(1, Named::First(nullptr, &name, &thing, s, nullptr));
  EXPECT_EQ(1, Named::Next(nullptr, &name, &thing, s, nullptr));
  EXPECT_EQ(1, OfObject::First(nullptr, nullptr, &thing, s, &object));
  EXPECT_EQ(1, OfObject::Next(nullptr, nullptr, &thing, s, &object));
  EXPECT_EQ(1, OfWorld::First(nullptr, nullptr, nullptr, s, &world));
  EXPECT_EQ(1, OfWorld::Next(nullptr, nullptr, nullptr, s, &world));
  EXPECT_EQ(1, ByIndex::First(nullptr, &label, &thing, s, &indexed));
  EXPECT_EQ(1, ByIndex::Next(nullptr, &label, &thing, s, &indexed));
  EXPECT_EQ(1, ByIndexOfWorld::First(nullptr, &label, nullptr, s, &indexedWorld));
  EXPECT_EQ(1, ByIndexOfWorld::Next(nullptr, &label, nullptr, s, &indexedWorld));
  EXPECT_EQ(0, seen.calls);
}

TEST_F(AdaptorTest, IteratorBasicsConstructsAndDestroysExactlyOnce) {
  Counter::constructed = 0;
  Counter::destroyed = 0;
  {
    StateMemory<Counter> state;
    EXPECT_EQ(1, Counter::constructed);
    EXPECT_EQ(0, Counter::destroyed);
  }
  EXPECT_EQ(1, Counter::constructed);
  EXPECT_EQ(1, Counter::destroyed);
}

// ---------------------------------------------------------------------------
// Aggregates.

// Sums numbers; its final phases deliver the sum and then the count.
class Summer {
 public:
  void Clear() {
    ++clears;
    sum_ = 0;
    count_ = 0;
  }
  void Add(Of, Thing const& thing) {
    seen.object = &thing;
    sum_ += thing.id;
    ++count_;
  }
  void AddScaled(Label const& label, Of, Thing const& thing) {
    seen.index = &label;
    seen.object = &thing;
    sum_ += label.code * thing.id;
    ++count_;
  }
  Answer Total() { return Answer{sum_, 1}; }
  Answer Count() { return Answer{count_, 2}; }
  Answer Nothing() { throw NoSuchObject(); }

  static int clears;

 private:
  long long sum_ = -1;
  long long count_ = -1;
};
int Summer::clears = 0;

PropRecord SummerRecord() {
  PropRecord record{};
  record.firstInitial = ToMemberSlot(&Summer::Clear);
  record.nextInitial = ToMemberSlot(&Summer::Nothing);
  record.firstIntermediate = ToMemberSlot(&Summer::Add);
  record.firstFinal = ToMemberSlot(&Summer::Total);
  record.nextFinal = ToMemberSlot(&Summer::Count);
  return record;
}

TEST_F(AdaptorTest, AggregatePhasesReadTheirMembersFromTheRecord) {
  Summer::clears = 0;
  PropRecord const record = SummerRecord();
  StateMemory<Summer> state;
  // The initial phase ignores its result, null or not, and delivers nothing.
  EXPECT_EQ(
      0, SimpleAggregator<Summer>::Initialize(nullptr, kGarbage, kGarbage, state.Raw(), &record));
  Slot<Answer> unused;
  EXPECT_EQ(0, SimpleAggregator<Summer>::Initialize(unused.Raw(), kGarbage, kGarbage, state.Raw(),
                                                    &record));
  EXPECT_TRUE(unused.Untouched());
  EXPECT_EQ(2, Summer::clears);

  Thing const a{5};
  Thing const b{12};
  EXPECT_EQ(0, (SimpleAggregatorOfObject<Summer, Thing>::Aggregate(nullptr, kGarbage, &a,
                                                                   state.Raw(), &record)));
  EXPECT_EQ(&a, seen.object);
  EXPECT_EQ(0, (SimpleAggregatorOfObject<Summer, Thing>::Aggregate(unused.Raw(), kGarbage, &b,
                                                                   state.Raw(), &record)));
  EXPECT_EQ(&b, seen.object);
  EXPECT_TRUE(unused.Untouched());

  Slot<Answer> total;
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::FirstFinal(total.Raw(), kGarbage, kGarbage,
                                                             state.Raw(), &record)));
  EXPECT_EQ(17, total.Value().value);
  EXPECT_EQ(1, total.Value().tag);
  Slot<Answer> count;
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::NextFinal(count.Raw(), kGarbage, kGarbage,
                                                            state.Raw(), &record)));
  EXPECT_EQ(2, count.Value().value);
  EXPECT_EQ(2, count.Value().tag);
}

TEST_F(AdaptorTest, AggregateByIndexPassesIndexAndObject) {
  PropRecord record{};
  record.firstInitial = ToMemberSlot(&Summer::Clear);
  record.firstIntermediate = ToMemberSlot(&Summer::AddScaled);
  record.firstFinal = ToMemberSlot(&Summer::Total);
  StateMemory<Summer> state;
  SimpleAggregator<Summer>::Initialize(nullptr, nullptr, nullptr, state.Raw(), &record);
  Label const label{3};
  Thing const thing{4};
  EXPECT_EQ(0, (SimpleAggregatorByIndexOfObject<Summer, Label, Thing>::Aggregate(
                   nullptr, &label, &thing, state.Raw(), &record)));
  EXPECT_EQ(&label, seen.index);
  EXPECT_EQ(&thing, seen.object);
  Slot<Answer> total;
  AggregatorBasics<Summer, Answer>::FirstFinal(total.Raw(), nullptr, nullptr, state.Raw(), &record);
  EXPECT_EQ(12, total.Value().value);
}

TEST_F(AdaptorTest, AggregatorBasicsInitialPhasesReadTheirSlots) {
  PropRecord record{};
  record.firstInitial = ToMemberSlot(&Summer::Count);
  record.nextInitial = ToMemberSlot(&Summer::Total);
  StateMemory<Summer> state;
  Slot<Answer> first;
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::FirstInitial(first.Raw(), nullptr, nullptr,
                                                               state.Raw(), &record)));
  EXPECT_EQ(2, first.Value().tag);
  Slot<Answer> next;
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::NextInitial(next.Raw(), nullptr, nullptr,
                                                              state.Raw(), &record)));
  EXPECT_EQ(1, next.Value().tag);
}

TEST_F(AdaptorTest, AggregatorBasicsWithNullResultDeliversNothingAndCallsNothing) {
  PropRecord record{};
  record.firstFinal = ToMemberSlot(&Summer::Nothing);
  record.nextFinal = ToMemberSlot(&Summer::Nothing);
  StateMemory<Summer> state;
  // Nothing would throw if it were called.
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::FirstFinal(nullptr, nullptr, nullptr, state.Raw(),
                                                             &record)));
  EXPECT_EQ(1, (AggregatorBasics<Summer, Answer>::NextFinal(nullptr, nullptr, nullptr, state.Raw(),
                                                            &record)));
}

TEST_F(AdaptorTest, AggregatorBasicsPassesNoSuchObjectOn) {
  PropRecord record{};
  record.nextFinal = ToMemberSlot(&Summer::Nothing);
  StateMemory<Summer> state;
  Slot<Answer> slot;
  EXPECT_THROW((AggregatorBasics<Summer, Answer>::NextFinal(slot.Raw(), nullptr, nullptr,
                                                            state.Raw(), &record)),
               NoSuchObject);
  EXPECT_TRUE(slot.Untouched());
}

TEST_F(AdaptorTest, GenericNullGetterDeliversNothingAndReadsNothing) {
  Slot<Answer> slot;
  EXPECT_EQ(0, GenericNullGetter(slot.Raw(), kGarbage, kGarbage, kGarbageState, kGarbage));
  EXPECT_EQ(0, GenericNullGetter(nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_TRUE(slot.Untouched());
}

// ---------------------------------------------------------------------------
// Casts and operators.

Label LabelOfThing(Thing const& thing) {
  ++seen.calls;
  seen.object = &thing;
  return Label{static_cast<int>(thing.id) + 1};
}

Answer Combine(Thing const& left, Label const& right) {
  ++seen.calls;
  seen.object = &left;
  seen.index = &right;
  return Answer{left.id - right.code, 11};
}

TEST_F(AdaptorTest, CastPassesTheSourceAndBuildsTheTarget) {
  ShortRecord const record = RecordOf(&LabelOfThing);
  Thing const thing{41};
  Slot<Label> result;
  Cast<Thing, Label>::Thunk(result.Raw(), &thing, &record);
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(&thing, seen.object);
  EXPECT_EQ(42, result.Value().code);
}

TEST_F(AdaptorTest, OperatorPassesLeftThenRight) {
  ShortRecord const record = RecordOf(&Combine);
  Thing const left{50};
  Label const right{8};
  Slot<Answer> result;
  Operator2<Thing, Label, Answer>::Thunk(result.Raw(), &left, &right, &record);
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(&left, seen.object);
  EXPECT_EQ(&right, seen.index);
  EXPECT_EQ(42, result.Value().value);
  EXPECT_EQ(11, result.Value().tag);
}

TEST_F(AdaptorTest, CastAndOperatorWithNullResultDoNothing) {
  ShortRecord const cast = RecordOf(&LabelOfThing);
  ShortRecord const op = RecordOf(&Combine);
  Thing const thing{1};
  Label const label{1};
  Cast<Thing, Label>::Thunk(nullptr, &thing, &cast);
  Operator2<Thing, Label, Answer>::Thunk(nullptr, &thing, &label, &op);
  // Not even the operands are read.
  Cast<Thing, Label>::Thunk(nullptr, kGarbage, &cast);
  Operator2<Thing, Label, Answer>::Thunk(nullptr, kGarbage, kGarbage, &op);
  EXPECT_EQ(0, seen.calls);
}

// ---------------------------------------------------------------------------
// Exceptions pass through every adaptor as they were thrown.

class Marked : public SurveyorDefinedError {
 public:
  explicit Marked(int mark) : mark_(mark) {}
  surveyor_string Message() const override {
    return surveyor_string{reinterpret_cast<unsigned char const*>("marked"), 6};
  }
  int Mark() const { return mark_; }

 private:
  int mark_;
};

Answer ThrowsMarked(Thing const& thing) { throw Marked(static_cast<int>(thing.id)); }
Label CastThrows(Thing const& thing) { throw Marked(static_cast<int>(thing.id) + 1); }
Answer OperatorThrows(Thing const& thing, Label const&) {
  throw Marked(static_cast<int>(thing.id) + 2);
}
Answer WorldThrowsContext() { throw NoSurveyorContext(); }

class Thrower {
 public:
  Answer First(Thing const& thing) { throw Marked(static_cast<int>(thing.id) + 3); }
  Answer Next(Thing const&) { throw CannotEvaluateNow(); }
  void Take(Of, Thing const& thing) { throw Marked(static_cast<int>(thing.id) + 4); }
};

template <class E, class Body>
E CaughtFrom(Body body) {
  try {
    body();
  } catch (E const& error) {
    return error;
  } catch (...) {
    ADD_FAILURE() << "another exception came out";
    throw;
  }
  ADD_FAILURE() << "nothing was thrown";
  throw std::logic_error("nothing was thrown");
}

TEST_F(AdaptorTest, ExceptionsPassThroughUntouched) {
  Thing const thing{30};
  Slot<Answer> result;

  ShortRecord const property = RecordOf(&ThrowsMarked);
  EXPECT_EQ(30, CaughtFrom<Marked>([&] {
                  Property<Thing, Answer>::Get(result.Raw(), nullptr, &thing, nullptr, &property);
                }).Mark());
  EXPECT_TRUE(result.Untouched());

  ShortRecord const world = RecordOf(&WorldThrowsContext);
  EXPECT_THROW(GlobalProperty<Answer>::Get(result.Raw(), nullptr, nullptr, nullptr, &world),
               NoSurveyorContext);

  ShortRecord const cast = RecordOf(&CastThrows);
  Slot<Label> label;
  EXPECT_EQ(31, CaughtFrom<Marked>([&] {
                  Cast<Thing, Label>::Thunk(label.Raw(), &thing, &cast);
                }).Mark());
  EXPECT_TRUE(label.Untouched());

  ShortRecord const op = RecordOf(&OperatorThrows);
  Label const right{0};
  EXPECT_EQ(32, CaughtFrom<Marked>([&] {
                  Operator2<Thing, Label, Answer>::Thunk(result.Raw(), &thing, &right, &op);
                }).Mark());

  StateMemory<Thrower> state;
  using It = IteratedProperty<Thrower, Thing, Answer>;
  EXPECT_EQ(33, CaughtFrom<Marked>([&] {
                  It::First(result.Raw(), nullptr, &thing, state.Raw(), nullptr);
                }).Mark());
  EXPECT_THROW(It::Next(result.Raw(), nullptr, &thing, state.Raw(), nullptr), CannotEvaluateNow);

  PropRecord aggregate{};
  aggregate.firstIntermediate = ToMemberSlot(&Thrower::Take);
  EXPECT_EQ(34, CaughtFrom<Marked>([&] {
                  SimpleAggregatorOfObject<Thrower, Thing>::Aggregate(nullptr, nullptr, &thing,
                                                                      state.Raw(), &aggregate);
                }).Mark());
  EXPECT_TRUE(result.Untouched());
}

// ---------------------------------------------------------------------------
// The result is constructed where the host asks, with no copy or move: a
// result type that can be neither still works, and lives at the slot.

struct Immovable {
  explicit Immovable(long long v) : value(v), self(this) {}
  Immovable(Immovable const&) = delete;
  Immovable(Immovable&&) = delete;
  long long value;
  Immovable const* self;
};

Immovable MakeImmovable(Thing const& thing) { return Immovable(thing.id); }

TEST_F(AdaptorTest, ResultIsConstructedInPlaceWithoutCopyOrMove) {
  ShortRecord const record = RecordOf(&MakeImmovable);
  Thing const thing{99};
  Slot<Immovable> result;
  EXPECT_EQ(1, (Property<Thing, Immovable>::Get(result.Raw(), nullptr, &thing, nullptr, &record)));
  EXPECT_EQ(99, result.Value().value);
  EXPECT_EQ(static_cast<void const*>(result.bytes), result.Value().self);
}

}  // namespace
