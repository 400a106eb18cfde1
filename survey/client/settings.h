// Settings of the client and of its sites, read from the host's setting
// stores (setting_store.h): the value type "setting", the settings of the
// client and of a site by name and as a stream, and what a setting tells.
//
// The two lookups by name differ on purpose. The client's settings are
// stored under percent-encoded keys, so the wanted name is encoded first,
// and a deleted setting is still found. A site's settings are looked up by
// the name as it stands, and a deleted one is not found.
#pragma once

#include "survey/client/client_object.h"
#include "survey/client/setting_store.h"
#include "survey/client/sites.h"
#include "survey/frame/adaptors.h"

// "setting": a copy of a store's position at one setting. It owns its
// copies and stays valid after the store has moved on.
class SURVEY_API setting : public WrappedSettingIterator<UnixSettingIterator> {
 public:
  static constexpr char const* TypeName() { return "setting"; }

  setting() = default;
  explicit setting(WrappedSettingIterator<UnixSettingIterator> const& position)
      : WrappedSettingIterator<UnixSettingIterator>(position) {}
};

// The state of the streams of settings: the store walked and the position.
class SURVEY_API setting_iterator {
 public:
  setting_iterator() = default;

  setting First(Of, client const& owner);
  setting Next(Of, client const& owner);
  setting First(Of, site const& owner);
  setting Next(Of, site const& owner);

  // The first setting of the section that exists and is not deleted.
  setting First(SettingStore<UnixSettingIterator>& store, ConstData section);
  setting Next();

 private:
  // Moves on from the present position to a setting that exists and is not
  // deleted, or throws NoSuchObject at the end.
  setting Settle();

  SettingStore<UnixSettingIterator>* store_ = nullptr;
  WrappedSettingIterator<UnixSettingIterator> position_;
};

// The stores of the context. NoSurveyorContext without the interface,
// SurveyorSettingsContextError for a null slot.
SURVEY_API SettingStore<UnixSettingIterator>& GetSettingStore();
SURVEY_API SettingStore<UnixSettingIterator>& GetSitesStore();

// The setting of that key in a section of a store. Anything that goes wrong,
// the store's own failures included, is NoSuchObject; only std::bad_alloc
// and the host's interruption pass.
SURVEY_API setting setting_of_section(SettingStore<UnixSettingIterator>& store, ConstData section,
                                      ConstData key);

// The client's setting of that name, found under its encoded key; deleted
// or not.
SURVEY_API setting setting_of_client(unsigned char const* name, unsigned long length,
                                     client const& owner);

// A site's setting of that name, looked up as it stands; NoSuchObject for a
// deleted one.
SURVEY_API setting setting_of_site(unsigned char const* name, unsigned long length,
                                   site const& owner);

// Whether the client's setting of that name holds exactly "1": the test of
// the settings that turn a surveyor family off, run on every use of the
// family. It answers as `value_of` on `setting_of_client` would, but an
// absent or deleted setting is a plain false rather than an exception,
// which matters when the test runs for every property of a query. What
// `client_of_world` and the contexts throw is thrown as they throw it.
SURVEY_API bool ClientSettingIsOne(unsigned char const* name, unsigned long length);

// "name": the key, percent-decoded, in evaluator memory.
SURVEY_API surveyor_string name_of(setting const& value);
// "value": a view of the value; NoSuchObject for a deleted setting.
SURVEY_API surveyor_string value_of(setting const& value);
// "effective date": NoSuchObject when the setting has no date.
SURVEY_API moment effective_date_of(setting const& value);
// "enabled": whether the value is "enabled", in any case.
SURVEY_API boolean enabled_of(setting const& value);
// The effective date of a custom site's subscription: the date of the
// client's setting of that key, unencoded, in section "CustomSites".
SURVEY_API moment customEffectiveDate(unsigned char const* name, unsigned long length);
// The line of a settings file: the key as stored, "=", and the value
// percent-encoded. NoSuchObject for a deleted setting.
SURVEY_API surveyor_string AsString(setting const& value);
