#include "survey/client/sites.h"

#include <cstring>
#include <memory>
#include <new>

#include "survey/client/layout.h"
#include "survey/foundation/ascii.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

char const kNudgeSiteBanner[] = ">Nudge Remote Site";
char const kCustomSiteBanner[] = ">Custom Site";
char const kMasterActionSiteBanner[] = ">Master Action Site";
char const kOperatorActionSiteBanner[] = ">Operator Action Site";

namespace {

bool IsEmptyText(char const* text) { return text == nullptr || *text == '\0'; }

surveyor_string CopyToSurveyorMemory(ConstData text) {
  unsigned long const length = text.Length();
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text.begin, length);
  return surveyor_string{copy, length};
}

surveyor_string StaticText(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text),
                         static_cast<unsigned long>(std::strlen(text))};
}

// The largest number that may still take another digit, as the banner's
// reader has it.
constexpr std::uint32_t kLargestBeforeDigit = 4294967194u;

// Reads ">Operator Action Site:N:NAME" behind the banner: `rest` starts at
// the ':'. False, with nothing changed, when it is not of that form.
bool ReadOperator(char const* rest, std::uint32_t& number, char const*& name) {
  if (*rest != ':') return false;
  char const* at = rest + 1;
  std::uint32_t value = 0;
  bool digits = false;
  for (;; ++at) {
    if (*at == '\0') return false;
    if (*at == ':') break;
    if (*at < '0' || *at > '9') return false;
    if (value > kLargestBeforeDigit) return false;
    value = value * 10u + static_cast<std::uint32_t>(*at - '0');
    digits = true;
  }
  if (!digits) return false;
  number = value;
  name = at + 1;
  return true;
}

// The location that a storage slot made, freed on every way out.
using OwnedLocation = std::unique_ptr<FileLocation>;

OwnedLocation SiteFolderLocation(site const& value) {
  auto const slot = ContextSlot<&SurveyorStorageContext::GetClientSiteFolder>();
  return OwnedLocation(slot(&SurveyorFileLocation, value.map->name.CString()));
}

}  // namespace

// ---------------------------------------------------------------------------
// SiteType.

SiteType::SiteType(bool isAction, unsigned long number, char const* operator_, char const* tag)
    : action(isAction),
      sequenceNumber(static_cast<std::uint32_t>(number)),
      operatorName(operator_),
      customTag(tag) {
  custom = isAction && !IsEmptyText(tag);
  isOperator = isAction && !custom && !IsEmptyText(operator_);
  if (custom) {
    action = false;
    isOperator = false;
  }
}

SiteType::SiteType(char const* banner) {
  if (banner == nullptr) return;
  std::size_t const customLength = sizeof kCustomSiteBanner - 1;
  std::size_t const operatorLength = sizeof kOperatorActionSiteBanner - 1;
  if (std::strcmp(banner, kNudgeSiteBanner) == 0) return;
  if (std::strcmp(banner, kMasterActionSiteBanner) == 0) {
    action = true;
    return;
  }
  if (std::strncmp(banner, kCustomSiteBanner, customLength) == 0 && banner[customLength] == ':') {
    custom = true;
    customTag = Stringy(banner + customLength + 1);
    return;
  }
  if (std::strncmp(banner, kOperatorActionSiteBanner, operatorLength) == 0) {
    std::uint32_t number = 0;
    char const* name = nullptr;
    if (ReadOperator(banner + operatorLength, number, name)) {
      action = true;
      isOperator = true;
      sequenceNumber = number;
      operatorName = Stringy(name);
    }
  }
}

void SiteType::SetMasterActionType() {
  *this = SiteType();
  action = true;
}

Stringy const& SiteType::AsString() const {
  if (!text.IsEmpty()) return text;
  Stringy built;
  if (custom) {
    built = kCustomSiteBanner;
    built += ":";
    built += customTag;
  } else if (action && isOperator) {
    built = kOperatorActionSiteBanner;
    built += ":";
    built += Stringy(static_cast<unsigned long>(sequenceNumber));
    built += ":";
    built += operatorName;
  } else if (action) {
    built = kMasterActionSiteBanner;
  } else {
    built = kNudgeSiteBanner;
  }
  text = built;
  return text;
}

bool SiteType::operator==(SiteType const& other) const {
  return action == other.action && isOperator == other.isOperator && custom == other.custom &&
         sequenceNumber == other.sequenceNumber && operatorName.Compare(other.operatorName) == 0 &&
         customTag.Compare(other.customTag) == 0;
}

// ---------------------------------------------------------------------------
// SiteMap.

