#include "tests/unit/lang/vocabulary.h"

#include <cstring>

namespace survey::lang::testing {

namespace {

surveyor_string InSurveyorMemory(std::string const& text) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(text.size());
  if (!text.empty()) std::memcpy(bytes, text.data(), text.size());
  return surveyor_string{bytes, static_cast<unsigned long>(text.size())};
}

TextFile OpenTextFile(surveyor_string const& name) {
  return TextFile{std::string(reinterpret_cast<char const*>(name.data), name.length)};
}

// The lines of a text file, each read into surveyor memory by its own step.
class LineCursor {
 public:
  surveyor_string First(TextFile const& file) {
    next_ = 0;
    return Next(file);
  }
  surveyor_string Next(TextFile const& file) {
    auto const found = TextFiles().find(file.name);
    if (found == TextFiles().end() || next_ >= found->second.size()) throw NoSuchObject();
    return InSurveyorMemory(found->second[next_++]);
  }

 private:
  std::size_t next_ = 0;
};

// The same lines, each as a revision.
class RevisionCursor {
 public:
  Revision First(TextFile const& file) { return Revision{lines_.First(file)}; }
  Revision Next(TextFile const& file) { return Revision{lines_.Next(file)}; }

 private:
  LineCursor lines_;
};

Revision ToRevision(surveyor_string const& text) {
  return Revision{
      InSurveyorMemory(std::string(reinterpret_cast<char const*>(text.data), text.length))};
}

surveyor_string RevisionText(Revision const& revision) { return revision.text; }

// The number a revision's text starts with.
long long Number(Revision const& revision) {
  long long number = 0;
  for (unsigned long i = 0; i < revision.text.length; ++i) {
    unsigned char const c = revision.text.data[i];
    if (c < '0' || c > '9') break;
    number = number * 10 + (c - '0');
  }
  return number;
}

bool Less(surveyor_string const& a, surveyor_string const& b) {
  unsigned long const common = a.length < b.length ? a.length : b.length;
  int const order = common == 0 ? 0 : std::memcmp(a.data, b.data, common);
  return order < 0 || (order == 0 && a.length < b.length);
}
bool Less(Revision const& a, Revision const& b) { return Number(a) < Number(b); }
bool Less(integer const& a, integer const& b) { return a.value < b.value; }

// Keeps the greatest element it was given by copy, as an extremum does.
template <class T>
class Greatest {
 public:
  void Initialize() { seen_ = false; }
  void Aggregate(Of, T const& value) {
    if (!seen_ || Less(greatest_, value)) greatest_ = value;
    seen_ = true;
  }
  T Answer() {
    if (!seen_) throw NoSuchObject();
    return greatest_;
  }

 private:
  T greatest_{};
  bool seen_ = false;
};

template <class T>
survey::frame::AggregatePhases GreatestPhases() {
  return survey::frame::AggregatePhases{
      &SimpleAggregator<Greatest<T>>::Initialize,           nullptr,
      &SimpleAggregatorOfObject<Greatest<T>, T>::Aggregate, nullptr,
      &AggregatorBasics<Greatest<T>, T>::FirstFinal,        nullptr};
}

template <class T>
survey::frame::AggregateMembers GreatestMembers() {
  return survey::frame::AggregateMembers{ToMemberSlot(&Greatest<T>::Initialize), nullptr,
                                         ToMemberSlot(&Greatest<T>::Aggregate),  nullptr,
                                         ToMemberSlot(&Greatest<T>::Answer),     nullptr};
}

boolean BooleanIdentity(boolean const& value) { return value; }

surveyor_string SteadyWord(surveyor_string const& text) {
  ++CountedWords::SteadyCalls();
  return text;
}
surveyor_string VaryingWord(surveyor_string const& text) {
  ++CountedWords::VaryingCalls();
  return text;
}
surveyor_string ClockedWord(surveyor_string const& text) {
  ++CountedWords::ClockedCalls();
  return text;
}
surveyor_string FailingWord(surveyor_string const& text) {
  ++CountedWords::FailingCalls();
  if (text.length == 4 && std::memcmp(text.data, "none", 4) == 0) throw NoSuchObject();
  return text;
}

void OnParametersAlone(Fingerprinter&) {}
void OnAClock(Fingerprinter& fingerprinter) {
  static unsigned char const tick = 1;
  Fingerprint_Byte_Range(fingerprinter, &tick, &tick + 1);
}

}  // namespace

