#include "host/client/site_context.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "host/engine/errors.h"

namespace survey::client {

using host::ErrorKind;
using host::EvaluationError;

namespace {

int FindInObject(dl_phdr_info* info, std::size_t, void* data) {
  auto* const maker = static_cast<SiteMaker*>(data);
  char const* const name = info->dlpi_name;
  // The program itself has an empty name; dlopen of null stands for it.
  void* const handle =
      dlopen(name != nullptr && *name != '\0' ? name : nullptr, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return 0;
  auto const make = reinterpret_cast<SurveyNewSiteFunction>(dlsym(handle, kSurveyNewSiteSymbol));
  auto const free =
      reinterpret_cast<SurveyDeleteSiteFunction>(dlsym(handle, kSurveyDeleteSiteSymbol));
  // The object stays loaded: the host that loaded it holds it.
  dlclose(handle);
  if (make == nullptr || free == nullptr) return 0;
  maker->make = make;
  maker->free = free;
  return 1;
}

std::string Text(SurveyorConstData const* data) {
  if (data == nullptr || data->begin == nullptr || data->end <= data->begin) return std::string();
  return std::string(reinterpret_cast<char const*>(data->begin),
                     static_cast<std::size_t>(data->end - data->begin));
}

}  // namespace

SiteMaker SiteMaker::Find() {
  SiteMaker maker;
  dl_iterate_phdr(&FindInObject, &maker);
  return maker;
}

SiteList::SiteList(ClientFolder& folder, ClientRecords& records)
    : maker_(SiteMaker::Find()),
      records_(records.Sites()),
      serial_(static_cast<unsigned long>(records.Generation())) {
  if (records_.empty()) return;
  if (maker_.make == nullptr) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          "the surveyor library does not make site records here");
  }
  // Linked from the last, so that the list runs in the order of the names.
  for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
    std::string const siteFolder = folder.SiteFolder(record->name);
    SurveySiteDescription const description{
        siteFolder.c_str(),
        record->name.c_str(),
        record->url.c_str(),
        record->type.c_str(),
        record->identity,
        record->subscribeTime,
        record->lastGatherTime,
        record->gatherOption,
        record->version,
        record->versions.data(),
        static_cast<unsigned long>(record->versions.size()),
        record->publisherInterval,
        record->customInterval};
    SiteMap* const made = maker_.make(&description, head_);
    if (made == nullptr) {
      throw EvaluationError(ErrorKind::kNotAvailable,
                            "cannot make the record of the site " + record->name);
    }
    head_ = made;
  }
}

SiteList::~SiteList() {
  // Each record is freed after its link is read; the library's record
  // starts with its link.
  while (head_ != nullptr) {
    SiteMap* const next = *reinterpret_cast<SiteMap* const*>(head_);
    maker_.free(head_);
    head_ = next;
  }
}

SiteContext::SiteContext(ClientState& state) : state_(state) {
  if (state.Folder() != nullptr) {
    GetSiteList = &List;
    GetCurrentSite = &Current;
    GetSiteListSerial = &Serial;
    GetComputerGroup = &ComputerGroup;
    GetCustomSiteName = &CustomSiteName;
  }
}

SiteList const& SiteContext::Sites() { return CurrentPart<SiteContext>().state_.Sites(); }

SiteMap* SiteContext::List() { return Sites().Head(); }

SiteMap* SiteContext::Current() { return nullptr; }

unsigned long SiteContext::Serial() { return Sites().Serial(); }

bool SiteContext::ComputerGroup(unsigned int low, unsigned int high,
                                SurveyorConstData const* siteUrl, SurveyorSiteGroup* group,
                                SurveyorInterruptCall interrupt) {
  std::uint64_t const id = (static_cast<std::uint64_t>(high) << 32) | low;
  std::string const url = Text(siteUrl);
  for (SiteRecord const& record : Sites().Records()) {
    if (interrupt != nullptr) interrupt();
    if (record.url != url) continue;
    for (SiteGroupRecord const& known : record.groups) {
      if (known.id != id) continue;
      if (group != nullptr) *group = SurveyorSiteGroup{known.member, known.id};
      return true;
    }
  }
  return false;
}

void SiteContext::CustomSiteName(SurveyorConstData const* name, char* buffer,
                                 unsigned long size) {
  if (buffer == nullptr || size == 0) return;
  std::string const wanted = Text(name);
  std::string shown = wanted;
  for (SiteRecord const& record : Sites().Records()) {
    if (record.name == wanted && !record.displayName.empty()) shown = record.displayName;
  }
  std::size_t const length = std::min<std::size_t>(shown.size(), size - 1);
  std::memcpy(buffer, shown.data(), length);
  buffer[length] = '\0';
}

}  // namespace survey::client
