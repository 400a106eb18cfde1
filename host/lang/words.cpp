#include "host/lang/words.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "host/engine/evaluation.h"
#include "host/engine/time_text.h"
#include "host/lang/ast.h"

namespace survey::lang {

namespace {

// --- Helpers over raw operands.

surveyor_string const& Str(void const* value) { return *static_cast<surveyor_string const*>(value); }
long long Int(void const* value) { return static_cast<integer const*>(value)->value; }
long long Ticks(void const* value) { return static_cast<moment const*>(value)->ticks; }

boolean Truth(bool value) { return boolean{static_cast<unsigned char>(value ? 1 : 0)}; }

surveyor_string Copy(std::string const& text) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.size());
  if (!text.empty()) std::memcpy(bytes, text.data(), text.size());
  return surveyor_string{bytes, static_cast<unsigned long>(text.size())};
}

int Compare(surveyor_string const& a, surveyor_string const& b) {
  unsigned long const common = std::min(a.length, b.length);
  int const order = common == 0 ? 0 : std::memcmp(a.data, b.data, common);
  if (order != 0) return order;
  return a.length < b.length ? -1 : (a.length > b.length ? 1 : 0);
}

long long Add(long long a, long long b) {
  long long sum;
  if (__builtin_add_overflow(a, b, &sum)) throw std::overflow_error("integer overflow");
  return sum;
}
long long Subtract(long long a, long long b) {
  long long difference;
  if (__builtin_sub_overflow(a, b, &difference)) throw std::overflow_error("integer overflow");
  return difference;
}
long long Multiply(long long a, long long b) {
  long long product;
  if (__builtin_mul_overflow(a, b, &product)) throw std::overflow_error("integer overflow");
  return product;
}

substring Part(surveyor_string const& whole, unsigned long start, unsigned long length) {
  return substring{surveyor_string{whole.data + start, length}, whole};
}

template <class T>
void Put(void* result, T const& value) {
  if (result != nullptr) ::new (result) T(value);
}

// --- Operators. Each is a thunk of the raw shape.

void StringEqual(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(Compare(Str(a), Str(b)) == 0));
}
void StringLess(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(Compare(Str(a), Str(b)) < 0));
}
void StringLessOrEqual(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(Compare(Str(a), Str(b)) <= 0));
}
void StringStartsWith(void* r, void const* a, void const* b, void const*) {
  Put(r, StartsWith(Str(a), Str(b)));
}
void StringEndsWith(void* r, void const* a, void const* b, void const*) {
  surveyor_string const& text = Str(a);
  surveyor_string const& end = Str(b);
  Put(r, Truth(end.length <= text.length &&
               (end.length == 0 ||
                std::memcmp(text.data + text.length - end.length, end.data, end.length) == 0)));
}
void StringContains(void* r, void const* a, void const* b, void const*) {
  Put(r, Contains(Str(a), Str(b)));
}
void StringConcatenate(void* r, void const* a, void const* b, void const*) {
  surveyor_string const& left = Str(a);
  surveyor_string const& right = Str(b);
  unsigned char* const bytes = Allocate_Surveyor_Memory(left.length + right.length);
  if (left.length != 0) std::memcpy(bytes, left.data, left.length);
  if (right.length != 0) std::memcpy(bytes + left.length, right.data, right.length);
  Put(r, surveyor_string{bytes, left.length + right.length});
}

void IntegerEqual(void* r, void const* a, void const* b, void const*) { Put(r, Truth(Int(a) == Int(b))); }
void IntegerLess(void* r, void const* a, void const* b, void const*) { Put(r, Truth(Int(a) < Int(b))); }
void IntegerLessOrEqual(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(Int(a) <= Int(b)));
}
void IntegerPlus(void* r, void const* a, void const* b, void const*) {
  Put(r, integer{Add(Int(a), Int(b))});
}
void IntegerMinus(void* r, void const* a, void const* b, void const*) {
  Put(r, integer{Subtract(Int(a), Int(b))});
}
void IntegerTimes(void* r, void const* a, void const* b, void const*) {
  Put(r, integer{Multiply(Int(a), Int(b))});
}
void IntegerDivide(void* r, void const* a, void const* b, void const*) {
  if (Int(b) == 0) throw std::domain_error("division by zero");
  if (Int(a) == LLONG_MIN && Int(b) == -1) throw std::overflow_error("integer overflow");
  Put(r, integer{Int(a) / Int(b)});
}
void IntegerModulo(void* r, void const* a, void const* b, void const*) {
  if (Int(b) == 0) throw std::domain_error("division by zero");
  if (Int(b) == -1) {
    Put(r, integer{0});
    return;
  }
  Put(r, integer{Int(a) % Int(b)});
}

