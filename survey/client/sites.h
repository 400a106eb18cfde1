// The client's sites: the record the host keeps for each site in a linked
// list, the site's type with its banner text, and the surveyors over them.
// A "site" value is a pointer to the host's record; the record is never
// copied by the evaluator.
#pragma once

#include <cstdint>

#include "survey/files/filesystem_object.h"
#include "survey/foundation/stringy.h"
#include "survey/foundation/time.h"
#include "survey/foundation/url.h"
#include "survey/client/site_description.h"
#include "survey/frame/adaptors.h"

// The banners of the four kinds of site, as a site's text form begins.
SURVEY_API extern char const kNudgeSiteBanner[];           // ">Nudge Remote Site"
SURVEY_API extern char const kCustomSiteBanner[];          // ">Custom Site"
SURVEY_API extern char const kMasterActionSiteBanner[];    // ">Master Action Site"
SURVEY_API extern char const kOperatorActionSiteBanner[];  // ">Operator Action Site"

// What kind of site: plain (all three flags false), custom, the master
// action site (action alone) or an operator's action site (action and
// operator). `isOperator` is the flag the record calls "operator".
class SURVEY_API SiteType {
 public:
  SiteType() = default;
  // `custom` is `isAction` with a custom tag; `operator` is `isAction`, not
  // custom, with an operator's name. A custom site is never an action site.
  SiteType(bool isAction, unsigned long sequenceNumber, char const* operatorName,
           char const* customTag);
  // Reads a banner; any text that is not one of the four forms is a plain
  // site, without an error.
  explicit SiteType(char const* text);

  // Makes this the master action site, and forgets everything else, the
  // cached text included.
  void SetMasterActionType();
  // The banner, built at the first call and kept.
  Stringy const& AsString() const;

  bool operator==(SiteType const& other) const;

  unsigned long GetSequenceNumber() const { return sequenceNumber; }
  Stringy const& GetOperatorName() const { return operatorName; }
  Stringy const& GetCustomSiteTag() const { return customTag; }

  bool action = false;
  bool isOperator = false;
  bool custom = false;
  std::uint32_t sequenceNumber = 0;
  Stringy operatorName;
  mutable Stringy text;
  Stringy customTag;
};

// Who sets a site's gather schedule.
enum ScheduleOption : std::uint32_t {
  kSchedulePublisher = 0,
  kScheduleCustom = 1,
  kScheduleManual = 2,
  kScheduleDisabled = 3,
};

inline constexpr unsigned kSiteVersionCount = 128;

// A run of a site's version numbers: [begin, end).
struct ConstManyVersionRef {
  std::uint32_t const* begin;
  std::uint32_t const* end;
};

// "site version list": the 128 version numbers of a site. The type is the
// host's; the library fills the value.
struct SURVEY_API SiteVersionList {
  static constexpr char const* TypeName() { return "site version list"; }

  std::uint32_t versions[kSiteVersionCount];
};

// The host's record of one site.
struct SURVEY_API SiteMap {
  // Copies the folder's path, the name, the URL's text, the type, the
  // numbers and times; the versions up to 128, the rest zero. The record is
  // not linked, and its decoded URL is filled at once.
  SiteMap(FileLocation const& folder, Stringy const& name, URL const& locator,
          SiteType const& type, unsigned long identity, Instant const& subscribeTime,
          Instant const& lastGatherTime, ScheduleOption gatherOption, unsigned long version,
          ConstManyVersionRef versions, unsigned long publisherInterval,
          unsigned long customInterval);
  SiteMap(SiteMap const&) = delete;
  SiteMap& operator=(SiteMap const&) = delete;

  // The URL's text percent-decoded, made at the first call and kept.
  Stringy const& SiteLocatorDecoded() const;
  // Takes another URL and decodes it anew.
  void SetSiteLocator(URL const& url);

  SiteMap* next;
  FileLocation folder;
  Stringy name;
  URL locator;
  SiteType type;
  std::uint32_t identity;
  Instant subscribeTime;
  Instant lastGatherTime;
  ScheduleOption gatherOption;
  std::uint32_t version;
  std::uint32_t versions[kSiteVersionCount];
  std::uint32_t publisherInterval;
  std::uint32_t customInterval;
  mutable Stringy locatorDecoded;
};

// "site": the host's record.
struct SURVEY_API site {
  static constexpr char const* TypeName() { return "site"; }

  SiteMap* map;
};

// A site's properties read every field that a fingerprint must cover.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, site const& value);

// The stream of the host's sites, from the head of its list.
class SURVEY_API site_iterator {
 public:
  site_iterator() = default;
  site_iterator(site_iterator const&) = delete;
  site_iterator& operator=(site_iterator const&) = delete;
  ~site_iterator();

  site First();
  site Next();

 private:
  // The head and the present record.
  struct Walk {
    SiteMap* head;
    SiteMap* current;
  };
  Walk* walk_ = nullptr;
};

// The factory that the storage slots are given: a new location of a path.
SURVEY_API FileLocation* SurveyorFileLocation(char const* path);

SURVEY_API site CurrentSite();
// The first site whose decoded URL, or else whose tag, equals the name in
// any case. A site without a path in its URL ends the search unless an
// earlier site matched.
SURVEY_API site NamedSite(unsigned char const* name, unsigned long length);
SURVEY_API surveyor_string SiteName(site const& value);
SURVEY_API surveyor_string SiteURL(site const& value);
// The first component of the URL's path; NoSuchObject without one.
SURVEY_API surveyor_string SiteTag(site const& value);
SURVEY_API surveyor_string SiteTypeString(site const& value);
// Always NoSuchObject on this platform.
SURVEY_API folder SiteFolder(site const& value);
SURVEY_API folder ClientFolder(site const& value);
SURVEY_API file Masthead(site const& value);
SURVEY_API moment LastGatherTime(site const& value);
SURVEY_API moment SubscribeTime(site const& value);
SURVEY_API surveyor_string GatherScheduleAuthority(site const& value);
SURVEY_API time_interval GatherScheduleTimeInterval(site const& value);
SURVEY_API integer Version(site const& value);
SURVEY_API SiteVersionList VersionList(site const& value);

// ---------------------------------------------------------------------------
// The host's making of records (site_description.h).

extern "C" {
SURVEY_API SiteMap* SurveyNewSite(SurveySiteDescription const* description, SiteMap* next);
SURVEY_API void SurveyDeleteSite(SiteMap* record);
}
