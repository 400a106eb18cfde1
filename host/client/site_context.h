// The sites part of the host's context: the client's sites behind
// `SurveyorSiteContext`.
//
// The list is built once per evaluation from the client's records
// (client_records.h), each site with its folder in the client folder. The
// records themselves are made by the surveyor library, which exports a
// maker for them (survey/client/site_description.h): the host finds it by
// name among the objects loaded into the process. No site is under
// evaluation here, so the current site is none.
#pragma once

#include <memory>
#include <vector>

#include "host/client/client_records.h"
#include "host/client/client_state.h"
#include "survey/client/site_description.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// The library's maker of site records, found in the process; both null
// when no loaded object exports it.
struct SiteMaker {
  SurveyNewSiteFunction make = nullptr;
  SurveyDeleteSiteFunction free = nullptr;

  static SiteMaker Find();
};

// The records of one evaluation, linked in the order of the sites' names,
// freed with the list.
class SiteList {
 public:
  // Throws DatabaseError when the records cannot be read, and an evaluation
  // error of kind kNotAvailable when the library's maker cannot be found or
  // fails.
  SiteList(ClientFolder& folder, ClientRecords& records);
  SiteList(SiteList const&) = delete;
  SiteList& operator=(SiteList const&) = delete;
  ~SiteList();

  SiteMap* Head() const { return head_; }
  std::vector<SiteRecord> const& Records() const { return records_; }
  unsigned long Serial() const { return serial_; }

 private:
  SiteMaker maker_;
  std::vector<SiteRecord> records_;
  SiteMap* head_ = nullptr;
  unsigned long serial_ = 0;
};

class SiteContext : public SurveyorSiteContext {
 public:
  // Serves the sites of that state, which must outlive it.
  explicit SiteContext(ClientState& state);
  SiteContext(SiteContext const&) = delete;
  SiteContext& operator=(SiteContext const&) = delete;

 private:
  static SiteMap* List();
  static SiteMap* Current();
  static unsigned long Serial();
  static bool ComputerGroup(unsigned int low, unsigned int high, SurveyorConstData const* siteUrl,
                            SurveyorSiteGroup* group, SurveyorInterruptCall interrupt);
  static void CustomSiteName(SurveyorConstData const* name, char* buffer, unsigned long size);

  // The list of the evaluation under way.
  static SiteList const& Sites();

  ClientState& state_;
};

}  // namespace survey::client