void BooleanEqual(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(static_cast<boolean const*>(a)->value == static_cast<boolean const*>(b)->value));
}

// Times and intervals are both a 64-bit count of microseconds.
void TicksEqual(void* r, void const* a, void const* b, void const*) { Put(r, Truth(Ticks(a) == Ticks(b))); }
void TicksLess(void* r, void const* a, void const* b, void const*) { Put(r, Truth(Ticks(a) < Ticks(b))); }
void TicksLessOrEqual(void* r, void const* a, void const* b, void const*) {
  Put(r, Truth(Ticks(a) <= Ticks(b)));
}
void TimePlusInterval(void* r, void const* a, void const* b, void const*) {
  Put(r, moment{static_cast<moment const*>(a)->ticks} + time_interval{Ticks(b)});
}
void TimeMinusInterval(void* r, void const* a, void const* b, void const*) {
  Put(r, moment{Subtract(Ticks(a), Ticks(b))});
}
void TimeMinusTime(void* r, void const* a, void const* b, void const*) {
  Put(r, moment{Ticks(a)} - moment{Ticks(b)});
}
void IntervalPlus(void* r, void const* a, void const* b, void const*) {
  Put(r, time_interval{Add(Ticks(a), Ticks(b))});
}
void IntervalMinus(void* r, void const* a, void const* b, void const*) {
  Put(r, time_interval{Subtract(Ticks(a), Ticks(b))});
}
void IntervalTimesInteger(void* r, void const* a, void const* b, void const*) {
  Put(r, time_interval{Ticks(a)} * integer{Int(b)});
}
void IntegerTimesInterval(void* r, void const* a, void const* b, void const*) {
  Put(r, integer{Int(a)} * time_interval{Ticks(b)});
}

// --- Casts.

