// The registry's indexes against plain readings of its rules: record lookups
// over a vocabulary of many types, bases and phrases, before and after
// unregistrations; the longest match of a query's words; suggestions of near
// phrases among thousands; the one lookup with its errors; tuple types; and
// what a load reports instead of throwing.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine/registry.h"
#include "survey/frame/registration.h"

namespace {

using survey::host::CastEntry;
using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::OperatorEntry;
using survey::host::PhraseKind;
using survey::host::PropertyEntry;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::TypeEntry;

int Getter(void*, void const*, void const*, void*, void const*) { return 1; }
void CastThunk(void*, void const*, void const*) {}
void OperatorThunk(void*, void const*, void const*, void const*) {}
void DestroyNothing(void const*) {}

// Registers records of every kind into the current registry, keeping the
// records and the texts they name alive.
class Vocabulary {
 public:
  ~Vocabulary() {
    for (auto it = live_.rbegin(); it != live_.rend(); ++it) Unregister(*it);
  }

  void* Type(std::string name, std::string base = "") {
    std::string const& kept = Keep(std::move(name));
    std::string const& keptBase = Keep(std::move(base));
    void* const record = Next(kType);
    Register_Type(record, kTypeHostArea, kept.c_str(), 8, &DestroyNothing,
                  keptBase.empty() ? nullptr : keptBase.c_str(), nullptr);
    return record;
  }
  void* Property(std::string singular, std::string plural, std::string index, std::string object,
                 std::string result = "blob") {
    char const* const s = Keep(std::move(singular)).c_str();
    char const* const p = Keep(std::move(plural)).c_str();
    char const* const i = Keep(std::move(index)).c_str();
    char const* const o = Keep(std::move(object)).c_str();
    char const* const r = Keep(std::move(result)).c_str();
    void* const record = Next(kProperty);
    Register_Property(record, kRecordHostArea, s, p, i, o, r, &Getter, record, nullptr);
    return record;
  }
  void* Cast(std::string phrase, std::string source, std::string target = "blob") {
    char const* const p = Keep(std::move(phrase)).c_str();
    char const* const s = Keep(std::move(source)).c_str();
    char const* const t = Keep(std::move(target)).c_str();
    void* const record = Next(kCast);
    Register_Cast(record, kRecordHostArea, p, s, t, &CastThunk, record, nullptr);
    return record;
  }
  void* Operator(int code, std::string left, std::string right, std::string result = "blob") {
    char const* const l = Keep(std::move(left)).c_str();
    char const* const r = Keep(std::move(right)).c_str();
    char const* const t = Keep(std::move(result)).c_str();
    void* const record = Next(kOperator);
    Register_Binary_Operator(record, kRecordHostArea, code, l, r, t, &OperatorThunk, record,
                             nullptr);
    return record;
  }
  // Unregisters a record registered here.
  void Remove(void* record) {
    auto const found = std::find_if(live_.begin(), live_.end(),
                                    [record](Live const& live) { return live.record == record; });
    ASSERT_NE(live_.end(), found);
    Unregister(*found);
    live_.erase(found);
  }

