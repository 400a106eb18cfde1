#include "host/client/settings_context.h"

#include <string>

namespace survey::client {

namespace {

std::string Text(ConstData const& data) {
  if (data.begin == nullptr || data.end <= data.begin) return std::string();
  return std::string(reinterpret_cast<char const*>(data.begin),
                     static_cast<std::size_t>(data.end - data.begin));
}

}  // namespace

WrappedSettingIterator<UnixSettingIterator> RecordSettingStore::PositionOf(
    std::string const& section, std::optional<SettingRecord> const& found) {
  UnixSettingIterator position;
  position.store = this;
  position.section = section;
  position.started = true;
  position.atEnd = !found.has_value();
  if (found) {
    position.key = found->name;
    position.current = UnixSetting(found->name, found->value,
                                   found->date.value_or(kSettingWithoutDate), found->deleted);
  }
  return WrappedSettingIterator<UnixSettingIterator>(position);
}

WrappedSettingIterator<UnixSettingIterator> RecordSettingStore::First(ConstData section) {
  std::string const name = Text(section);
  return PositionOf(name, state_.Records().NextSetting(scope_, name, std::nullopt));
}

WrappedSettingIterator<UnixSettingIterator> RecordSettingStore::Find(ConstData section,
                                                                     ConstData key) {
  std::string const name = Text(section);
  return PositionOf(name, state_.Records().FindSetting(scope_, name, Text(key)));
}

WrappedSettingIterator<UnixSettingIterator> RecordSettingStore::After(
    UnixSettingIterator const& position) {
  if (position.atEnd) return PositionOf(position.section, std::nullopt);
  return PositionOf(position.section,
                    state_.Records().NextSetting(scope_, position.section, position.key));
}

SettingsContext::SettingsContext(ClientState& state)
    : clientStore_(state, SettingScope::kClient), siteStore_(state, SettingScope::kSites) {
  if (state.Folder() != nullptr) {
    GetClientSettingStore = &ClientStore;
    GetSiteSettingStore = &SiteStore;
  }
}

SettingStore<UnixSettingIterator>& SettingsContext::ClientStore() {
  return CurrentPart<SettingsContext>().clientStore_;
}

SettingStore<UnixSettingIterator>& SettingsContext::SiteStore() {
  return CurrentPart<SettingsContext>().siteStore_;
}

}  // namespace survey::client
