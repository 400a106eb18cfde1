// A small vocabulary of the tests' own, registered into a host's registry the
// way a surveyor library registers, so that the language layer is tested
// without the surveyor library:
//
//   "text file" with a string index, of world: a file of lines that the
//     test sets up beforehand (`TextFiles`);
//   "line" / "lines" of a text file: its lines as strings, each copied into
//     surveyor memory by the step that reads it, as a library's lines are;
//   "revision": a value type whose text is a copy in surveyor memory, with
//     the cast "revision" of a string, the cast "string" back, and the
//     iterated "revision" / "revisions" of a text file (a revision per line);
//   "maximum" / "maxima" of strings, of revisions and of integers: aggregates
//     that keep the greatest element by copy, as a library's extremum does;
//   "biggest" / "biggests" of integers: an aggregate whose phrase has no
//     other record.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "survey/frame/registration.h"

namespace survey::lang::testing {

// The lines of the files that "text file" names, by name.
std::map<std::string, std::vector<std::string>>& TextFiles();

// A file named by a query: the name's bytes, as the index gave them.
struct TextFile {
  std::string name;
};

// A version-like value: its text, copied into surveyor memory, is compared
// by the number it starts with.
struct Revision {
  surveyor_string text;
};

// An iterated property record that registers in its constructor and
// unregisters in its destructor.
class IteratedRecord : public PropRecord {
 public:
  template <class Adaptor, class Iterator>
  IteratedRecord(Adaptor*, Iterator*, char const* singular, char const* plural, char const* index,
                 char const* object, char const* result)
      : PropRecord{} {
    Register_Iterated_Property(this, kRecordHostArea, singular, plural, index, object, result,
                               sizeof(Iterator), &IteratorBasics<Iterator>::Construct,
                               &IteratorBasics<Iterator>::Destroy, &Adaptor::First, &Adaptor::Next,
                               this, nullptr);
  }
  ~IteratedRecord() { Unregister_Property(this); }
  IteratedRecord(IteratedRecord const&) = delete;
  IteratedRecord& operator=(IteratedRecord const&) = delete;
};

// The whole vocabulary; registers into the current registry for its life.
class Vocabulary {
 public:
  Vocabulary();
  ~Vocabulary();
  Vocabulary(Vocabulary const&) = delete;
  Vocabulary& operator=(Vocabulary const&) = delete;

 private:
  RegisteredType textFileType_;
  RegisteredType revisionType_;
  Prop textFile_;
  IteratedRecord lines_;
  IteratedRecord revisions_;
  RegisteredCast toRevision_;
  RegisteredCast revisionToString_;
  Prop maximumOfStrings_;
  Prop maximumOfRevisions_;
  Prop maximumOfIntegers_;
  Prop biggest_;
};

// "maximum" of booleans as a simple property: a record of the phrase that
// is no aggregate, beside the aggregates of other types.
class BooleanMaximum {
 public:
  BooleanMaximum();

 private:
  Prop maximum_;
};

// Words that count their calls, each of world with a string index and the
// index's text as their string result:
//   "steady word": its dependency function feeds nothing, so its result
//     follows from its index alone;
//   "varying word": no dependency function;
//   "clocked word": a dependency function that feeds a fingerprint;
//   "failing word": steady, and "no value" for the index "none".
class CountedWords {
 public:
  CountedWords();

  // Calls of each word since the words were registered.
  static int& SteadyCalls();
  static int& VaryingCalls();
  static int& ClockedCalls();
  static int& FailingCalls();

 private:
  Prop steady_;
  Prop varying_;
  Prop clocked_;
  Prop failing_;
};

}  // namespace survey::lang::testing