 private:
  enum Kind { kType, kProperty, kCast, kOperator };
  struct alignas(16) Record {
    unsigned char bytes[kTypeHostArea] = {};
  };
  struct Live {
    Kind kind;
    void* record;
  };
  std::string const& Keep(std::string text) { return texts_.emplace_back(std::move(text)); }
  void* Next(Kind kind) {
    void* const record = records_.emplace_back().bytes;
    live_.push_back({kind, record});
    return record;
  }
  static void Unregister(Live const& live) {
    switch (live.kind) {
      case kType:
        Unregister_Type(live.record);
        break;
      case kProperty:
        Unregister_Property(live.record);
        break;
      case kCast:
        Unregister_Cast(live.record);
        break;
      case kOperator:
        Unregister_Binary_Operator(live.record);
        break;
    }
  }
  std::deque<Record> records_;
  std::deque<std::string> texts_;
  std::vector<Live> live_;
};

// --- Plain readings of the lookup rules, over the registration-order views.

TypeEntry const* ReferenceType(Registry const& registry, std::string_view name) {
  for (TypeEntry const* type : registry.Types()) {
    if (type->name == name) return type;
  }
  return nullptr;
}

// The type, then its bases by name, upward; "none" alone for null.
std::vector<TypeEntry const*> ReferenceLineage(Registry const& registry, TypeEntry const* type) {
  std::vector<TypeEntry const*> chain{type};
  while (type != nullptr && !type->baseName.empty() && chain.size() < 65) {
    type = ReferenceType(registry, type->baseName);
    if (type != nullptr) chain.push_back(type);
  }
  return chain;
}

std::string NameOf(TypeEntry const* type) { return type == nullptr ? "" : type->name; }

PropertyEntry const* ReferenceProperty(Registry const& registry, std::string const& phrase,
                                       TypeEntry const* index, TypeEntry const* object) {
  for (TypeEntry const* o : ReferenceLineage(registry, object)) {
    for (TypeEntry const* i : ReferenceLineage(registry, index)) {
      for (PropertyEntry const* entry : registry.Properties()) {
        if ((entry->singular == phrase || entry->plural == phrase) && entry->index == NameOf(i) &&
            entry->object == NameOf(o)) {
          return entry;
        }
      }
    }
  }
  return nullptr;
}

CastEntry const* ReferenceCast(Registry const& registry, std::string const& phrase,
                               TypeEntry const* source) {
  for (TypeEntry const* s : ReferenceLineage(registry, source)) {
    for (CastEntry const* entry : registry.Casts()) {
      if (entry->phrase == phrase && entry->source == NameOf(s)) return entry;
    }
  }
  return nullptr;
}

OperatorEntry const* ReferenceOperator(Registry const& registry, int code, TypeEntry const* left,
                                       TypeEntry const* right) {
  for (TypeEntry const* l : ReferenceLineage(registry, left)) {
    for (TypeEntry const* r : ReferenceLineage(registry, right)) {
      for (OperatorEntry const* entry : registry.Operators()) {
        if (entry->code == code && entry->left == NameOf(l) && entry->right == NameOf(r)) {
          return entry;
        }
      }
    }
  }
  return nullptr;
}

std::vector<PropertyEntry const*> ReferenceNamed(Registry const& registry,
                                                 std::string const& phrase) {
  std::vector<PropertyEntry const*> named;
  for (PropertyEntry const* entry : registry.Properties()) {
    if (entry->singular == phrase || entry->plural == phrase) named.push_back(entry);
  }
  return named;
}

// A small generator of numbers, the same on every run.
class Numbers {
 public:
  unsigned Next(unsigned bound) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<unsigned>(state_ >> 33) % bound;
  }

 private:
  unsigned long long state_ = 12345;
};

class RegistryIndexTest : public ::testing::Test {
 protected:
  Registry registry;
  Registry::Scope scope{registry};
};