SiteMap::SiteMap(FileLocation const& folderLocation, Stringy const& siteName, URL const& url,
                 SiteType const& siteType, unsigned long identityNumber,
                 Instant const& subscribed, Instant const& lastGathered, ScheduleOption option,
                 unsigned long siteVersion, ConstManyVersionRef versionRun,
                 unsigned long publisherSeconds, unsigned long customSeconds)
    : next(nullptr),
      folder(folderLocation.FullPathName()),
      name(siteName),
      locator(url.TextWithFragment()),
      type(siteType),
      identity(static_cast<std::uint32_t>(identityNumber)),
      subscribeTime(subscribed),
      lastGatherTime(lastGathered),
      gatherOption(option),
      version(static_cast<std::uint32_t>(siteVersion)),
      versions{},
      publisherInterval(static_cast<std::uint32_t>(publisherSeconds)),
      customInterval(static_cast<std::uint32_t>(customSeconds)) {
  std::size_t count = 0;
  if (versionRun.begin != nullptr && versionRun.end > versionRun.begin) {
    count = static_cast<std::size_t>(versionRun.end - versionRun.begin);
    if (count > kSiteVersionCount) count = kSiteVersionCount;
    std::memmove(versions, versionRun.begin, count * sizeof versions[0]);
  }
  std::memset(versions + count, 0, (kSiteVersionCount - count) * sizeof versions[0]);
  SiteLocatorDecoded();
}

Stringy const& SiteMap::SiteLocatorDecoded() const {
  if (locatorDecoded.IsEmpty()) locatorDecoded = URLToStringy(locator.TextWithFragment());
  return locatorDecoded;
}

void SiteMap::SetSiteLocator(URL const& url) {
  locator = URL(url.TextWithFragment());
  locatorDecoded = Stringy();
  SiteLocatorDecoded();
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, site const& value) {
  SiteMap const& map = *value.map;
  fingerprinter << map.name.AsConstData().AsSurveyorString();
  fingerprinter << map.locator.TextWithFragment().AsSurveyorString();
  fingerprinter << map.type.AsString().AsConstData().AsSurveyorString();
  std::uint32_t const numbers[] = {map.gatherOption, map.version, map.publisherInterval,
                                   map.customInterval};
  Fingerprint_Byte_Range(fingerprinter, numbers, numbers + 4);
  std::int64_t const times[] = {map.subscribeTime.microseconds, map.lastGatherTime.microseconds};
  Fingerprint_Byte_Range(fingerprinter, times, times + 2);
  Fingerprint_Byte_Range(fingerprinter, map.versions, map.versions + kSiteVersionCount);
  return fingerprinter;
}

// ---------------------------------------------------------------------------
// The list.

site_iterator::~site_iterator() { delete walk_; }

site site_iterator::First() {
  SiteMap* const head = CallContext<&SurveyorSiteContext::GetSiteList>();
  Walk* const walk = new Walk{head, head};
  delete walk_;
  walk_ = walk;
  return Next();
}

site site_iterator::Next() {
  if (walk_ == nullptr || walk_->current == nullptr) throw NoSuchObject();
  SiteMap* const present = walk_->current;
  walk_->current = present->next;
  return site{present};
}

FileLocation* SurveyorFileLocation(char const* path) { return new FileLocation(path); }

site CurrentSite() {
  SiteMap* const present = CallContext<&SurveyorSiteContext::GetCurrentSite>();
  if (present == nullptr) throw NoSuchObject();
  return site{present};
}

site NamedSite(unsigned char const* name, unsigned long length) {
  ConstData const wanted(name, length);
  for (SiteMap* map = CallContext<&SurveyorSiteContext::GetSiteList>(); map != nullptr;
       map = map->next) {
    if (Ascii::EqualIgnoringCase(wanted, map->SiteLocatorDecoded().AsConstData())) {
      return site{map};
    }
    // A site without a path has no tag, and its NoSuchObject ends the search.
    surveyor_string const tag = SiteTag(site{map});
    if (Ascii::EqualIgnoringCase(wanted, ConstData(tag))) return site{map};
  }
  throw NoSuchObject();
}

surveyor_string SiteName(site const& value) {
  SiteMap const& map = *value.map;
  if (!map.type.custom) return map.name.AsConstData().AsSurveyorString();
  auto const slot = ContextSlot<&SurveyorSiteContext::GetCustomSiteName>();
  constexpr unsigned long kBufferSize = 1024;
  char buffer[kBufferSize] = {};
  SurveyorConstData const siteName{map.name.AsConstData().begin, map.name.AsConstData().end};
  slot(&siteName, buffer, kBufferSize);
  buffer[kBufferSize - 1] = '\0';
  return CopyToSurveyorMemory(ConstData(buffer, static_cast<unsigned long>(std::strlen(buffer))));
}

surveyor_string SiteURL(site const& value) {
  return value.map->locator.TextWithFragment().AsSurveyorString();
}

surveyor_string SiteTag(site const& value) {
  URLInfo const info(value.map->locator);
  URLPath path;
  try {
    path = info.Path();
  } catch (InvalidURLInfoUse const&) {
    throw NoSuchObject();
  }
  URLPathLoop const loop(URLPath(path.RelativePart()), URLPathLoop::AtStart);
  if (loop.Finished()) throw NoSuchObject();
  return CopyToSurveyorMemory(loop.Component().Text());
}

