// The cost of a query's words as the vocabulary grows: parsing typical
// queries, parsing and evaluating queries whose evaluation is cheap (so that
// finding their records is a good part of the time), and the error with
// suggestions for a phrase that does not exist. Each runs with the present
// vocabulary (the host's words and the loaded library) and with 3 000 more
// phrases registered beside it, on types of their own and on the library's.

#include <benchmark/benchmark.h>

#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/engine/errors.h"
#include "host/engine/evaluation.h"
#include "host/engine/host.h"
#include "host/lang/evaluator.h"
#include "host/lang/parser.h"
#include "host/lang/words.h"

namespace {

using survey::host::Registry;

// Every synthetic phrase answers with an integer; none is evaluated here.
int AnswerNothing(void*, void const*, void const*, void*, void const*) { return 0; }
void DestroyNothing(void const*) {}

// The words synthetic phrases are made of. Some are first words of real
// phrases, so that the phrases that begin alike grow in number too.
char const* const kWords[] = {"name",    "file",    "line",     "size",   "version", "folder",
                              "gadget",  "widget",  "sprocket", "flange", "gasket",  "valve",
                              "rotor",   "spindle", "bracket",  "hinge",  "lever",   "pulley",
                              "ratchet", "spring",  "washer",   "bolt",   "nut",     "rivet"};
constexpr std::size_t kWordCount = sizeof kWords / sizeof kWords[0];
constexpr std::size_t kSyntheticTypes = 100;

// The phrase of synthetic property `n`: one to four words, the last of
// which carries the number, so that every phrase is distinct.
std::string SyntheticPhrase(std::size_t n) {
  std::size_t const words = 1 + n % 4;
  std::string phrase;
  for (std::size_t k = 0; k + 1 < words; ++k) {
    phrase += kWords[(n / (k + 1) + k * 7) % kWordCount];
    phrase += ' ';
  }
  return phrase + "part" + std::to_string(n);
}

// A vocabulary of synthetic types and properties, registered into a host's
// registry beside what is there and unregistered when it goes.
class SyntheticVocabulary {
 public:
  SyntheticVocabulary(Registry& registry, std::size_t phrases) : registry_(registry) {
    Registry::Scope scope(registry_);
    for (std::size_t t = 0; t < kSyntheticTypes; ++t) {
      Names& names = names_.emplace_back();
      names.singular = "gizmo" + std::to_string(t);
      names.base = t == 0 ? std::string() : "gizmo" + std::to_string(t / 2);
      Register_Type(types_.emplace_back().bytes, kTypeHostArea, names.singular.c_str(), 8,
                    &DestroyNothing, names.base.empty() ? nullptr : names.base.c_str(), nullptr);
    }
    // Most phrases are new words of a synthetic type; every tenth is a
    // phrase the library has already ("name", "size"...) of a synthetic
    // type, which adds to the records under that phrase.
    static char const* const kShared[] = {"name", "size", "version", "line", "file"};
    for (std::size_t n = 0; n < phrases; ++n) {
      Names& names = names_.emplace_back();
      if (n % 10 == 9) {
        names.singular = kShared[n / 10 % 5];
        names.plural = names.singular + "s";
      } else {
        names.singular = SyntheticPhrase(n);
        names.plural = names.singular + "s";
      }
      names.object = "gizmo" + std::to_string(n % kSyntheticTypes);
      Register_Property(properties_.emplace_back().bytes, kRecordHostArea, names.singular.c_str(),
                        names.plural.c_str(), "", names.object.c_str(), "integer", &AnswerNothing,
                        nullptr, nullptr);
    }
  }
  ~SyntheticVocabulary() {
    for (auto it = properties_.rbegin(); it != properties_.rend(); ++it) {
      Unregister_Property(it->bytes);
    }
    for (auto it = types_.rbegin(); it != types_.rend(); ++it) Unregister_Type(it->bytes);
  }
  SyntheticVocabulary(SyntheticVocabulary const&) = delete;
  SyntheticVocabulary& operator=(SyntheticVocabulary const&) = delete;

 private:
  struct alignas(16) Record {
    unsigned char bytes[kTypeHostArea] = {};
  };
  // The registry keeps pointers to these characters.
  struct Names {
    std::string singular, plural, object, base;
  };
  Registry& registry_;
  std::deque<Record> types_;
  std::deque<Record> properties_;
  std::deque<Names> names_;
};

// One host with the host's words and the library, shared by every
// benchmark: a library loads into one host of a process at a time.
struct Fixture {
  survey::host::Host host;
  survey::lang::HostWords words{host.GetRegistry()};
  survey::lang::Evaluator evaluator{host};
  std::unique_ptr<SyntheticVocabulary> synthetic;
  std::size_t syntheticPhrases = 0;