// Types in chains of bases (one name registered twice, one base that no
// type has), properties of a few phrases with every kind of index and
// object, some registered twice, casts and operators: every lookup agrees
// with the plain reading, before and after a third of the records go.
TEST_F(RegistryIndexTest, LookupsAgreeWithAPlainReadingOfTheRules) {
  Vocabulary vocabulary;
  constexpr unsigned kTypes = 24;
  std::vector<std::string> typeNames;
  for (unsigned t = 0; t < kTypes; ++t) typeNames.push_back("t" + std::to_string(t));
  std::vector<void*> records;
  for (unsigned t = 0; t < kTypes; ++t) {
    std::string const base = t == 0 ? "" : t == 7 ? "missing base" : typeNames[(t - 1) / 2];
    records.push_back(vocabulary.Type(typeNames[t], base));
  }
  records.push_back(vocabulary.Type("t5", "t0"));  // a second "t5": the first is found
  std::vector<std::string> const phrases = {"alpha", "beta", "alpha beta", "gamma"};
  Numbers numbers;
  auto anyType = [&](bool none) {
    unsigned const pick = numbers.Next(kTypes + (none ? 4 : 0));
    return pick < kTypes ? typeNames[pick] : std::string();
  };
  for (int n = 0; n < 300; ++n) {
    std::string const& phrase = phrases[numbers.Next(phrases.size())];
    records.push_back(vocabulary.Property(
        phrase, phrase + "s", numbers.Next(3) == 0 ? anyType(true) : "", anyType(true)));
  }
  for (int n = 0; n < 80; ++n) {
    records.push_back(vocabulary.Cast(phrases[numbers.Next(2)], anyType(false)));
    records.push_back(
        vocabulary.Operator(6 + static_cast<int>(numbers.Next(2)), anyType(false), anyType(false)));
  }

  auto check = [&] {
    std::vector<TypeEntry const*> types{nullptr};
    for (std::string const& name : typeNames) {
      TypeEntry const* const type = registry.FindType(name);
      EXPECT_EQ(ReferenceType(registry, name), type) << name;
      if (type != nullptr) types.push_back(type);
    }
    for (std::string const& phrase : phrases) {
      for (std::string const& form : {phrase, phrase + "s"}) {
        auto const named = registry.PropertiesNamed(form);
        EXPECT_EQ(ReferenceNamed(registry, form),
                  std::vector<PropertyEntry const*>(named.begin(), named.end()))
            << form;
        for (TypeEntry const* index : types) {
          for (TypeEntry const* object : types) {
            ASSERT_EQ(ReferenceProperty(registry, form, index, object),
                      registry.FindProperty(form, index, object))
                << form << " with " << NameOf(index) << " of " << NameOf(object);
          }
        }
      }
      for (TypeEntry const* source : types) {
        ASSERT_EQ(ReferenceCast(registry, phrase, source), registry.FindCast(phrase, source))
            << phrase << " of " << NameOf(source);
      }
    }
    for (int code : {5, 6, 7}) {
      for (TypeEntry const* left : types) {
        for (TypeEntry const* right : types) {
          ASSERT_EQ(ReferenceOperator(registry, code, left, right),
                    registry.FindOperator(code, left, right))
              << code << " " << NameOf(left) << " " << NameOf(right);
        }
      }
    }
  };
  check();
  for (std::size_t k = 0; k < records.size(); k += 3) vocabulary.Remove(records[k]);
  check();
}

TEST_F(RegistryIndexTest, TheListingsKeepTheOrderOfRegistrationAfterRemovals) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  void* const first = vocabulary.Property("zeta", "zetas", "", "blob");
  vocabulary.Property("alpha", "alphas", "", "blob");
  vocabulary.Property("mid", "mids", "", "blob");
  vocabulary.Cast("zeta", "blob");
  vocabulary.Cast("alpha", "blob");
  vocabulary.Remove(first);
  void* const again = vocabulary.Property("zeta", "zetas", "", "blob");
  std::vector<std::string> singulars;
  for (PropertyEntry const* entry : registry.Properties()) singulars.emplace_back(entry->singular);
  EXPECT_EQ((std::vector<std::string>{"alpha", "mid", "zeta"}), singulars);
  ASSERT_EQ(2u, registry.Casts().size());
  EXPECT_EQ("zeta", registry.Casts()[0]->phrase);
  EXPECT_EQ(again, registry.FindProperty("zetas", nullptr, registry.FindType("blob"))->record);
}

// --- Phrases as a query names them.

std::vector<std::string_view> Words(std::vector<std::string> const& words) {
  return std::vector<std::string_view>(words.begin(), words.end());
}

