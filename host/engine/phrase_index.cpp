#include "host/engine/phrase_index.h"

#include <algorithm>
#include <array>
#include <bit>

namespace survey::host {

namespace {

// Words looked up by a string_view.
struct WordHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view word) const noexcept {
    return std::hash<std::string_view>()(word);
  }
};

// Calls `each` with every word of a phrase, in order.
template <class Each>
void ForEachWord(std::string_view phrase, Each each) {
  while (true) {
    std::size_t const blank = phrase.find(' ');
    each(phrase.substr(0, blank));
    if (blank == std::string_view::npos) return;
    phrase.remove_prefix(blank + 1);
  }
}

std::size_t WordCount(std::string_view phrase) {
  return 1 + static_cast<std::size_t>(std::count(phrase.begin(), phrase.end(), ' '));
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

}  // namespace

struct PhraseIndex::Node {
  std::unordered_map<std::string, std::unique_ptr<Node>, WordHash, std::equal_to<>> next;
  std::array<std::size_t, kUseCount> uses{};

  bool Unused() const {
    return next.empty() && std::all_of(uses.begin(), uses.end(), [](auto n) { return n == 0; });
  }
};

PhraseIndex::PhraseIndex() : root_(std::make_unique<Node>()) {}

PhraseIndex::~PhraseIndex() = default;

void PhraseIndex::Clear() {
  root_ = std::make_unique<Node>();
  wordCounts_.clear();
  byLength_.clear();
  texts_.clear();
}

PhraseIndex::Node* PhraseIndex::Walk(std::string_view phrase, bool make) {
  Node* node = root_.get();
  ForEachWord(phrase, [&](std::string_view word) {
    if (node == nullptr) return;
    auto found = node->next.find(word);
    if (found == node->next.end()) {
      if (!make) {
        node = nullptr;
        return;
      }
      found = node->next.emplace(std::string(word), std::make_unique<Node>()).first;
    }
    node = found->second.get();
  });
  return node;
}

PhraseIndex::Node const* PhraseIndex::Find(std::string_view phrase) const {
  return const_cast<PhraseIndex*>(this)->Walk(phrase, false);
}

void PhraseIndex::Add(std::string_view phrase, Use use) {
  ++Walk(phrase, true)->uses[use];
  ++wordCounts_[WordCount(phrase)];
  NoteText(phrase, true);
}

void PhraseIndex::Remove(std::string_view phrase, Use use) {
  // The path from the root, so that nodes left unused can be pruned from
  // the end back.
  std::vector<std::pair<Node*, std::string_view>> path;
  Node* node = root_.get();
  bool present = true;
  ForEachWord(phrase, [&](std::string_view word) {
    if (!present) return;
    auto const found = node->next.find(word);
    if (found == node->next.end()) {
      present = false;
      return;
    }
    path.emplace_back(node, word);
    node = found->second.get();
  });
  if (!present || node->uses[use] == 0) return;
  --node->uses[use];
  for (auto step = path.rbegin(); step != path.rend(); ++step) {
    auto const child = step->first->next.find(step->second);
    if (!child->second->Unused()) break;
    step->first->next.erase(child);
  }
  auto const count = wordCounts_.find(WordCount(phrase));
  if (count != wordCounts_.end() && --count->second == 0) wordCounts_.erase(count);
  NoteText(phrase, false);
}

void PhraseIndex::NoteText(std::string_view phrase, bool add) {
  auto text = texts_.find(phrase);
  if (add) {
    if (text == texts_.end()) {
      text = texts_.emplace(std::string(phrase), 0).first;
      byLength_[phrase.size()].push_back(Sketch{text->first, ClassSet(phrase)});
    }
    ++text->second;
    return;
  }
  if (text == texts_.end() || --text->second != 0) return;
  auto const length = byLength_.find(phrase.size());
  if (length != byLength_.end()) {
    std::string_view const key = text->first;
    std::erase_if(length->second, [key](Sketch const& sketch) { return sketch.text == key; });
    if (length->second.empty()) byLength_.erase(length);
  }
  texts_.erase(text);
}

std::size_t PhraseIndex::Count(std::string_view phrase, Use use) const {
  Node const* const node = Find(phrase);
  return node == nullptr ? 0 : node->uses[use];
}

std::size_t PhraseIndex::Match(std::span<std::string_view const> words,
                               std::span<Use const> uses) const {
  std::size_t longest = 0;
  Node const* node = root_.get();
  for (std::size_t k = 0; k < words.size(); ++k) {
    auto const found = node->next.find(words[k]);
    if (found == node->next.end()) break;
    node = found->second.get();
    for (Use use : uses) {
      if (node->uses[use] != 0) longest = k + 1;
    }
  }
  return longest;
}

std::size_t PhraseIndex::LongestWords() const {
  return wordCounts_.empty() ? 0 : wordCounts_.rbegin()->first;
}

std::vector<std::string> PhraseIndex::Nearest(std::string_view words, std::size_t count) const {
  std::string const sought = Lower(words);
  std::size_t const limit = std::max<std::size_t>(2, sought.size() / 3);
  std::string const prefix = sought + " ";
  bool const prefixes = sought.size() >= 4;
  auto beginsWithSought = [&](std::string_view phrase) {
    return prefixes && phrase.starts_with(prefix);
  };
  std::vector<std::pair<std::size_t, std::string_view>> ranked;
  if (prefixes) {
    for (auto it = texts_.lower_bound(prefix); it != texts_.end() && beginsWithSought(it->first);
         ++it) {
      ranked.emplace_back(1, it->first);
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
