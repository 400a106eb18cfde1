// The words of the registered phrases, as a query names them: a tree of
// words for the longest run of a query's words that forms a phrase, how each
// phrase is used (the singular or plural form of properties, or a cast), and
// the phrases by length for suggestions of near names.
//
// A match walks the tree one word at a time, so its cost follows the number
// of words in the query, not the number of phrases registered. Suggestions
// compare only phrases of a length near the words', passing over most of
// them by the letters they hold before any edit distance is computed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace survey::host {

class PhraseIndex {
 public:
  enum Use { kSingular, kPlural, kCast, kUseCount };

  PhraseIndex();
  ~PhraseIndex();
  PhraseIndex(PhraseIndex const&) = delete;
  PhraseIndex& operator=(PhraseIndex const&) = delete;

  // One use of a phrase more, or one less.
  void Add(std::string_view phrase, Use use);
  void Remove(std::string_view phrase, Use use);

  // Forgets every phrase.
  void Clear();

  // The number of uses of a phrase in that way.
  std::size_t Count(std::string_view phrase, Use use) const;

  // The number of leading words that form the longest phrase used in one of
  // `uses`; 0 if none does.
  std::size_t Match(std::span<std::string_view const> words, std::span<Use const> uses) const;

  // The most words any phrase has.
  std::size_t LongestWords() const;

  // The phrases nearest to a run of words, best first: a phrase that begins
  // with the words (of four letters or more), then those within a few edits
  // (a third of the length, at least 2), case ignored; ties in text order.
  std::vector<std::string> Nearest(std::string_view words, std::size_t count) const;

 private:
  struct Node;
  // The node of a phrase, made on the way when `make`; null if absent.
  Node* Walk(std::string_view phrase, bool make);
  Node const* Find(std::string_view phrase) const;
  void NoteText(std::string_view phrase, bool add);

  std::unique_ptr<Node> root_;
  // Phrases by their number of words, with the number of uses of each count.
  std::map<std::size_t, std::size_t> wordCounts_;
  // Every phrase text with its number of uses, in text order.
  std::map<std::string, std::size_t, std::less<>> texts_;
  // The same texts by length, each with the set of byte classes it holds,
  // kept in arrays so that a search runs through them in order; the views
  // are of the keys of `texts_`.
  struct Sketch {
    std::string_view text;
    std::uint64_t classes;
  };
  std::map<std::size_t, std::vector<Sketch>> byLength_;
};

}  // namespace survey::host