void IntegerAsString(void* r, void const* v, void const*) { Put(r, Copy(std::to_string(Int(v)))); }
void BooleanAsString(void* r, void const* v, void const*) {
  Put(r, Copy(static_cast<boolean const*>(v)->value == 1 ? "True" : "False"));
}
void TimeAsString(void* r, void const* v, void const*) { Put(r, asString(moment{Ticks(v)})); }
void IntervalAsString(void* r, void const* v, void const*) {
  Put(r, Copy(host::IntervalText(Ticks(v))));
}
void HertzAsString(void* r, void const* v, void const*) { Put(r, Copy(host::HertzText(Int(v)))); }
void StringAsString(void* r, void const* v, void const*) { Put(r, Str(v)); }
void StringAsInteger(void* r, void const* v, void const*) {
  surveyor_string const& text = Str(v);
  std::string const digits(reinterpret_cast<char const*>(text.data), text.length);
  std::size_t i = 0;
  bool const negative = !digits.empty() && digits[0] == '-';
  if (negative) ++i;
  if (i == digits.size()) throw NoSuchObject();
  unsigned long long value = 0;
  unsigned long long const limit = negative ? 9223372036854775808ULL : 9223372036854775807ULL;
  for (; i < digits.size(); ++i) {
    if (digits[i] < '0' || digits[i] > '9') throw NoSuchObject();
    unsigned const digit = digits[i] - '0';
    if (value > (limit - digit) / 10) throw NoSuchObject();
    value = value * 10 + digit;
  }
  Put(r, integer{negative ? static_cast<long long>(0ULL - value) : static_cast<long long>(value)});
}
void Recase(void* r, void const* v, bool upper) {
  surveyor_string const& text = Str(v);
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.length);
  for (unsigned long i = 0; i < text.length; ++i) {
    unsigned char const c = text.data[i];
    bytes[i] = upper ? (c >= 'a' && c <= 'z' ? c - 32 : c) : (c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  Put(r, surveyor_string{bytes, text.length});
}
void StringAsTime(void* r, void const* v, void const*) {
  surveyor_string const& text = Str(v);
  long long ticks = 0;
  if (!host::ParseTimeText(std::string_view(reinterpret_cast<char const*>(text.data), text.length),
                           ticks)) {
    throw NoSuchObject();
  }
  Put(r, moment{ticks});
}
void AsLowercase(void* r, void const* v, void const*) { Recase(r, v, false); }
void AsUppercase(void* r, void const* v, void const*) { Recase(r, v, true); }

// --- Properties: int Get(result, index, object, state, context).

int LengthOfString(void* r, void const*, void const* o, void*, void const*) {
  Put(r, integer{static_cast<long long>(Str(o).length)});
  return 1;
}
int FirstCount(void* r, void const* i, void const* o, void*, void const*) {
  if (Int(i) < 0) return 0;
  surveyor_string const& text = Str(o);
  unsigned long const n = static_cast<unsigned long long>(Int(i)) < text.length
                              ? static_cast<unsigned long>(Int(i)) : text.length;
  Put(r, Part(text, 0, n));
  return 1;
}
int LastCount(void* r, void const* i, void const* o, void*, void const*) {
  if (Int(i) < 0) return 0;
  surveyor_string const& text = Str(o);
  unsigned long const n = static_cast<unsigned long long>(Int(i)) < text.length
                              ? static_cast<unsigned long>(Int(i)) : text.length;
  Put(r, Part(text, text.length - n, n));
  return 1;
}
// The first or last occurrence of the index text, as a substring.
int Occurrence(void* r, void const* i, void const* o, bool last) {
  surveyor_string const& text = Str(o);
  surveyor_string const& sought = Str(i);
  if (sought.length > text.length) throw NoSuchObject();
  std::string_view const haystack(reinterpret_cast<char const*>(text.data), text.length);
  std::string_view const needle(reinterpret_cast<char const*>(sought.data), sought.length);
  std::size_t const at = last ? haystack.rfind(needle) : haystack.find(needle);
  if (at == std::string_view::npos) throw NoSuchObject();
  Put(r, Part(text, at, sought.length));
  return 1;
}
int FirstText(void* r, void const* i, void const* o, void*, void const*) { return Occurrence(r, i, o, false); }
int LastText(void* r, void const* i, void const* o, void*, void const*) { return Occurrence(r, i, o, true); }
int FollowingText(void* r, void const*, void const* o, void*, void const*) {
  substring const& part = *static_cast<substring const*>(o);
  unsigned long const end = static_cast<unsigned long>(part.part.data - part.whole.data) + part.part.length;
  Put(r, Part(part.whole, end, part.whole.length - end));
  return 1;
}
int PrecedingText(void* r, void const*, void const* o, void*, void const*) {
  substring const& part = *static_cast<substring const*>(o);
  Put(r, Part(part.whole, 0, static_cast<unsigned long>(part.part.data - part.whole.data)));
  return 1;
}
int PositionOfSubstring(void* r, void const*, void const* o, void*, void const*) {
  substring const& part = *static_cast<substring const*>(o);
  Put(r, integer{static_cast<long long>(part.part.data - part.whole.data)});
  return 1;
}
// One moment for every "now" of a query.
int Now(void* r, void const*, void const*, void*, void const*) {
  host::Evaluation* const evaluation = host::Evaluation::Current();
  Put(r, evaluation != nullptr ? moment{evaluation->NowTicks()} : moment_now());
  return 1;
}
template <long long kSeconds>
int Unit(void* r, void const*, void const*, void*, void const*) {
  Put(r, integer{kSeconds} * second_of());
  return 1;
}

// Iterators keep a cursor into the object string.
struct Cursor {
  unsigned long offset;
  bool done;
};
void ConstructCursor(void* state) { ::new (state) Cursor{0, false}; }
void DestroyCursor(void const*) {}

int NextPiece(void* r, void const* i, void const* o, void* s, void const*) {
  Cursor& cursor = *static_cast<Cursor*>(s);
  surveyor_string const& text = Str(o);
  surveyor_string const& separator = Str(i);
  if (cursor.done) throw NoSuchObject();
  std::string_view const haystack(reinterpret_cast<char const*>(text.data), text.length);
  std::size_t at = separator.length == 0
                       ? std::string_view::npos
                       : haystack.find(std::string_view(reinterpret_cast<char const*>(separator.data),
                                                        separator.length),
                                       cursor.offset);
  if (at == std::string_view::npos) {
    cursor.done = true;
    Put(r, Part(text, cursor.offset, text.length - cursor.offset));
    return 1;
  }
  Put(r, Part(text, cursor.offset, at - cursor.offset));
  cursor.offset = at + separator.length;
  return 1;
}
int FirstPiece(void* r, void const* i, void const* o, void* s, void const* c) {
  *static_cast<Cursor*>(s) = Cursor{0, false};
  return NextPiece(r, i, o, s, c);
}
int NextCharacter(void* r, void const*, void const* o, void* s, void const*) {
  Cursor& cursor = *static_cast<Cursor*>(s);
  surveyor_string const& text = Str(o);
  if (cursor.offset >= text.length) throw NoSuchObject();
  Put(r, Part(text, cursor.offset, 1));
  ++cursor.offset;
  return 1;
}
int FirstCharacter(void* r, void const* i, void const* o, void* s, void const* c) {
  *static_cast<Cursor*>(s) = Cursor{0, false};
  return NextCharacter(r, i, o, s, c);
}

// Concatenation: an aggregate that joins its strings with the index text.
struct Joiner {
  std::string text;
  bool any = false;
  bool delivered = false;
};
void ConstructJoiner(void* state) { ::new (state) Joiner(); }
void DestroyJoiner(void const* state) { static_cast<Joiner const*>(state)->~Joiner(); }
int JoinNothing(void*, void const*, void const*, void*, void const*) { return 0; }
int JoinOne(void*, void const* i, void const* o, void* s, void const*) {
  Joiner& joiner = *static_cast<Joiner*>(s);
  if (joiner.any && i != nullptr) {
    joiner.text.append(reinterpret_cast<char const*>(Str(i).data), Str(i).length);
  }
  joiner.text.append(reinterpret_cast<char const*>(Str(o).data), Str(o).length);
  joiner.any = true;
  return 0;
}
int JoinFinal(void* r, void const*, void const*, void* s, void const*) {
  Put(r, Copy(static_cast<Joiner*>(s)->text));
  return 1;
}
int JoinEnd(void*, void const*, void const*, void*, void const*) { throw NoSuchObject(); }

// --- Aggregates of the host's ordered types: sums, extremes and unique
// values. An aggregator holds what it keeps in its own state, which the
// values it delivers keep alive, so its answers may point into it.

// How an aggregator holds a value of each ordered type, and gives it back.
struct IntegerOrder {
  using Held = long long;
  using Given = integer;
  static Held Read(void const* value) { return Int(value); }
  static Given Give(Held const& held) { return integer{held}; }
};
struct TimeOrder {
  using Held = long long;
  using Given = moment;
  static Held Read(void const* value) { return Ticks(value); }
  static Given Give(Held const& held) { return moment{held}; }
};
struct IntervalOrder {
  using Held = long long;
  using Given = time_interval;
  static Held Read(void const* value) { return Ticks(value); }
  static Given Give(Held const& held) { return time_interval{held}; }
};
// A string's bytes are copied: the aggregator outlives the values it took.
struct StringOrder {
  using Held = std::string;
  using Given = surveyor_string;
  static Held Read(void const* value) {
    surveyor_string const& text = Str(value);
    return text.length == 0 ? std::string()
                            : std::string(reinterpret_cast<char const*>(text.data), text.length);
  }
  static Given Give(Held const& held) {
    return surveyor_string{reinterpret_cast<unsigned char const*>(held.data()),
                           static_cast<unsigned long>(held.size())};
  }
};

template <class State>
void ConstructState(void* state) {
  ::new (state) State();
}
template <class State>
void DestroyState(void const* state) {
  static_cast<State const*>(state)->~State();
}
// A phase that takes or gives nothing.
int Pass(void*, void const*, void const*, void*, void const*) { return 0; }
// A final phase after the one answer.
int NoMore(void*, void const*, void const*, void*, void const*) { throw NoSuchObject(); }

// The least and the greatest value seen; the first of equal values stays.
template <class Order>
struct Extremes {
  typename Order::Held least{};
  typename Order::Held greatest{};
  bool seen = false;
  typename Order::Given given[2] = {};  // what the extrema's tuple points at
};
template <class Order>
int TakeExtreme(void*, void const*, void const* o, void* s, void const*) {
  Extremes<Order>& state = *static_cast<Extremes<Order>*>(s);
  typename Order::Held value = Order::Read(o);
  if (!state.seen) {
    state.least = value;
    state.greatest = std::move(value);
    state.seen = true;
  } else if (value < state.least) {
    state.least = std::move(value);
  } else if (state.greatest < value) {
    state.greatest = std::move(value);
  }
  return 0;
}
template <class Order>
int Least(void* r, void const*, void const*, void* s, void const*) {
  Extremes<Order> const& state = *static_cast<Extremes<Order> const*>(s);
  if (!state.seen) throw NoSuchObject();
  Put(r, Order::Give(state.least));
  return 1;
}
template <class Order>
int Greatest(void* r, void const*, void const*, void* s, void const*) {
  Extremes<Order> const& state = *static_cast<Extremes<Order> const*>(s);
  if (!state.seen) throw NoSuchObject();
  Put(r, Order::Give(state.greatest));
  return 1;
}
// The pair of the least and the greatest, as a tuple of two nodes that
// point into the state.
template <class Order>
int BothExtremes(void* r, void const*, void const*, void* s, void const*) {
  Extremes<Order>& state = *static_cast<Extremes<Order>*>(s);
  if (!state.seen) throw NoSuchObject();
  state.given[0] = Order::Give(state.least);
  state.given[1] = Order::Give(state.greatest);
  if (r != nullptr) {
    TupleNode* const nodes = static_cast<TupleNode*>(r);
    nodes[1] = TupleNode{&state.given[1], nullptr};
    nodes[0] = TupleNode{&state.given[0], &nodes[1]};
  }
  return 1;
}

// A unique value with the number of times it occurred; the value comes
// first, so that it stands wherever a value of its type is asked for.
template <class Order>
struct Counted {
  typename Order::Given value;
  unsigned long long multiplicity;
};
// Every distinct value with its count, given in ascending order.
template <class Order>
struct Uniques {
  std::map<typename Order::Held, unsigned long long> counts;
  typename std::map<typename Order::Held, unsigned long long>::const_iterator cursor;
};
template <class Order>
int TakeUnique(void*, void const*, void const* o, void* s, void const*) {
  ++static_cast<Uniques<Order>*>(s)->counts[Order::Read(o)];
  return 0;
}
template <class Order>
int GiveUnique(void* r, Uniques<Order> const& state) {
  if (state.cursor == state.counts.end()) throw NoSuchObject();
  Put(r, Counted<Order>{Order::Give(state.cursor->first), state.cursor->second});
  return 1;
}
template <class Order>
int FirstUnique(void* r, void const*, void const*, void* s, void const*) {
  Uniques<Order>& state = *static_cast<Uniques<Order>*>(s);
  state.cursor = state.counts.begin();
  return GiveUnique(r, state);
}
template <class Order>
int NextUnique(void* r, void const*, void const*, void* s, void const*) {
  Uniques<Order>& state = *static_cast<Uniques<Order>*>(s);
  if (state.cursor == state.counts.end()) throw NoSuchObject();
  ++state.cursor;
  return GiveUnique(r, state);
}
template <class Order>
int MultiplicityOf(void* r, void const*, void const* o, void*, void const*) {
  Put(r, integer{static_cast<long long>(static_cast<Counted<Order> const*>(o)->multiplicity)});
  return 1;
}

// The sum of integers or of time intervals, both 64-bit counts; a sum that
// does not fit is an error, as it is for "+". Of nothing, it is zero.
struct Total {
  long long sum = 0;
};
int AddToTotal(void*, void const*, void const* o, void* s, void const*) {
  Total& total = *static_cast<Total*>(s);
  total.sum = Add(total.sum, Int(o));
  return 0;
}
template <class Order>
int GiveTotal(void* r, void const*, void const*, void* s, void const*) {
  Put(r, Order::Give(static_cast<Total const*>(s)->sum));
  return 1;
}

void NoDestroy(void const*) {}

}  // namespace

