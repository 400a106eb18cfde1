// A site's computer groups: whether this computer is a member of a group of
// a site, as the host knows it.
#pragma once

#include <cstdint>

#include "survey/client/sites.h"
#include "survey/frame/adaptors.h"

SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, SurveyorSiteGroup const& group);

// The group of that number of the site; NoSuchObject when the host knows no
// such group. A long search by the host can be interrupted.
SURVEY_API SurveyorSiteGroup Computer_group_of_site(integer const& number, Of, site const& owner);
SURVEY_API boolean Member_of(SurveyorSiteGroup const& group);
SURVEY_API integer Id_of(SurveyorSiteGroup const& group);
