// The cost per value streamed through the evaluator: a plain stream, a
// stream filtered by `whose`, and a stream mapped by `(E) of`. Each query
// runs over the characters of a string of `state.range(0)` bytes, so the
// time divided by that count is the cost of one value.

#include <benchmark/benchmark.h>

#include <string>

#include "host/session/session.h"

namespace {

survey::session::Session& SharedSession() {
  static survey::session::Session* const session = [] {
    auto* made = new survey::session::Session;
    made->Load(SURVEY_LIBRARY_PATH);
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

BENCHMARK(PlainStream)->Arg(100000);
BENCHMARK(Whose)->Arg(100000);
BENCHMARK(MapOf)->Arg(100000);
BENCHMARK(MapAndWhose)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