HostWords::HostWords(host::Registry& registry) : registry_(registry) {
  host::Registry::Scope scope(registry_);

  struct OperatorRow {
    int code;
    char const* left;
    char const* right;
    char const* result;
    SurveyorOperatorThunk thunk;
  };
  OperatorRow const operators[] = {
      {kOperatorEqual, "string", "string", "boolean", &StringEqual},
      {kOperatorLessThan, "string", "string", "boolean", &StringLess},
      {kOperatorLessOrEqual, "string", "string", "boolean", &StringLessOrEqual},
      {kOperatorStartsWith, "string", "string", "boolean", &StringStartsWith},
      {kOperatorEndsWith, "string", "string", "boolean", &StringEndsWith},
      {kOperatorContains, "string", "string", "boolean", &StringContains},
      {kOperatorConcatenation, "string", "string", "string", &StringConcatenate},
      {kOperatorEqual, "integer", "integer", "boolean", &IntegerEqual},
      {kOperatorLessThan, "integer", "integer", "boolean", &IntegerLess},
      {kOperatorLessOrEqual, "integer", "integer", "boolean", &IntegerLessOrEqual},
      {kOperatorPlus, "integer", "integer", "integer", &IntegerPlus},
      {kOperatorMinus, "integer", "integer", "integer", &IntegerMinus},
      {kOperatorTimes, "integer", "integer", "integer", &IntegerTimes},
      {kOperatorDivide, "integer", "integer", "integer", &IntegerDivide},
      {kOperatorModulo, "integer", "integer", "integer", &IntegerModulo},
      {kOperatorEqual, "boolean", "boolean", "boolean", &BooleanEqual},
      // A frequency is a 64-bit count of hertz, laid out as an integer.
      {kOperatorEqual, "hertz", "hertz", "boolean", &IntegerEqual},
      {kOperatorLessThan, "hertz", "hertz", "boolean", &IntegerLess},
      {kOperatorLessOrEqual, "hertz", "hertz", "boolean", &IntegerLessOrEqual},
      {kOperatorEqual, "time", "time", "boolean", &TicksEqual},
      {kOperatorLessThan, "time", "time", "boolean", &TicksLess},
      {kOperatorLessOrEqual, "time", "time", "boolean", &TicksLessOrEqual},
      {kOperatorPlus, "time", "time interval", "time", &TimePlusInterval},
      {kOperatorMinus, "time", "time interval", "time", &TimeMinusInterval},
      {kOperatorMinus, "time", "time", "time interval", &TimeMinusTime},
      {kOperatorEqual, "time interval", "time interval", "boolean", &TicksEqual},
      {kOperatorLessThan, "time interval", "time interval", "boolean", &TicksLess},
      {kOperatorLessOrEqual, "time interval", "time interval", "boolean", &TicksLessOrEqual},
      {kOperatorPlus, "time interval", "time interval", "time interval", &IntervalPlus},
      {kOperatorMinus, "time interval", "time interval", "time interval", &IntervalMinus},
      {kOperatorTimes, "time interval", "integer", "time interval", &IntervalTimesInteger},
      {kOperatorTimes, "integer", "time interval", "time interval", &IntegerTimesInterval},
  };
  for (OperatorRow const& row : operators) {
    Register_Binary_Operator(Next(Kind::kOperator), kRecordHostArea, row.code, row.left, row.right, row.result,
                             row.thunk, nullptr, &DependsOnNothing);
  }

  struct CastRow {
    char const* phrase;
    char const* source;
    char const* target;
    SurveyorCastThunk thunk;
  };
  CastRow const casts[] = {
      {"string", "string", "string", &StringAsString},
      {"string", "integer", "string", &IntegerAsString},
      {"string", "boolean", "string", &BooleanAsString},
      {"string", "time", "string", &TimeAsString},
      {"string", "time interval", "string", &IntervalAsString},
      {"string", "hertz", "string", &HertzAsString},
      {"integer", "string", "integer", &StringAsInteger},
      {"time", "string", "time", &StringAsTime},
      {"lowercase", "string", "string", &AsLowercase},
      {"uppercase", "string", "string", &AsUppercase},
  };
  for (CastRow const& row : casts) {
    Register_Cast(Next(Kind::kCast), kRecordHostArea, row.phrase, row.source, row.target, row.thunk, nullptr,
                  &DependsOnNothing);
  }

  struct PropertyRow {
    char const* singular;
    char const* plural;
    char const* index;
    char const* object;
    char const* result;
    SurveyorGetter getter;
    SurveyorDependency dependency;
  };
  PropertyRow const properties[] = {
      {"length", "lengths", "", "string", "integer", &LengthOfString, &DependsOnNothing},
      {"first", "firsts", "integer", "string", "substring", &FirstCount, &DependsOnNothing},
      {"last", "lasts", "integer", "string", "substring", &LastCount, &DependsOnNothing},
      {"first", "firsts", "string", "string", "substring", &FirstText, &DependsOnNothing},
      {"last", "lasts", "string", "string", "substring", &LastText, &DependsOnNothing},
      {"following text", "following texts", "", "substring", "substring", &FollowingText,
       &DependsOnNothing},
      {"preceding text", "preceding texts", "", "substring", "substring", &PrecedingText,
       &DependsOnNothing},
      {"position", "positions", "", "substring", "integer", &PositionOfSubstring,
       &DependsOnNothing},
      {"now", "nows", "", "", "time", &Now, nullptr},
      {"day", "days", "", "", "time interval", &Unit<86400>, &DependsOnNothing},
      {"hour", "hours", "", "", "time interval", &Unit<3600>, &DependsOnNothing},
      {"minute", "minutes", "", "", "time interval", &Unit<60>, &DependsOnNothing},
      {"second", "seconds", "", "", "time interval", &Unit<1>, &DependsOnNothing},
  };
  for (PropertyRow const& row : properties) {
    Register_Property(Next(Kind::kProperty), kRecordHostArea, row.singular, row.plural, row.index, row.object,
                      row.result, row.getter, nullptr, row.dependency);
  }

  Register_Iterated_Property(Next(Kind::kProperty), kRecordHostArea, "substring separated by",
                             "substrings separated by", "string", "string", "substring",
                             sizeof(Cursor), &ConstructCursor, &DestroyCursor, &FirstPiece,
                             &NextPiece, nullptr, &DependsOnNothing);
  Register_Iterated_Property(Next(Kind::kProperty), kRecordHostArea, "character", "characters", "", "string",
                             "substring", sizeof(Cursor), &ConstructCursor, &DestroyCursor,
                             &FirstCharacter, &NextCharacter, nullptr, &DependsOnNothing);
  for (char const* index : {"string", ""}) {
    Register_Aggregate_Property(Next(Kind::kProperty), kRecordHostArea, "concatenation", "concatenations", index,
                                "string", "string", sizeof(Joiner), &ConstructJoiner,
                                &DestroyJoiner, &JoinNothing, &JoinNothing, &JoinOne,
                                &JoinNothing, &JoinFinal, &JoinEnd, nullptr, &DependsOnNothing);
  }

  // Sums, extremes and unique values of the host's ordered types. The
  // library registers these phrases for its own types only.
  Register_Aggregate_Property(Next(Kind::kProperty), kRecordHostArea, "sum", "sums", "", "integer",
                              "integer", sizeof(Total), &ConstructState<Total>,
                              &DestroyState<Total>, &Pass, &Pass, &AddToTotal, &Pass,
                              &GiveTotal<IntegerOrder>, &NoMore, nullptr, &DependsOnNothing);
  Register_Aggregate_Property(Next(Kind::kProperty), kRecordHostArea, "sum", "sums", "",
                              "time interval", "time interval", sizeof(Total),
                              &ConstructState<Total>, &DestroyState<Total>, &Pass, &Pass,
                              &AddToTotal, &Pass, &GiveTotal<IntervalOrder>, &NoMore, nullptr,
                              &DependsOnNothing);
  RegisterOrdered<IntegerOrder>("integer");
  RegisterOrdered<StringOrder>("string");
  RegisterOrdered<TimeOrder>("time");
  RegisterOrdered<IntervalOrder>("time interval");
}

