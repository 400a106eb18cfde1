// The words of the registered phrases, as a query names them: the runs of
// leading words of every phrase, for the longest run of a query's words that
// forms a phrase, how each phrase is used (the singular or plural form of
// properties, or a cast), and the phrases by length for suggestions of near
// names.
//
// The index is built in one go from all the phrases, into one flat table of
// runs of words: a match looks up one run per word of the query, so its cost
// follows the number of words in the query, not the number of phrases.
// Suggestions compare only phrases of a length near the words', passing over
// most of them by the letters they hold before any edit distance is
// computed; their tables are made at the first suggestion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace survey::host {

class PhraseIndex {
 public:
  enum Use { kSingular, kPlural, kCast, kUseCount };

  // One use of a phrase.
  struct Item {
    std::string_view phrase;
    Use use;
  };

  // Makes the index of these uses, forgetting any before. The texts of the
  // phrases must stay as they are until the next build.
  void Build(std::span<Item const> items);

  // The number of uses of a phrase in that way.
  std::size_t Count(std::string_view phrase, Use use) const;

  // The number of leading words that form the longest phrase used in one of
  // `uses`; 0 if none does.
  std::size_t Match(std::span<std::string_view const> words, std::span<Use const> uses) const;

  // The most words any phrase has.
  std::size_t LongestWords() const { return longestWords_; }

  // The phrases nearest to a run of words, best first: a phrase that begins
  // with the words (of four letters or more), then those within a few edits
  // (a third of the length, at least 2), case ignored; ties in text order.
  std::vector<std::string> Nearest(std::string_view words, std::size_t count) const;

 private:
  // A run of the leading words of some phrase: the whole phrase, or a part
  // that a longer phrase begins with (then its uses may all be 0).
  struct Run {
    std::string_view text;
    std::uint64_t hash = 0;
    std::uint32_t words = 0;  // 0: an empty slot
    std::uint32_t uses[kUseCount] = {};
  };
  Run const* FindRun(std::string_view text) const;
  void MakeSketches() const;

  std::vector<Run> runs_;  // open addressing, a power of two in size
  std::size_t mask_ = 0;
  std::size_t longestWords_ = 0;

  // For suggestions, made when first asked for: every phrase text in text
  // order, and the same texts by length, each with the set of byte classes
  // it holds.
  struct Sketch {
    std::string_view text;
    std::uint64_t classes;
  };
  mutable bool sketched_ = false;
  mutable std::vector<std::string_view> texts_;
  mutable std::map<std::size_t, std::vector<Sketch>> byLength_;
};

}  // namespace survey::host