surveyor_string SiteTypeString(site const& value) {
  SiteType const& type = value.map->type;
  if (type.action && !type.isOperator) return StaticText("Master Action Site");
  if (type.isOperator) return StaticText("Operator Site");
  if (type.custom) return StaticText("Custom Site");
  return StaticText("Nudge Site");
}

folder SiteFolder(site const&) {
  // Sites have no folder of their own on this platform.
  throw NoSuchObject();
}

folder ClientFolder(site const& value) {
  OwnedLocation const location = SiteFolderLocation(value);
  if (location == nullptr) throw NoSuchObject();
  return folder(*location, false);
}

file Masthead(site const& value) {
  OwnedLocation const siteFolder = SiteFolderLocation(value);
  if (siteFolder == nullptr) throw NoSuchObject();
  auto const slot = ContextSlot<&SurveyorStorageContext::GetSiteDataFolder>();
  OwnedLocation const dataFolder(slot(&SurveyorFileLocation, siteFolder->FullPathName()));
  if (dataFolder == nullptr) throw NoSuchObject();
  return file(FileLocation(*dataFolder, cRESERVED_SITE_MASTHEAD), false);
}

moment LastGatherTime(site const& value) { return AsMoment(value.map->lastGatherTime); }

moment SubscribeTime(site const& value) { return AsMoment(value.map->subscribeTime); }

surveyor_string GatherScheduleAuthority(site const& value) {
  switch (value.map->gatherOption) {
    case kSchedulePublisher:
      return StaticText("Publisher");
    case kScheduleCustom:
      return StaticText("Custom");
    case kScheduleManual:
      return StaticText("Manual");
    case kScheduleDisabled:
      return StaticText("Disable");
  }
  throw NoSuchObject();
}

time_interval GatherScheduleTimeInterval(site const& value) {
  SiteMap const& map = *value.map;
  std::uint32_t seconds = 0;
  if (map.gatherOption == kSchedulePublisher) {
    seconds = map.publisherInterval;
  } else if (map.gatherOption == kScheduleCustom) {
    seconds = map.customInterval;
  } else {
    throw NoSuchObject();
  }
  return second_of() * integer{static_cast<long long>(seconds)};
}

integer Version(site const& value) { return integer{static_cast<long long>(value.map->version)}; }

SiteVersionList VersionList(site const& value) {
  SiteVersionList list;
  std::memcpy(list.versions, value.map->versions, sizeof list.versions);
  return list;
}

// ---------------------------------------------------------------------------
// Records for the host.

SiteMap* SurveyNewSite(SurveySiteDescription const* description, SiteMap* next) {
  if (description == nullptr) return nullptr;
  try {
    URL const url(ConstData(description->url != nullptr ? description->url : ""));
    ConstManyVersionRef const versions{
        description->versions,
        description->versions != nullptr ? description->versions + description->versionCount
                                         : nullptr};
    auto* const record = new SiteMap(
        FileLocation(description->folder), Stringy(description->name), url,
        SiteType(description->type), description->identity, Instant(description->subscribeTime),
        Instant(description->lastGatherTime),
        static_cast<ScheduleOption>(description->gatherOption), description->version, versions,
        description->publisherInterval, description->customInterval);
    record->next = next;
    return record;
  } catch (...) {
    return nullptr;
  }
}

void SurveyDeleteSite(SiteMap* record) { delete record; }

// ---------------------------------------------------------------------------
// Registration, in table order. The list and its records are the host's:
// lookups over the list depend on its serial, and a record's properties on
// the record alone.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<site>(),
    PropertyRow("current site", "current sites", &CurrentSite),
    IndexedRow("site", "sites", &NamedSite, &DependsOnSiteList),
    IteratedRow<site_iterator>("site", "sites", &DependsOnSiteList),
    PropertyRow("name", "names", &SiteName, &DependsOnlyOnParameters),
    PropertyRow("url", "urls", &SiteURL, &DependsOnlyOnParameters),
    PropertyRow("site tag", "site tags", &SiteTag, &DependsOnlyOnParameters),
    PropertyRow("type", "types", &SiteTypeString, &DependsOnlyOnParameters),
    PropertyRow("folder", "folders", &SiteFolder),
    PropertyRow("client folder", "client folders", &ClientFolder),
    PropertyRow("masthead", "mastheads", &Masthead),
    PropertyRow("last gather time", "last gather times", &LastGatherTime),
    PropertyRow("subscribe time", "subscribe times", &SubscribeTime, &DependsOnlyOnParameters),
    PropertyRow("gather schedule authority", "gather schedule authoritys",
                &GatherScheduleAuthority, &DependsOnlyOnParameters),
    PropertyRow("gather schedule time interval", "gather schedule time intervals",
                &GatherScheduleTimeInterval, &DependsOnlyOnParameters),
    PropertyRow("version", "versions", &Version, &DependsOnlyOnParameters),
    PropertyRow("site version list", "site version lists", &VersionList,
                &DependsOnlyOnParameters),
};

}  // namespace