template <class Order>
void HostWords::RegisterOrdered(char const* type) {
  std::string const name(type);
  std::string const counted = name + " with multiplicity";
  std::string const pair = "( " + name + ", " + name + " )";
  Register_Type(Next(Kind::kType), kTypeHostArea, counted.c_str(), sizeof(Counted<Order>),
                &NoDestroy, type, nullptr);
  using E = Extremes<Order>;
  using U = Uniques<Order>;
  Register_Aggregate_Property(Next(Kind::kProperty), kRecordHostArea, "unique value",
                              "unique values", "", type, counted.c_str(), sizeof(U),
                              &ConstructState<U>, &DestroyState<U>, &Pass, &Pass,
                              &TakeUnique<Order>, &Pass, &FirstUnique<Order>, &NextUnique<Order>,
                              nullptr, &DependsOnNothing);
  Register_Property(Next(Kind::kProperty), kRecordHostArea, "multiplicity", "multiplicities", "",
                    counted.c_str(), "integer", &MultiplicityOf<Order>, nullptr,
                    &DependsOnNothing);
  struct ExtremeRow {
    char const* singular;
    char const* plural;
    char const* result;
    SurveyorGetter final;
  };
  ExtremeRow const extremes[] = {
      {"minimum", "minima", type, &Least<Order>},
      {"maximum", "maxima", type, &Greatest<Order>},
      {"extrema", "extremas", pair.c_str(), &BothExtremes<Order>},
  };
  for (ExtremeRow const& row : extremes) {
    Register_Aggregate_Property(Next(Kind::kProperty), kRecordHostArea, row.singular, row.plural,
                                "", type, row.result, sizeof(E), &ConstructState<E>,
                                &DestroyState<E>, &Pass, &Pass, &TakeExtreme<Order>, &Pass,
                                row.final, &NoMore, nullptr, &DependsOnNothing);
  }
}

