// Built by the compile tests of registration rows (tests/CMakeLists.txt),
// once for each value of TABLE_ROWS_CASE. Case 0 is a table whose rows agree
// with their functions, and must build. Every other case states, in one row,
// a type that its function does not take or give, and must not build: a row
// cannot register a block size other than the one its function constructs.

#include "survey/frame/table.h"

namespace {

struct Meter {
  long long value;
  static constexpr char const* TypeName() { return "meter"; }
};

struct Label {
  surveyor_string text;
  long long serial;
  static constexpr char const* TypeName() { return "label"; }
};

// Starts with a meter, but does not name itself: it would be registered
// under its base's name.
struct Unnamed : Meter {};

Label LabelOf(Meter const& meter) { return Label{surveyor_string{nullptr, 0}, meter.value}; }
surveyor_string MeterText(Meter const&) { return surveyor_string{nullptr, 0}; }

class Walker {
 public:
  Label FirstLabel(Of, Meter const& meter) { return LabelOf(meter); }
  Label NextLabel(Of, Meter const&) { throw NoSuchObject(); }
};

#if TABLE_ROWS_CASE == 0
// The same rows, with the types stated where they agree with the functions.
[[maybe_unused]] auto Rows() {
  return RegistrationTable{
      TypeRow<Meter>(),
      TypeRow<Label>(),
      PropertyRow("label", "labels", &LabelOf),
      PropertyRow<Meter, Label>("label", "labels", &LabelOf),
      CastRow<Meter>("string", &MeterText),
      IteratedRow<Walker, Meter, Label>("label", "labels", &Walker::FirstLabel,
                                        &Walker::NextLabel)};
}
[[maybe_unused]] RegisteredProperty* Raw(RegisteredProperty* place) {
  return new (place) RegisteredProperty(Using<Property<Meter, Label>>, "label", "labels", "",
                                        "meter", "label", &LabelOf, nullptr);
}
#elif TABLE_ROWS_CASE == 1
// The result is stated as a meter; the function gives a label.
[[maybe_unused]] auto Rows() {
  return RegistrationTable{PropertyRow<Meter, Meter>("label", "labels", &LabelOf)};
}
#elif TABLE_ROWS_CASE == 2
// The object is stated as a label; the function takes a meter.
[[maybe_unused]] auto Rows() {
  return RegistrationTable{PropertyRow<Label, Label>("label", "labels", &LabelOf)};
}
#elif TABLE_ROWS_CASE == 3
// The cast's source is stated as a label; the function takes a meter.
[[maybe_unused]] auto Rows() {
  return RegistrationTable{CastRow<Label>("string", &MeterText)};
}
#elif TABLE_ROWS_CASE == 4
// The iterator's result is stated as a meter; its members give labels.
[[maybe_unused]] auto Rows() {
  return RegistrationTable{IteratedRow<Walker, Meter, Meter>(
      "label", "labels", &Walker::FirstLabel, &Walker::NextLabel)};
}
#elif TABLE_ROWS_CASE == 5
// A derived type without a name of its own.
[[maybe_unused]] auto Rows() { return RegistrationTable{TypeRow<Unnamed, Meter>()}; }
#elif TABLE_ROWS_CASE == 6
// A record given its names as text: its adaptor still has to fit the
// function, and here it constructs a meter where the function gives a label.
[[maybe_unused]] RegisteredProperty* Raw(RegisteredProperty* place) {
  return new (place) RegisteredProperty(Using<Property<Meter, Meter>>, "label", "labels", "",
                                        "meter", "meter", &LabelOf, nullptr);
}
#else
#error "unknown case"
#endif

}  // namespace
