#include "survey/client/settings.h"

#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "survey/foundation/ascii.h"
#include "survey/foundation/byte_set.h"
#include "survey/foundation/percent_coding.h"
#include "survey/foundation/time.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

namespace {

// The bytes that a stored key and a written value keep as they are:
// letters, digits, "_", the space and "-". Every other byte is percent-
// encoded. The one set serves the lookup of the client's settings and the
// text form of a setting.
ByteSet const& KeySafeBytes() {
  static ByteSet const safe = [] {
    ByteSet set = Ascii::Alphanumeric_();
    set.Add(' ');
    set.Add('-');
    return set;
  }();
  return safe;
}

ConstData View(std::string const& text) {
  return ConstData(text.data(), static_cast<unsigned long>(text.size()));
}

surveyor_string CopyToSurveyorMemory(std::string const& text) {
  unsigned long const length = static_cast<unsigned long>(text.size());
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text.data(), length);
  return surveyor_string{copy, length};
}

ConstData TextView(char const* text) {
  return ConstData(text, static_cast<unsigned long>(std::strlen(text)));
}

}  // namespace

// ---------------------------------------------------------------------------
// The stores.

SettingStore<UnixSettingIterator>& GetSettingStore() {
  return CallContext<&SurveyorSettingsContext::GetClientSettingStore>();
}

SettingStore<UnixSettingIterator>& GetSitesStore() {
  return CallContext<&SurveyorSettingsContext::GetSiteSettingStore>();
}

setting setting_of_section(SettingStore<UnixSettingIterator>& store, ConstData section,
                           ConstData key) {
  // Whatever fails on the way, the store's own failures included, means no
  // such setting; only running out of memory and the host's interruption
  // (which is no std::exception) go on as they are.
  try {
    setting found(store.Find(section, key));
    if (found.atEnd) throw NoSuchObject();
    return found;
  } catch (DebuggableException const&) {
    throw NoSuchObject();
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const&) {
    throw NoSuchObject();
  }
}

setting setting_of_client(unsigned char const* name, unsigned long length, client const&) {
  std::string const key = PercentEncode(ConstData(name, length), KeySafeBytes());
  return setting_of_section(GetSettingStore(), TextView("Client"), View(key));
}

bool ClientSettingIsOne(unsigned char const* name, unsigned long length) {
  // No client, no settings: thrown as the property "client" throws it.
  static_cast<void>(client_of_world());
  std::string const key = PercentEncode(ConstData(name, length), KeySafeBytes());
  SettingStore<UnixSettingIterator>& store = GetSettingStore();
  // The store's failures read as no setting, as in setting_of_section.
  try {
    UnixSettingIterator const found(store.Find(TextView("Client"), View(key)));
    if (found.atEnd || found.current.Deleted()) return false;
    return found.current.Value() == "1";
  } catch (DebuggableException const&) {
    return false;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const&) {
    return false;
  }
}

setting setting_of_site(unsigned char const* name, unsigned long length, site const& owner) {
  setting found =
      setting_of_section(GetSitesStore(), owner.map->name.AsConstData(), ConstData(name, length));
  if (found.current.Deleted()) throw NoSuchObject();
  return found;
}

// ---------------------------------------------------------------------------
// The streams.

setting setting_iterator::First(SettingStore<UnixSettingIterator>& store, ConstData section) {
  store_ = &store;
  position_ = store.First(section);
  return Settle();
}

setting setting_iterator::Next() {
  ++position_;
  return Settle();
}

setting setting_iterator::Settle() {
  while (!position_.atEnd) {
    if (position_.current.Exists() && !position_.current.Deleted()) return setting(position_);
    ++position_;
  }
  throw NoSuchObject();
}

setting setting_iterator::First(Of, client const&) {
  return First(GetSettingStore(), TextView("Client"));
}

setting setting_iterator::Next(Of, client const&) { return Next(); }

setting setting_iterator::First(Of, site const& owner) {
  return First(GetSitesStore(), owner.map->name.AsConstData());
}

setting setting_iterator::Next(Of, site const&) { return Next(); }

// ---------------------------------------------------------------------------
// What a setting tells.

surveyor_string name_of(setting const& value) {
  return CopyToSurveyorMemory(PercentDecode(View(value.current.Name())));
}

surveyor_string value_of(setting const& value) {
  if (value.current.Deleted()) throw NoSuchObject();
  std::string const& text = value.current.Value();
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()),
                         static_cast<unsigned long>(text.size())};
}

moment effective_date_of(setting const& value) {
  std::int64_t const date = value.current.Date();
  if (date == kSettingWithoutDate) throw NoSuchObject();
  return AsMoment(Instant(date));
}

boolean enabled_of(setting const& value) {
  bool const enabled = Ascii::EqualIgnoringCase(View(value.current.Value()), TextView("enabled"));
  return boolean{static_cast<unsigned char>(enabled ? 1 : 0)};
}

moment customEffectiveDate(unsigned char const* name, unsigned long length) {
  setting const found =
      setting_of_section(GetSettingStore(), TextView("CustomSites"), ConstData(name, length));
  return effective_date_of(found);
}

surveyor_string AsString(setting const& value) {
  if (value.current.Deleted()) throw NoSuchObject();
  return CopyToSurveyorMemory(value.current.Name() + "=" +
                              PercentEncode(View(value.current.Value()), KeySafeBytes()));
}

// ---------------------------------------------------------------------------
// Registration, in table order. Settings change between evaluations, so
// nothing is reused.

namespace {

using ClientSettingStep = setting (setting_iterator::*)(Of, client const&);
using SiteSettingStep = setting (setting_iterator::*)(Of, site const&);

RegistrationTable table{
    TypeRow<setting>(),
    IteratedRow("setting", "settings", static_cast<ClientSettingStep>(&setting_iterator::First),
                static_cast<ClientSettingStep>(&setting_iterator::Next)),
    IndexedRow("setting", "settings", &setting_of_client),
    IteratedRow("setting", "settings", static_cast<SiteSettingStep>(&setting_iterator::First),
                static_cast<SiteSettingStep>(&setting_iterator::Next)),
    IndexedRow("setting", "settings", &setting_of_site),
    PropertyRow("name", "names", &name_of),
    PropertyRow("value", "values", &value_of),
    PropertyRow("effective date", "effective dates", &effective_date_of),
    PropertyRow("enabled", "enableds", &enabled_of),
    IndexedRow("custom site subscription effective date",
               "custom site subscription effective dates", &customEffectiveDate),
    CastRow<setting>("string", &AsString),
};

}  // namespace