HostWords::~HostWords() {
  // Types go last: everything above names them.
  for (auto it = records_.rbegin(); it != records_.rend(); ++it) {
    void* const record = it->bytes;
    switch (it->kind) {
      case Kind::kType: Unregister_Type(record); break;
      case Kind::kProperty: Unregister_Property(record); break;
      case Kind::kCast: Unregister_Cast(record); break;
      case Kind::kOperator: Unregister_Binary_Operator(record); break;
    }
  }
}

void* HostWords::Next(Kind kind) {
  // Both sizes are multiples of 16: every record stays aligned as its slab.
  static_assert(kTypeHostArea % 16 == 0 && kRecordHostArea % 16 == 0);
  static_assert(kTypeHostArea <= sizeof(Slab));
  std::size_t const size = kind == Kind::kType ? kTypeHostArea : kRecordHostArea;
  if (slabs_.empty() || slabUsed_ + size > sizeof(Slab)) {
    slabs_.push_back(std::make_unique_for_overwrite<Slab>());
    slabUsed_ = 0;
  }
  unsigned char* const bytes = slabs_.back()->bytes + slabUsed_;
  slabUsed_ += size;
  std::memset(bytes, 0, size);
  records_.push_back({kind, bytes});
  return bytes;
}

void HostWords::DependsOnNothing(Fingerprinter&) {}

}  // namespace survey::lang