std::map<std::string, std::vector<std::string>>& TextFiles() {
  static std::map<std::string, std::vector<std::string>> files;
  return files;
}

Vocabulary::Vocabulary()
    : textFileType_("text file", sizeof(TextFile),
                    &SurveyorTypeInfo<TextFile, kNotFingerprinted>::Destroy, nullptr, nullptr),
      revisionType_("revision", sizeof(Revision),
                    &SurveyorTypeInfo<Revision, kNotFingerprinted>::Destroy, nullptr, nullptr),
      textFile_(Using<PropertyByIndexOfWorld<TextFile, surveyor_string>>, "text file", "text files",
                "string", "", "text file", &OpenTextFile, nullptr),
      lines_(Using<IteratedProperty<LineCursor, TextFile, surveyor_string>>,
             static_cast<LineCursor*>(nullptr), "line", "lines", "", "text file", "string"),
      revisions_(Using<IteratedProperty<RevisionCursor, TextFile, Revision>>,
                 static_cast<RevisionCursor*>(nullptr), "revision", "revisions", "", "text file",
                 "revision"),
      toRevision_(Using<Cast<surveyor_string, Revision>>, "revision", "string", "revision",
                  &ToRevision, nullptr),
      revisionToString_(Using<Cast<Revision, surveyor_string>>, "string", "revision", "string",
                        &RevisionText, nullptr),
      maximumOfStrings_(static_cast<Greatest<surveyor_string>*>(nullptr), "maximum", "maxima", "",
                        "string", "string", GreatestPhases<surveyor_string>(),
                        GreatestMembers<surveyor_string>(), nullptr),
      maximumOfRevisions_(static_cast<Greatest<Revision>*>(nullptr), "maximum", "maxima", "",
                          "revision", "revision", GreatestPhases<Revision>(),
                          GreatestMembers<Revision>(), nullptr),
      maximumOfIntegers_(static_cast<Greatest<integer>*>(nullptr), "maximum", "maxima", "",
                         "integer", "integer", GreatestPhases<integer>(),
                         GreatestMembers<integer>(), nullptr),
      biggest_(static_cast<Greatest<integer>*>(nullptr), "biggest", "biggests", "", "integer",
               "integer", GreatestPhases<integer>(), GreatestMembers<integer>(), nullptr) {}

Vocabulary::~Vocabulary() = default;

BooleanMaximum::BooleanMaximum()
    : maximum_(Using<Property<boolean, boolean>>, "maximum", "maxima", "", "boolean", "boolean",
               &BooleanIdentity, nullptr) {}

CountedWords::CountedWords()
    : steady_(Using<PropertyByIndexOfWorld<surveyor_string, surveyor_string>>, "steady word",
              "steady words", "string", "", "string", &SteadyWord, &OnParametersAlone),
      varying_(Using<PropertyByIndexOfWorld<surveyor_string, surveyor_string>>, "varying word",
               "varying words", "string", "", "string", &VaryingWord, nullptr),
      clocked_(Using<PropertyByIndexOfWorld<surveyor_string, surveyor_string>>, "clocked word",
               "clocked words", "string", "", "string", &ClockedWord, &OnAClock),
      failing_(Using<PropertyByIndexOfWorld<surveyor_string, surveyor_string>>, "failing word",
               "failing words", "string", "", "string", &FailingWord, &OnParametersAlone) {
  SteadyCalls() = VaryingCalls() = ClockedCalls() = FailingCalls() = 0;
}

int& CountedWords::SteadyCalls() {
  static int calls = 0;
  return calls;
}
int& CountedWords::VaryingCalls() {
  static int calls = 0;
  return calls;
}
int& CountedWords::ClockedCalls() {
  static int calls = 0;
  return calls;
}
int& CountedWords::FailingCalls() {
  static int calls = 0;
  return calls;
}

}  // namespace survey::lang::testing