TEST_F(RegistryIndexTest, MatchesTheLongestRegisteredRunOfWords) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  vocabulary.Property("line", "lines", "", "blob");
  void* const starting =
      vocabulary.Property("line starting with", "lines starting with", "blob", "blob");
  vocabulary.Cast("lowercase", "blob");
  std::vector<std::string> const query = {"line", "starting", "with", "it"};
  EXPECT_EQ(3u, registry.MatchPhrase(Words(query), PhraseKind::kProperty));
  EXPECT_EQ(1u, registry.MatchPhrase(Words({"line", "starting"}), PhraseKind::kProperty));
  EXPECT_EQ(3u, registry.MatchPhrase(Words({"lines", "starting", "with"}), PhraseKind::kProperty));
  EXPECT_EQ(0u, registry.MatchPhrase(Words({"starting", "with"}), PhraseKind::kProperty));
  EXPECT_EQ(0u, registry.MatchPhrase(Words({}), PhraseKind::kProperty));
  // Casts and properties are apart.
  EXPECT_EQ(1u, registry.MatchPhrase(Words({"lowercase"}), PhraseKind::kCast));
  EXPECT_EQ(0u, registry.MatchPhrase(Words({"lowercase"}), PhraseKind::kProperty));
  EXPECT_EQ(0u, registry.MatchPhrase(Words({"line"}), PhraseKind::kCast));
  EXPECT_EQ(3u, registry.LongestPhraseWords());
  vocabulary.Remove(starting);
  EXPECT_EQ(1u, registry.MatchPhrase(Words(query), PhraseKind::kProperty));
  EXPECT_EQ(1u, registry.LongestPhraseWords());
}

TEST_F(RegistryIndexTest, CountsTheSingularAndPluralUsesOfAPhrase) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  vocabulary.Type("other");
  vocabulary.Property("sheep", "sheep", "", "blob");
  void* const second = vocabulary.Property("file", "files", "", "blob");
  vocabulary.Property("files", "fileses", "", "other");
  EXPECT_EQ(1u, registry.PropertyPhraseUse("sheep").singular);
  EXPECT_EQ(1u, registry.PropertyPhraseUse("sheep").plural);
  EXPECT_EQ(1u, registry.PropertyPhraseUse("files").singular);
  EXPECT_EQ(1u, registry.PropertyPhraseUse("files").plural);
  vocabulary.Remove(second);
  EXPECT_EQ(0u, registry.PropertyPhraseUse("files").plural);
  EXPECT_EQ(0u, registry.PropertyPhraseUse("file").singular);
  EXPECT_FALSE(registry.HasPropertyPhrase("file"));
  EXPECT_TRUE(registry.HasPropertyPhrase("files"));
}

// The longest match against every prefix of runs of words, among a few
// hundred phrases that share their first words.
TEST_F(RegistryIndexTest, LongestMatchAgreesWithTryingEveryLength) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  std::vector<std::string> const pool = {"name", "file", "of", "line", "size", "x"};
  Numbers numbers;
  std::set<std::string> phrases;
  for (int n = 0; n < 400; ++n) {
    std::string phrase;
    for (unsigned k = 0, words = 1 + numbers.Next(4); k < words; ++k) {
      phrase += (k == 0 ? "" : " ") + pool[numbers.Next(pool.size())];
    }
    if (!phrases.insert(phrase).second) continue;
    vocabulary.Property(phrase, phrase + "_s", "", "blob");
  }
  for (int n = 0; n < 500; ++n) {
    std::vector<std::string> run;
    for (unsigned k = 0, words = 1 + numbers.Next(6); k < words; ++k) {
      run.push_back(pool[numbers.Next(pool.size())]);
    }
    std::size_t expected = 0;
    std::string text;
    for (std::size_t k = 0; k < run.size(); ++k) {
      text += (k == 0 ? "" : " ") + run[k];
      if (phrases.count(text) != 0) expected = k + 1;
    }
    ASSERT_EQ(expected, registry.MatchPhrase(Words(run), PhraseKind::kProperty)) << text;
  }
}

