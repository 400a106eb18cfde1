// Advice items of a site, called nudges: the host owns them and their
// relevance, and this unit walks them and their headers, asking the host at
// every step. The host may refuse any step because the items must not be
// read now; the walk then stops with CannotEvaluateNow rather than ending.
#pragma once

#include "survey/client/sites.h"
#include "survey/frame/adaptors.h"
#include "survey/frame/type_name.h"

// "nudge": the host's record (survey/frame/boundary.h), as the host fills it.
template <>
struct SurveyorTypeName<nudge> {
  static char const* Get() { return "nudge"; }
};

// "nudge_header": views of a header's name and value in the header block of
// the iterator that gave it, valid only while that iterator lives.
struct SURVEY_API nudge_header {
  static constexpr char const* TypeName() { return "nudge_header"; }

  unsigned char const* nameBegin;
  unsigned char const* nameEnd;
  unsigned char const* valueBegin;
  unsigned char const* valueEnd;
};

// The walk over a site's nudges: the next position to look at.
class SURVEY_API nudge_iterator {
 public:
  nudge_iterator() = default;

  nudge First(Of, site const& owner);
  nudge Next(Of, site const& owner);
  nudge FirstRelevant(Of, site const& owner);
  nudge NextRelevant(Of, site const& owner);

  nudge First(site const& owner, bool relevantOnly);
  nudge Next(site const& owner, bool relevantOnly);

 private:
  unsigned int position_ = 0;
};

// The walk over a nudge's headers: the block the host wrote them into,
// owned, and a cursor over it.
class SURVEY_API nudge_header_iterator {
 public:
  nudge_header_iterator();
  nudge_header_iterator(nudge_header_iterator const&) = delete;
  nudge_header_iterator& operator=(nudge_header_iterator const&) = delete;
  ~nudge_header_iterator();

  nudge_header First(Of, nudge const& item);
  nudge_header Next(Of, nudge const& item);
  nudge_header FirstNamed(surveyor_string const& wanted, Of, nudge const& item);
  nudge_header NextNamed(surveyor_string const& wanted, Of, nudge const& item);

 private:
  nudge_header FirstNamed(SurveyorConstData wanted, nudge const& item);
  nudge_header NextNamed(SurveyorConstData wanted);

  unsigned char* blockBegin_;
  unsigned char* blockEnd_;
  SurveyorConstData cursor_;
};

SURVEY_API boolean Relevance(nudge const& item);
SURVEY_API integer NudgeID(nudge const& item);
SURVEY_API surveyor_string HeaderName(nudge_header const& header);
SURVEY_API surveyor_string HeaderValue(nudge_header const& header);
