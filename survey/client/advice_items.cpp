#include "survey/client/advice_items.h"

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

// Throws CannotEvaluateNow while the host forbids reading the items; a null
// slot is the context's error.
void RequireEvaluationAllowed() {
  if (CallContext<&SurveyorNudgeContext::IsEvaluationBlocked>()) throw CannotEvaluateNow();
}

surveyor_string ViewOf(unsigned char const* begin, unsigned char const* end) {
  if (begin == nullptr || end <= begin) return surveyor_string{begin, 0};
  return surveyor_string{begin, static_cast<unsigned long>(end - begin)};
}

}  // namespace

// ---------------------------------------------------------------------------
// Nudges of a site.

nudge nudge_iterator::First(site const& owner, bool relevantOnly) {
  position_ = 0;
  return Next(owner, relevantOnly);
}

nudge nudge_iterator::Next(site const& owner, bool relevantOnly) {
  RequireEvaluationAllowed();
  auto const getNudge = ContextSlot<&SurveyorNudgeContext::GetNudge>();
  nudge record{};
  record.position = position_;
  record.headerSize = 0;
  record.headerBlock = nullptr;
  if (!getNudge(owner.map, &record, relevantOnly)) throw NoSuchObject();
  // The host may have passed over entries; the walk goes on behind the one
  // it found.
  position_ = record.position + 1;
  return record;
}

nudge nudge_iterator::First(Of, site const& owner) { return First(owner, false); }
nudge nudge_iterator::Next(Of, site const& owner) { return Next(owner, false); }
nudge nudge_iterator::FirstRelevant(Of, site const& owner) { return First(owner, true); }
nudge nudge_iterator::NextRelevant(Of, site const& owner) { return Next(owner, true); }

// ---------------------------------------------------------------------------
// Headers of a nudge.

nudge_header_iterator::nudge_header_iterator()
    : blockBegin_(nullptr), blockEnd_(nullptr), cursor_{nullptr, nullptr} {}

nudge_header_iterator::~nudge_header_iterator() { delete[] blockBegin_; }

nudge_header nudge_header_iterator::FirstNamed(SurveyorConstData wanted, nudge const& item) {
  RequireEvaluationAllowed();
  auto const getSize = ContextSlot<&SurveyorNudgeContext::GetHeaderSize>();
  auto const getHeaders = ContextSlot<&SurveyorNudgeContext::GetHeaders>();
  // The record is the evaluator's copy; the host learns where to write
  // through it, so it is changed in place.
  nudge& record = const_cast<nudge&>(item);
  if (!getSize(&record)) throw NoSuchObject();
  unsigned char* const block = new unsigned char[record.headerSize];
  delete[] blockBegin_;
  blockBegin_ = block;
  blockEnd_ = block + record.headerSize;
  cursor_ = SurveyorConstData{blockBegin_, blockBegin_};
  record.headerBlock = block;
  if (!getHeaders(&record)) throw NoSuchObject();
  cursor_ = SurveyorConstData{blockBegin_, blockEnd_};
  return NextNamed(wanted);
}

nudge_header nudge_header_iterator::NextNamed(SurveyorConstData wanted) {
  RequireEvaluationAllowed();
  auto const nextHeader = ContextSlot<&SurveyorNudgeContext::NextHeader>();
  SurveyorConstData name = wanted;
  SurveyorConstData value{nullptr, nullptr};
  if (!nextHeader(&cursor_, &name, &value)) throw NoSuchObject();
  return nudge_header{name.begin, name.end, value.begin, value.end};
}

nudge_header nudge_header_iterator::First(Of, nudge const& item) {
  return FirstNamed(SurveyorConstData{nullptr, nullptr}, item);
}

nudge_header nudge_header_iterator::Next(Of, nudge const&) {
  return NextNamed(SurveyorConstData{nullptr, nullptr});
}

nudge_header nudge_header_iterator::FirstNamed(surveyor_string const& wanted, Of,
                                               nudge const& item) {
  return FirstNamed(SurveyorConstData{wanted.data, wanted.data + wanted.length}, item);
}

nudge_header nudge_header_iterator::NextNamed(surveyor_string const& wanted, Of, nudge const&) {
  return NextNamed(SurveyorConstData{wanted.data, wanted.data + wanted.length});
}

// ---------------------------------------------------------------------------
// What a nudge and a header tell.

boolean Relevance(nudge const& item) {
  return boolean{static_cast<unsigned char>(item.relevant != 0 ? 1 : 0)};
}

integer NudgeID(nudge const& item) { return integer{static_cast<long long>(item.id)}; }

surveyor_string HeaderName(nudge_header const& header) {
  return ViewOf(header.nameBegin, header.nameEnd);
}

surveyor_string HeaderValue(nudge_header const& header) {
  return ViewOf(header.valueBegin, header.valueEnd);
}

// ---------------------------------------------------------------------------
// Registration, in table order. Every answer depends on its operands alone:
// the host's state is asked at each step.

namespace {

using NudgeStep = nudge (nudge_iterator::*)(Of, site const&);
using HeaderStep = nudge_header (nudge_header_iterator::*)(Of, nudge const&);
using NamedHeaderStep = nudge_header (nudge_header_iterator::*)(surveyor_string const&, Of,
                                                                 nudge const&);

RegistrationTable table{
    TypeRow<nudge>(),
    TypeRow<nudge_header>(),
    IteratedRow("nudge", "nudges", static_cast<NudgeStep>(&nudge_iterator::First),
                static_cast<NudgeStep>(&nudge_iterator::Next), &DependsOnlyOnParameters),
    IteratedRow("relevant nudge", "relevant nudges", &nudge_iterator::FirstRelevant,
                &nudge_iterator::NextRelevant, &DependsOnlyOnParameters),
    PropertyRow("relevance", "relevances", &Relevance, &DependsOnlyOnParameters),
    PropertyRow("id", "ids", &NudgeID, &DependsOnlyOnParameters),
    IteratedRow("header", "headers", static_cast<HeaderStep>(&nudge_header_iterator::First),
                static_cast<HeaderStep>(&nudge_header_iterator::Next), &DependsOnlyOnParameters),
    IteratedRow("header", "headers",
                static_cast<NamedHeaderStep>(&nudge_header_iterator::FirstNamed),
                static_cast<NamedHeaderStep>(&nudge_header_iterator::NextNamed),
                &DependsOnlyOnParameters),
    PropertyRow("name", "names", &HeaderName, &DependsOnlyOnParameters),
    PropertyRow("value", "values", &HeaderValue, &DependsOnlyOnParameters),
};

}  // namespace
