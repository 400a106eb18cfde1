// The settings part of the host's context: the client's setting store and
// the sites' setting store behind `SurveyorSettingsContext`, both read from
// the client's records (client_records.h) as they stand when asked, so that
// a setting changed between two queries is seen by the second.
//
// A store walks a section in the order of the keys' bytes. Without a client
// folder the two slots are null: the host has the interface but cannot
// answer.
#pragma once

#include "host/client/client_records.h"
#include "host/client/client_state.h"
#include "survey/client/setting_store.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// One of the two stores, over the records of a state.
class RecordSettingStore : public SettingStore<UnixSettingIterator> {
 public:
  RecordSettingStore(ClientState& state, SettingScope scope) : state_(state), scope_(scope) {}

  WrappedSettingIterator<UnixSettingIterator> First(ConstData section) override;
  WrappedSettingIterator<UnixSettingIterator> Find(ConstData section, ConstData key) override;
  WrappedSettingIterator<UnixSettingIterator> After(UnixSettingIterator const& position) override;

 private:
  // The position of a record found in `section`, or the end of the section.
  WrappedSettingIterator<UnixSettingIterator> PositionOf(std::string const& section,
                                                         std::optional<SettingRecord> const& found);

  ClientState& state_;
  SettingScope scope_;
};

class SettingsContext : public SurveyorSettingsContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit SettingsContext(ClientState& state);
  SettingsContext(SettingsContext const&) = delete;
  SettingsContext& operator=(SettingsContext const&) = delete;

 private:
  static SettingStore<UnixSettingIterator>& ClientStore();
  static SettingStore<UnixSettingIterator>& SiteStore();

  RecordSettingStore clientStore_;
  RecordSettingStore siteStore_;
};

}  // namespace survey::client
