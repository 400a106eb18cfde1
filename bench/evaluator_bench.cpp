// The cost per value streamed through the evaluator: a plain stream, a
// stream filtered by `whose`, and a stream mapped by `(E) of`. Each query
// runs over the characters of a string of `state.range(0)` bytes, so the
// time divided by that count is the cost of one value.
//
// "bench step" / "bench steps" N, a property of the world registered here,
// gives the integers N-1 down to 0 from an iterator that does nothing else:
// `number of bench steps N` measures what the evaluator and the calling
// protocol cost for each value of an iterated property, the library's own
// work left out.

#include <benchmark/benchmark.h>

#include <new>
#include <string>

#include "host/engine/registry.h"
#include "host/session/session.h"
#include "survey/frame/registration.h"

namespace {

struct Countdown {
  long long left = 0;
};

int NextStep(void* result, void const*, void const*, void* state, void const*) {
  Countdown& countdown = *static_cast<Countdown*>(state);
  if (countdown.left <= 0) throw NoSuchObject();
  --countdown.left;
  if (result != nullptr) ::new (result) integer{countdown.left};
  return 1;
}

int FirstStep(void* result, void const* index, void const*, void* state, void const*) {
  static_cast<Countdown*>(state)->left = static_cast<integer const*>(index)->value;
  return NextStep(result, index, nullptr, state, nullptr);
}

void ConstructCountdown(void* state) { ::new (state) Countdown; }
void DestroyCountdown(void const*) noexcept {}

survey::session::Session& SharedSession() {
  static survey::session::Session* const session = [] {
    auto* made = new survey::session::Session;
    made->Load(SURVEY_LIBRARY_PATH);
    static PropRecord steps{};
    survey::host::Registry::Scope scope(made->GetHost().GetRegistry());
    Register_Iterated_Property(&steps, kRecordHostArea, "bench step", "bench steps", "integer", "",
                               "integer", sizeof(Countdown), &ConstructCountdown, &DestroyCountdown,
                               &FirstStep, &NextStep, nullptr, nullptr);
    return made;
  }();
  return *session;
}

void RunQuery(benchmark::State& state, std::string const& before, std::string const& after) {
  std::string const text(static_cast<std::size_t>(state.range(0)), 'a');
  std::string const query = before + "\"" + text + "\"" + after;
  survey::session::Session& session = SharedSession();
  for (auto _ : state) {
    survey::session::Answer const answer = session.Evaluate(query);
    if (answer.error || answer.values.size() != 1 ||
        answer.values[0].text != std::to_string(state.range(0))) {
      state.SkipWithError("the query did not count every value");
      break;
    }
    benchmark::DoNotOptimize(answer);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void PlainStream(benchmark::State& state) { RunQuery(state, "number of characters of ", ""); }
void Whose(benchmark::State& state) {
  RunQuery(state, "number of characters whose (it = \"a\") of ", "");
}
void MapOf(benchmark::State& state) { RunQuery(state, "number of (it) of characters of ", ""); }
void MapAndWhose(benchmark::State& state) {
  RunQuery(state, "number of (it as uppercase) whose (it = \"A\") of characters of ", "");
}

// The values of the iterated property above, counted.
void IteratedCount(benchmark::State& state) {
  std::string const query = "number of bench steps " + std::to_string(state.range(0));
  survey::session::Session& session = SharedSession();
  for (auto _ : state) {
    survey::session::Answer const answer = session.Evaluate(query);
    if (answer.error || answer.values.size() != 1 ||
        answer.values[0].text != std::to_string(state.range(0))) {
      state.SkipWithError("the query did not count every value");
      break;
    }
    benchmark::DoNotOptimize(answer);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  // Seconds per value, shown with its unit prefix ("25n" is 25 ns).
  state.counters["per_value"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(IteratedCount)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(PlainStream)->Arg(100000);
BENCHMARK(Whose)->Arg(100000);
BENCHMARK(MapOf)->Arg(100000);
BENCHMARK(MapAndWhose)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