// Phrases that share no word with each other, so that every run of words
// is a phrase of its own and the runs are as many as the words: the phrase
// index grows its table past the room it starts with, and every phrase is
// still found, used as registered.
TEST_F(RegistryIndexTest, PhrasesThatShareNoWordAreAllFound) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  struct Forms {
    std::vector<std::string> singular;
    std::vector<std::string> plural;
  };
  std::vector<Forms> registered;
  for (int n = 0; n < 1000; ++n) {
    std::string const k = std::to_string(n);
    registered.push_back({{"w" + k}, {"p" + k}});
  }
  for (int n = 0; n < 10; ++n) {
    std::string const k = std::to_string(n);
    registered.push_back({{"a" + k, "b" + k}, {"c" + k, "d" + k}});
  }
  auto const join = [](std::vector<std::string> const& words) {
    std::string phrase;
    for (std::string const& word : words) phrase += (phrase.empty() ? "" : " ") + word;
    return phrase;
  };
  for (Forms const& forms : registered) {
    vocabulary.Property(join(forms.singular), join(forms.plural), "", "blob");
  }
  for (Forms const& forms : registered) {
    std::string const singular = join(forms.singular);
    std::string const plural = join(forms.plural);
    ASSERT_TRUE(registry.HasPropertyPhrase(singular)) << singular;
    EXPECT_EQ(1u, registry.PropertyPhraseUse(singular).singular) << singular;
    EXPECT_EQ(0u, registry.PropertyPhraseUse(singular).plural) << singular;
    EXPECT_EQ(1u, registry.PropertyPhraseUse(plural).plural) << plural;
    for (std::vector<std::string> words : {forms.singular, forms.plural}) {
      std::size_t const length = words.size();
      words.push_back("extra");
      EXPECT_EQ(length, registry.MatchPhrase(Words(words), PhraseKind::kProperty)) << plural;
      if (length > 1) {
        // Its first word alone is no phrase.
        EXPECT_EQ(0u, registry.MatchPhrase(Words({words[0]}), PhraseKind::kProperty)) << plural;
      }
    }
  }
  EXPECT_EQ(2u, registry.LongestPhraseWords());
  EXPECT_FALSE(registry.HasPropertyPhrase("w1000"));
  EXPECT_FALSE(registry.HasPropertyPhrase("a0"));
}

// --- Suggestions.

std::size_t PlainDistance(std::string const& a, std::string const& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      d[i][j] = std::min(
          {d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
    }
  }
  return d[a.size()][b.size()];
}

// The rule as it reads: case ignored; a phrase that begins with the words
// and a blank (words of four letters or more) ranks as distance 1; others
// within a third of the length (at least 2) rank by distance; ties by text.
std::vector<std::string> ReferenceNearest(Registry const& registry, std::string words) {
  for (char& c : words) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::set<std::string> phrases;
  for (PropertyEntry const* entry : registry.Properties()) {
    phrases.emplace(entry->singular);
    phrases.emplace(entry->plural);
  }
  for (CastEntry const* entry : registry.Casts()) phrases.insert(entry->phrase);
  std::size_t const limit = std::max<std::size_t>(2, words.size() / 3);
  std::vector<std::pair<std::size_t, std::string>> ranked;
  for (std::string const& phrase : phrases) {
    if (words.size() >= 4 && phrase.rfind(words + " ", 0) == 0) {
      ranked.emplace_back(1, phrase);
    } else if (std::size_t const distance = PlainDistance(words, phrase); distance <= limit) {
      ranked.emplace_back(distance, phrase);
    }
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::string> nearest;
  for (std::size_t i = 0; i < ranked.size() && i < 3; ++i) nearest.push_back(ranked[i].second);
  return nearest;
}

TEST_F(RegistryIndexTest, SuggestsTheNearestPhrases) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  vocabulary.Property("length", "lengths", "", "blob");
  vocabulary.Property("following text", "following texts", "", "blob");
  vocabulary.Cast("lowercase", "blob");
  EXPECT_EQ((std::vector<std::string>{"length", "lengths"}), registry.NearestPhrases("lenght"));
  EXPECT_EQ((std::vector<std::string>{"length", "lengths"}), registry.NearestPhrases("LENGTH"));
  EXPECT_EQ((std::vector<std::string>{"following text", "following texts"}),
            registry.NearestPhrases("following"));
  EXPECT_EQ((std::vector<std::string>{"lowercase"}), registry.NearestPhrases("lowercse"));
  EXPECT_TRUE(registry.NearestPhrases("frobnicate").empty());
}

