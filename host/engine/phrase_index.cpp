#include "host/engine/phrase_index.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace survey::host {

namespace {

// A hash of a word, eight bytes at a time, the last bytes read as one
// overlapping word.
std::uint64_t HashWord(std::string_view text) {
  char const* const at = text.data();
  std::size_t const size = text.size();
  std::uint64_t hash = static_cast<std::uint64_t>(size) * 0x9e3779b97f4a7c15ULL;
  std::uint64_t last = 0;
  if (size >= 8) {
    std::size_t k = 0;
    for (; k + 8 < size; k += 8) {
      std::uint64_t word;
      std::memcpy(&word, at + k, 8);
      hash = (hash ^ word) * 0xbf58476d1ce4e5b9ULL;
      hash ^= hash >> 29;
    }
    std::memcpy(&last, at + size - 8, 8);
  } else if (size >= 4) {
    std::uint32_t low;
    std::uint32_t high;
    std::memcpy(&low, at, 4);
    std::memcpy(&high, at + size - 4, 4);
    last = low | (static_cast<std::uint64_t>(high) << 32);
  } else if (size != 0) {
    last = static_cast<unsigned char>(at[0]) |
           (static_cast<std::uint64_t>(static_cast<unsigned char>(at[size / 2])) << 8) |
           (static_cast<std::uint64_t>(static_cast<unsigned char>(at[size - 1])) << 16);
  }
  hash = (hash ^ last) * 0x94d049bb133111ebULL;
  return hash ^ (hash >> 31);
}

// The hash of a run of words, from the hash of the run one word shorter.
std::uint64_t Extend(std::uint64_t run, std::string_view word) {
  std::uint64_t const hash = (run ^ HashWord(word)) * 0xff51afd7ed558ccdULL;
  return hash ^ (hash >> 32);
}

constexpr std::uint64_t kEmptyRun = 0x2545f4914f6cdd1dULL;

// Whether a text is these words, separated by single blanks.
bool SameWords(std::string_view text, std::span<std::string_view const> words) {
  std::size_t at = 0;
  for (std::size_t k = 0; k < words.size(); ++k) {
    if (k != 0) {
      if (at >= text.size() || text[at] != ' ') return false;
      ++at;
    }
    if (text.compare(at, words[k].size(), words[k]) != 0 || text.size() - at < words[k].size()) {
      return false;
    }
    at += words[k].size();
  }
  return at == text.size();
}

std::string Lower(std::string_view text) {
  std::string folded(text);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

// Bytes fall into 64 classes by their low six bits: each letter, each digit
// and the blank has a class of its own.
int ClassOf(char c) { return static_cast<unsigned char>(c) & 63; }

// The classes a text holds.
std::uint64_t ClassSet(std::string_view text) {
  std::uint64_t set = 0;
  for (char c : text) set |= std::uint64_t{1} << ClassOf(c);
  return set;
}

// Lower bounds of the edit distance. Every class that one text holds and
// the other lacks takes an edit of its own; and an edit changes the count
// of at most one class up and one down, so the distance is at least the
// larger of the total surplus of either text.
std::size_t ClassSetBound(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::size_t>(std::max(std::popcount(a & ~b), std::popcount(b & ~a)));
}

using ClassCounts = std::array<int, 64>;

ClassCounts CountClasses(std::string_view text) {
  ClassCounts counts{};
  for (char c : text) ++counts[ClassOf(c)];
  return counts;
}

std::size_t ClassCountBound(ClassCounts const& a, std::string_view text) {
  ClassCounts difference = a;
  for (char c : text) --difference[ClassOf(c)];
  std::size_t surplus = 0;
  std::size_t shortfall = 0;
  for (int d : difference) {
    if (d > 0) surplus += static_cast<std::size_t>(d);
    if (d < 0) shortfall += static_cast<std::size_t>(-d);
  }
  return std::max(surplus, shortfall);
}

// The edit distance between two texts.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t const above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// Doubles an open table of runs, each kept at its own hash.
template <class Runs>
void Grow(Runs& runs, std::size_t& mask) {
  Runs old(runs.size() * 2, typename Runs::value_type{});
  old.swap(runs);
  mask = runs.size() - 1;
  for (auto const& run : old) {
    if (run.words == 0) continue;
    std::size_t at = run.hash & mask;
    while (runs[at].words != 0) at = (at + 1) & mask;
    runs[at] = run;
  }
}

}  // namespace

void PhraseIndex::Build(std::span<Item const> items) {
  sketched_ = false;
  texts_.clear();
  byLength_.clear();
  longestWords_ = 0;
  // Each phrase makes at most one run per word, and most runs are shared
  // (a singular and its plural, phrases that begin alike): about half as
  // many runs as that bound are distinct. The table starts with room for
  // the bound, and so for the distinct runs at less than half full, and
  // doubles when it is three quarters full. Every slot of it is written at
  // each build: sizing it by the bound alone doubled the memory it takes.
  std::size_t runs = 0;
  for (Item const& item : items) {
    runs += 1 + static_cast<std::size_t>(std::count(item.phrase.begin(), item.phrase.end(), ' '));
  }
  std::size_t capacity = 16;
  while (capacity < runs) capacity *= 2;
  runs_.assign(capacity, Run{});
  mask_ = capacity - 1;
  std::size_t used = 0;
  for (Item const& item : items) {
    std::string_view const phrase = item.phrase;
    std::uint64_t hash = kEmptyRun;
    std::uint32_t words = 0;
    std::size_t start = 0;
    while (true) {
      std::size_t const blank = phrase.find(' ', start);
      std::size_t const end = blank == std::string_view::npos ? phrase.size() : blank;
      hash = Extend(hash, phrase.substr(start, end - start));
      ++words;
      std::string_view const run = phrase.substr(0, end);
      std::size_t at = hash & mask_;
      while (runs_[at].words != 0 &&
             !(runs_[at].hash == hash && runs_[at].words == words && runs_[at].text == run)) {
        at = (at + 1) & mask_;
      }
      if (runs_[at].words == 0) {
        if ((used + 1) * 4 > runs_.size() * 3) {
          Grow(runs_, mask_);
          at = hash & mask_;
          while (runs_[at].words != 0) at = (at + 1) & mask_;
        }
        ++used;
        runs_[at].text = run;
        runs_[at].hash = hash;
        runs_[at].words = words;
      }
      Run& slot = runs_[at];
      if (end == phrase.size()) {
        ++slot.uses[item.use];
        break;
      }
      start = end + 1;
    }
    longestWords_ = std::max<std::size_t>(longestWords_, words);
  }
}

PhraseIndex::Run const* PhraseIndex::FindRun(std::string_view text) const {
  if (runs_.empty()) return nullptr;
  std::uint64_t hash = kEmptyRun;
  std::uint32_t words = 0;
  std::size_t start = 0;
  while (true) {
    std::size_t const blank = text.find(' ', start);
    std::size_t const end = blank == std::string_view::npos ? text.size() : blank;
    hash = Extend(hash, text.substr(start, end - start));
    ++words;
    if (end == text.size()) break;
    start = end + 1;
  }
  for (std::size_t at = hash & mask_; runs_[at].words != 0; at = (at + 1) & mask_) {
    Run const& run = runs_[at];
    if (run.hash == hash && run.words == words && run.text == text) return &run;
  }
  return nullptr;
}

std::size_t PhraseIndex::Count(std::string_view phrase, Use use) const {
  Run const* const run = FindRun(phrase);
  return run == nullptr ? 0 : run->uses[use];
}

std::size_t PhraseIndex::Match(std::span<std::string_view const> words,
                               std::span<Use const> uses) const {
  if (runs_.empty()) return 0;
  std::size_t longest = 0;
  std::uint64_t hash = kEmptyRun;
  for (std::size_t k = 0; k < words.size(); ++k) {
    hash = Extend(hash, words[k]);
    auto const count = static_cast<std::uint32_t>(k + 1);
    Run const* found = nullptr;
    for (std::size_t at = hash & mask_; runs_[at].words != 0; at = (at + 1) & mask_) {
      Run const& run = runs_[at];
      if (run.hash == hash && run.words == count && SameWords(run.text, words.first(k + 1))) {
        found = &run;
        break;
      }
    }
    // No phrase begins with these words: none longer does either.
    if (found == nullptr) break;
    for (Use use : uses) {
      if (found->uses[use] != 0) longest = k + 1;
    }
  }
  return longest;
}

void PhraseIndex::MakeSketches() const {
  if (sketched_) return;
  for (Run const& run : runs_) {
    bool used = false;
    for (std::uint32_t n : run.uses) used = used || n != 0;
    if (used) texts_.push_back(run.text);
  }
  std::sort(texts_.begin(), texts_.end());
  for (std::string_view text : texts_) {
    byLength_[text.size()].push_back(Sketch{text, ClassSet(text)});
  }
  sketched_ = true;
}

std::vector<std::string> PhraseIndex::Nearest(std::string_view words, std::size_t count) const {
  MakeSketches();
  std::string const sought = Lower(words);
  std::size_t const limit = std::max<std::size_t>(2, sought.size() / 3);
  std::string const prefix = sought + " ";
  bool const prefixes = sought.size() >= 4;
  auto beginsWithSought = [&](std::string_view phrase) {
    return prefixes && phrase.starts_with(prefix);
  };
  std::vector<std::pair<std::size_t, std::string_view>> ranked;
  if (prefixes) {
    for (auto it = std::lower_bound(texts_.begin(), texts_.end(), std::string_view(prefix));
         it != texts_.end() && beginsWithSought(*it); ++it) {
      ranked.emplace_back(1, *it);
    }
  }
  // The distance is at least the difference of the lengths.
  std::uint64_t const soughtSet = ClassSet(sought);
  ClassCounts const soughtCounts = CountClasses(sought);
  std::size_t const shortest = sought.size() > limit ? sought.size() - limit : 0;
  for (auto length = byLength_.lower_bound(shortest);
       length != byLength_.end() && length->first <= sought.size() + limit; ++length) {
    for (Sketch const& sketch : length->second) {
      if (ClassSetBound(soughtSet, sketch.classes) > limit || beginsWithSought(sketch.text) ||
          ClassCountBound(soughtCounts, sketch.text) > limit) {
        continue;
      }
      std::size_t const distance = Distance(sought, sketch.text);
      if (distance <= limit) ranked.emplace_back(distance, sketch.text);
    }
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::string> nearest;
  for (std::size_t i = 0; i < ranked.size() && i < count; ++i) {
    nearest.emplace_back(ranked[i].second);
  }
  return nearest;
}

}  // namespace survey::host
