// How a host has the library make its site records. A host cannot call the
// record's constructor itself (it is the library's code, and the host loads
// the library at run time), so the library exports two plain functions that
// a host finds by name, and a plain description of a site to give the first.
#pragma once

#include <cstdint>

#include "survey/frame/boundary.h"

// What a host knows of a site, in plain texts and numbers. Times are
// microseconds since 1970 in UTC.
struct SurveySiteDescription {
  char const* folder;
  char const* name;
  char const* url;
  char const* type;  // the banner, as ">Nudge Remote Site"
  unsigned long identity;
  long long subscribeTime;
  long long lastGatherTime;
  unsigned long gatherOption;
  unsigned long version;
  std::uint32_t const* versions;
  unsigned long versionCount;
  unsigned long publisherInterval;
  unsigned long customInterval;
};

// A new record, linked before `next`; null when it cannot be made.
using SurveyNewSiteFunction = SiteMap* (*)(SurveySiteDescription const* description,
                                           SiteMap* next);
// Frees a record made by the first; null does nothing.
using SurveyDeleteSiteFunction = void (*)(SiteMap* record);

inline constexpr char kSurveyNewSiteSymbol[] = "SurveyNewSite";
inline constexpr char kSurveyDeleteSiteSymbol[] = "SurveyDeleteSite";

// "site group": what the host tells of one computer group of a site.
struct SURVEY_API SurveyorSiteGroup {
  static constexpr char const* TypeName() { return "site group"; }

  bool member;  // whether this computer is in the group
  std::uint64_t id;
};