// Among 3 000 phrases of a few hundred shapes, the suggestions are those of
// the plain reading, for misspellings, prefixes and words near nothing.
TEST_F(RegistryIndexTest, SuggestionsAgreeWithThePlainReadingAmongThousandsOfPhrases) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  std::vector<std::string> const pool = {"name",   "file",   "line", "size",  "version",
                                         "gadget", "widget", "part", "start", "length"};
  Numbers numbers;
  for (int n = 0; n < 1500; ++n) {
    std::string phrase;
    for (unsigned k = 0, words = 1 + numbers.Next(3); k < words; ++k) {
      phrase += (k == 0 ? "" : " ") + pool[numbers.Next(pool.size())];
    }
    phrase += std::to_string(numbers.Next(40));
    vocabulary.Property(phrase, phrase + "s", "", "blob");
  }
  for (char const* cast : {"string", "lowercase", "uppercase", "version"}) {
    vocabulary.Cast(cast, "blob");
  }
  for (char const* words :
       {"lenght", "name", "Name file", "verison", "gadget1", "widgt12", "part part", "sise",
        "lowercse", "file line siz3", "x", "frobnicate", "start length", "vershun"}) {
    EXPECT_EQ(ReferenceNearest(registry, words), registry.NearestPhrases(words)) << words;
  }
}

// --- The one lookup and its errors.

TEST_F(RegistryIndexTest, LookupGivesTheRecordOrTheErrorThatSaysWhy) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  vocabulary.Type("file");
  vocabulary.Type("number");
  void* const size = vocabulary.Property("size", "sizes", "", "file");
  vocabulary.Property("size", "sizes", "number", "blob");
  vocabulary.Cast("lowercase", "file");
  TypeEntry const* const file = registry.FindType("file");
  TypeEntry const* const blob = registry.FindType("blob");
  EXPECT_EQ(size, registry.LookupProperty("sizes", nullptr, file).record);
  try {
    registry.LookupProperty("sise", nullptr, file);
    ADD_FAILURE() << "an unknown phrase was found";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kUnknownPhrase, error.Kind());
    EXPECT_STREQ("unknown phrase \"sise\"; did you mean \"size\" or \"sizes\"?", error.what());
  }
  try {
    registry.LookupProperty("size", nullptr, blob);
    ADD_FAILURE() << "a property of another type was found";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
    EXPECT_STREQ(
        "no property \"size\" of \"blob\"; it is a property of \"file\", \"blob\" (with "
        "\"number\")",
        error.what());
  }
  try {
    registry.LookupCast("lowercase", blob);
    ADD_FAILURE() << "a cast of another type was found";
  } catch (EvaluationError const& error) {
    EXPECT_EQ(ErrorKind::kNoSuchProperty, error.Kind());
    EXPECT_STREQ("no cast \"lowercase\" for \"blob\"; it is a cast of \"file\"", error.what());
  }
  EvaluationError const unknownCast = registry.UnknownPhraseError("lowercse", PhraseKind::kCast, 7);
  EXPECT_STREQ("unknown cast \"lowercse\"; did you mean \"lowercase\"?", unknownCast.what());
  EXPECT_EQ(7, unknownCast.Position());
}