  Fixture() { host.Load(SURVEY_LIBRARY_PATH); }

  // Brings the synthetic vocabulary to `phrases` phrases.
  void Synthetic(std::size_t phrases) {
    if (phrases == syntheticPhrases) return;
    synthetic.reset();
    if (phrases != 0) {
      synthetic = std::make_unique<SyntheticVocabulary>(host.GetRegistry(), phrases);
    }
    syntheticPhrases = phrases;
  }
};

Fixture& Shared() {
  static Fixture* const fixture = new Fixture;
  return *fixture;
}

// Queries of the kinds users write, with phrases of one to four words,
// whose, casts, relations and tuples.
std::vector<std::string> const kTypicalQueries = {
    "names of files whose (size of it > 1000 and name of it starts with \"a\") of folder "
    "\"/etc\"",
    "number of lines containing \"root\" of file \"/etc/passwd\"",
    "(name of it, size of it) of files whose (modification time of it > now - day) of folder "
    "\"/tmp\"",
    "exists file \"/etc/hosts\" and not exists folder \"/etc/hosts\"",
    "values of variables whose (name of it as lowercase = \"home\") of environment",
    "cidr strings of ip interfaces whose (not loopback of it) of network",
};

// Queries that evaluate without reading the machine, so that their time is
// mostly parsing and finding records.
std::vector<std::string> const kCheapQueries = {
    "(length of it, it as uppercase, first 2 of it) of substrings separated by \",\" whose "
    "(length of it > 2) of \"alpha,beta,gamma\"",
    "maximum of (version it) of (\"1.2\"; \"1.10\"; \"2.0\")",
    "(it as string) of (day * 3 + hour) ; position of first \"b\" of \"abc\"",
};

void Parse(benchmark::State& state) {
  Fixture& fixture = Shared();
  fixture.Synthetic(static_cast<std::size_t>(state.range(0)));
  Registry const& registry = fixture.host.GetRegistry();
  for (auto _ : state) {
    for (std::string const& query : kTypicalQueries) {
      auto tree = survey::lang::Parse(query, registry);
      benchmark::DoNotOptimize(tree);
    }
  }
  state.SetItemsProcessed(state.iterations() * kTypicalQueries.size());
  state.counters["records"] = static_cast<double>(registry.RecordCount());
}

void ParseAndEvaluate(benchmark::State& state) {
  Fixture& fixture = Shared();
  fixture.Synthetic(static_cast<std::size_t>(state.range(0)));
  Registry const& registry = fixture.host.GetRegistry();
  for (auto _ : state) {
    for (std::string const& query : kCheapQueries) {
      auto evaluation = fixture.host.NewEvaluation();
      survey::host::Evaluation::Scope scope(*evaluation);
      auto tree = survey::lang::Parse(query, registry);
      auto values = fixture.evaluator.Open(*tree, survey::host::Value());
      survey::host::Value value;
      std::size_t count = 0;
      while (values->Next(value)) {
        benchmark::DoNotOptimize(fixture.evaluator.Text(value));
        ++count;
      }
      if (count == 0) {
        state.SkipWithError("a query had no value");
        return;
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kCheapQueries.size());
  state.counters["records"] = static_cast<double>(registry.RecordCount());
}

// A misspelt phrase: the error names it and suggests the nearest phrases.
void UnknownPhrase(benchmark::State& state) {
  Fixture& fixture = Shared();
  fixture.Synthetic(static_cast<std::size_t>(state.range(0)));
  Registry const& registry = fixture.host.GetRegistry();
  for (auto _ : state) {
    try {
      auto tree = survey::lang::Parse("lenght of \"abc\"", registry);
      state.SkipWithError("the misspelt phrase was taken");
      return;
    } catch (survey::host::EvaluationError const& error) {
      if (std::string(error.what()).find("\"length\"") == std::string::npos) {
        state.SkipWithError("no suggestion of \"length\"");
        return;
      }
    }
  }
  state.counters["records"] = static_cast<double>(registry.RecordCount());
}

BENCHMARK(Parse)->Arg(0)->Arg(3000);
BENCHMARK(ParseAndEvaluate)->Arg(0)->Arg(3000);
BENCHMARK(UnknownPhrase)->Arg(0)->Arg(3000);

}  // namespace

BENCHMARK_MAIN();
