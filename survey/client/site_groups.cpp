#include "survey/client/site_groups.h"

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

void CheckInterruption() { Check_For_Surveyor_Interruption(); }

}  // namespace

Fingerprinter& operator<<(Fingerprinter& fingerprinter, SurveyorSiteGroup const& group) {
  unsigned char const member = group.member ? 1 : 0;
  Fingerprint_Byte_Range(fingerprinter, &member, &member + 1);
  Fingerprint_Byte_Range(fingerprinter, &group.id, &group.id + 1);
  return fingerprinter;
}

SurveyorSiteGroup Computer_group_of_site(integer const& number, Of, site const& owner) {
  auto const slot = ContextSlot<&SurveyorSiteContext::GetComputerGroup>();
  std::uint64_t const bits = static_cast<std::uint64_t>(number.value);
  ConstData const url = owner.map->locator.TextWithFragment();
  SurveyorConstData const siteUrl{url.begin, url.end};
  SurveyorSiteGroup group{false, 0};
  bool const found =
      slot(static_cast<unsigned int>(bits & 0xFFFFFFFFu), static_cast<unsigned int>(bits >> 32),
           &siteUrl, &group, &CheckInterruption);
  if (!found) throw NoSuchObject();
  return group;
}

boolean Member_of(SurveyorSiteGroup const& group) {
  return boolean{static_cast<unsigned char>(group.member ? 1 : 0)};
}

integer Id_of(SurveyorSiteGroup const& group) {
  return integer{static_cast<long long>(group.id)};
}

// ---------------------------------------------------------------------------
// Registration, in table order: after the sites' own.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<SurveyorSiteGroup>(),
    IndexedRow("group", "groups", &Computer_group_of_site, &DependsOnlyOnParameters),
    PropertyRow("member", "members", &Member_of, &DependsOnlyOnParameters),
    PropertyRow("id", "ids", &Id_of, &DependsOnlyOnParameters),
};

}  // namespace