// --- Tuple types.

TEST_F(RegistryIndexTest, RegistersATupleTypeOnceWithItsElements) {
  Vocabulary vocabulary;
  vocabulary.Type("a");
  vocabulary.Type("b");
  TypeEntry const* const a = registry.FindType("a");
  TypeEntry const* const b = registry.FindType("b");
  TypeEntry const* const pair = registry.TupleType({a, b});
  ASSERT_NE(nullptr, pair);
  EXPECT_EQ("( a, b )", pair->name);
  EXPECT_EQ(2 * sizeof(TupleNode), pair->size);
  EXPECT_EQ(pair, registry.TupleType({a, b}));
  EXPECT_EQ(pair, registry.FindType("( a, b )"));
  ASSERT_NE(nullptr, registry.TupleElements(pair));
  EXPECT_EQ((std::vector<TypeEntry const*>{a, b}), *registry.TupleElements(pair));
  EXPECT_EQ(nullptr, registry.TupleElements(a));
  EXPECT_NE(pair, registry.TupleType({b, a}));
  EXPECT_EQ("( a, nothing )", registry.TupleType({a, nullptr})->name);
}

TEST_F(RegistryIndexTest, FindsTheTupleTypeOfANameOfRegisteredTypes) {
  Vocabulary vocabulary;
  vocabulary.Type("a");
  vocabulary.Type("b c");
  TypeEntry const* const a = registry.FindType("a");
  TypeEntry const* const bc = registry.FindType("b c");
  TypeEntry const* const nested = registry.TupleTypeNamed("( a, ( b c, a ) )");
  ASSERT_NE(nullptr, nested);
  EXPECT_EQ("( a, ( b c, a ) )", nested->name);
  TypeEntry const* const inner = registry.TupleType({bc, a});
  EXPECT_EQ((std::vector<TypeEntry const*>{a, inner}), *registry.TupleElements(nested));
  EXPECT_EQ(nested, registry.TupleTypeNamed("( a, ( b c, a ) )"));
  EXPECT_EQ(nullptr, registry.TupleTypeNamed("( a, missing )"));
  EXPECT_EQ(nullptr, registry.TupleTypeNamed("a"));
  EXPECT_EQ(nullptr, registry.TupleTypeNamed("( a, b"));
}

TEST_F(RegistryIndexTest, ATupleTypeGoesWithAnyOfItsElementTypes) {
  Vocabulary vocabulary;
  vocabulary.Type("a");
  void* const b = vocabulary.Type("b");
  TypeEntry const* const a = registry.FindType("a");
  registry.TupleTypeNamed("( a, ( a, b ) )");
  registry.TupleType({a, a});
  std::size_t const records = registry.RecordCount();
  vocabulary.Remove(b);
  EXPECT_EQ(records - 3, registry.RecordCount());
  EXPECT_EQ(nullptr, registry.FindType("( a, b )"));
  EXPECT_EQ(nullptr, registry.FindType("( a, ( a, b ) )"));
  EXPECT_NE(nullptr, registry.FindType("( a, a )"));
  // Made anew with a new "b".
  vocabulary.Type("b");
  TypeEntry const* const again = registry.TupleTypeNamed("( a, b )");
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(registry.FindType("b"), (*registry.TupleElements(again))[1]);
}

// --- Loads.

TEST_F(RegistryIndexTest, ARefusalDuringALoadIsKeptAndReportedAtItsEnd) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  registry.BeginLoad();
  EXPECT_TRUE(registry.Loading());
  alignas(16) unsigned char record[kRecordHostArea] = {};
  EXPECT_NO_THROW(Register_Property(record, kRecordHostArea, "p", "ps", "", "blob", "blob", nullptr,
                                    record, nullptr));
  EXPECT_NO_THROW(
      Register_Type(nullptr, kTypeHostArea, "second", 8, &DestroyNothing, nullptr, nullptr));
  vocabulary.Property("fine", "fines", "", "blob");
  std::optional<std::string> const problem = registry.EndLoad();
  EXPECT_FALSE(registry.Loading());
  ASSERT_TRUE(problem.has_value());
  EXPECT_EQ(
      "the host refused property \"p\" / \"ps\" of \"blob\" (\"p\" registered without a getter) "
      "(and 1 more refusal)",
      *problem);
  EXPECT_EQ(nullptr, registry.FindProperty("p", nullptr, registry.FindType("blob")));
  // Outside a load a refusal is thrown, as ever.
  EXPECT_THROW(Register_Property(record, kRecordHostArea, "p", "ps", "", "blob", "blob", nullptr,
                                 record, nullptr),
               RegistrationError);
}

TEST_F(RegistryIndexTest, ALoadReportsTypeNamesThatNoTypeHas) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  // Before the load: not the load's to answer for.
  vocabulary.Property("old", "olds", "", "elsewhere");
  registry.BeginLoad();
  vocabulary.Property("pair", "pairs", "", "blob", "( blob, blob )");
  vocabulary.Type("late", "blob");
  vocabulary.Property("late size", "late sizes", "", "late");
  EXPECT_EQ(std::nullopt, registry.EndLoad());

  registry.BeginLoad();
  vocabulary.Property("bad pair", "bad pairs", "", "blob", "( blob, nowhere )");
  EXPECT_EQ(
      "property \"bad pair\" / \"bad pairs\" of \"blob\" names the result type \"( blob, "
      "nowhere )\", which no type has",
      registry.EndLoad());
  registry.BeginLoad();
  vocabulary.Type("orphan", "no base");
  vocabulary.Cast("string", "nowhere");
  vocabulary.Operator(6, "blob", "blob", "truth");
  EXPECT_EQ(
      "type \"orphan\" has the base type \"no base\", which no type has (and 2 more problems)",
      registry.EndLoad());
}

TEST_F(RegistryIndexTest, ALoadReportsRecordsUnderOneKeyTwice) {
  Vocabulary vocabulary;
  vocabulary.Type("blob");
  vocabulary.Type("number");
  vocabulary.Property("size", "sizes", "", "blob");
  vocabulary.Cast("string", "blob");
  vocabulary.Operator(6, "blob", "blob");
  registry.BeginLoad();
  // Other index, object, source or operand types are no conflict.
  vocabulary.Property("size", "sizes", "number", "blob");
  vocabulary.Property("sizes", "sizeses", "", "number");
  vocabulary.Cast("string", "number");
  vocabulary.Operator(6, "blob", "number");
  vocabulary.Operator(7, "blob", "blob");
  EXPECT_EQ(std::nullopt, registry.EndLoad());

  registry.BeginLoad();
  vocabulary.Type("number");
  EXPECT_EQ("type \"number\" is registered twice (the same type name)", registry.EndLoad());
  registry.BeginLoad();
  vocabulary.Property("sizes", "sizeses", "", "blob");
  EXPECT_EQ(
      "property \"sizes\" / \"sizeses\" of \"blob\" is registered twice (the phrase \"sizes\" "
      "with the same index and object types)",
      registry.EndLoad());
  registry.BeginLoad();
  vocabulary.Cast("string", "blob");
  EXPECT_EQ(
      "cast \"string\" of \"blob\" is registered twice (the same cast phrase and source type)",
      registry.EndLoad());
  registry.BeginLoad();
  vocabulary.Operator(7, "blob", "blob");
  EXPECT_EQ(
      "operator \"<\" of \"blob\" and \"blob\" is registered twice (the same operator and operand "
      "types)",
      registry.EndLoad());
}

}  // namespace
